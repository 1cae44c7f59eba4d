// The reload of syslog-ng: which pid texts lead to a hang-up signal, and that it takes effect.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/testablemodule.h"

#include <QtTest>

namespace {

const QString killRecord = QStringLiteral("/run/phone/kill.arguments");
const QString success = QStringLiteral("7 [restart]process success.");
const QString notReadable = QStringLiteral("7 [restart] pidFile not readable ");

} // namespace

class tst_Restart : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void withoutAPidFileThereIsNothingToSignal();
    void unreadablePidFileIsReported();
    void pidTextDecidesWhatIsSignalled_data();
    void pidTextDecidesWhatIsSignalled();
    void processGetsExactlyOneHangUp();
    void outcomeOfKillIsNotLookedAt_data();
    void outcomeOfKillIsNotLookedAt();
    void missingKillIsReported();
    void changedConfigurationTakesEffect();

private:
    TestableModule m_module;
};

void tst_Restart::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    Phone::stopBootedService();
}

void tst_Restart::cleanup()
{
    QFile::remove(killRecord);
}

void tst_Restart::withoutAPidFileThereIsNothingToSignal()
{
    const Faults::Aside saved(Phone::pidFile);
    const Faults::SearchPath path(Faults::fake(QStringLiteral("path")));
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        m_module.restart();
        QCOMPARE(Faults::logged(log),
                 Faults::writtenAt(level,
                                   QStringList {QStringLiteral("7 [restart] pidFile not exist ")}));
    }
    QVERIFY(!QFile::exists(killRecord));
}

void tst_Restart::unreadablePidFileIsReported()
{
    const Faults::Aside saved(Phone::pidFile);
    QVERIFY(QDir().mkpath(Phone::pidFile));
    const Faults::SearchPath path(Faults::fake(QStringLiteral("path")));
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        m_module.restart();
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, QStringList {notReadable}));
    }
    QVERIFY(!QFile::exists(killRecord));
}

void tst_Restart::pidTextDecidesWhatIsSignalled_data()
{
    // "arguments" is what kill is given, each in brackets; empty when it is not run at all.
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<QStringList>("lines");

    const QByteArray none;
    const QStringList silent;
    const QStringList refused {notReadable};
    const QStringList done {success};

    QTest::newRow("empty") << QByteArray("") << none << silent;
    QTest::newRow("line feed") << QByteArray("\n") << none << silent;
    QTest::newRow("white space") << QByteArray(" \t\r\n \v\f\n") << none << silent;

    QTest::newRow("own process group") << QByteArray("0") << none << refused;
    QTest::newRow("zero with line feed") << QByteArray("0\n") << none << refused;
    QTest::newRow("many zeros") << QByteArray("0000") << none << refused;
    QTest::newRow("plus zero") << QByteArray("+0") << none << refused;
    QTest::newRow("minus zero") << QByteArray("-0") << none << refused;
    QTest::newRow("every process") << QByteArray("-1") << none << refused;
    QTest::newRow("every process, in blanks") << QByteArray("  -1  \n") << none << refused;
    QTest::newRow("every process, as an option") << QByteArray("-1abc") << none << refused;
    QTest::newRow("every process, on two lines") << QByteArray("-1\n123456") << none << refused;
    QTest::newRow("another process group") << QByteArray("-12345") << none << refused;
    QTest::newRow("wraps to zero") << QByteArray("4294967296") << none << refused;
    QTest::newRow("wraps to -1") << QByteArray("4294967295") << none << refused;
    QTest::newRow("wraps to zero in 64 bits")
        << QByteArray("18446744073709551616") << none << refused;

    QTest::newRow("number") << QByteArray("123456") << QByteArray("[-hup][123456]") << done;
    QTest::newRow("number with line feed")
        << QByteArray("123456\n") << QByteArray("[-hup][123456]") << done;
    QTest::newRow("number in white space")
        << QByteArray("\n\t 123456 \r\n") << QByteArray("[-hup][123456]") << done;
    QTest::newRow("rubbish") << QByteArray("rubbish\n") << QByteArray("[-hup][rubbish]") << done;
    QTest::newRow("number and rubbish") << QByteArray("12a") << QByteArray("[-hup][12a]") << done;
    QTest::newRow("two numbers are one text")
        << QByteArray("12 34\n") << QByteArray("[-hup][12 34]") << done;
    QTest::newRow("nothing for a shell")
        << QByteArray("$(touch /run/phone/touched); \"*'")
        << QByteArray("[-hup][$(touch /run/phone/touched); \"*']") << done;
}

void tst_Restart::pidTextDecidesWhatIsSignalled()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, arguments);
    QFETCH(QStringList, lines);
    const Faults::Aside saved(Phone::pidFile);
    Phone::write(Phone::pidFile, text);
    const Faults::SearchPath path(Faults::fake(QStringLiteral("path")));
    const LogCapture log;

    m_module.restart();

    QCOMPARE(Phone::read(killRecord), arguments);
    QCOMPARE(Faults::logged(log), lines);
    QCOMPARE(Phone::read(Phone::pidFile), text);

    LogCapture::setLevel(6);
    m_module.restart();
    QCOMPARE(Faults::logged(log), lines);
}

void tst_Restart::processGetsExactlyOneHangUp()
{
    const HangUps hangUps;
    const LogCapture log;

    m_module.restart();
    QCOMPARE(hangUps.count(), 1);
    QCOMPARE(Faults::logged(log), QStringList {success});

    m_module.restart();
    QCOMPARE(hangUps.count(), 2);

    QProcess process;
    process.start(
        QStringLiteral("sh"),
        {QStringLiteral("-c"),
         QStringLiteral("trap 'echo hang-up' HUP; echo ready; read -r word; read -r word")});
    QByteArray output;
    const auto says = [&](const QByteArray &text) {
        return QTest::qWaitFor([&] { return (output += process.readAll()) == text; }, 20000);
    };
    QVERIFY(says("ready\n"));
    Phone::write(Phone::pidFile, QByteArray::number(process.processId()));
    m_module.restart();
    QVERIFY2(says("ready\nhang-up\n"), output.constData());
    QCOMPARE(hangUps.count(), 2);
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(output + process.readAll(), QByteArray("ready\nhang-up\n"));
}

void tst_Restart::outcomeOfKillIsNotLookedAt_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("dead process") << Processes::deadPid();
    QTest::newRow("rubbish") << QByteArray("rubbish");
}

void tst_Restart::outcomeOfKillIsNotLookedAt()
{
    QFETCH(QByteArray, text);
    const HangUps hangUps;
    Phone::write(Phone::pidFile, text);
    const LogCapture log;

    m_module.restart();

    QCOMPARE(Faults::logged(log), QStringList {success});
    QCOMPARE(hangUps.count(), 0);
}

void tst_Restart::missingKillIsReported()
{
    const HangUps hangUps;
    const Faults::SearchPath path(QStringLiteral("/nowhere"));
    QProcess missing;
    missing.start(QStringLiteral("kill"), QStringList());
    QVERIFY(!missing.waitForStarted());
    QVERIFY(!missing.errorString().isEmpty());
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        m_module.restart();
        QCOMPARE(Faults::logged(log),
                 Faults::writtenAt(level,
                                   QStringList {QStringLiteral("7 [restart] process result ")
                                                + missing.errorString()}));
    }
    QCOMPARE(hangUps.count(), 0);
}

void tst_Restart::changedConfigurationTakesEffect()
{
    // The daemon has loaded the file as it is, at the boot of the phone.
    const QString usual = QStringLiteral("/var/log/qvxsipua.log");
    const QString moved = QStringLiteral("/var/log/moved.log");
    QByteArray text = Phone::read(Phone::liveConfig);
    text.replace("file(\"/var/log/qvxsipua.log\")", "file(\"/var/log/moved.log\")");
    QVERIFY(text != Phone::read(Phone::liveConfig));
    Phone::write(Phone::liveConfig, text);

    // A changed file alone is not noticed.
    const Phone::Activity &sip = Phone::activity(QStringLiteral("qvxsipua"));
    Phone::logMessage(sip.name, sip.facility, QStringLiteral("err"),
                      QStringLiteral("before the reload"));
    QVERIFY(Phone::waitForContent(usual, "before the reload"));
    QVERIFY(!QFile::exists(moved));

    m_module.restart();

    // The daemon loads the file some time after the signal.
    QVERIFY(Phone::logUntilSeen(sip, moved, QStringLiteral("after the reload")));
    QVERIFY(!Phone::read(moved).contains("before the reload"));
    Phone::resetConfiguration();
}

QTEST_GUILESS_MAIN(tst_Restart)
#include "tst_restart.moc"
