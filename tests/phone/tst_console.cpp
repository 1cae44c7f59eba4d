// loggerctl at work in a phone: in pipes, on a terminal, with and without a service.
// SPDX-License-Identifier: MIT
#include "support/literal.h"
#include "support/phone.h"
#include "support/terminal.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

constexpr int deadline = 60000; // ms
const QString program = QStringLiteral("/usr/bin/loggerctl");
const QString defenceLog = QStringLiteral("/log/Defence.log");
const QString settingsName = QStringLiteral("com.corvane.Quorvix.SettingsManager");
const QByteArray header = "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n";

struct Outcome
{
    int status = -1; ///< -1 when it did not end by itself in time
    QByteArray output;
    QByteArray errors;
};

Outcome run(const QString &command, const QStringList &arguments,
            const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(command, arguments);
    if (!process.waitForFinished(deadline)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

Outcome console(const QStringList &arguments)
{
    return run(program, arguments);
}

/// The arguments are the words of @p line between blanks.
Outcome console(const char *line)
{
    return console(QString::fromLatin1(line).split(QLatin1Char(' '), Qt::SkipEmptyParts));
}

Outcome shell(const QString &script)
{
    return run("bash"_s, {"-c"_s, script});
}

QJsonDocument json(const QByteArray &text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        qWarning("%s in: %s", qPrintable(error.errorString()), text.constData());
        return {};
    }
    return document;
}

bool isOneLine(const QByteArray &text)
{
    return text.count('\n') == 1 && text.endsWith('\n');
}

/// loggerctl in the background, until the end of scope.
class Watcher
{
public:
    explicit Watcher(const QStringList &options = {})
    {
        m_process.start(program, QStringList {"watch"_s} + options);
        if (!m_process.waitForStarted()) {
            qFatal("cannot start the console");
        }
    }
    ~Watcher()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(Watcher)

    bool waitForLine(const QByteArray &line)
    {
        return QTest::qWaitFor([&] { return read(&m_output, false).contains(line + '\n'); }, 20000);
    }
    bool waitForNote(const QByteArray &part)
    {
        return QTest::qWaitFor([&] { return read(&m_errors, true).contains(part); }, 20000);
    }
    /// Changes the level of qvxsipua until it is announced here: the console needs a moment before
    /// it listens.
    bool waitForAnnouncement(const QString &level)
    {
        return QTest::qWaitFor(
            [&] {
                Phone::text("level"_s, {"qvxsipua"_s, level});
                return QTest::qWaitFor([&] { return !read(&m_output, false).isEmpty(); }, 500);
            },
            20000);
    }
    QByteArray output() { return read(&m_output, false); }
    QByteArray notes() { return read(&m_errors, true); }
    bool isRunning() const { return m_process.state() == QProcess::Running; }
    int endBy(int signal)
    {
        ::kill(static_cast<pid_t>(m_process.processId()), signal);
        return m_process.waitForFinished(20000) && m_process.exitStatus() == QProcess::NormalExit
            ? m_process.exitCode()
            : -1;
    }

private:
    const QByteArray &read(QByteArray *text, bool errors)
    {
        text->append(errors ? m_process.readAllStandardError() : m_process.readAllStandardOutput());
        return *text;
    }

    QProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};

/// What bash offers when @p line has been typed and Tab is pressed; @p wordBreaks as bash has them
/// or without ":" and "=".
QStringList completions(const QString &line, const QString &wordBreaks)
{
    const QString script
        = ". /usr/share/bash-completion/completions/loggerctl\n"
          "COMP_LINE=$1 COMP_POINT=${#1} COMP_TYPE=9 COMP_KEY=9 COMP_WORDBREAKS=$2\n"
          "_loggerctl loggerctl\n"
          "printf '%s\\n' \"${COMPREPLY[@]}\"\n"_s;
    const Outcome outcome = run("bash"_s, {"--norc"_s, "-c"_s, script, "bash"_s, line, wordBreaks});
    if (outcome.status != 0 || !outcome.errors.isEmpty()) {
        return {"error: "_s + QString::fromUtf8(outcome.errors)};
    }
    return QString::fromUtf8(outcome.output).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

const QString usualBreaks = " \t\n\"'@><=;|&(:"_s;

} // namespace

class tst_Console : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void answers_data();
    void answers();
    void tableIsTheService();
    void changesTakeEffect();
    void severalLevels();
    void comments();
    void defence();
    void remoteServer();
    void deletion();
    void archive();

    void asJson_data();
    void asJson();
    void pipes();
    void closedDescriptors();
    void terminalTable();
    void terminalColors_data();
    void terminalColors();
    void terminalIsNotControlled();

    void installed();
    void completion_data();
    void completion();
    void completionInAShell();

    void watchPrints();
    void watchIntoAFullDevice();
    void watchOnATerminal();

    // From here on the test has a service of its own, or none.
    void watchFollowsTheService();
    void serviceAbsent();
    void completionWithoutService();
    void noBus();
    void userWithoutRights();
    void noAnswer();
    void serviceThatDies();
    void settingsServiceAbsent();
};

void tst_Console::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_Console::init()
{
    Phone::resetConfiguration();
}

void tst_Console::answers_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("output"); // whole
    QTest::addColumn<QByteArray>("errors"); // its beginning; nothing at all when it is empty

    const auto row
        = [](const char *line, int status, const QByteArray &output, const QByteArray &errors) {
              QTest::newRow(line) << QString::fromUtf8(line) << status << output << errors;
          };
    const QByteArray done = "[REDIRECT] Activity : qvxsipua redirect to : ";
    row("level qvxsipua debug", 0, "Level debug for facility : qvxsipua OK\n", "");
    row("level all info", 0, "All levels changed to info value \n", "");
    row("level all init", 0, "All levels changed to err value \n", "");
    row("level all restore", 0, "level restore succcess\n", "");
    row("level OK debug", 1, "", "Not a valid activity : OK\nHint: ");
    row("level qvxsipua debgu", 1, "", "[level] level not valid: debgu\nHint: ");
    row("level qvxsipua init", 1, "", "[level] level not valid: init\nHint: ");
    row("redirect qvxsipua ram sip", 0, done + "file(\"/var/log/sip.log\")OK\n", "");
    row("redirect qvxsipua flash sip.log", 0, done + "file(\"/log/flash/sip.log\")OK\n", "");
    row("redirect qvxsipua usertty root", 0, done + "usertty(\"root\")OK\n", "");
    row("redirect qvxsipua udp 10.1.2.3 514", 0, done + "udp(\"10.1.2.3\" port(514))OK\n", "");
    row("redirect qvxsipua V24", 0, done + "V24\n", "");
    row("redirect qvxsipua file(\"/var/log/x.log\")", 0, done + "file(\"/var/log/x.log\")\n", "");
    row("redirect all tcp loghost 601", 0,
        "All facilities redirected to : tcp(\"loghost\" port(601)) OK\n", "");
    row("redirect all ram together", 0,
        "All facilities redirected to : file(\"/var/log/together.log\") OK\n", "");
    row("redirect all V24", 0, "All facilities redirected to : V24 \n", "");
    row("redirect all init", 0, "All facilities redirected to predefined values \n", "");
    row("redirect qvxsipua init", 1, "",
        "Destination not valid --parameter init can only be used with activity all !\nHint: ");
    row("redirect OK V24", 1, "", "not a valid activity : OK\nHint: ");
    row("redirect OK udp 10.1.2.3 514", 1, "", "not a valid facility : OK\nHint: ");
    row("redirect qvxsipua udp 10.1.2.3", 1, "",
        "Not a valid support type -- can be : ram - flash or usertty\nHint: ");
    row("redirect qvxsipua ram ../x", 1, "",
        "Not a valid file name -- character / and ~ are banned\nHint: ");
    row("redirect qvxsipua udp fe80::1 514", 1, "",
        " [REDIRECT] destination parameters not valid: udp(\"fe80::1\" port(514))\nHint: ");
    row("redirect qvxsipua nothing", 1, "", "[REDIRECT] Destination not valid: nothing\nHint: ");
    row("levels reset", 0, "Fast set all log levels to error OK\n", "");
    row("resetSyslogLevelsToErr", 0, "Fast set all log levels to error OK\n", "");
    row("levels set qvxsipua:info sipmmi:debug", 0, "Fast set log levels OK\n", "");
    row("setSyslogLevels {qvxsipua:info}", 0, "Fast set log levels OK\n", "");
    row("levels set qvxsipua-info", 0, "Fast set log levels OK\n",
        "Hint: This will fail: 'qvxsipua-info'.");
    row("comment qvxsipua call failed", 0, "OK\n", "");
    row("defence 2 rad", 1, "",
        "bad input parameter(s) -- use : defence --help command, for more information\nHint: ");
    row("logRemoteServerPort 514", 0, "", "");
    row("logRemoteServerPort syslog", 0, "", "Hint: A port is a number from 1 to 65535; ");

    row("lvel", 2, "",
        "loggerctl: there is no subcommand 'lvel'. Did you mean 'level'?\nSubcommands: level");
    row("level qvxsipua", 2, "", "loggerctl: level: it cannot be used with just one argument\n");
    row("redirect qvxsipua udp 10.1.2.3 syslog", 2, "",
        "loggerctl: redirect: the port 'syslog' is not a number from 1 to 65535\nUsage:\n");
    row("defence read", 2, "", "loggerctl: defence: ");
    row("--jsn level", 2, "", "loggerctl: there is no option '--jsn'. Did you mean '--json'?");
    row("", 2, "", "loggerctl: a subcommand is missing\n");
}

void tst_Console::answers()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, errors);
    const Outcome outcome = console(line.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    QTEST(outcome.status, "status");
    QTEST(outcome.output, "output");
    if (errors.isEmpty()) {
        QCOMPARE(outcome.errors, QByteArray());
    } else {
        QVERIFY2(outcome.errors.startsWith(errors), outcome.errors.constData());
        QVERIFY(outcome.errors.endsWith('\n'));
    }
}

void tst_Console::tableIsTheService()
{
    for (const char *const name : {"level", "redirect"}) {
        const Outcome outcome = console(name);
        QCOMPARE(outcome.status, 0);
        QVERIFY(outcome.output.startsWith(header));
        QCOMPARE(outcome.output, Phone::text(QString::fromLatin1(name)).toUtf8());
        QCOMPARE(outcome.errors, QByteArray());
    }
}

void tst_Console::changesTakeEffect()
{
    QCOMPARE(console("level qvxsipua debug").status, 0);
    QVERIFY(Phone::read(Phone::facilityFile("qvxsipua"_s)).startsWith("7\n"));
    QCOMPARE(console("redirect qvxsipua udp 10.1.2.3 514").status, 0);
    QVERIFY(Phone::read(Phone::liveConfig).contains("udp(\"10.1.2.3\" port(514))"));
    QCOMPARE(console("level all init").status, 0);
    QCOMPARE(console("redirect all init").status, 0);
    QVERIFY(!Phone::read(Phone::liveConfig).contains("udp("));
    QVERIFY(!Phone::read(Phone::liveConfig).contains("level(debug"));
}

void tst_Console::severalLevels()
{
    QCOMPARE(console("levels set qvxsipua:info sipmmi:debug").status, 0);
    QByteArray output;
    QVERIFY(QTest::qWaitFor(
        [&] {
            output = console("levels get").output;
            return output.contains("qvxsipua:info\n") && output.contains("sipmmi:debug\n");
        },
        20000));
    QVERIFY(output.contains("Telephony:err\n"));
    QCOMPARE(console("getSyslogLevels").output, output);
    // What was printed can be given back.
    QString items = QString::fromLatin1(output).trimmed();
    items.replace("debug"_s, "notice"_s).replace(QLatin1Char('\n'), QLatin1Char(','));
    QCOMPARE(console({"setSyslogLevels"_s, items}).output, QByteArray("Fast set log levels OK\n"));
    QVERIFY(QTest::qWaitFor(
        [&] { return console("levels get").output.contains("sipmmi:notice\n"); }, 20000));
}

void tst_Console::comments()
{
    QCOMPARE(console({"comment"_s, "qvxsipua"_s, "call failed at \xc3\xbc 10:32"_s}).status, 0);
    QCOMPARE(console({"logComments"_s, "sipmmi"_s, "--"_s, "-x is no option"_s}).status, 0);
    QVERIFY(Phone::waitForContent("/var/log/qvxsipua.log"_s, "call failed at \xc3\xbc 10:32"));
    QVERIFY(Phone::waitForContent("/var/log/sipmmi.log"_s, "-x is no option"));
}

void tst_Console::defence()
{
    Phone::write(defenceLog, "one\ntwo\n\033[31mthree\033[0m\r\xc2\x9b");
    QCOMPARE(console("defence 0 size").output,
             QByteArray("[DEFENCE] Total messages saved in flash sector:3\n"));
    const Outcome outcome = console("defence 2 read");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output, Phone::text("defence"_s, {2, "read"_s}).toUtf8());
    QVERIFY(outcome.output.startsWith("two\n\033[31mthree\033[0m"));
    QCOMPARE(console("defence 0 read").output, QByteArray());
    QCOMPARE(console("defence 0 read").status, 0);
    QCOMPARE(console("defence -- -1 read").status, 0);
    QCOMPARE(console("defence 1 delete").output, QByteArray("[DEFENCE] delete 1 lines OK\n"));
    QCOMPARE(Phone::read(defenceLog), QByteArray("one\ntwo\n"));
    // A log that says what a failure says.
    Phone::write(defenceLog, "[DEFENCE] impossible to open in read/write mode/log/Defence.log\n");
    QCOMPARE(console("defence 1 read").status, 0);
    QVERIFY(QFile::remove(defenceLog));
    QVERIFY(QDir().mkdir(defenceLog));
    const Outcome impossible = console("defence 1 read");
    QVERIFY(QDir().rmdir(defenceLog));
    QCOMPARE(impossible.status, 1);
    QCOMPARE(impossible.output, QByteArray());
    QCOMPARE(impossible.errors,
             QByteArray("[DEFENCE] impossible to open in read/write mode/log/Defence.log\n"));
}

void tst_Console::remoteServer()
{
    const Outcome settings = console("remote");
    QCOMPARE(settings.status, 0);
    QCOMPARE(settings.output,
             QByteArray("LogRemoteServerAddress=UNDEFINED\nLogRemoteServerExist=UNDEFINED\n"
                        "LogRemoteServerPort=UNDEFINED\nLogRemoteServerProtocol=UNDEFINED\n"));
    for (const char *const line : {"logRemoteServerProto tcp", "logRemoteServerAddress 10.9.8.7",
                                   "logRemoteServerPort 1514", "logRemoteServer true"}) {
        const Outcome outcome = console(line);
        QVERIFY2(outcome.status == 0 && outcome.output.isEmpty() && outcome.errors.isEmpty(), line);
    }
    const QByteArray table = console("redirect").output;
    QCOMPARE(table.count("IP :10.9.8.7 port(1514)"), table.count('\n') - 1);
    QCOMPARE(console("logRemoteServer false").status, 0);
    QVERIFY(!console("redirect").output.contains("IP :"));
}

void tst_Console::deletion()
{
    const QString file = "/var/log/console.log"_s;
    const QString inFlash = "/log/flash/console.log"_s;
    Phone::write(file, "x");
    Phone::write(inFlash, "x");
    Outcome outcome = console("delete");
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.output, QByteArray("All logs files removed in /var/log/ directory.\n"));
    QCOMPARE(outcome.status, 0);
    QVERIFY(!QFile::exists(file));
    QVERIFY(QFile::exists(inFlash));
    outcome = console("deleteTmpLogFiles flash");
    QCOMPARE(outcome.output,
             QByteArray("All logs files removed in /var/log/ and /log/flash/ directories.\n"));
    QCOMPARE(outcome.status, 0);
    QVERIFY(!QFile::exists(inFlash));
    outcome = console("delete FLASH");
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY(outcome.errors.startsWith("Wrong parameter in deleteTmpLogFileWithParameter\nHint: "));
    QCOMPARE(outcome.status, 1);
}

void tst_Console::archive()
{
    const QString archive = "/var/volatile/tmp/all_logs.tar.gz"_s;
    Phone::write("/data/core/console.core"_s, "core");
    Outcome outcome;
    // A log that grows meanwhile makes it fail.
    QVERIFY(QTest::qWaitFor(
        [&] {
            outcome = console("archive");
            return outcome.status == 0;
        },
        60000));
    QCOMPARE(outcome.output, QByteArray("Generate logs successfully\n"));
    QVERIFY(run("tar"_s, {"-tzf"_s, archive}).output.contains("data/core/console.core\n"));
    QVERIFY(QFile::rename("/data/core"_s, "/data/core.aside"_s));
    outcome = console("generateLogsForWeb");
    const Outcome inJson = console("archive --json");
    QVERIFY(QFile::rename("/data/core.aside"_s, "/data/core"_s));
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY(outcome.errors.startsWith("Error on exit\nHint: "));
    QCOMPARE(inJson.status, 1);
    QCOMPARE(json(inJson.output).object(),
             (QJsonObject {{"value"_s, "1"_s}, {"msg"_s, "Error on exit"_s}}));
}

void tst_Console::asJson_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("status");
    QTest::addColumn<QJsonObject>("object");
    const auto row = [](const char *line, int status, const QJsonObject &object) {
        QTest::newRow(line) << QString::fromLatin1(line) << status << object;
    };
    row("level qvxsipua debug", 0,
        {{"ok"_s, true}, {"text"_s, "Level debug for facility : qvxsipua OK"_s}});
    row("level x debug", 1, {{"ok"_s, false}, {"text"_s, "Not a valid activity : x"_s}});
    row("levels reset", 0,
        {{"value"_s, "0"_s}, {"msg"_s, "Fast set all log levels to error OK"_s}});
    row("comment qvxsipua x", 0, {{"ok"_s, true}, {"text"_s, "OK"_s}});
    row("logRemoteServerPort 514", 0, {{"ok"_s, true}, {"text"_s, QString()}});
    row("remote", 0,
        {{"LogRemoteServerAddress"_s, "UNDEFINED"_s},
         {"LogRemoteServerExist"_s, "UNDEFINED"_s},
         {"LogRemoteServerPort"_s, "UNDEFINED"_s},
         {"LogRemoteServerProtocol"_s, "UNDEFINED"_s}});
}

void tst_Console::asJson()
{
    QFETCH(QString, line);
    const Outcome outcome
        = console(QStringList {"--json"_s} + line.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    QTEST(outcome.status, "status");
    QTEST(json(outcome.output).object(), "object");

    const QJsonArray rows = json(console("level --json").output).array();
    QCOMPARE(rows.size(), 10);
    for (const QJsonValue &value : rows) {
        const QJsonObject object = value.toObject();
        QCOMPARE(object.keys(),
                 (QStringList {"activity"_s, "destination"_s, "level"_s, "support"_s}));
        const QString activity = object.value("activity"_s).toString();
        QCOMPARE(object.value("destination"_s).toString(),
                 activity == "defence"_s ? defenceLog
                                         : QString("/var/log/"_s + activity + ".log"_s));
    }
    QCOMPARE(json(console("redirect --json").output).array(), rows);
    const QJsonObject levels = json(console("levels get --json").output).object();
    QVERIFY(levels.size() >= 6);
    QVERIFY(levels.contains("qvxsipua"_s));
}

void tst_Console::pipes()
{
    Outcome outcome
        = shell("set -o pipefail; loggerctl level | head -n 1; loggerctl level | wc -l"_s);
    QCOMPARE(outcome.output, header + "11\n");
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

void tst_Console::closedDescriptors()
{
    // What the process opens must not take their numbers: the bus would get the answer.
    const QByteArray complaint = "loggerctl: the answer cannot be written: Bad file descriptor\n";
    for (const char *const closed : {">&-", ">&- <&-"}) {
        const Outcome outcome = shell("loggerctl level "_s + QString::fromLatin1(closed));
        QCOMPARE(outcome.status, 1);
        QCOMPARE(outcome.errors, complaint);
    }
    Outcome outcome = shell("loggerctl level <&- 2>&-"_s);
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output, Phone::text("level"_s).toUtf8());
    outcome = shell("loggerctl level x err <&- >&- 2>&-; echo $?; loggerctl xyz 2>&-; echo $?"_s);
    QCOMPARE(outcome.output, QByteArray("1\n2\n"));
}

void tst_Console::terminalTable()
{
    QCOMPARE(console("level qvxsipua debug").status, 0);
    QCOMPARE(console({"redirect"_s, "sipmmi"_s,
                      "file(\"/var/log/"_s + QString(100, QLatin1Char('d')) + ".log\")"_s})
                 .status,
             0);
    for (const char *const name : {"level", "redirect"}) {
        Terminal terminal({"loggerctl", name, "--color=never"});
        QCOMPARE(terminal.waitForEnd(), 0);
        const QByteArrayList lines = terminal.output().split('\n');
        QVERIFY(lines.size() >= 12);
        QVERIFY(lines.first().startsWith("ACTIVITY         LEVEL"));
        for (const QByteArray &line : lines) {
            QVERIFY2(line.size() <= 80, line.constData());
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

void tst_Console::terminalColors_data()
{
    QTest::addColumn<QByteArray>("environment");
    QTest::addColumn<QByteArray>("option");
    QTest::addColumn<bool>("colored");
    QTest::newRow("terminal") << QByteArray("TERM=xterm") << QByteArray("--color=auto") << true;
    QTest::newRow("dumb") << QByteArray("TERM=dumb") << QByteArray("--color=auto") << false;
    QTest::newRow("NO_COLOR") << QByteArray("NO_COLOR=1") << QByteArray("--color=auto") << false;
    QTest::newRow("never") << QByteArray("TERM=xterm") << QByteArray("--color=never") << false;
    QTest::newRow("always") << QByteArray("NO_COLOR=1") << QByteArray("--color=always") << true;
}

void tst_Console::terminalColors()
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

void tst_Console::terminalIsNotControlled()
{
    Phone::write(defenceLog,
                 "\033]0;title\007\033[2Jx\xc2\x9b"
                 "1m\n");
    Terminal log({"loggerctl", "defence", "5", "read"});
    QCOMPARE(log.waitForEnd(), 0);
    QCOMPARE(log.output(), QByteArray("^[]0;title^G^[[2Jx\\u009b1m\n"));
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
}

void tst_Console::installed()
{
    QVERIFY(QFile::exists("/usr/share/man/man1/loggerctl.1"_s));
    // The shell of ./phone.
    const QString start = qEnvironmentVariable("PHONE_PROJECT") + "/box/shellrc"_s;
    const Outcome outcome
        = run("bash"_s, {"--rcfile"_s, start, "-ic"_s, "complete -p loggerctl"_s});
    QCOMPARE(outcome.output, QByteArray("complete -F _loggerctl loggerctl\n"));
    const Outcome help = console("defence --help");
    QCOMPARE(help.status, 0);
    QVERIFY(help.output.contains("loggerctl defence COUNT read\n"));
}

void tst_Console::completion_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("wordBreaks");
    QTest::addColumn<QStringList>("offered");

    const auto row = [](const char *line, const QStringList &offered) {
        QTest::newRow(line) << QString::fromLatin1(line) << usualBreaks << offered;
    };
    const auto withoutBreaks = [](const char *line, const QStringList &offered) {
        QTest::addRow("%s, other word breaks", line)
            << QString::fromLatin1(line) << " \t\n"_s << offered;
    };
    const QStringList activities {
        "defence"_s,  "LoggerModule"_s,    "Platform"_s, "qvxaudio"_s,  "qvxbtmgr"_s,
        "qvxsipua"_s, "SettingsManager"_s, "sipmmi"_s,   "Telephony"_s, "WebApp"_s};
    row("loggerctl lev", {"level"_s, "levels"_s});
    row("loggerctl logR",
        {"logRemoteServer"_s, "logRemoteServerProto"_s, "logRemoteServerAddress"_s,
         "logRemoteServerPort"_s});
    row("loggerctl --json re", {"redirect"_s, "remote"_s, "resetSyslogLevelsToErr"_s});
    row("loggerctl --t", {"--timeout"_s});
    row("loggerctl level --j", {"--json"_s});
    row("loggerctl --color ", {"auto"_s, "always"_s, "never"_s});
    row("loggerctl --color=a", {"auto"_s, "always"_s});
    withoutBreaks("loggerctl --color=a", {"--color=auto"_s, "--color=always"_s});
    row("loggerctl --timeout ", {});
    row("loggerctl level ", activities + QStringList {"all"_s});
    row("loggerctl --timeout 9 level qvx", {"qvxaudio"_s, "qvxbtmgr"_s, "qvxsipua"_s});
    row("loggerctl level qvxsipua ",
        {"emerg"_s, "err"_s, "warning"_s, "notice"_s, "info"_s, "debug"_s});
    row("loggerctl level all in", {"info"_s, "init"_s});
    row("loggerctl level all r", {"restore"_s});
    row("loggerctl level qvxsipua r", {});
    row("loggerctl level qvxsipua debug ", {});
    row("loggerctl redirect W", {"WebApp"_s});
    row("loggerctl redirect WebApp ", {"ram"_s, "flash"_s, "usertty"_s, "udp"_s, "tcp"_s, "V24"_s});
    row("loggerctl redirect all i", {"init"_s});
    row("loggerctl redirect WebApp udp 10.1.2.3 ", {"514"_s});
    row("loggerctl redirect WebApp ram x ", {});
    row("loggerctl levels ", {"get"_s, "set"_s, "reset"_s});
    row("loggerctl levels set qvxs", {"qvxsipua:"_s});
    row("loggerctl levels set qvxsipua:",
        {"emerg"_s, "err"_s, "warning"_s, "notice"_s, "info"_s, "debug"_s});
    row("loggerctl levels set a:err qvxsipua:de", {"debug"_s});
    row("loggerctl setSyslogLevels qvxsipua:err,sip", {"err,sipmmi:"_s});
    row("loggerctl setSyslogLevels qvxsipua:err,sipmmi:w", {"warning"_s});
    withoutBreaks("loggerctl setSyslogLevels qvxsipua:err,sipmmi:w",
                  {"qvxsipua:err,sipmmi:warning"_s});
    withoutBreaks("loggerctl levels set qvxsipua:de", {"qvxsipua:debug"_s});
    row("loggerctl defence 20 ", {"read"_s, "delete"_s, "size"_s});
    row("loggerctl delete ", {"flash"_s});
    row("loggerctl comment sip", {"sipmmi"_s});
    row("loggerctl logRemoteServer ", {"true"_s, "false"_s});
    row("loggerctl logRemoteServerProto ", {"udp"_s, "tcp"_s});
    row("loggerctl help arch", {"archive"_s});
    row("loggerctl watch ", {});
    row("loggerctl nothing ", {});
    row("loggerctl level $(touch", {});
    row("loggerctl level *", {});
}

void tst_Console::completion()
{
    QFETCH(QString, line);
    QFETCH(QString, wordBreaks);
    QTEST(completions(line, wordBreaks), "offered");
}

void tst_Console::completionInAShell()
{
    const QByteArray start = qgetenv("PHONE_PROJECT") + "/box/shellrc";
    Terminal terminal({"bash", "--rcfile", start, "-i"}, 200);
    // What is echoed has the quotes in it.
    terminal.type("PS1=re''ady'> '\r");
    QVERIFY2(terminal.waitFor("ready> "), terminal.output().constData());
    terminal.type("loggerctl le\t qvxs\tdeb\t; echo status=$?\r");
    QVERIFY2(terminal.waitFor("status=0"), terminal.output().constData());
    QVERIFY2(terminal.output().contains("Level debug for facility : qvxsipua OK"),
             terminal.output().constData());
    terminal.type("loggerctl levels set sipm\tinf\t; echo again=$?\r");
    QVERIFY2(terminal.waitFor("again=0"), terminal.output().constData());
    QVERIFY2(terminal.output().contains("loggerctl levels set sipmmi:info"),
             terminal.output().constData());
    terminal.type("exit\r");
    QCOMPARE(terminal.waitForEnd(), 0);
}

void tst_Console::watchPrints()
{
    Watcher watcher;
    QVERIFY(watcher.waitForAnnouncement("debug"_s));
    QVERIFY(watcher.waitForLine("qvxsipua debug"));
    Phone::text("level"_s, {"all"_s, "init"_s});
    QVERIFY(watcher.waitForLine("all err"));
    QCOMPARE(watcher.notes(), QByteArray());
    QVERIFY(watcher.isRunning());
    QCOMPARE(watcher.endBy(SIGINT), 0);

    Watcher inJson({"--json"_s});
    QVERIFY(inJson.waitForAnnouncement("notice"_s));
    QCOMPARE(inJson.endBy(SIGTERM), 0);
    const QByteArray line = inJson.output().split('\n').first();
    QCOMPARE(
        json(line).object(),
        (QJsonObject {{"activity"_s, "qvxsipua"_s}, {"level"_s, "notice"_s}, {"number"_s, 5}}));
}

void tst_Console::watchIntoAFullDevice()
{
    QProcess process;
    process.start("sh"_s, {"-c"_s, "exec loggerctl watch >/dev/full"_s});
    QVERIFY(process.waitForStarted());
    const bool ended = QTest::qWaitFor(
        [&process] {
            Phone::text("level"_s, {"qvxsipua"_s, "debug"_s});
            return process.waitForFinished(200);
        },
        20000);
    process.kill();
    process.waitForFinished();
    QVERIFY(ended);
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(process.readAllStandardError(),
             QByteArray("loggerctl: the answer cannot be written: No space left on device\n"));
}

void tst_Console::watchOnATerminal()
{
    Terminal terminal({"loggerctl", "watch"});
    QVERIFY(terminal.waitFor("watching for level changes; Ctrl-C ends it"));
    Phone::text("level"_s, {"qvxsipua"_s, "warning"_s});
    QVERIFY(terminal.waitFor("qvxsipua \033[33mwarning\033[0m"));
    terminal.type("\003");
    QCOMPARE(terminal.waitForEnd(), 0);
}

void tst_Console::watchFollowsTheService()
{
    Watcher watcher;
    {
        const Phone::Service service;
        QVERIFY(watcher.waitForAnnouncement("info"_s));
    }
    QVERIFY(watcher.waitForNote("loggerctl: LoggerModule left the bus; waiting for it\n"));
    Watcher early;
    QVERIFY(early.waitForNote("loggerctl: LoggerModule is not on the bus; waiting for it\n"));
    const Phone::Service service;
    QVERIFY(watcher.waitForNote("loggerctl: LoggerModule is on the bus again\n"));
    QVERIFY(early.waitForNote("loggerctl: LoggerModule is on the bus again\n"));
    Phone::text("level"_s, {"all"_s, "debug"_s});
    QVERIFY(watcher.waitForLine("all debug"));
    QVERIFY(early.waitForLine("all debug"));
    QCOMPARE(watcher.endBy(SIGINT), 0);
    QCOMPARE(early.endBy(SIGINT), 0);
}

void tst_Console::serviceAbsent()
{
    Phone::stopBootedService();
    for (const char *const line :
         {"level", "level qvxsipua debug", "levels get", "--json redirect", "delete", "archive",
          "defence 1 read", "comment a b", "logRemoteServer true"}) {
        const Outcome outcome = console(line);
        QCOMPARE(outcome.status, 3);
        QCOMPARE(outcome.output, QByteArray());
        QCOMPARE(
            outcome.errors,
            QByteArray("loggerctl: LoggerModule is not on the bus: is it running? Start it and "
                       "try again\n"));
    }
    QCOMPARE(console("level --help").status, 0);
    QCOMPARE(console("remote").status, 0);
}

void tst_Console::completionWithoutService()
{
    QCOMPARE(completions("loggerctl level "_s, usualBreaks), QStringList {"all"_s});
    QCOMPARE(completions("loggerctl comment "_s, usualBreaks), QStringList());
    QCOMPARE(completions("loggerctl levels set "_s, usualBreaks), QStringList());
}

void tst_Console::noBus()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, "unix:path=/nonexistent"_s);
    for (const char *const name : {"level", "watch", "remote"}) {
        const Outcome outcome = run(program, {QString::fromLatin1(name)}, environment);
        QCOMPARE(outcome.status, 3);
        QCOMPARE(outcome.output, QByteArray());
        QCOMPARE(outcome.errors,
                 QByteArray("loggerctl: no connection to the system bus: is the message bus "
                            "running?\n"));
    }
}

void tst_Console::userWithoutRights()
{
    // Ordinary users of the machine do not exist in a phone that one of them has booted; there
    // only the help can be tried.
    const bool hasOtherUsers = qgetenv("PHONE_ROOTLESS") != "1";
    const Phone::Service service;
    if (!hasOtherUsers) {
        QCOMPARE(console("--help").status, 0);
        return;
    }
    const auto asNobody = [](const QStringList &words) {
        return run("setpriv"_s,
                   QStringList {"--reuid"_s, "65534"_s, "--regid"_s, "65534"_s, "--clear-groups"_s,
                                "--inh-caps=-all"_s, "--"_s, program}
                       + words);
    };
    const Outcome outcome = asNobody({"level"_s});
    QCOMPARE(outcome.status, 3);
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY2(outcome.errors.contains("the bus does not let this user call LoggerModule"),
             outcome.errors.constData());
    QVERIFY(isOneLine(outcome.errors));
    QCOMPARE(asNobody({"--help"_s}).status, 0);
}

void tst_Console::noAnswer()
{
    const Phone::Service service;
    const auto pid = static_cast<pid_t>(service.pid());
    QCOMPARE(::kill(pid, SIGSTOP), 0);
    const Outcome outcome = console("--timeout 1 level");
    Terminal terminal({"loggerctl", "--timeout", "3", "archive"});
    const int status = terminal.waitForEnd();
    QCOMPARE(::kill(pid, SIGCONT), 0);
    QCOMPARE(outcome.status, 3);
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY2(outcome.errors.startsWith("loggerctl: no answer from LoggerModule within 1 s: "),
             outcome.errors.constData());
    QVERIFY(isOneLine(outcome.errors));
    QCOMPARE(status, 3);
    QVERIFY2(terminal.output().startsWith("loggerctl: waiting for the answer; "),
             terminal.output().constData());
    QVERIFY(terminal.output().contains("within 3 s"));
    QCOMPARE(console("level").status, 0);
}

void tst_Console::serviceThatDies()
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

void tst_Console::settingsServiceAbsent()
{
    const QString pidFile = "/run/phone/SettingsManager.pid"_s;
    const int pid = Phone::read(pidFile).trimmed().toInt();
    QVERIFY(pid > 0);
    QVERIFY(QFile::remove(pidFile));
    QCOMPARE(::kill(pid, SIGTERM), 0);
    QVERIFY(QTest::qWaitFor([] { return !Phone::isOnBus(settingsName); }, 20000));
    const Outcome outcome = console("remote");
    QCOMPARE(outcome.status, 3);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors,
             QByteArray("loggerctl: SettingsManager is not on the bus: is it running? Start it and "
                        "try again\n"));
}

QTEST_GUILESS_MAIN(tst_Console)
#include "tst_console.moc"
