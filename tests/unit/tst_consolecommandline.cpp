// Command lines of loggerctl: what they ask for, and what is said to those that cannot be used.
// SPDX-License-Identifier: MIT
#include "console/commandline.h"

#include "console/commands.h"
#include "console/words.h"
#include "levels/levelvocabulary.h"

#include "support/literal.h"

#include <QTest>

Q_DECLARE_METATYPE(Operation)

namespace {

CommandLine readWords(const QStringList &words)
{
    return readCommandLine(QStringList {"loggerctl"_s} + words);
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
    void levelsAreTheService();
};

void tst_ConsoleCommandLine::requests_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("number");

    const auto row = [](const QStringList &words, Operation operation,
                        const QStringList &arguments = {}, int number = 0) {
        QTest::newRow(qPrintable(words.join(QLatin1Char(' '))))
            << words << operation << arguments << number;
    };
    row({"level"_s}, Operation::ListLevels);
    row({"level"_s, "qvxsipua"_s, "debug"_s}, Operation::ChangeLevel, {"qvxsipua"_s, "debug"_s});
    row({"level"_s, "all"_s, "init"_s}, Operation::ChangeLevel, {"all"_s, "init"_s});
    row({"level"_s, QString(), "x y"_s}, Operation::ChangeLevel, {QString(), "x y"_s});
    row({"level"_s, "--"_s, "-a"_s, "--json"_s}, Operation::ChangeLevel, {"-a"_s, "--json"_s});
    row({"redirect"_s}, Operation::ListDestinations);
    row({"redirect"_s, "all"_s, "init"_s}, Operation::Redirect, {"all"_s, "init"_s});
    row({"redirect"_s, "a"_s, "ram"_s, "sip"_s}, Operation::RedirectToSupport,
        {"a"_s, "ram"_s, "sip"_s});
    row({"redirect"_s, "a"_s, "udp"_s, "10.1.2.3"_s, "514"_s}, Operation::RedirectToServer,
        {"a"_s, "udp"_s, "10.1.2.3"_s}, 514);
    row({"redirect"_s, "a"_s, "udp"_s, "h"_s, "0"_s}, Operation::RedirectToServer,
        {"a"_s, "udp"_s, "h"_s}, 0);
    row({"levels"_s, "get"_s}, Operation::GetLevels);
    row({"levels"_s, "reset"_s}, Operation::ResetLevels);
    row({"levels"_s, "set"_s, "a:err"_s}, Operation::SetLevels, {"a:err"_s});
    row({"levels"_s, "set"_s, "a:err"_s, "b:info"_s}, Operation::SetLevels, {"a:err,b:info"_s});
    row({"getSyslogLevels"_s}, Operation::GetLevels);
    row({"setSyslogLevels"_s, "{a:err}"_s}, Operation::SetLevels, {"{a:err}"_s});
    row({"resetSyslogLevelsToErr"_s}, Operation::ResetLevels);
    row({"defence"_s, "20"_s, "read"_s}, Operation::Defence, {"read"_s}, 20);
    row({"defence"_s, "1"_s, "anything"_s}, Operation::Defence, {"anything"_s}, 1);
    row({"defence"_s, "--"_s, "-1"_s, "read"_s}, Operation::Defence, {"read"_s}, -1);
    row({"delete"_s}, Operation::DeleteRamLogs);
    row({"delete"_s, "flash"_s}, Operation::DeleteLogs, {"flash"_s});
    row({"delete"_s, "FLASH"_s}, Operation::DeleteLogs, {"FLASH"_s});
    row({"deleteTmpLogFiles"_s}, Operation::DeleteRamLogs);
    row({"deleteTmpLogFiles"_s, "flash"_s}, Operation::DeleteLogs, {"flash"_s});
    row({"archive"_s}, Operation::Archive);
    row({"generateLogsForWeb"_s}, Operation::Archive);
    row({"comment"_s, "a"_s, "b  c"_s}, Operation::Comment, {"a"_s, "b  c"_s});
    row({"comment"_s, "a"_s, "b"_s, "c"_s}, Operation::Comment, {"a"_s, "b c"_s});
    row({"logComments"_s, "a"_s, QString()}, Operation::Comment, {"a"_s, QString()});
    row({"logRemoteServer"_s, "true"_s}, Operation::RemoteServer, {"true"_s});
    row({"logRemoteServerProto"_s, "udp"_s}, Operation::RemoteProtocol, {"udp"_s});
    row({"logRemoteServerAddress"_s, "h"_s}, Operation::RemoteAddress, {"h"_s});
    row({"logRemoteServerPort"_s, "514"_s}, Operation::RemotePort, {"514"_s});
    row({"watch"_s}, Operation::Watch);
    row({"remote"_s}, Operation::ShowRemote);
}

void tst_ConsoleCommandLine::requests()
{
    QFETCH(QStringList, words);
    const CommandLine line = readWords(words);
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
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("parts");

    const auto row = [](const QStringList &words, const QStringList &parts) {
        QTest::newRow(qPrintable(words.join(QLatin1Char(' ')))) << words << parts;
    };
    row({}, {"subcommand is missing"_s, "Subcommands:\n"_s});
    row({"lvel"_s}, {"'lvel'"_s, "Did you mean 'level'?"_s, "redirect levels defence"_s});
    row({"REDIRECT"_s}, {"Did you mean 'redirect'?"_s});
    row({"set"_s}, {"Did you mean 'setSyslogLevels'?"_s});
    row({"xyzzy"_s},
        {"'xyzzy'.\n"_s, "\nSubcommands: level redirect levels"_s,
         " logRemoteServerPort help\n"_s});
    row({"xyzzy"_s, "--help"_s}, {"'xyzzy'.\n"_s});
    row({"help"_s, "lvel"_s}, {"Did you mean 'level'?"_s});
    row({"level"_s, "qvxsipua"_s},
        {"one argument"_s, "loggerctl level ACTIVITY LEVEL\n"_s,
         "Example: loggerctl level qvxsipua debug\n"_s, "loggerctl level --help"_s});
    row({"level"_s, "a"_s, "b"_s, "c"_s}, {"3 arguments"_s});
    row({"redirect"_s, "a"_s}, {"ACTIVITY udp|tcp ADDRESS PORT\n"_s});
    row({"redirect"_s, "a"_s, "udp"_s, "h"_s, "syslog"_s},
        {"'syslog' is not a number from 1 to 65535"_s});
    row({"redirect"_s, "a"_s, "udp"_s, "h"_s, "99999999999"_s},
        {"'99999999999' is not a number from 1 to 65535"_s});
    row({"redirect"_s, "a"_s, "b"_s, "c"_s, "1"_s, "e"_s}, {"5 arguments"_s});
    row({"levels"_s}, {"get, set and reset"_s, "Example: loggerctl levels get\n"_s});
    row({"levels"_s, "put"_s},
        {"'put' is none of the words get, set and reset\n"_s,
         "loggerctl levels set ACTIVITY:LEVEL...\n"_s});
    row({"levels"_s, "gte"_s},
        {"'gte' is none of the words get, set and reset"_s, "Did you mean 'get'?"_s});
    row({"levels"_s, "set"_s}, {"qvxsipua:debug"_s});
    row({"levels"_s, "get"_s, "x"_s}, {"takes no arguments"_s});
    row({"levels"_s, "reset"_s, "x"_s}, {"takes no arguments"_s});
    row({"setSyslogLevels"_s}, {"arguments are missing"_s});
    row({"setSyslogLevels"_s, "a"_s, "b"_s}, {"2 arguments"_s});
    row({"defence"_s}, {"arguments are missing"_s, "loggerctl defence COUNT read\n"_s});
    row({"defence"_s, "read"_s}, {"one argument"_s});
    row({"defence"_s, "read"_s, "20"_s}, {"'read' is not a number"_s});
    row({"defence"_s, "99999999999"_s, "read"_s}, {"lines from 0 to 2147483647"_s});
    row({"defence"_s, "-1"_s, "read"_s}, {"-- before"_s, "loggerctl defence COUNT read\n"_s});
    row({"delete"_s, "flash"_s, "x"_s}, {"2 arguments"_s});
    row({"archive"_s, "x"_s}, {"takes no arguments"_s});
    row({"comment"_s, "a"_s}, {"one argument"_s});
    row({"logRemoteServer"_s}, {"arguments are missing"_s, "true|false"_s});
    row({"watch"_s, "x"_s}, {"takes no arguments"_s});
    row({"remote"_s, "x"_s}, {"takes no arguments"_s});
    row({"--jsn"_s, "level"_s}, {"'--jsn'"_s, "Did you mean '--json'?"_s});
    row({"level"_s, "--jsn"_s}, {"Did you mean '--json'?"_s, "loggerctl level\n"_s});
    row({"level"_s, "-x"_s}, {"'-x'"_s});
    row({"--color"_s}, {"color"_s});
    row({"level"_s, "--color=blue"_s}, {"auto, always or never, not 'blue'"_s});
    row({"--color=blue"_s, "level"_s}, {"auto, always or never"_s});
    for (const char *const seconds : {"0", "-1", "x", "1.5", "86401", "99999999999", ""}) {
        row({"--timeout="_s + QString::fromLatin1(seconds), "level"_s}, {"from 1 to 86400"_s});
    }
}

void tst_ConsoleCommandLine::refusals()
{
    QFETCH(QStringList, words);
    QFETCH(QStringList, parts);
    const CommandLine line = readWords(words);
    QCOMPARE(line.outcome, CommandLine::Outcome::Refuse);
    QVERIFY2(line.text.startsWith("loggerctl: "_s), qPrintable(line.text));
    QVERIFY(line.text.endsWith(QLatin1Char('\n')));
    for (const QString &part : qAsConst(parts)) {
        QVERIFY2(line.text.contains(part), qPrintable(line.text));
    }
}

void tst_ConsoleCommandLine::options()
{
    CommandLine line = readWords({"--json"_s, "--timeout"_s, "7"_s, "level"_s});
    QCOMPARE(line.outcome, CommandLine::Outcome::Ask);
    QVERIFY(line.json);
    QCOMPARE(line.timeout, 7000);
    line = readWords({"level"_s, "--json"_s, "a"_s, "--color"_s, "never"_s, "b"_s});
    QCOMPARE(line.outcome, CommandLine::Outcome::Ask);
    QVERIFY(line.json);
    QCOMPARE(line.color, ColorMode::Never);
    QCOMPARE(line.request.words, (QStringList {"a"_s, "b"_s}));
    // The later one counts.
    line = readWords(
        {"--timeout=7"_s, "--color=never"_s, "level"_s, "--timeout=86400"_s, "--color=always"_s});
    QCOMPARE(line.timeout, 86400000);
    QCOMPARE(line.color, ColorMode::Always);
}

void tst_ConsoleCommandLine::help()
{
    for (const QStringList &words :
         {QStringList {"--help"_s}, QStringList {"-h"_s}, QStringList {"help"_s}}) {
        const CommandLine line = readWords(words);
        QCOMPARE(line.outcome, CommandLine::Outcome::Show);
        QVERIFY(line.text.contains("Usage: loggerctl"_s));
        const QStringList lines = line.text.split(QLatin1Char('\n'));
        for (const QString &text : lines) {
            QVERIFY2(text.size() <= 80, qPrintable(text));
        }
        const QStringList names = commandNames();
        for (const QString &name : names) {
            QVERIFY2(line.text.contains("\n  "_s + name + " "_s), qPrintable(name));
        }
        for (const char *const option :
             {"--json", "--color WHEN", "--timeout SECONDS", "-h, --help", "--version"}) {
            QVERIFY2(line.text.contains(QLatin1String(option)), option);
        }
    }
    for (const QStringList &words : {QStringList {"--version"_s}, {"level"_s, "--version"_s}}) {
        const CommandLine line = readWords(words);
        QCOMPARE(line.outcome, CommandLine::Outcome::Show);
        QVERIFY(line.text.startsWith("loggerctl "_s));
        QCOMPARE(line.text.count(QLatin1Char('.')), 2);
    }
}

void tst_ConsoleCommandLine::everySubcommandHasHelp()
{
    const QStringList names = commandNames();
    for (const char *const method :
         {"deleteTmpLogFiles", "level", "redirect", "getSyslogLevels", "setSyslogLevels",
          "resetSyslogLevelsToErr", "generateLogsForWeb", "defence", "logRemoteServer",
          "logRemoteServerProto", "logRemoteServerAddress", "logRemoteServerPort", "logComments"}) {
        QVERIFY2(names.contains(QLatin1String(method)), method);
    }
    for (const QString &name : names) {
        const CommandLine line = readWords({name, "--help"_s});
        QCOMPARE(line.outcome, CommandLine::Outcome::Show);
        QVERIFY(line.text.startsWith("loggerctl "_s + name + ": "_s));
        for (const char *const part : {"\nUsage:\n  loggerctl ", "\nExamples:\n  loggerctl ",
                                       "\nOptions:\n", "--timeout SECONDS"}) {
            QVERIFY2(line.text.contains(QLatin1String(part)), qPrintable(name));
        }
        // Wherever the option stands, and whatever else is wrong.
        QCOMPARE(readWords({"--help"_s, name}).text, line.text);
        QCOMPARE(readWords({"help"_s, name}).text, line.text);
        QCOMPARE(readWords({name, "a"_s, "-h"_s, "--color=blue"_s}).text, line.text);
        const QStringList lines = line.text.split(QLatin1Char('\n'));
        for (const QString &text : lines) {
            QVERIFY2(text.size() <= 80, qPrintable(text));
        }
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

void tst_ConsoleCommandLine::levelsAreTheService()
{
    QCOMPARE(levelNames().size(), 6);
    for (int number = -1; number <= 8; ++number) {
        if (isValidLevelNumber(number)) {
            QCOMPARE(levelWord(number), levelToName(number));
            QVERIFY(levelNames().contains(levelWord(number)));
            QCOMPARE(isVerbose(levelWord(number)), number > 3);
        } else {
            QCOMPARE(levelWord(number), QString::number(number));
        }
    }
}

QTEST_GUILESS_MAIN(tst_ConsoleCommandLine)
#include "tst_consolecommandline.moc"
