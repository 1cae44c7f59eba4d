// Where loggerctl prints to: JSON, pipes, descriptors that are full or closed, terminals.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/terminal.h"

#include <QJsonArray>
#include <QTest>

namespace {

Outcome shell(const QString &script)
{
    return runProgram({"bash"_s, "-c"_s, script});
}

QJsonObject tableRow(const QString &activity, const QString &level, const QString &support,
                     const QString &destination)
{
    return {{"activity"_s, activity},
            {"level"_s, level},
            {"support"_s, support},
            {"destination"_s, destination}};
}

} // namespace

class tst_ConsoleOutput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void asJson_data();
    void asJson();
    void levelsAsJson();
    void pipes();
    void closedDescriptors();
    void terminalTable();
    void narrowTerminal_data();
    void narrowTerminal();
    void terminalColors_data();
    void terminalColors();
    void terminalIsNotControlled();
};

void tst_ConsoleOutput::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleOutput::init()
{
    Phone::resetConfiguration();
}

void tst_ConsoleOutput::asJson_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QJsonObject>("object");
    const auto row = [](const char *line, const QJsonObject &object) {
        QTest::newRow(line) << QByteArray(line) << object;
    };
    row("level qvxsipua debug",
        {{"ok"_s, true}, {"text"_s, "Level debug for facility : qvxsipua OK"_s}});
    row("level x debug", {{"ok"_s, false}, {"text"_s, "Not a valid activity : x"_s}});
    row("levels reset --no-wait",
        {{"value"_s, "0"_s}, {"msg"_s, "Fast set all log levels to error OK"_s}});
    row("comment qvxsipua x", {{"ok"_s, true}, {"text"_s, "OK"_s}});
    row("logRemoteServerPort 514", {{"ok"_s, true}, {"text"_s, QString()}});
    row("remote",
        {{"LogRemoteServerAddress"_s, "UNDEFINED"_s},
         {"LogRemoteServerExist"_s, "UNDEFINED"_s},
         {"LogRemoteServerPort"_s, "UNDEFINED"_s},
         {"LogRemoteServerProtocol"_s, "UNDEFINED"_s}});
}

void tst_ConsoleOutput::asJson()
{
    QFETCH(QByteArray, line);
    QFETCH(QJsonObject, object);
    const Outcome outcome = console("--json " + line);
    const bool failure = object.value("ok"_s) == QJsonValue(false);
    QCOMPARE(outcome.status, failure ? 1 : 0);
    QCOMPARE(json(outcome.output).object(), object);
    QCOMPARE(outcome.errors.left(6), QByteArray(failure ? "Hint: " : ""));
}

void tst_ConsoleOutput::levelsAsJson()
{
    QCOMPARE(console("redirect qvxsipua udp 10.1.2.3 514").status, 0);
    QCOMPARE(console("level qvxsipua debug").status, 0);
    const QJsonArray rows = json(console("level --json").output).array();
    QCOMPARE(rows.size(), 10);
    QCOMPARE(rows.first().toObject(),
             tableRow("defence"_s, "err"_s, "file"_s, "/log/Defence.log"_s));
    QVERIFY(rows.contains(tableRow("qvxsipua"_s, "debug"_s, "udp"_s, "IP :10.1.2.3 port(514)"_s)));
    QVERIFY(rows.contains(tableRow("Telephony"_s, "err"_s, "file"_s, "/var/log/Telephony.log"_s)));
    QCOMPARE(json(console("redirect --json").output).array(), rows);
    const QJsonObject levels = json(console("levels get --json").output).object();
    QVERIFY(levels.size() >= 6);
    QCOMPARE(levels.value("qvxsipua"_s).toString(), "debug"_s);
}

void tst_ConsoleOutput::pipes()
{
    Outcome outcome
        = shell("set -o pipefail; loggerctl level | head -n 1; loggerctl level | wc -l"_s);
    QCOMPARE(outcome.output, tableHeader + "11\n");
    QCOMPARE(outcome.errors, QByteArray());
    outcome = shell("loggerctl level >/dev/full"_s);
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.startsWith("loggerctl: the answer cannot be written: "),
             outcome.errors.constData());
    outcome = shell("loggerctl level x err 2>/dev/full; echo $?; loggerctl level >&-; echo $?"_s);
    QCOMPARE(outcome.output, QByteArray("1\n1\n"));
    outcome = shell("loggerctl --color=always level all debug | cat; "
                    "loggerctl --color=always level | cat; loggerctl --color=never level | cat"_s);
    QVERIFY(outcome.output.contains("\033[1;35mdebug\033[0m"));
    QVERIFY(outcome.output.contains("SUPPORT  DESTINATION\n"));
    QVERIFY(outcome.output.endsWith(Phone::text("level"_s).toUtf8()));
    outcome = shell("LC_ALL=C loggerctl comment qvxsipua $'\\u00fc'; loggerctl --help | head -n 1; "
                    "loggerctl --version"_s);
    QVERIFY(outcome.output.startsWith("OK\nloggerctl: "));
    QCOMPARE(outcome.errors, QByteArray());
}

void tst_ConsoleOutput::closedDescriptors()
{
    // What the process opens must not take their numbers: the bus would get the answer.
    for (const char *const closed : {">&-", ">&- <&-"}) {
        const Outcome outcome = shell("loggerctl level "_s + QString::fromLatin1(closed));
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.errors,
                 QByteArray("loggerctl: the answer cannot be written: Bad file descriptor\n"));
    }
    Outcome outcome = shell("loggerctl level <&- 2>&-"_s);
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output, Phone::text("level"_s).toUtf8());
    outcome = shell("loggerctl level x err <&- >&- 2>&-; echo $?; loggerctl xyz 2>&-; echo $?"_s);
    QCOMPARE(outcome.output, QByteArray("1\n2\n"));
}

void tst_ConsoleOutput::terminalTable()
{
    QCOMPARE(console("level qvxsipua debug").status, 0);
    QCOMPARE(console("redirect sipmmi file(\"/var/log/" + QByteArray(100, 'd') + ".log\")").status,
             0);
    for (const char *const name : {"level", "redirect"}) {
        Terminal terminal({"loggerctl", name, "--color=never"});
        QCOMPARE(terminal.waitForEnd(), 0);
        const QByteArrayList lines = terminal.output().split('\n');
        QVERIFY(lines.size() >= 12);
        QVERIFY(lines.first().startsWith("ACTIVITY         LEVEL"));
        for (const QByteArray &line : lines) {
            // A word is never broken.
            QVERIFY2(line.size() <= 80 || line.contains(QByteArray(100, 'd')), line.constData());
        }
        QVERIFY(terminal.output().contains("qvxsipua         debug *"));
        QVERIFY(!terminal.output().contains('\033'));
    }
    Terminal wide({"loggerctl", "level"}, 200);
    QCOMPARE(wide.waitForEnd(), 0);
    QVERIFY(wide.output().contains(QByteArray(100, 'd')));
    Terminal failure({"loggerctl", "level", "x", "err"});
    QCOMPARE(failure.waitForEnd(), 1);
    QCOMPARE(failure.output(),
             QByteArray("Not a valid activity : x\n"
                        "Hint: The activities of this phone: loggerctl level\n"));
}

void tst_ConsoleOutput::narrowTerminal_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const char *const line :
         {"--help", "help --all", "redirect --help", "trace --help", "lvel", "redirect a", "status",
          "level", "level qvxsipua debgu", "redirect qvxsipua flash(\"x\")", "archive"}) {
        QTest::newRow(line) << QByteArray(line);
    }
}

void tst_ConsoleOutput::narrowTerminal()
{
    QFETCH(QByteArray, line);
    Terminal terminal(QByteArrayList {"loggerctl"} + line.split(' '), 40);
    QVERIFY(terminal.waitForEnd() >= 0);
    const QByteArrayList lines = terminal.output().split('\n');
    QVERIFY(lines.size() > 1);
    for (const QByteArray &each : lines) {
        // What is wider is one word.
        const QByteArray shown = each.mid(each.lastIndexOf('\r') + 1);
        QVERIFY2(shown.size() <= 40 || !shown.trimmed().contains(' '),
                 terminal.output().constData());
    }
}

void tst_ConsoleOutput::terminalColors_data()
{
    QTest::addColumn<QByteArray>("environment");
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<bool>("colored");
    const auto row = [](const char *environment, const char *option, bool colored) {
        QTest::addRow("%s %s", environment, option)
            << QByteArray(environment) << QByteArray(option) << colored;
    };
    row("TERM=xterm", "--color=auto", true);
    row("TERM=dumb", "--color=auto", false);
    row("NO_COLOR=1", "--color=auto", false);
    row("NO_COLOR=", "--color=auto", true);
    row("TERM=xterm", "--color=never", false);
    row("NO_COLOR=1", "--color=always", true);
}

void tst_ConsoleOutput::terminalColors()
{
    QFETCH(QByteArray, environment);
    QFETCH(QByteArray, option);
    QFETCH(bool, colored);
    QCOMPARE(console("level qvxsipua info").status, 0);
    Terminal terminal({"loggerctl", option, "level"}, 80, {environment});
    QCOMPARE(terminal.waitForEnd(), 0);
    QCOMPARE(terminal.output().contains("\033[1;35minfo\033[0m"), colored);
    QCOMPARE(terminal.output().contains('\033'), colored);
    QCOMPARE(terminal.output().contains("info *"), !colored);
    QVERIFY(terminal.output().contains("sipmmi           err"));
}

void tst_ConsoleOutput::terminalIsNotControlled()
{
    Phone::write("/log/Defence.log"_s,
                 "\033]0;title\007\033[2Jx\xc2\x9b"
                 "1m \" \\\n");
    Terminal log({"loggerctl", "defence", "5", "read"});
    QCOMPARE(log.waitForEnd(), 0);
    QCOMPARE(log.output(), QByteArray("^[]0;title^G^[[2Jx\\u009b1m \" \\\n"));
    Terminal inJson({"loggerctl", "--json", "defence", "5", "read"});
    QCOMPARE(inJson.waitForEnd(), 0);
    QVERIFY(!inJson.output().contains('\033') && !inJson.output().contains("\xc2\x9b"));
    QCOMPARE(json(inJson.output()).object().value("text"_s).toString(),
             Phone::text("defence"_s, {5, "read"_s}));
    for (const QByteArrayList &words : {QByteArrayList {"level", "\033[2J", "err"},
                                        {"\033[2J"},
                                        {"level", "qvxsipua", "\033c"}}) {
        Terminal terminal(QByteArrayList {"loggerctl"} + words);
        QVERIFY(terminal.waitForEnd() > 0);
        QVERIFY(terminal.output().contains("^["));
        QVERIFY(!terminal.output().contains('\033'));
    }
    QVERIFY(console("level \033c err").errors.startsWith("Not a valid activity : \033c\n"));
}

QTEST_GUILESS_MAIN(tst_ConsoleOutput)
#include "tst_consoleoutput.moc"
