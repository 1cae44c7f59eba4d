// A file in /run, because a lock has no meaning after a boot.
// SPDX-License-Identifier: MIT
#include "configurationlock.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *directory = "/run/QVXApplication";
constexpr const char *path = "/run/QVXApplication/logappli.lock";
constexpr mode_t directoryMode = 0755;
constexpr mode_t fileMode = 0600;
constexpr std::chrono::seconds timeout {5};
constexpr std::chrono::milliseconds interval {10};

int openLockFile()
{
    const auto openIt = [] {
        return open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, fileMode);
    };
    const int descriptor = openIt();
    if (descriptor >= 0 || errno != ENOENT) {
        return descriptor;
    }
    if (mkdir(directory, directoryMode) == 0) {
        chmod(directory, directoryMode); // whatever the umask is
    }
    return openIt();
}

/// A file that others can open is one that they can lock.
bool isOwnFile(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid()
        && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

} // namespace

void ConfigurationLock::take()
{
    m_descriptor = openLockFile();
    if (m_descriptor < 0) {
        return;
    }
    if (!isOwnFile(m_descriptor)) {
        release();
        return;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        if ((errno != EWOULDBLOCK && errno != EINTR)
            || std::chrono::steady_clock::now() >= deadline) {
            release();
            return;
        }
        std::this_thread::sleep_for(interval);
    }
}

void ConfigurationLock::release()
{
    if (m_descriptor >= 0) {
        close(m_descriptor);
        m_descriptor = -1;
    }
}
