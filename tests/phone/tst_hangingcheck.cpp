// A syntax check that never ends: it is ended with all it has started and counts as refused, and
// the service goes on.
// SPDX-License-Identifier: MIT
#include "support/configtext.h"
#include "support/faults.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/processes.h"
#include "support/testablemodule.h"

#include <QDBusPendingCall>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int timeOut = 30000; // ms
const QString platformFile = QStringLiteral("/etc/QVXApplication/platform.conf");
const QString programs = QStringLiteral("/run/phone/hanging/");
const QString unread = QStringLiteral("/run/phone/unread");
const QString asleepRecord = QStringLiteral("/run/phone/hang-asleep.record");
const QString writingRecord = QStringLiteral("/run/phone/hang-writing.record");
const QString activity = QStringLiteral("qvxsipua");

/// Puts @p program in the place of the service's syslog-ng.
void useForChecks(const QString &program)
{
    const QString place = programs + QStringLiteral("syslog-ng");
    QFile::remove(place);
    if (!QFile::link(program, place)) {
        qFatal("cannot make %s", qPrintable(place));
    }
}

/// A pipe with the name @p path in which whatever is written stays.
class UnreadPipe
{
public:
    explicit UnreadPipe(const QString &path) : m_path(QFile::encodeName(path))
    {
        if (mkfifo(m_path.constData(), 0600) != 0) {
            qFatal("cannot make a pipe");
        }
        m_descriptor = open(m_path.constData(), O_RDWR | O_CLOEXEC);
    }
    ~UnreadPipe()
    {
        close(m_descriptor);
        unlink(m_path.constData());
    }
    Q_DISABLE_COPY(UnreadPipe)

private:
    QByteArray m_path;
    int m_descriptor = -1;
};

} // namespace

class tst_HangingCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void countsAsRefused();
};

void tst_HangingCheck::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
    Phone::resetConfiguration();
    QVERIFY(QDir().mkpath(programs));
    QVERIFY(QDir().mkpath(QStringLiteral("/etc/QVXApplication")));
    Phone::write(platformFile, "[logger]\nsyslogExecutablePath=" + programs.toUtf8() + '\n');
}

void tst_HangingCheck::cleanupTestCase()
{
    QFile::remove(platformFile);
    QDir(programs).removeRecursively();
}

// Two that hang in two ways at the same time, because the time-out takes so long: one sleeps, in
// this process, the other one writes, in the service's.
void tst_HangingCheck::countsAsRefused()
{
    const UnreadPipe pipe(unread);
    const QString program = programs + QStringLiteral("service");
    Phone::write(program,
                 "#!/bin/sh\nexec " + Phone::serviceProgram.toUtf8() + " >" + unread.toUtf8()
                     + " 2>&1\n");
    Faults::setMode(program, 0755);
    Phone::Service service(QProcessEnvironment::systemEnvironment(), true, program);
    const QByteArray before = Phone::read(Phone::liveConfig);

    TestableModule module;
    const Faults::FakeSyslog asleep(Faults::fake(QStringLiteral("hang-asleep")));
    const LogCapture log;
    bool isAccepted = true;
    qint64 ownTime = 0;
    std::thread ownCheck([&] {
        QElapsedTimer clock;
        clock.start();
        isAccepted = module.checkTemporaryConfig();
        ownTime = clock.elapsed();
    });

    useForChecks(Faults::fake(QStringLiteral("hang-writing/syslog-ng")));
    QElapsedTimer clock;
    clock.start();
    const QDBusPendingCall change
        = Phone::send(QStringLiteral("level"), {activity, QStringLiteral("debug")});
    const bool hasBegun
        = QTest::qWaitFor([] { return !Phone::read(writingRecord).isEmpty(); }, timeOut / 2);
    const QDBusPendingCall behind
        = Phone::send(QStringLiteral("logComments"), {QString(), QString()});
    const QString answer = Phone::text(change);
    const qint64 time = clock.elapsed();
    const QString answerBehind = Phone::text(behind);
    ownCheck.join();
    useForChecks(QStringLiteral("/usr/sbin/syslog-ng"));

    QVERIFY(hasBegun);
    QCOMPARE(answer, QStringLiteral("file configuration access error"));
    QCOMPARE(answerBehind, QStringLiteral("OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QVERIFY(!isAccepted);
    QCOMPARE(Faults::logged(log), QStringList {QStringLiteral("7 File logappli.conf.tmp  NOT OK")});
    for (const qint64 taken : {time, ownTime}) {
        QVERIFY2(taken >= timeOut - 1000 && taken < timeOut + 15000,
                 QByteArray::number(taken).constData());
    }
    const QList<pid_t> pids
        = Processes::pids(Phone::read(asleepRecord)) + Processes::pids(Phone::read(writingRecord));
    QCOMPARE(pids.size(), 5);
    for (const pid_t pid : pids) {
        QTRY_VERIFY2(pid > 1 && !Processes::runs(pid), QByteArray::number(pid).constData());
    }
    QCOMPARE(Processes::childStates(service.pid()), QByteArray());

    QCOMPARE(Phone::text(Phone::send(QStringLiteral("level"), {activity, QStringLiteral("debug")})),
             QStringLiteral("Level debug for facility : qvxsipua OK"));
    QCOMPARE(Phone::read(Phone::liveConfig), ConfigText::withLevel(before, activity, "debug"));
    QCOMPARE(service.stop(), 0);
}

QTEST_GUILESS_MAIN(tst_HangingCheck)
#include "tst_hangingcheck.moc"
