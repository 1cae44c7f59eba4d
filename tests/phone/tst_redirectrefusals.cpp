// What the redirect command refuses: each form's texts, that nothing is touched, and that a form
// which has to look at a file waits for its turn.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "support/configlog.h"
#include "support/configurationtest.h"
#include "support/faults.h"
#include "support/phone.h"
#include "support/redirecting.h"

#include <QVX/setting.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <atomic>
#include <thread>

using Redirecting::redirect;

class tst_RedirectRefusals : public ConfigurationTest
{
    Q_OBJECT

private Q_SLOTS:
    void refused_data();
    void refused();
    void unknownActivity();
    void invalidDestinationOfARepairedActivity();
    void earlierWorkComesFirst_data();
    void earlierWorkComesFirst();
};

void tst_RedirectRefusals::refused_data()
{
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("answer");

    const auto row = [](const QVariantList &arguments, const QString &answer) {
        QTest::newRow(Redirecting::rowName(arguments)) << arguments << answer;
    };
    const QString sip = "qvxsipua"_s;
    const QString all = "all"_s;
    const QString address = "10.1.2.3"_s;

    const auto init = [&](const QString &activity) {
        row({activity, "init"_s},
            "Destination not valid --parameter init can only be used with activity all !"_s);
    };
    init(sip);
    init("nobody"_s);
    init("ALL"_s);
    init(QString());

    const auto place = [&](const QString &activity, const QString &destination) {
        row({activity, destination}, "[REDIRECT] Destination not valid: "_s + destination);
    };
    place(sip, "V25"_s);
    place(sip, QString());
    place(sip, "INIT"_s);
    place(sip, "V24\n"_s);
    place(sip, "file(\"/var/log/a\0\")"_s);
    place(sip, "file(\""_s + QString(100000, QLatin1Char('x')));
    place(all, "V25"_s);
    place(all, "INIT"_s);
    place(all, "V24\n"_s);
    place(all, Setting::UNDEFINEDVALUE);
    place("no_facility"_s, "V25"_s);

    const auto fileName = [&](const QString &activity, const QString &support,
                              const QString &path) {
        row({activity, support, path}, "Not a valid file name -- character / and ~ are banned"_s);
    };
    fileName(sip, "ram"_s, "../x"_s);
    fileName(sip, "flash"_s, "a/"_s);
    fileName(sip, "ram"_s, "~x"_s);
    fileName(sip, "usertty"_s, "x~"_s);
    fileName("nobody"_s, "RAM"_s, "a/b"_s); // before support and activity

    const auto support = [&](const QString &activity, const QString &kind) {
        row({activity, kind, "x"_s},
            "Not a valid support type -- can be : ram - flash or usertty"_s);
    };
    for (const char *kind : {"RAM", "Flash", "USERTTY", "", "ram ", "rams", "udp", "V24", "init"}) {
        support(sip, QString::fromLatin1(kind));
    }
    support("nobody"_s, "udp"_s); // before the activity
    support(all, "init"_s);

    const auto text = [&](const QVariantList &arguments, const QString &destination) {
        row(arguments, " [redirect] destination parameters not valid: "_s + destination);
    };
    text({sip, "ram"_s, "(a)"_s}, R"(file("/var/log/(a).log"))"_s);
    text({sip, "flash"_s, "a)"_s}, R"(file("/log/flash/a).log"))"_s);
    text({sip, "usertty"_s, "root\n"_s}, "usertty(\"root\n\")"_s);
    text({sip, "ram"_s, QString(QChar::Null)}, "file(\"/var/log/\0.log\")"_s);
    text({all, "ram"_s, "(a)"_s}, R"(file("/var/log/(a).log"))"_s);

    const auto server = [&](const QVariantList &arguments, const QString &destination) {
        row(arguments, " [REDIRECT] destination parameters not valid: "_s + destination);
    };
    server({sip, "udp"_s, "fe80::1"_s, 514}, R"(udp("fe80::1" port(514)))"_s);
    server({sip, "udp"_s, address, 0}, R"(udp("10.1.2.3" port(0)))"_s);
    server({sip, "tcp"_s, address, 65536}, R"(tcp("10.1.2.3" port(65536)))"_s);
    server({sip, "tcp"_s, address, 2147483647}, R"(tcp("10.1.2.3" port(2147483647)))"_s);
    server({sip, "tcp"_s, address, -2147483647 - 1}, R"(tcp("10.1.2.3" port(-2147483648)))"_s);
    server({sip, "UDP"_s, address, 514}, R"(UDP("10.1.2.3" port(514)))"_s);
    server({sip, "%1"_s, "%2"_s, 3}, R"(%1("%2" port(3)))"_s);
    server({sip, " udp "_s, " h "_s, 1}, R"( udp (" h " port(1)))"_s);
    server({sip, QString(), QString(), 514}, R"(("" port(514)))"_s);
    server({sip, "udp"_s, "10.1.2.3\n"_s, 514}, "udp(\"10.1.2.3\n\" port(514))"_s);
    server({sip, "udp"_s, R"(10.1.2.3" port(1)); file("/x)"_s, 514},
           R"(udp("10.1.2.3" port(1)); file("/x" port(514)))"_s);
    server({all, "udp"_s, address, 0}, R"(udp("10.1.2.3" port(0)))"_s);
}

void tst_RedirectRefusals::refused()
{
    QFETCH(QVariantList, arguments);
    QTEST(redirect(m_module, arguments), "answer");
    QCOMPARE(Faults::logged(*m_log), QStringList());
    QCOMPARE(touched(), QStringList());
}

void tst_RedirectRefusals::unknownActivity()
{
    const QString activityText = "not a valid activity : "_s;
    const QString facilityText = "not a valid facility : "_s;
    for (const QString &name : {"nobody"_s, "All"_s, "BOOK"_s, "../facility/qvxsipua"_s, QString(),
                                QString(100000, QLatin1Char('x'))}) {
        const auto check = [&](const QVariantList &arguments, const QString &answer) {
            m_log->clear();
            QCOMPARE(redirect(m_module, QVariantList {name} + arguments), answer + name);
            QCOMPARE(Faults::logged(*m_log), ConfigLog::unknown(name));
            QCOMPARE(touched(), QStringList());
        };
        check({"V24"_s}, activityText);
        check({"ram"_s, "x"_s}, activityText);
        check({"udp"_s, "10.1.2.3"_s, 514}, facilityText);
        // Also when the destination would be refused.
        check({"V25"_s}, activityText);
        check({"INIT"_s}, activityText);
        check({"ram"_s, "(x)"_s}, activityText);
        check({"UDP"_s, "10.1.2.3"_s, 0}, facilityText);
    }
}

void tst_RedirectRefusals::invalidDestinationOfARepairedActivity()
{
    const QString sip = "qvxsipua"_s;
    const QString application = "/usr/lib/QVXApplication/"_s + sip;
    const auto check = [&](const QVariantList &arguments, const QString &answer) {
        QVERIFY(QDir().mkpath(QFileInfo(application).path()));
        Phone::write(application, "an application");
        QVERIFY(QFile::remove(Phone::facilityFile(sip)));
        QCOMPARE(redirect(m_module, QVariantList {sip} + arguments), answer);
        QFile::remove(application);
        QCOMPARE(touched(), QStringList()); // the file is there again
    };
    check({"V25"_s}, "[REDIRECT] Destination not valid: V25"_s);
    check({"ram"_s, "("_s},
          R"( [redirect] destination parameters not valid: file("/var/log/(.log"))"_s);
    check({"udp"_s, "::1"_s, 514},
          R"( [REDIRECT] destination parameters not valid: udp("::1" port(514)))"_s);
}

void tst_RedirectRefusals::earlierWorkComesFirst_data()
{
    QTest::addColumn<QVariantList>("arguments");

    QTest::newRow("two arguments") << QVariantList {"nobody"_s, "V24"_s};
    QTest::newRow("three arguments") << QVariantList {"nobody"_s, "ram"_s, "x"_s};
    QTest::newRow("four arguments") << QVariantList {"nobody"_s, "udp"_s, "10.1.2.3"_s, 514};
    QTest::newRow("all, by the remote server") << QVariantList();
}

void tst_RedirectRefusals::earlierWorkComesFirst()
{
    QFETCH(QVariantList, arguments);
    // Each form has something to log as soon as it looks at the files.
    QVERIFY(QFile::remove(Phone::liveConfig));
    const ConfigurationOrder::Ticket ticket = ConfigurationOrder::instance().takeTicket();
    std::atomic<bool> called {false};
    std::atomic<bool> undisturbed {false};
    std::thread earlier([&] {
        const ConfigurationOrder::Turn turn(ticket);
        while (!called) {
            std::this_thread::yield();
        }
        // Every opportunity for what must not happen.
        for (int count = 0; count < 20000 && m_log->lines().isEmpty(); ++count) {
            std::this_thread::yield();
        }
        undisturbed = m_log->lines().isEmpty();
    });
    called = true;
    if (arguments.isEmpty()) {
        m_module.redirectAllActivities("V24"_s);
    } else {
        redirect(m_module, arguments);
    }
    earlier.join();
    QVERIFY(undisturbed);
    QVERIFY(!m_log->lines().isEmpty());
}

QTEST_GUILESS_MAIN(tst_RedirectRefusals)
#include "tst_redirectrefusals.moc"
