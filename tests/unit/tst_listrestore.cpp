// The restore that the list and the table begin with when there is nothing to read: it takes the
// backup without a look at it, and does not check what came of that.
// SPDX-License-Identifier: MIT
#include "support/activitytable.h"
#include "support/files.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/ownconfiguration.h"
#include "syslogconf/loggerconfiglist.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace {

const QString noFile = "No file : logappli.conf -- restore the file "_s;
const QString listAborted
    = "[Method :readActivityInConfigFile] -- restoring of syslog-ng config file aborted"_s;
const QString tableAborted = "Restoring of syslog-ng config file aborted"_s;
const QString cannotBeRestored = "configuration file cannot be restored"_s;

const QByteArray good = "destination d_a { file(\"/a\"); };\nlevel(err..emerg)\n# END a\n";
const QString goodTable = ActivityTable::table({{"a"_s, "err"_s, "file"_s, "/a"_s}});

int listSize(const QString &path)
{
    return LoggerConfigList().readActivityInConfigFile(path).size();
}

QString table(const QString &path)
{
    return LoggerConfigList().activityTable(path, true);
}

} // namespace

class TestListRestore : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void missingFileIsRestored();
    void danglingLinkIsReplaced();
    void nothingToRestore();
    void directoryInPlace();
    void directoryThatCanBeReplaced();
    void linesAreGuarded_data();
    void linesAreGuarded();
    void anyFileIsReplaced_data();
    void anyFileIsReplaced();
    void withoutABackupTheFileIsRemoved();
    void anyPathGetsTheBackup();
    void permissionsOfTheBackupAreTaken();

private:
    /// What is logged for a restore of @p path.
    QString restored(const QString &path) const;
    /// The errors logged since the last call.
    QStringList takeErrors();

    QScopedPointer<LogCapture> m_log;
    QScopedPointer<OwnConfiguration> m_configuration;
    QString m_live;
    QString m_backup;
};

QString TestListRestore::restored(const QString &path) const
{
    return "[LoggerConfigList:: Method : restoreConfigFile]"_s + path + " restored with : "_s
        + m_backup;
}

QStringList TestListRestore::takeErrors()
{
    const QStringList errors = m_log->errors();
    m_log->clear();
    return errors;
}

void TestListRestore::init()
{
    m_log.reset(new LogCapture);
    m_configuration.reset(new OwnConfiguration);
    m_live = m_configuration->live();
    m_backup = m_configuration->backup();
    writeFile(m_backup, good);
}

void TestListRestore::cleanup()
{
    m_configuration.reset();
    m_log.reset();
}

void TestListRestore::missingFileIsRestored()
{
    QCOMPARE(listSize(m_live), 1);
    QCOMPARE(takeErrors(), (QStringList {noFile, restored(m_live)}));
    QCOMPARE(readFile(m_live), good);

    QVERIFY(QFile::remove(m_live));
    QCOMPARE(table(m_live), goodTable);
    QCOMPARE(takeErrors(), QStringList {restored(m_live)});
    QCOMPARE(readFile(m_live), good);
    QCOMPARE(readFile(m_backup), good);
}

void TestListRestore::danglingLinkIsReplaced()
{
    const QString target = m_configuration->path("elsewhere"_s);
    QVERIFY(QFile::link(target, m_live));
    QCOMPARE(listSize(m_live), 1);
    QVERIFY(!QFileInfo(m_live).isSymLink());
    QCOMPARE(readFile(m_live), good);
    QVERIFY(!QFile::exists(target));
}

void TestListRestore::nothingToRestore()
{
    QVERIFY(QFile::remove(m_backup));
    QCOMPARE(listSize(m_live), 0);
    QCOMPARE(takeErrors(), (QStringList {noFile, restored(m_live), restored(m_live), listAborted}));
    QCOMPARE(table(m_live), cannotBeRestored);
    // Once because the file is missing, and twice because it cannot be opened.
    QCOMPARE(takeErrors(),
             (QStringList {restored(m_live), restored(m_live), restored(m_live), tableAborted}));
    QVERIFY(!QFile::exists(m_live));
    QVERIFY(!QFile::exists(m_backup));
}

void TestListRestore::directoryInPlace()
{
    const QString inner = m_live + "/inner"_s;
    QVERIFY(QDir().mkpath(m_live));
    writeFile(inner, "kept");
    QCOMPARE(listSize(m_live), 0);
    QCOMPARE(takeErrors(), (QStringList {restored(m_live), listAborted}));
    QCOMPARE(table(m_live), cannotBeRestored);
    QCOMPARE(takeErrors(), (QStringList {restored(m_live), restored(m_live), tableAborted}));
    QVERIFY(QFileInfo(m_live).isDir());
    QCOMPARE(readFile(inner), QByteArray("kept"));
}

void TestListRestore::directoryThatCanBeReplaced()
{
    // A link to a directory cannot be opened either, but removed.
    const QString directory = m_configuration->path("directory"_s);
    QVERIFY(QDir().mkpath(directory));
    QVERIFY(QFile::link(directory, m_live));
    QCOMPARE(listSize(m_live), 1);
    QCOMPARE(takeErrors(), QStringList {restored(m_live)});
    QVERIFY(QFile::remove(m_live));
    QVERIFY(QFile::link(directory, m_live));
    QCOMPARE(table(m_live), goodTable);
    QCOMPARE(takeErrors(), (QStringList {restored(m_live), restored(m_live)}));
}

void TestListRestore::linesAreGuarded_data()
{
    QTest::addColumn<int>("level");
    for (int level = 0; level <= 7; ++level) {
        QTest::addRow("configured level %d", level) << level;
    }
}

void TestListRestore::linesAreGuarded()
{
    QFETCH(int, level);
    const int errors = level > 2 ? 1 : 0;
    const int debugs = level > 6 ? 1 : 0;
    LogCapture::setLevel(level);

    QCOMPARE(listSize(m_live), 1);
    QCOMPARE(m_log->debugs().size(), debugs);
    QCOMPARE(takeErrors().size(), 2 * errors);
    table(m_live);
    QCOMPARE(m_log->debugs().size(), debugs);
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(takeErrors().size(), errors);

    QVERIFY(QFile::remove(m_live));
    QVERIFY(QFile::remove(m_backup));
    listSize(m_live);
    table(m_live);
    QCOMPARE(m_log->lines().size(), 8 * errors);
    QCOMPARE(takeErrors().size(), 8 * errors);
}

void TestListRestore::anyFileIsReplaced_data()
{
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("backup");
    QTest::newRow("longer than the backup")
        << QByteArray("broken, and longer than the backup\n") << QByteArray("good\n");
    QTest::newRow("missing") << QByteArray() << QByteArray("good\n");
    QTest::newRow("bytes of no text")
        << QByteArray("x") << QByteArray("a\r\n\0\xfc\xff no last line feed", 25);
}

void TestListRestore::anyFileIsReplaced()
{
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, backup);
    if (!live.isNull()) {
        writeFile(m_live, live);
    }
    writeFile(m_backup, backup);
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(readFile(m_live), backup);
    QCOMPARE(readFile(m_backup), backup);
    QCOMPARE(m_log->lines().size(), 1);
    QCOMPARE(takeErrors(), QStringList {restored(m_live)});
}

void TestListRestore::withoutABackupTheFileIsRemoved()
{
    writeFile(m_live, "only one\n");
    QVERIFY(QFile::remove(m_backup));
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QVERIFY(!QFile::exists(m_live));
    QCOMPARE(takeErrors(), QStringList {restored(m_live)});
}

void TestListRestore::anyPathGetsTheBackup()
{
    const QString other = m_configuration->path("other %1"_s);
    QVERIFY(LoggerConfigList().restoreConfigFile(other));
    QCOMPARE(readFile(other), good);
    QVERIFY(!QFile::exists(m_live));
    QCOMPARE(takeErrors(), QStringList {restored(other)});
}

void TestListRestore::permissionsOfTheBackupAreTaken()
{
    writeFile(m_live, "x");
    QVERIFY(QFile::setPermissions(
        m_backup, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup));
    const QFileDevice::Permissions permissions = QFileInfo(m_backup).permissions();
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(QFileInfo(m_live).permissions(), permissions);
}

QTEST_GUILESS_MAIN(TestListRestore)
#include "tst_listrestore.moc"
