// Reads the command line of loggerctl.
// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"
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
};

/// Reads @p arguments, of which the first is the program's own name.
CommandLine readCommandLine(const QStringList &arguments);
