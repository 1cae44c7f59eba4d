// What the phone's syslog-ng is started with: the live configuration with a name for each
// destination, the backup where there is none, and what a reload without any makes of it.
// SPDX-License-Identifier: MIT
#include "support/places.h"
#include "support/programs.h"
#include "support/syslogdaemon.h"

#include <csignal>

using namespace Phone;

namespace {

const QString mainConfig = "/etc/syslog-ng/phone.conf"_s;

/// Runs the program whose output syslog-ng takes for the configuration.
Outcome generate()
{
    return runProgram({"/etc/syslog-ng/logappli-generator"_s});
}

/// What it prints when it does its work.
QByteArray generated()
{
    const Outcome outcome = generate();
    return outcome.status == 0 ? outcome.output : "failed: " + outcome.errors;
}

} // namespace

class tst_SyslogStart : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void everyLineIsKept();
    void withoutConfigurationTheBackupCounts();
    void reloadWithoutConfigurationChangesNothing();
};

void tst_SyslogStart::initTestCase()
{
    QVERIFY2(isBox(), "runs in the phone in a box only");
}

void tst_SyslogStart::init()
{
    resetConfiguration();
}

void tst_SyslogStart::everyLineIsKept()
{
    const QByteArray rest = "# it's \"one\n"
                            "filter f_x { program(\"^destination d_x { file\"); };\n"
                            "log { destination { file(\"/tmp/in-line\"); }; };\n"
                            "destination d_c {\n    usertty(\"operator\"); # file(\"/tmp/c\")\n};\n"
                            "destination d_d { file('/tmp/d' persist_name(\"own\")); };\n"
                            "destination d_e { }; \t\n"
                            "# ISO 8859-1: \xfc";
    write(liveConfig,
          "@version: 3.38\n"
          "destination d_a { file(\"/tmp/;} \\\" #\"  ) ; }; # )\n"
          "destination 'd_b' { udp   (\"127.0.0.1\" port (514)); unix_dgram('/tmp/\"'); };\n"
          "destination other { tcp(\"127.0.0.1\"\n"
          "    port(514)); };\n"
              + rest);
    QCOMPARE(generated(),
             "\n"
             "destination d_a { file(\"/tmp/;} \\\" #\"   persist-name(\"a file(\\\"/tmp/;} "
             "\\\\\\\" #\\\"  )\")) ; }; # )\n"
             "destination 'd_b' { udp   (\"127.0.0.1\" port (514) persist-name(\"b "
             "udp(\\\"127.0.0.1\\\" port (514))\")); unix_dgram('/tmp/\"' persist-name(\"b/2 "
             "unix_dgram('/tmp/\\\"')\")); };\n"
             "destination other { tcp(\"127.0.0.1\"\n"
             "    port(514) persist-name(\"destination other tcp(\\\"127.0.0.1\\\"    "
             "port(514))\")); };\n"
                 + rest + '\n');
    QCOMPARE(generate().errors, QByteArray());
    QVERIFY(syslogAccepts(liveConfig));
    QVERIFY(syslogAccepts(mainConfig));
}

void tst_SyslogStart::withoutConfigurationTheBackupCounts()
{
    const QByteArray good = generated();
    QCOMPARE(good.count(" persist-name("), static_cast<int>(activities.size()));

    write(liveConfig, "");
    QCOMPARE(generated(), good);
    QVERIFY(QFile::remove(liveConfig));
    QCOMPARE(generated(), good);
    QVERIFY(syslogAccepts(mainConfig));
    QVERIFY(QFile::remove(backup));
    QCOMPARE(generated(), QByteArray());
    QVERIFY(syslogAccepts(mainConfig));
}

void tst_SyslogStart::reloadWithoutConfigurationChangesNothing()
{
    SyslogDaemon daemon;
    QVERIFY2(daemon.coldStart(), daemon.problem().constData());
    const Activity &sip = activity("qvxsipua"_s);
    SocketPlace collector("udp"_s, "127.0.0.2"_s, 5514);
    FilePlace home(predefinedFile(sip));
    text("redirect"_s, {sip.name, "udp(\"127.0.0.2\" port(5514))"_s});
    QVERIFY(movesTo(collector, home, sip));

    QVERIFY(QFile::remove(liveConfig));
    ::kill(read(pidFile).trimmed().toInt(), SIGHUP);
    QTRY_VERIFY_WITH_TIMEOUT(SyslogDaemon::output().contains("nothing changes"), 20000);
    QVERIFY(movesTo(collector, home, sip));
}

QTEST_GUILESS_MAIN(tst_SyslogStart)
#include "tst_syslogstart.moc"
