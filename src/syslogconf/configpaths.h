// The three files of syslog-ng's application configuration.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxlogger.h>

#include <QString>

/// The configuration that syslog-ng loads.
inline QString liveConfigPath()
{
    return QVXLogger::configurationSyslogBranchPath + QStringLiteral("logappli.conf");
}

/// The known-good copy. It is made by the platform's set-up script and only read here.
inline QString backupConfigPath()
{
    return QVXLogger::syslogWorkingDirectory + QStringLiteral("logappli.conf.sav");
}

/// A new text on its way to becoming the live file. There is one, whatever the live file's path.
inline QString temporaryConfigPath()
{
    return QVXLogger::syslogWorkingDirectory + QStringLiteral("logappli.conf.tmp");
}
