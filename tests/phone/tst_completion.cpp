// What Tab offers behind the words of a loggerctl command line, in scripts' and a person's bash.
// SPDX-License-Identifier: MIT
#include "support/console.h"
#include "support/phone.h"
#include "support/terminal.h"

#include <QFile>
#include <QTest>

namespace {

/// The characters at which bash splits words, and those without ":" and "=".
const QString usualBreaks = " \t\n\"'@><=;|&(:"_s;
const QString otherBreaks = " \t\n"_s;

/// What bash offers when @p line has been typed and Tab is pressed, with a blank between two.
QString completions(const QString &line, const QString &wordBreaks = usualBreaks)
{
    const QString script
        = ". /usr/share/bash-completion/completions/loggerctl\n"
          "COMP_LINE=$1 COMP_POINT=${#1} COMP_TYPE=9 COMP_KEY=9 COMP_WORDBREAKS=$2\n"
          "_loggerctl loggerctl\n"
          "printf '%s\\n' \"${COMPREPLY[@]}\"\n"_s;
    const Outcome outcome
        = runProgram({"bash"_s, "--norc"_s, "-c"_s, script, "bash"_s, line, wordBreaks});
    return outcome.status == 0 && outcome.errors.isEmpty()
        ? QString::fromUtf8(outcome.output.trimmed().replace('\n', ' '))
        : QString("error: "_s + QString::fromUtf8(outcome.errors));
}

} // namespace

class tst_Completion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void installed();
    void offers_data();
    void offers();
    void inAShell();
    void withoutService(); // ends it for good
};

void tst_Completion::initTestCase()
{
    QVERIFY(Phone::isBox());
}

void tst_Completion::installed()
{
    QVERIFY(QFile::exists("/usr/share/man/man1/loggerctl.1"_s));
    const Outcome help = console("defence --help");
    QCOMPARE(help.status, 0);
    QVERIFY(help.output.contains("loggerctl defence COUNT read\n"));
}

void tst_Completion::offers_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("wordBreaks");
    QTest::addColumn<QString>("offered");

    const auto row = [](const char *line, const QByteArray &offered) {
        QTest::newRow(line) << "loggerctl "_s + QString::fromLatin1(line) << usualBreaks
                            << QString::fromLatin1(offered);
    };
    const auto withoutBreaks = [](const char *line, const char *offered) {
        QTest::addRow("%s, other word breaks", line) << "loggerctl "_s + QString::fromLatin1(line)
                                                     << otherBreaks << QString::fromLatin1(offered);
    };
    const QByteArray levels = "emerg err warning notice info debug";
    const QByteArray activities
        = "defence LoggerModule Platform qvxaudio qvxbtmgr qvxsipua SettingsManager sipmmi "
          "Telephony WebApp";
    const QByteArray general = "--json --color --timeout --help --version";
    row("",
        "level log trace redirect levels status check watch defence delete archive comment remote "
        "factory-reset help");
    row("lev", "level levels");
    row("logR", "");
    row("--json re", "redirect remote");
    row("--t", "--timeout");
    row("level --j", "--json");
    row("--color ", "auto always never");
    row("--color=a", "auto always");
    withoutBreaks("--color=a", "--color=auto --color=always");
    row("--timeout ", "");
    row("log ", activities);
    row("log qvxsipua -", "-n --lines -f --follow --grep " + general);
    row("log -n 20 qvxa", "qvxaudio");
    row("log -n ", "");
    row("log --grep x sip", "sipmmi");
    row("log qvxsipua ", "");
    row("trace Tele", "Telephony");
    row("trace qvxsipua ", levels);
    row("trace qvxsipua debug ", "");
    row("trace qvxsipua -", "--for -o --output --grep " + general);
    row("trace qvxsipua --for ", "30s 10m 1h");
    row("trace --for=1", "10m 1h");
    row("trace -o ", "");
    row("trace -o file qvxs", "qvxsipua");
    row("status ", "");
    row("check ", "");
    row("status -", general);
    row("factory-reset --y", "--yes");
    row("level ", activities + " all");
    row("--timeout 9 level qvx", "qvxaudio qvxbtmgr qvxsipua");
    row("level qvxsipua ", levels);
    row("level all in", "info init");
    row("level all r", "restore");
    row("level qvxsipua r", "");
    row("level qvxsipua debug ", "");
    row("redirect W", "WebApp");
    row("redirect WebApp ", "ram flash usertty udp tcp V24");
    row("redirect all i", "init");
    row("redirect WebApp udp 10.1.2.3 ", "514");
    row("redirect WebApp ram x ", "");
    row("levels ", "get set reset");
    row("levels set qvxs", "qvxsipua:");
    row("levels set qvxsipua:", levels);
    row("levels set a:err qvxsipua:de", "debug");
    withoutBreaks("levels set qvxsipua:de", "qvxsipua:debug");
    row("setSyslogLevels qvxsipua:err,sip", "err,sipmmi:");
    row("setSyslogLevels qvxsipua:err,sipmmi:w", "warning");
    withoutBreaks("setSyslogLevels qvxsipua:err,sipmmi:w", "qvxsipua:err,sipmmi:warning");
    row("defence 20 ", "read delete size");
    row("defence 20 delete --", "--yes --json --color --timeout --help --version");
    row("delete ", "flash");
    row("delete -y fl", "flash");
    row("levels set --n", "--no-wait");
    row("archive -", "-o --output " + general);
    row("comment sip", "sipmmi");
    row("logRemoteServer ", "true false");
    row("logRemoteServerProto ", "udp tcp");
    row("help arch", "archive");
    row("help set", "");
    row("help --a", "--all");
    row("watch ", "");
    row("watch --s", "--since-start");
    row("nothing ", "");
    row("level $(touch", "");
    row("level *", "");
}

void tst_Completion::offers()
{
    QFETCH(QString, line);
    QFETCH(QString, wordBreaks);
    QTEST(completions(line, wordBreaks), "offered");
}

void tst_Completion::inAShell()
{
    // The shell of ./phone.
    const QByteArray start = qgetenv("PHONE_PROJECT") + "/box/shellrc";
    Terminal terminal({"bash", "--rcfile", start, "-i"}, 200);
    // What is echoed has the quotes in it.
    terminal.type("PS1=re''ady'> '\r");
    QVERIFY2(terminal.waitFor("ready> "), terminal.output().constData());
    terminal.type("loggerctl le\t qvxs\tdeb\t; echo status=$?\r");
    QVERIFY2(terminal.waitFor("status=0"), terminal.output().constData());
    QVERIFY2(terminal.output().contains("Level debug for facility : qvxsipua OK"),
             terminal.output().constData());
    terminal.type("loggerctl levels set sipm\tinf\t; echo again=$?\r");
    QVERIFY2(terminal.waitFor("again=0"), terminal.output().constData());
    QVERIFY2(terminal.output().contains("loggerctl levels set sipmmi:info"),
             terminal.output().constData());
    terminal.type("exit\r");
    QCOMPARE(terminal.waitForEnd(), 0);
}

void tst_Completion::withoutService()
{
    Phone::stopBootedService();
    QCOMPARE(completions("loggerctl level "_s), "all"_s);
    QCOMPARE(completions("loggerctl comment "_s), QString());
    QCOMPARE(completions("loggerctl levels set "_s), QString());
}

QTEST_GUILESS_MAIN(tst_Completion)
#include "tst_completion.moc"
