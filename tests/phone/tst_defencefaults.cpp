// The defence log where something is in its way: it cannot be opened, the disk is full, another
// program has it open, it is larger than the memory.
// SPDX-License-Identifier: MIT
#include "support/defencelog.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <sys/stat.h>

namespace {

using namespace DefenceLog;

const QString notOpened = "[DEFENCE] impossible to open in read/write mode/log/Defence.log"_s;

/// The most memory that the service has had until now, in KiB (proc(5), VmHWM).
qint64 peakMemory()
{
    const QByteArray pid = Phone::read("/run/phone/LoggerModule.pid"_s).trimmed();
    const QByteArray status = Phone::read("/proc/"_s + QString::fromLatin1(pid) + "/status"_s);
    const int start = status.indexOf("VmHWM:");
    return start < 0
        ? -1
        : status.mid(start + 6, status.indexOf("kB", start) - start - 6).trimmed().toLongLong();
}

} // namespace

class tst_DefenceFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void fileThatCannotBeOpened_data();
    void fileThatCannotBeOpened();
    void fileThatMayNotBeWritten();
    void fullDiskLosesNoLine_data();
    void fullDiskLosesNoLine();
    void openLogIsCutInPlace();
    void logOfSeveralGigabytes();
};

void tst_DefenceFaults::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_DefenceFaults::init()
{
    DefenceLog::write({});
}

void tst_DefenceFaults::cleanup()
{
    DefenceLog::write({});
}

void tst_DefenceFaults::fileThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *const fault : {"directory", "pipe", "no directory"}) {
        QTest::newRow(fault) << QString::fromLatin1(fault);
    }
}

void tst_DefenceFaults::fileThatCannotBeOpened()
{
    QFETCH(QString, fault);
    const bool hasDirectory = fault != QLatin1String("no directory");
    const QString aside = "/log.aside"_s;
    if (!hasDirectory) {
        QVERIFY(QDir().rename(directory, aside));
    } else if (fault == QLatin1String("directory")) {
        Faults::makeDirectory(path);
    } else {
        QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    }
    QStringList answers;
    QStringList lines;
    for (const QString &todo : {"size"_s, "read"_s, "delete"_s, "bad"_s}) {
        answers.append(defence(1, todo));
        const LogCapture log;
        TestableModule module;
        answers.append(module.defence(1, todo));
        lines += Faults::logged(log);
    }
    const bool directoryExists = QDir(directory).exists();
    if (!hasDirectory) {
        Faults::removeAll(directory);
        QVERIFY(QDir().rename(aside, directory));
    }
    QCOMPARE(answers.count(notOpened), 8);
    const QString line
        = "3 [Method : Defence()] impossible to open in read/write mode/log/Defence.log"_s;
    QCOMPARE(lines, (QStringList {line, line, line, line}));
    QCOMPARE(directoryExists, hasDirectory);
    if (fault == QLatin1String("directory")) {
        QCOMPARE(Phone::read(path + "/inside"_s), QByteArray("inside\n"));
    }
}

void tst_DefenceFaults::fileThatMayNotBeWritten()
{
    DefenceLog::write(three);
    Faults::setMode(path, 0444);
    const LogCapture log;
    TestableModule module;
    const Faults::WithoutOverride noOverride;
    for (const char *const todo : {"size", "read", "delete"}) {
        QCOMPARE(module.defence(1, QString::fromLatin1(todo)), notOpened);
    }
    QCOMPARE(log.errors().size(), 3);
    QCOMPARE(Phone::read(path), three);
}

void tst_DefenceFaults::fullDiskLosesNoLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("left");
    QTest::newRow("some lines") << numbered(1, 200) << 10 << deletedText(10) << numbered(1, 190);
    QTest::newRow("no line") << numbered(1, 200) << 0 << deletedText(0) << numbered(1, 200);
    QTest::newRow("all lines") << numbered(1, 200) << 200 << deletedText(200) << QByteArray("");
    QTest::newRow("beyond the end") << numbered(1, 200) << 201 << deletedText(200) << onlyText(200);
    QTest::newRow("beyond the end of an empty file")
        << QByteArray("") << 1 << notOpened << QByteArray("");
}

void tst_DefenceFaults::fullDiskLosesNoLine()
{
    QFETCH(QByteArray, content);
    QFETCH(int, position);
    QFETCH(QString, answer);
    const LogCapture log;
    TestableModule module;
    const HangUps syslog;
    const Faults::SmallDisk disk(directory, 0, [&] { Phone::write(path, content); });
    QCOMPARE(module.defence(0, "size"_s), sizeText(content.count('\n')));
    QCOMPARE(module.defence(position, "delete"_s), answer);
    QTEST(Faults::state(path), "left");
    QCOMPARE(log.errors(),
             answer == notOpened ? QStringList {"[Method : Defence()] -- impossible to open in "
                                                "read/write mode/log/Defence.log"_s}
                                 : QStringList());
    // After a failure, too: a daemon that writes to a file without a name keeps its room.
    QCOMPARE(syslog.count(), 1);
}

void tst_DefenceFaults::openLogIsCutInPlace()
{
    DefenceLog::write(three);
    QFile daemon(path);
    QVERIFY(daemon.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered));
    QCOMPARE(defence(2, "delete"_s), deletedText(2));
    // Who appends goes on behind what was kept, also before it opens the file anew.
    QVERIFY(daemon.write("four\n") > 0);
    QCOMPARE(Phone::read(path), QByteArray("one\nfour\n"));
}

void tst_DefenceFaults::logOfSeveralGigabytes()
{
    // Sparse: a log that no memory holds. Its lines stand at the ends.
    const qint64 hole = qint64(9) << 28;
    DefenceLog::write("first\n");
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(hole));
        QVERIFY(file.write("\nlast but one\nlast\n") > 0);
    }
    const qint64 memory = peakMemory();
    QCOMPARE(defence(0, "size"_s), sizeText(4));
    QCOMPARE(defence(2, "read"_s), "last but one\nlast\n"_s);
    QCOMPARE(defence(3, "read"_s), "last but one\nlast\n"_s);
    QCOMPARE(defence(3, "delete"_s), deletedText(3));
    // Less than half of the log, also with what a sanitizer keeps.
    QVERIFY(peakMemory() - memory < 1024 * 1024);
    QCOMPARE(Phone::read(path), QByteArray("first\n"));
}

QTEST_GUILESS_MAIN(tst_DefenceFaults)
#include "tst_defencefaults.moc"
