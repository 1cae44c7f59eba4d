// The safe rewrite of logappli.conf against the real syslog-ng: what is accepted, and what each
// failure leaves behind.
// SPDX-License-Identifier: MIT
#include "support/configlog.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/files.h"
#include "support/phone.h"

#include <QDir>
#include <QTest>

#include <csignal>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

using namespace ConfigLog;

const QString liveDirectory = QFileInfo(Phone::liveConfig).path();
const QString workingDirectory = QFileInfo(Phone::temporary).path();
const QString elsewhere = "/data/elsewhere/other.conf"_s;
const QString victim = "/data/victim"_s;
const QString smallDisk = "/data/small"_s;

const QString notCopied
    = "3 [Method : writeToFile()] -- copy file : "_s + Phone::liveConfig + "failed"_s;
const QString brokenText = "@version: 3.38\nlog { source(; };\n"_s;

nlink_t links(const QString &path)
{
    struct stat status = {};
    stat(QFile::encodeName(path).constData(), &status);
    return status.st_nlink;
}

} // namespace

class tst_Rewrite : public ConfigurationTest
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void acceptedTextReplacesTheLiveFile_data();
    void acceptedTextReplacesTheLiveFile();
    void anotherLivePathUsesTheOneTemporaryFile();
    void checkIsAskedForTheTemporaryFileOnly();
    void liveFileGetsThePermissionsOfTheTemporaryFile();
    void linkAtTheTemporaryPathIsNeverWrittenThrough();
    void failureLeavesTheFilesAsPromised_data();
    void failureLeavesTheFilesAsPromised();
    void textCutShortByAFullDiskIsRefusedAlthoughValid();
    void failedCopyKeepsTheLiveFile();
    void noRoomForACopyIsNoObstacle();

    void missingFileIsNotValid();
    void complaintOfTheCheckGoesToStandardOutput();

private:
    /// A configuration that syslog-ng accepts, and different from what the phone has.
    QString validText() const { return QString::fromUtf8(m_predefined) + "# another line\n"_s; }
};

void tst_Rewrite::init()
{
    ConfigurationTest::init();
    QVERIFY(QDir().mkpath(QFileInfo(elsewhere).path()));
    Phone::write(elsewhere, "old\n");
}

void tst_Rewrite::cleanup()
{
    ConfigurationTest::cleanup();
    for (const QString &path : {victim, QFileInfo(elsewhere).path(), smallDisk}) {
        Faults::removeAll(path);
    }
}

void tst_Rewrite::acceptedTextReplacesTheLiveFile_data()
{
    QTest::addColumn<QString>("text");

    const QString base = QString::fromUtf8(m_predefined);
    QTest::newRow("UTF-8") << base + "# größer → ☎ 😀 \t \n"_s;
    QTest::newRow("no last line feed") << base + "# the end"_s;
    QTest::newRow("blank lines at the end") << base + "\n\n\n"_s;
    QTest::newRow("same text") << base;
    QTest::newRow("5 MB") << base
            + "# one of very many lines that say nothing\n"_s.repeated(120000);
}

void tst_Rewrite::acceptedTextReplacesTheLiveFile()
{
    QFETCH(QString, text);
    Phone::write(Phone::temporary, "an old one, and longer than nothing");
    const QStringList before = entriesOf(liveDirectory);

    QVERIFY(m_module.writeToFile(text, Phone::liveConfig));

    QVERIFY(Faults::state(Phone::liveConfig) == text.toUtf8());
    QVERIFY(Faults::state(Phone::temporary) == text.toUtf8());
    QCOMPARE(Faults::state(Phone::backup), m_backup);
    QCOMPARE(entriesOf(liveDirectory), before);
    QCOMPARE(Faults::logged(*m_log), QStringList {checked});
}

void tst_Rewrite::anotherLivePathUsesTheOneTemporaryFile()
{
    QVERIFY(m_module.writeToFile(validText(), elsewhere));

    QCOMPARE(Faults::state(elsewhere), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::temporary), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::liveConfig), m_predefined);
    QCOMPARE(entriesOf(QFileInfo(elsewhere).path()), QStringList {"other.conf"_s});

    m_log->clear();
    QVERIFY(!m_module.writeToFile(brokenText, elsewhere));

    QCOMPARE(Faults::state(elsewhere), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::temporary), brokenText.toUtf8());
    QCOMPARE(Faults::state(Phone::liveConfig), m_predefined);
    QCOMPARE(Faults::logged(*m_log), (QStringList {rejected, corrupted(elsewhere)}));
}

void tst_Rewrite::checkIsAskedForTheTemporaryFileOnly()
{
    const Faults::FakeSyslog syslog(Faults::fake("accept"_s));

    QVERIFY(m_module.writeToFile(brokenText, elsewhere));

    QCOMPARE(Phone::read("/run/phone/syslog-ng.arguments"_s),
             "-s -f " + Phone::temporary.toUtf8() + '\n');
    QCOMPARE(Faults::state(elsewhere), brokenText.toUtf8());
}

void tst_Rewrite::liveFileGetsThePermissionsOfTheTemporaryFile()
{
    for (const mode_t mask : {0, 022, 077}) {
        const int mode = static_cast<int>(0666 & ~mask);
        Faults::setMode(Phone::liveConfig, 0640);
        umask(mask);
        QVERIFY(m_module.writeToFile(validText(), Phone::liveConfig));
        QCOMPARE(Faults::mode(Phone::temporary), mode);
        QCOMPARE(Faults::mode(Phone::liveConfig), mode);
    }
}

void tst_Rewrite::linkAtTheTemporaryPathIsNeverWrittenThrough()
{
    for (const QByteArray &content : {QByteArray("<missing>"), QByteArray("precious\n")}) {
        beginAgain(7);
        if (content != "<missing>") {
            Phone::write(victim, content);
        }
        QVERIFY(QFile::link(victim, Phone::temporary));

        QVERIFY(m_module.writeToFile(validText(), Phone::liveConfig));

        QCOMPARE(Faults::state(victim), content);
        QCOMPARE(Faults::state(Phone::temporary), validText().toUtf8());
        QCOMPARE(Faults::state(Phone::liveConfig), validText().toUtf8());
    }
}

void tst_Rewrite::failureLeavesTheFilesAsPromised_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Step>("prepare");
    QTest::addColumn<QByteArray>("live");
    QTest::addColumn<QByteArray>("temporary");
    QTest::addColumn<QStringList>("lines");

    const QString good = validText();
    const QByteArray newText = good.toUtf8();
    const QByteArray directory = "<directory>";
    const QByteArray missing = "<missing>";
    const QStringList notRemoved {"3 [Method : writeToFile()] -- Cannot remove temporary syslog "
                                  "configuration file : "_s
                                  + Phone::temporary};
    const QStringList notOpened {
        "3 [Method : writeToFile()] -- Cannot open temporary syslog configuration file : "_s
        + Phone::temporary};
    const QStringList notValid {rejected, corrupted()};
    const QStringList liveNotRemoved {
        checked, "3 [Method : writeToFile()] -- remove file : "_s + Phone::liveConfig + "failed"_s};

    const auto row = [&](const char *name, const QByteArray &live, const QByteArray &temporary,
                         const QStringList &lines, const Step &prepare) {
        QTest::newRow(name) << good << prepare << live << temporary << lines;
    };
    row("temporary path is a full directory", m_predefined, directory, notRemoved,
        [] { Faults::makeDirectory(Phone::temporary); });
    row("temporary path is an empty directory", m_predefined, directory, notRemoved,
        [] { QDir().mkdir(Phone::temporary); });
    row("temporary file cannot be removed from its directory", m_predefined, "old\n", notRemoved,
        [] {
            Phone::write(Phone::temporary, "old\n");
            Faults::setMode(workingDirectory, 0555);
        });
    row("temporary file cannot be created", m_predefined, missing, notOpened,
        [] { Faults::setMode(workingDirectory, 0555); });
    row("live path is a directory", directory, newText, liveNotRemoved,
        [] { Faults::makeDirectory(Phone::liveConfig); });
    row("live file is missing", missing, newText, liveNotRemoved,
        [] { QFile::remove(Phone::liveConfig); });
    row("nothing can be written beside the live file", m_predefined, newText, {checked, notCopied},
        [] { Faults::setMode(liveDirectory, 0555); });

    const auto syslog = [&](const char *name, const QString &program, const QByteArray &temporary,
                            const QStringList &lines) {
        row(name, m_predefined, temporary, lines,
            [program] { QVXLogger::syslogExecutablePath = program; });
    };
    syslog("syslog-ng refuses a good text", Faults::fake("refuse/"_s), newText, notValid);
    syslog("syslog-ng and its shell are killed", Faults::fake("killed/"_s), newText, notValid);
    syslog("there is no syslog-ng", "/nowhere/"_s, newText, notValid);
    syslog("syslog-ng is no program", "/etc/"_s, newText, notValid);
    syslog("temporary file disappears before the copy", Faults::fake("consume/"_s), missing,
           {checked, notCopied});
    syslog("temporary file changes before the copy", Faults::fake("alter/"_s),
           newText + "# added\n", {checked, notCopied});

    for (const QString &bad : {brokenText, "nonsense {\n"_s}) {
        QTest::newRow(bad.toUtf8())
            << bad << Step([] {}) << m_predefined << bad.toUtf8() << notValid;
    }
}

void tst_Rewrite::failureLeavesTheFilesAsPromised()
{
    QFETCH(QString, text);
    QFETCH(Step, prepare);
    QFETCH(QStringList, lines);
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        prepare();
        const int count = entriesOf(workingDirectory).size();

        QVERIFY(!Faults::withoutOverride(
            [&] { return m_module.writeToFile(text, Phone::liveConfig); }));

        QTEST(Faults::state(Phone::liveConfig), "live");
        QTEST(Faults::state(Phone::temporary), "temporary");
        QCOMPARE(Faults::state(Phone::backup), m_backup);
        QCOMPARE(Faults::logged(*m_log), Faults::writtenAt(level, lines));
        QVERIFY(entriesOf(liveDirectory).size() <= 2); // the live file and the facility files
        QVERIFY(entriesOf(workingDirectory).size() <= count + 1);
    }
}

void tst_Rewrite::textCutShortByAFullDiskIsRefusedAlthoughValid()
{
    const QString text = validText() + "# wherever this ends, it is a comment\n"_s.repeated(2000);
    QVXLogger::syslogWorkingDirectory = smallDisk + "/"_s;
    const Faults::SmallDisk disk(smallDisk, 16384, [] {});

    QVERIFY(!m_module.writeToFile(text, Phone::liveConfig));

    QCOMPARE(Faults::state(Phone::liveConfig), m_predefined);
    QCOMPARE(Faults::state(Phone::backup), m_backup);
    QCOMPARE(m_log->errors(), QStringList {corrupted().mid(2)});
    // What did reach the disk would have passed the check.
    const QByteArray cut = Phone::read(smallDisk + "/logappli.conf.tmp"_s);
    QVERIFY(cut.size() >= 4096 && cut.size() < text.size());
    QVERIFY(text.toUtf8().startsWith(cut));
    QVERIFY(m_module.checkTemporaryConfig());
}

void tst_Rewrite::failedCopyKeepsTheLiveFile()
{
    const QStringList before = entriesOf(liveDirectory);
    rlimit saved = {};
    getrlimit(RLIMIT_FSIZE, &saved);
    static_cast<void>(signal(SIGXFSZ, SIG_IGN));
    qputenv("TEST_PID", QByteArray::number(static_cast<qint64>(getpid())));
    QVXLogger::syslogExecutablePath = Faults::fake("shrink/"_s);
    const bool isWritten = m_module.writeToFile(validText(), Phone::liveConfig);
    const bool isRestored = m_module.restoreConfigFile(Phone::liveConfig);
    const QStringList lines = Faults::logged(*m_log);
    rlimit limited = {};
    getrlimit(RLIMIT_FSIZE, &limited);
    setrlimit(RLIMIT_FSIZE, &saved);

    QCOMPARE(limited.rlim_cur, rlim_t {64});
    QVERIFY(!isWritten);
    QVERIFY(!isRestored);
    QCOMPARE(lines.mid(0, 2), (QStringList {checked, notCopied}));
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines.at(2).startsWith("7 [restoreConfigFile] copy() result "_s));
    QCOMPARE(Faults::state(Phone::liveConfig), m_predefined);
    QCOMPARE(Faults::state(Phone::temporary), validText().toUtf8());
    QCOMPARE(Faults::state(Phone::backup), m_backup);
    QCOMPARE(entriesOf(liveDirectory), before);
}

// The live file and the temporary one fit on the disk, a second copy beside them does not.
void tst_Rewrite::noRoomForACopyIsNoObstacle()
{
    const QString newText = validText();
    const QString live = smallDisk + "/logappli.conf"_s;
    const QString backup = smallDisk + "/logappli.conf.sav"_s;
    const QString temporary = smallDisk + "/logappli.conf.tmp"_s;
    QVXLogger::syslogWorkingDirectory = smallDisk + "/"_s;
    const Faults::SmallDisk disk(smallDisk, 4096, [&] {
        Phone::write(live, m_predefined);
        Phone::write(backup, m_predefined);
    });
    QVERIFY(m_predefined.size() < 4096);
    QVERIFY2(disk.isMounted(), "This test needs the right to mount a file system");

    QVERIFY(m_module.writeToFile(newText, live));
    QCOMPARE(Faults::state(live), newText.toUtf8());
    QCOMPARE(Faults::state(temporary), newText.toUtf8());
    // A change of one of them must not change the other.
    QCOMPARE(links(live), nlink_t(1));
    QCOMPARE(links(temporary), nlink_t(1));

    QVERIFY(m_module.restoreConfigFile(live));
    QCOMPARE(Faults::state(live), m_predefined);
    QCOMPARE(Faults::state(backup), m_predefined);
    QCOMPARE(links(live), nlink_t(1));
    QCOMPARE(links(backup), nlink_t(1));
}

void tst_Rewrite::missingFileIsNotValid()
{
    QVERIFY(!m_module.checkTemporaryConfig());
    QCOMPARE(Faults::logged(*m_log), QStringList {rejected});
    QCOMPARE(touched(), QStringList());
}

void tst_Rewrite::complaintOfTheCheckGoesToStandardOutput()
{
    Phone::write(Phone::temporary, brokenText.toUtf8());
    Faults::OutputCapture capture;
    const bool isValid = m_module.checkTemporaryConfig();
    capture.end();

    QVERIFY(!isValid);
    const QByteArray output = capture.output();
    QVERIFY2(output.contains(Phone::temporary.toUtf8() + ":2:"), output.constData());
    QCOMPARE(capture.errors(), QByteArray(""));
}

QTEST_GUILESS_MAIN(tst_Rewrite)
#include "tst_rewrite.moc"
