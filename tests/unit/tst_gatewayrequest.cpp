// What the gateway takes from a request of the web server, which it refuses, and what it writes
// into the page. SPDX-License-Identifier: MIT
#include "web/gateway/page.h"
#include "web/gateway/request.h"

#include "support/literal.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>

Q_DECLARE_METATYPE(CgiVariables)

namespace {

/// The variables of a GET of @p address below the gateway.
CgiVariables get(const QByteArray &address)
{
    const int mark = address.indexOf('?');
    return {{"REQUEST_METHOD", "GET"},
            {"SCRIPT_NAME", "/logging/api"},
            {"REQUEST_URI", "/logging/api" + address},
            {"QUERY_STRING", mark < 0 ? QByteArray() : address.mid(mark + 1)},
            {"HTTP_HOST", "phone"}};
}

/// Those of a POST of @p length bytes by the page.
CgiVariables post(int length)
{
    CgiVariables variables = get("/levels");
    variables.insert("REQUEST_METHOD", "POST");
    variables.insert("CONTENT_TYPE", "application/json");
    variables.insert("CONTENT_LENGTH", QByteArray::number(length));
    variables.insert("HTTP_X_LOGGING_PAGE", "1");
    variables.insert("HTTP_ORIGIN", "http://phone");
    return variables;
}

} // namespace

class tst_GatewayRequest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void paths_data();
    void paths();
    void queries();
    void numbersOfLines();
    void readsOfOtherSites();
    void changes();
    void refusals_data();
    void refusals();
    void lengths_data();
    void lengths();
    void pageIsFilled();
    void pageHasTextOnly();
};

void tst_GatewayRequest::paths_data()
{
    QTest::addColumn<QStringList>("path");
    QTest::newRow("") << QStringList();
    QTest::newRow("/") << QStringList();
    QTest::newRow("/activities") << QStringList {"activities"_s};
    QTest::newRow("/logs/qvxsipua?lines=5") << QStringList {"logs"_s, "qvxsipua"_s};
    QTest::newRow("/logs/a%2Fb%20%C3%BC") << QStringList {"logs"_s, "a/b \xc3\xbc"_s};
    QTest::newRow("/logs/..%2f..") << QStringList {"logs"_s, "../.."_s};
    QTest::newRow("//logs//x/") << QStringList {"logs"_s, "x"_s};
}

void tst_GatewayRequest::paths()
{
    Answer refused;
    const WebRequest request = readRequest(get(QTest::currentDataTag()), QByteArray(), &refused);
    QCOMPARE(refused.status, 0);
    QVERIFY(!request.change);
    QTEST(request.path, "path");
    // The page's own address, which the web server hands on.
    CgiVariables page = get("");
    page.insert("REQUEST_URI", "/logging/");
    page.insert("PATH_INFO", "/");
    QVERIFY(readRequest(page, QByteArray(), &refused).path.isEmpty());
}

void tst_GatewayRequest::queries()
{
    Answer refused;
    const WebRequest request
        = readRequest(get("/logs/x?lines=5&grep=a%26b+%2B%20%C3%BC"), QByteArray(), &refused);
    QCOMPARE(request.query.queryItemValue("lines"_s), "5"_s);
    QCOMPARE(request.query.queryItemValue("grep"_s, QUrl::FullyDecoded), "a&b + \xc3\xbc"_s);
}

void tst_GatewayRequest::numbersOfLines()
{
    constexpr int usual = 200;
    const auto lines = [](const QByteArray &query, int status) {
        Answer refused;
        const WebRequest request = readRequest(get("/logs/x" + query), QByteArray(), &refused);
        const int number = linesOf(request, usual, &refused);
        return refused.status == status ? number : -1;
    };
    QCOMPARE(lines("", 0), usual);
    QCOMPARE(lines("?grep=x", 0), usual);
    QCOMPARE(lines("?lines=0", 0), 0);
    QCOMPARE(lines("?lines=2000", 0), 2000);
    for (const char *const wrong : {"", "x", "-1", "2001", "1.5", "4294967297", "5%20x"}) {
        QCOMPARE(lines(QByteArray("?lines=") + wrong, 422), usual);
    }
}

void tst_GatewayRequest::readsOfOtherSites()
{
    for (const char *const site : {"cross-site", "same-site", "same-origin", "none"}) {
        const bool own = site[0] == 'n' || QByteArray(site) == "same-origin";
        Answer refused;
        CgiVariables variables = get("/logs/x");
        variables.insert("HTTP_SEC_FETCH_SITE", site);
        static_cast<void>(readRequest(variables, QByteArray(), &refused));
        QCOMPARE(refused.status, own ? 0 : 403);
        // A link to the page is followed from anywhere.
        variables.insert("REQUEST_URI", "/logging/");
        static_cast<void>(readRequest(variables, QByteArray(), &refused));
        QCOMPARE(refused.status, 0);
    }
}

void tst_GatewayRequest::changes()
{
    const QByteArray body = "{\"levels\":{\"\xc3\xbc\":\"err\"}}";
    for (const char *const type :
         {"application/json", "application/json; charset=utf-8", "Application/JSON"}) {
        CgiVariables variables = post(body.size());
        variables.insert("CONTENT_TYPE", type);
        Answer refused;
        const WebRequest request = readRequest(variables, body, &refused);
        QCOMPARE(refused.status, 0);
        QVERIFY(request.change);
        QCOMPARE(request.body.value("levels"_s).toObject().value("\xc3\xbc"_s).toString(), "err"_s);
    }
    // A program that is no browser names no origin; with TLS it has another scheme.
    Answer refused;
    CgiVariables program = post(2);
    program.remove("HTTP_ORIGIN");
    static_cast<void>(readRequest(program, "{}", &refused));
    QCOMPARE(refused.status, 0);
    CgiVariables secure = post(2);
    secure.insert("HTTPS", "on");
    secure.insert("HTTP_ORIGIN", "https://phone");
    static_cast<void>(readRequest(secure, "{}", &refused));
    QCOMPARE(refused.status, 0);
}

void tst_GatewayRequest::refusals_data()
{
    QTest::addColumn<CgiVariables>("variables");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    const auto with = [](const char *name, const char *key, const char *value, int status) {
        CgiVariables variables = post(2);
        if (value == nullptr) {
            variables.remove(key);
        } else {
            variables.insert(key, value);
        }
        QTest::newRow(name) << variables << QByteArray("{}") << status;
    };
    const auto body = [](const char *name, const QByteArray &text, int status) {
        QTest::newRow(name) << post(text.size()) << text << status;
    };
    for (const char *const method : {"PUT", "DELETE", "HEAD", "post", ""}) {
        with(qPrintable("method "_s + QString::fromLatin1(method)), "REQUEST_METHOD", method, 405);
    }
    with("no header", "HTTP_X_LOGGING_PAGE", nullptr, 403);
    with("other header", "HTTP_X_LOGGING_PAGE", "0", 403);
    for (const char *const origin : {"http://elsewhere", "https://phone", "http://phone:81",
                                     "http://phone.elsewhere", "null", ""}) {
        with(qPrintable("origin "_s + QString::fromLatin1(origin)), "HTTP_ORIGIN", origin, 403);
    }
    with("no type", "CONTENT_TYPE", nullptr, 415);
    with("form", "CONTENT_TYPE", "application/x-www-form-urlencoded", 415);
    with("text", "CONTENT_TYPE", "text/plain", 415);
    with("no length", "CONTENT_LENGTH", nullptr, 400);
    with("wrong length", "CONTENT_LENGTH", "3", 400);
    with("too long, as it says", "CONTENT_LENGTH", "65537", 413);
    body("too long", "{\"a\":\"" + QByteArray(65530, 'x') + "\"}", 413);
    body("as long as is allowed", "{\"a\":\"" + QByteArray(65528, 'x') + "\"}", 0);
    body("empty", "", 400);
    body("no JSON", "{", 400);
    body("array", "[]", 400);
    body("number", "1", 400);
    body("not UTF-8", "{\"a\":\"\xff\"}", 400);
    body("cut UTF-8", "{\"a\":\"\xc3", 400);
    body("nested deep", QByteArray(30000, '[') + QByteArray(30000, ']'), 400);
    body("nested in an object", "{\"a\":" + QByteArray(3000, '[') + QByteArray(3000, ']') + '}',
         400);
    body("with NUL", QByteArray("{}\0", 3), 400);
}

void tst_GatewayRequest::refusals()
{
    QFETCH(CgiVariables, variables);
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    Answer refused;
    static_cast<void>(readRequest(variables, body, &refused));
    QCOMPARE(refused.status, status);
    QCOMPARE(refused.body.value("error"_s).toString().isEmpty(), status == 0);
}

void tst_GatewayRequest::lengths_data()
{
    QTest::addColumn<qint64>("length");
    QTest::newRow("0") << qint64(0);
    QTest::newRow("17") << qint64(17);
    for (const char *const wrong : {"", "-1", "x", "1.5", "99999999999999999999"}) {
        QTest::newRow(wrong) << qint64(-1);
    }
}

void tst_GatewayRequest::lengths()
{
    QTEST(bodyLength({{"CONTENT_LENGTH", QTest::currentDataTag()}}), "length");
    QCOMPARE(bodyLength({}), qint64(-1));
}

void tst_GatewayRequest::pageIsFilled()
{
    const QByteArray page
        = "<table><tbody id=\"rows\" role=\"rowgroup\"><tr>old</tr></tbody></table>"
          "<script type=\"application/json\" id=\"first\">{}</script>";
    const QJsonObject row {{"activity"_s, "a"_s},
                           {"level"_s, "err"_s},
                           {"support"_s, "file"_s},
                           {"destination"_s, "/x"_s}};
    const QJsonObject first {{"activities"_s, QJsonArray {row}}};
    const QByteArray text = filled(page, {200, first});
    for (const char *const cell : {">a</th>", ">err</span></td>", ">file</td>", ">/x</td>"}) {
        QVERIFY2(text.contains(cell), text.constData());
    }
    QVERIFY(text.startsWith("<table><tbody id=\"rows\" role=\"rowgroup\"><tr role=\"row\">"));
    QVERIFY(!text.contains("old"));
    const int start = text.indexOf("id=\"first\">") + 11;
    QCOMPARE(QJsonDocument::fromJson(text.mid(start, text.indexOf("</script>") - start)).object(),
             first);
    // Without the elements, and with a refusal, it is a page all the same.
    QCOMPARE(filled("<p>", {200, first}), QByteArray("<p>"));
    QVERIFY(filled(page, {503, {{"error"_s, "gone"_s}}}).contains("role=\"rowgroup\"></tbody>"));
}

void tst_GatewayRequest::pageHasTextOnly()
{
    const QByteArray page = "<tbody id=\"rows\"></tbody>"
                            "<script type=\"application/json\" id=\"first\"></script>";
    const QString evil = "</td></script><script>alert(1)</script><!--&\"'"_s;
    const QJsonObject row {
        {"activity"_s, evil}, {"level"_s, evil}, {"support"_s, evil}, {"destination"_s, evil}};
    const QByteArray text = filled(page, {200, {{"activities"_s, QJsonArray {row}}}});
    QCOMPARE(text.count("<script"), 1);
    QCOMPARE(text.count("</script>"), 1);
    QCOMPARE(text.count("<!--"), 0);
    QCOMPARE(text.count("alert(1)"), 9); // the level is an attribute too
}

QTEST_APPLESS_MAIN(tst_GatewayRequest)
#include "tst_gatewayrequest.moc"
