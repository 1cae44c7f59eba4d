// The log file that an activity writes to unless it was redirected.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Whose own log is the defence log in flash.
enum class DefenceLog {
    OfAnyDefence, ///< of every activity with "defence" in its name, as in logappli.conf
    OfDefenceAlone, ///< of "defence" only: a facility file goes by the whole name
};

/// The destination driver expression of @p activity's own log: /log/Defence.log as @p defenceLog
/// says, else /var/log/<activity>.log.
QString predefinedDestination(const QString &activity, DefenceLog defenceLog);
