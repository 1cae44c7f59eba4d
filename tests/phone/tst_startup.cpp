// What the service does when it starts, whatever it finds, and at a factory reset.
// SPDX-License-Identifier: MIT
#include "destinations/remoteserver.h"
#include "app/configurationorder.h"
#include "support/activities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>
#include <thread>
#include <vector>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QStringList &activities = Phone::activityNames;

const QString marker
    = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip/facility//resetLogLevel");
const QString markerIsThere
    = QStringLiteral("7 resetLogLevel file present, reinitialisation of all log level");
const QString noVarLog = QStringLiteral("3 Impossible to create the path : /var/log/");
const QString noFlash = QStringLiteral("3 Impossible to create the path : /log/flash/");

const QString levelsReset
    = QStringLiteral("6 [restoreDataToFactory] all syslog level filters to err --  level() method "
                     "return value : ");
const QString destinationsReset
    = QStringLiteral("6 [restoreDataToFactory] all syslog log files redirected to predefined files "
                     "-- redirect() method return value : ");
const QString toRemove = QStringLiteral("7 Configuration file to remove : ");
const QString nothingToDelete = QStringLiteral(
    "3 [LoggerModule::restoreDataToFactory] -- No configuration files to delete in ");

const QString allErr = QStringLiteral("All levels changed to err value ");
const QString allPredefined = QStringLiteral("All facilities redirected to predefined values ");

using Files = QMap<QString, QByteArray>;

Files filesIn(const QString &path)
{
    Files files;
    const QDir directory(path);
    const QStringList names = directory.entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                                  | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        files.insert(name, Faults::state(directory.filePath(name)));
    }
    return files;
}

/// The names of the facility files in the order of a listing that ignores case.
QStringList sortedConfNames(QStringList names)
{
    std::sort(names.begin(), names.end(), [](const QString &left, const QString &right) {
        return left.compare(right, Qt::CaseInsensitive) < 0;
    });
    return names;
}

QStringList removalLines(const QStringList &names)
{
    QStringList lines;
    for (const QString &name : sortedConfNames(names)) {
        lines.append(toRemove + name);
    }
    return lines;
}

/// The lines of the reset itself, without those of what it calls.
QStringList resetLines(const LogCapture &log)
{
    QStringList lines;
    for (const QString &line : Faults::logged(log)) {
        if (line.contains(QLatin1String("restoreDataToFactory]")) || line.startsWith(toRemove)) {
            lines.append(line);
        }
    }
    return lines;
}

/// The lines of a start behind those about the remote server.
QStringList linesAfterTheServer(const LogCapture &log)
{
    QStringList lines = Faults::logged(log);
    const int server = lines.indexOf(QStringLiteral("7 No remote server"));
    return server < 0 ? QStringList(QStringLiteral("<the server is not looked at>"))
                      : lines.mid(server + 1);
}

/// Moves what is at @p path out of the way and back again.
class Aside
{
public:
    explicit Aside(const QString &path) : m_path(path)
    {
        if (::rename(QFile::encodeName(m_path).constData(), QFile::encodeName(aside()).constData())
            != 0) {
            qFatal("cannot move %s", qPrintable(path));
        }
    }
    ~Aside()
    {
        Faults::removeAll(m_path);
        static_cast<void>(::rename(QFile::encodeName(aside()).constData(),
                                   QFile::encodeName(m_path).constData()));
    }
    Q_DISABLE_COPY(Aside)

private:
    QString aside() const { return m_path + QStringLiteral(".aside"); }

    QString m_path;
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
            m_aside = std::make_unique<Aside>(QStringLiteral("/log"));
            Phone::write(QStringLiteral("/log"), "");
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
    std::unique_ptr<Aside> m_aside;
};

class Umask
{
public:
    explicit Umask(mode_t mask) : m_saved(umask(mask)) { }
    ~Umask() { umask(m_saved); }
    Q_DISABLE_COPY(Umask)

private:
    const mode_t m_saved;
};

/// Other facility files than the phone's, for as long as it exists.
class OtherFacilities
{
public:
    explicit OtherFacilities(const QString &directory)
    {
        QVXLogger::facilityConfigFilesPath = directory;
    }
    ~OtherFacilities() { QVXLogger::facilityConfigFilesPath = m_saved; }
    Q_DISABLE_COPY(OtherFacilities)

private:
    const QString m_saved = QVXLogger::facilityConfigFilesPath;
};

/// Ends a program that was booted with the phone, whose end is no failure from now on.
void stopBooted(const QString &name, const QString &runsAsLongAs)
{
    const QString record = QStringLiteral("/run/phone/%1.pid").arg(name);
    const int pid = Phone::read(record).trimmed().toInt();
    if (pid <= 0 || !QFile::remove(record) || ::kill(pid, SIGTERM) != 0) {
        qFatal("cannot stop %s", qPrintable(name));
    }
    const bool ended = QTest::qWaitFor(
        [&] {
            return runsAsLongAs.startsWith(QLatin1Char('/')) ? !QFile::exists(runsAsLongAs)
                                                             : !Phone::isOnBus(runsAsLongAs);
        },
        20000);
    if (!ended) {
        qFatal("%s does not end", qPrintable(name));
    }
}

} // namespace

class tst_Startup : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void directories_data();
    void directories();
    void missingParentsAreCreatedToo();
    void directoryThatCannotBeCreated_data();
    void directoryThatCannotBeCreated();

    void markerAbsent();
    void markerIsRemovedFirst();
    void markerIsRemovedWhenTheResetFails();
    void directoryIsNoMarker();
    void leftoversOfAKilledProcessAreRemoved();
    void markerPathIsNoSetting();
    void stepsRunInOrder();
    void startLinesAreGuardedByTheLevel_data();
    void startLinesAreGuardedByTheLevel();

    void factoryReset();
    void factoryResetGoesOnAfterFailures();
    void nothingComesBetweenTheStepsOfAFactoryReset();
    void factoryResetWithoutFacilityFiles();
    void factoryResetLinesAreGuardedByTheLevel_data();
    void factoryResetLinesAreGuardedByTheLevel();
    void namesAreLookedUpInTheWorkingDirectory();
    void workingDirectoryThatIsTheFacilityDirectory();
    void directoryThatCannotBeEntered_data();
    void directoryThatCannotBeEntered();
    void factoryResetThroughTheControlInterface();

    // From here on the phone has neither settings service nor syslog daemon.
    void serviceComesUpAndAnswers_data();
    void serviceComesUpAndAnswers();

private:
    /// The bytes with @p level for every activity.
    QByteArray withLevel(const QByteArray &level) const;
    Files withFacilityLevel(const QByteArray &level) const;
    void customise();

    QByteArray m_predefined;
    Files m_facilities;
    QString m_workingDirectory;
    std::unique_ptr<HangUps> m_syslog; ///< no reload while directories are moved about
    std::unique_ptr<LogCapture> m_log;
};

void tst_Startup::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
    Phone::resetConfiguration();
    m_predefined = Phone::read(Phone::liveConfig);
    m_facilities = filesIn(Phone::facilityDirectory);
    m_workingDirectory = QDir::currentPath();
    QCOMPARE(m_facilities.size(), activities.size());
    QVERIFY(QDir().mkpath(QStringLiteral("/log/flash")));
}

void tst_Startup::init()
{
    m_log = std::make_unique<LogCapture>();
    m_syslog = std::make_unique<HangUps>();
    Phone::write(Phone::liveConfig, m_predefined);
    Phone::write(Phone::backup, m_predefined);
    const QStringList present = filesIn(Phone::facilityDirectory).keys();
    for (const QString &name : present) {
        Faults::removeAll(Phone::facilityDirectory + name);
    }
    for (auto file = m_facilities.cbegin(); file != m_facilities.cend(); ++file) {
        Phone::write(Phone::facilityDirectory + file.key(), file.value());
    }
    remoteServerConfig = {};
}

void tst_Startup::cleanup()
{
    m_syslog.reset();
    m_log.reset();
    QDir::setCurrent(m_workingDirectory);
    Faults::removeAll(marker);
}

QByteArray tst_Startup::withLevel(const QByteArray &level) const
{
    return QByteArray(m_predefined).replace("level(err..", "level(" + level + "..");
}

Files tst_Startup::withFacilityLevel(const QByteArray &level) const
{
    Files files = m_facilities;
    for (QByteArray &content : files) {
        content.replace(0, 1, level);
    }
    return files;
}

/// Every activity at another level, and on another file.
void tst_Startup::customise()
{
    Phone::write(Phone::liveConfig,
                 withLevel("debug").replace("file(\"/var/log/", "file(\"/var/log/other-"));
    const Files files = withFacilityLevel("7");
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        Phone::write(
            Phone::facilityDirectory + file.key(),
            QByteArray(file.value()).replace("file(\"/var/log/", "file(\"/var/log/other-"));
    }
}

// ---------------------------------------------------------------------------------- Directories

void tst_Startup::directories_data()
{
    QTest::addColumn<int>("ram"); // the mode before the start; 0 for none
    QTest::addColumn<int>("flash");
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("ramAfter");
    QTest::addColumn<int>("flashAfter");
    QTest::newRow("both there") << 0755 << 0755 << 022 << 0755 << 0755;
    QTest::newRow("both there, with other modes") << 0700 << 01777 << 022 << 0700 << 01777;
    QTest::newRow("flash missing") << 0711 << 0 << 022 << 0711 << 0755;
    QTest::newRow("ram missing") << 0 << 0750 << 022 << 0755 << 0750;
    QTest::newRow("both missing") << 0 << 0 << 022 << 0755 << 0755;
    QTest::newRow("both missing, umask 077") << 0 << 0 << 077 << 0755 << 0755;
    QTest::newRow("both missing, umask 0") << 0 << 0 << 0 << 0755 << 0755;
    QTest::newRow("both missing, umask 0777") << 0 << 0 << 0777 << 0755 << 0755;
}

void tst_Startup::directories()
{
    QFETCH(int, ram);
    QFETCH(int, flash);
    QFETCH(int, mask);
    QFETCH(int, ramAfter);
    QFETCH(int, flashAfter);
    const QString ramPath = QStringLiteral("/var/log");
    const QString flashPath = QStringLiteral("/log/flash");
    const Aside ramAside(ramPath);
    const Aside flashAside(flashPath);
    if (ram != 0) {
        QVERIFY(QDir().mkdir(ramPath));
        Faults::setMode(ramPath, static_cast<mode_t>(ram));
    }
    if (flash != 0) {
        QVERIFY(QDir().mkdir(flashPath));
        Faults::setMode(flashPath, static_cast<mode_t>(flash));
    }
    TestableModule module;
    {
        const Umask odd(static_cast<mode_t>(mask));
        QCOMPARE(module.initialize(), true);
        QCOMPARE(module.createLogDirectories(), true);
    }
    QCOMPARE(Faults::mode(ramPath), ramAfter);
    QCOMPARE(Faults::mode(flashPath), flashAfter);
    QCOMPARE(linesAfterTheServer(*m_log), QStringList());
}

void tst_Startup::missingParentsAreCreatedToo()
{
    const Aside aside(QStringLiteral("/log"));
    TestableModule module;
    const Umask odd(077);
    QCOMPARE(module.initialize(), true);
    QCOMPARE(Faults::mode(QStringLiteral("/log/flash")), 0755);
    QCOMPARE(Faults::mode(QStringLiteral("/log")), 0700);
}

void tst_Startup::directoryThatCannotBeCreated_data()
{
    QTest::addColumn<QString>("obstacle"); // the file in the way
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("ram") << QStringLiteral("/var/log") << QStringList(noVarLog);
    QTest::newRow("flash") << QStringLiteral("/log/flash") << QStringList(noFlash);
    QTest::newRow("flash, by its parent") << QStringLiteral("/log") << QStringList(noFlash);
    QTest::newRow("flash, by a read-only file system") << QString() << QStringList(noFlash);
    QTest::newRow("both") << QStringLiteral("/var/log /log") << QStringList({noVarLog, noFlash});
}

void tst_Startup::directoryThatCannotBeCreated()
{
    QFETCH(QString, obstacle);
    QFETCH(QStringList, lines);
    std::unique_ptr<ReadOnlyLog> readOnly;
    std::vector<std::unique_ptr<Aside>> asides;
    if (obstacle.isEmpty()) {
        readOnly = std::make_unique<ReadOnlyLog>();
    } else {
        for (const QString &path : obstacle.split(QLatin1Char(' '))) {
            asides.push_back(std::make_unique<Aside>(path));
            Phone::write(path, "in the way");
        }
    }
    // The other one is looked after all the same.
    const QString flash = QStringLiteral("/log/flash");
    std::unique_ptr<Aside> flashAside;
    if (lines == QStringList(noVarLog)) {
        flashAside = std::make_unique<Aside>(flash);
    }
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    QCOMPARE(linesAfterTheServer(*m_log), lines);
    if (flashAside) {
        QCOMPARE(Faults::mode(flash), 0755);
    }
    QCOMPARE(module.createLogDirectories(), false);
}

// ----------------------------------------------------------------------------------- The marker

void tst_Startup::markerAbsent()
{
    customise();
    const QByteArray before = Phone::read(Phone::liveConfig);
    const Files facilities = filesIn(Phone::facilityDirectory);
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(filesIn(Phone::facilityDirectory), facilities);
    QCOMPARE(linesAfterTheServer(*m_log), QStringList());
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Startup::markerIsRemovedFirst()
{
    Phone::write(Phone::liveConfig, withLevel("debug"));
    const Files facilities = withFacilityLevel("7");
    for (auto file = facilities.cbegin(); file != facilities.cend(); ++file) {
        Phone::write(Phone::facilityDirectory + file.key(), file.value());
    }
    Phone::write(marker, "there");
    m_syslog.reset();
    m_syslog = std::make_unique<HangUps>(marker);
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    QVERIFY(!QFile::exists(marker));
    QTRY_COMPARE(m_syslog->count(), 1);
    QCOMPARE(m_syslog->watchedContent(), QByteArray(""));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(filesIn(Phone::facilityDirectory), m_facilities);
    QCOMPARE(linesAfterTheServer(*m_log).value(0), markerIsThere);
    QCOMPARE(linesAfterTheServer(*m_log).value(1), QStringLiteral("7 File logappli.conf.tmp  OK"));

    // The next start finds none.
    Phone::write(Phone::liveConfig, withLevel("info"));
    QCOMPARE(module.initialize(), true);
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel("info"));
}

void tst_Startup::markerIsRemovedWhenTheResetFails()
{
    Phone::write(marker, "");
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    QVERIFY(!QFile::exists(marker));
    QVERIFY(!QFile::exists(Phone::liveConfig));
    QCOMPARE(linesAfterTheServer(*m_log).value(0), markerIsThere);
}

void tst_Startup::leftoversOfAKilledProcessAreRemoved()
{
    QStringList leftovers;
    const QStringList directories {QFileInfo(Phone::liveConfig).path() + QLatin1Char('/'),
                                   Phone::facilityDirectory, QStringLiteral("/log/")};
    for (const QString &directory : directories) {
        for (const char *number : {"0", "4", "17"}) {
            leftovers.append(directory + QStringLiteral(".new.") + QLatin1String(number));
            Phone::write(leftovers.last(), "half of a file");
        }
    }
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    for (const QString &leftover : qAsConst(leftovers)) {
        QVERIFY2(!QFile::exists(leftover), qPrintable(leftover));
    }
    QCOMPARE(filesIn(Phone::facilityDirectory), m_facilities);
}

void tst_Startup::directoryIsNoMarker()
{
    Faults::makeDirectory(marker);
    Phone::write(Phone::liveConfig, withLevel("debug"));
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel("debug"));
    QVERIFY(QFile::exists(marker));
    QCOMPARE(Faults::logged(*m_log).count(markerIsThere), 0);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_Startup::markerPathIsNoSetting()
{
    QTemporaryDir other;
    const OtherFacilities facilities(other.path() + QLatin1Char('/'));
    const QString otherMarker = other.filePath(QStringLiteral("resetLogLevel"));
    Phone::write(otherMarker, "");
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    QVERIFY(QFile::exists(otherMarker));
    QCOMPARE(linesAfterTheServer(*m_log), QStringList());

    Phone::write(marker, "");
    m_log->clear();
    QCOMPARE(module.initialize(), true);
    QVERIFY(!QFile::exists(marker));
    QCOMPARE(linesAfterTheServer(*m_log).value(0), markerIsThere);
}

void tst_Startup::stepsRunInOrder()
{
    const Aside aside(QStringLiteral("/log/flash"));
    Phone::write(QStringLiteral("/log/flash"), "in the way");
    Phone::write(marker, "");
    remoteServerConfig = {QStringLiteral("true"), QStringLiteral("10.1.2.3"), QStringLiteral("514"),
                          QStringLiteral("udp")};
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    const QStringList lines = Faults::logged(*m_log);
    const int first = lines.indexOf(QStringLiteral("7 Method::initLogServerStruct()"));
    const int applied = lines.indexOf(
        QStringLiteral("7 All facilities redirected to : udp(\"10.1.2.3\" port(514)) "));
    const int directory = lines.indexOf(noFlash);
    const int reset = lines.indexOf(markerIsThere);
    QCOMPARE(first, 0);
    QVERIFY(applied > first);
    QCOMPARE(directory, applied + 1);
    QCOMPARE(reset, directory + 1);
    QVERIFY(reset < lines.size() - 1);
}

void tst_Startup::startLinesAreGuardedByTheLevel_data()
{
    QTest::addColumn<int>("level");
    for (const int level : {7, 6, 3, 2}) {
        QTest::addRow("level %d", level) << level;
    }
}

void tst_Startup::startLinesAreGuardedByTheLevel()
{
    QFETCH(int, level);
    LogCapture::setLevel(level);
    const Aside aside(QStringLiteral("/log/flash"));
    Phone::write(QStringLiteral("/log/flash"), "in the way");
    Phone::write(marker, "");
    TestableModule module;
    QCOMPARE(module.initialize(), true);
    const QStringList lines = Faults::logged(*m_log);
    QCOMPARE(lines.contains(markerIsThere), level > 6);
    QCOMPARE(lines.contains(noFlash), level > 2);
    QVERIFY(!QFile::exists(marker));
}

// -------------------------------------------------------------------------------- Factory reset

void tst_Startup::factoryReset()
{
    customise();
    const QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    TestableModule module;
    module.restoreDataToFactory();
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(filesIn(Phone::facilityDirectory), m_facilities);
    QCOMPARE(resetLines(*m_log),
             QStringList({levelsReset + allErr, destinationsReset + allPredefined})
                 + removalLines(m_facilities.keys()));
    QTRY_COMPARE(m_syslog->count(), 2);
}

void tst_Startup::factoryResetGoesOnAfterFailures()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    const QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    TestableModule module;
    module.restoreDataToFactory();
    QCOMPARE(resetLines(*m_log),
             QStringList({levelsReset + QStringLiteral("No logger configuration file !!"),
                          destinationsReset + allPredefined})
                 + removalLines(m_facilities.keys()));
}

void tst_Startup::nothingComesBetweenTheStepsOfAFactoryReset()
{
    const QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    QStringList before;
    std::thread other([&] {
        while (m_log->lines().isEmpty()) { // in the middle of the first step then
            std::this_thread::yield();
        }
        const ConfigurationOrder::Turn turn;
        before = resetLines(*m_log);
    });
    TestableModule module;
    module.restoreDataToFactory();
    other.join();
    QCOMPARE(before,
             QStringList({levelsReset + allErr, destinationsReset + allPredefined})
                 + removalLines(m_facilities.keys()));
}

void tst_Startup::factoryResetWithoutFacilityFiles()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    for (const QString &name : m_facilities.keys()) {
        QVERIFY(QFile::remove(Phone::facilityDirectory + name));
    }
    Phone::write(Phone::facilityDirectory + QStringLiteral("qvxsipua.conf.old"), "");
    Phone::write(Phone::facilityDirectory + QStringLiteral(".hidden.conf"), "");
    const QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    Phone::write(QStringLiteral("qvxsipua.conf"), "");
    TestableModule module;
    module.restoreDataToFactory();
    QCOMPARE(
        resetLines(*m_log),
        QStringList(
            {levelsReset
                 + QStringLiteral("One ore more facility config file corrupted -- restored to "
                                  "predefined value ! -- Use level or redirect command to verify "
                                  "your log config"),
             destinationsReset
                 + QStringLiteral("One ore more config files were corrupted -- Initialised to "
                                  "predefined values -- check your log config with level or "
                                  "redirect command !"),
             nothingToDelete + Phone::facilityDirectory}));
    QVERIFY(QFile::exists(QStringLiteral("qvxsipua.conf")));
    QVERIFY(!module.deleteFacilityConfigFiles());
}

void tst_Startup::factoryResetLinesAreGuardedByTheLevel_data()
{
    QTest::addColumn<int>("level");
    for (const int level : {7, 6, 5, 3, 2}) {
        QTest::addRow("level %d", level) << level;
    }
}

void tst_Startup::factoryResetLinesAreGuardedByTheLevel()
{
    QFETCH(int, level);
    LogCapture::setLevel(level);
    QTemporaryDir other;
    QVERIFY(QDir::setCurrent(other.path()));
    TestableModule module;
    module.restoreDataToFactory();
    QCOMPARE(
        resetLines(*m_log),
        Faults::writtenAt(level,
                          QStringList({levelsReset + allErr, destinationsReset + allPredefined})
                              + removalLines(m_facilities.keys())));
    m_log->clear();
    const OtherFacilities facilities(QStringLiteral("/nowhere/"));
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    module.restoreDataToFactory();
    QCOMPARE(resetLines(*m_log).contains(nothingToDelete + QStringLiteral("/nowhere/")), level > 2);
}

void tst_Startup::namesAreLookedUpInTheWorkingDirectory()
{
    Phone::write(Phone::facilityDirectory + QStringLiteral("Extra.CONF"), "");
    Phone::write(Phone::facilityDirectory + QStringLiteral("conf"), "");
    Phone::write(Phone::facilityDirectory + QStringLiteral("a.conf.bak"), "");
    Faults::makeDirectory(Phone::facilityDirectory + QStringLiteral("folder.conf"));
    const Files before = filesIn(Phone::facilityDirectory);
    const QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    Phone::write(QStringLiteral("qvxsipua.conf"), "");
    Phone::write(QStringLiteral("defence.conf"), "");
    Phone::write(QStringLiteral("other.conf"), "other");
    TestableModule module;
    QVERIFY(module.deleteFacilityConfigFiles());
    QCOMPARE(filesIn(Phone::facilityDirectory), before);
    QCOMPARE(filesIn(elsewhere.path()), (Files {{QStringLiteral("other.conf"), "other"}}));
    QCOMPARE(
        Faults::logged(*m_log),
        removalLines(m_facilities.keys()
                     + QStringList({QStringLiteral("Extra.CONF"), QStringLiteral("folder.conf")})));
    QCOMPARE(QDir::currentPath(), QDir(elsewhere.path()).canonicalPath());
}

void tst_Startup::workingDirectoryThatIsTheFacilityDirectory()
{
    Phone::write(Phone::facilityDirectory + QStringLiteral("kept"), "kept");
    QVERIFY(QDir::setCurrent(Phone::facilityDirectory));
    TestableModule module;
    QVERIFY(module.deleteFacilityConfigFiles());
    QCOMPARE(filesIn(Phone::facilityDirectory), (Files {{QStringLiteral("kept"), "kept"}}));
    m_log->clear();
    QVERIFY(!module.deleteFacilityConfigFiles());
    QCOMPARE(Faults::logged(*m_log), QStringList());
}

void tst_Startup::directoryThatCannotBeEntered_data()
{
    QTest::addColumn<bool>("isFile");
    QTest::newRow("missing") << false;
    QTest::newRow("a file") << true;
}

void tst_Startup::directoryThatCannotBeEntered()
{
    QFETCH(bool, isFile);
    QTemporaryDir elsewhere;
    QTemporaryDir parent;
    if (isFile) {
        Phone::write(parent.filePath(QStringLiteral("none")), "");
    }
    const OtherFacilities facilities(parent.filePath(QStringLiteral("none/")));
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    Phone::write(QStringLiteral("b.conf"), "");
    Phone::write(QStringLiteral("A.conf"), "");
    Phone::write(QStringLiteral("c.txt"), "kept");
    TestableModule module;
    QVERIFY(module.deleteFacilityConfigFiles());
    QCOMPARE(
        Faults::logged(*m_log),
        QStringList({toRemove + QStringLiteral("A.conf"), toRemove + QStringLiteral("b.conf")}));
    QCOMPARE(filesIn(elsewhere.path()), (Files {{QStringLiteral("c.txt"), "kept"}}));
    QVERIFY(!module.deleteFacilityConfigFiles());
}

void tst_Startup::factoryResetThroughTheControlInterface()
{
    const QString same = QStringLiteral("/run/phone/qvxsipua.conf");
    const QString unrelated = QStringLiteral("/run/phone/unrelated.conf");
    Phone::write(same, "");
    Phone::write(unrelated, "");
    customise();
    Phone::Service service; // works in /run/phone
    QCOMPARE(Phone::read(Phone::liveConfig).count("level(debug.."), activities.size());
    const QDBusMessage message = QDBusMessage::createMethodCall(
        Phone::serviceName, Phone::servicePath, QStringLiteral("com.corvane.Quorvix.QVXModule"),
        QStringLiteral("restoreDataToFactory"));
    const QDBusMessage reply = QDBusConnection::systemBus().call(message, QDBus::Block, 60000);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments().size(), 0);
    // The last thing that it does.
    QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(same), 30000);
    QVERIFY(QFile::exists(unrelated));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(filesIn(Phone::facilityDirectory), m_facilities);
    QVERIFY(Phone::text(QStringLiteral("redirect")).startsWith(QStringLiteral("   ACTIVITY ")));
    QCOMPARE(service.stop(), 0);
    QVERIFY(QFile::remove(unrelated));
}

// ---------------------------------------------------------------------- The service in bad times

void tst_Startup::serviceComesUpAndAnswers_data()
{
    QTest::addColumn<bool>("hasMarker");
    QTest::addColumn<bool>("logIsReadOnly");
    QTest::addColumn<QByteArray>("pid"); // of the daemon; empty for none
    QTest::newRow("no settings service, no daemon") << false << false << QByteArray();
    QTest::newRow("with the marker") << true << false << QByteArray();
    QTest::newRow("with read-only /log") << false << true << QByteArray();
    QTest::newRow("with both") << true << true << QByteArray();
    QTest::newRow("with both, and a daemon that has died") << true << true << QByteArray("dead");
}

void tst_Startup::serviceComesUpAndAnswers()
{
    QFETCH(bool, hasMarker);
    QFETCH(bool, logIsReadOnly);
    QFETCH(QByteArray, pid);
    m_syslog.reset();
    if (Phone::isOnBus(QStringLiteral("com.corvane.Quorvix.SettingsManager"))) {
        stopBooted(QStringLiteral("SettingsManager"),
                   QStringLiteral("com.corvane.Quorvix.SettingsManager"));
        stopBooted(QStringLiteral("syslog-ng"), Phone::pidFile);
    }
    QFile::remove(Phone::pidFile);
    if (!pid.isEmpty()) {
        QProcess ended;
        ended.start(QStringLiteral("true"), QStringList());
        QVERIFY(ended.waitForStarted());
        pid = QByteArray::number(ended.processId());
        QVERIFY(ended.waitForFinished());
        Phone::write(Phone::pidFile, pid + '\n');
    }
    customise();
    const QByteArray before = Phone::read(Phone::liveConfig);
    if (hasMarker) {
        Phone::write(marker, "");
    }
    std::unique_ptr<ReadOnlyLog> readOnly;
    if (logIsReadOnly) {
        readOnly = std::make_unique<ReadOnlyLog>();
    }
    {
        Phone::Service service;
        QVERIFY(!QFile::exists(marker));
        QCOMPARE(Phone::read(Phone::liveConfig),
                 hasMarker ? QByteArray(before).replace("level(debug..", "level(err..") : before);
        QCOMPARE(Phone::text(QStringLiteral("redirect")), Phone::text(QStringLiteral("level")));
        QCOMPARE(Phone::text(QStringLiteral("level"),
                             {QStringLiteral("qvxsipua"), QStringLiteral("info")}),
                 QStringLiteral("Level info for facility : qvxsipua OK"));
        QCOMPARE(
            Phone::text(QStringLiteral("redirect"),
                        {QStringLiteral("qvxsipua"), QStringLiteral("flash"), QStringLiteral("x")}),
            QStringLiteral("[REDIRECT] Activity : qvxsipua redirect to : "
                           "file(\"/log/flash/x.log\")OK"));
        QCOMPARE(service.stop(), 0);
    }
    QCOMPARE(QFile::exists(QStringLiteral("/log/flash")), !logIsReadOnly);
    readOnly.reset();
}

QTEST_GUILESS_MAIN(tst_Startup)
#include "tst_startup.moc"
