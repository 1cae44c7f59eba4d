// Reads the places, and puts side by side what they say.
// SPDX-License-Identifier: MIT
#include "comparison.h"

#include "health.h"
#include "program.h"
#include "words.h"

#include <QVX/qvxlogger.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>

namespace {

constexpr int printTimeout = 10000; // ms
const QString setUpScript = QStringLiteral("/etc/init.d/autoConfigSyslog");
const QString liveName = QStringLiteral("logappli.conf");
const QString backupName = QStringLiteral("logappli.conf.sav");
const QString suffix = QStringLiteral(".conf");

QString setUp()
{
    return setUpScript + QStringLiteral(" start");
}

/// What the running syslog-ng has to learn.
QString setUpAndReload()
{
    return setUp() + QStringLiteral(" && kill -HUP $(cat /var/run/syslog-ng.pid)");
}

QString byHand()
{
    return QStringLiteral("Mend the block by hand; logappli.conf(5) has its form");
}

QString levelFilePath(const QString &activity)
{
    return QVXLogger::facilityConfigFilesPath + activity + suffix;
}

/// A FIFO is not opened: that would block.
FoundFile found(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isFile()) {
        // What is in a directory that may not be entered cannot be told from what is missing.
        const bool hidden
            = QFileInfo(info.path()).isDir() && !QFileInfo(info.path()).isExecutable();
        return {hidden ? FoundFile::State::Unreadable : FoundFile::State::Missing, {}};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {FoundFile::State::Unreadable, {}};
    }
    const QByteArray content = file.readAll();
    return {file.error() == QFileDevice::NoError ? FoundFile::State::Read
                                                 : FoundFile::State::Unreadable,
            content};
}

QString between(const QString &line, const QString &opening, const QString &closing)
{
    const int start = line.indexOf(opening);
    const int end = start < 0 ? -1 : line.indexOf(closing, start + opening.size());
    return end < 0 ? QString()
                   : line.mid(start + opening.size(), end - start - opening.size()).trimmed();
}

/// What stands behind @p marker; nothing when @p line has none.
std::optional<QString> behind(const QString &line, const QString &marker)
{
    const int position = line.indexOf(marker);
    return position < 0 ? std::nullopt
                        : std::make_optional(line.mid(position + marker.size()).trimmed());
}

/// The number of a syslog facility (syslog(3)); -1 for a word that is none.
int facilityNumber(const QString &word)
{
    static const QStringList words {
        QStringLiteral("kern"),         QStringLiteral("user"),     QStringLiteral("mail"),
        QStringLiteral("daemon"),       QStringLiteral("auth"),     QStringLiteral("syslog"),
        QStringLiteral("lpr"),          QStringLiteral("news"),     QStringLiteral("uucp"),
        QStringLiteral("cron"),         QStringLiteral("authpriv"), QStringLiteral("ftp"),
        QStringLiteral("ntp"),          QStringLiteral("security"), QStringLiteral("console"),
        QStringLiteral("solaris-cron"), QStringLiteral("local0"),   QStringLiteral("local1"),
        QStringLiteral("local2"),       QStringLiteral("local3"),   QStringLiteral("local4"),
        QStringLiteral("local5"),       QStringLiteral("local6"),   QStringLiteral("local7")};
    return words.indexOf(word);
}

int countOf(const QList<ActivityBlock> &blocks, const QString &activity)
{
    return static_cast<int>(
        std::count_if(blocks.begin(), blocks.end(),
                      [&](const ActivityBlock &block) { return block.activity == activity; }));
}

const ActivityBlock *findBlock(const QList<ActivityBlock> &blocks, const QString &activity)
{
    const auto at = std::find_if(blocks.begin(), blocks.end(), [&](const ActivityBlock &block) {
        return block.activity == activity;
    });
    return at != blocks.end() ? &*at : nullptr;
}

/// Puts the places side by side, activity by activity.
class Comparison
{
public:
    explicit Comparison(const ActivityPlaces &places)
        : m_places(places), m_table(blocksOf(places.table.value_or(QByteArray()))),
          m_live(blocksOf(places.configuration.content)), m_backup(blocksOf(places.backup.content))
    {
    }

    QList<Disagreement> result()
    {
        compareFiles();
        QStringList activities;
        for (const QList<ActivityBlock> &blocks : {m_table, m_live, m_backup}) {
            for (const ActivityBlock &block : blocks) {
                activities.append(block.activity);
            }
        }
        activities += m_places.levelFiles.keys();
        activities.removeDuplicates();
        for (const QString &activity : qAsConst(activities)) {
            m_activity = activity;
            compareActivity();
        }
        return m_result;
    }

private:
    void say(const QString &text, const QString &remedy)
    {
        m_result.append({m_activity, text, remedy});
    }

    void compareFiles()
    {
        if (!m_places.table) {
            say(QStringLiteral("The set-up script does not tell its table"),
                QStringLiteral("See what it says: ") + setUpScript + QStringLiteral(" print"));
        }
        compareFile(m_places.configuration, liveName);
        compareFile(m_places.backup, backupName);
    }

    void compareFile(const FoundFile &file, const QString &name)
    {
        if (file.state == FoundFile::State::Missing) {
            say(name + QStringLiteral(" is missing"),
                QStringLiteral("It is made anew by: ") + setUp());
        } else if (file.state == FoundFile::State::Unreadable) {
            say(name + QStringLiteral(" cannot be read"), QStringLiteral("Look as root"));
        }
    }

    void compareActivity()
    {
        const ActivityBlock *const row = findBlock(m_table, m_activity);
        if (row != nullptr || !m_places.table) {
            compareBlock(m_places.configuration, m_live, liveName, row);
            compareBlock(m_places.backup, m_backup, backupName, row);
            compareLevelFile(row);
        } else {
            saySurplus();
        }
    }

    /// The blocks of @p file, which is called @p name.
    void compareBlock(const FoundFile &file, const QList<ActivityBlock> &blocks,
                      const QString &name, const ActivityBlock *row)
    {
        if (file.state != FoundFile::State::Read) {
            return;
        }
        const ActivityBlock *const block = findBlock(blocks, m_activity);
        if (block == nullptr) {
            if (row != nullptr) {
                say(m_activity + QStringLiteral(" has no block in ") + name,
                    QStringLiteral("It gets one by: ")
                        + (name == liveName ? setUpAndReload() : setUp()));
            }
            return;
        }
        if (countOf(blocks, m_activity) > 1) {
            say(m_activity + QStringLiteral(" has more than one block in ") + name, byHand());
        }
        if (!block->begins || !block->ends) {
            say(QStringLiteral("The block of %1 in %2 has no line '# %3 %1'")
                    .arg(m_activity, name,
                         block->ends ? QStringLiteral("BEGIN") : QStringLiteral("END")),
                byHand());
        }
        if (row != nullptr && block->facility != row->facility) {
            say(QStringLiteral("%1 has the syslog facility %2 in %3, and %4 in the table")
                    .arg(m_activity, textOr(block->facility), name, row->facility),
                byHand());
        }
    }

    void compareLevelFile(const ActivityBlock *row)
    {
        if (!m_places.levelFiles.contains(m_activity)) {
            if (row != nullptr) {
                say(QStringLiteral("The level file of %1 is missing").arg(m_activity),
                    QStringLiteral("It is made anew by: ") + setUp());
            }
            return;
        }
        const FoundFile file = m_places.levelFiles.value(m_activity);
        if (file.state == FoundFile::State::Unreadable) {
            say(QStringLiteral("The level file of %1 cannot be read").arg(m_activity),
                QStringLiteral("Look as root"));
            return;
        }
        const QStringList lines = QString::fromUtf8(file.content).split(QLatin1Char('\n'));
        if (file.state == FoundFile::State::Missing || !isLevelFile(lines)) {
            say(QStringLiteral("The level file of %1 is invalid").arg(m_activity),
                QStringLiteral("It is made anew by: ") + setUp());
            return;
        }
        const int number = row != nullptr ? facilityNumber(row->facility) : -1;
        if (number >= 0 && lines.at(1).toInt() != number) {
            say(QStringLiteral(
                    "%1 has the syslog facility number %2 in its level file, and %3 (%4) "
                    "in the table")
                    .arg(m_activity, lines.at(1), QString::number(number), row->facility),
                QStringLiteral("It is made anew, at err, by: rm %1 && %2")
                    .arg(levelFilePath(m_activity), setUp()));
        }
        const ActivityBlock *const block = findBlock(m_live, m_activity);
        const QString level = levelWord(lines.at(0).toInt());
        if (block != nullptr && block->level != level) {
            // What syslog-ng lets through has been chosen, unless it is none of the service's
            // words.
            const QString wanted = levelNames().contains(block->level) ? block->level : level;
            say(QStringLiteral("%1 is at %2 in %3, and at %4 in its level file")
                    .arg(m_activity, textOr(block->level), liveName, level),
                QStringLiteral("Set it: loggerctl level %1 %2").arg(m_activity, wanted));
        }
    }

    /// The activity is not in the table.
    void saySurplus()
    {
        const bool inLive = findBlock(m_live, m_activity) != nullptr;
        const bool inBackup = findBlock(m_backup, m_activity) != nullptr;
        if (inBackup) {
            QStringList places;
            if (inLive) {
                places.append(liveName);
            }
            places.append(backupName);
            say(QStringLiteral("%1 is not in the table, and has a block in %2")
                    .arg(m_activity, places.join(QStringLiteral(" and "))),
                QStringLiteral("It is taken out by: ") + (inLive ? setUpAndReload() : setUp()));
        } else if (inLive) {
            say(QStringLiteral("%1 is not in the table, and has a block in %2")
                    .arg(m_activity, liveName),
                QStringLiteral("Give it a row in the table of %1, or take the block out by hand")
                    .arg(setUpScript));
        } else {
            say(QStringLiteral("%1 has a level file, and neither a row in the table nor a block: "
                               "its level can be changed to no effect")
                    .arg(m_activity),
                QStringLiteral("Take it away: rm ") + levelFilePath(m_activity));
        }
    }

    static QString textOr(const QString &text)
    {
        return text.isEmpty() ? QStringLiteral("none") : text;
    }

    const ActivityPlaces &m_places;
    const QList<ActivityBlock> m_table;
    const QList<ActivityBlock> m_live;
    const QList<ActivityBlock> m_backup;
    QString m_activity;
    QList<Disagreement> m_result;
};

} // namespace

ActivityPlaces lookAtActivityPlaces()
{
    ActivityPlaces places;
    const ProgramOutcome print = outcomeOf(setUpScript, {QStringLiteral("print")}, printTimeout);
    if (print.status == 0 && !blocksOf(print.output).isEmpty()) {
        places.table = print.output;
    }
    places.configuration = found(QVXLogger::configurationSyslogBranchPath + liveName);
    places.backup = found(QVXLogger::syslogWorkingDirectory + backupName);
    const QStringList names
        = QDir(QVXLogger::facilityConfigFilesPath)
              .entryList({QLatin1Char('*') + suffix}, QDir::AllEntries | QDir::System);
    for (const QString &name : names) {
        const QString path = QVXLogger::facilityConfigFilesPath + name;
        places.levelFiles.insert(name.chopped(suffix.size()), found(path));
    }
    return places;
}

QList<ActivityBlock> blocksOf(const QByteArray &configuration)
{
    QList<ActivityBlock> blocks;
    ActivityBlock block;
    const auto finish = [&] {
        if (block.begins || block.ends) {
            blocks.append(block);
        }
        block = {};
    };
    const QStringList lines = QString::fromUtf8(configuration).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const std::optional<QString> begun = behind(line, QStringLiteral("# BEGIN "));
        const std::optional<QString> ended = behind(line, QStringLiteral("# END"));
        const QString level = between(line, QStringLiteral("level("), QStringLiteral(".."));
        const QString facility = between(line, QStringLiteral("facility("), QStringLiteral(")"));
        if (begun) {
            finish();
            block.activity = *begun;
            block.begins = true;
        }
        block.level = level.isEmpty() ? block.level : level;
        block.facility = facility.isEmpty() ? block.facility : facility;
        if (ended) {
            if (block.begins && block.activity != *ended) {
                finish();
            }
            block.activity = *ended;
            block.ends = true;
            finish();
        }
    }
    finish();
    return blocks;
}

QList<Disagreement> disagreementsOf(const ActivityPlaces &places)
{
    return Comparison(places).result();
}
