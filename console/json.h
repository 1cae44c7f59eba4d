// JSON as loggerctl prints it.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/activitytable.h"
#include "screen.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>

/// @p json as text with a line feed at its end; on a terminal nothing in it can control that.
template<typename Json>
QString jsonText(const Json &json, QJsonDocument::JsonFormat format, const Screen &screen)
{
    QString text = QString::fromUtf8(QJsonDocument(json).toJson(format));
    if (!text.endsWith(QLatin1Char('\n'))) {
        text += QLatin1Char('\n');
    }
    return screen.terminal ? visible(text) : text;
}

/// A row of the table of activities.
inline QJsonObject rowAsJson(const ActivityRow &row)
{
    return {{QStringLiteral("activity"), row.activity},
            {QStringLiteral("level"), row.level},
            {QStringLiteral("support"), row.support},
            {QStringLiteral("destination"), row.destination}};
}

/// Rows of the table of activities.
inline QJsonArray rowsAsJson(const QList<ActivityRow> &rows)
{
    QJsonArray array;
    for (const ActivityRow &row : rows) {
        array.append(rowAsJson(row));
    }
    return array;
}
