// The six level names and their numbers, and that nothing else is a level.
// SPDX-License-Identifier: MIT
#include "levels/levelvocabulary.h"

#include <QTest>

#include <limits>

class TestLevelVocabulary : public QObject
{
    Q_OBJECT

private slots:
    void names_data();
    void names();
    void otherTexts_data();
    void otherTexts();
    void numbers_data();
    void numbers();
};

void TestLevelVocabulary::names_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("number");

    QTest::newRow("emerg") << QStringLiteral("emerg") << 0;
    QTest::newRow("err") << QStringLiteral("err") << 3;
    QTest::newRow("warning") << QStringLiteral("warning") << 4;
    QTest::newRow("notice") << QStringLiteral("notice") << 5;
    QTest::newRow("info") << QStringLiteral("info") << 6;
    QTest::newRow("debug") << QStringLiteral("debug") << 7;
}

void TestLevelVocabulary::names()
{
    QFETCH(QString, name);
    QFETCH(int, number);
    QVERIFY(isValidLevel(name));
    QCOMPARE(levelFromName(name), number);
    QCOMPARE(levelToName(number), name);
    QVERIFY(isValidLevelNumber(number));
}

void TestLevelVocabulary::otherTexts_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QStringLiteral("");
    QTest::newRow("blank") << QStringLiteral(" ");
    const QStringList texts {
        QStringLiteral("Err"),       QStringLiteral("ERR"),     QStringLiteral("DEBUG"),
        QStringLiteral("Debug"),     QStringLiteral("INFO"),    QStringLiteral("Emerg"),
        QStringLiteral("Warning"),   QStringLiteral("Notice"),  QStringLiteral("crit"),
        QStringLiteral("alert"),     QStringLiteral("panic"),   QStringLiteral("error"),
        QStringLiteral("warn"),      QStringLiteral("er"),      QStringLiteral("errr"),
        QStringLiteral("emergency"), QStringLiteral("none"),    QStringLiteral("all"),
        QStringLiteral("init"),      QStringLiteral("restore"), QStringLiteral(" debug"),
        QStringLiteral("debug "),    QStringLiteral("debug\n"), QStringLiteral("in fo"),
        QStringLiteral("0"),         QStringLiteral("3"),       QStringLiteral("7"),
        QStringLiteral("level"),     QString::fromUtf8("débug")};
    for (const QString &text : texts) {
        QTest::addRow("\"%s\"", qPrintable(text)) << text;
    }
    QTest::newRow("NUL behind a name") << QString(QStringLiteral("debug") + QChar(QChar::Null));
}

void TestLevelVocabulary::otherTexts()
{
    QFETCH(QString, text);
    QVERIFY(!isValidLevel(text));
    QCOMPARE(levelFromName(text), 3);
}

void TestLevelVocabulary::numbers_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("valid");

    const QString err = QStringLiteral("err");
    QTest::newRow("smallest") << std::numeric_limits<int>::min() << err << false;
    QTest::newRow("-1") << -1 << err << false;
    QTest::newRow("0") << 0 << QStringLiteral("emerg") << true;
    QTest::newRow("1") << 1 << err << false;
    QTest::newRow("2") << 2 << err << false;
    QTest::newRow("3") << 3 << err << true;
    QTest::newRow("4") << 4 << QStringLiteral("warning") << true;
    QTest::newRow("5") << 5 << QStringLiteral("notice") << true;
    QTest::newRow("6") << 6 << QStringLiteral("info") << true;
    QTest::newRow("7") << 7 << QStringLiteral("debug") << true;
    QTest::newRow("8") << 8 << err << false;
    QTest::newRow("256") << 256 << err << false;
    QTest::newRow("largest") << std::numeric_limits<int>::max() << err << false;
}

void TestLevelVocabulary::numbers()
{
    QFETCH(int, number);
    QTEST(levelToName(number), "name");
    QTEST(isValidLevelNumber(number), "valid");
}

QTEST_GUILESS_MAIN(TestLevelVocabulary)
#include "tst_levelvocabulary.moc"
