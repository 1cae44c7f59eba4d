// Directory entries and statx(2).
// SPDX-License-Identifier: MIT
#include "logfiles.h"

#include <QDir>
#include <QFile>
#include <QStringList>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

LogFile statusOf(const QString &path)
{
    constexpr qint64 billion = 1000000000;
    struct statx status = {};
    if (statx(AT_FDCWD, QFile::encodeName(path).constData(), AT_SYMLINK_NOFOLLOW,
              STATX_BASIC_STATS | STATX_BTIME, &status)
        != 0) {
        return {path, 0, 0, 0};
    }
    return {path, static_cast<qint64>(status.stx_size), status.stx_ino,
            status.stx_btime.tv_sec * billion + status.stx_btime.tv_nsec};
}

QStringList directories(bool withFlash)
{
    return withFlash ? QStringList {ramLogDirectory, flashLogDirectory}
                     : QStringList {ramLogDirectory};
}

} // namespace

const QString ramLogDirectory = QStringLiteral("/var/log/");
const QString flashLogDirectory = QStringLiteral("/log/flash/");
const QString defenceLogPath = QStringLiteral("/log/Defence.log");

QList<LogFile> deletableLogFiles(bool withFlash)
{
    QList<LogFile> files;
    const QStringList all = directories(withFlash);
    for (const QString &directory : all) {
        const QStringList names
            = QDir(directory).entryList({QStringLiteral("*.*")}, QDir::Files | QDir::System);
        for (const QString &name : names) {
            files.append(statusOf(directory + name));
        }
    }
    return files;
}

QList<LogFile> removedLogFiles(const QList<LogFile> &before)
{
    QList<LogFile> removed;
    for (const LogFile &file : before) {
        const LogFile now = statusOf(file.path);
        if (now.inode != file.inode || now.born != file.born) {
            removed.append(file);
        }
    }
    return removed;
}

QHash<QString, qint64> logFileSizes()
{
    QHash<QString, qint64> sizes;
    const QStringList all = directories(true);
    for (const QString &directory : all) {
        const QStringList names = QDir(directory).entryList(QDir::Files | QDir::Hidden);
        for (const QString &name : names) {
            sizes.insert(directory + name, statusOf(directory + name).size);
        }
    }
    return sizes;
}

QString countText(qint64 count, const char *one, const char *several)
{
    return QString::number(count) + QLatin1Char(' ') + QLatin1String(count == 1 ? one : several);
}

QString sizeText(qint64 size)
{
    constexpr qint64 thousand = 1000;
    if (size < thousand) {
        return size == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(size);
    }
    if (size < thousand * thousand) {
        return QStringLiteral("%1 kB").arg((size + thousand / 2) / thousand);
    }
    const bool giga = size >= thousand * thousand * thousand;
    const double unit = giga ? 1e9 : 1e6;
    return QStringLiteral("%1 %2")
        .arg(static_cast<double>(size) / unit, 0, 'f', 1)
        .arg(giga ? QStringLiteral("GB") : QStringLiteral("MB"));
}

qint64 sizeOf(const QList<LogFile> &files)
{
    qint64 sum = 0;
    for (const LogFile &file : files) {
        sum += file.size;
    }
    return sum;
}
