// What the module does when it starts, and at a factory reset.
// SPDX-License-Identifier: MIT
#include "configurationorder.h"
#include "diagnostics.h"
#include "loggermodule.h"
#include "neededprograms.h"

#include <QVX/qvxapplication.h>

#include <QDir>
#include <QFile>

#include <sys/stat.h>

namespace {

constexpr mode_t logDirectoryMode = 0755;

bool createLogDirectory(const QString &path)
{
    if (QDir(path).exists()) {
        return true;
    }
    if (!QDir().mkpath(path)) {
        logError(QStringLiteral("Impossible to create the path : ") + path);
        return false;
    }
    // Whatever the umask was that we were started with.
    return chmod(QFile::encodeName(path).constData(), logDirectoryMode) == 0;
}

/// Without one of them an operation is answered as ever and has no effect, and nobody would know
/// why.
void reportMissingPrograms()
{
    const QStringList missing = missingPrograms(
        {QStringLiteral("/bin/sh"), QVXLogger::syslogExecutablePath + QStringLiteral("syslog-ng"),
         QStringLiteral("/etc/init.d/autoConfigSyslog"), QStringLiteral("kill"),
         QStringLiteral("tar"), QStringLiteral("gzip"), QStringLiteral("ln")},
        programSearchPath());
    if (!missing.isEmpty()) {
        logError(QStringLiteral("[Method : initialize()] -- Programs missing : ")
                 + missing.join(QStringLiteral(", ")));
    }
}

} // namespace

bool LoggerModule::initialize()
{
    reportMissingPrograms();
    initLogServerStruct();
    createLogDirectories();
    removeUnfinishedFiles();
    // A start that is broken off leaves the marker to the next one.
    if (QVXApplication::elapsedSinceStopRequest() < 0 && takeResetMarker()) {
        level(QStringLiteral("all"), QStringLiteral("init"), true);
    }
    return true;
}

void LoggerModule::restoreDataToFactory()
{
    const ConfigurationOrder::Turn turn;
    const QString levels = level(QStringLiteral("all"), QStringLiteral("err"), true);
    logInfo(QStringLiteral("[restoreDataToFactory] all syslog level filters to err --  level() "
                           "method return value : ")
            + levels);
    const QString destinations = redirect(QStringLiteral("all"), QStringLiteral("init"));
    logInfo(QStringLiteral("[restoreDataToFactory] all syslog log files redirected to predefined "
                           "files -- redirect() method return value : ")
            + destinations);
    if (!deleteFacilityConfigFiles()) {
        logError(QStringLiteral("[LoggerModule::restoreDataToFactory] -- No configuration files to "
                                "delete in ")
                 + QVXLogger::facilityConfigFilesPath);
    }
}

bool LoggerModule::createLogDirectories()
{
    const bool inRam = createLogDirectory(QStringLiteral("/var/log/"));
    const bool inFlash = createLogDirectory(QStringLiteral("/log/flash/"));
    return inRam && inFlash;
}
