// Deletion of the log files: which go, which stay, what is answered, and that logging goes on.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <vector>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString ram = QStringLiteral("/var/log/");
const QString flash = QStringLiteral("/log/flash/");
const QString aside = QStringLiteral("/var/log.aside");

const QString allInRam = QStringLiteral("All logs files removed in /var/log/ directory.");
const QString allInBoth
    = QStringLiteral("All logs files removed in /var/log/ and /log/flash/ directories.");
const QString noneInRam = QStringLiteral("No Log file to remove in /var/log/ directory");
const QString noneInBoth
    = QStringLiteral("No Log file to remove in /var/log/ and /log/flash/ directories");
const QString wrongParameter = QStringLiteral("Wrong parameter in deleteTmpLogFileWithParameter");
const QString wrongParameterLine
    = QStringLiteral("3 Calling deleteTmpLogFileWithFlash with wrong parameter");

const QString toRemove = QStringLiteral("7 Log file to remove : ");
const QString removed = QStringLiteral("7 file removed !");
const QString notRemoved = QStringLiteral("7 file not removed : ");
const QString reloaded = QStringLiteral("7 [restart]process success.");

const QString method = QStringLiteral("deleteTmpLogFiles");

QString deleteLogs()
{
    return Phone::text(method);
}

QString deleteLogs(const QString &parameter)
{
    return Phone::text(method, {parameter});
}

QStringList allNamesIn(const QString &directory)
{
    return QDir(directory).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

/// Whatever stands in a directory, sorted, but for the log of the service itself, which syslog-ng
/// may make anew at any time.
QStringList namesIn(const QString &directory)
{
    QStringList names = allNamesIn(directory);
    names.removeAll(QStringLiteral("LoggerModule.log"));
    return names;
}

void empty(const QString &directory)
{
    QDir().mkpath(directory);
    const QStringList names = allNamesIn(directory);
    for (const QString &name : names) {
        Faults::removeAll(directory + name);
    }
}

/// Files with these names, each with its own name in it.
void make(const QString &directory, const QStringList &names)
{
    for (const QString &name : names) {
        Phone::write(directory + name, name.toUtf8() + '\n');
    }
}

/// The lines that tell of one removal, as they stand one after the other in @p lines.
QStringList told(const QStringList &lines, const QString &path)
{
    const int index = lines.indexOf(toRemove + path);
    return index < 0 ? QStringList() : lines.mid(index, 2);
}

QString workingDirectoryOf(qint64 pid)
{
    return QFile::symLinkTarget(QStringLiteral("/proc/%1/cwd").arg(pid));
}

} // namespace

class tst_LogFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void removesAndLeaves_data();
    void removesAndLeaves();
    void wrongParameterRemovesNothing_data();
    void wrongParameterRemovesNothing();
    void wrongParameterIsLogged_data();
    void wrongParameterIsLogged();
    void directoryThatCannotBeEntered_data();
    void directoryThatCannotBeEntered();
    void eachRemovalIsTold();
    void filesGoInTheOrderOfTheDirectory();
    void removalLinesAreGuardedByTheLevel_data();
    void removalLinesAreGuardedByTheLevel();
    void whatCannotBeRemovedDoesNotStopTheRest();
    void linkInTheDirectorysPlaceIsFollowed();
    void newFilesAreSeenByTheNextCall();
    void factoryResetLooksInTheDirectoryLeftBehind();
    void manyFiles();
    void everyActivityWritesIntoItsNewFile();
    void workingDirectoryStays(); // ends the booted service

private:
    const QString m_workingDirectory = QDir::currentPath();
};

void tst_LogFiles::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    // From now on syslog-ng has the service's log open, and goes on writing to the removed file.
    Phone::call(QStringLiteral("logComments"), {QString(), QStringLiteral("first")});
    QVERIFY(Phone::waitForContent(QStringLiteral("/var/log/LoggerModule.log"), "first"));
}

void tst_LogFiles::init()
{
    empty(ram);
    empty(flash);
}

void tst_LogFiles::cleanup()
{
    QDir::setCurrent(m_workingDirectory);
    if (QDir(aside).exists()) {
        Faults::removeAll(QStringLiteral("/var/log"));
        QVERIFY(QFile::rename(aside, QStringLiteral("/var/log")));
    }
    init();
}

void tst_LogFiles::removesAndLeaves_data()
{
    QTest::addColumn<QStringList>("inRam");
    QTest::addColumn<QStringList>("inFlash");
    QTest::addColumn<bool>("withFlash");
    QTest::addColumn<QStringList>("leftInRam");
    QTest::addColumn<QStringList>("leftInFlash");

    const auto row
        = [](const char *name, const QStringList &inRam, const QStringList &inFlash, bool withFlash,
             const QStringList &leftInRam, const QStringList &leftInFlash) {
              QTest::newRow(name) << inRam << inFlash << withFlash << leftInRam << leftInFlash;
          };
    const QStringList logs {QStringLiteral("Telephony.log"), QStringLiteral("qvxsipua.log"),
                            QStringLiteral("sip.log.1")};
    const QStringList flashLogs {QStringLiteral("sipmmi.log"), QStringLiteral("web.log")};
    const QStringList none;
    row("RAM form leaves the flash directory untouched", logs, flashLogs, false, none, flashLogs);
    row("flash form empties both", logs, flashLogs, true, none, none);
    row("flash form, nothing in RAM", none, flashLogs, true, none, none);
    row("flash form, nothing in flash", logs, none, true, none, none);
    row("nothing in either", none, none, true, none, none);
    row("RAM form, nothing there", none, none, false, none, none);

    const QStringList plain {QStringLiteral("README"), QStringLiteral("messages")};
    row("file named messages (no dot) is not removed", logs + plain, none, false, plain, none);
    row("file without a dot in flash is not removed", none, flashLogs + plain, true, none, plain);

    const QStringList hidden {QStringLiteral(".hidden"), QStringLiteral(".hidden.log"),
                              QStringLiteral("..log")};
    QStringList hiddenSorted = hidden;
    hiddenSorted.sort();
    row("names that begin with a dot stay", logs + hidden, none, false, hiddenSorted, none);

    const QStringList odd {
        QStringLiteral("ends."),           QStringLiteral("a.b.c.d"),
        QStringLiteral("two words.log"),   QStringLiteral("line\nfeed.log"),
        QStringLiteral("quote'\"$(x).`l"), QStringLiteral("*.*"),
        QStringLiteral("-rf.log"),         QStringLiteral("t\u00e9l\u00e9phone.log"),
        QStringLiteral("[a].LOG"),         QStringLiteral("back\\slash.log")};
    row("odd names with a dot", odd, odd, true, none, none);
}

void tst_LogFiles::removesAndLeaves()
{
    QFETCH(QStringList, inRam);
    QFETCH(QStringList, inFlash);
    QFETCH(bool, withFlash);
    QFETCH(QStringList, leftInRam);
    QFETCH(QStringList, leftInFlash);
    make(ram, inRam);
    make(flash, inFlash);

    const HangUps syslog;
    // The entries "." and ".." are on the list, too, so there is always something to remove.
    QCOMPARE(withFlash ? deleteLogs(QStringLiteral("flash")) : deleteLogs(),
             withFlash ? allInBoth : allInRam);
    QCOMPARE(namesIn(ram), leftInRam);
    QCOMPARE(namesIn(flash), leftInFlash);
    QTRY_COMPARE(syslog.count(), 1);
}

void tst_LogFiles::wrongParameterRemovesNothing_data()
{
    QTest::addColumn<QString>("parameter");
    const QStringList parameters {QStringLiteral("FLASH"),
                                  QStringLiteral("Flash"),
                                  QString(),
                                  QStringLiteral(" flash"),
                                  QStringLiteral("flash "),
                                  QStringLiteral("flash\n"),
                                  QStringLiteral("ram"),
                                  QStringLiteral("flas"),
                                  QStringLiteral("flashh"),
                                  QStringLiteral("all"),
                                  QStringLiteral("true"),
                                  QStringLiteral("/log/flash/"),
                                  QString(100000, QLatin1Char('f'))};
    for (const QString &parameter : parameters) {
        QTest::newRow(qPrintable(QLatin1Char('"') + parameter.left(20) + QLatin1Char('"')))
            << parameter;
    }
}

void tst_LogFiles::wrongParameterRemovesNothing()
{
    QFETCH(QString, parameter);
    const QStringList names {QStringLiteral("a.log")};
    make(ram, names);
    make(flash, names);
    const HangUps syslog;
    QCOMPARE(deleteLogs(parameter), wrongParameter);
    QCOMPARE(namesIn(ram), names);
    QCOMPARE(namesIn(flash), names);
    // A reload would have come before the answer of the call after it.
    QCOMPARE(Phone::text(QStringLiteral("logComments"), {QString(), QString()}),
             QStringLiteral("OK"));
    QCOMPARE(syslog.count(), 0);
}

void tst_LogFiles::wrongParameterIsLogged_data()
{
    QTest::addColumn<int>("level");
    for (int level = 0; level <= 7; ++level) {
        QTest::addRow("level %d", level) << level;
    }
}

void tst_LogFiles::wrongParameterIsLogged()
{
    QFETCH(int, level);
    make(ram, {QStringLiteral("a.log")});
    LogCapture log;
    LogCapture::setLevel(level);
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles(QStringLiteral("FLASH")), wrongParameter);
    QCOMPARE(Faults::logged(log), Faults::writtenAt(level, {wrongParameterLine}));
    QCOMPARE(QDir::currentPath(), m_workingDirectory);
}

void tst_LogFiles::directoryThatCannotBeEntered_data()
{
    QTest::addColumn<bool>("ramIsThere");
    QTest::addColumn<bool>("flashIsThere");
    QTest::addColumn<bool>("fileInstead");
    QTest::addColumn<bool>("withFlash");
    QTest::addColumn<QString>("answer");
    QTest::newRow("no RAM directory: no entry at all")
        << false << true << false << false << noneInRam;
    QTest::newRow("neither directory: no entry at all")
        << false << false << false << true << noneInBoth;
    QTest::newRow("a file in the place of both") << false << false << true << true << noneInBoth;
    QTest::newRow("a file in the place of the RAM directory")
        << false << true << true << false << noneInRam;
    QTest::newRow("no RAM directory, with flash") << false << true << false << true << allInBoth;
    QTest::newRow("no flash directory, with flash") << true << false << false << true << allInBoth;
    QTest::newRow("no flash directory, RAM form") << true << false << false << false << allInRam;
}

void tst_LogFiles::directoryThatCannotBeEntered()
{
    QFETCH(bool, ramIsThere);
    QFETCH(bool, flashIsThere);
    QFETCH(bool, fileInstead);
    QFETCH(bool, withFlash);
    QFETCH(QString, answer);
    const QStringList names {QStringLiteral("a.log")};
    make(ram, names);
    make(flash, names);
    if (!ramIsThere) {
        QVERIFY(QFile::rename(QStringLiteral("/var/log"), aside));
        if (fileInstead) {
            Phone::write(QStringLiteral("/var/log"), "file\n");
        }
    }
    if (!flashIsThere) {
        Faults::removeAll(QStringLiteral("/log/flash"));
        if (fileInstead) {
            Phone::write(QStringLiteral("/log/flash"), "file\n");
        }
    }
    // Where the process is when it can enter neither.
    const QTemporaryDir elsewhere;
    make(elsewhere.path() + QLatin1Char('/'), names);
    QVERIFY(QDir::setCurrent(elsewhere.path()));

    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(withFlash ? module.deleteTmpLogFiles(QStringLiteral("flash"))
                       : module.deleteTmpLogFiles(),
             answer);
    const bool reloads = answer.startsWith(QLatin1String("All"));
    QTRY_COMPARE(syslog.count(), reloads ? 1 : 0);
    if (!reloads) {
        QCOMPARE(Faults::logged(log), QStringList());
    }
    QCOMPARE(namesIn(elsewhere.path()), names);
    if (ramIsThere) {
        QCOMPARE(namesIn(ram), QStringList());
    } else {
        QCOMPARE(namesIn(aside), names);
    }
    if (flashIsThere) {
        QCOMPARE(namesIn(flash), withFlash ? QStringList() : names);
    }
    const QString last = flashIsThere && withFlash ? QStringLiteral("/log/flash")
        : ramIsThere                               ? QStringLiteral("/var/log")
                                                   : elsewhere.path();
    QCOMPARE(QDir::currentPath(), last);
    if (fileInstead && !flashIsThere) {
        QCOMPARE(Phone::read(QStringLiteral("/log/flash")), QByteArray("file\n"));
        Faults::removeAll(QStringLiteral("/log/flash"));
    }
}

void tst_LogFiles::eachRemovalIsTold()
{
    make(ram, {QStringLiteral("a.log"), QStringLiteral("b.log"), QStringLiteral("messages")});
    make(flash, {QStringLiteral("c.log")});
    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles(QStringLiteral("flash")), allInBoth);

    const QStringList lines = Faults::logged(log);
    const QStringList gone {QStringLiteral("/var/log/a.log"), QStringLiteral("/var/log/b.log"),
                            QStringLiteral("/log/flash/c.log")};
    for (const QString &path : gone) {
        QCOMPARE(told(lines, path), QStringList({toRemove + path, removed}));
    }
    // The entries "." and ".." of both: they are listed, and fail to be removed.
    const QString isDirectory = notRemoved + qt_error_string(EISDIR);
    const QStringList directories {QStringLiteral("/var/log"), QStringLiteral("/var"),
                                   QStringLiteral("/log/flash"), QStringLiteral("/log")};
    for (const QString &path : directories) {
        QCOMPARE(told(lines, path), QStringList({toRemove + path, isDirectory}));
    }
    QCOMPARE(lines.size(), 2 * (gone.size() + directories.size()) + 1);
    QCOMPARE(lines.last(), reloaded);
    // RAM first.
    QVERIFY(lines.indexOf(toRemove + gone.at(2)) > lines.indexOf(toRemove + gone.at(0)));
    QVERIFY(lines.indexOf(toRemove + gone.at(2)) > lines.indexOf(toRemove + gone.at(1)));
}

void tst_LogFiles::filesGoInTheOrderOfTheDirectory()
{
    // Made in an order that is neither that of the names nor its reverse.
    make(ram,
         {QStringLiteral("b.log"), QStringLiteral("c.log"), QStringLiteral("a.log"),
          QStringLiteral("d.log")});
    QStringList expected;
    QDirIterator entries(QStringLiteral("/var/log"), {QStringLiteral("?.log")}, QDir::Files);
    while (entries.hasNext()) {
        expected.append(toRemove + entries.next());
    }
    QCOMPARE(expected.size(), 4);
    const LogCapture log;
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles(), allInRam);
    QCOMPARE(Faults::logged(log).filter(QRegularExpression(QStringLiteral("/[a-d]\\.log$"))),
             expected);
}

void tst_LogFiles::removalLinesAreGuardedByTheLevel_data()
{
    wrongParameterIsLogged_data();
}

void tst_LogFiles::removalLinesAreGuardedByTheLevel()
{
    QFETCH(int, level);
    make(ram, {QStringLiteral("a.log")});
    LogCapture log;
    LogCapture::setLevel(level);
    const HangUps syslog;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles(), allInRam);
    // The file, ".", "..": two lines each, and the reload's.
    QCOMPARE(Faults::logged(log).size(), level > 6 ? 7 : 0);
}

void tst_LogFiles::whatCannotBeRemovedDoesNotStopTheRest()
{
    make(ram, {QStringLiteral("a.log"), QStringLiteral("busy.log"), QStringLiteral("z.log")});
    QVERIFY(QDir().mkpath(ram + QStringLiteral("old.d")));
    make(ram + QStringLiteral("old.d/"), {QStringLiteral("kept.log")});
    QVERIFY(QDir().mkpath(ram + QStringLiteral("empty.d")));
    QVERIFY(QDir().mkpath(ram + QStringLiteral("nodot")));
    make(ram + QStringLiteral("nodot/"), {QStringLiteral("kept.log")});
    // A link goes, what it leads to stays; one that leads nowhere, a pipe and a socket are no files
    // to the listing.
    const QTemporaryDir elsewhere;
    make(elsewhere.path() + QLatin1Char('/'), {QStringLiteral("target.log")});
    const QString target = elsewhere.filePath(QStringLiteral("target.log"));
    QVERIFY(QFile::link(target, ram + QStringLiteral("link.log")));
    QVERIFY(QFile::link(elsewhere.path(), ram + QStringLiteral("link.d")));
    QVERIFY(QFile::link(QStringLiteral("/nowhere"), ram + QStringLiteral("dangling.log")));
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
        const QString path = QStringLiteral("/var/log/busy.log");
        QCOMPARE(told(Faults::logged(log), path),
                 QStringList({toRemove + path, notRemoved + qt_error_string(EBUSY)}));
    }
    QCOMPARE(answer, allInRam);
    QTRY_COMPARE(syslog.count(), 1);

    QStringList left {QStringLiteral("dangling.log"), QStringLiteral("empty.d"),
                      QStringLiteral("nodot"), QStringLiteral("old.d"), QStringLiteral("pipe.log")};
    if (busy) {
        left.prepend(QStringLiteral("busy.log"));
    }
    QCOMPARE(namesIn(ram), left);
    QVERIFY(QFile::exists(ram + QStringLiteral("old.d/kept.log")));
    QVERIFY(QFile::exists(ram + QStringLiteral("nodot/kept.log")));
    QCOMPARE(Phone::read(target), QByteArray("target.log\n"));
    const QString directory = ram + QStringLiteral("old.d");
    QCOMPARE(told(Faults::logged(log), directory),
             QStringList({toRemove + directory, notRemoved + qt_error_string(EISDIR)}));
}

void tst_LogFiles::linkInTheDirectorysPlaceIsFollowed()
{
    // Phones keep /var/log as a link into their RAM disk.
    const QString real = QStringLiteral("/var/volatile/log");
    Faults::removeAll(real);
    QVERIFY(QFile::rename(QStringLiteral("/var/log"), aside));
    QVERIFY(QDir().mkpath(real));
    QVERIFY(QFile::link(real, QStringLiteral("/var/log")));
    make(ram, {QStringLiteral("a.log"), QStringLiteral("messages")});

    const HangUps syslog;
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(namesIn(real), QStringList({QStringLiteral("messages")}));
    QCOMPARE(Faults::state(QStringLiteral("/var/log")), QByteArray("<link to /var/volatile/log>"));
    Faults::removeAll(real);
}

void tst_LogFiles::newFilesAreSeenByTheNextCall()
{
    const HangUps syslog;
    make(ram, {QStringLiteral("a.log")});
    make(flash, {QStringLiteral("a.log")});
    QCOMPARE(deleteLogs(QStringLiteral("flash")), allInBoth);
    make(ram, {QStringLiteral("b.log")});
    make(flash, {QStringLiteral("b.log")});
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(namesIn(ram), QStringList());
    QCOMPARE(namesIn(flash), QStringList({QStringLiteral("b.log")}));
    QCOMPARE(deleteLogs(QStringLiteral("flash")), allInBoth);
    QCOMPARE(namesIn(flash), QStringList());
}

void tst_LogFiles::factoryResetLooksInTheDirectoryLeftBehind()
{
    // The reset lists the facility files and removes files of these names from where the deletion
    // of the logs has left the process.
    const QString facilityFile = Phone::facilityFile(QStringLiteral("qvxsipua"));
    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.deleteTmpLogFiles(QStringLiteral("flash")), allInBoth);
    make(flash, {QStringLiteral("qvxsipua.conf"), QStringLiteral("other.conf")});
    make(ram, {QStringLiteral("qvxsipua.conf")});
    module.restoreDataToFactory();
    QCOMPARE(namesIn(flash), QStringList({QStringLiteral("other.conf")}));
    QVERIFY(namesIn(ram).contains(QStringLiteral("qvxsipua.conf")));
    QVERIFY(QFile::exists(facilityFile));
    Phone::resetConfiguration();
}

void tst_LogFiles::manyFiles()
{
    QStringList names;
    for (int number = 0; number < 5000; ++number) {
        names.append(QStringLiteral("%1.log").arg(number));
    }
    make(ram, names);
    const HangUps syslog;
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(namesIn(ram), QStringList());
    QTRY_COMPARE(syslog.count(), 1);
}

void tst_LogFiles::everyActivityWritesIntoItsNewFile()
{
    // One in flash, and two that share a file: the kinds of files that there are.
    Phone::resetConfiguration();
    const QString path = QStringLiteral("redirect");
    Phone::call(path, {QStringLiteral("sipmmi"), QStringLiteral("flash"), QStringLiteral("mmi")});
    Phone::call(path, {QStringLiteral("Platform"), QStringLiteral("ram"), QStringLiteral("both")});
    Phone::call(path, {QStringLiteral("WebApp"), QStringLiteral("ram"), QStringLiteral("both")});
    const auto fileOf = [](const Phone::Activity &activity) -> QString {
        if (activity.name == QLatin1String("sipmmi")) {
            return QStringLiteral("/log/flash/mmi.log");
        }
        const bool shared = activity.name == QLatin1String("Platform")
            || activity.name == QLatin1String("WebApp");
        return shared ? QStringLiteral("/var/log/both.log") : Phone::predefinedFile(activity);
    };
    // The log of defence is not among the files that are deleted.
    std::vector<Phone::Activity> activities = Phone::activities;
    QCOMPARE(activities.back().name, QStringLiteral("defence"));
    activities.pop_back();
    for (const Phone::Activity &activity : activities) {
        const QString message = QStringLiteral("before of ") + activity.name;
        QVERIFY2(Phone::logUntilSeen(activity, fileOf(activity), message),
                 qPrintable(activity.name));
    }
    QCOMPARE(deleteLogs(QStringLiteral("flash")), allInBoth);
    for (const Phone::Activity &activity : activities) {
        const QString message = QStringLiteral("after of ") + activity.name;
        QVERIFY2(Phone::logUntilSeen(activity, fileOf(activity), message),
                 qPrintable(activity.name));
        QVERIFY2(!Phone::read(fileOf(activity)).contains("before of"), qPrintable(activity.name));
    }
    Phone::resetConfiguration();
}

void tst_LogFiles::workingDirectoryStays()
{
    const Phone::Service service;
    const HangUps syslog;
    QCOMPARE(workingDirectoryOf(service.pid()), QStringLiteral("/run/phone"));
    QCOMPARE(deleteLogs(QStringLiteral("FLASH")), wrongParameter);
    QCOMPARE(workingDirectoryOf(service.pid()), QStringLiteral("/run/phone"));
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(workingDirectoryOf(service.pid()), QStringLiteral("/var/log"));
    QCOMPARE(deleteLogs(QStringLiteral("flash")), allInBoth);
    QCOMPARE(workingDirectoryOf(service.pid()), QStringLiteral("/log/flash"));
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(workingDirectoryOf(service.pid()), QStringLiteral("/var/log"));
}

QTEST_GUILESS_MAIN(tst_LogFiles)
#include "tst_logfiles.moc"
