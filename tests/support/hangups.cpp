// The signal handler behind HangUps.
// SPDX-License-Identifier: MIT
#include "hangups.h"

#include "phone.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QFile>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

// Signal handlers have no context, so what they use stands here.
std::atomic<int> hangUps {0};
std::array<char, 4096> watchedPath {};
std::array<char, 4096> watchedBytes {};
std::atomic<int> watchedSize {0};

void onHangUp(int)
{
    const int savedErrno = errno;
    const int descriptor = open(watchedPath.data(), O_RDONLY | O_CLOEXEC);
    if (descriptor >= 0) {
        watchedSize = static_cast<int>(read(descriptor, watchedBytes.data(), watchedBytes.size()));
        close(descriptor);
    }
    ++hangUps;
    errno = savedErrno;
}

/// Lets the main thread alone have the signals. The bus layer's thread could get one as well, and
/// under ThreadSanitizer it would keep it until it is woken up by something else.
void keepHangUpsFromTheBusThread()
{
    if (!Phone::isBox()) {
        return;
    }
    sigset_t hangUp;
    sigemptyset(&hangUp);
    sigaddset(&hangUp, SIGHUP);
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &hangUp, &previous);
    QDBusConnection::systemBus(); // starts the thread, which inherits the mask
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}
Q_COREAPP_STARTUP_FUNCTION(keepHangUpsFromTheBusThread)

} // namespace

HangUps::HangUps(const QString &watched) : m_savedPidFile(Phone::read(Phone::pidFile))
{
    hangUps = 0;
    watchedSize = 0;
    watchedPath.fill('\0');
    qstrncpy(watchedPath.data(), QFile::encodeName(watched).constData(), watchedPath.size());
    struct sigaction action = {};
    action.sa_handler = onHangUp;
    action.sa_flags = SA_RESTART;
    sigaction(SIGHUP, &action, nullptr);
    Phone::write(Phone::pidFile, QByteArray::number(getpid()) + '\n');
}

HangUps::~HangUps()
{
    Phone::write(Phone::pidFile, m_savedPidFile);
    signal(SIGHUP, SIG_IGN);
}

int HangUps::count() const
{
    // ThreadSanitizer keeps a signal back until a call that it looks at, which those of the
    // libraries are not (tsan.supp).
    poll(nullptr, 0, 0);
    return hangUps;
}

QByteArray HangUps::watchedContent() const
{
    return QByteArray(watchedBytes.data(), watchedSize);
}
