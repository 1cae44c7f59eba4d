// What loggerctl asks before it removes something, and what it says about it afterwards.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/terminal.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

namespace {

const QString ramLog = QStringLiteral("/var/log/removal.log");
const QString flashLog = QStringLiteral("/log/flash/removal.log");
const QString defenceLog = QStringLiteral("/log/Defence.log");

} // namespace

class tst_ConsoleRemoval : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void asksBeforeItDeletes_data();
    void asksBeforeItDeletes();
    void doesNotAskWhereNobodyIs();
    void saysWhatWasDeleted();
    void nothingToDelete();
    void asksBeforeItTrims();
    void saysWhatIsLeft_data();
    void saysWhatIsLeft();
    void factoryReset();
};

void tst_ConsoleRemoval::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_ConsoleRemoval::init()
{
    Phone::write(ramLog, "in RAM\n");
    Phone::write(flashLog, "in flash\n");
    Phone::write(defenceLog, "one\ntwo\nthree\n");
}

void tst_ConsoleRemoval::asksBeforeItDeletes_data()
{
    QTest::addColumn<QByteArray>("typed");
    QTest::addColumn<bool>("goes");
    for (const char *const yes : {"y\n", "Y\n", "yes\n"}) {
        QTest::newRow(yes) << QByteArray(yes) << true;
    }
    for (const char *const no : {"\n", "n\n", "yesterday\n", "\004"}) {
        QTest::newRow(no) << QByteArray(no) << false;
    }
}

void tst_ConsoleRemoval::asksBeforeItDeletes()
{
    QFETCH(QByteArray, typed);
    QFETCH(bool, goes);
    Terminal terminal({"loggerctl", "delete", "flash"});
    QVERIFY2(terminal.waitFor("[y/N] "), terminal.output().constData());
    QVERIFY(terminal.output().simplified().contains(
        "in /var/log/ and /log/flash/? There is no way back."));
    QVERIFY(QFile::exists(ramLog) && QFile::exists(flashLog));
    terminal.type(typed);
    QCOMPARE(terminal.waitForEnd(), goes ? 0 : 1);
    QCOMPARE(QFile::exists(ramLog), !goes);
    QCOMPARE(QFile::exists(flashLog), !goes);
    QCOMPARE(terminal.output().contains("nothing was changed"), !goes);
}

void tst_ConsoleRemoval::doesNotAskWhereNobodyIs()
{
    Terminal terminal({"loggerctl", "delete", "--yes"});
    QCOMPARE(terminal.waitForEnd(), 0);
    QVERIFY(!terminal.output().contains("[y/N]"));
    QVERIFY(!QFile::exists(ramLog));
    const Outcome script = console("defence 1 delete");
    QCOMPARE(script.status, 0);
    QCOMPARE(Phone::read(defenceLog), QByteArray("one\ntwo\n"));
}

void tst_ConsoleRemoval::saysWhatWasDeleted()
{
    const QByteArray output = console("delete").output;
    QVERIFY2(output.startsWith("All logs files removed in /var/log/ directory.\n"),
             output.constData());
    QVERIFY(output.contains("\n  /var/log/removal.log (7 bytes)\n"));
    QVERIFY(!output.contains("/log/flash"));
    const QJsonObject object = json(console("--json delete flash").output).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QVERIFY(object.value("removed"_s)
                .toArray()
                .contains(QJsonObject {{"path"_s, flashLog}, {"size"_s, 9}}));
    // A directory is listed by the service, and stays.
    QVERIFY(QDir().mkdir("/var/log/a.directory"_s));
    const QByteArray again = console("delete").output;
    QVERIFY(QDir().rmdir("/var/log/a.directory"_s));
    QVERIFY(again.startsWith("All logs files removed in /var/log/ directory.\n"));
    QVERIFY(!again.contains("a.directory"));
}

void tst_ConsoleRemoval::nothingToDelete()
{
    console("delete flash");
    // syslog-ng may have begun a new file since; then there is something.
    Terminal terminal({"loggerctl", "delete", "FLASH"});
    QCOMPARE(terminal.waitForEnd(), 1);
    QVERIFY(!terminal.output().contains("[y/N]"));
    QVERIFY(terminal.output().startsWith("Wrong parameter in deleteTmpLogFileWithParameter\n"));
}

void tst_ConsoleRemoval::asksBeforeItTrims()
{
    Terminal refused({"loggerctl", "defence", "9", "delete"});
    QVERIFY(refused.waitFor("[y/N] "));
    QVERIFY(refused.output().simplified().startsWith(
        "Delete the newest 3 of 3 lines of /log/Defence.log? There is no way back."));
    refused.type("n\n");
    QCOMPARE(refused.waitForEnd(), 1);
    QCOMPARE(Phone::read(defenceLog), QByteArray("one\ntwo\nthree\n"));
    Terminal agreed({"loggerctl", "defence", "1", "delete"});
    QVERIFY(agreed.waitFor("[y/N] "));
    agreed.type("y\n");
    QCOMPARE(agreed.waitForEnd(), 0);
    QCOMPARE(Phone::read(defenceLog), QByteArray("one\ntwo\n"));
    // There is nothing to lose.
    Terminal reading({"loggerctl", "defence", "1", "read"});
    QCOMPARE(reading.waitForEnd(), 0);
    QCOMPARE(reading.output(), QByteArray("two\n"));
}

void tst_ConsoleRemoval::saysWhatIsLeft_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("log");
    QTest::newRow("2") << QByteArray("[DEFENCE] delete 2 lines OK\n1 line is left.\n")
                       << QByteArray("one\n");
    QTest::newRow("3") << QByteArray("[DEFENCE] delete 3 lines OK\n0 lines are left.\n")
                       << QByteArray();
    QTest::newRow("7") << QByteArray("[DEFENCE] delete 3 lines OK\nIt had only 3 lines. Instead of "
                                     "them it holds the notice \"Only 3 lines in file : "
                                     "Defence.log \".\n")
                       << QByteArray("Only 3 lines in file : Defence.log \n");
}

void tst_ConsoleRemoval::saysWhatIsLeft()
{
    const Outcome outcome
        = console(QByteArray("defence ") + QTest::currentDataTag() + " delete --yes");
    QCOMPARE(outcome.status, 0);
    QTEST(outcome.output, "output");
    QTEST(Phone::read(defenceLog), "log");
}

void tst_ConsoleRemoval::factoryReset()
{
    QCOMPARE(console("level qvxsipua debug").status, 0);
    QCOMPARE(console("redirect sipmmi ram x").status, 0);
    Terminal refused({"loggerctl", "factory-reset"});
    QVERIFY(refused.waitFor("[y/N] "));
    refused.type("\n");
    QCOMPARE(refused.waitForEnd(), 1);
    QCOMPARE(console("level qvxsipua").output,
             QByteArray("qvxsipua debug file /var/log/qvxsipua.log\n"));
    const Outcome outcome = console("factory-reset");
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.output, QByteArray("Every activity is at err and logs to its own file.\n"));
    QCOMPARE(console("level qvxsipua").output,
             QByteArray("qvxsipua err file /var/log/qvxsipua.log\n"));
    QCOMPARE(console("level sipmmi").output, QByteArray("sipmmi err file /var/log/sipmmi.log\n"));
    QCOMPARE(json(console("--json factory-reset").output).object(), (QJsonObject {{"ok"_s, true}}));
}

QTEST_GUILESS_MAIN(tst_ConsoleRemoval)
#include "tst_consoleremoval.moc"
