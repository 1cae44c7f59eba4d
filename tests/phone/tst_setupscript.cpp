// The run of the platform's set-up script: its outcome in the log, and that it is left to its work.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QElapsedTimer>
#include <QtTest>

#include <atomic>
#include <thread>

namespace {

const QString releaseFile = QStringLiteral("/run/phone/setup.release");
const QString success = QStringLiteral("7 restoreSylogConfig() success.");
constexpr int timeOut = 10000; // ms

/// The state letters of this process' children, "Z" for one whose exit status nobody has asked for.
QByteArray childStates()
{
    QByteArray states;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &name : names) {
        // pid (name) state parent ...
        const QByteArray status
            = Phone::read(QStringLiteral("/proc/") + name + QStringLiteral("/stat"));
        const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1).toInt() == getpid()) {
            states += fields.value(0);
        }
    }
    return states;
}

/// The lines of the scripts' record that start with @p word.
int recorded(const QByteArray &word)
{
    return Phone::read(Faults::FakeSetUpScript::record()).count(word);
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
    QFile::remove(releaseFile);
    QTRY_COMPARE(childStates(), QByteArray());
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
    QCOMPARE(recorded("start"), 0);
}

// From the main thread and from another one at the same time, because the time-out takes so long.
void tst_SetUpScript::slowScriptIsLeftToItsWork()
{
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-slow")));
    const LogCapture log;
    QElapsedTimer clock;
    clock.start();
    std::atomic<qint64> workersTime {0};
    std::thread worker([this, &clock, &workersTime] {
        m_module.restoreSylogConfig();
        workersTime = clock.elapsed();
    });
    m_module.restoreSylogConfig();
    const qint64 mainsTime = clock.elapsed();
    worker.join();

    for (const qint64 time : {mainsTime, workersTime.load()}) {
        QVERIFY2(time >= timeOut - 500, QByteArray::number(time).constData());
        QVERIFY2(time < timeOut + 5000, QByteArray::number(time).constData());
    }
    const QStringList lines = Faults::logged(log);
    QCOMPARE(lines.size(), 2);
    for (const QString &line : lines) {
        QVERIFY2(line.startsWith(QStringLiteral("3 process result ")), qPrintable(line));
        QVERIFY(line.size() > QStringLiteral("3 process result ").size());
    }
    // Both scripts are still at work, and come to their end when they can.
    QCOMPARE(recorded("begin "), 2);
    QCOMPARE(recorded("end "), 0);
    QVERIFY(!childStates().contains('Z'));
    Phone::write(releaseFile, "");
    QTRY_COMPARE(recorded("end "), 2);
    QTRY_COMPARE(childStates(), QByteArray());
    QCOMPARE(Faults::logged(log), lines);
}

QTEST_GUILESS_MAIN(tst_SetUpScript)
#include "tst_setupscript.moc"
