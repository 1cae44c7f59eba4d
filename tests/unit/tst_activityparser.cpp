// The reader of logappli.conf, line by line: which texts fill which field of an activity.
// SPDX-License-Identifier: MIT
#include "support/literal.h"
#include "syslogconf/activityparser.h"

#include <QTest>

namespace {

ParsedActivity fresh()
{
    ParsedActivity accumulator;
    resetParsedActivity(accumulator);
    return accumulator;
}

} // namespace

class TestActivityParser : public QObject
{
    Q_OBJECT

private slots:
    void resetGivesPaddedNone();
    void oneLineFillsTheFields_data();
    void oneLineFillsTheFields();
    void outIsACopyOfTheAccumulator();
    void fieldCountAddsUpOverLines();
    void completeNeedsTheEndLineAndAField();
};

void TestActivityParser::resetGivesPaddedNone()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    parseActivityLine(
        accumulator,
        "destination d { file(\"x\"); }; level(err..emerg) facility(local3) # END qvxaudio"_s, out);
    QCOMPARE(accumulator.fieldCount, 5);
    for (ParsedActivity reset : {ParsedActivity(), accumulator}) {
        resetParsedActivity(reset);
        QCOMPARE(reset.activity, "none                "_s);
        QCOMPARE(reset.facilityValue, "none    "_s);
        QCOMPARE(reset.level, "none    "_s);
        QCOMPARE(reset.destination, "none"_s.leftJustified(60));
        QCOMPARE(reset.support, "none      "_s);
        QVERIFY(!reset.complete);
        QCOMPARE(reset.fieldCount, 0);
    }
}

void TestActivityParser::oneLineFillsTheFields_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("facilityValue");
    QTest::addColumn<QString>("support");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<int>("fieldCount");
    QTest::addColumn<bool>("complete");

    const auto row = [](const QByteArray &name, const QByteArray &line, const char *activity,
                        const QByteArray &level, const QByteArray &facilityValue,
                        const char *support, const char *target, int fieldCount, bool complete) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(activity)
                            << QString::fromUtf8(level) << QString::fromUtf8(facilityValue)
                            << QString::fromUtf8(support) << QString::fromUtf8(target) << fieldCount
                            << complete;
    };
    const char *const none = "none";
    const auto nothing = [&](const QByteArray &name, const QByteArray &line) {
        row(name, line, none, none, none, none, none, 0, false);
    };
    const auto end = [&](const QByteArray &name, const QByteArray &line, const char *activity) {
        row(name, line, activity, none, none, none, none, 1, true);
    };
    const auto level
        = [&](const QByteArray &name, const QByteArray &line, const QByteArray &value) {
              row(name, line, none, value, none, none, none, 1, false);
          };
    const auto facility
        = [&](const QByteArray &name, const QByteArray &line, const QByteArray &value) {
              row(name, line, none, none, value, none, none, 1, false);
          };
    const auto destination
        = [&](const QByteArray &name, const QByteArray &line, const char *support,
              const char *target) { row(name, line, none, none, none, support, target, 2, false); };

    nothing("empty line", "");
    nothing("blanks", " \t ");
    nothing("begin line", "# BEGIN qvxaudio");
    nothing("comment", "# level, facility and destination");
    nothing("source", "source s_local { unix-dgram(\"/dev/log\"); };");

    end("end line", "# END qvxaudio", "qvxaudio");
    end("end line without a blank", "# ENDqvxaudio", "qvxaudio");
    end("end line with more blanks", "  # END \t qvxaudio \t ", "qvxaudio");
    end("end line behind other text", "}; # END qvxaudio", "qvxaudio");
    end("end line without a name", "# END", "");
    end("end line with two words", "# END qvx audio", "qvx audio");
    end("first end marker counts", "# END a # END b", "a # END b");
    end("end line with any word behind the marker", "# ENDING", "ING");
    end("end line with a path for a name", "# END ../../x", "../../x");
    end("end line in Unicode", "# END qvxaüdio😀", "qvxaüdio😀");
    nothing("end marker without its blank", "#END qvxaudio");
    nothing("end marker in small letters", "# end qvxaudio");
    nothing("end marker with two blanks", "#  END qvxaudio");

    // The level and the facility are looked for in the same way.
    const auto either = [&](const QByteArray &word, const QByteArray &closing, const auto &found) {
        const QByteArray opening = word + '(';
        const auto name = [&word](const char *of) { return QByteArray(word + ": " + of); };
        found(name("in a statement"), "filter f { " + opening + "err" + closing + "); };", "err");
        found(name("with blanks"), opening + " err " + closing, " err ");
        found(name("empty"), opening + closing, "");
        found(name("up to the first end"), opening + "a" + closing + "b" + closing, "a");
        found(name("end before it does not count"), "x" + closing + ' ' + opening + "a" + closing,
              "a");
        found(name("first of a line counts"),
              opening + "a" + closing + ' ' + opening + "b" + closing, "a");
        found(name("longer word"), "my" + opening + "a" + closing, "a");
        nothing(name("without its end"), opening + "err");
        nothing(name("end before it only"), "x" + closing + ' ' + opening + "err");
        nothing(name("blank before the parenthesis"), word + " (err" + closing);
        nothing(name("in capitals"), opening.toUpper() + "err" + closing);
    };
    either("level", "..", level);
    either("facility", ")", facility);
    level("level of no known name", "level(Crit..emerg)", "Crit");
    level("level cut at the first of three dots", "level(err...emerg)", "err");
    level("level past its parenthesis", "level(err) and x(..)", "err) and x(");
    nothing("level with one dot", "level(err.emerg)");

    destination("file destination", "destination d_qvxaudio { file(\"/var/log/qvxaudio.log\"); };",
                "file", "/var/log/qvxaudio.log");
    destination("udp destination", "destination d_qvxsipua { udp(\"10.0.0.5\" port(514)); };",
                "udp", "IP :10.0.0.5 port(514)");
    destination("tcp destination", "destination d_x { tcp(\"192.168.1.10\" port(\"601\")); };",
                "tcp", "IP :192.168.1.10 port(601)");
    destination("network word in capitals is no network", "destination d_x { UDP(\"10.0.0.5\"); };",
                "UDP", "10.0.0.5");
    destination("longer network word is no network", "destination d_x { udp6(\"::1\"); };", "udp6",
                "::1");
    destination("every quote is removed", "destination d_x { file(\"a\" owner(\"root\") \"b\"); };",
                "file", "a owner(root) b");
    destination("destination without its terminator", "destination d_x { file(\"/var/log/x.log\")",
                "file", "/var/log/x.log)");
    destination("terminator with another blank is none", "destination d_x { file(\"x\");  };",
                "file", "x);  };");
    destination("first terminator counts", "destination d_x { file(\"a\"); }; file(\"b\"); };",
                "file", "a");
    destination("first brace counts", "destination { { file(\"a\"); };", "{ file", "a");
    destination("brace may come before the word", "{ file(\"a\"); }; # destination", "file", "a");
    destination("empty target", "destination d_x { file(\"\"); };", "file", "");
    destination("empty support", "destination d_x { (\"target\"); };", "", "target");
    destination("longer word that holds destination", "mydestinations { file(\"a\"); };", "file",
                "a");
    destination("Unicode target", "destination d_ü { file(\"/log/ü😀.log\"); };", "file",
                "/log/ü😀.log");
    destination("log line with a quoted source", "log { source(\"s\"); destination(d_a); };",
                "source", "s); destination(d_a");
    nothing("log line that names a destination",
            "log { source(s_local); filter(f_x); destination(d_x); };");
    nothing("destination without a brace", "destination d_x file(\"a\"); };");
    nothing("destination without a quote", "destination d_x { file(a); };");
    nothing("destination with a blank before its quote", "destination d_x { file( \"a\"); };");
    nothing("quote behind the terminator only", "destination d_x { file(a); }; (\"b\")");
    nothing("quote before the brace only", "destination (\"a\" { b");
    nothing("destination in capitals", "Destination d_x { file(\"a\"); };");
    nothing("brace without the word", "d_x { file(\"a\"); };");

    // The target is cut by position, behind one blank.
    destination("no blank loses the first character",
                "destination d_x {file(\"/var/log/x.log\"); };", "file", "var/log/x.log");
    destination("two blanks leave the quote, which is removed",
                "destination d_x {  file(\"/var/log/x.log\"); };", "file", "/var/log/x.log");
    destination("three blanks keep a stray parenthesis",
                "destination d_x {   file(\"/var/log/x.log\"); };", "file", "(/var/log/x.log");
    destination("four blanks keep a letter of the keyword",
                "destination d_x {    file(\"/var/log/x.log\"); };", "file", "e(/var/log/x.log");
    destination("blank before the parenthesis shifts as well",
                "destination d_x { file (\"/var/log/x.log\"); };", "file", "/var/log/x.log");
    destination("tab counts as the blank", "destination d_x {\tfile(\"/var/log/x.log\"); };",
                "file", "/var/log/x.log");
    destination("network target without a blank",
                "destination d_x {udp(\"10.0.0.5\" port(514)); };", "udp", "IP :0.0.0.5 port(514)");
    destination("network target with three blanks", "destination d_x {   tcp(\"10.0.0.5\"); };",
                "tcp", "IP :(10.0.0.5");
    destination("shorter than what is cut", "destination d_x {(\"", "", "");

    row("level and facility in one line",
        "filter f_x { level(err..emerg) and facility(local3) and program(x); };", none, "err",
        "local3", none, none, 2, false);
    row("facility before level in one line",
        "filter f_x { facility(local3) and level(err..emerg); };", none, "err", "local3", none,
        none, 2, false);
    row("all fields in one line",
        "destination d { udp(\"1.2.3.4\"); }; level(info..emerg) facility(local1) # END all in one",
        "all in one", "info", "local1", "udp", "IP :1.2.3.4", 5, true);
    row("tokens behind the end marker count as well", "# END level(info..emerg) facility(local1)",
        "level(info..emerg) facility(local1)", "info", "local1", none, none, 3, true);
    row("tokens in a comment count as well", "# level(info..emerg) facility(local1)", none, "info",
        "local1", none, none, 2, false);
}

void TestActivityParser::oneLineFillsTheFields()
{
    QFETCH(QString, line);
    QFETCH(QString, activity);
    QFETCH(QString, level);
    QFETCH(QString, facilityValue);
    QFETCH(QString, support);
    QFETCH(QString, destination);

    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    parseActivityLine(accumulator, line, out);
    QCOMPARE(out.activity, activity.leftJustified(20));
    QCOMPARE(out.level, level.leftJustified(8));
    QCOMPARE(out.facilityValue, facilityValue.leftJustified(8));
    QCOMPARE(out.support, support.leftJustified(10));
    QCOMPARE(out.destination, destination.leftJustified(60));
    QTEST(out.fieldCount, "fieldCount");
    QTEST(out.complete, "complete");
}

void TestActivityParser::outIsACopyOfTheAccumulator()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    out.activity = "left over"_s;
    out.complete = true;
    out.fieldCount = 9;
    parseActivityLine(accumulator, "level(info..emerg)"_s, out);
    QCOMPARE(out.activity, "none                "_s);
    QCOMPARE(out.complete, false);
    QCOMPARE(out.fieldCount, 1);
    parseActivityLine(accumulator, "# END a"_s, out);
    QCOMPARE(out.activity, accumulator.activity);
    QCOMPARE(out.level, "info    "_s);
    QCOMPARE(accumulator.complete, true);
    // The caller keeps the copy when it makes the accumulator ready for the next block.
    resetParsedActivity(accumulator);
    QCOMPARE(out.activity.trimmed(), "a"_s);
    QCOMPARE(out.complete, true);
    QCOMPARE(out.fieldCount, 2);
}

void TestActivityParser::fieldCountAddsUpOverLines()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    const auto countAfter = [&](const QString &line) {
        parseActivityLine(accumulator, line, out);
        return out.fieldCount;
    };
    QCOMPARE(countAfter("level(err..emerg)"_s), 1);
    QCOMPARE(countAfter("nothing"_s), 1);
    QCOMPARE(countAfter("level(err..emerg)"_s), 2);
    QCOMPARE(countAfter("destination d { file(\"/b\"); };"_s), 4);
    QCOMPARE(countAfter("facility(local1)"_s), 5);
    QCOMPARE(countAfter("# END a"_s), 6);
}

void TestActivityParser::completeNeedsTheEndLineAndAField()
{
    const auto isComplete = [](int fieldCount, bool endSeen) {
        ParsedActivity activity = fresh();
        activity.fieldCount = fieldCount;
        activity.complete = endSeen;
        return isCompleteActivity(activity);
    };
    QVERIFY(!isComplete(0, false));
    QVERIFY(!isComplete(4, false));
    QVERIFY(!isComplete(0, true));
    QVERIFY(isComplete(1, true));
    QVERIFY(isComplete(5, true));
}

QTEST_GUILESS_MAIN(TestActivityParser)
#include "tst_activityparser.moc"
