// What the subcommands of loggerctl get from the service of the phone, and what they print of it.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/places.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

const QString defenceLog = QStringLiteral("/log/Defence.log");

} // namespace

class tst_ConsoleCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void answers_data();
    void answers();
    void tableIsTheService();
    void severalLevels();
    void comments();
    void defence();
    void remoteServer();
    void deletion();
};

void tst_ConsoleCalls::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleCalls::init()
{
    // Most answers are refusals, which change nothing.
    if (Phone::read(Phone::liveConfig) != Phone::read(Phone::backup)) {
        Phone::resetConfiguration();
    }
}

void tst_ConsoleCalls::answers_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("output"); // whole
    QTest::addColumn<QByteArray>("errors"); // its beginning; nothing at all when it is empty
    QTest::addColumn<QByteArray>("part"); // of what follows

    const auto row = [](const QByteArray &line, int status, const QByteArray &output,
                        const QByteArray &errors, const QByteArray &part) {
        QTest::newRow(line.constData()) << line << status << output << errors << part;
    };
    const auto done = [&](const QByteArray &line, const QByteArray &text) {
        row(line, 0, text + '\n', QByteArray(), QByteArray());
    };
    const auto refused
        = [&](const QByteArray &line, const QByteArray &text, const QByteArray &hint) {
              row(line, 1, QByteArray(), text + "\nHint: ", hint);
          };
    const auto wrong = [&](const QByteArray &line, const QByteArray &errors) {
        row(line, 2, QByteArray(), "loggerctl: " + errors, QByteArray());
    };

    done("level qvxsipua debug", "Level debug for facility : qvxsipua OK");
    done("level all info", "All levels changed to info value ");
    done("level all init", "All levels changed to err value ");
    done("level all restore", "level restore succcess");
    const QByteArray seeList = "The activities of this phone: loggerctl level\n";
    refused("level x err", "Not a valid activity : x", seeList);
    refused("level OK debug", "Not a valid activity : OK", seeList);
    refused("level 'Level debug for facility : x OK' debug",
            "Not a valid activity : Level debug for facility : x OK", seeList);
    const QByteArray noLevel = "[level] level not valid: ";
    refused("level qvxsipua OK", noLevel + "OK", "notice, info, debug");
    refused("level all OK", noLevel + "OK", "notice, info, debug");
    refused("level qvxsipua xyzzy", noLevel + "xyzzy", "notice, info, debug");
    refused("level qvxsipua debgu", noLevel + "debgu",
            "emerg, err, warning, notice, info, debug. Did you mean 'debug'?");
    refused("level qvxsipua ERR", noLevel + "ERR", "Did you mean 'err'?");
    refused("level qvxsipua init", noLevel + "init", "loggerctl level qvxsipua err");
    refused("level qvxsipua restore", noLevel + "restore", "loggerctl level all restore");

    const QByteArray moved = "[REDIRECT] Activity : qvxsipua redirect to : ";
    done("redirect qvxsipua ram sip", moved + "file(\"/var/log/sip.log\")OK");
    done("redirect qvxsipua flash sip.log", moved + "file(\"/log/flash/sip.log\")OK");
    done("redirect qvxsipua usertty root", moved + "usertty(\"root\")OK");
    done("redirect qvxsipua udp 10.1.2.3 514", moved + "udp(\"10.1.2.3\" port(514))OK");
    done("redirect qvxsipua V24", moved + "V24");
    done("redirect qvxsipua file(\"/var/log/x.log\")", moved + "file(\"/var/log/x.log\")");
    const QByteArray allMoved = "All facilities redirected to ";
    done("redirect all tcp loghost 601", allMoved + ": tcp(\"loghost\" port(601)) OK");
    done("redirect all ram together", allMoved + ": file(\"/var/log/together.log\") OK");
    done("redirect all V24", allMoved + ": V24 ");
    done("redirect all init", allMoved + "predefined values ");

    refused("redirect OK V24", "not a valid activity : OK", seeList);
    refused("redirect OK ram x", "not a valid activity : OK", seeList);
    refused("redirect OK udp 10.1.2.3 514", "not a valid facility : OK", seeList);
    const QByteArray onlyAll
        = "Destination not valid --parameter init can only be used with activity all !";
    refused("redirect qvxsipua init", onlyAll, "loggerctl redirect qvxsipua ram qvxsipua");
    refused("redirect defence init", onlyAll,
            "loggerctl redirect defence 'file(\"/log/Defence.log\")'");
    const QByteArray noSupport = "Not a valid support type -- can be : ram - flash or usertty";
    refused("redirect qvxsipua udp 10.1.2.3", noSupport,
            "loggerctl redirect qvxsipua udp 10.1.2.3 514\n");
    refused("redirect qvxsipua tcp 10.1.2.3:601", noSupport,
            "loggerctl redirect qvxsipua tcp 10.1.2.3 514\n");
    refused("redirect qvxsipua rma x", noSupport, "'ram'");
    refused("redirect qvxsipua RAM x", noSupport, "'ram'");
    refused("redirect qvxsipua disk x", noSupport, "loggerctl redirect qvxsipua ram sip");
    refused("redirect qvxsipua OK x", noSupport, "loggerctl redirect qvxsipua ram sip");
    refused("redirect qvxsipua ram ../x", "Not a valid file name -- character / and ~ are banned",
            "loggerctl redirect qvxsipua ram sip");
    const QByteArray seeHelp = "loggerctl redirect --help";
    refused("redirect qvxsipua ram (OK",
            " [redirect] destination parameters not valid: file(\"/var/log/(OK.log\")", seeHelp);
    const QByteArray noServer = " [REDIRECT] destination parameters not valid: udp(\"";
    refused("redirect qvxsipua udp fe80::1 514", noServer + "fe80::1\" port(514))",
            "loggerctl redirect qvxsipua udp 10.1.2.3 514");
    refused("redirect qvxsipua udp OK_OK 514", noServer + "OK_OK\" port(514))",
            "loggerctl redirect qvxsipua udp 10.1.2.3 514");

    // The beginning of a destination, or something that resembles one.
    const QByteArray nowhere = "[REDIRECT] Destination not valid: ";
    const auto alone = [&](const char *word, const QByteArray &command) {
        refused(QByteArray("redirect qvxsipua ") + word, nowhere + word, command);
    };
    alone("ram", "loggerctl redirect qvxsipua ram sip");
    alone("flash", "loggerctl redirect qvxsipua flash sip");
    alone("usertty", "loggerctl redirect qvxsipua usertty root");
    alone("udp", "loggerctl redirect qvxsipua udp 10.1.2.3 514");
    alone("TCP", "loggerctl redirect qvxsipua tcp 10.1.2.3 514");
    alone("v24", "loggerctl redirect qvxsipua V24");
    alone("/var/log/x.log", "loggerctl redirect qvxsipua 'file(\"/var/log/x.log\")'");
    for (const char *const word : {"initt", "/it's", "file(/x", "nothing", "x", "OK"}) {
        alone(word, seeHelp);
    }
    refused("redirect all inti", nowhere + "inti", "loggerctl redirect all init");
    refused("redirect all OK", nowhere + "OK", seeHelp);

    done("levels reset --no-wait", "Fast set all log levels to error OK");
    done("resetSyslogLevelsToErr --no-wait", "Fast set all log levels to error OK");
    done("levels set qvxsipua:info sipmmi:debug", "qvxsipua:info\nsipmmi:debug");
    done("setSyslogLevels {qvxsipua:info}", "qvxsipua:info");
    row("levels set --no-wait qvxsipua-info", 0, "Fast set log levels OK\n",
        "Hint: ", "This will fail: 'qvxsipua-info'.");
    done("comment qvxsipua call failed", "OK");
    refused("defence 7 rad",
            "bad input parameter(s) -- use : defence --help command, for more information",
            "loggerctl defence 7 read");
    refused("delete FLASH", "Wrong parameter in deleteTmpLogFileWithParameter",
            "loggerctl delete flash");
    row("logRemoteServerPort 514", 0, QByteArray(), QByteArray(), QByteArray());
    row("logRemoteServerPort syslog", 0, QByteArray(), "Hint: A port is a number from 1 to 65535; ",
        QByteArray());

    wrong("lvel", "there is no subcommand 'lvel'. Did you mean 'level'?\nSubcommands: level");
    wrong("redirect qvxsipua", "redirect: it cannot be used with just one argument\n");
    wrong("--jsn level", "there is no option '--jsn'. Did you mean '--json'?");
    wrong("", "a subcommand is missing\n");
}

void tst_ConsoleCalls::answers()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, errors);
    QFETCH(QByteArray, part);
    const Outcome outcome = console(line);
    QTEST(outcome.status, "status");
    QTEST(outcome.output, "output");
    if (errors.isEmpty()) {
        QCOMPARE(outcome.errors, QByteArray());
    } else {
        QVERIFY2(outcome.errors.startsWith(errors), outcome.errors.constData());
        QVERIFY2(outcome.errors.mid(errors.size()).contains(part), outcome.errors.constData());
        QVERIFY(outcome.errors.endsWith('\n'));
    }
}

void tst_ConsoleCalls::tableIsTheService()
{
    for (const char *const name : {"level", "redirect"}) {
        const Outcome outcome = console(name);
        QCOMPARE(outcome.status, 0);
        QVERIFY(outcome.output.startsWith(tableHeader));
        QCOMPARE(outcome.output, Phone::text(QString::fromLatin1(name)).toUtf8());
        QCOMPARE(outcome.errors, QByteArray());
    }
}

void tst_ConsoleCalls::severalLevels()
{
    QCOMPARE(console("levels set qvxsipua:info sipmmi:debug").status, 0);
    QByteArray output = console("levels get").output;
    QVERIFY(output.contains("qvxsipua:info\n") && output.contains("sipmmi:debug\n"));
    QVERIFY(output.contains("Telephony:err\n"));
    QCOMPARE(console("getSyslogLevels").output, output);
    // What was printed can be given back.
    output.replace("debug", "notice").chop(1);
    QCOMPARE(console("setSyslogLevels " + QByteArray(output).replace('\n', ',')).output,
             output + '\n');
}

void tst_ConsoleCalls::comments()
{
    QCOMPARE(console("comment qvxsipua 'call failed at \xc3\xbc 10:32'").status, 0);
    QCOMPARE(console("logComments sipmmi -- '-x is no option'").status, 0);
    QVERIFY(Phone::waitForContent("/var/log/qvxsipua.log"_s, "call failed at \xc3\xbc 10:32"));
    QVERIFY(Phone::waitForContent("/var/log/sipmmi.log"_s, "-x is no option"));
}

void tst_ConsoleCalls::defence()
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
    QCOMPARE(console("defence 1 delete").output,
             QByteArray("[DEFENCE] delete 1 lines OK\n2 lines are left.\n"));
    QCOMPARE(Phone::read(defenceLog), QByteArray("one\ntwo\n"));
    // Line feeds are the log's own.
    Phone::write(defenceLog, "one\n\n");
    QCOMPARE(console("defence 1 read").output, QByteArray("\n"));
    QCOMPARE(console("defence 2 read").output, QByteArray("one\n\n"));
    // A log that says what a failure says.
    const QByteArray failure = "[DEFENCE] impossible to open in read/write mode/log/Defence.log\n";
    Phone::write(defenceLog, failure);
    QCOMPARE(console("defence 1 read").status, 0);
    QVERIFY(QFile::remove(defenceLog));
    QVERIFY(QDir().mkdir(defenceLog));
    const Outcome impossible = console("defence 1 read");
    QVERIFY(QDir().rmdir(defenceLog));
    QCOMPARE(impossible.status, 1);
    QCOMPARE(impossible.output, QByteArray());
    QCOMPARE(impossible.errors, failure);
}

void tst_ConsoleCalls::remoteServer()
{
    QCOMPARE(console("remote").output, QByteArray("no log server\n"));
    Phone::setSetting("LogRemoteServerPort"_s, "514"_s);
    const Outcome settings = console("remote");
    QCOMPARE(settings.status, 0);
    QCOMPARE(settings.output,
             QByteArray("LogRemoteServerAddress=UNDEFINED\nLogRemoteServerExist=UNDEFINED\n"
                        "LogRemoteServerPort=514\nLogRemoteServerProtocol=UNDEFINED\n"));
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

void tst_ConsoleCalls::deletion()
{
    const QString file = "/var/log/console.log"_s;
    const QString inFlash = "/log/flash/console.log"_s;
    Phone::write(file, "x");
    Phone::write(inFlash, "x");
    const Outcome outcome = console("delete");
    QVERIFY(outcome.output.startsWith("All logs files removed in /var/log/ directory.\n"));
    QVERIFY(outcome.output.contains("\n  /var/log/console.log (1 byte)\n"));
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.status, 0);
    QVERIFY(!QFile::exists(file));
    QVERIFY(QFile::exists(inFlash));
    const QByteArray both = console("deleteTmpLogFiles flash").output;
    QVERIFY(both.startsWith("All logs files removed in /var/log/ and /log/flash/ directories.\n"));
    QVERIFY(both.endsWith("\n  /log/flash/console.log (1 byte)\n"));
    QVERIFY(!QFile::exists(inFlash));
}

QTEST_GUILESS_MAIN(tst_ConsoleCalls)
#include "tst_consolecalls.moc"
