// One run of loggerctl: what was typed, whom it asks, and where it writes.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/service.h"
#include "commandline.h"
#include "presentation.h"

/// What the subcommands work with.
struct Session
{
    CommandLine line;
    Caller caller;
    Screens screens;
};

/// Writes @p presentation. @return its status, or Failed when the output cannot be written
ExitStatus write(const Presentation &presentation);

/// Writes the line "loggerctl: TEXT" to standard error.
void note(const Session &session, const QString &text);

/// Writes the line that says why there is no answer. @return Unreachable
ExitStatus unreachable(const Session &session, const Reply &reply);

/// Asks a person @p question, to be answered with y or n, where standard input is a terminal and
/// --yes was not given. @return whether to go on
bool confirm(const Session &session, const QString &question);

/// Ends the traces that were left behind, and says so on standard error.
void settle(const Session &session);
