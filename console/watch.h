// Follows the event of level changes until it is told to stop.
// SPDX-License-Identifier: MIT
#pragma once

#include "presentation.h"

#include <QDBusConnection>

/// Keeps SIGINT and SIGTERM from ending the process, so that watch() can end in order. To be called
/// before anything starts a thread: threads inherit it.
void holdStopSignals();

/**
 * Prints each level change to standard output as it is announced, and to standard error when the
 * service leaves the bus and when it is back. Needs the application object, and holdStopSignals()
 * before it.
 *
 * @return Done after SIGINT or SIGTERM, Unreachable when the bus goes away, Failed when standard
 * output cannot be written
 */
ExitStatus watch(QDBusConnection bus, const Screens &screens);
