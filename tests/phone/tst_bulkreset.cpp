// Levels for programs, reset: every activity to err, whatever it has.
// SPDX-License-Identifier: MIT
#include "support/bulk.h"
#include "support/hangups.h"
#include "support/testablemodule.h"

#include <QFile>
#include <QTest>

using namespace Bulk;

class tst_BulkReset : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void everyActivityIsReset_data();
    void everyActivityIsReset();
    void resetFails_data();
    void resetFails();
};

void tst_BulkReset::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Reloads::install();
}

void tst_BulkReset::init()
{
    Phone::resetConfiguration();
    Reloads::reset();
}

void tst_BulkReset::everyActivityIsReset_data()
{
    QTest::addColumn<QString>("levelName");
    QTest::newRow("from debug") << "debug"_s;
    QTest::newRow("from err") << "err"_s;
}

void tst_BulkReset::everyActivityIsReset()
{
    QFETCH(QString, levelName);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const auto prepare = [&] {
        Phone::text("level"_s, {"all"_s, levelName});
        Reloads::reset();
    };
    prepare();
    TestableModule module;
    QCOMPARE(module.resetSyslogLevelsToErr(false), resetSucceeded);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityLevels(), facilityLevels({}));
    QCOMPARE(Reloads::count(), 1);

    prepare();
    LevelEvents events;
    QCOMPARE(map(resetLevels), resetStarted);
    waitForJobs();
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(facilityLevels(), facilityLevels({}));
    QCOMPARE(Reloads::count(), 1);
    QCOMPARE(announced(events), QStringList {"all 3"_s});
}

void tst_BulkReset::resetFails_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("corrupted facility file") << "facility"_s;
    QTest::newRow("no activity") << "activity"_s;
    QTest::newRow("no configuration") << "configuration"_s;
}

void tst_BulkReset::resetFails()
{
    QFETCH(QString, fault);
    const auto makeFault = [&fault] {
        if (fault == QLatin1String("facility")) {
            const QString file = Phone::facilityFile("qvxsipua"_s);
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

    // Whoever does not wait for it is not told.
    Phone::resetConfiguration();
    makeFault();
    QCOMPARE(map(resetLevels), resetStarted);
    waitForJobs();
}

QTEST_GUILESS_MAIN(tst_BulkReset)
#include "tst_bulkreset.moc"
