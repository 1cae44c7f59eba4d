// A directory of the test's own in the place of the phone's syslog configuration.
// SPDX-License-Identifier: MIT
#pragma once

#include "literal.h"

#include <QVX/qvxlogger.h>

#include <QDir>
#include <QString>
#include <QTemporaryDir>

/// As long as it exists, the logger's paths lead to an empty directory that goes with it.
class OwnConfiguration
{
public:
    OwnConfiguration()
    {
        if (!m_directory.isValid() || !QDir(m_directory.path()).mkdir("sip"_s)) {
            qFatal("cannot create a temporary directory");
        }
        QVXLogger::syslogWorkingDirectory = path(QString());
        QVXLogger::configurationSyslogBranchPath = path("sip/"_s);
    }
    ~OwnConfiguration()
    {
        QVXLogger::syslogWorkingDirectory = m_workingDirectory;
        QVXLogger::configurationSyslogBranchPath = m_branch;
    }
    Q_DISABLE_COPY(OwnConfiguration)

    QString path(const QString &name) const { return m_directory.path() + QLatin1Char('/') + name; }
    QString live() const { return path("sip/logappli.conf"_s); }
    QString backup() const { return path("logappli.conf.sav"_s); }

private:
    const QString m_workingDirectory = QVXLogger::syslogWorkingDirectory;
    const QString m_branch = QVXLogger::configurationSyslogBranchPath;
    const QTemporaryDir m_directory;
};
