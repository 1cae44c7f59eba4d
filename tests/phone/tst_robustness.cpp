// The running service when its surroundings are not as they should be: standard descriptors that
// are closed, an ignored signal, files that are none, a kill(1) that hangs.
// SPDX-License-Identifier: MIT
#include "support/configtext.h"
#include "support/facilities.h"
#include "support/faults.h"
#include "support/levels.h"
#include "support/literal.h"
#include "support/phone.h"
#include "support/processes.h"

#include <QDBusPendingReply>
#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <csignal>

#include <sys/stat.h>

namespace {

using ConfigText::withLevel;
using Levels::level;

constexpr int deadline = 30000; // ms
const QString activity = "qvxsipua"_s;
const QString accessError = "file configuration access error"_s;
const QByteArray broken = "this is no syslog-ng statement\n";

QString changed(const QString &levelName)
{
    return "Level "_s + levelName + " for facility : "_s + activity + " OK"_s;
}

/// A program that does what stands in the shell script @p text.
QString makeProgram(const QString &path, const QByteArray &text)
{
    QDir().mkpath(QFileInfo(path).path());
    Phone::write(path, "#!/bin/sh\n" + text + '\n');
    Faults::setMode(path, 0755);
    return path;
}

/// The service, started by the shell @p command in which "SERVICE" stands for its program.
class ShellService : public Phone::Service
{
public:
    explicit ShellService(QByteArray command)
        : Phone::Service(QProcessEnvironment::systemEnvironment(), true,
                         makeProgram("/run/phone/start-service"_s,
                                     command.replace("SERVICE", Phone::serviceProgram.toUtf8())))
    {
    }
};

} // namespace

class tst_Robustness : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void standardDescriptorsClosed_data();
    void standardDescriptorsClosed();
    void childSignalIgnored();
    void notARegularFile_data();
    void notARegularFile();
    void hangingKillIsEnded();
};

void tst_Robustness::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
}

void tst_Robustness::init()
{
    Phone::resetConfiguration();
}

void tst_Robustness::cleanup()
{
    QVERIFY(!Phone::isOnBus(Phone::serviceName));
}

void tst_Robustness::standardDescriptorsClosed_data()
{
    QTest::addColumn<QByteArray>("redirections");
    for (int closed = 0; closed < 8; ++closed) {
        QByteArray redirections;
        redirections += (closed & 1) != 0 ? " <&-" : "";
        redirections += (closed & 2) != 0 ? " >&-" : "";
        redirections += (closed & 4) != 0 ? " 2>&-" : "";
        QTest::addRow("closed:%s", redirections.isEmpty() ? " none" : redirections.constData())
            << redirections;
    }
}

void tst_Robustness::standardDescriptorsClosed()
{
    QFETCH(QByteArray, redirections);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const QByteArray facilityBefore = Phone::read(Phone::facilityFile(activity));
    ShellService service("exec SERVICE" + redirections);

    QCOMPARE(level(activity, "debug"_s), changed("debug"_s));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, activity, "debug"));
    QCOMPARE(Phone::read(Phone::facilityFile(activity)), Facilities::withLevel(facilityBefore, 7));

    // With programs that write something: a check that fails, and the set-up script.
    Phone::write(Phone::liveConfig, before + broken);
    QCOMPARE(level(activity, "info"_s), accessError);
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    Phone::write(Phone::facilityFile(activity), "not valid\n");
    const QString repaired = level(activity, "info"_s);
    QVERIFY2(!repaired.startsWith("D-Bus error"_s), qPrintable(repaired));
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QCOMPARE(Phone::read(Phone::backup), before);
    QCOMPARE(service.stop(), 0);
}

void tst_Robustness::childSignalIgnored()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    ShellService service("trap '' CHLD; exec SERVICE");
    QCOMPARE(level(activity, "debug"_s), changed("debug"_s));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, activity, "debug"));
    QCOMPARE(level("all"_s, "init"_s), "All levels changed to err value "_s);
    QCOMPARE(Phone::read(Phone::liveConfig), before);

    // A check that refuses is not taken for one that could not be waited for, or the other way.
    Phone::write(Phone::liveConfig, before + broken);
    QCOMPARE(level(activity, "info"_s), accessError);
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(service.stop(), 0);
}

void tst_Robustness::notARegularFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isFifo");
    const auto rows = [](const char *name, const QString &path) {
        QTest::addRow("%s is a FIFO", name) << path << true;
        QTest::addRow("%s is a directory", name) << path << false;
    };
    rows("pid file", Phone::pidFile);
    rows("live file", Phone::liveConfig);
    rows("backup", Phone::backup);
    rows("temporary file", Phone::temporary);
    rows("file in /tmp", "/tmp/logappli.conf.tmp"_s);
    rows("facility file", Phone::facilityFile(activity));
}

void tst_Robustness::notARegularFile()
{
    QFETCH(QString, path);
    QFETCH(bool, isFifo);
    const QByteArray saved = Phone::read(path);
    Phone::Service service;
    const QList<QVariantList> calls {{},
                                     {activity, "debug"_s},
                                     {"all"_s, "info"_s},
                                     {"all"_s, "restore"_s},
                                     {activity, "err"_s}};
    for (const QVariantList &arguments : calls) {
        // A call may have put something in order: each meets the same.
        Faults::removeAll(path);
        if (isFifo) {
            QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0644), 0);
        } else {
            Faults::makeDirectory(path);
        }
        const QDBusPendingReply<QString> reply = Phone::send("level"_s, arguments);
        if (!QTest::qWaitFor([&reply] { return reply.isFinished(); }, deadline)) {
            // Lets a service go that waits for the other end of the FIFO.
            ::kill(static_cast<pid_t>(service.pid()), SIGKILL);
            service.waitForEnd();
        }
        QVERIFY2(reply.isValid(), qPrintable(reply.error().name()));
        QVERIFY(!reply.value().isEmpty());
    }
    QCOMPARE(service.stop(), 0);
    Faults::removeAll(path);
    const QFileInfo file(path);
    // The set-up script has moved each directory aside.
    for (const QString &aside : file.dir().entryList({file.fileName() + ".bad*"_s}, QDir::Dirs)) {
        Faults::removeAll(file.dir().filePath(aside));
    }
    if (path == Phone::pidFile) {
        Phone::write(path, saved);
    }
}

void tst_Robustness::hangingKillIsEnded()
{
    const QString pidOfFake = "/run/phone/kill.pid"_s;
    const QString kill
        = makeProgram("/run/phone/fakes/kill"_s,
                      "trap '' TERM HUP INT\n"
                      "echo $$ >/run/phone/kill.tmp && mv /run/phone/kill.tmp /run/phone/kill.pid\n"
                      "exec sleep infinity");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("PATH"_s,
                       QFileInfo(kill).path() + QLatin1Char(':') + environment.value("PATH"_s));
    Phone::Service service(environment);
    QElapsedTimer clock;
    clock.start();
    const QString answer = level(activity, "debug"_s);
    const qint64 time = clock.elapsed();
    const auto pid = static_cast<pid_t>(Phone::read(pidOfFake).trimmed().toInt());
    QVERIFY(pid > 0);
    const bool isGone = ::kill(pid, 0) != 0;
    if (!isGone) {
        ::kill(pid, SIGKILL);
    }
    QVERIFY(isGone);
    QCOMPARE(answer, changed("debug"_s));
    QVERIFY2(time >= 29000 && time < 45000, QByteArray::number(time).constData());
    QCOMPARE(Processes::childStates(service.pid()), QByteArray());
    QCOMPARE(service.stop(), 0);
}

QTEST_GUILESS_MAIN(tst_Robustness)
#include "tst_robustness.moc"
