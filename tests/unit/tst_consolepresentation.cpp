// What loggerctl prints for people: tables, levels, errors, characters made visible. What a phone
// shows is in the tests of the console's calls and output.
// SPDX-License-Identifier: MIT
#include "console/presentation.h"

#include "console/tablelayout.h"
#include "support/literal.h"

#include <QDBusMessage>
#include <QTest>

namespace {

const Screen inPipe;
const Screen plainTerminal {true, false, 80};
const Screen colorTerminal {true, true, 80};

const Request levels {Operation::ListLevels, {}, 0};

QString row(const QString &activity, const QString &level, const QString &support,
            const QString &destination)
{
    return activity.leftJustified(20) + "   "_s + level.leftJustified(8) + "   "_s
        + support.leftJustified(10) + "   "_s + destination.leftJustified(60) + "\n"_s;
}

QString table()
{
    return activityTableStart + row("defence"_s, "err"_s, "file"_s, "/log/Defence.log"_s)
        + row("qvxsipua"_s, "debug"_s, "udp"_s, "IP :10.1.2.3 port(514)"_s);
}

} // namespace

class tst_ConsolePresentation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void columns_data();
    void columns();
    void tableForATerminal();
    void wideTableTakesTwoLines();
    void linesBreakAtBlanks_data();
    void linesBreakAtBlanks();
    void tableFitsTheWidth_data();
    void tableFitsTheWidth();
    void levelsOfSeveral();
    void nothing();
    void changes();
    void errors_data();
    void errors();
    void visibleText_data();
    void visibleText();
};

void tst_ConsolePresentation::columns_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("cells");
    const auto cells = [](const char *name, const QString &activity, const QString &level,
                          const QString &support, const QString &destination) {
        QTest::newRow(name) << row(activity, level, support, destination)
                            << QStringList {activity, level, support, destination};
    };
    cells("plain", "qvxsipua"_s, "err"_s, "file"_s, "/var/log/qvxsipua.log"_s);
    cells("blanks", "two words"_s, "err"_s, "file"_s, "/var/log/a b   c.log"_s);
    cells("as wide as the columns", QString(20, QLatin1Char('a')), "12345678"_s, "1234567890"_s,
          QString(60, QLatin1Char('d')));
    cells("wider", QString(30, QLatin1Char('a')), "123456789"_s, "unix-stream"_s,
          QString(90, QLatin1Char('d')));
    cells("never seen", "x"_s, "none"_s, "none"_s, "none"_s);
    cells("empty", QString(), QString(), QString(), QString());
    cells("beyond the basic plane", "\xf0\x9f\x93\x9e phone"_s, "err"_s, "file"_s, "\xc3\xbc"_s);
    QTest::newRow("cut off") << "qvxsipua"_s
                             << QStringList {"qvxsipua"_s, QString(), QString(), QString()};
}

void tst_ConsolePresentation::columns()
{
    QFETCH(QString, line);
    QFETCH(QStringList, cells);
    const QList<ActivityRow> rows = parseActivityTable(activityTableStart + line);
    QCOMPARE(rows.size(), 1);
    const ActivityRow &row = rows.first();
    QCOMPARE((QStringList {row.activity, row.level, row.support, row.destination}), cells);
    QCOMPARE(parseActivityTable(activityTableStart).size(), 0);
}

void tst_ConsolePresentation::tableForATerminal()
{
    QCOMPARE(present(levels, table(), {plainTerminal, plainTerminal, false}).output,
             "ACTIVITY  LEVEL    SUPPORT  DESTINATION\n"
             "defence   err      file     /log/Defence.log\n"
             "qvxsipua  debug *  udp      IP :10.1.2.3 port(514)\n"_s);
    QCOMPARE(present(levels, table(), {colorTerminal, plainTerminal, false}).output,
             "ACTIVITY  LEVEL    SUPPORT  DESTINATION\n"
             "defence   err      file     /log/Defence.log\n"
             "qvxsipua  \033[1;35mdebug\033[0m    udp      IP :10.1.2.3 port(514)\n"_s);
    const QString mild = activityTableStart + row("a"_s, "warning"_s, "file"_s, "/x"_s);
    QVERIFY(present(levels, mild, {colorTerminal, plainTerminal, false})
                .output.contains("\033[33mwarning\033[0m"_s));
    QCOMPARE(present(levels, activityTableStart, {inPipe, inPipe, true}).output, "[\n]\n"_s);
}

void tst_ConsolePresentation::wideTableTakesTwoLines()
{
    const QString destination = "/var/log/"_s + QString(40, QLatin1Char('d'));
    const QList<ActivityRow> rows {
        {"a"_s, "err"_s, "file"_s, "/x"_s},
        {QString(30, QLatin1Char('b')), "debug"_s, "file"_s, destination}};
    // Only the one that does not fit.
    QCOMPARE(formatActivityTable(rows + QList<ActivityRow> {rows.first()}, plainTerminal, false)
                 .section(QLatin1Char('\n'), 2),
             "  "_s + destination + "\n"_s + "a"_s.leftJustified(32) + "err      file  /x\n"_s);
    QCOMPARE(formatActivityTable({rows.last()}, plainTerminal),
             QString(30, QLatin1Char('b')) + "  debug *\n  file "_s + destination + "\n"_s);
    // A word that is wider than the screen stays in one piece.
    const QString wide(100, QLatin1Char('d'));
    QVERIFY(formatActivityTable({{"a"_s, "err"_s, "file"_s, wide}}, plainTerminal).contains(wide));
}

void tst_ConsolePresentation::linesBreakAtBlanks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown"); // 20 columns wide
    QTest::newRow("short") << "one line\nand another"_s
                           << "one line\nand another"_s;
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("as wide") << "12345678901234567890"_s
                             << "12345678901234567890"_s;
    QTest::newRow("long") << "words that do not fit into one line\n"_s
                          << "words that do not\nfit into one line\n"_s;
    QTest::newRow("indented") << "  words that do not fit here"_s
                              << "  words that do not\n  fit here"_s;
    QTest::newRow("two columns") << "  name  its description is long"_s
                                 << "  name  its\n        description\n        is long"_s;
    QTest::newRow("wide first column") << "  a-long-name  descriptions so"_s
                                       << "  a-long-name\n  descriptions so"_s;
    QTest::newRow("second column alone") << "            1234567 90123456789"_s
                                         << "  1234567\n  90123456789"_s;
    QTest::newRow("long word") << "a 1234567890123456789012345 b"_s
                               << "a\n1234567890123456789012345\nb"_s;
    QTest::newRow("colours") << "\033[33m12345678\033[0m 90123456789 x"_s
                             << "\033[33m12345678\033[0m 90123456789\nx"_s;
}

void tst_ConsolePresentation::linesBreakAtBlanks()
{
    QFETCH(QString, text);
    QTEST(wrapped(text, 20), "shown");
}

void tst_ConsolePresentation::tableFitsTheWidth_data()
{
    QTest::addColumn<int>("width");
    for (const int width : {40, 41, 60, 80, 81, 120, 200}) {
        QTest::addRow("%d", width) << width;
    }
}

void tst_ConsolePresentation::tableFitsTheWidth()
{
    QFETCH(int, width);
    const Screen screen {true, false, width};
    const QString shown
        = formatActivityTable(parseActivityTable(table()
                                                 + row("SettingsManager"_s, "warning"_s, "file"_s,
                                                       "/var/log/SettingsManager.log"_s)),
                              screen);
    const QStringList lines = shown.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        QVERIFY2(line.size() <= width, qPrintable(line));
    }
    QVERIFY(shown.contains("warning *"_s));
    QVERIFY(shown.contains("/var/log/SettingsManager.log\n"_s));
    QVERIFY(shown.contains("IP :10.1.2.3 port(514)\n"_s));
}

void tst_ConsolePresentation::levelsOfSeveral()
{
    const Request get {Operation::GetLevels, {}, 0};
    const QVariantMap answer {{"Platform"_s, "err"_s}, {"qvxsipua"_s, "debug"_s}};
    QCOMPARE(present(get, answer, {plainTerminal, inPipe, false}).output,
             "Platform  err\nqvxsipua  debug *\n"_s);
    QCOMPARE(present(get, answer, {colorTerminal, inPipe, false}).output,
             "Platform  err\nqvxsipua  \033[1;35mdebug\033[0m\n"_s);
    const Presentation none
        = present(get, QVariantMap {{"Platform"_s, QString()}}, {inPipe, inPipe, false});
    QCOMPARE(none.status, Failed);
    QCOMPARE(none.output, QString());
    QVERIFY(none.errors.startsWith("Platform:\nHint: "_s));
}

void tst_ConsolePresentation::nothing()
{
    const Presentation presentation = present({Operation::RemotePort, {"514"_s}, 0}, QVariant(),
                                              {plainTerminal, plainTerminal, false});
    QCOMPARE(presentation.output, QString());
    QVERIFY(presentation.errors.contains("loggerctl redirect"_s));
}

void tst_ConsolePresentation::changes()
{
    const QVariantMap event {{"syslog_facility"_s, "qvxsipua"_s}, {"syslog_level"_s, 7}};
    QCOMPARE(presentChange(event, "1.250"_s, {plainTerminal, inPipe, false}),
             "1.250 qvxsipua debug *\n"_s);
    QCOMPARE(presentChange(event, "1.250"_s, {colorTerminal, inPipe, false}),
             "1.250 qvxsipua \033[1;35mdebug\033[0m\n"_s);
    QCOMPARE(presentMove({"qvxsipua"_s, "err"_s, "udp"_s, "IP :10.1.2.3 port(514)"_s}, "1.250"_s,
                         {plainTerminal, inPipe, false}),
             "1.250 qvxsipua -> udp 10.1.2.3 port(514)\n"_s);
    const QVariantMap odd {{"syslog_facility"_s, "\033c"_s}, {"syslog_level"_s, 2}};
    QCOMPARE(presentChange(odd, "0"_s, {inPipe, inPipe, false}), "0 \033c 2\n"_s);
    QCOMPARE(presentChange(odd, "0"_s, {plainTerminal, inPipe, false}), "0 ^[c 2\n"_s);
}

void tst_ConsolePresentation::errors_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("timedOut");
    QTest::addColumn<QString>("part");
    const auto error = [](const char *name, bool timedOut, const char *part) {
        QTest::addRow("%s%s", name, timedOut ? ", timed out" : "")
            << "org.freedesktop.DBus.Error."_s + QString::fromLatin1(name) << timedOut
            << QString::fromLatin1(part);
    };
    error("ServiceUnknown", false, "The module is not on the bus: is it running?");
    error("AccessDenied", false, "try again as root");
    error("NoReply", true, "no answer from The module within 7 s");
    error("Timeout", true, "--timeout");
    error("TimedOut", true, "--timeout");
    error("NoReply", false, "left the bus before it answered");
    error("Disconnected", false, "no connection to the system bus");
    error("NoServer", false, "no connection to the system bus");
    error("UnknownObject", false, "left the bus before it answered");
    error("UnknownMethod", false, "does not know this operation");
    error("Spawn.ExecFailed", false, "could not be started by the bus");
    error("Failed", false, "org.freedesktop.DBus.Error.Failed");
}

void tst_ConsolePresentation::errors()
{
    QFETCH(QString, name);
    QFETCH(bool, timedOut);
    QFETCH(QString, part);
    const QDBusMessage call = QDBusMessage::createMethodCall("a.b"_s, "/"_s, "a.b"_s, "c"_s);
    const QDBusError error(call.createErrorReply(name, "text\nof two lines"_s));
    const QString line = presentError(error, "The module"_s, timedOut, 7);
    QVERIFY2(line.contains(part), qPrintable(line));
    QVERIFY(!line.contains(QLatin1Char('\n')));
}

void tst_ConsolePresentation::visibleText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("plain") << "a b\tc\n"_s
                           << "a b\tc\n"_s;
    QTest::newRow("other letters") << "\xc3\xbc\xf0\x9f\x93\x9e"_s
                                   << "\xc3\xbc\xf0\x9f\x93\x9e"_s;
    QTest::newRow("escape") << "\033[31m"_s
                            << "^[[31m"_s;
    QTest::newRow("carriage return") << "a\rb"_s
                                     << "a^Mb"_s;
    QTest::newRow("NUL") << QString(QChar::Null) << "^@"_s;
    QTest::newRow("last control") << QString(QChar(0x1f)) << "^_"_s;
    QTest::newRow("delete") << QString(QChar(0x7f)) << "\\u007f"_s;
    QTest::newRow("8-bit CSI") << QString(QChar(0x9b)) << "\\u009b"_s;
    QTest::newRow("8-bit last") << QString(QChar(0x9f)) << "\\u009f"_s;
    QTest::newRow("no control") << QString(QChar(0xa0)) << QString(QChar(0xa0));
    for (const int code : {0x061c, 0x200e, 0x200f, 0x202a, 0x202e, 0x2066, 0x2069}) {
        QTest::addRow("direction %x", static_cast<uint>(code))
            << QString(QChar(code)) << QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'));
    }
}

void tst_ConsolePresentation::visibleText()
{
    QFETCH(QString, text);
    QTEST(visible(text), "shown");
}

QTEST_APPLESS_MAIN(tst_ConsolePresentation)
#include "tst_consolepresentation.moc"
