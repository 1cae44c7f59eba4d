// The operator's level command: lists the activities, changes one level or all.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "facilityfile.h"
#include "levelvocabulary.h"
#include "syslogconf/configpaths.h"
#include "syslogconf/lineedit.h"
#include "syslogconf/loggerconfiglist.h"

#include <QFile>

namespace {

const QString allActivities = QStringLiteral("all");
const QString accessError = QStringLiteral("file configuration access error");

ConfigLineEdit levelEdit(const QString &activity, const QString &level)
{
    ConfigLineEdit edit;
    edit.key = QStringLiteral("level(");
    edit.level = level;
    edit.activity = activity;
    return edit;
}

/// Whether @p level means something for @p activity.
bool isLevelWord(const QString &activity, const QString &level)
{
    return isValidLevel(level)
        || (activity == allActivities
            && (level == QLatin1String("init") || level == QLatin1String("restore")));
}

QString notValidText(const QString &level)
{
    return QStringLiteral("[level] level not valid: ") + level;
}

} // namespace

QString LoggerModule::level()
{
    const ConfigurationOrder::Turn turn;
    LoggerConfigList list;
    QString table = list.activityTable(liveConfigPath(), true);
    if (table == QLatin1String("configuration access error")) {
        logError(QStringLiteral("[logappli.conf] access problem"));
        return accessError;
    }
    return table;
}

QString LoggerModule::level(const QString &activity, const QString &level, bool needRestart)
{
    if (isKnownFacility(activity) && !isLevelWord(activity, level)) {
        return notValidText(level);
    }
    const ConfigurationOrder::Turn turn;
    if (activity == allActivities && level == QLatin1String("restore")) {
        if (restoreConfigFile(liveConfigPath())) {
            logWarning(QStringLiteral("[level]-reset") + QVXLogger::syslogWorkingDirectory
                       + QStringLiteral("logappli.conf success."));
            return QStringLiteral("level restore succcess");
        }
        logError(QStringLiteral("[level]-restore") + QVXLogger::syslogWorkingDirectory
                 + QStringLiteral("logappli.conf failed"));
        return QStringLiteral("level restore failed");
    }
    const QString check = searchFacility(activity);
    if (!isUsableFacility(check, activity)) {
        return QStringLiteral("Not a valid activity : ") + activity;
    }
    if (activity == allActivities && level == QLatin1String("init")) {
        return setAllLevels(QStringLiteral("err"));
    }
    if (!isValidLevel(level)) {
        return notValidText(level); // after a repair, which comes first
    }
    if (activity == allActivities) {
        return setAllLevels(level);
    }
    if (modify(levelEdit(activity, level), liveConfigPath()).contains(accessError)) {
        return accessError;
    }
    const QString result = setLevel(activity, levelFromName(level));
    if (needRestart) {
        restart();
    }
    return result + check;
}

QString LoggerModule::setAllLevels(const QString &level)
{
    const QString path = liveConfigPath();
    if (!QFile::exists(path)) {
        restoreConfigFile(path);
    }
    // modify() answers with more than this text, so a failed edit goes on to the facility files.
    // Callers rely on that.
    if (modify(levelEdit(QString(), level), path) == accessError) {
        return accessError + path;
    }
    QString result = setLevel(allActivities, levelFromName(level));
    restart();
    return result;
}
