// Reading logs by way of the web page's gateway: which lines, how many, how far it looks for them,
// and what is no log of the phone. SPDX-License-Identifier: MIT
#include "support/gateway.h"
#include "support/phone.h"
#include "support/web.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <sys/stat.h>

class tst_GatewayLogs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void logLines();
    void numbersOfLines_data();
    void numbersOfLines();
    void noSuchLogs_data();
    void noSuchLogs();
    void logsThatAreNotRead_data();
    void logsThatAreNotRead();
    void directoryBehindALink();
    void hugeLog();
    void searchThatStops();
};

void tst_GatewayLogs::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_GatewayLogs::init()
{
    Phone::resetConfiguration();
}

void tst_GatewayLogs::logLines()
{
    Phone::write("/var/log/qvxsipua.log"_s, "one\ntwo <b>\nthree\n\xff\n");
    QJsonObject object = Web::get("logs/qvxsipua?lines=3"_s).object();
    QCOMPARE(object.value("file"_s).toString(), "/var/log/qvxsipua.log"_s);
    QCOMPARE(object.value("lines"_s).toArray(),
             (QJsonArray {"two <b>"_s, "three"_s, QString(QChar::ReplacementCharacter)}));
    object = Web::get("logs/qvxsipua?grep=%3Cb%3E"_s).object();
    QCOMPARE(object.value("lines"_s).toArray(), QJsonArray {"two <b>"_s});
    Phone::text("redirect"_s, {"sipmmi"_s, "udp"_s, "10.1.2.3"_s, 514});
    QCOMPARE(Web::get("logs/sipmmi"_s).object(),
             (QJsonObject {{"activity"_s, "sipmmi"_s},
                           {"place"_s, "udp 10.1.2.3 port(514)"_s},
                           {"lines"_s, QJsonArray()}}));
}

void tst_GatewayLogs::numbersOfLines_data()
{
    QTest::addColumn<QString>("lines");
    QTest::addColumn<int>("status");
    for (const char *const good : {"0", "1", "2000"}) {
        QTest::newRow(good) << QString::fromLatin1(good) << 200;
    }
    for (const char *const bad : {"", "abc", "-1", "2001", "1.5", "99999999999", "5x", "0x10"}) {
        QTest::newRow(bad) << QString::fromLatin1(bad) << 422;
    }
}

void tst_GatewayLogs::numbersOfLines()
{
    QFETCH(QString, lines);
    QFETCH(int, status);
    for (const QString &resource : {"logs/qvxsipua"_s, "defence"_s}) {
        const Web::Response response = Web::get(resource + "?lines="_s + lines);
        QCOMPARE(response.status, status);
        QCOMPARE(response.error().isEmpty(), status == 200);
    }
    if (status != 200) {
        QCOMPARE(Web::get("events?log=qvxsipua&lines="_s + lines).status, status);
    }
}

void tst_GatewayLogs::noSuchLogs_data()
{
    QTest::addColumn<QString>("path");
    for (const char *const path : {"nothing", "..%2F..%2Fetc%2Fpasswd", "../../etc/passwd",
                                   "qvxsipua/more", "qvxsipua/../defence", "a/b/c/d/e"}) {
        QTest::newRow(path) << QString::fromLatin1(path);
    }
}

void tst_GatewayLogs::noSuchLogs()
{
    QFETCH(QString, path);
    const Web::Response response = Web::get("logs/"_s + path);
    QCOMPARE(response.status, 404);
    QVERIFY(!response.body.contains("root:"));
}

void tst_GatewayLogs::logsThatAreNotRead_data()
{
    QTest::addColumn<QString>("destination");
    QTest::newRow("outside") << "file(\"/etc/passwd\")"_s;
    QTest::newRow("with dots") << "file(\"/var/log/../../etc/passwd\")"_s;
    QTest::newRow("link") << "file(\"/var/log/link.log\")"_s;
    QTest::newRow("directory link") << "file(\"/var/log/out/passwd\")"_s;
    QTest::newRow("FIFO") << "file(\"/var/log/fifo.log\")"_s;
    QTest::newRow("directory") << "file(\"/var/log/directory.log\")"_s;
}

void tst_GatewayLogs::logsThatAreNotRead()
{
    QFETCH(QString, destination);
    QFile::link("/etc/passwd"_s, "/var/log/link.log"_s);
    QFile::link("/etc"_s, "/var/log/out"_s);
    mkfifo("/var/log/fifo.log", 0666);
    QDir().mkdir("/var/log/directory.log"_s);
    // Without the daemon, which would write there.
    QByteArray live = Phone::read(Phone::liveConfig);
    live.replace("file(\"/var/log/qvxsipua.log\")", destination.toUtf8());
    Phone::write(Phone::liveConfig, live);
    const QJsonObject object = Web::get("logs/qvxsipua"_s).object();
    for (const char *const path : {"link.log", "out", "fifo.log"}) {
        QVERIFY(QFile::remove("/var/log/"_s + QString::fromLatin1(path)));
    }
    QVERIFY(QDir().rmdir("/var/log/directory.log"_s));
    QCOMPARE(object.value("lines"_s), QJsonValue(QJsonArray()));
    QVERIFY(object.value("problem"_s).toString().startsWith("This log cannot be read"_s));
}

void tst_GatewayLogs::directoryBehindALink()
{
    // A phone whose log directory is somewhere else is read there.
    const QStringList elsewhere {
        "unshare"_s, "--mount"_s, "sh"_s, "-c"_s,
        "mount -t tmpfs none /var && ln -s /run /var/run && mkdir /var/place &&"
        " ln -s place /var/log && echo 'a line' >/var/log/qvxsipua.log && exec \"$0\" \"$@\""_s};
    if (runProgram(elsewhere + QStringList {"true"_s}).status != 0) {
        QSKIP("no mounts can be made here");
    }
    const QJsonObject object
        = Gateway::response(
              runProgram(elsewhere + Gateway::command("GET"_s, "logs/qvxsipua"_s)).output)
              .object();
    QCOMPARE(object.value("lines"_s).toArray(), QJsonArray {"a line"_s});
}

void tst_GatewayLogs::hugeLog()
{
    // Only its end is read.
    QFile log("/var/log/qvxsipua.log"_s);
    QVERIFY(log.open(QIODevice::WriteOnly));
    QVERIFY(log.resize(qint64(1) << 30));
    QVERIFY(log.seek(log.size()));
    QVERIFY(log.write("\nthe last line\n") > 0);
    log.close();
    const QJsonObject object = Web::get("logs/qvxsipua?lines=1"_s).object();
    QVERIFY(log.remove());
    QCOMPARE(object.value("lines"_s).toArray(), QJsonArray {"the last line"_s});
}

void tst_GatewayLogs::searchThatStops()
{
    // Of a log that is larger than is searched in a request, the page says which part it saw.
    constexpr int searched = 64 << 20;
    QFile log("/var/log/qvxsipua.log"_s);
    QVERIFY(log.open(QIODevice::WriteOnly));
    QVERIFY(log.write("wanted, long ago\n") > 0);
    QVERIFY(log.resize(searched + (1 << 20)));
    QVERIFY(log.seek(log.size()));
    QVERIFY(log.write("\nwanted\n") > 0);
    log.close();
    const QJsonObject few = Web::get("logs/qvxsipua?lines=1&grep=wanted"_s).object();
    const QJsonObject more = Web::get("logs/qvxsipua?lines=2&grep=wanted"_s).object();
    QVERIFY(log.remove());
    QCOMPARE(few.value("lines"_s).toArray(), QJsonArray {"wanted"_s});
    QVERIFY(!few.contains("searched"_s));
    QCOMPARE(more.value("lines"_s).toArray(), QJsonArray {"wanted"_s});
    QCOMPARE(more.value("searched"_s), QJsonValue(searched));
}

QTEST_GUILESS_MAIN(tst_GatewayLogs)
#include "tst_gatewaylogs.moc"
