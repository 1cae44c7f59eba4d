// Calls that are refused without a look at a file are answered while a job has its turn.
// SPDX-License-Identifier: MIT
#include "support/heldcheck.h"
#include "support/phone.h"

#include <QTest>
#include <QVariantMap>

class tst_Refusals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void refusalDoesNotWaitForAJob_data();
    void refusalDoesNotWaitForAJob();
};

void tst_Refusals::initTestCase()
{
    QVERIFY2(Phone::isBox(), "This test needs a phone in a box");
}

void tst_Refusals::refusalDoesNotWaitForAJob_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("answer");

    const QString level = QStringLiteral("level");
    const QString redirect = QStringLiteral("redirect");
    const QString sip = QStringLiteral("qvxsipua");
    const QString all = QStringLiteral("all");
    const QString init = QStringLiteral("init");
    const QString wrong = QStringLiteral("loud");

    QTest::newRow("wrong level") << level << QVariantList {sip, wrong}
                                 << QStringLiteral("[level] level not valid: loud");
    QTest::newRow("wrong level for all")
        << level << QVariantList {all, wrong} << QStringLiteral("[level] level not valid: loud");
    QTest::newRow("initial level of one")
        << level << QVariantList {sip, init} << QStringLiteral("[level] level not valid: init");
    QTest::newRow("predefined file of one")
        << redirect << QVariantList {sip, init}
        << QStringLiteral(
               "Destination not valid --parameter init can only be used with activity all !");
    QTest::newRow("wrong destination") << redirect << QVariantList {sip, QStringLiteral("v24")}
                                       << QStringLiteral("[REDIRECT] Destination not valid: v24");
    QTest::newRow("wrong destination for all")
        << redirect << QVariantList {all, QStringLiteral("v24")}
        << QStringLiteral("[REDIRECT] Destination not valid: v24");
    QTest::newRow("wrong support")
        << redirect << QVariantList {sip, QStringLiteral("RAM"), QStringLiteral("x")}
        << QStringLiteral("Not a valid support type -- can be : ram - flash or usertty");
    QTest::newRow("banned file name")
        << redirect << QVariantList {sip, QStringLiteral("ram"), QStringLiteral("../x")}
        << QStringLiteral("Not a valid file name -- character / and ~ are banned");
    QTest::newRow("wrong file name")
        << redirect << QVariantList {sip, QStringLiteral("ram"), QStringLiteral("(x)")}
        << QStringLiteral(
               " [redirect] destination parameters not valid: file(\"/var/log/(x).log\")");
    QTest::newRow("wrong port")
        << redirect << QVariantList {sip, QStringLiteral("udp"), QStringLiteral("10.1.2.3"), 0}
        << QStringLiteral(
               " [REDIRECT] destination parameters not valid: udp(\"10.1.2.3\" port(0))");
}

void tst_Refusals::refusalDoesNotWaitForAJob()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    Phone::resetConfiguration();
    QString answer;
    {
        HeldCheck check;
        QCOMPARE(
            Phone::call(QStringLiteral("setSyslogLevels"), {QStringLiteral("sipmmi:debug")}).type(),
            QDBusMessage::ReplyMessage);
        QVERIFY(HeldCheck::waitForStart());
        answer = Phone::text(method, arguments);
        QCOMPARE(HeldCheck::count(), 1);
        HeldCheck::release();
        Phone::text(QStringLiteral("level")); // has its turn when the job is done
    }
    QTEST(answer, "answer");
}

QTEST_GUILESS_MAIN(tst_Refusals)
#include "tst_refusals.moc"
