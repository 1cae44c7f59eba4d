// Which names have a facility file, or an application that may get one, and that no other name
// leads to any file.
// SPDX-License-Identifier: MIT
#include "support/facilities.h"
#include "support/faults.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QtTest>

#include <memory>

namespace {

using Facilities::noSuchFile;
using Facilities::rowName;

const QString libraryDirectory = "/usr/lib/QVXApplication/"_s;
const QString programDirectory = "/usr/bin/QVXApplication/"_s;

QString searchLine(const QString &name, const QString &directory)
{
    return "6 search facility "_s + name + " in "_s + directory;
}

/// Everything in and below the directories that a hostile name could reach: path, permissions and
/// a digest of what is there.
QStringList snapshot()
{
    QStringList entries;
    const auto digest = [](const QString &path) {
        const QByteArray state = Faults::state(path);
        return QString::fromLatin1(
            QCryptographicHash::hash(state, QCryptographicHash::Md5).toHex());
    };
    for (const QString &root : {"/data"_s, libraryDirectory, programDirectory, "/etc/init.d"_s}) {
        QDirIterator files(root,
                           QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            const QString path = files.next();
            entries.append(path + " %1 "_s.arg(Faults::mode(path), 0, 8) + digest(path));
        }
    }
    for (const QString &path : {"/etc/host.conf"_s, "/etc/host"_s, "/usr/lib/outside"_s}) {
        entries.append(path + digest(path));
    }
    entries.sort();
    return entries;
}

} // namespace

class tst_FacilityNames : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void nameWithAFileOrWithoutNeedIsFound_data();
    void nameWithAFileOrWithoutNeedIsFound();
    void missingFileOfAnApplicationIsRepaired_data();
    void missingFileOfAnApplicationIsRepaired();
    void nameOfNobodyIsNotFound_data();
    void nameOfNobodyIsNotFound();
    void hostileNameReachesNoFile_data();
    void hostileNameReachesNoFile();

private:
    /// Puts something there until the end of the test: a directory, a link to what follows the
    /// arrow, or a file with any other content.
    void put(const QString &path, const QByteArray &what = Facilities::good);

    QStringList m_baits;
    std::unique_ptr<Facilities::Set> m_facilities;
    TestableModule m_module;
};

void tst_FacilityNames::put(const QString &path, const QByteArray &what)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    if (what == "directory") {
        Faults::makeDirectory(path);
    } else if (what.startsWith("-> ")) {
        QVERIFY(QFile::link(QString::fromUtf8(what.mid(3)), path));
    } else {
        Phone::write(path, what);
    }
    m_baits.append(path);
}

void tst_FacilityNames::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
    m_facilities = std::make_unique<Facilities::Set>();
}

void tst_FacilityNames::init()
{
    m_facilities->reset();
}

void tst_FacilityNames::cleanup()
{
    for (const QString &path : qAsConst(m_baits)) {
        Faults::removeAll(path);
    }
    m_baits.clear();
}

void tst_FacilityNames::cleanupTestCase()
{
    m_facilities.reset();
}

void tst_FacilityNames::nameWithAFileOrWithoutNeedIsFound_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("needsFile");

    for (const char *name : {"all", "WebApp", "no_facility"}) {
        QTest::newRow(name) << QString::fromLatin1(name) << false;
    }
    for (const char *name : {"sipmmi", "defence", "other", ".hidden", "...", " ", "a\nb", "..\\x",
                             "%1 %2", "größe ☎ 😀", "sipmmi.conf"}) {
        const QString text = QString::fromUtf8(name);
        QTest::newRow(rowName(text)) << text << true;
    }
}

void tst_FacilityNames::nameWithAFileOrWithoutNeedIsFound()
{
    QFETCH(QString, name);
    QFETCH(bool, needsFile);
    const QString file = Phone::facilityFile(name);
    if (needsFile) {
        Phone::write(file, Facilities::good);
    } else {
        QFile::remove(file);
    }
    const Facilities::NotingSetUp setUp;
    const LogCapture log;

    QCOMPARE(m_module.searchFacility(name), "OK"_s);

    QCOMPARE(Faults::logged(log), QStringList());
    QCOMPARE(setUp.starts(), QByteArray());
    QCOMPARE(QFile::exists(file), needsFile);
    if (needsFile) {
        QCOMPARE(m_module.readFacilityFile(name).size(), 4);
    }
}

void tst_FacilityNames::missingFileOfAnApplicationIsRepaired_data()
{
    QTest::addColumn<QStringList>("directories");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QStringList>("lines");

    const QString notice = Facilities::repairNotice("qvxtested"_s);
    const QString inLibrary = searchLine("qvxtested"_s, libraryDirectory);
    const QString inProgram = searchLine("qvxtested"_s, programDirectory);
    const QStringList repaired {"7 setPermissions() result "_s + noSuchFile,
                                "7 restoreSylogConfig() success."_s};

    QTest::newRow("library") << QStringList {libraryDirectory} << " "_s + notice
                             << QStringList {inLibrary} + repaired;
    QTest::newRow("program") << QStringList {programDirectory} << notice
                             << QStringList {inLibrary, inProgram} + repaired;
    QTest::newRow("both") << QStringList {libraryDirectory, programDirectory} << " "_s + notice
                          << QStringList {inLibrary} + repaired;
}

void tst_FacilityNames::missingFileOfAnApplicationIsRepaired()
{
    QFETCH(QStringList, directories);
    QFETCH(QString, answer);
    QFETCH(QStringList, lines);
    const QString name = "qvxtested"_s;
    for (const QString &directory : directories) {
        put(directory + name, "application\n");
    }
    for (const int level : {7, 6, 5, 2}) {
        const Facilities::NotingSetUp setUp;
        const LogCapture log;
        LogCapture::setLevel(level);

        QCOMPARE(m_module.searchFacility(name), answer);

        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
        // It is the script that makes the file.
        QCOMPARE(setUp.starts(), QByteArray("start\n"));
        QVERIFY(!QFile::exists(Phone::facilityFile(name)));
        QCOMPARE(Phone::read(directories.first() + name), QByteArray("application\n"));
    }
}

void tst_FacilityNames::nameOfNobodyIsNotFound_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("what");

    const auto row
        = [](const char *name, const QString &facility, const QString &path = {},
             const QByteArray &what = {}) { QTest::newRow(name) << facility << path << what; };
    const QString tested = "tested"_s;
    const QString file = Phone::facilityFile(tested);
    row("unknown", tested);
    row("name that contains OK", "BOOK"_s);
    row("case matters", "SIPMMI"_s);
    row("beginning of a name", "sipmm"_s);
    row("file with its suffix", "sipmmi.conf"_s);
    row("file without its suffix", tested, Phone::facilityDirectory + tested, Facilities::good);
    row("directory in place of the file", tested, file, "directory");
    row("dangling link in place of the file", tested, file, "-> /data/nowhere");
    row("link to a directory in place of the file", tested, file, "-> /data");
    row("case of a program matters", tested, programDirectory + "Tested"_s, "application");
    row("beginning of a program's name", tested, programDirectory + "tested2"_s, "application");
    row("library with a suffix", tested, libraryDirectory + "tested.so"_s, "application");
    row("directory in place of the library", tested, libraryDirectory + tested, "directory");
    row("directory in place of the program", tested, programDirectory + tested, "directory");
    row("dangling link in place of the program", tested, programDirectory + tested, "-> /nowhere");
}

void tst_FacilityNames::nameOfNobodyIsNotFound()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QByteArray, what);
    if (!path.isEmpty()) {
        put(path, what);
    }
    const QString answer = "No config file for facility : "_s + name;
    const QStringList lines {searchLine(name, libraryDirectory), searchLine(name, programDirectory),
                             "3 "_s + answer};
    const Facilities::NotingSetUp setUp;
    const QStringList before = snapshot();
    for (const int level : {7, 6, 5, 3, 2}) {
        const LogCapture log;
        LogCapture::setLevel(level);
        QCOMPARE(m_module.searchFacility(name), answer);
        QCOMPARE(Faults::logged(log), Faults::writtenAt(level, lines));
    }
    QCOMPARE(setUp.starts(), QByteArray());
    QCOMPARE(snapshot(), before);
}

void tst_FacilityNames::hostileNameReachesNoFile_data()
{
    QTest::addColumn<QString>("name");

    const QStringList paths {"../../../../../etc/host"_s,
                             "../../../../../../etc/host"_s,
                             "/etc/host"_s,
                             "./sipmmi"_s,
                             "../facility/sipmmi"_s,
                             "../outside"_s,
                             "../QVXApplication/LoggerModule"_s,
                             "."_s,
                             ".."_s,
                             "/"_s,
                             "sipmmi/"_s,
                             "a/b"_s};
    const QStringList odd {""_s,         "x\ny"_s,           "\0"_s,       "sip\0mmi"_s,
                           "sipmmi\0"_s, "sipmmi.conf\0x"_s, "%1%2%n%s"_s, "*"_s};
    const QStringList huge {QString(100 * 1024, QLatin1Char('x')), "../"_s.repeated(34 * 1024)};
    for (const QString &name : paths + odd + huge) {
        QTest::newRow(rowName(name)) << name;
    }
}

void tst_FacilityNames::hostileNameReachesNoFile()
{
    QFETCH(QString, name);
    QVERIFY(QFile::exists("/etc/host.conf"_s));
    // Whatever such a name could be taken for is there.
    for (const char *bait : {"a/b", "../outside", "../a", "", ".", "..", "sipmmi/", "sip"}) {
        put(Phone::facilityFile(QLatin1String(bait)));
    }
    put(Phone::facilityDirectory + "sip"_s);
    for (const char *bait : {"a/b", "../outside", "sipmmi", "sip"}) {
        put(libraryDirectory + QLatin1String(bait));
    }
    const Facilities::NotingSetUp setUp;
    const QStringList before = snapshot();
    const QString missing = "Files does not exists: "_s + name;
    const QString notRestored = "7 setPermissions() result "_s + noSuchFile;
    const QStringList notUpdated {
        "3 "_s + missing,
        "3  -- error type : facility config file corrupted -- Facility : "_s + name, notRestored};

    QCOMPARE(m_module.searchFacility(name), "No config file for facility : "_s + name);
    {
        const LogCapture log;
        QCOMPARE(m_module.readFacilityFile(name), QStringList {missing});
        QCOMPARE(Faults::logged(log), QStringList {"3 "_s + missing});
    }
    for (const char *field : {"level", "redirection"}) {
        const LogCapture log;
        QCOMPARE(m_module.updateFacilityFile("none"_s, name, QLatin1String(field), 7), noSuchFile);
        QCOMPARE(Faults::logged(log), notUpdated);
    }
    {
        const LogCapture log;
        QCOMPARE(m_module.writeFacilitylevel(name, 7), noSuchFile);
        QCOMPARE(Faults::logged(log).mid(1), notUpdated);
    }
    {
        const LogCapture log;
        QCOMPARE(m_module.restoreFacilityFile(name), noSuchFile);
        QCOMPARE(Faults::logged(log), QStringList {notRestored});
    }
    QCOMPARE(setUp.starts(), QByteArray());
    QCOMPARE(snapshot(), before);
}

QTEST_GUILESS_MAIN(tst_FacilityNames)
#include "tst_facilitynames.moc"
