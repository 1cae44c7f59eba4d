// What was answered with "Fast ..." is done, or said to be not done: when the service is asked to
// stop, and when no thread can be made any more.
// SPDX-License-Identifier: MIT
#include "support/bulk.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/heldcheck.h"
#include "support/phone.h"
#include "support/processes.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <csignal>

#include <sys/resource.h>

namespace {

using Bulk::resetStarted;
using Bulk::setStarted;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool hasSanitizer = true;
#else
constexpr bool hasSanitizer = false;
#endif
constexpr int stopLimit = 20000; // ms
const QString log = "/var/log/LoggerModule.log"_s;
const QString releaseFile = "/run/phone/setup.release"_s;

QVariantMap setSyslogLevels(const QString &levels)
{
    return Bulk::map(Bulk::setLevels, {levels});
}

QVariantMap resetSyslogLevels()
{
    return Bulk::map(Bulk::resetLevels);
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
    const QString status = QString::fromUtf8(Phone::read("/proc/%1/status"_s.arg(pid)));
    const QRegularExpression size("VmSize:\\s+([0-9]+) kB"_s);
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
    void queuedJobsAreDoneFirst();
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
    const QString program = "/run/phone/large-stacks"_s;
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
    QCOMPARE(setSyslogLevels("qvxsipua:debug"_s), setStarted);
    QCOMPARE(setSyslogLevels("qvxsipua:info,sipmmi:debug"_s), setStarted);
    // Behind the jobs.
    QVERIFY(Phone::text("level"_s).startsWith("   ACTIVITY           "_s));
    QCOMPARE(Phone::read(Phone::liveConfig),
             Bulk::withLevels(before, {{"qvxsipua"_s, "info"_s}, {"sipmmi"_s, "debug"_s}}));

    // The set-up script needs none either, and is collected although nobody calls any more.
    const Faults::FakeSetUpScript script(Faults::fake("setup-slow"_s));
    Phone::write(Phone::facilityFile("qvxaudio"_s), "not valid\n");
    QCOMPARE(Phone::text("level"_s, {"qvxaudio"_s, "debug"_s}),
             "One or more log config file corrupted -- file restored to predefined value !OK"_s);
    QCOMPARE(Processes::childStates(service.pid()).size(), 1);
    Phone::write(releaseFile, "");
    QTRY_COMPARE(Processes::childStates(service.pid()), QByteArray());
    QCOMPARE(service.stop(), 0);
}

void tst_Jobs::queuedJobsAreDoneFirst()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    LevelEvents events;
    Phone::Service service;
    {
        const HeldCheck check;
        QCOMPARE(setSyslogLevels("qvxsipua:debug,Telephony:info"_s), setStarted);
        QVERIFY(check.waitForStart());
        QCOMPARE(setSyslogLevels("sipmmi:notice"_s), setStarted);
        QCOMPARE(resetSyslogLevels(), resetStarted);
        QCOMPARE(setSyslogLevels("qvxaudio:warning,qvxsipua:info"_s), setStarted);
        QCOMPARE(setSyslogLevels("qvxaudio:debug,Platform:info"_s), setStarted);
        ::kill(static_cast<pid_t>(service.pid()), SIGTERM);
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        check.release();
        QCOMPARE(service.waitForEnd(), 0);
    }
    const Bulk::Levels levels {
        {"qvxsipua"_s, "info"_s}, {"qvxaudio"_s, "debug"_s}, {"Platform"_s, "info"_s}};
    QCOMPARE(Phone::read(Phone::liveConfig), Bulk::withLevels(before, levels));
    QCOMPARE(Bulk::facilityLevels(), Bulk::facilityLevels(levels));
    QCOMPARE(Reloads::count(), 8);
    QTRY_COMPARE(Bulk::texts(events),
                 QStringList({"qvxsipua 7"_s, "Telephony 6"_s, "sipmmi 5"_s, "all 3"_s,
                              "qvxaudio 4"_s, "qvxsipua 6"_s, "qvxaudio 7"_s, "Platform 6"_s}));
}

void tst_Jobs::jobsPastTheLimitAreSaid()
{
    constexpr int count = 20000;
    const QByteArray before = Phone::read(Phone::liveConfig);
    const int logStart = Phone::read(log).size();
    const QStringList levels {"debug"_s, "info"_s};
    QString text;
    for (int number = 0; number < count; ++number) {
        text += "qvxsipua:"_s + levels.at(number % 2) + QLatin1Char(',');
    }
    Phone::Service service;
    QCOMPARE(setSyslogLevels(text), setStarted);
    QCOMPARE(resetSyslogLevels(), resetStarted);
    QCOMPARE(setSyslogLevels("{Telephony:info,sipmmi:info,,Platform-info}"_s), setStarted);
    QTRY_VERIFY(Reloads::count() > 0);
    ::kill(static_cast<pid_t>(service.pid()), SIGTERM);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(service.waitForEnd(stopLimit + 20000), 0);
    QVERIFY2(clock.elapsed() >= stopLimit, QByteArray::number(clock.elapsed()).constData());

    // The item that was under way is done, with all that belongs to it.
    const int done = Reloads::count();
    const QByteArray last = levels.at((done - 1) % 2).toUtf8();
    QCOMPARE(Phone::read(Phone::liveConfig), ConfigText::withLevel(before, "qvxsipua"_s, last));
    QVERIFY(
        Phone::read(Phone::facilityFile("qvxsipua"_s)).startsWith(last == "debug" ? "7\n" : "6\n"));
    const QStringList lines {
        "setSyslogLevels: the service stops, items not done: %1 of %2"_s.arg(count - done)
            .arg(count),
        "resetSyslogLevelsToErr: the service stops, not done"_s,
        "setSyslogLevels: the service stops, items not done: 3 of 3"_s,
    };
    QTRY_COMPARE(logged("(?m)[a-zA-Z]+: the service stops, .*$"_s, logStart), lines);
}

QTEST_GUILESS_MAIN(tst_Jobs)
#include "tst_jobs.moc"
