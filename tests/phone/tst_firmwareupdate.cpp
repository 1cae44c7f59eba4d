// A firmware update whose set-up script has other activities: what becomes of the configuration,
// its backup and the facility files, and what the running service makes of it.
// SPDX-License-Identifier: MIT
#include "support/firmware.h"
#include "support/setupfiles.h"

using namespace SetUpFiles;

namespace {

const QString platformFile = Phone::facilityDirectory + "Platform.conf"_s;

/// @p configuration without the block of @p activity and the empty line before it.
QByteArray withoutBlock(QByteArray configuration, const QByteArray &activity)
{
    const QByteArray end = "# END " + activity + '\n';
    const int start = configuration.indexOf("\n# BEGIN " + activity + '\n');
    return configuration.remove(start, configuration.indexOf(end) + end.size() - start);
}

} // namespace

class tst_FirmwareUpdate : public SetUpFilesTest
{
    Q_OBJECT

private Q_SLOTS:
    void newActivityTakesEffect();
    void customisationStays_data();
    void customisationStays();
    void levelThatWasGivenBeforeTheBlock();
    void activityThatIsGone();
    void activityOfSomebodysOwnStays();
    void blockWithoutAnEndStays();
    void brokenLiveFile();
    void brokenBackup();
    void refusedByTheCheck();
    void refusedInTheBackupOnly();
    void rowThatIsNone_data();
    void rowThatIsNone();
    void refusedWhereThereIsNoBackup();
    void nothingIsLostWithoutACheck();
    void nextRunHasNothingToDo();

private:
    /// A live file that somebody has worked on.
    QByteArray customised() const
    {
        QByteArray text = m_generated;
        text.replace("d_sipmmi { file(\"/var/log/sipmmi.log\"); };",
                     "d_sipmmi { udp(\"10.1.2.3\" port(514)); }; # to caf\xe9");
        text.replace("f_qvxsipua { level(err..", "f_qvxsipua { level(debug..");
        return "# somebody's own\r\n\n\n" + text + "\n\n# the end\n";
    }
};

void tst_FirmwareUpdate::newActivityTakesEffect()
{
    const Firmware firmware(Video::row);
    const Outcome outcome = runScript();
    QCOMPARE(outcome.errors + outcome.output, QByteArray());
    QCOMPARE(outcome.status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated + Video::block());
    QCOMPARE(Phone::read(Phone::backup), m_generated + Video::block());
    QCOMPARE(Phone::read(Video::facilityFile), Video::facility());
    QCOMPARE(Faults::mode(Phone::liveConfig), 0644);

    // The service runs all the time, and has only to be asked.
    QVERIFY(Phone::text("level"_s).contains("\nVideo                  err"_s));
    QCOMPARE(Phone::text("level"_s, {"Video"_s, "debug"_s}),
             "Level debug for facility : Video OK"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated + Video::block("debug"));
    // The syslog daemon takes its time to read it.
    QTRY_VERIFY_WITH_TIMEOUT(
        [] {
            Phone::logMessage("Video"_s, "local7"_s, "debug"_s, "a picture"_s);
            return Phone::waitForContent(Video::log, "a picture", 200);
        }(),
        30000);
    QCOMPARE(Phone::text("level"_s, {"all"_s, "restore"_s}), "level restore succcess"_s);
    QVERIFY(Phone::text("level"_s).contains("\nVideo                  err"_s));
}

void tst_FirmwareUpdate::customisationStays_data()
{
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("between"); // the live file and the new block
    QTest::newRow("levels, destinations, comments") << customised() << QByteArray();
    QTest::newRow("last line without its end") << customised() + "# more" << QByteArray("\n");
    QTest::newRow("empty lines at the end") << m_generated + "\n\n \n\t\n" << QByteArray();
}

void tst_FirmwareUpdate::customisationStays()
{
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, between);
    Phone::write(Phone::liveConfig, live);
    const States before = identities();
    {
        const Firmware firmware(Video::row);
        QCOMPARE(runScript().status, 0);
        QCOMPARE(Phone::read(Phone::liveConfig), live + between + Video::block());
        QCOMPARE(Phone::read(Phone::backup), m_generated + Video::block());
    }
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), live + between);
    QCOMPARE(Phone::read(Phone::backup), m_generated);
    QCOMPARE(tree(), goodTree());
    for (const Phone::Activity &activity : Phone::activities) {
        const QString file = Phone::facilityFile(activity.name);
        QCOMPARE(identity(file), before.value(file));
    }
}

// An older set-up script made the facility file and no block, and its level could be changed.
void tst_FirmwareUpdate::levelThatWasGivenBeforeTheBlock()
{
    Phone::write(Video::facilityFile, Video::facility("7"));
    const Firmware firmware(Video::row);
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated + Video::block("debug"));
    QCOMPARE(Phone::read(Phone::backup), m_generated + Video::block("err"));
    QCOMPARE(Phone::read(Video::facilityFile), Video::facility("7"));
}

void tst_FirmwareUpdate::activityThatIsGone()
{
    Phone::write(Phone::liveConfig, customised());
    const Firmware firmware(Video::row, {"Platform", "defence"});
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig),
             withoutBlock(withoutBlock(customised(), "Platform"), "defence") + Video::block());
    QCOMPARE(Phone::read(Phone::backup),
             withoutBlock(withoutBlock(m_generated, "Platform"), "defence") + Video::block());
    QVERIFY(!QFile::exists(platformFile));
    QVERIFY(!QFile::exists(Phone::facilityFile("defence"_s)));
    QVERIFY(!Phone::text("level"_s).contains("Platform"_s));
    QCOMPARE(Phone::text("level"_s, {"Platform"_s, "debug"_s}),
             "Not a valid activity : Platform"_s);
}

void tst_FirmwareUpdate::activityOfSomebodysOwnStays()
{
    // Only the backup, which nobody but the script writes, tells what was in the table once.
    Phone::write(Phone::liveConfig, customised() + Video::block("info"));
    Phone::write(Video::facilityFile, Video::facility("6"));
    const Firmware firmware("", {"Platform"});
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig),
             withoutBlock(customised(), "Platform") + Video::block("info"));
    QCOMPARE(Phone::read(Video::facilityFile), Video::facility("6"));
    QCOMPARE(Phone::read(Phone::backup), withoutBlock(m_generated, "Platform"));
}

void tst_FirmwareUpdate::blockWithoutAnEndStays()
{
    const QByteArray live
        = QByteArray(m_generated).replace("# END Platform\n", "# the end of it\n");
    Phone::write(Phone::liveConfig, live);
    const Firmware firmware(Video::row, {"Platform"});
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), live + Video::block());
    QCOMPARE(Phone::read(Phone::backup), withoutBlock(m_generated, "Platform") + Video::block());
}

void tst_FirmwareUpdate::brokenLiveFile()
{
    Phone::write(Phone::liveConfig, "this is no syslog-ng statement\n");
    Phone::write(Phone::backup, customised());
    const Firmware firmware(Video::row, {"Platform"});
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig),
             withoutBlock(customised(), "Platform") + Video::block());
    QCOMPARE(Phone::read(Phone::backup), Phone::read(Phone::liveConfig));
    QVERIFY(!QFile::exists(platformFile));
}

void tst_FirmwareUpdate::brokenBackup()
{
    Phone::write(Phone::liveConfig, customised());
    Phone::write(Phone::backup, "this is no syslog-ng statement\n");
    const Firmware firmware(Video::row);
    QCOMPARE(runScript().status, 0);
    QCOMPARE(Phone::read(Phone::liveConfig), customised() + Video::block());
    QVERIFY(Phone::syslogAccepts(Phone::backup));
    QVERIFY(Phone::read(Phone::backup).contains(Video::block()));
}

void tst_FirmwareUpdate::refusedByTheCheck()
{
    // Somebody uses the name of the new destination; what else is lost is made anew.
    const QByteArray live
        = customised() + "destination d_Video { file(\"/var/log/mine.log\"); };\n";
    Phone::write(Phone::liveConfig, live);
    QVERIFY(QFile::remove(someFile));
    const QByteArray before = identity(Phone::liveConfig) + identity(Phone::backup);
    const Firmware firmware(Video::row, {"Platform"});
    const Outcome outcome = runScript();
    QCOMPARE(outcome.status, 1);
    QCOMPARE(outcome.output, QByteArray());
    QCOMPARE(outcome.errors,
             "autoConfigSyslog: syslog-ng refuses the activities of the table in: "
                 + Phone::liveConfig.toUtf8() + '\n');
    QCOMPARE(identity(Phone::liveConfig) + identity(Phone::backup), before);
    // A facility file alone would make changes of its level a success without an effect.
    QVERIFY(!QFile::exists(Video::facilityFile));
    QVERIFY(QFile::exists(platformFile));
    QCOMPARE(tree(), goodTree());
    QCOMPARE(Phone::read(someFile), facilityContent(someActivity));
}

void tst_FirmwareUpdate::refusedInTheBackupOnly()
{
    const QByteArray backup
        = m_generated + "destination d_Video { file(\"/var/log/mine.log\"); };\n";
    Phone::write(Phone::backup, backup);
    const Firmware firmware(Video::row);
    QCOMPARE(runScript().status, 1);
    QCOMPARE(Phone::read(Phone::liveConfig), m_generated + Video::block());
    QCOMPARE(Phone::read(Phone::backup), backup);
    QCOMPARE(Phone::read(Video::facilityFile), Video::facility());
}

void tst_FirmwareUpdate::rowThatIsNone_data()
{
    QTest::addColumn<QByteArray>("row");
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("comment") << QByteArray("# Pictures since 2.0\n") << QByteArray("#");
    QTest::newRow("comment behind a row")
        << QByteArray("Fax local7 23 /var/log/Fax.log # new\n") << QByteArray("Fax");
    QTest::newRow("no number") << QByteArray("Fax local7 /var/log/Fax.log\n") << QByteArray("Fax");
    QTest::newRow("no file") << QByteArray("Fax local7 23\n") << QByteArray("Fax");
    QTest::newRow("carriage return")
        << QByteArray("Fax local7 23 /var/log/Fax.log\r\n") << QByteArray("Fax");
    QTest::newRow("pattern") << QByteArray("Fax++ local7 23 /var/log/Fax.log\n")
                             << QByteArray("Fax++");
    QTest::newRow("name too long for a file") << QByteArray(251, 'x')
            + " local7 23 /var/log/x.log\n" << QByteArray(251, 'x');
    QTest::newRow("second row of an activity")
        << QByteArray("Video local6 22 /var/log/Fax.log\n") << QByteArray("Video");
    // It has a block, and keeps it.
    QTest::newRow("misspelt row of an activity that was there")
        << QByteArray("Platform local1 17\n") << QByteArray("Platform");
}

void tst_FirmwareUpdate::rowThatIsNone()
{
    QFETCH(QByteArray, row);
    QFETCH(QByteArray, name);
    Phone::write(Phone::liveConfig, customised());
    const QByteArray complaint
        = "autoConfigSyslog: the table has no good row, or two of them, for: " + name + '\n';
    const Firmware firmware(Video::row + row,
                            name == "Platform" ? QByteArrayList {name} : QByteArrayList {});
    const Outcome outcome = runScript();
    QCOMPARE(outcome.errors, complaint);
    QCOMPARE(outcome.status, 1);
    QCOMPARE(Phone::read(Phone::liveConfig), customised() + Video::block());
    QCOMPARE(Phone::read(Phone::backup), m_generated + Video::block());
    QStringList paths = goodTree() << Video::facilityFile;
    paths.sort();
    QCOMPARE(tree(), paths);

    const Outcome print = runProgram({Phone::setUpScript, "print"_s});
    QCOMPARE(print.errors, complaint);
    QCOMPARE(print.status, 1);
    QCOMPARE(print.output.count("# BEGIN Video\n"), 1);
}

void tst_FirmwareUpdate::refusedWhereThereIsNoBackup()
{
    // A broken backup would be what comes back when the live file is lost.
    QVERIFY(QFile::remove(Phone::backup));
    const QByteArray before = identity(Phone::liveConfig);
    const Firmware firmware("Video local9 23 /var/log/Video.log\n");
    QCOMPARE(runScript().status, 1);
    QCOMPARE(identity(Phone::liveConfig), before);
    QVERIFY(!QFile::exists(Phone::backup));
}

// An update that breaks the syslog daemon must not cost the customisations, too.
void tst_FirmwareUpdate::nothingIsLostWithoutACheck()
{
    Phone::write(Phone::liveConfig, customised());
    const States before = identities();
    const Faults::Aside daemon("/usr/sbin/syslog-ng"_s);
    const Firmware firmware(Video::row);
    QCOMPARE(runScript().status, 1);
    const States after = identities();
    QCOMPARE(after, before);
}

void tst_FirmwareUpdate::nextRunHasNothingToDo()
{
    Phone::write(Phone::liveConfig, customised());
    const Firmware firmware(Video::row, {"Platform"});
    QCOMPARE(runScript().status, 0);
    const auto now = [] {
        QByteArray all;
        for (const QString &path : tree()) {
            all += path.toUtf8() + identity(path);
        }
        return all;
    };
    const QByteArray before = now();
    QCOMPARE(runScript().status, 0);
    QCOMPARE(now(), before);
}

QTEST_GUILESS_MAIN(tst_FirmwareUpdate)
#include "tst_firmwareupdate.moc"
