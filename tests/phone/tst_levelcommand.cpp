// The level command of the running service, from outside: its answers, what it changes, in which
// order, and what it leaves alone.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/activitytable.h"
#include "support/configtext.h"
#include "support/events.h"
#include "support/facilities.h"
#include "support/hangups.h"
#include "support/levels.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QFile>
#include <QTest>

#include <csignal>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

using ConfigText::withAllLevels;
using ConfigText::withLevel;
using Facilities::rowName;
using Levels::facilityLevel;
using Levels::level;
using Levels::nothingWasAnnounced;
using Levels::state;

} // namespace

class tst_LevelCommand : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void listsTheActivitiesSortedWithOneHeader();
    void changesTokenFileAndTellsOthers_data();
    void changesTokenFileAndTellsOthers();
    void sameChangeAgainChangesNothing();
    void debugMessageArrivesAfterTheChange();
    void allInitSetsEveryActivityToErr();
    void orderIsEventFacilityFileReload();
    void refusesALevelWord_data();
    void refusesALevelWord();
    void refusesAnActivity_data();
    void refusesAnActivity();
    void namesWithoutFilePassTheCheck();
    void withoutRestartNothingIsSignalled();
    void allReloadsEvenWithoutRestart();
};

void tst_LevelCommand::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_LevelCommand::init()
{
    Phone::resetConfiguration();
}

void tst_LevelCommand::listsTheActivitiesSortedWithOneHeader()
{
    QStringList sorted = Phone::activityNames;
    sorted.sort(Qt::CaseInsensitive);
    QList<ActivityTable::Row> rows;
    for (const QString &activity : qAsConst(sorted)) {
        rows.append({activity, "err"_s, "file"_s, Phone::predefinedFile(activity)});
    }
    QCOMPARE(Phone::text("level"_s), ActivityTable::table(rows));
}

void tst_LevelCommand::changesTokenFileAndTellsOthers_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QByteArray>("levelName");
    QTest::addColumn<int>("number");
    const std::vector<std::pair<const char *, int>> numbers {
        {"emerg", 0}, {"err", 3}, {"warning", 4}, {"notice", 5}, {"info", 6}, {"debug", 7}};
    for (const auto &[name, number] : numbers) {
        QTest::addRow("one to %s", name) << "qvxsipua"_s << QByteArray(name) << number;
        QTest::addRow("all to %s", name) << "all"_s << QByteArray(name) << number;
    }
}

void tst_LevelCommand::changesTokenFileAndTellsOthers()
{
    QFETCH(QString, activity);
    QFETCH(QByteArray, levelName);
    QFETCH(int, number);
    const bool isForAll = activity == QLatin1String("all");
    const QString name = QString::fromLatin1(levelName);
    const QByteArray before = Phone::read(Phone::liveConfig);
    ConfigText::FacilityFiles files = ConfigText::facilityFiles();
    for (auto file = files.begin(); file != files.end(); ++file) {
        if (isForAll || file.key() == QLatin1String("qvxsipua.conf")) {
            QVERIFY(file->startsWith("3\n"));
            *file = Facilities::withLevel(*file, number);
        }
    }
    LevelEvents events;
    const HangUps syslog;

    QCOMPARE(level(activity, name),
             isForAll ? "All levels changed to "_s + name + " value "_s
                      : "Level "_s + name + " for facility : qvxsipua OK"_s);

    QCOMPARE(Phone::read(Phone::liveConfig),
             isForAll ? withAllLevels(before, levelName) : withLevel(before, activity, levelName));
    QCOMPARE(ConfigText::facilityFiles(), files);
    QCOMPARE(syslog.count(), 1);
    QTRY_COMPARE(events.arguments.size(), 1);
    const QVariantMap arguments = events.arguments.first();
    QCOMPARE(arguments.size(), 2);
    const QVariant facility = arguments.value("syslog_facility"_s);
    QCOMPARE(static_cast<QMetaType::Type>(facility.type()), QMetaType::QString);
    QCOMPARE(facility.toString(), activity);
    const QVariant sentNumber = arguments.value("syslog_level"_s);
    QCOMPARE(static_cast<QMetaType::Type>(sentNumber.type()), QMetaType::Int);
    QCOMPARE(sentNumber.toInt(), number);
    QCOMPARE(events.messages.first().signature(), "a{sv}"_s);
    QCOMPARE(events.messages.first().path(), Phone::servicePath);
    QCOMPARE(events.messages.first().interface(), "com.corvane.Quorvix.QVXEvent"_s);
}

void tst_LevelCommand::sameChangeAgainChangesNothing()
{
    level("qvxsipua"_s, "debug"_s);
    const QByteArray before = state();
    QCOMPARE(level("qvxsipua"_s, "debug"_s), "Level debug for facility : qvxsipua OK"_s);
    QCOMPARE(state(), before);
}

void tst_LevelCommand::debugMessageArrivesAfterTheChange()
{
    const QString log = "/var/log/qvxaudio.log"_s;
    const Phone::Activity &audio = Phone::activity("qvxaudio"_s);
    Phone::logMessage(audio.name, audio.facility, "debug"_s, "too early"_s);
    Phone::logMessage(audio.name, audio.facility, "err"_s, "fence"_s);
    QVERIFY(Phone::waitForContent(log, "fence"));
    QVERIFY(!Phone::read(log).contains("too early"));

    QCOMPARE(level(audio.name, "debug"_s), "Level debug for facility : qvxaudio OK"_s);
    QVERIFY(Phone::logUntilSeen(audio, log, "in time"_s, "debug"_s));
}

void tst_LevelCommand::allInitSetsEveryActivityToErr()
{
    level("all"_s, "debug"_s);
    QCOMPARE(level("all"_s, "init"_s), "All levels changed to err value "_s);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel("defence"_s), QByteArray("3"));
}

void tst_LevelCommand::orderIsEventFacilityFileReload()
{
    const QString file = Phone::facilityFile("sipmmi"_s);
    const QByteArray before = Phone::read(file);
    LevelEvents events;
    const HangUps syslog(file);

    // A write lease (fcntl(2)) makes the service's open() wait for us, so that everything it did
    // before it came to the facility file can be seen while that file is still untouched.
    signal(SIGIO, SIG_IGN);
    const int lease = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_CLOEXEC);
    QVERIFY(lease >= 0);
    QCOMPARE(fcntl(lease, F_SETLEASE, F_WRLCK), 0);
    Phone::send("level"_s, {"sipmmi"_s, "info"_s});
    QTRY_COMPARE(events.arguments.size(), 1);
    QCOMPARE(syslog.count(), 0);
    QVERIFY(QFile::exists(file));
    QVERIFY(Phone::read(Phone::liveConfig)
            == withLevel(Phone::read(Phone::backup), "sipmmi"_s, "info"));
    QCOMPARE(fcntl(lease, F_SETLEASE, F_UNLCK), 0);
    ::close(lease);

    QTRY_COMPARE(syslog.count(), 1);
    QVERIFY(before.startsWith("3\n"));
    QVERIFY2(syslog.watchedContent().startsWith("6\n"), syslog.watchedContent().constData());
}

void tst_LevelCommand::refusesALevelWord_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("word");
    const auto rows = [](const QString &activity, const QStringList &words) {
        for (const QString &word : words) {
            QTest::addRow("%s to %s", qPrintable(activity), rowName(word).constData())
                << activity << word;
        }
    };
    // The severities 1 and 2 have names, but not here; two words are for all activities only.
    rows("qvxsipua"_s,
         {"init"_s, "restore"_s, "alert"_s, "crit"_s, "ERR"_s, "3"_s, ""_s, " err"_s, "err "_s,
          "err..emerg); program(\"x\""_s, "%1"_s, QString(100000, QLatin1Char('e'))});
    rows("all"_s, {"crit"_s, "Err"_s, ""_s, "Init"_s, "Restore"_s});
}

void tst_LevelCommand::refusesALevelWord()
{
    QFETCH(QString, activity);
    QFETCH(QString, word);
    LevelEvents events;
    const HangUps syslog;
    const QByteArray before = state();
    QCOMPARE(level(activity, word), "[level] level not valid: "_s + word);
    QCOMPARE(state(), before);
    QCOMPARE(syslog.count(), 0);
    QVERIFY(nothingWasAnnounced(events));
}

void tst_LevelCommand::refusesAnActivity_data()
{
    QTest::addColumn<QString>("activity");
    for (const QString &name : {"nobody"_s, "QVXSIPUA"_s, "ALL"_s, "allx"_s, "BOOK"_s, "OK"_s,
                                "qvxsip"_s, "../../../../../etc/host"_s, "/etc/host"_s,
                                "../facility/qvxsipua"_s, ""_s, "qvxsipua\n"_s, "qvxsipua "_s,
                                "qvxsipua.conf"_s, "%1%2"_s, QString(100000, QLatin1Char('a'))}) {
        QTest::newRow(rowName(name)) << name;
    }
}

void tst_LevelCommand::refusesAnActivity()
{
    QFETCH(QString, activity);
    const QByteArray other = Phone::read("/etc/host.conf"_s);
    QVERIFY(!other.isNull());
    LevelEvents events;
    const HangUps syslog;
    const QByteArray before = state();
    for (const QString &word : {"debug"_s, "init"_s, "restore"_s, QString()}) {
        QCOMPARE(level(activity, word), "Not a valid activity : "_s + activity);
    }
    QCOMPARE(state(), before);
    QCOMPARE(Phone::read("/etc/host.conf"_s), other);
    QCOMPARE(syslog.count(), 0);
    QVERIFY(nothingWasAnnounced(events));
}

void tst_LevelCommand::namesWithoutFilePassTheCheck()
{
    // That they have no file shows only when it is to be written.
    for (const QString &activity : {"WebApp"_s, "no_facility"_s}) {
        QFile::remove(Phone::facilityFile(activity));
        QCOMPARE(level(activity, "debug"_s), Levels::oneCorrupted + "OK"_s);
    }
}

void tst_LevelCommand::withoutRestartNothingIsSignalled()
{
    const LogCapture log;
    const HangUps syslog;
    const QByteArray before = Phone::read(Phone::liveConfig);
    TestableModule module;
    QCOMPARE(module.level("qvxsipua"_s, "debug"_s, false),
             "Level debug for facility : qvxsipua OK"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, "qvxsipua"_s, "debug"));
    QCOMPARE(facilityLevel("qvxsipua"_s), QByteArray("7"));
    QVERIFY(!log.debugs().contains("[restart]process success."_s));
    QCOMPARE(syslog.count(), 0);

    QCOMPARE(module.level("qvxsipua"_s, "err"_s, true), "Level err for facility : qvxsipua OK"_s);
    QVERIFY(log.debugs().contains("[restart]process success."_s));
    QCOMPARE(syslog.count(), 1);
}

void tst_LevelCommand::allReloadsEvenWithoutRestart()
{
    LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.level("all"_s, "init"_s, false), "All levels changed to err value "_s);
    QCOMPARE(syslog.count(), 1);
    QCOMPARE(module.level("all"_s, "debug"_s, false), "All levels changed to debug value "_s);
    QCOMPARE(syslog.count(), 2);

    log.clear();
    QCOMPARE(module.level("all"_s, "restore"_s, false), "level restore succcess"_s);
    QCOMPARE(log.texts(QVXLogger::Warning),
             QStringList {
                 "[level]-reset/data/QVXApplication/LoggerModule/syslog/logappli.conf success."_s});
    QVERIFY(QFile::remove(Phone::backup));
    log.clear();
    QCOMPARE(module.level("all"_s, "restore"_s, false), "level restore failed"_s);
    QCOMPARE(log.errors().last(),
             "[level]-restore/data/QVXApplication/LoggerModule/syslog/logappli.conf failed"_s);
}

QTEST_GUILESS_MAIN(tst_LevelCommand)
#include "tst_levelcommand.moc"
