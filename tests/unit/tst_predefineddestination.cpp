// Which log file an activity writes to unless it was redirected.
// SPDX-License-Identifier: MIT
#include "syslogconf/predefineddestination.h"

#include <QTest>

class TestPredefinedDestination : public QObject
{
    Q_OBJECT

private slots:
    void destination_data();
    void destination();
};

void TestPredefinedDestination::destination_data()
{
    QTest::addColumn<QString>("activity");
    QTest::addColumn<QString>("inConfiguration");
    QTest::addColumn<QString>("inFacilityFile");

    const auto row
        = [](const char *activity, const char *inConfiguration, const char *inFacilityFile) {
              QTest::newRow(*activity == '\0' ? "empty" : activity)
                  << QString::fromUtf8(activity) << QString::fromUtf8(inConfiguration)
                  << QString::fromUtf8(inFacilityFile);
          };
    const char *const flash = "file(\"/log/Defence.log\")";
    row("defence", flash, flash);
    row("mydefence", flash, "file(\"/var/log/mydefence.log\")");
    row("defence2", flash, "file(\"/var/log/defence2.log\")");
    row("Defence", "file(\"/var/log/Defence.log\")", "file(\"/var/log/Defence.log\")");
    row("qvxsipua", "file(\"/var/log/qvxsipua.log\")", "file(\"/var/log/qvxsipua.log\")");
    row("x.log", "file(\"/var/log/x.log.log\")", "file(\"/var/log/x.log.log\")");
    row("größe", "file(\"/var/log/größe.log\")", "file(\"/var/log/größe.log\")");
    row("", "file(\"/var/log/.log\")", "file(\"/var/log/.log\")");
}

void TestPredefinedDestination::destination()
{
    QFETCH(QString, activity);
    QTEST(predefinedDestination(activity, DefenceLog::OfAnyDefence), "inConfiguration");
    QTEST(predefinedDestination(activity, DefenceLog::OfDefenceAlone), "inFacilityFile");
}

QTEST_GUILESS_MAIN(TestPredefinedDestination)
#include "tst_predefineddestination.moc"
