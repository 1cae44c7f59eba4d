// Who gets at the phone's web page, what the web server's user may do, and what the gateway says
// when it cannot do what was asked: nothing is changed by a request that is refused.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/users.h"
#include "support/web.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

const QByteArray change = "{\"all\":\"debug\"}";
const QString passwords = QStringLiteral("/etc/lighttpd/logging.htdigest");
const QString gateway = QStringLiteral("/usr/libexec/loggermodule/web/logginggateway");

/// The head of a configuration of lighttpd on another port.
QByteArray configuration(int port, const QByteArray &more = {})
{
    return "server.document-root = \"/www/pages\"\nserver.bind = \"127.0.0.1\"\nserver.port = "
        + QByteArray::number(port)
        + "\nindex-file.names = ( \"index.html\" )\nmimetype.assign = ( \".html\" => \"text/html\" "
          ")\n"
          "include \"/usr/share/loggermodule/web/logging.conf\"\n"
        + more;
}

/// Asks another web server than the phone's.
Outcome curl(const QStringList &arguments)
{
    return runProgram(QStringList {"curl"_s, "-sk"_s, "-m"_s, "20"_s, "-w"_s, "\n%{http_code}"_s}
                      + arguments);
}

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
    void headers_data();
    void headers();
    void webServersUser();
    void ownEnvironment();
    void passwordTool();
    void noPassword();
    void withTls();

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

void tst_WebSecurity::headers_data()
{
    QTest::addColumn<QString>("address");
    for (const char *const address :
         {"/logging/", "/logging/style.css", "/logging/api/activities", "/logging/nothing"}) {
        QTest::newRow(address) << QString::fromLatin1(address);
    }
}

void tst_WebSecurity::headers()
{
    QFETCH(QString, address);
    const QByteArray all = Web::request(address).headers;
    QVERIFY2(all.contains("\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; "
                          "style-src 'self'; connect-src 'self'; img-src 'self'; base-uri 'none'; "
                          "form-action 'none'; frame-ancestors 'none'\r\n"),
             all.constData());
    QVERIFY(!all.contains("unsafe"));
    QVERIFY(all.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    QVERIFY(all.contains("\r\nX-Frame-Options: DENY\r\n"));
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

void tst_WebSecurity::passwordTool()
{
    const QString tool = "/usr/share/loggermodule/web/password"_s;
    const auto make = [&tool](const QByteArray &name, const QByteArray &password) {
        return runProgram({"bash"_s, "-c"_s, "printf '%s\\n' \"$2\" | \"$0\" \"$1\""_s, tool,
                           QString::fromUtf8(name), QString::fromUtf8(password)})
            .status;
    };
    const QByteArray before = Phone::read(passwords);
    QCOMPARE(make("second", "p\xc3\xa4ssword:with 'odd' \"signs\""), 0);
    QVERIFY(Phone::read(passwords).startsWith(before));
    QCOMPARE(
        Web::request("/logging/api/logs"_s, {}, "second:p\xc3\xa4ssword:with 'odd' \"signs\""_s)
            .status,
        200);
    QCOMPARE(make("second", "another password"), 0);
    QCOMPARE(Phone::read(passwords).count('\n'), before.count('\n') + 1);
    QCOMPARE(make("second", "short"), 1);
    QCOMPARE(make("a:b", "long enough"), 1);
    QCOMPARE(make("", "long enough"), 1);
    QVERIFY(!(QFile::permissions(passwords) & QFile::ReadOther));
    if (Users::exist()) {
        QVERIFY(runProgram(Users::asTechnician({tool, "x"_s})).status != 0);
    }
    Phone::write(passwords, before);
}

void tst_WebSecurity::noPassword()
{
    const QTemporaryDir directory;
    const QString file = directory.filePath("lighttpd.conf"_s);
    Phone::write(file, configuration(8081));
    QVERIFY(QFile::rename(passwords, passwords + ".aside"_s));
    {
        RunningProgram server({"lighttpd"_s, "-D"_s, "-f"_s, file});
        Outcome page;
        QVERIFY(QTest::qWaitFor(
            [&page] {
                page = curl({"http://127.0.0.1:8081/logging/api/activities"_s});
                return page.status == 0;
            },
            20000));
        QVERIFY2(page.output.contains("No password yet"), page.output.constData());
        for (const char *const address : {"/", "/all_logs.tar.gz", "/logging/index.html"}) {
            const QByteArray output
                = curl({"http://127.0.0.1:8081"_s + QString::fromLatin1(address)}).output;
            QVERIFY2(output.contains("/usr/share/loggermodule/web/password"), output.constData());
        }
        server.endBy(SIGTERM);
    }
    QVERIFY(QFile::rename(passwords + ".aside"_s, passwords));
}

void tst_WebSecurity::withTls()
{
    const QTemporaryDir directory;
    const QString pem = directory.filePath("phone.pem"_s);
    QCOMPARE(runProgram({"openssl"_s, "req"_s, "-x509"_s, "-newkey"_s, "rsa:2048"_s, "-nodes"_s,
                         "-subj"_s, "/CN=phone"_s, "-days"_s, "2"_s, "-keyout"_s, pem, "-out"_s,
                         pem + ".crt"_s})
                 .status,
             0);
    Phone::write(pem, Phone::read(pem) + Phone::read(pem + ".crt"_s));
    // The example in the configuration, as it stands but for the port and the file.
    QByteArray example = Phone::read("/usr/share/loggermodule/web/logging.conf"_s);
    example = example.mid(example.indexOf("#   server.modules"));
    example = example.left(example.indexOf("#   }\n") + 6).replace("#   ", "");
    example.replace(":443", "127.0.0.1:8443").replace("/etc/lighttpd/phone.pem", pem.toUtf8());
    QVERIFY(example.contains("ssl.engine"));
    const QString file = directory.filePath("lighttpd.conf"_s);
    Phone::write(file, configuration(8082, example));
    RunningProgram server({"lighttpd"_s, "-D"_s, "-f"_s, file});
    Outcome answer;
    QVERIFY(QTest::qWaitFor(
        [&answer] {
            answer = curl({"--digest"_s, "-u"_s, Web::credentials(), "-H"_s, "X-Logging-Page: 1"_s,
                           "-H"_s, "Content-Type: application/json"_s, "-H"_s,
                           "Origin: https://127.0.0.1:8443"_s, "-d"_s, "{\"all\":\"info\"}"_s,
                           "https://127.0.0.1:8443/logging/api/levels"_s});
            return answer.output.endsWith("\n200");
        },
        20000));
    QVERIFY2(answer.output.contains("\"ok\":true"), answer.output.constData());
    server.endBy(SIGTERM);
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
