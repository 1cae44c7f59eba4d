// Changes over the bus with their answers, and the files they concern.
// SPDX-License-Identifier: MIT
#include "changes.h"

#include "support/activities.h"
#include "support/firmware.h"
#include "support/phone.h"

#include <QDir>
#include <QFileInfo>

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

namespace Changes {

namespace {

const QString configurationDirectory = QFileInfo(Phone::backup).path() + QLatin1Char('/');
const QString recordingSuffix = QStringLiteral(".recording");
const QString liveDirectory = QFileInfo(Phone::liveConfig).path() + QLatin1Char('/');

/// Calls the service. What goes on behind a wrong answer would prove nothing.
void expect(const QString &expected, const QString &method, const QVariantList &arguments)
{
    const QString answer = Phone::text(method, arguments);
    if (answer != expected) {
        qFatal("%s answered \"%s\", expected \"%s\"", qPrintable(method), qPrintable(answer),
               qPrintable(expected));
    }
}

Change call(const QString &name, const QString &expected, const QString &method,
            const QVariantList &arguments)
{
    return {name, [=] { expect(expected, method, arguments); }};
}

template<typename Container>
auto oneOf(const Container &values, QRandomGenerator &random)
{
    return values[random.bounded(static_cast<int>(values.size()))];
}

QString someActivity(QRandomGenerator &random)
{
    return oneOf(Phone::activityNames, random);
}

/// A level other than the one that @p activity has.
QString otherLevel(const QString &activity, QRandomGenerator &random)
{
    QList<QPair<char, QString>> levels {
        {'0', QStringLiteral("emerg")},   {'3', QStringLiteral("err")},
        {'4', QStringLiteral("warning")}, {'5', QStringLiteral("notice")},
        {'6', QStringLiteral("info")},    {'7', QStringLiteral("debug")}};
    const QByteArray file = Phone::read(Phone::facilityFile(activity));
    QPair<char, QString> level;
    do {
        level = oneOf(levels, random);
    } while (file.startsWith(level.first));
    return level.second;
}

QString someNetworkDestination(QRandomGenerator &random)
{
    return QStringLiteral("udp(\"127.0.0.1\" port(%1))").arg(random.bounded(1024, 65536));
}

QString redirected(const QString &activity, const QString &destination)
{
    return QStringLiteral("[REDIRECT] Activity : ") + activity + QStringLiteral(" redirect to : ")
        + destination;
}

QString someFileName(QRandomGenerator &random)
{
    return QStringLiteral("log%1.log").arg(random.bounded(1000000));
}

std::vector<Change> oneLevel(QRandomGenerator &random)
{
    const QString activity = someActivity(random);
    const QString level = otherLevel(activity, random);
    return {call(QStringLiteral("level %1 %2").arg(activity, level),
                 QStringLiteral("Level %1 for facility : %2 OK").arg(level, activity),
                 QStringLiteral("level"), {activity, level})};
}

std::vector<Change> allLevels(QRandomGenerator &random)
{
    const QString debug = QStringLiteral("debug");
    const bool isDebug
        = Phone::read(Phone::facilityFile(QStringLiteral("qvxsipua"))).startsWith('7');
    const QString level = isDebug ? otherLevel(QStringLiteral("qvxsipua"), random) : debug;
    return {call(QStringLiteral("level all ") + level,
                 QStringLiteral("All levels changed to %1 value ").arg(level),
                 QStringLiteral("level"), {QStringLiteral("all"), level})};
}

std::vector<Change> levelInTheBackground(QRandomGenerator &random)
{
    const QString activity = QStringLiteral("Platform");
    const QString level = otherLevel(activity, random);
    return {{QStringLiteral("setSyslogLevels {%1:%2}, listed").arg(activity, level), [=] {
                 Phone::call(QStringLiteral("setSyslogLevels"),
                             {QStringLiteral("{%1:%2}").arg(activity, level)});
                 // It waits for the job.
                 if (!Phone::text(QStringLiteral("level")).contains(level)) {
                     qFatal("the listing does not have the level that was set");
                 }
             }}};
}

std::vector<Change> allLevelsInTheBackground(QRandomGenerator &)
{
    return {{QStringLiteral("resetSyslogLevelsToErr, listed"), [] {
                 Phone::call(QStringLiteral("resetSyslogLevelsToErr"));
                 Phone::call(QStringLiteral("level"));
             }}};
}

std::vector<Change> oneDestination(QRandomGenerator &random)
{
    const QString activity = someActivity(random);
    const QString destination = QStringLiteral("file(\"/var/log/%1\")").arg(someFileName(random));
    return {call(QStringLiteral("redirect %1 %2").arg(activity, destination),
                 redirected(activity, destination), QStringLiteral("redirect"),
                 {activity, destination})};
}

std::vector<Change> oneRecordedDestination(QRandomGenerator &random)
{
    const QString activity = someActivity(random);
    const bool inFlash = random.bounded(2) == 1;
    const QString file = someFileName(random);
    const QString destination = inFlash ? QStringLiteral("file(\"/log/flash/%1\")").arg(file)
                                        : QStringLiteral("file(\"/var/log/%1\")").arg(file);
    const QString support = inFlash ? QStringLiteral("flash") : QStringLiteral("ram");
    return {call(QStringLiteral("redirect %1 %2 %3").arg(activity, support, file),
                 redirected(activity, destination) + QStringLiteral("OK"),
                 QStringLiteral("redirect"), {activity, support, file})};
}

std::vector<Change> oneServer(QRandomGenerator &random)
{
    const QString activity = someActivity(random);
    const int port = random.bounded(1024, 65536);
    return {call(QStringLiteral("redirect %1 udp 127.0.0.1 %2").arg(activity).arg(port),
                 redirected(activity, QStringLiteral("udp(\"127.0.0.1\" port(%1))OK").arg(port)),
                 QStringLiteral("redirect"),
                 {activity, QStringLiteral("udp"), QStringLiteral("127.0.0.1"), port})};
}

std::vector<Change> allDestinations(QRandomGenerator &random)
{
    const QString destination = someNetworkDestination(random);
    const QString all = QStringLiteral("all");
    const QString init = QStringLiteral("init");
    return {call(QStringLiteral("redirect all ") + destination,
                 QStringLiteral("All facilities redirected to : %1 ").arg(destination),
                 QStringLiteral("redirect"), {all, destination}),
            call(QStringLiteral("redirect all init"),
                 QStringLiteral("All facilities redirected to predefined values "),
                 QStringLiteral("redirect"), {all, init})};
}

/// Cuts the defence log behind having filled it with @p lines lines.
std::vector<Change> cutDefenceLog(int lines, int position, QRandomGenerator &random)
{
    QByteArray log;
    for (int line = 0; line < lines; ++line) {
        log += "defence line " + QByteArray::number(line) + " of "
            + QByteArray::number(random.bounded(1000000)) + '\n';
    }
    return {
        {QStringLiteral("(the defence log is filled)"), [log] { writeDurably(defenceLog, log); }},
        call(QStringLiteral("defence %1 delete, of %2").arg(position).arg(lines),
             QStringLiteral("[DEFENCE] delete %1 lines OK").arg(qMin(lines, position)),
             QStringLiteral("defence"), {position, QStringLiteral("delete")})};
}

std::vector<Change> newestDefenceLines(QRandomGenerator &random)
{
    const int lines = random.bounded(200, 700);
    return cutDefenceLog(lines, random.bounded(1, lines), random);
}

std::vector<Change> moreThanAllDefenceLines(QRandomGenerator &random)
{
    const int lines = random.bounded(200, 700);
    return cutDefenceLog(lines, lines + 1, random);
}

std::vector<Change> restore(QRandomGenerator &)
{
    return {call(QStringLiteral("level all restore"), QStringLiteral("level restore succcess"),
                 QStringLiteral("level"), {QStringLiteral("all"), QStringLiteral("restore")})};
}

/// The service notices that the file was damaged, and puts the backup in its place.
std::vector<Change> refusedEdit(QRandomGenerator &)
{
    return {{QStringLiteral("(the live file is damaged)"),
             [] { writeDurably(Phone::liveConfig, Phone::read(Phone::liveConfig) + damage); }},
            call(QStringLiteral("level of a damaged file"),
                 QStringLiteral("file configuration access error"), QStringLiteral("level"),
                 {QStringLiteral("qvxsipua"), QStringLiteral("info")})};
}

std::vector<Change> deleteLogs(QRandomGenerator &)
{
    return {{QStringLiteral("(a log is in flash)"),
             [] { writeDurably(QStringLiteral("/log/flash/some.log"), "a line\n"); }},
            call(QStringLiteral("deleteTmpLogFiles flash"),
                 QStringLiteral("All logs files removed in /var/log/ and /log/flash/ directories."),
                 QStringLiteral("deleteTmpLogFiles"), {QStringLiteral("flash")})};
}

/// Runs the set-up script, which says nothing when all went well.
void setUp()
{
    if (QProcess::execute(Phone::setUpScript, {QStringLiteral("start")}) != 0) {
        qFatal("the set-up script failed");
    }
}

/// An activity comes with one firmware, and goes with the next one.
std::vector<Change> firmwareUpdates(QRandomGenerator &)
{
    return {{QStringLiteral("a firmware with one more activity"),
             [] {
                 const Firmware firmware(Video::row);
                 setUp();
             }},
            {QStringLiteral("a firmware without it"), setUp}};
}

using Maker = std::vector<Change> (*)(QRandomGenerator &);
constexpr std::array<Maker, 14> makers {
    allLevels,       oneLevel,           oneRecordedDestination,   levelInTheBackground,
    allDestinations, newestDefenceLines, allLevelsInTheBackground, oneDestination,
    restore,         oneServer,          moreThanAllDefenceLines,  refusedEdit,
    deleteLogs,      firmwareUpdates,
};

void fail(const QString &path)
{
    qFatal("cannot write %s: %s", qPrintable(path), qPrintable(qt_error_string()));
}

void syncPath(const QString &path)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 || fsync(descriptor) != 0) {
        fail(path);
    }
    close(descriptor);
}

} // namespace

const QStringList &lasting()
{
    static const QStringList paths = [] {
        QStringList all {Phone::liveConfig, Phone::backup, defenceLog, Video::facilityFile};
        for (const QString &activity : Phone::activityNames) {
            all.append(Phone::facilityFile(activity));
        }
        return all;
    }();
    return paths;
}

Files read(const QString &root)
{
    Files files;
    for (const QString &path : lasting()) {
        const QByteArray content = Phone::read(root + path);
        if (!content.isNull()) {
            files.insert(path, content);
        }
    }
    return files;
}

QStringList leftovers(const QString &root)
{
    const QStringList expected = QStringList(Phone::temporary) + lasting();
    QStringList paths;
    for (const QString &directory : {configurationDirectory, liveDirectory,
                                     Phone::facilityDirectory, QStringLiteral("/log/")}) {
        const QStringList entries = QDir(root + directory).entryList(QDir::Files | QDir::Hidden);
        for (const QString &name : entries) {
            const QString path = directory + name;
            if (!expected.contains(path) && !path.endsWith(recordingSuffix)) {
                paths.append(path);
            }
        }
    }
    return paths;
}

bool isFacilityFile(const QString &path)
{
    return path.startsWith(Phone::facilityDirectory);
}

int kinds()
{
    return static_cast<int>(makers.size());
}

std::vector<Change> some(int kind, QRandomGenerator &random)
{
    return makers[static_cast<std::size_t>(kind)](random);
}

void writeDurably(const QString &path, const QByteArray &content)
{
    const QString other = path + recordingSuffix;
    Phone::write(other, content);
    syncPath(other);
    if (std::rename(QFile::encodeName(other).constData(), QFile::encodeName(path).constData())
        != 0) {
        fail(path);
    }
    syncPath(QFileInfo(path).path());
}

void writeCarelessly(const QString &path, const QByteArray &content)
{
    QFile::remove(path);
    Phone::write(path, content);
}

} // namespace Changes
