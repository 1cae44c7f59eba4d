// Fuzzes whole operations of the module, one after the other, on a directory of its own, and
// compares what they leave with the second implementation's idea of it. The input: one operation a
// line, its arguments behind tabs. For the phone in a box only: the defence log is at its real
// place.
//
// No program is run: the linker puts the functions below in the place of runProgram(), which runs
// the syntax check, of the reload and of the set-up script (see CMakeLists.txt).
// SPDX-License-Identifier: MIT
#include "destinations/destinationsyntax.h"
#include "destinations/remoteserver.h"
#include "levels/facilityfile.h"
#include "levels/levelvocabulary.h"
#include "support/input.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/activityparser.h"
#include "syslogconf/childprocess.h"
#include "syslogconf/configpaths.h"
#include "syslogconf/textfile.h"
#include "testablemodule.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <optional>
#include <set>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Files = std::map<std::string, std::string>;
using Arguments = QStringList;

const std::string root = "/tmp/fuzz-operations/";
const std::string live = root + "syslog/sip/logappli.conf";
const std::string backup = root + "syslog/logappli.conf.sav";
const std::string temporary = root + "syslog/logappli.conf.tmp";
const std::string facilityDirectory = root + "syslog/sip/facility/";
const std::string defenceLog = "/log/Defence.log";
const std::string signature = "facility signature field\n";

struct KnownActivity
{
    const char *name;
    const char *facility;
    const char *number;
};

constexpr std::array<KnownActivity, 5> knownActivities {{
    {"qvxsipua", "local3", "19"},
    {"Telephony", "local0", "16"},
    {"qvxbtmgr", "local6", "22"},
    {"WebApp", "local7", "23"},
    {"defence", "auth", "4"},
}};

int checksToRefuse = 0;
int refusedChecks = 0; ///< in the running operation
int reloads = 0; ///< in the running operation
std::set<std::string> acceptedTexts; ///< what the check let through in the running operation

// ------------------------------------------------------------------------------------------ files

// With plain system calls: there are many of these between two operations.

std::optional<std::string> read(const std::string &path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> part {};
    ssize_t size = 0;
    while ((size = ::read(file, part.data(), part.size())) > 0) {
        content.append(part.data(), static_cast<std::size_t>(size));
    }
    FUZZ_REQUIRE(size == 0);
    close(file);
    return content;
}

void write(const std::string &path, const std::string &content)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    FUZZ_REQUIRE(file >= 0);
    FUZZ_REQUIRE(::write(file, content.data(), content.size())
                 == static_cast<ssize_t>(content.size()));
    close(file);
}

void remove(const std::string &path)
{
    unlink(path.c_str());
}

std::set<std::string> entries(const std::string &directory)
{
    std::set<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

Files facilityFiles()
{
    Files files;
    for (const std::string &name : entries(facilityDirectory)) {
        files[name] = read(facilityDirectory + name).value_or("<no file>");
    }
    return files;
}

std::string predefinedTarget(const std::string &activity)
{
    return activity == "defence" ? "file(\"/log/Defence.log\")"
                                 : "file(\"/var/log/" + activity + ".log\")";
}

std::string freshFacilityFile(const KnownActivity &activity)
{
    return std::string("3\n") + activity.number + '\n' + predefinedTarget(activity.name) + '\n'
        + signature;
}

std::string freshConfiguration()
{
    std::string text = "@version: 3.38\nsource s_phone { unix-dgram(\"/dev/log\"); };\n";
    for (const KnownActivity &activity : knownActivities) {
        const std::string name = activity.name;
        text += "\n# BEGIN " + name + "\ndestination d_" + name + " { " + predefinedTarget(name)
            + "; };\nfilter f_" + name + " { level(err..emerg) and facility(" + activity.facility
            + ") and program(\"^" + name + "$\"); };\nlog { source(s_phone); filter(f_" + name
            + "); destination(d_" + name + "); };\n# END " + name + '\n';
    }
    return text;
}

bool isValidFacilityFile(const std::string &content)
{
    QString error;
    return checkFacilityFile(
        splitLines(decodeText(QByteArray::fromStdString(content).replace("\r", ""))), QString(),
        &error);
}

/// What the phone's set-up script does for facility files and the live file.
void setUp()
{
    for (const KnownActivity &activity : knownActivities) {
        const std::string path = facilityDirectory + activity.name + ".conf";
        const auto content = read(path);
        if (!content || !isValidFacilityFile(*content)) {
            remove(path);
            write(path, freshFacilityFile(activity));
        }
    }
    const auto good = read(backup);
    if (!read(live) && good) {
        write(live, *good);
    }
}

std::vector<std::u16string> linesOf(const std::string &content)
{
    std::vector<std::u16string> lines;
    const QString text = decodeText(QByteArray::fromStdString(Reference::normalised(content)));
    for (const QString &line : splitLines(text)) {
        lines.push_back(line.toStdU16String());
    }
    return lines;
}

std::map<QString, QString> levelsIn(const std::string &content)
{
    std::map<QString, QString> levels;
    for (const Reference::Activity &activity : Reference::activities(linesOf(content))) {
        levels[QString::fromStdU16String(activity.name)]
            = QString::fromStdU16String(activity.level);
    }
    return levels;
}

QString expectedTable(const std::string &content)
{
    QStringList rows;
    for (const Reference::Activity &activity : Reference::activities(linesOf(content))) {
        const auto column = [](const std::u16string &text, int width) {
            return QString::fromStdU16String(text).leftJustified(width);
        };
        rows.append(column(activity.name, 20) + QStringLiteral("   ") + column(activity.level, 8)
                    + QStringLiteral("   ") + column(activity.support, 10) + QStringLiteral("   ")
                    + column(activity.target, 60) + QLatin1Char('\n'));
    }
    std::stable_sort(rows.begin(), rows.end(), [](const QString &left, const QString &right) {
        return QString::compare(left, right, Qt::CaseInsensitive) < 0;
    });
    return QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n")
        + rows.join(QString());
}

bool allLevelLinesArePlain(const std::string &content)
{
    std::size_t start = 0;
    while (start < content.size()) {
        const std::size_t end = std::min(content.find('\n', start), content.size());
        const std::string line = content.substr(start, end - start);
        if (line.find("level(") != std::string::npos && !Reference::isPlainForLevel(line)) {
            return false;
        }
        start = end + 1;
    }
    return true;
}

// ------------------------------------------------------------------------------------- the module

class World
{
public:
    World()
    {
        QDir().mkpath(QString::fromStdString(facilityDirectory));
        for (const std::string &name : entries(facilityDirectory)) {
            remove(facilityDirectory + name);
        }
        remove(temporary);
        remove(live);
        write(live, freshConfiguration());
        write(backup, freshConfiguration());
        setUp();
        write(defenceLog, "one\ntwo\nthree\n");
        remoteServerConfig = RemoteServerConfig();
        qunsetenv("PHONE_MODEL");
        checksToRefuse = 0;
    }

    void perform(const QByteArray &line)
    {
        QStringList words;
        for (const QByteArray &word : line.split('\t')) {
            words.append(unescaped(word));
        }
        const QString operation = words.takeFirst();
        while (words.size() < 4) {
            words.append(QString());
        }
        using Member = void (World::*)(const Arguments &);
        struct Operation
        {
            const char *name;
            Member perform;
        };
        static constexpr std::array<Operation, 24> operations {{
            {"level", &World::level},
            {"list", &World::list},
            {"redirect", &World::redirect},
            {"redirectToServer", &World::redirectToServer},
            {"redirectToFile", &World::redirectToFile},
            {"redirectAll", &World::redirectAll},
            {"initConfigFile", &World::initConfigFile},
            {"setSyslogLevels", &World::setSyslogLevels},
            {"resetSyslogLevelsToErr", &World::resetSyslogLevelsToErr},
            {"setLevel", &World::setLevel},
            {"searchFacility", &World::searchFacility},
            {"updateLevel", &World::updateLevel},
            {"updateRedirection", &World::updateRedirection},
            {"restoreFacilityFile", &World::restoreFacilityFile},
            {"logRemoteServer", &World::logRemoteServer},
            {"defence", &World::defence},
            {"logComments", &World::logComments},
            // What happens to the phone from elsewhere.
            {"refuse", &World::refuse},
            {"append", &World::append},
            {"config", &World::replaceConfiguration},
            {"facilityFile", &World::writeFacilityFile},
            {"remove", &World::removeFile},
            {"model", &World::setModel},
            {"backup", &World::replaceBackup},
        }};
        const auto *found
            = std::find_if(operations.begin(), operations.end(), [&](const Operation &candidate) {
                  return operation == QLatin1String(candidate.name);
              });
        if (found == operations.end()) {
            found = &operations.at(Fuzz::choice(operation.toUtf8(), operations.size()));
        }
        m_before = read(live);
        m_backup = read(backup);
        m_facilitiesBefore = facilityFiles();
        refusedChecks = 0;
        reloads = 0;
        acceptedTexts.clear();
        (this->*found->perform)(words);
        checkFiles();
    }

private:
    /// As D-Bus carries it, with \n for a line feed and so on.
    static QString unescaped(const QByteArray &word)
    {
        QString text = QString::fromUtf8(word);
        text.remove(QChar::Null);
        text.replace(QLatin1String("\\n"), QLatin1String("\n"));
        text.replace(QLatin1String("\\r"), QLatin1String("\r"));
        return text;
    }

    bool isKnown(const QString &activity) const
    {
        return activity == QLatin1String("all") || activity == QLatin1String("WebApp")
            || activity == QLatin1String("no_facility")
            || m_facilitiesBefore.count(QString(activity + QStringLiteral(".conf")).toStdString())
            == 1;
    }

    // -- checks

    /// Nothing has appeared outside the files that the service owns, and the backup is as it was.
    void checkFiles() const
    {
        FUZZ_REQUIRE(entries(root) == std::set<std::string> {"syslog"});
        for (const std::string &name : entries(root + "syslog")) {
            FUZZ_REQUIRE(name == "sip" || name == "logappli.conf.sav"
                         || name == "logappli.conf.tmp");
        }
        for (const std::string &name : entries(root + "syslog/sip")) {
            FUZZ_REQUIRE(name == "facility" || name == "logappli.conf");
        }
        FUZZ_REQUIRE(read(backup) == m_backup);
        // No text becomes the live one unchecked.
        const auto current = read(live);
        FUZZ_REQUIRE(!current || current == m_before || current == m_backup
                     || acceptedTexts.count(*current) == 1);
        for (const auto &[name, content] : facilityFiles()) {
            const auto before = m_facilitiesBefore.find(name);
            const std::string activity = name.substr(0, name.rfind(".conf"));
            const bool isPredefined
                = content == "3\nfacility\n" + predefinedTarget(activity) + '\n' + signature;
            // The service writes only files that are there, and only good ones. The set-up script
            // may have made those of the known activities.
            const bool isKnownActivity
                = std::any_of(knownActivities.begin(), knownActivities.end(),
                              [&](const KnownActivity &known) { return activity == known.name; });
            FUZZ_REQUIRE(before != m_facilitiesBefore.end() || isKnownActivity);
            FUZZ_REQUIRE(isValidFacilityFile(content) || isPredefined
                         || (before != m_facilitiesBefore.end() && before->second == content));
        }
    }

    void checkUnchanged() const
    {
        FUZZ_REQUIRE(read(live) == m_before);
        FUZZ_REQUIRE(facilityFiles() == m_facilitiesBefore);
    }

    /// After an edit of the live file. @return whether it holds @p expected, as it has to when
    /// nothing stood in the way
    bool checkLive(const std::string &expected) const
    {
        const auto after = read(live);
        if (m_before && refusedChecks == 0) {
            FUZZ_REQUIRE(after == expected);
            return true;
        }
        FUZZ_REQUIRE(after == m_backup || after == m_before || !after);
        if (m_before && m_backup) {
            FUZZ_REQUIRE(after);
        }
        return false;
    }

    /// The facility file of @p activity has @p lineNumber replaced by @p value, and nothing else.
    void checkFacilityLine(const QString &activity, int lineNumber, const QString &value) const
    {
        const std::string name = QString(activity + QStringLiteral(".conf")).toStdString();
        const auto before = m_facilitiesBefore.find(name);
        FUZZ_REQUIRE(before != m_facilitiesBefore.end());
        QStringList lines
            = splitLines(decodeText(QByteArray::fromStdString(before->second).replace("\r", "")));
        FUZZ_REQUIRE(lines.size() == 4);
        lines[lineNumber] = value;
        const QString expected = lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
        FUZZ_REQUIRE(read(facilityDirectory + name) == encodeText(expected).toStdString());
    }

    void checkTable()
    {
        const auto before = read(live);
        const QString table = m_module.level();
        const auto after = read(live);
        if (before) {
            FUZZ_REQUIRE(after == before);
        } else {
            FUZZ_REQUIRE(after == m_backup);
        }
        FUZZ_REQUIRE(table
                     == (after ? expectedTable(*after)
                               : QStringLiteral("configuration file cannot be restored")));
        FUZZ_REQUIRE(m_module.redirect() == table);
    }

    /// Does an edit that nothing stood in the way of once more, which may change nothing.
    template<typename Edit>
    void checkRepeated(const Edit &edit)
    {
        if (!m_before || refusedChecks > 0) {
            return;
        }
        const auto before = read(live);
        edit();
        if (refusedChecks == 0) {
            FUZZ_REQUIRE(read(live) == before);
        }
    }

    // -- operations

    void level(const Arguments &arguments)
    {
        const QString activity = arguments.at(0);
        const QString name = arguments.at(1);
        const bool isForAll = activity == QLatin1String("all");
        const auto change
            = [&] { return m_module.level(activity, name, !arguments.at(2).isEmpty()); };
        const QString answer = change();
        if (isForAll && name == QLatin1String("restore")) {
            const bool isRestored = answer == QLatin1String("level restore succcess");
            FUZZ_REQUIRE(isRestored == (m_before && m_backup));
            FUZZ_REQUIRE(read(live) == (m_before && m_backup ? m_backup : std::nullopt));
            return;
        }
        const QString level
            = isForAll && name == QLatin1String("init") ? QStringLiteral("err") : name;
        if (!isKnown(activity)) {
            FUZZ_REQUIRE(answer == QStringLiteral("Not a valid activity : ") + activity
                         || answer.contains(QLatin1String("was corrupted"))
                         || answer.contains(QLatin1String("level not valid"))
                         || QFile::exists(QStringLiteral("/usr/bin/QVXApplication/") + activity));
            return;
        }
        if (!isValidLevel(level)) {
            FUZZ_REQUIRE(answer == QStringLiteral("[level] level not valid: ") + level);
            checkUnchanged();
            return;
        }
        const std::string edited = isForAll ? std::string() : activity.toStdString();
        if (!checkLive(Reference::withLevel(m_before.value_or(""), edited, level.toStdString()))) {
            return;
        }
        if (answer
            == QStringLiteral("Level ") + level + QStringLiteral(" for facility : ") + activity
                + QStringLiteral(" OK")) {
            checkFacilityLine(activity, 0, QString::number(levelFromName(level)));
        }
        FUZZ_REQUIRE(isForAll || reloads == (arguments.at(2).isEmpty() ? 0 : 1));
        if (m_isPlain) {
            std::map<QString, QString> expected = levelsIn(*m_before);
            for (auto &[key, value] : expected) {
                if (isForAll || key == activity) {
                    value = level;
                }
            }
            FUZZ_REQUIRE(levelsIn(read(live).value_or("")) == expected);
        }
        if (allLevelLinesArePlain(*m_before)) {
            checkRepeated(change);
        }
    }

    void list(const Arguments &)
    {
        checkTable();
        const auto content = read(live);
        const QVariantMap levels = m_module.getSyslogLevels();
        FUZZ_REQUIRE(read(live) == content);
        if (m_isPlain && content) {
            const std::map<QString, QString> expected = levelsIn(*content);
            for (auto entry = levels.cbegin(); entry != levels.cend(); ++entry) {
                const auto level = expected.find(entry.key());
                FUZZ_REQUIRE(entry.value().toString()
                             == (level == expected.end() ? QString() : level->second));
            }
        }
    }

    void checkRedirect(const QString &activity, const QString &destination, const QString &answer,
                       const QString &success)
    {
        if (answer == success) {
            if (activity != QLatin1String("all") && isKnown(activity)
                && isDestinationValid(destination)) {
                checkLive(Reference::withDestination(m_before.value_or(""), activity.toStdString(),
                                                     driverExpression(destination).toStdString()));
            }
            return;
        }
        if (!isDestinationValid(destination) && isKnown(activity)) {
            checkUnchanged();
        }
    }

    void redirect(const Arguments &arguments)
    {
        const QString activity = arguments.at(0);
        const QString destination = arguments.at(1);
        const auto change = [&] { return m_module.redirect(activity, destination); };
        const QString answer = change();
        if (activity == QLatin1String("all")) {
            if (!isDestinationValid(destination)) {
                FUZZ_REQUIRE(answer
                             == QStringLiteral("[REDIRECT] Destination not valid: ") + destination);
                checkUnchanged();
            } else if (destination == QLatin1String("init")) {
                checkPredefined();
            } else {
                checkLive(Reference::withDestination(m_before.value_or(""), std::string(),
                                                     driverExpression(destination).toStdString()));
            }
        } else {
            checkRedirect(activity, destination, answer,
                          QStringLiteral("[REDIRECT] Activity : ") + activity
                              + QStringLiteral(" redirect to : ") + destination);
        }
        checkRepeated(change);
    }

    /// For a live file whose blocks are as the set-up script writes them.
    void checkPredefined()
    {
        if (!m_isPlain || !m_before || refusedChecks > 0) {
            return;
        }
        std::string expected = *m_before;
        for (const KnownActivity &activity : knownActivities) {
            expected = Reference::withDestination(expected, activity.name,
                                                  predefinedTarget(activity.name));
        }
        FUZZ_REQUIRE(read(live) == expected);
    }

    void redirectToServer(const Arguments &arguments)
    {
        const QString activity = arguments.at(0);
        const int port = arguments.at(3).toInt();
        const QString destination
            = networkDestination(arguments.at(1), arguments.at(2), QString::number(port));
        const QString answer = m_module.redirect(activity, arguments.at(1), arguments.at(2), port);
        const QString success = QStringLiteral("[REDIRECT] Activity : ") + activity
            + QStringLiteral(" redirect to : ") + destination + QStringLiteral("OK");
        checkRedirect(activity, destination, answer, success);
        if (answer == success && isKnown(activity)) {
            checkFacilityLine(activity, 2, destination);
        }
    }

    void redirectToFile(const Arguments &arguments)
    {
        const QString activity = arguments.at(0);
        const QString kind = arguments.at(1);
        QString name = arguments.at(2);
        const QString answer = m_module.redirect(activity, kind, name);
        if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('~'))) {
            FUZZ_REQUIRE(answer
                         == QLatin1String("Not a valid file name -- character / and ~ are banned"));
            checkUnchanged();
            return;
        }
        if (kind != QLatin1String("usertty") && !name.endsWith(QLatin1String(".log"))) {
            name += QLatin1String(".log");
        }
        const QString opening = kind == QLatin1String("ram") ? QStringLiteral("file(\"/var/log/")
            : kind == QLatin1String("flash")                 ? QStringLiteral("file(\"/log/flash/")
                                                             : QStringLiteral("usertty(\"");
        const QString destination = opening + name + QStringLiteral("\")");
        const QString success = QStringLiteral("[REDIRECT] Activity : ") + activity
            + QStringLiteral(" redirect to : ") + destination + QStringLiteral("OK");
        checkRedirect(activity, destination, answer, success);
        if (answer == success && isKnown(activity)) {
            checkFacilityLine(activity, 2, destination);
        }
    }

    void redirectAll(const Arguments &arguments)
    {
        const QString destination = arguments.at(0);
        const auto change = [&] { return m_module.redirectAllActivities(destination); };
        change();
        if (!isDestinationValid(destination)) {
            checkUnchanged();
            return;
        }
        checkLive(Reference::withDestination(m_before.value_or(""), std::string(),
                                             driverExpression(destination).toStdString()));
        checkRepeated(change);
    }

    void initConfigFile(const Arguments &)
    {
        const auto change = [&] { return m_module.initConfigFile(liveConfigPath()); };
        change();
        checkPredefined();
        checkRepeated(change);
    }

    void setSyslogLevels(const Arguments &arguments)
    {
        const QString text = arguments.at(0);
        const QVariantMap answer = m_module.setSyslogLevels(text, false);
        const QString value = answer.value(QStringLiteral("value")).toString();
        FUZZ_REQUIRE(answer.size() == 2);
        FUZZ_REQUIRE(answer.value(QStringLiteral("msg")).toString()
                     == (value == QLatin1String("0") ? QStringLiteral("Set log levels OK")
                                                     : QStringLiteral("Set log levels error")));
        if (!m_isPlain || !m_before || refusedChecks > 0 || text.contains(QLatin1String("all"))) {
            return;
        }
        const std::map<QString, QString> before = levelsIn(*m_before);
        std::map<QString, QString> expected = before;
        QString items = text;
        items.remove(QLatin1Char('{')).remove(QLatin1Char('}'));
        for (const QString &item : items.split(QLatin1Char(','))) {
            const int colon = item.indexOf(QLatin1Char(':'));
            const QString activity = item.left(colon);
            const auto known = expected.find(activity);
            // Only activities that are reported can be skipped as unchanged.
            if (colon < 0 || known == expected.end() || !isKnown(activity)
                || !isValidLevel(item.mid(colon + 1))
                || (before.at(activity) == item.mid(colon + 1)
                    && m_module.getSyslogLevels().contains(activity))) {
                continue;
            }
            known->second = item.mid(colon + 1);
        }
        FUZZ_REQUIRE(levelsIn(read(live).value_or("")) == expected);
    }

    void resetSyslogLevelsToErr(const Arguments &)
    {
        const QVariantMap answer = m_module.resetSyslogLevelsToErr(false);
        FUZZ_REQUIRE(answer.size() == 2);
        checkLive(Reference::withLevel(m_before.value_or(""), std::string(), "err"));
    }

    static int levelNumber(const QString &text)
    {
        static constexpr std::array<int, 6> numbers {0, 3, 4, 5, 6, 7};
        return numbers.at(Fuzz::choice(text.toUtf8(), numbers.size()));
    }

    void setLevel(const Arguments &arguments)
    {
        const QString facility = arguments.at(0);
        const int level = levelNumber(arguments.at(1));
        const QString answer = m_module.setLevel(facility, level);
        if (answer
            == QStringLiteral("Level ") + levelToName(level) + QStringLiteral(" for facility : ")
                + facility + QStringLiteral(" ")) {
            FUZZ_REQUIRE(read(live) == m_before);
            checkFacilityLine(facility, 0, QString::number(level));
        }
    }

    void searchFacility(const Arguments &arguments)
    {
        const QString name = arguments.at(0);
        const QString answer = m_module.searchFacility(name);
        if (isKnown(name)) {
            FUZZ_REQUIRE(answer == QLatin1String("OK"));
            checkUnchanged();
        }
        if (answer == unknownFacilityText(name)) {
            checkUnchanged();
        }
    }

    void updateLevel(const Arguments &arguments)
    {
        const int level = levelNumber(arguments.at(1));
        const QString answer = m_module.writeFacilitylevel(arguments.at(0), level);
        FUZZ_REQUIRE(read(live) == m_before);
        if (answer == QLatin1String("OK")) {
            checkFacilityLine(arguments.at(0), 0, QString::number(level));
        }
    }

    void updateRedirection(const Arguments &arguments)
    {
        if (!isDestinationValid(arguments.at(1))) {
            return;
        }
        const QString answer = m_module.updateFacilityFile(arguments.at(1), arguments.at(0),
                                                           QStringLiteral("redirection"), 3);
        FUZZ_REQUIRE(read(live) == m_before);
        if (answer == QLatin1String("OK")) {
            checkFacilityLine(arguments.at(0), 2, arguments.at(1));
        }
    }

    void restoreFacilityFile(const Arguments &arguments)
    {
        const QString answer = m_module.restoreFacilityFile(arguments.at(0));
        if (answer == QLatin1String("sylog-ng config file restored")) {
            FUZZ_REQUIRE(isKnown(arguments.at(0)));
        } else {
            checkUnchanged();
        }
    }

    void logRemoteServer(const Arguments &arguments)
    {
        Setting setting;
        setting.value = arguments.at(0);
        FUZZ_REQUIRE(m_module.logRemoteServerProto(setting).isEmpty());
        setting.value = arguments.at(1);
        FUZZ_REQUIRE(m_module.logRemoteServerAddress(setting).isEmpty());
        setting.value = arguments.at(2);
        FUZZ_REQUIRE(m_module.logRemoteServerPort(setting).isEmpty());
        checkUnchanged();
        setting.value = QStringLiteral("true");
        FUZZ_REQUIRE(m_module.logRemoteServer(setting).isEmpty());
        const QString destination
            = networkDestination(arguments.at(0), arguments.at(1), arguments.at(2));
        if (isDestinationValid(destination)) {
            checkLive(Reference::withDestination(m_before.value_or(""), std::string(),
                                                 destination.toStdString()));
        } else {
            checkUnchanged();
        }
    }

    void defence(const Arguments &arguments)
    {
        const int position = arguments.at(0).toInt();
        const std::string before = read(defenceLog).value_or("");
        const QString answer = m_module.defence(position, arguments.at(1));
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
            FUZZ_REQUIRE(answer
                         == QStringLiteral("[DEFENCE] Total messages saved in flash sector:")
                             + QString::number(lines));
        }
        checkUnchanged();
    }

    void logComments(const Arguments &arguments)
    {
        FUZZ_REQUIRE(m_module.logComments(arguments.at(0), arguments.at(1)) == QLatin1String("OK"));
        checkUnchanged();
    }

    // -- what others do

    void refuse(const Arguments &arguments)
    {
        checksToRefuse = 1 + static_cast<int>(Fuzz::choice(arguments.at(0).toUtf8(), 3));
    }

    void append(const Arguments &arguments)
    {
        m_isPlain = false;
        m_before = read(live).value_or("") + arguments.at(0).toStdString() + '\n';
        write(live, *m_before);
    }

    void replaceConfiguration(const Arguments &arguments)
    {
        m_isPlain = false;
        m_before = arguments.at(0).toStdString();
        write(live, *m_before);
    }

    void replaceBackup(const Arguments &arguments)
    {
        m_isPlain = false;
        write(backup, arguments.at(0).toStdString());
        m_backup = read(backup);
    }

    void writeFacilityFile(const Arguments &arguments)
    {
        const QString path = facilityFilePath(arguments.at(0));
        if (!path.isEmpty() && arguments.at(0).toUtf8().size() < 200) {
            write(path.toStdString(), arguments.at(1).toStdString());
            m_facilitiesBefore = facilityFiles();
        }
    }

    void removeFile(const Arguments &arguments)
    {
        switch (Fuzz::choice(arguments.at(0).toUtf8(), 4)) {
        case 0:
            remove(live);
            break;
        case 1:
            remove(backup);
            m_backup = std::nullopt;
            break;
        case 2:
            remove(temporary);
            break;
        default:
            remove(facilityDirectory + "qvxsipua.conf");
        }
    }

    void setModel(const Arguments &arguments) { qputenv("PHONE_MODEL", arguments.at(0).toUtf8()); }

    TestableModule m_module;
    /// Whether the live file and the backup are as the set-up script and the service write them.
    bool m_isPlain = true;
    std::optional<std::string> m_before;
    std::optional<std::string> m_backup;
    Files m_facilitiesBefore;
};

} // namespace

// ------------------------------------------------------- in the place of what would run a program

ProgramEnd check(
    const QString &program, const QStringList &arguments, int timeout,
    ProgramOutput output) __asm__("__wrap__Z10runProgramRK7QStringRK11QStringListi13ProgramOutput");

ProgramEnd check(const QString &program, const QStringList &arguments, int /*timeout*/,
                 ProgramOutput /*output*/)
{
    FUZZ_REQUIRE(program == QLatin1String("/bin/sh"));
    FUZZ_REQUIRE(arguments.size() == 2 && arguments.at(0) == QLatin1String("-c"));
    FUZZ_REQUIRE(arguments.at(1).toStdString()
                 == root + "bin/syslog-ng -s -f " + temporary + " 2>&1");
    const std::optional<std::string> text = read(temporary);
    FUZZ_REQUIRE(text);
    bool isRefused = text->find("SYNTAX ERROR") != std::string::npos;
    if (checksToRefuse > 0) {
        --checksToRefuse;
        isRefused = true;
    }
    refusedChecks += isRefused ? 1 : 0;
    if (!isRefused) {
        acceptedTexts.insert(*text);
    }
    ProgramEnd end;
    end.exitStatus = isRefused ? 1 : 0;
    return end;
}

extern "C" void __wrap__ZN12LoggerModule7restartEv(LoggerModule * /*module*/)
{
    ++reloads;
}

extern "C" void __wrap__ZN12LoggerModule18restoreSylogConfigEv(LoggerModule * /*module*/)
{
    setUp();
}

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    if (qgetenv("PHONE_INSIDE") != "1" || !QDir(QStringLiteral("/run/phone")).exists()) {
        static_cast<void>(std::fputs("runs in the phone in a box only\n", stderr));
        std::exit(EXIT_FAILURE);
    }
    QVXLogger::syslogWorkingDirectory = QString::fromStdString(root + "syslog/");
    QVXLogger::configurationSyslogBranchPath = QString::fromStdString(root + "syslog/sip/");
    QVXLogger::facilityConfigFilesPath = QString::fromStdString(facilityDirectory);
    QVXLogger::syslogExecutablePath = QString::fromStdString(root + "bin/");
    // The lines are put together all the same, for names that no text may break.
    QVXLogger::setSink([](const QString &, QVXLogger::Priority, const QString &) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    constexpr int maximumOperations = 16;
    QVXLogger::forgetConfiguredLevels();
    World world;
    QByteArray rest = Fuzz::bytes(data, size);
    for (int count = 0; count < maximumOperations && !rest.isEmpty(); ++count) {
        world.perform(Fuzz::takeLine(rest));
    }
    return 0;
}
