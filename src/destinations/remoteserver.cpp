// Reads the remote log server's settings and follows their changes.
// SPDX-License-Identifier: MIT
#include "remoteserver.h"

#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "destinationsyntax.h"

#include <QDBusReply>

#include <array>

RemoteServerConfig remoteServerConfig;

QString buildRemoteDestination(const RemoteServerConfig &record)
{
    if (record.protocol == Setting::UNDEFINEDVALUE || record.address == Setting::UNDEFINEDVALUE
        || record.port == Setting::UNDEFINEDVALUE) {
        return Setting::UNDEFINEDVALUE;
    }
    QString destination = networkDestination(record.protocol, record.address, record.port);
    logDebug(QStringLiteral("Remote Server Address : ") + destination);
    return destination;
}

void LoggerModule::applyRemoteServer()
{
    logDebug(redirectAllActivities(buildRemoteDestination(remoteServerConfig)));
}

void LoggerModule::initLogServerStruct()
{
    logDebug(QStringLiteral("Method::initLogServerStruct()"));
    struct Source
    {
        const char *setting;
        QString RemoteServerConfig::*field;
        const char *errorPrefix;
    };
    // The prefixes differ by one letter, and scripts look for them.
    const std::array<Source, 4> sources {{
        {"LogRemoteServerAddress", &RemoteServerConfig::address, "syncRemoteCall error : "},
        {"LogRemoteServerPort", &RemoteServerConfig::port, "syncRemotecall error : "},
        {"LogRemoteServerProtocol", &RemoteServerConfig::protocol, "syncRemoteCall error : "},
        {"LogRemoteServerExist", &RemoteServerConfig::exist, "syncRemoteCall error : "},
    }};
    for (const Source &source : sources) {
        const bool isAddress = source.field == &RemoteServerConfig::address;
        try {
            const QDBusReply<QString> reply = syncRemoteCall(QStringLiteral("SettingsManager"),
                                                             QStringLiteral("getSettingValue"),
                                                             {QLatin1String(source.setting)});
            if (reply.isValid()) {
                remoteServerConfig.*source.field = reply.value();
                if (isAddress) {
                    logDebug(QStringLiteral("Method::initLogServerStruct got IP address"));
                }
            } else if (isAddress) {
                logDebug(QStringLiteral("Method::initLogServerStruct got error on IP address"));
            }
        } catch (const QString &error) {
            logError(QLatin1String(source.errorPrefix) + error);
        }
    }
    if (remoteServerConfig.exist == QLatin1String("true")) {
        logDebug(QStringLiteral("A remote server exists"));
        applyRemoteServer();
    } else {
        logDebug(QStringLiteral("No remote server"));
    }
}

ListSetting LoggerModule::logRemoteServer(const Setting &setting)
{
    // The record keeps what was read at start: the other three methods follow that.
    if (setting.getValue() == QLatin1String("true")) {
        logDebug(QStringLiteral("A remote server exits"));
        applyRemoteServer();
    } else {
        logDebug(QStringLiteral("No remote server"));
        redirect(QStringLiteral("all"), QStringLiteral("init"));
    }
    return {};
}

ListSetting LoggerModule::changeRemoteServer(QString &field, const Setting &setting)
{
    field = setting.getValue();
    if (remoteServerConfig.exist == QLatin1String("true")) {
        applyRemoteServer();
    }
    return {};
}

ListSetting LoggerModule::logRemoteServerAddress(const Setting &setting)
{
    return changeRemoteServer(remoteServerConfig.address, setting);
}

ListSetting LoggerModule::logRemoteServerPort(const Setting &setting)
{
    return changeRemoteServer(remoteServerConfig.port, setting);
}

ListSetting LoggerModule::logRemoteServerProto(const Setting &setting)
{
    return changeRemoteServer(remoteServerConfig.protocol, setting);
}
