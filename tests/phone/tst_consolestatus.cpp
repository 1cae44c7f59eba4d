// loggerctl status: what it says about a phone on which all is well, and about each thing that is
// not. SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/places.h"
#include "support/processes.h"
#include "support/users.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

namespace {

QJsonObject statusInJson()
{
    return json(console("--json status").output).object();
}

} // namespace

class tst_ConsoleStatus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void allIsWell();
    void fitsOnOneScreen();
    void memberOfTheGroup();
    void outsider();
    void whatSomebodyHasChosen();
    void logServer();
    void levelFiles();
    void configurations();
    void daemon();
    void serviceThatWasReplaced();
    void serviceAbsent();
};

void tst_ConsoleStatus::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleStatus::init()
{
    Phone::resetConfiguration();
}

void tst_ConsoleStatus::allIsWell()
{
    const Outcome outcome = console("status");
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.status, 0);
    const QByteArray version = console("--version").output.trimmed().split(' ').last();
    const QByteArray daemon = Phone::read(Phone::pidFile).trimmed();
    const QByteArrayList parts {"LoggerModule   " + version + ", runs since 20",
                                "syslog-ng      process " + daemon + ", runs since 20",
                                "configuration  accepted by syslog-ng, its backup accepted\n",
                                "level files    good\n",
                                "log server     none\n",
                                "activities     all at err and on their own files\n",
                                "All is well.\n"};
    for (const QByteArray &part : parts) {
        QVERIFY2(outcome.output.contains(part), outcome.output.constData());
    }
    const QJsonObject object = statusInJson();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QCOMPARE(object.value("problems"_s).toArray(), QJsonArray());
    const QJsonObject syslog = object.value("syslog"_s).toObject();
    QCOMPARE(syslog.value("process"_s).toInt(), daemon.toInt());
    QCOMPARE(syslog.value("backup"_s).toString(), "accepted"_s);
    const auto since = QDateTime::fromString(
        object.value("service"_s).toObject().value("since"_s).toString(), Qt::ISODate);
    QVERIFY(since.isValid() && since <= QDateTime::currentDateTimeUtc()
            && since.secsTo(QDateTime::currentDateTimeUtc()) < 3600);
    QVERIFY(object.value("ram"_s).toObject().value("free"_s).toDouble() > 0);
}

void tst_ConsoleStatus::fitsOnOneScreen()
{
    QCOMPARE(console("level all debug").status, 0);
    const QByteArray output = console("status").output;
    QVERIFY2(output.startsWith("LoggerModule "), output.constData());
    QVERIFY2(output.count('\n') <= 24, output.constData());
    const QList<QByteArray> lines = output.split('\n');
    for (const QByteArray &line : lines) {
        QVERIFY2(line.size() <= 80, line.constData());
    }
}

void tst_ConsoleStatus::memberOfTheGroup()
{
    if (!Users::exist()) {
        return;
    }
    const Outcome outcome = runProgram(Users::asTechnician({"loggerctl"_s, "status"_s}));
    QCOMPARE(outcome.errors, QByteArray());
    QCOMPARE(outcome.status, 0);
    QVERIFY2(outcome.output.endsWith("\nAll is well.\n"), outcome.output.constData());
}

void tst_ConsoleStatus::outsider()
{
    if (!Users::exist()) {
        return;
    }
    const Outcome outcome = runProgram(Users::asVisitor({"loggerctl"_s, "status"_s}));
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.contains("PROBLEM: This user may not ask LoggerModule: "),
             outcome.output.constData());
}

void tst_ConsoleStatus::whatSomebodyHasChosen()
{
    QCOMPARE(console("level qvxsipua debug").status, 0);
    QCOMPARE(console("redirect sipmmi flash mmi").status, 0);
    const Outcome outcome = console("status");
    QCOMPARE(outcome.status, 0);
    QVERIFY2(outcome.output.endsWith("Not at err, or not on their own files:\n"
                                     "qvxsipua  debug *  file  /var/log/qvxsipua.log\n"
                                     "sipmmi    err      file  /log/flash/mmi.log\n"
                                     "All is well.\n"),
             outcome.output.constData());
    QCOMPARE(statusInJson().value("changed"_s).toArray().size(), 2);
}

void tst_ConsoleStatus::logServer()
{
    Phone::setSetting("LogRemoteServerAddress"_s, "10.1.2.3"_s);
    Phone::setSetting("LogRemoteServerPort"_s, "514"_s);
    Phone::setSetting("LogRemoteServerProtocol"_s, "udp"_s);
    Phone::setSetting("LogRemoteServerExist"_s, "true"_s);
    const QByteArray output = console("status").output;
    Phone::setSetting("LogRemoteServerExist"_s, "false"_s);
    QVERIFY2(output.contains("\nlog server     udp 10.1.2.3 514\n"), output.constData());
    Phone::waitForService();
    QVERIFY(console("status").output.contains("\nlog server     none\n"));
}

void tst_ConsoleStatus::levelFiles()
{
    QVERIFY(QFile::remove(Phone::facilityFile("qvxsipua"_s)));
    Phone::write(Phone::facilityFile("Telephony"_s), "2\n16\nx\nfacility signature field\n");
    const Outcome outcome = console("status");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.contains("\nlevel files    qvxsipua (lost), Telephony (invalid)\n"),
             outcome.output.constData());
    QVERIFY(outcome.output.contains("\nPROBLEM: The level file is lost of: qvxsipua."));
    QVERIFY(outcome.output.contains("\nPROBLEM: The level file is invalid of: Telephony."));
    const QJsonObject object = statusInJson();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QCOMPARE(object.value("problems"_s).toArray().size(), 2);
    // The cure that it names.
    console("level all err");
    QCOMPARE(console("status").status, 0);
}

void tst_ConsoleStatus::configurations()
{
    const QByteArray live = Phone::read(Phone::liveConfig);
    Phone::write(Phone::liveConfig, live + "this is no statement\n");
    Outcome outcome = console("status");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.contains("\nconfiguration  refused by syslog-ng, its backup "
                                     "accepted\n"),
             outcome.output.constData());
    QVERIFY(outcome.output.contains("PROBLEM: syslog-ng does not accept logappli.conf."));
    QCOMPARE(console("level all restore").status, 0); // as it says
    QCOMPARE(console("status").status, 0);

    Phone::write(Phone::backup, "this is no statement\n");
    outcome = console("status");
    QCOMPARE(outcome.status, 1);
    QVERIFY(outcome.output.contains("PROBLEM: syslog-ng does not accept logappli.conf.sav"));
    QVERIFY(QFile::remove(Phone::backup));
    outcome = console("status");
    QVERIFY(outcome.output.contains("PROBLEM: logappli.conf.sav is missing, the backup."));
}

void tst_ConsoleStatus::daemon()
{
    const QByteArray recorded = Phone::read(Phone::pidFile);
    Phone::write(Phone::pidFile, QByteArray::number(getpid()) + '\n');
    Outcome outcome = console("status");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.contains("\nsyslog-ng      does not run\n"),
             outcome.output.constData());
    QVERIFY(outcome.output.contains("of its pid file is not"));
    QVERIFY(QFile::remove(Phone::pidFile));
    outcome = console("status");
    Phone::write(Phone::pidFile, recorded);
    QCOMPARE(outcome.status, 1);
    QVERIFY(outcome.output.contains("PROBLEM: syslog-ng has no pid file"));
    QCOMPARE(console("status").status, 0);
}

void tst_ConsoleStatus::serviceThatWasReplaced()
{
    const QString copy = "/run/phone/LoggerModule.copy"_s;
    QVERIFY(QFile::copy(Phone::serviceProgram, copy));
    {
        const Phone::Service service(QProcessEnvironment::systemEnvironment(), true, copy);
        QCOMPARE(console("status").status, 0);
        QVERIFY(QFile::remove(copy));
        const Outcome outcome = console("status");
        QCOMPARE(outcome.status, 1);
        QVERIFY2(outcome.output.contains("still runs as it was before: start it anew"),
                 outcome.output.constData());
    }
}

void tst_ConsoleStatus::serviceAbsent()
{
    Phone::stopBootedService();
    // What can be seen without it is said.
    const Outcome outcome = console("status");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.output.startsWith("LoggerModule   does not answer\nsyslog-ng      process "),
             outcome.output.constData());
    QVERIFY(outcome.output.contains("\nconfiguration  accepted by syslog-ng"));
    QVERIFY(outcome.output.contains("PROBLEM: LoggerModule does not answer"));
    QVERIFY(!outcome.output.contains("All is well"));
}

QTEST_GUILESS_MAIN(tst_ConsoleStatus)
#include "tst_consolestatus.moc"
