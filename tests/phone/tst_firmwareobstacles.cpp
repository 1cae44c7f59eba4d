// A firmware update with other activities where something stands in its way: a kill, a full disk, a
// second run of the set-up script, and a service that edits meanwhile.
// SPDX-License-Identifier: MIT
#include "support/cutoff.h"
#include "support/firmware.h"
#include "support/setupfiles.h"

#include <QDBusPendingCall>
#include <QElapsedTimer>
#include <QScopeGuard>

#include <memory>

#include <sys/file.h>

using namespace SetUpFiles;

namespace {

const QString lockPath = "/run/QVXApplication/logappli.lock"_s;

/// Holds the lock on the configuration, as the service and the script do.
class HeldLock
{
public:
    HeldLock()
    {
        if (m_descriptor < 0 || flock(m_descriptor, LOCK_EX) != 0) {
            qFatal("cannot lock the configuration");
        }
    }
    ~HeldLock() { close(m_descriptor); }
    Q_DISABLE_COPY(HeldLock)

private:
    const int m_descriptor
        = open(QFile::encodeName(lockPath).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
};

/// Whether the process @p pid has the lock's file open, to wait for it.
bool waitsForLock(qint64 pid)
{
    const QDir descriptors("/proc/%1/fd"_s.arg(pid));
    for (const QFileInfo &descriptor : descriptors.entryInfoList(QDir::Files | QDir::System)) {
        if (descriptor.symLinkTarget() == lockPath) {
            return true;
        }
    }
    return false;
}

qint64 servicePid()
{
    return Phone::read("/run/phone/LoggerModule.pid"_s).trimmed().toLongLong();
}

/// What the files are that an update is about.
States statesNow()
{
    States states;
    for (const QString &path : allFiles() + QStringList {Video::facilityFile}) {
        states.insert(path, Faults::state(path));
    }
    return states;
}

/// syslog-ng's check accepts everything, and at once.
class QuickCheck
{
public:
    QuickCheck()
    {
        Phone::write(program, "#!/bin/sh\nexit 0\n");
        Faults::setMode(program, 0755);
    }

private:
    const QString program = "/usr/sbin/syslog-ng"_s;
    const Faults::Aside m_aside {program};
};

} // namespace

class tst_FirmwareObstacles : public SetUpFilesTest
{
    Q_OBJECT

private Q_SLOTS:
    void killedAtAnyMoment();
    void fullDisk_data();
    void fullDisk();
    void twoRunsAtOnce();
    void editBetweenReadingAndReplacing();
    void serviceWaitsForTheScript();
    void lockThatIsNotGivenUp();
    void lockThatOthersCanOpen();
    void flockWithoutATimeOut();
    void runByTheServiceItself();
    void serviceThatEditsAllTheTime();

private:
    /// A live file that somebody has worked on.
    QByteArray customised() const
    {
        return QByteArray(m_generated)
                   .replace("f_qvxsipua { level(err..", "f_qvxsipua { level(debug..")
            + "# mine\n";
    }
};

void tst_FirmwareObstacles::killedAtAnyMoment()
{
    const QuickCheck check;
    Phone::write(Phone::liveConfig, customised());
    const States old = statesNow();
    States between; // with what is new, before what is gone goes
    {
        const Firmware more(Video::row);
        QCOMPARE(runScript().status, 0);
        between = statesNow();
    }
    const Firmware firmware(Video::row, {"Platform"});
    QCOMPARE(runScript().status, 0);
    const States good = statesNow();
    const QStringList treeThen = tree();
    QVERIFY(good != old);
    CutOff::Run run;
    bool mixed = false;
    for (int step = 0; step == 0 || run.cut; ++step) {
        for (auto state = old.cbegin(); state != old.cend(); ++state) {
            if (state.value() == "<missing>") {
                QFile::remove(state.key());
            } else {
                Phone::write(state.key(), state.value());
            }
        }
        run = CutOff::run({Phone::setUpScript, "start"_s}, step);
        if (run.steps == 0 && !run.cut && run.status != 0) {
            QSKIP("no process may trace another one here");
        }
        const States now = statesNow();
        for (auto state = now.cbegin(); state != now.cend(); ++state) {
            QVERIFY2(state.value() == old.value(state.key())
                         || state.value() == between.value(state.key())
                         || state.value() == good.value(state.key()),
                     qPrintable(state.key() + QLatin1Char('\n') + QString::fromUtf8(*state)));
        }
        // So the firmware before knows what to take out again.
        QVERIFY(!now.value(Phone::liveConfig).contains("Video")
                || now.value(Phone::backup).contains("Video"));
        mixed = mixed || (now != old && now != good);
        if (run.cut) {
            QCOMPARE(runScript().status, 0);
        }
        QCOMPARE(statesNow(), good);
        QCOMPARE(tree(), treeThen);
    }
    QCOMPARE(run.status, 0);
    QVERIFY(mixed);
}

void tst_FirmwareObstacles::fullDisk_data()
{
    QTest::addColumn<int>("pages");
    QTest::newRow("no room") << 0;
    QTest::newRow("room for one file") << 1;
    QTest::newRow("room for directories and one file") << 3;
}

void tst_FirmwareObstacles::fullDisk()
{
    QFETCH(int, pages);
    const States files = goodStates(m_generated);
    const QByteArray live = customised() + QByteArray(6000, '#') + '\n';
    const Firmware firmware(Video::row, {"Platform"});
    const Faults::SmallDisk disk(
        directory, static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE)), [&files, &live] {
            QDir().mkpath(Phone::facilityDirectory);
            for (auto file = files.cbegin(); file != files.cend(); ++file) {
                Phone::write(file.key(), file.value());
            }
            Phone::write(Phone::liveConfig, live);
        });
    if (!disk.isMounted()) {
        QSKIP("no file system can be mounted here");
    }
    const Outcome outcome = runScript();
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.contains("autoConfigSyslog: cannot "), outcome.errors.constData());
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        QCOMPARE(Phone::read(file.key()), file.key() == Phone::liveConfig ? live : file.value());
    }
    QVERIFY(!QFile::exists(Video::facilityFile));
    QVERIFY(entriesOf(directory).filter(".autoConfigSyslog"_s).isEmpty());

    QVERIFY(QFile::remove(directory + "filler"_s));
    QCOMPARE(runScript().status, 0);
    QVERIFY(Phone::read(Phone::liveConfig).endsWith(Video::block()));
}

void tst_FirmwareObstacles::twoRunsAtOnce()
{
    Phone::write(Phone::liveConfig, customised());
    const Firmware firmware(Video::row);
    std::vector<std::unique_ptr<QProcess>> runs;
    for (int count = 0; count < 3; ++count) {
        runs.push_back(std::make_unique<QProcess>());
        runs.back()->start(Phone::setUpScript, {"start"_s});
    }
    for (const auto &run : runs) {
        QVERIFY(run->waitForFinished(60000));
        QCOMPARE(run->readAllStandardError(), QByteArray());
        QCOMPARE(run->exitCode(), 0);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), customised() + Video::block());
    QCOMPARE(Phone::read(Phone::backup), m_generated + Video::block());
    QStringList paths = goodTree() << Video::facilityFile;
    paths.sort();
    QCOMPARE(tree(), paths);
}

// The script has its new text ready when somebody replaces the file that it was made of.
void tst_FirmwareObstacles::editBetweenReadingAndReplacing()
{
    const Firmware firmware(Video::row);
    QProcess script;
    {
        const HeldLock lock;
        script.start(Phone::setUpScript, {"start"_s});
        QVERIFY(script.waitForStarted());
        QTRY_VERIFY(waitsForLock(script.processId()));
        Phone::write(Phone::liveConfig + ".edited"_s, customised());
        QVERIFY(rename(QFile::encodeName(Phone::liveConfig + ".edited"_s).constData(),
                       QFile::encodeName(Phone::liveConfig).constData())
                == 0);
    }
    QVERIFY(script.waitForFinished(60000));
    QCOMPARE(script.exitCode(), 0);
    QCOMPARE(Phone::read(Phone::liveConfig), customised() + Video::block());
}

void tst_FirmwareObstacles::serviceWaitsForTheScript()
{
    std::unique_ptr<QDBusPendingCall> call;
    {
        const HeldLock lock; // as the script holds it
        call
            = std::make_unique<QDBusPendingCall>(Phone::send("level"_s, {"qvxsipua"_s, "debug"_s}));
        QTRY_VERIFY(waitsForLock(servicePid()));
        Phone::write(Phone::liveConfig, m_generated + Video::block());
    }
    QCOMPARE(Phone::text(*call), "Level debug for facility : qvxsipua OK"_s);
    QVERIFY(Phone::read(Phone::liveConfig).contains("f_qvxsipua { level(debug.."));
    QVERIFY(Phone::read(Phone::liveConfig).endsWith(Video::block()));
}

// The service answers in the end; the script leaves it to its next run.
void tst_FirmwareObstacles::lockThatIsNotGivenUp()
{
    const Firmware firmware(Video::row);
    const HeldLock lock;
    QElapsedTimer clock;
    clock.start();
    QProcess script;
    script.start(Phone::setUpScript, {"start"_s});
    QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "debug"_s}),
             "Level debug for facility : qvxsipua OK"_s);
    QVERIFY2(clock.elapsed() >= 4500, QByteArray::number(clock.elapsed()).constData());
    QVERIFY(script.state() == QProcess::NotRunning || script.waitForFinished(60000));
    QCOMPARE(script.exitCode(), 1);
    QCOMPARE(script.readAllStandardError(),
             QByteArray("autoConfigSyslog: somebody is changing the configuration, nothing was "
                        "done\n"));
    QVERIFY(!Phone::read(Phone::liveConfig).contains("Video"));
    QVERIFY(Phone::read(Phone::liveConfig).contains("f_qvxsipua { level(debug.."));
    QCOMPARE(tree().filter("autoConfigSyslog"_s), QStringList());
}

// Whoever can open it could keep it, and make every call wait.
void tst_FirmwareObstacles::lockThatOthersCanOpen()
{
    const HeldLock lock;
    const auto giveBack = qScopeGuard([] { Faults::setMode(lockPath, 0600); });
    for (const mode_t mode : {0644U, 0660U}) {
        Faults::setMode(lockPath, mode);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "debug"_s}),
                 "Level debug for facility : qvxsipua OK"_s);
        QVERIFY2(clock.elapsed() < 5000, QByteArray::number(clock.elapsed()).constData());
    }
}

// As in a phone of small tools.
void tst_FirmwareObstacles::flockWithoutATimeOut()
{
    const QString program = "/usr/bin/flock"_s;
    QVERIFY(QFile::copy(program, "/tmp/flock"_s));
    const Faults::Aside aside(program);
    Phone::write(program,
                 "#!/bin/sh\n"
                 "[ \"$1\" != -w ] || { echo 'invalid option: w' >&2; exit 1; }\n"
                 "exec /tmp/flock \"$@\"\n");
    Faults::setMode(program, 0755);
    const Firmware firmware(Video::row);
    QProcess script;
    {
        const HeldLock lock;
        const Outcome refused = runScript();
        QCOMPARE(refused.errors,
                 QByteArray("autoConfigSyslog: somebody is changing the configuration, nothing was "
                            "done\n"));
        QCOMPARE(refused.status, 1);
        script.start(Phone::setUpScript, {"start"_s});
        QVERIFY(script.waitForStarted());
        QTRY_VERIFY(waitsForLock(script.processId()));
    }
    QVERIFY(script.waitForFinished(60000));
    QCOMPARE(script.readAllStandardError(), QByteArray());
    QCOMPARE(script.exitCode(), 0);
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated + Video::block());
}

void tst_FirmwareObstacles::runByTheServiceItself()
{
    const Firmware firmware(Video::row);
    Phone::write(someFile, "not valid\n");
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(Phone::text("level"_s, {"sipmmi"_s, "debug"_s}),
             "One or more log config file corrupted -- file restored to predefined value !OK"_s);
    // Had the two waited for each other, the script would have been given up after this time.
    QVERIFY2(clock.elapsed() < 10000, QByteArray::number(clock.elapsed()).constData());
    QVERIFY(Phone::text("level"_s).contains("\nVideo                  err"_s));
    QVERIFY(Phone::read(Phone::liveConfig).contains("f_sipmmi { level(debug.."));
}

void tst_FirmwareObstacles::serviceThatEditsAllTheTime()
{
    constexpr int rounds = 2;
    for (int round = 0; round < rounds; ++round) {
        std::unique_ptr<Firmware> firmware;
        if (round % 2 == 0) {
            firmware = std::make_unique<Firmware>(Video::row);
        }
        QProcess script;
        script.start(Phone::setUpScript, {"start"_s});
        QVERIFY(script.waitForStarted());
        QString level;
        for (int count = 0; count < 100 && (count < 2 || script.state() != QProcess::NotRunning);
             ++count) {
            level = count % 2 == 0 ? "debug"_s : "info"_s;
            QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, level}),
                     "Level "_s + level + " for facility : qvxsipua OK"_s);
            script.waitForFinished(0);
        }
        QVERIFY(script.state() == QProcess::NotRunning || script.waitForFinished(60000));
        QCOMPARE(script.exitCode(), 0);
        const QByteArray live = Phone::read(Phone::liveConfig);
        QCOMPARE(live.contains(Video::block()), firmware != nullptr);
        QVERIFY(live.contains("f_qvxsipua { level(" + level.toUtf8() + ".."));
    }
}

QTEST_GUILESS_MAIN(tst_FirmwareObstacles)
#include "tst_firmwareobstacles.moc"
