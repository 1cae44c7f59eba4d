// An eventfd between the signal handler and whoever waits.
// SPDX-License-Identifier: MIT
#include "stopsignals.h"

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// Signal handlers have no context.
int requestDescriptor = -1;
std::atomic<qint64> requestedAt {-1}; // ms of the monotonic clock
std::atomic<bool> endsAtOnce {false};
static_assert(std::atomic<qint64>::is_always_lock_free, "used in a signal handler");

qint64 monotonicTime()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * qint64(1000) + now.tv_nsec / 1000000;
}

void onStopSignal(int)
{
    if (endsAtOnce) {
        _exit(0);
    }
    const int savedErrno = errno;
    qint64 never = -1;
    requestedAt.compare_exchange_strong(never, monotonicTime());
    const quint64 one = 1;
    // A full counter means that a request is pending already.
    if (write(requestDescriptor, &one, sizeof one) < 0) { }
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
    requestDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (requestDescriptor < 0) {
        qFatal("eventfd: %s", qUtf8Printable(qt_error_string()));
    }
    auto *notifier = new QSocketNotifier(requestDescriptor, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, notifier] {
        // It stays readable, for those who wait in other places.
        notifier->setEnabled(false);
        Q_EMIT stopRequested();
    });
    requestedAt = -1;
    setHandler(onStopSignal);
}

StopSignals::~StopSignals()
{
    setHandler(SIG_DFL);
    close(requestDescriptor);
    requestDescriptor = -1;
}

StopSignals::NothingBegun::NothingBegun()
{
    endsAtOnce = true;
    if (isRequested()) {
        _exit(0); // it came before there was anybody to end at once
    }
}

StopSignals::NothingBegun::~NothingBegun()
{
    endsAtOnce = false;
}

qint64 StopSignals::elapsedSinceRequest()
{
    const qint64 requested = requestedAt;
    return requested < 0 ? -1 : monotonicTime() - requested;
}

int StopSignals::descriptor()
{
    return requestDescriptor;
}
