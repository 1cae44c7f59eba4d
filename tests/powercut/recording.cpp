// Makes changes while the disk is recorded; rebuilds the disk from the record.
// SPDX-License-Identifier: MIT
#include "recording.h"

#include <QTest>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Every so many changes, the kernel's own writing is waited for.
constexpr std::size_t settleInterval = 8;
constexpr int settleDeadline = 30000; // ms
/// What a disk writes whole or not at all.
constexpr int blockSize = 4096;

/// Waits until the kernel has committed its journal by itself: a flush before the commit block and
/// one behind it.
void waitForCommit(const RecordedDisk &disk)
{
    const int begin = disk.flushes();
    Changes::writeCarelessly(carelessFile + QStringLiteral(".new"), {}); // something to commit
    if (!QTest::qWaitFor([&] { return disk.flushes() >= begin + 2; }, settleDeadline)) {
        qFatal("the kernel does not write by itself");
    }
}

void write(QByteArray &disk, qint64 offset, const QByteArray &bytes)
{
    disk.replace(int(offset), bytes.size(), bytes);
}

void syncDisk()
{
    const int directory = open("/data", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0 || syncfs(directory) != 0) {
        qFatal("the disk cannot be synced");
    }
    close(directory);
}

} // namespace

Recording record(const RecordedDisk &disk, const QByteArray &initial, int count,
                 QRandomGenerator &random)
{
    Recording recording;
    recording.disk = initial;
    syncDisk();
    Changes::Files files = Changes::read();
    for (int kind = 0; kind < Changes::kinds() || int(recording.steps.size()) < count; ++kind) {
        for (const Changes::Change &change : Changes::some(kind % Changes::kinds(), random)) {
            Step step;
            step.name = change.name;
            step.before = files;
            step.careless = "before step " + QByteArray::number(int(recording.steps.size())) + '\n';
            step.asked = disk.now();
            Changes::writeCarelessly(carelessFile, step.careless);
            change.make();
            step.answered = disk.now();
            files = Changes::read();
            step.after = files;
            if (recording.steps.size() % settleInterval == 0) {
                waitForCommit(disk);
                step.settled = disk.now();
            }
            recording.steps.push_back(step);
        }
    }
    syncDisk();
    recording.events = disk.events();
    return recording;
}

PowerCuts::PowerCuts(const Recording &recording) : m_recording(recording), m_flushed(recording.disk)
{
}

QByteArray PowerCuts::diskAfter(int moment, Unflushed unflushed, QRandomGenerator &random)
{
    const auto &events = m_recording.events;
    int flush = moment;
    while (flush > m_next && !events[std::size_t(flush - 1)].isFlush()) {
        --flush;
    }
    for (; m_next < flush; ++m_next) {
        const DiskEvent &written = events[std::size_t(m_next)];
        write(m_flushed, written.offset, written.bytes);
    }
    QByteArray disk = m_flushed;
    for (int event = m_next; event < moment && unflushed != Unflushed::Lost; ++event) {
        const DiskEvent &written = m_recording.events[std::size_t(event)];
        for (int block = 0; block < written.bytes.size(); block += blockSize) {
            if (unflushed == Unflushed::Kept || random.bounded(2) == 1) {
                write(disk, written.offset + block, written.bytes.mid(block, blockSize));
            }
        }
    }
    return disk;
}
