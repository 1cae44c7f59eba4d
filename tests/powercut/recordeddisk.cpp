// Serves one file over the FUSE protocol and notes what is written to it.
// SPDX-License-Identifier: MIT
#include "recordeddisk.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/fuse.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

// Numbers of fixed devices: the kernel's Documentation/admin-guide/devices.txt.
constexpr unsigned int fuseMajor = 10;
constexpr unsigned int fuseMinor = 229;

constexpr quint64 rootNode = FUSE_ROOT_ID;
constexpr quint64 diskNode = 2;
constexpr const char *diskName = "disk";
constexpr quint64 validity = 1000000; // s; nobody else changes anything
constexpr quint32 largestWrite = 128 * 1024;

template<typename T>
const T *body(const char *request)
{
    return reinterpret_cast<const T *>(request + sizeof(fuse_in_header));
}

template<typename T>
QByteArray bytesOf(const T &structure)
{
    return QByteArray(reinterpret_cast<const char *>(&structure), sizeof(structure));
}

fuse_attr attributes(quint64 node, qint64 size)
{
    fuse_attr attr = {};
    attr.ino = node;
    attr.mode = node == rootNode ? S_IFDIR | 0700 : S_IFREG | 0600;
    attr.nlink = 1;
    attr.size = node == rootNode ? 0 : static_cast<quint64>(size);
    attr.blksize = 4096;
    return attr;
}

} // namespace

RecordedDisk::RecordedDisk(QByteArray image, const QString &directory)
    : m_directory(directory), m_content(std::move(image))
{
    // The phone's /dev has only what programs of a phone use.
    const QByteArray device = QFile::encodeName(directory + QStringLiteral(".fuse"));
    const QByteArray point = QFile::encodeName(directory);
    if (!QDir().mkpath(directory)
        || mknod(device.constData(), S_IFCHR | 0600, makedev(fuseMajor, fuseMinor)) != 0) {
        m_error = QStringLiteral("no node for the FUSE device: ") + qt_error_string();
        return;
    }
    m_fuse = open(device.constData(), O_RDWR | O_CLOEXEC);
    if (m_fuse < 0) {
        m_error = QStringLiteral("the FUSE device cannot be opened: ") + qt_error_string();
    }
    QFile::remove(QFile::decodeName(device));
    if (m_fuse < 0) {
        return;
    }
    const QByteArray options
        = "fd=" + QByteArray::number(m_fuse) + ",rootmode=40000,user_id=0,group_id=0,allow_other";
    if (mount("disk", point.constData(), "fuse", MS_NOSUID | MS_NODEV, options.constData()) != 0) {
        m_error = QStringLiteral("FUSE cannot be mounted: ") + qt_error_string();
        return;
    }
    m_thread = std::thread(&RecordedDisk::serve, this);
}

RecordedDisk::~RecordedDisk()
{
    if (m_thread.joinable()) {
        umount2(QFile::encodeName(m_directory).constData(), MNT_DETACH);
        m_thread.join();
    }
    if (m_fuse >= 0) {
        close(m_fuse);
    }
}

QString RecordedDisk::path() const
{
    return m_directory + QLatin1Char('/') + QLatin1String(diskName);
}

int RecordedDisk::now() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(m_events.size());
}

int RecordedDisk::flushes() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(std::count_if(m_events.cbegin(), m_events.cend(),
                                          [](const DiskEvent &event) { return event.isFlush(); }));
}

std::vector<DiskEvent> RecordedDisk::events() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_events;
}

void RecordedDisk::serve()
{
    std::vector<char> request(largestWrite + 4096);
    for (;;) {
        const ssize_t size = read(m_fuse, request.data(), request.size());
        if (size < 0 && (errno == EINTR || errno == EAGAIN || errno == ENOENT)) {
            continue; // ENOENT: the request was taken back
        }
        if (size < static_cast<ssize_t>(sizeof(fuse_in_header))) {
            return; // ENODEV: unmounted, and nobody has the disk open any more
        }
        QByteArray reply;
        const int error = answer(request.data(), &reply);
        if (error == noReply) {
            continue;
        }
        fuse_out_header header = {};
        header.len = static_cast<quint32>(sizeof(header) + static_cast<size_t>(reply.size()));
        header.error = error;
        header.unique = reinterpret_cast<const fuse_in_header *>(request.data())->unique;
        reply.prepend(bytesOf(header));
        while (::write(m_fuse, reply.constData(), static_cast<size_t>(reply.size())) < 0
               && errno == EINTR) { }
    }
}

int RecordedDisk::answer(const char *request, QByteArray *reply)
{
    const auto *const header = reinterpret_cast<const fuse_in_header *>(request);
    switch (header->opcode) {
    case FUSE_INIT: {
        fuse_init_out out = {};
        out.major = FUSE_KERNEL_VERSION;
        out.minor = qMin<quint32>(body<fuse_init_in>(request)->minor, FUSE_KERNEL_MINOR_VERSION);
        out.flags = FUSE_BIG_WRITES;
        out.max_write = largestWrite;
        out.max_background = 16;
        out.congestion_threshold = 12;
        *reply = bytesOf(out);
        return 0;
    }
    case FUSE_LOOKUP: {
        if (std::strcmp(body<char>(request), diskName) != 0) {
            return -ENOENT;
        }
        fuse_entry_out out = {};
        out.nodeid = diskNode;
        out.entry_valid = validity;
        out.attr_valid = validity;
        out.attr = attributes(diskNode, m_content.size());
        *reply = bytesOf(out);
        return 0;
    }
    case FUSE_GETATTR: {
        fuse_attr_out out = {};
        out.attr_valid = validity;
        out.attr = attributes(header->nodeid, m_content.size());
        *reply = bytesOf(out);
        return 0;
    }
    case FUSE_OPEN: {
        fuse_open_out out = {};
        out.open_flags = FOPEN_KEEP_CACHE;
        *reply = bytesOf(out);
        return 0;
    }
    case FUSE_READ: {
        const auto *const in = body<fuse_read_in>(request);
        const std::lock_guard<std::mutex> lock(m_mutex);
        *reply = m_content.mid(static_cast<int>(in->offset), static_cast<int>(in->size));
        return 0;
    }
    case FUSE_WRITE: {
        const auto *const in = body<fuse_write_in>(request);
        write(static_cast<qint64>(in->offset),
              QByteArray(reinterpret_cast<const char *>(in + 1), static_cast<int>(in->size)));
        fuse_write_out out = {};
        out.size = in->size;
        *reply = bytesOf(out);
        return 0;
    }
    case FUSE_FSYNC: {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_events.push_back({});
        return 0;
    }
    case FUSE_FLUSH: // of every close(2)
    case FUSE_RELEASE:
        return 0;
    case FUSE_FORGET:
    case FUSE_BATCH_FORGET:
    case FUSE_INTERRUPT:
        return noReply;
    default:
        return -ENOSYS;
    }
}

void RecordedDisk::write(qint64 offset, const QByteArray &bytes)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_content.replace(static_cast<int>(offset), bytes.size(), bytes);
    m_events.push_back({offset, bytes});
}
