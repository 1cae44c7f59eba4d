// Forwarding through the meta-object system, the same for every method.
// SPDX-License-Identifier: MIT
#include "loggermoduleadaptor.h"

#include "app/loggermodule.h"

#include <QVX/qvxexception.h>

#include <QMessageLogger>
#include <QMetaObject>

/// Which method a call came in by: what its failure message names.
struct LoggerModuleAdaptor::CallSite
{
    const char *method;
    const char *signature;
    int line;
};

// A macro, because only the method itself knows its line and its signature.
#define CALL_SITE                                                                                  \
    CallSite                                                                                       \
    {                                                                                              \
        __func__, Q_FUNC_INFO, __LINE__                                                            \
    }

namespace {

// The names by which the module's slots spell their types.
template<typename T>
constexpr const char *typeName = nullptr;
template<>
constexpr const char *typeName<int> = "int";
template<>
constexpr const char *typeName<QString> = "QString";
template<>
constexpr const char *typeName<QVariantMap> = "QVariantMap";
template<>
constexpr const char *typeName<Setting> = "Setting";
template<>
constexpr const char *typeName<ListSetting> = "ListSetting";

} // namespace

LoggerModuleAdaptor::LoggerModuleAdaptor(LoggerModule *module) : QDBusAbstractAdaptor(module)
{
    setAutoRelaySignals(true);
}

LoggerModuleAdaptor::~LoggerModuleAdaptor() = default;

template<typename Result, typename... Arguments>
Result LoggerModuleAdaptor::forward(const CallSite &site, const Arguments &...arguments)
{
    Result result {};
    const bool invoked
        = QMetaObject::invokeMethod(parent(), site.method, Qt::AutoConnection,
                                    QReturnArgument<Result>(typeName<Result>, result),
                                    QArgument<Arguments>(typeName<Arguments>, arguments)...);
    if (!invoked) {
        QMessageLogger("LoggerModuleAdaptor", site.line, site.signature)
            .debug("Adaptor::invokeMethod failed: %s", site.method);
        // By pointer, as the platform's event loop catches it.
        throw new QVXException( // NOLINT(*-err09-cpp,*-err61-cpp,misc-throw-by-value-*)
            parent(), QVXException::Invocation,
            QStringLiteral("Adaptor::invokeMethod failed: ") + QLatin1String(site.method));
    }
    return result;
}

QString LoggerModuleAdaptor::defence(int position, const QString &todo)
{
    return forward<QString>(CALL_SITE, position, todo);
}

QString LoggerModuleAdaptor::deleteTmpLogFiles(const QString &parameter)
{
    return forward<QString>(CALL_SITE, parameter);
}

QString LoggerModuleAdaptor::deleteTmpLogFiles()
{
    return forward<QString>(CALL_SITE);
}

QVariantMap LoggerModuleAdaptor::generateLogsForWeb()
{
    return forward<QVariantMap>(CALL_SITE);
}

QVariantMap LoggerModuleAdaptor::getSyslogLevels()
{
    return forward<QVariantMap>(CALL_SITE);
}

QString LoggerModuleAdaptor::level(const QString &streamName, const QString &level)
{
    return forward<QString>(CALL_SITE, streamName, level);
}

QString LoggerModuleAdaptor::level()
{
    return forward<QString>(CALL_SITE);
}

QString LoggerModuleAdaptor::logComments(const QString &activity, const QString &result)
{
    return forward<QString>(CALL_SITE, activity, result);
}

// The slots take the record by value: their signatures are part of the failure message.
// NOLINTBEGIN(performance-unnecessary-value-param)
ListSetting LoggerModuleAdaptor::logRemoteServer(Setting setting)
{
    return forward<ListSetting>(CALL_SITE, setting);
}

ListSetting LoggerModuleAdaptor::logRemoteServerAddress(Setting setting)
{
    return forward<ListSetting>(CALL_SITE, setting);
}

ListSetting LoggerModuleAdaptor::logRemoteServerPort(Setting setting)
{
    return forward<ListSetting>(CALL_SITE, setting);
}

ListSetting LoggerModuleAdaptor::logRemoteServerProto(Setting setting)
{
    return forward<ListSetting>(CALL_SITE, setting);
}
// NOLINTEND(performance-unnecessary-value-param)

QString LoggerModuleAdaptor::redirect(const QString &activity, const QString &destinationName,
                                      const QString &path)
{
    return forward<QString>(CALL_SITE, activity, destinationName, path);
}

QString LoggerModuleAdaptor::redirect(const QString &activity, const QString &destinationName,
                                      const QString &ipAddress, int ipPort)
{
    return forward<QString>(CALL_SITE, activity, destinationName, ipAddress, ipPort);
}

QString LoggerModuleAdaptor::redirect(const QString &activity, const QString &destinationName)
{
    return forward<QString>(CALL_SITE, activity, destinationName);
}

QString LoggerModuleAdaptor::redirect()
{
    return forward<QString>(CALL_SITE);
}

QVariantMap LoggerModuleAdaptor::resetSyslogLevelsToErr()
{
    return forward<QVariantMap>(CALL_SITE);
}

QVariantMap LoggerModuleAdaptor::setSyslogLevels(const QString &syslogLevels)
{
    return forward<QVariantMap>(CALL_SITE, syslogLevels);
}
