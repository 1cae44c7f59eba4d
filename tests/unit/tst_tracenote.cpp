// The note of a trace: what of it can be read again, and what cannot.
// SPDX-License-Identifier: MIT
#include "client/tracenote.h"

#include "support/literal.h"

#include <QTest>

class tst_TraceNote : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void notesCanBeReadAgain_data();
    void notesCanBeReadAgain();
    void nothingElseIsANote_data();
    void nothingElseIsANote();
};

void tst_TraceNote::notesCanBeReadAgain_data()
{
    QTest::addColumn<QString>("activity");
    QTest::newRow("plain") << "qvxsipua"_s;
    QTest::newRow("odd") << "a \"b\"/../\\ \xc3\xbc\n"_s;
}

void tst_TraceNote::notesCanBeReadAgain()
{
    QFETCH(QString, activity);
    const TraceNote note {activity, "debug"_s, "err"_s, "root"_s, 1795000000123, 77};
    const std::optional<TraceNote> again = noteOf(noteText(note));
    QVERIFY(again);
    QCOMPARE(again->activity, note.activity);
    QCOMPARE(again->level, note.level);
    QCOMPARE(again->former, note.former);
    QCOMPARE(again->user, note.user);
    QCOMPARE(again->until, note.until);
    QCOMPARE(again->keeper, note.keeper);
}

void tst_TraceNote::nothingElseIsANote_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not finished") << QByteArray("{\"activity\":\"a\",\"level\":\"debug\",\"form");
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("array") << QByteArray("[1, 2]");
    QTest::newRow("no former level") << QByteArray("{\"activity\":\"a\",\"level\":\"debug\"}");
    QTest::newRow("numbers") << QByteArray("{\"activity\":1,\"level\":7,\"former\":3}");
}

void tst_TraceNote::nothingElseIsANote()
{
    QFETCH(QByteArray, text);
    QVERIFY(!noteOf(text));
}

QTEST_APPLESS_MAIN(tst_TraceNote)
#include "tst_tracenote.moc"
