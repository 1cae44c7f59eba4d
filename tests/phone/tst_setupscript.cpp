// The run of the platform's set-up script: its outcome in the log, and that it is left to its work.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/testablemodule.h"

#include <QElapsedTimer>
#include <QtTest>

#include <array>
#include <thread>
#include <vector>

namespace {

const QString releaseFile = QStringLiteral("/run/phone/setup.release");
const QString success = QStringLiteral("7 restoreSylogConfig() success.");
constexpr int timeOut = 10000; // ms

/// What the scripts have recorded, without their pids.
QByteArray recorded()
{
    QByteArray words;
    const QList<QByteArray> lines
        = Phone::read(Faults::FakeSetUpScript::record()).trimmed().split('\n');
    for (const QByteArray &line : lines) {
        words += line.split(' ').first() + ' ';
    }
    return words.trimmed();
}

int threadCount()
{
    return QDir(QStringLiteral("/proc/self/task"))
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
        .size();
}

/// What is logged of a script that takes too long.
QString tookTooLong()
{
    return QStringLiteral("3 process result ") + Faults::timedOut();
}

} // namespace

class tst_SetUpScript : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void scriptRegeneratesWhatIsMissing();
    void scriptGetsOneArgumentAndItsFailureIsNotLookedAt();
    void outputGoesToTheServicesOwn();
    void scriptThatCannotBeStartedIsAnError_data();
    void scriptThatCannotBeStartedIsAnError();
    void slowScriptIsLeftToItsWork();
    void thereIsOneScriptAtATime();

private:
    TestableModule m_module;
};

void tst_SetUpScript::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    Phone::stopBootedService();
}

void tst_SetUpScript::cleanup()
{
    // After a failed test, its scripts still run.
    Phone::write(releaseFile, "");
    QTRY_COMPARE(Processes::childStates(), QByteArray());
    QFile::remove(releaseFile);
}

void tst_SetUpScript::scriptRegeneratesWhatIsMissing()
{
    Phone::resetConfiguration();
    const QByteArray config = Phone::read(Phone::liveConfig);
    const QByteArray facility = Phone::read(Phone::facilityFile(QStringLiteral("sipmmi")));
    QVERIFY(!config.isEmpty());
    QVERIFY(!facility.isEmpty());
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QVERIFY(QFile::remove(Phone::facilityFile(QStringLiteral("sipmmi"))));
    const HangUps hangUps;
    const LogCapture log;

    m_module.restoreSylogConfig();

    QCOMPARE(Phone::read(Phone::liveConfig), config);
    QCOMPARE(Phone::read(Phone::backup), config);
    QCOMPARE(Phone::read(Phone::facilityFile(QStringLiteral("sipmmi"))), facility);
    QCOMPARE(Faults::logged(log), QStringList {success});
    QCOMPARE(hangUps.count(), 0);

    LogCapture::setLevel(6);
    m_module.restoreSylogConfig();
    QCOMPARE(Faults::logged(log), QStringList {success});
}

void tst_SetUpScript::scriptGetsOneArgumentAndItsFailureIsNotLookedAt()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-failing")));
    const LogCapture log;

    m_module.restoreSylogConfig();

    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
    QCOMPARE(Faults::logged(log), QStringList {success});
}

void tst_SetUpScript::outputGoesToTheServicesOwn()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-failing")));
    Faults::OutputCapture capture;
    m_module.restoreSylogConfig();
    capture.end();

    QCOMPARE(capture.output(), QByteArray("to standard output\n"));
    QCOMPARE(capture.errors(), QByteArray("to standard error\n"));
}

void tst_SetUpScript::scriptThatCannotBeStartedIsAnError_data()
{
    QTest::addColumn<bool>("present");

    QTest::newRow("missing") << false;
    QTest::newRow("not executable") << true;
}

void tst_SetUpScript::scriptThatCannotBeStartedIsAnError()
{
    QFETCH(bool, present);
    const Faults::FakeSetUpScript script(present ? Faults::fake(QStringLiteral("setup-noting"))
                                                 : QString());
    if (present) {
        Faults::setMode(Phone::setUpScript, 0644);
    }
    QProcess same;
    same.start(Phone::setUpScript, {QStringLiteral("start")});
    QVERIFY(!same.waitForStarted());
    QVERIFY(!same.errorString().isEmpty());
    const QStringList lines {QStringLiteral("3 process result ") + same.errorString()};
    for (const int level : {7, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        m_module.restoreSylogConfig();
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
    QCOMPARE(recorded(), QByteArray());
}

void tst_SetUpScript::slowScriptIsLeftToItsWork()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-slow")));
    const LogCapture log;
    QElapsedTimer clock;
    clock.start();
    m_module.restoreSylogConfig();
    const qint64 time = clock.elapsed();

    QVERIFY2(time >= timeOut - 500 && time < timeOut + 5000, QByteArray::number(time).constData());
    QCOMPARE(Faults::logged(log), QStringList {tookTooLong()});
    QCOMPARE(recorded(), QByteArray("begin"));
    QVERIFY(!Processes::childStates().contains('Z'));
    // It comes to its end when it can, and nobody has to call again for it to be collected.
    Phone::write(releaseFile, "");
    QTRY_COMPARE(recorded(), QByteArray("begin end"));
    QTRY_COMPARE(Processes::childStates(), QByteArray());
    QCOMPARE(Faults::logged(log), QStringList {tookTooLong()});
}

// From several threads at the same time, because the time-out takes so long.
void tst_SetUpScript::thereIsOneScriptAtATime()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-slow")));
    const LogCapture log;
    const int threads = threadCount();
    constexpr int callers = 3;
    std::array<qint64, callers> times {};
    std::vector<std::thread> workers;
    for (qint64 &time : times) {
        workers.emplace_back([this, &time] {
            QElapsedTimer clock;
            clock.start();
            m_module.restoreSylogConfig();
            time = clock.elapsed();
        });
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
    for (const qint64 time : times) {
        QVERIFY2(time >= timeOut - 500 && time < timeOut + 5000,
                 QByteArray::number(time).constData());
    }
    QStringList lines;
    for (int count = 0; count < callers; ++count) {
        lines.append(tookTooLong());
    }
    QCOMPARE(Faults::logged(log), lines);
    QCOMPARE(recorded(), QByteArray("begin"));
    QCOMPARE(Processes::childStates().size(), 1);
    QCOMPARE(threadCount(), threads);

    // The next call finds it running still, and has its own script behind it.
    std::thread next([this] { m_module.restoreSylogConfig(); });
    Phone::write(releaseFile, "");
    next.join();
    QCOMPARE(recorded(), QByteArray("begin end begin end"));
    QCOMPARE(Faults::logged(log), lines + QStringList {success});
    QCOMPARE(Processes::childStates(), QByteArray());
}

QTEST_GUILESS_MAIN(tst_SetUpScript)
#include "tst_setupscript.moc"
