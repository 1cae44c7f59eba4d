// The operations, but for those on destinations: takes an input apart, performs what it asks for
// and checks what that has answered and left. SPDX-License-Identifier: MIT
#include "moves.h"

#include "destinations/destinationsyntax.h"
#include "destinations/remoteserver.h"
#include "levels/facilityfile.h"
#include "levels/levelvocabulary.h"
#include "literal.h"
#include "support/input.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <map>

namespace Operations {

namespace {

int levelNumber(const QString &text)
{
    static constexpr std::array<int, 6> numbers {0, 3, 4, 5, 6, 7};
    return numbers.at(Fuzz::choice(text.toUtf8(), numbers.size()));
}

void level(Scene &scene, const Arguments &arguments)
{
    const QString activity = arguments.at(0);
    const QString name = arguments.at(1);
    const bool isForAll = activity == QLatin1String("all");
    const auto change
        = [&] { return scene.module.level(activity, name, !arguments.at(2).isEmpty()); };
    const QString answer = change();
    if (isForAll && name == QLatin1String("restore")) {
        const bool isRestored = answer == QLatin1String("level restore succcess");
        FUZZ_REQUIRE(isRestored == (scene.check.before && scene.check.backupBefore));
        FUZZ_REQUIRE(read(live)
                     == (scene.check.before && scene.check.backupBefore ? scene.check.backupBefore
                                                                        : std::nullopt));
        return;
    }
    const QString level = isForAll && name == QLatin1String("init") ? "err"_s : name;
    if (!scene.check.isKnown(activity)) {
        FUZZ_REQUIRE(answer == "Not a valid activity : "_s + activity
                     || answer.contains(QLatin1String("was corrupted"))
                     || answer.contains(QLatin1String("level not valid"))
                     || QFile::exists("/usr/bin/QVXApplication/"_s + activity));
        return;
    }
    if (!isValidLevel(level)) {
        FUZZ_REQUIRE(answer == "[level] level not valid: "_s + level);
        scene.check.unchanged();
        return;
    }
    if (!scene.check.level(isForAll ? QString() : activity, level)) {
        return;
    }
    if (answer == "Level "_s + level + " for facility : "_s + activity + " OK"_s) {
        scene.check.facilityLine(activity, 0, QString::number(levelFromName(level)));
    }
    FUZZ_REQUIRE(isForAll || outside.reloads == (arguments.at(2).isEmpty() ? 0 : 1));
    if (scene.check.isPlain) {
        std::map<QString, QString> expected = levelsIn(*scene.check.before);
        for (auto &[key, value] : expected) {
            if (isForAll || key == activity) {
                value = level;
            }
        }
        FUZZ_REQUIRE(levelsIn(read(live).value_or("")) == expected);
    }
    if (allLevelLinesArePlain(*scene.check.before)) {
        scene.repeat(change);
    }
}

void list(Scene &scene, const Arguments & /*arguments*/)
{
    const QString table = scene.module.level();
    const auto content = read(live);
    FUZZ_REQUIRE(content == (scene.check.before ? scene.check.before : scene.check.backupBefore));
    FUZZ_REQUIRE(
        table == (content ? expectedTable(*content) : "configuration file cannot be restored"_s));
    FUZZ_REQUIRE(scene.module.redirect() == table);
    const QVariantMap levels = scene.module.getSyslogLevels();
    FUZZ_REQUIRE(read(live) == content);
    if (scene.check.isPlain && content) {
        const std::map<QString, QString> expected = levelsIn(*content);
        for (auto entry = levels.cbegin(); entry != levels.cend(); ++entry) {
            const auto level = expected.find(entry.key());
            FUZZ_REQUIRE(entry.value().toString()
                         == (level == expected.end() ? QString() : level->second));
        }
    }
}

void setSyslogLevels(Scene &scene, const Arguments &arguments)
{
    const QString text = arguments.at(0);
    const QVariantMap answer = scene.module.setSyslogLevels(text, false);
    const QString value = answer.value("value"_s).toString();
    FUZZ_REQUIRE(answer.size() == 2);
    FUZZ_REQUIRE(
        answer.value("msg"_s).toString()
        == (value == QLatin1String("0") ? "Set log levels OK"_s : "Set log levels error"_s));
    if (!scene.check.isPlain || !scene.check.wentThrough() || text.contains(QLatin1String("all"))) {
        return;
    }
    const std::map<QString, QString> before = levelsIn(*scene.check.before);
    std::map<QString, QString> expected = before;
    QString items = text;
    items.remove(QLatin1Char('{')).remove(QLatin1Char('}'));
    for (const QString &item : items.split(QLatin1Char(','))) {
        const int colon = item.indexOf(QLatin1Char(':'));
        const QString activity = item.left(colon);
        const auto known = expected.find(activity);
        // Only activities that are reported can be skipped as unchanged.
        if (colon < 0 || known == expected.end() || !scene.check.isKnown(activity)
            || !isValidLevel(item.mid(colon + 1))
            || (before.at(activity) == item.mid(colon + 1)
                && scene.module.getSyslogLevels().contains(activity))) {
            continue;
        }
        known->second = item.mid(colon + 1);
    }
    FUZZ_REQUIRE(levelsIn(read(live).value_or("")) == expected);
}

void resetSyslogLevelsToErr(Scene &scene, const Arguments & /*arguments*/)
{
    const QVariantMap answer = scene.module.resetSyslogLevelsToErr(false);
    FUZZ_REQUIRE(answer.size() == 2);
    scene.check.level(QString(), "err"_s);
}

void setLevel(Scene &scene, const Arguments &arguments)
{
    const QString facility = arguments.at(0);
    const int level = levelNumber(arguments.at(1));
    const QString answer = scene.module.setLevel(facility, level);
    if (answer == "Level "_s + levelToName(level) + " for facility : "_s + facility + " "_s) {
        FUZZ_REQUIRE(read(live) == scene.check.before);
        scene.check.facilityLine(facility, 0, QString::number(level));
    }
}

void searchFacility(Scene &scene, const Arguments &arguments)
{
    const QString name = arguments.at(0);
    const QString answer = scene.module.searchFacility(name);
    if (scene.check.isKnown(name)) {
        FUZZ_REQUIRE(answer == QLatin1String("OK"));
        scene.check.unchanged();
    }
    if (answer == unknownFacilityText(name)) {
        scene.check.unchanged();
    }
}

void updateLevel(Scene &scene, const Arguments &arguments)
{
    const int level = levelNumber(arguments.at(1));
    const QString answer = scene.module.writeFacilitylevel(arguments.at(0), level);
    FUZZ_REQUIRE(read(live) == scene.check.before);
    if (answer == QLatin1String("OK")) {
        scene.check.facilityLine(arguments.at(0), 0, QString::number(level));
    }
}

void updateRedirection(Scene &scene, const Arguments &arguments)
{
    if (!isDestinationValid(arguments.at(1))) {
        return;
    }
    const QString answer
        = scene.module.updateFacilityFile(arguments.at(1), arguments.at(0), "redirection"_s, 3);
    FUZZ_REQUIRE(read(live) == scene.check.before);
    if (answer == QLatin1String("OK")) {
        scene.check.facilityLine(arguments.at(0), 2, arguments.at(1));
    }
}

void restoreFacilityFile(Scene &scene, const Arguments &arguments)
{
    const QString answer = scene.module.restoreFacilityFile(arguments.at(0));
    if (answer == QLatin1String("sylog-ng config file restored")) {
        FUZZ_REQUIRE(scene.check.isKnown(arguments.at(0)));
    } else {
        scene.check.unchanged();
    }
}

void defence(Scene &scene, const Arguments &arguments)
{
    const int position = arguments.at(0).toInt();
    const std::string before = read(defenceLog).value_or("");
    const QString answer = scene.module.defence(position, arguments.at(1));
    const std::string after = read(defenceLog).value_or("");
    const auto lines = std::count(before.begin(), before.end(), '\n');
    if (arguments.at(1) != QLatin1String("delete")) {
        FUZZ_REQUIRE(after == before);
    } else if (position <= 0) {
        FUZZ_REQUIRE(after == before);
    } else if (position <= lines) {
        FUZZ_REQUIRE(before.compare(0, after.size(), after) == 0);
        FUZZ_REQUIRE(std::count(after.begin(), after.end(), '\n') == lines - position);
    }
    if (arguments.at(1) == QLatin1String("size")) {
        FUZZ_REQUIRE(
            answer == "[DEFENCE] Total messages saved in flash sector:"_s + QString::number(lines));
    }
    scene.check.unchanged();
}

void logComments(Scene &scene, const Arguments &arguments)
{
    FUZZ_REQUIRE(scene.module.logComments(arguments.at(0), arguments.at(1)) == QLatin1String("OK"));
    scene.check.unchanged();
}

// What happens to the phone from elsewhere.

void refuse(Scene & /*scene*/, const Arguments &arguments)
{
    outside.checksToRefuse = 1 + static_cast<int>(Fuzz::choice(arguments.at(0).toUtf8(), 3));
}

void append(Scene &scene, const Arguments &arguments)
{
    scene.check.isPlain = false;
    scene.check.before = read(live).value_or("") + arguments.at(0).toStdString() + '\n';
    write(live, *scene.check.before);
}

void replaceConfiguration(Scene &scene, const Arguments &arguments)
{
    scene.check.isPlain = false;
    scene.check.before = arguments.at(0).toStdString();
    write(live, *scene.check.before);
}

void writeFacilityFile(Scene &scene, const Arguments &arguments)
{
    const QString path = facilityFilePath(arguments.at(0));
    if (!path.isEmpty() && arguments.at(0).toUtf8().size() < 200) {
        write(path.toStdString(), arguments.at(1).toStdString());
        scene.check.facilitiesBefore = facilityFiles();
    }
}

void removeFile(Scene &scene, const Arguments &arguments)
{
    switch (Fuzz::choice(arguments.at(0).toUtf8(), 4)) {
    case 0:
        remove(live);
        break;
    case 1:
        remove(backup);
        scene.check.backupBefore = std::nullopt;
        break;
    case 2:
        remove(temporary);
        break;
    default:
        remove(facilityDirectory + "qvxsipua.conf");
    }
}

void setModel(Scene & /*scene*/, const Arguments &arguments)
{
    qputenv("PHONE_MODEL", arguments.at(0).toUtf8());
}

void replaceBackup(Scene &scene, const Arguments &arguments)
{
    scene.check.isPlain = false;
    write(backup, arguments.at(0).toStdString());
    scene.check.backupBefore = read(backup);
}

struct Operation
{
    const char *name;
    void (*perform)(Scene &scene, const Arguments &arguments);
};

// A word that is no name stands for the one at a place that depends on the word.
constexpr std::array<Operation, 24> operations {{
    {"level", level},
    {"list", list},
    {"redirect", redirect},
    {"redirectToServer", redirectToServer},
    {"redirectToFile", redirectToFile},
    {"redirectAll", redirectAll},
    {"initConfigFile", initConfigFile},
    {"setSyslogLevels", setSyslogLevels},
    {"resetSyslogLevelsToErr", resetSyslogLevelsToErr},
    {"setLevel", setLevel},
    {"searchFacility", searchFacility},
    {"updateLevel", updateLevel},
    {"updateRedirection", updateRedirection},
    {"restoreFacilityFile", restoreFacilityFile},
    {"logRemoteServer", logRemoteServer},
    {"defence", defence},
    {"logComments", logComments},
    {"refuse", refuse},
    {"append", append},
    {"config", replaceConfiguration},
    {"facilityFile", writeFacilityFile},
    {"remove", removeFile},
    {"model", setModel},
    {"backup", replaceBackup},
}};

/// As D-Bus carries it, with \n for a line feed and so on.
QString unescaped(const QByteArray &word)
{
    QString text = QString::fromUtf8(word);
    text.remove(QChar::Null);
    text.replace(QLatin1String("\\n"), QLatin1String("\n"));
    text.replace(QLatin1String("\\r"), QLatin1String("\r"));
    return text;
}

void performOne(Scene &scene, const QByteArray &line)
{
    QStringList words;
    for (const QByteArray &word : line.split('\t')) {
        words.append(unescaped(word));
    }
    const QString operation = words.takeFirst();
    while (words.size() < 4) {
        words.append(QString());
    }
    const auto *found
        = std::find_if(operations.begin(), operations.end(), [&](const Operation &candidate) {
              return operation == QLatin1String(candidate.name);
          });
    if (found == operations.end()) {
        found = &operations.at(Fuzz::choice(operation.toUtf8(), operations.size()));
    }
    scene.check.begin();
    found->perform(scene, words);
    scene.check.files();
}

} // namespace

void perform(QByteArray input)
{
    constexpr int maximumOperations = 16;
    boot();
    remoteServerConfig = RemoteServerConfig();
    qunsetenv("PHONE_MODEL");
    outside.checksToRefuse = 0;
    Scene scene;
    for (int count = 0; count < maximumOperations && !input.isEmpty(); ++count) {
        performOne(scene, Fuzz::takeLine(input));
    }
}

} // namespace Operations
