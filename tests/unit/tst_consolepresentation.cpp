// What loggerctl prints: tables, maps and texts for pipes, for terminals and as JSON.
// SPDX-License-Identifier: MIT
#include "console/presentation.h"

#include "console/activitytable.h"

#include "support/literal.h"

#include <QDBusMessage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <fcntl.h>
#include <unistd.h>

Q_DECLARE_METATYPE(ColorMode)
Q_DECLARE_METATYPE(Screen)

namespace {

const Screen inPipe;
const Screen plainTerminal {true, false, 80};
const Screen colorTerminal {true, true, 80};

const Request levels {Operation::ListLevels, {}, 0};
const Request lastLines {Operation::Defence, {"read"_s}, 3};

QString row(const QString &activity, const QString &level, const QString &support,
            const QString &destination)
{
    return activity.leftJustified(20) + "   "_s + level.leftJustified(8) + "   "_s
        + support.leftJustified(10) + "   "_s + destination.leftJustified(60) + "\n"_s;
}

QString table()
{
    return activityTableHeader + row("defence"_s, "err"_s, "file"_s, "/log/Defence.log"_s)
        + row("qvxsipua"_s, "debug"_s, "udp"_s, "IP :10.1.2.3 port(514)"_s);
}

QJsonDocument json(const QString &text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8(), &error);
    return error.error == QJsonParseError::NoError ? document : QJsonDocument();
}

} // namespace

class tst_ConsolePresentation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void columns_data();
    void columns();
    void tableForATerminal();
    void longCellsGoOn();
    void tableFitsTheWidth_data();
    void tableFitsTheWidth();
    void tableInAPipe();
    void texts_data();
    void texts();
    void failures();
    void maps();
    void nothing();
    void asJson();
    void changes();
    void errors_data();
    void errors();
    void visibleText_data();
    void visibleText();
    void colors_data();
    void colors();
    void writing();
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
    const QList<ActivityRow> rows = parseActivityTable(activityTableHeader + line);
    QCOMPARE(rows.size(), 1);
    const ActivityRow &row = rows.first();
    QCOMPARE((QStringList {row.activity, row.level, row.support, row.destination}), cells);
    QCOMPARE(parseActivityTable(activityTableHeader).size(), 0);
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
    const QString mild = activityTableHeader + row("a"_s, "warning"_s, "file"_s, "/x"_s);
    QVERIFY(present(levels, mild, {colorTerminal, plainTerminal, false})
                .output.contains("\033[33mwarning\033[0m"_s));
}

void tst_ConsolePresentation::longCellsGoOn()
{
    const QString destination(100, QLatin1Char('d'));
    const QString activity(30, QLatin1Char('a'));
    const QString shown
        = formatActivityTable({{activity, "err"_s, "file"_s, destination}}, plainTerminal);
    const QStringList lines = shown.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(lines.size(), 4);
    QCOMPARE(shown.count(QLatin1Char('a')), 30);
    QCOMPARE(shown.count(QLatin1Char('d')), 100);
    QVERIFY(lines.at(2).startsWith(QString(6, QLatin1Char('a')) + "  "_s));
    for (const QString &line : lines) {
        QVERIFY2(line.size() <= 80, qPrintable(line));
    }
}

void tst_ConsolePresentation::tableFitsTheWidth_data()
{
    QTest::addColumn<int>("width");
    for (const int width : {60, 80, 81, 120, 200}) {
        QTest::addRow("%d", width) << width;
    }
}

void tst_ConsolePresentation::tableFitsTheWidth()
{
    QFETCH(int, width);
    const Screen screen {true, false, width};
    const QString shown = formatActivityTable(
        parseActivityTable(table()
                           + row("SettingsManager"_s, "warning"_s, "unix-stream"_s,
                                 QString(150, QLatin1Char('d')))),
        screen);
    const QStringList lines = shown.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        QVERIFY2(line.size() <= width, qPrintable(line));
    }
    QVERIFY(shown.contains("warning *"_s));
    QCOMPARE(shown.count(QLatin1Char('d')), 150 + 3); // "defence", "debug", "udp"
}

void tst_ConsolePresentation::tableInAPipe()
{
    const Presentation presentation = present(levels, table(), {inPipe, colorTerminal, false});
    QCOMPARE(presentation.output, table());
    QCOMPARE(presentation.errors, QString());
    QCOMPARE(presentation.status, Done);
}

void tst_ConsolePresentation::texts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Screen>("screen");
    QTest::addColumn<QString>("output");
    QTest::newRow("line feed") << "a\n"_s << inPipe << "a\n"_s;
    QTest::newRow("several") << "a\n\n"_s << inPipe << "a\n\n"_s;
    QTest::newRow("empty") << QString() << inPipe << QString();
    QTest::newRow("empty line") << "\n"_s << inPipe << "\n"_s;
    QTest::newRow("escape in a pipe") << "\033[2J\x07\x7f\n"_s << inPipe << "\033[2J\x07\x7f\n"_s;
    QTest::newRow("escape on a terminal")
        << "\033[2J\x07\x7f\r\n"_s << plainTerminal << "^[[2J^G\\u007f^M\n"_s;
    QTest::newRow("escape on a terminal with colours")
        << "\033[2J\n"_s << colorTerminal << "^[[2J\n"_s;
}

void tst_ConsolePresentation::texts()
{
    QFETCH(QString, text);
    QFETCH(Screen, screen);
    const Presentation presentation = present(lastLines, text, {screen, inPipe, false});
    QTEST(presentation.output, "output");
    QCOMPARE(presentation.errors, QString());
    QCOMPARE(presentation.status, Done);
    QCOMPARE(
        present({Operation::Comment, {"a"_s, "b"_s}, 0}, "OK"_s, {screen, inPipe, false}).output,
        "OK\n"_s);
}

void tst_ConsolePresentation::failures()
{
    const Request request {Operation::ChangeLevel, {"\033c"_s, "err"_s}, 0};
    const QString text = "Not a valid activity : \033c"_s;
    Presentation presentation = present(request, text, {inPipe, inPipe, false});
    QCOMPARE(presentation.output, QString());
    QCOMPARE(presentation.errors,
             text + "\nHint: The activities of this phone: loggerctl level\n"_s);
    QCOMPARE(presentation.status, Failed);
    presentation = present(request, text, {inPipe, plainTerminal, false});
    QVERIFY(presentation.errors.startsWith("Not a valid activity : ^[c\n"_s));
    presentation = present(request, text, {inPipe, inPipe, true});
    QCOMPARE(presentation.status, Failed);
    QVERIFY(presentation.errors.startsWith("Hint: "_s));
    const QJsonObject object = json(presentation.output).object();
    QCOMPARE(object.value("ok"_s), QJsonValue(false));
    QCOMPARE(object.value("text"_s).toString(), text);
}

void tst_ConsolePresentation::maps()
{
    const Request get {Operation::GetLevels, {}, 0};
    const QVariantMap answer {{"Platform"_s, "err"_s}, {"qvxsipua"_s, "debug"_s}};
    QCOMPARE(present(get, answer, {inPipe, inPipe, false}).output,
             "Platform:err\nqvxsipua:debug\n"_s);
    QCOMPARE(present(get, answer, {plainTerminal, inPipe, false}).output,
             "Platform  err\nqvxsipua  debug *\n"_s);
    QCOMPARE(present(get, answer, {colorTerminal, inPipe, false}).output,
             "Platform  err\nqvxsipua  \033[1;35mdebug\033[0m\n"_s);
    QCOMPARE(json(present(get, answer, {inPipe, inPipe, true}).output).object(),
             (QJsonObject {{"Platform"_s, "err"_s}, {"qvxsipua"_s, "debug"_s}}));
    const Presentation none
        = present(get, QVariantMap {{"Platform"_s, QString()}}, {inPipe, inPipe, false});
    QCOMPARE(none.status, Failed);
    QCOMPARE(none.output, QString());
    QVERIFY(none.errors.startsWith("Platform:\nHint: "_s));

    const Request set {Operation::SetLevels, {"a:err,b"_s}, 0};
    const QVariantMap fast {{"value"_s, "0"_s}, {"msg"_s, "Fast set log levels OK"_s}};
    const Presentation done = present(set, fast, {inPipe, inPipe, false});
    QCOMPARE(done.output, "Fast set log levels OK\n"_s);
    QCOMPARE(done.status, Done);
    QVERIFY2(done.errors.startsWith("Hint: This will fail: 'b'."_s), qPrintable(done.errors));
    QCOMPARE(present({Operation::SetLevels, {"a:err"_s}, 0}, fast, {inPipe, inPipe, false}).errors,
             QString());

    const Request archive {Operation::Archive, {}, 0};
    const QVariantMap failed {{"value"_s, "1"_s}, {"msg"_s, "Error on exit"_s}};
    const Presentation presentation = present(archive, failed, {inPipe, inPipe, false});
    QCOMPARE(presentation.output, QString());
    QVERIFY(presentation.errors.startsWith("Error on exit\nHint: "_s));
    QCOMPARE(presentation.status, Failed);
    QCOMPARE(json(present(archive, failed, {inPipe, inPipe, true}).output).object(),
             QJsonObject::fromVariantMap(failed));

    const Request remote {Operation::ShowRemote, {}, 0};
    QCOMPARE(
        present(remote, QVariantMap {{"LogRemoteServerPort"_s, "514"_s}}, {inPipe, inPipe, false})
            .output,
        "LogRemoteServerPort=514\n"_s);
}

void tst_ConsolePresentation::nothing()
{
    const Request request {Operation::RemotePort, {"514"_s}, 0};
    Presentation presentation = present(request, QVariant(), {inPipe, inPipe, false});
    QCOMPARE(presentation.output, QString());
    QCOMPARE(presentation.errors, QString());
    QCOMPARE(presentation.status, Done);
    presentation = present(request, QVariant(), {plainTerminal, plainTerminal, false});
    QCOMPARE(presentation.output, QString());
    QVERIFY(presentation.errors.contains("loggerctl redirect"_s));
    QVERIFY(json(present(request, QVariant(), {inPipe, inPipe, true}).output)
                .object()
                .value("ok"_s)
                .toBool());
}

void tst_ConsolePresentation::asJson()
{
    const QJsonArray rows = json(present(levels, table(), {inPipe, inPipe, true}).output).array();
    QCOMPARE(rows,
             (QJsonArray {QJsonObject {{"activity"_s, "defence"_s},
                                       {"level"_s, "err"_s},
                                       {"support"_s, "file"_s},
                                       {"destination"_s, "/log/Defence.log"_s}},
                          QJsonObject {{"activity"_s, "qvxsipua"_s},
                                       {"level"_s, "debug"_s},
                                       {"support"_s, "udp"_s},
                                       {"destination"_s, "IP :10.1.2.3 port(514)"_s}}}));
    const QJsonDocument empty
        = json(present(levels, activityTableHeader, {inPipe, inPipe, true}).output);
    QVERIFY(empty.isArray() && empty.array().isEmpty());
    // Still JSON where it is made visible, and nothing of it controls the terminal.
    const QString text = "\033]0;x\x07 \xc2\x9b \" \\\n"_s;
    const QString output = present(lastLines, text, {plainTerminal, inPipe, true}).output;
    QVERIFY(!output.contains(QChar(0x1b)) && !output.contains(QChar(0x9b)));
    QCOMPARE(json(output).object().value("text"_s).toString(), text);
    QVERIFY(json(output).object().value("ok"_s).toBool());
}

void tst_ConsolePresentation::changes()
{
    const QVariantMap event {{"syslog_facility"_s, "qvxsipua"_s}, {"syslog_level"_s, 7}};
    QCOMPARE(presentChange(event, {inPipe, inPipe, false}), "qvxsipua debug\n"_s);
    QCOMPARE(presentChange(event, {plainTerminal, inPipe, false}), "qvxsipua debug *\n"_s);
    QCOMPARE(presentChange(event, {colorTerminal, inPipe, false}),
             "qvxsipua \033[1;35mdebug\033[0m\n"_s);
    const QString line = presentChange(event, {inPipe, inPipe, true});
    QCOMPARE(line.count(QLatin1Char('\n')), 1);
    QCOMPARE(json(line).object(),
             (QJsonObject {{"activity"_s, "qvxsipua"_s}, {"level"_s, "debug"_s}, {"number"_s, 7}}));
    const QVariantMap odd {{"syslog_facility"_s, "\033c"_s}, {"syslog_level"_s, 2}};
    QCOMPARE(presentChange(odd, {inPipe, inPipe, false}), "\033c 2\n"_s);
    QCOMPARE(presentChange(odd, {plainTerminal, inPipe, false}), "^[c 2\n"_s);
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
    QVERIFY(line.startsWith("loggerctl: "_s));
    QCOMPARE(line.count(QLatin1Char('\n')), 1);
    QVERIFY(line.endsWith(QLatin1Char('\n')));
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

void tst_ConsolePresentation::colors_data()
{
    QTest::addColumn<ColorMode>("mode");
    QTest::addColumn<bool>("terminal");
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("wanted");
    QTest::newRow("terminal") << ColorMode::Auto << true << "TERM"_s
                              << "xterm"_s << true;
    QTest::newRow("pipe") << ColorMode::Auto << false << "TERM"_s
                          << "xterm"_s << false;
    QTest::newRow("dumb") << ColorMode::Auto << true << "TERM"_s
                          << "dumb"_s << false;
    QTest::newRow("NO_COLOR") << ColorMode::Auto << true << "NO_COLOR"_s
                              << "1"_s << false;
    QTest::newRow("empty NO_COLOR") << ColorMode::Auto << true << "NO_COLOR"_s << QString() << true;
    QTest::newRow("always") << ColorMode::Always << false << "NO_COLOR"_s
                            << "1"_s << true;
    QTest::newRow("never") << ColorMode::Never << true << "TERM"_s
                           << "xterm"_s << false;
}

void tst_ConsolePresentation::colors()
{
    QFETCH(ColorMode, mode);
    QFETCH(bool, terminal);
    QFETCH(QString, variable);
    QFETCH(QString, value);
    QProcessEnvironment environment;
    environment.insert(variable, value);
    QTEST(wantsColor(mode, terminal, environment), "wanted");
}

void tst_ConsolePresentation::writing()
{
    int ends[2] = {};
    QCOMPARE(pipe2(ends, O_CLOEXEC), 0);
    QVERIFY(writeAll(ends[1], "some bytes"));
    QVERIFY(writeAll(ends[1], QByteArray()));
    char buffer[32] = {};
    QCOMPARE(::read(ends[0], buffer, sizeof buffer), ssize_t(10));
    QCOMPARE(QByteArray(buffer), QByteArray("some bytes"));
    QVERIFY(!screenOf(ends[1], ColorMode::Auto).terminal);
    QVERIFY(!screenOf(ends[1], ColorMode::Auto).color);
    QVERIFY(screenOf(ends[1], ColorMode::Always).color);
    close(ends[0]);
    close(ends[1]);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    QVERIFY(full >= 0);
    QVERIFY(!writeAll(full, "x"));
    close(full);
}

QTEST_APPLESS_MAIN(tst_ConsolePresentation)
#include "tst_consolepresentation.moc"
