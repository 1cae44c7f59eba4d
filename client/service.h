// Asks the service, and the settings service, over the bus.
// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusPendingCall>
#include <QDeadlineTimer>
#include <QList>
#include <QString>
#include <QVariant>

#include <functional>

extern const QString loggerModuleService; ///< bus name
extern const QString loggerModulePath; ///< object path

/// What came back from the bus.
struct Reply
{
    /// The text, the map, or an invalid variant when the method has no answer of its own.
    QVariant answer;
    QDBusError error; ///< valid when there is no answer
    QString service = QStringLiteral("LoggerModule"); ///< the module that was asked
    bool timedOut = false; ///< whether the error came because the time was over
};

/// How a client asks. Needs the application object.
struct Caller
{
    QDBusConnection bus;
    int timeout = 120000; ///< how long a call may take, in ms
    /// Called once for a call whose answer takes longer than two seconds; may be empty.
    std::function<void()> slow;
    /// Called about five times a second while an answer is waited for, with the ms since the call
    /// was sent; may be empty.
    std::function<void(qint64)> waiting;
    /// When all that is asked has to be over: a call gets no more than what is left, and none is
    /// sent when nothing is.
    QDeadlineTimer until = QDeadlineTimer(QDeadlineTimer::Forever);

    /// How long something may take now, in ms: @c timeout, or what is left; 0 when nothing is.
    int remaining() const;

    /// Sends @p request and waits for the answer.
    Reply ask(const Request &request) const;

    /// Sends @p request only, so that something else can be asked meanwhile. @return what
    /// waitFor() takes
    QList<QDBusPendingCall> send(const Request &request) const;

    /// Waits for the answer to @p request, for which @p calls were sent.
    Reply waitFor(const Request &request, const QList<QDBusPendingCall> &calls) const;
};
