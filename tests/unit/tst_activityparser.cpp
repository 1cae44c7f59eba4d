// The reader of logappli.conf, line by line: which texts fill which field, and the table's columns.
// SPDX-License-Identifier: MIT
#include "syslogconf/activityparser.h"

#include <QTest>

namespace {

const QString none = QStringLiteral("none");

ParsedActivity fresh()
{
    ParsedActivity accumulator;
    resetParsedActivity(accumulator);
    return accumulator;
}

/// What is known after @p lines, read from the reset state.
ParsedActivity parsed(const QStringList &lines)
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    for (const QString &line : lines) {
        parseActivityLine(accumulator, line, out);
    }
    return out;
}

ParsedActivity parsed(const QString &line)
{
    return parsed(QStringList {line});
}

} // namespace

class TestActivityParser : public QObject
{
    Q_OBJECT

private slots:
    void resetGivesPaddedNone();
    void resetForgetsEverything();
    void oneLineFillsTheFields_data();
    void oneLineFillsTheFields();
    void destinationIsCutByPosition_data();
    void destinationIsCutByPosition();
    void fieldsKeepTheirWidth();
    void longValuesOverflowTheirColumn();
    void outIsACopyOfTheAccumulator();
    void outForgetsWhatItHeld();
    void laterValueWins();
    void fieldCountAddsUpOverLines();
    void wholeBlock();
    void completeNeedsTheEndLineAndAField_data();
    void completeNeedsTheEndLineAndAField();
    void header();
    void rowHasFourColumns();
    void rowOfAResetAccumulator();
    void rowOverflows();
    void entryIsTrimmed();
    void veryLongLines();
};

void TestActivityParser::resetGivesPaddedNone()
{
    const ParsedActivity accumulator = fresh();
    QCOMPARE(accumulator.activity, QStringLiteral("none                "));
    QCOMPARE(accumulator.facilityValue, QStringLiteral("none    "));
    QCOMPARE(accumulator.level, QStringLiteral("none    "));
    QCOMPARE(accumulator.destination, none + QString(56, QLatin1Char(' ')));
    QCOMPARE(accumulator.support, QStringLiteral("none      "));
    QVERIFY(!accumulator.complete);
    QCOMPARE(accumulator.fieldCount, 0);
}

void TestActivityParser::resetForgetsEverything()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    parseActivityLine(accumulator,
                      QStringLiteral("destination d { file(\"x\"); }; level(err..emerg) "
                                     "facility(local3) # END qvxaudio"),
                      out);
    QCOMPARE(accumulator.fieldCount, 5);
    resetParsedActivity(accumulator);
    const ParsedActivity reset = fresh();
    QCOMPARE(accumulator.activity, reset.activity);
    QCOMPARE(accumulator.facilityValue, reset.facilityValue);
    QCOMPARE(accumulator.level, reset.level);
    QCOMPARE(accumulator.destination, reset.destination);
    QCOMPARE(accumulator.support, reset.support);
    QVERIFY(!accumulator.complete);
    QCOMPARE(accumulator.fieldCount, 0);
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

    const auto row = [](const char *name, const QString &line) -> QTestData & {
        return QTest::newRow(name) << line;
    };
    const auto nothing = [&](const char *name, const QString &line) {
        row(name, line) << none << none << none << none << none << 0 << false;
    };
    const auto end = [&](const char *name, const QString &line, const QString &activity) {
        row(name, line) << activity << none << none << none << none << 1 << true;
    };
    const auto level = [&](const char *name, const QString &line, const QString &value) {
        row(name, line) << none << value << none << none << none << 1 << false;
    };
    const auto facility = [&](const char *name, const QString &line, const QString &value) {
        row(name, line) << none << none << value << none << none << 1 << false;
    };
    const auto destination = [&](const char *name, const QString &line, const QString &support,
                                 const QString &target) {
        row(name, line) << none << none << none << support << target << 2 << false;
    };

    nothing("empty line", QString());
    nothing("blanks", QStringLiteral(" \t "));
    nothing("begin line", QStringLiteral("# BEGIN qvxaudio"));
    nothing("comment", QStringLiteral("# level, facility and destination"));
    nothing("source", QStringLiteral("source s_local { unix-dgram(\"/dev/log\"); };"));

    end("end line", QStringLiteral("# END qvxaudio"), QStringLiteral("qvxaudio"));
    end("end line without a blank", QStringLiteral("# ENDqvxaudio"), QStringLiteral("qvxaudio"));
    end("end line with more blanks", QStringLiteral("  # END \t qvxaudio \t "),
        QStringLiteral("qvxaudio"));
    end("end line behind other text", QStringLiteral("}; # END qvxaudio"),
        QStringLiteral("qvxaudio"));
    end("end line without a name", QStringLiteral("# END"), QString());
    end("end line with two words", QStringLiteral("# END qvx audio"), QStringLiteral("qvx audio"));
    end("first end marker counts", QStringLiteral("# END a # END b"), QStringLiteral("a # END b"));
    end("end line with any word behind the marker", QStringLiteral("# ENDING"),
        QStringLiteral("ING"));
    end("end line with a path for a name", QStringLiteral("# END ../../x"),
        QStringLiteral("../../x"));
    end("end line in Unicode", QString::fromUtf8("# END qvxaüdio😀"),
        QString::fromUtf8("qvxaüdio😀"));
    nothing("end marker without its blank", QStringLiteral("#END qvxaudio"));
    nothing("end marker in small letters", QStringLiteral("# end qvxaudio"));
    nothing("end marker with two blanks", QStringLiteral("#  END qvxaudio"));

    level("level line", QStringLiteral("filter f { level(err..emerg); };"), QStringLiteral("err"));
    level("level with blanks", QStringLiteral("level( err ..emerg)"), QStringLiteral(" err "));
    level("level without an upper bound", QStringLiteral("level(debug.."), QStringLiteral("debug"));
    level("level of no known name", QStringLiteral("level(Crit..emerg)"), QStringLiteral("Crit"));
    level("empty level", QStringLiteral("level(..emerg)"), QString());
    level("level up to the first range", QStringLiteral("level(a..b..c)"), QStringLiteral("a"));
    level("level cut at the first of three dots", QStringLiteral("level(err...emerg)"),
          QStringLiteral("err"));
    level("level past its parenthesis", QStringLiteral("level(err) and x(..)"),
          QStringLiteral("err) and x("));
    level("range before the level does not count", QStringLiteral("# .. level(info..emerg)"),
          QStringLiteral("info"));
    level("first level of a line counts", QStringLiteral("level(info..x) level(debug..y)"),
          QStringLiteral("info"));
    level("longer word that ends in level", QStringLiteral("mylevel(info..x)"),
          QStringLiteral("info"));
    nothing("level without a range", QStringLiteral("level(err)"));
    nothing("range before the level only", QStringLiteral("a..b level(err)"));
    nothing("level with one dot", QStringLiteral("level(err.emerg)"));
    nothing("level with a blank before the parenthesis", QStringLiteral("level (err..emerg)"));
    nothing("level in capitals", QStringLiteral("LEVEL(err..emerg)"));

    facility("facility line", QStringLiteral("filter f { facility(local3); };"),
             QStringLiteral("local3"));
    facility("facility with blanks", QStringLiteral("facility( local3 )"),
             QStringLiteral(" local3 "));
    facility("empty facility", QStringLiteral("facility()"), QString());
    facility("facility up to the first parenthesis", QStringLiteral("facility(local3) )"),
             QStringLiteral("local3"));
    facility("parenthesis before the facility does not count",
             QStringLiteral("program(x) facility(16)"), QStringLiteral("16"));
    facility("first facility of a line counts", QStringLiteral("facility(a) facility(b)"),
             QStringLiteral("a"));
    nothing("facility without its end", QStringLiteral("facility(local3"));
    nothing("parenthesis before the facility only", QStringLiteral("x) facility(local3"));
    nothing("facility with a blank before the parenthesis", QStringLiteral("facility (local3)"));
    nothing("facility in capitals", QStringLiteral("Facility(local3)"));

    destination("file destination",
                QStringLiteral("destination d_qvxaudio { file(\"/var/log/qvxaudio.log\"); };"),
                QStringLiteral("file"), QStringLiteral("/var/log/qvxaudio.log"));
    destination("udp destination",
                QStringLiteral("destination d_qvxsipua { udp(\"10.0.0.5\" port(514)); };"),
                QStringLiteral("udp"), QStringLiteral("IP :10.0.0.5 port(514)"));
    destination("tcp destination",
                QStringLiteral("destination d_x { tcp(\"192.168.1.10\" port(\"601\")); };"),
                QStringLiteral("tcp"), QStringLiteral("IP :192.168.1.10 port(601)"));
    destination("network word in capitals is no network",
                QStringLiteral("destination d_x { UDP(\"10.0.0.5\"); };"), QStringLiteral("UDP"),
                QStringLiteral("10.0.0.5"));
    destination("longer network word is no network",
                QStringLiteral("destination d_x { udp6(\"::1\"); };"), QStringLiteral("udp6"),
                QStringLiteral("::1"));
    destination("every quote is removed",
                QStringLiteral("destination d_x { file(\"a\" owner(\"root\") \"b\"); };"),
                QStringLiteral("file"), QStringLiteral("a owner(root) b"));
    destination("destination without its terminator",
                QStringLiteral("destination d_x { file(\"/var/log/x.log\")"),
                QStringLiteral("file"), QStringLiteral("/var/log/x.log)"));
    destination("terminator with another blank is none",
                QStringLiteral("destination d_x { file(\"x\");  };"), QStringLiteral("file"),
                QStringLiteral("x);  };"));
    destination("first terminator counts",
                QStringLiteral("destination d_x { file(\"a\"); }; file(\"b\"); };"),
                QStringLiteral("file"), QStringLiteral("a"));
    destination("first brace counts", QStringLiteral("destination { { file(\"a\"); };"),
                QStringLiteral("{ file"), QStringLiteral("a"));
    destination("brace may come before the word", QStringLiteral("{ file(\"a\"); }; # destination"),
                QStringLiteral("file"), QStringLiteral("a"));
    destination("empty target", QStringLiteral("destination d_x { file(\"\"); };"),
                QStringLiteral("file"), QString());
    destination("empty support", QStringLiteral("destination d_x { (\"target\"); };"), QString(),
                QStringLiteral("target"));
    destination("longer word that holds destination",
                QStringLiteral("mydestinations { file(\"a\"); };"), QStringLiteral("file"),
                QStringLiteral("a"));
    destination("Unicode target", QString::fromUtf8("destination d_ü { file(\"/log/ü😀.log\"); };"),
                QStringLiteral("file"), QString::fromUtf8("/log/ü😀.log"));
    nothing("log line that names a destination",
            QStringLiteral("log { source(s_local); filter(f_x); destination(d_x); };"));
    nothing("destination without a brace", QStringLiteral("destination d_x file(\"a\"); };"));
    nothing("destination without a quote", QStringLiteral("destination d_x { file(a); };"));
    nothing("destination with a blank before its quote",
            QStringLiteral("destination d_x { file( \"a\"); };"));
    nothing("quote behind the terminator only",
            QStringLiteral("destination d_x { file(a); }; (\"b\")"));
    nothing("quote before the brace only", QStringLiteral("destination (\"a\" { b"));
    nothing("destination in capitals", QStringLiteral("Destination d_x { file(\"a\"); };"));
    nothing("brace without the word", QStringLiteral("d_x { file(\"a\"); };"));

    row("level and facility in one line",
        QStringLiteral("filter f_x { level(err..emerg) and facility(local3) and program(x); };"))
        << none << QStringLiteral("err") << QStringLiteral("local3") << none << none << 2 << false;
    row("facility before level in one line",
        QStringLiteral("filter f_x { facility(local3) and level(err..emerg); };"))
        << none << QStringLiteral("err") << QStringLiteral("local3") << none << none << 2 << false;
    row("all fields in one line",
        QStringLiteral("destination d { udp(\"1.2.3.4\"); }; level(info..emerg) facility(local1) "
                       "# END all in one"))
        << QStringLiteral("all in one") << QStringLiteral("info") << QStringLiteral("local1")
        << QStringLiteral("udp") << QStringLiteral("IP :1.2.3.4") << 5 << true;
    row("tokens behind the end marker count as well",
        QStringLiteral("# END level(info..emerg) facility(local1)"))
        << QStringLiteral("level(info..emerg) facility(local1)") << QStringLiteral("info")
        << QStringLiteral("local1") << none << none << 3 << true;
    row("tokens in a comment count as well",
        QStringLiteral("# level(info..emerg) facility(local1)"))
        << none << QStringLiteral("info") << QStringLiteral("local1") << none << none << 2 << false;
}

void TestActivityParser::oneLineFillsTheFields()
{
    QFETCH(QString, line);
    QFETCH(QString, activity);
    QFETCH(QString, level);
    QFETCH(QString, facilityValue);
    QFETCH(QString, support);
    QFETCH(QString, destination);

    const ParsedActivity out = parsed(line);
    QCOMPARE(out.activity, activity.leftJustified(20));
    QCOMPARE(out.level, level.leftJustified(8));
    QCOMPARE(out.facilityValue, facilityValue.leftJustified(8));
    QCOMPARE(out.support, support.leftJustified(10));
    QCOMPARE(out.destination, destination.leftJustified(60));
    QTEST(out.fieldCount, "fieldCount");
    QTEST(out.complete, "complete");
}

void TestActivityParser::destinationIsCutByPosition_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("support");
    QTest::addColumn<QString>("destination");

    const QString file = QStringLiteral("file");
    QTest::newRow("one blank is exact") << QStringLiteral("{ file(\"/var/log/x.log\"); };") << file
                                        << QStringLiteral("/var/log/x.log");
    QTest::newRow("no blank loses the first character")
        << QStringLiteral("{file(\"/var/log/x.log\"); };") << file
        << QStringLiteral("var/log/x.log");
    QTest::newRow("two blanks leave the quote, which is removed")
        << QStringLiteral("{  file(\"/var/log/x.log\"); };") << file
        << QStringLiteral("/var/log/x.log");
    QTest::newRow("three blanks keep a stray parenthesis")
        << QStringLiteral("{   file(\"/var/log/x.log\"); };") << file
        << QStringLiteral("(/var/log/x.log");
    QTest::newRow("four blanks keep a letter of the keyword")
        << QStringLiteral("{    file(\"/var/log/x.log\"); };") << file
        << QStringLiteral("e(/var/log/x.log");
    QTest::newRow("blank before the parenthesis shifts as well")
        << QStringLiteral("{ file (\"/var/log/x.log\"); };") << file
        << QStringLiteral("/var/log/x.log");
    QTest::newRow("tab counts as the blank") << QStringLiteral("{\tfile(\"/var/log/x.log\"); };")
                                             << file << QStringLiteral("/var/log/x.log");
    QTest::newRow("network target without a blank")
        << QStringLiteral("{udp(\"10.0.0.5\" port(514)); };") << QStringLiteral("udp")
        << QStringLiteral("IP :0.0.0.5 port(514)");
    QTest::newRow("network target with three blanks")
        << QStringLiteral("{   tcp(\"10.0.0.5\"); };") << QStringLiteral("tcp")
        << QStringLiteral("IP :(10.0.0.5");
    QTest::newRow("shorter than what is cut") << QStringLiteral("{(\"") << QString() << QString();
}

void TestActivityParser::destinationIsCutByPosition()
{
    QFETCH(QString, body);
    QFETCH(QString, support);
    QFETCH(QString, destination);

    const ParsedActivity out = parsed(QStringLiteral("destination d_x ") + body);
    QCOMPARE(out.support, support.leftJustified(10));
    QCOMPARE(out.destination, destination.leftJustified(60));
    QCOMPARE(out.fieldCount, 2);
}

void TestActivityParser::fieldsKeepTheirWidth()
{
    const ParsedActivity out
        = parsed(QStringLiteral("destination d { file(\"/x\"); }; level(err..emerg) "
                                "facility(local3) # END qvxaudio"));
    QCOMPARE(out.activity, QStringLiteral("qvxaudio            "));
    QCOMPARE(out.facilityValue, QStringLiteral("local3  "));
    QCOMPARE(out.level, QStringLiteral("err     "));
    QCOMPARE(out.destination, QStringLiteral("/x") + QString(58, QLatin1Char(' ')));
    QCOMPARE(out.support, QStringLiteral("file      "));
}

void TestActivityParser::longValuesOverflowTheirColumn()
{
    const QString name(21, QLatin1Char('n'));
    const QString level(9, QLatin1Char('l'));
    const QString value(9, QLatin1Char('v'));
    const QString support(11, QLatin1Char('s'));
    const QString target(61, QLatin1Char('t'));
    const ParsedActivity out
        = parsed({QStringLiteral("destination d { ") + support + QStringLiteral("(\"") + target
                      + QStringLiteral("\"); };"),
                  QStringLiteral("level(") + level + QStringLiteral("..emerg) facility(") + value
                      + QStringLiteral(")"),
                  QStringLiteral("# END ") + name});
    QCOMPARE(out.activity, name);
    QCOMPARE(out.level, level);
    QCOMPARE(out.facilityValue, value);
    QCOMPARE(out.support, support);
    QCOMPARE(out.destination, target);
}

void TestActivityParser::outIsACopyOfTheAccumulator()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    parseActivityLine(accumulator, QStringLiteral("level(info..emerg)"), out);
    parseActivityLine(accumulator, QStringLiteral("# END a"), out);
    QCOMPARE(out.activity, accumulator.activity);
    QCOMPARE(out.level, accumulator.level);
    QCOMPARE(out.level, QStringLiteral("info    "));
    QCOMPARE(out.fieldCount, accumulator.fieldCount);
    QCOMPARE(accumulator.complete, true);
    QCOMPARE(out.complete, true);
    // The caller keeps the copy when it makes the accumulator ready for the next block.
    resetParsedActivity(accumulator);
    QCOMPARE(out.activity.trimmed(), QStringLiteral("a"));
    QCOMPARE(out.fieldCount, 2);
}

void TestActivityParser::outForgetsWhatItHeld()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    out.activity = QStringLiteral("left over");
    out.complete = true;
    out.fieldCount = 9;
    parseActivityLine(accumulator, QString(), out);
    QCOMPARE(out.activity, QStringLiteral("none                "));
    QCOMPARE(out.complete, false);
    QCOMPARE(out.fieldCount, 0);
}

void TestActivityParser::laterValueWins()
{
    const ParsedActivity out
        = parsed({QStringLiteral("level(err..emerg)"), QStringLiteral("level(debug..emerg)"),
                  QStringLiteral("level(info)"), QStringLiteral("facility(local1)"),
                  QStringLiteral("facility(local2)"),
                  QStringLiteral("destination d { udp(\"10.0.0.5\"); };"),
                  QStringLiteral("destination d { file(\"/b\"); };"), QStringLiteral("# END a"),
                  QStringLiteral("# END b")});
    QCOMPARE(out.level, QStringLiteral("debug   "));
    QCOMPARE(out.facilityValue, QStringLiteral("local2  "));
    QCOMPARE(out.support, QStringLiteral("file      "));
    QCOMPARE(out.destination.trimmed(), QStringLiteral("/b"));
    QCOMPARE(out.activity.trimmed(), QStringLiteral("b"));
}

void TestActivityParser::fieldCountAddsUpOverLines()
{
    ParsedActivity accumulator = fresh();
    ParsedActivity out;
    parseActivityLine(accumulator, QStringLiteral("level(err..emerg)"), out);
    QCOMPARE(out.fieldCount, 1);
    parseActivityLine(accumulator, QStringLiteral("nothing"), out);
    QCOMPARE(out.fieldCount, 1);
    parseActivityLine(accumulator, QStringLiteral("level(err..emerg)"), out);
    QCOMPARE(out.fieldCount, 2);
    parseActivityLine(accumulator, QStringLiteral("destination d { file(\"/b\"); };"), out);
    QCOMPARE(out.fieldCount, 4);
    parseActivityLine(accumulator, QStringLiteral("facility(local1)"), out);
    QCOMPARE(out.fieldCount, 5);
    parseActivityLine(accumulator, QStringLiteral("# END a"), out);
    QCOMPARE(out.fieldCount, 6);
}

void TestActivityParser::wholeBlock()
{
    const ParsedActivity out = parsed(
        {QStringLiteral("# BEGIN qvxsipua"),
         QStringLiteral("destination d_qvxsipua { udp(\"192.168.1.10\" port(514)); };"),
         QStringLiteral("filter f_qvxsipua { level(notice..emerg) and facility(local3) "
                        "and program(\"qvxsipua\"); };"),
         QStringLiteral("log { source(s_local); filter(f_qvxsipua); destination(d_qvxsipua); };"),
         QStringLiteral("# END qvxsipua")});
    QVERIFY(isCompleteActivity(out));
    QCOMPARE(activityTableRow(out),
             QStringLiteral("qvxsipua               notice     udp          "
                            "IP :192.168.1.10 port(514)")
                 + QString(34, QLatin1Char(' ')) + QLatin1Char('\n'));
}

void TestActivityParser::completeNeedsTheEndLineAndAField_data()
{
    QTest::addColumn<int>("fieldCount");
    QTest::addColumn<bool>("endSeen");
    QTest::addColumn<bool>("complete");

    QTest::newRow("nothing") << 0 << false << false;
    QTest::newRow("fields without the end line") << 4 << false << false;
    QTest::newRow("end line without a field") << 0 << true << false;
    QTest::newRow("end line with one field") << 1 << true << true;
    QTest::newRow("end line with all fields") << 5 << true << true;
}

void TestActivityParser::completeNeedsTheEndLineAndAField()
{
    QFETCH(int, fieldCount);
    QFETCH(bool, endSeen);
    ParsedActivity activity = fresh();
    activity.fieldCount = fieldCount;
    activity.complete = endSeen;
    QTEST(isCompleteActivity(activity), "complete");
}

void TestActivityParser::header()
{
    QCOMPARE(activityTableHeader(),
             QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n"));
}

void TestActivityParser::rowHasFourColumns()
{
    const QString row = activityTableRow(parsed(
        {QStringLiteral("destination d { file(\"/var/log/qvxaudio.log\"); };"),
         QStringLiteral("level(err..emerg) facility(local3)"), QStringLiteral("# END qvxaudio")}));
    QCOMPARE(row,
             QStringLiteral("qvxaudio               err        file         /var/log/qvxaudio.log")
                 + QString(39, QLatin1Char(' ')) + QLatin1Char('\n'));
    QCOMPARE(row.size(), 20 + 3 + 8 + 3 + 10 + 3 + 60 + 1);
    QVERIFY(!row.contains(QStringLiteral("local3")));
}

void TestActivityParser::rowOfAResetAccumulator()
{
    QCOMPARE(activityTableRow(fresh()),
             QStringLiteral("none                   none       none         none")
                 + QString(56, QLatin1Char(' ')) + QLatin1Char('\n'));
}

void TestActivityParser::rowOverflows()
{
    const QString name(25, QLatin1Char('n'));
    const QString target(70, QLatin1Char('t'));
    const QString row = activityTableRow(
        parsed({QStringLiteral("destination d { file(\"") + target + QStringLiteral("\"); };"),
                QStringLiteral("# END ") + name}));
    QCOMPARE(row,
             name + QStringLiteral("   none       file         ") + target + QLatin1Char('\n'));
}

void TestActivityParser::entryIsTrimmed()
{
    const ActivityLevelEntry entry
        = activityLevelEntry(parsed({QStringLiteral("level( info ..emerg) facility( local3 )"),
                                     QStringLiteral("# END  qvx audio ")}));
    QCOMPARE(entry.facility, QStringLiteral("qvx audio"));
    QCOMPARE(entry.level, QStringLiteral("info"));
    QCOMPARE(entry.facilityValue, QStringLiteral("local3"));

    const ActivityLevelEntry unset = activityLevelEntry(fresh());
    QCOMPARE(unset.facility, none);
    QCOMPARE(unset.level, none);
    QCOMPARE(unset.facilityValue, none);
}

void TestActivityParser::veryLongLines()
{
    const QString padding(1000000, QLatin1Char('x'));
    const ParsedActivity out
        = parsed({padding + QStringLiteral("level(info..") + padding,
                  padding + QStringLiteral("facility(local3)") + padding,
                  QStringLiteral("destination ") + padding + QStringLiteral("{ file(\"") + padding
                      + QStringLiteral("\"); };") + padding,
                  padding + QStringLiteral("# END ") + padding});
    QCOMPARE(out.level, QStringLiteral("info    "));
    QCOMPARE(out.facilityValue, QStringLiteral("local3  "));
    QCOMPARE(out.support, QStringLiteral("file      "));
    QVERIFY(out.destination == padding);
    QVERIFY(out.activity == padding);
    QCOMPARE(out.fieldCount, 5);
}

QTEST_GUILESS_MAIN(TestActivityParser)
#include "tst_activityparser.moc"
