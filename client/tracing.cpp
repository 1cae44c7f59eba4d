// Starts keepers, and does their work where one was killed.
// SPDX-License-Identifier: MIT
#include "tracing.h"

#include "answers.h"
#include "changes.h"

#include <unistd.h>

void TraceKeeper::begin(const QString &activity, const QString &level, int seconds, bool alone)
{
    if (alone) {
        setStandardErrorFile(QProcess::nullDevice()); // nobody's, when the starting process is gone
    } else {
        setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    start(QStringLiteral(TRACEKEEPER_PATH),
          QStringList {activity, level, QString::number(seconds)}
              + (alone ? QStringList {QStringLiteral("alone")} : QStringList()));
}

void TraceKeeper::abandon()
{
    closeWriteChannel();
    // A QProcess kills its child on destruction, unless it does not know that it runs.
    setProcessState(QProcess::NotRunning);
}

void TraceKeeper::setupChildProcess()
{
    setsid();
}

PutBack putBack(const Caller &caller, const TraceNote &note)
{
    const Listing listing = listActivities(caller);
    if (listing.reply.error.isValid()) {
        return {PutBack::Outcome::Unanswered, listing.reply.error.name()};
    }
    const ActivityRow *const row = findActivity(listing.rows, note.activity);
    if (row == nullptr) {
        // Without a table nobody knows; without a row there is nothing to put back.
        return listing.valid ? PutBack {PutBack::Outcome::LeftAlone, QStringLiteral("none")}
                             : PutBack {PutBack::Outcome::Refused, listing.reply.answer.toString()};
    }
    if (row->level != note.level) {
        return {PutBack::Outcome::LeftAlone, row->level};
    }
    if (note.former == note.level) {
        return {PutBack::Outcome::Done, note.former};
    }
    const Request request {Operation::ChangeLevel, {note.activity, note.former}, 0};
    const Reply reply = caller.ask(request);
    if (reply.error.isValid()) {
        return {PutBack::Outcome::Unanswered, reply.error.name()};
    }
    const QString text = reply.answer.toString();
    return isSuccess(request, text) ? PutBack {PutBack::Outcome::Done, note.former}
                                    : PutBack {PutBack::Outcome::Refused, text};
}

QList<SettledTrace> settleTraces(const Caller &caller)
{
    QList<SettledTrace> settled;
    const QStringList activities = notedActivities();
    for (const QString &activity : activities) {
        NoteFile file;
        QString problem;
        if (file.take(activity, false, &problem) != NoteFile::Access::Held) {
            continue;
        }
        const std::optional<TraceNote> note = file.read();
        if (!note || note->activity != activity) {
            file.remove(); // it was not finished, so it promises nothing
            continue;
        }
        const PutBack result = putBack(caller, *note);
        if (result.isOver()) {
            file.remove();
        }
        settled.append({*note, result});
    }
    return settled;
}
