// Who gets at the phone's web page, what the web server's user may do, and what the gateway says
// when it cannot do what was asked: nothing is changed by a request that is refused.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/users.h"
#include "support/web.h"

#include <QFile>
#include <QTest>

#include <csignal>

namespace {

const QByteArray change = "{\"all\":\"debug\"}";
const QString gateway = QStringLiteral("/usr/libexec/loggermodule/web/logginggateway");

/// Runs the gateway as the web server does, with the variables NAME=VALUE. @return its status line
QByteArray runGateway(const QStringList &variables)
{
    const QByteArray output = runProgram(QStringList {"env"_s, "-i"_s, "SCRIPT_NAME=/logging/api"_s,
                                                      "HTTP_HOST=phone"_s}
                                         + variables + QStringList {gateway})
                                  .output;
    return output.left(output.indexOf("\r\n"));
}

} // namespace

class tst_WebSecurity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void strangers_data();
    void strangers();
    void wrongPasswords();
    void refusals_data();
    void refusals();
    void webServersUser();
    void ownEnvironment();

    // From here on the test has a service of its own, or none.
    void serviceAbsent();
    void serviceThatHangs();
    void serviceThatDies();
    void streamKnowsTheService();
};

void tst_WebSecurity::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_WebSecurity::init()
{
    Phone::resetConfiguration();
}

void tst_WebSecurity::strangers_data()
{
    QTest::addColumn<QString>("address");
    for (const char *const address :
         {"/", "/logging", "/logging/", "/logging/style.css", "/logging/api/activities",
          "/logging/api/events", "/all_logs.tar.gz", "/nothing", "/logging/../all_logs.tar.gz",
          "/no-password.html"}) {
        QTest::newRow(address) << QString::fromLatin1(address);
    }
}

void tst_WebSecurity::strangers()
{
    QFETCH(QString, address);
    const Web::Response response = Web::request(address, {}, QString());
    QCOMPARE(response.status, 401);
    QVERIFY(!response.body.contains("qvxsipua"));
}

void tst_WebSecurity::wrongPasswords()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    for (const QString &user : {"support:wrong-password"_s, "root:"_s}) {
        const Web::Response response = Web::request("/logging/api/levels"_s,
                                                    {"-H"_s, "X-Logging-Page: 1"_s, "-H"_s,
                                                     "Content-Type: application/json"_s, "-d"_s,
                                                     QString::fromLatin1(change)},
                                                    user);
        QCOMPARE(response.status, 401);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), before);
}

void tst_WebSecurity::refusals_data()
{
    QTest::addColumn<QStringList>("arguments"); // of curl
    QTest::addColumn<int>("status");
    const QString header = "X-Logging-Page: 1"_s;
    const QString json = "Content-Type: application/json"_s;
    const QString body = QString::fromLatin1(change);
    const auto row = [](const char *name, const QStringList &arguments, int status) {
        QTest::newRow(name) << arguments << status;
    };
    row("no header", {"-H"_s, json, "-d"_s, body}, 403);
    row("other site",
        {"-H"_s, header, "-H"_s, json, "-H"_s, "Origin: http://elsewhere"_s, "-d"_s, body}, 403);
    row("form", {"-H"_s, header, "-d"_s, body}, 415);
    row("PUT", {"-H"_s, header, "-H"_s, json, "-X"_s, "PUT"_s, "-d"_s, body}, 405);
    row("no JSON", {"-H"_s, header, "-H"_s, json, "-d"_s, "all=debug"_s}, 400);
    row("GET", {}, 405);
    row("no such level", {"-H"_s, header, "-H"_s, json, "-d"_s, "{\"all\":\"loud\"}"_s}, 422);
    row("no such activity",
        {"-H"_s, header, "-H"_s, json, "-d"_s, "{\"levels\":{\"x\":\"debug\"}}"_s}, 404);
    row("nothing", {"-H"_s, header, "-H"_s, json, "-d"_s, "{}"_s}, 422);
}

void tst_WebSecurity::refusals()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const Web::Response response = Web::request("/logging/api/levels"_s, arguments);
    QCOMPARE(response.status, status);
    QVERIFY2(!response.error().isEmpty(), response.body.constData());
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    const Web::Response own
        = Web::post("levels"_s, change,
                    {"-H"_s, "X-Logging-Page: 1"_s, "-H"_s, "Content-Type: application/json"_s,
                     "-H"_s, "Origin: http://127.0.0.1"_s});
    QCOMPARE(own.status, 200);
}

void tst_WebSecurity::webServersUser()
{
    if (!Users::exist()) {
        return;
    }
    QCOMPARE(Web::get("activities"_s).status, 200);
    const QByteArray server = Phone::read("/run/phone/web-server.pid"_s).trimmed();
    QVERIFY(Phone::read("/proc/"_s + QString::fromLatin1(server) + "/status"_s)
                .contains("\nUid:\t33\t33\t33\t33\n"));
    const Outcome call
        = runProgram(Users::as("www-data"_s, {"loggerctl"_s, "level"_s, "all"_s, "debug"_s}));
    QCOMPARE(call.status, 3);
    QVERIFY2(call.errors.contains("the bus does not let this user call LoggerModule"),
             call.errors.constData());
    // Nor may anybody else run what may.
    for (const char *const user : {"visitor", "technician"}) {
        QVERIFY(runProgram(Users::as(QString::fromLatin1(user), {"env"_s, gateway})).status != 0);
    }
}

void tst_WebSecurity::ownEnvironment()
{
    // What the web server's user puts into the environment changes nothing for the libraries.
    QCOMPARE(runGateway({"REQUEST_METHOD=GET"_s, "REQUEST_URI=/logging/api/activities"_s,
                         "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent"_s,
                         "QT_PLUGIN_PATH=/nonexistent"_s, "QT_FATAL_WARNINGS=1"_s}),
             QByteArray("Status: 200"));
}

void tst_WebSecurity::serviceAbsent()
{
    Phone::stopBootedService();
    for (const char *const resource : {"activities", "logs/qvxsipua", "defence"}) {
        const Web::Response response = Web::get(QString::fromLatin1(resource));
        QCOMPARE(response.status, 503);
        QCOMPARE(response.error(), "LoggerModule is not running"_s);
    }
    for (const char *const resource : {"levels", "destinations", "logs", "defence", "archive"}) {
        QByteArray body = change;
        if (resource == QByteArray("destinations")) {
            body = "{\"activity\":\"all\",\"to\":\"own\"}";
        } else if (resource == QByteArray("logs")) {
            body = "{\"delete\":\"ram\"}";
        } else if (resource == QByteArray("defence")) {
            body = "{\"remove\":1}";
        }
        QCOMPARE(Web::post(QString::fromLatin1(resource), body).status, 503);
    }
    // The page itself is there, and says so by its script.
    QCOMPARE(Web::request("/logging/"_s).status, 200);
    QCOMPARE(Web::get("logs"_s).status, 200);
}

void tst_WebSecurity::serviceThatHangs()
{
    const Phone::Service service;
    QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGSTOP), 0);
    const QByteArray status
        = runGateway({"REQUEST_METHOD=GET"_s, "REQUEST_URI=/logging/api/activities"_s,
                      "LOGGING_GATEWAY_TIMEOUT=1"_s});
    // A request cannot say how long it waits.
    QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGCONT), 0);
    QCOMPARE(status, QByteArray("Status: 504"));
}

void tst_WebSecurity::serviceThatDies()
{
    Phone::Service service;
    QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGSTOP), 0);
    RunningProgram request({"curl"_s, "-s"_s, "--digest"_s, "-u"_s, Web::credentials(), "-w"_s,
                            "\n%{http_code}"_s, "http://127.0.0.1/logging/api/activities"_s});
    // When it waits for the service, the gateway is there.
    QVERIFY(QTest::qWaitFor(
        [] {
            return runProgram({"pgrep"_s, "-x"_s, "logginggateway"_s}).status == 0;
        },
        20000));
    QCOMPARE(::kill(static_cast<pid_t>(service.pid()), SIGKILL), 0);
    QCOMPARE(request.waitForEnd(), 0);
    QCOMPARE(service.waitForEnd(), -1);
    QVERIFY2(request.output().endsWith("\n503"), request.output().constData());
}

void tst_WebSecurity::streamKnowsTheService()
{
    RunningProgram stream({"curl"_s, "-sN"_s, "--digest"_s, "-u"_s, Web::credentials(),
                           "http://127.0.0.1/logging/api/events"_s});
    QVERIFY(stream.waitForOutput("\"present\":false}\n"));
    {
        const Phone::Service service;
        QVERIFY(stream.waitForOutput("\"present\":true}\n"));
        QVERIFY(stream.waitForOutput("event: activities\n"));
    }
    QVERIFY(QTest::qWaitFor([&stream] { return stream.output().count("\"present\":false") == 2; },
                            20000));
    // No process is left when nobody looks.
    stream.endBy(SIGKILL);
    QVERIFY(QTest::qWaitFor(
        [] {
            return runProgram({"pgrep"_s, "-x"_s, "logginggateway"_s}).status == 1;
        },
        20000));
}

QTEST_GUILESS_MAIN(tst_WebSecurity)
#include "tst_websecurity.moc"
