// Levels for programs: read and set several at once, in jobs that keep their order, each change
// announced and each item reloaded; seen from the bus and, where a job's own result counts, from
// within the process.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/configtext.h"
#include "support/events.h"
#include "support/hangups.h"
#include "support/heldcheck.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDBusPendingCall>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace {

using ConfigText::withLevel;

using Levels = QMap<QString, QString>;

const QStringList &activities = Phone::activityNames;

const QString audio = QStringLiteral("qvxaudio");
const QString sipua = QStringLiteral("qvxsipua");
const QString telephony = QStringLiteral("Telephony");
const QString sipmmi = QStringLiteral("sipmmi");
const QString err = QStringLiteral("err");
const QString warning = QStringLiteral("warning");
const QString info = QStringLiteral("info");
const QString debug = QStringLiteral("debug");

const QString getLevels = QStringLiteral("getSyslogLevels");
const QString setLevels = QStringLiteral("setSyslogLevels");
const QString resetLevels = QStringLiteral("resetSyslogLevelsToErr");

const QString modelError = QStringLiteral("Get phone model error ! So remove qvxbtmgr logs");

QVariantMap result(const char *value, const char *message)
{
    return {{QStringLiteral("value"), QString::fromLatin1(value)},
            {QStringLiteral("msg"), QString::fromLatin1(message)}};
}

const QVariantMap setStarted = result("0", "Fast set log levels OK");
const QVariantMap setSucceeded = result("0", "Set log levels OK");
const QVariantMap setFailed = result("1", "Set log levels error");
const QVariantMap resetStarted = result("0", "Fast set all log levels to error OK");
const QVariantMap resetSucceeded = result("0", "Set all log levels to error OK");
const QVariantMap resetFailed = result("1", "Error when setting all log levels to error");

QByteArray number(const QString &levelName)
{
    static const QMap<QString, QByteArray> numbers {
        {QStringLiteral("emerg"), "0"},  {err, "3"},  {warning, "4"},
        {QStringLiteral("notice"), "5"}, {info, "6"}, {debug, "7"}};
    return numbers.value(levelName);
}

/// Like withLevel(), for each of @p levels.
QByteArray withLevels(QByteArray content, const Levels &levels)
{
    for (auto level = levels.cbegin(); level != levels.cend(); ++level) {
        content = withLevel(content, level.key(), level.value().toUtf8());
    }
    return content;
}

Levels everyActivity(const QString &levelName)
{
    Levels levels;
    for (const QString &activity : activities) {
        levels.insert(activity, levelName);
    }
    return levels;
}

/// What the facility files say, by activity.
QMap<QString, QByteArray> facilityLevels()
{
    QMap<QString, QByteArray> levels;
    for (const QString &activity : activities) {
        levels.insert(activity, Phone::read(Phone::facilityFile(activity)).split('\n').first());
    }
    return levels;
}

/// What they say when @p levels are set and all else is as at the beginning.
QMap<QString, QByteArray> facilityLevels(const Levels &levels)
{
    QMap<QString, QByteArray> numbers;
    for (const QString &activity : activities) {
        numbers.insert(activity, number(levels.value(activity, err)));
    }
    return numbers;
}

/// The map that the service answers; for an error reply its name under an empty key.
QVariantMap map(const QDBusMessage &reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return {{QString(), reply.errorName()}};
    }
    return qdbus_cast<QVariantMap>(reply.arguments().value(0));
}

QVariantMap map(const QString &method, const QVariantList &arguments = {})
{
    return map(Phone::call(method, arguments));
}

/// Whether the row of @p activity in the table @p table has the level @p levelName.
bool tableHas(const QString &table, const QString &activity, const QString &levelName)
{
    return table.contains(QLatin1Char('\n') + activity.leftJustified(20) + QStringLiteral("   ")
                          + levelName.leftJustified(8));
}

/// The events so far, each as its facility, a blank and its number.
QStringList texts(const LevelEvents &events)
{
    QStringList texts;
    for (const QVariantMap &arguments : events.arguments) {
        texts.append(arguments.value(QStringLiteral("syslog_facility")).toString()
                     + QLatin1Char(' ')
                     + arguments.value(QStringLiteral("syslog_level")).toString());
    }
    return texts;
}

/// Waits for all jobs asked for so far and for their events, by a change of an activity that the
/// tests use for nothing else. It adds one event and one reload.
void waitForJobs(const LevelEvents &events)
{
    Phone::text(QStringLiteral("level"), {QStringLiteral("LoggerModule"), err});
    QVERIFY(QTest::qWaitFor(
        [&] { return texts(events).contains(QStringLiteral("LoggerModule 3")); }, 10000));
}

QStringList withFence(QStringList events)
{
    events.append(QStringLiteral("LoggerModule 3"));
    return events;
}

/// Those of @p log's debug lines that the bulk methods write.
QStringList bulkLines(const LogCapture &log)
{
    return log.debugs().filter(QStringLiteral("setSyslogLevels: "));
}

/// Holds the checks of jobs, which go on until they have nothing left to do.
class HeldJobs : public HeldCheck
{
public:
    HeldJobs() = default;
    ~HeldJobs()
    {
        release();
        // Nothing is between the two programs while a job may still run one.
        Phone::text(QStringLiteral("level"));
    }
    Q_DISABLE_COPY(HeldJobs)
};

/// A write lease (fcntl(2)) makes the service's open() of the file wait, so that all it did before
/// can be seen while the file is still untouched.
class Lease
{
public:
    explicit Lease(const QString &path)
        : m_descriptor(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC))
    {
        static_cast<void>(signal(SIGIO, SIG_IGN));
        if (m_descriptor < 0 || fcntl(m_descriptor, F_SETLEASE, F_WRLCK) != 0) {
            qFatal("cannot hold %s", qPrintable(path));
        }
    }
    ~Lease() { release(); }
    Q_DISABLE_COPY(Lease)

    void release()
    {
        if (m_descriptor >= 0) {
            fcntl(m_descriptor, F_SETLEASE, F_UNLCK);
            ::close(m_descriptor);
            m_descriptor = -1;
        }
    }

private:
    int m_descriptor;
};

/// A program that knows nothing of this project and prints what it sees on the bus.
class Monitor
{
public:
    Monitor(const QString &program, const QStringList &arguments, const QByteArray &ready)
    {
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(program, arguments);
        if (!m_process.waitForStarted()
            || !QTest::qWaitFor([&] { return output().contains(ready); }, 10000)) {
            qFatal("%s does not watch the bus: %s", qPrintable(program), output().constData());
        }
    }
    ~Monitor()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(Monitor)

    QByteArray output()
    {
        m_output += m_process.readAll();
        return m_output;
    }
    bool waitForOutput(const QByteArray &part)
    {
        return QTest::qWaitFor([&] { return output().contains(part); }, 10000);
    }

private:
    QProcess m_process;
    QByteArray m_output;
};

} // namespace

class tst_Bulk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void modelDecidesOnTheKeys_data();
    void modelDecidesOnTheKeys();
    void levelsAreTexts();
    void levelsFollowTheConfiguration();
    void activityThatIsNotThereHasAnEmptyLevel();
    void destinationWithASemicolonHidesNothing();
    void levelsWithoutConfiguration();
    void missingModelIsLogged_data();
    void missingModelIsLogged();

    void itemsAreApplied_data();
    void itemsAreApplied();
    void itemsAreAppliedInTheBackground_data();
    void itemsAreAppliedInTheBackground();
    void knownActivitiesAreSkippedAsUnchanged_data();
    void knownActivitiesAreSkippedAsUnchanged();
    void everyActivityIsReset();
    void everyActivityIsResetInTheBackground();
    void resetFails_data();
    void resetFails();
    void repairedActivityCountsAsError();
    void brokenConfigurationCountsAsError();
    void eachItemReloadsSyslog();

    void corruptedFacilityFileStillSendsTheEvent();
    void eventComesBeforeTheFacilityFile();
    void eventHasTwoArgumentsWithTheirTypes();
    void otherProgramsSeeTheEvent_data();
    void otherProgramsSeeTheEvent();
    void clientOfTheIntrospectedSignatures();

    void nextCallSeesTheJob_data();
    void nextCallSeesTheJob();
    void lastOneAskedForWins_data();
    void lastOneAskedForWins();
    void othersAreServedWhileAJobRuns();
    void levelWaitsForTheJob_data();
    void levelWaitsForTheJob();
    void queuedJobsAreFinishedAtTheEnd();
    void cleanupTestCase();

private:
    void startService(const QString &model = {});

    std::unique_ptr<Phone::Service> m_service;
    QString m_model;
};

/// Runs the service for phones of @p model; a null text leaves the model unknown.
void tst_Bulk::startService(const QString &model)
{
    m_service.reset();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("PHONE_MODEL"));
    if (!model.isNull()) {
        environment.insert(QStringLiteral("PHONE_MODEL"), model);
    }
    m_service = std::make_unique<Phone::Service>(environment);
    m_model = model;
}

void tst_Bulk::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    qunsetenv("PHONE_MODEL");
    Reloads::install();
}

void tst_Bulk::init()
{
    if (!Phone::isOnBus(Phone::serviceName) || !m_service || !m_model.isNull()) {
        startService();
    }
    Phone::text(QStringLiteral("level")); // after a failed test, its jobs may still run
    Phone::resetConfiguration();
    Reloads::reset();
}

void tst_Bulk::modelDecidesOnTheKeys_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("hasBluetooth");
    QTest::newRow("not set") << QString() << false;
    QTest::newRow("empty") << QStringLiteral("") << false;
    QTest::newRow("PX21A") << QStringLiteral("PX21A") << false;
    QTest::newRow("PX25A") << QStringLiteral("PX25A") << false;
    QTest::newRow("another") << QStringLiteral("PX30") << true;
    QTest::newRow("small letters") << QStringLiteral("px21a") << true;
    QTest::newRow("a blank behind") << QStringLiteral("PX25A ") << true;
}

void tst_Bulk::modelDecidesOnTheKeys()
{
    QFETCH(QString, model);
    QFETCH(bool, hasBluetooth);
    startService(model);
    QVariantMap expected {{audio, err},
                          {sipua, err},
                          {QStringLiteral("Platform"), err},
                          {QStringLiteral("SettingsManager"), err},
                          {sipmmi, err},
                          {telephony, err}};
    if (hasBluetooth) {
        expected.insert(QStringLiteral("qvxbtmgr"), err);
    }
    QCOMPARE(map(getLevels), expected);
    QCOMPARE(expected.size(), hasBluetooth ? 7 : 6);
}

void tst_Bulk::levelsAreTexts()
{
    const QDBusMessage reply = Phone::call(getLevels);
    QCOMPARE(reply.signature(), QStringLiteral("a{sv}"));
    const QVariantMap levels = map(reply);
    QCOMPARE(levels.size(), 6);
    for (const QVariant &level : levels) {
        QCOMPARE(static_cast<QMetaType::Type>(level.type()), QMetaType::QString);
    }
    for (const QDBusMessage &started :
         {Phone::call(setLevels, {QString()}), Phone::call(resetLevels)}) {
        QCOMPARE(started.signature(), QStringLiteral("a{sv}"));
        const QVariantMap answer = map(started);
        QCOMPARE(answer.size(), 2);
        for (const QVariant &value : answer) {
            QCOMPARE(static_cast<QMetaType::Type>(value.type()), QMetaType::QString);
        }
    }
}

void tst_Bulk::levelsFollowTheConfiguration()
{
    startService(QStringLiteral("PX30"));
    const Levels levels {{audio, debug},
                         {sipua, QStringLiteral("emerg")},
                         {QStringLiteral("Platform"), info},
                         {QStringLiteral("SettingsManager"), QStringLiteral("notice")},
                         {sipmmi, warning},
                         {telephony, err},
                         {QStringLiteral("qvxbtmgr"), QStringLiteral("none such")},
                         {QStringLiteral("WebApp"), debug}};
    Phone::write(Phone::liveConfig, withLevels(Phone::read(Phone::liveConfig), levels));
    QVariantMap expected;
    for (auto level = levels.cbegin(); level != levels.cend(); ++level) {
        expected.insert(level.key(), level.value());
    }
    expected.remove(QStringLiteral("WebApp"));
    // A column of the table ends at the first blank.
    expected.insert(QStringLiteral("qvxbtmgr"), QStringLiteral("none"));
    QCOMPARE(map(getLevels), expected);
}

void tst_Bulk::activityThatIsNotThereHasAnEmptyLevel()
{
    QByteArray content = Phone::read(Phone::liveConfig);
    content.replace("# BEGIN sipmmi\n", "# BEGIN another\n");
    content.replace("# END sipmmi\n", "# END another\n");
    Phone::write(Phone::liveConfig, content);
    const QVariantMap levels = map(getLevels);
    QCOMPARE(levels.size(), 6);
    QCOMPARE(static_cast<QMetaType::Type>(levels.value(sipmmi).type()), QMetaType::QString);
    QCOMPARE(levels.value(sipmmi).toString(), QString());
    QVERIFY(levels.contains(sipmmi));
    QCOMPARE(levels.value(audio).toString(), err);
}

void tst_Bulk::destinationWithASemicolonHidesNothing()
{
    QByteArray content = withLevel(Phone::read(Phone::liveConfig), sipua, debug.toUtf8());
    content.replace("/var/log/qvxsipua.log", "/var/log/q;sipua.log");
    Phone::write(Phone::liveConfig, content);
    const QVariantMap levels = map(getLevels);
    QCOMPARE(levels.size(), 6);
    QCOMPARE(levels.value(sipua).toString(), debug);
    for (const QString &activity : {audio, sipmmi, telephony}) {
        QCOMPARE(levels.value(activity).toString(), err);
    }
}

void tst_Bulk::levelsWithoutConfiguration()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(map(getLevels),
             QVariantMap({{audio, QString()},
                          {sipua, QString()},
                          {QStringLiteral("Platform"), QString()},
                          {QStringLiteral("SettingsManager"), QString()},
                          {sipmmi, QString()},
                          {telephony, QString()}}));
}

void tst_Bulk::missingModelIsLogged_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<int>("count");
    QTest::newRow("not set") << QString() << 1;
    QTest::newRow("empty") << QStringLiteral("") << 1;
    QTest::newRow("PX21A") << QStringLiteral("PX21A") << 0;
    QTest::newRow("PX25A") << QStringLiteral("PX25A") << 0;
    QTest::newRow("another") << QStringLiteral("PX30") << 0;
}

void tst_Bulk::missingModelIsLogged()
{
    QFETCH(QString, model);
    QFETCH(int, count);
    if (!model.isNull()) {
        qputenv("PHONE_MODEL", model.toUtf8());
    }
    const LogCapture log;
    TestableModule module;
    const QVariantMap levels = module.getSyslogLevels();
    qunsetenv("PHONE_MODEL");
    QCOMPARE(levels.size(), model == QLatin1String("PX30") ? 7 : 6);
    QCOMPARE(log.debugs().count(modelError), count);
    QCOMPARE(log.debugs().filter(QStringLiteral("model")).size(), count);
}

void tst_Bulk::itemsAreApplied_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("success");
    QTest::addColumn<Levels>("levels"); // those that are another than at the beginning
    QTest::addColumn<int>("reloads");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("lines");

    const auto syntax = QStringLiteral("setSyslogLevels: syntax error, exit");
    const auto failed = [](const char *item) -> QString {
        return QStringLiteral("setSyslogLevels: set ") + QString::fromUtf8(item)
            + QStringLiteral(" error");
    };
    const auto row = [](const char *name, const char *text, bool success, const Levels &levels,
                        int reloads, const QStringList &events, const QStringList &lines) {
        QTest::newRow(name) << QString::fromUtf8(text) << success << levels << reloads << events
                            << lines;
    };
    const auto nothing
        = [&row](const char *name, const char *text) { row(name, text, true, {}, 0, {}, {}); };
    const auto refused = [&row, &failed](const char *name, const char *text, const char *item) {
        row(name, text, false, {}, 1, {}, {failed(item)});
    };
    const QString sipuaDebug = QStringLiteral("qvxsipua 7");
    const QString telephonyWarning = QStringLiteral("Telephony 4");

    nothing("no text", "");
    nothing("braces alone", "{}");
    nothing("many braces", "}{{{}");
    nothing("commas alone", ",,{,},");
    nothing("current level", "qvxsipua:err");
    nothing("current levels",
            "{qvxaudio:err,qvxsipua:err,Platform:err,SettingsManager:err,sipmmi:err,"
            "Telephony:err}");
    nothing("current level, twice", "qvxsipua:err,qvxsipua:err");

    row("one", "qvxsipua:debug", true, {{sipua, debug}}, 1, {sipuaDebug}, {});
    row("emerg", "qvxsipua:emerg", true, {{sipua, QStringLiteral("emerg")}}, 1,
        {QStringLiteral("qvxsipua 0")}, {});
    row("two in braces", "{qvxsipua:debug,Telephony:warning}", true,
        {{sipua, debug}, {telephony, warning}}, 2, {sipuaDebug, telephonyWarning}, {});
    row("two, the other way round", "Telephony:warning,qvxsipua:debug", true,
        {{sipua, debug}, {telephony, warning}}, 2, {telephonyWarning, sipuaDebug}, {});
    row("braces anywhere", "qvx{sip}ua}:de{b}ug", true, {{sipua, debug}}, 1, {sipuaDebug}, {});
    row("empty items", ",{qvxsipua:debug,,Telephony:warning,}", true,
        {{sipua, debug}, {telephony, warning}}, 2, {sipuaDebug, telephonyWarning}, {});
    row("current level between changes", "qvxsipua:debug,qvxaudio:err,Telephony:warning", true,
        {{sipua, debug}, {telephony, warning}}, 2, {sipuaDebug, telephonyWarning}, {});
    row("one activity twice", "qvxsipua:info,qvxsipua:debug", true, {{sipua, debug}}, 2,
        {QStringLiteral("qvxsipua 6"), sipuaDebug}, {});
    row("the same twice", "qvxsipua:debug,qvxsipua:debug", true, {{sipua, debug}}, 2,
        {sipuaDebug, sipuaDebug}, {});
    row("there and back to what was current stays there", "qvxsipua:debug,qvxsipua:err", true,
        {{sipua, debug}}, 1, {sipuaDebug}, {});

    row("activity that is not reported, as it is", "WebApp:err", true, {}, 1,
        {QStringLiteral("WebApp 3")}, {});
    row("another that is not reported, as it is", "defence:err", true, {}, 1,
        {QStringLiteral("defence 3")}, {});
    row("Bluetooth of an unknown model, as it is", "qvxbtmgr:err", true, {}, 1,
        {QStringLiteral("qvxbtmgr 3")}, {});
    row("activity that is not reported", "WebApp:debug", true, {{QStringLiteral("WebApp"), debug}},
        1, {QStringLiteral("WebApp 7")}, {});

    row("all to err counts as error", "all:err", false, {}, 2, {QStringLiteral("all 3")},
        {failed("all(err)")});
    row("all to another counts as error", "all:info", false, everyActivity(info), 2,
        {QStringLiteral("all 6")}, {failed("all(info)")});
    row("all to their initial levels counts as error", "all:init", false, {}, 2,
        {QStringLiteral("all 3")}, {failed("all(init)")});
    row("all from the backup counts as error", "all:restore", false, {}, 2, {},
        {failed("all(restore)")});
    row("all, and one behind", "all:info,qvxsipua:debug", false,
        [] {
            Levels levels = everyActivity(info);
            levels.insert(sipua, debug);
            return levels;
        }(),
        3, {QStringLiteral("all 6"), sipuaDebug}, {failed("all(info)")});

    row("no colon", "qvxsipua-debug", false, {}, 0, {}, {syntax});
    row("no colon before another", "qvxsipua-debug,Telephony:warning", false,
        {{telephony, warning}}, 1, {telephonyWarning}, {syntax});
    row("no colon behind another", "Telephony:warning,qvxsipua-debug", false,
        {{telephony, warning}}, 1, {telephonyWarning}, {syntax});
    row("no colon twice", "a,b", false, {}, 0, {}, {syntax, syntax});
    row("blank alone", " ", false, {}, 0, {}, {syntax});

    refused("level outside the six", "qvxsipua:crit", "qvxsipua(crit)");
    refused("level in capitals", "qvxsipua:ERR", "qvxsipua(ERR)");
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
    refused("current level with a blank", "qvxsipua:err ", "qvxsipua(err )");
    refused("unknown activity", "nobody:debug", "nobody(debug)");
    refused("activity in capitals", "QVXSIPUA:debug", "QVXSIPUA(debug)");
    refused("current level, name in capitals", "QVXSIPUA:err", "QVXSIPUA(err)");
    refused("blank before the activity", " qvxsipua:debug", " qvxsipua(debug)");
    refused("blank behind the activity", "qvxsipua :debug", "qvxsipua (debug)");
    refused("Unicode", "\xc3\xbc:\xe2\x98\x8e", "\xc3\xbc(\xe2\x98\x8e)");
    refused("path", "../../x:debug", "../../x(debug)");
    row("refused, and one behind", "qvxsipua:crit,Telephony:warning", false, {{telephony, warning}},
        2, {telephonyWarning}, {failed("qvxsipua(crit)")});
    row("refused, and one before", "Telephony:warning,nobody:debug", false, {{telephony, warning}},
        2, {telephonyWarning}, {failed("nobody(debug)")});
    row("blank behind a comma", "qvxsipua:debug, Telephony:warning", false, {{sipua, debug}}, 2,
        {sipuaDebug}, {failed(" Telephony(warning)")});
}

void tst_Bulk::itemsAreApplied()
{
    QFETCH(QString, text);
    QFETCH(bool, success);
    QFETCH(Levels, levels);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const LogCapture log;
    TestableModule module;
    const QVariantMap answer = module.setSyslogLevels(text, false);
    QCOMPARE(answer, success ? setSucceeded : setFailed);
    for (const QVariant &value : answer) {
        QCOMPARE(static_cast<QMetaType::Type>(value.type()), QMetaType::QString);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
    QTEST(Reloads::count(), "reloads");
    QTEST(bulkLines(log), "lines");
}

void tst_Bulk::itemsAreAppliedInTheBackground_data()
{
    itemsAreApplied_data();
}

void tst_Bulk::itemsAreAppliedInTheBackground()
{
    QFETCH(QString, text);
    QFETCH(Levels, levels);
    QFETCH(QStringList, events);
    const QByteArray before = Phone::read(Phone::liveConfig);
    LevelEvents seen;
    // Whatever becomes of the items, the answer is the same.
    QCOMPARE(map(setLevels, {text}), setStarted);
    Phone::text(QStringLiteral("level"));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
    QTEST(Reloads::count(), "reloads");
    waitForJobs(seen);
    QCOMPARE(texts(seen), withFence(events));
}

void tst_Bulk::knownActivitiesAreSkippedAsUnchanged_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<bool>("skipped");
    QTest::newRow("qvxaudio") << audio << true;
    QTest::newRow("qvxsipua") << sipua << true;
    QTest::newRow("Platform") << QStringLiteral("Platform") << true;
    QTest::newRow("SettingsManager") << QStringLiteral("SettingsManager") << true;
    QTest::newRow("sipmmi") << sipmmi << true;
    QTest::newRow("Telephony") << telephony << true;
    QTest::newRow("qvxbtmgr") << QStringLiteral("qvxbtmgr") << true;
    QTest::newRow("WebApp") << QStringLiteral("WebApp") << false;
    QTest::newRow("LoggerModule") << QStringLiteral("LoggerModule") << false;
    QTest::newRow("defence") << QStringLiteral("defence") << false;
}

void tst_Bulk::knownActivitiesAreSkippedAsUnchanged()
{
    QFETCH(QString, activity);
    QFETCH(bool, skipped);
    qputenv("PHONE_MODEL", "PX30");
    TestableModule module;
    const QVariantMap answer = module.setSyslogLevels(activity + QStringLiteral(":err"), false);
    qunsetenv("PHONE_MODEL");
    QCOMPARE(answer, setSucceeded);
    QCOMPARE(Reloads::count(), skipped ? 0 : 1);
}

void tst_Bulk::everyActivityIsReset()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    TestableModule module;
    QCOMPARE(module.setSyslogLevels(QStringLiteral("all:debug"), false), setFailed);
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, everyActivity(debug)));
    Reloads::reset();
    QCOMPARE(module.resetSyslogLevelsToErr(false), resetSucceeded);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityLevels(), facilityLevels({}));
    QCOMPARE(Reloads::count(), 1);
}

void tst_Bulk::everyActivityIsResetInTheBackground()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    Phone::text(QStringLiteral("level"), {QStringLiteral("all"), debug});
    Reloads::reset();
    LevelEvents events;
    QCOMPARE(map(resetLevels), resetStarted);
    waitForJobs(events);
    QCOMPARE(texts(events), withFence({QStringLiteral("all 3")}));
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityLevels(), facilityLevels({}));
    QCOMPARE(Reloads::count(), 2);
    // The levels are reset although they are that already.
    QCOMPARE(map(resetLevels), resetStarted);
    Phone::text(QStringLiteral("level"));
    QCOMPARE(Reloads::count(), 3);
}

void tst_Bulk::resetFails_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("corrupted facility file") << QStringLiteral("facility");
    QTest::newRow("no activity") << QStringLiteral("activity");
    QTest::newRow("no configuration") << QStringLiteral("configuration");
}

void tst_Bulk::resetFails()
{
    QFETCH(QString, fault);
    const auto makeFault = [&fault] {
        if (fault == QLatin1String("facility")) {
            const QString file = Phone::facilityFile(sipua);
            Phone::write(file, "2" + Phone::read(file).mid(1));
        } else if (fault == QLatin1String("activity")) {
            Phone::write(Phone::liveConfig,
                         Phone::read(Phone::liveConfig).replace("# END", "# end"));
        } else {
            QFile::remove(Phone::liveConfig);
            QFile::remove(Phone::backup);
        }
    };
    makeFault();
    TestableModule module;
    QCOMPARE(module.resetSyslogLevelsToErr(false), resetFailed);

    Phone::resetConfiguration();
    makeFault();
    QCOMPARE(map(resetLevels), resetStarted);
    Phone::text(QStringLiteral("level"));
}

void tst_Bulk::repairedActivityCountsAsError()
{
    const QString application = QStringLiteral("/usr/bin/QVXApplication/qvxsipua");
    Phone::write(application, "an application");
    QVERIFY(QFile::remove(Phone::facilityFile(sipua)));
    const LogCapture log;
    TestableModule module;
    const QVariantMap answer = module.setSyslogLevels(QStringLiteral("qvxsipua:warning"), false);
    QFile::remove(application);
    QCOMPARE(answer, setFailed);
    QCOMPARE(bulkLines(log),
             QStringList {QStringLiteral("setSyslogLevels: set qvxsipua(warning) error")});
    // It was applied for all that.
    QCOMPARE(facilityLevels(), facilityLevels({{sipua, warning}}));
    QVERIFY(Phone::read(Phone::liveConfig)
            == withLevel(Phone::read(Phone::backup), sipua, warning.toUtf8()));
}

void tst_Bulk::brokenConfigurationCountsAsError()
{
    Phone::write(Phone::liveConfig, Phone::read(Phone::liveConfig) + "this is no statement\n");
    TestableModule module;
    // The first finds the broken file and puts the backup in its place, with which the second
    // works.
    QCOMPARE(module.setSyslogLevels(QStringLiteral("qvxsipua:debug,sipmmi:info"), false),
             setFailed);
    QCOMPARE(Phone::read(Phone::liveConfig),
             withLevel(Phone::read(Phone::backup), sipmmi, info.toUtf8()));
    QCOMPARE(facilityLevels(), facilityLevels({{sipmmi, info}}));
}

void tst_Bulk::eachItemReloadsSyslog()
{
    const HangUps syslog;
    QCOMPARE(map(setLevels, {QStringLiteral("sipmmi:err")}), setStarted);
    QCOMPARE(map(setLevels, {QStringLiteral("sipmmi-debug")}), setStarted);
    QCOMPARE(map(setLevels, {QStringLiteral("{qvxsipua:debug,sipmmi:crit}")}), setStarted);
    Phone::text(QStringLiteral("level"));
    QCOMPARE(Reloads::count(), 2);
    const QByteArray pid = QByteArray::number(getpid());
    QCOMPARE(Phone::read(Reloads::record), "-hup " + pid + "\n-hup " + pid + '\n');
}

void tst_Bulk::corruptedFacilityFileStillSendsTheEvent()
{
    const QString file = Phone::facilityFile(sipua);
    const QByteArray good = Phone::read(file);
    Phone::write(file, "2" + good.mid(1));
    LevelEvents events;
    QCOMPARE(map(setLevels, {QStringLiteral("qvxsipua:debug")}), setStarted);
    waitForJobs(events);
    QCOMPARE(texts(events), withFence({QStringLiteral("qvxsipua 7")}));
    QCOMPARE(Phone::read(file), good);

    Phone::write(file, "2" + good.mid(1));
    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.setSyslogLevels(QStringLiteral("qvxsipua:info"), false), setFailed);
    QCOMPARE(bulkLines(log),
             QStringList {QStringLiteral("setSyslogLevels: set qvxsipua(info) error")});
}

void tst_Bulk::eventComesBeforeTheFacilityFile()
{
    const QString file = Phone::facilityFile(sipmmi);
    const QByteArray before = Phone::read(file);
    QVERIFY(before.startsWith("3\n"));
    LevelEvents events;
    {
        Lease lease(file);
        QCOMPARE(map(setLevels, {QStringLiteral("sipmmi:info")}), setStarted);
        QTRY_COMPARE(texts(events), QStringList {QStringLiteral("sipmmi 6")});
        QCOMPARE(Reloads::count(), 0);
        QVERIFY(QFile::exists(file));
        QCOMPARE(Phone::read(Phone::liveConfig),
                 withLevel(Phone::read(Phone::backup), sipmmi, info.toUtf8()));
    }
    Phone::text(QStringLiteral("level"));
    QCOMPARE(Phone::read(file), "6" + before.mid(1));
    QCOMPARE(Reloads::count(), 1);
}

void tst_Bulk::eventHasTwoArgumentsWithTheirTypes()
{
    LevelEvents events;
    QCOMPARE(map(setLevels, {QStringLiteral("Telephony:warning")}), setStarted);
    QTRY_COMPARE(events.arguments.size(), 1);
    const QVariantMap arguments = events.arguments.first();
    QCOMPARE(arguments.size(), 2);
    const QVariant facility = arguments.value(QStringLiteral("syslog_facility"));
    const QVariant level = arguments.value(QStringLiteral("syslog_level"));
    QCOMPARE(static_cast<QMetaType::Type>(facility.type()), QMetaType::QString);
    QCOMPARE(facility.toString(), telephony);
    QCOMPARE(static_cast<QMetaType::Type>(level.type()), QMetaType::Int);
    QCOMPARE(level.toInt(), 4);
    QCOMPARE(events.messages.first().signature(), QStringLiteral("a{sv}"));
    QCOMPARE(events.messages.first().path(), Phone::servicePath);
    QCOMPARE(events.messages.first().interface(), QStringLiteral("com.corvane.Quorvix.QVXEvent"));
}

void tst_Bulk::otherProgramsSeeTheEvent_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QByteArray>("facility");
    QTest::addColumn<QByteArray>("level");
    QTest::newRow("level of one") << QStringLiteral("level") << QVariantList {sipua, debug}
                                  << QByteArray("qvxsipua") << QByteArray("7");
    QTest::newRow("level of all") << QStringLiteral("level")
                                  << QVariantList {QStringLiteral("all"), info} << QByteArray("all")
                                  << QByteArray("6");
    QTest::newRow("several") << setLevels << QVariantList {QStringLiteral("{Telephony:warning}")}
                             << QByteArray("Telephony") << QByteArray("4");
    QTest::newRow("reset") << resetLevels << QVariantList {} << QByteArray("all")
                           << QByteArray("3");
}

void tst_Bulk::otherProgramsSeeTheEvent()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QByteArray, facility);
    QFETCH(QByteArray, level);
    // It loses its own name when it begins to watch.
    Monitor all(QStringLiteral("dbus-monitor"),
                {QStringLiteral("--system"),
                 QStringLiteral("type='signal',interface='com.corvane.Quorvix.QVXEvent'")},
                "member=NameLost");
    Monitor owner(QStringLiteral("gdbus"),
                  {QStringLiteral("monitor"), QStringLiteral("--system"), QStringLiteral("--dest"),
                   Phone::serviceName},
                  "is owned by");
    Phone::call(method, arguments);

    QVERIFY2(all.waitForOutput("variant             int32 " + level + "\n      )\n"),
             all.output().constData());
    const QByteArray seen = all.output().simplified();
    QVERIFY2(seen.contains("path=/com/corvane/Quorvix/LoggerModule; "
                           "interface=com.corvane.Quorvix.QVXEvent; member=log_level_changed"),
             seen.constData());
    QVERIFY2(seen.contains("dict entry( string \"syslog_facility\" variant string \"" + facility
                           + "\" )"),
             seen.constData());
    QVERIFY2(seen.contains("dict entry( string \"syslog_level\" variant int32 " + level + " )"),
             seen.constData());
    QVERIFY2(owner.waitForOutput("/com/corvane/Quorvix/LoggerModule: com.corvane.Quorvix.QVXEvent."
                                 "log_level_changed ({'syslog_facility': <'"
                                 + facility + "'>, 'syslog_level': <" + level + ">},)\n"),
             owner.output().constData());
}

void tst_Bulk::clientOfTheIntrospectedSignatures()
{
    // gdbus asks the service for its signatures, and makes its arguments after them.
    const auto call = [](const QString &method, const QStringList &arguments) {
        QProcess client;
        client.setProcessChannelMode(QProcess::MergedChannels);
        client.start(QStringLiteral("gdbus"),
                     QStringList {QStringLiteral("call"), QStringLiteral("--system"),
                                  QStringLiteral("--dest"), Phone::serviceName,
                                  QStringLiteral("--object-path"), Phone::servicePath,
                                  QStringLiteral("--method"),
                                  Phone::serviceInterface + QLatin1Char('.') + method}
                         + arguments);
        client.waitForFinished(30000);
        return client.readAll();
    };
    QCOMPARE(call(setLevels, {QStringLiteral("{qvxsipua:debug}")}),
             QByteArray("({'msg': <'Fast set log levels OK'>, 'value': <'0'>},)\n"));
    QCOMPARE(call(getLevels, {}),
             QByteArray("({'Platform': <'err'>, 'SettingsManager': <'err'>, 'Telephony': <'err'>, "
                        "'qvxaudio': <'err'>, 'qvxsipua': <'debug'>, 'sipmmi': <'err'>},)\n"));
    QCOMPARE(call(resetLevels, {}),
             QByteArray("({'msg': <'Fast set all log levels to error OK'>, 'value': <'0'>},)\n"));
    QCOMPARE(call(getLevels, {}),
             QByteArray("({'Platform': <'err'>, 'SettingsManager': <'err'>, 'Telephony': <'err'>, "
                        "'qvxaudio': <'err'>, 'qvxsipua': <'err'>, 'sipmmi': <'err'>},)\n"));
}

void tst_Bulk::nextCallSeesTheJob_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::newRow("level") << QStringLiteral("level") << QVariantList {};
    QTest::newRow("level of one") << QStringLiteral("level") << QVariantList {sipmmi, info};
    QTest::newRow("getSyslogLevels") << getLevels << QVariantList {};
}

void tst_Bulk::nextCallSeesTheJob()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    const Levels levels {{audio, debug}, {sipua, info}, {telephony, warning}};
    const QByteArray before = Phone::read(Phone::liveConfig);
    // Nobody waits between the two.
    const QDBusPendingCall job = Phone::send(
        setLevels, {QStringLiteral("{qvxaudio:debug,qvxsipua:info,Telephony:warning}")});
    QDBusPendingCall next = Phone::send(method, arguments);
    next.waitForFinished();
    const QDBusMessage reply = next.reply();
    QVERIFY(job.isFinished());
    QCOMPARE(map(job.reply()), setStarted);

    Levels expected = levels;
    if (method == getLevels) {
        const QVariantMap answer = map(reply);
        for (auto level = levels.cbegin(); level != levels.cend(); ++level) {
            QCOMPARE(answer.value(level.key()).toString(), level.value());
        }
    } else if (arguments.isEmpty()) {
        const QString table = reply.arguments().value(0).toString();
        for (auto level = levels.cbegin(); level != levels.cend(); ++level) {
            QVERIFY2(tableHas(table, level.key(), level.value()), qPrintable(table));
        }
    } else {
        QCOMPARE(reply.arguments().value(0).toString(),
                 QStringLiteral("Level info for facility : sipmmi OK"));
        expected.insert(sipmmi, info);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, expected));
    QCOMPARE(facilityLevels(), facilityLevels(expected));
    QCOMPARE(Reloads::count(), expected.size());
}

void tst_Bulk::lastOneAskedForWins_data()
{
    QTest::addColumn<QStringList>("calls"); // a bulk text, or one of the words "reset" and "level"
    QTest::addColumn<Levels>("levels");

    const QString many
        = QStringLiteral("qvxaudio:debug,qvxsipua:debug,Telephony:debug,sipmmi:debug,"
                         "Platform:debug,SettingsManager:debug,WebApp:debug");
    const QString reset = QStringLiteral("reset");
    Levels levels = everyActivity(debug);
    for (const char *const other : {"qvxbtmgr", "LoggerModule", "defence"}) {
        levels.remove(QString::fromLatin1(other));
    }
    Levels infoLevels = levels;
    for (QString &level : infoLevels) {
        level = info;
    }
    const QString manyInfo = QString(many).replace(debug, info);
    Levels oneWarning = levels;
    oneWarning.insert(sipmmi, warning);

    QTest::newRow("many, many") << QStringList {many, manyInfo} << infoLevels;
    QTest::newRow("many, one") << QStringList {many, QStringLiteral("sipmmi:warning")}
                               << oneWarning;
    QTest::newRow("many, one with the level before")
        << QStringList {many, QStringLiteral("sipmmi:err")} << [&] {
               Levels oneErr = levels;
               oneErr.insert(sipmmi, err);
               return oneErr;
           }();
    QTest::newRow("one, many") << QStringList {QStringLiteral("sipmmi:warning"), many} << levels;
    QTest::newRow("many, reset") << QStringList {many, reset} << Levels();
    QTest::newRow("reset, many") << QStringList {reset, many} << levels;
    QTest::newRow("many, level") << QStringList {many, QStringLiteral("level")} << oneWarning;
    QTest::newRow("many, reset, many, reset, many")
        << QStringList {many, reset, manyInfo, reset, many} << levels;
    QStringList back;
    for (int repetition = 0; repetition < 5; ++repetition) {
        back << QStringLiteral("sipmmi:debug") << QStringLiteral("sipmmi:info")
             << QStringLiteral("sipmmi:warning");
    }
    QTest::newRow("one, again and again") << back << Levels {{sipmmi, warning}};
}

void tst_Bulk::lastOneAskedForWins()
{
    QFETCH(QStringList, calls);
    QFETCH(Levels, levels);
    const QByteArray before = Phone::read(Phone::liveConfig);
    for (const QString &call : calls) {
        if (call == QLatin1String("reset")) {
            Phone::send(resetLevels);
        } else if (call == QLatin1String("level")) {
            Phone::send(call, {sipmmi, warning});
        } else {
            Phone::send(setLevels, {call});
        }
    }
    Phone::text(QStringLiteral("level"));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
}

void tst_Bulk::othersAreServedWhileAJobRuns()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    const HeldJobs check;
    QCOMPARE(map(setLevels, {QStringLiteral("qvxsipua:debug,sipmmi:info")}), setStarted);
    QVERIFY(check.waitForStart());

    QCOMPARE(Phone::text(QStringLiteral("logComments"), {QString(), QStringLiteral("alive")}),
             QStringLiteral("OK"));
    QVERIFY(Phone::text(QStringLiteral("defence"), {0, QStringLiteral("size")})
                .startsWith(QStringLiteral("[DEFENCE] Total messages saved in flash sector:")));
    QDBusMessage introspect = QDBusMessage::createMethodCall(
        Phone::serviceName, Phone::servicePath,
        QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
    QVERIFY(QDBusConnection::systemBus()
                .call(introspect)
                .arguments()
                .value(0)
                .toString()
                .contains(setLevels));
    for (int repetition = 0; repetition < 10; ++repetition) {
        QCOMPARE(map(setLevels, {QStringLiteral("qvxsipua:info")}), setStarted);
        QCOMPARE(map(resetLevels), resetStarted);
    }
    QCOMPARE(map(setLevels, {QStringLiteral("Telephony:warning")}), setStarted);

    // All that while the first change stood at its check, and only that one.
    QCOMPARE(check.count(), 1);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityLevels(), facilityLevels({}));

    check.release();
    Phone::text(QStringLiteral("level"));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, telephony, warning.toUtf8()));
    QCOMPARE(facilityLevels(), facilityLevels({{telephony, warning}}));
}

void tst_Bulk::levelWaitsForTheJob_data()
{
    nextCallSeesTheJob_data();
}

void tst_Bulk::levelWaitsForTheJob()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const HeldJobs check;
    QCOMPARE(map(setLevels, {QStringLiteral("qvxsipua:debug,Telephony:info")}), setStarted);
    QVERIFY(check.waitForStart());
    QDBusPendingCall waiting = Phone::send(method, arguments);
    // Another process's answer comes by the same way, behind whatever the service has answered.
    for (int round = 0; round < 20; ++round) {
        QVERIFY(Phone::isOnBus(Phone::serviceName));
        QCoreApplication::processEvents();
    }
    QVERIFY(!waiting.isFinished());
    QCOMPARE(check.count(), 1);
    QCOMPARE(Phone::read(Phone::liveConfig), before);

    check.release();
    waiting.waitForFinished();
    const QDBusMessage reply = waiting.reply();
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    Levels expected {{sipua, debug}, {telephony, info}};
    if (method == getLevels) {
        QCOMPARE(map(reply).value(sipua).toString(), debug);
        QCOMPARE(map(reply).value(telephony).toString(), info);
    } else if (arguments.isEmpty()) {
        const QString table = reply.arguments().value(0).toString();
        QVERIFY2(tableHas(table, sipua, debug), qPrintable(table));
        QVERIFY2(tableHas(table, telephony, info), qPrintable(table));
    } else {
        QCOMPARE(reply.arguments().value(0).toString(),
                 QStringLiteral("Level info for facility : sipmmi OK"));
        expected.insert(sipmmi, info);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, expected));
    QCOMPARE(facilityLevels(), facilityLevels(expected));
}

void tst_Bulk::queuedJobsAreFinishedAtTheEnd()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    LevelEvents events;
    {
        const HeldJobs check;
        QCOMPARE(map(setLevels, {QStringLiteral("qvxsipua:debug,Telephony:info")}), setStarted);
        QVERIFY(check.waitForStart());
        QCOMPARE(map(setLevels, {QStringLiteral("sipmmi:notice")}), setStarted);
        QCOMPARE(map(resetLevels), resetStarted);
        QCOMPARE(map(setLevels, {QStringLiteral("qvxaudio:warning,qvxsipua:info")}), setStarted);
        QCOMPARE(map(setLevels, {QStringLiteral("qvxaudio:debug,Platform:info")}), setStarted);
        ::kill(static_cast<pid_t>(m_service->pid()), SIGTERM);
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        check.release();
        QCOMPARE(m_service->waitForEnd(), 0);
    }
    m_service.reset();
    const Levels levels {{sipua, info}, {audio, debug}, {QStringLiteral("Platform"), info}};
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
    QCOMPARE(Reloads::count(), 8);
    QTRY_COMPARE(texts(events),
                 QStringList({QStringLiteral("qvxsipua 7"), QStringLiteral("Telephony 6"),
                              QStringLiteral("sipmmi 5"), QStringLiteral("all 3"),
                              QStringLiteral("qvxaudio 4"), QStringLiteral("qvxsipua 6"),
                              QStringLiteral("qvxaudio 7"), QStringLiteral("Platform 6")}));
}

void tst_Bulk::cleanupTestCase()
{
    m_service.reset();
}

QTEST_GUILESS_MAIN(tst_Bulk)
#include "tst_bulk.moc"
