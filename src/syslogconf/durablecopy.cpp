// Copy through a file beside the target, synced and renamed.
// SPDX-License-Identifier: MIT
#include "durablecopy.h"

#include "textfile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Syncs to storage; a file system that cannot (EINVAL, fsync(2)) has nothing to be synced.
bool sync(int descriptor)
{
    return fsync(descriptor) == 0 || errno == EINVAL;
}

/// Gives @p target the mode of @p source. QFile::permissions() would not do: it also tells what the
/// calling user may do, and root may write what nobody else may.
bool copyMode(int source, int target)
{
    struct stat status = {};
    return fstat(source, &status) == 0 && fchmod(target, status.st_mode & 07777) == 0;
}

/// Makes a rename in @p directory durable.
bool syncDirectory(const QString &directory)
{
    const int descriptor
        = open(QFile::encodeName(directory).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool synced = sync(descriptor);
    close(descriptor);
    return synced;
}

} // namespace

bool copyDurably(const QString &source, const QString &target, QString *error)
{
    QFile in(source);
    if (!openRegularFile(in, QIODevice::ReadOnly)) {
        *error = in.errorString();
        return false;
    }
    const QByteArray bytes = in.readAll();
    if (in.error() != QFileDevice::NoError) {
        *error = in.errorString();
        return false;
    }
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.flush()) {
        *error = out.errorString();
        return false;
    }
    if (!copyMode(in.handle(), out.handle()) || !sync(out.handle())) {
        *error = qt_error_string();
        return false;
    }
    if (!out.commit()) {
        *error = out.errorString();
        return false;
    }
    if (!syncDirectory(QFileInfo(target).path())) {
        *error = qt_error_string();
        return false;
    }
    return true;
}
