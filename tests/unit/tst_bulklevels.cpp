// What programs get to see of the levels, and what becomes of the text with which they set them.
// SPDX-License-Identifier: MIT
#include "levels/bulklevels.h"

#include "syslogconf/activityparser.h"

#include <QTest>

#include <algorithm>

namespace {

using Levels = QMap<QString, QString>;

const QString header
    = QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n");

const QString bluetooth = QStringLiteral("qvxbtmgr");

QStringList keysWithoutBluetooth()
{
    QStringList keys {QStringLiteral("Platform"),  QStringLiteral("SettingsManager"),
                      QStringLiteral("Telephony"), QStringLiteral("qvxaudio"),
                      QStringLiteral("qvxsipua"),  QStringLiteral("sipmmi")};
    std::sort(keys.begin(), keys.end());
    return keys;
}

} // namespace

class TestBulkLevels : public QObject
{
    Q_OBJECT

private slots:
    void activitiesAreReportedInOrder();
    void tableIsRead_data();
    void tableIsRead();
    void veryLongTable();
    void modelDecidesOnBluetooth_data();
    void modelDecidesOnBluetooth();
    void reportHasALevelForEachActivity();
    void itemsOfAText_data();
    void itemsOfAText();
    void itemsThatChangeNothingAreLeftOut_data();
    void itemsThatChangeNothingAreLeftOut();
    void result_data();
    void result();
};

void TestBulkLevels::activitiesAreReportedInOrder()
{
    QCOMPARE(reportedActivities(),
             QStringList({QStringLiteral("qvxaudio"), QStringLiteral("qvxsipua"),
                          QStringLiteral("Platform"), QStringLiteral("SettingsManager"),
                          QStringLiteral("sipmmi"), QStringLiteral("Telephony"), bluetooth}));
}

void TestBulkLevels::tableIsRead_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<Levels>("levels");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QString err = QStringLiteral("err");
    const QString debug = QStringLiteral("debug");
    const auto row = [](const char *name, const QString &table, const Levels &levels) {
        QTest::newRow(name) << table << levels;
    };

    row("no text", QString(), {});
    row("header only", header, {});
    row("one row", header + QStringLiteral("a   err   file   /var/log/a.log   \n"), {{a, err}});
    row("two rows", header + QStringLiteral("a   err   file   /a   \nb   debug   file   /b   \n"),
        {{a, err}, {b, debug}});
    row("no header", QStringLiteral("a err file /a\n"), {{a, err}});
    row("no final line feed", header + QStringLiteral("a err file /a"), {{a, err}});
    row("header behind a row", QStringLiteral("a err file /a\n") + header, {{a, err}});
    row("header in small letters is a row", header.toLower(),
        {{QStringLiteral("activity"), QStringLiteral("level")}});
    row("header with a blank less is a row", header.mid(1),
        {{QStringLiteral("ACTIVITY"), QStringLiteral("LEVEL")}});
    row("header without its line feed is a row", header.chopped(1),
        {{QStringLiteral("ACTIVITY"), QStringLiteral("LEVEL")}});
    row("later row wins", QStringLiteral("a err file /a\nb err file /b\na debug file /a\n"),
        {{a, debug}, {b, err}});
    row("later row wins, the other way round",
        QStringLiteral("a debug file /a\nb err file /b\na err file /a\n"), {{a, err}, {b, err}});
    row("names differ in case", QStringLiteral("a err\nA debug\n"),
        {{a, err}, {QStringLiteral("A"), debug}});
    row("one column", QStringLiteral("a\n"), {});
    row("one column between rows", QStringLiteral("a err\nc\nb debug\n"), {{a, err}, {b, debug}});
    row("one column does not take back a level", QStringLiteral("a err\na\n"), {{a, err}});
    row("two columns", QStringLiteral("a err\n"), {{a, err}});
    row("empty lines", QStringLiteral("\n\na err\n\n\nb debug\n\n"), {{a, err}, {b, debug}});
    row("lines of blanks", QStringLiteral("   \na err\n \t \n"), {{a, err}});
    row("blanks around", QStringLiteral("  \t a err  \t\n"), {{a, err}});
    row("tabs between", QStringLiteral("a\t\terr\tfile\t/a\n"), {{a, err}});
    row("line ends of another system", QStringLiteral("a err file /a\r\nb debug file /b\r\n"),
        {{a, err}, {b, debug}});
    row("semicolon in the destination", QStringLiteral("a err file /var/log/x;y.log   \nb debug\n"),
        {{a, err}, {b, debug}});
    row("semicolon in the destination with two columns behind",
        QStringLiteral("a err file /var/log/x;b debug\n"), {{a, err}, {b, debug}});
    row("semicolon between the columns", QStringLiteral("a;err file /a\n"),
        {{err, QStringLiteral("file")}});
    row("semicolons only", QStringLiteral(";;;\n;\n"), {});
    row("no-break space between", QStringLiteral("a\u00a0err\u00a0file\n"), {{a, err}});
    row("wide space between", QStringLiteral("a\u3000err\n"), {{a, err}});
    row("em space around", QStringLiteral("\u2003a err\u2003\n"), {{a, err}});
    row("line separator between", QStringLiteral("a\u2028err\n"), {{a, err}});
    row("zero width space is no blank", QStringLiteral("a\u200berr\n"), {});
    row("Unicode names", QStringLiteral("t\u00e9l\u00e9phone debug file /a\n"),
        {{QStringLiteral("t\u00e9l\u00e9phone"), debug}});
    row("level of no known name", QStringLiteral("a none file /a\n"),
        {{a, QStringLiteral("none")}});
    row("error text, no access", QStringLiteral("file configuration access error"),
        {{QStringLiteral("file"), QStringLiteral("configuration")}});
    row("error text, no restore", QStringLiteral("configuration file cannot be restored"),
        {{QStringLiteral("configuration"), QStringLiteral("file")}});
}

void TestBulkLevels::tableIsRead()
{
    QFETCH(QString, table);
    QCOMPARE(activityTableHeader(), header);
    QTEST(levelsFromTable(table), "levels");
}

void TestBulkLevels::veryLongTable()
{
    constexpr int count = 5000;
    QString table = header;
    for (int number = 0; number < count; ++number) {
        table += QStringLiteral("activity%1   debug      file         /var/log/x.log   \n")
                     .arg(number);
    }
    const Levels levels = levelsFromTable(table);
    QCOMPARE(levels.size(), count);
    QCOMPARE(levels.value(QStringLiteral("activity4999")), QStringLiteral("debug"));
}

void TestBulkLevels::modelDecidesOnBluetooth_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("hasBluetooth");

    QTest::newRow("not known") << QString() << false;
    QTest::newRow("empty") << QStringLiteral("") << false;
    QTest::newRow("PX21A") << QStringLiteral("PX21A") << false;
    QTest::newRow("PX25A") << QStringLiteral("PX25A") << false;
    QTest::newRow("another") << QStringLiteral("PX30") << true;
    QTest::newRow("small letters, 21") << QStringLiteral("px21a") << true;
    QTest::newRow("small letters, 25") << QStringLiteral("px25a") << true;
    QTest::newRow("a blank") << QStringLiteral(" ") << true;
    QTest::newRow("a blank behind") << QStringLiteral("PX21A ") << true;
    QTest::newRow("a blank before") << QStringLiteral(" PX25A") << true;
    QTest::newRow("the beginning only") << QStringLiteral("PX21") << true;
    QTest::newRow("a longer name") << QStringLiteral("PX25AB") << true;
}

void TestBulkLevels::modelDecidesOnBluetooth()
{
    QFETCH(QString, model);
    QFETCH(bool, hasBluetooth);

    const QVariantMap reported = reportedLevels({{bluetooth, QStringLiteral("info")}}, model);
    QStringList keys = keysWithoutBluetooth();
    if (hasBluetooth) {
        keys.append(bluetooth);
        std::sort(keys.begin(), keys.end());
        QCOMPARE(reported.value(bluetooth), QVariant(QStringLiteral("info")));
    }
    QCOMPARE(QStringList(reported.keys()), keys);
}

void TestBulkLevels::reportHasALevelForEachActivity()
{
    const Levels levels {{QStringLiteral("qvxaudio"), QStringLiteral("debug")},
                         {QStringLiteral("Platform"), QStringLiteral("err")},
                         {QStringLiteral("telephony"), QStringLiteral("info")},
                         {QStringLiteral("WebApp"), QStringLiteral("notice")}};
    const QVariantMap reported = reportedLevels(levels, QStringLiteral("PX30"));
    QCOMPARE(reported.size(), 7);
    for (auto level = reported.cbegin(); level != reported.cend(); ++level) {
        QCOMPARE(static_cast<QMetaType::Type>(level.value().type()), QMetaType::QString);
        const QString expected = level.key() == QLatin1String("qvxaudio") ? QStringLiteral("debug")
            : level.key() == QLatin1String("Platform")                    ? QStringLiteral("err")
                                                                          : QString();
        QCOMPARE(level.value().toString(), expected);
    }
}

void TestBulkLevels::itemsOfAText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("items");

    const QString audio = QStringLiteral("qvxaudio:debug");
    const QString telephony = QStringLiteral("Telephony:warning");
    const auto row = [](const char *name, const QString &text, const QStringList &items) {
        QTest::newRow(name) << text << items;
    };

    row("no text", QString(), {});
    row("braces only", QStringLiteral("{}"), {});
    row("many braces", QStringLiteral("}}{{{}"), {});
    row("commas only", QStringLiteral(",,,"), {});
    row("braces and commas", QStringLiteral("{,},{,}"), {});
    row("one", audio, {audio});
    row("one in braces", QStringLiteral("{qvxaudio:debug}"), {audio});
    row("two", QStringLiteral("qvxaudio:debug,Telephony:warning"), {audio, telephony});
    row("two in braces", QStringLiteral("{qvxaudio:debug,Telephony:warning}"), {audio, telephony});
    row("order is kept", QStringLiteral("Telephony:warning,qvxaudio:debug"), {telephony, audio});
    row("each in braces", QStringLiteral("{qvxaudio:debug},{Telephony:warning}"),
        {audio, telephony});
    row("braces within", QStringLiteral("qvx{audio}:de}b{ug,T{elephony:warnin}g"),
        {audio, telephony});
    row("brace at the end only", QStringLiteral("qvxaudio:debug}"), {audio});
    row("brace at the start only", QStringLiteral("{qvxaudio:debug"), {audio});
    row("empty items", QStringLiteral(",qvxaudio:debug,,Telephony:warning,"), {audio, telephony});
    row("items of braces", QStringLiteral("{},qvxaudio:debug,{},{Telephony:warning}"),
        {audio, telephony});
    row("twice the same", QStringLiteral("qvxaudio:debug,qvxaudio:debug"), {audio, audio});
    row("without colon", QStringLiteral("qvxaudio-debug"), {QStringLiteral("qvxaudio-debug")});
    row("blanks are kept", QStringLiteral(" qvxaudio : debug , Telephony:warning "),
        {QStringLiteral(" qvxaudio : debug "), QStringLiteral(" Telephony:warning ")});
    row("blanks only", QStringLiteral(" "), {QStringLiteral(" ")});
    row("blank between commas", QStringLiteral("qvxaudio:debug, ,"), {audio, QStringLiteral(" ")});
    row("line feed is kept", QStringLiteral("qvxaudio:debug\n"),
        {QStringLiteral("qvxaudio:debug\n")});
    row("semicolon does not separate", QStringLiteral("a:b;c:d"), {QStringLiteral("a:b;c:d")});
    row("other brackets are kept", QStringLiteral("[(a:b)]"), {QStringLiteral("[(a:b)]")});
    row("Unicode", QStringLiteral("{\u00fc:\u260e,a:b}"),
        {QStringLiteral("\u00fc:\u260e"), QStringLiteral("a:b")});
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
    const QString same = QStringLiteral("qvxaudio:err");
    const QString other = QStringLiteral("qvxaudio:debug");

    row("nothing", {}, {});
    row("the same level", {same}, {});
    row("another level", {other}, {other});
    row("the same twice", {same, same}, {});
    row("another twice", {other, other}, {other, other});
    row("order is kept",
        {QStringLiteral("z:err"), same, QStringLiteral("b:err"), QStringLiteral("a:err")},
        {QStringLiteral("z:err"), QStringLiteral("b:err"), QStringLiteral("a:err")});
    row("every one as it is", {same, QStringLiteral("sipmmi:debug"), QStringLiteral("Platform:")},
        {});
    row("there and back stays half", {other, same}, {other});
    kept("the level of another activity", QStringLiteral("sipmmi:err"));
    kept("name in capitals", QStringLiteral("QVXAUDIO:err"));
    kept("level in capitals", QStringLiteral("qvxaudio:ERR"));
    kept("blank before", QStringLiteral(" qvxaudio:err"));
    kept("blank behind", QStringLiteral("qvxaudio:err "));
    kept("blank at the colon", QStringLiteral("qvxaudio: err"));
    kept("longer level", QStringLiteral("qvxaudio:error"));
    kept("shorter level", QStringLiteral("qvxaudio:er"));
    kept("longer name", QStringLiteral("xqvxaudio:err"));
    kept("unknown name", QStringLiteral("WebApp:err"));
    kept("all", QStringLiteral("all:err"));
    kept("no colon", QStringLiteral("qvxaudioerr"));
    kept("a level where there is none", QStringLiteral("Platform:err"));
    kept("no level where there is one", QStringLiteral("qvxaudio:"));
}

void TestBulkLevels::itemsThatChangeNothingAreLeftOut()
{
    QFETCH(QStringList, items);
    const QVariantMap current {{QStringLiteral("qvxaudio"), QStringLiteral("err")},
                               {QStringLiteral("sipmmi"), QStringLiteral("debug")},
                               {QStringLiteral("Platform"), QString()}};
    QTEST(changedItems(items, current), "changed");
    // Where nothing is known, everything is a change.
    QCOMPARE(changedItems(items, {}), items);
}

void TestBulkLevels::result_data()
{
    QTest::addColumn<bool>("success");
    QTest::addColumn<QString>("value");
    QTest::newRow("success") << true << QStringLiteral("0");
    QTest::newRow("failure") << false << QStringLiteral("1");
}

void TestBulkLevels::result()
{
    QFETCH(bool, success);
    QFETCH(QString, value);
    const QVariantMap map = resultMap(success, QStringLiteral(" a message "));
    QCOMPARE(QStringList(map.keys()),
             QStringList({QStringLiteral("msg"), QStringLiteral("value")}));
    for (const QVariant &entry : map) {
        QCOMPARE(static_cast<QMetaType::Type>(entry.type()), QMetaType::QString);
    }
    QCOMPARE(map.value(QStringLiteral("value")).toString(), value);
    QCOMPARE(map.value(QStringLiteral("msg")).toString(), QStringLiteral(" a message "));
}

QTEST_GUILESS_MAIN(TestBulkLevels)
#include "tst_bulklevels.moc"
