// Packs all logs and core dumps into one archive for the web interface.
// SPDX-License-Identifier: MIT
#include "app/loggermodule.h"
#include "syslogconf/childprocess.h"

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int timeout = 30000; // ms
constexpr int retries = 10;

const QByteArray archivePath = QByteArrayLiteral("/var/volatile/tmp/all_logs.tar.gz");

// tar(1): -h follows links, so that the archive holds the logs whichever way the phone mounts them.
const QString archiveCommand = QStringLiteral("tar -chzf /var/volatile/tmp/all_logs.tar.gz ")
    + QStringLiteral("/var/log /log /data/core")
    + QStringLiteral(" && ln -sf /var/volatile/tmp/all_logs.tar.gz /www/pages/all_logs.tar.gz");

/// Can only be read by changing it, which would give other threads' new files any mode: read before
/// there are any.
const mode_t processUmask = [] {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}();

/// Takes away whatever stands under the archive's name, without following it and without deleting
/// anything inside a directory, which anybody may have put there.
void clearName()
{
    if (unlink(archivePath.constData()) == 0 || rmdir(archivePath.constData()) == 0) {
        return;
    }
    const QByteArray aside
        = archivePath + '.' + QByteArray::number(QRandomGenerator::system()->generate64(), 16);
    renameat2(AT_FDCWD, archivePath.constData(), AT_FDCWD, aside.constData(), RENAME_NOREPLACE);
}

/**
 * The archive's file, made anew: its directory is everybody's (mode 1777), so that tar would
 * otherwise write through a link or into a file that another user has put there. Nobody else can
 * read it until publish().
 */
class ArchiveFile
{
public:
    ArchiveFile()
    {
        const auto create = [] {
            return open(archivePath.constData(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        };
        m_descriptor = create();
        // Somebody may put another one there in between, but has to be quick again each time.
        for (int count = 0; m_descriptor < 0 && errno == EEXIST && count < retries; ++count) {
            clearName();
            m_descriptor = create();
        }
    }
    ~ArchiveFile()
    {
        if (isOpen()) {
            close(m_descriptor);
        }
    }
    Q_DISABLE_COPY(ArchiveFile)

    bool isOpen() const { return m_descriptor >= 0; }
    /// Gives it the mode that tar would have given it.
    void publish() const { fchmod(m_descriptor, 0666 & ~processUmask); }
    /// Removes it, if it is what stands under its name still.
    void remove() const
    {
        struct stat own = {};
        struct stat there = {};
        if (fstat(m_descriptor, &own) == 0 && lstat(archivePath.constData(), &there) == 0
            && own.st_dev == there.st_dev && own.st_ino == there.st_ino) {
            unlink(archivePath.constData());
        }
    }

private:
    int m_descriptor = -1;
};

QVariantMap answer(bool succeeded)
{
    return {
        {QStringLiteral("value"), succeeded ? QStringLiteral("0") : QStringLiteral("1")},
        {QStringLiteral("msg"),
         succeeded ? QStringLiteral("Generate logs successfully")
                   : QStringLiteral("Error on exit")},
    };
}

} // namespace

QVariantMap LoggerModule::generateLogsForWeb()
{
    ArchiveFile archive;
    if (!archive.isOpen()) {
        return answer(false);
    }
    const ProgramEnd end
        = runProgram(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), archiveCommand}, timeout,
                     ProgramOutput::Dropped);
    if (!end.error.isEmpty()) {
        // A shell that could not be started or was stopped has no exit status of its own to report,
        // and has always been answered as success.
        archive.remove();
        return answer(true);
    }
    archive.publish();
    return answer(end.exitStatus == 0);
}
