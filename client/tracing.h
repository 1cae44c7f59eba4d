// Traces: a level that is raised for a while and put back by a process that outlives whoever asked
// for it.
// SPDX-License-Identifier: MIT
#pragma once

#include "service.h"
#include "tracenote.h"

#include <QList>
#include <QProcess>
#include <QString>
#include <QStringList>

/// What the keeper of a trace reports, a line each: the word, a blank, and the text behind it.
namespace TraceReport {
const QByteArray Busy = "busy"; ///< another trace; text: its note. The keeper ends
const QByteArray Refused = "refused"; ///< text: the reason. The keeper ends
const QByteArray Unnoted = "unnoted"; ///< no note can be left; text: the reason
const QByteArray Begun = "begun"; ///< the level is raised; text: the former level
const QByteArray Over = "over"; ///< the time is over
const QByteArray Back = "back"; ///< text: the level that was put back. The keeper ends
const QByteArray Left
    = "left"; ///< somebody has changed the level; text: that level. The keeper ends
const QByteArray Failed = "failed"; ///< it could not be put back; text: the reason. The keeper ends
} // namespace TraceReport

/**
 * The keeper of a trace, a process in a session of its own that the signals of a terminal do not
 * reach. It raises the level, and puts it back when the time is over, at SIGTERM, or when its
 * standard input is closed, which happens as well when the starting process dies. It reports on
 * its standard output. While the service is away it waits for it, for up to ten minutes.
 */
class TraceKeeper : public QProcess
{
    Q_OBJECT

public:
    /// Starts the keeper of a trace of @p activity at @p level for @p seconds. With @p alone it
    /// does not end with the starting process.
    void begin(const QString &activity, const QString &level, int seconds, bool alone = false);

    /// Lets it go on alone, when this object goes: a process that is still running is not killed.
    void abandon();

protected:
    void setupChildProcess() override;
};

/// What became of putting a level back.
struct PutBack
{
    enum class Outcome {
        Done, ///< it is at its former level
        LeftAlone, ///< somebody has changed it meanwhile, so it stays
        Refused, ///< the service says no
        Unanswered, ///< the service cannot be asked now
    };

    Outcome outcome = Outcome::Unanswered;
    QString text; ///< the level it has now, or the reason

    /// Whether nothing is left to do.
    bool isOver() const { return outcome == Outcome::Done || outcome == Outcome::LeftAlone; }
};

/// Puts the level of @p note back if it still is the trace's.
PutBack putBack(const Caller &caller, const TraceNote &note);

/// One trace that was left behind, and what became of its level.
struct SettledTrace
{
    TraceNote note;
    PutBack result;
};

/// Ends the traces that were left behind: puts their levels back, and removes the notes of those
/// for which that is done.
QList<SettledTrace> settleTraces(const Caller &caller);
