// The service's D-Bus interface: forwards every call to the module's slot of the same name.
// SPDX-License-Identifier: MIT
#pragma once

#include "dbus/introspection.h"

#include <QVX/setting.h>

#include <QDBusAbstractAdaptor>
#include <QString>
#include <QVariantMap>

class LoggerModule;

/**
 * Holds no logic. A call that the module has no slot for ends in a QVXException thrown by pointer,
 * which the platform's event loop catches; QtDBus then answers its caller with an error.
 *
 * Neither the order of the slots nor a name of an argument is free: both are read from the
 * meta-object and from introspection by other programs.
 */
class LoggerModuleAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")
    Q_CLASSINFO("D-Bus Introspection", LOGGERMODULE_INTROSPECTION)

public:
    explicit LoggerModuleAdaptor(LoggerModule *module);
    ~LoggerModuleAdaptor() override;

public Q_SLOTS:
    QString defence(int position, const QString &todo);
    QString deleteTmpLogFiles(const QString &parameter);
    QString deleteTmpLogFiles();
    QVariantMap generateLogsForWeb();
    QVariantMap getSyslogLevels();
    QString level(const QString &streamName, const QString &level);
    QString level();
    QString logComments(const QString &activity, const QString &result);
    ListSetting logRemoteServer(Setting setting);
    ListSetting logRemoteServerAddress(Setting setting);
    ListSetting logRemoteServerPort(Setting setting);
    ListSetting logRemoteServerProto(Setting setting);
    QString redirect(const QString &activity, const QString &destinationName, const QString &path);
    QString redirect(const QString &activity, const QString &destinationName,
                     const QString &ipAddress, int ipPort);
    QString redirect(const QString &activity, const QString &destinationName);
    QString redirect();
    QVariantMap resetSyslogLevelsToErr();
    QVariantMap setSyslogLevels(const QString &syslogLevels);

private:
    struct CallSite;

    template<typename Result, typename... Arguments>
    Result forward(const CallSite &site, const Arguments &...arguments);
};
