// The edits of single lines of logappli.conf: which line is a block's begin line, and what of a
// line an edit replaces.
// SPDX-License-Identifier: MIT
#include "syslogconf/lineedit.h"

#include <QTest>

namespace {

const QString levelKey = QStringLiteral("level(");
const QString audioKey = QStringLiteral("destination d_qvxaudio {");
const QString anyDestinationKey = QStringLiteral("destination d_");
const QString audio = QStringLiteral("qvxaudio");
const QString everyActivity;
const QString debugLevel = QStringLiteral("debug");
const QString fileDestination = QStringLiteral("file(\"/var/log/new.log\")");

ConfigLineEdit edit(const QString &line, const QString &key, const QString &level,
                    const QString &destination, const QString &activity)
{
    ConfigLineEdit result;
    result.line = line;
    result.key = key;
    result.level = level;
    result.destination = destination;
    result.activity = activity;
    return result;
}

} // namespace

class TestLineEdit : public QObject
{
    Q_OBJECT

private slots:
    void marker_data();
    void marker();
    void markerMatches_data();
    void markerMatches();
    void lineIsRewritten_data();
    void lineIsRewritten();
    void lineIsRefused_data();
    void lineIsRefused();
    void outIsAppendedTo();
    void positionMakesNoDifference();
    void sameEditAgainChangesNothing_data();
    void sameEditAgainChangesNothing();
    void veryLongLine();
};

void TestLineEdit::marker_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("marker");

    QTest::newRow("one activity") << audio << QStringLiteral("# BEGIN qvxaudio");
    QTest::newRow("every activity") << QString() << QStringLiteral("# BEGIN ");
    QTest::newRow("blanks are kept") << QStringLiteral(" a b ") << QStringLiteral("# BEGIN  a b ");
}

void TestLineEdit::marker()
{
    QFETCH(QString, activity);
    QTEST(beginMarker(activity), "marker");
}

void TestLineEdit::markerMatches_data()
{
    QTest::addColumn<QString>("marker");
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("position");

    const QString one = QStringLiteral("# BEGIN qvxaudio");
    QTest::newRow("one: its begin line") << one << one << 0;
    QTest::newRow("one: white space behind") << one << QStringLiteral("# BEGIN qvxaudio \t") << 0;
    QTest::newRow("one: carriage return behind")
        << one << QStringLiteral("# BEGIN qvxaudio\r") << 0;
    QTest::newRow("one: white space in front") << one << QStringLiteral(" \t# BEGIN qvxaudio") << 0;
    QTest::newRow("one: text in front gives 0 as well")
        << one << QStringLiteral("abc # BEGIN qvxaudio") << 0;
    QTest::newRow("one: text behind") << one << QStringLiteral("# BEGIN qvxaudio x") << -1;
    QTest::newRow("one: longer name") << one << QStringLiteral("# BEGIN qvxaudio2") << -1;
    QTest::newRow("one: shorter name") << one << QStringLiteral("# BEGIN qvxaudi") << -1;
    QTest::newRow("one: shorter marker")
        << QStringLiteral("# BEGIN qvxaudi") << QStringLiteral("# BEGIN qvxaudio") << -1;
    QTest::newRow("one: two blanks") << one << QStringLiteral("# BEGIN  qvxaudio") << -1;
    QTest::newRow("one: capitals") << one << QStringLiteral("# BEGIN QvxAudio") << -1;
    QTest::newRow("one: end line") << one << QStringLiteral("# END qvxaudio") << -1;
    QTest::newRow("one: empty line") << one << QString() << -1;
    QTest::newRow("one: only the first occurrence is looked at")
        << one << QStringLiteral("# BEGIN qvxaudio # BEGIN qvxaudio") << -1;
    QTest::newRow("one: a trailing blank in the marker never matches")
        << QStringLiteral("# BEGIN qvxaudio ") << QStringLiteral("# BEGIN qvxaudio ") << -1;
    QTest::newRow("one: a name of a blank never matches")
        << QStringLiteral("# BEGIN  ") << QStringLiteral("# BEGIN  ") << -1;
    QTest::newRow("one: without the marker's blank it is a marker like others")
        << QStringLiteral("# BEGIN") << QStringLiteral("x # BEGIN ") << 0;
    QTest::newRow("one: without the marker's blank the name does not match")
        << QStringLiteral("# BEGIN") << QStringLiteral("# BEGIN qvxaudio") << -1;
    QTest::newRow("one: Unicode") << QString::fromUtf8("# BEGIN ü😀")
                                  << QString::fromUtf8("# BEGIN ü😀") << 0;

    const QString every = QStringLiteral("# BEGIN ");
    QTest::newRow("every: a begin line") << every << one << 0;
    QTest::newRow("every: its position") << every << QStringLiteral("abc # BEGIN qvxaudio") << 4;
    QTest::newRow("every: the first position")
        << every << QStringLiteral("# # BEGIN a # BEGIN b") << 2;
    QTest::newRow("every: no name") << every << QStringLiteral("# BEGIN ") << 0;
    QTest::newRow("every: without the blank") << every << QStringLiteral("# BEGIN") << -1;
    QTest::newRow("every: a tab for the blank")
        << every << QStringLiteral("# BEGIN\tqvxaudio") << -1;
    QTest::newRow("every: end line") << every << QStringLiteral("# END qvxaudio") << -1;
    QTest::newRow("every: small letters") << every << QStringLiteral("# begin qvxaudio") << -1;
    QTest::newRow("every: empty line") << every << QString() << -1;
}

void TestLineEdit::markerMatches()
{
    QFETCH(QString, marker);
    QFETCH(QString, line);
    QTEST(matchBlockMarker(marker, line), "position");
}

void TestLineEdit::lineIsRewritten_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("result");

    struct Scope
    {
        const char *name;
        QString activity;
    };
    const QList<Scope> scopes {{"one: ", audio}, {"every: ", everyActivity}};
    for (const Scope &scope : scopes) {
        const auto level = [&](const char *name, const QString &line, const QString &result) {
            QTest::addRow("%s%s", scope.name, name)
                << line << levelKey << debugLevel << QString() << scope.activity << result;
        };
        level("level", QStringLiteral("filter f { level(err..emerg); };"),
              QStringLiteral("filter f { level(debug..emerg); };\n"));
        level("level, the upper bound is kept", QStringLiteral("level(err..crit) x"),
              QStringLiteral("level(debug..crit) x\n"));
        level("level, all else is kept",
              QString::fromUtf8("\t ü😀 level( err ..emerg) and facility(local3)\t "),
              QString::fromUtf8("\t ü😀 level(debug..emerg) and facility(local3)\t \n"));
        level("level, empty before", QStringLiteral("level(..emerg)"),
              QStringLiteral("level(debug..emerg)\n"));
        level("level, a third dot is kept", QStringLiteral("level(err...emerg)"),
              QStringLiteral("level(debug...emerg)\n"));
        level("level, the first key", QStringLiteral("level(err..a) level(err..b)"),
              QStringLiteral("level(debug..a) level(err..b)\n"));
        level("level, the first range of the line, even before the key",
              QStringLiteral("# a..b level(err..emerg)"),
              QStringLiteral("# a..b level(debug..b level(err..emerg)\n"));
        level("level, a range before the key only", QStringLiteral("a..b level(err)"),
              QStringLiteral("a..b level(debug..b level(err)\n"));
        level("level without a range appends the whole line",
              QStringLiteral("filter f { level(err); };"),
              QStringLiteral("filter f { level(debugfilter f { level(err); };\n"));
        level("level, the line is the key", QStringLiteral("level("),
              QStringLiteral("level(debuglevel(\n"));
        level("level, the line starts with a range", QStringLiteral("..level(err..emerg)"),
              QStringLiteral("..level(debug..level(err..emerg)\n"));
        QTest::addRow("%s%s", scope.name, "level wins over the destination")
            << QStringLiteral("x { level(err..emerg); };") << levelKey << debugLevel
            << fileDestination << scope.activity << QStringLiteral("x { level(debug..emerg); };\n");
        QTest::addRow("%s%s", scope.name, "level behind any key")
            << QStringLiteral("level(err..emerg) facility(local..x)") << QStringLiteral("facility(")
            << debugLevel << QString() << scope.activity
            << QStringLiteral("level(err..emerg) facility(debug..emerg) facility(local..x)\n");
        QTest::addRow("%s%s", scope.name, "level of no known name")
            << QStringLiteral("level(err..emerg)") << levelKey << QStringLiteral("%1 no level")
            << QString() << scope.activity << QStringLiteral("level(%1 no level..emerg)\n");
    }

    const auto one
        = [](const char *name, const QString &line, const QString &key, const QString &result) {
              QTest::addRow("one: %s", name)
                  << line << key << QString() << fileDestination << audio << result;
          };
    one("destination", QStringLiteral("destination d_qvxaudio { udp(\"10.0.0.5\" port(514)); };"),
        audioKey, QStringLiteral("destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    one("destination, all behind the key is dropped",
        QStringLiteral("destination d_qvxaudio {file(\"a\"); }; # comment"), audioKey,
        QStringLiteral("destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    one("destination, all before the key is kept",
        QString::fromUtf8("\tü { destination d_qvxaudio { file(\"a\"); };"), audioKey,
        QString::fromUtf8("\tü { destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    one("destination, the first key",
        QStringLiteral("destination d_qvxaudio { a destination d_qvxaudio { b"), audioKey,
        QStringLiteral("destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    one("destination, the line ends with the key", audioKey, audioKey,
        QStringLiteral("destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    one("destination, a key without its brace is taken as it is",
        QStringLiteral("destination d_qvxaudio { file(\"a\"); };"),
        QStringLiteral("destination d_qvxaudio"),
        QStringLiteral("destination d_qvxaudio file(\"/var/log/new.log\"); };\n"));

    const auto every = [](const char *name, const QString &line, const QString &result) {
        QTest::addRow("every: %s", name)
            << line << anyDestinationKey << QString() << fileDestination << everyActivity << result;
    };
    every("destination", QStringLiteral("destination d_qvxaudio { udp(\"10.0.0.5\"); };"),
          QStringLiteral("destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    every("destination, what is between key and brace is kept",
          QStringLiteral("destination d_qvxaudio\t{file(\"a\"); }; # comment"),
          QStringLiteral("destination d_qvxaudio\t{ file(\"/var/log/new.log\"); };\n"));
    every("destination, the first brace",
          QStringLiteral("destination d_qvxaudio { file(\"a\"); }; { x"),
          QStringLiteral("destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"));
    every("destination, the first brace of the line, even before the key",
          QStringLiteral("a { destination d_qvxaudio { file(\"a\"); };"),
          QStringLiteral("a { file(\"/var/log/new.log\"); };\n"));
    every("destination, the line ends with the brace", QStringLiteral("destination d_x {"),
          QStringLiteral("destination d_x { file(\"/var/log/new.log\"); };\n"));
}

void TestLineEdit::lineIsRewritten()
{
    QFETCH(QString, line);
    QFETCH(QString, key);
    QFETCH(QString, level);
    QFETCH(QString, destination);
    QFETCH(QString, activity);

    QString out;
    QVERIFY(rewriteLine(edit(line, key, level, destination, activity), out));
    QTEST(out, "result");
}

void TestLineEdit::lineIsRefused_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("activity");

    const QString levelLine = QStringLiteral("level(err..emerg)");
    const QString destinationLine = QStringLiteral("destination d_qvxaudio { file(\"a\"); };");
    const QString other = QStringLiteral("destination d_qvxaudio2 { file(\"a\"); };");

    QTest::newRow("one: level, no key")
        << destinationLine << levelKey << debugLevel << QString() << audio;
    QTest::newRow("one: level, key in capitals")
        << QStringLiteral("LEVEL(err..emerg)") << levelKey << debugLevel << QString() << audio;
    QTest::newRow("one: level, empty line")
        << QString() << levelKey << debugLevel << QString() << audio;
    QTest::newRow("one: destination, no key")
        << levelLine << audioKey << QString() << fileDestination << audio;
    QTest::newRow("one: destination of another")
        << other << audioKey << QString() << fileDestination << audio;
    QTest::newRow("one: destination, two blanks before the brace")
        << QStringLiteral("destination d_qvxaudio  { file(\"a\"); };") << audioKey << QString()
        << fileDestination << audio;
    QTest::newRow("one: no value") << levelLine << levelKey << QString() << QString() << audio;

    QTest::newRow("every: level, no key")
        << destinationLine << levelKey << debugLevel << QString() << everyActivity;
    QTest::newRow("every: level, empty line")
        << QString() << levelKey << debugLevel << QString() << everyActivity;
    QTest::newRow("every: destination, no key")
        << QStringLiteral("x { file(\"a\"); };") << anyDestinationKey << QString()
        << fileDestination << everyActivity;
    QTest::newRow("every: destination, no brace")
        << QStringLiteral("destination d_qvxaudio file(\"a\");") << anyDestinationKey << QString()
        << fileDestination << everyActivity;
    QTest::newRow("every: a log line is no destination")
        << QStringLiteral("log { source(s); destination(d_qvxaudio); };") << anyDestinationKey
        << QString() << fileDestination << everyActivity;
    QTest::newRow("every: no value, with the level's key")
        << levelLine << levelKey << QString() << QString() << everyActivity;
    QTest::newRow("every: no value, with the destination's key")
        << destinationLine << anyDestinationKey << QString() << QString() << everyActivity;
}

void TestLineEdit::lineIsRefused()
{
    QFETCH(QString, line);
    QFETCH(QString, key);
    QFETCH(QString, level);
    QFETCH(QString, destination);
    QFETCH(QString, activity);

    QString out = QStringLiteral("before\n");
    QVERIFY(!rewriteLine(edit(line, key, level, destination, activity), out));
    QCOMPARE(out, QStringLiteral("before\n"));
}

void TestLineEdit::outIsAppendedTo()
{
    QString out = QStringLiteral("first\n");
    QVERIFY(rewriteLine(
        edit(QStringLiteral("level(err..emerg)"), levelKey, debugLevel, QString(), audio), out));
    QVERIFY(rewriteLine(edit(QStringLiteral("destination d_qvxaudio { file(\"a\"); };"), audioKey,
                             QString(), fileDestination, audio),
                        out));
    QVERIFY(rewriteLine(edit(QStringLiteral("destination d_x { file(\"a\"); };"), anyDestinationKey,
                             QString(), fileDestination, everyActivity),
                        out));
    QCOMPARE(out,
             QStringLiteral("first\n"
                            "level(debug..emerg)\n"
                            "destination d_qvxaudio { file(\"/var/log/new.log\"); };\n"
                            "destination d_x { file(\"/var/log/new.log\"); };\n"));
}

void TestLineEdit::positionMakesNoDifference()
{
    ConfigLineEdit request
        = edit(QStringLiteral("level(err..emerg)"), levelKey, debugLevel, QString(), everyActivity);
    for (const int position : {-1, 0, 5, 100}) {
        request.position = position;
        QString out;
        QVERIFY(rewriteLine(request, out));
        QCOMPARE(out, QStringLiteral("level(debug..emerg)\n"));
    }
}

void TestLineEdit::sameEditAgainChangesNothing_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("destination");
    QTest::addColumn<QString>("activity");

    const QString levelLine = QString::fromUtf8("\tfilter f_ü { level(err..emerg) };  ");
    const QString destinationLine = QStringLiteral(" destination d_qvxaudio {file(\"a\") ; } ;");
    QTest::newRow("level of one") << levelLine << levelKey << debugLevel << QString() << audio;
    QTest::newRow("level of every")
        << levelLine << levelKey << debugLevel << QString() << everyActivity;
    QTest::newRow("destination of one")
        << destinationLine << audioKey << QString() << fileDestination << audio;
    QTest::newRow("destination of every")
        << destinationLine << anyDestinationKey << QString() << fileDestination << everyActivity;
}

void TestLineEdit::sameEditAgainChangesNothing()
{
    QFETCH(QString, line);
    QFETCH(QString, key);
    QFETCH(QString, level);
    QFETCH(QString, destination);
    QFETCH(QString, activity);

    ConfigLineEdit request = edit(line, key, level, destination, activity);
    QString once;
    QVERIFY(rewriteLine(request, once));
    QVERIFY(once != line + QLatin1Char('\n'));
    request.line = once.chopped(1);
    QString twice;
    QVERIFY(rewriteLine(request, twice));
    QCOMPARE(twice, once);
}

void TestLineEdit::veryLongLine()
{
    const QString padding(1000000, QLatin1Char('x'));
    QString out;
    QVERIFY(rewriteLine(edit(padding + QStringLiteral("level(err..emerg)") + padding, levelKey,
                             debugLevel, QString(), audio),
                        out));
    QVERIFY(out == padding + QStringLiteral("level(debug..emerg)") + padding + QLatin1Char('\n'));
}

QTEST_GUILESS_MAIN(TestLineEdit)
#include "tst_lineedit.moc"
