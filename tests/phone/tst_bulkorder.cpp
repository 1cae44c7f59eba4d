// Jobs that set and reset levels have their turns as they were asked for, among each other and
// among calls that look at the levels; nobody else waits for them.
// SPDX-License-Identifier: MIT
#include "support/bulk.h"
#include "support/heldcheck.h"

#include <QDBusPendingCall>
#include <QTest>

namespace {

using namespace Bulk;

/// Holds the checks of jobs, which go on until they have nothing left to do.
class HeldJobs : public HeldCheck
{
public:
    HeldJobs() = default;
    ~HeldJobs()
    {
        release();
        // Nothing is between the two programs while a job may still run one.
        waitForJobs();
    }
    Q_DISABLE_COPY(HeldJobs)
};

/// Whether the table of activities @p table has the row of @p activity with @p levelName.
bool tableHas(const QString &table, const QString &activity, const QString &levelName)
{
    return table.contains(QLatin1Char('\n') + activity.leftJustified(20) + "   "_s
                          + levelName.leftJustified(8));
}

} // namespace

class tst_BulkOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void callWaitsForTheJobBeforeIt_data();
    void callWaitsForTheJobBeforeIt();
    void lastOneAskedForWins_data();
    void lastOneAskedForWins();
    void othersAreServedWhileAJobRuns();
};

void tst_BulkOrder::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_BulkOrder::init()
{
    Phone::resetConfiguration();
}

void tst_BulkOrder::callWaitsForTheJobBeforeIt_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::newRow("level") << "level"_s << QVariantList {};
    QTest::newRow("level of one") << "level"_s << QVariantList {"sipmmi"_s, "info"_s};
    QTest::newRow("getSyslogLevels") << getLevels << QVariantList {};
}

void tst_BulkOrder::callWaitsForTheJobBeforeIt()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const HeldJobs check;
    // Nobody waits between the two.
    const QDBusPendingCall job = Phone::send(setLevels, {"qvxsipua:debug,Telephony:info"_s});
    QDBusPendingCall next = Phone::send(method, arguments);
    QVERIFY(check.waitForStart());
    // Another process's answer comes by the same way, behind whatever the service has answered.
    for (int round = 0; round < 20; ++round) {
        QVERIFY(Phone::isOnBus(Phone::serviceName));
        QCoreApplication::processEvents();
    }
    QVERIFY(!next.isFinished());
    QCOMPARE(check.count(), 1);
    QCOMPARE(Phone::read(Phone::liveConfig), before);

    check.release();
    next.waitForFinished();
    QCOMPARE(map(job.reply()), setStarted);
    const QDBusMessage reply = next.reply();
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    const QString text = reply.arguments().value(0).toString();
    Levels expected {{"qvxsipua"_s, "debug"_s}, {"Telephony"_s, "info"_s}};
    if (method == getLevels) {
        QCOMPARE(map(reply).value("qvxsipua"_s).toString(), "debug"_s);
        QCOMPARE(map(reply).value("Telephony"_s).toString(), "info"_s);
    } else if (arguments.isEmpty()) {
        QVERIFY2(tableHas(text, "qvxsipua"_s, "debug"_s), qPrintable(text));
        QVERIFY2(tableHas(text, "Telephony"_s, "info"_s), qPrintable(text));
    } else {
        QCOMPARE(text, "Level info for facility : sipmmi OK"_s);
        expected.insert("sipmmi"_s, "info"_s);
    }
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, expected));
    QCOMPARE(facilityLevels(), facilityLevels(expected));
}

void tst_BulkOrder::lastOneAskedForWins_data()
{
    QTest::addColumn<QStringList>("calls"); // a bulk text, or one of the words "reset" and "level"
    QTest::addColumn<Levels>("levels");

    const QStringList activities {"qvxaudio"_s, "qvxsipua"_s,        "Telephony"_s, "sipmmi"_s,
                                  "Platform"_s, "SettingsManager"_s, "WebApp"_s};
    const QString many = activities.join(":debug,"_s) + ":debug"_s;
    const QString manyInfo = activities.join(":info,"_s) + ":info"_s;
    const QString one = "sipmmi:warning"_s;
    const QString reset = "reset"_s;
    Levels levels;
    Levels infoLevels;
    for (const QString &activity : activities) {
        levels.insert(activity, "debug"_s);
        infoLevels.insert(activity, "info"_s);
    }
    Levels oneWarning = levels;
    oneWarning.insert("sipmmi"_s, "warning"_s);
    Levels oneErr = levels;
    oneErr.insert("sipmmi"_s, "err"_s);

    QTest::newRow("many, many") << QStringList {many, manyInfo} << infoLevels;
    QTest::newRow("many, one") << QStringList {many, one} << oneWarning;
    QTest::newRow("many, one with the level before")
        << QStringList {many, "sipmmi:err"_s} << oneErr;
    QTest::newRow("one, many") << QStringList {one, many} << levels;
    QTest::newRow("many, reset") << QStringList {many, reset} << Levels();
    QTest::newRow("many, level") << QStringList {many, "level"_s} << oneWarning;
    QTest::newRow("many, reset, many, reset, many")
        << QStringList {many, reset, manyInfo, reset, many} << levels;
    QStringList back;
    for (int repetition = 0; repetition < 5; ++repetition) {
        back << "sipmmi:debug"_s
             << "sipmmi:info"_s << one;
    }
    QTest::newRow("one, again and again") << back << Levels {{"sipmmi"_s, "warning"_s}};
}

void tst_BulkOrder::lastOneAskedForWins()
{
    QFETCH(QStringList, calls);
    QFETCH(Levels, levels);
    const QByteArray before = Phone::read(Phone::liveConfig);
    for (const QString &call : calls) {
        if (call == QLatin1String("reset")) {
            Phone::send(resetLevels);
        } else if (call == QLatin1String("level")) {
            Phone::send(call, {"sipmmi"_s, "warning"_s});
        } else {
            Phone::send(setLevels, {call});
        }
    }
    waitForJobs();
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
}

void tst_BulkOrder::othersAreServedWhileAJobRuns()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    const HeldJobs check;
    QCOMPARE(map(setLevels, {"qvxsipua:debug,sipmmi:info"_s}), setStarted);
    QVERIFY(check.waitForStart());

    QCOMPARE(Phone::text("logComments"_s, {QString(), "alive"_s}), "OK"_s);
    QVERIFY(Phone::text("defence"_s, {0, "size"_s})
                .startsWith("[DEFENCE] Total messages saved in flash sector:"_s));
    const QDBusMessage introspect = QDBusConnection::systemBus().call(
        QDBusMessage::createMethodCall(Phone::serviceName, Phone::servicePath,
                                       "org.freedesktop.DBus.Introspectable"_s, "Introspect"_s));
    QVERIFY(introspect.arguments().value(0).toString().contains(setLevels));
    for (int repetition = 0; repetition < 10; ++repetition) {
        QCOMPARE(map(setLevels, {"qvxsipua:info"_s}), setStarted);
        QCOMPARE(map(resetLevels), resetStarted);
    }
    QCOMPARE(map(setLevels, {"Telephony:warning"_s}), setStarted);

    // All that while the first change stood at its check, and only that one.
    QCOMPARE(check.count(), 1);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityLevels(), facilityLevels({}));

    check.release();
    waitForJobs();
    const Levels levels {{"Telephony"_s, "warning"_s}};
    QCOMPARE(Phone::read(Phone::liveConfig), withLevels(before, levels));
    QCOMPARE(facilityLevels(), facilityLevels(levels));
}

QTEST_GUILESS_MAIN(tst_BulkOrder)
#include "tst_bulkorder.moc"
