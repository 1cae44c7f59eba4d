// Which texts of a pid file may be handed to kill: never one that reaches a group of processes or
// all of them.
// SPDX-License-Identifier: MIT
#include "syslogconf/reload.h"

#include <QTest>

class TestReload : public QObject
{
    Q_OBJECT

private slots:
    void pid_data();
    void pid();
};

void TestReload::pid_data()
{
    QTest::addColumn<QString>("pid");
    QTest::addColumn<bool>("signallable");

    const auto row = [](const QString &pid, bool signallable) {
        QTest::addRow("\"%s\"", qPrintable(pid)) << pid << signallable;
    };
    for (const QString &pid :
         {QStringLiteral("1"), QStringLiteral("1234"), QStringLiteral("+12"),
          QStringLiteral("0012"), QStringLiteral("+0012"), QStringLiteral(" 12 "),
          QStringLiteral("12\n"), QStringLiteral("10"), QStringLiteral("2147483647"),
          QStringLiteral("00000000000000000000000000000012")}) {
        row(pid, true);
    }
    for (const QString &pid :
         {QStringLiteral("0"), QStringLiteral("00"), QStringLiteral("-0"), QStringLiteral("+0"),
          QStringLiteral(" 0 "), QStringLiteral("0\n"), QStringLiteral("\t0"),
          QStringLiteral("000000000000000000000000"), QStringLiteral("-1"), QStringLiteral("-01"),
          QStringLiteral(" -1 "), QStringLiteral("-1\n"), QStringLiteral("-12"),
          QStringLiteral("-2147483648"), QStringLiteral("-99999999999999999999")}) {
        row(pid, false);
    }
    // Kill takes these for an option, and then signals every process.
    for (const QString &pid :
         {QStringLiteral("-1abc"), QStringLiteral("-1 2"), QStringLiteral("-1."),
          QStringLiteral("-1\n99999"), QStringLiteral(" -1x"), QStringLiteral("-9")}) {
        row(pid, false);
    }
    // As 32 or 64 bits these wrap around to zero, to a negative number or to another process.
    for (const QString &pid :
         {QStringLiteral("2147483648"), QStringLiteral("4294967295"), QStringLiteral("4294967296"),
          QStringLiteral("4294967297"), QStringLiteral("18446744073709551615"),
          QStringLiteral("18446744073709551616"), QStringLiteral("99999999999999999999"),
          QStringLiteral("+4294967296")}) {
        row(pid, false);
    }
    // Kill itself refuses these.
    for (const QString &pid :
         {QStringLiteral("abc"), QStringLiteral("12abc"), QStringLiteral("0abc"),
          QStringLiteral("0x0"), QStringLiteral("0x12"), QStringLiteral("1 2"),
          QStringLiteral("0 0"), QStringLiteral("1\n2"), QStringLiteral("0.0"),
          QStringLiteral("1e3"), QStringLiteral("--1"), QStringLiteral("+-1"),
          QStringLiteral("- 1"), QStringLiteral("1-"), QStringLiteral("-"), QStringLiteral("+"),
          QString::fromUtf8("１２")}) {
        row(pid, true);
    }
}

void TestReload::pid()
{
    QFETCH(QString, pid);
    QTEST(isSignallablePid(pid), "signallable");
}

QTEST_GUILESS_MAIN(TestReload)
#include "tst_reload.moc"
