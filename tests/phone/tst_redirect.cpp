// The redirect command: what each of its four forms answers, writes, logs and signals, and what the
// two operations behind it do for all activities at once.
// SPDX-License-Identifier: MIT
#include "levels/configurationorder.h"
#include "support/activities.h"
#include "support/configtext.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QVX/setting.h>

#include <QDir>
#include <QMap>
#include <QTest>

#include <atomic>
#include <memory>
#include <thread>

namespace {

using ConfigText::withAllDestinations;
using ConfigText::withDestination;
using ConfigText::withRedirection;

const QStringList &activities = Phone::activityNames;

const QString sip = QStringLiteral("qvxsipua");
const QString all = QStringLiteral("all");
const QString initWord = QStringLiteral("init");

const QString checked = QStringLiteral("7 File logappli.conf.tmp  OK");
const QString rejected = QStringLiteral("7 File logappli.conf.tmp  NOT OK");
const QString reloaded = QStringLiteral("7 [restart]process success.");
const QString noPermission
    = QStringLiteral("7 setPermissions() result ") + QStringLiteral("No such file or directory");
const QString setUp = QStringLiteral("7 restoreSylogConfig() success.");
const QString corruptedText = QStringLiteral("3 [Method : writeToFile()] -- file : ")
    + Phone::liveConfig + QStringLiteral(".tmp corrupted");
const QString notUpToDate = QStringLiteral("3 [Method : modify()] -- File corrupted: ")
    + Phone::liveConfig + QStringLiteral(" or not up to date with new values --Temorary file : ")
    + Phone::liveConfig + QStringLiteral(".tmp perhaps corrupted");
const QString restored = QStringLiteral("3 ") + Phone::liveConfig
    + QStringLiteral(" restored with : ") + Phone::backup;
const QString noList = QStringLiteral("3 Syslog-ng config file not readable and not overwritable")
    + Phone::facilityDirectory;

const QString allToPredefined = QStringLiteral("All facilities redirected to predefined values ");
const QString allCorrupted
    = QStringLiteral("One ore more config files were corrupted -- Initialised to predefined values "
                     "-- check your log config with level or redirect command !");
const QString corruptedDebug = QStringLiteral(
    "7 One ore more facility config files corrupted --Initialize all to default value !!");
const QString notAFileName
    = QStringLiteral("Not a valid file name -- character / and ~ are banned");
const QString notASupport
    = QStringLiteral("Not a valid support type -- can be : ram - flash or usertty");
const QString initIsForAll
    = QStringLiteral("Destination not valid --parameter init can only be used with activity all !");

QString moved(const QString &activity, const QString &destination)
{
    return QStringLiteral("[REDIRECT] Activity : ") + activity + QStringLiteral(" redirect to : ")
        + destination;
}

QString allMoved(const QString &destination)
{
    return QStringLiteral("All facilities redirected to : ") + destination + QStringLiteral(" ");
}

QString predefined(const QString &activity)
{
    return QStringLiteral("file(\"%1\")").arg(Phone::predefinedFile(activity));
}

/// What the service logs while it looks for an activity that nobody knows.
QStringList unknown(const QString &activity)
{
    return {QStringLiteral("6 search facility ") + activity
                + QStringLiteral(" in /usr/lib/QVXApplication/"),
            QStringLiteral("6 search facility ") + activity
                + QStringLiteral(" in /usr/bin/QVXApplication/"),
            QStringLiteral("3 No config file for facility : ") + activity};
}

using Files = QMap<QString, QByteArray>;

Files facilityFiles()
{
    Files files;
    const QDir directory(Phone::facilityDirectory);
    const QStringList names = directory.entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                                  | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        files.insert(name, Faults::state(directory.filePath(name)));
    }
    return files;
}

/// @p files with another redirection for @p activity.
Files withRedirection(Files files, const QString &activity, const QString &redirection)
{
    QByteArray &file = files[activity + QStringLiteral(".conf")];
    file = withRedirection(file, redirection);
    return files;
}

Files withAllRedirections(Files files, const QString &redirection)
{
    for (const QString &activity : activities) {
        files = withRedirection(std::move(files), activity, redirection);
    }
    return files;
}

/// What is logged for each activity in turn. @p corrupted holds the activities whose files are
/// corrupted, each with a line of its own or an empty text.
QStringList eachActivity(const QMap<QString, QString> &corrupted = {})
{
    QStringList lines;
    for (const QString &activity : activities) {
        lines.append(QStringLiteral("7 Configuration file to change : ") + activity);
        if (corrupted.contains(activity)) {
            lines.append(QStringLiteral("3  -- error type : facility config file corrupted -- "
                                        "Facility : ")
                         + activity);
            lines.append(noPermission);
            if (!corrupted.value(activity).isEmpty()) {
                lines.append(corrupted.value(activity));
            }
        }
    }
    return lines;
}

/// What was logged, without the lines of the reader of the activities.
QStringList ownLines(const LogCapture &log)
{
    QStringList lines;
    for (const QString &line : Faults::logged(log)) {
        if (!line.startsWith(QLatin1String("7 facility : "))) {
            lines.append(line);
        }
    }
    return lines;
}

void breakFacilityFile(const QString &activity)
{
    Phone::write(Phone::facilityFile(activity), "3\n19\nfile(\"/x\")\nanother signature\n");
}

} // namespace

class tst_Redirect : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void listing();
    void listingWithoutAnyFile();

    void oneActivity_data();
    void oneActivity();
    void refused_data();
    void refused();
    void refusedBySyslog_data();
    void refusedBySyslog();
    void activityWithoutBlockIsAnsweredAsSuccess();
    void missingConfigurationIsAnsweredAsSuccess();

    void fileOrTerminal_data();
    void fileOrTerminal();
    void fileOrTerminalIsRefused_data();
    void fileOrTerminalIsRefused();
    void server_data();
    void server();
    void serverIsRefused_data();
    void serverIsRefused();
    void recordedThoughSyslogRefuses_data();
    void recordedThoughSyslogRefuses();
    void repairedActivityEndsWithTheNotice_data();
    void repairedActivityEndsWithTheNotice();
    void recordIsTriedThoughTheEditWasRefused_data();
    void recordIsTriedThoughTheEditWasRefused();
    void corruptedFacilityFile_data();
    void corruptedFacilityFile();
    void facilityFileIsWrittenAfterTheReload();

    void everyActivity_data();
    void everyActivity();
    void everyActivityIsRefused_data();
    void everyActivityIsRefused();
    void everyActivityThoughSyslogRefuses();
    void everyActivityWithoutConfiguration();
    void everyActivityThroughTheOtherForms_data();
    void everyActivityThroughTheOtherForms();
    void everyActivityBackToItsFile();
    void backToPredefinedFilesOfAnEmptyList();
    void backToPredefinedFilesWhenTheRewriteIsRefused();

    void redirectionsOfAll_data();
    void redirectionsOfAll();
    void redirectionsOfAllWithCorruptedFiles_data();
    void redirectionsOfAllWithCorruptedFiles();
    void nameWithDefenceInItIsAnyOther();
    void redirectionsOfAnEmptyList_data();
    void redirectionsOfAnEmptyList();

    void earlierWorkComesFirst_data();
    void earlierWorkComesFirst();
    void linesAreGuardedByTheLevel_data();
    void linesAreGuardedByTheLevel();
    void overTheBus_data();
    void overTheBus();

private:
    TestableModule m_module;
    QByteArray m_predefined;
    Files m_facilities;
    std::unique_ptr<HangUps> m_syslog; ///< the daemon is not to load what these tests write
    std::unique_ptr<LogCapture> m_log;
};

void tst_Redirect::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::resetConfiguration();
    m_predefined = Phone::read(Phone::liveConfig);
    m_facilities = facilityFiles();
    QVERIFY(m_predefined.startsWith("@version"));
    QCOMPARE(m_facilities.size(), activities.size());
}

void tst_Redirect::init()
{
    // Each puts back at its end what it found, so the old one has to go before the new one comes.
    m_log.reset();
    m_syslog.reset();
    m_syslog = std::make_unique<HangUps>();
    m_log = std::make_unique<LogCapture>();
    Phone::write(Phone::liveConfig, m_predefined);
    // Told apart from the live file, so that it shows which of the two is there.
    Phone::write(Phone::backup, m_predefined + "# the backup\n");
    const QStringList present = facilityFiles().keys();
    for (const QString &name : present) {
        Faults::removeAll(Phone::facilityDirectory + name);
    }
    for (auto file = m_facilities.cbegin(); file != m_facilities.cend(); ++file) {
        Phone::write(Phone::facilityDirectory + file.key(), file.value());
    }
}

void tst_Redirect::cleanup()
{
    m_log.reset();
    m_syslog.reset();
    for (const QString &path : {Phone::temporary, Phone::liveConfig, Phone::backup}) {
        Faults::removeAll(path);
    }
}

void tst_Redirect::cleanupTestCase()
{
    Phone::resetConfiguration();
}

// ---------------------------------------------------------------------- The form without arguments

void tst_Redirect::listing()
{
    m_module.redirect(sip, QStringLiteral("udp(\"10.1.2.3\" port(514))"));
    const QString table = m_module.redirect();
    QVERIFY(table.startsWith(QStringLiteral(
        "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \ndefence  ")));
    QVERIFY(table.contains(QLatin1Char('\n') + sip.leftJustified(20) + QStringLiteral("   err     ")
                           + QStringLiteral("   udp          ")
                           + QStringLiteral("IP :10.1.2.3 port(514)").leftJustified(60)
                           + QLatin1Char('\n')));
    QCOMPARE(table, m_module.level());
    QCOMPARE(Phone::text(QStringLiteral("redirect")), table);
    QCOMPARE(table.count(QLatin1Char('\n')), activities.size() + 1);
}

void tst_Redirect::listingWithoutAnyFile()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    const QString table = m_module.redirect();
    QVERIFY(table.contains(QStringLiteral("qvxsipua")));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(m_module.redirect(), QStringLiteral("configuration file cannot be restored"));
    QVERIFY(!m_log->errors().contains(QStringLiteral("[logappli.conf] access problem")));
}

// -------------------------------------------------------------------------- The two-argument form

void tst_Redirect::oneActivity_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("written");

    const auto row
        = [](const QString &activity, const char *destination, const char *written = nullptr) {
              QTest::addRow("%s to %s", qPrintable(activity), destination)
                  << activity << QString::fromLatin1(destination)
                  << QString::fromLatin1(written != nullptr ? written : destination);
          };
    row(sip, "V24", R"t(file("/dev/console"))t");
    row(sip, R"t(udp("10.1.2.3" port(514)))t");
    row(sip, R"t(tcp("10.1.2.3" port(601)))t");
    row(sip, R"t(tcp   ("10.0.0.1" port  (514)))t");
    row(sip, R"t(udp("localhost" port(65535)))t");
    row(sip, R"t(file("/var/log/a b.log"))t");
    row(sip, R"t(file("/dev/console"))t");
    row(sip, R"t(pipe("/run/phone/fifo"))t");
    row(sip, R"t(program("/bin/cat"))t");
    row(sip, R"t(unix-stream("/run/phone/socket"))t");
    row(sip, R"t(unix-dgram("/run/phone/socket"))t");
    row(sip, R"t(usertty("root"))t");
    row(QStringLiteral("defence"), R"t(file("/log/other.log"))t");
    row(QStringLiteral("WebApp"), R"t(file("/var/log/w.log"))t");
    row(QStringLiteral("Telephony"), "V24", R"t(file("/dev/console"))t");
}

void tst_Redirect::oneActivity()
{
    QFETCH(QString, activity);
    QFETCH(QString, destination);
    QFETCH(QString, written);
    QCOMPARE(m_module.redirect(activity, destination), moved(activity, destination));
    QCOMPARE(Phone::read(Phone::liveConfig), withDestination(m_predefined, activity, written));
    QCOMPARE(Phone::read(Phone::backup), m_predefined + "# the backup\n");
    // The record of a single activity is left to the other forms.
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(Faults::logged(*m_log), QStringList({checked, reloaded}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::refused_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QStringList>("logged");

    const QString console = QStringLiteral("V24");
    const auto name = [&](const char *row, const QString &activity,
                          const QString &destination = QStringLiteral("V24")) {
        QTest::newRow(row) << activity << destination
                           << QStringLiteral("not a valid activity : ") + activity
                           << unknown(activity);
    };
    const auto place = [](const char *row, const QString &activity, const QString &destination) {
        QTest::newRow(row) << activity << destination
                           << QStringLiteral("[REDIRECT] Destination not valid: ") + destination
                           << QStringList();
    };
    QTest::newRow("init for one activity") << sip << initWord << initIsForAll << QStringList();
    QTest::newRow("init for an unknown one")
        << QStringLiteral("nobody") << initWord << initIsForAll << QStringList();
    QTest::newRow("init for ALL") << QStringLiteral("ALL") << initWord << initIsForAll
                                  << QStringList();
    QTest::newRow("init for an empty name")
        << QString() << initWord << initIsForAll << QStringList();

    name("unknown", QStringLiteral("nobody"));
    name("unknown, and an invalid destination", QStringLiteral("nobody"), QStringLiteral("V25"));
    name("unknown, and INIT", QStringLiteral("nobody"), QStringLiteral("INIT"));
    name("capitals", QStringLiteral("QVXSIPUA"));
    name("blank behind", QStringLiteral("qvxsipua "));
    name("All", QStringLiteral("All"));
    name("OK in the name", QStringLiteral("BOOK"));
    name("OK is the name", QStringLiteral("OK"));
    name("way to another directory", QStringLiteral("../x"));
    name("way there and back", QStringLiteral("../facility/qvxsipua"));
    name("empty", QString());
    name("line break", QStringLiteral("qvxsipua\n"));
    name("line break inside", QStringLiteral("qvx\nsipua"));
    name("NUL inside", QStringLiteral("qvxsipua") + QChar(QChar::Null));
    name("100 kB", QStringLiteral("x").repeated(100000));
    name("with the ending", QStringLiteral("qvxsipua.conf"));

    place("unknown kind", sip, QStringLiteral("V25"));
    place("empty destination", sip, QString());
    place("small letter", sip, QStringLiteral("v24"));
    place("blank behind the keyword", sip, QStringLiteral("V24 "));
    place("INIT", sip, QStringLiteral("INIT"));
    place("RAM file", sip, QStringLiteral("ram(\"x.log\")"));
    place("address with colons", sip, QStringLiteral("tcp(\"fe80::1\" port(514))"));
    place("port 0", sip, QStringLiteral("udp(\"10.0.0.1\" port(0))"));
    place("line feed behind the keyword", sip, QStringLiteral("V24\n"));
    place("line feed", sip, QStringLiteral("file(\"/var/log/a\nb\")"));
    place("carriage return", sip, QStringLiteral("file(\"/var/log/a\rb\")"));
    place("NUL", sip,
          QStringLiteral("file(\"/var/log/a") + QChar(QChar::Null) + QStringLiteral("\")"));
    place("more than a destination", sip, QStringLiteral("file(\"/x\"); file(\"/y\")"));
    place("long and invalid", sip,
          QStringLiteral("file(\"") + QStringLiteral("x").repeated(100000));
    place("all, and an invalid destination", all, QStringLiteral("V25"));
    place("all, and INIT", all, QStringLiteral("INIT"));
    place("all, and a line feed", all, QStringLiteral("V24\n"));
    place("all, and the value that is not set", all, Setting::UNDEFINEDVALUE);
    place("no file of its own, and an invalid destination", QStringLiteral("no_facility"),
          QStringLiteral("V25"));
}

void tst_Redirect::refused()
{
    QFETCH(QString, activity);
    QFETCH(QString, destination);
    QFETCH(QStringList, logged);
    QTEST(m_module.redirect(activity, destination), "answer");
    QCOMPARE(Faults::logged(*m_log), logged);
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QVERIFY(!QFile::exists(Phone::temporary));
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::refusedBySyslog_data()
{
    QTest::addColumn<QString>("destination");
    for (const char *destination :
         {R"t(flash("x"))t", R"t(flash("x.log"))t", R"t(udp("10.0.0.1 port(514)))t",
          R"t(udp("10.0.0.1""" port(514)))t", R"t(tcp("loghost port(514)))t",
          R"t(udp("loghost"" port(514)))t", R"t(file("a"b"))t", R"t(file("""))t",
          R"t(usertty("ro"ot"))t", R"t(pipe("x" "y"))t"}) {
        QTest::newRow(destination) << QString::fromLatin1(destination);
    }
}

void tst_Redirect::refusedBySyslog()
{
    QFETCH(QString, destination);
    // What the user had set for another activity is lost with the backup's return.
    const QString audio = QStringLiteral("qvxaudio");
    m_module.redirect(audio, QStringLiteral("V24"));
    QVERIFY(Phone::read(Phone::liveConfig).contains("/dev/console"));
    QTRY_COMPARE(m_syslog->count(), 1);
    m_log->clear();
    QCOMPARE(m_module.redirect(sip, destination), moved(sip, destination));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined + "# the backup\n");
    QCOMPARE(facilityFiles(), m_facilities);
    // Once for the backup and once for the edit that is taken for done.
    QCOMPARE(Faults::logged(*m_log),
             QStringList({rejected, corruptedText, notUpToDate, restored, reloaded, reloaded}));
    QTRY_COMPARE(m_syslog->count(), 3);
}

void tst_Redirect::activityWithoutBlockIsAnsweredAsSuccess()
{
    const QString name = QStringLiteral("no_facility");
    QCOMPARE(m_module.redirect(name, QStringLiteral("V24")), moved(name, QStringLiteral("V24")));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(Faults::logged(*m_log), QStringList({checked, reloaded}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::missingConfigurationIsAnsweredAsSuccess()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(m_module.redirect(sip, QStringLiteral("V24")), moved(sip, QStringLiteral("V24")));
    QVERIFY(!QFile::exists(Phone::liveConfig));
    QCOMPARE(Faults::logged(*m_log),
             QStringList({QStringLiteral("7 [restoreConfigFile] -- ") + Phone::liveConfig,
                          QStringLiteral("3 [modify] -- file: ") + Phone::liveConfig
                              + QStringLiteral("doesn't exist"),
                          reloaded}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

// ----------------------------------------------------------- Forms with three and four arguments

void tst_Redirect::fileOrTerminal_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("support");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("destination");

    const auto row = [](const char *name, const QString &activity, const char *support,
                        const char *path, const char *destination) {
        QTest::newRow(name) << activity << QString::fromLatin1(support) << QString::fromUtf8(path)
                            << QString::fromUtf8(destination);
    };
    row("ram", sip, "ram", "sip", R"t(file("/var/log/sip.log"))t");
    row("ram, with the ending", sip, "ram", "sip.log", R"t(file("/var/log/sip.log"))t");
    row("flash", sip, "flash", "sip", R"t(file("/log/flash/sip.log"))t");
    row("flash, with the ending", sip, "flash", "sip.log", R"t(file("/log/flash/sip.log"))t");
    row("terminal", sip, "usertty", "root", R"t(usertty("root"))t");
    row("terminal, with an ending", sip, "usertty", "root.log", R"t(usertty("root.log"))t");
    row("terminal of nobody", sip, "usertty", "", R"t(usertty(""))t");
    row("ending in capitals", sip, "ram", "x.LOG", R"t(file("/var/log/x.LOG.log"))t");
    row("ending without its point", sip, "ram", "xlog", R"t(file("/var/log/xlog.log"))t");
    row("ending in the middle", sip, "ram", "x.log.1", R"t(file("/var/log/x.log.1.log"))t");
    row("only the ending", sip, "ram", ".log", R"t(file("/var/log/.log"))t");
    row("no name", sip, "ram", "", R"t(file("/var/log/.log"))t");
    row("no name in flash", sip, "flash", "", R"t(file("/log/flash/.log"))t");
    row("blank", sip, "flash", "a b", R"t(file("/log/flash/a b.log"))t");
    row("points", sip, "ram", "..", R"t(file("/var/log/...log"))t");
    row("letters of all kinds", sip, "ram", "t\xc3\xa9l\xc3\xa9",
        "file(\"/var/log/t\xc3\xa9l\xc3\xa9.log\")");
    row("defence", QStringLiteral("defence"), "flash", "d", R"t(file("/log/flash/d.log"))t");
    row("WebApp", QStringLiteral("WebApp"), "ram", "w", R"t(file("/var/log/w.log"))t");
}

void tst_Redirect::fileOrTerminal()
{
    QFETCH(QString, activity);
    QFETCH(QString, support);
    QFETCH(QString, path);
    QFETCH(QString, destination);
    const QString result = moved(activity, destination);
    QCOMPARE(m_module.redirect(activity, support, path), result + QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), withDestination(m_predefined, activity, destination));
    QCOMPARE(facilityFiles(), withRedirection(m_facilities, activity, destination));
    QCOMPARE(Faults::logged(*m_log),
             QStringList({checked, reloaded, QStringLiteral("7 ") + result}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::fileOrTerminalIsRefused_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("support");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QStringList>("logged");

    const QString nobody = QStringLiteral("nobody");
    const auto row = [](const char *name, const QString &activity, const char *support,
                        const QString &path, const QString &answer,
                        const QStringList &logged = {}) {
        QTest::newRow(name) << activity << QString::fromLatin1(support) << path << answer << logged;
    };
    const auto notValid = [](const QString &destination) {
        return QString(QStringLiteral(" [redirect] destination parameters not valid: ")
                       + destination);
    };
    row("way up", sip, "ram", QStringLiteral("../x"), notAFileName);
    row("slash", sip, "flash", QStringLiteral("a/b"), notAFileName);
    row("slash at the end", sip, "ram", QStringLiteral("a/"), notAFileName);
    row("home", sip, "ram", QStringLiteral("~x"), notAFileName);
    row("tilde at the end", sip, "usertty", QStringLiteral("x~"), notAFileName);
    row("name before support type", sip, "RAM", QStringLiteral("a/b"), notAFileName);
    row("name before activity", nobody, "ram", QStringLiteral("a/b"), notAFileName);

    for (const char *support : {"RAM", "Flash", "USERTTY", "", "ram ", "udp", "tcp", "V24", "init",
                                "file", "rams", "file(\"/x\")"}) {
        QTest::addRow("support type '%s'", support)
            << sip << QString::fromLatin1(support) << QStringLiteral("x") << notASupport
            << QStringList();
    }
    row("support type before activity", nobody, "udp", QStringLiteral("x"), notASupport);
    row("support type with all", all, "init", QStringLiteral("x"), notASupport);

    for (const QString &activity :
         {nobody, QStringLiteral("BOOK"), QStringLiteral("../x"), QString(),
          QStringLiteral("qvx\nsipua"), QStringLiteral("x").repeated(100000)}) {
        QTest::addRow("activity '%s'", qPrintable(activity.left(20)))
            << activity << QStringLiteral("ram") << QStringLiteral("x")
            << QString(QStringLiteral("not a valid activity : ") + activity) << unknown(activity);
    }
    row("activity before destination", nobody, "ram", QStringLiteral("(x)"),
        QStringLiteral("not a valid activity : nobody"), unknown(nobody));

    row("parenthesis", sip, "ram", QStringLiteral("(a)"),
        notValid(QStringLiteral("file(\"/var/log/(a).log\")")));
    row("parenthesis in flash", sip, "flash", QStringLiteral("a)"),
        notValid(QStringLiteral("file(\"/log/flash/a).log\")")));
    row("parenthesis in a user's name", sip, "usertty", QStringLiteral("ro(ot"),
        notValid(QStringLiteral("usertty(\"ro(ot\")")));
    row("line feed", sip, "ram", QStringLiteral("a\nb"),
        notValid(QStringLiteral("file(\"/var/log/a\nb.log\")")));
    row("line feed at the end", sip, "usertty", QStringLiteral("root\n"),
        notValid(QStringLiteral("usertty(\"root\n\")")));
    row("carriage return", sip, "flash", QStringLiteral("a\rb"),
        notValid(QStringLiteral("file(\"/log/flash/a\rb.log\")")));
    row("NUL", sip, "ram", QString(QChar::Null),
        notValid(QStringLiteral("file(\"/var/log/") + QChar(QChar::Null)
                 + QStringLiteral(".log\")")));
    row("all", all, "ram", QStringLiteral("(a)"),
        notValid(QStringLiteral("file(\"/var/log/(a).log\")")));
}

void tst_Redirect::fileOrTerminalIsRefused()
{
    QFETCH(QString, activity);
    QFETCH(QString, support);
    QFETCH(QString, path);
    QFETCH(QStringList, logged);
    QTEST(m_module.redirect(activity, support, path), "answer");
    QCOMPARE(Faults::logged(*m_log), logged);
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QVERIFY(!QFile::exists(Phone::temporary));
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::server_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("destination");

    const auto row = [](const char *name, const QString &activity, const char *protocol,
                        const char *address, int port, const char *destination) {
        QTest::newRow(name) << activity << QString::fromLatin1(protocol)
                            << QString::fromLatin1(address) << port
                            << QString::fromLatin1(destination);
    };
    row("udp", sip, "udp", "10.1.2.3", 514, R"t(udp("10.1.2.3" port(514)))t");
    row("tcp", sip, "tcp", "10.1.2.3", 601, R"t(tcp("10.1.2.3" port(601)))t");
    row("host name", sip, "udp", "localhost", 1514, R"t(udp("localhost" port(1514)))t");
    row("lowest port", sip, "udp", "10.1.2.3", 1, R"t(udp("10.1.2.3" port(1)))t");
    row("highest port", sip, "tcp", "10.1.2.3", 65535, R"t(tcp("10.1.2.3" port(65535)))t");
    row("blank behind the protocol", sip, "udp ", "10.1.2.3", 514,
        R"t(udp ("10.1.2.3" port(514)))t");
    row("defence", QStringLiteral("defence"), "udp", "10.1.2.3", 514,
        R"t(udp("10.1.2.3" port(514)))t");
    row("WebApp", QStringLiteral("WebApp"), "udp", "10.1.2.3", 514,
        R"t(udp("10.1.2.3" port(514)))t");
}

void tst_Redirect::server()
{
    QFETCH(QString, activity);
    QFETCH(QString, protocol);
    QFETCH(QString, address);
    QFETCH(int, port);
    QFETCH(QString, destination);
    const QString result = moved(activity, destination);
    QCOMPARE(m_module.redirect(activity, protocol, address, port), result + QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), withDestination(m_predefined, activity, destination));
    QCOMPARE(facilityFiles(), withRedirection(m_facilities, activity, destination));
    QCOMPARE(Faults::logged(*m_log),
             QStringList({checked, reloaded, QStringLiteral("7 ") + result}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::serverIsRefused_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<QString>("address");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QStringList>("logged");

    const QString address = QStringLiteral("10.1.2.3");
    const auto row = [](const char *name, const char *protocol, const QString &host, int port,
                        const QString &destination) {
        QTest::newRow(name) << sip << QString::fromLatin1(protocol) << host << port
                            << QString(
                                   QStringLiteral(" [REDIRECT] destination parameters not valid: ")
                                   + destination)
                            << QStringList();
    };
    row("colons", "udp", QStringLiteral("fe80::1"), 514,
        QStringLiteral("udp(\"fe80::1\" port(514))"));
    row("port 0", "udp", address, 0, QStringLiteral("udp(\"10.1.2.3\" port(0))"));
    row("port 65536", "udp", address, 65536, QStringLiteral("udp(\"10.1.2.3\" port(65536))"));
    row("negative port", "tcp", address, -1, QStringLiteral("tcp(\"10.1.2.3\" port(-1))"));
    row("largest port", "tcp", address, 2147483647,
        QStringLiteral("tcp(\"10.1.2.3\" port(2147483647))"));
    row("smallest port", "tcp", address, -2147483647 - 1,
        QStringLiteral("tcp(\"10.1.2.3\" port(-2147483648))"));
    row("UDP", "UDP", address, 514, QStringLiteral("UDP(\"10.1.2.3\" port(514))"));
    row("another protocol", "ram", address, 514, QStringLiteral("ram(\"10.1.2.3\" port(514))"));
    row("no protocol", "", address, 514, QStringLiteral("(\"10.1.2.3\" port(514))"));
    row("no address", "udp", QString(), 514, QStringLiteral("udp(\"\" port(514))"));
    row("no address at all", "udp", QStringLiteral("256.1.1.1"), 514,
        QStringLiteral("udp(\"256.1.1.1\" port(514))"));
    row("line feed", "udp", QStringLiteral("10.1.2.3\n"), 514,
        QStringLiteral("udp(\"10.1.2.3\n\" port(514))"));
    row("parenthesis", "udp", QStringLiteral("10.1.2.3\" port(1)); file(\"/x"), 514,
        QStringLiteral("udp(\"10.1.2.3\" port(1)); file(\"/x\" port(514))"));
    QTest::newRow("all") << all << QStringLiteral("udp") << address << 0
                         << QStringLiteral(" [REDIRECT] destination parameters not valid: "
                                           "udp(\"10.1.2.3\" port(0))")
                         << QStringList();
    for (const QString &activity :
         {QStringLiteral("nobody"), QStringLiteral("BOOK"), QStringLiteral("../x"), QString(),
          QStringLiteral("qvx\nsipua"), QStringLiteral("x").repeated(100000)}) {
        QTest::addRow("activity '%s'", qPrintable(activity.left(20)))
            << activity << QStringLiteral("udp") << address << 514
            << QString(QStringLiteral("not a valid facility : ") + activity) << unknown(activity);
    }
    QTest::newRow("activity before destination")
        << QStringLiteral("nobody") << QStringLiteral("UDP") << address << 0
        << QStringLiteral("not a valid facility : nobody") << unknown(QStringLiteral("nobody"));
}

void tst_Redirect::serverIsRefused()
{
    QFETCH(QString, activity);
    QFETCH(QString, protocol);
    QFETCH(QString, address);
    QFETCH(int, port);
    QFETCH(QStringList, logged);
    QTEST(m_module.redirect(activity, protocol, address, port), "answer");
    QCOMPARE(Faults::logged(*m_log), logged);
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QVERIFY(!QFile::exists(Phone::temporary));
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::recordedThoughSyslogRefuses_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("destination");
    QTest::newRow("file with a quote") << QStringLiteral("ram") << QStringLiteral("a\"b") << 0
                                       << QStringLiteral("file(\"/var/log/a\"b.log\")");
    QTest::newRow("user with a quote") << QStringLiteral("usertty") << QStringLiteral("\"") << 0
                                       << QStringLiteral("usertty(\"\"\")");
    QTest::newRow("address with a quote") << QStringLiteral("udp") << QStringLiteral("10.0.0.1\"")
                                          << 514 << QStringLiteral("udp(\"10.0.0.1\"\" port(514))");
}

void tst_Redirect::recordedThoughSyslogRefuses()
{
    QFETCH(QString, kind);
    QFETCH(QString, text);
    QFETCH(int, port);
    QFETCH(QString, destination);
    const QString result = moved(sip, destination);
    QCOMPARE(port == 0 ? m_module.redirect(sip, kind, text)
                       : m_module.redirect(sip, kind, text, port),
             result + QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined + "# the backup\n");
    QCOMPARE(facilityFiles(), withRedirection(m_facilities, sip, destination));
    QCOMPARE(Faults::logged(*m_log),
             QStringList({rejected, corruptedText, notUpToDate, restored, reloaded, reloaded,
                          QStringLiteral("7 ") + result}));
}

void tst_Redirect::repairedActivityEndsWithTheNotice_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("blank");
    QTest::addColumn<bool>("toServer");
    const QString library = QStringLiteral("/usr/lib/QVXApplication/");
    const QString program = QStringLiteral("/usr/bin/QVXApplication/");
    QTest::newRow("library, three arguments") << library << QStringLiteral(" ") << false;
    QTest::newRow("library, four arguments") << library << QStringLiteral(" ") << true;
    QTest::newRow("program, three arguments") << program << QString() << false;
    QTest::newRow("program, four arguments") << program << QString() << true;
}

void tst_Redirect::repairedActivityEndsWithTheNotice()
{
    QFETCH(QString, directory);
    QFETCH(QString, blank);
    QFETCH(bool, toServer);
    const QString application = directory + sip;
    QVERIFY(QDir().mkpath(directory));
    Phone::write(application, "an application");
    QVERIFY(QFile::remove(Phone::facilityFile(sip)));
    const QString destination = toServer ? QStringLiteral("udp(\"10.1.2.3\" port(514))")
                                         : QStringLiteral("file(\"/var/log/x.log\")");
    const QString answer = toServer
        ? m_module.redirect(sip, QStringLiteral("udp"), QStringLiteral("10.1.2.3"), 514)
        : m_module.redirect(sip, QStringLiteral("ram"), QStringLiteral("x"));
    QFile::remove(application);
    QCOMPARE(answer,
             moved(sip, destination) + blank
                 + QStringLiteral("OK  -- but configuration file was corrupted : qvxsipua restored "
                                  "to predefined values -- use level or redirect command to verify "
                                  "your log config "));
    QCOMPARE(facilityFiles(), withRedirection(m_facilities, sip, destination));
}

void tst_Redirect::recordIsTriedThoughTheEditWasRefused_data()
{
    QTest::addColumn<bool>("toServer");
    QTest::addColumn<QString>("answer");
    QTest::newRow("three arguments") << false
                                     << QStringLiteral("One or more log config file corrupted -- "
                                                       "restored to predefined value !");
    QTest::newRow("four arguments") << true
                                    << QStringLiteral("One or more log config file corrupted -- "
                                                      "Restored to predefined value");
}

void tst_Redirect::recordIsTriedThoughTheEditWasRefused()
{
    QFETCH(bool, toServer);
    // Known by its application when the form checks it, and unknown when the edit does: the set-up
    // script, which the first check runs, takes the application away.
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-forgetting")));
    const QString directory = QStringLiteral("/usr/lib/QVXApplication/");
    QVERIFY(QDir().mkpath(directory));
    Phone::write(directory + sip, "an application");
    QVERIFY(QFile::remove(Phone::facilityFile(sip)));
    const QString answer = toServer
        ? m_module.redirect(sip, QStringLiteral("udp"), QStringLiteral("10.1.2.3"), 514)
        : m_module.redirect(sip, QStringLiteral("ram"), QStringLiteral("x"));
    QTEST(answer, "answer");
    QCOMPARE(Faults::logged(*m_log),
             QStringList({unknown(sip).first(), noPermission, setUp}) + unknown(sip)
                 + QStringList({QStringLiteral("7 not a valid activity : qvxsipua"),
                                QStringLiteral("3 Files does not exists: qvxsipua"),
                                QStringLiteral("3  -- error type : facility config file corrupted "
                                               "-- Facility : qvxsipua"),
                                noPermission, noPermission, setUp}));
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\nstart\n"));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::corruptedFacilityFile_data()
{
    QTest::addColumn<QString>("form");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("destination");
    QTest::newRow("three arguments")
        << QStringLiteral("three")
        << QStringLiteral("One or more log config file corrupted -- restored to predefined value !")
        << QStringLiteral("file(\"/var/log/x.log\")");
    QTest::newRow("four arguments")
        << QStringLiteral("four")
        << QStringLiteral("One or more log config file corrupted -- Restored to predefined value")
        << QStringLiteral("udp(\"10.1.2.3\" port(514))");
    QTest::newRow("level, which says file")
        << QStringLiteral("level")
        << QStringLiteral("One or more log config file corrupted"
                          " -- file restored to predefined "
                          "value !")
        << QString();
}

void tst_Redirect::corruptedFacilityFile()
{
    QFETCH(QString, form);
    QFETCH(QString, answer);
    QFETCH(QString, destination);
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    breakFacilityFile(sip);
    const QString broken = QStringLiteral(
        "3  -- error type : facility config file corrupted -- Facility : qvxsipua");
    if (form == QLatin1String("level")) {
        QCOMPARE(m_module.setLevel(sip, 7), answer);
    } else {
        QCOMPARE(
            form == QLatin1String("three")
                ? m_module.redirect(sip, QStringLiteral("ram"), QStringLiteral("x"))
                : m_module.redirect(sip, QStringLiteral("udp"), QStringLiteral("10.1.2.3"), 514),
            answer);
        // The edit is not undone. The writer has deleted the file, so neither it nor the restore
        // that follows can repair it.
        QCOMPARE(Phone::read(Phone::liveConfig), withDestination(m_predefined, sip, destination));
        QCOMPARE(Faults::logged(*m_log),
                 QStringList({checked, reloaded, QStringLiteral("7 ") + moved(sip, destination),
                              broken, noPermission, noPermission, setUp}));
        QTRY_COMPARE(m_syslog->count(), 1);
    }
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
    Files expected = m_facilities;
    expected.remove(sip + QStringLiteral(".conf"));
    QCOMPARE(facilityFiles(), expected);
}

void tst_Redirect::facilityFileIsWrittenAfterTheReload()
{
    const QString file = Phone::facilityFile(sip);
    m_syslog.reset();
    m_syslog = std::make_unique<HangUps>(file);
    m_module.redirect(sip, QStringLiteral("ram"), QStringLiteral("x"));
    QTRY_COMPARE(m_syslog->count(), 1);
    QCOMPARE(m_syslog->watchedContent(), m_facilities.value(sip + QStringLiteral(".conf")));
    QVERIFY(Phone::read(file).contains("file(\"/var/log/x.log\")"));
}

// ------------------------------------------------------------------------------- All activities

void tst_Redirect::everyActivity_data()
{
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("written");
    QTest::newRow("console") << QStringLiteral("V24") << QStringLiteral("file(\"/dev/console\")");
    for (const char *destination :
         {R"t(udp("10.1.2.3" port(514)))t", R"t(tcp("localhost" port(601)))t",
          R"t(file("/var/log/one.log"))t", R"t(usertty("root"))t"}) {
        QTest::newRow(destination)
            << QString::fromLatin1(destination) << QString::fromLatin1(destination);
    }
}

void tst_Redirect::everyActivity()
{
    QFETCH(QString, destination);
    QFETCH(QString, written);
    for (const bool throughCommand : {true, false}) {
        init();
        QCOMPARE(throughCommand ? m_module.redirect(all, destination)
                                : m_module.redirectAllActivities(destination),
                 allMoved(destination));
        QCOMPARE(Phone::read(Phone::liveConfig), withAllDestinations(m_predefined, written));
        QCOMPARE(Phone::read(Phone::backup), m_predefined + "# the backup\n");
        // The record keeps the caller's word.
        QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, destination));
        QCOMPARE(ownLines(*m_log), QStringList({checked, reloaded}) + eachActivity());
        QTRY_COMPARE(m_syslog->count(), 1);
    }
}

void tst_Redirect::everyActivityIsRefused_data()
{
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("answer");
    const QString notValid = QStringLiteral("[REDIRECT] destination parameter not valid: ");
    QTest::newRow("value that is not set")
        << Setting::UNDEFINEDVALUE
        << QStringLiteral("[REDIRECT] IP destination address not valid ");
    for (const char *destination : {"", "UNDEFINED ", "undefined", "(\"\" port())", "V25", "V24\n",
                                    "UDP(\"10.1.2.3\" port(514))", "udp(\"10.1.2.3\" port(0))"}) {
        QTest::addRow("'%s'", destination) << QString::fromLatin1(destination)
                                           << QString(notValid + QString::fromLatin1(destination));
    }
}

void tst_Redirect::everyActivityIsRefused()
{
    QFETCH(QString, destination);
    QTEST(m_module.redirectAllActivities(destination), "answer");
    QCOMPARE(Faults::logged(*m_log), QStringList());
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QVERIFY(!QFile::exists(Phone::temporary));
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::everyActivityThoughSyslogRefuses()
{
    const QString destination = QStringLiteral("flash(\"x\")");
    QCOMPARE(m_module.redirect(all, destination), allMoved(destination));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined + "# the backup\n");
    QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, destination));
    QCOMPARE(ownLines(*m_log),
             QStringList({rejected, corruptedText, notUpToDate, restored, reloaded, reloaded})
                 + eachActivity());
    QTRY_COMPARE(m_syslog->count(), 2);
}

void tst_Redirect::everyActivityWithoutConfiguration()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(m_module.redirect(all, QStringLiteral("V24")), allMoved(QStringLiteral("V24")));
    // The edit fails; it is the reader of the activities that brings the backup.
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined + "# the backup\n");
    QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, QStringLiteral("V24")));
    QTRY_COMPARE(m_syslog->count(), 1);

    init();
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(m_module.redirect(all, QStringLiteral("V24")), allMoved(QStringLiteral("V24")));
    QVERIFY(!QFile::exists(Phone::liveConfig));
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(Faults::logged(*m_log).last(), noList);
}

void tst_Redirect::everyActivityThroughTheOtherForms_data()
{
    QTest::addColumn<bool>("toServer");
    QTest::addColumn<QString>("destination");
    QTest::newRow("three arguments") << false << QStringLiteral("file(\"/log/flash/x.log\")");
    QTest::newRow("four arguments") << true << QStringLiteral("tcp(\"10.1.2.3\" port(601))");
}

void tst_Redirect::everyActivityThroughTheOtherForms()
{
    QFETCH(bool, toServer);
    QFETCH(QString, destination);
    const QString answer = toServer
        ? m_module.redirect(all, QStringLiteral("tcp"), QStringLiteral("10.1.2.3"), 601)
        : m_module.redirect(all, QStringLiteral("flash"), QStringLiteral("x"));
    QCOMPARE(answer, allMoved(destination) + QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), withAllDestinations(m_predefined, destination));
    QCOMPARE(facilityFiles(), withAllRedirections(m_facilities, destination));
    QCOMPARE(ownLines(*m_log),
             QStringList({checked, reloaded}) + eachActivity()
                 + QStringList({QStringLiteral("7 ") + allMoved(destination)}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::everyActivityBackToItsFile()
{
    Phone::write(Phone::liveConfig,
                 withAllDestinations(m_predefined, QStringLiteral("usertty(\"x\")")));
    for (const QString &activity : activities) {
        const QString path = Phone::facilityFile(activity);
        Phone::write(path, withRedirection(Phone::read(path), QStringLiteral("V24")));
    }
    QCOMPARE(m_module.redirect(all, initWord), allToPredefined);
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    for (const QString &activity : activities) {
        QCOMPARE(Phone::read(Phone::facilityFile(activity)).split('\n').value(2),
                 predefined(activity).toUtf8());
    }
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(ownLines(*m_log), QStringList({checked, reloaded}) + eachActivity());
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::backToPredefinedFilesOfAnEmptyList()
{
    Phone::write(Phone::liveConfig, "@version: 3.38\n# BEGIN x\nno end line\n");
    QCOMPARE(m_module.redirect(all, initWord), allToPredefined);
    QCOMPARE(Faults::logged(*m_log),
             QStringList({QStringLiteral("3 [initConfigFile]  -- empty activity list"), noList}));
    QCOMPARE(Phone::read(Phone::liveConfig), "@version: 3.38\n# BEGIN x\nno end line\n");
    QCOMPARE(facilityFiles(), m_facilities);
    // Nothing was written, so nothing is to be loaded.
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::backToPredefinedFilesWhenTheRewriteIsRefused()
{
    const QByteArray broken = m_predefined + "this is no statement\n";
    Phone::write(Phone::liveConfig, broken);
    // Taken for done: what comes back is not the one text that is looked for.
    QCOMPARE(m_module.redirect(all, initWord), allToPredefined);
    QCOMPARE(Phone::read(Phone::liveConfig), broken);
    QVERIFY(m_log->debugs().contains(QStringLiteral("File logappli.conf.tmp  NOT OK")));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_Redirect::redirectionsOfAll_data()
{
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("answer");
    const QString console = QStringLiteral("V24");
    QTest::newRow("init") << all << initWord << allToPredefined;
    QTest::newRow("init, whatever the destination") << console << initWord << allToPredefined;
    for (const char *mode : {"std", "", "INIT", "init ", "Init"}) {
        QTest::addRow("mode '%s'", mode)
            << console << QString::fromLatin1(mode) << allMoved(console);
    }
    QTest::newRow("nothing is checked") << QStringLiteral("any text") << QStringLiteral("std")
                                        << allMoved(QStringLiteral("any text"));
}

void tst_Redirect::redirectionsOfAll()
{
    QFETCH(QString, destination);
    QFETCH(QString, mode);
    for (const QString &activity : activities) {
        const QString path = Phone::facilityFile(activity);
        Phone::write(path, withRedirection(Phone::read(path), QStringLiteral("before")));
    }
    QTEST(m_module.setAllFacilityRedirections(destination, mode), "answer");
    QCOMPARE(facilityFiles(),
             mode == initWord ? m_facilities : withAllRedirections(m_facilities, destination));
    QCOMPARE(ownLines(*m_log), eachActivity());
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::redirectionsOfAllWithCorruptedFiles_data()
{
    QTest::addColumn<QStringList>("broken");
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QStringList>("lines"); // one for each of the broken

    const QString defence = QStringLiteral("defence");
    const QString first = activities.first();
    const QString ofDefence = QStringLiteral(
        "3 Facility config file Defence.conf corrupted -- initialize to default value ");
    const auto of = [](const QString &activity) {
        return QString(QStringLiteral("3 Facility config file") + activity
                       + QStringLiteral("corrupted -- initialize to default value "));
    };
    QTest::newRow("one, given destination")
        << QStringList(sip) << QStringLiteral("std") << QStringList(QString());
    QTest::newRow("defence, given destination")
        << QStringList(defence) << QStringLiteral("std") << QStringList(QString());
    QTest::newRow("one, predefined") << QStringList(sip) << initWord << QStringList(of(sip));
    QTest::newRow("defence, predefined")
        << QStringList(defence) << initWord << QStringList(ofDefence);
    QTest::newRow("the first and the last, predefined")
        << QStringList({first, defence}) << initWord << QStringList({of(first), ofDefence});
}

void tst_Redirect::redirectionsOfAllWithCorruptedFiles()
{
    QFETCH(QStringList, broken);
    QFETCH(QString, mode);
    QFETCH(QStringList, lines);
    const QString destination = QStringLiteral("V24");
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    Files expected
        = mode == initWord ? m_facilities : withAllRedirections(m_facilities, destination);
    QMap<QString, QString> inserted;
    for (int i = 0; i < broken.size(); ++i) {
        breakFacilityFile(broken.at(i));
        expected.remove(broken.at(i) + QStringLiteral(".conf"));
        inserted.insert(broken.at(i), lines.at(i));
    }
    QCOMPARE(m_module.setAllFacilityRedirections(destination, mode), allCorrupted);
    // The others are written, those behind the broken one too.
    QCOMPARE(facilityFiles(), expected);
    QCOMPARE(ownLines(*m_log), eachActivity(inserted) + QStringList({corruptedDebug, setUp}));
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Redirect::nameWithDefenceInItIsAnyOther()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    const QString name = QStringLiteral("mydefence");
    Phone::write(Phone::liveConfig,
                 "# BEGIN mydefence\n"
                 "destination d_mydefence { file(\"/x\"); };\n"
                 "filter f_mydefence { level(err..emerg); };\n"
                 "# END mydefence\n");
    Phone::write(Phone::facilityFile(name), "3\n19\nfile(\"/x\")\nfacility signature field\n");
    QCOMPARE(m_module.setAllFacilityRedirections(all, initWord), allToPredefined);
    QCOMPARE(Phone::read(Phone::facilityFile(name)),
             QByteArray("3\n19\nfile(\"/var/log/mydefence.log\")\nfacility signature field\n"));

    breakFacilityFile(name);
    m_log->clear();
    QCOMPARE(m_module.setAllFacilityRedirections(all, initWord), allCorrupted);
    QCOMPARE(
        m_log->errors().last(),
        QStringLiteral("Facility config filemydefencecorrupted -- initialize to default value "));
}

void tst_Redirect::redirectionsOfAnEmptyList_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("answer");
    QTest::newRow("init") << initWord << allToPredefined;
    QTest::newRow("std") << QStringLiteral("std") << allMoved(QStringLiteral("V24"));
}

void tst_Redirect::redirectionsOfAnEmptyList()
{
    QFETCH(QString, mode);
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    Phone::write(Phone::liveConfig, "");
    QTEST(m_module.setAllFacilityRedirections(QStringLiteral("V24"), mode), "answer");
    QCOMPARE(Faults::logged(*m_log), QStringList(noList));
    QCOMPARE(facilityFiles(), m_facilities);
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
}

// --------------------------------------------------------------------------- Order, log and bus

void tst_Redirect::earlierWorkComesFirst_data()
{
    QTest::addColumn<int>("argumentCount"); // 1: the operation behind "all"
    QTest::newRow("two arguments") << 2;
    QTest::newRow("three arguments") << 3;
    QTest::newRow("four arguments") << 4;
    QTest::newRow("all, by the remote server") << 1;
}

void tst_Redirect::earlierWorkComesFirst()
{
    QFETCH(int, argumentCount);
    // Each form has something to log as soon as it looks at the files.
    QVERIFY(QFile::remove(Phone::liveConfig));
    const QString nobody = QStringLiteral("nobody");
    const ConfigurationOrder::Ticket ticket = ConfigurationOrder::instance().takeTicket();
    std::atomic<bool> called {false};
    std::atomic<bool> undisturbed {false};
    std::thread earlier([&] {
        const ConfigurationOrder::Turn turn(ticket);
        while (!called) {
            std::this_thread::yield();
        }
        // Every opportunity for what must not happen.
        for (int count = 0; count < 20000 && m_log->lines().isEmpty(); ++count) {
            std::this_thread::yield();
        }
        undisturbed = m_log->lines().isEmpty();
    });
    called = true;
    switch (argumentCount) {
    case 1:
        m_module.redirectAllActivities(QStringLiteral("V24"));
        break;
    case 2:
        m_module.redirect(nobody, QStringLiteral("V24"));
        break;
    case 3:
        m_module.redirect(nobody, QStringLiteral("ram"), QStringLiteral("x"));
        break;
    default:
        m_module.redirect(nobody, QStringLiteral("udp"), QStringLiteral("10.1.2.3"), 514);
    }
    earlier.join();
    QVERIFY(undisturbed);
    QVERIFY(!m_log->lines().isEmpty());
}

void tst_Redirect::linesAreGuardedByTheLevel_data()
{
    QTest::addColumn<int>("level");
    for (const int level : {7, 6, 5, 4, 3, 2, 0}) {
        QTest::addRow("level %d", level) << level;
    }
}

void tst_Redirect::linesAreGuardedByTheLevel()
{
    QFETCH(int, level);
    LogCapture::setLevel(level);
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    breakFacilityFile(sip);
    m_module.redirect(sip, QStringLiteral("ram"), QStringLiteral("x"));
    QCOMPARE(Faults::logged(*m_log),
             Faults::writtenAt(
                 level,
                 {checked, reloaded,
                  QStringLiteral("7 ") + moved(sip, QStringLiteral("file(\"/var/log/x.log\")")),
                  QStringLiteral(
                      "3  -- error type : facility config file corrupted -- Facility : qvxsipua"),
                  noPermission, noPermission, setUp}));
    m_log->clear();
    Phone::write(Phone::liveConfig, "");
    m_module.redirect(all, initWord);
    QCOMPARE(Faults::logged(*m_log),
             Faults::writtenAt(
                 level, {QStringLiteral("3 [initConfigFile]  -- empty activity list"), noList}));
}

void tst_Redirect::overTheBus_data()
{
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("answer");
    const auto row = [](const char *name, const QVariantList &arguments, const QString &answer) {
        QTest::newRow(name) << arguments << answer;
    };
    const QString console = QStringLiteral("V24");
    const QString address = QStringLiteral("10.1.2.3");
    row("init for one", {sip, initWord}, initIsForAll);
    row("console", {sip, console}, moved(sip, console));
    row("all to the console", {all, console}, allMoved(console));
    row("all back", {all, initWord}, allToPredefined);
    row("unknown, two", {QStringLiteral("nobody"), console},
        QStringLiteral("not a valid activity : nobody"));
    row("unknown, three", {QStringLiteral("nobody"), QStringLiteral("ram"), QStringLiteral("x")},
        QStringLiteral("not a valid activity : nobody"));
    row("unknown, four", {QStringLiteral("nobody"), QStringLiteral("udp"), address, 514},
        QStringLiteral("not a valid facility : nobody"));
    row("invalid, two", {sip, QStringLiteral("v24")},
        QStringLiteral("[REDIRECT] Destination not valid: v24"));
    row("invalid, three", {sip, QStringLiteral("ram"), QStringLiteral("(")},
        QStringLiteral(" [redirect] destination parameters not valid: file(\"/var/log/(.log\")"));
    row("invalid, four", {sip, QStringLiteral("udp"), QStringLiteral("fe80::1"), 514},
        QStringLiteral(" [REDIRECT] destination parameters not valid: udp(\"fe80::1\" port(514))"));
    row("banned name", {sip, QStringLiteral("ram"), QStringLiteral("~x")}, notAFileName);
    row("support type", {sip, QStringLiteral("RAM"), QStringLiteral("x")}, notASupport);
    row("file", {sip, QStringLiteral("flash"), QStringLiteral("sip.log")},
        moved(sip, QStringLiteral("file(\"/log/flash/sip.log\")")) + QStringLiteral("OK"));
    row("terminal", {sip, QStringLiteral("usertty"), QStringLiteral("root")},
        moved(sip, QStringLiteral("usertty(\"root\")")) + QStringLiteral("OK"));
    row("server", {sip, QStringLiteral("udp"), address, 514},
        moved(sip, QStringLiteral("udp(\"10.1.2.3\" port(514))")) + QStringLiteral("OK"));
    row("negative port", {sip, QStringLiteral("udp"), address, -514},
        QStringLiteral(
            " [REDIRECT] destination parameters not valid: udp(\"10.1.2.3\" port(-514))"));
}

void tst_Redirect::overTheBus()
{
    QFETCH(QVariantList, arguments);
    QTEST(Phone::text(QStringLiteral("redirect"), arguments), "answer");
}

QTEST_GUILESS_MAIN(tst_Redirect)
#include "tst_redirect.moc"
