// The defence log in flash: counted, read and trimmed, whatever stands in it.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/defencelog.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QTest>

#include <climits>

namespace {

using namespace DefenceLog;

const QString badParameter
    = "bad input parameter(s) -- use : defence --help command, for more information"_s;

} // namespace

class tst_Defence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void answersAndLeaves_data();
    void answersAndLeaves();
    void successIsNotLogged();
    void largeFile();
    void oneVeryLongLine();
    void undecodableBytesAreReadAndKept_data();
    void undecodableBytesAreReadAndKept();
    void answerFitsTheBus();
    void syslogWritesIntoTheNewFile();
};

void tst_Defence::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Defence::init()
{
    DefenceLog::write({});
}

void tst_Defence::cleanup()
{
    DefenceLog::write({});
}

void tst_Defence::answersAndLeaves_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("position");
    QTest::addColumn<QString>("todo");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("left");

    const QString size = "size"_s;
    const QString read = "read"_s;
    const QString remove = "delete"_s;
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

    counts("missing file", QByteArray(), 0, 0);
    counts("empty file", "", 0, 0);
    counts("three lines", three, 0, 3);
    counts("position beyond the end", three, 10, 3);
    counts("negative position", three, -1, 3);
    counts("no final line feed", "one\ntwo", 0, 2);
    counts("one line feed", "\n", 0, 1);
    counts("empty lines", "\n\n\n", 0, 3);
    counts("line ends of another system", "one\r\ntwo\r\n", 0, 2);
    counts("other line separators end no line", "one\x0b\x0c\xe2\x80\xa8two\xc2\x85\n", 0, 1);

    reads("missing file", QByteArray(), 3, "");
    reads("empty file", "", 3, "");
    reads("none", three, 0, "");
    reads("the last", three, 1, "three\n");
    reads("the last two", three, 2, "two\nthree\n");
    reads("all", three, 3, "one\ntwo\nthree\n");
    reads("one more than there are", three, 4, "one\ntwo\nthree\n");
    reads("largest position", three, INT_MAX, "one\ntwo\nthree\n");
    reads("negative position", three, -1, "");
    reads("smallest position", three, INT_MIN, "");
    reads("no final line feed", "one\ntwo", 1, "two\n");
    reads("all, no final line feed", "one\ntwo", 2, "one\ntwo\n");
    reads("empty lines", "one\n\n\n", 2, "\n\n");
    reads("blanks are kept", " one \n\t two  \n", 2, " one \n\t two  \n");
    reads("line ends of another system", "one\r\ntwo\r\n", 1, "two\n");
    reads("carriage returns elsewhere", "one\n\rt\rwo\r\r\n", 1, "two\n");
    reads("UTF-8", "one\n\xc3\xbc \xe2\x98\x8e \xf0\x9f\x93\x9e\n", 1,
          "\xc3\xbc \xe2\x98\x8e \xf0\x9f\x93\x9e\n");
    reads("percent signs", "%1 %s %n\n", 1, "%1 %s %n\n");

    deletes("missing file", QByteArray(), 0, 0, "");
    deletes("missing file, beyond its end", QByteArray(), 1, 0, onlyText(0));
    deletes("empty file", "", 0, 0, "");
    deletes("empty file, beyond its end", "", 5, 0, onlyText(0));
    deletes("none", three, 0, 0, three);
    deletes("the last", three, 1, 1, "one\ntwo\n");
    deletes("the last two", three, 2, 2, "one\n");
    deletes("all", three, 3, 3, "");
    deletes("one more than there are", three, 4, 3, onlyText(3));
    deletes("largest position", three, INT_MAX, 3, onlyText(3));
    deletes("negative position", three, -1, -1, three);
    deletes("smallest position", three, INT_MIN, INT_MIN, three);
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
    row("bad: negative position", three, INT_MIN, "Delete"_s, badParameter, three);
    row("bad: missing file is created", QByteArray(), 1, "Delete"_s, badParameter, empty);
    row("bad: no final line feed stays", "one", 1, "Delete"_s, badParameter, "one");
    row("bad: Unicode", three, 1, "reäd"_s, badParameter, three);
}

void tst_Defence::answersAndLeaves()
{
    QFETCH(QByteArray, content);
    QFETCH(int, position);
    QFETCH(QString, todo);
    DefenceLog::write(content);
    const HangUps syslog;
    QTEST(defence(position, todo), "answer");
    QTEST(Faults::state(path), "left");
    QCOMPARE(syslog.count(), todo == QLatin1String("delete") ? 1 : 0);
}

void tst_Defence::successIsNotLogged()
{
    const HangUps syslog;
    for (const QByteArray &content : {three, QByteArray()}) {
        for (const int position : {-1, 2, 4}) {
            for (const QString &todo : {"size"_s, "read"_s, "delete"_s, "bad"_s}) {
                DefenceLog::write(content);
                const LogCapture log;
                TestableModule module;
                module.defence(position, todo);
                const bool reloads = todo == QLatin1String("delete");
                QCOMPARE(Faults::logged(log),
                         reloads ? QStringList {"7 [restart]process success."_s} : QStringList());
            }
        }
    }
}

void tst_Defence::largeFile()
{
    DefenceLog::write(numbered(1, 100000));
    QCOMPARE(defence(0, "size"_s), sizeText(100000));
    QCOMPARE(defence(3, "read"_s), QString::fromLatin1(numbered(99998, 100000)));
    QCOMPARE(defence(50000, "delete"_s), deletedText(50000));
    QVERIFY(Phone::read(path) == numbered(1, 50000));
    QCOMPARE(defence(0, "size"_s), sizeText(50000));
    QCOMPARE(defence(2, "read"_s), QString::fromLatin1(numbered(49999, 50000)));
    QVERIFY(defence(50001, "read"_s) == QString::fromLatin1(numbered(1, 50000)));
    QCOMPARE(defence(50001, "delete"_s), deletedText(50000));
    QCOMPARE(Phone::read(path), onlyText(50000));
}

void tst_Defence::oneVeryLongLine()
{
    const QByteArray line(5000000, 'x');
    DefenceLog::write("one\n" + line + "\ntwo\n");
    QCOMPARE(defence(0, "size"_s), sizeText(3));
    QVERIFY(defence(2, "read"_s) == QString::fromLatin1(line + "\ntwo\n"));
    QCOMPARE(defence(1, "delete"_s), deletedText(1));
    QVERIFY(Phone::read(path) == "one\n" + line + '\n');
}

void tst_Defence::undecodableBytesAreReadAndKept_data()
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

void tst_Defence::undecodableBytesAreReadAndKept()
{
    QFETCH(QByteArray, bytes);
    const QByteArray kept = bytes + "\nbefore" + bytes + "after\n";
    DefenceLog::write(kept + "last\n");
    const QString answer = defence(2, "read"_s);
    QVERIFY2(answer.startsWith("before"_s), qPrintable(answer.left(100)));
    QVERIFY2(answer.endsWith("after\nlast\n"_s), qPrintable(answer.right(100)));
    QVERIFY(!answer.contains(QChar::Null));
    QCOMPARE(answer.count(QLatin1Char('\n')), 2);
    QCOMPARE(defence(0, "size"_s), sizeText(3));
    QCOMPARE(Phone::read(path), kept + "last\n");
    QCOMPARE(defence(1, "delete"_s), deletedText(1));
    QCOMPARE(Phone::read(path), kept);
}

void tst_Defence::answerFitsTheBus()
{
    const QByteArray line(1023, 'x');
    QByteArray content;
    for (int number = 0; number < 40 * 1024; ++number) {
        content += line;
        content += '\n';
    }
    DefenceLog::write(content);
    const int limit = 16 * 1024 * 1024;
    QCOMPARE(defence(0, "size"_s), sizeText(40 * 1024));
    const QString answer = defence(INT_MAX, "read"_s);
    QCOMPARE(answer.size(), limit);
    QVERIFY(answer == QString::fromLatin1(content.right(limit)));

    const LogCapture log;
    TestableModule module;
    QCOMPARE(module.defence(16 * 1024, "read"_s).size(), limit);
    QCOMPARE(log.texts(QVXLogger::Warning), QStringList());
    QCOMPARE(module.defence(16 * 1024 + 1, "read"_s).size(), limit);
    QCOMPARE(log.texts(QVXLogger::Warning).size(), 1);
    LogCapture::setLevel(3);
    QCOMPARE(module.defence(16 * 1024 + 1, "read"_s).size(), limit);
    QCOMPARE(log.texts(QVXLogger::Warning).size(), 1);

    // A NUL is answered as a character of three bytes.
    DefenceLog::write("first\n" + QByteArray(limit / 2, '\0') + "\nlast\n");
    QCOMPARE(defence(3, "read"_s), "last\n"_s);
}

void tst_Defence::syslogWritesIntoTheNewFile()
{
    const Phone::Activity &activity = Phone::activity("defence"_s);
    // The tests before have removed the file, and syslog-ng may still have that one open.
    defence(0, "delete"_s);
    QVERIFY(Phone::logUntilSeen(activity, path, "first message"_s));
    const int count = Phone::read(path).count('\n');
    QVERIFY(Phone::read(path).endsWith("first message\n"));
    QCOMPARE(defence(1, "read"_s),
             QString::fromUtf8(Phone::read(path).split('\n').at(count - 1)) + QLatin1Char('\n'));

    QCOMPARE(defence(count + 5, "delete"_s), deletedText(count));
    QVERIFY(Phone::read(path).startsWith(onlyText(count)));
    QVERIFY(Phone::logUntilSeen(activity, path, "second message"_s));
    QVERIFY(Phone::read(path).startsWith(onlyText(count)));
    QVERIFY(Phone::read(path).endsWith("second message\n"));
    QVERIFY(!Phone::read(path).contains("first message"));
}

QTEST_GUILESS_MAIN(tst_Defence)
#include "tst_defence.moc"
