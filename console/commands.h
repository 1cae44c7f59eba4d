// The subcommands of loggerctl: what each takes, what it says about itself, what it asks for.
// SPDX-License-Identifier: MIT
#pragma once

#include "reading.h"

#include <QString>
#include <QStringList>

/// One subcommand. Texts of several lines have no line feed at their end.
struct Command
{
    const char *name;
    const char *forms; ///< the arguments of each form, one form a line; "" for none
    const char *summary; ///< one line for the list of subcommands
    const char *details; ///< what a person has to know to use it
    const char *examples; ///< the arguments of each example, one a line
    const char *options; ///< the long names of the options that only some take, blanks between
    bool everyday; ///< whether people need it; the others are methods of the service by their names
    Reading (*read)(const QStringList &arguments);
};

/// The names of the subcommands that people need, and behind them, if @p withMethods says so, those
/// of the service's methods.
QStringList commandNames(bool withMethods);

/// The subcommand @p name; null when there is none.
const Command *findCommand(const QString &name);

/// The lines "loggerctl NAME ARGUMENTS", one for each form of @p command, each with a line feed.
QString usageOf(const Command &command);

/// All that is to be said about @p command, but for the options.
QString helpOf(const Command &command);

/// Purpose, subcommands and examples of the whole program, but for the options. @p withMethods also
/// lists the subcommands that are methods of the service.
QString programHelp(bool withMethods);
