// A series of changes with all that the disk was told meanwhile, and the disk after a power cut at
// any moment of it.
// SPDX-License-Identifier: MIT
#pragma once

#include "changes.h"
#include "recordeddisk.h"

/// One change and the moments at which it was asked for and answered (RecordedDisk::now()).
struct Step
{
    QString name;
    Changes::Files before;
    Changes::Files after;
    int asked = 0;
    int answered = 0;
    /// When the kernel had written by itself what it writes soon, whatever nobody synced included;
    /// 0 where that was not waited for.
    int settled = 0;
    /// What was written to the careless file just before, for comparison.
    QByteArray careless;
};

struct Recording
{
    QByteArray disk; ///< as it was before the first event
    std::vector<DiskEvent> events;
    std::vector<Step> steps;
};

/// A file of nobody, below the root of the disk, that is written as one should not: if nothing ever
/// happens to it, the cuts are no test.
const QString carelessFile = QStringLiteral("/data/careless");

/// Makes changes of every kind, at least @p count, on the phone whose /data and /log are on @p
/// disk.
/// @param initial what the disk held at first
Recording record(const RecordedDisk &disk, const QByteArray &initial, int count,
                 QRandomGenerator &random);

/// What becomes of that which was written to the disk, but not flushed, when the power goes.
enum class Unflushed {
    Kept, ///< a disk without a cache of its own
    Lost, ///< all of it was in the cache
    PartlyLost, ///< the disk had begun to write it, block by block in an order of its own
};

/// Goes through a recording from its beginning to its end.
class PowerCuts
{
public:
    explicit PowerCuts(const Recording &recording);

    /// The disk after a cut at @p moment, which must not lie before that of the last call.
    QByteArray diskAfter(int moment, Unflushed unflushed, QRandomGenerator &random);

private:
    const Recording &m_recording;
    QByteArray m_flushed;
    int m_next = 0; ///< the first event that m_flushed has not
};
