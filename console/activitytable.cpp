// Columns of the table of activities.
// SPDX-License-Identifier: MIT
#include "activitytable.h"

#include "words.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace {

// Each column is at least so wide; a longer value makes it wider. Three blanks follow.
constexpr int activityWidth = 20;
constexpr int levelWidth = 8;
constexpr int supportWidth = 10;
const QString columnGap = QStringLiteral("   ");

/// The column of @p row that begins at @p position, which is moved behind it.
QString takeColumn(const QString &row, int width, int *position)
{
    const int end = row.indexOf(columnGap, *position + width);
    const QString column = row.mid(*position, end < 0 ? -1 : end - *position).trimmed();
    *position = end < 0 ? row.size() : end + columnGap.size();
    return column;
}

/// A cell's text as it may stand in one line of a terminal.
QString cell(QString text)
{
    return visible(text.replace(QLatin1Char('\t'), QLatin1Char(' ')));
}

} // namespace

const QString activityTableHeader
    = QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n");

bool isActivityTable(const QString &text)
{
    return text.startsWith(activityTableHeader);
}

QList<ActivityRow> parseActivityTable(const QString &text)
{
    QList<ActivityRow> rows;
    const QStringList lines
        = text.mid(activityTableHeader.size()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        int position = 0;
        ActivityRow row;
        row.activity = takeColumn(line, activityWidth, &position);
        row.level = takeColumn(line, levelWidth, &position);
        row.support = takeColumn(line, supportWidth, &position);
        row.destination = line.mid(position).trimmed();
        rows.append(row);
    }
    return rows;
}

QString markedLevel(const QString &level, int width, const Screen &screen)
{
    if (!isVerbose(level)) {
        return level.leftJustified(width);
    }
    if (!screen.color) {
        return QString(level + QStringLiteral(" *")).leftJustified(width);
    }
    const bool mild = level == QLatin1String("warning") || level == QLatin1String("notice");
    return (mild ? QStringLiteral("\033[33m") : QStringLiteral("\033[1;35m")) + level
        + QStringLiteral("\033[0m") + QString(std::max(0, width - level.size()), QLatin1Char(' '));
}

QString formatActivityTable(const QList<ActivityRow> &rows, const Screen &screen)
{
    constexpr size_t columns = 4;
    constexpr std::array<int, columns> widest {24, 9, 12, 0};
    constexpr int gap = 2;
    constexpr int narrowestDestination = 10;
    using Cells = std::array<QString, columns>;

    QList<Cells> lines;
    lines.append({QStringLiteral("ACTIVITY"), QStringLiteral("LEVEL"), QStringLiteral("SUPPORT"),
                  QStringLiteral("DESTINATION")});
    for (const ActivityRow &row : rows) {
        lines.append(
            {cell(row.activity), cell(row.level), cell(row.support), cell(row.destination)});
    }
    std::array<int, columns> widths {};
    int left = screen.width;
    for (size_t i = 0; i + 1 < columns; ++i) {
        for (const Cells &line : qAsConst(lines)) {
            const int mark = i == 1 && isVerbose(line[i]) ? 2 : 0;
            widths[i] = std::max(widths[i], std::min(line[i].size() + mark, widest[i]));
        }
        left -= widths[i] + gap;
    }
    widths[columns - 1] = std::max(left, narrowestDestination);

    QString text;
    for (const Cells &line : qAsConst(lines)) {
        int height = 1;
        for (size_t i = 0; i < columns; ++i) {
            // A verbose level fits, and its mark with it.
            height = std::max(height, (line[i].size() + widths[i] - 1) / widths[i]);
        }
        for (int part = 0; part < height; ++part) {
            QString shown;
            for (size_t i = 0; i < columns; ++i) {
                const QString piece = line[i].mid(part * widths[i], widths[i]);
                shown += i == 1 ? markedLevel(piece, widths[i], screen)
                                : piece.leftJustified(widths[i]);
                shown += QString(gap, QLatin1Char(' '));
            }
            while (shown.endsWith(QLatin1Char(' '))) {
                shown.chop(1);
            }
            text += shown + QLatin1Char('\n');
        }
    }
    return text;
}
