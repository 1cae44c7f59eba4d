// Command lines of loggerctl: what unusual ones ask for, what is said to those that cannot be used,
// and the help. What the usual ones ask for is in the test of the console's calls.
// SPDX-License-Identifier: MIT
#include "console/commandline.h"

#include "client/words.h"
#include "console/commands.h"

#include "support/console.h"

#include <QTest>

#include <algorithm>

Q_DECLARE_METATYPE(Operation)

namespace {

CommandLine readLine(const QByteArray &line)
{
    return readCommandLine(QStringList {"loggerctl"_s} + wordsOf(line));
}

bool fitsATerminal(const QString &text)
{
    const QStringList lines = text.split(QLatin1Char('\n'));
    return std::all_of(lines.begin(), lines.end(),
                       [](const QString &line) { return line.size() <= 80; });
}

} // namespace

class tst_ConsoleCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requests_data();
    void requests();
    void refusals_data();
    void refusals();
    void options();
    void help();
    void everySubcommandHasHelp();
    void nearest_data();
    void nearest();
};

void tst_ConsoleCommandLine::requests_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("number");

    const auto row
        = [](const char *line, Operation operation, const QStringList &arguments = {},
             int number = 0) { QTest::newRow(line) << operation << arguments << number; };
    row("level", Operation::ListLevels);
    row("level all", Operation::ListLevels);
    row("level a", Operation::ShowLevel, {"a"_s});
    row("log a", Operation::ReadLog, {"a"_s});
    row("trace a", Operation::Trace, {"a"_s, "debug"_s});
    row("trace a info", Operation::Trace, {"a"_s, "info"_s});
    row("status", Operation::Status);
    row("check", Operation::Check);
    row("factory-reset", Operation::FactoryReset);
    row("level '' 'x y'", Operation::ChangeLevel, {QString(), "x y"_s});
    row("level -- -a --json", Operation::ChangeLevel, {"-a"_s, "--json"_s});
    row("redirect a udp h 0", Operation::RedirectToServer, {"a"_s, "udp"_s, "h"_s}, 0);
    row("levels set a:err b:info", Operation::SetLevels, {"a:err,b:info"_s});
    row("defence 1 anything", Operation::Defence, {"anything"_s}, 1);
    row("defence -- -1 read", Operation::Defence, {"read"_s}, -1);
    row("generateLogsForWeb", Operation::Archive);
    row("deleteTmpLogFiles", Operation::DeleteRamLogs);
    row("comment a 'b  c'", Operation::Comment, {"a"_s, "b  c"_s});
    row("comment a b c", Operation::Comment, {"a"_s, "b c"_s});
    row("logComments a ''", Operation::Comment, {"a"_s, QString()});
}

void tst_ConsoleCommandLine::requests()
{
    const CommandLine line = readLine(QTest::currentDataTag());
    QVERIFY2(line.outcome == CommandLine::Outcome::Ask, qPrintable(line.text));
    QTEST(line.request.operation, "operation");
    QTEST(line.request.words, "arguments");
    QTEST(line.request.number, "number");
    QVERIFY(!line.json);
    QCOMPARE(line.timeout, 120000);
    QCOMPARE(line.color, ColorMode::Auto);
}

void tst_ConsoleCommandLine::refusals_data()
{
    QTest::addColumn<QStringList>("parts");

    const auto row = [](const QByteArray &line, const QStringList &parts) {
        QTest::newRow(line.constData()) << parts;
    };
    row("", {"subcommand is missing"_s, "\n  level  "_s});
    row("lvel", {"log trace redirect"_s});
    row("REDIRECT", {"Did you mean 'redirect'?"_s});
    row("lgo", {"Did you mean 'log'?"_s});
    row("xyzzy",
        {"'xyzzy'.\n"_s, "\nSubcommands: level log trace redirect"_s, " factory-reset help\n"_s});
    row("xyzzy --help", {"'xyzzy'.\n"_s});
    row("help lvel", {"Did you mean 'level'?"_s});
    row("level a b c",
        {"3 arguments"_s, "loggerctl level ACTIVITY LEVEL\n"_s,
         "Example: loggerctl level qvxsipua\n"_s, "loggerctl level --help"_s});
    row("log", {"arguments are missing"_s, "loggerctl log ACTIVITY\n"_s});
    row("log a b", {"2 arguments"_s});
    row("log a -n x", {"lines from 0 to 1000000, not 'x'"_s});
    row("log a -n -1", {"lines from 0 to 1000000, not '-1'"_s});
    row("log a --yes", {"there is no option '--yes'"_s});
    row("trace", {"arguments are missing"_s, "loggerctl trace ACTIVITY LEVEL\n"_s});
    row("trace all", {"one activity is traced at a time"_s});
    row("trace a debgu", {"'debgu' is no level"_s, "Did you mean 'debug'?"_s});
    for (const char *const time : {"0", "-5s", "x", "1.5h", "25h", "m", ""}) {
        row(QByteArray("trace a --for=") + time, {"such as 30s, 10m or 2h, not '"_s});
    }
    row("trace a --for 86401", {"such as 30s, 10m or 2h"_s});
    row("archive -o ''", {"-o takes the name of a file"_s});
    row("level --yse", {"there is no option '--yse'"_s});
    row("delete --yse", {"Did you mean '--yes'?"_s});
    row("redirect a", {"one argument"_s, "ACTIVITY udp|tcp ADDRESS PORT\n"_s});
    row("redirect a udp h syslog",
        {"redirect: the port 'syslog' is not a number from 1 to 65535\nUsage:\n"_s});
    row("redirect a udp h 99999999999", {"'99999999999' is not a number from 1 to 65535"_s});
    row("redirect a b c 1 e", {"5 arguments"_s});
    row("levels", {"get, set and reset"_s, "Example: loggerctl levels get\n"_s});
    row("levels put",
        {"'put' is none of the words get, set and reset\n"_s,
         "loggerctl levels set ACTIVITY:LEVEL...\n"_s});
    row("levels gte", {"'gte' is none of the words get, set and reset"_s, "Did you mean 'get'?"_s});
    row("levels set", {"qvxsipua:debug"_s});
    for (const char *const line : {"levels get x", "levels reset x", "archive x", "watch x",
                                   "remote x", "status x", "check x", "factory-reset x"}) {
        row(line, {"takes no arguments"_s});
    }
    row("setSyslogLevels", {"arguments are missing"_s});
    row("setSyslogLevels a b", {"2 arguments"_s});
    row("defence", {"arguments are missing"_s, "loggerctl defence COUNT read\n"_s});
    row("defence read", {"defence: "_s, "one argument"_s});
    row("defence read 20", {"'read' is not a number"_s});
    row("defence 99999999999 read", {"lines from 0 to 2147483647"_s});
    row("defence -1 read", {"-- before"_s, "loggerctl defence COUNT read\n"_s});
    row("delete flash x", {"2 arguments"_s});
    row("comment a", {"one argument"_s});
    row("logRemoteServer", {"arguments are missing"_s, "true|false"_s});
    row("level --jsn", {"Did you mean '--json'?"_s, "loggerctl level\n"_s});
    row("level -x", {"'-x'"_s});
    row("--color", {"color"_s});
    row("level --color=blue", {"auto, always or never, not 'blue'"_s});
    row("--color=blue level", {"auto, always or never"_s});
    for (const char *const seconds : {"0", "-1", "x", "1.5", "86401", "99999999999", ""}) {
        row(QByteArray("--timeout=") + seconds + " level", {"from 1 to 86400"_s});
    }
}

void tst_ConsoleCommandLine::refusals()
{
    QFETCH(QStringList, parts);
    const CommandLine line = readLine(QTest::currentDataTag());
    QCOMPARE(line.outcome, CommandLine::Outcome::Refuse);
    QVERIFY2(line.text.startsWith("loggerctl: "_s), qPrintable(line.text));
    QVERIFY(line.text.endsWith(QLatin1Char('\n')));
    for (const QString &part : qAsConst(parts)) {
        QVERIFY2(line.text.contains(part), qPrintable(line.text));
    }
}

void tst_ConsoleCommandLine::options()
{
    CommandLine line = readLine("--json --timeout 7 level");
    QCOMPARE(line.outcome, CommandLine::Outcome::Ask);
    QVERIFY(line.json);
    QCOMPARE(line.timeout, 7000);
    line = readLine("level --json a --color never b");
    QCOMPARE(line.outcome, CommandLine::Outcome::Ask);
    QVERIFY(line.json);
    QCOMPARE(line.color, ColorMode::Never);
    QCOMPARE(line.request.words, (QStringList {"a"_s, "b"_s}));
    line = readLine("log a -n 5 -f --grep x");
    QCOMPARE(line.lines, 5);
    QVERIFY(line.follow);
    QCOMPARE(line.grep, "x"_s);
    line = readLine("trace a --for 2h -o f");
    QCOMPARE(line.seconds, 7200);
    QCOMPARE(line.file, "f"_s);
    QCOMPARE(readLine("trace a --for=90").seconds, 90);
    QCOMPARE(readLine("trace a --for=24h").seconds, 86400);
    QCOMPARE(readLine("trace a").seconds, 600);
    QVERIFY(readLine("delete flash -y").yes);
    QVERIFY(readLine("levels reset --no-wait").noWait);
    QVERIFY(readLine("watch --since-start").sinceStart);
    // The later one counts.
    line = readLine("--timeout=7 --color=never level --timeout=86400 --color=always");
    QCOMPARE(line.timeout, 86400000);
    QCOMPARE(line.color, ColorMode::Always);
}

void tst_ConsoleCommandLine::help()
{
    for (const char *const words : {"--help", "-h", "help"}) {
        const CommandLine line = readLine(words);
        QCOMPARE(line.outcome, CommandLine::Outcome::Show);
        QVERIFY(line.text.contains("Usage: loggerctl"_s));
        QVERIFY2(fitsATerminal(line.text), qPrintable(line.text));
        const QStringList everyday = commandNames(false);
        for (const QString &name : everyday) {
            QVERIFY2(line.text.contains("\n  "_s + name + " "_s), qPrintable(name));
        }
        // On two screens, and without the methods' own names.
        QVERIFY(line.text.count(QLatin1Char('\n')) <= 48);
        QVERIFY(!line.text.contains("SyslogLevels"_s));
        for (const char *const option :
             {"--json", "--color WHEN", "--timeout SECONDS", "-h, --help", "--version"}) {
            QVERIFY2(line.text.contains(QLatin1String(option)), option);
        }
    }
    const QString all = readLine("help --all").text;
    const QStringList names = commandNames(true);
    QCOMPARE(names.size(), commandNames(false).size() + 10);
    for (const QString &name : names) {
        QVERIFY2(all.contains("\n  "_s + name + " "_s), qPrintable(name));
    }
    QVERIFY(fitsATerminal(all));
    for (const char *const words : {"--version", "level --version"}) {
        const CommandLine line = readLine(words);
        QCOMPARE(line.outcome, CommandLine::Outcome::Show);
        QVERIFY(line.text.startsWith("loggerctl "_s));
        QCOMPARE(line.text.count(QLatin1Char('.')), 2);
    }
}

void tst_ConsoleCommandLine::everySubcommandHasHelp()
{
    const QStringList names = commandNames(true);
    for (const char *const method :
         {"deleteTmpLogFiles", "level", "redirect", "getSyslogLevels", "setSyslogLevels",
          "resetSyslogLevelsToErr", "generateLogsForWeb", "defence", "logRemoteServer",
          "logRemoteServerProto", "logRemoteServerAddress", "logRemoteServerPort", "logComments"}) {
        QVERIFY2(names.contains(QLatin1String(method)), method);
    }
    for (const QString &name : names) {
        const QByteArray word = name.toUtf8();
        const CommandLine line = readLine(word + " --help");
        QCOMPARE(line.outcome, CommandLine::Outcome::Show);
        QVERIFY(line.text.startsWith("loggerctl "_s + name + ": "_s));
        for (const char *const part : {"\nUsage:\n  loggerctl ", "\nExamples:\n  loggerctl ",
                                       "\nOptions:\n", "--timeout SECONDS"}) {
            QVERIFY2(line.text.contains(QLatin1String(part)), word.constData());
        }
        QVERIFY2(fitsATerminal(line.text), qPrintable(line.text));
        // Wherever the option stands, and whatever else is wrong.
        QCOMPARE(readLine("--help " + word).text, line.text);
        QCOMPARE(readLine("help " + word).text, line.text);
        QCOMPARE(readLine(word + " a -h --color=blue").text, line.text);
    }
}

void tst_ConsoleCommandLine::nearest_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("nearest");
    const auto row = [](const char *word, const char *nearest) {
        QTest::newRow(word) << QString::fromLatin1(word) << QString::fromLatin1(nearest);
    };
    row("debug", "debug");
    row("DEBUG", "debug");
    row("debgu", "debug");
    row("mereg", "emerg");
    row("rer", "err");
    row("deb", "debug");
    row("warn", "warning");
    row("error", "err");
    row("inf", "info");
    row("ibfo", "info");
    row("notive", "notice");
    row("", "");
    row("x", "");
    row("crit", "");
    row("something else", "");
    QTest::newRow("very long") << QString(100000, QLatin1Char('e')) << QString();
}

void tst_ConsoleCommandLine::nearest()
{
    QFETCH(QString, word);
    QTEST(nearestWord(word, levelNames()), "nearest");
}

QTEST_GUILESS_MAIN(tst_ConsoleCommandLine)
#include "tst_consolecommandline.moc"
