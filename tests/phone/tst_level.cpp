// The level command of the running service, from outside: its answers, what it changes, in which
// order, and what it leaves alone.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/configtext.h"
#include "support/events.h"
#include "support/hangups.h"
#include "support/heldcheck.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using ConfigText::withLevel;

const QString header
    = QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n");

const QStringList &activities = Phone::activityNames;

QString level(const QString &activity, const QString &levelName)
{
    return Phone::text(QStringLiteral("level"), {activity, levelName});
}

QByteArray withAllLevels(QByteArray content, const QByteArray &levelName)
{
    for (const QString &activity : activities) {
        content = withLevel(content, activity, levelName);
    }
    return content;
}

/// Everything that a level change may touch.
QByteArray state()
{
    QByteArray all = Phone::read(Phone::liveConfig) + Phone::read(Phone::backup);
    const QDir facilities(Phone::facilityDirectory);
    const QStringList names = facilities.entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                                   | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        all += name.toUtf8() + '\0' + Phone::read(facilities.filePath(name));
    }
    return all;
}

QByteArray facilityLevel(const QString &activity)
{
    return Phone::read(Phone::facilityFile(activity)).split('\n').first();
}

} // namespace

/// Sends a call without waiting for its answer.
void send(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(Phone::serviceName, Phone::servicePath,
                                                          Phone::serviceInterface, method);
    message.setArguments(arguments);
    QDBusConnection::systemBus().send(message);
}

class tst_Level : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void listsTheActivitiesSortedWithOneHeader();
    void listingRestoresAMissingFile();
    void listingWithNothingToRestoreSaysSo();

    void changesOneTokenAndTheFacilityFile_data();
    void changesOneTokenAndTheFacilityFile();
    void sameChangeAgainChangesNothing();
    void debugMessageArrivesAfterTheChange();
    void changesEveryActivity_data();
    void changesEveryActivity();
    void allInitSetsEveryActivityToErr();
    void orderIsEventFacilityFileReload();
    void eventCarriesBothArgumentsWithTheirTypes();

    void refusesALevelWord_data();
    void refusesALevelWord();
    void refusesAnActivity_data();
    void refusesAnActivity();
    void nameThatContainsOkIsRefusedToo();
    void namesWithoutFilePassTheCheck_data();
    void namesWithoutFilePassTheCheck();

    void restoreTakesTheBackupAndNoFacilityFile();
    void restoreFails_data();
    void restoreFails();

    void brokenFileIsReplacedByTheBackup();
    void brokenFileWhileChangingAllGoesOnAsSuccess();
    void missingFileAnswersAccessError();
    void missingFileWhileChangingAllIsNotRestoredByTheEdit();
    void invalidFacilityFileAnswersCorruption();
    void invalidFacilityFileWhileChangingAll();
    void noActivityWhileChangingAll();
    void hostileEndLineTouchesNoOtherFile();
    void repairedActivityEndsWithTheNotice_data();
    void repairedActivityEndsWithTheNotice();

    void withoutRestartNothingIsSignalled();
    void allReloadsEvenWithoutRestart();

    void localeOfTheProcessMakesNoDifference_data();
    void localeOfTheProcessMakesNoDifference();
    void stopDuringTheSyntaxCheckLeavesACompleteFile();
    void stopOfTheWholeGroupDuringTheSyntaxCheckLeavesACompleteFile();
    void cleanupTestCase();

private:
    std::unique_ptr<Phone::Service> m_service;
};

void tst_Level::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Level::init()
{
    Phone::resetConfiguration();
    // After a test that ran a service of its own in the booted one's place.
    if (!Phone::isOnBus(Phone::serviceName)) {
        m_service = std::make_unique<Phone::Service>();
    }
}

void tst_Level::listsTheActivitiesSortedWithOneHeader()
{
    QString expected = header;
    QStringList sorted = activities;
    std::sort(sorted.begin(), sorted.end(), [](const QString &left, const QString &right) {
        return left.compare(right, Qt::CaseInsensitive) < 0;
    });
    for (const QString &activity : sorted) {
        expected += activity.leftJustified(20) + QStringLiteral("   ") + QStringLiteral("err     ")
            + QStringLiteral("   ") + QStringLiteral("file      ") + QStringLiteral("   ")
            + Phone::predefinedFile(activity).leftJustified(60) + QLatin1Char('\n');
    }
    QCOMPARE(Phone::text(QStringLiteral("level")), expected);
}

void tst_Level::listingRestoresAMissingFile()
{
    const QString before = Phone::text(QStringLiteral("level"));
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(Phone::text(QStringLiteral("level")), before);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
}

void tst_Level::listingWithNothingToRestoreSaysSo()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(Phone::text(QStringLiteral("level")),
             QStringLiteral("configuration file cannot be restored"));
}

void tst_Level::changesOneTokenAndTheFacilityFile_data()
{
    QTest::addColumn<QString>("levelName");
    QTest::addColumn<QByteArray>("number");
    QTest::newRow("emerg") << QStringLiteral("emerg") << QByteArray("0");
    QTest::newRow("err") << QStringLiteral("err") << QByteArray("3");
    QTest::newRow("warning") << QStringLiteral("warning") << QByteArray("4");
    QTest::newRow("notice") << QStringLiteral("notice") << QByteArray("5");
    QTest::newRow("info") << QStringLiteral("info") << QByteArray("6");
    QTest::newRow("debug") << QStringLiteral("debug") << QByteArray("7");
}

void tst_Level::changesOneTokenAndTheFacilityFile()
{
    QFETCH(QString, levelName);
    QFETCH(QByteArray, number);
    const HangUps syslog;
    const QByteArray before = Phone::read(Phone::liveConfig);
    QByteArray facilityBefore = Phone::read(Phone::facilityFile(QStringLiteral("qvxsipua")));
    QVERIFY(facilityBefore.startsWith("3\n"));

    QCOMPARE(level(QStringLiteral("qvxsipua"), levelName),
             QStringLiteral("Level ") + levelName + QStringLiteral(" for facility : qvxsipua OK"));
    QCOMPARE(Phone::read(Phone::liveConfig),
             withLevel(before, QStringLiteral("qvxsipua"), levelName.toUtf8()));
    QCOMPARE(Phone::read(Phone::facilityFile(QStringLiteral("qvxsipua"))),
             facilityBefore.replace(0, 1, number));
    QTRY_COMPARE(syslog.count(), 1);
}

void tst_Level::sameChangeAgainChangesNothing()
{
    level(QStringLiteral("qvxsipua"), QStringLiteral("debug"));
    const QByteArray before = state();
    QCOMPARE(level(QStringLiteral("qvxsipua"), QStringLiteral("debug")),
             QStringLiteral("Level debug for facility : qvxsipua OK"));
    QCOMPARE(state(), before);
}

void tst_Level::debugMessageArrivesAfterTheChange()
{
    const QString log = QStringLiteral("/var/log/qvxaudio.log");
    const Phone::Activity &audio = Phone::activity(QStringLiteral("qvxaudio"));
    Phone::logMessage(audio.name, audio.facility, QStringLiteral("debug"),
                      QStringLiteral("too early"));
    Phone::logMessage(audio.name, audio.facility, QStringLiteral("err"), QStringLiteral("fence"));
    QVERIFY(Phone::waitForContent(log, "fence"));
    QVERIFY(!Phone::read(log).contains("too early"));

    QCOMPARE(level(audio.name, QStringLiteral("debug")),
             QStringLiteral("Level debug for facility : qvxaudio OK"));
    QVERIFY(Phone::logUntilSeen(audio, log, QStringLiteral("in time"), QStringLiteral("debug")));
}

void tst_Level::changesEveryActivity_data()
{
    QTest::addColumn<QString>("levelName");
    QTest::addColumn<QByteArray>("number");
    QTest::newRow("emerg") << QStringLiteral("emerg") << QByteArray("0");
    QTest::newRow("notice") << QStringLiteral("notice") << QByteArray("5");
    QTest::newRow("debug") << QStringLiteral("debug") << QByteArray("7");
}

void tst_Level::changesEveryActivity()
{
    QFETCH(QString, levelName);
    QFETCH(QByteArray, number);
    LevelEvents events;
    const HangUps syslog;
    const QByteArray before = Phone::read(Phone::liveConfig);
    QCOMPARE(level(QStringLiteral("all"), levelName),
             QStringLiteral("All levels changed to ") + levelName + QStringLiteral(" value "));
    QCOMPARE(Phone::read(Phone::liveConfig), withAllLevels(before, levelName.toUtf8()));
    for (const QString &activity : activities) {
        QCOMPARE(facilityLevel(activity), number);
    }
    QTRY_COMPARE(syslog.count(), 1);
    QTRY_COMPARE(events.arguments.size(), 1);
    QCOMPARE(events.arguments.first().value(QStringLiteral("syslog_facility")).toString(),
             QStringLiteral("all"));
}

void tst_Level::allInitSetsEveryActivityToErr()
{
    level(QStringLiteral("all"), QStringLiteral("debug"));
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("init")),
             QStringLiteral("All levels changed to err value "));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel(QStringLiteral("defence")), QByteArray("3"));
}

void tst_Level::orderIsEventFacilityFileReload()
{
    const QString file = Phone::facilityFile(QStringLiteral("sipmmi"));
    const QByteArray before = Phone::read(file);
    LevelEvents events;
    const HangUps syslog(file);

    // A write lease (fcntl(2)) makes the service's open() wait for us, so that everything it did
    // before it came to the facility file can be seen while that file is still untouched.
    signal(SIGIO, SIG_IGN);
    const int lease = ::open(QFile::encodeName(file).constData(), O_RDONLY | O_CLOEXEC);
    QVERIFY(lease >= 0);
    QCOMPARE(fcntl(lease, F_SETLEASE, F_WRLCK), 0);
    send(QStringLiteral("level"), {QStringLiteral("sipmmi"), QStringLiteral("info")});
    QTRY_COMPARE(events.arguments.size(), 1);
    QCOMPARE(syslog.count(), 0);
    QVERIFY(QFile::exists(file));
    QVERIFY(Phone::read(Phone::liveConfig)
            == withLevel(Phone::read(Phone::backup), QStringLiteral("sipmmi"), "info"));
    QCOMPARE(fcntl(lease, F_SETLEASE, F_UNLCK), 0);
    ::close(lease);

    QTRY_COMPARE(syslog.count(), 1);
    QVERIFY(before.startsWith("3\n"));
    QVERIFY2(syslog.watchedContent().startsWith("6\n"), syslog.watchedContent().constData());
}

void tst_Level::eventCarriesBothArgumentsWithTheirTypes()
{
    LevelEvents events;
    level(QStringLiteral("Telephony"), QStringLiteral("warning"));
    QTRY_COMPARE(events.arguments.size(), 1);
    const QVariantMap arguments = events.arguments.first();
    QCOMPARE(arguments.size(), 2);
    const QVariant facility = arguments.value(QStringLiteral("syslog_facility"));
    const QVariant number = arguments.value(QStringLiteral("syslog_level"));
    QCOMPARE(static_cast<QMetaType::Type>(facility.type()), QMetaType::QString);
    QCOMPARE(facility.toString(), QStringLiteral("Telephony"));
    QCOMPARE(static_cast<QMetaType::Type>(number.type()), QMetaType::Int);
    QCOMPARE(number.toInt(), 4);
    QCOMPARE(events.messages.first().signature(), QStringLiteral("a{sv}"));
    QCOMPARE(events.messages.first().path(), Phone::servicePath);
    QCOMPARE(events.messages.first().interface(), QStringLiteral("com.corvane.Quorvix.QVXEvent"));
}

void tst_Level::refusesALevelWord_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("word");
    const auto row = [](const char *name, const QString &activity, const QString &word) {
        QTest::newRow(name) << activity << word;
    };
    const QString one = QStringLiteral("qvxsipua");
    const QString all = QStringLiteral("all");
    row("init for one activity", one, QStringLiteral("init"));
    row("restore for one activity", one, QStringLiteral("restore"));
    row("name of severity 1", one, QStringLiteral("alert"));
    row("name of severity 2", one, QStringLiteral("crit"));
    row("name of severity 1 for all", all, QStringLiteral("alert"));
    row("name of severity 2 for all", all, QStringLiteral("crit"));
    row("capitals", one, QStringLiteral("ERR"));
    row("capital letter", all, QStringLiteral("Err"));
    row("number", one, QStringLiteral("3"));
    row("empty", one, QString());
    row("empty for all", all, QString());
    row("blank before", one, QStringLiteral(" err"));
    row("blank behind", one, QStringLiteral("err "));
    row("statement", one, QStringLiteral("err..emerg); program(\"x\""));
    row("Init for all", all, QStringLiteral("Init"));
    row("Restore for all", all, QStringLiteral("Restore"));
    row("percent and digit", one, QStringLiteral("%1"));
    row("100 kB", one, QString(100000, QLatin1Char('e')));
}

void tst_Level::refusesALevelWord()
{
    QFETCH(QString, activity);
    QFETCH(QString, word);
    LevelEvents events;
    const HangUps syslog;
    const QByteArray before = state();
    QCOMPARE(level(activity, word), QStringLiteral("[level] level not valid: ") + word);
    QCOMPARE(state(), before);
    QCOMPARE(syslog.count(), 0);
    level(QStringLiteral("Platform"), QStringLiteral("err")); // a fence for the events
    QTRY_VERIFY(!events.arguments.isEmpty());
    QCOMPARE(events.arguments.first().value(QStringLiteral("syslog_facility")).toString(),
             QStringLiteral("Platform"));
}

void tst_Level::refusesAnActivity_data()
{
    QTest::addColumn<QString>("activity");
    const auto row
        = [](const char *name, const QString &activity) { QTest::newRow(name) << activity; };
    row("unknown", QStringLiteral("nobody"));
    row("other case", QStringLiteral("QVXSIPUA"));
    row("ALL", QStringLiteral("ALL"));
    row("beginning of a name", QStringLiteral("qvxsip"));
    row("path upwards", QStringLiteral("../../../../../etc/host"));
    row("absolute path", QStringLiteral("/etc/host"));
    row("path upwards to a program", QStringLiteral("../../bin/sh"));
    row("path to a facility file", QStringLiteral("../facility/qvxsipua"));
    row("empty", QString());
    row("dot", QStringLiteral("."));
    row("two dots", QStringLiteral(".."));
    row("slash inside", QStringLiteral("a/b"));
    row("line break", QStringLiteral("qvxsipua\n"));
    row("line break inside", QStringLiteral("qvx\nsipua"));
    row("blank behind", QStringLiteral("qvxsipua "));
    row("suffix", QStringLiteral("qvxsipua.conf"));
    row("glob", QStringLiteral("*"));
    row("percent and digits", QStringLiteral("%1%2"));
    row("100 kB", QString(100000, QLatin1Char('a')));
    row("100 kB of slashes", QString(100000, QLatin1Char('/')));
}

void tst_Level::refusesAnActivity()
{
    QFETCH(QString, activity);
    Phone::write(QStringLiteral("/etc/host.conf"), "multi on\n");
    const HangUps syslog;
    const QByteArray before = state();
    for (const QString &word :
         {QStringLiteral("debug"), QStringLiteral("init"), QStringLiteral("restore"), QString()}) {
        QCOMPARE(level(activity, word), QStringLiteral("Not a valid activity : ") + activity);
    }
    QCOMPARE(state(), before);
    QCOMPARE(Phone::read(QStringLiteral("/etc/host.conf")), QByteArray("multi on\n"));
    QCOMPARE(syslog.count(), 0);
    QCOMPARE(Phone::text(QStringLiteral("logComments"), {QString(), QStringLiteral("alive")}),
             QStringLiteral("OK"));
}

void tst_Level::nameThatContainsOkIsRefusedToo()
{
    LevelEvents events;
    const HangUps syslog;
    const QByteArray before = state();
    QCOMPARE(level(QStringLiteral("BOOK"), QStringLiteral("debug")),
             QStringLiteral("Not a valid activity : BOOK"));
    QCOMPARE(level(QStringLiteral("OK"), QStringLiteral("debug")),
             QStringLiteral("Not a valid activity : OK"));
    QCOMPARE(state(), before);
    QCOMPARE(syslog.count(), 0);
    level(QStringLiteral("Platform"), QStringLiteral("err")); // a fence for the events
    QTRY_VERIFY(!events.arguments.isEmpty());
    QCOMPARE(events.arguments.first().value(QStringLiteral("syslog_facility")).toString(),
             QStringLiteral("Platform"));
}

void tst_Level::namesWithoutFilePassTheCheck_data()
{
    QTest::addColumn<QString>("activity");
    QTest::newRow("WebApp") << QStringLiteral("WebApp");
    QTest::newRow("no_facility") << QStringLiteral("no_facility");
}

void tst_Level::namesWithoutFilePassTheCheck()
{
    QFETCH(QString, activity);
    QFile::remove(Phone::facilityFile(activity));
    // The check lets them pass; that they have no file shows only when it is to be written.
    QCOMPARE(level(activity, QStringLiteral("debug")),
             QStringLiteral("One or more log config file corrupted -- file restored to "
                            "predefined value !OK"));
}

void tst_Level::restoreTakesTheBackupAndNoFacilityFile()
{
    level(QStringLiteral("all"), QStringLiteral("debug"));
    const HangUps syslog;
    LevelEvents events;
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("restore")),
             QStringLiteral("level restore succcess"));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("7"));
    QTRY_COMPARE(syslog.count(), 1);
    QVERIFY(events.arguments.isEmpty());
}

void tst_Level::restoreFails_data()
{
    QTest::addColumn<bool>("liveMissing");
    QTest::addColumn<bool>("backupMissing");
    QTest::newRow("live file missing") << true << false;
    QTest::newRow("backup missing") << false << true;
    QTest::newRow("both missing") << true << true;
}

void tst_Level::restoreFails()
{
    QFETCH(bool, liveMissing);
    QFETCH(bool, backupMissing);
    if (liveMissing) {
        QVERIFY(QFile::remove(Phone::liveConfig));
    }
    if (backupMissing) {
        QVERIFY(QFile::remove(Phone::backup));
    }
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("restore")),
             QStringLiteral("level restore failed"));
    QVERIFY(!QFile::exists(Phone::liveConfig));
}

void tst_Level::brokenFileIsReplacedByTheBackup()
{
    LevelEvents events;
    const HangUps syslog;
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    QCOMPARE(level(QStringLiteral("qvxsipua"), QStringLiteral("debug")),
             QStringLiteral("file configuration access error"));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("3"));
    QTRY_COMPARE(syslog.count(), 1);
    QVERIFY(events.arguments.isEmpty());
}

void tst_Level::brokenFileWhileChangingAllGoesOnAsSuccess()
{
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("debug")),
             QStringLiteral("All levels changed to debug value "));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("7"));
}

void tst_Level::missingFileAnswersAccessError()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(level(QStringLiteral("qvxsipua"), QStringLiteral("debug")),
             QStringLiteral("file configuration access error"));
    QVERIFY(!QFile::exists(Phone::liveConfig));
}

void tst_Level::missingFileWhileChangingAllIsNotRestoredByTheEdit()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    // The edit fails; reading the list of activities afterwards brings the backup back.
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("debug")),
             QStringLiteral("All levels changed to debug value "));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("7"));
}

void tst_Level::invalidFacilityFileAnswersCorruption()
{
    LevelEvents events;
    const HangUps syslog;
    const QString file = Phone::facilityFile(QStringLiteral("qvxsipua"));
    const QByteArray good = Phone::read(file);
    Phone::write(file, "2" + good.mid(1));
    QCOMPARE(level(QStringLiteral("qvxsipua"), QStringLiteral("debug")),
             QStringLiteral("One or more log config file corrupted -- file restored to "
                            "predefined value !OK"));
    // The event has gone out all the same, and the set-up script has made the file anew.
    QTRY_COMPARE(events.arguments.size(), 1);
    QCOMPARE(events.arguments.first().value(QStringLiteral("syslog_level")).toInt(), 7);
    QCOMPARE(Phone::read(file), good);
    QTRY_COMPARE(syslog.count(), 1);
}

void tst_Level::invalidFacilityFileWhileChangingAll()
{
    const QString first = Phone::facilityFile(QStringLiteral("Telephony"));
    const QByteArray good = Phone::read(first);
    Phone::write(first, good + "a fifth line\n");
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("info")),
             QStringLiteral("One ore more facility config file corrupted -- restored to "
                            "predefined value ! -- Use level or redirect command to verify your "
                            "log config"));
    QCOMPARE(Phone::read(first), good);
    QCOMPARE(facilityLevel(QStringLiteral("Platform")), QByteArray("6"));
    QCOMPARE(facilityLevel(QStringLiteral("defence")), QByteArray("6"));
}

void tst_Level::noActivityWhileChangingAll()
{
    QByteArray withoutEnd = Phone::read(Phone::liveConfig);
    withoutEnd.replace("# END", "# end");
    Phone::write(Phone::liveConfig, withoutEnd);
    const HangUps syslog;
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("info")),
             QStringLiteral("No logger configuration file !!"));
    QTRY_COMPARE(syslog.count(), 1);
    QCOMPARE(Phone::text(QStringLiteral("level")), header);
}

void tst_Level::hostileEndLineTouchesNoOtherFile()
{
    const QString victim = Phone::facilityDirectory + QStringLiteral("../../x.conf");
    const QByteArray content = "3\n1\nfile(\"/x\")\nfacility signature field\n";
    Phone::write(victim, content);
    Phone::write(Phone::liveConfig,
                 Phone::read(Phone::liveConfig) + "# BEGIN ../../x\n# END ../../x\n");
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("info")),
             QStringLiteral("One ore more facility config file corrupted -- restored to "
                            "predefined value ! -- Use level or redirect command to verify your "
                            "log config"));
    QCOMPARE(Phone::read(victim), content);
    QCOMPARE(level(QStringLiteral("../../x"), QStringLiteral("info")),
             QStringLiteral("Not a valid activity : ../../x"));
    QCOMPARE(Phone::read(victim), content);
    QFile::remove(victim);
}

void tst_Level::repairedActivityEndsWithTheNotice_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("notice");
    const QString notice = QStringLiteral(
        "OK  -- but configuration file was corrupted : qvxsipua restored to predefined values -- "
        "use level or redirect command to verify your log config ");
    QTest::newRow("library") << QStringLiteral("/usr/lib/QVXApplication/")
                             << QStringLiteral(" ") + notice;
    QTest::newRow("program") << QStringLiteral("/usr/bin/QVXApplication/") << notice;
}

void tst_Level::repairedActivityEndsWithTheNotice()
{
    QFETCH(QString, directory);
    QFETCH(QString, notice);
    const QString application = directory + QStringLiteral("qvxsipua");
    QVERIFY(QDir().mkpath(directory));
    Phone::write(application, "an application");
    QVERIFY(QFile::remove(Phone::facilityFile(QStringLiteral("qvxsipua"))));
    QCOMPARE(level(QStringLiteral("qvxsipua"), QStringLiteral("warning")),
             QStringLiteral("Level warning for facility : qvxsipua ") + notice);
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("4"));
    QFile::remove(application);
}

void tst_Level::withoutRestartNothingIsSignalled()
{
    const LogCapture log;
    const HangUps syslog;
    const QByteArray before = Phone::read(Phone::liveConfig);
    TestableModule module;
    QCOMPARE(module.level(QStringLiteral("qvxsipua"), QStringLiteral("debug"), false),
             QStringLiteral("Level debug for facility : qvxsipua OK"));
    QCOMPARE(Phone::read(Phone::liveConfig),
             withLevel(before, QStringLiteral("qvxsipua"), "debug"));
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("7"));
    QVERIFY(!log.debugs().contains(QStringLiteral("[restart]process success.")));
    QCOMPARE(syslog.count(), 0);

    QCOMPARE(module.level(QStringLiteral("qvxsipua"), QStringLiteral("err"), true),
             QStringLiteral("Level err for facility : qvxsipua OK"));
    QVERIFY(log.debugs().contains(QStringLiteral("[restart]process success.")));
    QTRY_COMPARE(syslog.count(), 1);
}

void tst_Level::allReloadsEvenWithoutRestart()
{
    LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.level(QStringLiteral("all"), QStringLiteral("init"), false),
             QStringLiteral("All levels changed to err value "));
    QTRY_COMPARE(syslog.count(), 1);
    QCOMPARE(module.level(QStringLiteral("all"), QStringLiteral("debug"), false),
             QStringLiteral("All levels changed to debug value "));
    QTRY_COMPARE(syslog.count(), 2);

    log.clear();
    QCOMPARE(module.level(QStringLiteral("all"), QStringLiteral("restore"), false),
             QStringLiteral("level restore succcess"));
    QCOMPARE(log.texts(QVXLogger::Warning),
             QStringList {QStringLiteral("[level]-reset/data/QVXApplication/LoggerModule/syslog/"
                                         "logappli.conf success.")});
    QVERIFY(QFile::remove(Phone::backup));
    log.clear();
    QCOMPARE(module.level(QStringLiteral("all"), QStringLiteral("restore"), false),
             QStringLiteral("level restore failed"));
    QCOMPARE(log.errors().last(),
             QStringLiteral("[level]-restore/data/QVXApplication/LoggerModule/syslog/"
                            "logappli.conf failed"));
}

void tst_Level::localeOfTheProcessMakesNoDifference_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("C") << QStringLiteral("C");
    QTest::newRow("UTF-8") << QStringLiteral("C.UTF-8");
    QTest::newRow("unknown") << QStringLiteral("xx_XX.ISO-8859-1");
}

void tst_Level::localeOfTheProcessMakesNoDifference()
{
    QFETCH(QString, locale);
    const QString activity = QStringLiteral("t\u00e9l\u00e9phone");
    QByteArray content = Phone::read(Phone::liveConfig);
    content.replace("# BEGIN qvxsipua", "# BEGIN " + activity.toUtf8());
    content.replace("# END qvxsipua", "# END " + activity.toUtf8());
    // syslog-ng itself takes lines of up to 16 kB.
    content += "# gr\xc3\xbc\xc3\x9f dich \xe2\x98\x8e\t \xf0\x9f\x93\x9e \n#"
        + QByteArray(15000, 'x') + " \t\n# ISO 8859-1: \xfc\n";
    Phone::write(Phone::liveConfig, content);
    Phone::write(Phone::facilityFile(activity),
                 Phone::read(Phone::facilityFile(QStringLiteral("qvxsipua"))));

    // Runs in the booted service's place, in its own process with that locale.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), locale);
    m_service.reset();
    {
        Phone::Service service(environment);
        QCOMPARE(level(activity, QStringLiteral("debug")),
                 QStringLiteral("Level debug for facility : ") + activity + QStringLiteral(" OK"));
        QCOMPARE(Phone::read(Phone::liveConfig), withLevel(content, activity, "debug"));
        QVERIFY(Phone::text(QStringLiteral("level"))
                    .contains(QLatin1Char('\n') + activity.leftJustified(20)
                              + QStringLiteral("   debug   ")));
        QCOMPARE(service.stop(), 0);
    }
}

void tst_Level::stopDuringTheSyntaxCheckLeavesACompleteFile()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    m_service.reset();
    {
        Phone::Service service;
        HeldCheck check;
        send(QStringLiteral("level"), {QStringLiteral("qvxsipua"), QStringLiteral("debug")});
        QVERIFY(check.waitForStart());
        ::kill(static_cast<pid_t>(service.pid()), SIGTERM);
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        check.release();
        QCOMPARE(service.waitForEnd(), 0);
    }
    // The change that was under way is finished first.
    QCOMPARE(Phone::read(Phone::liveConfig),
             withLevel(before, QStringLiteral("qvxsipua"), "debug"));
    QCOMPARE(facilityLevel(QStringLiteral("qvxsipua")), QByteArray("7"));
}

void tst_Level::stopOfTheWholeGroupDuringTheSyntaxCheckLeavesACompleteFile()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    m_service.reset();
    {
        Phone::Service service;
        HeldCheck check;
        send(QStringLiteral("level"), {QStringLiteral("qvxsipua"), QStringLiteral("debug")});
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

void tst_Level::cleanupTestCase()
{
    m_service.reset();
}

QTEST_GUILESS_MAIN(tst_Level)
#include "tst_level.moc"
