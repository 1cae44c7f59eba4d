// Deletion of the log files, from outside: which go, which stay, what is answered, and that logging
// goes on.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/literal.h"
#include "support/logdirectories.h"
#include "support/phone.h"

#include <QTest>

#include <vector>

namespace {

using namespace LogDirectories;

QString deleteLogs()
{
    return Phone::text("deleteTmpLogFiles"_s);
}

QString deleteLogs(const QString &parameter)
{
    return Phone::text("deleteTmpLogFiles"_s, {parameter});
}

QString workingDirectoryOf(qint64 pid)
{
    return QFile::symLinkTarget("/proc/%1/cwd"_s.arg(pid));
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
    void linkInTheDirectorysPlaceIsFollowed();
    void newFilesAreSeenByTheNextCall();
    void everyActivityWritesIntoItsNewFile();
    void workingDirectoryStays(); // ends the booted service
};

void tst_LogFiles::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    keepOwnLogOpen();
}

void tst_LogFiles::init()
{
    reset();
}

void tst_LogFiles::cleanup()
{
    reset();
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
    const QStringList logs {"Telephony.log"_s, "qvxsipua.log"_s, "sip.log.1"_s};
    const QStringList flashLogs {"sipmmi.log"_s, "web.log"_s};
    const QStringList none;
    row("RAM form leaves the flash directory untouched", logs, flashLogs, false, none, flashLogs);
    row("flash form empties both", logs, flashLogs, true, none, none);
    row("flash form, nothing in RAM", none, flashLogs, true, none, none);
    row("flash form, nothing in flash", logs, none, true, none, none);
    row("nothing in either", none, none, true, none, none);
    row("RAM form, nothing there", none, none, false, none, none);

    const QStringList plain {"README"_s, "messages"_s};
    row("file named messages (no dot) is not removed", logs + plain, none, false, plain, none);
    row("file without a dot in flash is not removed", none, flashLogs + plain, true, none, plain);

    const QStringList hidden {".hidden"_s, ".hidden.log"_s, "..log"_s};
    QStringList hiddenSorted = hidden;
    hiddenSorted.sort();
    row("names that begin with a dot stay", logs + hidden, none, false, hiddenSorted, none);

    const QStringList odd {"ends."_s,           "a.b.c.d"_s,
                           "two words.log"_s,   "line\nfeed.log"_s,
                           "quote'\"$(x).`l"_s, "*.*"_s,
                           "-rf.log"_s,         "t\u00e9l\u00e9phone.log"_s,
                           "[a].LOG"_s,         "back\\slash.log"_s};
    row("odd names with a dot", odd, odd, true, none, none);

    QStringList many;
    for (int number = 0; number < 5000; ++number) {
        many.append(QString::number(number) + ".log"_s);
    }
    row("many", many, none, false, none, none);
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
    QCOMPARE(withFlash ? deleteLogs("flash"_s) : deleteLogs(), withFlash ? allInBoth : allInRam);
    QCOMPARE(namesIn(ram), leftInRam);
    QCOMPARE(namesIn(flash), leftInFlash);
    QCOMPARE(syslog.count(), 1);
}

void tst_LogFiles::wrongParameterRemovesNothing_data()
{
    QTest::addColumn<QString>("parameter");
    for (const char *parameter : {"FLASH", "Flash", "", " flash", "flash ", "flash\n", "ram",
                                  "flas", "flashh", "all", "true", "/log/flash/"}) {
        QTest::addRow("\"%s\"", parameter) << QString::fromLatin1(parameter);
    }
    QTest::newRow("100 kB") << QString(100000, QLatin1Char('f'));
}

void tst_LogFiles::wrongParameterRemovesNothing()
{
    QFETCH(QString, parameter);
    const QStringList names {"a.log"_s};
    make(ram, names);
    make(flash, names);
    const HangUps syslog;
    QCOMPARE(deleteLogs(parameter), wrongParameter);
    QCOMPARE(namesIn(ram), names);
    QCOMPARE(namesIn(flash), names);
    // A reload would have come before the answer of the call after it.
    QCOMPARE(Phone::text("logComments"_s, {QString(), QString()}), "OK"_s);
    QCOMPARE(syslog.count(), 0);
}

void tst_LogFiles::linkInTheDirectorysPlaceIsFollowed()
{
    // Phones keep /var/log as a link into their RAM disk.
    const QString real = "/var/volatile/log"_s;
    Faults::removeAll(real);
    Faults::removeAll("/var/log"_s);
    QVERIFY(QDir().mkpath(real));
    QVERIFY(QFile::link(real, "/var/log"_s));
    make(ram, {"a.log"_s, "messages"_s});

    const HangUps syslog;
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(namesIn(real), QStringList({"messages"_s}));
    QCOMPARE(Faults::state("/var/log"_s), QByteArray("<link to /var/volatile/log>"));
    Faults::removeAll(real);
}

void tst_LogFiles::newFilesAreSeenByTheNextCall()
{
    const HangUps syslog;
    make(ram, {"a.log"_s});
    make(flash, {"a.log"_s});
    QCOMPARE(deleteLogs("flash"_s), allInBoth);
    make(ram, {"b.log"_s});
    make(flash, {"b.log"_s});
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(namesIn(ram), QStringList());
    QCOMPARE(namesIn(flash), QStringList({"b.log"_s}));
    QCOMPARE(deleteLogs("flash"_s), allInBoth);
    QCOMPARE(namesIn(flash), QStringList());
}

void tst_LogFiles::everyActivityWritesIntoItsNewFile()
{
    // One in flash, and two that share a file: the kinds of files that there are.
    Phone::resetConfiguration();
    const QString path = "redirect"_s;
    Phone::call(path, {"sipmmi"_s, "flash"_s, "mmi"_s});
    Phone::call(path, {"Platform"_s, "ram"_s, "both"_s});
    Phone::call(path, {"WebApp"_s, "ram"_s, "both"_s});
    const auto fileOf = [](const Phone::Activity &activity) -> QString {
        if (activity.name == QLatin1String("sipmmi")) {
            return "/log/flash/mmi.log"_s;
        }
        const bool shared = activity.name == QLatin1String("Platform")
            || activity.name == QLatin1String("WebApp");
        return shared ? "/var/log/both.log"_s : Phone::predefinedFile(activity);
    };
    // The log of defence is not among the files that are deleted.
    std::vector<Phone::Activity> activities = Phone::activities;
    QCOMPARE(activities.back().name, "defence"_s);
    activities.pop_back();
    for (const Phone::Activity &activity : activities) {
        const QString message = "before of "_s + activity.name;
        QVERIFY2(Phone::logUntilSeen(activity, fileOf(activity), message),
                 qPrintable(activity.name));
    }
    QCOMPARE(deleteLogs("flash"_s), allInBoth);
    for (const Phone::Activity &activity : activities) {
        const QString message = "after of "_s + activity.name;
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
    QCOMPARE(workingDirectoryOf(service.pid()), "/run/phone"_s);
    QCOMPARE(deleteLogs("FLASH"_s), wrongParameter);
    QCOMPARE(workingDirectoryOf(service.pid()), "/run/phone"_s);
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(workingDirectoryOf(service.pid()), "/var/log"_s);
    QCOMPARE(deleteLogs("flash"_s), allInBoth);
    QCOMPARE(workingDirectoryOf(service.pid()), "/log/flash"_s);
    QCOMPARE(deleteLogs(), allInRam);
    QCOMPARE(workingDirectoryOf(service.pid()), "/var/log"_s);
}

QTEST_GUILESS_MAIN(tst_LogFiles)
#include "tst_logfiles.moc"
