// The safe rewrite of logappli.conf against the real syslog-ng: what is accepted, what each failure
// leaves behind, and the way back from the backup.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QtTest>

#include <functional>
#include <memory>

using Step = std::function<void()>;
Q_DECLARE_METATYPE(Step)

namespace {

const QString liveDirectory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip");
const QString workingDirectory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog");
const QString elsewhere = QStringLiteral("/data/elsewhere/other.conf");
const QString victim = QStringLiteral("/data/victim");
const QString smallDisk = QStringLiteral("/data/small");

const QString checked = QStringLiteral("7 File logappli.conf.tmp  OK");
const QString rejected = QStringLiteral("7 File logappli.conf.tmp  NOT OK");

QString corrupted(const QString &path)
{
    return QStringLiteral("3 [Method : writeToFile()] -- file : %1.tmp corrupted").arg(path);
}

/// What the set-up script makes.
QByteArray &predefined()
{
    static QByteArray text;
    return text;
}

/// A configuration that syslog-ng accepts, and different from what the phone has.
QString validText()
{
    return QString::fromUtf8(predefined()) + QStringLiteral("# another line\n");
}

const QString brokenText = QStringLiteral("@version: 3.38\nlog { source(; };\n");

QStringList entries(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                     | QDir::NoDotAndDotDot);
}

} // namespace

class tst_Rewrite : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void acceptedTextReplacesTheLiveFile_data();
    void acceptedTextReplacesTheLiveFile();
    void anotherLivePathUsesTheOneTemporaryFile();
    void checkIsAskedForTheTemporaryFileOnly();
    void liveFileGetsThePermissionsOfTheTemporaryFile_data();
    void liveFileGetsThePermissionsOfTheTemporaryFile();
    void linkAtTheTemporaryPathIsNeverWrittenThrough_data();
    void linkAtTheTemporaryPathIsNeverWrittenThrough();
    void failureLeavesTheFilesAsPromised_data();
    void failureLeavesTheFilesAsPromised();
    void textCutShortByAFullDiskIsRefusedAlthoughValid();
    void failedCopyKeepsTheLiveFile();
    void noRoomForACopyIsNoObstacle();

    void checkTakesTheWordOfSyslog_data();
    void checkTakesTheWordOfSyslog();
    void complaintOfTheCheckGoesToStandardOutput();

    void restoreReplacesTheLiveFileAndReloads();
    void restoreKeepsTheTemporaryFile();
    void failedRestoreStopsAtItsStep_data();
    void failedRestoreStopsAtItsStep();

private:
    std::unique_ptr<HangUps> m_noReload; ///< the daemon is not to load what these tests write
    const QString m_workingDirectory = QVXLogger::syslogWorkingDirectory;
    TestableModule m_module;
};

void tst_Rewrite::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    Phone::stopBootedService();
    Phone::resetConfiguration();
    m_noReload = std::make_unique<HangUps>();
    predefined() = Phone::read(Phone::liveConfig);
    QVERIFY(predefined().startsWith("@version"));
}

void tst_Rewrite::init()
{
    Phone::resetConfiguration();
    QCOMPARE(Phone::read(Phone::liveConfig), predefined());
    QCOMPARE(Phone::read(Phone::backup), predefined());
}

void tst_Rewrite::cleanup()
{
    umask(022);
    QVXLogger::syslogWorkingDirectory = m_workingDirectory;
    for (const QString &directory : {liveDirectory, workingDirectory}) {
        Faults::setMode(directory, 0755);
    }
    for (const QString &path : {Phone::temporary, Phone::liveConfig, Phone::backup, victim,
                                QFileInfo(elsewhere).path(), smallDisk}) {
        Faults::removeAll(path);
    }
}

void tst_Rewrite::cleanupTestCase()
{
    m_noReload.reset();
}

void tst_Rewrite::acceptedTextReplacesTheLiveFile_data()
{
    QTest::addColumn<QString>("text");

    const QString base = QString::fromUtf8(predefined());
    QTest::newRow("ASCII") << base + QStringLiteral("# plain\n");
    QTest::newRow("UTF-8") << base + QString::fromUtf8("# größer → ☎ 😀 \t \n");
    QTest::newRow("no last line feed") << base + QStringLiteral("# the end");
    QTest::newRow("blank lines at the end") << base + QStringLiteral("\n\n\n");
    QTest::newRow("same text") << base;
    QString large = base;
    while (large.size() < 5 * 1024 * 1024) {
        large += QStringLiteral("# one of very many lines that say nothing at all\n");
    }
    QTest::newRow("5 MB") << large;
}

void tst_Rewrite::acceptedTextReplacesTheLiveFile()
{
    QFETCH(QString, text);
    const QByteArray backup = Phone::read(Phone::backup);
    Phone::write(Phone::temporary, "an old one, and longer than nothing");
    const QStringList before = entries(liveDirectory);
    const LogCapture log;

    QVERIFY(m_module.writeToFile(text, Phone::liveConfig));

    QVERIFY(Faults::state(Phone::liveConfig) == text.toUtf8());
    QVERIFY(Faults::state(Phone::temporary) == text.toUtf8());
    QCOMPARE(Faults::state(Phone::backup), backup);
    QCOMPARE(entries(liveDirectory), before);
    QCOMPARE(Faults::logged(log), QStringList {checked});
}

void tst_Rewrite::anotherLivePathUsesTheOneTemporaryFile()
{
    const QByteArray live = Phone::read(Phone::liveConfig);
    QVERIFY(QDir().mkpath(QFileInfo(elsewhere).path()));
    Phone::write(elsewhere, "old\n");

    QVERIFY(m_module.writeToFile(validText(), elsewhere));

    QCOMPARE(Faults::state(elsewhere), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::temporary), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::liveConfig), live);
    QCOMPARE(entries(QFileInfo(elsewhere).path()), QStringList {QStringLiteral("other.conf")});

    const LogCapture log;
    QVERIFY(!m_module.writeToFile(brokenText, elsewhere));

    QCOMPARE(Faults::state(elsewhere), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::temporary), brokenText.toUtf8());
    QCOMPARE(Faults::state(Phone::liveConfig), live);
    QCOMPARE(Faults::logged(log), (QStringList {rejected, corrupted(elsewhere)}));
}

void tst_Rewrite::checkIsAskedForTheTemporaryFileOnly()
{
    const Faults::FakeSyslog syslog(Faults::fake(QStringLiteral("accept")));
    QVERIFY(QDir().mkpath(QFileInfo(elsewhere).path()));
    Phone::write(elsewhere, "old\n");

    QVERIFY(m_module.writeToFile(brokenText, elsewhere));

    QCOMPARE(Phone::read(QStringLiteral("/run/phone/syslog-ng.arguments")),
             "-s -f " + Phone::temporary.toUtf8() + '\n');
    QCOMPARE(Faults::state(elsewhere), brokenText.toUtf8());
}

void tst_Rewrite::liveFileGetsThePermissionsOfTheTemporaryFile_data()
{
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("mode");

    QTest::newRow("for all") << 0 << 0666;
    QTest::newRow("usual") << 022 << 0644;
    QTest::newRow("private") << 077 << 0600;
}

void tst_Rewrite::liveFileGetsThePermissionsOfTheTemporaryFile()
{
    QFETCH(int, mask);
    QFETCH(int, mode);
    Faults::setMode(Phone::liveConfig, 0640);
    umask(static_cast<mode_t>(mask));

    QVERIFY(m_module.writeToFile(validText(), Phone::liveConfig));

    QCOMPARE(Faults::mode(Phone::temporary), mode);
    QCOMPARE(Faults::mode(Phone::liveConfig), mode);
}

void tst_Rewrite::linkAtTheTemporaryPathIsNeverWrittenThrough_data()
{
    QTest::addColumn<bool>("targetExists");

    QTest::newRow("link to another file") << true;
    QTest::newRow("dangling link") << false;
}

void tst_Rewrite::linkAtTheTemporaryPathIsNeverWrittenThrough()
{
    QFETCH(bool, targetExists);
    if (targetExists) {
        Phone::write(victim, "precious\n");
    }
    QFile::remove(Phone::temporary);
    QVERIFY(QFile::link(victim, Phone::temporary));

    QVERIFY(m_module.writeToFile(validText(), Phone::liveConfig));

    QCOMPARE(Faults::state(victim),
             targetExists ? QByteArray("precious\n") : QByteArray("<missing>"));
    QCOMPARE(Faults::state(Phone::temporary), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::liveConfig), validText().toUtf8());
}

void tst_Rewrite::failureLeavesTheFilesAsPromised_data()
{
    // An empty "temporary" stands for the new text, an empty "live" for the file as it was.
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("syslog");
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("temporary");
    QTest::addColumn<QStringList>("lines");

    const QString valid = validText();
    const QString phones = QVXLogger::syslogExecutablePath;
    const Step nothing = [] {};
    const QStringList notRemoved {
        QStringLiteral("3 [Method : writeToFile()] -- Cannot remove temporary syslog configuration "
                       "file : ")
        + Phone::temporary};
    const QStringList notOpened {
        QStringLiteral("3 [Method : writeToFile()] -- Cannot open temporary syslog configuration "
                       "file : ")
        + Phone::temporary};
    const QStringList notValid {rejected, corrupted(Phone::liveConfig)};
    const QStringList liveNotRemoved {
        checked,
        QStringLiteral("3 [Method : writeToFile()] -- remove file : %1failed")
            .arg(Phone::liveConfig)};
    const QStringList notCopied {
        checked,
        QStringLiteral("3 [Method : writeToFile()] -- copy file : %1failed")
            .arg(Phone::liveConfig)};
    const QByteArray unchanged;
    const QByteArray newText;

    QTest::newRow("temporary path is a full directory")
        << valid << phones << Step([] { Faults::makeDirectory(Phone::temporary); }) << unchanged
        << QByteArray("<directory>") << notRemoved;
    QTest::newRow("temporary path is an empty directory") << valid << phones << Step([] {
        Faults::removeAll(Phone::temporary);
        QDir().mkdir(Phone::temporary);
    }) << unchanged << QByteArray("<directory>") << notRemoved;
    QTest::newRow("temporary file cannot be removed from its directory")
        << valid << phones << Step([] {
               Phone::write(Phone::temporary, "old\n");
               Faults::setMode(workingDirectory, 0555);
           })
        << unchanged << QByteArray("old\n") << notRemoved;
    QTest::newRow("temporary file cannot be created") << valid << phones << Step([] {
        Faults::removeAll(Phone::temporary);
        Faults::setMode(workingDirectory, 0555);
    }) << unchanged << QByteArray("<missing>") << notOpened;
    QTest::newRow("syslog-ng finds an error")
        << brokenText << phones << nothing << unchanged << newText << notValid;
    QTest::newRow("no configuration at all")
        << QStringLiteral("nonsense {\n") << phones << nothing << unchanged << newText << notValid;
    QTest::newRow("syslog-ng refuses a good text")
        << valid << Faults::fake(QStringLiteral("refuse/")) << nothing << unchanged << newText
        << notValid;
    QTest::newRow("syslog-ng and its shell are killed")
        << valid << Faults::fake(QStringLiteral("killed/")) << nothing << unchanged << newText
        << notValid;
    QTest::newRow("there is no syslog-ng")
        << valid << QStringLiteral("/nowhere/") << nothing << unchanged << newText << notValid;
    QTest::newRow("live path is a directory")
        << valid << phones << Step([] { Faults::makeDirectory(Phone::liveConfig); })
        << QByteArray("<directory>") << newText << liveNotRemoved;
    QTest::newRow("nothing can be written beside the live file")
        << valid << phones << Step([] { Faults::setMode(liveDirectory, 0555); }) << unchanged
        << newText << notCopied;
    QTest::newRow("live file is missing")
        << valid << phones << Step([] { QFile::remove(Phone::liveConfig); })
        << QByteArray("<missing>") << newText << liveNotRemoved;
    QTest::newRow("temporary file disappears before the copy")
        << valid << Faults::fake(QStringLiteral("consume/")) << nothing << unchanged
        << QByteArray("<missing>") << notCopied;
}

void tst_Rewrite::failureLeavesTheFilesAsPromised()
{
    QFETCH(QString, text);
    QFETCH(QString, syslog);
    QFETCH(Step, prepare);
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, temporary);
    QFETCH(QStringList, lines);
    for (const int level : {7, 6, 3, 2}) {
        cleanup();
        Phone::resetConfiguration();
        const QByteArray oldLive = Phone::read(Phone::liveConfig);
        const QByteArray oldBackup = Phone::read(Phone::backup);
        QVERIFY(text.toUtf8() != oldLive);
        prepare();
        const QStringList strays = entries(workingDirectory);
        QVXLogger::syslogExecutablePath = syslog;
        const LogCapture log;
        LogCapture::setLevel(level);

        bool written = true;
        {
            const Faults::WithoutOverride noOverride;
            written = m_module.writeToFile(text, Phone::liveConfig);
        }
        QVXLogger::syslogExecutablePath = QStringLiteral("/usr/sbin/");

        QVERIFY(!written);
        QCOMPARE(Faults::state(Phone::liveConfig), live.isEmpty() ? oldLive : live);
        QCOMPARE(Faults::state(Phone::temporary), temporary.isEmpty() ? text.toUtf8() : temporary);
        QCOMPARE(Faults::state(Phone::backup), oldBackup);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QVERIFY(entries(liveDirectory).size() <= 2); // the live file and the facility files
        QVERIFY(entries(workingDirectory).size() <= strays.size() + 1);
    }
}

void tst_Rewrite::textCutShortByAFullDiskIsRefusedAlthoughValid()
{
    const QByteArray oldLive = Phone::read(Phone::liveConfig);
    const QByteArray oldBackup = Phone::read(Phone::backup);
    QString text = validText();
    while (text.size() < 64 * 1024) {
        text += QStringLiteral("# wherever this ends, it is a comment\n");
    }
    const QString temporary = smallDisk + QStringLiteral("/logappli.conf.tmp");
    QVXLogger::syslogWorkingDirectory = smallDisk + QLatin1Char('/');
    const Faults::SmallDisk disk(smallDisk, 16384, [] {});
    const LogCapture log;

    QVERIFY(!m_module.writeToFile(text, Phone::liveConfig));

    QCOMPARE(Faults::state(Phone::liveConfig), oldLive);
    QCOMPARE(Faults::state(Phone::backup), oldBackup);
    QCOMPARE(log.errors(), QStringList {corrupted(Phone::liveConfig).mid(2)});
    // What did reach the disk would have passed the check.
    const QByteArray cut = Phone::read(temporary);
    QVERIFY(cut.size() >= 4096 && cut.size() < text.size());
    QVERIFY(text.toUtf8().startsWith(cut));
    QVERIFY(m_module.checkTemporaryConfig());
}

void tst_Rewrite::failedCopyKeepsTheLiveFile()
{
    const QByteArray oldLive = Phone::read(Phone::liveConfig);
    const QByteArray oldBackup = Phone::read(Phone::backup);
    const QStringList before = entries(liveDirectory);
    rlimit saved = {};
    getrlimit(RLIMIT_FSIZE, &saved);
    static_cast<void>(signal(SIGXFSZ, SIG_IGN));
    qputenv("TEST_PID", QByteArray::number(static_cast<qint64>(getpid())));
    bool written = true;
    bool restored = true;
    QStringList lines;
    {
        const Faults::FakeSyslog syslog(Faults::fake(QStringLiteral("shrink")));
        const LogCapture log;
        written = m_module.writeToFile(validText(), Phone::liveConfig);
        restored = m_module.restoreConfigFile(Phone::liveConfig);
        lines = Faults::logged(log);
    }
    rlimit limited = {};
    getrlimit(RLIMIT_FSIZE, &limited);
    setrlimit(RLIMIT_FSIZE, &saved);

    QCOMPARE(limited.rlim_cur, rlim_t {64});
    QVERIFY(!written);
    QVERIFY(!restored);
    QCOMPARE(lines.mid(0, 2),
             (QStringList {checked,
                           QStringLiteral("3 [Method : writeToFile()] -- copy file : %1failed")
                               .arg(Phone::liveConfig)}));
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines.at(2).startsWith(QStringLiteral("7 [restoreConfigFile] copy() result ")));
    QCOMPARE(Faults::state(Phone::liveConfig), oldLive);
    QCOMPARE(Faults::state(Phone::temporary), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::backup), oldBackup);
    QCOMPARE(entries(liveDirectory), before);
}

// The live file and the temporary one fit on the disk, a second copy beside them does not.
void tst_Rewrite::noRoomForACopyIsNoObstacle()
{
    const QByteArray oldText = predefined();
    const QString newText = validText();
    const QString live = smallDisk + QStringLiteral("/logappli.conf");
    const QString backup = smallDisk + QStringLiteral("/logappli.conf.sav");
    const QString temporary = smallDisk + QStringLiteral("/logappli.conf.tmp");
    const auto links = [](const QString &path) {
        struct stat status = {};
        stat(QFile::encodeName(path).constData(), &status);
        return status.st_nlink;
    };
    QVXLogger::syslogWorkingDirectory = smallDisk + QLatin1Char('/');
    const HangUps hangUps;
    bool written = false;
    bool restored = false;
    {
        const Faults::SmallDisk disk(smallDisk, 4096, [&] {
            Phone::write(live, oldText);
            Phone::write(backup, oldText);
        });
        QVERIFY(oldText.size() < 4096);
        QVERIFY2(disk.isMounted(), "This test needs the right to mount a file system");
        written = m_module.writeToFile(newText, live);
        QCOMPARE(Faults::state(live), newText.toUtf8());
        QCOMPARE(Faults::state(temporary), newText.toUtf8());
        // A change of one of them must not change the other.
        QCOMPARE(links(live), nlink_t(1));
        QCOMPARE(links(temporary), nlink_t(1));

        restored = m_module.restoreConfigFile(live);
        QCOMPARE(Faults::state(live), oldText);
        QCOMPARE(Faults::state(backup), oldText);
        QCOMPARE(links(live), nlink_t(1));
        QCOMPARE(links(backup), nlink_t(1));
    }
    QVERIFY(written);
    QVERIFY(restored);
}

void tst_Rewrite::checkTakesTheWordOfSyslog_data()
{
    QTest::addColumn<QByteArray>("temporary");
    QTest::addColumn<QString>("syslog");
    QTest::addColumn<bool>("valid");

    const QByteArray good = predefined();
    const QString phones = QVXLogger::syslogExecutablePath;
    QTest::newRow("good file") << good << phones << true;
    QTest::newRow("broken file") << brokenText.toUtf8() << phones << false;
    QTest::newRow("missing file") << QByteArray() << phones << false;
    QTest::newRow("exit status 0")
        << brokenText.toUtf8() << Faults::fake(QStringLiteral("accept/")) << true;
    QTest::newRow("exit status 1") << good << Faults::fake(QStringLiteral("refuse/")) << false;
    QTest::newRow("signal") << good << Faults::fake(QStringLiteral("killed/")) << false;
    QTest::newRow("no such program") << good << QStringLiteral("/nowhere/") << false;
    QTest::newRow("not a program") << good << QStringLiteral("/etc/") << false;
}

void tst_Rewrite::checkTakesTheWordOfSyslog()
{
    QFETCH(QByteArray, temporary);
    QFETCH(QString, syslog);
    QFETCH(bool, valid);
    if (temporary.isEmpty()) {
        Faults::removeAll(Phone::temporary);
    } else {
        Phone::write(Phone::temporary, temporary);
    }
    const QByteArray before = Faults::state(Phone::temporary);
    const QByteArray live = Faults::state(Phone::liveConfig);
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QVXLogger::syslogExecutablePath = syslog;
        const bool answer = m_module.checkTemporaryConfig();
        QVXLogger::syslogExecutablePath = QStringLiteral("/usr/sbin/");

        QCOMPARE(answer, valid);
        QCOMPARE(Faults::logged(log),
                 Faults::writtenAt(level, QStringList {valid ? checked : rejected}));
        QCOMPARE(Faults::state(Phone::temporary), before);
        QCOMPARE(Faults::state(Phone::liveConfig), live);
    }
}

void tst_Rewrite::complaintOfTheCheckGoesToStandardOutput()
{
    Phone::write(Phone::temporary, "@version: 3.38\nlog { source(; };\n");
    Faults::OutputCapture capture;
    const bool valid = m_module.checkTemporaryConfig();
    capture.end();

    QVERIFY(!valid);
    const QByteArray output = capture.output();
    QVERIFY2(output.contains(Phone::temporary.toUtf8() + ":2:"), output.constData());
    QCOMPARE(capture.errors(), QByteArray(""));
}

void tst_Rewrite::restoreReplacesTheLiveFileAndReloads()
{
    const QByteArray backup = Phone::read(Phone::backup);
    const QStringList lines {
        QStringLiteral("3 %1 restored with : %2").arg(Phone::liveConfig, Phone::backup),
        QStringLiteral("7 [restart]process success.")};
    Faults::setMode(Phone::backup, 0640);
    for (const int level : {7, 6, 3, 2}) {
        Phone::write(Phone::liveConfig, "broken\n");
        const HangUps hangUps;
        const LogCapture log;
        LogCapture::setLevel(level);

        QVERIFY(m_module.restoreConfigFile(Phone::liveConfig));

        QCOMPARE(Faults::state(Phone::liveConfig), backup);
        QCOMPARE(Faults::state(Phone::backup), backup);
        QCOMPARE(Faults::mode(Phone::liveConfig), 0640);
        QTRY_COMPARE(hangUps.count(), 1);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_Rewrite::restoreKeepsTheTemporaryFile()
{
    Phone::write(Phone::temporary, brokenText.toUtf8());
    QVERIFY(m_module.restoreConfigFile(Phone::liveConfig));
    QCOMPARE(Faults::state(Phone::temporary), brokenText.toUtf8());
}

void tst_Rewrite::failedRestoreStopsAtItsStep_data()
{
    // An empty "live" stands for the file as it was.
    QTest::addColumn<QString>("path");
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("backup");
    QTest::addColumn<QString>("line");

    const QByteArray unchanged;
    const QByteArray good = predefined();
    QTest::newRow("live file is missing")
        << Phone::liveConfig << Step([] { QFile::remove(Phone::liveConfig); })
        << QByteArray("<missing>") << good
        << QStringLiteral("7 [restoreConfigFile] -- ") + Phone::liveConfig;
    // Nobody may change the permissions of what the kernel shows of a process.
    QTest::newRow("permissions cannot be set")
        << QStringLiteral("/proc/self/environ") << Step([] {}) << unchanged << good
        << QStringLiteral("7 [restoreConfigFile] setPermissions() result: ")
            + qt_error_string(EPERM);
    QTest::newRow("live path is a directory")
        << Phone::liveConfig << Step([] { Faults::makeDirectory(Phone::liveConfig); })
        << QByteArray("<directory>") << good
        << QStringLiteral("7 [restoreConfigFile] remove() result ") + qt_error_string(EISDIR);
    QTest::newRow("nothing can be written beside the live file")
        << Phone::liveConfig << Step([] { Faults::setMode(liveDirectory, 0555); }) << unchanged
        << good << QStringLiteral("7 [restoreConfigFile] copy() result *");
    QTest::newRow("backup is missing and the live path a directory")
        << Phone::liveConfig << Step([] {
               Faults::makeDirectory(Phone::liveConfig);
               QFile::remove(Phone::backup);
           })
        << QByteArray("<directory>") << QByteArray("<missing>")
        << QStringLiteral("7 [restoreConfigFile] remove() result *");
    QTest::newRow("backup is missing")
        << Phone::liveConfig << Step([] { QFile::remove(Phone::backup); })
        << QByteArray("<missing>") << QByteArray("<missing>")
        << QStringLiteral("3 [restoreConfigFile] --%1 doesn't exist").arg(Phone::backup);
    // The error's text is whatever the library says, so only what is before it is fixed.
    QTest::newRow("backup is a directory")
        << Phone::liveConfig << Step([] { Faults::makeDirectory(Phone::backup); }) << unchanged
        << QByteArray("<directory>") << QStringLiteral("7 [restoreConfigFile] copy() result *");
    QTest::newRow("backup cannot be read")
        << Phone::liveConfig << Step([] { Faults::setMode(Phone::backup, 0); }) << unchanged << good
        << QStringLiteral("7 [restoreConfigFile] copy() result *");
}

void tst_Rewrite::failedRestoreStopsAtItsStep()
{
    QFETCH(QString, path);
    QFETCH(Step, prepare);
    QFETCH(QByteArray, live);
    QFETCH(QByteArray, backup);
    QFETCH(QString, line);
    const QString exact = line.endsWith(QLatin1Char('*')) ? QString() : line;
    for (const int level : {7, 6, 2}) {
        cleanup();
        Phone::resetConfiguration();
        Phone::write(Phone::liveConfig, "another\n");
        Phone::write(Phone::temporary, "temporary\n");
        prepare();
        const QByteArray oldLive = Faults::state(path);
        const int oldMode = Faults::mode(path);
        const HangUps hangUps;
        const LogCapture log;
        LogCapture::setLevel(level);

        bool restored = true;
        {
            const Faults::WithoutOverride noOverride;
            restored = m_module.restoreConfigFile(path);
        }

        QVERIFY(!restored);
        QCOMPARE(Faults::state(path), live.isEmpty() ? oldLive : live);
        QCOMPARE(Faults::mode(path), Faults::state(path) == oldLive ? oldMode : -1);
        QCOMPARE(Faults::state(Phone::backup), backup);
        QCOMPARE(Faults::state(Phone::temporary), QByteArray("temporary\n"));
        QCOMPARE(hangUps.count(), 0);
        const QStringList lines = Faults::logged(log);
        QCOMPARE(lines.size(), Faults::writtenAt(level, QStringList {line}).size());
        if (!lines.isEmpty() && exact.isEmpty()) {
            const QString prefix = line.chopped(1);
            QVERIFY2(lines.first().startsWith(prefix) && lines.first().size() > prefix.size(),
                     qPrintable(lines.first()));
        } else if (!lines.isEmpty()) {
            QCOMPARE(lines.first(), exact);
        }
    }
}

QTEST_GUILESS_MAIN(tst_Rewrite)
#include "tst_rewrite.moc"
