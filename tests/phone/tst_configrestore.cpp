// The way back from the backup of logappli.conf: what is replaced, and where a failure stops it.
// SPDX-License-Identifier: MIT
#include "support/configlog.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/phone.h"

#include <QFileInfo>
#include <QTest>

class tst_ConfigRestore : public ConfigurationTest
{
    Q_OBJECT

private slots:
    void backupReplacesTheLiveFileAndIsLoaded();
    void failureStopsAtItsStep_data();
    void failureStopsAtItsStep();
};

void tst_ConfigRestore::backupReplacesTheLiveFileAndIsLoaded()
{
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        Phone::write(Phone::liveConfig, "broken\n");
        Phone::write(Phone::temporary, "temporary\n");
        Faults::setMode(Phone::backup, 0640);

        QVERIFY(m_module.restoreConfigFile(Phone::liveConfig));

        QCOMPARE(Faults::state(Phone::liveConfig), m_backup);
        QCOMPARE(Faults::mode(Phone::liveConfig), 0640);
        QCOMPARE(Faults::state(Phone::backup), m_backup);
        QCOMPARE(Faults::state(Phone::temporary), QByteArray("temporary\n"));
        QTRY_COMPARE(m_syslog->count(), 1);
        QCOMPARE(Faults::logged(*m_log),
                 Faults::writtenAt(level, {ConfigLog::restored, ConfigLog::reloaded}));
    }
}

void tst_ConfigRestore::failureStopsAtItsStep_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QByteArray>("live"); // empty: as it was
    QTest::addColumn<QByteArray>("backup");
    QTest::addColumn<QString>("line");

    const auto row = [](const char *name, const QByteArray &live, const QByteArray &backup,
                        const QString &line, const Step &prepare) {
        QTest::newRow(name) << Phone::liveConfig << prepare << live << backup << line;
    };
    const auto makeLiveADirectory = [] { Faults::makeDirectory(Phone::liveConfig); };
    const auto removeBackup = [] { QFile::remove(Phone::backup); };
    const QByteArray unchanged;
    const QByteArray missing = "<missing>";
    const QByteArray directory = "<directory>";
    // The error's text is whatever the library says, so only what is before it is fixed.
    const QString notRemoved = "7 [restoreConfigFile] remove() result *"_s;
    const QString notCopied = "7 [restoreConfigFile] copy() result *"_s;

    row("live file is missing", missing, m_backup,
        "7 [restoreConfigFile] -- "_s + Phone::liveConfig,
        [] { QFile::remove(Phone::liveConfig); });
    // Nobody may change the permissions of what the kernel shows of a process.
    QTest::newRow("permissions cannot be set")
        << "/proc/self/environ"_s << Step([] {}) << unchanged << m_backup
        << QString("7 [restoreConfigFile] setPermissions() result: "_s + qt_error_string(EPERM));
    row("live path is a directory", directory, m_backup,
        "7 [restoreConfigFile] remove() result "_s + qt_error_string(EISDIR), makeLiveADirectory);
    row("nothing can be written beside the live file", unchanged, m_backup, notCopied,
        [] { Faults::setMode(QFileInfo(Phone::liveConfig).path(), 0555); });
    row("backup is missing and the live path a directory", directory, missing, notRemoved, [=] {
        makeLiveADirectory();
        removeBackup();
    });
    row("backup is missing", missing, missing,
        "3 [restoreConfigFile] --"_s + Phone::backup + " doesn't exist"_s, removeBackup);
    row("backup is a directory", unchanged, directory, notCopied,
        [] { Faults::makeDirectory(Phone::backup); });
    row("backup cannot be read", unchanged, m_backup, notCopied,
        [] { Faults::setMode(Phone::backup, 0); });
}

void tst_ConfigRestore::failureStopsAtItsStep()
{
    QFETCH(QString, path);
    QFETCH(Step, prepare);
    QFETCH(QByteArray, live);
    QFETCH(QString, line);
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        Phone::write(Phone::temporary, "temporary\n");
        prepare();
        const QByteArray oldLive = Faults::state(path);
        const int oldMode = Faults::mode(path);

        QVERIFY(!Faults::withoutOverride([&] { return m_module.restoreConfigFile(path); }));

        QCOMPARE(Faults::state(path), live.isEmpty() ? oldLive : live);
        QCOMPARE(Faults::mode(path), Faults::state(path) == oldLive ? oldMode : -1);
        QTEST(Faults::state(Phone::backup), "backup");
        QCOMPARE(Faults::state(Phone::temporary), QByteArray("temporary\n"));
        QCOMPARE(m_syslog->count(), 0);
        QStringList lines = Faults::logged(*m_log);
        if (line.endsWith("*"_s) && !lines.isEmpty()) {
            const int prefix = line.size() - 1;
            QVERIFY2(lines.first().size() > prefix, qPrintable(lines.first()));
            lines.first() = lines.first().left(prefix) + "*"_s;
        }
        QCOMPARE(lines, Faults::writtenAt(level, {line}));
    }
}

QTEST_GUILESS_MAIN(tst_ConfigRestore)
#include "tst_configrestore.moc"
