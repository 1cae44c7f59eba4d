// Written beside, synced, renamed, and the directory synced.
// SPDX-License-Identifier: MIT
#include "durablefile.h"

#include "textfile.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <cerrno>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr mode_t defaultMode = 0666; // and the umask

const QString newFilePrefix = QStringLiteral(".new.");

QString directoryOf(const QString &path)
{
    return QFileInfo(path).path();
}

/// Where the new file @p number waits to take the place of @p path.
QString pathBeside(const QString &path, int number)
{
    return directoryOf(path) + QLatin1Char('/') + newFilePrefix + QString::number(number);
}

bool isLackOfRoom(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

/// Removes a file, a link or an empty directory.
void removeQuietly(const QString &path)
{
    const int savedErrno = errno;
    remove(QFile::encodeName(path).constData());
    errno = savedErrno;
}

bool writeAll(int descriptor, const QByteArray &content)
{
    qint64 written = 0;
    while (written < content.size()) {
        const ssize_t size = write(descriptor, content.constData() + written,
                                   static_cast<size_t>(content.size() - written));
        if (size < 0 && errno != EINTR) {
            return false;
        }
        written += qMax<ssize_t>(size, 0);
    }
    return true;
}

/// Writes the new file @p path, anew and never through a link. Its way to storage is begun, so that
/// several files go there in one step of the file system's journal.
/// @param mode the file's mode; nullptr for the process's default
/// @return false when it is not there, with errno set
bool writeNewFile(const QString &path, const QByteArray &content, const mode_t *mode)
{
    const QByteArray name = QFile::encodeName(path);
    removeQuietly(path);
    const int descriptor
        = open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, defaultMode);
    if (descriptor < 0) {
        return false;
    }
    const bool written
        = writeAll(descriptor, content) && (mode == nullptr || fchmod(descriptor, *mode) == 0);
    if (written) {
        // Only a beginning: whether it succeeds shows when the file is synced.
        sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE);
    } else {
        removeQuietly(path);
    }
    const int savedErrno = errno;
    close(descriptor);
    errno = savedErrno;
    return written;
}

/// Syncs what @p path names. @return false when it could not be synced, with errno set
bool syncPath(const QString &path, int flags)
{
    const int descriptor = open(QFile::encodeName(path).constData(), flags | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool synced = syncFile(descriptor);
    const int savedErrno = errno;
    close(descriptor);
    errno = savedErrno;
    return synced;
}

bool renameOver(const QString &path, const QString &target)
{
    return rename(QFile::encodeName(path).constData(), QFile::encodeName(target).constData()) == 0;
}

/// New files that wait beside the old ones.
class Step
{
public:
    Step(const QVector<NewFile> &files, QVector<Replacement> &results, QString *error)
        : m_files(files), m_results(results), m_error(error)
    {
    }

    bool isEmpty() const { return m_waiting.isEmpty(); }

    /// Writes the file @p index beside. @return false when it could not be written, with errno set
    bool prepare(int index)
    {
        const NewFile &file = m_files.at(index);
        if (!writeNewFile(beside(index), file.content, nullptr)) {
            return false;
        }
        m_waiting.append(index);
        return true;
    }

    /// Syncs all that wait, renames them and syncs their directories.
    void finish()
    {
        QStringList directories;
        for (const int index : qAsConst(m_waiting)) {
            if (!syncPath(beside(index), O_RDONLY | O_NOFOLLOW)) {
                fail(index, Replacement::NotPrepared);
            }
        }
        for (const int index : qAsConst(m_waiting)) {
            const NewFile &file = m_files.at(index);
            if (m_results.at(index) == Replacement::NotPrepared) {
                continue;
            }
            if (!renameOver(beside(index), file.path)) {
                fail(index, Replacement::NotRenamed);
            } else if (!directories.contains(directoryOf(file.path))) {
                directories.append(directoryOf(file.path));
            }
        }
        for (const QString &directory : qAsConst(directories)) {
            if (!syncDirectory(directory)) {
                failAllIn(directory);
            }
        }
        m_waiting.clear();
    }

    void fail(int index, Replacement result)
    {
        *m_error = qt_error_string(errno);
        m_results[index] = result;
        removeQuietly(beside(index));
    }

private:
    QString beside(int index) const { return pathBeside(m_files.at(index).path, index); }

    /// The new files are in place, but may be the old ones again after a power cut.
    void failAllIn(const QString &directory)
    {
        *m_error = qt_error_string(errno);
        for (const int index : qAsConst(m_waiting)) {
            if (m_results.at(index) == Replacement::Done
                && directoryOf(m_files.at(index).path) == directory) {
                m_results[index] = Replacement::NotPrepared;
            }
        }
    }

    const QVector<NewFile> &m_files;
    QVector<Replacement> &m_results;
    QString *m_error;
    QVector<int> m_waiting;
};

/// Prepares the copy itself. @return false when it could not be written and synced, with errno set
bool prepareCopy(const QByteArray &content, mode_t mode, const QString &beside)
{
    if (!writeNewFile(beside, content, &mode)) {
        return false;
    }
    if (!syncPath(beside, O_RDONLY | O_NOFOLLOW)) {
        removeQuietly(beside);
        return false;
    }
    return true;
}

/// Prepares another name of @p source, which takes no room.
bool prepareLink(const QString &source, const QString &beside)
{
    removeQuietly(beside);
    return link(QFile::encodeName(source).constData(), QFile::encodeName(beside).constData()) == 0
        && syncPath(source, O_RDONLY);
}

} // namespace

bool syncFile(int descriptor)
{
    return fsync(descriptor) == 0 || errno == EINVAL; // fsync(2): not supported by the file
}

void removeLeftovers(const QString &directory)
{
    // At every start: QDir would load what it needs for filters and sorting.
    DIR *const entries = opendir(QFile::encodeName(directory).constData());
    if (entries == nullptr) {
        return;
    }
    while (const dirent *entry = readdir(entries)) {
        const QString name = QFile::decodeName(entry->d_name);
        if (name.startsWith(newFilePrefix)) {
            removeQuietly(directory + QLatin1Char('/') + name);
        }
    }
    closedir(entries);
}

bool syncDirectory(const QString &directory)
{
    return syncPath(directory, O_RDONLY | O_DIRECTORY);
}

bool mayChangeMode(const QString &path, QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status = {};
    if (stat(name.constData(), &status) == 0
        && chmod(name.constData(), status.st_mode & 07777) == 0) {
        return true;
    }
    *error = qt_error_string(errno);
    return false;
}

QVector<Replacement> replaceFiles(const QVector<NewFile> &files, QString *error)
{
    QVector<Replacement> results(files.size(), Replacement::Done);
    Step step(files, results, error);
    for (int index = 0; index < files.size(); ++index) {
        if (step.prepare(index)) {
            continue;
        }
        if (isLackOfRoom(errno) && !step.isEmpty()) {
            step.finish(); // the files that are replaced now have given their room back
            if (step.prepare(index)) {
                continue;
            }
        }
        step.fail(index, Replacement::NotPrepared);
    }
    step.finish();
    return results;
}

Replacement replaceByCopy(const QString &source, const QString &target, QString *error)
{
    QFile in(source);
    struct stat status = {};
    if (!openRegularFile(in, QIODevice::ReadOnly) || fstat(in.handle(), &status) != 0) {
        *error = in.errorString();
        return Replacement::NotPrepared;
    }
    const QByteArray content = in.readAll();
    if (in.error() != QFileDevice::NoError) {
        *error = in.errorString();
        return Replacement::NotPrepared;
    }
    const mode_t mode = status.st_mode & 07777;
    const QString beside = pathBeside(target, 0);
    const bool isCopy = prepareCopy(content, mode, beside);
    if (!isCopy) {
        const int problem = errno;
        if (!isLackOfRoom(problem) || !prepareLink(source, beside)) {
            removeQuietly(beside);
            *error = qt_error_string(problem);
            return Replacement::NotPrepared;
        }
    }
    if (!renameOver(beside, target)) {
        *error = qt_error_string(errno);
        removeQuietly(beside);
        return Replacement::NotRenamed;
    }
    if (!isCopy) {
        // The room of the old file is free as soon as its removal is in the journal.
        syncDirectory(directoryOf(target));
        if (prepareCopy(content, mode, beside) && !renameOver(beside, target)) {
            removeQuietly(beside);
        }
    }
    if (!syncDirectory(directoryOf(target))) {
        *error = qt_error_string(errno);
        return Replacement::NotPrepared;
    }
    return Replacement::Done;
}
