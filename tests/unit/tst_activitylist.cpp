// The list of activities and the table of them, as they are read from a file.
// SPDX-License-Identifier: MIT
#include "support/activitytable.h"
#include "support/files.h"
#include "support/literal.h"
#include "support/logcapture.h"
#include "support/ownconfiguration.h"
#include "syslogconf/configpaths.h"
#include "syslogconf/loggerconfiglist.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

namespace {

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

/// "name level value" of each activity.
QStringList shortly(const QList<ActivityLevelEntry> &activities)
{
    QStringList texts;
    for (const ActivityLevelEntry &activity : activities) {
        texts.append(activity.facility + QLatin1Char(' ') + activity.level + QLatin1Char(' ')
                     + activity.facilityValue);
    }
    return texts;
}

} // namespace

class TestActivityList : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void filesOfTheConfiguration();
    void usualFile();
    void anyFile_data();
    void anyFile();
    void listKeepsTheOrderAndTheTableIsSorted_data();
    void listKeepsTheOrderAndTheTableIsSorted();
    void fileIsReadAgain();
    void operationForgetsAnUnfinishedBlock();
    void anyPathIsRead();
    void longFile();
    void readingLeavesTheFileAlone();
    void debugLinesOfTheList();
    void debugLinesOfTheTable();

private:
    QScopedPointer<LogCapture> m_log;
    QScopedPointer<OwnConfiguration> m_configuration;
    QString m_live;
};

void TestActivityList::init()
{
    m_log.reset(new LogCapture);
    m_configuration.reset(new OwnConfiguration);
    m_live = m_configuration->live();
}

void TestActivityList::cleanup()
{
    m_configuration.reset();
    m_log.reset();
}

void TestActivityList::filesOfTheConfiguration()
{
    QCOMPARE(liveConfigPath(), m_live);
    QCOMPARE(backupConfigPath(), m_configuration->backup());
    QCOMPARE(temporaryConfigPath(), m_configuration->path("logappli.conf.tmp"_s));
}

void TestActivityList::usualFile()
{
    writeFile(m_live, twoActivities);
    QCOMPARE(shortly(LoggerConfigList().readActivityInConfigFile(m_live)),
             (QStringList {"qvxsipua err local3"_s, "qvxaudio debug local4"_s}));
    for (const bool withHeader : {true, false}) {
        QCOMPARE(LoggerConfigList().activityTable(m_live, withHeader),
                 "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n"
                 "qvxaudio               debug      file         /var/log/qvxaudio.log"
                 "                                       \n"
                 "qvxsipua               err        udp          IP :192.168.1.10 port(514)"
                 "                                  \n"_s);
    }
    QCOMPARE(m_log->errors(), QStringList());
}

void TestActivityList::anyFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<QString>("table");

    const auto row = [](const char *name, const QByteArray &content, const QStringList &list,
                        const QList<ActivityTable::Row> &rows) {
        QTest::newRow(name) << content << list << ActivityTable::table(rows);
    };
    row("empty file", "", {}, {});
    row("comments only", "# nothing\n\n", {}, {});
    row("blocks without end lines", "# BEGIN a\nlevel(err..emerg)\n# BEGIN b\nlevel(info..emerg)\n",
        {}, {});
    row("end line alone", "# END a\n", {"a none none"_s}, {{"a"_s}});
    row("later values of a block win",
        "level(info..x)\nlevel(debug..x)\nlevel(err)\nfacility(local1)\nfacility(local2)\n"
        "destination d { udp(\"1.2.3.4\"); };\ndestination d { file(\"/x\"); };\n# END a\n",
        {"a debug local2"_s}, {{"a"_s, "debug"_s, "file"_s, "/x"_s}});
    row("block without its end line is merged into the next",
        "# BEGIN a\nlevel(info..x)\nfacility(local1)\n# BEGIN b\nfacility(local2)\n# END b\n",
        {"b info local2"_s}, {{"b"_s, "info"_s}});
    row("nothing is carried into the next block",
        "# BEGIN a\nlevel(info..x)\nfacility(local1)\ndestination d { file(\"/x\"); };\n# END a\n"
        "# BEGIN b\n# END b\n",
        {"a info local1"_s, "b none none"_s}, {{"a"_s, "info"_s, "file"_s, "/x"_s}, {"b"_s}});
    row("lines behind the last end line are dropped",
        "# END a\nlevel(info..x)\nfacility(local1)\ndestination d { file(\"/x\"); };\n",
        {"a none none"_s}, {{"a"_s}});
    row("statements before the first begin line count", "level(info..x)\n# BEGIN a\n# END a\n",
        {"a info none"_s}, {{"a"_s, "info"_s}});
    row("values are trimmed in the list", "level( info ..x) facility(\tlocal1 )\n# END  a b \t\n",
        {"a b info local1"_s}, {{"a b"_s, " info "_s}});
    row("wider than their columns",
        "level(level+level..x) facility(facility+facility)\n"
        "destination d { twelve+words(\""
            + QByteArray(61, 't')
            + "\"); };\n"
              "# END twenty+one+characters\n",
        {"twenty+one+characters level+level facility+facility"_s},
        {{"twenty+one+characters"_s, "level+level"_s, "twelve+words"_s,
          QString(61, QLatin1Char('t'))}});
    row("CRLF",
        "destination d { file(\"/x\"); };\r\nlevel(info..x)\r\nfacility(local1)\r\n# END a\r\n",
        {"a info local1"_s}, {{"a"_s, "info"_s, "file"_s, "/x"_s}});
    row("CRLF behind a destination without its terminator",
        "destination d { file(\"/x\")\r\n# END a\r\n", {"a none none"_s},
        {{"a"_s, "none"_s, "file"_s, "/x)"_s}});
    row("no last line feed", "level(info..x)\n# END a", {"a info none"_s}, {{"a"_s, "info"_s}});
    row("UTF-8, behind a byte order mark and beside another encoding",
        "\xef\xbb\xbf"
        "level(ü..x)\ndestination d { file(\"/ü😀\"); };\n# gr\xfc\xdf\n# END aü😀\n",
        {"aü😀 ü none"_s}, {{"aü😀"_s, "ü"_s, "file"_s, "/ü😀"_s}});
}

void TestActivityList::anyFile()
{
    QFETCH(QByteArray, content);
    writeFile(m_live, content);
    QTEST(shortly(LoggerConfigList().readActivityInConfigFile(m_live)), "list");
    QTEST(LoggerConfigList().activityTable(m_live, true), "table");
}

void TestActivityList::listKeepsTheOrderAndTheTableIsSorted_data()
{
    QTest::addColumn<QStringList>("inTheFile");
    QTest::addColumn<QStringList>("inTheTable");

    QTest::newRow("case makes no difference")
        << QStringList {"qvxb err"_s, "Telephony err"_s, "QVXa err"_s,
                        "Aa err"_s,   "_x err"_s,        "telephonx err"_s}
        << QStringList {"_x err"_s,   "Aa err"_s,        "QVXa err"_s,
                        "qvxb err"_s, "telephonx err"_s, "Telephony err"_s};
    const QStringList lowerFirst {"a err"_s, "A err"_s};
    const QStringList upperFirst {"A err"_s, "a err"_s};
    QTest::newRow("but for case the same") << lowerFirst << lowerFirst;
    QTest::newRow("but for case the same, the other way round") << upperFirst << upperFirst;
    QStringList many;
    while (many.size() < 100) {
        many += upperFirst + lowerFirst;
    }
    QTest::newRow("many that are the same but for case") << many << many;
    QTest::newRow("one activity twice")
        << QStringList {"a info"_s, "a debug"_s} << QStringList {"a debug"_s, "a info"_s};
}

void TestActivityList::listKeepsTheOrderAndTheTableIsSorted()
{
    QFETCH(QStringList, inTheFile);
    QFETCH(QStringList, inTheTable);
    QByteArray content;
    QStringList list;
    for (const QString &activity : inTheFile) {
        const QStringList words = activity.split(QLatin1Char(' '));
        content += "level(" + words.at(1).toUtf8() + "..x)\n# END " + words.at(0).toUtf8() + '\n';
        list.append(activity + " none"_s);
    }
    QList<ActivityTable::Row> rows;
    for (const QString &activity : inTheTable) {
        const QStringList words = activity.split(QLatin1Char(' '));
        rows.append({words.at(0), words.at(1)});
    }
    writeFile(m_live, content);
    QCOMPARE(shortly(LoggerConfigList().readActivityInConfigFile(m_live)), list);
    QCOMPARE(LoggerConfigList().activityTable(m_live, true), ActivityTable::table(rows));
}

void TestActivityList::fileIsReadAgain()
{
    LoggerConfigList list;
    for (const QStringList &names : {QStringList {"a"_s}, {"a"_s, "b"_s}, {}}) {
        QByteArray content;
        for (const QString &name : names) {
            content += "# END " + name.toUtf8() + '\n';
        }
        writeFile(m_live, content);
        QCOMPARE(list.readActivityInConfigFile(m_live).size(), names.size());
        QCOMPARE(list.activityTable(m_live, true).count(QLatin1Char('\n')), 1 + names.size());
    }
}

void TestActivityList::operationForgetsAnUnfinishedBlock()
{
    const QByteArray unfinished
        = "level(info..emerg) facility(local1)\ndestination d { file(\"/x\"); };\n";
    LoggerConfigList list;
    writeFile(m_live, unfinished);
    QCOMPARE(list.readActivityInConfigFile(m_live).size(), 0);
    writeFile(m_live, "# END a\n");
    QCOMPARE(shortly(list.readActivityInConfigFile(m_live)), QStringList {"a none none"_s});

    writeFile(m_live, unfinished);
    QCOMPARE(list.activityTable(m_live, true), ActivityTable::header);
    writeFile(m_live, "# END a\n");
    QCOMPARE(list.activityTable(m_live, true), ActivityTable::table({{"a"_s}}));
}

void TestActivityList::anyPathIsRead()
{
    const QString other = m_configuration->path("other"_s);
    writeFile(other, twoActivities);
    QCOMPARE(LoggerConfigList().readActivityInConfigFile(other).size(), 2);
    QCOMPARE(LoggerConfigList().activityTable(other, true).count(QLatin1Char('\n')), 3);
    QVERIFY(!QFile::exists(m_live));
}

void TestActivityList::longFile()
{
    LogCapture::setLevel(3);
    const QByteArray padding(100000, 'x');
    QByteArray content;
    for (int activity = 0; activity < 2000; ++activity) {
        content += "# END a" + QByteArray::number(activity) + '\n';
    }
    content += padding + "level(err..emerg)" + padding + "\ndestination " + padding + "{ file(\""
        + padding + "\"); };" + padding + "\n# END " + padding;
    writeFile(m_live, content);
    const QList<ActivityLevelEntry> activities
        = LoggerConfigList().readActivityInConfigFile(m_live);
    QCOMPARE(activities.size(), 2001);
    QCOMPARE(activities.at(1999).facility, "a1999"_s);
    QVERIFY(activities.last().facility == QString::fromLatin1(padding));
    const QString table = LoggerConfigList().activityTable(m_live, true);
    QCOMPARE(table.count(QLatin1Char('\n')), 2002);
    const QString text = QString::fromLatin1(padding);
    QVERIFY(table.endsWith(ActivityTable::rowText({text, "err"_s, "file"_s, text})));
}

void TestActivityList::readingLeavesTheFileAlone()
{
    const QByteArray content = "level(err..emerg)\r\n# gr\xfc\xdf\n# END a";
    writeFile(m_live, content);
    writeFile(m_configuration->backup(), twoActivities);
    const QFileDevice::Permissions permissions = QFileInfo(m_live).permissions();
    LoggerConfigList().readActivityInConfigFile(m_live);
    LoggerConfigList().activityTable(m_live, true);
    QCOMPARE(readFile(m_live), content);
    QCOMPARE(QFileInfo(m_live).permissions(), permissions);
    QCOMPARE(readFile(m_configuration->backup()), twoActivities);
    QCOMPARE(m_log->errors(), QStringList());
}

void TestActivityList::debugLinesOfTheList()
{
    writeFile(m_live, twoActivities + "# END none %1\n");
    LoggerConfigList().readActivityInConfigFile(m_live);
    QCOMPARE(m_log->debugs(),
             (QStringList {"facility : qvxsipua level : err facility value : local3"_s,
                           "facility : qvxaudio level : debug facility value : local4"_s,
                           "facility : none %1 level : none facility value : none"_s}));
    QCOMPARE(m_log->lines().size(), 3);
}

void TestActivityList::debugLinesOfTheTable()
{
    writeFile(m_live, twoActivities + "# END a\n");
    LoggerConfigList().activityTable(m_live, true);
    // In file order; the destination as wide as its column.
    const auto line = [](const QString &value, const QString &destination) -> QString {
        return "facility value "_s + value + " <-> "_s + destination.leftJustified(60);
    };
    QCOMPARE(m_log->debugs(),
             (QStringList {line("local3"_s, "IP :192.168.1.10 port(514)"_s),
                           line("local4"_s, "/var/log/qvxaudio.log"_s), line("none"_s, "none"_s)}));
    QCOMPARE(m_log->lines().size(), 3);
}

QTEST_GUILESS_MAIN(TestActivityList)
#include "tst_activitylist.moc"
