// Case-sensitive substring search for the four tokens of an activity's block.
// SPDX-License-Identifier: MIT
#include "activityparser.h"

namespace {

constexpr int activityWidth = 20;
constexpr int facilityValueWidth = 8;
constexpr int levelWidth = 8;
constexpr int destinationWidth = 60;
constexpr int supportWidth = 10;

const QString columnGap = QStringLiteral("   ");

/// Looks for @p opening and then for @p closing. @return whether @p inside holds what is between
bool textBetween(const QString &line, QLatin1String opening, QLatin1String closing, QString *inside)
{
    const int start = line.indexOf(opening);
    if (start < 0) {
        return false;
    }
    const int end = line.indexOf(closing, start + opening.size());
    if (end < 0) {
        return false;
    }
    *inside = line.mid(start + opening.size(), end - start - opening.size());
    return true;
}

void parseDestination(ParsedActivity &accumulator, const QString &line)
{
    const int brace = line.indexOf(QLatin1Char('{'));
    if (brace < 0 || !line.contains(QLatin1String("destination"))) {
        return;
    }
    QString rest = line.mid(brace + 1);
    const int terminator = rest.indexOf(QLatin1String("); };"));
    if (terminator >= 0) {
        rest.truncate(terminator);
    }
    const int opening = rest.indexOf(QLatin1String("(\""));
    if (opening < 0) {
        return;
    }
    const QString support = rest.left(opening).trimmed();
    // The target is cut by position: behind one blank, the keyword, the parenthesis and the quote.
    QString destination = rest.mid(support.size() + 3);
    if (support == QLatin1String("udp") || support == QLatin1String("tcp")) {
        destination.prepend(QLatin1String("IP :"));
    }
    destination.remove(QLatin1Char('"'));

    accumulator.support = support.leftJustified(supportWidth);
    accumulator.destination = destination.leftJustified(destinationWidth);
    accumulator.fieldCount += 2;
}

} // namespace

QString activityTableHeader()
{
    return QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n");
}

void resetParsedActivity(ParsedActivity &accumulator)
{
    const QString none = QStringLiteral("none");
    accumulator.activity = none.leftJustified(activityWidth);
    accumulator.facilityValue = none.leftJustified(facilityValueWidth);
    accumulator.level = none.leftJustified(levelWidth);
    accumulator.destination = none.leftJustified(destinationWidth);
    accumulator.support = none.leftJustified(supportWidth);
    accumulator.complete = false;
    accumulator.fieldCount = 0;
}

void parseActivityLine(ParsedActivity &accumulator, const QString &line, ParsedActivity &out)
{
    const QLatin1String endMarker("# END");
    const int end = line.indexOf(endMarker);
    if (end >= 0) {
        accumulator.activity
            = line.mid(end + endMarker.size()).trimmed().leftJustified(activityWidth);
        accumulator.complete = true;
        ++accumulator.fieldCount;
    }
    QString inside;
    if (textBetween(line, QLatin1String("level("), QLatin1String(".."), &inside)) {
        accumulator.level = inside.leftJustified(levelWidth);
        ++accumulator.fieldCount;
    }
    if (textBetween(line, QLatin1String("facility("), QLatin1String(")"), &inside)) {
        accumulator.facilityValue = inside.leftJustified(facilityValueWidth);
        ++accumulator.fieldCount;
    }
    parseDestination(accumulator, line);
    out = accumulator;
}

bool isCompleteActivity(const ParsedActivity &parsed)
{
    return parsed.fieldCount >= 1 && parsed.complete;
}

QString activityTableRow(const ParsedActivity &parsed)
{
    return parsed.activity + columnGap + parsed.level + columnGap + parsed.support + columnGap
        + parsed.destination + QLatin1Char('\n');
}

ActivityLevelEntry activityLevelEntry(const ParsedActivity &parsed)
{
    return {parsed.activity.trimmed(), parsed.level.trimmed(), parsed.facilityValue.trimmed()};
}
