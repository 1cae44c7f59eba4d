// The list of activities and the table of them, read from files, and the unchecked restore that
// both begin with when there is nothing to read.
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "syslogconf/configpaths.h"
#include "syslogconf/loggerconfiglist.h"

#include <QVX/qvxlogger.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCodec>

#include <clocale>

namespace {

const QString header
    = QStringLiteral("   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n");
const QString noFile = QStringLiteral("No file : logappli.conf -- restore the file ");
const QString listAborted = QStringLiteral(
    "[Method :readActivityInConfigFile] -- restoring of syslog-ng config file aborted");
const QString tableAborted = QStringLiteral("Restoring of syslog-ng config file aborted");

const QByteArray twoActivities
    = "@version: 3.38\n"
      "# BEGIN qvxsipua\n"
      "destination d_qvxsipua { udp(\"192.168.1.10\" port(514)); };\n"
      "filter f_qvxsipua { level(err..emerg) and facility(local3) and program(\"qvxsipua\"); };\n"
      "log { source(s_local); filter(f_qvxsipua); destination(d_qvxsipua); };\n"
      "# END qvxsipua\n"
      "\n"
      "# BEGIN qvxaudio\n"
      "destination d_qvxaudio { file(\"/var/log/qvxaudio.log\"); };\n"
      "filter f_qvxaudio { level(debug..emerg) and facility(local4); };\n"
      "log { source(s_local); filter(f_qvxaudio); destination(d_qvxaudio); };\n"
      "# END qvxaudio\n";

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

QString row(const QString &activity, const QString &level, const QString &support,
            const QString &destination)
{
    const QString gap(3, QLatin1Char(' '));
    return activity.leftJustified(20) + gap + level.leftJustified(8) + gap
        + support.leftJustified(10) + gap + destination.leftJustified(60) + QLatin1Char('\n');
}

/// "name level value" of each entry.
QStringList shortly(const QList<ActivityLevelEntry> &activities)
{
    QStringList texts;
    for (const ActivityLevelEntry &activity : activities) {
        texts.append(activity.facility + QLatin1Char(' ') + activity.level + QLatin1Char(' ')
                     + activity.facilityValue);
    }
    return texts;
}

QByteArray block(const QByteArray &activity)
{
    return "# BEGIN " + activity + "\ndestination d_" + activity + " { file(\"/var/log/" + activity
        + ".log\"); };\nlevel(err..emerg) facility(local3)\n# END " + activity + '\n';
}

} // namespace

class TestLoggerConfigList : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void filesOfTheConfiguration();
    void listIsRead();
    void listOfAFile_data();
    void listOfAFile();
    void listKeepsFileOrder();
    void listReadsTheFileAgain();
    void operationForgetsAnUnfinishedBlock();
    void anyPathIsRead();
    void tableIsRendered();
    void headerComesOnce_data();
    void headerComesOnce();
    void tableIsSortedIgnoringCase();
    void rowsThatDifferInCaseOnlyKeepFileOrder();
    void rowsAreSortedByMoreThanTheName();
    void tableOfAFile_data();
    void tableOfAFile();
    void localeMakesNoDifference();
    void longFile();
    void readingLeavesTheFileAlone();
    void listRestoresAMissingFile();
    void tableRestoresAMissingFile();
    void danglingLinkIsReplaced();
    void listWithNothingToRestore();
    void tableWithNothingToRestore();
    void listWithADirectoryInPlace();
    void tableWithADirectoryInPlace();
    void listWithADirectoryThatCanBeReplaced();
    void debugLinesOfTheList();
    void debugLinesOfTheTable();
    void linesAreGuarded_data();
    void linesAreGuarded();
    void restoreReplacesAFile();
    void restoreBringsAMissingFile();
    void restoreWithoutABackupRemovesTheFile();
    void restoreOfAnyPathUsesTheBackup();
    void restoreKeepsTheBackupsBytesAndPermissions();

private:
    /// Opens up a directory that a restore has closed, so that it can be cleaned up.
    void releaseDirectory(const QString &path);
    QString restored(const QString &path) const;

    QString m_realBranch;
    QString m_realWorking;
    QScopedPointer<LogCapture> m_log;
    QScopedPointer<QTemporaryDir> m_directory;
    QString m_live;
    QString m_backup;
};

void TestLoggerConfigList::initTestCase()
{
    m_realBranch = QVXLogger::configurationSyslogBranchPath;
    m_realWorking = QVXLogger::syslogWorkingDirectory;
}

void TestLoggerConfigList::cleanupTestCase()
{
    QVXLogger::configurationSyslogBranchPath = m_realBranch;
    QVXLogger::syslogWorkingDirectory = m_realWorking;
}

void TestLoggerConfigList::init()
{
    m_log.reset(new LogCapture);
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("sip")));
    QVXLogger::syslogWorkingDirectory = m_directory->path() + QLatin1Char('/');
    QVXLogger::configurationSyslogBranchPath = m_directory->path() + QStringLiteral("/sip/");
    m_live = m_directory->path() + QStringLiteral("/sip/logappli.conf");
    m_backup = m_directory->path() + QStringLiteral("/logappli.conf.sav");
}

void TestLoggerConfigList::cleanup()
{
    m_directory.reset();
    m_log.reset();
}

void TestLoggerConfigList::releaseDirectory(const QString &path)
{
    QVERIFY(QFile::setPermissions(
        path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
}

QString TestLoggerConfigList::restored(const QString &path) const
{
    return QStringLiteral("[LoggerConfigList:: Method : restoreConfigFile]") + path
        + QStringLiteral(" restored with : ") + m_directory->path()
        + QStringLiteral("/logappli.conf.sav");
}

void TestLoggerConfigList::filesOfTheConfiguration()
{
    QCOMPARE(liveConfigPath(), m_live);
    QCOMPARE(backupConfigPath(), m_backup);
    QCOMPARE(temporaryConfigPath(),
             QString(m_directory->path() + QStringLiteral("/logappli.conf.tmp")));
}

void TestLoggerConfigList::listIsRead()
{
    QVERIFY(writeFile(m_live, twoActivities));
    const QList<ActivityLevelEntry> activities
        = LoggerConfigList().readActivityInConfigFile(m_live);
    QCOMPARE(activities.size(), 2);
    QCOMPARE(activities.at(0).facility, QStringLiteral("qvxsipua"));
    QCOMPARE(activities.at(0).level, QStringLiteral("err"));
    QCOMPARE(activities.at(0).facilityValue, QStringLiteral("local3"));
    QCOMPARE(activities.at(1).facility, QStringLiteral("qvxaudio"));
    QCOMPARE(activities.at(1).level, QStringLiteral("debug"));
    QCOMPARE(activities.at(1).facilityValue, QStringLiteral("local4"));
    QCOMPARE(m_log->errors(), QStringList());
}

void TestLoggerConfigList::listOfAFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("activities");

    QTest::newRow("empty file") << QByteArray() << QStringList();
    QTest::newRow("comments only") << QByteArray("# nothing\n\n") << QStringList();
    QTest::newRow("blocks without end lines")
        << QByteArray("# BEGIN a\nlevel(err..emerg)\n# BEGIN b\nlevel(info..emerg)\n")
        << QStringList();
    QTest::newRow("end line alone")
        << QByteArray("# END a\n") << QStringList {QStringLiteral("a none none")};
    QTest::newRow("end line without a name")
        << QByteArray("# END\n") << QStringList {QStringLiteral(" none none")};
    QTest::newRow("block of one line") << QByteArray("level(err..emerg) facility(local1) # END a\n")
                                       << QStringList {QStringLiteral("a err local1")};
    QTest::newRow("later level of a block wins")
        << QByteArray("# BEGIN a\nlevel(err..emerg)\nlevel(info..emerg)\n# END a\n")
        << QStringList {QStringLiteral("a info none")};
    QTest::newRow("block without its end line is merged into the next")
        << QByteArray("# BEGIN a\nlevel(info..emerg)\nfacility(local1)\n"
                      "# BEGIN b\nfacility(local2)\n# END b\n")
        << QStringList {QStringLiteral("b info local2")};
    QTest::newRow("nothing is carried into the next block")
        << QByteArray("# BEGIN a\nlevel(info..emerg)\nfacility(local1)\n# END a\n"
                      "# BEGIN b\n# END b\n")
        << QStringList {QStringLiteral("a info local1"), QStringLiteral("b none none")};
    QTest::newRow("lines behind the last end line are dropped")
        << QByteArray("# END a\nlevel(info..emerg)\nfacility(local1)\n")
        << QStringList {QStringLiteral("a none none")};
    QTest::newRow("statements before the first begin line count")
        << QByteArray("level(info..emerg)\n# BEGIN a\n# END a\n")
        << QStringList {QStringLiteral("a info none")};
    QTest::newRow("same activity twice")
        << QByteArray("level(info..emerg)\n# END a\nlevel(err..emerg)\n# END a\n")
        << QStringList {QStringLiteral("a info none"), QStringLiteral("a err none")};
    QTest::newRow("values are trimmed")
        << QByteArray("level( info ..emerg) facility(\tlocal1 )\n# END  a b \t\n")
        << QStringList {QStringLiteral("a b info local1")};
    QTest::newRow("path for a name")
        << QByteArray("# END ../../x\n") << QStringList {QStringLiteral("../../x none none")};
    QTest::newRow("CRLF") << QByteArray("level(info..emerg)\r\nfacility(local1)\r\n# END a\r\n")
                          << QStringList {QStringLiteral("a info local1")};
    QTest::newRow("no last line feed")
        << QByteArray("level(info..emerg)\n# END a") << QStringList {QStringLiteral("a info none")};
    QTest::newRow("UTF-8") << QByteArray("level(ü..emerg)\n# END aü😀\n")
                           << QStringList {QString::fromUtf8("aü😀 ü none")};
    QTest::newRow("byte order mark")
        << QByteArray("\xef\xbb\xbf# END a\n") << QStringList {QStringLiteral("a none none")};
    QTest::newRow("other encoding in a comment") << QByteArray("# gr\xfc\xdf"
                                                               "e\nlevel(info..emerg)\n# END a\n")
                                                 << QStringList {QStringLiteral("a info none")};
}

void TestLoggerConfigList::listOfAFile()
{
    QFETCH(QByteArray, content);
    QVERIFY(writeFile(m_live, content));
    QTEST(shortly(LoggerConfigList().readActivityInConfigFile(m_live)), "activities");
}

void TestLoggerConfigList::listKeepsFileOrder()
{
    QVERIFY(writeFile(m_live, block("c") + block("B") + block("a") + block("D")));
    QCOMPARE(shortly(LoggerConfigList().readActivityInConfigFile(m_live)),
             (QStringList {QStringLiteral("c err local3"), QStringLiteral("B err local3"),
                           QStringLiteral("a err local3"), QStringLiteral("D err local3")}));
}

void TestLoggerConfigList::listReadsTheFileAgain()
{
    LoggerConfigList list;
    QVERIFY(writeFile(m_live, block("a")));
    QCOMPARE(list.readActivityInConfigFile(m_live).size(), 1);
    QVERIFY(writeFile(m_live, block("a") + block("b")));
    QCOMPARE(list.readActivityInConfigFile(m_live).size(), 2);
    QCOMPARE(list.activityTable(m_live, true).count(QLatin1Char('\n')), 3);
    QVERIFY(writeFile(m_live, ""));
    QCOMPARE(list.activityTable(m_live, true), header);
    QCOMPARE(list.readActivityInConfigFile(m_live).size(), 0);
}

void TestLoggerConfigList::operationForgetsAnUnfinishedBlock()
{
    const QByteArray unfinished = "level(info..emerg) facility(local1)\n"
                                  "destination d { file(\"/x\"); };\n";
    LoggerConfigList list;
    QVERIFY(writeFile(m_live, unfinished));
    QCOMPARE(list.readActivityInConfigFile(m_live).size(), 0);
    QVERIFY(writeFile(m_live, "# END a\n"));
    QCOMPARE(shortly(list.readActivityInConfigFile(m_live)),
             QStringList {QStringLiteral("a none none")});

    const QString none = QStringLiteral("none");
    QVERIFY(writeFile(m_live, unfinished));
    QCOMPARE(list.activityTable(m_live, true), header);
    QVERIFY(writeFile(m_live, "# END a\n"));
    QCOMPARE(list.activityTable(m_live, true),
             QString(header + row(QStringLiteral("a"), none, none, none)));
}

void TestLoggerConfigList::anyPathIsRead()
{
    const QString other = m_directory->filePath(QStringLiteral("other"));
    QVERIFY(writeFile(other, block("a")));
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(other).size(), 1);
    QCOMPARE(LoggerConfigList().activityTable(other, true).count(QLatin1Char('\n')), 2);
    QVERIFY(!QFile::exists(m_live));
}

void TestLoggerConfigList::tableIsRendered()
{
    QVERIFY(writeFile(m_live, twoActivities));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true),
             QString(QStringLiteral(
                         "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n"
                         "qvxaudio               debug      file         /var/log/qvxaudio.log")
                     + QString(39, QLatin1Char(' '))
                     + QStringLiteral("\n"
                                      "qvxsipua               err        udp          "
                                      "IP :192.168.1.10 port(514)")
                     + QString(34, QLatin1Char(' ')) + QLatin1Char('\n')));
    QCOMPARE(m_log->errors(), QStringList());
}

void TestLoggerConfigList::headerComesOnce_data()
{
    QTest::addColumn<bool>("withHeader");
    QTest::addColumn<QByteArray>("content");

    for (const bool withHeader : {true, false}) {
        const char *const name = withHeader ? "asked for" : "not asked for";
        QTest::addRow("%s, two activities", name) << withHeader << twoActivities;
        QTest::addRow("%s, one activity", name) << withHeader << block("a");
        QTest::addRow("%s, no activity", name) << withHeader << QByteArray();
    }
}

void TestLoggerConfigList::headerComesOnce()
{
    QFETCH(bool, withHeader);
    QFETCH(QByteArray, content);
    QVERIFY(writeFile(m_live, content));
    const QString table = LoggerConfigList().activityTable(m_live, withHeader);
    QVERIFY(table.startsWith(header));
    QCOMPARE(table.count(QStringLiteral("ACTIVITY")), 1);
    QCOMPARE(table.count(QLatin1Char('\n')), 1 + content.count("# END"));
}

void TestLoggerConfigList::tableIsSortedIgnoringCase()
{
    QVERIFY(writeFile(m_live,
                      block("qvxb") + block("Telephony") + block("QVXa") + block("Aa") + block("_x")
                          + block("telephonx")));
    const QStringList lines
        = LoggerConfigList().activityTable(m_live, true).split(QLatin1Char('\n'));
    QStringList names;
    for (const QString &line : lines.mid(1)) {
        names.append(line.left(20).trimmed());
    }
    QCOMPARE(names,
             (QStringList {QStringLiteral("_x"), QStringLiteral("Aa"), QStringLiteral("QVXa"),
                           QStringLiteral("qvxb"), QStringLiteral("telephonx"),
                           QStringLiteral("Telephony"), QString()}));
}

void TestLoggerConfigList::rowsThatDifferInCaseOnlyKeepFileOrder()
{
    const QString none = QStringLiteral("none");
    const QString upper = row(QStringLiteral("A"), none, none, none);
    const QString lower = row(QStringLiteral("a"), none, none, none);
    QVERIFY(writeFile(m_live, "# END a\n# END A\n"));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true), QString(header + lower + upper));
    QVERIFY(writeFile(m_live, "# END A\n# END a\n"));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true), QString(header + upper + lower));
}

void TestLoggerConfigList::rowsAreSortedByMoreThanTheName()
{
    const QString none = QStringLiteral("none");
    const QString a = QStringLiteral("a");
    QVERIFY(writeFile(m_live, "level(info..x)\n# END a\nlevel(debug..x)\n# END a\n"));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true),
             QString(header + row(a, QStringLiteral("debug"), none, none)
                     + row(a, QStringLiteral("info"), none, none)));
}

void TestLoggerConfigList::tableOfAFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("rows");

    const QString none = QStringLiteral("none");
    const QString a = QStringLiteral("a");
    const QString file = QStringLiteral("file");
    const QString err = QStringLiteral("err");
    QTest::newRow("empty file") << QByteArray() << QString();
    QTest::newRow("blocks without end lines")
        << QByteArray("# BEGIN a\nlevel(err..emerg)\n# BEGIN b\nlevel(info..emerg)\n") << QString();
    QTest::newRow("end line alone") << QByteArray("# END a\n") << row(a, none, none, none);
    QTest::newRow("later level wins")
        << QByteArray("level(info..x)\nlevel(err..x)\n# END a\n") << row(a, err, none, none);
    QTest::newRow("later destination wins")
        << QByteArray("destination d { udp(\"1.2.3.4\"); };\n"
                      "destination d { file(\"/x\"); };\n# END a\n")
        << row(a, none, file, QStringLiteral("/x"));
    QTest::newRow("no blank before the keyword")
        << QByteArray("destination d_a {file(\"/var/log/x.log\"); };\n# END a\n")
        << row(a, none, file, QStringLiteral("var/log/x.log"));
    QTest::newRow("three blanks before the keyword")
        << QByteArray("destination d_a {   file(\"/var/log/x.log\"); };\n# END a\n")
        << row(a, none, file, QStringLiteral("(/var/log/x.log"));
    QTest::newRow("tcp without its quotes")
        << QByteArray("destination d_a { tcp(\"10.0.0.5\" port(\"601\")); };\n# END a\n")
        << row(a, none, QStringLiteral("tcp"), QStringLiteral("IP :10.0.0.5 port(601)"));
    QTest::newRow("log line is no destination")
        << QByteArray("log { source(s); destination(d_a); };\n# END a\n")
        << row(a, none, none, none);
    QTest::newRow("log line with a quoted source looks like one")
        << QByteArray("log { source(\"s\"); destination(d_a); };\n# END a\n")
        << row(a, none, QStringLiteral("source"), QStringLiteral("s); destination(d_a"));
    QTest::newRow("long values overflow")
        << QByteArray("destination d { program(\"" + QByteArray(80, 'p') + "\"); };\n# END "
                      + QByteArray(30, 'n') + '\n')
        << row(QString(30, QLatin1Char('n')), none, QStringLiteral("program"),
               QString(80, QLatin1Char('p')));
    QTest::newRow("CRLF") << QByteArray(
        "destination d { file(\"/x\"); };\r\nlevel(err..x)\r\n# END a\r\n")
                          << row(a, err, file, QStringLiteral("/x"));
    QTest::newRow("CRLF behind a destination without its terminator")
        << QByteArray("destination d { file(\"/x\")\r\n# END a\r\n")
        << row(a, none, file, QStringLiteral("/x)"));
    QTest::newRow("no last line feed")
        << QByteArray("level(err..x)\n# END a") << row(a, err, none, none);
    QTest::newRow("UTF-8") << QByteArray("destination d { file(\"/ü😀\"); };\n# END aü\n")
                           << row(QString::fromUtf8("aü"), none, file, QString::fromUtf8("/ü😀"));
    QTest::newRow("lines behind the last end line are dropped")
        << QByteArray("# END a\ndestination d { file(\"/x\"); };\n") << row(a, none, none, none);
}

void TestLoggerConfigList::tableOfAFile()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, rows);
    QVERIFY(writeFile(m_live, content));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true), QString(header + rows));
}

void TestLoggerConfigList::localeMakesNoDifference()
{
    QVERIFY(writeFile(m_live, "destination d { file(\"/ü\"); };\nlevel(ä..x)\n# END aü😀\n"));
    const QByteArray before = setlocale(LC_ALL, nullptr);
    QVERIFY(setlocale(LC_ALL, "C"));
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    const QList<ActivityLevelEntry> activities
        = LoggerConfigList().readActivityInConfigFile(m_live);
    const QString table = LoggerConfigList().activityTable(m_live, true);
    QTextCodec::setCodecForLocale(nullptr);
    setlocale(LC_ALL, before.constData());

    QCOMPARE(shortly(activities), QStringList {QString::fromUtf8("aü😀 ä none")});
    QCOMPARE(table,
             QString(header
                     + row(QString::fromUtf8("aü😀"), QString::fromUtf8("ä"), QStringLiteral("file"),
                           QString::fromUtf8("/ü"))));
}

void TestLoggerConfigList::longFile()
{
    LogCapture::setLevel(3);
    const QByteArray padding(100000, 'x');
    QByteArray content;
    for (int activity = 0; activity < 2000; ++activity) {
        content += block("a" + QByteArray::number(activity));
    }
    content += padding + "level(err..emerg)" + padding + "\n# END " + padding;
    QVERIFY(writeFile(m_live, content));
    const QList<ActivityLevelEntry> activities
        = LoggerConfigList().readActivityInConfigFile(m_live);
    QCOMPARE(activities.size(), 2001);
    QCOMPARE(activities.at(1999).facility, QStringLiteral("a1999"));
    QVERIFY(activities.last().facility == QString::fromLatin1(padding));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true).count(QLatin1Char('\n')), 2002);
}

void TestLoggerConfigList::readingLeavesTheFileAlone()
{
    const QByteArray content = "level(err..emerg)\r\n# gr\xfc\xdf\n# END a";
    QVERIFY(writeFile(m_live, content));
    QVERIFY(writeFile(m_backup, twoActivities));
    const QFileDevice::Permissions permissions = QFileInfo(m_live).permissions();
    LoggerConfigList().readActivityInConfigFile(m_live);
    LoggerConfigList().activityTable(m_live, true);
    QCOMPARE(readFile(m_live), content);
    QCOMPARE(QFileInfo(m_live).permissions(), permissions);
    QCOMPARE(readFile(m_backup), twoActivities);
    QCOMPARE(m_log->errors(), QStringList());
}

void TestLoggerConfigList::listRestoresAMissingFile()
{
    QVERIFY(writeFile(m_backup, twoActivities));
    QCOMPARE(shortly(LoggerConfigList().readActivityInConfigFile(m_live)),
             (QStringList {QStringLiteral("qvxsipua err local3"),
                           QStringLiteral("qvxaudio debug local4")}));
    QCOMPARE(m_log->errors(), (QStringList {noFile, restored(m_live)}));
    QCOMPARE(readFile(m_live), twoActivities);
    QCOMPARE(readFile(m_backup), twoActivities);
}

void TestLoggerConfigList::tableRestoresAMissingFile()
{
    QVERIFY(writeFile(m_backup, block("a")));
    QCOMPARE(LoggerConfigList().activityTable(m_live, false),
             QString(header
                     + row(QStringLiteral("a"), QStringLiteral("err"), QStringLiteral("file"),
                           QStringLiteral("/var/log/a.log"))));
    QCOMPARE(m_log->errors(), QStringList {restored(m_live)});
    QCOMPARE(readFile(m_live), block("a"));
}

void TestLoggerConfigList::danglingLinkIsReplaced()
{
    const QString target = m_directory->filePath(QStringLiteral("elsewhere"));
    QVERIFY(writeFile(m_backup, block("a")));
    QVERIFY(QFile::link(target, m_live));
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(m_live).size(), 1);
    QVERIFY(!QFileInfo(m_live).isSymLink());
    QCOMPARE(readFile(m_live), block("a"));
    QVERIFY(!QFile::exists(target));
}

void TestLoggerConfigList::listWithNothingToRestore()
{
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(m_live).size(), 0);
    QCOMPARE(m_log->errors(),
             (QStringList {noFile, restored(m_live), restored(m_live), listAborted}));
    QVERIFY(!QFile::exists(m_live));
    QVERIFY(!QFile::exists(m_backup));
}

void TestLoggerConfigList::tableWithNothingToRestore()
{
    QCOMPARE(LoggerConfigList().activityTable(m_live, true),
             QStringLiteral("configuration file cannot be restored"));
    // Once because the file is missing, and twice because it cannot be opened.
    QCOMPARE(m_log->errors(),
             (QStringList {restored(m_live), restored(m_live), restored(m_live), tableAborted}));
    QVERIFY(!QFile::exists(m_live));
}

void TestLoggerConfigList::listWithADirectoryInPlace()
{
    QVERIFY(writeFile(m_backup, block("a")));
    QVERIFY(QDir().mkpath(m_live));
    QVERIFY(writeFile(m_live + QStringLiteral("/inner"), "kept"));
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(m_live).size(), 0);
    QCOMPARE(m_log->errors(), (QStringList {restored(m_live), listAborted}));
    QVERIFY(QFileInfo(m_live).isDir());
    releaseDirectory(m_live);
    QCOMPARE(readFile(m_live + QStringLiteral("/inner")), QByteArray("kept"));
}

void TestLoggerConfigList::tableWithADirectoryInPlace()
{
    QVERIFY(writeFile(m_backup, block("a")));
    QVERIFY(QDir().mkpath(m_live));
    QVERIFY(writeFile(m_live + QStringLiteral("/inner"), "kept"));
    QCOMPARE(LoggerConfigList().activityTable(m_live, true),
             QStringLiteral("configuration file cannot be restored"));
    QCOMPARE(m_log->errors(), (QStringList {restored(m_live), restored(m_live), tableAborted}));
    releaseDirectory(m_live);
    QCOMPARE(readFile(m_live + QStringLiteral("/inner")), QByteArray("kept"));
}

void TestLoggerConfigList::listWithADirectoryThatCanBeReplaced()
{
    // A link to a directory cannot be opened either, but removed.
    const QString directory = m_directory->filePath(QStringLiteral("directory"));
    QVERIFY(QDir().mkpath(directory));
    QVERIFY(QFile::link(directory, m_live));
    QVERIFY(writeFile(m_backup, block("a")));
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(m_live).size(), 1);
    QCOMPARE(m_log->errors(), QStringList {restored(m_live)});
    releaseDirectory(directory);

    QVERIFY(QFile::remove(m_live));
    QVERIFY(QFile::link(directory, m_live));
    m_log->clear();
    QCOMPARE(LoggerConfigList().activityTable(m_live, true).count(QLatin1Char('\n')), 2);
    QCOMPARE(m_log->errors(), (QStringList {restored(m_live), restored(m_live)}));
    releaseDirectory(directory);
}

void TestLoggerConfigList::debugLinesOfTheList()
{
    QVERIFY(writeFile(m_live, twoActivities + "# END none %1\n"));
    LoggerConfigList().readActivityInConfigFile(m_live);
    QCOMPARE(
        m_log->debugs(),
        (QStringList {QStringLiteral("facility : qvxsipua level : err facility value : local3"),
                      QStringLiteral("facility : qvxaudio level : debug facility value : local4"),
                      QStringLiteral("facility : none %1 level : none facility value : none")}));
    QCOMPARE(m_log->lines().size(), 3);
}

void TestLoggerConfigList::debugLinesOfTheTable()
{
    QVERIFY(writeFile(m_live, twoActivities + "# END a\n"));
    LoggerConfigList().activityTable(m_live, true);
    // In file order; the destination as wide as its column.
    QCOMPARE(
        m_log->debugs(),
        (QStringList {QString(QStringLiteral("facility value local3 <-> IP :192.168.1.10 port(514)")
                              + QString(34, QLatin1Char(' '))),
                      QString(QStringLiteral("facility value local4 <-> /var/log/qvxaudio.log")
                              + QString(39, QLatin1Char(' '))),
                      QString(QStringLiteral("facility value none <-> none")
                              + QString(56, QLatin1Char(' ')))}));
    QCOMPARE(m_log->lines().size(), 3);
}

void TestLoggerConfigList::linesAreGuarded_data()
{
    QTest::addColumn<int>("level");
    for (int level = 0; level <= 7; ++level) {
        QTest::addRow("configured level %d", level) << level;
    }
}

void TestLoggerConfigList::linesAreGuarded()
{
    QFETCH(int, level);
    const bool errorsWritten = level > 2;
    const bool debugsWritten = level > 6;
    LogCapture::setLevel(level);

    QVERIFY(writeFile(m_backup, twoActivities));
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(m_live).size(), 2);
    QCOMPARE(m_log->errors().size(), errorsWritten ? 2 : 0);
    QCOMPARE(m_log->debugs().size(), debugsWritten ? 2 : 0);

    m_log->clear();
    LoggerConfigList().activityTable(m_live, true);
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(m_log->errors().size(), errorsWritten ? 1 : 0);
    QCOMPARE(m_log->debugs().size(), debugsWritten ? 2 : 0);

    m_log->clear();
    QVERIFY(QFile::remove(m_live));
    QVERIFY(QFile::remove(m_backup));
    LoggerConfigList().readActivityInConfigFile(m_live);
    LoggerConfigList().activityTable(m_live, true);
    QCOMPARE(m_log->errors().size(), errorsWritten ? 8 : 0);
    QCOMPARE(m_log->lines().size(), errorsWritten ? 8 : 0);
}

void TestLoggerConfigList::restoreReplacesAFile()
{
    QVERIFY(writeFile(m_live, "broken, and longer than the backup\n"));
    QVERIFY(writeFile(m_backup, "good\n"));
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(readFile(m_live), QByteArray("good\n"));
    QCOMPARE(readFile(m_backup), QByteArray("good\n"));
    QCOMPARE(m_log->errors(), QStringList {restored(m_live)});
    QCOMPARE(m_log->lines().size(), 1);
}

void TestLoggerConfigList::restoreBringsAMissingFile()
{
    QVERIFY(writeFile(m_backup, "good\n"));
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(readFile(m_live), QByteArray("good\n"));
    QCOMPARE(m_log->errors(), QStringList {restored(m_live)});
}

void TestLoggerConfigList::restoreWithoutABackupRemovesTheFile()
{
    QVERIFY(writeFile(m_live, "only one\n"));
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QVERIFY(!QFile::exists(m_live));
    QCOMPARE(m_log->errors(), QStringList {restored(m_live)});
}

void TestLoggerConfigList::restoreOfAnyPathUsesTheBackup()
{
    const QString other = m_directory->filePath(QStringLiteral("other %1"));
    QVERIFY(writeFile(m_backup, "good\n"));
    QVERIFY(LoggerConfigList().restoreConfigFile(other));
    QCOMPARE(readFile(other), QByteArray("good\n"));
    QVERIFY(!QFile::exists(m_live));
    QCOMPARE(m_log->errors(), QStringList {restored(other)});
}

void TestLoggerConfigList::restoreKeepsTheBackupsBytesAndPermissions()
{
    const QByteArray content("a\r\n\0\xfc\xff no last line feed", 25);
    QVERIFY(writeFile(m_live, "x"));
    QVERIFY(writeFile(m_backup, content));
    QVERIFY(QFile::setPermissions(
        m_backup, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup));
    const QFileDevice::Permissions permissions = QFileInfo(m_backup).permissions();
    QVERIFY(LoggerConfigList().restoreConfigFile(m_live));
    QCOMPARE(readFile(m_live), content);
    QCOMPARE(QFileInfo(m_live).permissions(), permissions);
}

QTEST_GUILESS_MAIN(TestLoggerConfigList)
#include "tst_loggerconfiglist.moc"
