// Columns of the table of activities, and how the service makes them of destinations.
// SPDX-License-Identifier: MIT
#include "activitytable.h"

#include "words.h"

#include <algorithm>

namespace {

// Each column is at least so wide; a longer value makes it wider. Three blanks follow.
constexpr int activityWidth = 20;
constexpr int levelWidth = 8;
constexpr int supportWidth = 10;
const QString columnGap = QStringLiteral("   ");
const QString networkMark = QStringLiteral("IP :"); // before the address of a log server

/// The column of @p row that begins at @p position, which is moved behind it.
QString takeColumn(const QString &row, int width, int *position)
{
    const int end = row.indexOf(columnGap, *position + width);
    const QString column = row.mid(*position, end < 0 ? -1 : end - *position).trimmed();
    *position = end < 0 ? row.size() : end + columnGap.size();
    return column;
}

} // namespace

const QString activityTableStart
    = QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n");

bool isActivityTable(const QString &text)
{
    return text.startsWith(activityTableStart);
}

QList<ActivityRow> parseActivityTable(const QString &text)
{
    QList<ActivityRow> rows;
    const QStringList lines
        = text.mid(activityTableStart.size()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
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

const ActivityRow *findActivity(const QList<ActivityRow> &rows, const QString &name)
{
    const auto found = std::find_if(
        rows.begin(), rows.end(), [&name](const ActivityRow &row) { return row.activity == name; });
    return found != rows.end() ? &*found : nullptr;
}

QString meantActivity(const QList<ActivityRow> &rows, const QString &name)
{
    // The word for all activities means none of them.
    if (name == QLatin1String("all") || findActivity(rows, name) != nullptr) {
        return name;
    }
    QString meant;
    for (const ActivityRow &row : rows) {
        if (row.activity.compare(name, Qt::CaseInsensitive) == 0) {
            if (!meant.isEmpty()) {
                return {};
            }
            meant = row.activity;
        }
    }
    return meant;
}

QString nearestActivity(const QList<ActivityRow> &rows, const QString &name)
{
    QStringList names;
    for (const ActivityRow &row : rows) {
        names.append(row.activity);
    }
    return nearestWord(name, names);
}

ActivityRow rowWithDestination(const QString &activity, const QString &destination)
{
    // The service cuts its table out of the line of the configuration by position.
    const QString driver = destination == QLatin1String("V24")
        ? QStringLiteral("file(\"/dev/console\")")
        : destination;
    QString rest = QStringLiteral(" ") + driver + QStringLiteral("; };");
    rest.truncate(rest.indexOf(QStringLiteral("); };")));
    ActivityRow row;
    row.activity = activity;
    row.support = rest.left(rest.indexOf(QStringLiteral("(\""))).trimmed();
    row.destination = rest.mid(row.support.size() + 3).remove(QLatin1Char('"'));
    if (row.support == QLatin1String("udp") || row.support == QLatin1String("tcp")) {
        row.destination.prepend(networkMark);
    }
    row.destination = row.destination.trimmed();
    return row;
}

ActivityRow rowWithOwnDestination(const QString &activity)
{
    const QString path = activity.contains(QStringLiteral("defence"))
        ? QStringLiteral("/log/Defence.log")
        : QString(QStringLiteral("/var/log/") + activity + QStringLiteral(".log"));
    return {activity, QString(), QStringLiteral("file"), path};
}

bool sameDestination(const ActivityRow &left, const ActivityRow &right)
{
    return left.support == right.support && left.destination == right.destination;
}

bool isInitial(const ActivityRow &row)
{
    return row.level == QLatin1String("err")
        && sameDestination(row, rowWithOwnDestination(row.activity));
}

QString destinationWords(const ActivityRow &row)
{
    if (row.support == QLatin1String("file")) {
        return row.destination;
    }
    return row.support + QLatin1Char(' ')
        + (row.destination.startsWith(networkMark) ? row.destination.mid(networkMark.size())
                                                   : row.destination);
}

QList<Difference> differences(const QList<ActivityRow> &before, const QList<ActivityRow> &after)
{
    QList<Difference> found;
    for (const ActivityRow &old : before) {
        const ActivityRow *const now = findActivity(after, old.activity);
        if (now == nullptr) {
            found.append({old.activity, QStringLiteral("activity"), old.activity, QString()});
            continue;
        }
        if (now->level != old.level) {
            found.append({old.activity, QStringLiteral("level"), old.level, now->level});
        }
        if (!sameDestination(*now, old)) {
            found.append({old.activity, QStringLiteral("destination"), destinationWords(old),
                          destinationWords(*now)});
        }
    }
    for (const ActivityRow &row : after) {
        if (findActivity(before, row.activity) == nullptr) {
            found.append({row.activity, QStringLiteral("activity"), QString(), row.activity});
        }
    }
    return found;
}
