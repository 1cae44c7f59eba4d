// Which destination texts are accepted, and what becomes of them in the configuration.
// SPDX-License-Identifier: MIT
#include "destinations/destinationsyntax.h"
#include "support/literal.h"

#include <QTest>

namespace {

enum class Kind { Refused, Address, Host, Other };

constexpr int longText = 100000;
const QStringList quotedKinds {"program"_s, "unix-stream"_s, "unix-dgram"_s, "pipe"_s,
                               "file"_s,    "flash"_s,       "usertty"_s};

QString repeated(const char *part, int times = longText)
{
    return QString::fromLatin1(part).repeated(times);
}

/// A row whose name is the text itself.
void row(Kind kind, const QString &text)
{
    QTest::newRow(text.isEmpty() ? "empty" : qPrintable(text)) << text << kind;
}

/// A row for each line of @p texts. The first and the last line are empty and do not count.
void rows(Kind kind, const QString &texts)
{
    const QStringList lines = texts.split("\n"_s);
    for (const QString &text : lines.mid(1, lines.size() - 2)) {
        row(kind, text);
    }
}

/// A row for each word of @p words, put in the place of "%1" in @p text.
void rows(Kind kind, const QString &text, const QString &words)
{
    for (const QString &word : words.split(" "_s)) {
        row(kind, QString(text).replace("%1"_s, word));
    }
}

} // namespace

Q_DECLARE_METATYPE(Kind)

class TestDestinationSyntax : public QObject
{
    Q_OBJECT

private slots:
    void networkText_data();
    void networkText();
    void quotedText_data();
    void quotedText();
    void keyword_data();
    void keyword();
    void blockMarker();
    void severalLines();
    void longTextIsAnswered_data();
    void longTextIsAnswered();
    void portOfAMatch_data();
    void portOfAMatch();
    void consoleHasADriver();

private:
    static void check();
};

void TestDestinationSyntax::check()
{
    QFETCH(QString, text);
    QFETCH(Kind, kind);
    QCOMPARE(isDestinationValid(text), kind != Kind::Refused);
    QCOMPARE(isNetworkAddressDestination(text), kind == Kind::Address);
    QCOMPARE(isNetworkHostDestination(text), kind == Kind::Host);
}

void TestDestinationSyntax::networkText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    const Kind address = Kind::Address;
    const Kind host = Kind::Host;
    const Kind refused = Kind::Refused;

    // The word in front, and blanks behind it.
    rows(address, R"(
udp("10.1.2.3" port(514))
tcp("10.1.2.3" port(601))
tcp   ("10.0.0.1" port  (514))
)"_s);
    row(host, R"(udp   ("loghost" port   (514)))"_s);
    rows(refused, R"(%1("10.0.0.1" port(514)))"_s,
         "UDP Tcp sctp syslog udptcp udp6 udp\t :tcp ^:udp"_s);
    row(refused, R"(("10.0.0.1" port(514)))"_s);
    rows(refused, R"(%1("loghost" port(514)))"_s, "UDP Tcp udptcp"_s);

    // Nothing may stand around it.
    rows(refused, R"(
 udp("10.0.0.1" port(514))
 udp("loghost" port(514))
xudp("10.0.0.1" port(514))
udp("10.0.0.1" port(514));
udp("10.0.0.1" port(514)) udp("10.0.0.1" port(514))
udp("10.0.0.1" port(514)
udp("10.0.0.1" port(514) )
udp("loghost" port(514) )
)"_s);
    row(refused, R"(udp("10.0.0.1" port(514)) )"_s);
    row(refused, R"(udp("loghost" port(514)) )"_s);

    // The opening quote is needed and stands right behind the parenthesis; the closing one need not
    // be there, and may be there several times.
    rows(address, R"(
udp("10.0.0.1 port(514))
udp("10.0.0.1"" port(514))
udp("10.0.0.1""" port(514))
)"_s);
    rows(host, R"(
udp("loghost port(514))
udp("loghost""" port(514))
)"_s);
    rows(refused, R"(
udp ( "10.0.0.1" port(514))
udp( "loghost" port(514))
udp(10.0.0.1 port(514))
udp(loghost port(514))
udp('10.0.0.1' port(514))
udp(""10.0.0.1" port(514))
udp(""loghost" port(514))
udp("10.0.0.1' port(514))
udp(" port(514))
udp("" port(514))
udp("10.0"0.1" port(514))
)"_s);

    // Exactly one blank in front of "port".
    for (const char *text :
         {R"(udp("%1"port(514)))", R"(udp("%1"  port(514)))", "udp(\"%1\"\tport(514))",
          R"(udp("%1" Port(514)))", R"(udp("%1" port\(514)))", R"(udp("%1"\ port(514)))",
          R"(udp("%1"))"}) {
        rows(refused, QString::fromLatin1(text), "10.0.0.1 loghost"_s);
    }

    // One to five digits, of a number from 1 to 65535.
    const QString withPort = R"(tcp("10.0.0.1" port(%1)))"_s;
    rows(address, withPort, "1 9 514 1514 65534 65535 00001 00514 0601"_s);
    rows(refused, withPort,
         "0 00000 65536 70000 99999 123456 065535 000001 -1 +1 1.0 0x1 a 1a 5,5 \u0661"_s);
    row(refused, R"(tcp("10.0.0.1" port( 1)))"_s);
    row(refused, R"(tcp("10.0.0.1" port(1 )))"_s);
    row(refused, R"(tcp("10.0.0.1" port()))"_s);
    rows(host, R"(udp("loghost" port(%1)))"_s, "1 65535"_s);
    rows(refused, R"(udp("loghost" port(%1)))"_s, "0 65536 123456"_s);
    row(refused, R"(udp("loghost" port()))"_s);

    // Four numbers from 0 to 255. A number of three digits may begin with zeros.
    const QString udp = R"(udp("%1" port(514)))"_s;
    rows(address, udp, "0.0.0.0 255.255.255.255 249.250.199.200 1.22.133.244"_s);
    rows(address, udp, "00.01.001.000 010.020.030.099 127.0.0.1 9.10.99.100"_s);
    rows(refused, udp, "256.1.1.1 1.256.1.1 1.1.256.1 1.1.1.256 260.1.1.1 300.1.1.1 999.1.1.1"_s);
    rows(refused, udp, "1.1.1.1000 0000.1.1.1 1.1.1.0001 0255.1.1.1 1.2.3 1.2.3. 1.2.3.4."_s);
    rows(refused, udp, ".1.2.3.4 1..2.3 1.2.3.4.5 1,2,3,4 1.2.3.-4 1.2.3.a 0x1.2.3.4"_s);
    rows(refused, udp, "1.2.3.4/24 16909060"_s);
    for (const char *blank : {"1.2.3.4 ", " 1.2.3.4", "1 .2.3.4"}) {
        row(refused, udp.arg(QString::fromLatin1(blank)));
    }

    // No IP address with colons, wherever the colon of the pattern may stand.
    rows(refused, udp, "fe80::1 ::1 :: 1:2:3:4:5:6:7:8 2001:db8::1 FE80::1 [fe80::1]"_s);
    rows(refused, udp, "::ffff:10.0.0.1"_s);
    rows(refused, R"(
tcp("fe80::1" port(514))
:tcp("fe80::1" port(514))
:udp("::1" port(514))
^:udp("::1" port(514))
)"_s);

    // A letter, then letters and digits with single separators between them.
    rows(host, udp, "loghost ab a1 a.b a-b LogHost log-host.example.com a-1.b-2 x1y2z3 a.1 Z9"_s);
    rows(host, udp, "a.b.c.d.e.f.g"_s);
    rows(refused, udp, "a log_host 1host -host .host host. host- a--b a..b a.-b a-.b log/host"_s);
    rows(refused, udp, "h\u00f6st host:1 log*host a- a."_s);
    for (const char *blank : {"log host", " loghost", "loghost "}) {
        row(refused, udp.arg(QString::fromLatin1(blank)));
    }
}

void TestDestinationSyntax::networkText()
{
    check();
}

void TestDestinationSyntax::quotedText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    for (const QString &kind : quotedKinds) {
        rows(Kind::Other, kind + "%1"_s,
             R"t(("x") ("x.log") ("") ("a"b") (""") ("""") ("a;b{c}#d\") ("'") ("%1"))t"_s);
        for (const char *rest :
             {"(\" \")", "(\"/var/log/a b.log\")", "(\"t\u00e9l\u00e9\u260e\t\u0001\")"}) {
            row(Kind::Other, kind + QString::fromUtf8(rest));
        }
        row(Kind::Refused, kind);
        rows(
            Kind::Refused, kind + "%1"_s,
            R"t(() (") ("x) ("x" ("x")x ("x")) ("x"))" (x) ('x') (x") ("(x") ("x)") ["x"] "x")t"_s);
        rows(Kind::Refused, kind + "%1"_s, R"t(("x")" ("x")("y") ("/var/log/(a).log") x("x"))t"_s);
        for (const char *rest : {"(\"x\") ", " (\"x\")", "( \"x\")", "(\"x\" )",
                                 "(\"x\" perm(0644))", "(\u201cx\u201d)"}) {
            row(Kind::Refused, kind + QString::fromUtf8(rest));
        }
        row(Kind::Refused, kind + "(\"x\"); "_s + kind + "(\"x\")"_s);
        for (const QString &other :
             {kind.toUpper(), QString(kind.at(0).toUpper() + kind.mid(1)), kind.chopped(1),
              QString("x"_s + kind), QString(" "_s + kind)}) {
            row(Kind::Refused, other + "(\"x\")"_s);
        }
    }
    // Words that are none, and more than a destination.
    rows(Kind::Refused, R"(%1("x"))"_s,
         "ram RAM unix unix_dgram unix-streams network fifo console"_s);
    rows(Kind::Refused, R"t(
ram("")
("x")
"file("x")"
{ file("x"); }
)t"_s);
}

void TestDestinationSyntax::quotedText()
{
    check();
}

void TestDestinationSyntax::keyword_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    row(Kind::Other, "V24"_s);
    row(Kind::Other, "init"_s);
    rows(Kind::Refused, "%1"_s, R"(v24 V2 V244 V24V24 V24("x") "V24" ^V24$ V24$ V24init)"_s);
    rows(Kind::Refused, "%1"_s, "INIT Init ini initinit all none UNDEFINED file udp"_s);
    for (const char *text : {"", " ", "V24 ", " V24", "V24\t", "init ", " init", "init\t",
                             "init V24", "file(\"/dev/console\") "}) {
        row(Kind::Refused, QString::fromLatin1(text));
    }
    QTest::newRow("null text") << QString() << Kind::Refused;
}

void TestDestinationSyntax::keyword()
{
    check();
}

void TestDestinationSyntax::blockMarker()
{
    for (const char *text :
         {R"(file("/var/log/# BEGIN x"))", R"(file("/var/log/# END x"))",
          R"(file("/var/log/# ENDx"))", R"(program("/bin/x # END"))", R"(usertty("# BEGIN "))"}) {
        QVERIFY2(!isDestinationValid(QString::fromLatin1(text)), text);
    }
    // The reader does not take these for a marker.
    for (const char *text : {R"(file("/# BEGIN"))", R"(file("/#END x"))", R"(file("/# end x"))"}) {
        QVERIFY2(isDestinationValid(QString::fromLatin1(text)), text);
    }
}

void TestDestinationSyntax::severalLines()
{
    QStringList accepted {"V24"_s, "init"_s, R"(udp("10.0.0.1" port(514)))"_s,
                          R"(tcp("loghost" port(601)))"_s};
    for (const QString &kind : quotedKinds) {
        accepted.append(kind + R"(("/x"))"_s);
    }
    for (const QString &text : qAsConst(accepted)) {
        QVERIFY2(isDestinationValid(text), qPrintable(text));
        for (const char lineBreak : {'\n', '\r', '\0'}) {
            for (const int position : {0, 2, text.size() - 2, text.size()}) {
                const QString broken = QString(text).insert(position, QLatin1Char(lineBreak));
                QVERIFY2(!isDestinationValid(broken), qPrintable(broken));
                QVERIFY2(!isNetworkAddressDestination(broken), qPrintable(broken));
                QVERIFY2(!isNetworkHostDestination(broken), qPrintable(broken));
            }
        }
    }
    QVERIFY(!isDestinationValid("file(\"/x\"); };\nlog { source(s_phone); destination(\"d_x\")"_s));
}

void TestDestinationSyntax::longTextIsAnswered_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    const auto longRow = [](const QString &name, Kind kind, const QString &text) {
        QTest::newRow(qPrintable(name)) << text << kind;
    };
    const QString letters = repeated("x");
    const QString quotes = repeated("\"");
    for (const QString &kind : quotedKinds) {
        const QString start = kind + "(\""_s;
        const QString end = "\")"_s;
        longRow(kind + ": letters"_s, Kind::Other, start + letters + end);
        longRow(kind + ": quotes"_s, Kind::Other, start + quotes + end);
        longRow(kind + ": without end"_s, Kind::Refused, start + letters);
        longRow(kind + ": quotes without end"_s, Kind::Refused, start + quotes);
        longRow(kind + ": parenthesis near the end"_s, Kind::Refused,
                start + letters + "("_s + end);
        longRow(kind + ": text behind"_s, Kind::Refused, start + letters + end + "x"_s);
        longRow(kind + ": line feed at the end"_s, Kind::Refused, start + letters + end + "\n"_s);
        longRow(kind + ": many"_s, Kind::Refused,
                QString(start + "x"_s + end).repeated(longText / 10));
    }
    const QString port = " port(514))"_s;
    const QString start = "udp(\""_s;
    const QString blanks = repeated(" ");
    longRow("blanks behind udp"_s, Kind::Address, "udp"_s + blanks + "(\"10.0.0.1\""_s + port);
    longRow("blanks behind port"_s, Kind::Address, "tcp(\"10.0.0.1\" port"_s + blanks + "(514))"_s);
    longRow("address: closing quotes"_s, Kind::Address, start + "10.0.0.1"_s + quotes + port);
    longRow("address: zeros"_s, Kind::Refused, start + repeated("0") + port);
    longRow("address: numbers"_s, Kind::Refused, start + repeated("1.") + port);
    longRow("address: port of many digits"_s, Kind::Refused,
            "udp(\"10.0.0.1\" port("_s + repeated("1") + "))"_s);
    longRow("host: letters"_s, Kind::Host, start + letters + "\""_s + port);
    longRow("host: labels"_s, Kind::Host, start + repeated("a.") + "b\""_s + port);
    longRow("host: closing quotes"_s, Kind::Host, start + "loghost"_s + quotes + port);
    longRow("host: underscore near the end"_s, Kind::Refused, start + letters + "_\""_s + port);
    longRow("host: labels and an underscore"_s, Kind::Refused,
            start + repeated("a.") + "_\""_s + port);
    longRow("host: separator at the end"_s, Kind::Refused, start + repeated("a-") + "\""_s + port);
    longRow("host: without port"_s, Kind::Refused, start + repeated("ab1"));
    longRow("colons"_s, Kind::Refused, start + repeated(":") + "\""_s + port);
    longRow("colons in front"_s, Kind::Refused, repeated(":") + start + "::1\""_s + port);
    longRow("groups of an address with colons"_s, Kind::Refused,
            start + repeated("abcd:") + "\""_s + port);
    for (const char *word : {"udp", "udp(\"", ":udp(\"", "V24", "init", " ", "\n"}) {
        longRow("many times "_s + QString::fromLatin1(word), Kind::Refused, repeated(word));
    }
    longRow("V24 and blanks"_s, Kind::Refused, "V24"_s + blanks);
    longRow("NULs"_s, Kind::Refused, QString(longText, QChar::Null));
}

void TestDestinationSyntax::longTextIsAnswered()
{
    check();
}

void TestDestinationSyntax::portOfAMatch_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("matches");

    const auto row = [](const char *name, const char *text, const char *pattern, bool matches) {
        QTest::newRow(name) << QString::fromLatin1(text) << QString::fromLatin1(pattern) << matches;
    };
    row("lowest", "1", "([0-9]+)", true);
    row("highest", "65535", "([0-9]+)", true);
    row("below", "0", "([0-9]+)", false);
    row("above", "65536", "([0-9]+)", false);
    row("negative", "-1", "(-[0-9]+)", false);
    row("too large for a number", "99999999999999999999", "([0-9]+)", false);
    row("2 to the power of 32, and 1", "4294967297", "([0-9]+)", false);
    row("leading zeros are no octal number", "000000601", "([0-9]+)", true);
    row("eight in a number with a leading zero", "08", "([0-9]+)", true);
    row("no hexadecimal number", "0x10", "(0x[0-9]+)", false);
    row("text behind the match", "514x", "([0-9]+)", true);
    row("text in front of the match", "x514", "([0-9]+)", false);
    row("blank in front of the match", " 514", "([0-9]+)", false);
    row("first match counts, also when a later one would do", "x514 514", "([0-9]+)", false);
    row("text in front in the pattern too", "x514", "x([0-9]+)", true);
    row("first group", "514 0", "([0-9]+) ([0-9]+)", true);
    row("not the second group", "0 514", "([0-9]+) ([0-9]+)", false);
    row("group that is not counted", "udp 514", "(?:udp|tcp) ([0-9]+)", true);
    row("group in front that is counted", "udp 514", "(udp|tcp) ([0-9]+)", false);
    row("optional anchor", ":514", "^?:([0-9]+)", true);
    row("optional anchor, later", "x:514", "^?:([0-9]+)", false);
    row("nothing in the group", "x", "x([0-9]*)", false);
    row("no group", "514", "[0-9]+", false);
    row("no match", "abc", "([0-9]+)", false);
    row("case counts", "PORT514", "port([0-9]+)", false);
    row("same case", "port514", "port([0-9]+)", true);
    row("no wildcard pattern", "*514", "*([0-9]+)", false);
    row("pattern that is none", "514", "([0-9]+", false);
    row("empty text", "", "([0-9]+)", false);
    row("empty pattern", "514", "", false);
}

void TestDestinationSyntax::portOfAMatch()
{
    QFETCH(QString, text);
    QFETCH(QString, pattern);
    QTEST(matchesWithPort(text, pattern), "matches");
}

void TestDestinationSyntax::consoleHasADriver()
{
    QCOMPARE(driverExpression("V24"_s), R"(file("/dev/console"))"_s);
    for (const char *same :
         {"v24", "V24 ", "init", "", R"(udp("10.1.2.3" port(514)))", R"(file("V24"))"}) {
        QCOMPARE(driverExpression(QString::fromLatin1(same)), QString::fromLatin1(same));
    }
}

QTEST_GUILESS_MAIN(TestDestinationSyntax)
#include "tst_destinationsyntax.moc"
