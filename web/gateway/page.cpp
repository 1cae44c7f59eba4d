// Fills two elements of the page.
// SPDX-License-Identifier: MIT
#include "page.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

/// Puts @p content into the element of @p page that begins with @p start and ends with @p end.
void fill(QByteArray *page, const QByteArray &start, const QByteArray &end,
          const QByteArray &content)
{
    const int begin = page->indexOf(start);
    const int inside = begin < 0 ? -1 : begin + start.size();
    const int close = inside < 0 ? -1 : page->indexOf(end, inside);
    if (close >= 0) {
        page->replace(inside, close - inside, content);
    }
}

QByteArray cell(const QJsonObject &row, const char *key)
{
    return "<td>" + row.value(QLatin1String(key)).toString().toHtmlEscaped().toUtf8() + "</td>";
}

} // namespace

const QString pagePath = QStringLiteral("/www/pages/logging/index.html");

QByteArray filled(QByteArray page, const Answer &first)
{
    QByteArray rows;
    const QJsonArray activities = first.body.value(QStringLiteral("activities")).toArray();
    for (const QJsonValue &value : activities) {
        const QJsonObject row = value.toObject();
        rows += "<tr><td></td>" + cell(row, "activity") + cell(row, "level") + cell(row, "support")
            + cell(row, "destination") + "<td></td></tr>";
    }
    // Behind "<", a browser might see the end of the element.
    const QByteArray data
        = QJsonDocument(first.body).toJson(QJsonDocument::Compact).replace('<', "\\u003c");
    fill(&page, "<tbody id=\"rows\">", "</tbody>", rows);
    fill(&page, "<script type=\"application/json\" id=\"first\">", "</script>", data);
    return page;
}

QByteArray filledPage(const Answer &first)
{
    QFile file(pagePath);
    return file.open(QIODevice::ReadOnly) ? filled(file.readAll(), first) : QByteArray();
}
