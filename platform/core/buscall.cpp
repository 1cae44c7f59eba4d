// Waits for the bus library's thread and for the stop signals at once.
// SPDX-License-Identifier: MIT
#include "buscall.h"

#include "stopsignals.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QThread>

#include <array>
#include <memory>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

/// Becomes readable when somebody says so.
class Wakening
{
public:
    ~Wakening() { close(m_descriptor); }
    Wakening() = default;
    Q_DISABLE_COPY(Wakening)

    int descriptor() const { return m_descriptor; }
    void wake() const { eventfd_write(m_descriptor, 1); }

private:
    const int m_descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

} // namespace

QDBusMessage callUntilStop(const QDBusConnection &bus, const QDBusMessage &call, int timeout)
{
    if (StopSignals::isRequested()) {
        return {};
    }
    const QDBusPendingCall pending = bus.asyncCall(call, timeout);

    // QDBusPendingCall::waitForFinished() cannot be ended, and a watcher tells of the answer
    // through the event loop of its thread. So the watcher goes to the thread of the bus library,
    // which has one, as the objects of a connection do; when it is deleted there, nothing of this
    // call is left, whoever was first.
    const auto answered = std::make_shared<Wakening>();
    auto *const watcher = new QDBusPendingCallWatcher(pending);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, watcher, [answered] { answered->wake(); },
        Qt::DirectConnection);
    watcher->moveToThread(bus.interface()->thread());

    std::array<pollfd, 2> events {
        {{StopSignals::descriptor(), POLLIN, 0}, {answered->descriptor(), POLLIN, 0}}};
    // What was answered before the watcher was there is not told.
    while (!pending.isFinished() && !StopSignals::isRequested()) {
        poll(events.data(), events.size(), timeout);
    }
    watcher->deleteLater();
    return pending.isFinished() ? pending.reply() : QDBusMessage();
}
