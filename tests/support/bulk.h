// Levels for programs: the three methods, what they answer, and what they leave behind.
// SPDX-License-Identifier: MIT
#pragma once

#include "configtext.h"
#include "events.h"
#include "literal.h"
#include "logcapture.h"
#include "phone.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTest>
#include <QVariantMap>

namespace Bulk {

/// Level names by activity.
using Levels = QMap<QString, QString>;

inline const QString getLevels = "getSyslogLevels"_s;
inline const QString setLevels = "setSyslogLevels"_s;
inline const QString resetLevels = "resetSyslogLevelsToErr"_s;

inline QVariantMap result(const QString &value, const QString &message)
{
    return {{"value"_s, value}, {"msg"_s, message}};
}

inline const QVariantMap setStarted = result("0"_s, "Fast set log levels OK"_s);
inline const QVariantMap setSucceeded = result("0"_s, "Set log levels OK"_s);
inline const QVariantMap setFailed = result("1"_s, "Set log levels error"_s);
inline const QVariantMap resetStarted = result("0"_s, "Fast set all log levels to error OK"_s);
inline const QVariantMap resetSucceeded = result("0"_s, "Set all log levels to error OK"_s);
inline const QVariantMap resetFailed
    = result("1"_s, "Error when setting all log levels to error"_s);

/// The map that the service answers; for an error reply its name under an empty key.
inline QVariantMap map(const QDBusMessage &reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return {{QString(), reply.errorName()}};
    }
    return qdbus_cast<QVariantMap>(reply.arguments().value(0));
}

inline QVariantMap map(const QString &method, const QVariantList &arguments = {})
{
    return map(Phone::call(method, arguments));
}

/// Returns when all jobs asked for so far are done.
inline void waitForJobs()
{
    Phone::text("level"_s);
}

inline Levels everyActivity(const QString &levelName)
{
    Levels levels;
    for (const QString &activity : Phone::activityNames) {
        levels.insert(activity, levelName);
    }
    return levels;
}

/// @p content with the levels of the activities in @p levels replaced.
inline QByteArray withLevels(QByteArray content, const Levels &levels)
{
    for (auto level = levels.cbegin(); level != levels.cend(); ++level) {
        content = ConfigText::withLevel(content, level.key(), level.value().toUtf8());
    }
    return content;
}

/// What the facility files say, by activity.
inline Levels facilityLevels()
{
    Levels levels;
    for (const QString &activity : Phone::activityNames) {
        const QByteArray content = Phone::read(Phone::facilityFile(activity));
        levels.insert(activity, QString::fromUtf8(content.split('\n').first()));
    }
    return levels;
}

/// What they say when @p levels are set and all else is as at the beginning.
inline Levels facilityLevels(const Levels &levels)
{
    static const Levels numbers {{"emerg"_s, "0"_s},  {"err"_s, "3"_s},  {"warning"_s, "4"_s},
                                 {"notice"_s, "5"_s}, {"info"_s, "6"_s}, {"debug"_s, "7"_s}};
    Levels expected;
    for (const QString &activity : Phone::activityNames) {
        expected.insert(activity, numbers.value(levels.value(activity, "err"_s)));
    }
    return expected;
}

/// The events so far, each as its facility, a blank and its number.
inline QStringList texts(const LevelEvents &events)
{
    QStringList texts;
    for (const QVariantMap &arguments : events.arguments) {
        texts.append(arguments.value("syslog_facility"_s).toString() + QLatin1Char(' ')
                     + arguments.value("syslog_level"_s).toString());
    }
    return texts;
}

/// What the jobs asked for so far have announced. To know that nothing more comes, it changes the
/// level of an activity that no job of the tests changes, so it adds a reload.
inline QStringList announced(const LevelEvents &events)
{
    const QString last = "LoggerModule 3"_s;
    Phone::text("level"_s, {"LoggerModule"_s, "err"_s});
    if (!QTest::qWaitFor([&] { return texts(events).contains(last); }, 10000)) {
        qFatal("the event of a change does not come");
    }
    return texts(events).mid(0, texts(events).indexOf(last));
}

/// Those of @p log's debug lines that setting writes.
inline QStringList lines(const LogCapture &log)
{
    return log.debugs().filter("setSyslogLevels: "_s);
}

} // namespace Bulk
