// Looks at what a power cut has left, and counts.
// SPDX-License-Identifier: MIT
#pragma once

#include "recording.h"

#include <QSet>

/// A cut of the power: when, and with what kind of disk.
struct Cut
{
    enum Kind { RightAfterTheAnswer, OnceTheKernelHasWritten, AtAnyMoment };

    Kind kind = AtAnyMoment;
    int moment = 0;
    int step = 0; ///< the last that had been asked for
    Unflushed unflushed = Unflushed::Lost;
};

/// What is wrong with files of one sort.
struct Losses
{
    int missing = 0;
    int bad = 0; ///< empty, not whole, or refused by syslog-ng
    int outdated = 0; ///< whole, but a change of it that was answered is lost
};

/// What was counted of the cuts of one kind.
struct Tally
{
    int copies = 0;
    int unmountable = 0;
    Losses live;
    Losses backup;
    Losses facilityFiles;
    Losses defenceLog;
    int defenceLines = 0; ///< lines that are lost and nobody asked to delete
    int halfCut = 0; ///< defence logs with all lines that are kept, and rests behind them
    int boots = 0;
    int bootsFailed = 0;
    int leftovers = 0; ///< the most files that stood beside the service's
    int careless = 0; ///< copies in which the file is lost that was not synced, for comparison

    /// Whether something is lost that must not be.
    bool isBad() const;
};

/// Judges copies of the disk.
class Judge
{
public:
    explicit Judge(const Recording &recording) : m_recording(recording) { }

    /// Looks at the copy of @p cut, mounted at @p root. @return what is wrong with it, in words
    QStringList look(const Cut &cut, const QString &root, Tally *tally);

private:
    enum class Verdict { Good, HalfCut, Missing, Bad, Outdated };

    Verdict judge(const QString &path, const Changes::Files &found, const Cut &cut);
    bool isAccepted(const QByteArray &text);

    const Recording &m_recording;
    QSet<QByteArray> m_accepted;
};
