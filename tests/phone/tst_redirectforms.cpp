// The redirect command for one activity: what each of its forms answers, writes, records, logs and
// signals.
// SPDX-License-Identifier: MIT
#include "support/configlog.h"
#include "support/configtext.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/phone.h"
#include "support/redirecting.h"

#include <QDir>
#include <QTest>

namespace {

using namespace ConfigLog;
using namespace Redirecting;
using ConfigText::facilityFiles;
using ConfigText::withDestination;
using ConfigText::withRedirection;

const QString sip = "qvxsipua"_s;
const QString applications = "/usr/lib/QVXApplication/"_s;

// One call of each form that records the destination in the facility file.
const QVariantList toFile {sip, "ram"_s, "x"_s};
const QString file = R"(file("/var/log/x.log"))"_s;
const QVariantList toServer {sip, "udp"_s, "10.1.2.3"_s, 514};
const QString server = R"(udp("10.1.2.3" port(514)))"_s;

} // namespace

class tst_RedirectForms : public ConfigurationTest
{
    Q_OBJECT

private Q_SLOTS:
    void listing();
    void listingWithoutAnyFile();

    void oneActivity_data();
    void oneActivity();
    void facilityFileIsWrittenAfterTheReload();
    void activityWithoutBlockIsAnsweredAsSuccess();
    void missingConfigurationIsAnsweredAsSuccess();

    void refusedBySyslog_data();
    void refusedBySyslog();
    void repairedActivityEndsWithTheNotice();
    void recordIsTriedThoughTheEditWasRefused_data();
    void recordIsTriedThoughTheEditWasRefused();
    void corruptedRecord_data();
    void corruptedRecord();

    void overTheBus();
};

void tst_RedirectForms::listing()
{
    m_module.redirect(sip, R"(udp("10.1.2.3" port(514)))"_s);
    const QString table = m_module.redirect();
    QVERIFY(table.startsWith(
        "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \ndefence  "_s));
    QVERIFY(table.contains("\n"_s + sip.leftJustified(20) + "   err        udp          "_s
                           + "IP :10.1.2.3 port(514)"_s.leftJustified(60) + "\n"_s));
    QCOMPARE(table, m_module.level());
    QCOMPARE(Phone::text("redirect"_s), table);
    QCOMPARE(table.count("\n"_s), Phone::activityNames.size() + 1);
}

void tst_RedirectForms::listingWithoutAnyFile()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(m_module.redirect().contains(sip));
    QCOMPARE(Phone::read(Phone::liveConfig), m_backup);
    QVERIFY(QFile::remove(Phone::liveConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(m_module.redirect(), "configuration file cannot be restored"_s);
    QVERIFY(!m_log->errors().contains("[logappli.conf] access problem"_s));
}

void tst_RedirectForms::oneActivity_data()
{
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("destination");

    const auto row = [](const QVariantList &arguments, const QString &destination) {
        QTest::newRow(rowName(arguments)) << arguments << destination;
    };
    for (const char *destination :
         {R"(udp("10.1.2.3" port(514)))", R"(tcp   ("10.0.0.1" port  (514)))",
          R"(udp("localhost" port(65535)))", R"(file("/var/log/a b.log"))",
          R"(pipe("/run/phone/fifo"))", R"(program("/bin/cat"))",
          R"(unix-stream("/run/phone/socket"))", R"(unix-dgram("/run/phone/socket"))",
          R"(usertty("root"))"}) {
        const QString text = QString::fromLatin1(destination);
        row({sip, text}, text);
    }
    row({"Telephony"_s, "V24"_s}, "V24"_s);
    row({"defence"_s, R"(file("/log/other.log"))"_s}, R"(file("/log/other.log"))"_s);
    row({"WebApp"_s, R"(file("/var/log/w.log"))"_s}, R"(file("/var/log/w.log"))"_s);

    row({sip, "ram"_s, "sip"_s}, R"(file("/var/log/sip.log"))"_s);
    row({sip, "ram"_s, "sip.log"_s}, R"(file("/var/log/sip.log"))"_s);
    row({sip, "flash"_s, "sip"_s}, R"(file("/log/flash/sip.log"))"_s);
    row({sip, "usertty"_s, "root"_s}, R"(usertty("root"))"_s);
    row({sip, "usertty"_s, "root.log"_s}, R"(usertty("root.log"))"_s);
    row({sip, "usertty"_s, ""_s}, R"(usertty(""))"_s);
    row({sip, "ram"_s, "x.LOG"_s}, R"(file("/var/log/x.LOG.log"))"_s);
    row({sip, "ram"_s, "xlog"_s}, R"(file("/var/log/xlog.log"))"_s);
    row({sip, "ram"_s, "x.log.1"_s}, R"(file("/var/log/x.log.1.log"))"_s);
    row({sip, "ram"_s, ".log"_s}, R"(file("/var/log/.log"))"_s);
    row({sip, "ram"_s, ""_s}, R"(file("/var/log/.log"))"_s);
    row({sip, "flash"_s, "a b"_s}, R"(file("/log/flash/a b.log"))"_s);
    row({sip, "ram"_s, ".."_s}, R"(file("/var/log/...log"))"_s);
    row({sip, "ram"_s, "t\u00e9l\u00e9"_s}, "file(\"/var/log/t\u00e9l\u00e9.log\")"_s);
    row({"defence"_s, "flash"_s, "d"_s}, R"(file("/log/flash/d.log"))"_s);
    row({"WebApp"_s, "ram"_s, "w"_s}, R"(file("/var/log/w.log"))"_s);

    row(toServer, server);
    row({sip, "tcp"_s, "localhost"_s, 65535}, R"(tcp("localhost" port(65535)))"_s);
    row({sip, "udp "_s, "10.1.2.3"_s, 1}, R"(udp ("10.1.2.3" port(1)))"_s);
    row({"defence"_s, "udp"_s, "10.1.2.3"_s, 514}, server);
    row({"WebApp"_s, "udp"_s, "10.1.2.3"_s, 514}, server);
}

void tst_RedirectForms::oneActivity()
{
    QFETCH(QVariantList, arguments);
    QFETCH(QString, destination);
    const QString activity = arguments.first().toString();
    const QString written = destination == "V24"_s ? R"(file("/dev/console"))"_s : destination;
    QString answer = moved(activity, destination);
    QStringList lines {checked, reloaded};
    ConfigText::FacilityFiles facilities = m_facilities;
    // The record of a single activity is left to the forms with more arguments.
    if (arguments.size() > 2) {
        lines.append("7 "_s + answer);
        facilities = withRedirection(facilities, activity, destination);
        answer += "OK"_s;
    }
    QCOMPARE(redirect(m_module, arguments), answer);
    QCOMPARE(Phone::read(Phone::liveConfig), withDestination(m_predefined, activity, written));
    QCOMPARE(Phone::read(Phone::backup), m_backup);
    QCOMPARE(facilityFiles(), facilities);
    QCOMPARE(Faults::logged(*m_log), lines);
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_RedirectForms::facilityFileIsWrittenAfterTheReload()
{
    const QString path = Phone::facilityFile(sip);
    m_syslog.reset();
    m_syslog = std::make_unique<HangUps>(path);
    redirect(m_module, toFile);
    QTRY_COMPARE(m_syslog->count(), 1);
    QCOMPARE(m_syslog->watchedContent(), m_facilities.value("qvxsipua.conf"_s));
    QVERIFY(Phone::read(path).contains("file(\"/var/log/x.log\")"));
}

void tst_RedirectForms::activityWithoutBlockIsAnsweredAsSuccess()
{
    const QString name = "no_facility"_s;
    QCOMPARE(m_module.redirect(name, "V24"_s), moved(name, "V24"_s));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(Faults::logged(*m_log), QStringList({checked, reloaded}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

void tst_RedirectForms::missingConfigurationIsAnsweredAsSuccess()
{
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(m_module.redirect(sip, "V24"_s), moved(sip, "V24"_s));
    QVERIFY(!QFile::exists(Phone::liveConfig));
    QCOMPARE(
        Faults::logged(*m_log),
        QStringList({"7 [restoreConfigFile] -- "_s + Phone::liveConfig,
                     "3 [modify] -- file: "_s + Phone::liveConfig + "doesn't exist"_s, reloaded}));
    QTRY_COMPARE(m_syslog->count(), 1);
}

// ---------------------------------------------------------------------- What fails on the way

void tst_RedirectForms::refusedBySyslog_data()
{
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("destination");

    const auto row = [](const QVariantList &arguments, const QString &destination) {
        QTest::newRow(rowName(arguments)) << arguments << destination;
    };
    for (const char *destination :
         {R"(flash("x"))", R"(udp("10.0.0.1 port(514)))", R"(udp("10.0.0.1""" port(514)))",
          R"(tcp("loghost port(514)))", R"(udp("loghost"" port(514)))", R"(file("a"b"))",
          R"(usertty("ro"ot"))", R"(pipe("x" "y"))"}) {
        const QString text = QString::fromLatin1(destination);
        row({sip, text}, text);
    }
    row({sip, "ram"_s, R"(a"b)"_s}, R"(file("/var/log/a"b.log"))"_s);
    row({sip, "usertty"_s, R"(")"_s}, R"(usertty("""))"_s);
    row({sip, "udp"_s, R"(10.0.0.1")"_s, 514}, R"(udp("10.0.0.1"" port(514)))"_s);
}

void tst_RedirectForms::refusedBySyslog()
{
    QFETCH(QVariantList, arguments);
    QFETCH(QString, destination);
    // What the user had set for another activity is lost with the backup's return.
    m_module.redirect("qvxaudio"_s, "V24"_s);
    QVERIFY(Phone::read(Phone::liveConfig).contains("/dev/console"));
    QTRY_COMPARE(m_syslog->count(), 1);
    m_log->clear();
    // Once for the backup and once for the edit that is taken for done.
    QStringList lines = refusedAndRestored + QStringList(reloaded);
    QString answer = moved(sip, destination);
    const bool isRecorded = arguments.size() > 2;
    if (isRecorded) {
        lines.append("7 "_s + answer);
        answer += "OK"_s;
    }
    QCOMPARE(redirect(m_module, arguments), answer);
    QCOMPARE(Phone::read(Phone::liveConfig), m_backup);
    QCOMPARE(facilityFiles(),
             isRecorded ? withRedirection(m_facilities, sip, destination) : m_facilities);
    QCOMPARE(Faults::logged(*m_log), lines);
    QTRY_COMPARE(m_syslog->count(), 3);
}

void tst_RedirectForms::repairedActivityEndsWithTheNotice()
{
    const QString notice
        = " OK  -- but configuration file was corrupted : qvxsipua restored to predefined values "
          "-- use level or redirect command to verify your log config "_s;
    QVERIFY(QDir().mkpath(applications));
    for (const QVariantList &arguments : {toFile, toServer}) {
        const QString destination = arguments == toFile ? file : server;
        QVERIFY(QFile::remove(Phone::facilityFile(sip)));
        Phone::write(applications + sip, "an application");
        const QString answer = redirect(m_module, arguments);
        QFile::remove(applications + sip);
        QCOMPARE(answer, moved(sip, destination) + notice);
        QCOMPARE(facilityFiles(), withRedirection(m_facilities, sip, destination));
    }
}

void tst_RedirectForms::recordIsTriedThoughTheEditWasRefused_data()
{
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("answer");
    QTest::newRow("three arguments")
        << toFile << "One or more log config file corrupted -- restored to predefined value !"_s;
    QTest::newRow("four arguments")
        << toServer << "One or more log config file corrupted -- Restored to predefined value"_s;
}

void tst_RedirectForms::recordIsTriedThoughTheEditWasRefused()
{
    QFETCH(QVariantList, arguments);
    // Known by its application when the form checks it, and unknown when the edit does: the set-up
    // script, which the first check runs, takes the application away.
    const Faults::FakeSetUpScript script(Faults::fake("setup-forgetting"_s));
    QVERIFY(QDir().mkpath(applications));
    Phone::write(applications + sip, "an application");
    QVERIFY(QFile::remove(Phone::facilityFile(sip)));
    QTEST(redirect(m_module, arguments), "answer");
    QCOMPARE(Faults::logged(*m_log),
             QStringList({unknown(sip).first(), noFacilityFile, setUp}) + unknown(sip)
                 + QStringList({"7 not a valid activity : qvxsipua"_s,
                                "3 Files does not exists: qvxsipua"_s, corruptedFacilityFile(sip),
                                noFacilityFile, noFacilityFile, setUp}));
    QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\nstart\n"));
    QCOMPARE(Phone::read(Phone::liveConfig), m_predefined);
    QCOMPARE(m_syslog->count(), 0);
}

void tst_RedirectForms::corruptedRecord_data()
{
    recordIsTriedThoughTheEditWasRefused_data();
}

void tst_RedirectForms::corruptedRecord()
{
    QFETCH(QVariantList, arguments);
    QFETCH(QString, answer);
    const QString destination = arguments == toFile ? file : server;
    for (const int level : {7, 6, 2}) {
        beginAgain(level);
        const Faults::FakeSetUpScript script(Faults::fake("setup-noting"_s));
        Phone::write(Phone::facilityFile(sip), "3\n19\nfile(\"/x\")\nanother signature\n");
        QCOMPARE(redirect(m_module, arguments), answer);
        // The edit is not undone. The writer has deleted the file, so neither it nor the restore
        // that follows can repair it.
        QCOMPARE(Phone::read(Phone::liveConfig), withDestination(m_predefined, sip, destination));
        ConfigText::FacilityFiles remaining = m_facilities;
        remaining.remove("qvxsipua.conf"_s);
        QCOMPARE(facilityFiles(), remaining);
        QCOMPARE(
            Faults::logged(*m_log),
            Faults::writtenAt(level,
                              {checked, reloaded, "7 "_s + moved(sip, destination),
                               corruptedFacilityFile(sip), noFacilityFile, noFacilityFile, setUp}));
        QCOMPARE(Phone::read(Faults::FakeSetUpScript::record()), QByteArray("start\n"));
        QTRY_COMPARE(m_syslog->count(), 1);
    }
}

void tst_RedirectForms::overTheBus()
{
    QCOMPARE(Phone::text("redirect"_s, {sip, "V24"_s}), moved(sip, "V24"_s));
    QCOMPARE(Phone::text("redirect"_s, toFile), moved(sip, file) + "OK"_s);
    QCOMPARE(Phone::text("redirect"_s, toServer), moved(sip, server) + "OK"_s);
    QCOMPARE(Phone::text("redirect"_s, {sip, "udp"_s, "10.1.2.3"_s, -514}),
             R"( [REDIRECT] destination parameters not valid: udp("10.1.2.3" port(-514)))"_s);
}

QTEST_GUILESS_MAIN(tst_RedirectForms)
#include "tst_redirectforms.moc"
