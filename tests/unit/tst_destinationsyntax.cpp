// Which destination texts are accepted, and the texts that are made of a destination's parts.
// SPDX-License-Identifier: MIT
#include "destinations/destinationsyntax.h"
#include "destinations/remoteserver.h"
#include "support/logcapture.h"

#include <QVX/setting.h>

#include <QTest>

namespace {

enum class Kind { Refused, Address, Host, Other };

constexpr int longText = 100000;

QString repeated(const char *part, int times = longText)
{
    return QString::fromLatin1(part).repeated(times);
}

/// A row whose name is the text itself.
void row(Kind kind, const QString &text)
{
    QTest::newRow(text.isEmpty() ? "empty" : qPrintable(text)) << text << kind;
}

/// A udp destination with @p address between its quotes.
QString udp(const QString &address)
{
    return QStringLiteral("udp(\"") + address + QStringLiteral("\" port(514))");
}

/// A destination with an address of digits and @p port between its parentheses.
QString withPort(const QString &port)
{
    return QStringLiteral("tcp(\"10.0.0.1\" port(") + port + QStringLiteral("))");
}

} // namespace

Q_DECLARE_METATYPE(Kind)
Q_DECLARE_METATYPE(RemoteServerConfig)

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
    void blockMarker_data();
    void blockMarker();
    void severalLines_data();
    void severalLines();
    void longTextIsAnswered_data();
    void longTextIsAnswered();
    void portOfAMatch_data();
    void portOfAMatch();
    void driver_data();
    void driver();
    void networkDestinationIsJoined_data();
    void networkDestinationIsJoined();
    void remoteDestination_data();
    void remoteDestination();
    void remoteDestinationIsLoggedAtDebugLevelOnly();

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
    row(address, QStringLiteral(R"(udp("10.1.2.3" port(514)))"));
    row(address, QStringLiteral(R"(tcp("10.1.2.3" port(601)))"));
    row(address, QStringLiteral(R"(udp("10.0.0.1" port(514)))"));
    row(address, QStringLiteral(R"(tcp   ("10.0.0.1" port  (514)))"));
    row(host, QStringLiteral(R"(udp   ("loghost" port   (514)))"));
    row(refused, QStringLiteral(R"(UDP("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(Tcp("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(UDP("loghost" port(514)))"));
    row(refused, QStringLiteral(R"(sctp("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(syslog("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(udptcp("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(udp6("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral("udp\t(\"10.0.0.1\" port(514))"));

    // Nothing may stand around it.
    row(refused, QStringLiteral(R"( udp("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(xudp("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"( udp("loghost" port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" port(514)) )"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" port(514));)"));
    row(refused, QStringLiteral(R"(udp("loghost" port(514)) )"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" port(514)) udp("10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" port(514))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" port(514) ))"));
    row(refused, QStringLiteral(R"(udp("loghost" port(514) ))"));

    // The opening quote is needed and stands right behind the parenthesis; the closing one need not
    // be there, and may be there several times.
    row(refused, QStringLiteral(R"(udp ( "10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(udp( "loghost" port(514)))"));
    row(refused, QStringLiteral(R"(udp(10.0.0.1 port(514)))"));
    row(refused, QStringLiteral(R"(udp(loghost port(514)))"));
    row(refused, QStringLiteral(R"(udp('10.0.0.1' port(514)))"));
    row(refused, QStringLiteral(R"(udp(""10.0.0.1" port(514)))"));
    row(refused, QStringLiteral(R"(udp(""loghost" port(514)))"));
    row(address, QStringLiteral(R"(udp("10.0.0.1 port(514)))"));
    row(address, QStringLiteral(R"(udp("10.0.0.1"" port(514)))"));
    row(address, QStringLiteral(R"(udp("10.0.0.1""" port(514)))"));
    row(host, QStringLiteral(R"(udp("loghost port(514)))"));
    row(host, QStringLiteral(R"(udp("loghost""" port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1' port(514)))"));
    row(refused, QStringLiteral(R"(udp(" port(514)))"));
    row(refused, QStringLiteral(R"(udp("" port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0"0.1" port(514)))"));

    // Exactly one blank in front of "port".
    row(refused, QStringLiteral(R"(udp("10.0.0.1"port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1"  port(514)))"));
    row(refused, QStringLiteral(R"(udp("loghost"port(514)))"));
    row(refused, QStringLiteral(R"(udp("loghost"  port(514)))"));
    row(refused, QStringLiteral("udp(\"10.0.0.1\"\tport(514))"));
    row(refused, QStringLiteral("udp(\"loghost\"\tport(514))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" Port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1" port\(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1"\ port(514)))"));
    row(refused, QStringLiteral(R"(udp("10.0.0.1"))"));
    row(refused, QStringLiteral(R"(udp("loghost"))"));

    // One to five digits, of a number from 1 to 65535.
    for (const char *port : {"1", "9", "514", "1514", "65534", "65535", "00001", "00514", "0601"}) {
        row(address, withPort(QString::fromLatin1(port)));
    }
    for (const char *port : {"", "0", "00000", "65536", "70000", "99999", "123456", "065535",
                             "000001", "-1", "+1", " 1", "1 ", "1.0", "0x1", "a", "1a", "5,5"}) {
        row(refused, withPort(QString::fromLatin1(port)));
    }
    row(refused, withPort(QStringLiteral("\u0661"))); // a digit, but not a decimal one of ASCII
    row(host, QStringLiteral(R"(udp("loghost" port(1)))"));
    row(host, QStringLiteral(R"(udp("loghost" port(65535)))"));
    row(refused, QStringLiteral(R"(udp("loghost" port(0)))"));
    row(refused, QStringLiteral(R"(udp("loghost" port(65536)))"));
    row(refused, QStringLiteral(R"(udp("loghost" port(123456)))"));
    row(refused, QStringLiteral(R"(udp("loghost" port()))"));

    // Four numbers from 0 to 255. A number of three digits may begin with zeros.
    for (const char *good : {"0.0.0.0", "255.255.255.255", "249.250.199.200", "1.22.133.244",
                             "00.01.001.000", "010.020.030.099", "127.0.0.1", "9.10.99.100"}) {
        row(address, udp(QString::fromLatin1(good)));
    }
    for (const char *bad :
         {"256.1.1.1", "1.256.1.1",  "1.1.256.1",  "1.1.1.256",  "260.1.1.1",  "300.1.1.1",
          "999.1.1.1", "1.1.1.1000", "0000.1.1.1", "1.1.1.0001", "0255.1.1.1", "1.2.3",
          "1.2.3.",    "1.2.3.4.",   ".1.2.3.4",   "1..2.3",     "1.2.3.4.5",  "1,2,3,4",
          "1.2.3.-4",  "1.2.3.a",    "1.2.3.4 ",   " 1.2.3.4",   "0x1.2.3.4",  "1.2.3.4/24",
          "1 .2.3.4",  "16909060"}) {
        row(refused, udp(QString::fromLatin1(bad)));
    }

    // No IP address with colons, wherever the colon of the pattern may stand.
    for (const char *bad : {"fe80::1", "::1", "::", "1:2:3:4:5:6:7:8", "2001:db8::1", "FE80::1",
                            "[fe80::1]", "::ffff:10.0.0.1"}) {
        row(refused, udp(QString::fromLatin1(bad)));
    }
    row(refused, QStringLiteral(R"(tcp("fe80::1" port(514)))"));
    row(refused, QStringLiteral(R"(:tcp("fe80::1" port(514)))"));
    row(refused, QStringLiteral(R"(:udp("::1" port(514)))"));
    row(refused, QStringLiteral(R"(^:udp("::1" port(514)))"));

    // A letter, then letters and digits with single separators between them.
    for (const char *good : {"loghost", "ab", "a1", "a.b", "a-b", "LogHost", "log-host.example.com",
                             "a-1.b-2", "x1y2z3", "a.1", "Z9", "a.b.c.d.e.f.g"}) {
        row(host, udp(QString::fromLatin1(good)));
    }
    for (const char *bad :
         {"a",        "log_host", "1host",  "-host",    ".host",    "host.",    "host-",
          "a--b",     "a..b",     "a.-b",   "a-.b",     "log host", " loghost", "loghost ",
          "log/host", "h\xf6st",  "host:1", "log*host", "a-",       "a."}) {
        row(refused, udp(QString::fromLatin1(bad)));
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

    for (const char *keyword :
         {"program", "unix-stream", "unix-dgram", "pipe", "file", "flash", "usertty"}) {
        const QString word = QString::fromLatin1(keyword);
        for (const char *rest :
             {R"t(("x"))t", R"t(("x.log"))t", R"t((""))t", R"t((" "))t",
              R"t(("/var/log/a b.log"))t", R"t(("a"b"))t", R"t(("""))t", R"t((""""))t",
              R"t(("a;b{c}#d\"))t", R"t(("'"))t", R"t(("%1"))t"}) {
            row(Kind::Other, word + QString::fromLatin1(rest));
        }
        row(Kind::Other, word + QStringLiteral("(\"t\u00e9l\u00e9\u260e\t\u0001\")"));
        for (const char *rest : {R"t()t",
                                 R"t(())t",
                                 R"t(("))t",
                                 R"t(("x))t",
                                 R"t(("x")t",
                                 R"t(("x")x)t",
                                 R"t(("x") )t",
                                 R"t(("x")))t",
                                 R"t(("x"))")t",
                                 R"t((x))t",
                                 R"t(('x'))t",
                                 R"t((x"))t",
                                 R"t( ("x"))t",
                                 R"t(( "x"))t",
                                 R"t(("x" ))t",
                                 R"t(("(x"))t",
                                 R"t(("x)"))t",
                                 R"t(("/var/log/(a).log"))t",
                                 R"t(["x"])t",
                                 R"t(("x")")t",
                                 R"t("x")t",
                                 R"t(("x")("y"))t",
                                 R"t(("x" perm(0644)))t"}) {
            row(Kind::Refused, word + QString::fromLatin1(rest));
        }
        row(Kind::Refused, word + QStringLiteral("(\u201cx\u201d)"));
        row(Kind::Refused, word.toUpper() + QStringLiteral("(\"x\")"));
        row(Kind::Refused, word.at(0).toUpper() + word.mid(1) + QStringLiteral("(\"x\")"));
        row(Kind::Refused, QLatin1Char(' ') + word + QStringLiteral("(\"x\")"));
        row(Kind::Refused, QLatin1Char('x') + word + QStringLiteral("(\"x\")"));
        row(Kind::Refused, word + QStringLiteral("x(\"x\")"));
        row(Kind::Refused, word.chopped(1) + QStringLiteral("(\"x\")"));
        row(Kind::Refused, word + QStringLiteral("(\"x\"); ") + word + QStringLiteral("(\"x\")"));
    }
    // Words that are none, and more than a destination.
    for (const char *text :
         {R"t(ram("x.log"))t", R"t(ram(""))t", R"t(RAM("x"))t", R"t(unix("x"))t",
          R"t(unix_dgram("x"))t", R"t(unix-streams("x"))t", R"t(network("x"))t", R"t(fifo("x"))t",
          R"t(console("x"))t", R"t(("x"))t", R"t(file("x" perm(0644)))t", R"t("file("x")")t",
          R"t({ file("x"); })t"}) {
        row(Kind::Refused, QString::fromLatin1(text));
    }
}

void TestDestinationSyntax::quotedText()
{
    check();
}

void TestDestinationSyntax::keyword_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    row(Kind::Other, QStringLiteral("V24"));
    row(Kind::Other, QStringLiteral("init"));
    for (const char *text : {"",         "v24",
                             "V24 ",     " V24",
                             "V2",       "V244",
                             "V24V24",   "V24(\"x\")",
                             "\"V24\"",  "INIT",
                             "Init",     "init ",
                             " init",    "ini",
                             "initinit", "V24init",
                             "init V24", "all",
                             "none",     "UNDEFINED",
                             " ",        "^V24$",
                             "V24$",     "file",
                             "udp",      "file(\"/dev/console\") ",
                             "V24\t",    "init\t"}) {
        row(Kind::Refused, QString::fromLatin1(text));
    }
    QTest::newRow("null text") << QString() << Kind::Refused;
}

void TestDestinationSyntax::keyword()
{
    check();
}

void TestDestinationSyntax::blockMarker_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");

    QTest::newRow("begin") << QStringLiteral("file(\"/var/log/# BEGIN x\")") << false;
    QTest::newRow("end") << QStringLiteral("file(\"/var/log/# END x\")") << false;
    QTest::newRow("end without blank") << QStringLiteral("file(\"/var/log/# ENDx\")") << false;
    QTest::newRow("end of the text") << QStringLiteral("program(\"/bin/x # END\")") << false;
    QTest::newRow("in a terminal's name") << QStringLiteral("usertty(\"# BEGIN \")") << false;
    // The reader does not take these for a marker.
    QTest::newRow("begin without blank") << QStringLiteral("file(\"/# BEGIN\")") << true;
    QTest::newRow("no blank") << QStringLiteral("file(\"/#END x\")") << true;
    QTest::newRow("small letters") << QStringLiteral("file(\"/# end x\")") << true;
}

void TestDestinationSyntax::blockMarker()
{
    QFETCH(QString, text);
    QTEST(isDestinationValid(text), "valid");
}

void TestDestinationSyntax::severalLines_data()
{
    QTest::addColumn<QString>("text");

    const QStringList accepted {QStringLiteral("V24"),
                                QStringLiteral("init"),
                                QStringLiteral(R"(udp("10.0.0.1" port(514)))"),
                                QStringLiteral(R"(tcp("loghost" port(601)))"),
                                QStringLiteral(R"(program("/bin/x"))"),
                                QStringLiteral(R"(unix-stream("/x"))"),
                                QStringLiteral(R"(unix-dgram("/x"))"),
                                QStringLiteral(R"(pipe("/x"))"),
                                QStringLiteral(R"(file("/x"))"),
                                QStringLiteral(R"(flash("x"))"),
                                QStringLiteral(R"(usertty("root"))")};
    const QList<QPair<const char *, QChar>> breaks {{"line feed", QLatin1Char('\n')},
                                                    {"carriage return", QLatin1Char('\r')},
                                                    {"NUL", QChar::Null}};
    for (const QString &text : accepted) {
        for (const auto &lineBreak : breaks) {
            for (const int position : {0, 2, text.size() - 2, text.size()}) {
                QTest::addRow("%s in %s at %d", lineBreak.first, qPrintable(text), position)
                    << QString(text).insert(position, lineBreak.second);
            }
        }
    }
    QTest::newRow("whole configuration")
        << QStringLiteral("file(\"/x\"); };\nlog { source(s_phone); destination(\"d_x\")");
}

void TestDestinationSyntax::severalLines()
{
    QFETCH(QString, text);
    QCOMPARE(isDestinationValid(text), false);
    QCOMPARE(isNetworkAddressDestination(text), false);
    QCOMPARE(isNetworkHostDestination(text), false);
    text.remove(QLatin1Char('\n'));
    text.remove(QLatin1Char('\r'));
    text.remove(QChar::Null);
    if (!text.contains(QLatin1Char(';'))) {
        QVERIFY(isDestinationValid(text));
    }
}

void TestDestinationSyntax::longTextIsAnswered_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Kind>("kind");

    for (const char *keyword :
         {"program", "unix-stream", "unix-dgram", "pipe", "file", "flash", "usertty"}) {
        const QString start = QString::fromLatin1(keyword) + QStringLiteral("(\"");
        const QString end = QStringLiteral("\")");
        QTest::addRow("%s: letters", keyword) << start + repeated("x") + end << Kind::Other;
        QTest::addRow("%s: quotes", keyword) << start + repeated("\"") + end << Kind::Other;
        QTest::addRow("%s: without end", keyword) << start + repeated("x") << Kind::Refused;
        QTest::addRow("%s: quotes without end", keyword) << start + repeated("\"") << Kind::Refused;
        QTest::addRow("%s: parenthesis near the end", keyword)
            << start + repeated("x") + QLatin1Char('(') + end << Kind::Refused;
        QTest::addRow("%s: text behind", keyword)
            << start + repeated("x") + end + QLatin1Char('x') << Kind::Refused;
        QTest::addRow("%s: line feed at the end", keyword)
            << start + repeated("x") + end + QLatin1Char('\n') << Kind::Refused;
        QTest::addRow("%s: many", keyword)
            << QString(start + QLatin1Char('x') + end).repeated(longText / 10) << Kind::Refused;
    }
    const QString port = QStringLiteral(" port(514))");
    const QString udpStart = QStringLiteral("udp(\"");
    QTest::newRow("blanks behind udp")
        << QStringLiteral("udp") + repeated(" ") + QStringLiteral("(\"10.0.0.1\"") + port
        << Kind::Address;
    QTest::newRow("blanks behind port") << QStringLiteral("tcp(\"10.0.0.1\" port") + repeated(" ")
            + QStringLiteral("(514))") << Kind::Address;
    QTest::newRow("address: closing quotes")
        << udpStart + QStringLiteral("10.0.0.1") + repeated("\"") + port << Kind::Address;
    QTest::newRow("address: zeros") << udpStart + repeated("0") + port << Kind::Refused;
    QTest::newRow("address: numbers") << udpStart + repeated("1.") + port << Kind::Refused;
    QTest::newRow("address: port of many digits") << QStringLiteral("udp(\"10.0.0.1\" port(")
            + repeated("1") + QStringLiteral("))") << Kind::Refused;
    QTest::newRow("host: letters")
        << udpStart + repeated("a") + QLatin1Char('"') + port << Kind::Host;
    QTest::newRow("host: labels") << udpStart + repeated("a.") + QStringLiteral("b\"") + port
                                  << Kind::Host;
    QTest::newRow("host: closing quotes")
        << udpStart + QStringLiteral("loghost") + repeated("\"") + port << Kind::Host;
    QTest::newRow("host: underscore near the end")
        << udpStart + repeated("a") + QStringLiteral("_\"") + port << Kind::Refused;
    QTest::newRow("host: labels and an underscore")
        << udpStart + repeated("a.") + QStringLiteral("_\"") + port << Kind::Refused;
    QTest::newRow("host: separator at the end")
        << udpStart + repeated("a-") + QLatin1Char('"') + port << Kind::Refused;
    QTest::newRow("host: without port") << udpStart + repeated("ab1") << Kind::Refused;
    QTest::newRow("colons") << udpStart + repeated(":") + QLatin1Char('"') + port << Kind::Refused;
    QTest::newRow("colons in front")
        << repeated(":") + udpStart + QStringLiteral("::1\"") + port << Kind::Refused;
    QTest::newRow("groups of an address with colons")
        << udpStart + repeated("abcd:") + QLatin1Char('"') + port << Kind::Refused;
    QTest::newRow("udp many times") << repeated("udp") << Kind::Refused;
    QTest::newRow("udp( many times") << repeated("udp(\"") << Kind::Refused;
    QTest::newRow("colon and udp many times") << repeated(":udp(\"") << Kind::Refused;
    QTest::newRow("V24 many times") << repeated("V24") << Kind::Refused;
    QTest::newRow("init many times") << repeated("init") << Kind::Refused;
    QTest::newRow("V24 and blanks") << QStringLiteral("V24") + repeated(" ") << Kind::Refused;
    QTest::newRow("blanks") << repeated(" ") << Kind::Refused;
    QTest::newRow("line feeds") << repeated("\n") << Kind::Refused;
    QTest::newRow("NULs") << QString(longText, QChar::Null) << Kind::Refused;
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

void TestDestinationSyntax::driver_data()
{
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("expression");

    QTest::newRow("console") << QStringLiteral("V24") << QStringLiteral("file(\"/dev/console\")");
    for (const char *same : {"v24", "V24 ", "init", "", "file(\"/var/log/x.log\")",
                             "udp(\"10.1.2.3\" port(514))", "file(\"V24\")"}) {
        QTest::addRow("unchanged: %s", same)
            << QString::fromLatin1(same) << QString::fromLatin1(same);
    }
}

void TestDestinationSyntax::driver()
{
    QFETCH(QString, destination);
    QTEST(driverExpression(destination), "expression");
}

void TestDestinationSyntax::networkDestinationIsJoined_data()
{
    QTest::addColumn<QString>("protocol");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("port");
    QTest::addColumn<QString>("destination");

    const auto row = [](const char *name, const char *protocol, const char *address,
                        const char *port, const char *destination) {
        QTest::newRow(name) << QString::fromLatin1(protocol) << QString::fromLatin1(address)
                            << QString::fromLatin1(port) << QString::fromLatin1(destination);
    };
    row("udp", "udp", "10.1.2.3", "514", R"(udp("10.1.2.3" port(514)))");
    row("tcp", "tcp", "loghost", "601", R"(tcp("loghost" port(601)))");
    row("nothing is looked at", "UDP", "a\"b", "-1", R"(UDP("a"b" port(-1)))");
    row("empty", "", "", "", R"(("" port()))");
    row("blanks are kept", " udp ", " h ", " 1 ", R"( udp (" h " port( 1 )))");
    row("percent and digits are kept", "%1", "%2", "%3", R"(%1("%2" port(%3)))");
}

void TestDestinationSyntax::networkDestinationIsJoined()
{
    QFETCH(QString, protocol);
    QFETCH(QString, address);
    QFETCH(QString, port);
    QTEST(networkDestination(protocol, address, port), "destination");
}

void TestDestinationSyntax::remoteDestination_data()
{
    QTest::addColumn<RemoteServerConfig>("record");
    QTest::addColumn<QString>("destination");

    const auto row = [](const char *name, const char *exist, const char *address, const char *port,
                        const char *protocol, const char *destination) {
        QTest::newRow(name) << RemoteServerConfig {QString::fromLatin1(exist),
                                                   QString::fromLatin1(address),
                                                   QString::fromLatin1(port),
                                                   QString::fromLatin1(protocol)}
                            << QString::fromLatin1(destination);
    };
    row("udp", "true", "10.1.2.3", "514", "udp", R"(udp("10.1.2.3" port(514)))");
    row("tcp", "true", "loghost", "601", "tcp", R"(tcp("loghost" port(601)))");
    row("whether it exists is not looked at", "false", "10.1.2.3", "514", "udp",
        R"(udp("10.1.2.3" port(514)))");
    row("nor whether that is set", "UNDEFINED", "10.1.2.3", "514", "udp",
        R"(udp("10.1.2.3" port(514)))");
    row("no protocol", "true", "10.1.2.3", "514", "UNDEFINED", "UNDEFINED");
    row("no address", "true", "UNDEFINED", "514", "udp", "UNDEFINED");
    row("no port", "true", "10.1.2.3", "UNDEFINED", "udp", "UNDEFINED");
    row("nothing set", "UNDEFINED", "UNDEFINED", "UNDEFINED", "UNDEFINED", "UNDEFINED");
    row("empty fields are set", "", "", "", "", R"(("" port()))");
    row("empty address", "true", "", "514", "udp", R"(udp("" port(514)))");
    row("small letters", "true", "undefined", "514", "udp", R"(udp("undefined" port(514)))");
    row("part of a field", "true", "UNDEFINED ", "514", "udp", R"(udp("UNDEFINED " port(514)))");
    row("invalid fields", "true", "fe80::1", "0", "UDP", R"(UDP("fe80::1" port(0)))");
}

void TestDestinationSyntax::remoteDestination()
{
    QFETCH(RemoteServerConfig, record);
    QFETCH(QString, destination);
    QCOMPARE(Setting::UNDEFINEDVALUE, QStringLiteral("UNDEFINED"));
    const LogCapture log;
    QCOMPARE(buildRemoteDestination(record), destination);
    const bool isSet = destination != Setting::UNDEFINEDVALUE;
    QCOMPARE(log.debugs(),
             isSet ? QStringList {QStringLiteral("Remote Server Address : ") + destination}
                   : QStringList());
    QCOMPARE(log.lines().size(), isSet ? 1 : 0);
}

void TestDestinationSyntax::remoteDestinationIsLoggedAtDebugLevelOnly()
{
    const LogCapture log;
    LogCapture::setLevel(6);
    QCOMPARE(buildRemoteDestination({QString(), QStringLiteral("10.1.2.3"), QStringLiteral("514"),
                                     QStringLiteral("udp")}),
             QStringLiteral(R"(udp("10.1.2.3" port(514)))"));
    QCOMPARE(log.lines().size(), 0);
}

QTEST_GUILESS_MAIN(TestDestinationSyntax)
#include "tst_destinationsyntax.moc"
