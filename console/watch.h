// Follows the level changes and redirections until it is told to stop.
// SPDX-License-Identifier: MIT
#pragma once

#include "session.h"

/**
 * Prints each level change to standard output as it is announced, each redirection when the table
 * of activities shows it, and to standard error when the service leaves the bus and when it is
 * back. Needs the application object.
 *
 * @return Done after SIGINT, SIGTERM or SIGHUP, Unreachable when the bus goes away or this user may
 * not look, Failed when standard output cannot be written
 */
ExitStatus watch(const Session &session);
