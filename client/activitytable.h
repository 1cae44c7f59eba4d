// The table of activities in the service's answers, read back, and what it says about changes.
// SPDX-License-Identifier: MIT
#pragma once

#include <QList>
#include <QString>
#include <QStringList>

/// One row of the table; the columns' padding is removed.
struct ActivityRow
{
    QString activity;
    QString level;
    QString support;
    QString destination;
};

/// The first line of the table, with its line feed.
extern const QString activityTableStart;

/// Whether @p text is a table of activities, and no message.
bool isActivityTable(const QString &text);

/// The rows of the table @p text, in its order.
QList<ActivityRow> parseActivityTable(const QString &text);

/// The row of the activity @p name in @p rows, null when there is none.
const ActivityRow *findActivity(const QList<ActivityRow> &rows, const QString &name);

/// The activity of @p rows that a person means by @p name: that very name, or else the only one
/// that differs from it in its case. An empty text when there is none, or more than one.
QString meantActivity(const QList<ActivityRow> &rows, const QString &name);

/// The activity of @p rows that @p name may be a mistyped form of; an empty text when there is
/// none.
QString nearestActivity(const QList<ActivityRow> &rows, const QString &name);

/// The row of @p activity as the table shows it when its messages go to the syslog-ng destination
/// @p destination, or to the keyword "V24" (the serial console). Its level is empty.
ActivityRow rowWithDestination(const QString &activity, const QString &destination);

/// The same for its own log, which `redirect all init` gives it.
ActivityRow rowWithOwnDestination(const QString &activity);

/// Whether the messages of both rows go to the same place.
bool sameDestination(const ActivityRow &left, const ActivityRow &right);

/// Whether the level is "err" and the destination its own log.
bool isInitial(const ActivityRow &row);

/// The destination of @p row in a sentence: "/var/log/x.log", "udp 10.1.2.3 port(514)".
QString destinationWords(const ActivityRow &row);

/// One value of one activity before and after a change.
struct Difference
{
    QString activity;
    QString what; ///< "level" or "destination"; "activity" when it came or went
    QString before; ///< empty for an activity that came
    QString after; ///< empty for an activity that went
};

/// What is otherwise in @p after than it was in @p before, in the order of the activities.
QList<Difference> differences(const QList<ActivityRow> &before, const QList<ActivityRow> &after);
