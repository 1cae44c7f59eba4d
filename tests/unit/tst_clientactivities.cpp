// What a client makes of the table of activities: rows, names that a person means, destinations
// that the table is to show after a redirection, differences; and of the words of a request.
// SPDX-License-Identifier: MIT
#include "client/changes.h"
#include "client/duration.h"
#include "client/logfiles.h"
#include "client/words.h"
#include "levels/levelvocabulary.h"
#include "syslogconf/activityparser.h"
#include "syslogconf/predefineddestination.h"

#include "support/literal.h"

#include <QTest>

Q_DECLARE_METATYPE(Request)

namespace {

const QList<ActivityRow> rows {{"defence"_s, "err"_s, "file"_s, "/log/Defence.log"_s},
                               {"qvxsipua"_s, "debug"_s, "udp"_s, "IP :10.1.2.3 port(514)"_s},
                               {"Telephony"_s, "emerg"_s, "file"_s, "/var/log/Telephony.log"_s},
                               {"twin"_s, "err"_s, "file"_s, "/var/log/twin.log"_s},
                               {"TWIN"_s, "err"_s, "file"_s, "/var/log/TWIN.log"_s}};

} // namespace

class tst_ClientActivities : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void destinationsAsTheServiceShowsThem_data();
    void destinationsAsTheServiceShowsThem();
    void ownDestinations_data();
    void ownDestinations();
    void requestedDestinations_data();
    void requestedDestinations();
    void meantNames_data();
    void meantNames();
    void whatIsDifferent();
    void initialRows();
    void itemsOfSeveralLevels();
    void comments();
    void durations_data();
    void durations();
    void sizes_data();
    void sizes();
    void levelsAreTheService();
};

void tst_ClientActivities::destinationsAsTheServiceShowsThem_data()
{
    QTest::addColumn<QString>("written"); // into the configuration
    const auto row = [](const char *destination, const char *written = nullptr) {
        QTest::newRow(destination) << QString::fromLatin1(written ? written : destination);
    };
    row("file(\"/var/log/x.log\")");
    row("V24", "file(\"/dev/console\")");
    row("udp(\"10.1.2.3\" port(514))");
    row("tcp(\"loghost\" port(601))");
    row("tcp   (\"10.0.0.1\" port  (514))");
    row("udp(\"10.0.0.1 port(514))");
    row("udp(\"10.0.0.1\"\"\" port(514))");
    row("usertty(\"root\")");
    row("unix-stream(\"/run/x\")");
    row("program(\"/usr/bin/x -a 'b c'\")");
    row("file(\"/var/log/a b.log\")");
    row("file(\"\")");
    row("flash(\"x.log\")");
}

void tst_ClientActivities::destinationsAsTheServiceShowsThem()
{
    QFETCH(QString, written);
    ParsedActivity accumulator;
    ParsedActivity parsed;
    resetParsedActivity(accumulator);
    parseActivityLine(accumulator, "destination d_x { "_s + written + "; };"_s, parsed);
    parseActivityLine(accumulator, "# END x"_s, parsed);
    const QList<ActivityRow> shown
        = parseActivityTable(activityTableHeader() + activityTableRow(parsed));
    QCOMPARE(shown.size(), 1);
    const ActivityRow expected
        = rowWithDestination("x"_s, QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(expected.support, shown.first().support);
    QCOMPARE(expected.destination, shown.first().destination);
    QVERIFY(sameDestination(expected, shown.first()));
}

void tst_ClientActivities::ownDestinations_data()
{
    QTest::addColumn<QString>("destination");
    QTest::newRow("qvxsipua") << "/var/log/qvxsipua.log"_s;
    QTest::newRow("defence") << "/log/Defence.log"_s;
    QTest::newRow("my_defence") << "/log/Defence.log"_s;
    QTest::newRow("Defence") << "/var/log/Defence.log"_s;
}

void tst_ClientActivities::ownDestinations()
{
    const QString activity = QString::fromLatin1(QTest::currentDataTag());
    const ActivityRow own = rowWithOwnDestination(activity);
    QTEST(own.destination, "destination");
    QVERIFY(sameDestination(
        own,
        rowWithDestination(activity, predefinedDestination(activity, DefenceLog::OfAnyDefence))));
}

void tst_ClientActivities::requestedDestinations_data()
{
    QTest::addColumn<Request>("request");
    QTest::addColumn<QString>("destination");
    const auto row
        = [](Operation operation, const QStringList &words, int number, const char *destination) {
              QTest::addRow("%s %s", qPrintable(words.join(QLatin1Char(' '))), destination)
                  << Request {operation, words, number} << QString::fromLatin1(destination);
          };
    row(Operation::Redirect, {"a"_s, "pipe(\"/x\")"_s}, 0, "pipe(\"/x\")");
    row(Operation::Redirect, {"all"_s, "init"_s}, 0, "init");
    row(Operation::RedirectToSupport, {"a"_s, "ram"_s, "sip"_s}, 0, "file(\"/var/log/sip.log\")");
    row(Operation::RedirectToSupport, {"a"_s, "flash"_s, "sip.log"_s}, 0,
        "file(\"/log/flash/sip.log\")");
    row(Operation::RedirectToSupport, {"a"_s, "ram"_s, "sip.LOG"_s}, 0,
        "file(\"/var/log/sip.LOG.log\")");
    row(Operation::RedirectToSupport, {"a"_s, "usertty"_s, "root"_s}, 0, "usertty(\"root\")");
    row(Operation::RedirectToServer, {"a"_s, "udp"_s, "10.1.2.3"_s}, 514,
        "udp(\"10.1.2.3\" port(514))");
}

void tst_ClientActivities::requestedDestinations()
{
    QFETCH(Request, request);
    QTEST(destinationOf(request), "destination");
}

void tst_ClientActivities::meantNames_data()
{
    QTest::addColumn<QString>("meant");
    QTest::addColumn<QString>("nearest");
    const auto row = [](const char *name, const char *meant, const char *nearest) {
        QTest::newRow(name) << QString::fromLatin1(meant) << QString::fromLatin1(nearest);
    };
    row("qvxsipua", "qvxsipua", "qvxsipua");
    row("QVXSIPUA", "qvxsipua", "qvxsipua");
    row("telephony", "Telephony", "Telephony");
    row("twin", "twin", "twin"); // the very name counts
    row("Twin", "", "twin"); // two fit
    row("telefony", "", "Telephony");
    row("tele", "", "Telephony");
    row("xyz", "", "");
    row("", "", "");
}

void tst_ClientActivities::meantNames()
{
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    QTEST(meantActivity(rows, name), "meant");
    QTEST(nearestActivity(rows, name), "nearest");
    // An activity whose name is like the word for all of them is not meant by it.
    QCOMPARE(meantActivity({{"All"_s, "err"_s, "file"_s, "/x"_s}}, "all"_s), "all"_s);
}

void tst_ClientActivities::whatIsDifferent()
{
    QVERIFY(differences(rows, rows).isEmpty());
    QList<ActivityRow> after = rows;
    after[1] = {"qvxsipua"_s, "err"_s, "file"_s, "/var/log/qvxsipua.log"_s};
    after.removeAt(3);
    after.append({"new"_s, "err"_s, "file"_s, "/var/log/new.log"_s});
    QStringList found;
    const QList<Difference> list = differences(rows, after);
    for (const Difference &difference : list) {
        found.append(
            QStringList {difference.activity, difference.what, difference.before, difference.after}
                .join(QLatin1Char('|')));
    }
    QCOMPARE(found,
             (QStringList {"qvxsipua|level|debug|err"_s,
                           "qvxsipua|destination|udp 10.1.2.3 port(514)|/var/log/qvxsipua.log"_s,
                           "twin|activity|twin|"_s, "new|activity||new"_s}));
}

void tst_ClientActivities::initialRows()
{
    QVERIFY(isInitial(rows.at(0)));
    QVERIFY(!isInitial(rows.at(1)));
    QVERIFY(!isInitial(rows.at(2)));
    QVERIFY(isInitial(rows.at(3)));
    QVERIFY(!isInitial({"x"_s, "err"_s, "pipe"_s, "/var/log/x.log"_s}));
}

void tst_ClientActivities::itemsOfSeveralLevels()
{
    QStringList items;
    const QList<LevelItem> list = levelItems("{a:debug,b:in:fo,,c, d:err}"_s);
    for (const LevelItem &item : list) {
        items.append(item.activity + QLatin1Char('|') + item.level);
    }
    QCOMPARE(items, (QStringList {"a|debug"_s, "b|in:fo"_s, "c|"_s, " d|err"_s}));
    QVERIFY(levelItems(QString()).isEmpty());
}

void tst_ClientActivities::comments()
{
    QCOMPARE(obstacleForComment(rows, "qvxsipua"_s), QString());
    QCOMPARE(obstacleForComment(rows, "defence"_s), QString());
    QVERIFY(obstacleForComment(rows, "Telephony"_s).startsWith("Telephony is at emerg"_s));
    QVERIFY(obstacleForComment(rows, "x"_s).startsWith("x is no activity of this phone"_s));
}

void tst_ClientActivities::durations_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *typed, int seconds, const char *text = "") {
        QTest::newRow(typed) << seconds << QString::fromLatin1(text);
    };
    row("1", 1, "1 s");
    row("45s", 45, "45 s");
    row("90", 90, "1 min 30 s");
    row("10m", 600, "10 min");
    row("60m", 3600, "1 h");
    row("90m", 5400, "1 h 30 min");
    row("24h", 86400, "24 h");
    row("86400", 86400, "24 h");
    for (const char *const wrong : {"0", "0m", "-1", "+1", "86401", "25h", "x", "", "s", "m", "1 m",
                                    "1.5h", "1d", "99999999999"}) {
        row(wrong, -1);
    }
}

void tst_ClientActivities::durations()
{
    QFETCH(int, seconds);
    QCOMPARE(secondsOf(QString::fromLatin1(QTest::currentDataTag())), seconds);
    if (seconds > 0) {
        QTEST(durationText(seconds), "text");
    }
}

void tst_ClientActivities::sizes_data()
{
    QTest::addColumn<qint64>("size");
    QTest::newRow("0 bytes") << qint64(0);
    QTest::newRow("1 byte") << qint64(1);
    QTest::newRow("999 bytes") << qint64(999);
    QTest::newRow("1 kB") << qint64(1000);
    QTest::newRow("35 kB") << qint64(34500);
    QTest::newRow("1.0 MB") << qint64(1000000);
    QTest::newRow("12.5 MB") << qint64(12500000);
    QTest::newRow("2.0 GB") << qint64(2000000000);
}

void tst_ClientActivities::sizes()
{
    QFETCH(qint64, size);
    QCOMPARE(sizeText(size), QString::fromLatin1(QTest::currentDataTag()));
}

void tst_ClientActivities::levelsAreTheService()
{
    QCOMPARE(levelNames().size(), 6);
    for (int number = -1; number <= 8; ++number) {
        if (isValidLevelNumber(number)) {
            QCOMPARE(levelWord(number), levelToName(number));
            QVERIFY(levelNames().contains(levelWord(number)));
            QCOMPARE(isVerbose(levelWord(number)), number > 3);
        } else {
            QCOMPARE(levelWord(number), QString::number(number));
        }
    }
}

QTEST_APPLESS_MAIN(tst_ClientActivities)
#include "tst_clientactivities.moc"
