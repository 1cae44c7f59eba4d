// Socket pair between the signal handler and the event loop.
// SPDX-License-Identifier: MIT
#include "stopsignals.h"

#include <QSocketNotifier>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// [0] is written by the handler, [1] read by the event loop. Signal handlers have no context.
std::array<int, 2> sockets {-1, -1};
std::atomic<qint64> requestedAt {-1}; // ms of the monotonic clock
static_assert(std::atomic<qint64>::is_always_lock_free, "used in a signal handler");

qint64 monotonicTime()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * qint64(1000) + now.tv_nsec / 1000000;
}

void onStopSignal(int)
{
    const int savedErrno = errno;
    qint64 never = -1;
    requestedAt.compare_exchange_strong(never, monotonicTime());
    const char byte = 1;
    // A full socket means that a request is pending already.
    if (write(sockets[0], &byte, sizeof byte) < 0) { }
    errno = savedErrno;
}

void setHandler(void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

} // namespace

StopSignals::StopSignals(QObject *parent) : QObject(parent)
{
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets.data()) != 0) {
        qFatal("socketpair: %s", qUtf8Printable(qt_error_string()));
    }
    auto *notifier = new QSocketNotifier(sockets[1], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { readByte(); });
    requestedAt = -1;
    setHandler(onStopSignal);
}

StopSignals::~StopSignals()
{
    setHandler(SIG_DFL);
    close(sockets[0]);
    close(sockets[1]);
}

qint64 StopSignals::elapsedSinceRequest()
{
    const qint64 requested = requestedAt;
    return requested < 0 ? -1 : monotonicTime() - requested;
}

void StopSignals::readByte()
{
    char byte = 0;
    if (read(sockets[1], &byte, sizeof byte) == sizeof byte) {
        Q_EMIT stopRequested();
    }
}
