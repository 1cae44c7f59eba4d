// The table of activities as it is expected: its header and its rows.
// SPDX-License-Identifier: MIT
#pragma once

#include "literal.h"

#include <QList>
#include <QString>

namespace ActivityTable {

inline const QString header = "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n"_s;

/// A field that the block does not have is "none".
struct Row
{
    QString activity;
    QString level = "none"_s;
    QString support = "none"_s;
    QString destination = "none"_s;
};

inline QString rowText(const Row &row)
{
    return row.activity.leftJustified(20) + "   "_s + row.level.leftJustified(8) + "   "_s
        + row.support.leftJustified(10) + "   "_s + row.destination.leftJustified(60)
        + QLatin1Char('\n');
}

inline QString table(const QList<Row> &rows)
{
    QString text = header;
    for (const Row &row : rows) {
        text += rowText(row);
    }
    return text;
}

} // namespace ActivityTable
