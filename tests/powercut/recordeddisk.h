// A disk that remembers every write in its order, so that its state at any moment can be had later.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <mutex>
#include <thread>
#include <vector>

/// Something that the kernel did to the disk: bytes that it wrote, or, where there are none, a
/// flush that it waited for.
struct DiskEvent
{
    qint64 offset = 0;
    QByteArray bytes;

    bool isFlush() const { return bytes.isEmpty(); }
};

/**
 * The disk is a file in a file system that this process serves itself (fuse(4), protocol of
 * linux/fuse.h); a loop device makes a block device of it. Nothing is ever copied while it is
 * written to, so no state is torn, and none is missed because it was short.
 */
class RecordedDisk
{
public:
    /// A disk that holds @p image, as a file in the new directory @p directory.
    RecordedDisk(QByteArray image, const QString &directory);
    /// Ends serving it. No loop device may stand on it any more, or that one gets errors.
    ~RecordedDisk();
    Q_DISABLE_COPY(RecordedDisk)

    /// Why the disk could not be made; empty when it was.
    QString error() const { return m_error; }
    /// The file for a loop device.
    QString path() const;

    /// How many events there were. It is a moment: everything before it had happened by then.
    int now() const;
    /// How many of them were flushes.
    int flushes() const;
    std::vector<DiskEvent> events() const;

private:
    void serve();
    /// What the request in @p request is answered with, behind the header.
    /// @return the negative error number of the answer, 0 or noReply
    int answer(const char *request, QByteArray *reply);
    void write(qint64 offset, const QByteArray &bytes);

    static constexpr int noReply = 1;

    QString m_directory;
    QString m_error;
    int m_fuse = -1;
    std::thread m_thread;
    mutable std::mutex m_mutex; // guards the two below
    QByteArray m_content;
    std::vector<DiskEvent> m_events;
};
