// loggerctl archive: what it says about the archive that was made, or was not.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/faults.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/terminal.h"
#include "support/users.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

const QString archive = QStringLiteral("/var/volatile/tmp/all_logs.tar.gz");

/// An environment of the service in which a program of the fakes folder @p name is found first.
QProcessEnvironment serviceWith(const QString &name)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PATH"_s,
                       Faults::fake(name) + QLatin1Char(':') + qEnvironmentVariable("PATH"));
    return environment;
}

} // namespace

class tst_ConsoleArchive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void saysWhatItMade();
    void copies();
    void copiesThatCannotBeMade_data();
    void copiesThatCannotBeMade();
    void memberOfTheGroup();
    void archiveThatOnlyRootMayRead();
    void growingLogs_data();
    void growingLogs();
    void longPacking();
};

void tst_ConsoleArchive::initTestCase()
{
    QVERIFY(Phone::isBox());
    Phone::stopBootedService();
    Phone::write("/data/core/console.core"_s, "core");
    Phone::write("/var/log/console.log"_s, "log");
}

void tst_ConsoleArchive::saysWhatItMade()
{
    const Phone::Service service;
    const Outcome outcome = console("archive");
    QCOMPARE(outcome.status, 0);
    QVERIFY2(outcome.output.startsWith("Generate logs successfully\n"
                                       "/var/volatile/tmp/all_logs.tar.gz: "),
             outcome.output.constData());
    const QByteArray names = runProgram({"tar"_s, "-tzf"_s, archive}).output;
    QVERIFY(names.contains("data/core/console.core\n"));
    const int files = names.count('\n') - names.count("/\n");
    QVERIFY(outcome.output.endsWith(", " + QByteArray::number(files) + " files\n"));
    const QJsonObject object = json(console("--json archive").output).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QCOMPARE(object.value("value"_s).toString(), "0"_s);
    QCOMPARE(object.value("path"_s).toString(), archive);
    QCOMPARE(object.value("size"_s).toInt(), static_cast<int>(QFile(archive).size()));
    QCOMPARE(object.value("tries"_s).toInt(), 1);
    QVERIFY(object.value("files"_s).toInt() >= files);
}

void tst_ConsoleArchive::copies()
{
    const Phone::Service service;
    const QTemporaryDir directory;
    const QString copy = directory.filePath("logs.tar.gz"_s);
    Phone::write(copy, "what was there before");
    QCOMPARE(console("archive -o " + copy.toUtf8()).status, 0);
    QCOMPARE(Phone::read(copy), Phone::read(archive));
    const Outcome outcome = console("archive -o /nonexistent/x");
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.startsWith("loggerctl: no copy was made: /nonexistent/x: "),
             outcome.errors.constData());
    // Half a copy is none.
    Phone::write(copy, "what was there before");
    QCOMPARE(runProgram({"bash"_s, "-c"_s,
                         "ulimit -f 0; trap '' XFSZ; exec loggerctl archive -o "_s + copy})
                 .status,
             1);
    QCOMPARE(Phone::read(copy), QByteArray("what was there before"));
}

void tst_ConsoleArchive::copiesThatCannotBeMade_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("no directory") << "true"_s
                                  << "/tmp/none/x"_s << QByteArray("No such file");
    QTest::newRow("directory") << "true"_s
                               << "/tmp"_s << QByteArray("no regular file");
    // Root could put a file in its place.
    QTest::newRow("FIFO") << "mkfifo /tmp/copy.fifo"_s
                          << "/tmp/copy.fifo"_s << QByteArray("no regular file");
    QTest::newRow("full disk") << "mkdir /tmp/full; mount -t tmpfs -o size=8k none /tmp/full; "
                                  "head -c 20000 /dev/urandom >/var/log/random.log"_s
                               << "/tmp/full/x"_s << QByteArray("No space left on device");
}

void tst_ConsoleArchive::copiesThatCannotBeMade()
{
    QFETCH(QString, command);
    QFETCH(QString, path);
    QFETCH(QByteArray, reason);
    const Phone::Service service;
    QCOMPARE(runProgram({"bash"_s, "-c"_s, command}).status, 0);
    const Outcome outcome = console("--json archive -o " + path.toUtf8());
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.startsWith("loggerctl: no copy was made: " + path.toUtf8() + ": ")
                 && outcome.errors.contains(reason),
             outcome.errors.constData());
    const QJsonObject object = json(outcome.output).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QVERIFY(object.value("problem"_s).toString().startsWith("no copy was made: "_s));
    QCOMPARE(object.value("path"_s), QJsonValue(archive));
    QVERIFY(path == "/tmp"_s || !QFileInfo(path).isFile());
    runProgram({"bash"_s, "-c"_s,
                "umount /tmp/full; rm -rf /tmp/full /tmp/copy.fifo "
                "/var/log/random.log"_s});
}

void tst_ConsoleArchive::memberOfTheGroup()
{
    if (!Users::exist()) {
        return;
    }
    const Phone::Service service;
    const Outcome outcome = runProgram(Users::asTechnician({"loggerctl"_s, "archive"_s}));
    QCOMPARE(outcome.status, 0);
    QVERIFY(outcome.output.contains(" files\n"));
}

void tst_ConsoleArchive::archiveThatOnlyRootMayRead()
{
    if (!Users::exist()) {
        return;
    }
    const Phone::Service service;
    const QFile::Permissions before = QFile::permissions("/var/volatile/tmp"_s);
    QVERIFY(QFile::setPermissions("/var/volatile/tmp"_s,
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    const Outcome outcome = runProgram(Users::asTechnician({"loggerctl"_s, "archive"_s}));
    QVERIFY(QFile::setPermissions("/var/volatile/tmp"_s, before));
    QCOMPARE(outcome.status, 0);
    QCOMPARE(
        outcome.output,
        QByteArray("Generate logs successfully\n/var/volatile/tmp/all_logs.tar.gz: this user may "
                   "not read it\n"));
}

void tst_ConsoleArchive::growingLogs_data()
{
    QTest::addColumn<int>("times");
    QTest::addColumn<int>("status");
    QTest::newRow("once") << 1 << 0;
    QTest::newRow("twice") << 2 << 0;
    QTest::newRow("each time") << 3 << 1;
}

void tst_ConsoleArchive::growingLogs()
{
    QFETCH(int, times);
    QFETCH(int, status);
    const QString record = "/run/phone/archive.growing"_s;
    const Phone::Service service(serviceWith("archive-growing"_s));
    Phone::write(record, QByteArray::number(times));
    const Outcome outcome = console("archive");
    QCOMPARE(outcome.status, status);
    QCOMPARE(Phone::read(record).trimmed(), QByteArray("0"));
    if (status == 0) {
        QCOMPARE(outcome.errors, QByteArray());
        return;
    }
    QCOMPARE(outcome.output, QByteArray());
    QVERIFY2(outcome.errors.startsWith("Error on exit\nHint: Tried 3 times. A log grew each time"),
             outcome.errors.constData());
    Phone::write(record, "9");
    const QJsonObject object = json(console("--json archive").output).object();
    QCOMPARE(object,
             (QJsonObject {{"ok"_s, false},
                           {"value"_s, "1"_s},
                           {"msg"_s, "Error on exit"_s},
                           {"problem"_s, "Error on exit"_s},
                           {"tries"_s, 3}}));
    QCOMPARE(Phone::read(record).trimmed(), QByteArray("6"));
}

void tst_ConsoleArchive::longPacking()
{
    const Phone::Service service(serviceWith("archive-endless"_s));
    Terminal terminal({"loggerctl", "archive"});
    QVERIFY(terminal.waitFor("\rpacking: 1 s, 6 bytes"));
    QCOMPARE(terminal.waitForEnd(60000), 1);
    QVERIFY2(terminal.output().simplified().contains("loggerctl: no archive was made: packing took "
                                                     "longer than 30 s and was given up."),
             terminal.output().constData());
    QVERIFY(!terminal.output().contains("successfully"));
}

QTEST_GUILESS_MAIN(tst_ConsoleArchive)
#include "tst_consolearchive.moc"
