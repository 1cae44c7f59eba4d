// What was answered with "Fast ..." is done, or said to be not done: when the service is asked to
// stop, and when no thread can be made any more.
// SPDX-License-Identifier: MIT
#include "support/configtext.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/phone.h"
#include "support/processes.h"

#include <QDBusArgument>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

#include <sys/resource.h>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool hasSanitizer = true;
#else
constexpr bool hasSanitizer = false;
#endif
constexpr int stopLimit = 20000; // ms
const QString log = QStringLiteral("/var/log/LoggerModule.log");
const QString releaseFile = QStringLiteral("/run/phone/setup.release");
const QString setLevels = QStringLiteral("setSyslogLevels");

QString message(const QDBusMessage &reply)
{
    return qdbus_cast<QVariantMap>(reply.arguments().value(0))
        .value(QStringLiteral("msg"))
        .toString();
}

QString setSyslogLevels(const QString &levels)
{
    return message(Phone::call(setLevels, {levels}));
}

/// What @p expression matches in the service's log, behind the first @p start bytes.
QStringList logged(const QString &expression, int start)
{
    QStringList found;
    const QString text = QString::fromUtf8(Phone::read(log).mid(start));
    QRegularExpressionMatchIterator matches = QRegularExpression(expression).globalMatch(text);
    while (matches.hasNext()) {
        found.append(matches.next().captured(0));
    }
    return found;
}

/// From now on @p service gets no more memory than it has, but for some that is too little for a
/// thread.
void takeRoomForThreads(const Phone::Service &service)
{
    const auto pid = static_cast<pid_t>(service.pid());
    const QString status
        = QString::fromUtf8(Phone::read(QStringLiteral("/proc/%1/status").arg(pid)));
    const QRegularExpression size(QStringLiteral("VmSize:\\s+([0-9]+) kB"));
    const rlim_t room = (size.match(status).captured(1).toULongLong() + 1536) * 1024;
    const rlimit limit {room, room};
    if (prlimit(pid, RLIMIT_AS, &limit, nullptr) != 0) {
        qFatal("cannot limit the service's memory");
    }
}

} // namespace

class tst_Jobs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void serviceWithoutThreadForJobsEnds();
    void jobsAreDoneWhenNoThreadCanBeMade();
    void manyJobsAreDoneFirst();
    void jobsPastTheLimitAreSaid();
};

void tst_Jobs::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
    Reloads::install();
}

void tst_Jobs::init()
{
    Phone::resetConfiguration();
    Reloads::reset();
    QFile::remove(releaseFile);
}

void tst_Jobs::serviceWithoutThreadForJobsEnds()
{
    if (hasSanitizer) {
        QSKIP("the sanitizers need threads of their own");
    }
    rlimit stack = {};
    getrlimit(RLIMIT_STACK, &stack);
    if (stack.rlim_max != RLIM_INFINITY) {
        QSKIP("stacks that are too large for the address space cannot be asked for");
    }
    const QString program = QStringLiteral("/run/phone/large-stacks");
    Phone::write(program,
                 "#!/bin/sh\nulimit -s 200000000000 && exec " + Phone::serviceProgram.toUtf8()
                     + '\n');
    Faults::setMode(program, 0755);
    Phone::Service service(QProcessEnvironment::systemEnvironment(), false, program);
    QCOMPARE(service.waitForEnd(), 1);
    QCOMPARE(service.output(),
             QByteArray("LoggerModule: no thread for background jobs: Resource temporarily "
                        "unavailable\n"));
    QVERIFY(QFile::remove(program));
}

void tst_Jobs::jobsAreDoneWhenNoThreadCanBeMade()
{
    if (hasSanitizer) {
        QSKIP("the sanitizers need memory of their own");
    }
    Phone::Service service;
    takeRoomForThreads(service);
    const QByteArray before = Phone::read(Phone::liveConfig);
    QCOMPARE(setSyslogLevels(QStringLiteral("qvxsipua:debug")),
             QStringLiteral("Fast set log levels OK"));
    QCOMPARE(setSyslogLevels(QStringLiteral("qvxsipua:info,sipmmi:debug")),
             QStringLiteral("Fast set log levels OK"));
    // Behind the jobs.
    QVERIFY(
        Phone::text(QStringLiteral("level")).startsWith(QStringLiteral("   ACTIVITY           ")));
    QCOMPARE(
        Phone::read(Phone::liveConfig),
        ConfigText::withLevel(ConfigText::withLevel(before, QStringLiteral("qvxsipua"), "info"),
                              QStringLiteral("sipmmi"), "debug"));

    // The set-up script needs none either, and is collected although nobody calls any more.
    const Faults::FakeSetUpScript script(Faults::fake(QStringLiteral("setup-slow")));
    Phone::write(Phone::facilityFile(QStringLiteral("qvxaudio")), "not valid\n");
    QCOMPARE(
        Phone::text(QStringLiteral("level"), {QStringLiteral("qvxaudio"), QStringLiteral("debug")}),
        QStringLiteral("One or more log config file corrupted -- file restored to predefined "
                       "value !OK"));
    QCOMPARE(Processes::childStates(service.pid()).size(), 1);
    Phone::write(releaseFile, "");
    QTRY_COMPARE(Processes::childStates(service.pid()), QByteArray());
    QCOMPARE(service.stop(), 0);
}

void tst_Jobs::manyJobsAreDoneFirst()
{
    constexpr int count = 200;
    const QByteArray before = Phone::read(Phone::liveConfig);
    const int logStart = Phone::read(log).size();
    const QStringList levels {QStringLiteral("debug"), QStringLiteral("info")};
    Phone::Service service;
    for (int number = 0; number < count; ++number) {
        QCOMPARE(setSyslogLevels(QStringLiteral("qvxsipua:") + levels.at(number % 2)),
                 QStringLiteral("Fast set log levels OK"));
    }
    ::kill(static_cast<pid_t>(service.pid()), SIGTERM);
    QCOMPARE(service.waitForEnd(stopLimit + 20000), 0);

    const int done = Reloads::count();
    QVERIFY(done > 0);
    QTRY_COMPARE(logged(QStringLiteral("setSyslogLevels: the service stops, items not done: 1 of "
                                       "1\\n"),
                        logStart)
                     .size(),
                 count - done);
    QCOMPARE(Phone::read(Phone::liveConfig),
             ConfigText::withLevel(before, QStringLiteral("qvxsipua"),
                                   levels.at((done - 1) % 2).toUtf8()));
}

void tst_Jobs::jobsPastTheLimitAreSaid()
{
    constexpr int count = 20000;
    const QByteArray before = Phone::read(Phone::liveConfig);
    const int logStart = Phone::read(log).size();
    const QStringList levels {QStringLiteral("debug"), QStringLiteral("info")};
    QString text;
    for (int number = 0; number < count; ++number) {
        text += QStringLiteral("qvxsipua:") + levels.at(number % 2) + QLatin1Char(',');
    }
    Phone::Service service;
    QCOMPARE(setSyslogLevels(text), QStringLiteral("Fast set log levels OK"));
    QCOMPARE(message(Phone::call(QStringLiteral("resetSyslogLevelsToErr"))),
             QStringLiteral("Fast set all log levels to error OK"));
    QCOMPARE(setSyslogLevels(QStringLiteral("{Telephony:info,sipmmi:info,,Platform-info}")),
             QStringLiteral("Fast set log levels OK"));
    QTRY_VERIFY(Reloads::count() > 0);
    ::kill(static_cast<pid_t>(service.pid()), SIGTERM);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(service.waitForEnd(stopLimit + 20000), 0);
    QVERIFY2(clock.elapsed() >= stopLimit, QByteArray::number(clock.elapsed()).constData());

    // The item that was under way is done, with all that belongs to it.
    const int done = Reloads::count();
    const QByteArray last = levels.at((done - 1) % 2).toUtf8();
    QCOMPARE(Phone::read(Phone::liveConfig),
             ConfigText::withLevel(before, QStringLiteral("qvxsipua"), last));
    QVERIFY(Phone::read(Phone::facilityFile(QStringLiteral("qvxsipua")))
                .startsWith(last == "debug" ? "7\n" : "6\n"));
    const QStringList lines {
        QStringLiteral("setSyslogLevels: the service stops, items not done: %1 of %2")
            .arg(count - done)
            .arg(count),
        QStringLiteral("resetSyslogLevelsToErr: the service stops, not done"),
        QStringLiteral("setSyslogLevels: the service stops, items not done: 3 of 3"),
    };
    QTRY_COMPARE(logged(QStringLiteral("(?m)[a-zA-Z]+: the service stops, .*$"), logStart), lines);
}

QTEST_GUILESS_MAIN(tst_Jobs)
#include "tst_jobs.moc"
