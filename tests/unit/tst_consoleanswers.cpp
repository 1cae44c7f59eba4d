// Every text that the service answers, told apart as success or failure, and the hints.
// SPDX-License-Identifier: MIT
#include "console/answers.h"

#include "console/activitytable.h"

#include "support/literal.h"

#include <QTest>

Q_DECLARE_METATYPE(Operation)
Q_DECLARE_METATYPE(Request)

namespace {

const Request levels {Operation::ListLevels, {}, 0};
const Request destinations {Operation::ListDestinations, {}, 0};
const Request size {Operation::Defence, {"size"_s}, 0};
const Request read {Operation::Defence, {"read"_s}, 3};
const Request trim {Operation::Defence, {"delete"_s}, 3};
const Request deletion {Operation::DeleteRamLogs, {}, 0};
const Request flashDeletion {Operation::DeleteLogs, {"flash"_s}, 0};
const Request comment {Operation::Comment, {"qvxsipua"_s, "text"_s}, 0};

Request level(const QString &activity, const QString &word)
{
    return {Operation::ChangeLevel, {activity, word}, 0};
}

Request redirect(const QString &activity, const QString &destination)
{
    return {Operation::Redirect, {activity, destination}, 0};
}

Request support(const QString &activity, const QString &type, const QString &name)
{
    return {Operation::RedirectToSupport, {activity, type, name}, 0};
}

Request server(const QString &activity, const QString &protocol, const QString &address, int port)
{
    return {Operation::RedirectToServer, {activity, protocol, address}, port};
}

QString repaired(const QString &activity)
{
    return "OK  -- but configuration file was corrupted : "_s + activity
        + " restored to predefined values -- use level or redirect command to verify your log "
          "config "_s;
}

QVariantMap result(const QString &value, const QString &message)
{
    return {{"value"_s, value}, {"msg"_s, message}};
}

} // namespace

class tst_ConsoleAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void maps_data();
    void maps();
    void hints_data();
    void hints();
    void settings_data();
    void settings();
    void items_data();
    void items();
};

void tst_ConsoleAnswers::texts_data()
{
    QTest::addColumn<Request>("request");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("success");

    const auto good = [](const char *name, const Request &request, const QString &text) {
        QTest::addRow("good: %s", name) << request << text << true;
    };
    const auto bad = [](const char *name, const Request &request, const QString &text) {
        QTest::addRow("bad: %s", name) << request << text << false;
    };
    const QString header = "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n"_s;
    const QString accessError = "file configuration access error"_s;

    for (const Request &request : {levels, destinations}) {
        const char *const name = request.operation == Operation::ListLevels ? "level" : "redirect";
        QTest::addRow("good: %s, table", name) << request << header + "row\n"_s << true;
        QTest::addRow("good: %s, empty table", name) << request << header << true;
        for (const QString &text :
             {accessError, "configuration file access error"_s,
              "configuration file cannot be restored"_s, "OK"_s, QString(), header.trimmed()}) {
            QTest::addRow("bad: %s, %s", name, qPrintable(text)) << request << text << false;
        }
    }

    const QString sip = "qvxsipua"_s;
    const Request debug = level(sip, "debug"_s);
    const QString corrupted
        = "One or more log config file corrupted -- file restored to predefined value !"_s;
    good("level", debug, "Level debug for facility : qvxsipua OK"_s);
    good("level after a repair", debug, "Level debug for facility : qvxsipua "_s + repaired(sip));
    good("level after a repair of a library", debug,
         "Level debug for facility : qvxsipua  "_s + repaired(sip));
    good("level of an activity called OK", level("OK"_s, "err"_s),
         "Level err for facility : OK OK"_s);
    bad("level without its check", debug, "Level debug for facility : qvxsipua "_s);
    bad("another level", debug, "Level err for facility : qvxsipua OK"_s);
    bad("another activity", debug, "Level debug for facility : qvxaudio OK"_s);
    bad("repair of another activity", debug,
        "Level debug for facility : qvxsipua "_s + repaired("qvxaudio"_s));
    bad("level, facility file corrupted", debug, corrupted);
    bad("level, facility file corrupted, good check", debug, corrupted + "OK"_s);
    bad("level, facility file corrupted, repaired before", debug, corrupted + repaired(sip));
    bad("level, configuration", debug, accessError);
    bad("level, unknown activity", level("x"_s, "debug"_s), "Not a valid activity : x"_s);
    bad("level, unknown activity OK", level("OK"_s, "debug"_s), "Not a valid activity : OK"_s);
    bad("level, unknown activity that looks like a success",
        level("Level debug for facility : x OK"_s, "debug"_s),
        "Not a valid activity : Level debug for facility : x OK"_s);
    bad("level, not valid", level(sip, "OK"_s), "[level] level not valid: OK"_s);
    bad("level, init of one", level(sip, "init"_s), "[level] level not valid: init"_s);
    bad("level, empty", debug, QString());
    bad("level, just OK", debug, "OK"_s);

    const Request allDebug = level("all"_s, "debug"_s);
    good("level all", allDebug, "All levels changed to debug value "_s);
    good("level all init", level("all"_s, "init"_s), "All levels changed to err value "_s);
    good("level all restore", level("all"_s, "restore"_s), "level restore succcess"_s);
    bad("level all, another level", allDebug, "All levels changed to err value "_s);
    bad("level all restore failed", level("all"_s, "restore"_s), "level restore failed"_s);
    bad("level all, configuration", allDebug,
        accessError + "/data/QVXApplication/LoggerModule/syslog/sip/logappli.conf"_s);
    bad("level all, no activities", allDebug, "No logger configuration file !!"_s);
    bad("level all, facility files", allDebug,
        "One ore more facility config file corrupted -- restored to predefined value ! -- Use "
        "level "
        "or redirect command to verify your log config"_s);
    bad("level all, not valid", level("all"_s, "OK"_s), "[level] level not valid: OK"_s);

    const QString file = "file(\"/var/log/sip.log\")"_s;
    const QString udp = "udp(\"10.1.2.3\" port(514))"_s;
    const QString done = "[REDIRECT] Activity : qvxsipua redirect to : "_s;
    good("redirect", redirect(sip, file), done + file);
    good("redirect to the console", redirect(sip, "V24"_s), done + "V24"_s);
    good("redirect all", redirect("all"_s, udp), "All facilities redirected to : "_s + udp + " "_s);
    good("redirect all to the console", redirect("all"_s, "V24"_s),
         "All facilities redirected to : V24 "_s);
    good("redirect all init", redirect("all"_s, "init"_s),
         "All facilities redirected to predefined values "_s);
    bad("redirect, another destination", redirect(sip, file), done + udp);
    bad("redirect init of one", redirect(sip, "init"_s),
        "Destination not valid --parameter init can only be used with activity all !"_s);
    bad("redirect, unknown activity", redirect("OK"_s, file), "not a valid activity : OK"_s);
    bad("redirect, not valid", redirect(sip, "OK"_s), "[REDIRECT] Destination not valid: OK"_s);
    bad("redirect, configuration", redirect(sip, file), accessError);
    bad("redirect, no such activity", redirect(sip, file), "No such an activity "_s);
    bad("redirect all, undefined", redirect("all"_s, file),
        "[REDIRECT] IP destination address not valid "_s);
    bad("redirect all, not valid", redirect("all"_s, "OK"_s),
        "[REDIRECT] destination parameter not valid: OK"_s);
    bad("redirect all, configuration", redirect("all"_s, file),
        "access to/data/QVXApplication/LoggerModule/syslog/sip/logappli.confimpossible"_s);
    const QString allCorrupted
        = "One ore more config files were corrupted -- Initialised to predefined values -- check "
          "your log config with level or redirect command !"_s;
    bad("redirect all, facility files", redirect("all"_s, file), allCorrupted);
    bad("redirect all init, facility files", redirect("all"_s, "init"_s), allCorrupted);

    const Request ram = support(sip, "ram"_s, "sip"_s);
    good("redirect to RAM", ram, done + file + "OK"_s);
    good("redirect to RAM after a repair", ram, done + file + repaired(sip));
    good("redirect to RAM after a repair of a library", ram, done + file + " "_s + repaired(sip));
    good("redirect all to RAM", support("all"_s, "ram"_s, "sip"_s),
         "All facilities redirected to : "_s + file + " OK"_s);
    bad("redirect to RAM, banned", ram, "Not a valid file name -- character / and ~ are banned"_s);
    bad("redirect to RAM, support", support(sip, "OK"_s, "x"_s),
        "Not a valid support type -- can be : ram - flash or usertty"_s);
    bad("redirect to RAM, unknown activity", support("OK"_s, "ram"_s, "x"_s),
        "not a valid activity : OK"_s);
    bad("redirect to RAM, not valid", support(sip, "ram"_s, "(OK"_s),
        " [redirect] destination parameters not valid: file(\"/var/log/(OK.log\")"_s);
    bad("redirect to RAM, refused with a good check", ram,
        "[REDIRECT] Destination not valid: x"_s + "OK"_s);
    bad("redirect to RAM, configuration with a good check", ram, accessError + "OK"_s);
    bad("redirect to RAM, corrupted", ram,
        "One or more log config file corrupted -- restored to predefined value !"_s);
    bad("redirect all to RAM, facility files with a good check", support("all"_s, "ram"_s, "sip"_s),
        allCorrupted + "OK"_s);
    bad("redirect to RAM, no check", ram, done + file);

    const Request toServer = server(sip, "udp"_s, "10.1.2.3"_s, 514);
    good("redirect to a server", toServer, done + udp + "OK"_s);
    good("redirect all to a server", server("all"_s, "udp"_s, "10.1.2.3"_s, 514),
         "All facilities redirected to : "_s + udp + " OK"_s);
    bad("redirect to a server, unknown activity", server("OK"_s, "udp"_s, "10.1.2.3"_s, 514),
        "not a valid facility : OK"_s);
    bad("redirect to a server, not valid", server(sip, "udp"_s, "OK_OK"_s, 514),
        " [REDIRECT] destination parameters not valid: udp(\"OK_OK\" port(514))"_s);
    bad("redirect to a server, corrupted", toServer,
        "One or more log config file corrupted -- Restored to predefined value"_s);
    bad("redirect to a server, address", toServer,
        "Not a valid ip address - format : redirect <activity> <protocol type> <IP address> "
        "<port>"_s);

    good("delete", deletion, "All logs files removed in /var/log/ directory."_s);
    good("delete, nothing", deletion, "No Log file to remove in /var/log/ directory"_s);
    good("delete flash", flashDeletion,
         "All logs files removed in /var/log/ and /log/flash/ directories."_s);
    good("delete flash, nothing", flashDeletion,
         "No Log file to remove in /var/log/ and /log/flash/ directories"_s);
    bad("delete flash, RAM only", flashDeletion,
        "All logs files removed in /var/log/ directory."_s);
    bad("delete, wrong parameter", Request {Operation::DeleteLogs, {"FLASH"_s}, 0},
        "Wrong parameter in deleteTmpLogFileWithParameter"_s);

    const QString impossible = "[DEFENCE] impossible to open in read/write mode/log/Defence.log"_s;
    const QString badParameter
        = "bad input parameter(s) -- use : defence --help command, for more information"_s;
    good("size", size, "[DEFENCE] Total messages saved in flash sector:0"_s);
    good("large size", size, "[DEFENCE] Total messages saved in flash sector:100000"_s);
    bad("size without number", size, "[DEFENCE] Total messages saved in flash sector:"_s);
    bad("size, impossible", size, impossible);
    good("trim", trim, "[DEFENCE] delete 3 lines OK"_s);
    good("trim fewer", trim, "[DEFENCE] delete 0 lines OK"_s);
    good("trim less than none", trim, "[DEFENCE] delete -3 lines OK"_s);
    bad("trim without number", trim, "[DEFENCE] delete - lines OK"_s);
    bad("trim, impossible", trim, impossible);
    good("read", read, "one\ntwo\n"_s);
    good("read nothing", read, QString());
    good("read a line that looks like a failure", read, impossible + "\n"_s);
    bad("read, impossible", read, impossible);
    bad("another word", Request {Operation::Defence, {"Read"_s}, 2}, badParameter);
    bad("the word OK", Request {Operation::Defence, {"OK"_s}, 2}, "OK"_s);

    good("comment", comment, "OK"_s);
    bad("comment, anything else", comment, "not OK"_s);
}

void tst_ConsoleAnswers::texts()
{
    QFETCH(Request, request);
    QFETCH(QString, text);
    QTEST(isSuccess(request, text), "success");
}

void tst_ConsoleAnswers::maps_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<bool>("success");
    const auto row = [](Operation operation, const QVariantMap &answer, bool success) {
        QTest::addRow("%d: %s", static_cast<int>(operation),
                      qPrintable(answer.value("msg"_s).toString()))
            << operation << answer << success;
    };
    row(Operation::SetLevels, result("0"_s, "Fast set log levels OK"_s), true);
    row(Operation::SetLevels, result("0"_s, "Set log levels OK"_s), true);
    row(Operation::SetLevels, result("1"_s, "Set log levels error"_s), false);
    row(Operation::ResetLevels, result("0"_s, "Fast set all log levels to error OK"_s), true);
    row(Operation::ResetLevels, result("0"_s, "Set all log levels to error OK"_s), true);
    row(Operation::ResetLevels, result("1"_s, "Error when setting all log levels to error"_s),
        false);
    row(Operation::Archive, result("0"_s, "Generate logs successfully"_s), true);
    row(Operation::Archive, result("1"_s, "Error on exit"_s), false);
    row(Operation::Archive, result("1"_s, "Error when executing command"_s), false);
    row(Operation::Archive, {}, false);
    row(Operation::GetLevels, {{"qvxsipua"_s, "err"_s}, {"qvxaudio"_s, QString()}}, true);
    row(Operation::GetLevels, {{"qvxsipua"_s, QString()}, {"qvxaudio"_s, QString()}}, false);
    row(Operation::ShowRemote, {{"LogRemoteServerExist"_s, "false"_s}}, true);
}

void tst_ConsoleAnswers::maps()
{
    QFETCH(Operation, operation);
    QFETCH(QVariantMap, answer);
    QTEST(isSuccess(Request {operation, {}, 0}, answer), "success");
}

void tst_ConsoleAnswers::hints_data()
{
    QTest::addColumn<Request>("request");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("part"); // of the hint; empty when there is none

    const auto row = [](const char *name, const Request &request, const QString &text,
                        const QString &part) { QTest::newRow(name) << request << text << part; };
    const QString sip = "qvxsipua"_s;
    row("activity, level", level("x"_s, "err"_s), "Not a valid activity : x"_s,
        "loggerctl level"_s);
    row("activity, support", support("x"_s, "ram"_s, "y"_s), "not a valid activity : x"_s,
        "loggerctl level"_s);
    row("activity, server", server("x"_s, "udp"_s, "y"_s, 1), "not a valid facility : x"_s,
        "loggerctl level"_s);
    row("level", level(sip, "debgu"_s), "[level] level not valid: debgu"_s,
        "emerg, err, warning, notice, info, debug. Did you mean 'debug'?"_s);
    row("level in capitals", level(sip, "ERR"_s), "[level] level not valid: ERR"_s,
        "Did you mean 'err'?"_s);
    row("level that is like none", level(sip, "xyzzy"_s), "[level] level not valid: xyzzy"_s,
        "notice, info, debug"_s);
    row("init of one", level(sip, "init"_s), "[level] level not valid: init"_s,
        "loggerctl level qvxsipua err"_s);
    row("restore of one", level(sip, "restore"_s), "[level] level not valid: restore"_s,
        "loggerctl level all restore"_s);
    row("configuration", level(sip, "err"_s), "file configuration access error"_s,
        "loggerctl level all restore"_s);
    row("table", levels, "configuration file cannot be restored"_s,
        "loggerctl level all restore"_s);
    row("corrupted", level(sip, "err"_s),
        "One or more log config file corrupted -- file restored to predefined value !OK"_s,
        "loggerctl level"_s);
    row("port missing", support(sip, "udp"_s, "10.1.2.3"_s),
        "Not a valid support type -- can be : ram - flash or usertty"_s,
        "loggerctl redirect qvxsipua udp 10.1.2.3 514"_s);
    row("port behind the address", support(sip, "tcp"_s, "10.1.2.3:601"_s),
        "Not a valid support type -- can be : ram - flash or usertty"_s,
        "loggerctl redirect qvxsipua tcp 10.1.2.3 514"_s);
    row("support with swapped letters", support(sip, "rma"_s, "x"_s),
        "Not a valid support type -- can be : ram - flash or usertty"_s, "'ram'"_s);
    const auto alone = [&](const QString &activity, const QString &word, const QString &command) {
        QTest::newRow(qPrintable("alone: "_s + word))
            << redirect(activity, word) << "[REDIRECT] Destination not valid: "_s + word << command;
    };
    alone(sip, "ram"_s, "loggerctl redirect qvxsipua ram sip"_s);
    alone(sip, "flash"_s, "loggerctl redirect qvxsipua flash sip"_s);
    alone(sip, "usertty"_s, "loggerctl redirect qvxsipua usertty root"_s);
    alone(sip, "udp"_s, "loggerctl redirect qvxsipua udp 10.1.2.3 514"_s);
    alone(sip, "TCP"_s, "loggerctl redirect qvxsipua tcp 10.1.2.3 514"_s);
    alone(sip, "v24"_s, "loggerctl redirect qvxsipua V24"_s);
    alone(sip, "initt"_s, "loggerctl redirect --help"_s);
    alone("all"_s, "inti"_s, "loggerctl redirect all init"_s);
    alone(sip, "/var/log/x.log"_s, "loggerctl redirect qvxsipua 'file(\"/var/log/x.log\")'"_s);
    alone(sip, "/it's"_s, "loggerctl redirect --help"_s);
    alone(sip, "file(/x"_s, "loggerctl redirect --help"_s);
    row("support", support(sip, "RAM"_s, "x"_s),
        "Not a valid support type -- can be : ram - flash or usertty"_s, "'ram'"_s);
    row("support that is like none", support(sip, "disk"_s, "x"_s),
        "Not a valid support type -- can be : ram - flash or usertty"_s,
        "loggerctl redirect qvxsipua ram sip"_s);
    row("file name", support(sip, "ram"_s, "../x"_s),
        "Not a valid file name -- character / and ~ are banned"_s,
        "loggerctl redirect qvxsipua ram sip"_s);
    row("redirect init of one", redirect(sip, "init"_s),
        "Destination not valid --parameter init can only be used with activity all !"_s,
        "loggerctl redirect qvxsipua ram qvxsipua"_s);
    row("redirect init of defence", redirect("defence"_s, "init"_s),
        "Destination not valid --parameter init can only be used with activity all !"_s,
        "loggerctl redirect defence 'file(\"/log/Defence.log\")'"_s);
    row("server", server(sip, "udp"_s, "fe80::1"_s, 514),
        " [REDIRECT] destination parameters not valid: udp(\"fe80::1\" port(514))"_s,
        "loggerctl redirect qvxsipua udp 10.1.2.3 514"_s);
    row("destination", redirect(sip, "x"_s), "[REDIRECT] Destination not valid: x"_s,
        "loggerctl redirect --help"_s);
    row("destination of all", redirect("all"_s, "x"_s),
        "[REDIRECT] destination parameter not valid: x"_s, "loggerctl redirect --help"_s);
    row("delete", Request {Operation::DeleteLogs, {"all"_s}, 0},
        "Wrong parameter in deleteTmpLogFileWithParameter"_s, "loggerctl delete flash"_s);
    row("defence", Request {Operation::Defence, {"rad"_s}, 7},
        "bad input parameter(s) -- use : defence --help command, for more information"_s,
        "loggerctl defence 7 read"_s);
    row("defence, impossible", read,
        "[DEFENCE] impossible to open in read/write mode/log/Defence.log"_s, QString());
    row("archive", Request {Operation::Archive, {}, 0}, "Error on exit"_s, "try again"_s);
    row("no levels", Request {Operation::GetLevels, {}, 0}, QString(), "loggerctl level"_s);
    row("restore", level("all"_s, "restore"_s), "level restore failed"_s, QString());
}

void tst_ConsoleAnswers::hints()
{
    QFETCH(Request, request);
    QFETCH(QString, text);
    QFETCH(QString, part);
    const QString hint = hintFor(request, text);
    if (part.isEmpty()) {
        QCOMPARE(hint, QString());
    } else {
        QVERIFY2(hint.contains(part), qPrintable(hint));
        QVERIFY(!hint.endsWith(QLatin1Char('\n')));
    }
}

void tst_ConsoleAnswers::settings_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("part"); // of the hint; empty when there is none
    const auto row = [](Operation operation, const char *value, const char *part) {
        QTest::addRow("%d '%s'", int(operation), value)
            << operation << QString::fromLatin1(value) << QString::fromLatin1(part);
    };
    row(Operation::RemoteServer, "true", "");
    row(Operation::RemoteServer, "false", "");
    row(Operation::RemoteServer, "UNDEFINED", "");
    row(Operation::RemoteServer, "TRUE", "true or false");
    row(Operation::RemoteServer, "", "true or false");
    row(Operation::RemoteProtocol, "udp", "");
    row(Operation::RemoteProtocol, "tcp", "");
    row(Operation::RemoteProtocol, "UNDEFINED", "");
    row(Operation::RemoteProtocol, "UDP", "udp or tcp");
    row(Operation::RemotePort, "1", "");
    row(Operation::RemotePort, "65535", "");
    row(Operation::RemotePort, "UNDEFINED", "");
    for (const char *const port : {"0", "65536", "-1", "", "syslog", "99999999999"}) {
        row(Operation::RemotePort, port, "from 1 to 65535");
    }
    row(Operation::RemoteAddress, "loghost", "");
}

void tst_ConsoleAnswers::settings()
{
    QFETCH(Operation, operation);
    QFETCH(QString, value);
    QFETCH(QString, part);
    const QString hint = hintForSetting({operation, {value}, 0});
    QCOMPARE(hint.isEmpty(), part.isEmpty());
    QVERIFY2(hint.contains(part), qPrintable(hint));
}

void tst_ConsoleAnswers::items_data()
{
    QTest::addColumn<QString>("items");
    QTest::addColumn<QString>("bad");
    QTest::newRow("good") << "qvxsipua:debug,Telephony:warning"_s << QString();
    QTest::newRow("braces") << "{qvxsipua:debug}"_s << QString();
    QTest::newRow("empty items") << ",,qvxsipua:debug,"_s << QString();
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("no colon") << "qvxsipua-debug,sipmmi:err"_s
                              << "'qvxsipua-debug'."_s;
    QTest::newRow("no activity") << ":debug"_s
                                 << "':debug'."_s;
    QTest::newRow("no level") << "qvxsipua:"_s
                              << "'qvxsipua:'."_s;
    QTest::newRow("two levels") << "qvxsipua:err:err"_s
                                << "'qvxsipua:err:err'."_s;
    QTest::newRow("blank") << "a:err, b:debgu"_s
                           << "' b:debgu'."_s;
    QTest::newRow("two") << "a:x,b:y"_s
                         << "'a:x', 'b:y'."_s;
}

void tst_ConsoleAnswers::items()
{
    QFETCH(QString, items);
    QFETCH(QString, bad);
    const QString hint = hintForItems(items);
    QCOMPARE(hint.isEmpty(), bad.isEmpty());
    QVERIFY2(hint.contains(bad), qPrintable(hint));
}

QTEST_APPLESS_MAIN(tst_ConsoleAnswers)
#include "tst_consoleanswers.moc"
