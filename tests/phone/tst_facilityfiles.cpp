// The facility level files: read, changed and repaired, or refused without harm.
// SPDX-License-Identifier: MIT
#include "support/facilities.h"
#include "support/faults.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QtTest>

#include <memory>

namespace {

using Facilities::good;
using Facilities::noSuchFile;

const QString facility = "sipmmi"_s;
const QString file = Phone::facilityDirectory + "sipmmi.conf"_s;
const QByteArray predefined
    = "3\nfacility\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";
const QString restored = "sylog-ng config file restored"_s;

/// A file that is valid when its level and its facility value are.
QByteArray fileWith(const QByteArray &level, const QByteArray &value,
                    const QByteArray &redirection = "file(\"x\")")
{
    return level + '\n' + value + '\n' + redirection + "\nfacility signature field\n";
}

} // namespace

class tst_FacilityFiles : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void readingRemovesAnInvalidFileOnly_data();
    void readingRemovesAnInvalidFileOnly();
    void readingWithoutAFileSaysSo();
    void readingWithoutAccessSaysSo();

    void updateChangesOneField_data();
    void updateChangesOneField();
    void levelIsWrittenThroughTheUpdate();
    void linkToAFileIsReadAndReplaced();
    void updateOfAnInvalidFileRemovesIt_data();
    void updateOfAnInvalidFileRemovesIt();
    void updateWithoutAccessRestoresTheFile();

    void restoreWritesThePredefinedContent_data();
    void restoreWritesThePredefinedContent();
    void restoreOfAMissingFileCreatesNothing();
    void restoreThatCannotWriteKeepsTheFile();
    void fullDiskKeepsTheOldFile();

private:
    std::unique_ptr<Facilities::Set> m_facilities;
    TestableModule m_module;
};

void tst_FacilityFiles::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    m_facilities = std::make_unique<Facilities::Set>();
    QCOMPARE(Phone::read(file), good);
}

void tst_FacilityFiles::init()
{
    m_facilities->reset();
}

void tst_FacilityFiles::cleanup()
{
    QVXLogger::facilityConfigFilesPath = Phone::facilityDirectory;
    Faults::setMode(Phone::facilityDirectory, 0755);
}

void tst_FacilityFiles::cleanupTestCase()
{
    m_facilities.reset();
}

void tst_FacilityFiles::readingRemovesAnInvalidFileOnly_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("lines");

    const QString a = "a"_s;
    const QString b = "b"_s;
    QTest::newRow("usual") << good
                           << QStringList {"3"_s, "21"_s, "file(\"/var/log/sipmmi.log\")"_s,
                                           "facility signature field"_s};
    QTest::newRow("empty") << QByteArray("") << QStringList();
    QTest::newRow("no last line feed") << QByteArray("a\nb") << QStringList {a, b};
    QTest::newRow("blank line at the end")
        << QByteArray("a\nb\n\n") << QStringList {a, b, QString()};
    QTest::newRow("carriage returns") << QByteArray("a\r\nb\r\n") << QStringList {a, b};
    QTest::newRow("UTF-8") << QByteArray("größe ☎\n") << QStringList {"größe ☎"_s};
}

void tst_FacilityFiles::readingRemovesAnInvalidFileOnly()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, lines);
    Phone::write(file, content);
    const LogCapture log;

    QCOMPARE(m_module.readFacilityFile(facility), lines);

    QCOMPARE(Faults::state(file), content == good ? good : QByteArray("<missing>"));
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_FacilityFiles::readingWithoutAFileSaysSo()
{
    QVERIFY(QFile::remove(file));
    const QString answer = "Files does not exists: sipmmi"_s;
    for (const int level : {7, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.readFacilityFile(facility), QStringList {answer});
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, QStringList {"3 "_s + answer}));
        QVERIFY(!QFile::exists(file));
    }
}

void tst_FacilityFiles::readingWithoutAccessSaysSo()
{
    Faults::setMode(file, 0444);
    const QStringList lines {"3 No access to : sipmmi.conf"_s};
    for (const int level : {7, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QStringList answer;
        {
            const Faults::WithoutOverride noOverride;
            answer = m_module.readFacilityFile(facility);
        }
        QCOMPARE(answer, QStringList {"No valid configuration file : sipmmi"_s});
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QCOMPARE(Phone::read(file), good);
    }
}

void tst_FacilityFiles::updateChangesOneField_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("field");
    QTest::addColumn<int>("level");
    QTest::addColumn<QByteArray>("after");

    const QByteArray redirection = "udp(\"größe\" port(514))";
    const auto row = [](const QByteArray &name, const QByteArray &before, const char *field,
                        int level, const QByteArray &after) {
        QTest::newRow(name.constData()) << before << QString::fromLatin1(field) << level << after;
    };
    for (const int number : {0, 3, 4, 5, 6, 7, 2, -1}) {
        const QByteArray text = QByteArray::number(number);
        row("to level " + text, good, "level", number, Facilities::withLevel(good, number));
    }
    for (const char *level : {"0", "3", "4", "5", "6", "7", " 3", "3 ", "\t3\r", "+3", "03", "-0",
                              "007", "00000000000000000000000000000007"}) {
        row("level \"" + QByteArray(level).simplified() + "\" "
                + QByteArray::number(qstrlen(level)),
            fileWith(level, "21"), "level", 5, fileWith("5", "21"));
    }
    for (const char *value : {"0", "16", "-1", "9999", " 16", "+16 ", "016", "2147483647"}) {
        row("facility value \"" + QByteArray(value) + '"', fileWith(" 3", value), "redirection", 7,
            fileWith(" 3", value, redirection));
    }
    row("another field", good, "Level", 7, good);
    row("no field", good, "", 7, good);
    row("no last line feed", fileWith("3", "21").chopped(1), "redirection", 7,
        fileWith("3", "21", redirection));
    row("empty redirection", fileWith("07", "-1", ""), "level", 4, fileWith("4", "-1", ""));
    row("any redirection", fileWith("3", "21", "\tno ( destination ü ☎ \t"), "level", 7,
        fileWith("7", "21", "\tno ( destination ü ☎ \t"));
}

void tst_FacilityFiles::updateChangesOneField()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, field);
    QFETCH(int, level);
    QFETCH(QByteArray, after);
    Phone::write(file, before);
    const LogCapture log;

    QCOMPARE(m_module.updateFacilityFile("udp(\"größe\" port(514))"_s, facility, field, level),
             "OK"_s);

    QCOMPARE(Phone::read(file), after);
    QCOMPARE(Faults::mode(file), 0644);
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_FacilityFiles::levelIsWrittenThroughTheUpdate()
{
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.writeFacilitylevel(facility, level - 1), "OK"_s);
        QCOMPARE(Phone::read(file), Facilities::withLevel(good, level - 1));
        QCOMPARE(Faults::logged(log),
                 Faults::writtenAt(level, {"7 [writeFacilitylevel] file path :"_s + file}));
    }
}

void tst_FacilityFiles::linkToAFileIsReadAndReplaced()
{
    const QString elsewhere = "/data/elsewhere.conf"_s;
    Phone::write(elsewhere, good);
    QVERIFY(QFile::remove(file));
    QVERIFY(QFile::link(elsewhere, file));

    QCOMPARE(m_module.searchFacility(facility), "OK"_s);
    QCOMPARE(m_module.writeFacilitylevel(facility, 7), "OK"_s);

    QVERIFY(!QFileInfo(file).isSymLink());
    QCOMPARE(Phone::read(file), Facilities::withLevel(good, 7));
    QCOMPARE(Phone::read(elsewhere), good);
    Faults::removeAll(elsewhere);
}

void tst_FacilityFiles::updateOfAnInvalidFileRemovesIt_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("error");

    const QString corrupted = " -- error type : facility config file corrupted -- Facility : "_s;
    const QString noNumber = " --error type : level value not an int -- Facility: "_s;
    const QString noLevel = " --error type : level value not exists -- Facility : "_s;
    const QString noValue = " --error type : facility value is not an int -- Facility : "_s;
    const auto row = [](const char *name, const QByteArray &content, const QString &error) {
        QTest::newRow(name) << content << error;
    };

    row("empty", "", corrupted);
    row("signature alone", "facility signature field\n", corrupted);
    row("three lines", "3\n21\nfacility signature field\n", corrupted);
    row("five lines", fileWith("3", "21") + "more\n", corrupted);
    row("blank fifth line", fileWith("3", "21") + "\n", corrupted);
    row("five lines, the signature last", "3\n" + fileWith("3", "21"), corrupted);
    row("signature first", "facility signature field\n3\n21\nfile(\"x\")\n", corrupted);
    row("signature third", "3\n21\nfacility signature field\nfile(\"x\")\n", corrupted);
    for (const char *signature :
         {"", "facility signature fiel", "facility signature fields", "Facility signature field",
          "facility  signature field", " facility signature field", "facility signature field ",
          "facility signature fiéld"}) {
        QTest::addRow("signature \"%s\"", signature) << QByteArray("3\n21\nfile(\"x\")\n")
                + signature + '\n' << corrupted;
    }
    for (const char *text : {"", " ", "3x", "x3", "0x3", "3.0", "3,0", "3 4", "err", "+", "--3",
                             "+ 3", "3e0", "2147483648", "4294967299", "99999999999999999999"}) {
        QTest::addRow("level \"%s\"", text) << fileWith(text, "21") << noNumber;
        QTest::addRow("facility value \"%s\"", text) << fileWith("3", text) << noValue;
    }
    for (const char *level :
         {"1", "2", "8", "-1", "-3", "+1", "02", "30", "100", "2147483647", "-2147483648"}) {
        QTest::addRow("level \"%s\"", level) << fileWith(level, "21") << noLevel;
    }
    row("as restored", predefined, noValue);

    // The order of the tests shows in the text.
    row("everything is wrong", "x\nx\nx\nx\n", corrupted);
    row("level and value are no numbers", fileWith("x", "x"), noNumber);
    row("level 1, value no number", fileWith("1", "x"), noLevel);
}

void tst_FacilityFiles::updateOfAnInvalidFileRemovesIt()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, error);
    const QString name = "sip%1 %2 ü😀"_s; // is named as it is
    const QString path = Phone::facilityFile(name);
    const QStringList lines {"3 "_s + error + name, "7 setPermissions() result "_s + noSuchFile};
    const Facilities::NotingSetUp setUp;
    for (const int level : {7, 6, 2}) {
        for (const char *field : {"level", "redirection", "nothing"}) {
            Phone::write(path, content);
            const LogCapture log;
            LogCapture::setLevel(level);

            QCOMPARE(m_module.updateFacilityFile("file(\"y\")"_s, name, QLatin1String(field), 3),
                     noSuchFile);

            QCOMPARE(Faults::state(path), QByteArray("<missing>"));
            QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        }
    }
    // The repair is its callers' business.
    QCOMPARE(setUp.starts(), QByteArray());
}

void tst_FacilityFiles::updateWithoutAccessRestoresTheFile()
{
    Faults::setMode(file, 0444);
    const LogCapture log;
    QString answer;
    {
        const Faults::WithoutOverride noOverride;
        answer = m_module.updateFacilityFile("none"_s, facility, "level"_s, 7);
    }
    QCOMPARE(answer, restored);
    QCOMPARE(Phone::read(file), predefined);
    QCOMPARE(Faults::logged(log),
             (QStringList {"3 No access to : sipmmi.conf"_s,
                           "3  -- error type : facility config file corrupted -- "
                           "Facility : sipmmi"_s}));
}

void tst_FacilityFiles::restoreWritesThePredefinedContent_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");

    const auto row = [](const char *name, const char *log) {
        QTest::newRow(name) << QString::fromUtf8(
            name) << QByteArray("3\nfacility\nfile(\"") + log + "\")\nfacility signature field\n";
    };
    row("sipmmi", "/var/log/sipmmi.log");
    row("defence", "/log/Defence.log");
    row("Defence", "/var/log/Defence.log");
    row("defences", "/var/log/defences.log");
    row("größe %1", "/var/log/größe %1.log");
}

void tst_FacilityFiles::restoreWritesThePredefinedContent()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    Phone::write(Phone::facilityFile(name),
                 "anything, and much longer than what will stand there\n" + QByteArray(1000, 'x'));
    const LogCapture log;

    QCOMPARE(m_module.restoreFacilityFile(name), restored);

    QCOMPARE(Phone::read(Phone::facilityFile(name)), content);
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_FacilityFiles::restoreOfAMissingFileCreatesNothing()
{
    QVERIFY(QFile::remove(file));
    const QStringList lines {"7 setPermissions() result "_s + noSuchFile};
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.restoreFacilityFile(facility), noSuchFile);
        QCOMPARE(Faults::state(file), QByteArray("<missing>"));
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_FacilityFiles::restoreThatCannotWriteKeepsTheFile()
{
    Faults::setMode(Phone::facilityDirectory, 0555);
    const QStringList lines {"3 Permission denied -- config file : sipmmi"_s};
    for (const int level : {7, 6}) {
        Faults::setMode(file, 0644);
        const LogCapture log;
        LogCapture::setLevel(level);
        QString answer;
        {
            const Faults::WithoutOverride noOverride;
            answer = m_module.restoreFacilityFile(facility);
        }
        QCOMPARE(answer, "Can not create a new facility config file !"_s);
        QCOMPARE(Phone::read(file), good);
        QCOMPARE(Faults::mode(file), 0644);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_FacilityFiles::fullDiskKeepsTheOldFile()
{
    const QString smallDisk = "/data/small"_s;
    const QString path = smallDisk + "/sipmmi.conf"_s;
    const QString notWritable = "Impossible to read in Read/Write mode : sipmmi"_s;
    QVXLogger::facilityConfigFilesPath = smallDisk + QLatin1Char('/');
    QStringList answers;
    QString error;
    QByteArray left;
    const LogCapture log;
    {
        const Faults::SmallDisk disk(smallDisk, 0, [&path] { Phone::write(path, good); });
        error = disk.error();
        answers = QStringList {m_module.updateFacilityFile("none"_s, facility, "level"_s, 7),
                               m_module.restoreFacilityFile(facility)};
        left = Faults::state(path);
    }
    Faults::removeAll(smallDisk);
    QCOMPARE(answers, (QStringList {notWritable, "Can not create a new facility config file !"_s}));
    QCOMPARE(left, good);
    QCOMPARE(Faults::logged(log),
             (QStringList {"3 "_s + notWritable, "3 "_s + error + " -- config file : sipmmi"_s}));
}

QTEST_GUILESS_MAIN(tst_FacilityFiles)
#include "tst_facilityfiles.moc"
