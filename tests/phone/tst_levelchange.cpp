// The step of a level change that writes the facility files, from within the process: levels and
// names that no caller gets as far as this, and what goes wrong on the way.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/configtext.h"
#include "support/facilities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/levels.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QtTest>

#include <memory>

namespace {

using ConfigText::FacilityFiles;
using ConfigText::facilityFiles;
using Facilities::withLevel;

const QString pathLine = "7 [writeFacilitylevel] file path :"_s;

} // namespace

class tst_LevelChange : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanupTestCase();

    void levelOfOneFacilityIsWritten_data();
    void levelOfOneFacilityIsWritten();
    void facilityWithoutAFileCountsAsCorrupted_data();
    void facilityWithoutAFileCountsAsCorrupted();
    void levelOfAllFacilitiesIsWritten();
    void withoutActivitiesNothingIsWritten_data();
    void withoutActivitiesNothingIsWritten();
    void fullDiskKeepsTheOldFiles();

private:
    std::unique_ptr<HangUps> m_noReload; ///< the daemon has no part in this
    TestableModule m_module;
};

void tst_LevelChange::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    Phone::stopBootedService();
    m_noReload = std::make_unique<HangUps>();
}

void tst_LevelChange::init()
{
    Phone::resetConfiguration();
    QCOMPARE(facilityFiles().size(), Phone::activityNames.size());
}

void tst_LevelChange::cleanupTestCase()
{
    m_noReload.reset();
}

void tst_LevelChange::levelOfOneFacilityIsWritten_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<QString>("name");
    QTest::newRow("7") << 7 << "debug"_s;
    // Numbers without a name are written as they come, and go by the name "err".
    for (const int level : {1, 2, 8, -1}) {
        QTest::addRow("%d", level) << level << "err"_s;
    }
}

void tst_LevelChange::levelOfOneFacilityIsWritten()
{
    QFETCH(int, level);
    QFETCH(QString, name);
    FacilityFiles expected = facilityFiles();
    QByteArray &file = expected["qvxsipua.conf"_s];
    file = withLevel(file, level);
    const QByteArray config = Phone::read(Phone::liveConfig);
    const Facilities::NotingSetUp setUp;
    const HangUps hangUps;
    const LogCapture log;

    QCOMPARE(m_module.setLevel("qvxsipua"_s, level),
             "Level "_s + name + " for facility : qvxsipua "_s);

    QCOMPARE(facilityFiles(), expected);
    QCOMPARE(Phone::read(Phone::liveConfig), config);
    QCOMPARE(Faults::logged(log), QStringList {pathLine + Phone::facilityFile("qvxsipua"_s)});
    QCOMPARE(setUp.starts(), QByteArray());
    QCOMPARE(hangUps.count(), 0);
}

void tst_LevelChange::facilityWithoutAFileCountsAsCorrupted_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("file is gone") << "qvxsipua"_s;
    QTest::newRow("unknown") << "nobody"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("case matters") << "All"_s;
    QTest::newRow("path") << "../../x"_s;
    QTest::newRow("path into the directory") << "./qvxsipua"_s;
    QTest::newRow("no file of its own") << "no_facility"_s;
}

void tst_LevelChange::facilityWithoutAFileCountsAsCorrupted()
{
    QFETCH(QString, name);
    const QString outside = Phone::facilityFile("../../x"_s);
    Phone::write(outside, Facilities::good);
    QFile::remove(Phone::facilityFile("qvxsipua"_s));
    const FacilityFiles before = facilityFiles();
    const Facilities::NotingSetUp setUp;

    QCOMPARE(m_module.setLevel(name, 7), Levels::oneCorrupted);

    QCOMPARE(facilityFiles(), before);
    QCOMPARE(Phone::read(outside), Facilities::good);
    QCOMPARE(setUp.starts(), QByteArray("start\n"));
    QFile::remove(outside);
}

void tst_LevelChange::levelOfAllFacilitiesIsWritten()
{
    // A file of no activity is nobody's business.
    Phone::write(Phone::facilityFile("stranger"_s), Facilities::good);
    FacilityFiles expected = facilityFiles();
    QStringList lines;
    for (const QString &activity : Phone::activityNames) {
        QByteArray &file = expected[activity + ".conf"_s];
        file = withLevel(file, 2);
        lines.append(pathLine + Phone::facilityFile(activity));
    }
    const QByteArray config = Phone::read(Phone::liveConfig);
    const Facilities::NotingSetUp setUp;
    const HangUps hangUps;
    const LogCapture log;

    QCOMPARE(m_module.setLevel("all"_s, 2), "All levels changed to err value "_s);

    QCOMPARE(facilityFiles(), expected);
    // In the order of logappli.conf, behind the lines of the list.
    QCOMPARE(Faults::logged(log).mid(lines.size()), lines);
    QCOMPARE(Phone::read(Phone::liveConfig), config);
    QCOMPARE(setUp.starts(), QByteArray());
    QCOMPARE(hangUps.count(), 0);
}

void tst_LevelChange::withoutActivitiesNothingIsWritten_data()
{
    QTest::addColumn<QByteArray>("config");
    QTest::newRow("empty file") << QByteArray("");
    QTest::newRow("no file and no backup") << QByteArray();
}

void tst_LevelChange::withoutActivitiesNothingIsWritten()
{
    QFETCH(QByteArray, config);
    const FacilityFiles before = facilityFiles();
    if (config.isNull()) {
        QVERIFY(QFile::remove(Phone::liveConfig));
        QVERIFY(QFile::remove(Phone::backup));
    } else {
        Phone::write(Phone::liveConfig, config);
    }
    const Facilities::NotingSetUp setUp;

    QCOMPARE(m_module.setLevel("all"_s, 7), Levels::noActivities);

    QCOMPARE(facilityFiles(), before);
    QCOMPARE(setUp.starts(), QByteArray());
}

void tst_LevelChange::fullDiskKeepsTheOldFiles()
{
    const QString small = "/data/small/"_s;
    const FacilityFiles before = facilityFiles();
    FacilityFiles left;
    const Facilities::NotingSetUp setUp;
    QString answer;
    QVXLogger::facilityConfigFilesPath = small;
    {
        const Faults::SmallDisk disk(small, 0, [&] {
            for (auto file = before.cbegin(); file != before.cend(); ++file) {
                Phone::write(small + file.key(), file.value());
            }
        });
        answer = m_module.setLevel("all"_s, 7);
        for (const QString &name : before.keys()) {
            left.insert(name, Faults::state(small + name));
        }
    }
    QVXLogger::facilityConfigFilesPath = Phone::facilityDirectory;
    Faults::removeAll(small);
    QCOMPARE(answer, Levels::someCorrupted);
    QCOMPARE(left, before);
    QCOMPARE(setUp.starts(), QByteArray("start\n"));
}

QTEST_GUILESS_MAIN(tst_LevelChange)
#include "tst_levelchange.moc"
