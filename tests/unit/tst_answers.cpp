// Answers of the service to command lines of loggerctl, told apart as success or failure, and what
// is said about them: those that a phone gives when something is broken, or not at all. The others
// are in the test of the console's calls.
// SPDX-License-Identifier: MIT
#include "client/answers.h"

#include "console/commandline.h"

#include "support/console.h"

#include <QTest>

namespace {

Request request(const QByteArray &line)
{
    const CommandLine read = readCommandLine(QStringList {"loggerctl"_s} + wordsOf(line));
    if (read.outcome != CommandLine::Outcome::Ask) {
        qFatal("%s: %s", line.constData(), qPrintable(read.text));
    }
    return read.request;
}

QByteArray repaired(const QByteArray &activity)
{
    return "OK  -- but configuration file was corrupted : " + activity
        + " restored to predefined values -- use level or redirect command to verify your log "
          "config ";
}

} // namespace

class tst_Answers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void maps_data();
    void maps();
    void settings_data();
    void settings();
    void items_data();
    void items();
};

void tst_Answers::texts_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("success");
    QTest::addColumn<QByteArray>("hint"); // a part of it; none at all when it is empty

    const auto row
        = [](const QByteArray &line, const QByteArray &text, bool success, const QByteArray &hint) {
              QTest::addRow("%s: %s -> '%s'", success ? "good" : "bad", line.constData(),
                            text.simplified().constData())
                  << line << text << success << hint;
          };
    const auto good = [&](const QByteArray &line, const QByteArray &text) {
        row(line, text, true, QByteArray());
    };
    const auto bad = [&](const QByteArray &line, const QByteArray &text,
                         const QByteArray &hint = QByteArray()) { row(line, text, false, hint); };
    const QByteArray restore = "loggerctl level all restore";
    const QByteArray look = "What is in place now: loggerctl level";
    const QByteArray accessError = "file configuration access error";

    for (const char *const line : {"level", "redirect"}) {
        good(line, tableHeader + "row\n");
        good(line, tableHeader);
        bad(line, accessError, restore);
        bad(line, "configuration file access error", restore);
        bad(line, "configuration file cannot be restored", restore);
        bad(line, "OK");
        bad(line, "");
        bad(line, tableHeader.trimmed());
    }

    const QByteArray debug = "level qvxsipua debug";
    const QByteArray changed = "Level debug for facility : qvxsipua ";
    const QByteArray corrupted
        = "One or more log config file corrupted -- file restored to predefined value !";
    good(debug, changed + repaired("qvxsipua"));
    good(debug, changed + ' ' + repaired("qvxsipua")); // as a library repairs
    good("level OK err", "Level err for facility : OK OK");
    bad(debug, changed);
    bad(debug, "Level err for facility : qvxsipua OK");
    bad(debug, "Level debug for facility : qvxaudio OK");
    bad(debug, changed + repaired("qvxaudio"));
    bad(debug, corrupted, look);
    bad(debug, corrupted + "OK", look);
    bad(debug, corrupted + repaired("qvxsipua"), look);
    bad(debug, accessError, restore);
    bad(debug, "");
    bad(debug, "OK");

    const QByteArray live = "/data/QVXApplication/LoggerModule/syslog/sip/logappli.conf";
    bad("level all debug", "All levels changed to err value ");
    bad("level all restore", "level restore failed");
    bad("level all debug", accessError + live, restore);
    bad("level all debug", "No logger configuration file !!");
    bad("level all debug",
        "One ore more facility config file corrupted -- restored to predefined value ! -- Use "
        "level or redirect command to verify your log config",
        look);

    const QByteArray toFile = "redirect qvxsipua file(\"/var/log/sip.log\")";
    const QByteArray file = "file(\"/var/log/sip.log\")";
    const QByteArray udp = "udp(\"10.1.2.3\" port(514))";
    const QByteArray done = "[REDIRECT] Activity : qvxsipua redirect to : ";
    const QByteArray allToFile = "redirect all file(\"/var/log/sip.log\")";
    const QByteArray allCorrupted
        = "One ore more config files were corrupted -- Initialised to predefined values -- check "
          "your log config with level or redirect command !";
    bad(toFile, done + udp);
    bad(toFile, accessError, restore);
    bad(toFile, "No such an activity ");
    bad(allToFile, "[REDIRECT] IP destination address not valid ");
    bad(allToFile, "access to" + live + "impossible");
    bad(allToFile, allCorrupted, look);
    bad("redirect all init", allCorrupted, look);
    bad("redirect all x", "[REDIRECT] destination parameter not valid: x",
        "loggerctl redirect --help");

    const QByteArray ram = "redirect qvxsipua ram sip";
    good(ram, done + file + repaired("qvxsipua"));
    good(ram, done + file + ' ' + repaired("qvxsipua"));
    bad(ram, "[REDIRECT] Destination not valid: xOK", "loggerctl redirect --help");
    bad(ram, accessError + "OK", restore);
    bad(ram, "One or more log config file corrupted -- restored to predefined value !", look);
    bad("redirect all ram sip", allCorrupted + "OK", look);
    bad(ram, done + file);

    const QByteArray toServer = "redirect qvxsipua udp 10.1.2.3 514";
    bad(toServer, "One or more log config file corrupted -- Restored to predefined value", look);
    bad(toServer,
        "Not a valid ip address - format : redirect <activity> <protocol type> <IP "
        "address> <port>");

    good("delete", "No Log file to remove in /var/log/ directory");
    good("delete flash", "No Log file to remove in /var/log/ and /log/flash/ directories");
    bad("delete flash", "All logs files removed in /var/log/ directory.", "loggerctl delete flash");

    const QByteArray saved = "[DEFENCE] Total messages saved in flash sector:";
    const QByteArray impossible = "[DEFENCE] impossible to open in read/write mode/log/Defence.log";
    good("defence 0 size", saved + '0');
    good("defence 0 size", saved + "100000");
    bad("defence 0 size", saved);
    bad("defence 0 size", impossible);
    good("defence 3 delete", "[DEFENCE] delete 0 lines OK");
    good("defence 3 delete", "[DEFENCE] delete -3 lines OK");
    bad("defence 3 delete", "[DEFENCE] delete - lines OK");
    bad("defence 3 delete", impossible);
    bad("defence 2 OK", "OK");
    bad("comment qvxsipua text", "not OK");
}

void tst_Answers::texts()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, text);
    QFETCH(bool, success);
    QFETCH(QByteArray, hint);
    const Request asked = request(line);
    QCOMPARE(isSuccess(asked, QString::fromUtf8(text)), success);
    const QByteArray said = success ? "" : hintFor(asked, QString::fromUtf8(text)).toUtf8();
    QCOMPARE(said.isEmpty(), hint.isEmpty());
    QVERIFY2(said.contains(hint), said.constData());
}

void tst_Answers::maps_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<bool>("success");
    QTest::addColumn<QString>("hint"); // a part of it
    const auto row = [](const char *name, const char *line, const QVariantMap &answer, bool success,
                        const char *hint = "") {
        QTest::addRow("%s: %s", line, name)
            << QByteArray(line) << answer << success << QString::fromLatin1(hint);
    };
    const auto coded = [&](const char *line, const char *value, const char *text) {
        row(text, line,
            {{"value"_s, QString::fromLatin1(value)}, {"msg"_s, QString::fromLatin1(text)}},
            *value == '0');
    };
    coded("levels set a:err", "0", "Set log levels OK");
    coded("levels set a:err", "1", "Set log levels error");
    coded("levels reset", "0", "Set all log levels to error OK");
    coded("levels reset", "1", "Error when setting all log levels to error");
    coded("archive", "1", "Error when executing command");
    row("no value", "archive", {}, false, "try again");
    row("one known", "levels get", {{"a"_s, "err"_s}, {"b"_s, QString()}}, true);
    row("none known", "levels get", {{"a"_s, QString()}, {"b"_s, QString()}}, false,
        "loggerctl level");
    row("settings", "remote", {{"LogRemoteServerExist"_s, "false"_s}}, true);
}

void tst_Answers::maps()
{
    QFETCH(QByteArray, line);
    QFETCH(QVariantMap, answer);
    QFETCH(QString, hint);
    const Request asked = request(line);
    QTEST(isSuccess(asked, answer), "success");
    QVERIFY(hintFor(asked, answer.value("msg"_s).toString()).contains(hint));
}

void tst_Answers::settings_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("part"); // of the hint; empty when there is none
    const auto rows = [](const char *method, const QByteArrayList &values, const char *part) {
        for (const QByteArray &value : values) {
            const QByteArray line = QByteArray(method) + " -- '" + value + '\'';
            QTest::newRow(line.constData()) << line << QString::fromLatin1(part);
        }
    };
    rows("logRemoteServer", {"true", "false", "UNDEFINED"}, "");
    rows("logRemoteServer", {"TRUE", ""}, "true or false");
    rows("logRemoteServerProto", {"udp", "tcp", "UNDEFINED"}, "");
    rows("logRemoteServerProto", {"UDP"}, "udp or tcp");
    rows("logRemoteServerAddress", {"loghost"}, "");
    rows("logRemoteServerPort", {"1", "65535", "UNDEFINED"}, "");
    rows("logRemoteServerPort", {"0", "65536", "-1", "", "99999999999"}, "from 1 to 65535");
}

void tst_Answers::settings()
{
    QFETCH(QByteArray, line);
    QFETCH(QString, part);
    const QString hint = hintForSetting(request(line));
    QCOMPARE(hint.isEmpty(), part.isEmpty());
    QVERIFY2(hint.contains(part), qPrintable(hint));
}

void tst_Answers::items_data()
{
    QTest::addColumn<QString>("bad");
    const auto row = [](const char *items, const char *bad) {
        QTest::newRow(items) << QString::fromLatin1(bad);
    };
    row("qvxsipua:debug,Telephony:warning", "");
    row("{qvxsipua:debug}", "");
    row(",,qvxsipua:debug,", "");
    row("", "");
    row("qvxsipua-debug,sipmmi:err", "'qvxsipua-debug'.");
    row(":debug", "':debug'.");
    row("qvxsipua:", "'qvxsipua:'.");
    row("qvxsipua:err:err", "'qvxsipua:err:err'.");
    row("a:err, b:debgu", "' b:debgu'.");
    row("a:x,b:y", "'a:x', 'b:y'.");
}

void tst_Answers::items()
{
    QFETCH(QString, bad);
    const QString hint = hintForItems(QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(hint.isEmpty(), bad.isEmpty());
    QVERIFY2(hint.contains(bad), qPrintable(hint));
}

QTEST_APPLESS_MAIN(tst_Answers)
#include "tst_answers.moc"
