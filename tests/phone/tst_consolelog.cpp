// loggerctl log: the newest lines of an activity's log, and those that come, wherever the log goes.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/places.h"
#include "support/terminal.h"
#include "support/users.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <csignal>

namespace {

const QString log = QStringLiteral("/var/log/qvxsipua.log");

/// Sends messages of qvxsipua until one is printed by @p follower: a reload of the daemon goes on
/// for a moment after the answer. @return whether one was
bool arrives(RunningProgram &follower, const QByteArray &text)
{
    return QTest::qWaitFor(
        [&] {
            Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, QString::fromUtf8(text));
            return QTest::qWaitFor([&] { return follower.output().contains(text); }, 300);
        },
        20000);
}

RunningProgram *following(QStringList words = {})
{
    return new RunningProgram(QStringList {"loggerctl"_s, "log"_s, "qvxsipua"_s, "-f"_s} + words);
}

} // namespace

class tst_ConsoleLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void newestLines_data();
    void newestLines();
    void inJson();
    void anyByte();
    void notYetLogged();
    void otherPlaces_data();
    void otherPlaces();
    void unreadable();
    void follows();
    void followsOverDeletion();
    void followsOverRotation();
    void followsOverRedirection();
    void seesARedirectionLate();
    void followsAcrossThePlacesWithoutAFile();
    void losesNothing();
    void onATerminal();
    void readerThatGoesAway();

    // It has a service of its own.
    void asksAgainWhereItGoes();
};

void tst_ConsoleLog::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleLog::init()
{
    QVERIFY(Phone::goHome());
}

void tst_ConsoleLog::newestLines_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("log qvxsipua -n 2") << QByteArray("line 29\nlast one\n");
    QTest::newRow("log QVXSIPUA --lines=1") << QByteArray("last one\n");
    QTest::newRow("log qvxsipua -n 0") << QByteArray();
    QTest::newRow("log qvxsipua -n 2 --grep 'LINE 1'") << QByteArray();
    QTest::newRow("log qvxsipua -n 2 --grep 'line 1'") << QByteArray("line 18\nline 19\n");
    QTest::newRow("log qvxsipua -n 3 --grep last") << QByteArray("last one\n");
}

void tst_ConsoleLog::newestLines()
{
    QByteArray content;
    for (int number = 0; number < 30; ++number) {
        content += "line " + QByteArray::number(number) + '\n';
    }
    Phone::write(log, content + "last one\n");
    const Outcome outcome = console(QTest::currentDataTag());
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.status, 0);
    QTEST(outcome.output, "output");
    QCOMPARE(console("log qvxsipua").output.count('\n'), 10);
}

void tst_ConsoleLog::inJson()
{
    Phone::write(log, "a \"b\"\n\\c\n");
    QCOMPARE(console("--json log qvxsipua").output,
             QByteArray("{\"line\":\"a \\\"b\\\"\"}\n{\"line\":\"\\\\c\"}\n"));
}

void tst_ConsoleLog::anyByte()
{
    Phone::write(log, QByteArray("one\ntwo\0zero \xff\nthree\n", 21));
    QCOMPARE(console("log qvxsipua").output, Phone::read(log));
    QCOMPARE(console("log qvxsipua --grep zero").output.count('\n'), 1);
    QCOMPARE(console("log qvxsipua --color always").output,
             QByteArray("one\ntwo^@zero \xef\xbf\xbd\nthree\n"));
    QVERIFY(console("--json log qvxsipua").output.contains("{\"line\":\"two\\u0000zero "));
}

void tst_ConsoleLog::notYetLogged()
{
    QVERIFY(!QFile::exists("/var/log/WebApp.log"_s) || QFile::remove("/var/log/WebApp.log"_s));
    const Outcome outcome = console("log WebApp");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors,
             QByteArray("loggerctl: WebApp has logged nothing yet: there is no "
                        "/var/log/WebApp.log\n"));
    const Outcome unknown = console("log qvxsipu");
    QCOMPARE(unknown.status, 1);
    QVERIFY(unknown.errors.contains("Did you mean 'qvxsipua'?"));
}

void tst_ConsoleLog::otherPlaces_data()
{
    QTest::addColumn<QByteArray>("place");
    QTest::newRow("udp 10.1.2.3 514") << QByteArray("udp 10.1.2.3 port(514)");
    QTest::newRow("usertty root") << QByteArray("usertty root");
    QTest::newRow("V24") << QByteArray("the serial console, /dev/console");
}

void tst_ConsoleLog::otherPlaces()
{
    QFETCH(QByteArray, place);
    QCOMPARE(console(QByteArray("redirect qvxsipua ") + QTest::currentDataTag()).status, 0);
    const Outcome outcome = console("log qvxsipua");
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors,
             "loggerctl: qvxsipua does not log to a file: its messages go to " + place + '\n');
}

void tst_ConsoleLog::unreadable()
{
    if (!Users::exist()) {
        return;
    }
    QVERIFY(QFile::setPermissions(log, QFile::ReadOwner | QFile::WriteOwner));
    const Outcome outcome = runProgram(Users::asTechnician({"loggerctl"_s, "log"_s, "qvxsipua"_s}));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.errors,
             QByteArray("loggerctl: /var/log/qvxsipua.log cannot be read: this user may not read "
                        "it\n"));
}

void tst_ConsoleLog::follows()
{
    Phone::write(log, "before\n");
    Phone::text("level"_s, {"qvxsipua"_s, "err"_s}); // the daemon opens the new file
    const std::unique_ptr<RunningProgram> follower(following());
    QVERIFY(follower->waitForOutput("before\n"));
    QVERIFY(arrives(*follower, "after"));
    QCOMPARE(follower->endBy(SIGINT), 0);
    QCOMPARE(follower->errors(), QByteArray());

    const std::unique_ptr<RunningProgram> choosy(
        following({"-n"_s, "0"_s, "--grep"_s, "wanted"_s}));
    QVERIFY(arrives(*choosy, "this is wanted"));
    Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, "this is not"_s);
    QVERIFY(arrives(*choosy, "this is wanted, too"));
    QCOMPARE(choosy->endBy(SIGTERM), 0);
    QVERIFY(!choosy->output().contains("this is not"));
    QVERIFY(!choosy->output().contains("after"));
}

void tst_ConsoleLog::followsOverDeletion()
{
    const std::unique_ptr<RunningProgram> follower(following());
    QVERIFY(arrives(*follower, "in the first file"));
    for (int round = 0; round < 3; ++round) {
        QCOMPARE(console("delete").status, 0);
        QVERIFY(arrives(*follower, "after deletion " + QByteArray::number(round)));
    }
    QCOMPARE(follower->endBy(SIGHUP), 0);
}

void tst_ConsoleLog::followsOverRotation()
{
    const std::unique_ptr<RunningProgram> follower(following());
    QVERIFY(arrives(*follower, "in the first file"));
    QVERIFY(QFile::rename(log, log + ".1"_s));
    QVERIFY(arrives(*follower, "in the renamed file"));
    QCOMPARE(::kill(Phone::read(Phone::pidFile).trimmed().toInt(), SIGHUP), 0);
    QVERIFY(QTest::qWaitFor(
        [&] {
            Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, "in the new file"_s);
            return Phone::waitForContent(log, "in the new file", 300);
        },
        20000));
    QVERIFY(follower->waitForOutput("in the new file"));
    QVERIFY(QFile::remove(log + ".1"_s));
}

void tst_ConsoleLog::followsOverRedirection()
{
    Phone::write("/var/log/elsewhere.log"_s, "an old line of another log\n");
    const std::unique_ptr<RunningProgram> follower(following());
    QVERIFY(arrives(*follower, "at home"));
    QCOMPARE(console("redirect qvxsipua ram elsewhere").status, 0);
    QVERIFY(follower->waitForErrors("loggerctl: qvxsipua goes to /var/log/elsewhere.log now\n"));
    QVERIFY(arrives(*follower, "elsewhere"));
    QCOMPARE(console("redirect qvxsipua flash new").status, 0);
    QVERIFY(arrives(*follower, "in flash"));
    QVERIFY(!follower->output().contains("an old line of another log"));
    // All that came to the files since then was printed.
    const QByteArray printed = follower->output();
    for (const char *const path : {"/var/log/elsewhere.log", "/log/flash/new.log"}) {
        const QList<QByteArray> lines = Phone::read(QString::fromLatin1(path)).split('\n');
        for (const QByteArray &line : lines) {
            QVERIFY2(line == "an old line of another log" || printed.contains(line),
                     line.constData());
        }
    }
    QVERIFY(QFile::remove("/var/log/elsewhere.log"_s));
}

void tst_ConsoleLog::seesARedirectionLate()
{
    const std::unique_ptr<RunningProgram> follower(following());
    QVERIFY(arrives(*follower, "at home"));
    follower->send(SIGSTOP);
    const Outcome redirection = console("redirect qvxsipua ram late");
    const bool written = QTest::qWaitFor(
        [] {
            Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, "before it looked"_s);
            return Phone::waitForContent("/var/log/late.log"_s, "before it looked", 300);
        },
        20000);
    follower->send(SIGCONT);
    QCOMPARE(redirection.status, 0);
    QVERIFY(written);
    QVERIFY(follower->waitForOutput("before it looked"));
    QVERIFY(QFile::remove("/var/log/late.log"_s));
}

void tst_ConsoleLog::followsAcrossThePlacesWithoutAFile()
{
    QCOMPARE(console("redirect qvxsipua udp 127.0.0.1 5999").status, 0);
    const std::unique_ptr<RunningProgram> follower(following());
    QVERIFY(follower->waitForErrors("its messages go to udp 127.0.0.1 port(5999)\n"));
    QCOMPARE(console("redirect all init").status, 0);
    QVERIFY(follower->waitForErrors("loggerctl: qvxsipua goes to /var/log/qvxsipua.log now\n"));
    QVERIFY(arrives(*follower, "back in a file"));
    QCOMPARE(console("redirect qvxsipua udp 127.0.0.1 5999").status, 0);
    QVERIFY(follower->waitForErrors(
        "qvxsipua goes to udp 127.0.0.1 port(5999) now; waiting for it to come back to a file\n"));
    QCOMPARE(follower->endBy(SIGINT), 0);
}

void tst_ConsoleLog::losesNothing()
{
    // As fast as 10,000 lines a second and more, into a file that is deleted and made anew.
    constexpr int files = 5;
    constexpr int linesOfEach = 10000;
    const std::unique_ptr<RunningProgram> follower(following({"-n"_s, "0"_s}));
    QVERIFY(arrives(*follower, "listening"));
    QByteArray expected;
    for (int number = 0; number < files; ++number) {
        QFile file("/var/log/next.log"_s);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        QVERIFY(std::rename("/var/log/next.log", QFile::encodeName(log).constData()) == 0);
        for (int line = 0; line < linesOfEach; ++line) {
            const QByteArray text
                = "line " + QByteArray::number(number) + '.' + QByteArray::number(line) + '\n';
            QCOMPARE(file.write(text), qint64(text.size()));
            expected += text;
        }
        // The next file takes the name when this one is known.
        QVERIFY(follower->waitForOutput("line " + QByteArray::number(number) + '.'));
    }
    QVERIFY(QTest::qWaitFor(
        [&] { return follower->output().count("line ") >= files * linesOfEach; }, 60000));
    const QByteArray printed = follower->output();
    QCOMPARE(printed.mid(printed.indexOf("line ")), expected);
}

void tst_ConsoleLog::onATerminal()
{
    Phone::write(log, "\033[2Jcleared\n");
    Terminal terminal({"loggerctl", "log", "qvxsipua", "-f"});
    QVERIFY(terminal.waitFor("^[[2Jcleared\r\n"));
    terminal.type("\003");
    QCOMPARE(terminal.waitForEnd(), 0);
    QVERIFY(!terminal.output().contains('\033'));
}

void tst_ConsoleLog::readerThatGoesAway()
{
    const std::unique_ptr<RunningProgram> pipe(new RunningProgram(
        {"bash"_s, "-c"_s, "loggerctl log qvxsipua -f | head -n 1; echo ended"_s}));
    QVERIFY(QTest::qWaitFor(
        [&] {
            Phone::logMessage("qvxsipua"_s, "local3"_s, "err"_s, "more"_s);
            return QTest::qWaitFor([&] { return pipe->output().contains("ended\n"); }, 300);
        },
        20000));
}

void tst_ConsoleLog::asksAgainWhereItGoes()
{
    const Phone::Service service;
    const std::unique_ptr<RunningProgram> follower(following({"--timeout"_s, "1"_s}));
    QVERIFY(arrives(*follower, "at home"));
    // The service does not answer when the log moves.
    const auto pid = static_cast<pid_t>(service.pid());
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    Phone::write(
        Phone::liveConfig + ".new"_s,
        Phone::read(Phone::liveConfig).replace("/var/log/qvxsipua.log", "/var/log/moved.log"));
    const bool moved = std::rename(QFile::encodeName(Phone::liveConfig + ".new"_s).constData(),
                                   QFile::encodeName(Phone::liveConfig).constData())
        == 0;
    const Outcome meanwhile = console("--timeout 3 level");
    const bool goesOn = arrives(*follower, "while nobody answers");
    QCOMPARE(::kill(pid, SIGCONT), 0);
    QVERIFY(moved);
    QVERIFY(goesOn);
    QCOMPARE(meanwhile.status, 3);
    QVERIFY(follower->waitForErrors("loggerctl: qvxsipua goes to /var/log/moved.log now\n"));
    QCOMPARE(follower->endBy(SIGINT), 0);
    QCOMPARE(console("redirect all init").status, 0);
}

QTEST_GUILESS_MAIN(tst_ConsoleLog)
#include "tst_consolelog.moc"
