// Reads the command line of loggerctl.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/request.h"
#include "screen.h"

#include <QString>
#include <QStringList>

/// What is to be done with a command line.
struct CommandLine
{
    enum class Outcome {
        Ask, ///< carry out the request
        Show, ///< print the text, and be done
        Refuse, ///< the text says what to type instead
    };

    Outcome outcome = Outcome::Refuse;
    QString text;
    Request request;
    ColorMode color = ColorMode::Auto;
    bool json = false;
    int timeout = 120000; ///< how long a call may take, in ms
    bool yes = false; ///< do not ask before something is removed
    bool noWait = false; ///< the answer is enough
    bool follow = false; ///< go on with what is logged from then on
    bool sinceStart = false; ///< times are seconds since the start
    int lines = 10; ///< how many lines of a log
    int seconds = 600; ///< how long a trace takes
    QString grep; ///< only lines with this text
    QString file; ///< a copy goes to this file
};

/// Reads @p arguments, of which the first is the program's own name.
CommandLine readCommandLine(const QStringList &arguments);
