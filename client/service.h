// Asks the service, and the settings service, over the bus.
// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"

#include <QDBusConnection>
#include <QDBusError>
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

    /// Sends @p request and waits for the answer.
    Reply ask(const Request &request) const;
};
