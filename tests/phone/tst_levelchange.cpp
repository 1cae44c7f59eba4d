// The step of a level change that writes the facility files, for one facility and for all.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QtTest>

#include <memory>

namespace {

const QStringList &activities = Phone::activityNames;
const QString all = QStringLiteral("all");
const QString oneCorrupted = QStringLiteral(
    "One or more log config file corrupted -- file restored to predefined value !");
const QString someCorrupted = QStringLiteral(
    "One ore more facility config file corrupted -- restored to predefined value ! "
    "-- Use level or redirect command to verify your log config");
const QString noConfiguration = QStringLiteral("No logger configuration file !!");

/// The lines about the rewritten files only: what is said of the list is not looked at here.
QStringList facilityPaths(const LogCapture &log)
{
    const QString prefix = QStringLiteral("[writeFacilitylevel] file path :");
    QStringList paths;
    const QStringList texts = log.debugs();
    for (const QString &text : texts) {
        if (text.startsWith(prefix)) {
            paths.append(text.mid(prefix.size()));
        }
    }
    return paths;
}

QByteArray withLevel(QByteArray content, int level)
{
    return content.replace(0, content.indexOf('\n'), QByteArray::number(level));
}

} // namespace

class tst_LevelChange : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void levelOfOneFacilityIsWritten_data();
    void levelOfOneFacilityIsWritten();
    void corruptedFileIsRegenerated_data();
    void corruptedFileIsRegenerated();
    void unknownFacilityCountsAsCorrupted_data();
    void unknownFacilityCountsAsCorrupted();
    void levelOfAllFacilitiesIsWritten_data();
    void levelOfAllFacilitiesIsWritten();
    void allFilesAreWrittenDespiteACorruptedOne_data();
    void allFilesAreWrittenDespiteACorruptedOne();
    void withoutActivitiesNothingIsWritten_data();
    void withoutActivitiesNothingIsWritten();
    void missingConfigurationIsRestoredForTheList();
    void activityThatLeavesTheDirectoryIsCorrupted();
    void fullDiskKeepsTheOldFiles();

private:
    QMap<QString, QByteArray> contents() const;

    std::unique_ptr<HangUps> m_noReload; ///< the daemon has no part in this
    const QString m_directory = QVXLogger::facilityConfigFilesPath;
    TestableModule m_module;
};

QMap<QString, QByteArray> tst_LevelChange::contents() const
{
    QMap<QString, QByteArray> files;
    const QStringList names
        = QDir(m_directory).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : names) {
        files.insert(name, Phone::read(m_directory + name));
    }
    return files;
}

void tst_LevelChange::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    Phone::stopBootedService();
    m_noReload = std::make_unique<HangUps>();
}

void tst_LevelChange::init()
{
    Phone::resetConfiguration();
    QCOMPARE(contents().size(), activities.size());
}

void tst_LevelChange::cleanup()
{
    QVXLogger::facilityConfigFilesPath = m_directory;
    for (const char *path : {"/data/small", "/data/QVXApplication/LoggerModule/syslog/x.conf"}) {
        Faults::removeAll(QLatin1String(path));
    }
}

void tst_LevelChange::cleanupTestCase()
{
    m_noReload.reset();
}

void tst_LevelChange::levelOfOneFacilityIsWritten_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("result");

    const auto row = [](int level, const char *name) {
        QTest::addRow("%d", level)
            << level
            << QStringLiteral("Level %1 for facility : qvxsipua ").arg(QLatin1String(name));
    };
    row(0, "emerg");
    row(3, "err");
    row(4, "warning");
    row(5, "notice");
    row(6, "info");
    row(7, "debug");
    // Numbers without a name are written as they come, and go by the name "err".
    row(1, "err");
    row(2, "err");
    row(8, "err");
    row(-1, "err");
}

void tst_LevelChange::levelOfOneFacilityIsWritten()
{
    QFETCH(int, level);
    QFETCH(QString, result);
    const QString facility = QStringLiteral("qvxsipua");
    QMap<QString, QByteArray> expected = contents();
    QByteArray &file = expected[facility + QStringLiteral(".conf")];
    file = withLevel(file, level);
    const QByteArray config = Phone::read(Phone::liveConfig);
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    const HangUps hangUps;
    const LogCapture log;

    QCOMPARE(m_module.setLevel(facility, level), result);

    QCOMPARE(contents(), expected);
    QCOMPARE(Phone::read(Phone::liveConfig), config);
    QCOMPARE(Faults::logged(log),
             QStringList {QStringLiteral("7 [writeFacilitylevel] file path :")
                          + Phone::facilityFile(facility)});
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
    QCOMPARE(hangUps.count(), 0);
}

void tst_LevelChange::corruptedFileIsRegenerated_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("rubbish") << QByteArray("rubbish\n");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("level without a name")
        << QByteArray("2\n19\nfile(\"/x\")\nfacility signature field\n");
    QTest::newRow("restored content")
        << QByteArray("3\nfacility\nfile(\"/var/log/qvxsipua.log\")\nfacility signature field\n");
    QTest::newRow("missing") << QByteArray();
}

void tst_LevelChange::corruptedFileIsRegenerated()
{
    QFETCH(QByteArray, content);
    const QString facility = QStringLiteral("qvxsipua");
    const QMap<QString, QByteArray> before = contents();
    if (content.isNull()) {
        QVERIFY(QFile::remove(Phone::facilityFile(facility)));
    } else {
        Phone::write(Phone::facilityFile(facility), content);
    }

    QCOMPARE(m_module.setLevel(facility, 7), oneCorrupted);

    QCOMPARE(contents(), before); // the level it starts with, not the one that was asked for
    QCOMPARE(m_module.setLevel(facility, 7),
             QStringLiteral("Level debug for facility : qvxsipua "));
}

void tst_LevelChange::unknownFacilityCountsAsCorrupted_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("unknown") << QStringLiteral("nobody");
    QTest::newRow("empty") << QString();
    QTest::newRow("case matters") << QStringLiteral("All");
    QTest::newRow("path") << QStringLiteral("../../x");
    QTest::newRow("path into the directory") << QStringLiteral("./qvxsipua");
    QTest::newRow("no file of its own") << QStringLiteral("no_facility");
}

void tst_LevelChange::unknownFacilityCountsAsCorrupted()
{
    QFETCH(QString, name);
    const QString outside = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/x.conf");
    Phone::write(outside, Phone::read(Phone::facilityFile(QStringLiteral("qvxsipua"))));
    const QByteArray kept = Phone::read(outside);
    const QMap<QString, QByteArray> before = contents();
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));

    QCOMPARE(m_module.setLevel(name, 7), oneCorrupted);

    QCOMPARE(contents(), before);
    QCOMPARE(Phone::read(outside), kept);
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
}

void tst_LevelChange::levelOfAllFacilitiesIsWritten_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("result");

    const auto row = [](int level, const char *name) {
        QTest::addRow("%d", level)
            << level << QStringLiteral("All levels changed to %1 value ").arg(QLatin1String(name));
    };
    row(0, "emerg");
    row(3, "err");
    row(4, "warning");
    row(5, "notice");
    row(6, "info");
    row(7, "debug");
    row(2, "err");
}

void tst_LevelChange::levelOfAllFacilitiesIsWritten()
{
    QFETCH(int, level);
    QFETCH(QString, result);
    // A file of no activity is nobody's business.
    Phone::write(Phone::facilityFile(QStringLiteral("stranger")),
                 Phone::read(Phone::facilityFile(QStringLiteral("sipmmi"))));
    QMap<QString, QByteArray> expected = contents();
    QStringList paths;
    for (const QString &activity : activities) {
        QByteArray &file = expected[activity + QStringLiteral(".conf")];
        file = withLevel(file, level);
        paths.append(Phone::facilityFile(activity));
    }
    for (int operation = 0; operation < 2; ++operation) {
        init();
        Phone::write(Phone::facilityFile(QStringLiteral("stranger")),
                     expected.value(QStringLiteral("stranger.conf")));
        const QByteArray config = Phone::read(Phone::liveConfig);
        const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
        const HangUps hangUps;
        const LogCapture log;

        QCOMPARE(operation == 0 ? m_module.setLevel(all, level)
                                : m_module.setAllFacilityLevels(level),
                 result);

        QCOMPARE(contents(), expected);
        QCOMPARE(facilityPaths(log), paths); // in the order of logappli.conf
        QCOMPARE(log.errors(), QStringList());
        QCOMPARE(Phone::read(Phone::liveConfig), config);
        QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
        QCOMPARE(hangUps.count(), 0);
    }
}

void tst_LevelChange::allFilesAreWrittenDespiteACorruptedOne_data()
{
    QTest::addColumn<QStringList>("broken");

    QTest::newRow("first") << QStringList {activities.first()};
    QTest::newRow("in the middle") << QStringList {activities.at(4)};
    QTest::newRow("last") << QStringList {activities.last()};
    QTest::newRow("two") << QStringList {activities.at(1), activities.at(2)};
    QTest::newRow("every one") << activities;
}

void tst_LevelChange::allFilesAreWrittenDespiteACorruptedOne()
{
    QFETCH(QStringList, broken);
    QMap<QString, QByteArray> expected = contents();
    for (const QString &activity : activities) {
        if (broken.contains(activity)) {
            // The set-up script makes it as it was at first.
            Phone::write(Phone::facilityFile(activity), "rubbish\n");
        } else {
            QByteArray &file = expected[activity + QStringLiteral(".conf")];
            file = withLevel(file, 6);
        }
    }
    QCOMPARE(m_module.setAllFacilityLevels(6), someCorrupted);
    QCOMPARE(contents(), expected);
    QCOMPARE(m_module.setLevel(all, 6), QStringLiteral("All levels changed to info value "));
}

void tst_LevelChange::withoutActivitiesNothingIsWritten_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::addColumn<bool>("backup");

    QTest::newRow("empty file") << QByteArray("") << true;
    QTest::newRow("no end line") << QByteArray("# BEGIN qvxsipua\nlevel(err..emerg)\n") << true;
    QTest::newRow("no file and no backup") << QByteArray() << false;
}

void tst_LevelChange::withoutActivitiesNothingIsWritten()
{
    QFETCH(QByteArray, config);
    QFETCH(bool, backup);
    const QMap<QString, QByteArray> before = contents();
    QVERIFY(QFile::remove(Phone::liveConfig));
    if (!config.isNull()) {
        Phone::write(Phone::liveConfig, config);
    }
    if (!backup) {
        QVERIFY(QFile::remove(Phone::backup));
    }
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));

    QCOMPARE(m_module.setAllFacilityLevels(7), noConfiguration);
    QCOMPARE(m_module.setLevel(all, 7), noConfiguration);

    QCOMPARE(contents(), before);
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
}

void tst_LevelChange::missingConfigurationIsRestoredForTheList()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    const QByteArray backup = Phone::read(Phone::backup);

    QCOMPARE(m_module.setAllFacilityLevels(5),
             QStringLiteral("All levels changed to notice value "));

    QCOMPARE(Phone::read(Phone::liveConfig), backup);
    QVERIFY(Phone::read(Phone::facilityFile(activities.last())).startsWith("5\n"));
}

void tst_LevelChange::activityThatLeavesTheDirectoryIsCorrupted()
{
    const QString outside = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/x.conf");
    Phone::write(outside, Phone::read(Phone::facilityFile(QStringLiteral("sipmmi"))));
    const QByteArray kept = Phone::read(outside);
    QByteArray config = Phone::read(Phone::liveConfig);
    config.replace("# END Telephony\n", "# END Telephony\n# BEGIN ../../x\n# END ../../x\n");
    QVERIFY(config.contains("../../x"));
    Phone::write(Phone::liveConfig, config);
    QMap<QString, QByteArray> expected = contents();
    for (QByteArray &file : expected) {
        file = withLevel(file, 7);
    }
    const LogCapture log;

    QCOMPARE(m_module.setAllFacilityLevels(7), someCorrupted);

    QCOMPARE(contents(), expected);
    QCOMPARE(Phone::read(outside), kept);
    QCOMPARE(log.errors(),
             (QStringList {QStringLiteral("Files does not exists: ../../x"),
                           QStringLiteral(" -- error type : facility config file corrupted -- "
                                          "Facility : ../../x")}));
}

void tst_LevelChange::fullDiskKeepsTheOldFiles()
{
    const QString small = QStringLiteral("/data/small");
    const QMap<QString, QByteArray> before = contents();
    QVXLogger::facilityConfigFilesPath = small + QLatin1Char('/');
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    QString answer;
    QMap<QString, QByteArray> left;
    {
        const Faults::SmallDisk disk(small, 0, [&small, &before] {
            for (auto file = before.cbegin(); file != before.cend(); ++file) {
                const QString path = small + QLatin1Char('/') + file.key();
                Phone::write(path, file.value());
            }
        });
        answer = m_module.setAllFacilityLevels(7);
        for (const QString &activity : activities) {
            left.insert(
                activity,
                Faults::state(small + QLatin1Char('/') + activity + QStringLiteral(".conf")));
        }
    }
    QCOMPARE(answer, someCorrupted);
    for (const QString &activity : activities) {
        QCOMPARE(left.value(activity), before.value(activity + QStringLiteral(".conf")));
    }
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
}

QTEST_GUILESS_MAIN(tst_LevelChange)
#include "tst_levelchange.moc"
