// The facility level files: found, read, changed and repaired, or refused without harm.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QtTest>

#include <memory>

namespace {

const QString facility = QStringLiteral("sipmmi");
const QString libraryDirectory = QStringLiteral("/usr/lib/QVXApplication/");
const QString programDirectory = QStringLiteral("/usr/bin/QVXApplication/");
const QString smallDisk = QStringLiteral("/data/small");
const QByteArray good = "3\n21\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";
const QByteArray predefined
    = "3\nfacility\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";

QString noSuchFile()
{
    return QStringLiteral("No such file or directory");
}

QString notice(const QString &name)
{
    return QStringLiteral("OK  -- but configuration file was corrupted : ") + name
        + QStringLiteral(
               " restored to predefined values -- use level or redirect command to verify "
               "your log config ");
}

QByteArray digest(const QString &path)
{
    return QCryptographicHash::hash(Faults::state(path), QCryptographicHash::Md5).toHex();
}

/// Everything in and below the directories that a hostile name could reach: path,
/// permissions and a digest of what is there.
QStringList snapshot()
{
    QStringList entries;
    for (const QString &root : {QStringLiteral("/data"), libraryDirectory, programDirectory,
                                QStringLiteral("/etc/init.d")}) {
        QDirIterator files(root,
                           QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            entries.append(path + QStringLiteral(" %1 ").arg(Faults::mode(path), 0, 8)
                           + QString::fromLatin1(digest(path)));
        }
    }
    for (const QString &path : {QStringLiteral("/etc/host.conf"), QStringLiteral("/etc/host")}) {
        entries.append(path + QString::fromLatin1(digest(path)));
    }
    entries.sort();
    return entries;
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

    void nameWithFileOrWithoutNeedIsFound_data();
    void nameWithFileOrWithoutNeedIsFound();
    void missingFileOfAnApplicationIsRepaired_data();
    void missingFileOfAnApplicationIsRepaired();
    void libraryIsFoundBeforeTheProgram();
    void nameOfNobodyIsNotFound_data();
    void nameOfNobodyIsNotFound();
    void hostileNameReachesNoFile_data();
    void hostileNameReachesNoFile();

    void readingRemovesAnInvalidFileOnly_data();
    void readingRemovesAnInvalidFileOnly();
    void readingWithoutAFileSaysSo();
    void readingWithoutAccessSaysSo();

    void updateChangesOneField_data();
    void updateChangesOneField();
    void linkToAFileIsReadAndReplaced();
    void updateOfAnInvalidFileRemovesIt_data();
    void updateOfAnInvalidFileRemovesIt();
    void updateOfAMissingFileFails();
    void updateWithoutAccessRestoresTheFile();
    void updateOnAFullDiskKeepsTheOldFile();
    void levelIsWrittenThroughTheUpdate();

    void restoreWritesThePredefinedContent_data();
    void restoreWritesThePredefinedContent();
    void levelOfARestoredFileCannotBeUpdated();
    void restoreOfAMissingFileCreatesNothing();
    void restoreThatCannotWriteKeepsTheFile();
    void restoreOnAFullDiskKeepsTheFile();

private:
    std::unique_ptr<HangUps> m_noReload; ///< the daemon has no part in this
    const QString m_directory = QVXLogger::facilityConfigFilesPath;
    QMap<QString, QByteArray> m_initial; ///< each file's name and content, as the phone starts
    TestableModule m_module;
};

void tst_FacilityFiles::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    Phone::stopBootedService();
    m_noReload = std::make_unique<HangUps>();
    Phone::resetConfiguration();
    QCOMPARE(Phone::read(Phone::facilityFile(facility)), good);
    const QStringList names = QDir(m_directory).entryList(QDir::Files);
    for (const QString &name : names) {
        m_initial.insert(name, Phone::read(m_directory + name));
    }
}

void tst_FacilityFiles::init()
{
    Faults::removeAll(m_directory);
    QVERIFY(QDir().mkpath(m_directory));
    for (auto file = m_initial.cbegin(); file != m_initial.cend(); ++file) {
        Phone::write(m_directory + file.key(), file.value());
    }
}

void tst_FacilityFiles::cleanup()
{
    QVXLogger::facilityConfigFilesPath = m_directory;
    Faults::setMode(m_directory, 0755);
    for (const QString &directory : {libraryDirectory, programDirectory}) {
        for (const char *name : {"tested", "qvxtested"}) {
            Faults::removeAll(directory + QLatin1String(name));
        }
    }
    Faults::removeAll(smallDisk);
}

void tst_FacilityFiles::cleanupTestCase()
{
    m_noReload.reset();
}

void tst_FacilityFiles::nameWithFileOrWithoutNeedIsFound_data()
{
    QTest::addColumn<QString>("name");

    for (const char *name : {"all", "WebApp", "no_facility", "sipmmi", "defence"}) {
        QTest::newRow(name) << QString::fromLatin1(name);
    }
}

void tst_FacilityFiles::nameWithFileOrWithoutNeedIsFound()
{
    QFETCH(QString, name);
    const bool needsFile = name == facility || name == QStringLiteral("defence");
    if (!needsFile) {
        QFile::remove(Phone::facilityFile(name));
    }
    const QStringList before = snapshot();
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    const LogCapture log;

    QCOMPARE(m_module.searchFacility(name), QStringLiteral("OK"));

    QCOMPARE(Faults::logged(log), QStringList());
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
    QCOMPARE(QFile::exists(Phone::facilityFile(name)), needsFile);
    QVERIFY(!before.isEmpty());
}

void tst_FacilityFiles::missingFileOfAnApplicationIsRepaired_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("result");
    QTest::addColumn<QStringList>("lines");

    const QString name = QStringLiteral("qvxtested");
    const QString inLibrary
        = QStringLiteral("6 search facility %1 in /usr/lib/QVXApplication/").arg(name);
    const QString inProgram
        = QStringLiteral("6 search facility %1 in /usr/bin/QVXApplication/").arg(name);
    const QStringList repaired {QStringLiteral("7 setPermissions() result ") + noSuchFile(),
                                QStringLiteral("7 restoreSylogConfig() success.")};

    QTest::newRow("library") << libraryDirectory << QStringLiteral(" ") + notice(name)
                             << QStringList {inLibrary} + repaired;
    QTest::newRow("program") << programDirectory << notice(name)
                             << QStringList {inLibrary, inProgram} + repaired;
}

void tst_FacilityFiles::missingFileOfAnApplicationIsRepaired()
{
    QFETCH(QString, directory);
    QFETCH(QString, result);
    QFETCH(QStringList, lines);
    const QString name = QStringLiteral("qvxtested");
    QVERIFY(QDir().mkpath(directory));
    Phone::write(directory + name, "application\n");
    const QByteArray runs = "start\n";
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    for (const int level : {7, 6, 5, 2}) {
        QFile::remove(Faults::FakeSetUpScript::record());
        const LogCapture log;
        LogCapture::setLevel(level);

        QCOMPARE(m_module.searchFacility(name), result);

        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), runs);
        // It is the script that makes the file.
        QVERIFY(!QFile::exists(Phone::facilityFile(name)));
        QCOMPARE(Phone::read(directory + name), QByteArray("application\n"));
    }
}

void tst_FacilityFiles::libraryIsFoundBeforeTheProgram()
{
    const QString name = QStringLiteral("qvxtested");
    for (const QString &directory : {libraryDirectory, programDirectory}) {
        QVERIFY(QDir().mkpath(directory));
        Phone::write(directory + name, "application\n");
    }
    QCOMPARE(m_module.searchFacility(name), QStringLiteral(" ") + notice(name));
}

void tst_FacilityFiles::nameOfNobodyIsNotFound_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("kind");

    QTest::newRow("unknown") << QStringLiteral("tested") << QString();
    QTest::newRow("name that contains OK") << QStringLiteral("BOOK") << QString();
    QTest::newRow("case matters") << QStringLiteral("SIPMMI") << QString();
    QTest::newRow("directory in place of the application")
        << QStringLiteral("tested") << QStringLiteral("application directory");
    QTest::newRow("directory in place of the file")
        << QStringLiteral("tested") << QStringLiteral("file directory");
    QTest::newRow("dangling link in place of the file")
        << QStringLiteral("tested") << QStringLiteral("file link");
}

void tst_FacilityFiles::nameOfNobodyIsNotFound()
{
    QFETCH(QString, name);
    QFETCH(QString, kind);
    const QString path = Phone::facilityFile(name);
    if (kind == QStringLiteral("application directory")) {
        QVERIFY(QDir().mkpath(libraryDirectory + name));
        QVERIFY(QDir().mkpath(programDirectory + name));
    } else if (kind == QStringLiteral("file directory")) {
        Faults::makeDirectory(path);
    } else if (kind == QStringLiteral("file link")) {
        QVERIFY(QFile::link(QStringLiteral("/data/nowhere"), path));
    }
    const QString answer = QStringLiteral("No config file for facility : ") + name;
    const QStringList lines {
        QStringLiteral("6 search facility %1 in /usr/lib/QVXApplication/").arg(name),
        QStringLiteral("6 search facility %1 in /usr/bin/QVXApplication/").arg(name),
        QStringLiteral("3 ") + answer};
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    const QStringList before = snapshot();
    for (const int level : {7, 6, 5, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.searchFacility(name), answer);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
    QCOMPARE(snapshot(), before);
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
    Faults::removeAll(path);
}

void tst_FacilityFiles::hostileNameReachesNoFile_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("up to /etc") << QStringLiteral("../../../../../etc/host");
    QTest::newRow("higher up to /etc") << QStringLiteral("../../../../../../etc/host");
    QTest::newRow("absolute") << QStringLiteral("/etc/host");
    QTest::newRow("another facility's file") << QStringLiteral("./sipmmi");
    QTest::newRow("beside the directory") << QStringLiteral("../outside");
    QTest::newRow("application by path") << QStringLiteral("../QVXApplication/LoggerModule");
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("null") << QString();
    QTest::newRow("dot") << QStringLiteral(".");
    QTest::newRow("two dots") << QStringLiteral("..");
    QTest::newRow("slash") << QStringLiteral("/");
    QTest::newRow("file of a subdirectory") << QStringLiteral("a/b");
    QTest::newRow("line break") << QStringLiteral("x\ny");
    QTest::newRow("NUL behind a good name") << QStringLiteral("sipmmi") + QChar(0);
    QTest::newRow("NUL before a suffix")
        << QStringLiteral("sipmmi.conf") + QChar(0) + QStringLiteral("x");
    QTest::newRow("100 kB") << QString(100 * 1024, QLatin1Char('x'));
    QTest::newRow("100 kB of path") << QStringLiteral("../").repeated(34 * 1024);
    QTest::newRow("percent signs") << QStringLiteral("%1%2%n%s");
}

void tst_FacilityFiles::hostileNameReachesNoFile()
{
    QFETCH(QString, name);
    QVERIFY(QFile::exists(QStringLiteral("/etc/host.conf")));
    QVERIFY(QDir().mkpath(m_directory + QStringLiteral("a")));
    for (const QString &bait :
         {QStringLiteral("a/b"), QStringLiteral("../outside"), QStringLiteral("../a")}) {
        Phone::write(Phone::facilityFile(bait), good);
    }
    Phone::write(m_directory + QStringLiteral(".aside"), good);
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    const QStringList before = snapshot();
    const QString missing = QStringLiteral("Files does not exists: ") + name;
    const QString notRestored = QStringLiteral("7 setPermissions() result ") + noSuchFile();
    const QStringList notUpdated {
        QStringLiteral("3 ") + missing,
        QStringLiteral("3  -- error type : facility config file corrupted -- Facility : ") + name,
        notRestored};

    QCOMPARE(m_module.searchFacility(name),
             QStringLiteral("No config file for facility : ") + name);
    {
        const LogCapture log;
        QCOMPARE(m_module.readFacilityFile(name), QStringList {missing});
        QCOMPARE(Faults::logged(log), QStringList {QStringLiteral("3 ") + missing});
    }
    for (const char *field : {"level", "redirection"}) {
        const LogCapture log;
        QCOMPARE(m_module.updateFacilityFile(QStringLiteral("none"), name, QLatin1String(field), 7),
                 noSuchFile());
        QCOMPARE(Faults::logged(log), notUpdated);
    }
    {
        const LogCapture log;
        QCOMPARE(m_module.writeFacilitylevel(name, 7), noSuchFile());
        QCOMPARE(Faults::logged(log).mid(1), notUpdated);
    }
    {
        const LogCapture log;
        QCOMPARE(m_module.restoreFacilityFile(name), noSuchFile());
        QCOMPARE(Faults::logged(log), QStringList {notRestored});
    }
    QCOMPARE(snapshot(), before);
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));

    Faults::removeAll(m_directory + QStringLiteral("a"));
    for (const QString &bait : {QStringLiteral("../outside"), QStringLiteral("../a")}) {
        Faults::removeAll(Phone::facilityFile(bait));
    }
}

void tst_FacilityFiles::readingRemovesAnInvalidFileOnly_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("lines");

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("usual") << good
                           << QStringList {QStringLiteral("3"), QStringLiteral("21"),
                                           QStringLiteral("file(\"/var/log/sipmmi.log\")"),
                                           QStringLiteral("facility signature field")};
    QTest::newRow("empty") << QByteArray("") << QStringList();
    QTest::newRow("no last line feed") << QByteArray("a\nb") << QStringList {a, b};
    QTest::newRow("blank line at the end")
        << QByteArray("a\nb\n\n") << QStringList {a, b, QString()};
    QTest::newRow("carriage returns") << QByteArray("a\r\nb\r\n") << QStringList {a, b};
    QTest::newRow("UTF-8") << QByteArray("größe ☎\n") << QStringList {QString::fromUtf8("größe ☎")};
}

void tst_FacilityFiles::readingRemovesAnInvalidFileOnly()
{
    QFETCH(QByteArray, content);
    QFETCH(QStringList, lines);
    Phone::write(Phone::facilityFile(facility), content);
    const LogCapture log;

    QCOMPARE(m_module.readFacilityFile(facility), lines);

    QCOMPARE(Faults::state(Phone::facilityFile(facility)),
             content == good ? good : QByteArray("<missing>"));
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_FacilityFiles::readingWithoutAFileSaysSo()
{
    QVERIFY(QFile::remove(Phone::facilityFile(facility)));
    const QString answer = QStringLiteral("Files does not exists: sipmmi");
    for (const int level : {7, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.readFacilityFile(facility), QStringList {answer});
        QCOMPARE(Faults::logged(log),
                 Faults::writtenAt(level, QStringList {QStringLiteral("3 ") + answer}));
        QVERIFY(!QFile::exists(Phone::facilityFile(facility)));
    }
}

void tst_FacilityFiles::readingWithoutAccessSaysSo()
{
    Faults::setMode(Phone::facilityFile(facility), 0444);
    const QStringList lines {QStringLiteral("3 No access to : sipmmi.conf")};
    for (const int level : {7, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QStringList answer;
        {
            const Faults::WithoutOverride noOverride;
            answer = m_module.readFacilityFile(facility);
        }
        QCOMPARE(answer, QStringList {QStringLiteral("No valid configuration file : sipmmi")});
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        QCOMPARE(Phone::read(Phone::facilityFile(facility)), good);
    }
}

void tst_FacilityFiles::updateChangesOneField_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("field");
    QTest::addColumn<int>("level");
    QTest::addColumn<QByteArray>("after");

    const QString level = QStringLiteral("level");
    const QByteArray rest = "\n21\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";
    for (const int number : {0, 3, 4, 5, 6, 7, 2, -1}) {
        QTest::addRow("level %d", number)
            << good << level << number << QByteArray::number(number) + rest;
    }
    for (const int number : {0, 3, 4, 5, 6, 7}) {
        QTest::addRow("level after %d", number)
            << QByteArray::number(number) + rest << level << 5 << "5" + rest;
    }
    QTest::newRow("redirection")
        << good << QStringLiteral("redirection") << 7
        << QByteArray("3\n21\nudp(\"größe\" port(514))\nfacility signature field\n");
    QTest::newRow("another field") << good << QStringLiteral("Level") << 7 << good;
    QTest::newRow("no field") << good << QString() << 7 << good;
    QTest::newRow("numbers in other notations")
        << QByteArray(" 3\n+21 \nfile(\"x\")\nfacility signature field")
        << QStringLiteral("redirection") << 7
        << QByteArray(" 3\n+21 \nudp(\"größe\" port(514))\nfacility signature field\n");
    QTest::newRow("empty redirection")
        << QByteArray("07\n-1\n\nfacility signature field\n") << level << 4
        << QByteArray("4\n-1\n\nfacility signature field\n");
    QTest::newRow("UTF-8, tabs and blanks")
        << QByteArray("3\n21\n\tfile(\"größe ☎\") \t\nfacility signature field\n") << level << 7
        << QByteArray("7\n21\n\tfile(\"größe ☎\") \t\nfacility signature field\n");
}

void tst_FacilityFiles::updateChangesOneField()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, field);
    QFETCH(int, level);
    QFETCH(QByteArray, after);
    Phone::write(Phone::facilityFile(facility), before);
    const LogCapture log;

    QCOMPARE(m_module.updateFacilityFile(QString::fromUtf8("udp(\"größe\" port(514))"), facility,
                                         field, level),
             QStringLiteral("OK"));

    QCOMPARE(Phone::read(Phone::facilityFile(facility)), after);
    QCOMPARE(Faults::mode(Phone::facilityFile(facility)), 0644);
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_FacilityFiles::linkToAFileIsReadAndReplaced()
{
    const QString path = Phone::facilityFile(facility);
    const QString elsewhere = QStringLiteral("/data/elsewhere.conf");
    Phone::write(elsewhere, good);
    QVERIFY(QFile::remove(path));
    QVERIFY(QFile::link(elsewhere, path));

    QCOMPARE(m_module.searchFacility(facility), QStringLiteral("OK"));
    QCOMPARE(m_module.writeFacilitylevel(facility, 7), QStringLiteral("OK"));

    QVERIFY(!QFileInfo(path).isSymLink());
    QCOMPARE(Phone::read(path), QByteArray(good).replace(0, 1, "7"));
    QCOMPARE(Phone::read(elsewhere), good);
    Faults::removeAll(elsewhere);
}

void tst_FacilityFiles::updateOfAnInvalidFileRemovesIt_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("error");

    const QString corrupted
        = QStringLiteral(" -- error type : facility config file corrupted -- Facility : sipmmi");
    const QString noNumber
        = QStringLiteral(" --error type : level value not an int -- Facility: sipmmi");
    const QString noLevel
        = QStringLiteral(" --error type : level value not exists -- Facility : sipmmi");
    const QString noValue
        = QStringLiteral(" --error type : facility value is not an int -- Facility : sipmmi");
    const auto file = [](const QByteArray &level, const QByteArray &value) -> QByteArray {
        return level + '\n' + value + "\nfile(\"x\")\nfacility signature field\n";
    };

    QTest::newRow("empty") << QByteArray("") << corrupted;
    QTest::newRow("three lines") << QByteArray("3\n21\nfacility signature field\n") << corrupted;
    QTest::newRow("five lines") << file("3", "21") + "more\n" << corrupted;
    QTest::newRow("blank fifth line") << file("3", "21") + "\n" << corrupted;
    QTest::newRow("five lines, the signature last")
        << QByteArray("3\n21\nfile(\"x\")\nmore\nfacility signature field\n") << corrupted;
    QTest::newRow("signature first")
        << QByteArray("facility signature field\n3\n21\nfile(\"x\")\n") << corrupted;
    QTest::newRow("signature in capitals")
        << QByteArray("3\n21\nfile(\"x\")\nFacility signature field\n") << corrupted;
    QTest::newRow("signature with a blank")
        << QByteArray("3\n21\nfile(\"x\")\nfacility signature field \n") << corrupted;
    QTest::newRow("signature cut short")
        << QByteArray("3\n21\nfile(\"x\")\nfacility signature fiel\n") << corrupted;
    // The order of the tests shows in the text.
    QTest::newRow("everything is wrong") << QByteArray("x\ny\nz\n") << corrupted;

    QTest::newRow("level is a name") << file("err", "21") << noNumber;
    QTest::newRow("level is empty") << file("", "21") << noNumber;
    QTest::newRow("level is a fraction") << file("3.0", "21") << noNumber;
    QTest::newRow("level is hexadecimal") << file("0x3", "21") << noNumber;
    QTest::newRow("level is too large for a number") << file("99999999999", "21") << noNumber;
    QTest::newRow("level and value are names") << file("err", "facility") << noNumber;

    QTest::newRow("level 1") << file("1", "21") << noLevel;
    QTest::newRow("level 2") << file("2", "21") << noLevel;
    QTest::newRow("level 8") << file("8", "21") << noLevel;
    QTest::newRow("level -1") << file("-1", "21") << noLevel;
    QTest::newRow("level 2, value a name") << file("2", "facility") << noLevel;

    QTest::newRow("value is a name") << file("3", "local5") << noValue;
    QTest::newRow("value of a restored file") << predefined << noValue;
    QTest::newRow("value is empty") << file("3", "") << noValue;
}

void tst_FacilityFiles::updateOfAnInvalidFileRemovesIt()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, error);
    const QStringList lines {QStringLiteral("3 ") + error,
                             QStringLiteral("7 setPermissions() result ") + noSuchFile()};
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-noting")));
    for (const int level : {7, 6, 2}) {
        for (const char *field : {"level", "redirection", "nothing"}) {
            Phone::write(Phone::facilityFile(facility), content);
            const LogCapture log;
            LogCapture::setLevel(level);

            QCOMPARE(m_module.updateFacilityFile(QStringLiteral("file(\"y\")"), facility,
                                                 QLatin1String(field), 3),
                     noSuchFile());

            QCOMPARE(Faults::state(Phone::facilityFile(facility)), QByteArray("<missing>"));
            QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        }
    }
    // The repair is its callers' business.
    QVERIFY(!QFile::exists(Faults::FakeSetUpScript::record()));
}

void tst_FacilityFiles::updateOfAMissingFileFails()
{
    QVERIFY(QFile::remove(Phone::facilityFile(facility)));
    const LogCapture log;

    QCOMPARE(
        m_module.updateFacilityFile(QStringLiteral("none"), facility, QStringLiteral("level"), 7),
        noSuchFile());

    QCOMPARE(Faults::state(Phone::facilityFile(facility)), QByteArray("<missing>"));
    QCOMPARE(Faults::logged(log),
             (QStringList {QStringLiteral("3 Files does not exists: sipmmi"),
                           QStringLiteral("3  -- error type : facility config file corrupted -- "
                                          "Facility : sipmmi"),
                           QStringLiteral("7 setPermissions() result ") + noSuchFile()}));
}

void tst_FacilityFiles::updateWithoutAccessRestoresTheFile()
{
    Faults::setMode(Phone::facilityFile(facility), 0444);
    const LogCapture log;
    QString answer;
    {
        const Faults::WithoutOverride noOverride;
        answer = m_module.updateFacilityFile(QStringLiteral("none"), facility,
                                             QStringLiteral("level"), 7);
    }
    QCOMPARE(answer, QStringLiteral("sylog-ng config file restored"));
    QCOMPARE(Phone::read(Phone::facilityFile(facility)), predefined);
    QCOMPARE(Faults::logged(log),
             (QStringList {QStringLiteral("3 No access to : sipmmi.conf"),
                           QStringLiteral("3  -- error type : facility config file corrupted -- "
                                          "Facility : sipmmi")}));
}

void tst_FacilityFiles::updateOnAFullDiskKeepsTheOldFile()
{
    const QString path = smallDisk + QStringLiteral("/sipmmi.conf");
    const QString notWritable = QStringLiteral("Impossible to read in Read/Write mode : sipmmi");
    QVXLogger::facilityConfigFilesPath = smallDisk + QLatin1Char('/');
    QString answer;
    QByteArray left;
    const LogCapture log;
    {
        const Faults::SmallDisk disk(smallDisk, 0, [&path] { Phone::write(path, good); });
        answer = m_module.updateFacilityFile(QStringLiteral("none"), facility,
                                             QStringLiteral("level"), 7);
        left = Faults::state(path);
    }
    QCOMPARE(answer, notWritable);
    QCOMPARE(left, good);
    QCOMPARE(Faults::logged(log), QStringList {QStringLiteral("3 ") + notWritable});
}

void tst_FacilityFiles::levelIsWrittenThroughTheUpdate()
{
    const QStringList lines {QStringLiteral("7 [writeFacilitylevel] file path :")
                             + Phone::facilityFile(facility)};
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.writeFacilitylevel(facility, level - 1), QStringLiteral("OK"));
        QByteArray expected = good;
        expected.replace(0, 1, QByteArray::number(level - 1));
        QCOMPARE(Phone::read(Phone::facilityFile(facility)), expected);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_FacilityFiles::restoreWritesThePredefinedContent_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("facility") << facility << predefined;
    QTest::newRow("defence")
        << QStringLiteral("defence")
        << QByteArray("3\nfacility\nfile(\"/log/Defence.log\")\nfacility signature field\n");
    QTest::newRow("name that contains defence")
        << QStringLiteral("defences")
        << QByteArray("3\nfacility\nfile(\"/var/log/defences.log\")\nfacility signature field\n");
    QTest::newRow("UTF-8 name")
        << QString::fromUtf8("größe")
        << QByteArray("3\nfacility\nfile(\"/var/log/größe.log\")\nfacility signature field\n");
}

void tst_FacilityFiles::restoreWritesThePredefinedContent()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, content);
    Phone::write(Phone::facilityFile(name),
                 "anything, and much longer than what will stand there\n" + QByteArray(1000, 'x'));
    const LogCapture log;

    QCOMPARE(m_module.restoreFacilityFile(name), QStringLiteral("sylog-ng config file restored"));

    QCOMPARE(Phone::read(Phone::facilityFile(name)), content);
    QCOMPARE(Faults::logged(log), QStringList());
}

void tst_FacilityFiles::levelOfARestoredFileCannotBeUpdated()
{
    QCOMPARE(m_module.restoreFacilityFile(facility),
             QStringLiteral("sylog-ng config file restored"));
    QCOMPARE(m_module.writeFacilitylevel(facility, 7), noSuchFile());
    QCOMPARE(Faults::state(Phone::facilityFile(facility)), QByteArray("<missing>"));
}

void tst_FacilityFiles::restoreOfAMissingFileCreatesNothing()
{
    QVERIFY(QFile::remove(Phone::facilityFile(facility)));
    const QStringList lines {QStringLiteral("7 setPermissions() result ") + noSuchFile()};
    for (const int level : {7, 6}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.restoreFacilityFile(facility), noSuchFile());
        QCOMPARE(Faults::state(Phone::facilityFile(facility)), QByteArray("<missing>"));
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_FacilityFiles::restoreThatCannotWriteKeepsTheFile()
{
    Faults::setMode(m_directory, 0555);
    const QStringList lines {QStringLiteral("3 Permission denied -- config file : sipmmi")};
    for (const int level : {7, 6}) {
        Faults::setMode(Phone::facilityFile(facility), 0644);
        const LogCapture log;
        LogCapture::setLevel(level);
        QString answer;
        {
            const Faults::WithoutOverride noOverride;
            answer = m_module.restoreFacilityFile(facility);
        }
        QCOMPARE(answer, QStringLiteral("Can not create a new facility config file !"));
        QCOMPARE(Phone::read(Phone::facilityFile(facility)), good);
        QCOMPARE(Faults::mode(Phone::facilityFile(facility)), 0644);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
}

void tst_FacilityFiles::restoreOnAFullDiskKeepsTheFile()
{
    const QString path = smallDisk + QStringLiteral("/sipmmi.conf");
    QVXLogger::facilityConfigFilesPath = smallDisk + QLatin1Char('/');
    QString answer;
    QString error;
    QByteArray left;
    const LogCapture log;
    {
        const Faults::SmallDisk disk(smallDisk, 0, [&path] { Phone::write(path, good); });
        error = disk.error();
        answer = m_module.restoreFacilityFile(facility);
        left = Faults::state(path);
    }
    QCOMPARE(answer, QStringLiteral("Can not create a new facility config file !"));
    QCOMPARE(left, good);
    QCOMPARE(
        Faults::logged(log),
        QStringList {QStringLiteral("3 ") + error + QStringLiteral(" -- config file : sipmmi")});
}

QTEST_GUILESS_MAIN(tst_FacilityFiles)
#include "tst_facilityfiles.moc"
