// loggerctl check: what it says of a phone on which all agree, and of one after an update.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/firmware.h"
#include "support/setupfiles.h"
#include "support/users.h"

#include <QJsonArray>

#include <sys/stat.h>

using namespace SetUpFiles;

class tst_ConsoleCheck : public SetUpFilesTest
{
    Q_OBJECT

private Q_SLOTS:
    void allAgree();
    void chosenLevelsAgree();
    void updateOfTheFirmware();
    void remediesHelp();
    void everythingIsLost();
    void anybodyMayLook();
    void withoutServiceAndBus();
};

void tst_ConsoleCheck::allAgree()
{
    const Outcome outcome = console("check");
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.output,
             QByteArray("table          10 activities\n"
                        "configuration  10 activities\n"
                        "backup         10 activities\n"
                        "level files    10 activities\n"
                        "All agree.\n"));
    QCOMPARE(outcome.status, 0);
    const QJsonObject object = json(console("--json check").output).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QCOMPARE(object.value("differences"_s).toArray(), QJsonArray());
    for (const char *place : {"table", "configuration", "backup", "levelFiles"}) {
        QCOMPARE(object.value(QLatin1String(place)).toArray().size(), 10);
    }
}

void tst_ConsoleCheck::chosenLevelsAgree()
{
    QCOMPARE(console("level all info").status, 0);
    QCOMPARE(console("redirect all udp 10.1.2.3 514").status, 0);
    QCOMPARE(console("levels set qvxsipua:debug").status, 0);
    QCOMPARE(console("check").status, 0);
    // The backup's levels come without the level files.
    QCOMPARE(console("level all restore").status, 0);
    const Outcome outcome = console("check");
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output.count("DIFFERENCE: "), 10);
    QVERIFY2(outcome.output.contains("\nDIFFERENCE: qvxsipua is at err in logappli.conf, and at "
                                     "debug in its level file. Set it: loggerctl level qvxsipua "
                                     "err\n"),
             outcome.output.constData());
    QCOMPARE(console("level all err").status, 0);
    QCOMPARE(console("check").status, 0);
}

void tst_ConsoleCheck::updateOfTheFirmware()
{
    const Firmware firmware(Video::row, {"Platform"});
    const Outcome outcome = console("check");
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.errors, QByteArray());
    const QByteArray start = "/etc/init.d/autoConfigSyslog start";
    const QByteArray both = start + " && kill -HUP $(cat /var/run/syslog-ng.pid)\n";
    QCOMPARE(outcome.output,
             "table          10 activities\n"
             "configuration  10 activities\n"
             "backup         10 activities\n"
             "level files    10 activities\n"
             "DIFFERENCE: Video has no block in logappli.conf. It gets one by: "
                 + both
                 + "DIFFERENCE: Video has no block in logappli.conf.sav. It gets one by: " + start
                 + "\nDIFFERENCE: The level file of Video is missing. It is made anew by: " + start
                 + "\nDIFFERENCE: Platform is not in the table, and has a block in logappli.conf "
                   "and logappli.conf.sav. It is taken out by: "
                 + both);
    const QJsonObject object = json(console("--json check").output).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    const QJsonObject first = object.value("differences"_s).toArray().first().toObject();
    QCOMPARE(first.value("activity"_s).toString(), "Video"_s);
    QCOMPARE(first.value("text"_s).toString(), "Video has no block in logappli.conf"_s);
    QVERIFY(first.value("remedy"_s).toString().startsWith("It gets one by: "_s));
}

void tst_ConsoleCheck::remediesHelp()
{
    const Firmware firmware(Video::row, {"Platform"});
    const QJsonObject object = json(console("--json check").output).object();
    const QString remedy
        = object.value("differences"_s).toArray().first().toObject().value("remedy"_s).toString();
    const QString command = remedy.mid(remedy.indexOf(": "_s) + 2);
    QCOMPARE(runProgram({"sh"_s, "-c"_s, command}).status, 0);
    QCOMPARE(console("check").status, 0);
    // It was told to the syslog daemon, too.
    QTRY_VERIFY_WITH_TIMEOUT(
        [] {
            Phone::logMessage("Video"_s, "local7"_s, "err"_s, "seen"_s);
            return Phone::waitForContent(Video::log, "seen", 200);
        }(),
        30000);
}

void tst_ConsoleCheck::everythingIsLost()
{
    for (const QString &path : allFiles()) {
        QVERIFY(QFile::remove(path));
        if (mkfifo(QFile::encodeName(path).constData(), 0644) != 0) {
            QFAIL("cannot make a FIFO");
        }
    }
    const Faults::Aside script(Phone::setUpScript);
    const Outcome outcome = console("check");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.contains("DIFFERENCE: The set-up script does not tell its table. "),
             outcome.output.constData());
    QVERIFY(outcome.output.contains("DIFFERENCE: logappli.conf is missing. "));
    QVERIFY(outcome.output.contains("DIFFERENCE: logappli.conf.sav is missing. "));
    QVERIFY(outcome.output.contains("DIFFERENCE: The level file of sipmmi is invalid. "));
}

void tst_ConsoleCheck::anybodyMayLook()
{
    if (!Users::exist()) {
        return;
    }
    const QStringList command = Users::asVisitor({"loggerctl"_s, "check"_s});
    QVERIFY(runProgram(command).output.endsWith("\nAll agree.\n"));
    Faults::setMode(Phone::backup, 0600);
    const Outcome outcome = runProgram(command);
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.contains("\nDIFFERENCE: logappli.conf.sav cannot be read. Look as "
                                     "root\n"),
             outcome.output.constData());
}

void tst_ConsoleCheck::withoutServiceAndBus()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DBUS_SYSTEM_BUS_ADDRESS"_s, "unix:path=/nowhere"_s);
    const Outcome outcome = console("check", environment);
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.errors, QByteArray());
}

QTEST_GUILESS_MAIN(tst_ConsoleCheck)
#include "tst_consolecheck.moc"
