// A level's event is with the bus before the facility file is touched: modules that read the file
// again when they are told find the old text or the new one, and know of the change in any case.
// SPDX-License-Identifier: MIT
#include "support/phone.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace {

const QString traceFile = QStringLiteral("/run/phone/trace");
const QString tracedService = QStringLiteral("/run/phone/traced-service");
constexpr int levelCalls = 40;
constexpr int bulkCalls = 10;

/// What a line of the trace says, as far as it matters here.
enum class Step { Event, Question, Answer, FileChange, Other };

Step stepOf(const QString &line)
{
    static const QRegularExpression change(
        QStringLiteral("\\b(creat|unlink|rename|link|symlink|mkdir|rmdir|mknod|truncate)[a-z0-9]*"
                       "\\(|\\bopen[a-z0-9]*\\(.*O_(WRONLY|RDWR|CREAT|TRUNC)"));
    if (line.contains(Phone::facilityDirectory.chopped(1))) {
        return change.match(line).hasMatch() ? Step::FileChange : Step::Other;
    }
    // The first bytes of a message are its byte order and its kind, as the D-Bus protocol has them:
    // 1 is a call, 2 an answer, 4 a signal.
    if (line.contains(QStringLiteral("recvmsg"))) {
        return line.contains(QStringLiteral("l\\2\\1\\1")) ? Step::Answer : Step::Other;
    }
    if (line.contains(QStringLiteral("\"l\\4\\1"))) {
        return line.contains(QStringLiteral("log_level_changed")) ? Step::Event : Step::Other;
    }
    const bool isQuestion = line.contains(QStringLiteral("\"l\\1\\"))
        && line.contains(QStringLiteral("/org/freedesktop/DBus"));
    return isQuestion ? Step::Question : Step::Other;
}

} // namespace

class tst_EventOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void busHasTheEventBeforeAFileChanges();
};

void tst_EventOrder::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::resetConfiguration();
    // The tracer stands beside the service and not above it (-D), and stops it at these system
    // calls only.
    Phone::write(tracedService,
                 "#!/bin/sh\n"
                 "exec strace -D -f --seccomp-bpf -y -s 4096 -e trace=%file,sendmsg,recvmsg "
                 "-o "
                     + traceFile.toUtf8() + ' ' + Phone::serviceProgram.toUtf8() + '\n');
    QVERIFY(QFile::setPermissions(tracedService, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
}

void tst_EventOrder::busHasTheEventBeforeAFileChanges()
{
    const QString activity = QStringLiteral("qvxsipua");
    const QStringList levels {QStringLiteral("debug"), QStringLiteral("info")};
    {
        // One tracer is there already, so LeakSanitizer cannot look at the process as it does.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
        Phone::Service service(environment, true, tracedService);
        for (int call = 0; call < levelCalls; ++call) {
            const QString &level = levels.at(call % 2);
            QCOMPARE(Phone::text(QStringLiteral("level"), {activity, level}),
                     QStringLiteral("Level %1 for facility : qvxsipua OK").arg(level));
        }
        // The same from the thread of a job.
        for (int call = 0; call < bulkCalls; ++call) {
            Phone::call(QStringLiteral("setSyslogLevels"),
                        {QStringLiteral("{qvxsipua:%1}").arg(levels.at(call % 2))});
        }
        QCOMPARE(service.stop(), 0);
    }
    QVERIFY(Phone::waitForContent(traceFile, "+++ exited with 0 +++"));

    const QStringList lines = QString::fromLatin1(Phone::read(traceFile)).split(QLatin1Char('\n'));
    int events = 0;
    int changes = 0;
    QStringList tooEarly;
    Step last = Step::Other;
    for (const QString &line : lines) {
        const Step step = stepOf(line);
        switch (step) {
        case Step::Event:
            ++events;
            last = step;
            break;
        case Step::Question:
            last = last == Step::Event ? step : last;
            break;
        case Step::Answer:
            last = last == Step::Question ? step : last;
            break;
        case Step::FileChange:
            ++changes;
            if (last != Step::Answer) {
                tooEarly.append(line);
            }
            break;
        case Step::Other:
            break;
        }
    }
    QCOMPARE(events, levelCalls + bulkCalls);
    QVERIFY(changes >= levelCalls + bulkCalls);
    QVERIFY2(tooEarly.isEmpty(),
             qPrintable(QStringLiteral("%1 of %2 changes, the first: %3")
                            .arg(tooEarly.size())
                            .arg(changes)
                            .arg(tooEarly.value(0))));
}

QTEST_GUILESS_MAIN(tst_EventOrder)
#include "tst_eventorder.moc"
