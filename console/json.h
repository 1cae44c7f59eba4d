// JSON as loggerctl prints it.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/tablejson.h"
#include "screen.h"

#include <QJsonDocument>
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
