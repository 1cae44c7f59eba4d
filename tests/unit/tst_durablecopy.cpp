// The copy by which files replace each other: what it carries over, and that it leaves all as it
// was when it fails.
// SPDX-License-Identifier: MIT
#include "syslogconf/durablecopy.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

/// The permission bits of @p path in the file system.
int mode(const QString &path)
{
    struct stat status;
    return stat(QFile::encodeName(path).constData(), &status) == 0
        ? static_cast<int>(status.st_mode & 07777)
        : -1;
}

QStringList entries(const QString &directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::Hidden | QDir::System
                                     | QDir::NoDotAndDotDot);
}

} // namespace

class TestDurableCopy : public QObject
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

private:
    QScopedPointer<QTemporaryDir> m_directory;
    QString m_source;
    QString m_targetDirectory;
    QString m_target;
};

void TestDurableCopy::init()
{
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    m_source = m_directory->filePath(QStringLiteral("source"));
    m_targetDirectory = m_directory->filePath(QStringLiteral("target"));
    m_target = m_targetDirectory + QStringLiteral("/logappli.conf");
    QVERIFY(QDir().mkpath(m_targetDirectory));
}

void TestDurableCopy::contentIsCopied_data()
{
    QTest::addColumn<QByteArray>("content");

    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("text") << QByteArray("# BEGIN a\n# END a\n");
    QTest::newRow("no last line feed") << QByteArray("a");
    QTest::newRow("carriage returns") << QByteArray("a\r\nb\r");
    QTest::newRow("bytes of no text") << QByteArray("\0\xff\xfe\x80", 4);
    QTest::newRow("3 MB") << QByteArray(3000000, 'x');
}

void TestDurableCopy::contentIsCopied()
{
    QFETCH(QByteArray, content);
    QVERIFY(writeFile(m_source, content));
    QString error;
    QVERIFY2(copyDurably(m_source, m_target, &error), qPrintable(error));
    QVERIFY(readFile(m_target) == content);
    QVERIFY(readFile(m_source) == content);
    QCOMPARE(entries(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableCopy::permissionsAreCopied_data()
{
    QTest::addColumn<int>("permissions");
    QTest::addColumn<bool>("targetExists");

    for (const int permissions : {0400, 0444, 0600, 0640, 0644, 0666, 0755}) {
        QTest::addRow("%o, new", permissions) << permissions << false;
        QTest::addRow("%o, over another", permissions) << permissions << true;
    }
}

void TestDurableCopy::permissionsAreCopied()
{
    QFETCH(int, permissions);
    QFETCH(bool, targetExists);
    QVERIFY(writeFile(m_source, "new"));
    QCOMPARE(chmod(QFile::encodeName(m_source).constData(), static_cast<mode_t>(permissions)), 0);
    if (targetExists) {
        QVERIFY(writeFile(m_target, "old"));
        QCOMPARE(chmod(QFile::encodeName(m_target).constData(), 0606), 0);
    }
    QString error;
    QVERIFY2(copyDurably(m_source, m_target, &error), qPrintable(error));
    QCOMPARE(mode(m_target), permissions);
    QCOMPARE(mode(m_source), permissions);
    QCOMPARE(readFile(m_target), QByteArray("new"));
}

void TestDurableCopy::targetIsReplacedAsAWhole()
{
    QVERIFY(writeFile(m_source, "new"));
    QVERIFY(writeFile(m_target, "old, and longer"));
    QFile before(m_target);
    QVERIFY(before.open(QIODevice::ReadOnly));
    QString error;
    QVERIFY2(copyDurably(m_source, m_target, &error), qPrintable(error));
    QCOMPARE(readFile(m_target), QByteArray("new"));
    // Who has the old file open goes on reading the old file: it was never written to.
    QCOMPARE(before.readAll(), QByteArray("old, and longer"));
    QCOMPARE(entries(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableCopy::errorIsUntouchedBySuccess()
{
    QVERIFY(writeFile(m_source, "new"));
    QString error = QStringLiteral("before");
    QVERIFY(copyDurably(m_source, m_target, &error));
    QCOMPARE(error, QStringLiteral("before"));
}

void TestDurableCopy::missingSource()
{
    QVERIFY(writeFile(m_target, "old"));
    QString error;
    QVERIFY(!copyDurably(m_source, m_target, &error));
    QCOMPARE(error, QStringLiteral("No such file or directory"));
    QCOMPARE(readFile(m_target), QByteArray("old"));

    QVERIFY(QFile::remove(m_target));
    QVERIFY(!copyDurably(m_source, m_target, &error));
    QCOMPARE(entries(m_targetDirectory), QStringList());
}

void TestDurableCopy::sourceIsADirectory()
{
    QVERIFY(QDir().mkpath(m_source));
    QVERIFY(writeFile(m_target, "old"));
    QString error;
    QVERIFY(!copyDurably(m_source, m_target, &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(readFile(m_target), QByteArray("old"));
    QCOMPARE(entries(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableCopy::missingTargetDirectory()
{
    QVERIFY(writeFile(m_source, "new"));
    QString error;
    QVERIFY(!copyDurably(m_source, m_directory->filePath(QStringLiteral("absent/file")), &error));
    QCOMPARE(error, QStringLiteral("No such file or directory"));
    QCOMPARE(entries(m_directory->path()),
             (QStringList {QStringLiteral("source"), QStringLiteral("target")}));
}

void TestDurableCopy::targetIsADirectory()
{
    QVERIFY(writeFile(m_source, "new"));
    QVERIFY(QDir().mkpath(m_target));
    QVERIFY(writeFile(m_target + QStringLiteral("/inner"), "kept"));
    QString error;
    QVERIFY(!copyDurably(m_source, m_target, &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(QFileInfo(m_target).isDir());
    QCOMPARE(entries(m_target), QStringList {QStringLiteral("inner")});
    QCOMPARE(entries(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

void TestDurableCopy::targetDirectoryIsAFile()
{
    QVERIFY(writeFile(m_source, "new"));
    QVERIFY(writeFile(m_target, "old"));
    QString error;
    QVERIFY(!copyDurably(m_source, m_target + QStringLiteral("/file"), &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(readFile(m_target), QByteArray("old"));
    QCOMPARE(entries(m_targetDirectory), QStringList {QStringLiteral("logappli.conf")});
}

QTEST_GUILESS_MAIN(TestDurableCopy)
#include "tst_durablecopy.moc"
