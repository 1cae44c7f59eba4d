// Programs run to their end: what they get, and what is said when they cannot be run.
// SPDX-License-Identifier: MIT
#include "syslogconf/childprocess.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <sys/types.h>

namespace {

constexpr int longTimeout = 30000; // ms
const QString shell = QStringLiteral("sh");

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
}

} // namespace

class TestChildProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void argumentsArriveAsTheyAre();
    void exitStatusIsNotLookedAt_data();
    void exitStatusIsNotLookedAt();
    void hasNoInputAndItsOutputIsDropped();
    void brokenPipesEndItAsUsual();
    void missingProgramIsNamedAsQProcessDoes();
    void doesNotWaitForWhatItLeavesBehind();
    void isKilledWhenItTakesTooLong();

private:
    QScopedPointer<QTemporaryDir> m_directory;
    QString m_record;
};

void TestChildProcess::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_record = m_directory->filePath(QStringLiteral("record"));
}

void TestChildProcess::argumentsArriveAsTheyAre()
{
    const QString script = QStringLiteral("printf '<%s>' \"$@\" >\"$0\"");
    QCOMPARE(runProgram(shell,
                        {QStringLiteral("-c"), script, m_record, QStringLiteral("-hup"),
                         QStringLiteral("a b"), QString(), QStringLiteral("*'\"$(x)")},
                        longTimeout),
             QString());
    QCOMPARE(readFile(m_record), QByteArray("<-hup><a b><><*'\"$(x)>"));
}

void TestChildProcess::exitStatusIsNotLookedAt_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("success") << QStringLiteral("exit 0");
    QTest::newRow("failure") << QStringLiteral("exit 1");
    QTest::newRow("killed") << QStringLiteral("kill -KILL $$");
}

void TestChildProcess::exitStatusIsNotLookedAt()
{
    QFETCH(QString, script);
    QCOMPARE(runProgram(shell, {QStringLiteral("-c"), script}, longTimeout), QString());
}

void TestChildProcess::hasNoInputAndItsOutputIsDropped()
{
    // More than fits into any pipe.
    const QString script = QStringLiteral(
        "head -c 300000 /dev/zero; head -c 300000 /dev/zero >&2; cat >\"$0\"; echo end >>\"$0\"");
    QCOMPARE(runProgram(shell, {QStringLiteral("-c"), script, m_record}, longTimeout), QString());
    QCOMPARE(readFile(m_record), QByteArray("end\n"));
}

void TestChildProcess::brokenPipesEndItAsUsual()
{
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    const QString script = QStringLiteral("kill -PIPE $$; echo alive >\"$0\"");
    const QString result = runProgram(shell, {QStringLiteral("-c"), script, m_record}, longTimeout);
    std::signal(SIGPIPE, previous);
    QCOMPARE(result, QString());
    QCOMPARE(readFile(m_record), QByteArray("missing"));
}

void TestChildProcess::missingProgramIsNamedAsQProcessDoes()
{
    const QString program = QStringLiteral("no-such-program-anywhere");
    QProcess process;
    process.start(program, QStringList());
    QVERIFY(!process.waitForStarted());
    QVERIFY(!process.errorString().isEmpty());
    QCOMPARE(runProgram(program, {}, longTimeout), process.errorString());
}

void TestChildProcess::doesNotWaitForWhatItLeavesBehind()
{
    // The one left behind ends when the test has seen that nobody waited for it.
    const QString release = m_directory->filePath(QStringLiteral("release"));
    const QString script
        = QStringLiteral("(until [ -e \"$1\" ]; do sleep 0.01; done; echo ended >\"$0\") & exit 0");
    QCOMPARE(runProgram(shell, {QStringLiteral("-c"), script, m_record, release}, longTimeout),
             QString());
    QCOMPARE(readFile(m_record), QByteArray("missing"));
    QFile file(release);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QTRY_COMPARE(readFile(m_record), QByteArray("ended\n"));
}

void TestChildProcess::isKilledWhenItTakesTooLong()
{
    QProcess process;
    process.start(QStringLiteral("sleep"), {QStringLiteral("infinity")});
    QVERIFY(process.waitForStarted());
    QVERIFY(!process.waitForFinished(1));
    const QString timedOut = process.errorString();
    process.kill();
    QVERIFY(process.waitForFinished());

    // It writes its pid before it could be killed at the very latest.
    const QString script
        = QStringLiteral("trap '' TERM HUP INT; echo $$ >\"$0\"; exec sleep infinity");
    QCOMPARE(runProgram(shell, {QStringLiteral("-c"), script, m_record}, 1000), timedOut);
    const pid_t pid = readFile(m_record).trimmed().toInt();
    QVERIFY(pid > 1);
    QVERIFY(::kill(pid, 0) != 0);
}

QTEST_GUILESS_MAIN(TestChildProcess)
#include "tst_childprocess.moc"
