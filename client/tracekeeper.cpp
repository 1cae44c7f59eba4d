// tracekeeper ACTIVITY LEVEL SECONDS [alone]: raises a level for a while. What it waits for, and
// what it reports, is in tracing.h. Not for people: loggerctl trace starts it.
// SPDX-License-Identifier: MIT
#include "answers.h"
#include "changes.h"
#include "tracing.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTextCodec>
#include <QTimer>

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int callTimeout = 120000; // ms
constexpr qint64 longestWait = 600000; // ms for the service to come back
constexpr int retryAfter = 1000; // ms

/// Nobody may be listening any more.
void report(const QByteArray &word, const QString &text = QString())
{
    const QByteArray line = word + ' ' + text.toUtf8().replace('\n', ' ') + '\n';
    [[maybe_unused]] const ssize_t written
        = write(STDOUT_FILENO, line.constData(), static_cast<size_t>(line.size()));
}

int stopSignals()
{
    sigset_t stops;
    sigemptyset(&stops);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&stops, number);
    }
    pthread_sigmask(SIG_BLOCK, &stops, nullptr);
    return signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// Waits until the time is over, a signal says so, or, unless it is @p alone, the starting process
/// is gone.
void waitForEnd(int seconds, bool alone, int signalDescriptor)
{
    QEventLoop loop;
    QSocketNotifier stop(signalDescriptor, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    QSocketNotifier lifeline(STDIN_FILENO, QSocketNotifier::Read);
    lifeline.setEnabled(!alone);
    QObject::connect(&lifeline, &QSocketNotifier::activated, &loop, [&loop] {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) <= 0) {
            loop.quit();
        }
    });
    QTimer::singleShot(seconds * 1000, Qt::PreciseTimer, &loop, [&loop] {
        report(TraceReport::Over);
        loop.quit();
    });
    loop.exec();
}

/// Puts the level back, however long the service is away within reason.
PutBack end(const Caller &caller, const TraceNote &note)
{
    QElapsedTimer time;
    time.start();
    for (;;) {
        PutBack result = putBack(caller, note);
        if (result.outcome != PutBack::Outcome::Unanswered || !caller.bus.isConnected()
            || time.hasExpired(longestWait)) {
            return result;
        }
        QEventLoop pause;
        QTimer::singleShot(retryAfter, &pause, &QEventLoop::quit);
        pause.exec();
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const int signalDescriptor = stopSignals(); // before any thread: threads inherit it
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const bool alone = arguments.value(4) == QLatin1String("alone");
    if (arguments.size() != (alone ? 5 : 4)) {
        return 2;
    }
    const Caller caller {QDBusConnection::systemBus(), callTimeout, nullptr, nullptr};
    TraceNote note {arguments.at(1),
                    arguments.at(2),
                    QString(),
                    noteUser(),
                    0,
                    QCoreApplication::applicationPid()};
    const int seconds = arguments.at(3).toInt();

    NoteFile file;
    QString problem;
    const NoteFile::Access access = file.take(note.activity, true, &problem);
    if (access == NoteFile::Access::HeldByOther) {
        report(TraceReport::Busy,
               QString::fromUtf8(noteText(traceNote(note.activity).value_or(TraceNote()))));
        return 1;
    }
    const bool held = access == NoteFile::Access::Held;
    if (held && file.read()) {
        // Written over, it could not be honoured any more.
        report(TraceReport::Refused,
               QStringLiteral("a trace before this one was cut short, and its level could not be "
                              "put back"));
        return 1;
    }
    const auto removeNote = [&file, held] {
        if (held) {
            file.remove();
        }
    };
    const auto refuse = [&removeNote](const QString &reason) {
        removeNote();
        report(TraceReport::Refused, reason);
        return 1;
    };

    const Listing listing = listActivities(caller);
    if (!listing.valid) {
        return refuse(listing.reply.error.isValid() ? listing.reply.error.name()
                                                    : listing.reply.answer.toString());
    }
    const ActivityRow *const row = findActivity(listing.rows, note.activity);
    if (row == nullptr) {
        return refuse(QStringLiteral("there is no such activity"));
    }
    note.former = row->level;
    note.until = QDateTime::currentMSecsSinceEpoch() + qint64(seconds) * 1000;
    if (!held || !file.write(note)) {
        report(TraceReport::Unnoted, held ? qt_error_string() : problem);
    }
    if (row->level != note.level) {
        const Request request {Operation::ChangeLevel, {note.activity, note.level}, 0};
        const Reply reply = caller.ask(request);
        if (reply.error.isValid()) {
            // Nobody knows whether it was raised.
            if (end(caller, note).isOver()) {
                removeNote();
            }
            report(TraceReport::Refused, reply.error.name());
            return 1;
        }
        if (!isSuccess(request, reply.answer.toString())) {
            return refuse(reply.answer.toString());
        }
    }
    report(TraceReport::Begun, note.former);
    waitForEnd(seconds, alone, signalDescriptor);
    const PutBack result = end(caller, note);
    if (!result.isOver()) {
        report(TraceReport::Failed, result.text);
        return 1;
    }
    removeNote();
    report(result.outcome == PutBack::Outcome::Done ? TraceReport::Back : TraceReport::Left,
           result.text);
    return 0;
}
