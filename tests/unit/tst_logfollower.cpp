// A log that is read from its end, and followed: lines, halves of lines, other files in its place.
// SPDX-License-Identifier: MIT
#include "client/logfollower.h"

#include "support/literal.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

class tst_LogFollower : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void newest_data();
    void newest();
    void newestOfAManyBlocks();
    void newestOfOneLongLine();
    void textBehindNul();
    void wanted_data();
    void wanted();
    void linesAsTheyAreFinished();
    void fromAPosition();
    void fourGigabytes();
    void fileThatComesLater();
    void rotation();
    void deletion();
    void truncation();
    void otherPath();
    void otherPathAndBack();
    void noRegularFile();

private:
    QString path(const char *name = "x.log") const
    {
        return m_directory->filePath(QString::fromLatin1(name));
    }
    void append(const QByteArray &bytes, const char *name = "x.log") const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::Append));
        QCOMPARE(file.write(bytes), qint64(bytes.size()));
    }

    std::unique_ptr<QTemporaryDir> m_directory;
};

void tst_LogFollower::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QVERIFY(m_directory->isValid());
}

void tst_LogFollower::newest_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArrayList>("lines");
    const auto row = [](const char *name, const char *content, int count, const char *text,
                        const QByteArrayList &lines) {
        QTest::newRow(name) << QByteArray(content) << count << QString::fromLatin1(text) << lines;
    };
    row("empty", "", 5, "", {});
    row("none wanted", "a\nb\n", 0, "", {});
    row("fewer", "a\nb\n", 5, "", {"a", "b"});
    row("as many", "a\nb\n", 2, "", {"a", "b"});
    row("more", "a\nb\nc\n", 2, "", {"b", "c"});
    row("no line feed at the end", "a\nb", 5, "", {"a", "b"});
    row("empty lines", "\n\na\n\n", 5, "", {"", "", "a", ""});
    row("one line", "a\n", 1, "", {"a"});
    row("with a text", "ax\nb\ncx\nd\n", 5, "x", {"ax", "cx"});
    row("the newest with a text", "ax\nb\ncx\nd\n", 1, "x", {"cx"});
    row("first line alone", "ax\nb\n", 1, "x", {"ax"});
}

void tst_LogFollower::newest()
{
    QFETCH(QByteArray, content);
    QFETCH(int, count);
    QFETCH(QString, text);
    append(content);
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QTEST(newestLines(file, content.size(), count, text), "lines");
    // What was written after the size was taken does not count.
    append("later\n");
    QTEST(newestLines(file, content.size(), count, text), "lines");
}

void tst_LogFollower::newestOfAManyBlocks()
{
    QByteArray content;
    QByteArrayList lines;
    for (int number = 0; number < 30000; ++number) {
        lines.append("line " + QByteArray::number(number) + QByteArray(number % 11, 'x'));
        content += lines.last() + '\n';
    }
    lines.append(QByteArray(200000, 'y')); // longer than any block
    content += lines.last() + '\n';
    append(content);
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(newestLines(file, content.size(), 1, QString()), lines.mid(30000));
    QCOMPARE(newestLines(file, content.size(), 20000, QString()), lines.mid(10001));
    QCOMPARE(newestLines(file, content.size(), 1000000, QString()), lines);
    QCOMPARE(newestLines(file, content.size(), 2, "line 70"_s).size(), 2);
}

void tst_LogFollower::newestOfOneLongLine()
{
    // A file without line feeds, as a power cut leaves it, takes no longer than other files.
    constexpr qint64 size = 100000000;
    QFile file(path());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.resize(size));
    QElapsedTimer time;
    time.start();
    const QByteArrayList lines = newestLines(file, size, 10, QString());
    QVERIFY2(!time.hasExpired(20000), QByteArray::number(time.elapsed()).constData());
    QCOMPARE(lines.size(), 1);
    QCOMPARE(qint64(lines.first().size()), size);
}

void tst_LogFollower::textBehindNul()
{
    const QByteArray line("a\0b \xc3\xbc", 6);
    QCOMPARE(textOf(line), QString("a"_s + QChar() + "b "_s + QChar(0xfc)));
    QVERIFY(isWanted(line, "b "_s));
}

void tst_LogFollower::wanted_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("is");
    QTest::newRow("all") << QString() << true;
    QTest::newRow("part") << "gist"_s << true;
    QTest::newRow("any case") << "register"_s << true;
    QTest::newRow("this case") << "Register"_s << true;
    QTest::newRow("other case") << "REGister"_s << false;
    QTest::newRow("not there") << "x"_s << false;
    QTest::newRow("beyond ASCII") << "\xc3\xbc"_s << true;
    QTest::newRow("no expression") << "R.gister"_s << false;
}

void tst_LogFollower::wanted()
{
    QFETCH(QString, text);
    QTEST(isWanted("to Register at \xc3\xbc", text), "is");
}

void tst_LogFollower::linesAsTheyAreFinished()
{
    append("");
    LogFollower follower;
    follower.follow(path(), 0);
    QCOMPARE(follower.poll(), QByteArrayList());
    append("one\ntwo\nthr");
    QCOMPARE(follower.poll(), (QByteArrayList {"one", "two"}));
    append("ee");
    QCOMPARE(follower.poll(), QByteArrayList());
    append("\n\n");
    QCOMPARE(follower.poll(), (QByteArrayList {"three", ""}));
}

void tst_LogFollower::fromAPosition()
{
    append("old\nnew\n");
    LogFollower follower;
    follower.follow(path(), 4);
    QCOMPARE(follower.poll(), QByteArrayList {"new"});
    LogFollower shorter; // another file than the one whose size was taken
    shorter.follow(path(), 100);
    QCOMPARE(shorter.poll(), (QByteArrayList {"old", "new"}));
}

void tst_LogFollower::fourGigabytes()
{
    // More than 32 bits count. Nearly all of it is a hole, which takes no room.
    constexpr qint64 size = (qint64(1) << 32) + 1;
    {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(size));
    }
    append("\nthe last line\n");
    const std::unique_ptr<QFile> log = openLog(path(), {});
    QVERIFY(log != nullptr);
    QCOMPARE(newestLines(*log, log->size(), 1, QString()), QByteArrayList {"the last line"});
    LogFollower follower;
    follower.follow(path(), log->size());
    append("and one more\n");
    QCOMPARE(follower.poll(), QByteArrayList {"and one more"});
}

void tst_LogFollower::fileThatComesLater()
{
    LogFollower follower;
    follower.follow(path(), 100);
    QString problem;
    QVERIFY(!follower.isReadable(&problem));
    QCOMPARE(problem, QString());
    QCOMPARE(follower.poll(), QByteArrayList());
    append("one\n");
    QCOMPARE(follower.poll(), QByteArrayList {"one"});
    QVERIFY(follower.isReadable(&problem));
}

void tst_LogFollower::rotation()
{
    append("one\n");
    LogFollower follower;
    follower.follow(path(), 0);
    QCOMPARE(follower.poll(), QByteArrayList {"one"});
    append("two\n");
    QVERIFY(QFile::rename(path(), path("x.log.1")));
    append("three\n", "x.log.1"); // the daemon still has it open
    append("four\n");
    QCOMPARE(follower.poll(), (QByteArrayList {"two", "three", "four"}));
    append("five\n", "x.log.1");
    append("six\n");
    QCOMPARE(follower.poll(), (QByteArrayList {"five", "six"}));
}

void tst_LogFollower::deletion()
{
    append("one\n");
    QFile daemon(path());
    QVERIFY(daemon.open(QIODevice::Append | QIODevice::Unbuffered));
    LogFollower follower;
    follower.follow(path(), 4);
    QVERIFY(QFile::remove(path()));
    QCOMPARE(daemon.write("two\n"), qint64(4));
    QCOMPARE(follower.poll(), QByteArrayList {"two"});
    QCOMPARE(daemon.write("three\n"), qint64(6));
    append("four\n");
    QCOMPARE(follower.poll(), (QByteArrayList {"three", "four"}));
}

void tst_LogFollower::truncation()
{
    append("one\ntwo\nha");
    LogFollower follower;
    follower.follow(path(), 0);
    QCOMPARE(follower.poll(), (QByteArrayList {"one", "two"}));
    QVERIFY(QFile::resize(path(), 0));
    append("three\n");
    QCOMPARE(follower.poll(), QByteArrayList {"three"});
}

void tst_LogFollower::otherPath()
{
    append("one\n");
    append("old\n", "y.log");
    LogFollower follower;
    follower.follow(path(), 0);
    QCOMPARE(follower.poll(), QByteArrayList {"one"});
    follower.follow(path("y.log"), 4);
    append("two\n"); // before the daemon has loaded its configuration
    append("three\n", "y.log");
    QCOMPARE(follower.poll(), (QByteArrayList {"two", "three"}));
    follower.follow(QString(), 0);
    append("four\n", "y.log");
    QCOMPARE(follower.poll(), QByteArrayList {"four"});
    QCOMPARE(follower.path(), QString());
}

void tst_LogFollower::otherPathAndBack()
{
    append("one\n");
    append("", "y.log");
    LogFollower follower;
    follower.follow(path(), 4);
    follower.follow(path("y.log"), 0);
    append("two\nthr");
    QCOMPARE(follower.poll(), QByteArrayList {"two"});
    follower.follow(path(), 4);
    append("ee\nfour\n");
    QCOMPARE(follower.poll(), (QByteArrayList {"three", "four"}));
    QCOMPARE(follower.poll(), QByteArrayList());
}

void tst_LogFollower::noRegularFile()
{
    QCOMPARE(mkfifo(QFile::encodeName(path()).constData(), S_IRUSR | S_IWUSR), 0);
    LogFollower follower;
    follower.follow(path(), 0); // does not wait for a writer
    QCOMPARE(follower.poll(), QByteArrayList());
    QString problem;
    QVERIFY(!follower.isReadable(&problem));
    QCOMPARE(problem, "it is no regular file"_s);
}

QTEST_APPLESS_MAIN(tst_LogFollower)
#include "tst_logfollower.moc"
