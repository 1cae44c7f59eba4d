// The step of every level change that announces it and writes the facility files.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "app/loggermodule.h"
#include "facilityfile.h"
#include "levelvocabulary.h"
#include "syslogconf/configpaths.h"
#include "syslogconf/loggerconfiglist.h"

#include <QVX/qvxevent.h>

QString LoggerModule::setLevel(const QString &facility, int level)
{
    const ConfigurationOrder::Turn turn;
    QVXEvent event(QStringLiteral("log_level_changed"));
    event.addArgument(QStringLiteral("syslog_facility"), facility, true);
    event.addArgument(QStringLiteral("syslog_level"), level, true);
    notifyEvent(event);

    if (facility == QLatin1String("all")) {
        return setAllFacilityLevels(level);
    }
    if (writeFacilitylevel(facility, level) != QLatin1String("OK")) {
        restoreSylogConfig();
        return QStringLiteral("One or more log config file corrupted -- file restored to "
                              "predefined value !");
    }
    return QStringLiteral("Level ") + levelToName(level) + QStringLiteral(" for facility : ")
        + facility + QStringLiteral(" ");
}

QString LoggerModule::setAllFacilityLevels(int level)
{
    LoggerConfigList list;
    const QList<ActivityLevelEntry> activities = list.readActivityInConfigFile(liveConfigPath());
    if (activities.isEmpty()) {
        return QStringLiteral("No logger configuration file !!");
    }
    bool corrupted = false;
    FacilityUpdates updates;
    for (const ActivityLevelEntry &activity : activities) {
        if (prepareFacilityLevel(activity.facility, level, &updates) != QLatin1String("OK")) {
            corrupted = true;
        }
    }
    if (!writeFacilityUpdates(updates).isEmpty()) {
        corrupted = true;
    }
    if (corrupted) {
        restoreSylogConfig();
        return QStringLiteral("One ore more facility config file corrupted -- restored to "
                              "predefined value ! -- Use level or redirect command to verify your "
                              "log config");
    }
    return QStringLiteral("All levels changed to ") + levelToName(level)
        + QStringLiteral(" value ");
}
