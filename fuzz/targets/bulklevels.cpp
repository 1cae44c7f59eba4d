// Fuzzes the texts and maps of the bulk level methods. The input: a line with a bulk text, one with
// a phone's model, then logappli.conf, of which the table is made.
// SPDX-License-Identifier: MIT
#include "levels/bulklevels.h"
#include "support/input.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/activityparser.h"
#include "syslogconf/textfile.h"

#include <algorithm>
#include <map>

namespace {

/// The items by a walk over the characters.
QStringList expectedItems(const QString &text)
{
    QStringList items;
    QString item;
    const QString ended = text + QLatin1Char(',');
    for (const QChar character : ended) {
        if (character == QLatin1Char(',')) {
            if (!item.isEmpty()) {
                items.append(item);
            }
            item.clear();
        } else if (character != QLatin1Char('{') && character != QLatin1Char('}')) {
            item += character;
        }
    }
    return items;
}

/// The first two words of a row; ";" ends a row as a line feed does.
std::map<QString, QString> expectedLevels(const QString &table)
{
    std::map<QString, QString> levels;
    QStringList words;
    QString word;
    const auto endWord = [&] {
        if (!word.isEmpty()) {
            words.append(word);
        }
        word.clear();
    };
    const QString ended = table + QLatin1Char('\n');
    for (const QChar character : ended) {
        if (character == QLatin1Char('\n') || character == QLatin1Char(';')) {
            endWord();
            if (words.size() >= 2) {
                levels[words.at(0)] = words.at(1);
            }
            words.clear();
        } else if (Reference::trimmed(std::u16string(1, character.unicode())).empty()) {
            endWord();
        } else {
            word += character;
        }
    }
    return levels;
}

QStringList checkItems(const QString &text)
{
    const QStringList items = bulkLevelItems(text);
    FUZZ_REQUIRE(items == expectedItems(text));
    return items;
}

QVariantMap checkReported(const QMap<QString, QString> &levels, const QString &model)
{
    const QVariantMap reported = reportedLevels(levels, model);
    const bool hasBluetooth
        = !model.isEmpty() && model != QLatin1String("PX21A") && model != QLatin1String("PX25A");
    FUZZ_REQUIRE(reported.size() == (hasBluetooth ? 7 : 6));
    FUZZ_REQUIRE(reported.contains(QStringLiteral("qvxbtmgr")) == hasBluetooth);
    for (auto entry = reported.cbegin(); entry != reported.cend(); ++entry) {
        FUZZ_REQUIRE(reportedActivities().contains(entry.key()));
        FUZZ_REQUIRE(entry.value().toString() == levels.value(entry.key()));
    }
    return reported;
}

void checkChanged(const QStringList &items, const QVariantMap &current)
{
    const QStringList changed = changedItems(items, current);
    QStringList left = items;
    left.erase(std::remove_if(left.begin(), left.end(),
                              [&](const QString &item) {
                                  const int colon = item.indexOf(QLatin1Char(':'));
                                  return colon >= 0 && current.contains(item.left(colon))
                                      && current.value(item.left(colon)).toString()
                                      == item.mid(colon + 1);
                              }),
               left.end());
    FUZZ_REQUIRE(changed == left);
    // What is asked for and is so already is no change.
    FUZZ_REQUIRE(changedItems(changed, current) == changed);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray file = Fuzz::bytes(data, size);
    const QString bulkText = decodeText(Fuzz::takeLine(file));
    const QString model = decodeText(Fuzz::takeLine(file));
    const QStringList items = checkItems(bulkText);

    QString rows;
    ParsedActivity accumulator;
    resetParsedActivity(accumulator);
    for (const QString &line : splitLines(decodeText(file.replace("\r", "")))) {
        ParsedActivity parsed;
        parseActivityLine(accumulator, line, parsed);
        if (isCompleteActivity(parsed)) {
            rows += activityTableRow(parsed);
            resetParsedActivity(accumulator);
        }
    }
    for (const QString &table : {QString(activityTableHeader() + rows), bulkText}) {
        const QMap<QString, QString> levels = levelsFromTable(table);
        QString expectedFrom = table;
        FUZZ_REQUIRE(levels.toStdMap()
                     == expectedLevels(expectedFrom.remove(activityTableHeader())));
        checkChanged(items, checkReported(levels, model));
    }
    return 0;
}
