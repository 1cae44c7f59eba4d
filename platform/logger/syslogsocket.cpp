// Records as syslog(3) makes them, on a socket that does not block.
// SPDX-License-Identifier: MIT
#include "syslogsocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace {

constexpr int longestWait = 100; // ms

/// "<PRI>Mmm dd hh:mm:ss name[pid]: text", with the names of the months that every daemon knows:
/// strftime(3) would take those of the locale.
QByteArray recordOf(const SyslogSource &source, int severity, const QByteArray &text)
{
    static constexpr std::array<const char *, 12> months {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    // Only the kernel's own messages have the facility 0 (LOG_KERN); syslog(3) makes it LOG_USER.
    const int facility = source.facility == LOG_KERN ? LOG_USER : source.facility;
    std::array<char, 64> start {};
    static_cast<void>(std::snprintf(start.data(), start.size(), "<%d>%s %2d %02d:%02d:%02d ",
                                    facility | severity,
                                    months.at(static_cast<size_t>(local.tm_mon)), local.tm_mday,
                                    local.tm_hour, local.tm_min, local.tm_sec));
    // Each ends at a NUL, as a C string.
    return start.data() + QByteArray(source.name.constData()) + '[' + QByteArray::number(getpid())
        + "]: " + text.constData();
}

/// @p text without its end, so that no more than @p size bytes are left, and no half character.
QByteArray cut(const QByteArray &text, int size)
{
    const auto continues = [](char byte) { return (byte & 0xC0) == 0x80; };
    while (size > 0 && continues(text.at(size))) {
        --size;
    }
    return text.left(size);
}

} // namespace

SyslogSocket::SyslogSocket(QByteArray path) : m_path(std::move(path))
{
}

SyslogSocket::~SyslogSocket()
{
    disconnect();
}

void SyslogSocket::write(const SyslogSource &source, int severity, const QByteArray &text)
{
    if (m_lost > 0) {
        ++m_lost;
        return;
    }
    const Outcome outcome = deliver(recordOf(source, severity, text), m_isFull ? 0 : longestWait);
    m_isFull = outcome == Outcome::Full;
    m_lost += m_isFull ? 1 : 0;
}

void SyslogSocket::reportLoss(const SyslogSource &source)
{
    const QByteArray text
        = "Messages lost, as the log did not take them: " + QByteArray::number(m_lost);
    if (deliver(recordOf(source, LOG_ERR, text), 0) == Outcome::Sent) {
        m_lost = 0;
    }
}

SyslogSocket::Outcome SyslogSocket::connectToDaemon()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, m_path.constData(), sizeof address.sun_path - 1);
    for (const int type : {SOCK_DGRAM, SOCK_STREAM}) {
        m_descriptor = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        m_isStream = type == SOCK_STREAM;
        if (connect(m_descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address)
            == 0) {
            return Outcome::Sent;
        }
        const int error = errno;
        disconnect();
        if (error != EPROTOTYPE) {
            return error == EAGAIN ? Outcome::Full : Outcome::Unreachable;
        }
    }
    return Outcome::Unreachable;
}

void SyslogSocket::disconnect()
{
    if (m_descriptor >= 0) {
        close(m_descriptor);
        m_descriptor = -1;
    }
}

SyslogSocket::Outcome SyslogSocket::deliver(const QByteArray &record, int patience)
{
    const QDeadlineTimer deadline(patience);
    if (m_descriptor >= 0) {
        const Outcome outcome = send(record, deadline);
        if (outcome == Outcome::Sent) {
            return outcome;
        }
        disconnect(); // the daemon may have been started anew, beside one that hangs, too
        if (outcome == Outcome::Full) {
            return outcome;
        }
    }
    Outcome outcome = connectToDaemon();
    if (outcome == Outcome::Sent) {
        outcome = send(record, deadline);
    }
    if (outcome != Outcome::Sent) {
        disconnect();
    }
    return outcome;
}

SyslogSocket::Outcome SyslogSocket::send(QByteArray record, const QDeadlineTimer &deadline)
{
    int end = record.size() + (m_isStream ? 1 : 0); // a stream's records end with a NUL
    int sent = 0;
    while (sent < end) {
        const ssize_t result = ::send(m_descriptor, record.constData() + sent,
                                      static_cast<size_t>(end - sent), MSG_NOSIGNAL);
        if (result >= 0) {
            sent += static_cast<int>(result);
        } else if (errno == EMSGSIZE && !m_isStream && record.size() > 1) {
            // unix(7) says how much it takes.
            int room = 0;
            socklen_t size = sizeof room;
            getsockopt(m_descriptor, SOL_SOCKET, SO_SNDBUF, &room, &size);
            room -= 32;
            record = cut(record, room > 0 && room < record.size() ? room : record.size() / 2);
            end = record.size();
        } else if (errno == EAGAIN) {
            pollfd room = {m_descriptor, POLLOUT, 0};
            if (deadline.hasExpired()
                || poll(&room, 1, static_cast<int>(deadline.remainingTime())) == 0) {
                return Outcome::Full; // and disconnected: what was sent is no record of its own
            }
        } else if (errno != EINTR) {
            return errno == ENOBUFS || errno == ENOMEM ? Outcome::Full : Outcome::Unreachable;
        }
    }
    return Outcome::Sent;
}
