// Process entry of the service.
// SPDX-License-Identifier: MIT
#include "levels/configurationorder.h"
#include "loggermodule.h"

#include <QVX/qvxapplication.h>

#include <QTextCodec>
#include <QThreadPool>

int main(int argc, char *argv[])
{
    QVXApplication application(argc, argv);
    QCoreApplication::setApplicationName(
        QStringLiteral("%1").arg(QLatin1String("LoggerModule"), 0, QLatin1Char(' ')));
    // File names and command lines mean the same bytes whatever locale init has left us.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));

    LoggerModule::instance();
    const int exitCode = QVXApplication::exec();

    // A job on the pool works with the module, so the module outlives it.
    QThreadPool::globalInstance()->waitForDone();
    const ConfigurationOrder::Turn afterAllJobs;
    delete LoggerModule::instance();
    return exitCode;
}
