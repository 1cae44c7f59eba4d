// Which differences between the places that know the activities a client tells, and what helps.
// SPDX-License-Identifier: MIT
#include "client/comparison.h"

#include "support/literal.h"

#include <QTest>

Q_DECLARE_METATYPE(ActivityPlaces)

namespace {

const QByteArray videoBlock = "# BEGIN Video\n"
                              "destination d_Video { file(\"/var/log/Video.log\"); };\n"
                              "filter f_Video { level(err..emerg) and facility(local7); };\n"
                              "# END Video\n";
const QByteArray soundBlock = "# BEGIN Sound\n"
                              "destination d_Sound { file(\"/var/log/Sound.log\"); };\n"
                              "filter f_Sound { level(err..emerg) and facility(daemon); };\n"
                              "# END Sound\n";
const QByteArray videoFile = "3\n23\nfile(\"/var/log/Video.log\")\nfacility signature field\n";
const QByteArray soundFile = "3\n3\nfile(\"/var/log/Sound.log\")\nfacility signature field\n";

FoundFile file(const QByteArray &content)
{
    return {FoundFile::State::Read, content};
}

/// A phone whose places agree.
ActivityPlaces agreeing()
{
    return {videoBlock + soundBlock,
            file("# mine\n" + soundBlock + videoBlock),
            file(videoBlock + soundBlock),
            {{"Video"_s, file(videoFile)}, {"Sound"_s, file(soundFile)}}};
}

} // namespace

class tst_Comparison : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingToTell();
    void oneDifference_data();
    void oneDifference();
    void newActivityOfAnOlderScript();
    void nothingThere();
    void oddBlocks();
};

void tst_Comparison::nothingToTell()
{
    QCOMPARE(disagreementsOf(agreeing()).size(), 0);
    ActivityPlaces changed = agreeing();
    changed.configuration.content.replace("f_Video { level(err", "f_Video { level(debug");
    changed.configuration.content.replace("file(\"/var/log/Sound.log\")", "tcp(\"h\" port(1))");
    changed.levelFiles["Video"_s] = file("7" + videoFile.mid(1));
    QCOMPARE(disagreementsOf(changed).size(), 0);
}

void tst_Comparison::oneDifference_data()
{
    QTest::addColumn<ActivityPlaces>("places");
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("remedy"); // a part of it
    const auto row = [](const char *name, void (*change)(ActivityPlaces &), const QString &activity,
                        const QString &text, const QString &remedy) {
        ActivityPlaces places = agreeing();
        change(places);
        QTest::newRow(name) << places << activity << text << remedy;
    };
    const QString start = "/etc/init.d/autoConfigSyslog start"_s;
    row(
        "no table", [](ActivityPlaces &places) { places.table.reset(); }, QString(),
        "The set-up script does not tell its table"_s, "/etc/init.d/autoConfigSyslog print"_s);
    row(
        "no configuration", [](ActivityPlaces &places) { places.configuration = {}; }, QString(),
        "logappli.conf is missing"_s, start);
    row(
        "backup that cannot be read",
        [](ActivityPlaces &places) {
            places.backup = {FoundFile::State::Unreadable, {}};
        },
        QString(), "logappli.conf.sav cannot be read"_s, "root"_s);
    row(
        "no block", [](ActivityPlaces &places) { places.configuration = file(soundBlock); },
        "Video"_s, "Video has no block in logappli.conf"_s, start);
    row(
        "no block in the backup", [](ActivityPlaces &places) { places.backup = file(soundBlock); },
        "Video"_s, "Video has no block in logappli.conf.sav"_s, start);
    row(
        "two blocks", [](ActivityPlaces &places) { places.configuration.content += videoBlock; },
        "Video"_s, "Video has more than one block in logappli.conf"_s, "logappli.conf(5)"_s);
    row(
        "no begin",
        [](ActivityPlaces &places) {
            places.configuration.content.replace("# BEGIN Video", "# Video");
        },
        "Video"_s, "The block of Video in logappli.conf has no line '# BEGIN Video'"_s,
        "by hand"_s);
    row(
        "no end", [](ActivityPlaces &places) { places.backup.content.replace("# END Video", "#"); },
        "Video"_s, "The block of Video in logappli.conf.sav has no line '# END Video'"_s,
        "by hand"_s);
    row(
        "other facility",
        [](ActivityPlaces &places) { places.backup.content.replace("local7", "local6"); },
        "Video"_s,
        "Video has the syslog facility local6 in logappli.conf.sav, and local7 in the table"_s,
        "by hand"_s);
    row(
        "no level file", [](ActivityPlaces &places) { places.levelFiles.remove("Video"_s); },
        "Video"_s, "The level file of Video is missing"_s, start);
    row(
        "level file that is none",
        [](ActivityPlaces &places) { places.levelFiles["Video"_s] = {}; }, "Video"_s,
        "The level file of Video is invalid"_s, start);
    row(
        "invalid level file",
        [](ActivityPlaces &places) { places.levelFiles["Video"_s] = file("2" + videoFile.mid(1)); },
        "Video"_s, "The level file of Video is invalid"_s, start);
    row(
        "level file that cannot be read",
        [](ActivityPlaces &places) {
            places.levelFiles["Video"_s] = {FoundFile::State::Unreadable, {}};
        },
        "Video"_s, "The level file of Video cannot be read"_s, "root"_s);
    row(
        "other facility number",
        [](ActivityPlaces &places) {
            places.levelFiles["Sound"_s].content.replace("3\n3", "3\n4");
        },
        "Sound"_s,
        "Sound has the syslog facility number 4 in its level file, and 3 (daemon) in the table"_s,
        "Sound.conf && /etc/init.d/autoConfigSyslog start"_s);
    row(
        "other level",
        [](ActivityPlaces &places) {
            places.configuration.content.replace("f_Video { level(err", "f_Video { level(debug");
        },
        "Video"_s, "Video is at debug in logappli.conf, and at err in its level file"_s,
        "loggerctl level Video debug"_s);
    row(
        "level that the service does not know",
        [](ActivityPlaces &places) {
            places.configuration.content.replace("f_Video { level(err", "f_Video { level(crit");
        },
        "Video"_s, "Video is at crit in logappli.conf, and at err in its level file"_s,
        "loggerctl level Video err"_s);
    row(
        "gone from the table", [](ActivityPlaces &places) { places.table = soundBlock; }, "Video"_s,
        "Video is not in the table, and has a block in logappli.conf and logappli.conf.sav"_s,
        start);
    row(
        "gone from the table and the configuration",
        [](ActivityPlaces &places) {
            places.table = soundBlock;
            places.configuration = file(soundBlock);
        },
        "Video"_s, "Video is not in the table, and has a block in logappli.conf.sav"_s, start);
    row(
        "somebody's own",
        [](ActivityPlaces &places) {
            places.table = soundBlock;
            places.backup = file(soundBlock);
        },
        "Video"_s, "Video is not in the table, and has a block in logappli.conf"_s, "a row"_s);
    row(
        "level file alone",
        [](ActivityPlaces &places) { places.levelFiles.insert("Old"_s, file(videoFile)); }, "Old"_s,
        "Old has a level file, and neither a row in the table nor a block: its level can be "
        "changed to no effect"_s,
        "Old.conf"_s);
}

void tst_Comparison::oneDifference()
{
    QFETCH(ActivityPlaces, places);
    QFETCH(QString, activity);
    QFETCH(QString, text);
    QFETCH(QString, remedy);
    const QList<Disagreement> differences = disagreementsOf(places);
    QCOMPARE(differences.size(), 1);
    QCOMPARE(differences.first().activity, activity);
    QCOMPARE(differences.first().text, text);
    QVERIFY2(differences.first().remedy.contains(remedy), qPrintable(differences.first().remedy));
}

void tst_Comparison::newActivityOfAnOlderScript()
{
    ActivityPlaces places = agreeing();
    places.configuration = file(soundBlock);
    places.backup = file(soundBlock);
    QStringList texts;
    for (const Disagreement &difference : disagreementsOf(places)) {
        texts.append(difference.text);
    }
    QCOMPARE(texts,
             QStringList({"Video has no block in logappli.conf"_s,
                          "Video has no block in logappli.conf.sav"_s}));
}

void tst_Comparison::nothingThere()
{
    QCOMPARE(disagreementsOf({}).size(), 3);
    ActivityPlaces places;
    places.table = videoBlock;
    QCOMPARE(disagreementsOf(places).size(), 3); // two files, and the level file
}

void tst_Comparison::oddBlocks()
{
    const QList<ActivityBlock> blocks = blocksOf("# BEGIN a\r\n level(err..x) facility(user)\r\n"
                                                 "# BEGIN b\n# END c\n\xff level(info..\n# END\n");
    QCOMPARE(blocks.size(), 4);
    QCOMPARE(blocks.at(0).activity, "a"_s);
    QCOMPARE(blocks.at(0).level, "err"_s);
    QCOMPARE(blocks.at(0).facility, "user"_s);
    QVERIFY(blocks.at(0).begins && !blocks.at(0).ends);
    QVERIFY(blocks.at(1).begins && !blocks.at(1).ends);
    QCOMPARE(blocks.at(2).activity, "c"_s);
    QVERIFY(!blocks.at(2).begins && blocks.at(2).ends);
    QCOMPARE(blocks.at(3).activity, QString());
    QCOMPARE(blocksOf({}).size(), 0);
    QCOMPARE(blocksOf("# END").size(), 1);
}

QTEST_APPLESS_MAIN(tst_Comparison)
#include "tst_comparison.moc"
