// The lines that the service logs while it changes the configuration, as Faults::logged() gives
// them: the severity's number, a blank, the line.
// SPDX-License-Identifier: MIT
#pragma once

#include "activities.h"
#include "literal.h"
#include "phone.h"

#include <QString>
#include <QStringList>

namespace ConfigLog {

const QString checked = "7 File logappli.conf.tmp  OK"_s;
const QString rejected = "7 File logappli.conf.tmp  NOT OK"_s;
const QString reloaded = "7 [restart]process success."_s;
const QString restored = "3 "_s + Phone::liveConfig + " restored with : "_s + Phone::backup;
const QString emptyList = "3 [initConfigFile]  -- empty activity list"_s;
const QString noFacilityFile = "7 setPermissions() result No such file or directory"_s;
const QString setUp = "7 restoreSylogConfig() success."_s;

/// The text for the file @p path was not written or not accepted.
inline QString corrupted(const QString &path = Phone::liveConfig)
{
    return "3 [Method : writeToFile()] -- file : "_s + path + ".tmp corrupted"_s;
}

const QString notUpToDate = "3 [Method : modify()] -- File corrupted: "_s + Phone::liveConfig
    + " or not up to date with new values --Temorary file : "_s + Phone::liveConfig
    + ".tmp perhaps corrupted"_s;

/// An edit that syslog-ng refuses, and the backup's return.
const QStringList refusedAndRestored {rejected, corrupted(), notUpToDate, restored, reloaded};

inline QString corruptedFacilityFile(const QString &activity)
{
    return "3  -- error type : facility config file corrupted -- Facility : "_s + activity;
}

/// What is logged while an activity is looked for that nobody knows.
inline QStringList unknown(const QString &activity)
{
    return {"6 search facility "_s + activity + " in /usr/lib/QVXApplication/"_s,
            "6 search facility "_s + activity + " in /usr/bin/QVXApplication/"_s,
            "3 No config file for facility : "_s + activity};
}

/// What is logged while the facility files of all activities are changed in turn.
inline QStringList eachActivity()
{
    QStringList lines;
    for (const QString &activity : Phone::activityNames) {
        lines.append("7 Configuration file to change : "_s + activity);
    }
    return lines;
}

/// @p lines, with or without their severities, and without those that the reader of the
/// configuration writes for each activity.
inline QStringList withoutListing(const QStringList &lines)
{
    QStringList own;
    for (const QString &line : lines) {
        if (!line.startsWith("7 facility : "_s) && !line.startsWith("facility : "_s)) {
            own.append(line);
        }
    }
    return own;
}

} // namespace ConfigLog
