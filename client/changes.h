// Changes that a client looks at before it calls them done: the service's answer says less than
// what the configuration shows afterwards. SPDX-License-Identifier: MIT
#pragma once

#include "activitytable.h"
#include "service.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The table of activities, or why there is none.
struct Listing
{
    Reply reply; ///< the service's own answer
    bool valid = false; ///< whether it is a table
    QList<ActivityRow> rows;
};

/// Asks for the table. Waits behind jobs that were begun before.
Listing listActivities(const Caller &caller);

/// What became of a redirection.
struct Redirection
{
    Reply reply; ///< the service's own answer
    bool answered = false; ///< whether that answer is a success
    bool looked = false; ///< whether the table could be read before and after
    /// Rows as they are now of the activities that are not where they should be: syslog-ng refused
    /// the destination, and the configuration's backup is in place again.
    QList<ActivityRow> refused;
    QList<Difference> lost; ///< what else is otherwise than before
    QList<ActivityRow> moved; ///< rows as they are now of the activities that were redirected

    bool done() const { return answered && looked && refused.isEmpty(); }
};

/// Redirects as @p request asks (Redirect, RedirectToSupport or RedirectToServer), and looks
/// whether the table shows it.
Redirection redirectAndLook(const Caller &caller, const Request &request);

/// The destination text that the service makes of the words of a redirection.
QString destinationOf(const Request &request);

/// One level that was asked for.
struct LevelItem
{
    QString activity;
    QString level;
};

/// The items of the text that sets several levels, ACTIVITY:LEVEL with commas between, in braces or
/// not. An item without a colon has no level.
QList<LevelItem> levelItems(const QString &text);

/// What became of a change of several levels.
struct LevelChanges
{
    Reply reply; ///< the service's own answer, which comes before the work is done
    bool answered = false; ///< whether that answer is a success
    bool looked = false; ///< whether the table could be read behind the work
    QList<ActivityRow> changed; ///< rows as they are now, at the level asked for
    QStringList unchanged; ///< activities that are not at the level asked for
    QStringList unknown; ///< of these, those that the table does not show

    bool done() const { return answered && looked && unchanged.isEmpty(); }
};

/// Sets the levels as @p request asks (SetLevels or ResetLevels), waits for the work behind it, and
/// looks at the table.
LevelChanges setLevelsAndLook(const Caller &caller, const Request &request);

/// Why a comment to @p activity would not be written, as @p rows shows it; an empty text when it
/// will be. No full stop at the end.
QString obstacleForComment(const QList<ActivityRow> &rows, const QString &activity);
