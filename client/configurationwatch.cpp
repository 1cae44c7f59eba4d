// stat(2) of logappli.conf.
// SPDX-License-Identifier: MIT
#include "configurationwatch.h"

#include <QVX/qvxlogger.h>

#include <QFile>

#include <sys/stat.h>

bool ConfigurationWatch::hasChanged()
{
    const QString path = QVXLogger::configurationSyslogBranchPath + QStringLiteral("logappli.conf");
    struct stat status = {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0) {
        return false;
    }
    constexpr qint64 billion = 1000000000;
    const qint64 changed = status.st_ctim.tv_sec * billion + status.st_ctim.tv_nsec;
    const bool other = status.st_ino != m_inode || changed != m_changed;
    m_inode = status.st_ino;
    m_changed = changed;
    return other;
}
