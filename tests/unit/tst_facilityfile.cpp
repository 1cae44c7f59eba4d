// The facility level file: its four lines, what makes them valid, and which names have such a file.
// SPDX-License-Identifier: MIT
#include "levels/facilityfile.h"

#include <QVX/qvxlogger.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString signature = QStringLiteral("facility signature field");

QStringList validLines()
{
    return {QStringLiteral("6"), QStringLiteral("19"),
            QStringLiteral("file(\"/var/log/qvxaudio.log\")"), signature};
}

QStringList withLine(int index, const QString &text)
{
    QStringList lines = validLines();
    lines[index] = text;
    return lines;
}

QString corrupted(const QString &facility)
{
    return QStringLiteral(" -- error type : facility config file corrupted -- Facility : ")
        + facility;
}

QString levelNotAnInt(const QString &facility)
{
    return QStringLiteral(" --error type : level value not an int -- Facility: ") + facility;
}

QString levelNotExists(const QString &facility)
{
    return QStringLiteral(" --error type : level value not exists -- Facility : ") + facility;
}

QString valueNotAnInt(const QString &facility)
{
    return QStringLiteral(" --error type : facility value is not an int -- Facility : ") + facility;
}

bool writeFile(const QString &path, const QByteArray &content = "x")
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class TestFacilityFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void linesInTheirOrder();
    void linesCanBeChanged();
    void signatureEndsFourLines_data();
    void signatureEndsFourLines();
    void validFile_data();
    void validFile();
    void invalidFile_data();
    void invalidFile();
    void errorNamesTheFacilityAsItIs_data();
    void errorNamesTheFacilityAsItIs();
    void predefinedLines_data();
    void predefinedLines();
    void predefinedLinesAreInvalid();
    void textHasOneLineFeedForEachLine_data();
    void textHasOneLineFeedForEachLine();
    void pathOfAName_data();
    void pathOfAName();
    void nameWithoutAFile_data();
    void nameWithoutAFile();
    void regularFileExists();
    void otherEntriesAreNoFacilityFile();
    void tooLongNameHasNoFile();
    void applicationFile();
    void hostileNameIsNoApplication_data();
    void hostileNameIsNoApplication();

private:
    QString m_realPath;
    QScopedPointer<QTemporaryDir> m_directory;
    QString m_base; ///< holds the facility directory and things outside it
};

void TestFacilityFile::initTestCase()
{
    m_realPath = QVXLogger::facilityConfigFilesPath;
}

void TestFacilityFile::cleanupTestCase()
{
    QVXLogger::facilityConfigFilesPath = m_realPath;
}

void TestFacilityFile::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_base = m_directory->path() + QLatin1Char('/');
    QVERIFY(QDir(m_base).mkdir(QStringLiteral("facility")));
    QVXLogger::facilityConfigFilesPath = m_base + QStringLiteral("facility/");
}

void TestFacilityFile::cleanup()
{
    m_directory.reset();
}

void TestFacilityFile::linesInTheirOrder()
{
    QStringList lines = validLines();
    QCOMPARE(facilityLine(lines, FacilityLine::Level), QStringLiteral("6"));
    QCOMPARE(facilityLine(lines, FacilityLine::FacilityValue), QStringLiteral("19"));
    QCOMPARE(facilityLine(lines, FacilityLine::Redirection),
             QStringLiteral("file(\"/var/log/qvxaudio.log\")"));
    QCOMPARE(facilityLine(lines, FacilityLine::Signature), signature);
}

void TestFacilityFile::linesCanBeChanged()
{
    QStringList lines = validLines();
    facilityLine(lines, FacilityLine::Level) = QStringLiteral("7");
    facilityLine(lines, FacilityLine::Redirection) = QStringLiteral("udp(\"10.0.0.5\")");
    QCOMPARE(lines,
             (QStringList {QStringLiteral("7"), QStringLiteral("19"),
                           QStringLiteral("udp(\"10.0.0.5\")"), signature}));
}

void TestFacilityFile::signatureEndsFourLines_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<bool>("expected");

    const QString any = QStringLiteral("x");
    QTest::newRow("four lines") << QStringList {any, any, any, signature} << true;
    QTest::newRow("four lines of which three are empty")
        << QStringList {QString(), QString(), QString(), signature} << true;
    QTest::newRow("no line") << QStringList {} << false;
    QTest::newRow("signature alone") << QStringList {signature} << false;
    QTest::newRow("three lines") << QStringList {any, any, signature} << false;
    QTest::newRow("five lines") << QStringList {any, any, any, any, signature} << false;
    QTest::newRow("five lines, signature fourth")
        << QStringList {any, any, any, signature, any} << false;
    QTest::newRow("five lines, the last one empty")
        << QStringList {any, any, any, signature, QString()} << false;
    QTest::newRow("signature third") << QStringList {any, any, signature, any} << false;
    const QStringList others {QString(),
                              QStringLiteral("facility signature fiel"),
                              QStringLiteral("facility signature fields"),
                              QStringLiteral("Facility signature field"),
                              QStringLiteral("facility  signature field"),
                              QStringLiteral(" facility signature field"),
                              QStringLiteral("facility signature field "),
                              QStringLiteral("facility signature field\r"),
                              QStringLiteral("facility signature fi\u00e9ld")};
    for (const QString &other : others) {
        QTest::addRow("fourth line \"%s\"", qPrintable(other))
            << QStringList {any, any, any, other} << false;
    }
}

void TestFacilityFile::signatureEndsFourLines()
{
    QFETCH(QStringList, lines);
    QTEST(hasFacilitySignature(lines), "expected");
}

void TestFacilityFile::validFile_data()
{
    QTest::addColumn<QStringList>("lines");

    const QStringList levels {
        QStringLiteral("0"),     QStringLiteral("3"),
        QStringLiteral("4"),     QStringLiteral("5"),
        QStringLiteral("6"),     QStringLiteral("7"),
        QStringLiteral(" 3"),    QStringLiteral("3 "),
        QStringLiteral("\t3\r"), QStringLiteral("+3"),
        QStringLiteral("03"),    QStringLiteral("-0"),
        QStringLiteral("007"),   QStringLiteral("00000000000000000000000000000007")};
    for (const QString &level : levels) {
        QTest::addRow("level \"%s\"", qPrintable(level)) << withLine(0, level);
    }
    const QStringList values {QStringLiteral("0"),   QStringLiteral("16"),
                              QStringLiteral("-1"),  QStringLiteral("9999"),
                              QStringLiteral(" 16"), QStringLiteral("+16"),
                              QStringLiteral("016"), QStringLiteral("2147483647")};
    for (const QString &value : values) {
        QTest::addRow("facility value \"%s\"", qPrintable(value)) << withLine(1, value);
    }
    QTest::newRow("empty redirection") << withLine(2, QString());
    QTest::newRow("any redirection") << withLine(2, QString::fromUtf8("no ( destination ü"));
}

void TestFacilityFile::validFile()
{
    QFETCH(QStringList, lines);
    QString error = QStringLiteral("untouched");
    QVERIFY(checkFacilityFile(lines, QStringLiteral("qvxaudio"), &error));
    QCOMPARE(error, QStringLiteral("untouched"));
}

void TestFacilityFile::invalidFile_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("error");

    const QString audio = QStringLiteral("qvxaudio");
    const QString any = QStringLiteral("x");

    QTest::newRow("no line") << QStringList {} << corrupted(audio);
    QTest::newRow("the answer for a missing file")
        << QStringList {QStringLiteral("Files does not exists: qvxaudio")} << corrupted(audio);
    QTest::newRow("three lines") << QStringList(validLines().mid(1)) << corrupted(audio);
    QTest::newRow("five lines") << (validLines() << QString()) << corrupted(audio);
    QTest::newRow("five lines, signature last")
        << (QStringList {QStringLiteral("3")} + validLines()) << corrupted(audio);
    QTest::newRow("other signature")
        << withLine(3, QStringLiteral("facility signature field ")) << corrupted(audio);

    const QStringList noNumbers {QString(),
                                 QStringLiteral(" "),
                                 QStringLiteral("3x"),
                                 QStringLiteral("x3"),
                                 QStringLiteral("0x3"),
                                 QStringLiteral("3.0"),
                                 QStringLiteral("3,0"),
                                 QStringLiteral("3 4"),
                                 QStringLiteral("err"),
                                 QStringLiteral("+"),
                                 QStringLiteral("--3"),
                                 QStringLiteral("+ 3"),
                                 QStringLiteral("3e0"),
                                 QStringLiteral("2147483648"),
                                 QStringLiteral("4294967299"),
                                 QStringLiteral("99999999999999999999")};
    for (const QString &text : noNumbers) {
        QTest::addRow("level \"%s\"", qPrintable(text))
            << withLine(0, text) << levelNotAnInt(audio);
        QTest::addRow("facility value \"%s\"", qPrintable(text))
            << withLine(1, text) << valueNotAnInt(audio);
    }
    QTest::newRow("predefined facility value")
        << withLine(1, QStringLiteral("facility")) << valueNotAnInt(audio);
    const QStringList noLevels {
        QStringLiteral("1"),          QStringLiteral("2"),          QStringLiteral("8"),
        QStringLiteral("-1"),         QStringLiteral("-3"),         QStringLiteral("+1"),
        QStringLiteral("02"),         QStringLiteral("30"),         QStringLiteral("100"),
        QStringLiteral("2147483647"), QStringLiteral("-2147483648")};
    for (const QString &text : noLevels) {
        QTest::addRow("level \"%s\"", qPrintable(text))
            << withLine(0, text) << levelNotExists(audio);
    }

    QTest::newRow("signature is checked first")
        << QStringList {any, any, any, any} << corrupted(audio);
    QTest::newRow("that the level is a number is checked second")
        << QStringList {any, any, any, signature} << levelNotAnInt(audio);
    QTest::newRow("that the level exists is checked third")
        << QStringList {QStringLiteral("1"), any, any, signature} << levelNotExists(audio);
    QTest::newRow("the facility value is checked last")
        << QStringList {QStringLiteral("3"), any, any, signature} << valueNotAnInt(audio);
}

void TestFacilityFile::invalidFile()
{
    QFETCH(QStringList, lines);
    QString error;
    QVERIFY(!checkFacilityFile(lines, QStringLiteral("qvxaudio"), &error));
    QTEST(error, "error");
}

void TestFacilityFile::errorNamesTheFacilityAsItIs_data()
{
    QTest::addColumn<QString>("facility");

    QTest::newRow("empty") << QString();
    QTest::newRow("path") << QStringLiteral("../../x");
    QTest::newRow("place marker") << QStringLiteral("%1 %2");
    QTest::newRow("Unicode") << QString::fromUtf8("ü😀");
}

void TestFacilityFile::errorNamesTheFacilityAsItIs()
{
    QFETCH(QString, facility);
    QString error;
    QVERIFY(!checkFacilityFile({}, facility, &error));
    QCOMPARE(error, corrupted(facility));
    QVERIFY(!checkFacilityFile(withLine(0, QString()), facility, &error));
    QCOMPARE(error, levelNotAnInt(facility));
    QVERIFY(!checkFacilityFile(withLine(0, QStringLiteral("2")), facility, &error));
    QCOMPARE(error, levelNotExists(facility));
    QVERIFY(!checkFacilityFile(withLine(1, QString()), facility, &error));
    QCOMPARE(error, valueNotAnInt(facility));
}

void TestFacilityFile::predefinedLines_data()
{
    QTest::addColumn<QString>("facility");
    QTest::addColumn<QString>("redirection");

    QTest::newRow("an activity") << QStringLiteral("qvxaudio")
                                 << QStringLiteral("file(\"/var/log/qvxaudio.log\")");
    QTest::newRow("defence") << QStringLiteral("defence")
                             << QStringLiteral("file(\"/log/Defence.log\")");
    QTest::newRow("defence in capitals")
        << QStringLiteral("Defence") << QStringLiteral("file(\"/var/log/Defence.log\")");
    QTest::newRow("a name that contains defence")
        << QStringLiteral("defence2") << QStringLiteral("file(\"/var/log/defence2.log\")");
    QTest::newRow("place marker") << QStringLiteral("%1")
                                  << QStringLiteral("file(\"/var/log/%1.log\")");
}

void TestFacilityFile::predefinedLines()
{
    QFETCH(QString, facility);
    QFETCH(QString, redirection);
    QCOMPARE(predefinedFacilityLines(facility),
             (QStringList {QStringLiteral("3"), QStringLiteral("facility"), redirection,
                           QStringLiteral("facility signature field")}));
}

void TestFacilityFile::predefinedLinesAreInvalid()
{
    QString error;
    QVERIFY(!checkFacilityFile(predefinedFacilityLines(QStringLiteral("qvxaudio")),
                               QStringLiteral("qvxaudio"), &error));
    QCOMPARE(error, valueNotAnInt(QStringLiteral("qvxaudio")));
}

void TestFacilityFile::textHasOneLineFeedForEachLine_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("text");

    QTest::newRow("a facility file")
        << validLines()
        << QStringLiteral("6\n19\nfile(\"/var/log/qvxaudio.log\")\nfacility signature field\n");
    QTest::newRow("predefined content of defence")
        << predefinedFacilityLines(QStringLiteral("defence"))
        << QStringLiteral("3\nfacility\nfile(\"/log/Defence.log\")\nfacility signature field\n");
    QTest::newRow("empty line") << withLine(2, QString())
                                << QStringLiteral("6\n19\n\nfacility signature field\n");
}

void TestFacilityFile::textHasOneLineFeedForEachLine()
{
    QFETCH(QStringList, lines);
    QTEST(facilityFileText(lines), "text");
}

void TestFacilityFile::pathOfAName_data()
{
    QTest::addColumn<QString>("facility");

    QTest::newRow("activity") << QStringLiteral("qvxaudio");
    QTest::newRow("hidden") << QStringLiteral(".hidden");
    QTest::newRow("three dots") << QStringLiteral("...");
    QTest::newRow("blank") << QStringLiteral(" ");
    QTest::newRow("line break") << QStringLiteral("a\nb");
    QTest::newRow("backslash") << QStringLiteral("..\\x");
    QTest::newRow("place marker") << QStringLiteral("%1");
    QTest::newRow("Unicode") << QString::fromUtf8("ü😀");
    QTest::newRow("with the suffix") << QStringLiteral("qvxaudio.conf");
    QTest::newRow("100 kB") << QString(100 * 1024, QLatin1Char('x'));
}

void TestFacilityFile::pathOfAName()
{
    QFETCH(QString, facility);
    QCOMPARE(facilityFilePath(facility),
             QString(m_base + QStringLiteral("facility/") + facility + QStringLiteral(".conf")));
}

void TestFacilityFile::nameWithoutAFile_data()
{
    QTest::addColumn<QString>("facility");

    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("dot") << QStringLiteral(".");
    QTest::newRow("two dots") << QStringLiteral("..");
    QTest::newRow("in a directory") << QStringLiteral("a/b");
    QTest::newRow("in a directory that is there") << QStringLiteral("inner/file");
    QTest::newRow("absolute") << QStringLiteral("/etc/host");
    QTest::newRow("outside") << QStringLiteral("../x");
    QTest::newRow("far outside") << QStringLiteral("../../../../../etc/host");
    QTest::newRow("slash") << QStringLiteral("/");
    QTest::newRow("slash at the end") << QStringLiteral("qvxaudio/");
    QTest::newRow("NUL at the end") << QString(QStringLiteral("qvxaudio") + QChar(QChar::Null));
    QTest::newRow("NUL inside") << QString(QStringLiteral("qvx") + QChar(QChar::Null)
                                           + QStringLiteral("audio"));
    QTest::newRow("NUL alone") << QString(QChar(QChar::Null));
    QTest::newRow("100 kB with a slash")
        << QString(QString(100 * 1024, QLatin1Char('x')) + QLatin1Char('/'));
}

void TestFacilityFile::nameWithoutAFile()
{
    QFETCH(QString, facility);
    const QString directory = m_base + QStringLiteral("facility/");
    // Whatever such a name could be taken for is there.
    QVERIFY(QDir(directory).mkpath(QStringLiteral("inner")));
    QVERIFY(QDir(directory).mkpath(QStringLiteral("a")));
    QVERIFY(QDir(directory).mkpath(QStringLiteral("qvxaudio")));
    for (const QString &name :
         {QStringLiteral(".conf"), QStringLiteral("..conf"), QStringLiteral("...conf"),
          QStringLiteral("a/b.conf"), QStringLiteral("inner/file.conf"),
          QStringLiteral("../x.conf"), QStringLiteral("qvxaudio.conf"), QStringLiteral("qvx.conf"),
          QStringLiteral("qvxaudio/.conf"), QStringLiteral("qvx")}) {
        QVERIFY2(writeFile(directory + name), qPrintable(name));
    }

    QCOMPARE(facilityFilePath(facility), QString());
    QVERIFY(!facilityFileExists(facility));
}

void TestFacilityFile::regularFileExists()
{
    const QStringList names {QStringLiteral("qvxaudio"), QStringLiteral("a\nb"),
                             QStringLiteral(".hidden"), QString::fromUtf8("ü😀"),
                             QStringLiteral(" ")};
    for (const QString &name : names) {
        QVERIFY2(!facilityFileExists(name), qPrintable(name));
        QVERIFY2(
            writeFile(m_base + QStringLiteral("facility/") + name + QStringLiteral(".conf"), ""),
            qPrintable(name));
        QVERIFY2(facilityFileExists(name), qPrintable(name));
    }
    QVERIFY(!facilityFileExists(QStringLiteral("qvxaudi")));
    QVERIFY(!facilityFileExists(QStringLiteral("QvxAudio")));
    QVERIFY(!facilityFileExists(QStringLiteral("qvxaudio.conf")));
}

void TestFacilityFile::otherEntriesAreNoFacilityFile()
{
    const QString directory = m_base + QStringLiteral("facility/");
    QVERIFY(writeFile(directory + QStringLiteral("real.conf")));
    QVERIFY(QDir(directory).mkdir(QStringLiteral("directory.conf")));
    QVERIFY(QFile::link(directory + QStringLiteral("real.conf"),
                        directory + QStringLiteral("link.conf")));
    QVERIFY(QFile::link(directory + QStringLiteral("directory.conf"),
                        directory + QStringLiteral("linkToDirectory.conf")));
    QVERIFY(QFile::link(directory + QStringLiteral("absent"),
                        directory + QStringLiteral("dangling.conf")));
    QVERIFY(writeFile(directory + QStringLiteral("plain")));

    QVERIFY(facilityFileExists(QStringLiteral("real")));
    QVERIFY(!facilityFileExists(QStringLiteral("directory")));
    QVERIFY(facilityFileExists(QStringLiteral("link")));
    QVERIFY(!facilityFileExists(QStringLiteral("linkToDirectory")));
    QVERIFY(!facilityFileExists(QStringLiteral("dangling")));
    QVERIFY(!facilityFileExists(QStringLiteral("plain")));
}

void TestFacilityFile::tooLongNameHasNoFile()
{
    QVERIFY(!facilityFileExists(QString(100 * 1024, QLatin1Char('x'))));
    QVERIFY(!applicationExists(m_base, QString(100 * 1024, QLatin1Char('x'))));
}

void TestFacilityFile::applicationFile()
{
    QVERIFY(writeFile(m_base + QStringLiteral("qvxaudio")));
    QVERIFY(writeFile(m_base + QStringLiteral("other.so")));
    QVERIFY(QDir(m_base).mkdir(QStringLiteral("directory")));
    QVERIFY(QFile::link(m_base + QStringLiteral("absent"), m_base + QStringLiteral("dangling")));

    QVERIFY(applicationExists(m_base, QStringLiteral("qvxaudio")));
    QVERIFY(applicationExists(m_base, QStringLiteral("other.so")));
    QVERIFY(!applicationExists(m_base, QStringLiteral("other")));
    QVERIFY(!applicationExists(m_base, QStringLiteral("qvxaudi")));
    QVERIFY(!applicationExists(m_base, QStringLiteral("QvxAudio")));
    QVERIFY(!applicationExists(m_base, QStringLiteral("directory")));
    QVERIFY(!applicationExists(m_base, QStringLiteral("dangling")));
    QVERIFY(!applicationExists(m_base + QStringLiteral("facility/"), QStringLiteral("qvxaudio")));
    QVERIFY(!applicationExists(m_base + QStringLiteral("absent/"), QStringLiteral("qvxaudio")));
}

void TestFacilityFile::hostileNameIsNoApplication_data()
{
    nameWithoutAFile_data();
}

void TestFacilityFile::hostileNameIsNoApplication()
{
    QFETCH(QString, facility);
    const QString directory = m_base + QStringLiteral("facility/");
    QVERIFY(QDir(directory).mkpath(QStringLiteral("inner")));
    QVERIFY(QDir(directory).mkpath(QStringLiteral("a")));
    for (const QString &name :
         {QStringLiteral("a/b"), QStringLiteral("inner/file"), QStringLiteral("../x"),
          QStringLiteral("qvxaudio"), QStringLiteral("qvx")}) {
        QVERIFY2(writeFile(directory + name), qPrintable(name));
    }
    QVERIFY(!applicationExists(directory, facility));
}

QTEST_GUILESS_MAIN(TestFacilityFile)
#include "tst_facilityfile.moc"
