// Walks the lines of logappli.conf through the activity parser.
// SPDX-License-Identifier: MIT
#include "loggerconfiglist.h"

#include "app/diagnostics.h"
#include "configpaths.h"
#include "durablefile.h"
#include "textfile.h"

#include <QFile>
#include <QStringList>

#include <algorithm>

LoggerConfigList::LoggerConfigList()
{
    resetParsedActivity(m_accumulator);
}

LoggerConfigList::~LoggerConfigList() = default;

QList<ActivityLevelEntry> LoggerConfigList::readActivityInConfigFile(const QString &path)
{
    const QString aborted = QStringLiteral(
        "[Method :readActivityInConfigFile] -- restoring of syslog-ng config file aborted");
    resetParsedActivity(m_accumulator);
    QFile file(path);
    if (!file.exists()) {
        logError(QStringLiteral("No file : logappli.conf -- restore the file "));
        restoreConfigFile(path);
    }
    if (!openRegularFile(file, QIODevice::ReadOnly | QIODevice::Text)) {
        restoreConfigFile(path);
        if (!openRegularFile(file, QIODevice::ReadOnly | QIODevice::Text)) {
            logError(aborted);
            return {};
        }
    }
    QStringList lines;
    if (!readLines(file, &lines)) {
        logError(aborted);
        return {};
    }
    QList<ActivityLevelEntry> activities;
    for (const QString &line : qAsConst(lines)) {
        ParsedActivity parsed;
        parseActivityLine(m_accumulator, line, parsed);
        if (isCompleteActivity(parsed)) {
            const ActivityLevelEntry entry = activityLevelEntry(parsed);
            activities.append(entry);
            logDebug(QStringLiteral("facility : ") + entry.facility + QStringLiteral(" level : ")
                     + entry.level + QStringLiteral(" facility value : ") + entry.facilityValue);
            resetParsedActivity(m_accumulator);
        }
    }
    return activities;
}

QString LoggerConfigList::activityTable(const QString &path, bool withHeader)
{
    Q_UNUSED(withHeader)
    resetParsedActivity(m_accumulator);
    QFile file(path);
    if (!file.exists()) {
        restoreConfigFile(path);
    }
    if (!openRegularFile(file, QIODevice::ReadOnly | QIODevice::Text)) {
        restoreConfigFile(path);
        if (!restoreConfigFile(path)) {
            return QStringLiteral("configuration file access error");
        }
        if (!openRegularFile(file, QIODevice::ReadOnly | QIODevice::Text)) {
            logError(QStringLiteral("Restoring of syslog-ng config file aborted"));
            return QStringLiteral("configuration file cannot be restored");
        }
    }
    QStringList lines;
    if (!readLines(file, &lines)) {
        logError(QStringLiteral("Restoring of syslog-ng config file aborted"));
        return QStringLiteral("configuration file cannot be restored");
    }
    QStringList rows;
    for (const QString &line : qAsConst(lines)) {
        ParsedActivity parsed;
        parseActivityLine(m_accumulator, line, parsed);
        if (isCompleteActivity(parsed)) {
            rows.append(activityTableRow(parsed));
            resetParsedActivity(m_accumulator);
            logDebug(QStringLiteral("facility value ") + parsed.facilityValue.trimmed()
                     + QStringLiteral(" <-> ") + parsed.destination);
        }
    }
    // Stable, so that rows which differ in case only keep the order of the file.
    std::stable_sort(rows.begin(), rows.end(), [](const QString &left, const QString &right) {
        return left.compare(right, Qt::CaseInsensitive) < 0;
    });
    return activityTableHeader() + rows.join(QString());
}

bool LoggerConfigList::restoreConfigFile(const QString &path)
{
    const QString backup = backupConfigPath();
    // Whether it worked shows when the caller opens the file.
    if (QFile::exists(backup)) {
        QString error;
        static_cast<void>(replaceByCopy(backup, path, &error));
    } else {
        QFile::remove(path);
    }
    logError(QStringLiteral("[LoggerConfigList:: Method : restoreConfigFile]") + path
             + QStringLiteral(" restored with : ") + backup);
    return true;
}
