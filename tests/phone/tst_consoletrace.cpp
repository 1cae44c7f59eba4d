// loggerctl trace: a level that is raised for a while and put back, however the trace ends.
// SPDX-License-Identifier: MIT
#include "client/tracenote.h"
#include "support/console.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/terminal.h"
#include "support/users.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

const QString notes = QStringLiteral("/data/QVXApplication/loggerctl/traces/");
const QString begun = QStringLiteral(
    "loggerctl: qvxsipua is at debug for 10 min; then it is err again. Ctrl-C ends it before\n");

QByteArray levelOf(const char *activity)
{
    return console(QByteArray("level ") + activity).output.split(' ').value(1);
}

/// Waits until @p activity is at @p level.
bool isSoonAt(const char *activity, const QByteArray &level)
{
    return QTest::qWaitFor([&] { return levelOf(activity) == level; }, 20000);
}

/// The process that keeps the one trace there is.
pid_t keeper()
{
    const QStringList names = QDir("/proc"_s).entryList(QDir::Dirs);
    for (const QString &name : names) {
        if (Phone::read("/proc/"_s + name + "/comm"_s) == "tracekeeper\n"
            && Processes::runs(name.toInt())) {
            return name.toInt();
        }
    }
    return 0;
}

bool nothingIsLeft()
{
    return QTest::qWaitFor(
        [] { return keeper() == 0 && QDir(notes).entryList(QDir::Files).isEmpty(); }, 20000);
}

/// Kills the one trace that goes on, console and keeper, before one can notice the end of the
/// other.
void killAll(RunningProgram &trace)
{
    trace.send(SIGSTOP);
    const pid_t pid = keeper();
    ::kill(pid, SIGKILL);
    trace.endBy(SIGKILL);
    // A thread of its that ends later holds its note.
    if (!QTest::qWaitFor([pid] { return !Processes::runs(pid) && !isTraced("qvxsipua"_s); },
                         20000)) {
        qFatal("the keeper lives on");
    }
}

RunningProgram *tracing(QStringList words = {"qvxsipua"_s})
{
    return new RunningProgram(QStringList {"loggerctl"_s, "trace"_s} + words);
}

} // namespace

class tst_ConsoleTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void endsBySignal_data();
    void endsBySignal();
    void endsInTime();
    void endsWithTheTerminal();
    void endsWhenTheConsoleIsKilled();
    void outlivesItsKeeper();
    void promiseThatCannotBeKeptYet();
    void outsiderDoesNotHoldIt();
    void showsAndKeepsTheLog();
    void copyOnAFullDisk();
    void secondTrace();
    void levelOfSomebodyElse();
    void refusals();
    void noNote();
    void memberOfTheGroup();

    // From here on each test has a service of its own.
    void outlivesTheService();
    void outlivesThePhone();
};

void tst_ConsoleTrace::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleTrace::init()
{
    Phone::resetConfiguration();
}

void tst_ConsoleTrace::cleanup()
{
    QVERIFY(nothingIsLeft());
}

void tst_ConsoleTrace::endsBySignal_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("Ctrl-C") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void tst_ConsoleTrace::endsBySignal()
{
    QFETCH(int, signal);
    const std::unique_ptr<RunningProgram> trace(tracing());
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    QCOMPARE(levelOf("qvxsipua"), QByteArray("debug"));
    QVERIFY(console("status").output.contains("\ntrace          qvxsipua at debug by root until "));
    QCOMPARE(trace->endBy(signal), 0);
    QVERIFY2(trace->errors().endsWith("loggerctl: qvxsipua is at err again\n"),
             trace->errors().constData());
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

void tst_ConsoleTrace::endsInTime()
{
    QCOMPARE(console("level qvxsipua notice").status, 0);
    const std::unique_ptr<RunningProgram> trace(
        tracing({"QVXSIPUA"_s, "info"_s, "--for"_s, "2s"_s}));
    QVERIFY(
        trace->waitForErrors("loggerctl: qvxsipua is at info for 2 s; then it is notice again."));
    QCOMPARE(levelOf("qvxsipua"), QByteArray("info"));
    QCOMPARE(trace->waitForEnd(), 0);
    QVERIFY2(trace->errors().endsWith("loggerctl: the time is over\n"
                                      "loggerctl: qvxsipua is at notice again\n"),
             trace->errors().constData());
    QCOMPARE(levelOf("qvxsipua"), QByteArray("notice"));
}

void tst_ConsoleTrace::endsWithTheTerminal()
{
    {
        Terminal terminal({"bash", "-c", "loggerctl trace qvxsipua; true"});
        QVERIFY(terminal.waitFor("qvxsipua is at debug for 10 min"));
    } // kills the shell; the kernel hangs up
    QVERIFY(isSoonAt("qvxsipua", "err"));
}

void tst_ConsoleTrace::endsWhenTheConsoleIsKilled()
{
    const std::unique_ptr<RunningProgram> trace(tracing());
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    QCOMPARE(trace->endBy(SIGKILL), -1);
    QVERIFY(isSoonAt("qvxsipua", "err"));
}

void tst_ConsoleTrace::outlivesItsKeeper()
{
    const std::unique_ptr<RunningProgram> trace(tracing());
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    QCOMPARE(::kill(keeper(), SIGKILL), 0);
    QCOMPARE(trace->waitForEnd(), 1);
    QVERIFY2(trace->errors().endsWith("loggerctl: the process that keeps the trace was ended\n"
                                      "loggerctl: a trace of qvxsipua was cut short: its level is "
                                      "err again\n"),
             trace->errors().constData());
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

void tst_ConsoleTrace::promiseThatCannotBeKeptYet()
{
    const std::unique_ptr<RunningProgram> trace(tracing({"qvxsipua"_s, "info"_s}));
    QVERIFY(trace->waitForErrors("qvxsipua is at info"));
    killAll(*trace);
    // Without its level file no level can be set. Another trace does not forget the first.
    const QString levelFile = Phone::facilityFile("qvxsipua"_s);
    QVERIFY(QFile::rename(levelFile, levelFile + ".aside"_s));
    const Outcome second = console("trace qvxsipua");
    QVERIFY(QFile::rename(levelFile + ".aside"_s, levelFile));
    QCOMPARE(second.status, 1);
    QVERIFY2(second.errors.contains("its level could not be put back to err: Not a valid activity")
                 && second.errors.contains("loggerctl: the level was not raised: "),
             second.errors.constData());
    QCOMPARE(console("level").errors,
             QByteArray("loggerctl: a trace of qvxsipua was cut short: its level is err again\n"));
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

void tst_ConsoleTrace::outsiderDoesNotHoldIt()
{
    if (!Users::exist()) {
        return;
    }
    const std::unique_ptr<RunningProgram> trace(tracing());
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    const Outcome holding = runProgram(
        Users::asVisitor({"flock"_s, "-n"_s, "-s"_s, notes + "qvxsipua.json"_s, "true"_s}));
    QVERIFY2(holding.errors.contains("Permission denied"), holding.errors.constData());
    QCOMPARE(trace->endBy(SIGINT), 0);
}

void tst_ConsoleTrace::showsAndKeepsTheLog()
{
    const QTemporaryDir directory;
    const QString copy = directory.filePath("copy.txt"_s);
    Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, "before the trace"_s);
    QVERIFY(Phone::waitForContent("/var/log/qvxsipua.log"_s, "before the trace"));
    const std::unique_ptr<RunningProgram> trace(tracing({"qvxsipua"_s, "-o"_s, copy}));
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    QVERIFY(QTest::qWaitFor(
        [&] {
            Phone::logMessage("qvxsipua"_s, "local3"_s, "debug"_s, "traced"_s);
            return QTest::qWaitFor([&] { return trace->output().contains("traced\n"); }, 300);
        },
        20000));
    QCOMPARE(trace->endBy(SIGINT), 0);
    QVERIFY(!trace->output().contains("before the trace"));
    QCOMPARE(Phone::read(copy), trace->output());
    const Outcome impossible = console("trace qvxsipua -o /nonexistent/x");
    QCOMPARE(impossible.status, 1);
    QVERIFY(impossible.errors.startsWith("loggerctl: /nonexistent/x: "));
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

void tst_ConsoleTrace::copyOnAFullDisk()
{
    QCOMPARE(runProgram({"bash"_s, "-c"_s,
                         "mkdir /tmp/full && mount -t tmpfs -o size=4k none /tmp/full"_s})
                 .status,
             0);
    const std::unique_ptr<RunningProgram> trace(
        tracing({"qvxsipua"_s, "-o"_s, "/tmp/full/copy"_s}));
    const bool hasBegun = trace->waitForErrors(begun.toUtf8());
    const QString message(3000, QLatin1Char('x'));
    const bool told = QTest::qWaitFor(
        [&] {
            Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, message);
            return QTest::qWaitFor(
                [&] {
                    return trace->errors().contains(
                        "loggerctl: /tmp/full/copy: No space left on device\n");
                },
                300);
        },
        20000);
    const int status = trace->waitForEnd();
    runProgram({"bash"_s, "-c"_s, "umount /tmp/full; rmdir /tmp/full"_s});
    QVERIFY(hasBegun);
    QVERIFY2(told, trace->errors().constData());
    QCOMPARE(status, 1);
    QVERIFY(isSoonAt("qvxsipua", "err"));
}

void tst_ConsoleTrace::secondTrace()
{
    const std::unique_ptr<RunningProgram> trace(tracing());
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    const Outcome second = console("trace qvxsipua info");
    QCOMPARE(second.status, 1);
    QVERIFY2(
        second.errors.startsWith("loggerctl: qvxsipua is being traced already by root, at debug "
                                 "until "),
        second.errors.constData());
    QVERIFY(second.errors.endsWith("; then its level is err again\n"));
    const std::unique_ptr<RunningProgram> other(tracing({"sipmmi"_s}));
    QVERIFY(other->waitForErrors("sipmmi is at debug"));
    QCOMPARE(trace->endBy(SIGINT), 0);
    QCOMPARE(levelOf("sipmmi"), QByteArray("debug"));
    QCOMPARE(other->endBy(SIGINT), 0);
    QCOMPARE(levelOf("sipmmi"), QByteArray("err"));
}

void tst_ConsoleTrace::levelOfSomebodyElse()
{
    const std::unique_ptr<RunningProgram> trace(tracing());
    QVERIFY(trace->waitForErrors(begun.toUtf8()));
    QCOMPARE(console("level qvxsipua warning").status, 0);
    QCOMPARE(trace->endBy(SIGINT), 0);
    QVERIFY2(trace->errors().endsWith("loggerctl: qvxsipua was set to warning by somebody else "
                                      "meanwhile, and stays there\n"),
             trace->errors().constData());
    QCOMPARE(levelOf("qvxsipua"), QByteArray("warning"));
}

void tst_ConsoleTrace::refusals()
{
    const Outcome unknown = console("trace qvxsipu");
    QCOMPARE(unknown.status, 1);
    QVERIFY(unknown.errors.contains("Did you mean 'qvxsipua'?"));
    QVERIFY(QFile::remove(Phone::facilityFile("sipmmi"_s)));
    const Outcome lost = console("trace sipmmi");
    QCOMPARE(lost.status, 1);
    QCOMPARE(lost.errors,
             QByteArray("loggerctl: the level was not raised: Not a valid activity : sipmmi\n"
                        "Hint: What is wrong: loggerctl status\n"));
}

void tst_ConsoleTrace::noNote()
{
    // Something stands in the way of the notes: the trace works, and says what it cannot promise.
    const QString directory = notes.chopped(1);
    QVERIFY(QDir().rename(directory, directory + ".aside"_s));
    Phone::write(directory, "no directory");
    const std::unique_ptr<RunningProgram> trace(tracing());
    const bool saidBoth = trace->waitForErrors("loggerctl: no note could be left for the case that "
                                               "the phone is switched off meanwhile: ")
        && trace->waitForErrors(begun.toUtf8());
    const int status = trace->endBy(SIGINT);
    QVERIFY(QFile::remove(directory));
    QVERIFY(QDir().rename(directory + ".aside"_s, directory));
    QVERIFY(saidBoth);
    QCOMPARE(status, 0);
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
    // A note that was not finished, or that says nothing, raised nothing.
    Phone::write(notes + "Telephony.json"_s, "{\"activity\":\"Tele");
    const Outcome next = console("level Telephony");
    QCOMPARE(next.errors, QByteArray());
    QVERIFY(!QFile::exists(notes + "Telephony.json"_s));
}

void tst_ConsoleTrace::memberOfTheGroup()
{
    if (!Users::exist()) {
        return;
    }
    RunningProgram trace(Users::asTechnician({"loggerctl"_s, "trace"_s, "qvxsipua"_s}));
    QVERIFY2(trace.waitForErrors(begun.toUtf8()), trace.errors().constData());
    QVERIFY(console("trace qvxsipua").errors.contains("traced already by technician"));
    // Root ends what a member left behind.
    killAll(trace);
    QVERIFY(console("level").errors.contains("a trace of qvxsipua was cut short"));
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

void tst_ConsoleTrace::outlivesTheService()
{
    std::unique_ptr<RunningProgram> trace;
    {
        Phone::Service service;
        trace.reset(tracing());
        QVERIFY(trace->waitForErrors(begun.toUtf8()));
        QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGKILL), 0);
        QCOMPARE(service.waitForEnd(), -1);
        // It is to end while nobody can put the level back.
        QCOMPARE(::kill(keeper(), SIGTERM), 0);
    }
    const Phone::Service anew;
    QCOMPARE(trace->waitForEnd(), 0);
    QVERIFY2(trace->errors().endsWith("loggerctl: qvxsipua is at err again\n"),
             trace->errors().constData());
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

void tst_ConsoleTrace::outlivesThePhone()
{
    // All processes end at once, as when the power goes; what is in flash stays.
    {
        Phone::Service service;
        const std::unique_ptr<RunningProgram> trace(tracing());
        QVERIFY(trace->waitForErrors(begun.toUtf8()));
        killAll(*trace);
        QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGKILL), 0);
        QCOMPARE(service.waitForEnd(), -1);
    }
    const Phone::Service anew;
    QVERIFY(Phone::text("level"_s).contains("qvxsipua               debug "_s));
    const Outcome status = console("status");
    QCOMPARE(status.status, 0);
    QCOMPARE(status.errors,
             QByteArray("loggerctl: a trace of qvxsipua was cut short: its level is err again\n"));
    QCOMPARE(levelOf("qvxsipua"), QByteArray("err"));
}

QTEST_GUILESS_MAIN(tst_ConsoleTrace)
#include "tst_consoletrace.moc"
