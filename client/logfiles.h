// The phone's log files as a client sees them: names, sizes, room.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

extern const QString ramLogDirectory; ///< /var/log/
extern const QString flashLogDirectory; ///< /log/flash/
extern const QString defenceLogPath; ///< in flash, beside that directory

/// One log file.
struct LogFile
{
    QString path;
    qint64 size = 0; ///< bytes
    quint64 inode = 0; ///< with the next, tells a new file of the same name from the old one
    qint64 born = 0; ///< ns; 0 where the file system does not tell (statx(2))
};

/// The files that a deletion removes from RAM, or from RAM and flash (@p withFlash): those with a
/// dot in their names. In the order of their names, RAM first.
QList<LogFile> deletableLogFiles(bool withFlash);

/// Those of @p before that are not there any more, or that are other files now.
QList<LogFile> removedLogFiles(const QList<LogFile> &before);

/// The sizes in bytes of all files in the two log directories, by path.
QHash<QString, qint64> logFileSizes();

/// @p size in bytes as a person reads it: "812 bytes", "34 kB", "1.2 MB".
QString sizeText(qint64 size);

/// @p count with the word for one or for several: "1 file", "2 files".
QString countText(qint64 count, const char *one, const char *several);

/// The bytes of the files together.
qint64 sizeOf(const QList<LogFile> &files);
