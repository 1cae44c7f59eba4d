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

/**
 * Sends @p request on @p bus and waits for the answer, for at most @p timeout ms. Needs the
 * application object. @p slow is called once when the answer takes longer than two seconds.
 */
Reply ask(const QDBusConnection &bus, const Request &request, int timeout,
          const std::function<void()> &slow);
