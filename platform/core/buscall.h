// A call over the bus that is waited for, but not beyond the end of the process.
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>

/**
 * Sends @p call on @p bus and waits for the answer, for at most @p timeout ms, and only until the
 * process is asked to stop. No event is processed meanwhile. From any thread.
 * @return the answer, which is an error of the bus library's own after the time-out; an invalid
 *         message when the process is asked to stop: then the call may have been sent or not
 */
QDBusMessage callUntilStop(const QDBusConnection &bus, const QDBusMessage &call, int timeout);
