// Columns where they fit, otherwise two lines for each activity.
// SPDX-License-Identifier: MIT
#include "tablelayout.h"

#include "client/words.h"

#include <algorithm>
#include <array>

namespace {

constexpr size_t columns = 4;
using Cells = std::array<QString, columns>;
const QString lineFeed = QStringLiteral("\n");

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
    const QString gap(2, QLatin1Char(' '));
    const Cells names {QStringLiteral("ACTIVITY"), QStringLiteral("LEVEL"),
                       QStringLiteral("SUPPORT"), QStringLiteral("DESTINATION")};
    QList<Cells> lines;
    for (const ActivityRow &row : rows) {
        lines.append(
            {cell(row.activity), cell(row.level), cell(row.support), cell(row.destination)});
    }
    std::array<int, columns - 1> widths {};
    int room = screen.width; // for the destination
    for (size_t i = 0; i < widths.size(); ++i) {
        widths[i] = heading ? names[i].size() : 0;
        for (const Cells &line : qAsConst(lines)) {
            const int mark = i == 1 && isVerbose(line[i]) ? 2 : 0;
            widths[i] = std::max(widths[i], line[i].size() + mark);
        }
        room -= widths[i] + gap.size();
    }
    const auto fits = [room](const Cells &line) { return line.back().size() <= room; };
    const bool beside = std::count_if(lines.begin(), lines.end(), fits) * 2 >= lines.size();
    if (heading && beside) {
        lines.prepend(names);
    }
    QString text;
    for (const Cells &line : qAsConst(lines)) {
        const QString start = line[0].leftJustified(beside ? widths[0] : 0) + gap
            + markedLevel(line[1], beside ? widths[1] : 0, screen);
        const QString columnsBefore = start + gap + line[2].leftJustified(widths[2]);
        if (beside && fits(line)) {
            text += trimmedLine(columnsBefore + gap + line[3]);
        } else if (beside) {
            text += trimmedLine(columnsBefore) + wrapped(gap + line[3], screen.width) + lineFeed;
        } else {
            text += trimmedLine(start)
                + wrapped(trimmedLine(gap + line[2] + QLatin1Char(' ') + line[3]), screen.width);
        }
    }
    return text;
}
