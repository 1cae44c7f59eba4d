// Empties the directories of the log files.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "syslogconf/durablefile.h"

#include <QDir>
#include <QFile>

namespace {

const QString ramDirectory = QStringLiteral("/var/log/");
const QString flashDirectory = QStringLiteral("/log/flash/");

/// Enters a directory for good and appends the paths of what stands in it to @p paths.
void enterAndList(const QString &directory, QStringList *paths)
{
    if (!QDir::setCurrent(directory)) {
        return; // nothing is ever removed from the directory that we happen to be in
    }
    // A name without a dot is no log file. The entries "." and ".." pass the filter, and fail to be
    // removed like any other directory.
    const QFileInfoList entries
        = QDir::current().entryInfoList({QStringLiteral("*.*")}, QDir::NoFilter, QDir::Unsorted);
    for (const QFileInfo &entry : entries) {
        paths->append(entry.absoluteFilePath());
    }
}

} // namespace

QString LoggerModule::deleteTmpLogFiles()
{
    return deleteLogFiles(false);
}

QString LoggerModule::deleteTmpLogFiles(const QString &parameter)
{
    if (parameter != QLatin1String("flash")) {
        logError(QStringLiteral("Calling deleteTmpLogFileWithFlash with wrong parameter"));
        return QStringLiteral("Wrong parameter in deleteTmpLogFileWithParameter");
    }
    return deleteLogFiles(true);
}

QString LoggerModule::deleteLogFiles(bool withFlash)
{
    QStringList paths;
    enterAndList(ramDirectory, &paths);
    QString where = ramDirectory;
    if (withFlash) {
        enterAndList(flashDirectory, &paths);
        where += QStringLiteral(" and ") + flashDirectory + QStringLiteral(" directories");
    } else {
        where += QStringLiteral(" directory");
    }
    if (paths.isEmpty()) {
        return QStringLiteral("No Log file to remove in ") + where;
    }
    for (const QString &path : qAsConst(paths)) {
        logDebug(QStringLiteral("Log file to remove : ") + path);
        QFile file(path);
        if (file.remove()) {
            logDebug(QStringLiteral("file removed !"));
        } else {
            logDebug(QStringLiteral("file not removed : ") + file.errorString());
        }
    }
    // Best effort: what could not be removed changes nothing in the answer either.
    syncDirectory(ramDirectory);
    if (withFlash) {
        syncDirectory(flashDirectory);
    }
    restart(); // syslog-ng still writes to the files that were removed
    return QStringLiteral("All logs files removed in ") + where + QLatin1Char('.');
}
