// What the service does when it starts, whatever it finds.
// SPDX-License-Identifier: MIT
#include "destinations/remoteserver.h"
#include "support/configtext.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/literal.h"
#include "support/phone.h"
#include "support/processes.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

#include <sys/mount.h>
#include <sys/stat.h>

namespace {

using ConfigText::facilityFiles;
using ConfigText::withAllLevels;
using Faults::Aside;

const QString ram = "/var/log"_s;
const QString flash = "/log/flash"_s;
const QString marker = "/data/QVXApplication/LoggerModule/syslog/sip/facility//resetLogLevel"_s;
const QString markerIsThere = "7 resetLogLevel file present, reinitialisation of all log level"_s;
const QString noVarLog = "3 Impossible to create the path : /var/log/"_s;
const QString noFlash = "3 Impossible to create the path : /log/flash/"_s;

/// The lines of a start behind those about the remote server.
QStringList linesAfterTheServer(const LogCapture &log)
{
    QStringList lines = Faults::logged(log);
    const int server = lines.indexOf("7 No remote server"_s);
    return server < 0 ? QStringList("<the server is not looked at>"_s) : lines.mid(server + 1);
}

/// As long as it exists, a file stands in the place of @p path.
class Obstacle
{
public:
    explicit Obstacle(const QString &path) : m_aside(path) { Phone::write(path, "in the way"); }

private:
    const Aside m_aside;
};

/// An empty directory /log in which nothing can be created. Where the kernel lets nobody mount one,
/// a file in its place.
class ReadOnlyLog
{
public:
    ReadOnlyLog()
    {
        m_mounted = mount("small", "/log", "tmpfs", MS_RDONLY, "size=4k") == 0;
        if (!m_mounted) {
            m_obstacle = std::make_unique<Obstacle>("/log"_s);
        }
    }
    ~ReadOnlyLog()
    {
        if (m_mounted) {
            umount2("/log", MNT_DETACH);
        }
    }
    Q_DISABLE_COPY(ReadOnlyLog)

private:
    bool m_mounted = false;
    std::unique_ptr<Obstacle> m_obstacle;
};

} // namespace

class tst_Startup : public ConfigurationTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void directories_data();
    void directories();
    void missingParentsAreCreatedToo();
    void directoryThatCannotBeCreated_data();
    void directoryThatCannotBeCreated();

    void markerAbsent();
    void markerIsRemovedFirst();
    void markerIsRemovedWhenTheResetFails();
    void directoryIsNoMarker();
    void markerPathIsNoSetting();
    void leftoversOfAKilledProcessAreRemoved();
    void stepsRunInOrder();
    void linesAreGuardedByTheLevel();
    void missingProgramsAreNamed_data();
    void missingProgramsAreNamed();

    // From here on the phone has neither settings service nor syslog daemon.
    void serviceComesUpAndAnswers_data();
    void serviceComesUpAndAnswers();
};

void tst_Startup::initTestCase()
{
    ConfigurationTest::initTestCase();
    Phone::stopBootedService();
    QVERIFY(QDir().mkpath(flash));
}

void tst_Startup::init()
{
    ConfigurationTest::init();
    remoteServerConfig = {};
}

void tst_Startup::cleanupTestCase()
{
    // There is no daemon that could load a configuration.
}

void tst_Startup::directories_data()
{
    QTest::addColumn<int>("ramMode"); // the mode before the start; 0 for none
    QTest::addColumn<int>("flashMode");
    QTest::addColumn<int>("mask");
    QTest::newRow("both there") << 0755 << 0755 << 022;
    QTest::newRow("both there, with other modes") << 0700 << 01777 << 022;
    QTest::newRow("flash missing") << 0711 << 0 << 022;
    QTest::newRow("ram missing") << 0 << 0750 << 022;
    for (const int mask : {022, 077, 0, 0777}) {
        QTest::addRow("both missing, umask %o", static_cast<unsigned>(mask)) << 0 << 0 << mask;
    }
}

void tst_Startup::directories()
{
    QFETCH(int, ramMode);
    QFETCH(int, flashMode);
    QFETCH(int, mask);
    const Aside ramAside(ram);
    const Aside flashAside(flash);
    const auto make = [](const QString &path, int mode) {
        if (mode != 0) {
            QVERIFY(QDir().mkdir(path));
            Faults::setMode(path, static_cast<mode_t>(mode));
        }
    };
    make(ram, ramMode);
    make(flash, flashMode);
    const mode_t saved = umask(static_cast<mode_t>(mask));
    const bool isInitialized = m_module.initialize();
    const bool areThere = m_module.createLogDirectories();
    umask(saved);
    QVERIFY(isInitialized);
    QVERIFY(areThere);
    QCOMPARE(Faults::mode(ram), ramMode == 0 ? 0755 : ramMode);
    QCOMPARE(Faults::mode(flash), flashMode == 0 ? 0755 : flashMode);
    QCOMPARE(linesAfterTheServer(*m_log), QStringList());
}

void tst_Startup::missingParentsAreCreatedToo()
{
    const Aside aside("/log"_s);
    umask(077);
    QCOMPARE(m_module.initialize(), true);
    QCOMPARE(Faults::mode(flash), 0755);
    QCOMPARE(Faults::mode("/log"_s), 0700);
}

void tst_Startup::directoryThatCannotBeCreated_data()
{
    QTest::addColumn<QStringList>("obstacles"); // the files in the way
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("ram") << QStringList(ram) << QStringList(noVarLog);
    QTest::newRow("flash") << QStringList(flash) << QStringList(noFlash);
    QTest::newRow("flash, by its parent") << QStringList("/log"_s) << QStringList(noFlash);
    QTest::newRow("flash, by a read-only file system") << QStringList() << QStringList(noFlash);
    QTest::newRow("both") << QStringList({ram, "/log"_s}) << QStringList({noVarLog, noFlash});
}

void tst_Startup::directoryThatCannotBeCreated()
{
    QFETCH(QStringList, obstacles);
    QFETCH(QStringList, lines);
    std::unique_ptr<ReadOnlyLog> readOnly;
    std::vector<std::unique_ptr<Obstacle>> inTheWay;
    if (obstacles.isEmpty()) {
        readOnly = std::make_unique<ReadOnlyLog>();
    }
    for (const QString &path : qAsConst(obstacles)) {
        inTheWay.push_back(std::make_unique<Obstacle>(path));
    }
    // The other one is looked after all the same.
    std::unique_ptr<Aside> flashAside;
    if (!lines.contains(noFlash)) {
        flashAside = std::make_unique<Aside>(flash);
    }
    QCOMPARE(m_module.initialize(), true);
    QCOMPARE(linesAfterTheServer(*m_log), lines);
    if (flashAside) {
        QCOMPARE(Faults::mode(flash), 0755);
    }
    QCOMPARE(m_module.createLogDirectories(), false);
}

void tst_Startup::markerAbsent()
{
    customise();
    const QByteArray before = Phone::read(Phone::liveConfig);
    const ConfigText::FacilityFiles facilities = facilityFiles();
    QCOMPARE(m_module.initialize(), true);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityFiles(), facilities);
    QCOMPARE(linesAfterTheServer(*m_log), QStringList());
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Startup::markerIsRemovedFirst()
{
    Phone::write(Phone::liveConfig, withAllLevels(m_predefined, "debug"));
    ConfigText::putFacilityFiles(withAllLevels(m_facilities, '7'));
    Phone::write(marker, "there");
    m_syslog.reset();
    m_syslog = std::make_unique<HangUps>(marker);
    QCOMPARE(m_module.initialize(), true);
    QVERIFY(!QFile::exists(marker));
    QCOMPARE(m_syslog->count(), 1);
    QCOMPARE(m_syslog->watchedContent(), QByteArray(""));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(linesAfterTheServer(*m_log).mid(0, 2),
             QStringList({markerIsThere, "7 File logappli.conf.tmp  OK"_s}));

    // The next start finds none.
    const QByteArray info = withAllLevels(m_predefined, "info");
    Phone::write(Phone::liveConfig, info);
    QCOMPARE(m_module.initialize(), true);
    QCOMPARE(Phone::read(Phone::liveConfig), info);
}

void tst_Startup::markerIsRemovedWhenTheResetFails()
{
    Phone::write(marker, "");
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(m_module.initialize(), true);
    QVERIFY(!QFile::exists(marker));
    QVERIFY(!QFile::exists(Phone::liveConfig));
    QCOMPARE(linesAfterTheServer(*m_log).value(0), markerIsThere);
}

void tst_Startup::directoryIsNoMarker()
{
    Faults::makeDirectory(marker);
    const QByteArray debug = withAllLevels(m_predefined, "debug");
    Phone::write(Phone::liveConfig, debug);
    QCOMPARE(m_module.initialize(), true);
    QCOMPARE(Phone::read(Phone::liveConfig), debug);
    QVERIFY(QFile::exists(marker));
    QCOMPARE(Faults::logged(*m_log).count(markerIsThere), 0);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Startup::markerPathIsNoSetting()
{
    const QTemporaryDir other;
    QVXLogger::facilityConfigFilesPath = other.path() + QLatin1Char('/');
    const QString otherMarker = other.filePath("resetLogLevel"_s);
    Phone::write(otherMarker, "");
    QCOMPARE(m_module.initialize(), true);
    QVERIFY(QFile::exists(otherMarker));
    QCOMPARE(linesAfterTheServer(*m_log), QStringList());

    Phone::write(marker, "");
    m_log->clear();
    QCOMPARE(m_module.initialize(), true);
    QVERIFY(!QFile::exists(marker));
    QCOMPARE(linesAfterTheServer(*m_log).value(0), markerIsThere);
}

void tst_Startup::leftoversOfAKilledProcessAreRemoved()
{
    QStringList leftovers;
    for (const QString &directory :
         QStringList {QFileInfo(Phone::liveConfig).path() + QLatin1Char('/'),
                      Phone::facilityDirectory, "/log/"_s}) {
        for (const char *number : {"0", "4", "17"}) {
            leftovers.append(directory + ".new."_s + QLatin1String(number));
            Phone::write(leftovers.last(), "half of a file");
        }
    }
    QCOMPARE(m_module.initialize(), true);
    for (const QString &leftover : qAsConst(leftovers)) {
        QVERIFY2(!QFile::exists(leftover), qPrintable(leftover));
    }
    QCOMPARE(touched(), QStringList());
}

void tst_Startup::stepsRunInOrder()
{
    const Obstacle obstacle(flash);
    Phone::write(marker, "");
    remoteServerConfig = {"true"_s, "10.1.2.3"_s, "514"_s, "udp"_s};
    QCOMPARE(m_module.initialize(), true);
    const QStringList lines = Faults::logged(*m_log);
    const int applied
        = lines.indexOf("7 All facilities redirected to : udp(\"10.1.2.3\" port(514)) "_s);
    QCOMPARE(lines.indexOf("7 Method::initLogServerStruct()"_s), 0);
    QVERIFY(applied > 0);
    QCOMPARE(lines.indexOf(noFlash), applied + 1);
    QCOMPARE(lines.indexOf(markerIsThere), applied + 2);
    QVERIFY(applied + 2 < lines.size() - 1);
}

void tst_Startup::linesAreGuardedByTheLevel()
{
    const Obstacle obstacle(flash);
    for (const int level : {7, 6, 3, 2}) {
        beginAgain(level);
        Phone::write(marker, "");
        QCOMPARE(m_module.initialize(), true);
        const QStringList lines = Faults::logged(*m_log);
        QCOMPARE(lines.contains(markerIsThere), level > 6);
        QCOMPARE(lines.contains(noFlash), level > 2);
        QVERIFY(!QFile::exists(marker));
    }
}

void tst_Startup::missingProgramsAreNamed_data()
{
    QTest::addColumn<QStringList>("searched"); // what there is in PATH
    QTest::addColumn<bool>("hasSetUpScript");
    QTest::addColumn<QStringList>("expected");
    const QString start = "3 [Method : initialize()] -- Programs missing : "_s;
    QTest::newRow("all there") << QStringList {"kill"_s, "tar"_s, "gzip"_s, "ln"_s} << true
                               << QStringList();
    QTest::newRow("no kill") << QStringList {"tar"_s, "gzip"_s, "ln"_s} << true
                             << QStringList(start + "kill"_s);
    QTest::newRow("several") << QStringList(
        "ln"_s) << false << QStringList(start + "/etc/init.d/autoConfigSyslog, kill, tar, gzip"_s);
}

void tst_Startup::missingProgramsAreNamed()
{
    QFETCH(QStringList, searched);
    QFETCH(bool, hasSetUpScript);
    QFETCH(QStringList, expected);
    const QTemporaryDir directory;
    for (const QString &program : searched) {
        QVERIFY(QFile::link("/usr/bin/"_s + program, directory.filePath(program)));
    }
    const std::unique_ptr<Aside> script
        = hasSetUpScript ? nullptr : std::make_unique<Aside>("/etc/init.d/autoConfigSyslog"_s);
    const Faults::SearchPath path(directory.path());
    // At its own level of errors the service writes nothing else here.
    LogCapture::setLevel(3);
    QCOMPARE(m_module.initialize(), true);
    QCOMPARE(Faults::logged(*m_log).filter("Programs"_s), expected);
}

void tst_Startup::serviceComesUpAndAnswers_data()
{
    QTest::addColumn<bool>("hasMarker");
    QTest::addColumn<bool>("logIsReadOnly");
    QTest::addColumn<bool>("daemonHasDied"); // else it was never there
    QTest::newRow("no settings service, no daemon") << false << false << false;
    QTest::newRow("with the marker") << true << false << false;
    QTest::newRow("with read-only /log") << false << true << false;
    QTest::newRow("with both") << true << true << false;
    QTest::newRow("with both, and a daemon that has died") << true << true << true;
}

void tst_Startup::serviceComesUpAndAnswers()
{
    QFETCH(bool, hasMarker);
    QFETCH(bool, logIsReadOnly);
    QFETCH(bool, daemonHasDied);
    m_syslog.reset();
    Phone::stopBooted("SettingsManager"_s);
    Phone::stopBooted("syslog-ng"_s);
    QFile::remove(Phone::pidFile);
    if (daemonHasDied) {
        Phone::write(Phone::pidFile, Processes::deadPid() + '\n');
    }
    customise();
    const QByteArray before = Phone::read(Phone::liveConfig);
    if (hasMarker) {
        Phone::write(marker, "");
    }
    const std::unique_ptr<ReadOnlyLog> readOnly
        = logIsReadOnly ? std::make_unique<ReadOnlyLog>() : nullptr;

    Phone::Service service;
    QVERIFY(!QFile::exists(marker));
    QCOMPARE(Phone::read(Phone::liveConfig), hasMarker ? withAllLevels(before, "err") : before);
    QCOMPARE(Phone::text("redirect"_s), Phone::text("level"_s));
    QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "info"_s}),
             "Level info for facility : qvxsipua OK"_s);
    QCOMPARE(Phone::text("redirect"_s, {"qvxsipua"_s, "flash"_s, "x"_s}),
             "[REDIRECT] Activity : qvxsipua redirect to : file(\"/log/flash/x.log\")OK"_s);
    QCOMPARE(service.stop(), 0);
    QCOMPARE(QFile::exists(flash), !logIsReadOnly);
}

QTEST_GUILESS_MAIN(tst_Startup)
#include "tst_startup.moc"
