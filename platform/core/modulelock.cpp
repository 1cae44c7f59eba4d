// flock(2) on a file of the module's name.
// SPDX-License-Identifier: MIT
#include "modulelock.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char *directory = "/run/QVXApplication";
constexpr mode_t directoryMode = 0755;
constexpr mode_t fileMode = 0600;

int openLockFile(const QByteArray &path)
{
    const auto openIt = [&path] {
        return open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                    fileMode);
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

/// Whoever may write in the directory can put another file in the lock's place.
bool isSafeDirectory()
{
    struct stat status = {};
    return lstat(directory, &status) == 0 && S_ISDIR(status.st_mode)
        && (status.st_uid == 0 || status.st_uid == geteuid())
        && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

} // namespace

ModuleLock takeModuleLock(const QString &name, QString *problem)
{
    const QString path
        = QFile::decodeName(directory) + QLatin1Char('/') + name + QStringLiteral(".lock");
    const int descriptor = openLockFile(QFile::encodeName(path));
    if (descriptor < 0) {
        *problem = path + QStringLiteral(": ") + qt_error_string();
        return ModuleLock::Unavailable;
    }
    if (!isOwnFile(descriptor) || !isSafeDirectory()) {
        close(descriptor);
        *problem = path + QStringLiteral(": another user may put a file there");
        return ModuleLock::Unavailable;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        return ModuleLock::Taken; // never closed: the end of the process does it
    }
    const int error = errno;
    close(descriptor);
    if (error == EWOULDBLOCK) {
        return ModuleLock::HeldByOther;
    }
    *problem = path + QStringLiteral(": ") + qt_error_string(error);
    return ModuleLock::Unavailable;
}
