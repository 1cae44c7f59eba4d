// Which programs are said to be missing, by absolute path and by name.
// SPDX-License-Identifier: MIT
#include "app/neededprograms.h"

#include "support/literal.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class tst_NeededPrograms : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void missing_data();
    void missing();
    void withoutPathTheSystemsOwnIsSearched();

private:
    QTemporaryDir m_directory;
};

void tst_NeededPrograms::initTestCase()
{
    QVERIFY(m_directory.isValid());
    QDir root(m_directory.path());
    QVERIFY(root.mkpath("one/directory"_s) && root.mkdir("two"_s));
    for (const QString &name : {"one/tar"_s, "one/text"_s, "two/kill"_s}) {
        QFile file(m_directory.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        if (!name.endsWith("text"_s)) {
            QVERIFY(file.setPermissions(file.permissions() | QFile::ExeOwner));
        }
    }
    QVERIFY(QFile::link("nowhere"_s, m_directory.filePath("one/dangling"_s)));
    QVERIFY(QFile::link("../two/kill"_s, m_directory.filePath("one/link"_s)));
}

// In the names and paths % is the directory of the test.
void tst_NeededPrograms::missing_data()
{
    QTest::addColumn<QStringList>("programs");
    QTest::addColumn<QString>("searchPath");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("none asked for") << QStringList() << "%/one"_s << QStringList();
    QTest::newRow("in the second directory")
        << QStringList {"tar"_s, "kill"_s} << "%/one:%/two"_s << QStringList();
    QTest::newRow("in no directory, in the order of asking")
        << QStringList {"gzip"_s, "tar"_s, "kill"_s} << "%/one"_s
        << QStringList {"gzip"_s, "kill"_s};
    QTest::newRow("absolute") << QStringList {"%/one/tar"_s, "%/one/ln"_s} << "%/two"_s
                              << QStringList {"%/one/ln"_s};
    QTest::newRow("not executable, a directory, a dangling link")
        << QStringList {"text"_s, "directory"_s, "dangling"_s} << "%/one"_s
        << QStringList {"text"_s, "directory"_s, "dangling"_s};
    QTest::newRow("through a link") << QStringList {"link"_s} << "%/one"_s << QStringList();
    QTest::newRow("empty directories") << QStringList {"tar"_s} << "::%/one:"_s << QStringList();
    QTest::newRow("nothing to search")
        << QStringList {"tar"_s} << QString() << QStringList {"tar"_s};
}

void tst_NeededPrograms::missing()
{
    QFETCH(QStringList, programs);
    QFETCH(QString, searchPath);
    QFETCH(QStringList, expected);
    const QString directory = m_directory.path();
    QCOMPARE(missingPrograms(programs.replaceInStrings("%"_s, directory),
                             QFile::encodeName(searchPath.replace("%"_s, directory))),
             expected.replaceInStrings("%"_s, directory));
}

void tst_NeededPrograms::withoutPathTheSystemsOwnIsSearched()
{
    const QByteArray before = qgetenv("PATH");
    qputenv("PATH", "/somewhere:/else");
    QCOMPARE(programSearchPath(), QByteArray("/somewhere:/else"));
    qunsetenv("PATH");
    QCOMPARE(programSearchPath(), QByteArray("/bin:/usr/bin"));
    qputenv("PATH", before);
}

QTEST_GUILESS_MAIN(tst_NeededPrograms)
#include "tst_neededprograms.moc"
