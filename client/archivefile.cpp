// tar's own word on whether the archive is whole.
// SPDX-License-Identifier: MIT
#include "archivefile.h"

#include "answers.h"
#include "program.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int mostTries = 3;
constexpr int readTimeout = 60000; // ms

/// Counts the files of the archive, for at most @p timeout ms. @return whether it could be read to
/// its end
bool readArchive(int timeout, int *files)
{
    const ProgramOutcome listing
        = outcomeOf(QStringLiteral("tar"), {QStringLiteral("-tzf"), archivePath}, timeout);
    const QList<QByteArray> names = listing.output.split('\n');
    for (const QByteArray &name : names) {
        *files += name.isEmpty() || name.endsWith('/') ? 0 : 1;
    }
    return listing.status == 0;
}

/// Whether the link points at the archive and is not older than @p begun.
bool isPublishedSince(const timespec &begun)
{
    struct stat status = {};
    return QFileInfo(archiveLink).symLinkTarget() == archivePath
        && lstat(QFile::encodeName(archiveLink).constData(), &status) == 0
        && (status.st_mtim.tv_sec > begun.tv_sec
            || (status.st_mtim.tv_sec == begun.tv_sec && status.st_mtim.tv_nsec >= begun.tv_nsec));
}

/// Writes all of @p bytes: a disk that becomes full takes a part of them first, without an error.
bool writeWhole(QSaveFile &file, const QByteArray &bytes)
{
    qint64 done = 0;
    while (done < bytes.size()) {
        const qint64 written = file.write(bytes.constData() + done, bytes.size() - done);
        if (written <= 0) {
            return false;
        }
        done += written;
    }
    return true;
}

} // namespace

const QString archivePath = QStringLiteral("/var/volatile/tmp/all_logs.tar.gz");
const QString archiveLink = QStringLiteral("/www/pages/all_logs.tar.gz");

Archive archiveAndLook(const Caller &caller, const std::function<void(qint64, qint64)> &progress)
{
    const Request request {Operation::Archive, {}, 0};
    Caller watched = caller;
    if (progress) {
        watched.slow = nullptr;
        watched.waiting
            = [&progress](qint64 elapsed) { progress(elapsed, QFileInfo(archivePath).size()); };
    }
    Archive archive;
    timespec begun = {};
    do {
        ++archive.tries;
        clock_gettime(CLOCK_REALTIME_COARSE, &begun); // the clock of the files' times
        QElapsedTimer time;
        time.start();
        archive.reply = watched.ask(request);
        archive.elapsed = time.elapsed();
        archive.answered
            = !archive.reply.error.isValid() && isSuccess(request, archive.reply.answer.toMap());
    } while (!archive.answered && !archive.reply.error.isValid() && archive.tries < mostTries);
    if (archive.answered) {
        const QFileInfo file(archivePath);
        archive.size = file.size();
        archive.readable = file.isReadable();
        archive.complete = archive.readable
            && readArchive(std::min(readTimeout, caller.remaining()), &archive.files);
        archive.published = isPublishedSince(begun);
    }
    return archive;
}

QString copyArchive(const QString &path)
{
    const QFileInfo target(path);
    if (target.exists() && !target.isFile()) {
        return path + QStringLiteral(": it is no regular file"); // root could replace a device
    }
    QFile source(archivePath);
    QSaveFile copy(path);
    if (!source.open(QIODevice::ReadOnly)) {
        return archivePath + QStringLiteral(": ") + source.errorString();
    }
    if (!copy.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return path + QStringLiteral(": ") + copy.errorString();
    }
    constexpr qint64 block = 1 << 20;
    while (!source.atEnd()) {
        const QByteArray bytes = source.read(block);
        if (bytes.isEmpty() || !writeWhole(copy, bytes)) {
            return path + QStringLiteral(": ")
                + (bytes.isEmpty() ? source.errorString() : copy.errorString());
        }
    }
    const bool written = fsync(copy.handle()) == 0 && copy.commit();
    return written ? QString() : path + QStringLiteral(": ") + copy.errorString();
}
