// The level command, and the files that it may change.
// SPDX-License-Identifier: MIT
#pragma once

#include "events.h"
#include "files.h"
#include "literal.h"
#include "phone.h"

#include <QByteArray>
#include <QString>
#include <QTest>

namespace Levels {

// What is answered when facility files could not be written.
const QString oneCorrupted
    = "One or more log config file corrupted -- file restored to predefined value !"_s;
const QString someCorrupted
    = "One ore more facility config file corrupted -- restored to predefined value ! -- Use level "
      "or redirect command to verify your log config"_s;
const QString noActivities = "No logger configuration file !!"_s;

/// Asks the service for a change. @return its answer
inline QString level(const QString &activity, const QString &levelName)
{
    return Phone::text("level"_s, {activity, levelName});
}

/// Whether none of @p events has been sent before that of another change, which is made here: they
/// are seen in the event loop only, so that there would be none at once in any case.
inline bool nothingWasAnnounced(const LevelEvents &events)
{
    level("Platform"_s, "err"_s);
    return QTest::qWaitFor([&] { return !events.arguments.isEmpty(); }, 20000)
        && events.arguments.first().value("syslog_facility"_s) == "Platform"_s;
}

/// The first line of the facility file.
inline QByteArray facilityLevel(const QString &facility)
{
    return Phone::read(Phone::facilityFile(facility)).split('\n').first();
}

/// Everything that a level change may touch.
inline QByteArray state()
{
    QByteArray all = Phone::read(Phone::liveConfig) + Phone::read(Phone::backup);
    for (const QString &name : entriesOf(Phone::facilityDirectory)) {
        all += name.toUtf8() + '\0' + Phone::read(Phone::facilityDirectory + name);
    }
    return all;
}

} // namespace Levels
