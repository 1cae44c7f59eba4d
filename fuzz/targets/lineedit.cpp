// Fuzzes the reading and the editing of single lines of logappli.conf, and the text encoding below.
// The input: a line with an activity, one with a level, one with a destination, then the file.
// SPDX-License-Identifier: MIT
#include "syslogconf/lineedit.h"
#include "destinations/destinationsyntax.h"
#include "levels/levelvocabulary.h"
#include "support/input.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/activityparser.h"
#include "syslogconf/textfile.h"

#include <array>

namespace {

const QString firstLine = QStringLiteral("first\n");

QString levelOf(const QByteArray &text)
{
    static const std::array<const char *, 6> names {"emerg",  "err",  "warning",
                                                    "notice", "info", "debug"};
    const QString level = decodeText(text);
    return isValidLevel(level) ? level : QLatin1String(names.at(Fuzz::choice(text, names.size())));
}

/// Whether the bus could carry @p text: not a byte of it is an escape.
bool isUtf8(const QString &text)
{
    return QString::fromUtf8(text.toUtf8()) == text;
}

QString parsedTarget(const QString &line, QString *support)
{
    ParsedActivity accumulator;
    resetParsedActivity(accumulator);
    ParsedActivity parsed;
    parseActivityLine(accumulator, line, parsed);
    *support = parsed.support.trimmed();
    return parsed.destination;
}

QString parsedLevel(const QString &line)
{
    ParsedActivity accumulator;
    resetParsedActivity(accumulator);
    ParsedActivity parsed;
    parseActivityLine(accumulator, line, parsed);
    return parsed.level;
}

/// @return the new line without its line feed; the old one when it was not replaced
QString rewritten(const ConfigLineEdit &edit, bool *replaced)
{
    QString out = firstLine;
    *replaced = rewriteLine(edit, out);
    FUZZ_REQUIRE(out.startsWith(firstLine));
    if (!*replaced) {
        FUZZ_REQUIRE(out == firstLine);
        return edit.line;
    }
    FUZZ_REQUIRE(out.endsWith(QLatin1Char('\n')));
    return out.mid(firstLine.size(), out.size() - firstLine.size() - 1);
}

/// The same edit once more changes nothing.
void checkRepeated(ConfigLineEdit edit, const QString &newLine)
{
    edit.line = newLine;
    bool replaced = false;
    FUZZ_REQUIRE(rewritten(edit, &replaced) == newLine);
}

void checkLevelEdit(const QString &line, const QString &activity, const QString &level)
{
    ConfigLineEdit edit;
    edit.line = line;
    edit.key = QStringLiteral("level(");
    edit.level = level;
    edit.activity = activity;
    bool replaced = false;
    const QString newLine = rewritten(edit, &replaced);

    const std::string before = encodeText(line).toStdString();
    const std::string expected
        = Reference::withLevel("# BEGIN \n" + before + '\n', std::string(), level.toStdString());
    FUZZ_REQUIRE("# BEGIN \n" + encodeText(newLine).toStdString() + '\n' == expected);
    if (!Reference::isPlainForLevel(before)) {
        return;
    }
    FUZZ_REQUIRE(replaced);
    FUZZ_REQUIRE(parsedLevel(newLine).trimmed() == level);
    checkRepeated(edit, newLine);
    // With the old level back, the old line is back: nothing else has changed.
    const int oldEnd = line.indexOf(QLatin1String(".."));
    const int oldStart = line.indexOf(edit.key) + edit.key.size();
    edit.level = line.mid(oldStart, oldEnd - oldStart);
    edit.line = newLine;
    if (!edit.level.isEmpty()) {
        FUZZ_REQUIRE(rewritten(edit, &replaced) == line);
    }
}

/// What was written is what is read back.
void checkTarget(const QString &newLine, const QString &destination)
{
    const int opening = destination.indexOf(QLatin1String("(\""));
    if (opening < 0 || destination.at(opening - 1) == QLatin1Char(' ')) {
        return;
    }
    const QString kind = destination.left(opening);
    QString target = destination.mid(opening + 2).chopped(1).remove(QLatin1Char('"'));
    if (kind == QLatin1String("udp") || kind == QLatin1String("tcp")) {
        target.prepend(QLatin1String("IP :"));
    }
    QString support;
    const QString read = parsedTarget(newLine, &support);
    FUZZ_REQUIRE(support == kind);
    FUZZ_REQUIRE(read == target.leftJustified(60));
}

void checkDestinationEdit(const QString &line, const QString &activity, const QString &destination,
                          bool isAccepted)
{
    if (destination.isEmpty()) {
        return;
    }
    ConfigLineEdit edit;
    edit.line = line;
    edit.key = QStringLiteral("destination d_");
    if (!activity.isEmpty()) {
        edit.key += activity + QStringLiteral(" {");
    }
    edit.destination = destination;
    edit.activity = activity;
    bool replaced = false;
    const QString newLine = rewritten(edit, &replaced);
    checkRepeated(edit, newLine);

    // The second implementation works on files, so the line stands in a block; a name that ends in
    // white space has none.
    if (isUtf8(activity) && isUtf8(destination) && activity == activity.trimmed()) {
        const std::string name = activity.toStdString();
        const std::string begin = "# BEGIN " + name + '\n';
        FUZZ_REQUIRE(begin + encodeText(newLine).toStdString() + '\n'
                     == Reference::withDestination(begin + encodeText(line).toStdString() + '\n',
                                                   name, destination.toStdString()));
    }
    // The reader goes by the first brace of a line that says what it is.
    if (isAccepted && replaced && newLine.contains(QLatin1String("destination"))
        && newLine.indexOf(QLatin1Char('{')) + 1
            == newLine.size() - destination.size() - static_cast<int>(qstrlen(" ; };"))) {
        checkTarget(newLine, destination);
    }
}

void checkMarker(const QString &line, const QString &activity)
{
    if (activity.isEmpty() || !isUtf8(activity)) {
        return;
    }
    FUZZ_REQUIRE((matchBlockMarker(beginMarker(activity), line) == 0)
                 == Reference::beginsBlock(encodeText(line).toStdString(), activity.toStdString()));
    FUZZ_REQUIRE(matchBlockMarker(beginMarker(QString()), line)
                 == line.indexOf(QLatin1String("# BEGIN ")));
}

/// The list of activities agrees with the second parser's.
void checkActivities(const QStringList &lines)
{
    std::vector<std::u16string> plainLines;
    ParsedActivity accumulator;
    resetParsedActivity(accumulator);
    QList<ParsedActivity> found;
    for (const QString &line : lines) {
        plainLines.push_back(line.toStdU16String());
        ParsedActivity parsed;
        parseActivityLine(accumulator, line, parsed);
        if (isCompleteActivity(parsed)) {
            found.append(parsed);
            resetParsedActivity(accumulator);
        }
    }
    const std::vector<Reference::Activity> expected = Reference::activities(plainLines);
    FUZZ_REQUIRE(static_cast<std::size_t>(found.size()) == expected.size());
    for (int i = 0; i < found.size(); ++i) {
        const Reference::Activity &activity = expected[static_cast<std::size_t>(i)];
        const auto padded = [](const std::u16string &text, int width) {
            return QString::fromStdU16String(text).leftJustified(width);
        };
        FUZZ_REQUIRE(found.at(i).activity == padded(activity.name, 20));
        FUZZ_REQUIRE(found.at(i).facilityValue == padded(activity.facilityValue, 8));
        FUZZ_REQUIRE(found.at(i).level == padded(activity.level, 8));
        FUZZ_REQUIRE(found.at(i).support == padded(activity.support, 10));
        FUZZ_REQUIRE(found.at(i).destination == padded(activity.target, 60));
        FUZZ_REQUIRE(activityTableRow(found.at(i)).endsWith(QLatin1Char('\n')));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray file = Fuzz::bytes(data, size);
    FUZZ_REQUIRE(encodeText(decodeText(file)) == file);
    file.replace("\r", "");
    const QString activity = decodeText(Fuzz::takeLine(file));
    const QString level = levelOf(Fuzz::takeLine(file));
    const QString destination = decodeText(Fuzz::takeLine(file));

    const QStringList lines = splitLines(decodeText(file));
    QString joined = lines.join(QLatin1Char('\n'));
    if (file.endsWith('\n')) {
        joined += QLatin1Char('\n');
    }
    FUZZ_REQUIRE(encodeText(joined) == file);

    checkActivities(lines);
    const bool isAccepted = isDestinationValid(destination);
    for (const QString &line : lines) {
        checkMarker(line, activity);
        checkLevelEdit(line, activity, level);
        checkLevelEdit(line, QString(), level);
        checkDestinationEdit(line, activity, destination, isAccepted);
        checkDestinationEdit(line, QString(), destination, isAccepted);
    }
    return 0;
}
