// The set-up script of the phone: what it makes anew and what it leaves alone.
// SPDX-License-Identifier: MIT
#include "support/setupfiles.h"

using namespace SetUpFiles;

class tst_AutoConfig : public SetUpFilesTest
{
    Q_OBJECT

private Q_SLOTS:
    void makesEverythingThatIsMissing();
    void writesNothingWhenAllIsWell();
    void configurationAndBackup_data();
    void configurationAndBackup();
    void invalidFacilityFile_data();
    void invalidFacilityFile();
    void validFacilityFileIsLeftAlone_data();
    void validFacilityFileIsLeftAlone();
    void wrongUsage_data();
    void wrongUsage();
    void everyMessageReachesItsOwnFileOnly();
};

void tst_AutoConfig::makesEverythingThatIsMissing()
{
    QVERIFY(QDir(directory).removeRecursively());
    const Outcome outcome = runScript();
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output + outcome.errors, QByteArray());
    QCOMPARE(notGood(), QStringList());
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QVERIFY(Phone::syslogAccepts(Phone::backup));
    for (const QString &file : allFiles()) {
        QCOMPARE(Faults::mode(file), 0644);
    }
}

void tst_AutoConfig::writesNothingWhenAllIsWell()
{
    const States before = identities();
    QCOMPARE(runScript().status, 0);
    QCOMPARE(identities(), before);
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::configurationAndBackup_data()
{
    // What is there before and after, by the words of content() below.
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("backup");
    QTest::addColumn<QByteArray>("liveAfter");
    QTest::addColumn<QByteArray>("backupAfter");
    const auto row
        = [](const char *live, const char *backup, const char *liveAfter, const char *backupAfter) {
              QTest::addRow("live %s, backup %s", live, backup)
                  << QByteArray(live) << QByteArray(backup) << QByteArray(liveAfter)
                  << QByteArray(backupAfter);
          };
    row("good", "good", "live", "backup");
    for (const char *live : {"broken", "cut off", "empty", "missing"}) {
        row(live, "good", "backup", "backup");
    }
    for (const char *backup : {"broken", "missing"}) {
        row("good", backup, "live", "generated");
        row("broken", backup, "generated", "generated");
        row("missing", backup, "generated", "generated");
    }
}

void tst_AutoConfig::configurationAndBackup()
{
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, backup);
    QFETCH(QByteArray, liveAfter);
    QFETCH(QByteArray, backupAfter);
    // Two good ones that can be told apart, from each other and from what the script generates.
    const QMap<QByteArray, QByteArray> content {
        {"live", QByteArray(m_generated).replace("level(err..", "level(debug..")},
        {"backup", m_generated + "# another good one\n"},
        {"generated", m_generated},
        {"broken", "this is no syslog-ng statement\n"},
        {"cut off", "@version: 3.38\noptions {\n"},
        {"empty", ""}};
    const auto put = [&content](const QString &path, const QByteArray &word) {
        QFile::remove(path);
        if (word != "missing") {
            Phone::write(path, content.value(word));
        }
    };
    put(Phone::liveConfig, live == "good" ? "live" : live);
    put(Phone::backup, backup == "good" ? "backup" : backup);
    const States before = identities();

    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), content.value(liveAfter));
    QCOMPARE(Phone::read(Phone::backup), content.value(backupAfter));
    if (live == "good") {
        QCOMPARE(identity(Phone::liveConfig), before.value(Phone::liveConfig));
    }
    if (backup == "good") {
        QCOMPARE(identity(Phone::backup), before.value(Phone::backup));
    }
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QVERIFY(Phone::syslogAccepts(Phone::backup));
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::invalidFacilityFile_data()
{
    QTest::addColumn<QByteArray>("content");
    const QByteArray rest = "\n21\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";
    for (const char *level : {"1", "2", "8", "33", "-1", "", " 3", "err", "3 "}) {
        QTest::addRow("level '%s'", level) << level + rest;
    }
    for (const char *number : {"local5", "", "21x", "-", "2 1", "99999999999"}) {
        QTest::addRow("facility '%s'", number)
            << QByteArray("3\n") + number + "\nfile(\"/x\")\nfacility signature field\n";
    }
    const auto row
        = [](const char *name, const QByteArray &content) { QTest::newRow(name) << content; };
    row("wrong signature", "3\n21\nfile(\"/x\")\nfacility signature\n");
    row("signature with more", "3\n21\nfile(\"/x\")\nfacility signature field \n");
    row("no redirection", "3\n21\n\nfacility signature field\n");
    row("three lines", "3\n21\nfacility signature field\n");
    row("three lines, no signature", "3\n21\nfile(\"/x\")\n");
    row("five lines", "3\n21\nfile(\"/x\")\nfacility signature field\nmore\n");
    row("a fifth line without its end", "3\n21\nfile(\"/x\")\nfacility signature field\nmore");
    row("an empty fifth line", "3\n21\nfile(\"/x\")\nfacility signature field\n\n");
    row("empty", "");
    row("line feeds", "\n\n\n\n");
    row("no line feed", "3");
    row("carriage returns", "3\r\n21\r\nfile(\"/x\")\r\nfacility signature field\r\n");
}

void tst_AutoConfig::invalidFacilityFile()
{
    QFETCH(QByteArray, content);
    Phone::write(someFile, content);
    States before = identities();
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(someFile), facilityContent(someActivity));
    before[someFile] = identity(someFile);
    QCOMPARE(identities(), before);
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::validFacilityFileIsLeftAlone_data()
{
    QTest::addColumn<QByteArray>("content");
    for (const char *level : {"0", "3", "4", "5", "6", "7"}) {
        QTest::addRow("level %s", level)
            << QByteArray(level) + "\n21\nfile(\"/x y\")\nfacility signature field\n";
    }
    QTest::newRow("other facility and destination")
        << QByteArray("7\n4\nudp(\"10.1.2.3\" port(514))\nfacility signature field\n");
    QTest::newRow("backslashes") << QByteArray(
        "6\n4\nprogram(\"/bin/x \\\"\\n\\\\\" $HOME `id`)\nfacility signature field\n");
    QTest::newRow("last line without its end")
        << QByteArray("6\n4\nfile(\"/x\")\nfacility signature field");
}

void tst_AutoConfig::validFacilityFileIsLeftAlone()
{
    QFETCH(QByteArray, content);
    Phone::write(someFile, content);
    // Something else to do, so that the script really writes.
    QVERIFY(QFile::remove(Phone::facilityFile("WebApp"_s)));
    const QByteArray before = identity(someFile);
    QCOMPARE(runScript().status, 0);
    QCOMPARE(identity(someFile), before);
    QCOMPARE(Phone::read(someFile), content);
    QCOMPARE(tree(), goodTree());
}

void tst_AutoConfig::wrongUsage_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("none") << QStringList();
    QTest::newRow("stop") << QStringList("stop"_s);
    QTest::newRow("empty") << QStringList(QString());
    QTest::newRow("restart") << QStringList("restart"_s);
}

void tst_AutoConfig::wrongUsage()
{
    QFETCH(QStringList, arguments);
    QVERIFY(QFile::remove(Phone::liveConfig));
    const Outcome outcome = runProgram(QStringList {Phone::setUpScript} + arguments);
    QCOMPARE(outcome.status, 2);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors, QByteArray("usage: /etc/init.d/autoConfigSyslog start|print\n"));
    QVERIFY(!QFile::exists(Phone::liveConfig));
}

void tst_AutoConfig::everyMessageReachesItsOwnFileOnly()
{
    const auto text = [](const Phone::Activity &activity, const Phone::Activity &facilityOf) {
        return QString("message of "_s + activity.name + " as "_s + facilityOf.facility + "."_s);
    };
    for (const Phone::Activity &activity : Phone::activities) {
        for (const Phone::Activity &other : Phone::activities) {
            // With the facility of another activity it is nobody's.
            Phone::logMessage(activity.name, other.facility, "err"_s, text(activity, other));
        }
    }
    // The last message of all is a fence: the daemon takes them in their order.
    for (const Phone::Activity &activity : Phone::activities) {
        QVERIFY2(Phone::waitForContent(Phone::predefinedFile(activity),
                                       text(activity, activity).toUtf8()),
                 qPrintable(activity.name));
    }
    for (const Phone::Activity &activity : Phone::activities) {
        const QByteArray log = Phone::read(Phone::predefinedFile(activity));
        QCOMPARE(log.count("message of "), 1);
        QCOMPARE(log.count(text(activity, activity).toUtf8()), 1);
    }
}

QTEST_GUILESS_MAIN(tst_AutoConfig)
#include "tst_autoconfig.moc"
