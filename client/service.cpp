// One call for each request; four for the settings of the log server.
// SPDX-License-Identifier: MIT
#include "service.h"

#include <QVX/setting.h>

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
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

/// A call of the method @p name of the module @p service.
QDBusMessage callOf(const QString &service, const char *name, const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.Quorvix.") + service,
        QStringLiteral("/com/corvane/Quorvix/") + service,
        QStringLiteral("com.corvane.Quorvix.QVXInterface"), QLatin1String(name));
    call.setArguments(arguments);
    return call;
}

/// The call of the service that @p request stands for.
QDBusMessage callOf(const Request &request)
{
    const auto call = [](const char *name, const QVariantList &arguments = {}) {
        return callOf(QStringLiteral("LoggerModule"), name, arguments);
    };
    const QString first = request.words.value(0);
    const QString second = request.words.value(1);
    const auto setting = [&first](const char *name, const char *method) {
        return QVariant::fromValue(changedSetting(name, method, first));
    };
    switch (request.operation) {
    case Operation::DeleteRamLogs:
        return call("deleteTmpLogFiles");
    case Operation::DeleteLogs:
        return call("deleteTmpLogFiles", {first});
    case Operation::ListLevels:
    case Operation::ShowLevel:
        return call("level");
    case Operation::ChangeLevel:
        return call("level", {first, second});
    case Operation::ListDestinations:
        return call("redirect");
    case Operation::Redirect:
        return call("redirect", {first, second});
    case Operation::RedirectToSupport:
        return call("redirect", {first, second, request.words.value(2)});
    case Operation::RedirectToServer:
        return call("redirect", {first, second, request.words.value(2), request.number});
    case Operation::GetLevels:
        return call("getSyslogLevels");
    case Operation::SetLevels:
        return call("setSyslogLevels", {first});
    case Operation::ResetLevels:
        return call("resetSyslogLevelsToErr");
    case Operation::Archive:
        return call("generateLogsForWeb");
    case Operation::Defence:
        return call("defence", {request.number, first});
    case Operation::RemoteServer:
        return call("logRemoteServer", {setting("LogRemoteServerExist", "logRemoteServer")});
    case Operation::RemoteProtocol:
        return call("logRemoteServerProto",
                    {setting("LogRemoteServerProtocol", "logRemoteServerProto")});
    case Operation::RemoteAddress:
        return call("logRemoteServerAddress",
                    {setting("LogRemoteServerAddress", "logRemoteServerAddress")});
    case Operation::RemotePort:
        return call("logRemoteServerPort", {setting("LogRemoteServerPort", "logRemoteServerPort")});
    case Operation::Comment:
        return call("logComments", {first, second});
    case Operation::FactoryReset:
        return QDBusMessage::createMethodCall(loggerModuleService, loggerModulePath,
                                              QStringLiteral("com.corvane.Quorvix.QVXModule"),
                                              QStringLiteral("restoreDataToFactory"));
    case Operation::ShowRemote:
    case Operation::Watch:
    case Operation::ReadLog:
    case Operation::Trace:
    case Operation::Status:
    case Operation::Check:
        break;
    }
    return {}; // no call: the bus library answers with an error
}

/// Waits for @p call. The answer is its first argument when that is a text or a map.
Reply answerOf(const Caller &caller, const QDBusPendingCall &call)
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

} // namespace

const QString loggerModuleService = QStringLiteral("com.corvane.Quorvix.LoggerModule");
const QString loggerModulePath = QStringLiteral("/com/corvane/Quorvix/LoggerModule");

int Caller::remaining() const
{
    return until.isForever() ? timeout
                             : static_cast<int>(std::min<qint64>(timeout, until.remainingTime()));
}

QList<QDBusPendingCall> Caller::send(const Request &request) const
{
    const int left = remaining();
    QList<QDBusPendingCall> calls;
    const auto sendOne = [&](const QDBusMessage &call) {
        // The bus library would take 0 for no limit.
        calls.append(left > 0 ? bus.asyncCall(call, left)
                              : QDBusPendingCall::fromError(
                                  QDBusError(QDBusError::NoReply, QStringLiteral("too late"))));
    };
    if (request.operation == Operation::ShowRemote) {
        for (const char *const name : remoteSettings) {
            sendOne(callOf(settingsService, "getSettingValue", {QLatin1String(name)}));
        }
    } else {
        sendOne(callOf(request));
    }
    return calls;
}

Reply Caller::waitFor(const Request &request, const QList<QDBusPendingCall> &calls) const
{
    if (request.operation != Operation::ShowRemote) {
        return answerOf(*this, calls.first());
    }
    QVariantMap settings;
    Reply reply;
    for (int index = 0; index < calls.size(); ++index) {
        reply = answerOf(*this, calls.at(index));
        reply.service = settingsService;
        if (reply.error.isValid()) {
            return reply;
        }
        settings.insert(QLatin1String(remoteSettings.at(static_cast<size_t>(index))),
                        reply.answer.toString());
    }
    reply.answer = settings;
    return reply;
}

Reply Caller::ask(const Request &request) const
{
    return waitFor(request, send(request));
}
