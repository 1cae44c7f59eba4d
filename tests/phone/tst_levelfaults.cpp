// The level command where something is wrong: files that are missing, broken or hostile, a locale
// without UTF-8, and the end of the service in the middle of it.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/activitytable.h"
#include "support/configtext.h"
#include "support/events.h"
#include "support/facilities.h"
#include "support/hangups.h"
#include "support/heldcheck.h"
#include "support/levels.h"
#include "support/literal.h"
#include "support/phone.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

using ConfigText::withLevel;
using Levels::facilityLevel;
using Levels::level;

} // namespace

class tst_LevelFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void listingRestoresAMissingFile();
    void restoreTakesTheBackupAndNoFacilityFile();
    void restoreFails_data();
    void restoreFails();
    void brokenFileIsReplacedByTheBackup();
    void missingFileAnswersAccessError();
    void changeOfAllGoesOnAsSuccess_data();
    void changeOfAllGoesOnAsSuccess();
    void invalidFacilityFileAnswersCorruption_data();
    void invalidFacilityFileAnswersCorruption();
    void otherFilesAreWrittenBesideAnInvalidOne_data();
    void otherFilesAreWrittenBesideAnInvalidOne();
    void changeOfAllWithoutAnActivity();
    void hostileEndLineTouchesNoOtherFile();
    void repairOfAnActivityEndsTheAnswer();
    void localeOfTheProcessMakesNoDifference_data();
    void localeOfTheProcessMakesNoDifference();
    void stopDuringTheSyntaxCheckLeavesACompleteFile_data();
    void stopDuringTheSyntaxCheckLeavesACompleteFile();
    void stopOfTheWholeGroupDuringTheSyntaxCheckLeavesACompleteFile();

private:
    std::unique_ptr<Phone::Service> m_service;
};

void tst_LevelFaults::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_LevelFaults::init()
{
    Phone::resetConfiguration();
    // After a test that ran a service of its own in the booted one's place.
    if (!Phone::isOnBus(Phone::serviceName)) {
        m_service = std::make_unique<Phone::Service>();
    }
}

void tst_LevelFaults::cleanupTestCase()
{
    m_service.reset();
}

void tst_LevelFaults::listingRestoresAMissingFile()
{
    const QString before = Phone::text("level"_s);
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(Phone::text("level"_s), before);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));

    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(Phone::text("level"_s), "configuration file cannot be restored"_s);
}

void tst_LevelFaults::restoreTakesTheBackupAndNoFacilityFile()
{
    level("all"_s, "debug"_s);
    const HangUps syslog;
    LevelEvents events;
    QCOMPARE(level("all"_s, "restore"_s), "level restore succcess"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel("qvxsipua"_s), QByteArray("7"));
    QCOMPARE(syslog.count(), 1);
    QVERIFY(Levels::nothingWasAnnounced(events));
}

void tst_LevelFaults::restoreFails_data()
{
    QTest::addColumn<bool>("liveMissing");
    QTest::addColumn<bool>("backupMissing");
    QTest::newRow("live file missing") << true << false;
    QTest::newRow("backup missing") << false << true;
    QTest::newRow("both missing") << true << true;
}

void tst_LevelFaults::restoreFails()
{
    QFETCH(bool, liveMissing);
    QFETCH(bool, backupMissing);
    if (liveMissing) {
        QVERIFY(QFile::remove(Phone::liveConfig));
    }
    if (backupMissing) {
        QVERIFY(QFile::remove(Phone::backup));
    }
    QCOMPARE(level("all"_s, "restore"_s), "level restore failed"_s);
    QVERIFY(!QFile::exists(Phone::liveConfig));
}

void tst_LevelFaults::brokenFileIsReplacedByTheBackup()
{
    LevelEvents events;
    const HangUps syslog;
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    QCOMPARE(level("qvxsipua"_s, "debug"_s), "file configuration access error"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel("qvxsipua"_s), QByteArray("3"));
    QCOMPARE(syslog.count(), 1);
    QVERIFY(Levels::nothingWasAnnounced(events));
}

void tst_LevelFaults::missingFileAnswersAccessError()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(level("qvxsipua"_s, "debug"_s), "file configuration access error"_s);
    QVERIFY(!QFile::exists(Phone::liveConfig));
}

void tst_LevelFaults::changeOfAllGoesOnAsSuccess_data()
{
    QTest::addColumn<bool>("missing");
    QTest::newRow("the edit brings the backup for a broken file") << false;
    QTest::newRow("the list of activities behind it does for a missing one") << true;
}

void tst_LevelFaults::changeOfAllGoesOnAsSuccess()
{
    QFETCH(bool, missing);
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    if (missing) {
        QVERIFY(QFile::remove(Phone::liveConfig));
    }
    QCOMPARE(level("all"_s, "debug"_s), "All levels changed to debug value "_s);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel("qvxsipua"_s), QByteArray("7"));
}

void tst_LevelFaults::invalidFacilityFileAnswersCorruption_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("rubbish") << QByteArray("rubbish\n");
    QTest::newRow("level without a name") << Facilities::withLevel(Facilities::good, 2);
    QTest::newRow("as restored") << QByteArray(
        "3\nfacility\nfile(\"/var/log/qvxsipua.log\")\nfacility signature field\n");
}

void tst_LevelFaults::invalidFacilityFileAnswersCorruption()
{
    QFETCH(QByteArray, content);
    const ConfigText::FacilityFiles files = ConfigText::facilityFiles();
    Phone::write(Phone::facilityFile("qvxsipua"_s), content);
    LevelEvents events;
    const HangUps syslog;
    QCOMPARE(level("qvxsipua"_s, "debug"_s), Levels::oneCorrupted + "OK"_s);
    // The event has gone out all the same, and the set-up script has made the file anew.
    QTRY_COMPARE(events.arguments.size(), 1);
    QCOMPARE(events.arguments.first().value("syslog_level"_s).toInt(), 7);
    QCOMPARE(ConfigText::facilityFiles(), files);
    QCOMPARE(syslog.count(), 1);
    QCOMPARE(level("qvxsipua"_s, "debug"_s), "Level debug for facility : qvxsipua OK"_s);
}

void tst_LevelFaults::otherFilesAreWrittenBesideAnInvalidOne_data()
{
    QTest::addColumn<QStringList>("broken");
    const QStringList &activities = Phone::activityNames;
    QTest::newRow("first") << QStringList {activities.first()};
    QTest::newRow("in the middle") << QStringList {activities.at(4)};
    QTest::newRow("last") << QStringList {activities.last()};
    QTest::newRow("two") << QStringList {activities.at(1), activities.at(2)};
    QTest::newRow("every one") << activities;
}

void tst_LevelFaults::otherFilesAreWrittenBesideAnInvalidOne()
{
    QFETCH(QStringList, broken);
    ConfigText::FacilityFiles files = ConfigText::facilityFiles();
    for (const QString &activity : Phone::activityNames) {
        QByteArray &file = files[activity + ".conf"_s];
        if (broken.contains(activity)) {
            // The set-up script makes it as it was at first.
            Phone::write(Phone::facilityFile(activity), file + "a fifth line\n");
        } else {
            file = Facilities::withLevel(file, 6);
        }
    }
    QCOMPARE(level("all"_s, "info"_s), Levels::someCorrupted);
    QCOMPARE(ConfigText::facilityFiles(), files);
    QCOMPARE(level("all"_s, "info"_s), "All levels changed to info value "_s);
}

void tst_LevelFaults::changeOfAllWithoutAnActivity()
{
    QByteArray withoutEnd = Phone::read(Phone::liveConfig);
    withoutEnd.replace("# END", "# end");
    Phone::write(Phone::liveConfig, withoutEnd);
    const HangUps syslog;
    QCOMPARE(level("all"_s, "info"_s), Levels::noActivities);
    QCOMPARE(syslog.count(), 1);
    QCOMPARE(Phone::text("level"_s), ActivityTable::header);
}

void tst_LevelFaults::hostileEndLineTouchesNoOtherFile()
{
    const QString victim = Phone::facilityFile("../../x"_s);
    Phone::write(victim, Facilities::good);
    QByteArray config = Phone::read(Phone::liveConfig);
    config.replace("# END Telephony\n", "# END Telephony\n# BEGIN ../../x\n# END ../../x\n");
    Phone::write(Phone::liveConfig, config);
    ConfigText::FacilityFiles files = ConfigText::facilityFiles();
    for (QByteArray &file : files) {
        file = Facilities::withLevel(file, 6);
    }
    QCOMPARE(level("all"_s, "info"_s), Levels::someCorrupted);
    QCOMPARE(ConfigText::facilityFiles(), files);
    QCOMPARE(level("../../x"_s, "info"_s), "Not a valid activity : ../../x"_s);
    QCOMPARE(Phone::read(victim), Facilities::good);
    QFile::remove(victim);
}

void tst_LevelFaults::repairOfAnActivityEndsTheAnswer()
{
    const QString directory = "/usr/lib/QVXApplication/"_s;
    const QString application = directory + "qvxsipua"_s;
    QVERIFY(QDir().mkpath(directory));
    Phone::write(application, "an application");
    const QString file = Phone::facilityFile("qvxsipua"_s);
    const QByteArray good = Phone::read(file);
    QVERIFY(QFile::remove(file));
    QCOMPARE(level("qvxsipua"_s, "warning"_s),
             "Level warning for facility : qvxsipua  "_s + Facilities::repairNotice("qvxsipua"_s));
    QCOMPARE(Phone::read(file), Facilities::withLevel(good, 4));
    // The repair comes before the look at the level.
    QVERIFY(QFile::remove(file));
    QCOMPARE(level("qvxsipua"_s, "crit"_s), "[level] level not valid: crit"_s);
    QCOMPARE(Phone::read(file), good);
    QFile::remove(application);
}

void tst_LevelFaults::localeOfTheProcessMakesNoDifference_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("C") << "C"_s;
    QTest::newRow("UTF-8") << "C.UTF-8"_s;
    QTest::newRow("unknown") << "xx_XX.ISO-8859-1"_s;
}

void tst_LevelFaults::localeOfTheProcessMakesNoDifference()
{
    QFETCH(QString, locale);
    const QString activity = "t\u00e9l\u00e9phone"_s;
    QByteArray content = Phone::read(Phone::liveConfig);
    content.replace("# BEGIN qvxsipua", "# BEGIN " + activity.toUtf8());
    content.replace("# END qvxsipua", "# END " + activity.toUtf8());
    // syslog-ng itself takes lines of up to 16 kB.
    content += "# gr\xc3\xbc\xc3\x9f dich \xe2\x98\x8e\t \xf0\x9f\x93\x9e \n#"
        + QByteArray(15000, 'x') + " \t\n# ISO 8859-1: \xfc\n";
    Phone::write(Phone::liveConfig, content);
    Phone::write(Phone::facilityFile(activity), Phone::read(Phone::facilityFile("qvxsipua"_s)));

    // Runs in the booted service's place, in its own process with that locale.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL"_s, locale);
    m_service.reset();
    {
        Phone::Service service(environment);
        QCOMPARE(level(activity, "debug"_s), "Level debug for facility : "_s + activity + " OK"_s);
        QCOMPARE(Phone::read(Phone::liveConfig), withLevel(content, activity, "debug"));
        QVERIFY(Phone::text("level"_s).contains(QLatin1Char('\n') + activity.leftJustified(20)
                                                + "   debug   "_s));
        QCOMPARE(service.stop(), 0);
    }
}

void tst_LevelFaults::stopDuringTheSyntaxCheckLeavesACompleteFile_data()
{
    QTest::addColumn<int>("stopSignal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void tst_LevelFaults::stopDuringTheSyntaxCheckLeavesACompleteFile()
{
    QFETCH(int, stopSignal);
    const QByteArray before = Phone::read(Phone::liveConfig);
    m_service.reset();
    {
        Phone::Service service;
        HeldCheck check;
        Phone::send("level"_s, {"qvxsipua"_s, "debug"_s});
        QVERIFY(check.waitForStart());
        ::kill(static_cast<pid_t>(service.pid()), stopSignal);
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        check.release();
        QCOMPARE(service.waitForEnd(), 0);
    }
    // The change that was under way is finished first.
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, "qvxsipua"_s, "debug"));
    QCOMPARE(facilityLevel("qvxsipua"_s), QByteArray("7"));
}

void tst_LevelFaults::stopOfTheWholeGroupDuringTheSyntaxCheckLeavesACompleteFile()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    m_service.reset();
    {
        Phone::Service service;
        HeldCheck check;
        Phone::send("level"_s, {"qvxsipua"_s, "debug"_s});
        QVERIFY(check.waitForStart());
        ::kill(static_cast<pid_t>(service.pid()), SIGTERM);
        for (const int pid : check.pids()) {
            ::kill(pid, SIGTERM);
        }
        QCOMPARE(service.waitForEnd(), 0);
    }
    // A check that was ended by a signal is no check: the backup stands, whole.
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(Phone::read(Phone::liveConfig), before);
}

QTEST_GUILESS_MAIN(tst_LevelFaults)
#include "tst_levelfaults.moc"
