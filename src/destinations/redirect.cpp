// The redirect command: where the messages of one activity or of all go.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "destinationsyntax.h"
#include "levels/facilityfile.h"
#include "syslogconf/configpaths.h"
#include "syslogconf/lineedit.h"
#include "syslogconf/loggerconfiglist.h"
#include "syslogconf/predefineddestination.h"

namespace {

const QString allActivities = QStringLiteral("all");
const QString initKeyword = QStringLiteral("init");
const QString accessError = QStringLiteral("file configuration access error");

// A redirection is written together with no level; the field's writer takes one all the same.
constexpr int ignoredLevel = 3;

ConfigLineEdit destinationEdit(const QString &key, const QString &activity,
                               const QString &destination)
{
    ConfigLineEdit edit;
    edit.key = key;
    edit.activity = activity;
    edit.destination = driverExpression(destination);
    return edit;
}

} // namespace

QString LoggerModule::redirect()
{
    return level();
}

QString LoggerModule::redirect(const QString &activity, const QString &destinationName)
{
    if (activity != allActivities && destinationName == initKeyword) {
        return QStringLiteral(
            "Destination not valid --parameter init can only be used with activity all !");
    }
    const bool isValid = isDestinationValid(destinationName);
    const QString notValid = QStringLiteral("[REDIRECT] Destination not valid: ") + destinationName;
    if (!isValid && isKnownFacility(activity)) {
        return notValid;
    }
    const ConfigurationOrder::Turn turn;
    if (!isUsableFacility(searchFacility(activity), activity)) {
        return QStringLiteral("not a valid activity : ") + activity;
    }
    if (!isValid) {
        return notValid; // after a repair, which comes first
    }
    if (activity == allActivities && destinationName != initKeyword) {
        return redirectAllActivities(destinationName);
    }
    if (activity == allActivities) {
        if (initConfigFile(liveConfigPath())) {
            restart();
        }
        return setAllFacilityRedirections(allActivities, initKeyword);
    }
    QString result
        = modify(destinationEdit(QStringLiteral("destination d_") + activity + QStringLiteral(" {"),
                                 activity, destinationName),
                 liveConfigPath());
    // modify() answers with more than the first text and never with the second, so a failed edit is
    // answered as success. Callers rely on that.
    if (result == accessError) {
        logError(QStringLiteral("[REDIRECT] -- logappli.conf file configuration access error"));
        return accessError;
    }
    if (result.contains(QLatin1String("No such an activity "))) {
        logError(
            QStringLiteral("[REDIRECT] -- No such an activity in syslog-ng configuration file : ")
            + activity);
        return result;
    }
    restart();
    return QStringLiteral("[REDIRECT] Activity : ") + activity + QStringLiteral(" redirect to : ")
        + destinationName;
}

QString LoggerModule::redirect(const QString &activity, const QString &destinationName,
                               const QString &ipAddress, int ipPort)
{
    const QString destination
        = networkDestination(destinationName, ipAddress, QString::number(ipPort));
    const bool isValid = isDestinationValid(destination);
    const QString notValid
        = QStringLiteral(" [REDIRECT] destination parameters not valid: ") + destination;
    if (!isValid && isKnownFacility(activity)) {
        return notValid;
    }
    const ConfigurationOrder::Turn turn;
    const QString check = searchFacility(activity);
    if (!isUsableFacility(check, activity)) {
        return QStringLiteral("not a valid facility : ") + activity;
    }
    if (!isValid) {
        return notValid;
    }
    return redirectAndRecord(
        activity, destination, check,
        QStringLiteral("One or more log config file corrupted -- Restored to predefined value"));
}

QString LoggerModule::redirect(const QString &activity, const QString &destinationName,
                               const QString &path)
{
    if (path.contains(QLatin1Char('/')) || path.contains(QLatin1Char('~'))) {
        return QStringLiteral("Not a valid file name -- character / and ~ are banned");
    }
    QString name = path;
    const bool isTerminal = destinationName == QLatin1String("usertty");
    if (!isTerminal && !name.endsWith(QLatin1String(".log"))) {
        name += QLatin1String(".log");
    }
    QString destination;
    if (destinationName == QLatin1String("flash")) {
        destination = QStringLiteral("file(\"/log/flash/") + name + QStringLiteral("\")");
    } else if (destinationName == QLatin1String("ram")) {
        destination = QStringLiteral("file(\"/var/log/") + name + QStringLiteral("\")");
    } else if (isTerminal) {
        destination = QStringLiteral("usertty(\"") + name + QStringLiteral("\")");
    } else {
        return QStringLiteral("Not a valid support type -- can be : ram - flash or usertty");
    }
    const bool isValid = isDestinationValid(destination);
    const QString notValid
        = QStringLiteral(" [redirect] destination parameters not valid: ") + destination;
    if (!isValid && isKnownFacility(activity)) {
        return notValid;
    }
    const ConfigurationOrder::Turn turn;
    const QString check = searchFacility(activity);
    if (!isUsableFacility(check, activity)) {
        return QStringLiteral("not a valid activity : ") + activity;
    }
    if (!isValid) {
        return notValid;
    }
    return redirectAndRecord(
        activity, destination, check,
        QStringLiteral("One or more log config file corrupted -- restored to predefined value !"));
}

QString LoggerModule::redirectAndRecord(const QString &activity, const QString &destination,
                                        const QString &check, const QString &corrupted)
{
    const QString result = redirect(activity, destination);
    logDebug(result);
    // The facility file records the destination whatever the redirection answered.
    if (activity != allActivities
        && updateFacilityFile(destination, activity, QStringLiteral("redirection"), ignoredLevel)
            != QLatin1String("OK")) {
        restoreFacilityFile(activity);
        restoreSylogConfig();
        return corrupted;
    }
    return result + check;
}

QString LoggerModule::redirectAllActivities(const QString &destination)
{
    if (destination == Setting::UNDEFINEDVALUE) {
        return QStringLiteral("[REDIRECT] IP destination address not valid ");
    }
    if (!isDestinationValid(destination)) {
        return QStringLiteral("[REDIRECT] destination parameter not valid: ") + destination;
    }
    const ConfigurationOrder::Turn turn;
    const QString path = liveConfigPath();
    if (modify(destinationEdit(QStringLiteral("destination d_"), QString(), destination), path)
        == accessError) {
        return QStringLiteral("access to") + path + QStringLiteral("impossible");
    }
    restart();
    return setAllFacilityRedirections(destination, QStringLiteral("std"));
}

QString LoggerModule::setAllFacilityRedirections(const QString &destination, const QString &mode)
{
    LoggerConfigList list;
    const QList<ActivityLevelEntry> activities = list.readActivityInConfigFile(liveConfigPath());
    if (activities.isEmpty()) {
        logError(QStringLiteral("Syslog-ng config file not readable and not overwritable")
                 + QVXLogger::facilityConfigFilesPath);
    }
    const bool toPredefined = mode == initKeyword;
    bool corrupted = false;
    const auto markCorrupted = [&](const QString &activity) {
        corrupted = true;
        if (!toPredefined) {
            return;
        }
        if (activity == QLatin1String("defence")) {
            logError(QStringLiteral(
                "Facility config file Defence.conf corrupted -- initialize to default value "));
        } else {
            logError(QStringLiteral("Facility config file") + activity
                     + QStringLiteral("corrupted -- initialize to default value "));
        }
    };
    FacilityUpdates updates;
    for (const ActivityLevelEntry &entry : activities) {
        const QString &activity = entry.facility;
        logDebug(QStringLiteral("Configuration file to change : ") + activity);
        const QString redirection = toPredefined
            ? predefinedDestination(activity, DefenceLog::OfDefenceAlone)
            : destination;
        if (prepareFacilityUpdate(redirection, activity, QStringLiteral("redirection"),
                                  ignoredLevel, &updates)
            != QLatin1String("OK")) {
            markCorrupted(activity);
        }
    }
    const QStringList notWritten = writeFacilityUpdates(updates);
    for (const QString &activity : notWritten) {
        markCorrupted(activity);
    }
    if (corrupted) {
        logDebug(QStringLiteral("One ore more facility config files corrupted --Initialize all to "
                                "default value !!"));
        restoreSylogConfig();
        return QStringLiteral("One ore more config files were corrupted -- Initialised to "
                              "predefined values -- check your log config with level or redirect "
                              "command !");
    }
    if (toPredefined) {
        return QStringLiteral("All facilities redirected to predefined values ");
    }
    return QStringLiteral("All facilities redirected to : ") + destination + QStringLiteral(" ");
}
