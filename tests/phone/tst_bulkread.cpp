// Levels for programs, read: the phone's model decides of which activities, the configuration what
// they are.
// SPDX-License-Identifier: MIT
#include "support/bulk.h"
#include "support/hangups.h"
#include "support/testablemodule.h"

#include <QFile>
#include <QTest>

using namespace Bulk;

class tst_BulkRead : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void modelDecides_data();
    void modelDecides();
    void activityThatIsNotThereHasAnEmptyLevel();
    void destinationWithASemicolonHidesNothing();
    void levelsWithoutConfiguration();

    // Ends the service that was booted.
    void levelsFollowTheConfiguration();
};

void tst_BulkRead::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    qunsetenv("PHONE_MODEL");
    Reloads::install();
}

void tst_BulkRead::init()
{
    Phone::resetConfiguration();
}

void tst_BulkRead::modelDecides_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<bool>("hasBluetooth");
    QTest::newRow("not set") << QString() << false;
    QTest::newRow("empty") << ""_s << false;
    for (const char *const model : {"PX21A", "PX25A"}) {
        QTest::newRow(model) << QString::fromLatin1(model) << false;
    }
    for (const char *const model :
         {"PX30", "px21a", "px25a", " ", "PX21A ", " PX25A", "PX21", "PX25AB"}) {
        QTest::newRow(model) << QString::fromLatin1(model) << true;
    }
}

void tst_BulkRead::modelDecides()
{
    QFETCH(QString, model);
    QFETCH(bool, hasBluetooth);
    if (!model.isNull()) {
        qputenv("PHONE_MODEL", model.toUtf8());
    }
    const LogCapture log;
    TestableModule module;
    const QVariantMap levels = module.getSyslogLevels();
    qunsetenv("PHONE_MODEL");

    QVariantMap expected {{"qvxaudio"_s, "err"_s}, {"qvxsipua"_s, "err"_s},
                          {"Platform"_s, "err"_s}, {"SettingsManager"_s, "err"_s},
                          {"sipmmi"_s, "err"_s},   {"Telephony"_s, "err"_s}};
    if (hasBluetooth) {
        expected.insert("qvxbtmgr"_s, "err"_s);
    }
    QCOMPARE(levels, expected);
    QStringList lines;
    if (model.isEmpty()) {
        lines.append("Get phone model error ! So remove qvxbtmgr logs"_s);
    }
    QCOMPARE(log.debugs().filter("model"_s), lines);
}

void tst_BulkRead::activityThatIsNotThereHasAnEmptyLevel()
{
    QByteArray content = Phone::read(Phone::liveConfig);
    content.replace("# BEGIN sipmmi\n", "# BEGIN SIPMMI\n");
    content.replace("# END sipmmi\n", "# END SIPMMI\n");
    Phone::write(Phone::liveConfig, content);
    TestableModule module;
    const QVariantMap levels = module.getSyslogLevels();
    QCOMPARE(levels.size(), 6);
    QVERIFY(levels.contains("sipmmi"_s));
    QCOMPARE(static_cast<QMetaType::Type>(levels.value("sipmmi"_s).type()), QMetaType::QString);
    QCOMPARE(levels.value("sipmmi"_s).toString(), QString());
    QCOMPARE(levels.value("qvxaudio"_s).toString(), "err"_s);

    // So that is what it has when somebody sets it to nothing.
    Reloads::reset();
    QCOMPARE(module.setSyslogLevels("sipmmi:"_s, false), setSucceeded);
    QCOMPARE(Reloads::count(), 0);
    module.setSyslogLevels("sipmmi:err"_s, false);
    QVERIFY(Reloads::count() > 0);
}

void tst_BulkRead::destinationWithASemicolonHidesNothing()
{
    QByteArray content
        = ConfigText::withLevel(Phone::read(Phone::liveConfig), "qvxsipua"_s, "debug");
    content.replace("/var/log/qvxsipua.log", "/var/log/q;sipua.log");
    Phone::write(Phone::liveConfig, content);
    QVariantMap expected {{"qvxaudio"_s, "err"_s}, {"qvxsipua"_s, "debug"_s},
                          {"Platform"_s, "err"_s}, {"SettingsManager"_s, "err"_s},
                          {"sipmmi"_s, "err"_s},   {"Telephony"_s, "err"_s}};
    QCOMPARE(map(getLevels), expected);
}

void tst_BulkRead::levelsWithoutConfiguration()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    const QString none = ""_s;
    QCOMPARE(map(getLevels),
             QVariantMap({{"qvxaudio"_s, none},
                          {"qvxsipua"_s, none},
                          {"Platform"_s, none},
                          {"SettingsManager"_s, none},
                          {"sipmmi"_s, none},
                          {"Telephony"_s, none}}));
}

void tst_BulkRead::levelsFollowTheConfiguration()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PHONE_MODEL"_s, "PX30"_s);
    const Phone::Service service(environment);
    const Levels levels {{"qvxaudio"_s, "debug"_s},       {"qvxsipua"_s, "emerg"_s},
                         {"Platform"_s, "info"_s},        {"SettingsManager"_s, "notice"_s},
                         {"sipmmi"_s, "warning"_s},       {"Telephony"_s, "err"_s},
                         {"qvxbtmgr"_s, "none such"_s},   {"WebApp"_s, "debug"_s},
                         {"LoggerModule"_s, "warning"_s}, {"defence"_s, "info"_s}};
    Phone::write(Phone::liveConfig, withLevels(Phone::read(Phone::liveConfig), levels));
    // A column of the table ends at the first blank.
    QCOMPARE(map(getLevels),
             QVariantMap({{"qvxaudio"_s, "debug"_s},
                          {"qvxsipua"_s, "emerg"_s},
                          {"Platform"_s, "info"_s},
                          {"SettingsManager"_s, "notice"_s},
                          {"sipmmi"_s, "warning"_s},
                          {"Telephony"_s, "err"_s},
                          {"qvxbtmgr"_s, "none"_s}}));
}

QTEST_GUILESS_MAIN(tst_BulkRead)
#include "tst_bulkread.moc"
