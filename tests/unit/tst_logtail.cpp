// The newest lines of a log: how they are counted, found and fitted into an answer.
// SPDX-License-Identifier: MIT
#include "levels/logtail.h"

#include <QTemporaryFile>
#include <QTest>

namespace {

/// Lines of very different lengths, some longer than what is read at once.
QByteArray mixedLines(int count)
{
    QByteArray lines;
    for (int number = 0; number < count; ++number) {
        lines += QByteArray((number * 7919) % 70001, 'x') + QByteArray::number(number) + '\n';
    }
    return lines;
}

} // namespace

class TestLogTail : public QObject
{
    Q_OBJECT

private slots:
    void linesAreCountedAndFound_data();
    void linesAreCountedAndFound();
    void onlyTheGivenSizeIsLookedAt();
    void whatCannotBeReadIsSaid();
    void wholeLinesFit_data();
    void wholeLinesFit();
};

void TestLogTail::linesAreCountedAndFound_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("one line") << QByteArray("one\n");
    QTest::newRow("no last line feed") << QByteArray("one\ntwo");
    QTest::newRow("one character") << QByteArray("x");
    QTest::newRow("one line feed") << QByteArray("\n");
    QTest::newRow("empty lines") << QByteArray("\n\n\n");
    QTest::newRow("empty lines, no last line feed") << QByteArray("\n\n\nx");
    QTest::newRow("line feeds around a piece's end")
        << QByteArray(65535, 'x') + "\n\n" + QByteArray(65535, 'y') + '\n';
    QTest::newRow("a piece and a line feed") << QByteArray(65536, 'x') + '\n';
    QTest::newRow("many pieces") << mixedLines(100);
    QTest::newRow("many pieces, no last line feed") << mixedLines(50) + "end";
}

void TestLogTail::linesAreCountedAndFound()
{
    QFETCH(QByteArray, content);
    QTemporaryFile file;
    QVERIFY(file.open());
    QCOMPARE(file.write(content), qint64(content.size()));
    QVERIFY(file.flush());

    QList<QByteArray> lines = content.split('\n');
    if (lines.last().isEmpty()) {
        lines.removeLast();
    }
    QCOMPARE(countLines(file, content.size()), qint64(lines.size()));

    qint64 start = content.size();
    for (int count = 0; count <= lines.size(); ++count) {
        QCOMPARE(startOfNewestLines(file, content.size(), count), start);
        if (count < lines.size()) {
            const bool isLastWithout = count == 0 && !content.endsWith('\n');
            start -= lines.at(lines.size() - 1 - count).size() + (isLastWithout ? 0 : 1);
        }
    }
    QCOMPARE(start, qint64(0));
    QCOMPARE(startOfNewestLines(file, content.size(), lines.size() + 1), qint64(0));
    QCOMPARE(startOfNewestLines(file, content.size(), -1), qint64(content.size()));
}

void TestLogTail::onlyTheGivenSizeIsLookedAt()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY(file.write("one\ntwo\nthree, which came later\n") > 0);
    QVERIFY(file.flush());
    QCOMPARE(countLines(file, 8), qint64(2));
    QCOMPARE(startOfNewestLines(file, 8, 1), qint64(4));
}

void TestLogTail::whatCannotBeReadIsSaid()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY(file.write("one\ntwo\n") > 0);
    QVERIFY(file.flush());
    QCOMPARE(countLines(file, 9), qint64(-1));
    QCOMPARE(startOfNewestLines(file, 80, 1), qint64(-1));
}

void TestLogTail::wholeLinesFit_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("limit");
    QTest::addColumn<bool>("startsInLine");
    QTest::addColumn<QByteArray>("fitting");

    QTest::newRow("nothing") << QByteArray() << 10 << false << QByteArray();
    QTest::newRow("all") << QByteArray("a\nbc\n") << 5 << false << QByteArray("a\nbc\n");
    QTest::newRow("one byte too many") << QByteArray("a\nbc\n") << 4 << false << QByteArray("bc\n");
    QTest::newRow("the last exactly") << QByteArray("a\nbc\n") << 3 << false << QByteArray("bc\n");
    QTest::newRow("not even one") << QByteArray("a\nbc\n") << 2 << false << QByteArray();
    QTest::newRow("begins in a line") << QByteArray("a\nbc\n") << 5 << true << QByteArray("bc\n");
    QTest::newRow("begins with the end of a line")
        << QByteArray("\nbc\n") << 3 << true << QByteArray("bc\n");
    QTest::newRow("in a line without end") << QByteArray("abc") << 5 << true << QByteArray();
    QTest::newRow("line feed to come") << QByteArray("a\nbc") << 5 << false << QByteArray("a\nbc");
    QTest::newRow("no room for the line feed to come")
        << QByteArray("a\nbc") << 4 << false << QByteArray("bc");
    QTest::newRow("NUL takes three bytes")
        << QByteArray("a\n\0\n", 4) << 6 << false << QByteArray("a\n\0\n", 4);
    QTest::newRow("NUL takes too much")
        << QByteArray("a\n\0\n", 4) << 5 << false << QByteArray("\0\n", 2);
    QTest::newRow("empty lines") << QByteArray("\n\n\n") << 2 << false << QByteArray("\n\n");
}

void TestLogTail::wholeLinesFit()
{
    QFETCH(QByteArray, text);
    QFETCH(int, limit);
    QFETCH(bool, startsInLine);
    QTEST(text.mid(startOfWholeLines(text, limit, startsInLine)), "fitting");
}

QTEST_GUILESS_MAIN(TestLogTail)
#include "tst_logtail.moc"
