// The steps by which files replace each other: what a copy carries over, several files at once, and
// that all is left as it was when one fails.
// SPDX-License-Identifier: MIT
#include "support/files.h"
#include "syslogconf/durablefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <array>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

/// The permission bits of @p path in the file system.
int mode(const QString &path)
{
    struct stat status;
    return stat(QFile::encodeName(path).constData(), &status) == 0
        ? static_cast<int>(status.st_mode & 07777)
        : -1;
}

} // namespace

class TestDurableFile : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void contentIsCopied_data();
    void contentIsCopied();
    void permissionsAreCopied_data();
    void permissionsAreCopied();
    void targetIsReplacedAsAWhole();
    void errorIsUntouchedBySuccess();
    void missingSource();
    void sourceIsADirectory();
    void missingTargetDirectory();
    void targetIsADirectory();
    void targetDirectoryIsAFile();
    void linkIsReplacedAndNotFollowed();
    void leftoversAreOverwritten();

    void severalFilesAreReplaced();
    void newFileGetsTheDefaultMode();
    void oneThatFailsKeepsNoOtherFromBeingReplaced();
    void sameFileTwiceHoldsTheLaterContent();
    void modeIsChangedToItself();
    void fileOfTheYear2040();

private:
    QScopedPointer<QTemporaryDir> m_directory;
    QString m_source;
    QString m_targetDirectory;
    QString m_target;
};

void TestDurableFile::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_source = m_directory->filePath(QStringLiteral("source"));
    m_targetDirectory = m_directory->filePath(QStringLiteral("target"));
    m_target = m_targetDirectory + QStringLiteral("/logappli.conf");
    QVERIFY(QDir().mkpath(m_targetDirectory));
}

void TestDurableFile::contentIsCopied_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("# BEGIN a\n# END a\n");
    QTest::newRow("no last line feed") << QByteArray("a");
    QTest::newRow("carriage returns") << QByteArray("a\r\nb\r");
    QTest::newRow("bytes of no text") << QByteArray("\0\xff\xfe\x80", 4);
    QTest::newRow("3 MB") << QByteArray(3000000, 'x');
}

void TestDurableFile::contentIsCopied()
{
    QFETCH(QByteArray, content);
    writeFile(m_source, content);
    QString error;
    QVERIFY2(replaceByCopy(m_source, m_target, &error) == Replacement::Done, qPrintable(error));
    QVERIFY(readFile(m_target) == content);
    QVERIFY(readFile(m_source) == content);
    QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableFile::permissionsAreCopied_data()
{
    QTest::addColumn<int>("permissions");
    QTest::addColumn<bool>("targetExists");

    for (const int permissions : {0400, 0444, 0600, 0640, 0644, 0666, 0755}) {
        QTest::addRow("%o, new", permissions) << permissions << false;
        QTest::addRow("%o, over another", permissions) << permissions << true;
    }
}

void TestDurableFile::permissionsAreCopied()
{
    QFETCH(int, permissions);
    QFETCH(bool, targetExists);
    writeFile(m_source, "new");
    QCOMPARE(chmod(QFile::encodeName(m_source).constData(), static_cast<mode_t>(permissions)), 0);
    if (targetExists) {
        writeFile(m_target, "old");
        QCOMPARE(chmod(QFile::encodeName(m_target).constData(), 0606), 0);
    }
    QString error;
    QVERIFY2(replaceByCopy(m_source, m_target, &error) == Replacement::Done, qPrintable(error));
    QCOMPARE(mode(m_target), permissions);
    QCOMPARE(mode(m_source), permissions);
    QCOMPARE(readFile(m_target), QByteArray("new"));
}

void TestDurableFile::targetIsReplacedAsAWhole()
{
    writeFile(m_source, "new");
    writeFile(m_target, "old, and longer");
    QFile before(m_target);
    QVERIFY(before.open(QIODevice::ReadOnly));
    QString error;
    QVERIFY2(replaceByCopy(m_source, m_target, &error) == Replacement::Done, qPrintable(error));
    QCOMPARE(readFile(m_target), QByteArray("new"));
    // Who has the old file open goes on reading the old file: it was never written to.
    QCOMPARE(before.readAll(), QByteArray("old, and longer"));
    QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableFile::errorIsUntouchedBySuccess()
{
    writeFile(m_source, "new");
    QString error = QStringLiteral("before");
    QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::Done);
    QCOMPARE(error, QStringLiteral("before"));
}

void TestDurableFile::missingSource()
{
    writeFile(m_target, "old");
    QString error;
    QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::NotPrepared);
    QCOMPARE(error, QStringLiteral("No such file or directory"));
    QCOMPARE(readFile(m_target), QByteArray("old"));

    QVERIFY(QFile::remove(m_target));
    QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::NotPrepared);
    QCOMPARE(entriesOf(m_targetDirectory), QStringList());
}

void TestDurableFile::sourceIsADirectory()
{
    QVERIFY(QDir().mkpath(m_source));
    writeFile(m_target, "old");
    QString error;
    QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::NotPrepared);
    QVERIFY(!error.isEmpty());
    QCOMPARE(readFile(m_target), QByteArray("old"));
    QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableFile::missingTargetDirectory()
{
    writeFile(m_source, "new");
    QString error;
    QCOMPARE(replaceByCopy(m_source, m_directory->filePath(QStringLiteral("absent/file")), &error),
             Replacement::NotPrepared);
    QCOMPARE(error, QStringLiteral("No such file or directory"));
    QCOMPARE(entriesOf(m_directory->path()),
             (QStringList {QStringLiteral("source"), QStringLiteral("target")}));
}

void TestDurableFile::targetIsADirectory()
{
    writeFile(m_source, "new");
    QVERIFY(QDir().mkpath(m_target));
    writeFile(m_target + QStringLiteral("/inner"), "kept");
    QString error;
    QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::NotRenamed);
    QVERIFY(!error.isEmpty());
    QVERIFY(QFileInfo(m_target).isDir());
    QCOMPARE(entriesOf(m_target), QStringList {QStringLiteral("inner")});
    QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableFile::targetDirectoryIsAFile()
{
    writeFile(m_source, "new");
    writeFile(m_target, "old");
    QString error;
    QCOMPARE(replaceByCopy(m_source, m_target + QStringLiteral("/file"), &error),
             Replacement::NotPrepared);
    QVERIFY(!error.isEmpty());
    QCOMPARE(readFile(m_target), QByteArray("old"));
    QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableFile::linkIsReplacedAndNotFollowed()
{
    const QString elsewhere = m_directory->filePath(QStringLiteral("elsewhere"));
    writeFile(m_source, "new");
    writeFile(elsewhere, "precious");
    QString error;
    QVERIFY(QFile::link(elsewhere, m_target));
    QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::Done);
    QVERIFY(!QFileInfo(m_target).isSymLink());
    QCOMPARE(readFile(m_target), QByteArray("new"));

    QVERIFY(QFile::remove(m_target));
    QVERIFY(QFile::link(elsewhere, m_target));
    QCOMPARE(replaceFiles({{m_target, "newer"}}, &error), {Replacement::Done});
    QVERIFY(!QFileInfo(m_target).isSymLink());
    QCOMPARE(readFile(m_target), QByteArray("newer"));
    QCOMPARE(readFile(elsewhere), QByteArray("precious"));
}

// A process that is killed leaves what it has written beside the file.
void TestDurableFile::leftoversAreOverwritten()
{
    const QString elsewhere = m_directory->filePath(QStringLiteral("elsewhere"));
    writeFile(m_source, "new");
    writeFile(elsewhere, "precious");
    QString error;
    for (const bool isLink : {false, true}) {
        const QString leftover = m_targetDirectory + QStringLiteral("/.new.0");
        if (isLink) {
            QVERIFY(QFile::link(elsewhere, leftover));
        } else {
            writeFile(leftover, "half of a file that was longer");
        }
        QCOMPARE(replaceByCopy(m_source, m_target, &error), Replacement::Done);
        QCOMPARE(readFile(m_target), QByteArray("new"));
        QCOMPARE(readFile(elsewhere), QByteArray("precious"));
        QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
    }
}

void TestDurableFile::severalFilesAreReplaced()
{
    QVector<NewFile> files;
    QStringList names;
    for (int number = 100; number < 200; ++number) {
        names.append(QString::number(number));
        files.append(
            {m_targetDirectory + QLatin1Char('/') + names.last(), QByteArray::number(2 * number)});
        if (number % 2 == 0) {
            writeFile(files.last().path, "old, and longer");
        }
    }
    files.append({m_directory->filePath(QStringLiteral("elsewhere")), "another directory"});
    QString error = QStringLiteral("before");
    QCOMPARE(replaceFiles(files, &error), QVector<Replacement>(files.size(), Replacement::Done));
    QCOMPARE(error, QStringLiteral("before"));
    for (const NewFile &file : qAsConst(files)) {
        QCOMPARE(readFile(file.path), file.content);
    }
    QCOMPARE(entriesOf(m_targetDirectory), names);
    QCOMPARE(replaceFiles({}, &error), QVector<Replacement>());
}

void TestDurableFile::newFileGetsTheDefaultMode()
{
    writeFile(m_target, "old");
    QCOMPARE(chmod(QFile::encodeName(m_target).constData(), 0606), 0);
    const mode_t mask = umask(027);
    QString error;
    QCOMPARE(replaceFiles({{m_target, "new"}}, &error), {Replacement::Done});
    umask(mask);
    QCOMPARE(mode(m_target), 0640);
}

void TestDurableFile::oneThatFailsKeepsNoOtherFromBeingReplaced()
{
    const QString first = m_targetDirectory + QStringLiteral("/first");
    const QString directory = m_targetDirectory + QStringLiteral("/directory");
    const QString last = m_targetDirectory + QStringLiteral("/last");
    writeFile(first, "old");
    QVERIFY(QDir().mkpath(directory));
    QString error;
    const QVector<Replacement> results
        = replaceFiles({{first, "new"},
                        {directory, "new"},
                        {m_directory->filePath(QStringLiteral("absent/file")), "new"},
                        {last, "new"}},
                       &error);
    QCOMPARE(results,
             (QVector<Replacement> {Replacement::Done, Replacement::NotRenamed,
                                    Replacement::NotPrepared, Replacement::Done}));
    QVERIFY(!error.isEmpty());
    QCOMPARE(readFile(first), QByteArray("new"));
    QCOMPARE(readFile(last), QByteArray("new"));
    QCOMPARE(entriesOf(m_targetDirectory),
             (QStringList {QStringLiteral("directory"), QStringLiteral("first"),
                           QStringLiteral("last")}));
}

void TestDurableFile::sameFileTwiceHoldsTheLaterContent()
{
    QString error;
    QCOMPARE(replaceFiles({{m_target, "earlier"}, {m_target, "later"}}, &error),
             (QVector<Replacement> {Replacement::Done, Replacement::Done}));
    QCOMPARE(readFile(m_target), QByteArray("later"));
    QCOMPARE(entriesOf(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableFile::modeIsChangedToItself()
{
    writeFile(m_target, "old");
    QString error = QStringLiteral("before");
    for (const int permissions : {0400, 0640, 0606, 0004, 04755}) {
        QCOMPARE(chmod(QFile::encodeName(m_target).constData(), static_cast<mode_t>(permissions)),
                 0);
        QVERIFY(mayChangeMode(m_target, &error));
        QCOMPARE(mode(m_target), permissions);
    }
    QCOMPARE(error, QStringLiteral("before"));
    QVERIFY(!mayChangeMode(m_directory->filePath(QStringLiteral("absent")), &error));
    QCOMPARE(error, QStringLiteral("No such file or directory"));
}

void TestDurableFile::fileOfTheYear2040()
{
    // 32 bits count the seconds up to 2038 only.
    for (const QString &path : {m_source, m_target}) {
        writeFile(path, "text");
        constexpr std::array<timespec, 2> times {{{2208988800, 0}, {2208988800, 0}}};
        QCOMPARE(utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times.data(), 0), 0);
    }
    QString error;
    QVERIFY2(mayChangeMode(m_target, &error), qPrintable(error));
    QVERIFY2(replaceByCopy(m_source, m_target, &error) == Replacement::Done, qPrintable(error));
}

QTEST_GUILESS_MAIN(TestDurableFile)
#include "tst_durablefile.moc"
