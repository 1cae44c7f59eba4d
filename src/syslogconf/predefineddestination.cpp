// Two directories: the defence log is in flash, all others are in RAM.
// SPDX-License-Identifier: MIT
#include "predefineddestination.h"

QString predefinedDestination(const QString &activity, DefenceLog defenceLog)
{
    const QLatin1String defence("defence");
    const bool isInFlash
        = defenceLog == DefenceLog::OfAnyDefence ? activity.contains(defence) : activity == defence;
    if (isInFlash) {
        return QStringLiteral("file(\"/log/Defence.log\")");
    }
    return QStringLiteral("file(\"/var/log/") + activity + QStringLiteral(".log\")");
}
