// The one safe way by which logappli.conf changes: temporary file, syntax check, and a copy that
// takes the live file's place in one step; and the way back from the backup.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "childprocess.h"
#include "configpaths.h"
#include "durablefile.h"
#include "textfile.h"

#include <QFile>
#include <QFileInfo>

namespace {

constexpr int checkTimeout = 30000; // ms

} // namespace

bool LoggerModule::writeToFile(const QString &content, const QString &path)
{
    const QString temporary = temporaryConfigPath();
    const QFileInfo leftover(temporary);
    // A dangling link does not exist for QFileInfo::exists().
    if ((leftover.exists() || leftover.isSymLink()) && !QFile::remove(temporary)) {
        logError(QStringLiteral("[Method : writeToFile()] -- Cannot remove temporary syslog "
                                "configuration file : ")
                 + temporary);
        return false;
    }
    QFile file(temporary);
    // NewOnly: never through a link that somebody puts there in between.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Text)) {
        logError(QStringLiteral("[Method : writeToFile()] -- Cannot open temporary syslog "
                                "configuration file : ")
                 + temporary);
        return false;
    }
    // A text that was cut short by a full disk may well be valid, so the check alone is not enough.
    if (!writeTextAndClose(file, content) || !checkTemporaryConfig()) {
        logError(QStringLiteral("[Method : writeToFile()] -- file : ") + path
                 + QStringLiteral(".tmp corrupted"));
        return false;
    }
    const auto notRemoved = [&path] {
        logError(QStringLiteral("[Method : writeToFile()] -- remove file : ") + path
                 + QStringLiteral("failed"));
        return false;
    };
    const QFileInfo old(path);
    if (!old.exists() && !old.isSymLink()) {
        return notRemoved(); // a rewrite replaces the live file and never makes one
    }
    QString error;
    const Replacement replacement = fileHolds(temporary, content)
        ? replaceByCopy(temporary, path, &error)
        : Replacement::NotPrepared;
    if (replacement == Replacement::NotRenamed) {
        return notRemoved();
    }
    if (replacement == Replacement::NotPrepared) {
        logError(QStringLiteral("[Method : writeToFile()] -- copy file : ") + path
                 + QStringLiteral("failed"));
        return false;
    }
    return true;
}

bool LoggerModule::checkTemporaryConfig()
{
    // syslog-ng's messages go wherever the service's output goes.
    const QString command = QVXLogger::syslogExecutablePath + QStringLiteral("syslog-ng -s -f ")
        + temporaryConfigPath() + QStringLiteral(" 2>&1");
    const ProgramEnd check = runProgram(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command},
                                        checkTimeout, ProgramOutput::Forwarded);
    // A check that hung or that a signal ended has checked nothing.
    if (check.exitStatus != 0) {
        logDebug(QStringLiteral("File logappli.conf.tmp  NOT OK"));
        return false;
    }
    logDebug(QStringLiteral("File logappli.conf.tmp  OK"));
    return true;
}

void LoggerModule::removeUnfinishedFiles()
{
    for (const QString &directory : {QVXLogger::configurationSyslogBranchPath,
                                     QVXLogger::facilityConfigFilesPath, QStringLiteral("/log")}) {
        removeLeftovers(directory);
    }
}

bool LoggerModule::restoreConfigFile(const QString &path)
{
    QFile live(path);
    if (!live.exists()) {
        logDebug(QStringLiteral("[restoreConfigFile] -- ") + path);
        return false;
    }
    QString error;
    if (!mayChangeMode(path, &error)) {
        logDebug(QStringLiteral("[restoreConfigFile] setPermissions() result: ") + error);
        return false;
    }
    const QString backup = backupConfigPath();
    if (!QFile::exists(backup)) {
        if (!live.remove()) {
            logDebug(QStringLiteral("[restoreConfigFile] remove() result ") + live.errorString());
            return false;
        }
        logError(QStringLiteral("[restoreConfigFile] --") + backup
                 + QStringLiteral(" doesn't exist"));
        return false;
    }
    switch (replaceByCopy(backup, path, &error)) {
    case Replacement::NotPrepared:
        logDebug(QStringLiteral("[restoreConfigFile] copy() result ") + live.errorString());
        return false;
    case Replacement::NotRenamed:
        logDebug(QStringLiteral("[restoreConfigFile] remove() result ") + error);
        return false;
    case Replacement::Done:
        break;
    }
    logError(path + QStringLiteral(" restored with : ") + backup);
    restart();
    return true;
}
