// The configuration of the web server that comes with the page: what each answer carries, TLS, and
// that nobody gets in before there is a password; and the script that makes one.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/gateway.h"
#include "support/users.h"

#include <QFile>
#include <QTest>

#include <sys/stat.h>

namespace {

const QString tool = QStringLiteral("/usr/share/loggermodule/web/password");
const QString passwords = QStringLiteral("/etc/lighttpd/logging.htdigest");

/// Asks another web server than the phone's. @return the body with the status behind it
Outcome curl(const QStringList &arguments)
{
    return runProgram(QStringList {"curl"_s, "-sk"_s, "-m"_s, "20"_s, "-w"_s, "\n%{http_code}"_s}
                      + arguments);
}

/// Waits until @p outcome of what is asked has @p ending.
bool waitFor(const QStringList &arguments, const QByteArray &ending, Outcome *outcome)
{
    return QTest::qWaitFor(
        [&] {
            *outcome = curl(arguments);
            return outcome->output.endsWith(ending);
        },
        20000);
}

/// Runs the script with @p before, a line of sh, and the arguments; @p password is its input.
Outcome runTool(const QStringList &arguments, const QByteArray &password,
                const QString &before = ":"_s)
{
    return runProgram(
        QStringList {"sh"_s, "-c"_s,
                     before + "; given=$1; shift; printf %s \"$given\" | \"$0\" \"$@\""_s, tool,
                     QString::fromUtf8(password)}
        + arguments);
}

int makePassword(const char *name, const QByteArray &password)
{
    return runTool({QString::fromUtf8(name)}, password + '\n').status;
}

} // namespace

class tst_WebServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void headers_data();
    void headers();
    void headersElsewhere_data();
    void headersElsewhere();
    void pageThatIsMissing();
    void noPassword();
    void withTls();

    void passwords();
    void wrongPasswords_data();
    void wrongPasswords();
    void passwordFile();
    void fullDisk();
    void cutOff();

private:
    QByteArray m_passwords; ///< the phone's
};

void tst_WebServer::initTestCase()
{
    QVERIFY(Phone::isBox());
    m_passwords = Phone::read(::passwords);
}

void tst_WebServer::init()
{
    QVERIFY(!m_passwords.isEmpty());
}

void tst_WebServer::cleanup()
{
    if (Phone::read(::passwords) != m_passwords) {
        Phone::write(::passwords, m_passwords);
    }
}

void tst_WebServer::headers_data()
{
    QTest::addColumn<QString>("address");
    for (const char *const address :
         {"/logging/", "/logging/style.css", "/logging/api/activities", "/logging/nothing"}) {
        QTest::newRow(address) << QString::fromLatin1(address);
    }
}

void tst_WebServer::headers()
{
    QFETCH(QString, address);
    const QByteArray all = Web::request(address).headers;
    QVERIFY2(all.contains("\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; "
                          "style-src 'self'; connect-src 'self'; img-src 'self'; base-uri 'none'; "
                          "form-action 'none'; frame-ancestors 'none'\r\n"),
             all.constData());
    QCOMPARE(all.count("Content-Security-Policy"), 1);
    QVERIFY(!all.contains("unsafe"));
    QVERIFY(all.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    QVERIFY(all.contains("\r\nX-Frame-Options: DENY\r\n"));
}

void tst_WebServer::headersElsewhere_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("known"); // whether a password is given
    QTest::newRow("other page") << "/"_s << true;
    QTest::newRow("nothing") << "/nothing"_s << true;
    QTest::newRow("archive") << "/all_logs.tar.gz"_s << true;
    QTest::newRow("redirection") << "/logging"_s << true;
    QTest::newRow("stranger") << "/"_s << false;
    QTest::newRow("stranger at the page") << "/logging/"_s << false;
}

void tst_WebServer::headersElsewhere()
{
    QFETCH(QString, address);
    QFETCH(bool, known);
    const QByteArray all
        = Web::request(address, {}, known ? Web::credentials() : QString()).headers + "\r\n";
    QVERIFY2(all.contains("frame-ancestors 'none'\r\n"), all.constData());
    QVERIFY(all.contains("\r\nX-Content-Type-Options: nosniff\r\n"));
    QVERIFY(all.contains("\r\nX-Frame-Options: DENY\r\n"));
}

void tst_WebServer::pageThatIsMissing()
{
    const QString page = "/www/pages/logging/index.html"_s;
    QVERIFY(QFile::rename(page, page + ".aside"_s));
    const Web::Response response = Web::request("/logging/"_s);
    QVERIFY(QFile::rename(page + ".aside"_s, page));
    QCOMPARE(response.status, 500);
    QCOMPARE(response.error(), "The page cannot be read: "_s + page);
}

void tst_WebServer::noPassword()
{
    QVERIFY(QFile::remove(::passwords));
    OwnWebServer server(8081);
    const QString start = "http://127.0.0.1:8081"_s;
    Outcome page;
    QVERIFY(waitFor({start + "/no-password.html"_s}, "\n200", &page));
    QVERIFY2(page.output.contains("/usr/share/loggermodule/web/password support"),
             page.output.constData());
    // There is no other page, whatever is asked for.
    for (const char *const address :
         {"/", "/all_logs.tar.gz", "/logging", "/logging/", "/logging/index.html",
          "/logging/api/activities", "/logging/api/events", "/nothing", "/../etc/passwd"}) {
        const QByteArray output
            = curl({"--path-as-is"_s, start + QString::fromLatin1(address)}).output;
        QCOMPARE(output, page.output);
    }
    const QByteArray change
        = curl({"-H"_s, "X-Logging-Page: 1"_s, "-H"_s, "Content-Type: application/json"_s, "-d"_s,
                "{\"all\":\"debug\"}"_s, start + "/logging/api/levels"_s})
              .output;
    QVERIFY2(!change.contains("activities"), change.constData());
    QCOMPARE(server.stop(), 0);
}

void tst_WebServer::withTls()
{
    const QTemporaryDir directory;
    const QString pem = directory.filePath("phone.pem"_s);
    QCOMPARE(runProgram({"openssl"_s, "req"_s, "-x509"_s, "-newkey"_s, "rsa:2048"_s, "-nodes"_s,
                         "-subj"_s, "/CN=phone"_s, "-days"_s, "2"_s, "-keyout"_s, pem, "-out"_s,
                         pem + ".crt"_s})
                 .status,
             0);
    Phone::write(pem, Phone::read(pem) + Phone::read(pem + ".crt"_s));
    // Both examples in the configuration, as they stand but for the port and the file.
    const QByteArray text = Phone::read("/usr/share/loggermodule/web/logging.conf"_s);
    QByteArray example;
    const QList<QByteArray> lines = text.mid(text.indexOf("#   server.modules")).split('\n');
    for (const QByteArray &line : lines) {
        example += line.startsWith("#   ") ? line.mid(4) + '\n' : QByteArray();
    }
    QCOMPARE(example.count("{\n"), 2);
    example.replace(":443", "127.0.0.1:8443").replace("/etc/lighttpd/phone.pem", pem.toUtf8());
    OwnWebServer server(8082, example);
    const QString start = "https://127.0.0.1:8443"_s;
    Outcome answer;
    QVERIFY(waitFor({"--digest"_s, "-u"_s, Web::credentials(), "-H"_s, "X-Logging-Page: 1"_s,
                     "-H"_s, "Content-Type: application/json"_s, "-H"_s, "Origin: "_s + start,
                     "-d"_s, "{\"all\":\"info\"}"_s, start + "/logging/api/levels"_s},
                    "\n200", &answer));
    QVERIFY2(answer.output.contains("\"ok\":true"), answer.output.constData());
    QCOMPARE(curl({start + "/logging/"_s}).output.right(4), QByteArray("\n401"));
    // Without TLS there is only the way to it, which asks for no password.
    for (const char *const address : {"/logging/", "/logging/api/activities?x=1", "/"}) {
        const QString path = QString::fromLatin1(address);
        const QByteArray headers = curl({"-D"_s, "-"_s, "-o"_s, "/dev/null"_s, "-H"_s,
                                         "Host: phone"_s, "http://127.0.0.1:8082"_s + path})
                                       .output;
        QVERIFY2(headers.contains("\r\nLocation: https://phone" + path.toUtf8() + "\r\n"),
                 headers.constData());
    }
    QCOMPARE(server.stop(), 0);
}

void tst_WebServer::passwords()
{
    const QString user = "second:p\xc3\xa4ssword:with 'odd' \"signs\""_s;
    QCOMPARE(makePassword("second", "p\xc3\xa4ssword:with 'odd' \"signs\""), 0);
    QVERIFY(Phone::read(::passwords).startsWith(m_passwords));
    QCOMPARE(Web::request("/logging/api/logs"_s, {}, user).status, 200);
    // A name that is the beginning of another, or looks like a pattern, is another user.
    QCOMPARE(makePassword("secon.", "a third password"), 0);
    QCOMPARE(makePassword("second", "another password"), 0);
    QCOMPARE(Phone::read(::passwords).count('\n'), m_passwords.count('\n') + 2);
    for (const auto &[name, status] :
         {std::pair("second:another password", 200), std::pair("secon.:a third password", 200),
          std::pair("second:a third password", 401)}) {
        QCOMPARE(Web::request("/logging/api/logs"_s, {}, QString::fromLatin1(name)).status, status);
    }
    QCOMPARE(Web::request("/logging/api/logs"_s, {}, user).status, 401);
    QCOMPARE(Web::get("logs"_s).status, 200);
}

void tst_WebServer::wrongPasswords_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::newRow("no name") << QStringList() << QByteArray("long enough\n");
    QTest::newRow("empty name") << QStringList {""_s} << QByteArray("long enough\n");
    QTest::newRow("two names") << QStringList {"a"_s, "b"_s} << QByteArray("long enough\n");
    for (const char *const name : {"a:b", "a b", "a\nb", "\xc3\xa4", "../a", "a;b"}) {
        QTest::newRow(name) << QStringList {QString::fromUtf8(name)} << QByteArray("long enough\n");
    }
    QTest::newRow("short") << QStringList {"a"_s} << QByteArray("seven77\n");
    QTest::newRow("empty") << QStringList {"a"_s} << QByteArray("\n");
    QTest::newRow("none") << QStringList {"a"_s} << QByteArray();
}

void tst_WebServer::wrongPasswords()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    const Outcome outcome = runTool(arguments, input);
    QCOMPARE(outcome.status, 1);
    QVERIFY(outcome.errors.startsWith("password: "));
    QCOMPARE(Phone::read(::passwords), m_passwords);
    if (Users::exist()) {
        QVERIFY(runProgram(Users::asTechnician({tool, "x"_s})).status != 0);
    }
}

void tst_WebServer::passwordFile()
{
    // Readable for the web server and nobody else, whatever the umask is.
    for (const char *const mask : {"umask 000", "umask 077"}) {
        QCOMPARE(runTool({"second"_s}, "long enough\n", QString::fromLatin1(mask)).status, 0);
        struct stat status = {};
        QCOMPARE(stat(QFile::encodeName(::passwords).constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777U, 0640U);
        QCOMPARE(status.st_uid, 0U);
        if (Users::exist()) {
            const Outcome group = runProgram({"stat"_s, "-c"_s, "%G"_s, ::passwords});
            QCOMPARE(group.output, QByteArray("www-data\n"));
        }
        QCOMPARE(Web::request("/logging/api/logs"_s, {}, "second:long enough"_s).status, 200);
    }
}

void tst_WebServer::fullDisk()
{
    // No file may become larger than nothing, as on a disk without room.
    const Outcome outcome = runTool({"second"_s}, "long enough\n", "trap '' XFSZ; ulimit -f 0"_s);
    QVERIFY(outcome.status != 0);
    QCOMPARE(Phone::read(::passwords), m_passwords);
}

void tst_WebServer::cutOff()
{
    // The power goes before the new file has its name: what it left behind is in nobody's way.
    const QTemporaryDir programs;
    const QString mv = programs.filePath("mv"_s);
    Phone::write(mv, "#!/bin/sh\nkill -KILL $PPID\n");
    QVERIFY(QFile::setPermissions(mv, QFile::ReadOwner | QFile::ExeOwner));
    QVERIFY(runTool({"second"_s}, "long enough\n", "PATH="_s + programs.path() + ":$PATH"_s).status
            != 0);
    QCOMPARE(Phone::read(::passwords), m_passwords);
    QVERIFY(QFile::exists(::passwords + ".new"_s));
    QCOMPARE(makePassword("second", "long enough"), 0);
    QVERIFY(Phone::read(::passwords).startsWith(m_passwords));
    QVERIFY(!QFile::exists(::passwords + ".new"_s));
}

QTEST_GUILESS_MAIN(tst_WebServer)
#include "tst_webserver.moc"
