// The table of activities, laid out for a terminal.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/activitytable.h"
#include "screen.h"

/// @p rows laid out for the width of @p screen, with a heading or not. A destination that does not
/// fit beside the other columns takes a line of its own; where most do not, each activity takes
/// two. Levels more verbose than "err" stand out: in colour, or with a "*" behind them. Every line
/// ends with a line feed.
QString formatActivityTable(const QList<ActivityRow> &rows, const Screen &screen,
                            bool heading = true);

/// @p level as it stands out on @p screen, followed by blanks up to @p width columns.
QString markedLevel(const QString &level, int width, const Screen &screen);
