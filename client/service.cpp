// One call through the generated proxy for each request.
// SPDX-License-Identifier: MIT
#include "service.h"

#include "loggermoduleproxy.h"

#include <QVX/setting.h>

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <array>

namespace {

constexpr int slowAfter = 2000; // ms
constexpr int waitingStep = 200; // ms
const QString settingsService = QStringLiteral("SettingsManager");

constexpr std::array<const char *, 4> remoteSettings {
    "LogRemoteServerExist", "LogRemoteServerAddress", "LogRemoteServerPort",
    "LogRemoteServerProtocol"};

/// The record that the settings service sends when the setting @p name gets @p value.
Setting changedSetting(const char *name, const char *method, const QString &value)
{
    Setting setting;
    setting.name = QLatin1String(name);
    setting.value = value;
    setting.defaultValue = Setting::UNDEFINEDVALUE;
    setting.type = QStringLiteral("string");
    setting.module = QStringLiteral("LoggerModule");
    setting.method = QLatin1String(method);
    setting.persistent = true;
    return setting;
}

QDBusPendingCall send(LoggerModuleProxy &module, const Request &request)
{
    const QString first = request.words.value(0);
    const QString second = request.words.value(1);
    switch (request.operation) {
    case Operation::DeleteRamLogs:
        return module.deleteTmpLogFiles();
    case Operation::DeleteLogs:
        return module.deleteTmpLogFiles(first);
    case Operation::ListLevels:
        return module.level();
    case Operation::ChangeLevel:
        return module.level(first, second);
    case Operation::ListDestinations:
        return module.redirect();
    case Operation::Redirect:
        return module.redirect(first, second);
    case Operation::RedirectToSupport:
        return module.redirect(first, second, request.words.value(2));
    case Operation::RedirectToServer:
        return module.redirect(first, second, request.words.value(2), request.number);
    case Operation::GetLevels:
        return module.getSyslogLevels();
    case Operation::SetLevels:
        return module.setSyslogLevels(first);
    case Operation::ResetLevels:
        return module.resetSyslogLevelsToErr();
    case Operation::Archive:
        return module.generateLogsForWeb();
    case Operation::Defence:
        return module.defence(request.number, first);
    case Operation::RemoteServer:
        return module.logRemoteServer(
            changedSetting("LogRemoteServerExist", "logRemoteServer", first));
    case Operation::RemoteProtocol:
        return module.logRemoteServerProto(
            changedSetting("LogRemoteServerProtocol", "logRemoteServerProto", first));
    case Operation::RemoteAddress:
        return module.logRemoteServerAddress(
            changedSetting("LogRemoteServerAddress", "logRemoteServerAddress", first));
    case Operation::RemotePort:
        return module.logRemoteServerPort(
            changedSetting("LogRemoteServerPort", "logRemoteServerPort", first));
    case Operation::Comment:
        return module.logComments(first, second);
    case Operation::ShowLevel:
        return module.level();
    case Operation::ShowRemote:
    case Operation::FactoryReset:
    case Operation::Watch:
    case Operation::ReadLog:
    case Operation::Trace:
    case Operation::Status:
    case Operation::Check:
        break;
    }
    return QDBusPendingCall::fromError(
        QDBusError(QDBusError::InternalError, QStringLiteral("not a method of the service")));
}

/// Waits for @p call. The answer is its first argument when that is a text or a map.
Reply waitFor(const Caller &caller, const QDBusPendingCall &call)
{
    QDBusPendingCallWatcher watcher(call);
    if (!watcher.isFinished()) {
        QElapsedTimer time;
        time.start();
        QEventLoop loop;
        QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
        if (caller.slow) {
            QTimer::singleShot(slowAfter, &loop, caller.slow);
        }
        QTimer steps;
        if (caller.waiting) {
            QObject::connect(&steps, &QTimer::timeout, &loop,
                             [&caller, &time] { caller.waiting(time.elapsed()); });
            steps.start(waitingStep);
        }
        loop.exec();
    }
    Reply reply;
    if (watcher.isError()) {
        reply.error = watcher.error();
        if (!caller.bus.isConnected()) {
            reply.error = QDBusError(QDBusError::Disconnected, QString());
        }
        // The bus itself reports a service that left; it says so under its own name.
        reply.timedOut = watcher.reply().service().isEmpty();
        return reply;
    }
    const QVariant answer = watcher.reply().arguments().value(0);
    if (answer.userType() == qMetaTypeId<QDBusArgument>()) {
        const auto argument = answer.value<QDBusArgument>();
        if (argument.currentSignature() == QLatin1String("a{sv}")) {
            reply.answer = qdbus_cast<QVariantMap>(argument);
        }
    } else {
        reply.answer = answer.toString();
    }
    return reply;
}

/// What the settings service holds about the remote log server, by the settings' names.
Reply askSettings(const Caller &caller)
{
    QVariantMap settings;
    Reply reply;
    for (const char *const name : remoteSettings) {
        QDBusMessage call = QDBusMessage::createMethodCall(
            QStringLiteral("com.corvane.Quorvix.") + settingsService,
            QStringLiteral("/com/corvane/Quorvix/") + settingsService,
            QLatin1String(LoggerModuleProxy::staticInterfaceName()),
            QStringLiteral("getSettingValue"));
        call << QLatin1String(name);
        reply = waitFor(caller, caller.bus.asyncCall(call, caller.timeout));
        reply.service = settingsService;
        if (reply.error.isValid()) {
            return reply;
        }
        settings.insert(QLatin1String(name), reply.answer.toString());
    }
    reply.answer = settings;
    return reply;
}

} // namespace

const QString loggerModuleService = QStringLiteral("com.corvane.Quorvix.LoggerModule");
const QString loggerModulePath = QStringLiteral("/com/corvane/Quorvix/LoggerModule");

Reply Caller::ask(const Request &request) const
{
    if (request.operation == Operation::ShowRemote) {
        return askSettings(*this);
    }
    if (request.operation == Operation::FactoryReset) {
        const QDBusMessage call = QDBusMessage::createMethodCall(
            loggerModuleService, loggerModulePath, QStringLiteral("com.corvane.Quorvix.QVXModule"),
            QStringLiteral("restoreDataToFactory"));
        return waitFor(*this, bus.asyncCall(call, timeout));
    }
    LoggerModuleProxy module(loggerModuleService, loggerModulePath, bus);
    module.setTimeout(timeout);
    return waitFor(*this, send(module, request));
}
