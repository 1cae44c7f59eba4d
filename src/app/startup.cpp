// What the module does when it starts, and at a factory reset.
// SPDX-License-Identifier: MIT
#include "diagnostics.h"
#include "levels/configurationorder.h"
#include "loggermodule.h"
#include "syslogconf/durablefile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

constexpr mode_t logDirectoryMode = 0755;

const QString markerDirectory
    = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip/facility/");

/// Asks for one reset of all levels at the next start. The doubled slash has always been there.
const QString markerPath = markerDirectory + QStringLiteral("/resetLogLevel");

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

} // namespace

bool LoggerModule::initialize()
{
    initLogServerStruct();
    createLogDirectories();
    // A directory of that name could not be removed, and would reset the levels at every start.
    if (QFileInfo(markerPath).isFile()) {
        logDebug(QStringLiteral("resetLogLevel file present, reinitialisation of all log level"));
        // First of all, so that a reset that fails is not tried for ever.
        QFile::remove(markerPath);
        syncDirectory(markerDirectory);
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

bool LoggerModule::deleteFacilityConfigFiles()
{
    QDir directory = QDir::current();
    directory.cd(QVXLogger::facilityConfigFilesPath); // else the current directory is listed
    const QStringList names = directory.entryList({QStringLiteral("*.conf")});
    for (const QString &name : names) {
        logDebug(QStringLiteral("Configuration file to remove : ") + name);
        // By its bare name, so in the process's working directory: long established, and the
        // facility files are made anew by the set-up script in any case.
        QFile::remove(name);
    }
    syncDirectory(QDir::currentPath());
    return !names.isEmpty();
}
