// Text files as UTF-8: that every byte comes back as it was read, and how a text falls into lines.
// SPDX-License-Identifier: MIT
#include "syslogconf/textfile.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCodec>

#include <clocale>

namespace {

/// What decodeText() makes of a byte that is not UTF-8.
QChar escaped(uchar byte)
{
    return QChar(0xdc00 + byte);
}

QByteArray allBytes()
{
    QByteArray bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

} // namespace

class TestTextFile : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void utf8IsDecoded_data();
    void utf8IsDecoded();
    void otherBytesAreEscaped_data();
    void otherBytesAreEscaped();
    void byteOfNoUtf8IsOneCharacter();
    void roundTripOfRandomBytes();
    void roundTripOfRandomMixtures();
    void localeMakesNoDifference();
    void textsOfTheProgramAreEncoded_data();
    void textsOfTheProgramAreEncoded();
    void linesOfAText_data();
    void linesOfAText();
    void linesOfAFile_data();
    void linesOfAFile();
    void linesFromTheCurrentPosition();
    void linesOfAFileThatCannotBeRead();
    void linesOfAFileThatIsNotOpen();
    void textIsWrittenAndFileClosed_data();
    void textIsWrittenAndFileClosed();
    void longTextIsWritten();
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
    m_path = m_directory->filePath(QStringLiteral("file"));
}

void TestTextFile::utf8IsDecoded_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    const auto points = [](const QVector<uint> &ucs4) {
        return QString::fromUcs4(ucs4.constData(), ucs4.size());
    };
    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("ASCII") << QByteArray("level(err..emerg)\r\n\t ")
                           << QStringLiteral("level(err..emerg)\r\n\t ");
    QTest::newRow("two bytes") << QByteArray("\xc2\x80\xc3\xbc\xdf\xbf")
                               << points({0x80, 0xfc, 0x7ff});
    QTest::newRow("three bytes") << QByteArray("\xe0\xa0\x80\xe2\x82\xac\xed\x9f\xbf\xee\x80\x80")
                                 << points({0x800, 0x20ac, 0xd7ff, 0xe000});
    QTest::newRow("four bytes") << QByteArray("\xf0\x90\x80\x80\xf0\x9f\x98\x80\xf4\x8f\xbf\xbd")
                                << points({0x10000, 0x1f600, 0x10fffd});
    QTest::newRow("byte order mark") << QByteArray("\xef\xbb\xbf# BEGIN a")
                                     << QString(QChar(0xfeff) + QStringLiteral("# BEGIN a"));
    QTest::newRow("byte order mark twice")
        << QByteArray("\xef\xbb\xbf\xef\xbb\xbf") << QString(2, QChar(0xfeff));
    QTest::newRow("byte order mark inside")
        << QByteArray("a\xef\xbb\xbf") << QString(QLatin1Char('a') + QChar(0xfeff));
    QTest::newRow("NUL") << QByteArray("a\0b\0", 4)
                         << QString::fromLatin1(QByteArray("a\0b\0", 4).constData(), 4);
    QTest::newRow("replacement character") << QByteArray("\xef\xbf\xbd") << QString(QChar(0xfffd));
    QTest::newRow("no character") << QByteArray("\xef\xbf\xbf\xef\xbf\xbe")
                                  << points({0xffff, 0xfffe});
}

void TestTextFile::utf8IsDecoded()
{
    QFETCH(QByteArray, bytes);
    QTEST(decodeText(bytes), "text");
    QCOMPARE(encodeText(decodeText(bytes)), bytes);
}

void TestTextFile::otherBytesAreEscaped_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    const auto escapes = [](const QByteArray &bytes) {
        QString text;
        for (const char byte : bytes) {
            text += escaped(static_cast<uchar>(byte));
        }
        return text;
    };
    const auto invalid = [&](const char *name, const QByteArray &bytes) {
        QTest::newRow(name) << bytes << escapes(bytes);
    };
    QTest::newRow("Latin-1 inside ASCII")
        << QByteArray("gr\xfc\xdf"
                      "e")
        << QString(QStringLiteral("gr") + escapes("\xfc\xdf") + QLatin1Char('e'));
    QTest::newRow("Latin-1 beside UTF-8")
        << QByteArray("\xc3\xbc\xfc\xf0\x9f\x98\x80")
        << QString(QString::fromUtf8("ü") + escaped(0xfc) + QString::fromUtf8("😀"));
    QTest::newRow("byte order mark before Latin-1")
        << QByteArray("\xef\xbb\xbf\xfc") << QString(QChar(0xfeff) + escaped(0xfc));
    QTest::newRow("NUL before Latin-1")
        << QByteArray("\0\xfc", 2) << QString(QString(1, QChar::Null) + escaped(0xfc));
    QTest::newRow("sequence broken by ASCII")
        << QByteArray("\xe2\x82x") << QString(escapes("\xe2\x82") + QLatin1Char('x'));
    QTest::newRow("sequence broken by a sequence")
        << QByteArray("\xe2\x82\xc3\xbc") << QString(escapes("\xe2\x82") + QString::fromUtf8("ü"));
    QTest::newRow("text before a truncated sequence")
        << QByteArray("abc\xc3") << QString(QStringLiteral("abc") + escaped(0xc3));
    QTest::newRow("one continuation too many")
        << QByteArray("\xc3\xbc\xbc") << QString(QString::fromUtf8("ü") + escaped(0xbc));
    invalid("truncated after one of two", "\xc3");
    invalid("truncated after one of three", "\xe2");
    invalid("truncated after two of three", "\xe2\x82");
    invalid("truncated after one of four", "\xf0");
    invalid("truncated after two of four", "\xf0\x9f");
    invalid("truncated after three of four", "\xf0\x9f\x98");
    invalid("continuation alone", "\x80\xbf");
    invalid("overlong slash of two bytes", "\xc0\xaf");
    invalid("overlong slash of three bytes", "\xe0\x80\xaf");
    invalid("overlong slash of four bytes", "\xf0\x80\x80\xaf");
    invalid("overlong NUL", "\xc0\x80");
    invalid("overlong at the two-byte limit", "\xc1\xbf");
    invalid("overlong at the three-byte limit", "\xe0\x9f\xbf");
    invalid("overlong at the four-byte limit", "\xf0\x8f\xbf\xbf");
    invalid("first surrogate", "\xed\xa0\x80");
    invalid("last surrogate", "\xed\xbf\xbf");
    invalid("surrogate that an escape looks like", "\xed\xb3\xbc");
    invalid("surrogate pair", "\xed\xa0\xbd\xed\xb8\x80");
    invalid("above the last character", "\xf4\x90\x80\x80");
    invalid("five bytes", "\xf8\x88\x80\x80\x80");
    invalid("six bytes", "\xfc\x84\x80\x80\x80\x80");
    invalid("bytes that never occur", "\xfe\xff");
}

void TestTextFile::otherBytesAreEscaped()
{
    QFETCH(QByteArray, bytes);
    QTEST(decodeText(bytes), "text");
    QCOMPARE(encodeText(decodeText(bytes)), bytes);
}

void TestTextFile::byteOfNoUtf8IsOneCharacter()
{
    const QByteArray bytes = allBytes();
    const QString text = decodeText(bytes);
    QCOMPARE(text.size(), 256);
    for (int byte = 0; byte < 256; ++byte) {
        QCOMPARE(text.at(byte), byte < 0x80 ? QChar(byte) : escaped(static_cast<uchar>(byte)));
    }
    QCOMPARE(encodeText(text), bytes);

    // Alone, each of them is at the end of the text.
    for (int byte = 0; byte < 256; ++byte) {
        const QByteArray one(1, static_cast<char>(byte));
        QCOMPARE(decodeText(one).size(), 1);
        QCOMPARE(encodeText(decodeText(one)), one);
    }
}

void TestTextFile::roundTripOfRandomBytes()
{
    QRandomGenerator random(20240229);
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes(random.bounded(200), '\0');
        for (char &byte : bytes) {
            byte = static_cast<char>(random.bounded(256));
        }
        QVERIFY2(encodeText(decodeText(bytes)) == bytes, bytes.toHex().constData());
    }
}

void TestTextFile::roundTripOfRandomMixtures()
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

void TestTextFile::localeMakesNoDifference()
{
    const QByteArray before = setlocale(LC_ALL, nullptr);
    QVERIFY(setlocale(LC_ALL, "C"));
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const QByteArray bytes = QByteArray("\xc3\xbc\xf0\x9f\x98\x80\xfc");
    const QString text = decodeText(bytes);
    const QByteArray encoded = encodeText(text);
    QTextCodec::setCodecForLocale(nullptr);
    setlocale(LC_ALL, before.constData());
    QCOMPARE(text, QString(QString::fromUtf8("ü😀") + escaped(0xfc)));
    QCOMPARE(encoded, bytes);
}

void TestTextFile::textsOfTheProgramAreEncoded_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("nothing") << QString() << QByteArray();
    QTest::newRow("ASCII") << QStringLiteral("debug") << QByteArray("debug");
    QTest::newRow("Unicode") << QString::fromUtf8("ü€😀") << QByteArray("ü€😀");
    // U+100DC is the pair D800 DCDC, whose second half alone would be an escape.
    const uint pair = 0x100dc;
    QTest::newRow("pair with a second half like an escape")
        << QString::fromUcs4(&pair, 1) << QByteArray("\xf0\x90\x83\x9c");
    QTest::newRow("escape behind such a pair")
        << QString(QString::fromUcs4(&pair, 1) + escaped(0xdc))
        << QByteArray("\xf0\x90\x83\x9c\xdc");
    QTest::newRow("escapes only") << QString(QString(escaped(0x80)) + escaped(0xff))
                                  << QByteArray("\x80\xff");
}

void TestTextFile::textsOfTheProgramAreEncoded()
{
    QFETCH(QString, text);
    QTEST(encodeText(text), "bytes");
}

void TestTextFile::linesOfAText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("lines");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("null") << QString() << QStringList();
    QTest::newRow("empty") << QStringLiteral("") << QStringList();
    QTest::newRow("one empty line") << QStringLiteral("\n") << QStringList {QString()};
    QTest::newRow("two empty lines")
        << QStringLiteral("\n\n") << QStringList {QString(), QString()};
    QTest::newRow("one line") << QStringLiteral("a\n") << QStringList {a};
    QTest::newRow("one line without its line feed") << QStringLiteral("a") << QStringList {a};
    QTest::newRow("two lines") << QStringLiteral("a\nb\n") << QStringList {a, b};
    QTest::newRow("two lines, the last one without its line feed")
        << QStringLiteral("a\nb") << QStringList {a, b};
    QTest::newRow("empty lines around")
        << QStringLiteral("\na\n\nb\n\n") << QStringList {QString(), a, QString(), b, QString()};
    QTest::newRow("blank last line")
        << QStringLiteral("a\n ") << QStringList {a, QStringLiteral(" ")};
    QTest::newRow("carriage return stays")
        << QStringLiteral("a\r\nb\r\n")
        << QStringList {QStringLiteral("a\r"), QStringLiteral("b\r")};
    QTest::newRow("other line separators are none")
        << QString(QStringLiteral("a\v\f") + QChar(0x85) + QChar(0x2028) + QChar(0x2029))
        << QStringList {
               QString(QStringLiteral("a\v\f") + QChar(0x85) + QChar(0x2028) + QChar(0x2029))};
}

void TestTextFile::linesOfAText()
{
    QFETCH(QString, text);
    QTEST(splitLines(text), "lines");
}

void TestTextFile::linesOfAFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("lines");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("empty file") << QByteArray() << QStringList();
    QTest::newRow("line feeds") << QByteArray("a\nb\n") << QStringList {a, b};
    QTest::newRow("no last line feed") << QByteArray("a\nb") << QStringList {a, b};
    QTest::newRow("carriage returns before line feeds")
        << QByteArray("a\r\nb\r\n") << QStringList {a, b};
    QTest::newRow("carriage return and no last line feed")
        << QByteArray("a\r\nb") << QStringList {a, b};
    QTest::newRow("carriage returns elsewhere")
        << QByteArray("\ra\r\r\nb\rb") << QStringList {a, QStringLiteral("bb")};
    QTest::newRow("empty lines") << QByteArray("\r\n\n") << QStringList {QString(), QString()};
    QTest::newRow("UTF-8") << QByteArray("ü😀\n") << QStringList {QString::fromUtf8("ü😀")};
    QTest::newRow("Latin-1") << QByteArray("\xfc\n") << QStringList {QString(escaped(0xfc))};
    QTest::newRow("byte order mark is no other encoding")
        << QByteArray("\xff\xfe"
                      "a\n")
        << QStringList {QString(QString(escaped(0xff)) + escaped(0xfe) + a)};
    QTest::newRow("NUL") << QByteArray("a\0b\n", 4)
                         << QStringList {QString(a + QChar(QChar::Null) + b)};
    QTest::newRow("very long line") << QByteArray(QByteArray(1000000, 'a') + '\n')
                                    << QStringList {QString(1000000, QLatin1Char('a'))};
}

void TestTextFile::linesOfAFile()
{
    QFETCH(QByteArray, content);
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
    file.close();

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
    QCOMPARE(lines, (QStringList {QStringLiteral("second"), QStringLiteral("third")}));
    QVERIFY(readLines(file, &lines));
    QCOMPARE(lines, QStringList());
}

void TestTextFile::linesOfAFileThatCannotBeRead()
{
    // A sparse file of more bytes than a byte array holds.
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Text));
    QVERIFY(file.resize(qint64(5) << 30));
    QStringList lines {QStringLiteral("earlier")};
    QVERIFY(!readLines(file, &lines));
    QCOMPARE(lines, QStringList());
}

void TestTextFile::linesOfAFileThatIsNotOpen()
{
    QTest::ignoreMessage(QtWarningMsg, "QIODevice::read (QFile, \"\"): device not open");
    QFile file;
    QStringList lines;
    static_cast<void>(readLines(file, &lines));
    QVERIFY(lines.isEmpty());
}

void TestTextFile::textIsWrittenAndFileClosed_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("nothing") << QString() << QByteArray();
    QTest::newRow("lines") << QStringLiteral("a\nb\n") << QByteArray("a\nb\n");
    QTest::newRow("no last line feed") << QStringLiteral("a") << QByteArray("a");
    QTest::newRow("UTF-8") << QString::fromUtf8("ü😀\n") << QByteArray("ü😀\n");
    QTest::newRow("Latin-1") << QString(QString(escaped(0xfc)) + QLatin1Char('\n'))
                             << QByteArray("\xfc\n");
}

void TestTextFile::textIsWrittenAndFileClosed()
{
    QFETCH(QString, text);
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text));
    QVERIFY(writeTextAndClose(file, text));
    QVERIFY(!file.isOpen());
    QVERIFY(file.open(QIODevice::ReadOnly));
    QTEST(file.readAll(), "content");
}

void TestTextFile::longTextIsWritten()
{
    const QString text(3000000, QLatin1Char('x'));
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text));
    QVERIFY(writeTextAndClose(file, text));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(file.readAll() == text.toUtf8());
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
    QFile file(QStringLiteral("/dev/full"));
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Text));
    QVERIFY(!writeTextAndClose(file, QString(size, QLatin1Char('x'))));
    QVERIFY(!file.isOpen());
}

void TestTextFile::fileThatCannotBeWritten()
{
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(file.open(QIODevice::ReadOnly));
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable(QString(QStringLiteral("QIODevice::write (QFile, \"") + m_path
                                            + QStringLiteral("\"): ReadOnly device"))));
    QVERIFY(!writeTextAndClose(file, QStringLiteral("text\n")));
    QCOMPARE(file.size(), 0);
}

void TestTextFile::leftoverBehindTheTextIsNoticed()
{
    // More reached the file than was asked for: it is not what the caller wanted either.
    QFile file(m_path);
    QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Text));
    QCOMPARE(file.write("left over, and longer\n"), 22);
    QVERIFY(file.seek(0));
    QVERIFY(!writeTextAndClose(file, QStringLiteral("text\n")));
    QVERIFY(!file.isOpen());
}

QTEST_GUILESS_MAIN(TestTextFile)
#include "tst_textfile.moc"
