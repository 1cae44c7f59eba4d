// An event's name and arguments, and which value stays when a key is given twice.
// SPDX-License-Identifier: MIT
#include <QVX/qvxevent.h>

#include <QTest>

class TestQVXEvent : public QObject
{
    Q_OBJECT

private slots:
    void nameIsKept_data();
    void nameIsKept();
    void newEventHasNoArgument();
    void argumentsAreKept();
    void firstValueStays();
    void valueIsReplacedOnRequest();
    void replacingAnAbsentKeyAddsIt();
    void copiesAreIndependent();
};

void TestQVXEvent::nameIsKept_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("event") << QStringLiteral("log_level_changed");
    QTest::newRow("empty") << QString();
}

void TestQVXEvent::nameIsKept()
{
    QFETCH(QString, name);
    QCOMPARE(QVXEvent(name).name(), name);
}

void TestQVXEvent::newEventHasNoArgument()
{
    QVERIFY(QVXEvent(QStringLiteral("event")).arguments().isEmpty());
}

void TestQVXEvent::argumentsAreKept()
{
    QVXEvent event(QStringLiteral("log_level_changed"));
    event.addArgument(QStringLiteral("syslog_facility"), QStringLiteral("qvxaudio"), true);
    event.addArgument(QStringLiteral("syslog_level"), 7, true);
    event.addArgument(QString(), QStringList {QStringLiteral("a")});
    QCOMPARE(event.arguments(),
             (QVariantMap {{QStringLiteral("syslog_facility"), QStringLiteral("qvxaudio")},
                           {QStringLiteral("syslog_level"), 7},
                           {QString(), QStringList {QStringLiteral("a")}}}));
    QCOMPARE(event.arguments().value(QStringLiteral("syslog_level")).userType(),
             static_cast<int>(QMetaType::Int));
}

void TestQVXEvent::firstValueStays()
{
    QVXEvent event(QStringLiteral("event"));
    event.addArgument(QStringLiteral("key"), 1);
    event.addArgument(QStringLiteral("key"), 2);
    event.addArgument(QStringLiteral("key"), 3, false);
    QCOMPARE(event.arguments(), (QVariantMap {{QStringLiteral("key"), 1}}));
}

void TestQVXEvent::valueIsReplacedOnRequest()
{
    QVXEvent event(QStringLiteral("event"));
    event.addArgument(QStringLiteral("key"), 1);
    event.addArgument(QStringLiteral("other"), 1);
    event.addArgument(QStringLiteral("key"), QStringLiteral("two"), true);
    QCOMPARE(event.arguments(),
             (QVariantMap {{QStringLiteral("key"), QStringLiteral("two")},
                           {QStringLiteral("other"), 1}}));
}

void TestQVXEvent::replacingAnAbsentKeyAddsIt()
{
    QVXEvent event(QStringLiteral("event"));
    event.addArgument(QStringLiteral("key"), 1, true);
    event.addArgument(QStringLiteral("Key"), 2, true);
    QCOMPARE(event.arguments(),
             (QVariantMap {{QStringLiteral("key"), 1}, {QStringLiteral("Key"), 2}}));
}

void TestQVXEvent::copiesAreIndependent()
{
    QVXEvent event(QStringLiteral("event"));
    event.addArgument(QStringLiteral("key"), 1);
    QVXEvent copy = event;
    copy.addArgument(QStringLiteral("key"), 2, true);
    QCOMPARE(event.arguments(), (QVariantMap {{QStringLiteral("key"), 1}}));
    QCOMPARE(copy.arguments(), (QVariantMap {{QStringLiteral("key"), 2}}));
}

QTEST_GUILESS_MAIN(TestQVXEvent)
#include "tst_qvxevent.moc"
