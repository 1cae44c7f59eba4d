// Levels for programs, set: what becomes of each item of the text, in a job whose result is
// looked at and in one that nobody waits for.
// SPDX-License-Identifier: MIT
#include "support/bulk.h"
#include "support/hangups.h"
#include "support/testablemodule.h"

#include <QFile>
#include <QTest>

using namespace Bulk;

class tst_BulkSet : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void items_data();
    void items();
    void everyReportedActivityIsSkippedAsItIs();
    void repairedActivityCountsAsError();
    void corruptedFacilityFileCountsAsError();
    void brokenConfigurationCountsAsError();
};

void tst_BulkSet::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    qunsetenv("PHONE_MODEL");
    Reloads::install();
}

void tst_BulkSet::init()
{
    Phone::resetConfiguration();
    Reloads::reset();
}

void tst_BulkSet::items_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Levels>("levels"); // those that are another than at the beginning
    QTest::addColumn<int>("reloads");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("lines"); // each is about an item that fails

    const QString syntax = "setSyslogLevels: syntax error, exit"_s;
    const auto failed = [](const char *item) -> QString {
        return "setSyslogLevels: set "_s + QString::fromUtf8(item) + " error"_s;
    };
    const auto row = [](const char *name, const char *text, const Levels &levels, int reloads,
                        const QStringList &events, const QStringList &lines) {
        QTest::newRow(name) << QString::fromUtf8(text) << levels << reloads << events << lines;
    };
    const auto nothing
        = [&row](const char *name, const char *text) { row(name, text, {}, 0, {}, {}); };
    const auto refused = [&row, &failed](const char *name, const char *text, const char *item) {
        row(name, text, {}, 1, {}, {failed(item)});
    };
    const QString sipua = "qvxsipua"_s;
    const QString debug = "debug"_s;
    const Levels two {{sipua, debug}, {"Telephony"_s, "warning"_s}};
    const Levels onlyTelephony {{"Telephony"_s, "warning"_s}};
    const QString sipuaDebug = "qvxsipua 7"_s;
    const QString telephonyWarning = "Telephony 4"_s;

    nothing("no text", "");
    nothing("braces alone", "{}");
    nothing("many braces", "}{{{}");
    nothing("braces and commas", "{,},{,}");
    nothing("current levels",
            "{qvxaudio:err,qvxsipua:err,Platform:err,SettingsManager:err,sipmmi:err,"
            "Telephony:err}");
    nothing("current level, twice", "qvxsipua:err,qvxsipua:err");

    row("one", "qvxsipua:debug", {{sipua, debug}}, 1, {sipuaDebug}, {});
    row("emerg", "qvxsipua:emerg", {{sipua, "emerg"_s}}, 1, {"qvxsipua 0"_s}, {});
    row("two in braces", "{qvxsipua:debug,Telephony:warning}", two, 2,
        {sipuaDebug, telephonyWarning}, {});
    row("two, the other way round", "Telephony:warning,qvxsipua:debug", two, 2,
        {telephonyWarning, sipuaDebug}, {});
    row("each in braces", "{qvxsipua:debug},{Telephony:warning}", two, 2,
        {sipuaDebug, telephonyWarning}, {});
    row("braces anywhere", "qvx{sip}ua}:de{b}ug", {{sipua, debug}}, 1, {sipuaDebug}, {});
    row("empty items", ",{qvxsipua:debug,,{},Telephony:warning,}", two, 2,
        {sipuaDebug, telephonyWarning}, {});
    row("current level between changes", "qvxsipua:debug,qvxaudio:err,Telephony:warning", two, 2,
        {sipuaDebug, telephonyWarning}, {});
    row("one activity twice", "qvxsipua:info,qvxsipua:debug", {{sipua, debug}}, 2,
        {"qvxsipua 6"_s, sipuaDebug}, {});
    row("the same twice", "qvxsipua:debug,qvxsipua:debug", {{sipua, debug}}, 2,
        {sipuaDebug, sipuaDebug}, {});
    row("there and back to what was current stays there", "qvxsipua:debug,qvxsipua:err",
        {{sipua, debug}}, 1, {sipuaDebug}, {});

    row("activity that is not reported, as it is", "WebApp:err", {}, 1, {"WebApp 3"_s}, {});
    row("Bluetooth of an unknown model, as it is", "qvxbtmgr:err", {}, 1, {"qvxbtmgr 3"_s}, {});
    row("activity that is not reported", "WebApp:debug", {{"WebApp"_s, debug}}, 1, {"WebApp 7"_s},
        {});

    row("all to err counts as error", "all:err", {}, 2, {"all 3"_s}, {failed("all(err)")});
    row("all to their initial levels counts as error", "all:init", {}, 2, {"all 3"_s},
        {failed("all(init)")});
    row("all from the backup counts as error", "all:restore", {}, 2, {}, {failed("all(restore)")});
    Levels allButOne = everyActivity("info"_s);
    allButOne.insert(sipua, debug);
    row("all counts as error, and one behind", "all:info,qvxsipua:debug", allButOne, 3,
        {"all 6"_s, sipuaDebug}, {failed("all(info)")});

    row("no colon before another", "qvxsipua-debug,Telephony:warning", onlyTelephony, 1,
        {telephonyWarning}, {syntax});
    row("no colon behind another", "Telephony:warning,qvxsipua-debug", onlyTelephony, 1,
        {telephonyWarning}, {syntax});
    row("no colon twice", "a,b", {}, 0, {}, {syntax, syntax});
    row("blank alone", " ", {}, 0, {}, {syntax});

    refused("level outside the six", "qvxsipua:crit", "qvxsipua(crit)");
    refused("current level and more", "qvxsipua:error", "qvxsipua(error)");
    refused("current level in capitals", "qvxsipua:ERR", "qvxsipua(ERR)");
    refused("level as a number", "qvxsipua:7", "qvxsipua(7)");
    refused("keyword for all only", "qvxsipua:init", "qvxsipua(init)");
    refused("other keyword for all only", "qvxsipua:restore", "qvxsipua(restore)");
    refused("no level", "qvxsipua:", "qvxsipua()");
    refused("no activity", ":debug", "(debug)");
    refused("colon alone", ":", "()");
    refused("blank before the level", "qvxsipua: debug", "qvxsipua( debug)");
    refused("blank behind the level", "qvxsipua:debug ", "qvxsipua(debug )");
    refused("line feed behind the level", "qvxsipua:debug\n", "qvxsipua(debug\n)");
    refused("second colon belongs to the level", "qvxsipua:debug:info", "qvxsipua(debug:info)");
    refused("semicolon separates nothing", "qvxsipua:debug;sipmmi:info",
            "qvxsipua(debug;sipmmi:info)");
    refused("current level with a blank", "qvxsipua:err ", "qvxsipua(err )");
    refused("unknown activity", "nobody:debug", "nobody(debug)");
    refused("activity and more", "xqvxsipua:err", "xqvxsipua(err)");
    refused("activity in capitals", "QVXSIPUA:err", "QVXSIPUA(err)");
    refused("blank before the activity", " qvxsipua:err", " qvxsipua(err)");
    refused("blank behind the activity", "qvxsipua :debug", "qvxsipua (debug)");
    refused("other brackets", "[(qvxsipua:debug)]", "[(qvxsipua(debug)])");
    refused("Unicode", "\xc3\xbc:\xe2\x98\x8e", "\xc3\xbc(\xe2\x98\x8e)");
    refused("path", "../../x:debug", "../../x(debug)");
    row("refused, and one behind", "qvxsipua:crit,Telephony:warning", onlyTelephony, 2,
        {telephonyWarning}, {failed("qvxsipua(crit)")});
    row("refused, and one before", "Telephony:warning,nobody:debug", onlyTelephony, 2,
        {telephonyWarning}, {failed("nobody(debug)")});
    row("blank behind a comma", "qvxsipua:debug, Telephony:warning", {{sipua, debug}}, 2,
        {sipuaDebug}, {failed(" Telephony(warning)")});
}

void tst_BulkSet::items()
{
    QFETCH(QString, text);
    QFETCH(Levels, levels);
    QFETCH(int, reloads);
    QFETCH(QStringList, events);
    QFETCH(QStringList, lines);
    const QByteArray before = Phone::read(Phone::liveConfig);
    {
        const LogCapture log;
        TestableModule module;
        QCOMPARE(module.setSyslogLevels(text, false), lines.isEmpty() ? setSucceeded : setFailed);
        QCOMPARE(Bulk::lines(log), lines);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
    QCOMPARE(Reloads::count(), reloads);

    init();
    LevelEvents seen;
    // Whatever becomes of the items, the answer is the same.
    QCOMPARE(map(setLevels, {text}), setStarted);
    waitForJobs();
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
    QCOMPARE(Reloads::count(), reloads);
    QCOMPARE(announced(seen), events);
}

void tst_BulkSet::everyReportedActivityIsSkippedAsItIs()
{
    qputenv("PHONE_MODEL", "PX30");
    QStringList items;
    for (const QString &activity : Phone::activityNames) {
        items.append(activity + ":err"_s);
    }
    TestableModule module;
    const QVariantMap answer = module.setSyslogLevels(items.join(QLatin1Char(',')), false);
    qunsetenv("PHONE_MODEL");
    QCOMPARE(answer, setSucceeded);
    QCOMPARE(Reloads::count(), 3); // WebApp, LoggerModule and defence
}

void tst_BulkSet::repairedActivityCountsAsError()
{
    const QString application = "/usr/bin/QVXApplication/qvxsipua"_s;
    Phone::write(application, "an application");
    QVERIFY(QFile::remove(Phone::facilityFile("qvxsipua"_s)));
    const LogCapture log;
    TestableModule module;
    const QVariantMap answer = module.setSyslogLevels("qvxsipua:warning"_s, false);
    QFile::remove(application);
    QCOMPARE(answer, setFailed);
    QCOMPARE(lines(log), QStringList {"setSyslogLevels: set qvxsipua(warning) error"_s});
    // It was applied for all that.
    const Levels levels {{"qvxsipua"_s, "warning"_s}};
    QCOMPARE(facilityLevels(), facilityLevels(levels));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(Phone::read(Phone::backup), levels));
}

void tst_BulkSet::corruptedFacilityFileCountsAsError()
{
    const QString file = Phone::facilityFile("qvxsipua"_s);
    const QByteArray good = Phone::read(file);
    Phone::write(file, "2" + good.mid(1));
    LevelEvents events;
    QCOMPARE(map(setLevels, {"qvxsipua:debug"_s}), setStarted);
    waitForJobs();
    QCOMPARE(Phone::read(file), good);
    QCOMPARE(announced(events), QStringList {"qvxsipua 7"_s});

    Phone::write(file, "2" + good.mid(1));
    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.setSyslogLevels("qvxsipua:info"_s, false), setFailed);
    QCOMPARE(lines(log), QStringList {"setSyslogLevels: set qvxsipua(info) error"_s});
}

void tst_BulkSet::brokenConfigurationCountsAsError()
{
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    TestableModule module;
    // The first finds the broken file and puts the backup in its place, with which the second
    // works.
    QCOMPARE(module.setSyslogLevels("qvxsipua:debug,sipmmi:info"_s, false), setFailed);
    const Levels levels {{"sipmmi"_s, "info"_s}};
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(Phone::read(Phone::backup), levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
}

QTEST_GUILESS_MAIN(tst_BulkSet)
#include "tst_bulkset.moc"
