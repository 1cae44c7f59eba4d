// The limits of the web page's gateway: a request has one time for all of its work, a reader that
// stands still is left, streams are few. With a service that is slow, silent, or answers oddly.
// SPDX-License-Identifier: MIT
#include "support/activitytable.h"
#include "support/gateway.h"
#include "support/processes.h"
#include "support/standinservice.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>
#include <vector>

namespace {

const QString sip = QStringLiteral("qvxsipua");

QString tableWith(const QString &level, const QString &file)
{
    return ActivityTable::table({{sip, level, "file"_s, file}});
}

QString usualTable()
{
    return tableWith("err"_s, "/var/log/qvxsipua.log"_s);
}

bool isOver(const QString &program)
{
    return QTest::qWaitFor(
        [&program] {
            return runProgram({"pgrep"_s, "-x"_s, program}).status == 1;
        },
        30000);
}

} // namespace

class tst_GatewayLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void settingsThatAreSilent();
    void readerThatStandsStill();
    void streamsAreFew();
    void noBus();
    void firstViewOfASilentService();

    // From here on the service is a stand-in.
    void oneTimeForManyCalls();
    void oneTimeForTheArchive();
    void bodyThatDoesNotCome();
    void traceThatBeginsLate();
    void emptyTable_data();
    void emptyTable();
    void tableThatIsGoneAfterAChange();
};

void tst_GatewayLimits::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_GatewayLimits::settingsThatAreSilent()
{
    const auto settings
        = static_cast<pid_t>(Phone::read("/run/phone/SettingsManager.pid"_s).trimmed().toInt());
    QCOMPARE(::kill(settings, SIGSTOP), 0);
    // Web::get() waits for less than the gateway would for the service.
    const Web::Response response = Web::get("activities"_s);
    QCOMPARE(::kill(settings, SIGCONT), 0);
    QCOMPARE(response.status, 200);
    QVERIFY(response.object().value("remote"_s).isNull());
}

void tst_GatewayLimits::readerThatStandsStill()
{
    constexpr int port = 8083;
    constexpr int lines = 300000;
    const QByteArray line = QByteArray(99, 'x') + '\n';
    Phone::write("/var/log/qvxsipua.log"_s, "first\n");
    OwnWebServer server(port,
                        "setenv.add-environment = ( \"LOGGING_GATEWAY_TIMEOUT\" => \"1\" )\n");
    const QString address
        = "http://127.0.0.1:%1/logging/api/events?log=qvxsipua&lines=1"_s.arg(port);
    std::unique_ptr<RunningProgram> reader;
    QVERIFY(QTest::qWaitFor(
        [&] {
            reader = std::make_unique<RunningProgram>(
                QStringList {"curl"_s, "-sN"_s, "--digest"_s, "-u"_s, Web::credentials(), address});
            return reader->waitForOutput("[\"first\"]");
        },
        30000));
    reader->send(SIGSTOP);
    QFile log("/var/log/qvxsipua.log"_s);
    QVERIFY(log.open(QIODevice::Append));
    for (int count = 0; count < lines; ++count) {
        QCOMPARE(log.write(line), line.size());
    }
    log.close();
    QVERIFY(isOver("logginggateway"_s));
    // Nor does the web server keep more than a little of what was not read.
    qint64 kept = 0;
    const auto parts = QDir("/var/tmp"_s).entryInfoList({"lighttpd-upload-*"_s}, QDir::Files);
    for (const QFileInfo &part : parts) {
        kept += part.size();
    }
    QVERIFY2(kept < 1 << 20, qPrintable(QString::number(kept)));
    reader->send(SIGCONT);
    QVERIFY(reader->waitForEnd() >= 0);
    QVERIFY(reader->output().size() < line.size() * lines / 2);
    QCOMPARE(server.stop(), 0);
    QVERIFY(QFile::remove("/var/log/qvxsipua.log"_s));
}

void tst_GatewayLimits::streamsAreFew()
{
    constexpr int places = 2;
    const QStringList stream
        = Gateway::command("GET"_s, "events"_s, {"LOGGING_GATEWAY_STREAMS=2"_s});
    std::vector<std::unique_ptr<RunningProgram>> open;
    for (int count = 0; count < places; ++count) {
        open.push_back(std::make_unique<RunningProgram>(stream));
        QVERIFY(open.back()->waitForOutput("Status: 200"));
    }
    RunningProgram refused(stream);
    QCOMPARE(refused.waitForEnd(), 0);
    const Web::Response response = Gateway::response(refused.output());
    QCOMPARE(response.status, 503);
    QVERIFY(response.error().startsWith("Too many pages are open on this phone"_s));
    // Other requests are answered, and a stream that is killed leaves its place.
    QCOMPARE(Gateway::get("activities"_s, {"LOGGING_GATEWAY_STREAMS=2"_s}).status, 200);
    open.front()->endBy(SIGKILL);
    open.front() = std::make_unique<RunningProgram>(stream);
    QVERIFY(open.front()->waitForOutput("Status: 200"));
}

void tst_GatewayLimits::noBus()
{
    const QStringList hidden {
        "unshare"_s, "--mount"_s, "sh"_s, "-c"_s,
        "mount --bind /dev/null /run/dbus/system_bus_socket && exec \"$0\" \"$@\""_s};
    if (runProgram(hidden + QStringList {"true"_s}).status != 0) {
        QSKIP("no mounts can be made here");
    }
    const Web::Response response
        = Gateway::response(runProgram(hidden + Gateway::command("GET"_s, "logs"_s)).output);
    QCOMPARE(response.status, 503);
    QCOMPARE(response.error(), "The phone's message bus is not running"_s);
}

void tst_GatewayLimits::firstViewOfASilentService()
{
    const Phone::Service service;
    QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGSTOP), 0);
    // Drawn by the time the rest could be there; the gateway's usual time is longer than this
    // request's.
    const Web::Response response = Web::request("/logging/"_s);
    QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGCONT), 0);
    QCOMPARE(response.status, 200);
    QVERIFY(response.headers.contains("text/html"));
    QVERIFY(response.body.contains("<tbody id=\"rows\""));
    QVERIFY(response.body.contains("LoggerModule did not answer in time"));
}

void tst_GatewayLimits::oneTimeForManyCalls()
{
    // Each answer comes in time, but five of them do not.
    const StandInService service([](const QString & /*method*/, const QVariantList &arguments) {
        QThread::msleep(700);
        return arguments.isEmpty() ? usualTable()
                                   : "[REDIRECT] Activity : qvxsipua redirect to : V24"_s;
    });
    const Web::Response response
        = Gateway::post("destinations"_s, "{\"activity\":\"qvxsipua\",\"to\":\"console\"}",
                        {"LOGGING_GATEWAY_TIMEOUT=2"_s});
    QCOMPARE(response.status, 504);
    QCOMPARE(response.error(), "LoggerModule did not answer in time"_s);
}

void tst_GatewayLimits::oneTimeForTheArchive()
{
    const StandInService service([](const QString & /*method*/, const QVariantList & /*none*/) {
        QThread::msleep(900);
        return QVariantMap {{"code"_s, 1}, {"msg"_s, "Error on exit"_s}};
    });
    const Web::Response response
        = Gateway::post("archive"_s, "{}", {"LOGGING_GATEWAY_TIMEOUT=2"_s});
    QCOMPARE(response.status, 504);
    QVERIFY(!response.error().isEmpty());
}

void tst_GatewayLimits::bodyThatDoesNotCome()
{
    RunningProgram request(Gateway::command("POST"_s, "levels"_s,
                                            {"CONTENT_LENGTH=9"_s, "LOGGING_GATEWAY_TIMEOUT=1"_s}));
    request.waitForEnd();
    const Web::Response response = Gateway::response(request.output());
    QCOMPARE(response.status, 504);
    QCOMPARE(response.error(), "The phone could not answer in time"_s);
}

void tst_GatewayLimits::traceThatBeginsLate()
{
    QString level = "err"_s;
    const StandInService service(
        [&level](const QString &method, const QVariantList &arguments) -> QVariant {
            if (method != "level"_s || arguments.isEmpty()) {
                return tableWith(level, "/var/log/qvxsipua.log"_s);
            }
            QThread::msleep(level == "err"_s ? 2500 : 0); // longer than the request may take
            level = arguments.value(1).toString();
            return QString("Level "_s + level + " for facility : qvxsipua OK"_s);
        });
    const Web::Response response = Gateway::post(
        "traces"_s, "{\"activity\":\"qvxsipua\",\"seconds\":600}", {"LOGGING_GATEWAY_TIMEOUT=1"_s});
    QCOMPARE(response.status, 504);
    QCOMPARE(response.error(), "The trace was not begun in time"_s);
    // Its keeper goes on without the request: it puts back what is raised after all.
    QVERIFY(service.waitForCall("level qvxsipua debug"_s));
    QVERIFY(service.waitForCall("level qvxsipua err"_s));
    QVERIFY(isOver("tracekeeper"_s));
    QVERIFY(!QFile::exists("/data/QVXApplication/loggerctl/traces/qvxsipua.json"_s));
}

void tst_GatewayLimits::emptyTable_data()
{
    QTest::addColumn<QString>("resource");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("levels") << "levels"_s << QByteArray("{\"all\":\"debug\"}");
    QTest::newRow("destinations") << "destinations"_s
                                  << QByteArray("{\"activity\":\"all\",\"to\":\"own\"}");
}

void tst_GatewayLimits::emptyTable()
{
    QFETCH(QString, resource);
    QFETCH(QByteArray, body);
    const StandInService service([](const QString & /*method*/, const QVariantList & /*none*/) {
        return ActivityTable::header;
    });
    const Web::Response response = Gateway::post(resource, body);
    QCOMPARE(response.status, 502);
    QVERIFY(!response.error().isEmpty());
    QCOMPARE(service.calls(), QStringList {"redirect"_s});
}

void tst_GatewayLimits::tableThatIsGoneAfterAChange()
{
    const QString sent = "[REDIRECT] Activity : qvxsipua redirect to : V24"_s;
    bool changed = false;
    const StandInService service([&](const QString & /*method*/, const QVariantList &arguments) {
        changed = changed || !arguments.isEmpty();
        return !arguments.isEmpty() ? sent : changed ? "no table"_s : usualTable();
    });
    const Web::Response response
        = Gateway::post("destinations"_s, "{\"activity\":\"qvxsipua\",\"to\":\"console\"}");
    QCOMPARE(response.status, 200);
    const QJsonObject object = response.object();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QVERIFY(object.value("problem"_s).toString().startsWith("The table cannot be read"_s));
    QVERIFY(!object.contains("activities"_s));
}

QTEST_GUILESS_MAIN(tst_GatewayLimits)
#include "tst_gatewaylimits.moc"
