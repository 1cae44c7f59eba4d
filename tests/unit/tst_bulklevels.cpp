// What programs get to see of the levels, and what becomes of the text with which they set them.
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
    void modelDecidesOnBluetooth();
    void itemsOfAText_data();
    void itemsOfAText();
    void itemsThatChangeNothingAreLeftOut_data();
    void itemsThatChangeNothingAreLeftOut();
    void result();
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

void TestBulkLevels::modelDecidesOnBluetooth()
{
    QVariantMap expected {{"qvxaudio"_s, "debug"_s},        {"qvxsipua"_s, QString()},
                          {"Platform"_s, "err"_s},          {"sipmmi"_s, QString()},
                          {"SettingsManager"_s, QString()}, {"Telephony"_s, QString()}};
    const Levels levels {{"qvxaudio"_s, "debug"_s},
                         {"Platform"_s, "err"_s},
                         {"telephony"_s, "info"_s},
                         {"WebApp"_s, "notice"_s},
                         {"qvxbtmgr"_s, "info"_s}};
    for (const QString &model : {QString(), ""_s, "PX21A"_s, "PX25A"_s}) {
        QCOMPARE(reportedLevels(levels, model), expected);
    }
    expected.insert("qvxbtmgr"_s, "info"_s);
    for (const QString &model :
         {"PX30"_s, "px21a"_s, "px25a"_s, " "_s, "PX21A "_s, " PX25A"_s, "PX21"_s, "PX25AB"_s}) {
        QCOMPARE(reportedLevels(levels, model), expected);
    }
}

void TestBulkLevels::itemsOfAText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("items");

    const QString audio = "qvxaudio:debug"_s;
    const QString telephony = "Telephony:warning"_s;
    const auto row = [](const char *name, const QString &text, const QStringList &items) {
        QTest::newRow(name) << text << items;
    };

    row("no text", QString(), {});
    row("many braces", "}}{{{}"_s, {});
    row("braces and commas", "{,},{,}"_s, {});
    row("each in braces", "{qvxaudio:debug},{Telephony:warning}"_s, {audio, telephony});
    row("braces within", "qvx{audio}:de}b{ug,T{elephony:warnin}g"_s, {audio, telephony});
    row("items of braces", "{},qvxaudio:debug,{},{Telephony:warning}"_s, {audio, telephony});
    row("blanks are kept", " qvxaudio : debug , Telephony:warning "_s,
        {" qvxaudio : debug "_s, " Telephony:warning "_s});
    row("semicolon does not separate", "a:b;c:d"_s, {"a:b;c:d"_s});
    row("other brackets are kept", "[(a:b)]"_s, {"[(a:b)]"_s});
    row("Unicode", "{\u00fc:\u260e,a:b}"_s, {"\u00fc:\u260e"_s, "a:b"_s});
}

void TestBulkLevels::itemsOfAText()
{
    QFETCH(QString, text);
    QTEST(bulkLevelItems(text), "items");
}

void TestBulkLevels::itemsThatChangeNothingAreLeftOut_data()
{
    QTest::addColumn<QStringList>("items");
    QTest::addColumn<QStringList>("changed");

    const auto row = [](const char *name, const QStringList &items, const QStringList &changed) {
        QTest::newRow(name) << items << changed;
    };
    const auto kept = [&row](const char *name, const QString &item) { row(name, {item}, {item}); };
    const QString same = "qvxaudio:err"_s;
    const QString other = "qvxaudio:debug"_s;

    row("nothing", {}, {});
    row("the same twice", {same, same}, {});
    row("another twice", {other, other}, {other, other});
    row("order is kept", {"z:err"_s, same, "b:err"_s, "a:err"_s},
        {"z:err"_s, "b:err"_s, "a:err"_s});
    row("every one as it is", {same, "sipmmi:debug"_s, "Platform:"_s}, {});
    row("there and back stays half", {other, same}, {other});
    kept("the level of another activity", "sipmmi:err"_s);
    kept("name in capitals", "QVXAUDIO:err"_s);
    kept("level in capitals", "qvxaudio:ERR"_s);
    kept("blank before", " qvxaudio:err"_s);
    kept("longer level", "qvxaudio:error"_s);
    kept("longer name", "xqvxaudio:err"_s);
    kept("unknown name", "WebApp:err"_s);
    kept("a level where there is none", "Platform:err"_s);
    kept("no level where there is one", "qvxaudio:"_s);
}

void TestBulkLevels::itemsThatChangeNothingAreLeftOut()
{
    QFETCH(QStringList, items);
    const QVariantMap current {
        {"qvxaudio"_s, "err"_s}, {"sipmmi"_s, "debug"_s}, {"Platform"_s, QString()}};
    QTEST(changedItems(items, current), "changed");
    // Where nothing is known, everything is a change.
    QCOMPARE(changedItems(items, {}), items);
}

void TestBulkLevels::result()
{
    for (const bool success : {true, false}) {
        QCOMPARE(resultMap(success, " a message "_s),
                 QVariantMap({{"value"_s, success ? "0"_s : "1"_s}, {"msg"_s, " a message "_s}}));
    }
}

QTEST_GUILESS_MAIN(TestBulkLevels)
#include "tst_bulklevels.moc"
