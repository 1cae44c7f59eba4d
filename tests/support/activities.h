// The activities of the phone: their names, syslog facilities and log files, and their messages.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QString>
#include <QStringList>
#include <QTest>

#include <algorithm>
#include <vector>

namespace Phone {

struct Activity
{
    QString name;
    QString facility;
    int facilityNumber;
};

/// In the order of the configuration.
inline const std::vector<Activity> activities {
    {QStringLiteral("Telephony"), QStringLiteral("local0"), 16},
    {QStringLiteral("Platform"), QStringLiteral("local1"), 17},
    {QStringLiteral("qvxsipua"), QStringLiteral("local3"), 19},
    {QStringLiteral("qvxaudio"), QStringLiteral("local4"), 20},
    {QStringLiteral("sipmmi"), QStringLiteral("local5"), 21},
    {QStringLiteral("qvxbtmgr"), QStringLiteral("local6"), 22},
    {QStringLiteral("WebApp"), QStringLiteral("local7"), 23},
    {QStringLiteral("SettingsManager"), QStringLiteral("local2"), 18},
    {QStringLiteral("LoggerModule"), QStringLiteral("daemon"), 3},
    {QStringLiteral("defence"), QStringLiteral("auth"), 4},
};

inline const QStringList activityNames = [] {
    QStringList names;
    for (const Activity &activity : activities) {
        names.append(activity.name);
    }
    return names;
}();

/// The one with this name; there has to be one.
inline const Activity &activity(const QString &name)
{
    const auto found
        = std::find_if(activities.cbegin(), activities.cend(),
                       [&](const Activity &activity) { return activity.name == name; });
    if (found == activities.cend()) {
        qFatal("no activity %s", qPrintable(name));
    }
    return *found;
}

inline QString predefinedFile(const QString &activityName)
{
    return activityName == QLatin1String("defence")
        ? QStringLiteral("/log/Defence.log")
        : QStringLiteral("/var/log/") + activityName + QStringLiteral(".log");
}

inline QString predefinedFile(const Activity &activity)
{
    return predefinedFile(activity.name);
}

/// Sends the message until it has arrived in @p file: a reload goes on for a moment after the
/// answer, and what is sent meanwhile may still go the old way.
inline bool logUntilSeen(const Activity &activity, const QString &file, const QString &message,
                         const QString &severity = QStringLiteral("err"))
{
    return QTest::qWaitFor(
        [&] {
            logMessage(activity.name, activity.facility, severity, message);
            return waitForContent(file, message.toUtf8(), 200);
        },
        20000);
}

} // namespace Phone
