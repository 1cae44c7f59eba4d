// The table of activities in the service's answers: read back, and laid out for a terminal.
// SPDX-License-Identifier: MIT
#pragma once

#include "screen.h"

#include <QList>
#include <QString>

/// One row of the table; the columns' padding is removed.
struct ActivityRow
{
    QString activity;
    QString level;
    QString support;
    QString destination;
};

/// The first line of the table, with its line feed.
extern const QString activityTableHeader;

/// Whether @p text is a table of activities, and no message.
bool isActivityTable(const QString &text);

/// The rows of the table @p text, in its order.
QList<ActivityRow> parseActivityTable(const QString &text);

/// @p rows laid out for the width of @p screen; what does not fit goes on in the next line. Levels
/// more verbose than "err" stand out: in colour, or with a "*" behind them. Every line ends with a
/// line feed.
QString formatActivityTable(const QList<ActivityRow> &rows, const Screen &screen);

/// @p level as it stands out on @p screen, followed by blanks up to @p width columns.
QString markedLevel(const QString &level, int width, const Screen &screen);
