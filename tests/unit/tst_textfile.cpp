// Text files as UTF-8: that every byte comes back as it was read, and how a text falls into lines.
// SPDX-License-Identifier: MIT
#include "support/files.h"
#include "support/literal.h"
#include "syslogconf/textfile.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

namespace {

/// What decodeText() makes of @p bytes that are not UTF-8.
QString escapes(const QByteArray &bytes)
{
    QString text;
    for (const char byte : bytes) {
        text += QChar(0xdc00 + static_cast<uchar>(byte));
    }
    return text;
}

} // namespace

class TestTextFile : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void bytesComeBack_data();
    void bytesComeBack();
    void randomMixturesComeBack();
    void textsOfTheProgramAreEncoded_data();
    void textsOfTheProgramAreEncoded();
    void linesOfAText();
    void linesOfAFile_data();
    void linesOfAFile();
    void linesFromTheCurrentPosition();
    void linesOfAFileThatCannotBeRead();
    void linesOfAFileThatIsNotOpen();
    void textIsWrittenAndFileClosed_data();
    void textIsWrittenAndFileClosed();
    void fullDeviceIsNoticed_data();
    void fullDeviceIsNoticed();
    void fileThatCannotBeWritten();
    void leftoverBehindTheTextIsNoticed();

private:
    QScopedPointer<QTemporaryDir> m_directory;
    QString m_path;
};

void TestTextFile::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_path = m_directory->filePath("file"_s);
}

void TestTextFile::bytesComeBack_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    const auto points = [](const QVector<uint> &ucs4) {
        return QString::fromUcs4(ucs4.constData(), ucs4.size());
    };
    const auto row = [](const char *name, const QByteArray &bytes, const QString &text) {
        QTest::newRow(name) << bytes << text;
    };
    row("nothing", "", QString());
    row("ASCII", "level(err..emerg)\r\n\t ", "level(err..emerg)\r\n\t "_s);
    row("two bytes", "\xc2\x80\xc3\xbc\xdf\xbf", points({0x80, 0xfc, 0x7ff}));
    row("three bytes", "\xe0\xa0\x80\xe2\x82\xac\xed\x9f\xbf\xee\x80\x80",
        points({0x800, 0x20ac, 0xd7ff, 0xe000}));
    row("four bytes", "\xf0\x90\x80\x80\xf0\x9f\x98\x80\xf4\x8f\xbf\xbd",
        points({0x10000, 0x1f600, 0x10fffd}));
    row("byte order mark", "\xef\xbb\xbf# BEGIN a", QChar(0xfeff) + "# BEGIN a"_s);
    row("byte order mark twice", "\xef\xbb\xbf\xef\xbb\xbf", QString(2, QChar(0xfeff)));
    row("byte order mark inside", "a\xef\xbb\xbf", "a"_s + QChar(0xfeff));
    row("NUL", QByteArray("a\0b\0", 4), "a\0b\0"_s);
    row("replacement character", "\xef\xbf\xbd", QChar(0xfffd));
    row("no character", "\xef\xbf\xbf\xef\xbf\xbe", points({0xffff, 0xfffe}));

    row("Latin-1 inside ASCII",
        "gr\xfc\xdf"
        "e",
        "gr"_s + escapes("\xfc\xdf") + QLatin1Char('e'));
    row("Latin-1 beside UTF-8", "\xc3\xbc\xfc\xf0\x9f\x98\x80", "ü"_s + escapes("\xfc") + "😀"_s);
    row("byte order mark before Latin-1", "\xef\xbb\xbf\xfc", QChar(0xfeff) + escapes("\xfc"));
    row("NUL before Latin-1", QByteArray("\0\xfc", 2), QChar(QChar::Null) + escapes("\xfc"));
    row("sequence broken by ASCII", "\xe2\x82x", escapes("\xe2\x82") + QLatin1Char('x'));
    row("sequence broken by a sequence", "\xe2\x82\xc3\xbc", escapes("\xe2\x82") + "ü"_s);
    row("text before a truncated sequence", "abc\xc3", "abc"_s + escapes("\xc3"));
    row("one continuation too many", "\xc3\xbc\xbc", "ü"_s + escapes("\xbc"));

    const auto escaped
        = [&](const char *name, const QByteArray &bytes) { row(name, bytes, escapes(bytes)); };
    escaped("truncated after one of two", "\xc3");
    escaped("truncated after one of three", "\xe2");
    escaped("truncated after two of three", "\xe2\x82");
    escaped("truncated after one of four", "\xf0");
    escaped("truncated after two of four", "\xf0\x9f");
    escaped("truncated after three of four", "\xf0\x9f\x98");
    escaped("continuation alone", "\x80\xbf");
    escaped("overlong slash of two bytes", "\xc0\xaf");
    escaped("overlong slash of three bytes", "\xe0\x80\xaf");
    escaped("overlong slash of four bytes", "\xf0\x80\x80\xaf");
    escaped("overlong NUL", "\xc0\x80");
    escaped("overlong at the two-byte limit", "\xc1\xbf");
    escaped("overlong at the three-byte limit", "\xe0\x9f\xbf");
    escaped("overlong at the four-byte limit", "\xf0\x8f\xbf\xbf");
    escaped("first surrogate", "\xed\xa0\x80");
    escaped("last surrogate", "\xed\xbf\xbf");
    escaped("surrogate that an escape looks like", "\xed\xb3\xbc");
    escaped("surrogate pair", "\xed\xa0\xbd\xed\xb8\x80");
    escaped("above the last character", "\xf4\x90\x80\x80");
    escaped("five bytes", "\xf8\x88\x80\x80\x80");
    escaped("six bytes", "\xfc\x84\x80\x80\x80\x80");
    escaped("bytes that never occur", "\xfe\xff");

    QByteArray ascii;
    QByteArray others;
    for (int byte = 0; byte < 256; ++byte) {
        (byte < 0x80 ? ascii : others) += static_cast<char>(byte);
    }
    row("every byte", ascii + others,
        QString::fromLatin1(ascii.constData(), ascii.size()) + escapes(others));
}

void TestTextFile::bytesComeBack()
{
    QFETCH(QByteArray, bytes);
    QTEST(decodeText(bytes), "text");
    QCOMPARE(encodeText(decodeText(bytes)), bytes);
}

void TestTextFile::randomMixturesComeBack()
{
    // Pieces whose edges meet: whole, broken and wrong sequences in any order.
    const QList<QByteArray> pieces {"a",
                                    "\n",
                                    QByteArray(1, '\0'),
                                    "\xc3\xbc",
                                    "\xe2\x82\xac",
                                    "\xf0\x9f\x98\x80",
                                    "\xef\xbb\xbf",
                                    "\xc3",
                                    "\xe2\x82",
                                    "\xf0\x9f\x98",
                                    "\x80",
                                    "\xbc",
                                    "\xed\xa0\x80",
                                    "\xed\xb3\xbc",
                                    "\xc0\xaf",
                                    "\xff",
                                    "\xf4\x90\x80\x80"};
    QRandomGenerator random(42);
    for (int round = 0; round < 5000; ++round) {
        QByteArray bytes;
        const int count = random.bounded(12);
        for (int piece = 0; piece < count; ++piece) {
            bytes += pieces.at(random.bounded(pieces.size()));
        }
        QVERIFY2(encodeText(decodeText(bytes)) == bytes, bytes.toHex().constData());
    }
}

void TestTextFile::textsOfTheProgramAreEncoded_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    // U+100DC is the pair D800 DCDC, whose second half alone would be an escape.
    const uint code = 0x100dc;
    const QString pair = QString::fromUcs4(&code, 1);
    QTest::newRow("pair with a second half like an escape")
        << pair << QByteArray("\xf0\x90\x83\x9c");
    QTest::newRow("escape behind such a pair")
        << QString(pair + escapes("\xdc")) << QByteArray("\xf0\x90\x83\x9c\xdc");
    QTest::newRow("escapes only") << escapes("\x80\xff") << QByteArray("\x80\xff");
}

void TestTextFile::textsOfTheProgramAreEncoded()
{
    QFETCH(QString, text);
    QTEST(encodeText(text), "bytes");
}

void TestTextFile::linesOfAText()
{
    QCOMPARE(splitLines(QString()), QStringList());
    QCOMPARE(splitLines("a\r\n\nb\r"_s), (QStringList {"a\r"_s, QString(), "b\r"_s}));
}

void TestTextFile::linesOfAFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("lines");

    const auto row = [](const char *name, const QByteArray &content, const QStringList &lines) {
        QTest::newRow(name) << content << lines;
    };
    const QString a = "a"_s;
    const QString b = "b"_s;
    row("empty file", "", {});
    row("one empty line", "\n", {QString()});
    row("two empty lines", "\r\n\n", {QString(), QString()});
    row("one line", "a\n", {a});
    row("one line without its line feed", "a", {a});
    row("line feeds", "a\nb\n", {a, b});
    row("no last line feed", "a\nb", {a, b});
    row("empty lines around", "\na\n\nb\n\n", {QString(), a, QString(), b, QString()});
    row("blank last line", "a\n ", {a, " "_s});
    row("carriage returns before line feeds", "a\r\nb\r\n", {a, b});
    row("carriage return and no last line feed", "a\r\nb", {a, b});
    row("carriage returns elsewhere", "\ra\r\r\nb\rb", {a, "bb"_s});
    row("other line separators are none", "a\v\f\u0085\u2028\u2029", {"a\v\f\u0085\u2028\u2029"_s});
    row("UTF-8", "ü😀\n", {"ü😀"_s});
    row("Latin-1", "\xfc\n", {escapes("\xfc")});
    row("byte order mark is no other encoding",
        "\xff\xfe"
        "a\n",
        {escapes("\xff\xfe") + a});
    row("NUL", QByteArray("a\0b\n", 4), {"a\0b"_s});
    row("very long line", QByteArray(1000000, 'a') + '\n', {QString(1000000, QLatin1Char('a'))});
}

void TestTextFile::linesOfAFile()
{
    QFETCH(QByteArray, content);
    writeFile(m_path, content);
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QStringList lines;
    QVERIFY(readLines(file, &lines));
    QTEST(lines, "lines");
    QVERIFY(file.isOpen());
}

void TestTextFile::linesFromTheCurrentPosition()
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Text));
    QCOMPARE(file.write("first\nsecond\nthird\n"), 19);
    QVERIFY(file.seek(0));
    QCOMPARE(file.readLine(), QByteArray("first\n"));
    QStringList lines;
    QVERIFY(readLines(file, &lines));
    QCOMPARE(lines, (QStringList {"second"_s, "third"_s}));
    QVERIFY(readLines(file, &lines));
    QCOMPARE(lines, QStringList());
}

void TestTextFile::linesOfAFileThatCannotBeRead()
{
    // A sparse file of more bytes than a byte array holds.
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Text));
    QVERIFY(file.resize(qint64(5) << 30));
    QStringList lines {"earlier"_s};
    QVERIFY(!readLines(file, &lines));
    QCOMPARE(lines, QStringList());
}

void TestTextFile::linesOfAFileThatIsNotOpen()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::read (QFile, \"\"): device not open");
    QFile file;
    QStringList lines {"earlier"_s};
    static_cast<void>(readLines(file, &lines));
    QVERIFY(lines.isEmpty());
}

void TestTextFile::textIsWrittenAndFileClosed_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("nothing") << QString() << QByteArray();
    QTest::newRow("no last line feed") << "a\nb"_s << QByteArray("a\nb");
    QTest::newRow("UTF-8 and Latin-1")
        << QString("ü😀\n"_s + escapes("\xfc")) << QByteArray("ü😀\n\xfc");
    QTest::newRow("long") << QString(3000000, QLatin1Char('x')) << QByteArray(3000000, 'x');
}

void TestTextFile::textIsWrittenAndFileClosed()
{
    QFETCH(QString, text);
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text));
    QVERIFY(writeTextAndClose(file, text));
    QVERIFY(!file.isOpen());
    QTEST(readFile(m_path), "content");
}

void TestTextFile::fullDeviceIsNoticed_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("one byte") << 1;
    QTest::newRow("less than a buffer") << 100;
    QTest::newRow("more than a buffer") << 1000000;
}

void TestTextFile::fullDeviceIsNoticed()
{
    QFETCH(int, size);
    QFile file("/dev/full"_s);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text));
    QVERIFY(!writeTextAndClose(file, QString(size, QLatin1Char('x'))));
    QVERIFY(!file.isOpen());
}

void TestTextFile::fileThatCannotBeWritten()
{
    writeFile(m_path, "");
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QTest::ignoreMessage(
        QtWarningMsg,
        qPrintable(QString("QIODevice::write (QFile, \""_s + m_path + "\"): ReadOnly device"_s)));
    QVERIFY(!writeTextAndClose(file, "text\n"_s));
    QCOMPARE(file.size(), 0);
}

void TestTextFile::leftoverBehindTheTextIsNoticed()
{
    // More reached the file than was asked for: it is not what the caller wanted either.
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Text));
    QCOMPARE(file.write("left over, and longer\n"), 22);
    QVERIFY(file.seek(0));
    QVERIFY(!writeTextAndClose(file, "text\n"_s));
    QVERIFY(!file.isOpen());
}

QTEST_GUILESS_MAIN(TestTextFile)
#include "tst_textfile.moc"
