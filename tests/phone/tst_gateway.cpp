// The resources of the web page's gateway, by way of the phone's web server: what is read, what is
// changed, and that a change is looked at.
// SPDX-License-Identifier: MIT
#include "client/tracenote.h"

#include "support/console.h"
#include "support/phone.h"
#include "support/places.h"
#include "support/web.h"

#include <QFile>
#include <QJsonArray>
#include <QTest>

#include <atomic>
#include <thread>

namespace {

QJsonObject row(const QJsonObject &object, const QString &activity)
{
    const QJsonArray rows = object.value("activities"_s).toArray();
    for (const QJsonValue &value : rows) {
        if (value.toObject().value("activity"_s).toString() == activity) {
            return value.toObject();
        }
    }
    return {};
}

} // namespace

class tst_Gateway : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void activities();
    void levels_data();
    void levels();
    void levelThatIsNotSet();
    void destinations_data();
    void destinations();
    void wrongDestinations_data();
    void wrongDestinations();
    void refusedBySyslog();
    void deletion();
    void defence();
    void archive();
    void traces();
    void traceThatOthersLookAt();
    void traceOfTheConsole();
    void events();
};

void tst_Gateway::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_Gateway::init()
{
    Phone::resetConfiguration();
}

void tst_Gateway::activities()
{
    Phone::write("/var/log/qvxsipua.log"_s, "12345\n");
    Phone::text("redirect"_s, {"sipmmi"_s, "udp"_s, "10.1.2.3"_s, 514});
    const Web::Response response = Web::get("activities"_s);
    QCOMPARE(response.status, 200);
    QVERIFY(response.headers.contains("\r\nCache-Control: no-store"));
    const QJsonObject object = response.object();
    QCOMPARE(object.value("activities"_s).toArray().size(), 10);
    QCOMPARE(row(object, "qvxsipua"_s),
             (QJsonObject {{"activity"_s, "qvxsipua"_s},
                           {"level"_s, "err"_s},
                           {"support"_s, "file"_s},
                           {"destination"_s, "/var/log/qvxsipua.log"_s},
                           {"file"_s, "/var/log/qvxsipua.log"_s},
                           {"size"_s, 6},
                           {"initial"_s, true}}));
    QCOMPARE(row(object, "sipmmi"_s),
             (QJsonObject {{"activity"_s, "sipmmi"_s},
                           {"level"_s, "err"_s},
                           {"support"_s, "udp"_s},
                           {"destination"_s, "IP :10.1.2.3 port(514)"_s},
                           {"initial"_s, false}}));
    QVERIFY(object.value("room"_s).toObject().value("flash"_s).toObject().value("free"_s).toDouble()
            > 0);
    QCOMPARE(object.value("remote"_s).toObject().value("LogRemoteServerExist"_s).toString(),
             "UNDEFINED"_s);
    QCOMPARE(object.value("traces"_s), QJsonValue(QJsonArray()));
    // The page has them in it, so that it is drawn before its script runs.
    const QByteArray page = Web::request("/logging/"_s).body;
    QVERIFY(page.contains(">qvxsipua</th>"));
    QVERIFY(page.contains(">IP :10.1.2.3 port(514)</td>"));
}

void tst_Gateway::levels_data()
{
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<QStringList>("levels");
    QTest::newRow("changed together")
        << QJsonObject {{"levels"_s,
                         QJsonObject {{"qvxsipua"_s, "debug"_s}, {"sipmmi"_s, "info"_s}}}}
        << QStringList {"qvxsipua debug"_s, "sipmmi info"_s, "WebApp err"_s};
    QTest::newRow("one by one") << QJsonObject {{"levels"_s,
                                                 QJsonObject {{"WebApp"_s, "debug"_s},
                                                              {"defence"_s, "info"_s}}}}
                                << QStringList {"WebApp debug"_s, "defence info"_s};
    QTest::newRow("both")
        << QJsonObject {{"levels"_s, QJsonObject {{"WebApp"_s, "debug"_s}, {"sipmmi"_s, "info"_s}}}}
        << QStringList {"WebApp debug"_s, "sipmmi info"_s};
    QTest::newRow("all") << QJsonObject {{"all"_s, "notice"_s}}
                         << QStringList {"WebApp notice"_s, "sipmmi notice"_s};
}

void tst_Gateway::levels()
{
    QFETCH(QJsonObject, body);
    QFETCH(QStringList, levels);
    const Web::Response response = Web::post("levels"_s, body);
    QCOMPARE(response.status, 200);
    const QJsonObject object = response.object();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QCOMPARE(object.value("unchanged"_s), QJsonValue(QJsonArray()));
    for (const QString &each : qAsConst(levels)) {
        const QString activity = each.section(QLatin1Char(' '), 0, 0);
        const QString level = each.section(QLatin1Char(' '), 1);
        QCOMPARE(row(object, activity).value("level"_s).toString(), level);
        QVERIFY(console("level " + activity.toUtf8()).output.contains(' ' + level.toUtf8() + ' '));
    }
}

void tst_Gateway::levelThatIsNotSet()
{
    QVERIFY(QFile::remove(Phone::facilityFile("sipmmi"_s)));
    const QJsonObject object
        = Web::post(
              "levels"_s,
              QJsonObject {
                  {"levels"_s, QJsonObject {{"sipmmi"_s, "debug"_s}, {"qvxaudio"_s, "debug"_s}}}})
              .object();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QCOMPARE(object.value("unchanged"_s).toArray(), QJsonArray {"sipmmi"_s});
    QVERIFY(!object.value("problem"_s).toString().isEmpty());
    QCOMPARE(row(object, "qvxaudio"_s).value("level"_s).toString(), "debug"_s);
}

void tst_Gateway::destinations_data()
{
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<QString>("place");
    const auto to = [](const char *name, const QJsonObject &more, const char *place) {
        QJsonObject body = more;
        body.insert("activity"_s, "qvxsipua"_s);
        body.insert("to"_s, QString::fromLatin1(name).section(QLatin1Char(' '), 0, 0));
        QTest::newRow(name) << body << QString::fromLatin1(place);
    };
    to("ram", {{"name"_s, "sip"_s}}, "file /var/log/sip.log");
    to("flash", {{"name"_s, "sip.log"_s}}, "file /log/flash/sip.log");
    to("usertty", {{"name"_s, "root"_s}}, "usertty root");
    to("console", {}, "file /dev/console");
    to("udp", {{"address"_s, "10.1.2.3"_s}, {"port"_s, 514}}, "udp IP :10.1.2.3 port(514)");
    to("tcp", {{"address"_s, "log-host.example"_s}, {"port"_s, 65535}},
       "tcp IP :log-host.example port(65535)");
    to("own", {}, "file /var/log/qvxsipua.log");
}

void tst_Gateway::destinations()
{
    QFETCH(QJsonObject, body);
    QFETCH(QString, place);
    for (const QString &activity : {"qvxsipua"_s, "all"_s}) {
        body.insert("activity"_s, activity);
        const QJsonObject object = Web::post("destinations"_s, body).object();
        QCOMPARE(object.value("ok"_s), QJsonValue(true));
        QCOMPARE(object.value("refused"_s), QJsonValue(QJsonArray()));
        const QJsonObject now = row(object, "qvxsipua"_s);
        QCOMPARE(now.value("support"_s).toString() + QLatin1Char(' ')
                     + now.value("destination"_s).toString(),
                 place);
    }
    const QJsonObject own
        = Web::post("destinations"_s, QJsonObject {{"activity"_s, "defence"_s}, {"to"_s, "own"_s}})
              .object();
    QCOMPARE(row(own, "defence"_s).value("initial"_s), QJsonValue(true));
}

void tst_Gateway::wrongDestinations_data()
{
    QTest::addColumn<QJsonObject>("body");
    QTest::addColumn<QString>("field");
    const auto wrong = [](const char *name, const QJsonObject &body, const char *field) {
        QTest::newRow(name) << body << QString::fromLatin1(field);
    };
    for (const char *const name :
         {"", "../x", "a/b", "~a", "a\");program(\"x", "a b", "-x", ".x"}) {
        wrong(name, {{"to"_s, "ram"_s}, {"name"_s, QString::fromLatin1(name)}}, "name");
        wrong(name, {{"to"_s, "flash"_s}, {"name"_s, QString::fromLatin1(name)}}, "name");
    }
    for (const char *const name : {"", "Root", "a b", "a\"); };"}) {
        wrong(name, {{"to"_s, "usertty"_s}, {"name"_s, QString::fromLatin1(name)}}, "name");
    }
    for (const char *const address : {"", "256.1.1.1", "1.2.3", "1.2.3.4.5", "fe80::1", "a_b",
                                      "a..b", "a b", "-a", "a-", "h\" port(1)); program(\"x\""}) {
        wrong(address,
              {{"to"_s, "udp"_s}, {"address"_s, QString::fromLatin1(address)}, {"port"_s, 514}},
              "address");
    }
    for (const double port : {0.0, -1.0, 65536.0, 1.5}) {
        wrong("port", {{"to"_s, "tcp"_s}, {"address"_s, "10.1.2.3"_s}, {"port"_s, port}}, "port");
    }
    for (const char *const kind : {"", "program", "pipe", "file", "RAM", "init", "V24"}) {
        wrong(kind, {{"to"_s, QString::fromLatin1(kind)}, {"name"_s, "x"_s}}, "to");
    }
}

void tst_Gateway::wrongDestinations()
{
    QFETCH(QJsonObject, body);
    const QByteArray before = Phone::read(Phone::liveConfig);
    body.insert("activity"_s, "qvxsipua"_s);
    const Web::Response response = Web::post("destinations"_s, body);
    QCOMPARE(response.status, 422);
    QVERIFY(!response.error().isEmpty());
    QTEST(response.object().value("field"_s).toString(), "field");
    QCOMPARE(Phone::read(Phone::liveConfig), before);
}

void tst_Gateway::refusedBySyslog()
{
    // A live file that is broken is refused with the next change.
    Phone::text("level"_s, {"Telephony"_s, "debug"_s});
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    const QJsonObject object
        = Web::post("destinations"_s,
                    QJsonObject {{"activity"_s, "sipmmi"_s}, {"to"_s, "ram"_s}, {"name"_s, "x"_s}})
              .object();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QVERIFY(!object.value("problem"_s).toString().isEmpty());
    QCOMPARE(row(object, "sipmmi"_s).value("destination"_s).toString(), "/var/log/sipmmi.log"_s);
}

void tst_Gateway::deletion()
{
    Phone::write("/var/log/x.log"_s, "RAM");
    Phone::write("/log/flash/x.log"_s, "flash");
    const QJsonObject inRam {{"path"_s, "/var/log/x.log"_s}, {"size"_s, 3}};
    const QJsonObject inFlash {{"path"_s, "/log/flash/x.log"_s}, {"size"_s, 5}};
    const QJsonObject listed = Web::get("logs"_s).object();
    QVERIFY(listed.value("ram"_s).toArray().contains(inRam));
    QCOMPARE(listed.value("flash"_s).toArray(), QJsonArray {inFlash});
    QJsonObject object = Web::post("logs"_s, QJsonObject {{"delete"_s, "ram"_s}}).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QVERIFY(object.value("removed"_s).toArray().contains(inRam));
    QVERIFY(QFile::exists("/log/flash/x.log"_s));
    object = Web::post("logs"_s, QJsonObject {{"delete"_s, "ram and flash"_s}}).object();
    QVERIFY(object.value("removed"_s).toArray().contains(inFlash));
    QCOMPARE(object.value("text"_s).toString(),
             "All logs files removed in /var/log/ and /log/flash/ directories."_s);
    QCOMPARE(Web::post("logs"_s, QJsonObject {{"delete"_s, "all"_s}}).status, 422);
}

void tst_Gateway::defence()
{
    Phone::write("/log/Defence.log"_s, "one\ntwo\n\nfour\n");
    QJsonObject object = Web::get("defence?lines=3"_s).object();
    QCOMPARE(object,
             (QJsonObject {{"count"_s, 4}, {"lines"_s, QJsonArray {"two"_s, ""_s, "four"_s}}}));
    object = Web::post("defence"_s, QJsonObject {{"remove"_s, 2}}).object();
    QCOMPARE(object,
             (QJsonObject {{"ok"_s, true},
                           {"text"_s, "[DEFENCE] delete 2 lines OK"_s},
                           {"before"_s, 4},
                           {"after"_s, 2},
                           {"notice"_s, false}}));
    object = Web::post("defence"_s, QJsonObject {{"remove"_s, 9}}).object();
    QCOMPARE(object.value("notice"_s), QJsonValue(true));
    for (const double number : {0.0, -1.0, 1.5, 1e9}) {
        QCOMPARE(Web::post("defence"_s, QJsonObject {{"remove"_s, number}}).status, 422);
    }
}

void tst_Gateway::archive()
{
    Phone::write("/var/log/x.log"_s, "x");
    const QJsonObject object = Web::post("archive"_s, QJsonObject()).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(true));
    QVERIFY(object.value("files"_s).toInt() >= 1);
    const Web::Response archive = Web::request(object.value("url"_s).toString());
    QCOMPARE(archive.status, 200);
    QCOMPARE(archive.body.size(), object.value("size"_s).toInt());
    QCOMPARE(Web::get("archive"_s).object().value("size"_s), object.value("size"_s));
    QCOMPARE(Web::request("/all_logs.tar.gz"_s, {}, QString()).status, 401);
}

void tst_Gateway::traces()
{
    const QJsonObject body {{"activity"_s, "sipmmi"_s}, {"level"_s, "debug"_s}, {"seconds"_s, 600}};
    const QJsonObject begun = Web::post("traces"_s, body).object();
    QCOMPARE(begun.value("ok"_s), QJsonValue(true));
    QCOMPARE(begun.value("former"_s).toString(), "err"_s);
    QCOMPARE(console("level sipmmi").output.split(' ').value(1), QByteArray("debug"));
    const QJsonObject running
        = Web::get("activities"_s).object().value("traces"_s).toArray().first().toObject();
    QCOMPARE(running.value("activity"_s).toString(), "sipmmi"_s);
    QCOMPARE(running.value("own"_s), QJsonValue(true));
    QCOMPARE(running.value("until"_s), begun.value("until"_s));
    QCOMPARE(Web::post("traces"_s, body).status, 409);
    const QJsonObject ended
        = Web::post("traces"_s, QJsonObject {{"activity"_s, "sipmmi"_s}, {"stop"_s, true}})
              .object();
    QCOMPARE(ended, (QJsonObject {{"ok"_s, true}, {"level"_s, "err"_s}}));
    QCOMPARE(
        Web::post("traces"_s, QJsonObject {{"activity"_s, "sipmmi"_s}, {"stop"_s, true}}).status,
        404);
    // Nobody is there when its time is over.
    QJsonObject brief = body;
    brief.insert("seconds"_s, 1);
    QCOMPARE(Web::post("traces"_s, brief).object().value("ok"_s), QJsonValue(true));
    QVERIFY(QTest::qWaitFor([] { return console("level sipmmi").output.startsWith("sipmmi err "); },
                            20000));
    for (const double seconds : {0.0, 86401.0, 0.5}) {
        brief.insert("seconds"_s, seconds);
        QCOMPARE(Web::post("traces"_s, brief).status, 422);
    }
}

void tst_Gateway::traceThatOthersLookAt()
{
    // Whoever asks whether an activity is traced is not taken for one who traces it.
    std::atomic<bool> over {false};
    std::thread looking([&over] {
        while (!over) {
            static_cast<void>(isTraced("sipmmi"_s));
        }
    });
    int held = 0;
    constexpr int times = 300;
    for (int count = 0; count < times; ++count) {
        NoteFile note;
        QString problem;
        held += note.take("sipmmi"_s, true, &problem) == NoteFile::Access::Held ? 1 : 0;
    }
    NoteFile note;
    QString problem;
    const NoteFile::Access last = note.take("sipmmi"_s, true, &problem);
    over = true;
    looking.join();
    QCOMPARE(held, times);
    QCOMPARE(last, NoteFile::Access::Held);
    NoteFile second;
    QCOMPARE(second.take("sipmmi"_s, true, &problem), NoteFile::Access::HeldByOther);
    note.remove();
}

void tst_Gateway::traceOfTheConsole()
{
    RunningProgram trace({"loggerctl"_s, "trace"_s, "sipmmi"_s});
    QVERIFY(trace.waitForErrors("sipmmi is at debug"));
    const Web::Response response
        = Web::post("traces"_s, QJsonObject {{"activity"_s, "sipmmi"_s}, {"stop"_s, true}});
    if (qgetenv("PHONE_ROOTLESS") != "1") {
        QCOMPARE(response.status, 409);
        QVERIFY(response.error().contains("begun by root at the console"_s));
    }
    trace.endBy(SIGINT);
}

void tst_Gateway::events()
{
    Phone::write("/var/log/qvxsipua.log"_s, "wanted before\nbefore\nwanted last\n");
    RunningProgram stream(
        {"curl"_s, "-sN"_s, "--digest"_s, "-u"_s, Web::credentials(),
         "http://127.0.0.1/logging/api/events?log=qvxsipua&grep=wanted&lines=1"_s});
    QVERIFY(stream.waitForOutput("event: service\ndata: {\"now\":"));
    QVERIFY(stream.waitForOutput("\"present\":true}\n\n"));
    QVERIFY(stream.waitForOutput("event: activities\ndata: {\"activities\":["));
    QVERIFY(stream.waitForOutput("event: log\ndata: {\"file\":\"/var/log/qvxsipua.log\","
                                 "\"lines\":[\"wanted last\"]}\n\n"));
    QFile log("/var/log/qvxsipua.log"_s);
    QVERIFY(log.open(QIODevice::Append));
    log.write("not this\nthis is wanted\n");
    log.close();
    QVERIFY(stream.waitForOutput("event: lines\ndata: {\"lines\":[\"this is wanted\"]}\n\n"));
    Phone::text("level"_s, {"sipmmi"_s, "debug"_s});
    QVERIFY(stream.waitForOutput(
        "event: level\ndata: {\"activity\":\"sipmmi\",\"level\":\"debug\"}\n\n"));
    Phone::text("redirect"_s, {"qvxsipua"_s, "udp"_s, "10.1.2.3"_s, 514});
    QVERIFY(stream.waitForOutput(
        "event: log\ndata: {\"lines\":[],\"place\":\"udp 10.1.2.3 port(514)\"}\n\n"));
    QVERIFY(!stream.output().contains("before"));
}

QTEST_GUILESS_MAIN(tst_Gateway)
#include "tst_gateway.moc"
