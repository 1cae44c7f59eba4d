// loggerctl looks whether a change is really there before it says "done": destinations that
// syslog-ng refuses, levels that were not set, comments that nobody writes, names as a person types
// them. SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/users.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

class tst_ConsoleLooks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void refusedDestinations_data();
    void refusedDestinations();
    void refusedDestinationTakesOthersAlong();
    void refusedDestinationOfAll();
    void acceptedDestinations_data();
    void acceptedDestinations();
    void levelsThatAreNotSet_data();
    void levelsThatAreNotSet();
    void levelsOfAll();
    void comments_data();
    void comments();
    void oneActivity();
    void names_data();
    void names();
    void lostLevelFile();
    void whoMay();
};

void tst_ConsoleLooks::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleLooks::init()
{
    Phone::resetConfiguration();
}

void tst_ConsoleLooks::refusedDestinations_data()
{
    QTest::addColumn<QByteArray>("destination");
    // All of them pass the service's own check.
    for (const char *const destination :
         {"flash(\"x\")", "udp(\"10.0.0.1 port(514))", "udp(\"10.0.0.1\"\"\" port(514))",
          "file(\"/var/log/\"x\".log\")", "usertty(\"root\" nothing \"\")"}) {
        QTest::newRow(destination) << QByteArray(destination);
    }
}

void tst_ConsoleLooks::refusedDestinations()
{
    QFETCH(QByteArray, destination);
    const Outcome outcome = console("redirect qvxsipua '" + destination + '\'');
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors,
             QByteArray("loggerctl: syslog-ng refused this destination, and the configuration's "
                        "backup is in place again: qvxsipua goes to /var/log/qvxsipua.log\n"));
}

void tst_ConsoleLooks::refusedDestinationTakesOthersAlong()
{
    QCOMPARE(console("level Telephony debug").status, 0);
    QCOMPARE(console("redirect sipmmi ram mmi").status, 0);
    const Outcome outcome = console("redirect qvxsipua 'flash(\"x\")'");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.endsWith("\nThe backup has changed this too:\n"
                                     "  sipmmi: destination /var/log/mmi.log -> "
                                     "/var/log/sipmmi.log\n"
                                     "  Telephony: level debug -> err\n"),
             outcome.errors.constData());

    QCOMPARE(console("level qvxsipua info").status, 0);
    const Outcome inJson = console("--json redirect qvxsipua 'flash(\"x\")'");
    QCOMPARE(inJson.status, 1);
    QJsonObject object = json(inJson.output).object();
    QCOMPARE(object.take("ok"_s), QJsonValue(false));
    QCOMPARE(object.take("text"_s).toString(),
             "[REDIRECT] Activity : qvxsipua redirect to : flash(\"x\")"_s);
    QVERIFY(object.take("problem"_s).toString().startsWith("syslog-ng refused"_s));
    QCOMPARE(object.take("refused"_s).toArray().first().toObject().value("activity"_s).toString(),
             "qvxsipua"_s);
    QCOMPARE(object.take("lost"_s).toArray(),
             (QJsonArray {QJsonObject {{"activity"_s, "qvxsipua"_s},
                                       {"what"_s, "level"_s},
                                       {"before"_s, "info"_s},
                                       {"after"_s, "err"_s}}}));
    QVERIFY(object.isEmpty());
}

void tst_ConsoleLooks::refusedDestinationOfAll()
{
    const Outcome outcome = console("redirect all 'flash(\"x\")'");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.contains("Telephony goes to /var/log/Telephony.log, "),
             outcome.errors.constData());
}

void tst_ConsoleLooks::acceptedDestinations_data()
{
    QTest::addColumn<QByteArray>("row"); // of qvxsipua afterwards
    const auto row = [](const char *words, const char *destination) {
        QTest::newRow(words) << "qvxsipua err " + QByteArray(destination) + '\n';
    };
    row("redirect qvxsipua udp 10.1.2.3 514", "udp IP :10.1.2.3 port(514)");
    row("redirect qvxsipua 'tcp   (\"10.1.2.3\" port  (514))'", "tcp IP : (10.1.2.3 port  (514)");
    row("redirect qvxsipua V24", "file /dev/console");
    row("redirect qvxsipua 'unix-dgram(\"/run/x\")'", "unix-dgram /run/x");
    row("redirect all 'file(\"/var/log/a b.log\")'", "file /var/log/a b.log");
    row("redirect all init", "file /var/log/qvxsipua.log");
}

void tst_ConsoleLooks::acceptedDestinations()
{
    const Outcome outcome = console(QTest::currentDataTag());
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.status, 0);
    QTEST(console("level qvxsipua").output, "row");
}

void tst_ConsoleLooks::levelsThatAreNotSet_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors"); // the beginning
    QTest::newRow("levels set qvxsipua:debug nix:debug")
        << QByteArray("qvxsipua:debug\n")
        << QByteArray("loggerctl: not at the level asked for: nix (no activity of this phone)\n");
    QTest::newRow("levels set qvxsipua:debgu sipmmi:info")
        << QByteArray("sipmmi:info\n")
        << QByteArray("loggerctl: not at the level asked for: qvxsipua\nHint: This will fail: "
                      "'qvxsipua:debgu'.");
    QTest::newRow("setSyslogLevels qvxsipua")
        << QByteArray() << QByteArray("loggerctl: not at the level asked for: qvxsipua\n");
}

void tst_ConsoleLooks::levelsThatAreNotSet()
{
    QFETCH(QByteArray, errors);
    const Outcome outcome = console(QTest::currentDataTag());
    QCOMPARE(outcome.status, 1);
    QTEST(outcome.output, "output");
    QVERIFY2(outcome.errors.startsWith(errors), outcome.errors.constData());
    const Outcome inJson = console(QByteArray("--json ") + QTest::currentDataTag());
    const QJsonObject object = json(inJson.output).object();
    QCOMPARE(inJson.status, 1);
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QCOMPARE(object.value("unchanged"_s).toArray().size(), 1);
}

void tst_ConsoleLooks::levelsOfAll()
{
    const Outcome debug = console("levels set all:debug");
    QCOMPARE(debug.status, 0);
    QCOMPARE(debug.output.count(":debug\n"), 10);
    const Outcome reset = console("levels reset");
    QCOMPARE(reset.status, 0);
    QCOMPARE(reset.output.count(":err\n"), 10);
    const QJsonObject object = json(console("--json levels set sipmmi:info").output).object();
    QCOMPARE(object,
             (QJsonObject {{"ok"_s, true},
                           {"value"_s, "0"_s},
                           {"msg"_s, "Fast set log levels OK"_s},
                           {"levels"_s, QJsonObject {{"sipmmi"_s, "info"_s}}},
                           {"unchanged"_s, QJsonArray()},
                           {"unknown"_s, QJsonArray()}}));
}

void tst_ConsoleLooks::comments_data()
{
    QTest::addColumn<QByteArray>("activity");
    QTest::addColumn<QByteArray>("problem");
    QTest::newRow("at emerg") << QByteArray("sipmmi")
                              << QByteArray("sipmmi is at emerg, and a comment is a message of the "
                                            "level err\nHint: It takes comments after: loggerctl "
                                            "level sipmmi err\n");
    QTest::newRow("no activity") << QByteArray("xyz")
                                 << QByteArray("xyz is no activity of this phone, so nothing takes "
                                               "its messages\nHint: The activities of this phone: "
                                               "loggerctl level\n");
    QTest::newRow("mistyped") << QByteArray("qvxsipau")
                              << QByteArray("qvxsipau is no activity of this phone, so nothing "
                                            "takes its messages\nHint: Did you mean 'qvxsipua'?\n");
}

void tst_ConsoleLooks::comments()
{
    QFETCH(QByteArray, activity);
    QFETCH(QByteArray, problem);
    QCOMPARE(console("level sipmmi emerg").status, 0);
    const Outcome outcome = console("comment " + activity + " something");
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors, "loggerctl: the comment was not written: " + problem);
}

void tst_ConsoleLooks::oneActivity()
{
    QCOMPARE(console("level qvxsipua").output,
             QByteArray("qvxsipua err file /var/log/qvxsipua.log\n"));
    const QJsonObject object = json(console("--json level qvxsipua").output).object();
    QCOMPARE(object,
             (QJsonObject {{"activity"_s, "qvxsipua"_s},
                           {"level"_s, "err"_s},
                           {"support"_s, "file"_s},
                           {"destination"_s, "/var/log/qvxsipua.log"_s}}));
    const Outcome unknown = console("level telefony");
    QCOMPARE(unknown.status, 1);
    QCOMPARE(unknown.errors,
             QByteArray("loggerctl: there is no activity 'telefony'\nHint: Did you mean "
                        "'Telephony'?\n"));
}

void tst_ConsoleLooks::names_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("text"); // the beginning of what is said
    QTest::addColumn<QByteArray>("hint");
    const auto row
        = [](const char *line, int status, const char *text, const char *hint = nullptr) {
              QTest::newRow(line) << status << QByteArray(text) << QByteArray(hint);
          };
    row("level telephony", 0, "Telephony err file ");
    row("level TELEPHONY debug", 0, "Level debug for facility : Telephony OK\n");
    row("redirect telephony V24", 0, "[REDIRECT] Activity : Telephony redirect to : V24\n");
    row("redirect WEBAPP ram x", 0, "[REDIRECT] Activity : WebApp redirect to : ");
    row("comment webapp x", 0, "OK\n");
    row("level telefony debug", 1, "Not a valid activity : telefony\n",
        "Hint: Did you mean 'Telephony'?\n");
    row("redirect telefony V24", 1, "not a valid activity : telefony\n",
        "Hint: Did you mean 'Telephony'?\n");
    row("redirect telefony udp 10.1.2.3 514", 1, "not a valid facility : telefony\n",
        "Hint: Did you mean 'Telephony'?\n");
}

void tst_ConsoleLooks::names()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, hint);
    const Outcome outcome = console(QTest::currentDataTag());
    QTEST(outcome.status, "status");
    const QByteArray said = outcome.output + outcome.errors;
    QVERIFY2(said.startsWith(text), said.constData());
    QVERIFY2(hint.isEmpty() ? !said.contains("Hint") : said.endsWith(text + hint),
             said.constData());
}

void tst_ConsoleLooks::lostLevelFile()
{
    const QString file = Phone::facilityFile("qvxsipua"_s);
    QVERIFY(QFile::remove(file));
    const Outcome outcome = console("level qvxsipua info");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.startsWith("Not a valid activity : qvxsipua\nHint: It is in the list "
                                       "of 'loggerctl level', but its level file is lost."),
             outcome.errors.constData());
    QVERIFY(outcome.errors.contains("loggerctl level all info"));
    QVERIFY(outcome.errors.contains("/etc/init.d/autoConfigSyslog start"));
    // The hint is right.
    console("level all info");
    QVERIFY(QFile::exists(file));
    QCOMPARE(console("level qvxsipua info").status, 0);
}

void tst_ConsoleLooks::whoMay()
{
    if (!Users::exist()) {
        return;
    }
    const auto run = [](QStringList (*user)(const QStringList &), const QByteArray &line) {
        return runProgram(user(QStringList {"loggerctl"_s} + wordsOf(line)));
    };
    for (const char *const line : {"redirect qvxsipua ram x", "levels set qvxsipua:info",
                                   "comment qvxsipua x", "level qvxsipua", "level qvxsipua err"}) {
        QCOMPARE(run(&Users::asTechnician, line).errors, QByteArray());
        const Outcome outsider = run(&Users::asVisitor, line);
        QCOMPARE(outsider.status, 3);
        QCOMPARE(outsider.output, QByteArray());
        QVERIFY(outsider.errors.contains("a member of the group quorvix"));
    }
}

QTEST_GUILESS_MAIN(tst_ConsoleLooks)
#include "tst_consolelooks.moc"
