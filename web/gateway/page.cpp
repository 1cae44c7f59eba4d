// Fills two elements of the page.
// SPDX-License-Identifier: MIT
#include "page.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

/// Puts @p content into the element of @p page that begins with @p start, which may have more
/// attributes, and ends with @p end.
void fill(QByteArray *page, const QByteArray &start, const QByteArray &end,
          const QByteArray &content)
{
    const int begin = page->indexOf(start);
    const int inside = begin < 0 ? 0 : page->indexOf('>', begin + start.size()) + 1;
    const int close = inside == 0 ? -1 : page->indexOf(end, inside);
    if (close >= 0) {
        page->replace(inside, close - inside, content);
    }
}

QByteArray text(const QJsonObject &row, const char *key)
{
    return row.value(QLatin1String(key)).toString().toHtmlEscaped().toUtf8();
}

/// A row as the page's script makes it, but for what can be clicked.
QByteArray rowOf(const QJsonObject &row)
{
    const auto cell = [](const QByteArray &name, const QByteArray &content) -> QByteArray {
        return R"(<td role="cell" class=")" + name + "\">" + content + "</td>";
    };
    const QByteArray level = text(row, "level");
    return R"(<tr role="row">)" + cell("pick", {})
        + R"(<th role="rowheader" scope="row" class="name">)" + text(row, "activity") + "</th>"
        + cell("level", R"(<span class="badge" data-level=")" + level + "\">" + level + "</span>")
        + cell("support", text(row, "support")) + cell("destination", text(row, "destination"))
        + cell("size", {}) + cell("acts", {}) + "</tr>";
}

} // namespace

const QString pagePath = QStringLiteral("/www/pages/logging/index.html");

QByteArray filled(QByteArray page, const Answer &first)
{
    QByteArray rows;
    const QJsonArray activities = first.body.value(QStringLiteral("activities")).toArray();
    for (const QJsonValue &value : activities) {
        rows += rowOf(value.toObject());
    }
    // Behind "<", a browser might see the end of the element.
    const QByteArray data
        = QJsonDocument(first.body).toJson(QJsonDocument::Compact).replace('<', "\\u003c");
    fill(&page, R"(<tbody id="rows")", "</tbody>", rows);
    fill(&page, R"(<script type="application/json" id="first")", "</script>", data);
    return page;
}

QByteArray filledPage(const Answer &first)
{
    QFile file(pagePath);
    return file.open(QIODevice::ReadOnly) ? filled(file.readAll(), first) : QByteArray();
}
