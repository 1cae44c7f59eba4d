// What a client says about the phone's health: which findings are problems, and what helps.
// SPDX-License-Identifier: MIT
#include "client/health.h"

#include "support/literal.h"

#include <QTest>

Q_DECLARE_METATYPE(Health)

namespace {

/// A phone on which all is well.
Health wellHealth()
{
    Health health;
    health.serviceRuns = true;
    health.daemonProcess = 7;
    health.daemonRuns = true;
    health.configuration = Acceptance::Accepted;
    health.backup = Acceptance::Accepted;
    health.listed = true;
    health.settingsKnown = true;
    health.ram = {"/var/log/"_s, 2000000, 4000000};
    health.flash = {"/log/flash/"_s, 2000000, 4000000};
    return health;
}

} // namespace

class tst_Health : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void problems_data();
    void problems();
    void choicesAreNoProblem();
    void levelFiles_data();
    void levelFiles();
    void logServers_data();
    void logServers();
};

void tst_Health::problems_data()
{
    QTest::addColumn<Health>("health");
    QTest::addColumn<QStringList>("parts"); // of the one problem
    const auto row = [](const char *name, void (*change)(Health &), const QStringList &parts) {
        Health health = wellHealth();
        change(health);
        QTest::newRow(name) << health << parts;
    };
    row("service away",
        [](Health &health) {
            health.serviceRuns = false;
            health.listed = false;
            health.serviceProblem = "no.such.name"_s;
        },
        {"LoggerModule does not answer (no.such.name)"_s});
    row("service that this user may not ask",
        [](Health &health) {
            health.serviceRuns = false;
            health.listed = false;
            health.serviceProblem = "org.freedesktop.DBus.Error.AccessDenied"_s;
        },
        {"This user may not ask LoggerModule"_s, "the group quorvix"_s});
    row("no table",
        [](Health &health) {
            health.listed = false;
            health.listProblem = "what it said"_s;
        },
        {"no list of activities: what it said"_s});
    row("updated", [](Health &health) { health.serviceReplaced = true; }, {"start it anew"_s});
    row("no pid file",
        [](Health &health) {
            health.daemonProcess = 0;
            health.daemonRuns = false;
        },
        {"no pid file /var/run/syslog-ng.pid"_s, "-p /var/run/syslog-ng.pid"_s});
    row("stopped", [](Health &health) { health.daemonStopped = true; },
        {"syslog-ng is stopped"_s, "kill -CONT 7"_s});
    row("other process", [](Health &health) { health.daemonRuns = false; },
        {"process 7 of its pid file is not syslog-ng"_s});
    row("broken configuration", [](Health &health) { health.configuration = Acceptance::Refused; },
        {"does not accept logappli.conf."_s, "loggerctl level all restore"_s});
    row("no configuration", [](Health &health) { health.configuration = Acceptance::Missing; },
        {"logappli.conf is missing"_s, "loggerctl level all restore"_s});
    row("broken backup", [](Health &health) { health.backup = Acceptance::Refused; },
        {"does not accept logappli.conf.sav"_s, "/etc/init.d/autoConfigSyslog start"_s});
    row("unknown backup", [](Health &health) { health.backup = Acceptance::Unknown; },
        {"logappli.conf.sav could not be checked"_s});
    row("lost level files",
        [](Health &health) {
            health.lostLevelFiles = QStringList {"a"_s, "b"_s};
        },
        {"lost of: a, b."_s, "loggerctl level all err"_s});
    row("invalid level file",
        [](Health &health) { health.invalidLevelFiles = QStringList {"a"_s}; },
        {"invalid of: a."_s, "loggerctl level all err"_s});
    row("RAM full", [](Health &health) { health.ram.free = 1000; },
        {"/var/log/ has only 1 kB left"_s, "loggerctl delete"_s});
    row("flash full", [](Health &health) { health.flash.free = 0; },
        {"/log/flash/ has only 0 bytes left"_s, "loggerctl delete flash"_s});
}

void tst_Health::problems()
{
    QFETCH(Health, health);
    QFETCH(QStringList, parts);
    const QStringList problems = problemsOf(health);
    QCOMPARE(problems.size(), 1);
    for (const QString &part : qAsConst(parts)) {
        QVERIFY2(problems.first().contains(part), qPrintable(problems.first()));
    }
}

void tst_Health::choicesAreNoProblem()
{
    Health health = wellHealth();
    QVERIFY(problemsOf(health).isEmpty());
    health.changed.append({"a"_s, "debug"_s, "udp"_s, "IP :h port(1)"_s});
    health.traces.append({"a"_s, "debug"_s, "err"_s, "root"_s, 1, 7});
    health.settingsKnown = false; // another module's business
    health.ram = {"/var/log/"_s, 0, 0}; // not known
    QVERIFY(problemsOf(health).isEmpty());
}

void tst_Health::levelFiles_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("valid");
    const auto row = [](const QByteArray &text, bool valid) {
        QTest::newRow(text.constData()) << QString::fromLatin1(text) << valid;
    };
    row("3\n19\nfile(\"/x\")\nfacility signature field\n", true);
    row("0\n19\nx\nfacility signature field", true);
    row("7\n-1\n\nfacility signature field\n", true);
    for (const char *const level : {"1", "2", "8", "-1", "", "x", "3.0"}) {
        row(QByteArray(level) + "\n19\nx\nfacility signature field\n", false);
    }
    row("3\nfacility\nx\nfacility signature field\n", false);
    row("3\n19\nx\nfacility signature fiel\n", false);
    row("3\n19\nfacility signature field\n", false);
    row("3\n19\nx\nfacility signature field\nmore\n", false);
    row("", false);
}

void tst_Health::levelFiles()
{
    QFETCH(QString, text);
    QTEST(isLevelFile(text.split(QLatin1Char('\n'))), "valid");
}

void tst_Health::logServers_data()
{
    QTest::addColumn<QVariantMap>("settings");
    QTest::addColumn<bool>("has");
    const QString exist = "LogRemoteServerExist"_s;
    QTest::newRow("none") << QVariantMap() << false;
    QTest::newRow("undefined") << QVariantMap {{exist, "UNDEFINED"_s}} << false;
    QTest::newRow("false") << QVariantMap {{exist, "false"_s}} << false;
    QTest::newRow("true") << QVariantMap {{exist, "true"_s}} << true;
}

void tst_Health::logServers()
{
    QFETCH(QVariantMap, settings);
    QTEST(hasLogServer(settings), "has");
}

QTEST_APPLESS_MAIN(tst_Health)
#include "tst_health.moc"
