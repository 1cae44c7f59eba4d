// Turns an answer into what is printed and the exit status.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/activitytable.h"
#include "client/request.h"
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

/// @p text as it goes to @p screen, with a line feed at its end when it has none: on a terminal
/// without anything that could control it, and with its lines broken at blanks.
QString shownText(const QString &text, const Screen &screen);

/// @p hint as a line behind a failure; an empty text for an empty hint.
QString hintLine(const QString &hint, const Screen &screen);

/// Presents a level change that @p event announces: the arguments of log_level_changed. @p time
/// stands in front.
QString presentChange(const QVariantMap &event, const QString &time, const Screens &screens);

/// Presents the new destination of an activity in the same way.
QString presentMove(const ActivityRow &row, const QString &time, const Screens &screens);

/// Why there is no answer, and what to do about it, without a full stop. @p service is the name of
/// the module that was asked; @p timedOut tells that all the @p seconds are over.
QString presentError(const QDBusError &error, const QString &service, bool timedOut, int seconds);
