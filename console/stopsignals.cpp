// signalfd(2) in the event loop.
// SPDX-License-Identifier: MIT
#include "stopsignals.h"

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

sigset_t stopSignals()
{
    sigset_t stops;
    sigemptyset(&stops);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&stops, number);
    }
    return stops;
}

void setStopSignals(int how)
{
    const sigset_t stops = stopSignals();
    pthread_sigmask(how, &stops, nullptr);
}

int descriptorOfStopSignals()
{
    setStopSignals(SIG_BLOCK);
    const sigset_t stops = stopSignals();
    return signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK);
}

} // namespace

HeldStopSignals::HeldStopSignals()
{
    setStopSignals(SIG_BLOCK);
}

HeldStopSignals::~HeldStopSignals()
{
    setStopSignals(SIG_UNBLOCK);
}

StopSignals::StopSignals(const std::function<void()> &stopped)
    : m_descriptor(descriptorOfStopSignals()), m_notifier(m_descriptor, QSocketNotifier::Read)
{
    connect(&m_notifier, &QSocketNotifier::activated, this, [this, stopped] {
        signalfd_siginfo information = {};
        while (read(m_descriptor, &information, sizeof information) > 0) { }
        stopped();
    });
}

StopSignals::~StopSignals()
{
    close(m_descriptor);
}
