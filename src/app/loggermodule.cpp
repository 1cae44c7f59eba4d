// Creation of the module, its platform hooks, and the comment that a caller writes into a log.
// SPDX-License-Identifier: MIT
#include "loggermodule.h"

#include "dbus/loggermoduleadaptor.h"

#include <QVX/qvxlogger.h>

LoggerModule *LoggerModule::instance()
{
    static auto *const module = new LoggerModule;
    return module;
}

LoggerModule::LoggerModule() : QVXModule(QStringLiteral("LoggerModule"))
{
}

LoggerModule::~LoggerModule() = default;

bool LoggerModule::exportInterface()
{
    m_adaptor = new LoggerModuleAdaptor(this);
    registerDBusSetting();
    return true;
}

QString LoggerModule::logComments(const QString &facility, const QString &comment)
{
    // No look at the configured level: whoever asks for a comment wants to find it in the log.
    logger(facility).error(comment);
    return QStringLiteral("OK");
}
