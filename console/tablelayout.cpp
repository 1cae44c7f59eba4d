// Columns where they fit, otherwise two lines for each activity.
// SPDX-License-Identifier: MIT
#include "tablelayout.h"

#include "client/words.h"

#include <algorithm>
#include <array>

namespace {

constexpr size_t columns = 4;
using Cells = std::array<QString, columns>;

/// A cell's text as it may stand in one line of a terminal.
QString cell(QString text)
{
    return visible(text.replace(QLatin1Char('\t'), QLatin1Char(' ')));
}

QString trimmedLine(QString line)
{
    while (line.endsWith(QLatin1Char(' '))) {
        line.chop(1);
    }
    return line + QLatin1Char('\n');
}

} // namespace

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

QString formatActivityTable(const QList<ActivityRow> &rows, const Screen &screen, bool heading)
{
    constexpr int gap = 2;
    QList<Cells> lines;
    for (const ActivityRow &row : rows) {
        lines.append(
            {cell(row.activity), cell(row.level), cell(row.support), cell(row.destination)});
    }
    std::array<int, columns> widths {};
    int whole = gap * (static_cast<int>(columns) - 1);
    const Cells names {QStringLiteral("ACTIVITY"), QStringLiteral("LEVEL"),
                       QStringLiteral("SUPPORT"), QStringLiteral("DESTINATION")};
    for (size_t i = 0; i < columns; ++i) {
        widths[i] = heading ? names[i].size() : 0;
        for (const Cells &line : qAsConst(lines)) {
            const int mark = i == 1 && isVerbose(line[i]) ? 2 : 0;
            widths[i] = std::max(widths[i], line[i].size() + mark);
        }
        whole += widths[i];
    }
    const bool beside = whole <= screen.width;
    if (heading && beside) {
        lines.prepend(names);
    }
    QString text;
    for (const Cells &line : qAsConst(lines)) {
        const QString space(gap, QLatin1Char(' '));
        const QString start = line[0].leftJustified(beside ? widths[0] : 0) + space
            + markedLevel(line[1], beside ? widths[1] : 0, screen);
        if (beside) {
            text += trimmedLine(start + space + line[2].leftJustified(widths[2]) + space + line[3]);
        } else {
            text += wrapped(trimmedLine(start), screen.width)
                + wrapped(trimmedLine(space + line[2] + QLatin1Char(' ') + line[3]), screen.width);
        }
    }
    return text;
}
