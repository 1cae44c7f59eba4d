// Reads by position, and looks at the name's inode at each poll.
// SPDX-License-Identifier: MIT
#include "logfollower.h"

#include <QFileInfo>

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr qint64 block = 1 << 16;
constexpr int blocksPerPoll = 64; // then the reader prints what it has
constexpr int longestLine = 64 << 20; // bytes
constexpr qint64 longestQuiet = 5000; // ms; a reload of the daemon takes less

/// Whether the name @p path stands for the file that @p file has open.
bool isNameOf(const QString &path, const QFile &file)
{
    struct stat named = {};
    struct stat opened = {};
    return stat(QFile::encodeName(path).constData(), &named) == 0
        && fstat(file.handle(), &opened) == 0 && named.st_ino == opened.st_ino
        && named.st_dev == opened.st_dev;
}

} // namespace

std::unique_ptr<QFile> openLog(const QString &path, const QStringList &directories)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of open(2)
    const int descriptor
        = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        return nullptr;
    }
    // Where the name has led to by now, which no change of a link can alter any more.
    const QString place
        = QFile::symLinkTarget(QStringLiteral("/proc/self/fd/") + QString::number(descriptor));
    const bool allowed = directories.isEmpty()
        || std::any_of(directories.begin(), directories.end(),
                       [&place](const QString &directory) { return place.startsWith(directory); });
    struct stat status = {};
    auto file = std::make_unique<QFile>();
    if (!allowed || fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)
        || !file->open(descriptor, QIODevice::ReadOnly | QIODevice::Unbuffered,
                       QFileDevice::AutoCloseHandle)) {
        close(descriptor);
        return nullptr;
    }
    return file;
}

QString textOf(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

bool isWanted(const QByteArray &line, const QString &text)
{
    if (text.isEmpty()) {
        return true;
    }
    return textOf(line).contains(text,
                                 text == text.toLower() ? Qt::CaseInsensitive : Qt::CaseSensitive);
}

QByteArrayList newestLines(QFile &file, qint64 size, int count, const QString &text, qint64 most,
                           bool *stopped)
{
    QByteArrayList lines;
    QByteArrayList pieces; // of the line that goes on before the last block that was read
    const auto take = [&](const QByteArray &begin) {
        pieces.prepend(begin);
        const QByteArray line = pieces.join();
        pieces.clear();
        if (isWanted(line, text)) {
            lines.prepend(line);
        }
    };
    qint64 position = size;
    while (position > 0 && lines.size() < count && size - position < most) {
        const qint64 begin = std::max<qint64>(0, position - block);
        if (!file.seek(begin)) {
            return lines;
        }
        const QByteArray bytes = file.read(position - begin);
        int end = bytes.size();
        if (position == size && bytes.endsWith('\n')) {
            --end;
        }
        position = begin;
        while (lines.size() < count) {
            const int feed = end > 0 ? bytes.lastIndexOf('\n', end - 1) : -1;
            if (feed < 0) {
                pieces.prepend(bytes.left(end));
                break;
            }
            take(bytes.mid(feed + 1, end - feed - 1));
            end = feed;
        }
    }
    if (position == 0 && size > 0 && lines.size() < count) {
        take({});
    }
    if (stopped != nullptr) {
        *stopped = position > 0 && lines.size() < count;
    }
    return lines;
}

void LogFollower::follow(const QString &path, qint64 position)
{
    if (m_current.file) {
        m_current.quiet.start();
        m_former.push_back(std::move(m_current));
    }
    m_current = Source();
    m_path = path;
    m_start = position;
    openAgain();
}

bool LogFollower::isReadable(QString *problem) const
{
    if (m_current.file) {
        return true;
    }
    const QFileInfo info(m_path);
    if (info.exists()) {
        *problem = info.isFile() ? QStringLiteral("this user may not read it")
                                 : QStringLiteral("it is no regular file");
    }
    return false;
}

void LogFollower::openAgain()
{
    m_current = Source();
    m_current.file = m_path.isEmpty() ? nullptr : openLog(m_path, m_directories);
    if (m_current.file) {
        // It may have come back while it was still read on.
        const auto former
            = std::find_if(m_former.begin(), m_former.end(),
                           [this](const Source &source) { return isNameOf(m_path, *source.file); });
        if (former != m_former.end()) {
            m_current = std::move(*former);
            m_former.erase(former);
        } else {
            m_current.position = m_start <= m_current.file->size() ? m_start : 0;
        }
        m_start = 0;
    } else if (!QFileInfo::exists(m_path)) {
        m_start = 0; // what comes is new
    }
}

void LogFollower::readOn(Source &source, QByteArrayList *lines)
{
    struct stat status = {};
    if (fstat(source.file->handle(), &status) == 0 && status.st_size < source.position) {
        source.position = 0; // truncated
        source.begun.clear();
    }
    QByteArray bytes(static_cast<int>(block), '\0');
    for (int count = 0; count < blocksPerPoll; ++count) {
        const ssize_t size = pread(source.file->handle(), bytes.data(),
                                   static_cast<size_t>(bytes.size()), source.position);
        if (size <= 0) {
            return;
        }
        source.quiet.start();
        source.position += size;
        const int searched = source.begun.size();
        source.begun.append(bytes.constData(), static_cast<int>(size));
        int start = 0;
        for (int feed = source.begun.indexOf('\n', searched); feed >= 0;
             feed = source.begun.indexOf('\n', start)) {
            lines->append(source.begun.mid(start, feed - start));
            start = feed + 1;
        }
        source.begun.remove(0, start);
        if (source.begun.size() > longestLine) {
            lines->append(source.begun); // in pieces
            source.begun.clear();
        }
    }
}

QByteArrayList LogFollower::poll()
{
    QByteArrayList lines;
    for (Source &source : m_former) {
        readOn(source, &lines);
        if (source.quiet.hasExpired(longestQuiet)) {
            if (!source.begun.isEmpty()) {
                lines.append(source.begun);
            }
            source.file.reset();
        }
    }
    m_former.erase(std::remove_if(m_former.begin(), m_former.end(),
                                  [](const Source &source) { return !source.file; }),
                   m_former.end());
    if (m_current.file) {
        // The name first: what the file got before it lost its name is then read in this call.
        const bool named = isNameOf(m_path, *m_current.file);
        readOn(m_current, &lines);
        if (named) {
            return lines;
        }
        m_current.quiet.start();
        m_former.push_back(std::move(m_current));
        m_start = 0;
    }
    openAgain();
    if (m_current.file) {
        readOn(m_current, &lines);
    }
    return lines;
}
