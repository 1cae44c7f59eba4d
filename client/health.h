// How the phone's logging is: what a technician would look at one by one.
// SPDX-License-Identifier: MIT
#pragma once

#include "activitytable.h"
#include "service.h"
#include "tracenote.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/// Whether a configuration file can be used by syslog-ng.
enum class Acceptance {
    Accepted,
    Refused, ///< syslog-ng's own check says no
    Missing, ///< there is no such file
    Unknown, ///< the check could not be run
};

/// Room on the file system of a log directory.
struct Room
{
    QString directory;
    qint64 free = 0; ///< bytes that are left
    qint64 total = 0; ///< bytes; 0 when it is not known
};

/// One look at everything.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which it is looked at
struct Health
{
    bool serviceRuns = false;
    QString serviceProblem; ///< the bus's error when it does not
    QDateTime serviceSince; ///< invalid when it is not known
    bool serviceReplaced = false; ///< an update has replaced the program that still runs

    qint64 daemonProcess = 0; ///< of syslog-ng's pid file; 0 when there is none
    bool daemonRuns = false; ///< whether that process is alive, and syslog-ng
    bool daemonStopped = false; ///< it does nothing until somebody lets it go on
    QDateTime daemonSince;
    Acceptance configuration = Acceptance::Unknown;
    Acceptance backup = Acceptance::Unknown;

    bool listed = false; ///< whether there is a table; the next three are of its activities
    QString listProblem; ///< the service's answer when there is none
    QStringList lostLevelFiles; ///< activities without a facility level file
    QStringList invalidLevelFiles; ///< activities whose facility level file is none
    QList<ActivityRow> changed; ///< not at their initial level and destination

    bool settingsKnown = false;
    QVariantMap remote; ///< settings of the remote log server, by their names
    Room ram;
    Room flash;
    QList<TraceNote> traces; ///< that go on now
};

/// Looks at everything. Runs syslog-ng's check for at most 20 s a file.
Health lookAtHealth(const Caller &caller);

/// What is not well in @p health, a sentence each, with what helps; nothing when all is well. A
/// level or a destination that somebody has chosen is not among it.
QStringList problemsOf(const Health &health);

/// Whether @p lines are a facility level file: level, syslog facility, destination, signature.
bool isLevelFile(const QStringList &lines);

/// Whether the settings of @p remote name a log server that all logs go to.
bool hasLogServer(const QVariantMap &remote);
