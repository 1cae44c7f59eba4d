// Shows the log of an activity, as it is and as it goes on.
// SPDX-License-Identifier: MIT
#pragma once

#include "session.h"

/// Prints the newest lines of an activity's log, and with --follow those that come.
///
/// @return Done, also after SIGINT, SIGTERM or SIGHUP; Failed when the activity logs to no file
/// that can be read
ExitStatus showLog(const Session &session);

/// Raises a level, follows the log, and has the level put back; see TraceKeeper.
///
/// @return Done when the level is what it was, or what somebody else has made of it
ExitStatus trace(const Session &session);
