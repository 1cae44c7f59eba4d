// Deletion of the log files, from within the process: what is logged of it, and that what cannot be
// entered or removed stands in nothing's way.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/hangups.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/logdirectories.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/mount.h>
#include <sys/stat.h>

namespace {

using namespace LogDirectories;

const QString toRemove = "7 Log file to remove : "_s;
const QString removed = "7 file removed !"_s;
const QString notRemoved = "7 file not removed : "_s;

/// The lines that tell of one removal, as they stand one after the other in @p lines.
QStringList told(const QStringList &lines, const QString &path)
{
    const int index = lines.indexOf(toRemove + path);
    return index < 0 ? QStringList() : lines.mid(index, 2);
}

} // namespace

class tst_LogFileFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void linesAreGuardedByTheLevel_data();
    void linesAreGuardedByTheLevel();
    void eachRemovalIsTold();
    void filesGoInTheOrderOfTheDirectory();
    void directoryThatCannotBeEntered_data();
    void directoryThatCannotBeEntered();
    void whatCannotBeRemovedDoesNotStopTheRest();
    void factoryResetLooksInTheDirectoryLeftBehind();

private:
    const QString m_workingDirectory = QDir::currentPath();
};

void tst_LogFileFaults::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    keepOwnLogOpen();
}

void tst_LogFileFaults::init()
{
    reset();
}

void tst_LogFileFaults::cleanup()
{
    QDir::setCurrent(m_workingDirectory);
    reset();
}

void tst_LogFileFaults::linesAreGuardedByTheLevel_data()
{
    QTest::addColumn<int>("level");
    for (int level = 0; level <= 7; ++level) {
        QTest::addRow("level %d", level) << level;
    }
}

void tst_LogFileFaults::linesAreGuardedByTheLevel()
{
    QFETCH(int, level);
    make(ram, {"a.log"_s});
    LogCapture log;
    LogCapture::setLevel(level);
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles("FLASH"_s), wrongParameter);
    QCOMPARE(
        Faults::logged(log),
        Faults::writtenAt(level, {"3 Calling deleteTmpLogFileWithFlash with wrong parameter"_s}));
    QCOMPARE(QDir::currentPath(), m_workingDirectory);
    log.clear();
    QCOMPARE(module.deleteTmpLogFiles(), allInRam);
    // The file, ".", "..": two lines each, and the reload's.
    QCOMPARE(Faults::logged(log).size(), level > 6 ? 7 : 0);
}

void tst_LogFileFaults::eachRemovalIsTold()
{
    make(ram, {"a.log"_s, "b.log"_s, "messages"_s});
    make(flash, {"c.log"_s});
    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles("flash"_s), allInBoth);

    const QStringList lines = Faults::logged(log);
    const QStringList gone {"/var/log/a.log"_s, "/var/log/b.log"_s, "/log/flash/c.log"_s};
    for (const QString &path : gone) {
        QCOMPARE(told(lines, path), QStringList({toRemove + path, removed}));
    }
    // The entries "." and ".." of both: they are listed, and fail to be removed.
    const QString isDirectory = notRemoved + qt_error_string(EISDIR);
    const QStringList directories {"/var/log"_s, "/var"_s, "/log/flash"_s, "/log"_s};
    for (const QString &path : directories) {
        QCOMPARE(told(lines, path), QStringList({toRemove + path, isDirectory}));
    }
    QCOMPARE(lines.size(), 2 * (gone.size() + directories.size()) + 1);
    QCOMPARE(lines.last(), "7 [restart]process success."_s);
    // RAM first.
    QVERIFY(lines.indexOf(toRemove + gone.at(2)) > lines.indexOf(toRemove + gone.at(0)));
    QVERIFY(lines.indexOf(toRemove + gone.at(2)) > lines.indexOf(toRemove + gone.at(1)));
}

void tst_LogFileFaults::filesGoInTheOrderOfTheDirectory()
{
    // Made in an order that is neither that of the names nor its reverse.
    make(ram, {"b.log"_s, "c.log"_s, "a.log"_s, "d.log"_s});
    QStringList expected;
    QDirIterator entries("/var/log"_s, {"?.log"_s}, QDir::Files);
    while (entries.hasNext()) {
        expected.append(toRemove + entries.next());
    }
    QCOMPARE(expected.size(), 4);
    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles(), allInRam);
    QCOMPARE(Faults::logged(log).filter(QRegularExpression("/[a-d]\\.log$"_s)), expected);
}

void tst_LogFileFaults::directoryThatCannotBeEntered_data()
{
    QTest::addColumn<QByteArray>("ramState");
    QTest::addColumn<QByteArray>("flashState");
    QTest::addColumn<bool>("withFlash");
    QTest::addColumn<QString>("answer");
    const QByteArray there = "<directory>";
    const QByteArray missing = "<missing>";
    const QByteArray file = "file\n";
    QTest::newRow("no RAM directory: no entry at all") << missing << there << false << noneInRam;
    QTest::newRow("neither directory: no entry at all") << missing << missing << true << noneInBoth;
    QTest::newRow("a file in the place of both") << file << file << true << noneInBoth;
    QTest::newRow("a file in the place of the RAM directory")
        << file << there << false << noneInRam;
    QTest::newRow("no RAM directory, with flash") << missing << there << true << allInBoth;
    QTest::newRow("no flash directory, with flash") << there << missing << true << allInBoth;
    QTest::newRow("no flash directory, RAM form") << there << missing << false << allInRam;
}

void tst_LogFileFaults::directoryThatCannotBeEntered()
{
    QFETCH(QByteArray, ramState);
    QFETCH(QByteArray, flashState);
    QFETCH(bool, withFlash);
    QFETCH(QString, answer);
    const QStringList names {"a.log"_s};
    make(ram, names);
    make(flash, names);
    const auto replace = [](const QString &path, const QByteArray &state) {
        if (state != "<directory>") {
            Faults::removeAll(path);
        }
        if (!state.startsWith('<')) {
            Phone::write(path, state);
        }
    };
    replace("/var/log"_s, ramState);
    replace("/log/flash"_s, flashState);
    // Where the process is when it can enter neither.
    const QTemporaryDir elsewhere;
    make(elsewhere.path() + QLatin1Char('/'), names);
    QVERIFY(QDir::setCurrent(elsewhere.path()));

    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(withFlash ? module.deleteTmpLogFiles("flash"_s) : module.deleteTmpLogFiles(), answer);
    const bool reloads = answer.startsWith(QLatin1String("All"));
    QCOMPARE(syslog.count(), reloads ? 1 : 0);
    QCOMPARE(Faults::logged(log).isEmpty(), !reloads);
    QCOMPARE(namesIn(elsewhere.path()), names);
    QCOMPARE(Faults::state("/var/log"_s), ramState);
    QCOMPARE(Faults::state("/log/flash"_s), flashState);
    const bool ramIsThere = ramState == "<directory>";
    const bool flashIsThere = flashState == "<directory>";
    if (ramIsThere) {
        QCOMPARE(namesIn(ram), QStringList());
    }
    if (flashIsThere) {
        QCOMPARE(namesIn(flash), withFlash ? QStringList() : names);
    }
    QCOMPARE(QDir::currentPath(),
             flashIsThere && withFlash ? "/log/flash"_s
                 : ramIsThere          ? "/var/log"_s
                                       : elsewhere.path());
}

void tst_LogFileFaults::whatCannotBeRemovedDoesNotStopTheRest()
{
    make(ram, {"a.log"_s, "busy.log"_s, "z.log"_s});
    QVERIFY(QDir().mkpath(ram + "old.d"_s));
    make(ram + "old.d/"_s, {"kept.log"_s});
    QVERIFY(QDir().mkpath(ram + "empty.d"_s));
    QVERIFY(QDir().mkpath(ram + "nodot"_s));
    make(ram + "nodot/"_s, {"kept.log"_s});
    // A link goes, what it leads to stays; one that leads nowhere, a pipe and a socket are no files
    // to the listing.
    const QTemporaryDir elsewhere;
    make(elsewhere.path() + QLatin1Char('/'), {"target.log"_s});
    const QString target = elsewhere.filePath("target.log"_s);
    QVERIFY(QFile::link(target, ram + "link.log"_s));
    QVERIFY(QFile::link(elsewhere.path(), ram + "link.d"_s));
    QVERIFY(QFile::link("/nowhere"_s, ram + "dangling.log"_s));
    QCOMPARE(mkfifo("/var/log/pipe.log", 0600), 0);
    // A file on which another is mounted cannot be removed even by root; the kernel may not let us
    // mount, and then it goes like the others.
    const bool busy = mount("/var/log/a.log", "/var/log/busy.log", nullptr, MS_BIND, nullptr) == 0;

    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    const QString answer = module.deleteTmpLogFiles();
    if (busy) {
        umount2("/var/log/busy.log", MNT_DETACH);
        const QString path = "/var/log/busy.log"_s;
        QCOMPARE(told(Faults::logged(log), path),
                 QStringList({toRemove + path, notRemoved + qt_error_string(EBUSY)}));
    }
    QCOMPARE(answer, allInRam);
    QCOMPARE(syslog.count(), 1);

    QStringList left {"dangling.log"_s, "empty.d"_s, "nodot"_s, "old.d"_s, "pipe.log"_s};
    if (busy) {
        left.prepend("busy.log"_s);
    }
    QCOMPARE(namesIn(ram), left);
    QVERIFY(QFile::exists(ram + "old.d/kept.log"_s));
    QVERIFY(QFile::exists(ram + "nodot/kept.log"_s));
    QCOMPARE(Phone::read(target), QByteArray("target.log\n"));
    const QString directory = ram + "old.d"_s;
    QCOMPARE(told(Faults::logged(log), directory),
             QStringList({toRemove + directory, notRemoved + qt_error_string(EISDIR)}));
}

void tst_LogFileFaults::factoryResetLooksInTheDirectoryLeftBehind()
{
    // The reset lists the facility files and removes files of these names from where the deletion
    // of the logs has left the process.
    const QString facilityFile = Phone::facilityFile("qvxsipua"_s);
    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles("flash"_s), allInBoth);
    make(flash, {"qvxsipua.conf"_s, "other.conf"_s});
    make(ram, {"qvxsipua.conf"_s});
    module.restoreDataToFactory();
    QCOMPARE(namesIn(flash), QStringList({"other.conf"_s}));
    QVERIFY(namesIn(ram).contains("qvxsipua.conf"_s));
    QVERIFY(QFile::exists(facilityFile));
    Phone::resetConfiguration();
}

QTEST_GUILESS_MAIN(tst_LogFileFaults)
#include "tst_logfilefaults.moc"
