// The levels that programs get to see are read from the table of activities, whatever stands in it.
// SPDX-License-Identifier: MIT
#include "levels/bulklevels.h"
#include "support/activitytable.h"
#include "support/literal.h"
#include "syslogconf/activityparser.h"

#include <QTest>

namespace {

using Levels = QMap<QString, QString>;
using ActivityTable::header;

} // namespace

class TestBulkLevels : public QObject
{
    Q_OBJECT

private slots:
    void tableIsRead_data();
    void tableIsRead();
};

void TestBulkLevels::tableIsRead_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<Levels>("levels");

    const QString a = "a"_s;
    const QString b = "b"_s;
    const QString err = "err"_s;
    const QString debug = "debug"_s;
    const auto row = [](const char *name, const QString &table, const Levels &levels) {
        QTest::newRow(name) << table << levels;
    };

    row("no text", QString(), {});
    row("header only", header, {});
    row("two rows", header + "a   err   file   /a   \nb   debug   file   /b   \n"_s,
        {{a, err}, {b, debug}});
    row("no header", "a err file /a\n"_s, {{a, err}});
    row("no final line feed", header + "a err file /a"_s, {{a, err}});
    row("header behind a row", "a err file /a\n"_s + header, {{a, err}});
    row("header in small letters is a row", header.toLower(), {{"activity"_s, "level"_s}});
    row("header with a blank less is a row", header.mid(1), {{"ACTIVITY"_s, "LEVEL"_s}});
    row("header without its line feed is a row", header.chopped(1), {{"ACTIVITY"_s, "LEVEL"_s}});
    row("later row wins", "a err file /a\nb err file /b\na debug file /a\n"_s,
        {{a, debug}, {b, err}});
    row("names differ in case", "a err\nA debug\n"_s, {{a, err}, {"A"_s, debug}});
    row("one column between rows", "a err\nc\nb debug\n"_s, {{a, err}, {b, debug}});
    row("one column does not take back a level", "a err\na\n"_s, {{a, err}});
    row("lines of blanks", "   \na err\n \t \n"_s, {{a, err}});
    row("blanks around", "  \t a err  \t\n"_s, {{a, err}});
    row("tabs between", "a\t\terr\tfile\t/a\n"_s, {{a, err}});
    row("line ends of another system", "a err file /a\r\nb debug file /b\r\n"_s,
        {{a, err}, {b, debug}});
    row("semicolon in the destination", "a err file /var/log/x;y.log   \nb debug\n"_s,
        {{a, err}, {b, debug}});
    row("semicolon in the destination with two columns behind", "a err file /var/log/x;b debug\n"_s,
        {{a, err}, {b, debug}});
    row("semicolon between the columns", "a;err file /a\n"_s, {{err, "file"_s}});
    row("semicolons only", ";;;\n;\n"_s, {});
    row("no-break space between", "a\u00a0err\u00a0file\n"_s, {{a, err}});
    row("wide space between", "a\u3000err\n"_s, {{a, err}});
    row("em space around", "\u2003a err\u2003\n"_s, {{a, err}});
    row("line separator between", "a\u2028err\n"_s, {{a, err}});
    row("zero width space is no blank", "a\u200berr\n"_s, {});
    row("level of no known name", "a none file /a\n"_s, {{a, "none"_s}});
    row("error text, no access", "file configuration access error"_s,
        {{"file"_s, "configuration"_s}});
    row("error text, no restore", "configuration file cannot be restored"_s,
        {{"configuration"_s, "file"_s}});
}

void TestBulkLevels::tableIsRead()
{
    QFETCH(QString, table);
    QCOMPARE(activityTableHeader(), header);
    QTEST(levelsFromTable(table), "levels");
}

QTEST_GUILESS_MAIN(TestBulkLevels)
#include "tst_bulklevels.moc"
