// Reads logappli.conf into a list of activities, and renders the table of them.
// SPDX-License-Identifier: MIT
#pragma once

#include "activityparser.h"

#include <QList>
#include <QString>

/**
 * Made for one operation and deleted afterwards. Every call reads the file again; calls on one
 * object must not overlap.
 */
class LoggerConfigList
{
public:
    LoggerConfigList();
    virtual ~LoggerConfigList();

    /**
     * The activities of the live file at @p path, in file order. A file that is missing or cannot
     * be opened is restored from the backup first.
     * @return an empty list also when there is nothing to read even then
     */
    QList<ActivityLevelEntry> readActivityInConfigFile(const QString &path);

    /**
     * The table for a person: a header and one row for each activity, sorted without regard to
     * case. A file that is missing or cannot be opened is restored from the backup first.
     * @param withHeader makes no difference: the header always comes, and comes once
     * @return the table, or "configuration file cannot be restored"
     */
    QString activityTable(const QString &path, bool withHeader);

    /**
     * Replaces the file at @p path, or a missing one, by the backup. No step's outcome is looked at
     * and syslog-ng is not reloaded: that is what tells this from
     * LoggerModule::restoreConfigFile().
     * @return true
     */
    bool restoreConfigFile(const QString &path);

private:
    ParsedActivity m_accumulator;
};
