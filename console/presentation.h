// Turns an answer into what is printed and the exit status.
// SPDX-License-Identifier: MIT
#pragma once

#include "request.h"
#include "screen.h"

#include <QDBusError>
#include <QString>
#include <QVariant>
#include <QVariantMap>

/// The exit statuses of loggerctl.
enum ExitStatus {
    Done = 0,
    Failed = 1, ///< the service says no, or the answer cannot be written
    WrongUsage = 2,
    Unreachable = 3, ///< no service, no permission, or no answer
};

/// What is to be written, and the exit status that goes with it.
struct Presentation
{
    QString output; ///< for standard output
    QString errors; ///< for standard error
    ExitStatus status = Done;
};

/// Where it is to be written.
struct Screens
{
    Screen output;
    Screen errors;
    bool json = false;
};

/**
 * Presents the answer to @p request: a text (QString), a map (QVariantMap), or nothing (an invalid
 * variant).
 *
 * A text goes out as it is, with a line feed when it has none at its end; an empty text stays
 * empty. A failure goes to the errors, with a hint behind it. As JSON both go to the output.
 */
Presentation present(const Request &request, const QVariant &answer, const Screens &screens);

/// Presents a level change that @p event announces: the arguments of log_level_changed.
QString presentChange(const QVariantMap &event, const Screens &screens);

/// The line that says why there is no answer, and what to do about it. @p service is the name of
/// the module that was asked; @p timedOut tells that all the @p seconds are over.
QString presentError(const QDBusError &error, const QString &service, bool timedOut, int seconds);
