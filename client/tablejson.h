// The table of activities, and what changed in it, as JSON.
// SPDX-License-Identifier: MIT
#pragma once

#include "activitytable.h"

#include <QJsonArray>
#include <QJsonObject>

/// A row of the table.
inline QJsonObject rowAsJson(const ActivityRow &row)
{
    return {{QStringLiteral("activity"), row.activity},
            {QStringLiteral("level"), row.level},
            {QStringLiteral("support"), row.support},
            {QStringLiteral("destination"), row.destination}};
}

/// Rows of the table.
inline QJsonArray rowsAsJson(const QList<ActivityRow> &rows)
{
    QJsonArray array;
    for (const ActivityRow &row : rows) {
        array.append(rowAsJson(row));
    }
    return array;
}

/// What changed.
inline QJsonArray differencesAsJson(const QList<Difference> &differences)
{
    QJsonArray array;
    for (const Difference &difference : differences) {
        array.append(QJsonObject {{QStringLiteral("activity"), difference.activity},
                                  {QStringLiteral("what"), difference.what},
                                  {QStringLiteral("before"), difference.before},
                                  {QStringLiteral("after"), difference.after}});
    }
    return array;
}
