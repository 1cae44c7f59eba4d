// The factory reset: all levels, all destinations, and the files that it removes.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "support/activities.h"
#include "support/configurationtest.h"
#include "support/facilities.h"
#include "support/faults.h"
#include "support/levels.h"
#include "support/literal.h"
#include "support/phone.h"
#include "support/redirecting.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

namespace {

using ConfigText::facilityFiles;
using Files = ConfigText::FacilityFiles;

const QString levelsReset
    = "6 [restoreDataToFactory] all syslog level filters to err --  level() method return value : "_s;
const QString destinationsReset
    = "6 [restoreDataToFactory] all syslog log files redirected to predefined files -- redirect() "
      "method return value : "_s;
const QString toRemove = "7 Configuration file to remove : "_s;
const QString nothingToDelete
    = "3 [LoggerModule::restoreDataToFactory] -- No configuration files to delete in "_s;

/// The lines about the removal of the files @p names, in the order of a listing that ignores case.
QStringList removalLines(QStringList names)
{
    names.sort(Qt::CaseInsensitive);
    for (QString &name : names) {
        name.prepend(toRemove);
    }
    return names;
}

/// The lines of the reset itself, without those of what it calls.
QStringList resetLines(const LogCapture &log)
{
    QStringList lines;
    for (const QString &line : Faults::logged(log)) {
        if (line.contains("restoreDataToFactory]"_s) || line.startsWith(toRemove)) {
            lines.append(line);
        }
    }
    return lines;
}

/// As long as it exists, the process works in a directory of its own.
class Elsewhere
{
public:
    Elsewhere() { QDir::setCurrent(m_directory.path()); }
    ~Elsewhere() { QDir::setCurrent(m_saved); }
    Q_DISABLE_COPY(Elsewhere)

    Files files() const { return Faults::states(m_directory.path()); }

private:
    const QString m_saved = QDir::currentPath();
    const QTemporaryDir m_directory;
};

} // namespace

class tst_FactoryReset : public ConfigurationTest
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void putsEverythingBack();
    void goesOnAfterFailures();
    void nothingComesBetweenItsSteps();
    void withoutFacilityFiles();
    void linesAreGuardedByTheLevel();
    void namesAreLookedUpInTheWorkingDirectory();
    void workingDirectoryThatIsTheFacilityDirectory();
    void directoryThatCannotBeEntered_data();
    void directoryThatCannotBeEntered();
    void throughTheControlInterface();

private:
    /// What a reset without a failure logs.
    QStringList goodLines() const
    {
        return QStringList({levelsReset + "All levels changed to err value "_s,
                            destinationsReset + Redirecting::allToPredefined})
            + removalLines(m_facilities.keys());
    }
};

void tst_FactoryReset::initTestCase()
{
    ConfigurationTest::initTestCase();
    Phone::stopBootedService();
}

void tst_FactoryReset::putsEverythingBack()
{
    customise();
    const Elsewhere elsewhere;
    m_module.restoreDataToFactory();
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(facilityFiles(), m_facilities);
    QCOMPARE(resetLines(*m_log), goodLines());
    QCOMPARE(m_syslog->count(), 2);
}

void tst_FactoryReset::goesOnAfterFailures()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    const Elsewhere elsewhere;
    m_module.restoreDataToFactory();
    QStringList lines = goodLines();
    lines[0] = levelsReset + Levels::noActivities;
    QCOMPARE(resetLines(*m_log), lines);
}

void tst_FactoryReset::nothingComesBetweenItsSteps()
{
    const Elsewhere elsewhere;
    QStringList before;
    std::thread other([&] {
        while (m_log->lines().isEmpty()) { // in the middle of the first step then
            std::this_thread::yield();
        }
        const ConfigurationOrder::Turn turn;
        before = resetLines(*m_log);
    });
    m_module.restoreDataToFactory();
    other.join();
    QCOMPARE(before, goodLines());
}

void tst_FactoryReset::withoutFacilityFiles()
{
    const Facilities::NotingSetUp setUp;
    ConfigText::putFacilityFiles({{"qvxsipua.conf.old"_s, ""}, {".hidden.conf"_s, ""}});
    const Elsewhere elsewhere;
    Phone::write("qvxsipua.conf"_s, "");
    m_module.restoreDataToFactory();
    QCOMPARE(resetLines(*m_log),
             QStringList({levelsReset + Levels::someCorrupted,
                          destinationsReset + Redirecting::allCorrupted,
                          nothingToDelete + Phone::facilityDirectory}));
    QVERIFY(QFile::exists("qvxsipua.conf"_s));
    QVERIFY(!m_module.deleteFacilityConfigFiles());
}

void tst_FactoryReset::linesAreGuardedByTheLevel()
{
    const Elsewhere elsewhere;
    for (const int level : {7, 6, 5, 3, 2}) {
        beginAgain(level);
        m_module.restoreDataToFactory();
        QCOMPARE(resetLines(*m_log), Faults::writtenAt(level, goodLines()));
        m_log->clear();
        const Facilities::NotingSetUp setUp;
        QVXLogger::facilityConfigFilesPath = "/nowhere/"_s;
        m_module.restoreDataToFactory();
        QCOMPARE(resetLines(*m_log).contains(nothingToDelete + "/nowhere/"_s), level > 2);
    }
}

void tst_FactoryReset::namesAreLookedUpInTheWorkingDirectory()
{
    Phone::write(Phone::facilityDirectory + "Extra.CONF"_s, "");
    Phone::write(Phone::facilityDirectory + "conf"_s, "");
    Phone::write(Phone::facilityDirectory + "a.conf.bak"_s, "");
    Faults::makeDirectory(Phone::facilityDirectory + "folder.conf"_s);
    const Files before = facilityFiles();
    const Elsewhere elsewhere;
    const QString workingDirectory = QDir::currentPath();
    for (const QString &name : {"qvxsipua.conf"_s, "defence.conf"_s, "other.conf"_s}) {
        Phone::write(name, "");
    }
    QVERIFY(m_module.deleteFacilityConfigFiles());
    QCOMPARE(facilityFiles(), before);
    QCOMPARE(elsewhere.files(), (Files {{"other.conf"_s, ""}}));
    QCOMPARE(Faults::logged(*m_log),
             removalLines(m_facilities.keys() + QStringList({"Extra.CONF"_s, "folder.conf"_s})));
    QCOMPARE(QDir::currentPath(), workingDirectory);
}

void tst_FactoryReset::workingDirectoryThatIsTheFacilityDirectory()
{
    Phone::write(Phone::facilityDirectory + "kept"_s, "kept");
    const Elsewhere elsewhere;
    QVERIFY(QDir::setCurrent(Phone::facilityDirectory));
    QVERIFY(m_module.deleteFacilityConfigFiles());
    QCOMPARE(facilityFiles(), (Files {{"kept"_s, "kept"}}));
    m_log->clear();
    QVERIFY(!m_module.deleteFacilityConfigFiles());
    QCOMPARE(Faults::logged(*m_log), QStringList());
}

void tst_FactoryReset::directoryThatCannotBeEntered_data()
{
    QTest::addColumn<bool>("isFile");
    QTest::newRow("missing") << false;
    QTest::newRow("a file") << true;
}

void tst_FactoryReset::directoryThatCannotBeEntered()
{
    QFETCH(bool, isFile);
    const QTemporaryDir parent;
    if (isFile) {
        Phone::write(parent.filePath("none"_s), "");
    }
    QVXLogger::facilityConfigFilesPath = parent.filePath("none/"_s);
    const Elsewhere elsewhere;
    for (const QString &name : {"b.conf"_s, "A.conf"_s, "c.txt"_s}) {
        Phone::write(name, "");
    }
    QVERIFY(m_module.deleteFacilityConfigFiles());
    QCOMPARE(Faults::logged(*m_log), removalLines({"A.conf"_s, "b.conf"_s}));
    QCOMPARE(elsewhere.files(), (Files {{"c.txt"_s, ""}}));
    QVERIFY(!m_module.deleteFacilityConfigFiles());
}

void tst_FactoryReset::throughTheControlInterface()
{
    const QString same = "/run/phone/qvxsipua.conf"_s;
    const QString unrelated = "/run/phone/unrelated.conf"_s;
    Phone::write(same, "");
    Phone::write(unrelated, "");
    customise();
    Phone::Service service; // works in /run/phone
    QCOMPARE(Phone::read(Phone::liveConfig).count("level(debug.."), Phone::activityNames.size());
    const QDBusMessage message = QDBusMessage::createMethodCall(
        Phone::serviceName, Phone::servicePath, "com.corvane.Quorvix.QVXModule"_s,
        "restoreDataToFactory"_s);
    const QDBusMessage reply = QDBusConnection::systemBus().call(message, QDBus::Block, 60000);
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.arguments().size(), 0);
    // The last thing that it does.
    QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(same), 30000);
    QVERIFY(QFile::exists(unrelated));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(facilityFiles(), m_facilities);
    QVERIFY(Phone::text("redirect"_s).startsWith("   ACTIVITY "_s));
    QCOMPARE(service.stop(), 0);
    QVERIFY(QFile::remove(unrelated));
}

QTEST_GUILESS_MAIN(tst_FactoryReset)
#include "tst_factoryreset.moc"
