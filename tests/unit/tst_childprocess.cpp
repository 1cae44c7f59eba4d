// Programs run to their end: what they get, what is said of their ends, and that nothing of one
// that is stopped goes on.
// SPDX-License-Identifier: MIT
#include "syslogconf/childprocess.h"

#include "support/faults.h"
#include "support/processes.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int longTimeout = 30000; // ms
const QString shell = QStringLiteral("sh");

/// What a script gets behind its text is its name first, "$0".
ProgramEnd runScript(const QString &script, const QStringList &arguments = {},
                     int timeout = longTimeout, ProgramOutput output = ProgramOutput::Dropped)
{
    return runProgram(shell, QStringList {QStringLiteral("-c"), script} + arguments, timeout,
                      output);
}

} // namespace

class TestChildProcess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void argumentsArriveAsTheyAre();
    void exitStatusIsTold_data();
    void exitStatusIsTold();
    void hasNoInputAndItsOutputIsDropped();
    void outputIsForwarded();
    void brokenPipesEndItAsUsual();
    void leadsAGroupOfItsOwn();
    void programThatCannotBeStartedIsNamedAsQProcessDoes_data();
    void programThatCannotBeStartedIsNamedAsQProcessDoes();
    void doesNotWaitForWhatItLeavesBehind();
    void endsWithItsGroupWhenItTakesTooLong_data();
    void endsWithItsGroupWhenItTakesTooLong();
    void signalThatEndsItEndsItsGroup();
    void waitsForAStartedProgramWithoutCollectingIt();

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
    const ProgramEnd end = runScript(QStringLiteral("printf '<%s>' \"$@\" >\"$0\""),
                                     {m_record, QStringLiteral("-hup"), QStringLiteral("a b"),
                                      QString(), QStringLiteral("*'\"$(x)")});
    QCOMPARE(end.error, QString());
    QCOMPARE(readFile(m_record), QByteArray("<-hup><a b><><*'\"$(x)>"));
}

void TestChildProcess::exitStatusIsTold_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<int>("status");
    QTest::newRow("success") << QStringLiteral("exit 0") << 0;
    QTest::newRow("failure") << QStringLiteral("exit 3") << 3;
    QTest::newRow("the highest there is") << QStringLiteral("exit 255") << 255;
    QTest::newRow("killed") << QStringLiteral("kill -KILL $$") << -1;
}

void TestChildProcess::exitStatusIsTold()
{
    QFETCH(QString, script);
    QFETCH(int, status);
    const ProgramEnd end = runScript(script);
    QCOMPARE(end.error, QString());
    QCOMPARE(end.exitStatus, status);
}

void TestChildProcess::hasNoInputAndItsOutputIsDropped()
{
    // More than fits into any pipe.
    const QString script = QStringLiteral(
        "head -c 300000 /dev/zero; head -c 300000 /dev/zero >&2; cat >\"$0\"; echo end >>\"$0\"");
    QCOMPARE(runScript(script, {m_record}).error, QString());
    QCOMPARE(readFile(m_record), QByteArray("end\n"));
}

void TestChildProcess::outputIsForwarded()
{
    Faults::OutputCapture capture;
    const ProgramEnd end = runScript(QStringLiteral("cat; echo output; echo errors >&2"), {},
                                     longTimeout, ProgramOutput::Forwarded);
    capture.end();
    QCOMPARE(end.exitStatus, 0);
    QCOMPARE(capture.output(), QByteArray("output\n"));
    QCOMPARE(capture.errors(), QByteArray("errors\n"));
}

void TestChildProcess::brokenPipesEndItAsUsual()
{
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    const QString script = QStringLiteral("kill -PIPE $$; echo alive >\"$0\"");
    const ProgramEnd end = runScript(script, {m_record});
    std::signal(SIGPIPE, previous);
    QCOMPARE(end.error, QString());
    QCOMPARE(end.exitStatus, -1);
    QVERIFY(!QFile::exists(m_record));
}

void TestChildProcess::leadsAGroupOfItsOwn()
{
    // Behind pid, name, state and parent.
    const QString script = QStringLiteral(
        "read -r pid _ _ _ group _ </proc/$$/stat; echo $((pid == group)) >\"$0\"");
    QCOMPARE(runScript(script, {m_record}).error, QString());
    QCOMPARE(readFile(m_record), QByteArray("1\n"));
}

void TestChildProcess::programThatCannotBeStartedIsNamedAsQProcessDoes_data()
{
    QTest::addColumn<QString>("program");
    QTest::newRow("missing, in PATH") << QStringLiteral("no-such-program-anywhere");
    QTest::newRow("missing") << QStringLiteral("/no/such/program");
    QTest::newRow("not executable") << QStringLiteral("/etc/passwd");
    QTest::newRow("a directory") << QStringLiteral("/etc");
    QTest::newRow("in no directory") << QStringLiteral("/etc/passwd/program");
}

void TestChildProcess::programThatCannotBeStartedIsNamedAsQProcessDoes()
{
    QFETCH(QString, program);
    QProcess process;
    process.start(program, QStringList());
    QVERIFY(!process.waitForStarted());
    QVERIFY(!process.errorString().isEmpty());
    const ProgramEnd end = runProgram(program, {}, longTimeout, ProgramOutput::Dropped);
    QCOMPARE(end.error, process.errorString());
    QCOMPARE(end.exitStatus, -1);
    QCOMPARE(Processes::childStates(), QByteArray());
}

void TestChildProcess::doesNotWaitForWhatItLeavesBehind()
{
    // The one left behind ends when the test has seen that nobody waited for it.
    const QString release = m_directory->filePath(QStringLiteral("release"));
    const QString script
        = QStringLiteral("(until [ -e \"$1\" ]; do sleep 0.01; done; echo ended >\"$0\") & exit 0");
    QCOMPARE(runScript(script, {m_record, release}).error, QString());
    QVERIFY(!QFile::exists(m_record));
    QFile file(release);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QTRY_COMPARE(readFile(m_record), QByteArray("ended\n"));
}

void TestChildProcess::endsWithItsGroupWhenItTakesTooLong_data()
{
    QTest::addColumn<QString>("work");
    QTest::newRow("asleep") << QStringLiteral("exec sleep infinity");
    QTest::newRow("writing into a pipe that nobody reads") << QStringLiteral("exec cat /dev/zero");
}

void TestChildProcess::endsWithItsGroupWhenItTakesTooLong()
{
    QFETCH(QString, work);
    int unread[2] = {-1, -1};
    QCOMPARE(pipe2(unread, O_CLOEXEC), 0);
    const int savedOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(unread[1], STDOUT_FILENO);
    // They write their pids before they could be killed at the very latest.
    const QString script = QStringLiteral("trap '' TERM HUP INT; echo $$ >\"$0\"; (") + work
        + QStringLiteral(") & echo $! >>\"$0\"; ") + work;
    QElapsedTimer clock;
    clock.start();
    const ProgramEnd end = runScript(script, {m_record}, 1000, ProgramOutput::Forwarded);
    const qint64 time = clock.elapsed();
    dup2(savedOutput, STDOUT_FILENO);
    close(savedOutput);
    close(unread[0]);
    close(unread[1]);

    QCOMPARE(end.error, Faults::timedOut());
    QCOMPARE(end.exitStatus, -1);
    QVERIFY2(time >= 1000 && time < 20000, QByteArray::number(time).constData());
    const QList<pid_t> pids = Processes::pids(readFile(m_record));
    QCOMPARE(pids.size(), 2);
    for (const pid_t pid : pids) {
        QTRY_VERIFY2(pid > 1 && !Processes::runs(pid), readFile(m_record).constData());
    }
    QCOMPARE(Processes::childStates(), QByteArray());
}

void TestChildProcess::signalThatEndsItEndsItsGroup()
{
    const QString script
        = QStringLiteral("trap '' TERM; sleep infinity & echo $! >\"$0\"; kill -KILL $$");
    const ProgramEnd end = runScript(script, {m_record});
    QCOMPARE(end.error, QString());
    QCOMPARE(end.exitStatus, -1);
    const QList<pid_t> pids = Processes::pids(readFile(m_record));
    QCOMPARE(pids.size(), 1);
    QTRY_VERIFY(pids.first() > 1 && !Processes::runs(pids.first()));
}

void TestChildProcess::waitsForAStartedProgramWithoutCollectingIt()
{
    const QString release = m_directory->filePath(QStringLiteral("release"));
    QString error;
    const pid_t pid = startProgram(
        shell,
        {QStringLiteral("-c"), QStringLiteral("until [ -e \"$0\" ]; do sleep 0.01; done; exit 5"),
         release},
        ProgramOutput::Dropped, &error);
    QVERIFY(pid > 1);
    QCOMPARE(error, QString());
    QVERIFY(!waitForEnd(pid, 0));
    QVERIFY(!waitForEnd(pid, 50));
    QFile file(release);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(waitForEnd(pid, longTimeout));
    QVERIFY(waitForEnd(pid, 0));
    int status = 0;
    QCOMPARE(waitpid(pid, &status, WNOHANG), pid);
    QCOMPARE(WEXITSTATUS(status), 5);
    // Nobody's child is not waited for.
    QVERIFY(waitForEnd(pid, longTimeout));
}

QTEST_GUILESS_MAIN(TestChildProcess)
#include "tst_childprocess.moc"
