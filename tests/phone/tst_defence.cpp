// The defence log in flash: counted, read and trimmed, over the bus and from within the process.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <climits>
#include <sys/stat.h>

namespace {

const QString directory = QStringLiteral("/log");
const QString path = QStringLiteral("/log/Defence.log");

const QString notOpened
    = QStringLiteral("[DEFENCE] impossible to open in read/write mode/log/Defence.log");
const QString badParameter = QStringLiteral(
    "bad input parameter(s) -- use : defence --help command, for more information");
const QString reloaded = QStringLiteral("[restart]process success.");

const QByteArray three = "one\ntwo\nthree\n";
const QByteArray missing; // in place of a file's content

QString sizeText(int count)
{
    return QStringLiteral("[DEFENCE] Total messages saved in flash sector:")
        + QString::number(count);
}

QString deletedText(int count)
{
    return QStringLiteral("[DEFENCE] delete ") + QString::number(count)
        + QStringLiteral(" lines OK");
}

QByteArray onlyText(int count)
{
    return "Only " + QByteArray::number(count) + " lines in file : Defence.log \n";
}

/// The most memory that the service has had until now, in KiB (proc(5), VmHWM).
qint64 peakMemory()
{
    const QByteArray pid = Phone::read(QStringLiteral("/run/phone/LoggerModule.pid")).trimmed();
    const QByteArray status = Phone::read(QStringLiteral("/proc/") + QString::fromLatin1(pid)
                                          + QStringLiteral("/status"));
    const int start = status.indexOf("VmHWM:");
    return start < 0
        ? -1
        : status.mid(start + 6, status.indexOf("kB", start) - start - 6).trimmed().toLongLong();
}

QString defence(int position, const QString &todo)
{
    return Phone::text(QStringLiteral("defence"), {position, todo});
}

void writeLog(const QByteArray &content)
{
    Faults::removeAll(path);
    if (!content.isNull()) {
        Phone::write(path, content);
    }
}

/// Numbered lines from @p first to @p last.
QByteArray numbered(int first, int last)
{
    QByteArray lines;
    for (int number = first; number <= last; ++number) {
        lines += "Nov 21 17:00:48 phone defence: message ";
        lines += QByteArray::number(number);
        lines += '\n';
    }
    return lines;
}

} // namespace

class tst_Defence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void answersAndLeaves_data();
    void answersAndLeaves();
    void answersAndLeavesInProcess_data();
    void answersAndLeavesInProcess();
    void largeFile();
    void oneVeryLongLine();

    void undecodableBytesAreRead_data();
    void undecodableBytesAreRead();
    void undecodableBytesAreKept_data();
    void undecodableBytesAreKept();

    void fileThatCannotBeOpened_data();
    void fileThatCannotBeOpened();
    void fileThatMayNotBeWritten();
    void logOfSeveralGigabytes();
    void answerFitsTheBus();
    void fullDiskLosesNoLine_data();
    void fullDiskLosesNoLine();
    void openLogIsCutInPlace();

    void onlyDeletingReloads();
    void syslogWritesIntoTheNewFile();
    void cleanup();
};

void tst_Defence::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Defence::init()
{
    QVERIFY(QDir().mkpath(directory));
    writeLog(missing);
}

void tst_Defence::cleanup()
{
    writeLog(missing);
}

void tst_Defence::answersAndLeaves_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("todo");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("left");

    const QString size = QStringLiteral("size");
    const QString read = QStringLiteral("read");
    const QString remove = QStringLiteral("delete");
    const auto row = [](const char *name, const QByteArray &content, int position,
                        const QString &todo, const QString &answer, const QByteArray &left) {
        QTest::newRow(name) << content << position << todo << answer << left;
    };
    const auto counts = [&](const char *name, const QByteArray &content, int position, int count) {
        const QByteArray left = content.isNull() ? QByteArray("") : content;
        QTest::addRow("size: %s", name) << content << position << size << sizeText(count) << left;
    };
    const auto reads
        = [&](const char *name, const QByteArray &content, int position, const char *answer) {
              const QByteArray left = content.isNull() ? QByteArray("") : content;
              QTest::addRow("read: %s", name)
                  << content << position << read << QString::fromUtf8(answer) << left;
          };
    const auto deletes = [&](const char *name, const QByteArray &content, int position, int count,
                             const QByteArray &left) {
        QTest::addRow("delete: %s", name)
            << content << position << remove << deletedText(count) << left;
    };

    counts("missing file", missing, 0, 0);
    counts("missing file, a position", missing, 5, 0);
    counts("empty file", "", 0, 0);
    counts("three lines", three, 0, 3);
    counts("position beyond the end", three, 10, 3);
    counts("negative position", three, -1, 3);
    counts("smallest position", three, INT_MIN, 3);
    counts("largest position", three, INT_MAX, 3);
    counts("one line", "one\n", 0, 1);
    counts("no final line feed", "one\ntwo", 0, 2);
    counts("one character", "x", 0, 1);
    counts("one line feed", "\n", 0, 1);
    counts("empty lines", "\n\n\n", 0, 3);
    counts("empty lines, no final line feed", "\n\n\nx", 0, 4);
    counts("line ends of another system", "one\r\ntwo\r\n", 0, 2);
    counts("other line separators end no line", "one\x0b\x0c\xe2\x80\xa8two\xc2\x85\n", 0, 1);

    reads("missing file", missing, 3, "");
    reads("empty file", "", 3, "");
    reads("none", three, 0, "");
    reads("the last", three, 1, "three\n");
    reads("the last two", three, 2, "two\nthree\n");
    reads("all", three, 3, "one\ntwo\nthree\n");
    reads("one more than there are", three, 4, "one\ntwo\nthree\n");
    reads("beyond the end, without notice", three, 10, "one\ntwo\nthree\n");
    reads("largest position", three, INT_MAX, "one\ntwo\nthree\n");
    reads("negative position", three, -1, "");
    reads("large negative position", three, -10, "");
    reads("smallest position", three, INT_MIN, "");
    reads("negative position on a missing file", missing, -1, "");
    reads("no final line feed", "one\ntwo", 1, "two\n");
    reads("all, no final line feed", "one\ntwo", 2, "one\ntwo\n");
    reads("beyond the end, no final line feed", "one\ntwo", 5, "one\ntwo\n");
    reads("empty lines", "one\n\n\n", 2, "\n\n");
    reads("blanks are kept", " one \n\t two  \n", 2, " one \n\t two  \n");
    reads("line ends of another system", "one\r\ntwo\r\n", 1, "two\n");
    reads("UTF-8", "one\n\xc3\xbc \xe2\x98\x8e \xf0\x9f\x93\x9e\n", 1,
          "\xc3\xbc \xe2\x98\x8e \xf0\x9f\x93\x9e\n");
    reads("percent signs", "%1 %s %n\n", 1, "%1 %s %n\n");

    deletes("missing file", missing, 0, 0, "");
    deletes("missing file, beyond its end", missing, 1, 0, onlyText(0));
    deletes("empty file", "", 0, 0, "");
    deletes("empty file, beyond its end", "", 5, 0, onlyText(0));
    deletes("none", three, 0, 0, three);
    deletes("the last", three, 1, 1, "one\ntwo\n");
    deletes("the last two", three, 2, 2, "one\n");
    deletes("all", three, 3, 3, "");
    deletes("one more than there are", three, 4, 3, onlyText(3));
    deletes("beyond the end", three, 10, 3, onlyText(3));
    deletes("largest position", three, INT_MAX, 3, onlyText(3));
    deletes("beyond the end of one line", "one\n", 2, 1, onlyText(1));
    deletes("negative position", three, -1, -1, three);
    deletes("large negative position", three, -10, -10, three);
    deletes("smallest position", three, INT_MIN, INT_MIN, three);
    deletes("negative position on a missing file", missing, -1, -1, "");
    deletes("the last, no final line feed", "one\ntwo", 1, 1, "one\n");
    deletes("none, no final line feed", "one\ntwo", 0, 0, "one\ntwo\n");
    deletes("beyond the end, no final line feed", "one\ntwo", 3, 2, onlyText(2));
    deletes("empty lines", "one\n\n\ntwo\n", 2, 2, "one\n\n");
    deletes("blanks are kept", " one \n\t two  \nthree\n", 1, 1, " one \n\t two  \n");
    deletes("line ends of another system", "one\r\ntwo\r\nthree\r\n", 1, 1, "one\r\ntwo\r\n");
    deletes("UTF-8", "\xef\xbb\xbf\xc3\xbc\n\xe2\x98\x8e\n\xf0\x9f\x93\x9e\n", 1, 1,
            "\xef\xbb\xbf\xc3\xbc\n\xe2\x98\x8e\n");

    const QByteArray empty("");
    for (const char *const word : {"Read", "READ", "Size", "Delete", "DELETE", "", " read", "read ",
                                   "delete\n", "reads", "rea", "remove", "--help", "0"}) {
        QTest::addRow("bad: \"%s\"", QByteArray(word).replace('\n', "\\n").constData())
            << three << 2 << QString::fromLatin1(word) << badParameter << three;
    }
    row("bad: beyond the end, without notice", three, 10, QStringLiteral("Delete"), badParameter,
        three);
    row("bad: negative position", three, INT_MIN, QStringLiteral("Delete"), badParameter, three);
    row("bad: missing file is created", missing, 1, QStringLiteral("Delete"), badParameter, empty);
    row("bad: no final line feed stays", "one", 1, QStringLiteral("Delete"), badParameter, "one");
    row("bad: Unicode", three, 1,
        QString::fromUtf8("re\xc3\xa4"
                          "d"),
        badParameter, three);
}

void tst_Defence::answersAndLeaves()
{
    QFETCH(QByteArray, content);
    QFETCH(int, position);
    QFETCH(QString, todo);
    writeLog(content);
    QTEST(defence(position, todo), "answer");
    QTEST(Faults::state(path), "left");
}

void tst_Defence::answersAndLeavesInProcess_data()
{
    answersAndLeaves_data();
}

void tst_Defence::answersAndLeavesInProcess()
{
    QFETCH(QByteArray, content);
    QFETCH(int, position);
    QFETCH(QString, todo);
    writeLog(content);
    const LogCapture log;
    TestableModule module;
    QTEST(module.defence(position, todo), "answer");
    QTEST(Faults::state(path), "left");
    QCOMPARE(log.errors(), QStringList());
    QCOMPARE(log.debugs().count(reloaded), todo == QLatin1String("delete") ? 1 : 0);
}

void tst_Defence::largeFile()
{
    writeLog(numbered(1, 100000));
    QCOMPARE(defence(0, QStringLiteral("size")), sizeText(100000));
    QCOMPARE(defence(3, QStringLiteral("read")), QString::fromLatin1(numbered(99998, 100000)));
    QCOMPARE(defence(50000, QStringLiteral("delete")), deletedText(50000));
    QVERIFY(Phone::read(path) == numbered(1, 50000));
    QCOMPARE(defence(0, QStringLiteral("size")), sizeText(50000));
    QCOMPARE(defence(2, QStringLiteral("read")), QString::fromLatin1(numbered(49999, 50000)));
    QVERIFY(defence(50001, QStringLiteral("read")) == QString::fromLatin1(numbered(1, 50000)));
    QCOMPARE(defence(50001, QStringLiteral("delete")), deletedText(50000));
    QCOMPARE(Phone::read(path), onlyText(50000));
}

void tst_Defence::oneVeryLongLine()
{
    const QByteArray line(5000000, 'x');
    writeLog("one\n" + line + "\ntwo\n");
    QCOMPARE(defence(0, QStringLiteral("size")), sizeText(3));
    QVERIFY(defence(2, QStringLiteral("read")) == QString::fromLatin1(line + "\ntwo\n"));
    QCOMPARE(defence(1, QStringLiteral("delete")), deletedText(1));
    QVERIFY(Phone::read(path) == "one\n" + line + '\n');
}

void tst_Defence::undecodableBytesAreRead_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("ISO 8859-1") << QByteArray("\xfc");
    QTest::newRow("no lead byte") << QByteArray("\x80\xbf");
    QTest::newRow("cut off") << QByteArray("\xe2\x98");
    QTest::newRow("surrogates") << QByteArray("\xed\xa0\x80\xed\xb0\x80");
    QTest::newRow("never used") << QByteArray("\xfe\xff");
    QTest::newRow("NUL") << QByteArray("\0", 1);
    QTest::newRow("many NULs") << QByteArray(4096, '\0');
    QTest::newRow("mixed") << QByteArray("\0\xff\0\xe2\x98\0", 6);
}

void tst_Defence::undecodableBytesAreRead()
{
    QFETCH(QByteArray, bytes);
    writeLog("one\nbefore" + bytes + "after\nthree\n");
    TestableModule module;
    for (const QString &answer :
         {defence(2, QStringLiteral("read")), module.defence(2, QStringLiteral("read"))}) {
        QVERIFY2(answer.startsWith(QStringLiteral("before")), qPrintable(answer.left(100)));
        QVERIFY2(answer.endsWith(QStringLiteral("after\nthree\n")), qPrintable(answer.right(100)));
        QVERIFY(!answer.contains(QChar::Null));
        QCOMPARE(answer.count(QLatin1Char('\n')), 2);
    }
    QCOMPARE(defence(0, QStringLiteral("size")), sizeText(3));
    QCOMPARE(Phone::read(path), "one\nbefore" + bytes + "after\nthree\n");
}

void tst_Defence::undecodableBytesAreKept_data()
{
    undecodableBytesAreRead_data();
}

void tst_Defence::undecodableBytesAreKept()
{
    QFETCH(QByteArray, bytes);
    writeLog(bytes + "\nbefore" + bytes + "after\nlast" + bytes + '\n');
    QCOMPARE(defence(1, QStringLiteral("delete")), deletedText(1));
    QCOMPARE(Phone::read(path), bytes + "\nbefore" + bytes + "after\n");
    TestableModule module;
    QCOMPARE(module.defence(1, QStringLiteral("delete")), deletedText(1));
    QCOMPARE(Phone::read(path), bytes + '\n');
}

void tst_Defence::fileThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("todo");
    for (const char *const fault : {"directory", "pipe", "no directory"}) {
        for (const char *const todo : {"size", "read", "delete", "bad"}) {
            QTest::addRow("%s: %s", fault, todo)
                << QString::fromLatin1(fault) << QString::fromLatin1(todo);
        }
    }
}

void tst_Defence::fileThatCannotBeOpened()
{
    QFETCH(QString, fault);
    QFETCH(QString, todo);
    const QString aside = QStringLiteral("/log.aside");
    if (fault == QLatin1String("directory")) {
        Faults::makeDirectory(path);
    } else if (fault == QLatin1String("pipe")) {
        QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    } else {
        QVERIFY(QDir().rename(directory, aside));
    }
    const QString overTheBus = defence(1, todo);
    QString inProcess;
    QStringList errors;
    QStringList debugs;
    {
        const LogCapture log;
        TestableModule module;
        inProcess = module.defence(1, todo);
        errors = log.errors();
        debugs = log.debugs();
    }
    const bool directoryExists = QDir(directory).exists();
    if (fault == QLatin1String("no directory")) {
        Faults::removeAll(directory);
        QVERIFY(QDir().rename(aside, directory));
    }
    QCOMPARE(overTheBus, notOpened);
    QCOMPARE(inProcess, notOpened);
    QCOMPARE(errors,
             QStringList {QStringLiteral(
                 "[Method : Defence()] impossible to open in read/write mode/log/Defence.log")});
    QVERIFY(!debugs.contains(reloaded));
    QCOMPARE(directoryExists, fault != QLatin1String("no directory"));
    if (fault == QLatin1String("directory")) {
        QCOMPARE(Phone::read(path + QStringLiteral("/inside")), QByteArray("inside\n"));
    }
}

void tst_Defence::fileThatMayNotBeWritten()
{
    writeLog(three);
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

void tst_Defence::logOfSeveralGigabytes()
{
    // Sparse: a log that no memory holds. Its lines stand at the ends.
    const qint64 hole = qint64(9) << 28;
    writeLog("first\n");
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(hole));
        QVERIFY(file.write("\nlast but one\nlast\n") > 0);
    }
    const qint64 memory = peakMemory();
    QCOMPARE(defence(0, QStringLiteral("size")), sizeText(4));
    QCOMPARE(defence(2, QStringLiteral("read")), QStringLiteral("last but one\nlast\n"));
    QCOMPARE(defence(3, QStringLiteral("read")), QStringLiteral("last but one\nlast\n"));
    QCOMPARE(defence(3, QStringLiteral("delete")), deletedText(3));
    QVERIFY(peakMemory() - memory < 200 * 1024);
    QCOMPARE(Phone::read(path), QByteArray("first\n"));
}

void tst_Defence::answerFitsTheBus()
{
    const QByteArray line(1023, 'x');
    QByteArray content;
    for (int number = 0; number < 40 * 1024; ++number) {
        content += line;
        content += '\n';
    }
    writeLog(content);
    const int limit = 16 * 1024 * 1024;
    QCOMPARE(defence(0, QStringLiteral("size")), sizeText(40 * 1024));
    const QString answer = defence(INT_MAX, QStringLiteral("read"));
    QCOMPARE(answer.size(), limit);
    QVERIFY(answer == QString::fromLatin1(content.right(limit)));

    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.defence(16 * 1024, QStringLiteral("read")).size(), limit);
    QCOMPARE(log.texts(QVXLogger::Warning), QStringList());
    QCOMPARE(module.defence(16 * 1024 + 1, QStringLiteral("read")).size(), limit);
    QCOMPARE(log.texts(QVXLogger::Warning).size(), 1);
    LogCapture::setLevel(3);
    QCOMPARE(module.defence(16 * 1024 + 1, QStringLiteral("read")).size(), limit);
    QCOMPARE(log.texts(QVXLogger::Warning).size(), 1);

    // A NUL is answered as a character of three bytes.
    writeLog("first\n" + QByteArray(limit / 2, '\0') + "\nlast\n");
    QCOMPARE(defence(3, QStringLiteral("read")), QStringLiteral("last\n"));
}

void tst_Defence::fullDiskLosesNoLine_data()
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

void tst_Defence::fullDiskLosesNoLine()
{
    QFETCH(QByteArray, content);
    QFETCH(int, position);
    QFETCH(QString, answer);
    const LogCapture log;
    TestableModule module;
    const HangUps syslog;
    const Faults::SmallDisk disk(directory, 0, [&] { Phone::write(path, content); });
    QCOMPARE(module.defence(0, QStringLiteral("size")), sizeText(content.count('\n')));
    QCOMPARE(module.defence(position, QStringLiteral("delete")), answer);
    QTEST(Faults::state(path), "left");
    QCOMPARE(log.errors(),
             answer == notOpened
                 ? QStringList {QStringLiteral("[Method : Defence()] -- impossible to open in "
                                               "read/write mode/log/Defence.log")}
                 : QStringList());
    // After a failure, too: a daemon that writes to a file without a name keeps its room.
    QTRY_COMPARE(syslog.count(), 1);
}

void tst_Defence::openLogIsCutInPlace()
{
    writeLog(three);
    QFile daemon(path);
    QVERIFY(daemon.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered));
    QCOMPARE(defence(2, QStringLiteral("delete")), deletedText(2));
    // Who appends goes on behind what was kept, also before it opens the file anew.
    QVERIFY(daemon.write("four\n") > 0);
    QCOMPARE(Phone::read(path), QByteArray("one\nfour\n"));
}

void tst_Defence::onlyDeletingReloads()
{
    writeLog(three);
    const HangUps syslog;
    defence(1, QStringLiteral("size"));
    defence(1, QStringLiteral("read"));
    defence(1, QStringLiteral("Delete"));
    QCOMPARE(syslog.count(), 0);
    defence(1, QStringLiteral("delete"));
    QTRY_COMPARE(syslog.count(), 1);
    defence(0, QStringLiteral("delete"));
    QTRY_COMPARE(syslog.count(), 2);
    defence(-1, QStringLiteral("delete"));
    QTRY_COMPARE(syslog.count(), 3);
    defence(10, QStringLiteral("delete"));
    QTRY_COMPARE(syslog.count(), 4);
}

void tst_Defence::syslogWritesIntoTheNewFile()
{
    const Phone::Activity &activity = Phone::activity(QStringLiteral("defence"));
    // The tests before have removed the file, and syslog-ng may still have that one open.
    defence(0, QStringLiteral("delete"));
    QVERIFY(Phone::logUntilSeen(activity, path, QStringLiteral("first message")));
    const int count = Phone::read(path).count('\n');
    QVERIFY(Phone::read(path).endsWith("first message\n"));
    QCOMPARE(defence(1, QStringLiteral("read")),
             QString::fromUtf8(Phone::read(path).split('\n').at(count - 1)) + QLatin1Char('\n'));

    QCOMPARE(defence(count + 5, QStringLiteral("delete")), deletedText(count));
    QVERIFY(Phone::read(path).startsWith(onlyText(count)));
    QVERIFY(Phone::logUntilSeen(activity, path, QStringLiteral("second message")));
    QVERIFY(Phone::read(path).startsWith(onlyText(count)));
    QVERIFY(Phone::read(path).endsWith("second message\n"));
    QVERIFY(!Phone::read(path).contains("first message"));
}

QTEST_GUILESS_MAIN(tst_Defence)
#include "tst_defence.moc"
