// loggerctl and what happens on the bus: level changes that it follows, a service that is absent,
// hangs, dies or comes back, a user without rights, no bus.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/terminal.h"
#include "support/users.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <csignal>

namespace {

const QStringList watch {"loggerctl"_s, "watch"_s};

/// Changes the level of qvxsipua until @p watcher says so: it needs a moment before it listens.
bool waitForAnnouncement(RunningProgram &watcher, const QString &level)
{
    return QTest::qWaitFor(
        [&] {
            Phone::text("level"_s, {"qvxsipua"_s, level});
            return QTest::qWaitFor([&] { return !watcher.output().isEmpty(); }, 500);
        },
        20000);
}

/// The one line of @p outcome when a request got no answer; otherwise what came instead.
QByteArray whyNoAnswer(const Outcome &outcome)
{
    const bool isOneLine = outcome.errors.indexOf('\n') == outcome.errors.size() - 1;
    return outcome.status == 3 && outcome.output.isEmpty() && isOneLine
        ? outcome.errors
        : "status " + QByteArray::number(outcome.status) + ": " + outcome.output + outcome.errors;
}

/// What is printed when @p module does not run.
QByteArray notOnTheBus(const QByteArray &module)
{
    return "loggerctl: " + module + " is not on the bus: is it running? Start it and try again\n";
}

} // namespace

class tst_ConsoleBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void watchPrints();
    void watchIntoAFullDevice();
    void watchOnATerminal();
    void watchSeesRedirections();

    // From here on the test has a service of its own, or none.
    void watchFollowsTheService();
    void serviceAbsent();
    void settingsServiceAbsent();
    void noBus();
    void userWithoutRights();
    void serviceThatHangs();
    void waitThatIsGivenUp_data();
    void waitThatIsGivenUp();
    void serviceThatDies();
};

void tst_ConsoleBus::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleBus::init()
{
    Phone::resetConfiguration();
}

void tst_ConsoleBus::watchPrints()
{
    RunningProgram watcher(watch);
    QVERIFY(waitForAnnouncement(watcher, "debug"_s));
    QVERIFY(watcher.waitForOutput(" qvxsipua debug\n"));
    Phone::text("level"_s, {"all"_s, "init"_s});
    QVERIFY(watcher.waitForOutput(" all err\n"));
    QCOMPARE(watcher.errors(), QByteArray());
    QCOMPARE(watcher.endBy(SIGINT), 0);

    RunningProgram inJson(watch + QStringList {"--json"_s});
    QVERIFY(waitForAnnouncement(inJson, "notice"_s));
    QCOMPARE(inJson.endBy(SIGTERM), 0);
    QJsonObject change = json(inJson.output().split('\n').first()).object();
    QVERIFY(QDateTime::fromString(change.take("time"_s).toString(), Qt::ISODateWithMs).isValid());
    QCOMPARE(
        change,
        (QJsonObject {{"activity"_s, "qvxsipua"_s}, {"level"_s, "notice"_s}, {"number"_s, 5}}));
}

void tst_ConsoleBus::watchIntoAFullDevice()
{
    RunningProgram watcher({"sh"_s, "-c"_s, "exec loggerctl watch >/dev/full"_s});
    int status = -1;
    QVERIFY(QTest::qWaitFor(
        [&] {
            Phone::text("level"_s, {"qvxsipua"_s, "debug"_s});
            status = watcher.waitForEnd(200);
            return status >= 0;
        },
        20000));
    QCOMPARE(status, 1);
    QCOMPARE(watcher.errors(),
             QByteArray("loggerctl: the answer cannot be written: No space left on device\n"));
}

void tst_ConsoleBus::watchOnATerminal()
{
    Terminal terminal({"loggerctl", "watch"});
    QVERIFY(terminal.waitFor("watching for level changes; Ctrl-C ends it"));
    Phone::text("level"_s, {"qvxsipua"_s, "warning"_s});
    QVERIFY(terminal.waitFor("qvxsipua \033[33mwarning\033[0m"));
    terminal.type("\003");
    QCOMPARE(terminal.waitForEnd(), 0);
}

void tst_ConsoleBus::watchSeesRedirections()
{
    Terminal terminal({"loggerctl", "watch", "--since-start"});
    QVERIFY(terminal.waitFor("Ctrl-C ends it"));
    Phone::text("redirect"_s, {"qvxsipua"_s, "udp"_s, "10.1.2.3"_s, 514});
    QVERIFY(terminal.waitFor(" qvxsipua -> udp 10.1.2.3 port(514)"));
    // One that a level change brings along, with the backup.
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    Phone::text("level"_s, {"qvxsipua"_s, "info"_s});
    QVERIFY(terminal.waitFor(" qvxsipua -> /var/log/qvxsipua.log"));
    terminal.type("\003");
    QCOMPARE(terminal.waitForEnd(), 0);
    static const QRegularExpression times("^[0-9]+\\.[0-9]{3} qvxsipua -> "_s,
                                          QRegularExpression::MultilineOption);
    QVERIFY2(times.match(QString::fromUtf8(terminal.output())).hasMatch(),
             terminal.output().constData());
}

void tst_ConsoleBus::watchFollowsTheService()
{
    RunningProgram watcher(watch);
    {
        const Phone::Service service;
        QVERIFY(waitForAnnouncement(watcher, "info"_s));
    }
    QVERIFY(watcher.waitForErrors("loggerctl: LoggerModule left the bus; waiting for it\n"));
    RunningProgram early(watch);
    QVERIFY(early.waitForErrors("loggerctl: LoggerModule is not on the bus; waiting for it\n"));
    const Phone::Service service;
    for (RunningProgram *const each : {&watcher, &early}) {
        QVERIFY(each->waitForErrors("loggerctl: LoggerModule is on the bus again\n"));
    }
    Phone::text("level"_s, {"all"_s, "debug"_s});
    for (RunningProgram *const each : {&watcher, &early}) {
        QVERIFY(each->waitForOutput(" all debug\n"));
        QCOMPARE(each->endBy(SIGINT), 0);
    }
}

void tst_ConsoleBus::serviceAbsent()
{
    Phone::stopBootedService();
    for (const char *const line :
         {"level", "level qvxsipua debug", "levels get", "redirect", "delete", "archive",
          "defence 1 read", "comment a b", "logRemoteServer true"}) {
        QCOMPARE(whyNoAnswer(console(line)), notOnTheBus("LoggerModule"));
    }
    const Outcome inJson = console("--json redirect");
    QCOMPARE(inJson.status, 3);
    QCOMPARE(json(inJson.output).object().value("ok"_s), QJsonValue(false));
    QVERIFY(notOnTheBus("LoggerModule")
                .contains(json(inJson.output).object().value("problem"_s).toString().toUtf8()));
    QCOMPARE(console("level --help").status, 0);
    QCOMPARE(console("remote").status, 0);
}

void tst_ConsoleBus::settingsServiceAbsent()
{
    Phone::stopBooted("SettingsManager"_s);
    QCOMPARE(whyNoAnswer(console("remote")), notOnTheBus("SettingsManager"));
}

void tst_ConsoleBus::noBus()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, "unix:path=/nonexistent"_s);
    for (const char *const line : {"level", "watch", "remote"}) {
        QCOMPARE(whyNoAnswer(console(line, environment)),
                 QByteArray("loggerctl: no connection to the system bus: is the message bus "
                            "running?\n"));
    }
}

void tst_ConsoleBus::userWithoutRights()
{
    if (!Users::exist()) {
        return;
    }
    const Phone::Service service;
    const auto asVisitor = [](const QString &words) {
        return runProgram(Users::asVisitor({"loggerctl"_s, words}));
    };
    QVERIFY(whyNoAnswer(asVisitor("level"_s))
                .startsWith("loggerctl: the bus does not let this user call LoggerModule: "));
    QCOMPARE(asVisitor("--help"_s).status, 0);
    QCOMPARE(whyNoAnswer(asVisitor("watch"_s)), whyNoAnswer(asVisitor("level"_s)));
}

void tst_ConsoleBus::serviceThatHangs()
{
    const Phone::Service service;
    const auto pid = static_cast<pid_t>(service.pid());
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    const Outcome outcome = console("--timeout 1 level");
    Terminal terminal({"loggerctl", "--timeout", "3", "archive"});
    const int status = terminal.waitForEnd();
    QCOMPARE(::kill(pid, SIGCONT), 0);
    QVERIFY(whyNoAnswer(outcome).startsWith("loggerctl: no answer from LoggerModule within 1 s: "));
    QCOMPARE(status, 3);
    QVERIFY2(terminal.output().contains("\rpacking: 1 s, "), terminal.output().constData());
    QVERIFY(terminal.output().contains("within 3 s"));
    QCOMPARE(console("level").status, 0);
}

void tst_ConsoleBus::waitThatIsGivenUp_data()
{
    QTest::addColumn<QByteArray>("word");
    QTest::newRow("level") << QByteArray("level");
    QTest::newRow("log") << QByteArray("log");
    QTest::newRow("log -f") << QByteArray("log -f");
    QTest::newRow("trace") << QByteArray("trace");
}

void tst_ConsoleBus::waitThatIsGivenUp()
{
    QFETCH(QByteArray, word);
    const Phone::Service service;
    const auto pid = static_cast<pid_t>(service.pid());
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    Terminal terminal(QByteArrayList {"loggerctl"} + word.split(' ') + QByteArrayList {"qvxsipua"});
    const bool waits = terminal.waitFor("waiting for the answer");
    QElapsedTimer time;
    time.start();
    terminal.type("\003");
    terminal.waitForEnd();
    QCOMPARE(::kill(pid, SIGCONT), 0);
    QVERIFY(waits);
    QVERIFY2(!time.hasExpired(25000), "Ctrl-C did not end it");
}

void tst_ConsoleBus::serviceThatDies()
{
    Phone::Service service;
    const auto pid = static_cast<pid_t>(service.pid());
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    Terminal terminal({"loggerctl", "level"});
    // It says so when it has been waiting for a while.
    QVERIFY(terminal.waitFor("waiting for the answer"));
    QCOMPARE(::kill(pid, SIGKILL), 0);
    QCOMPARE(terminal.waitForEnd(), 3);
    QVERIFY2(terminal.output().contains("LoggerModule left the bus before it answered"),
             terminal.output().constData());
    QCOMPARE(service.waitForEnd(), -1);
}

QTEST_GUILESS_MAIN(tst_ConsoleBus)
#include "tst_consolebus.moc"
