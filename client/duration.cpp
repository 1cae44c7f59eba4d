// Seconds, minutes, hours.
// SPDX-License-Identifier: MIT
#include "duration.h"

#include <algorithm>

namespace {

constexpr int minute = 60;
constexpr int hour = 60 * minute;
constexpr int day = 24 * hour;

} // namespace

int secondsOf(const QString &text)
{
    int unit = 1;
    QString digits = text;
    if (text.endsWith(QLatin1Char('h'))) {
        unit = hour;
    } else if (text.endsWith(QLatin1Char('m'))) {
        unit = minute;
    }
    if (unit != 1 || text.endsWith(QLatin1Char('s'))) {
        digits.chop(1);
    }
    const bool plain = std::all_of(digits.begin(), digits.end(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
    const int number = plain ? digits.toInt() : 0; // 0 also for none, and for too large a number
    return number >= 1 && number <= day / unit ? number * unit : -1;
}

QString durationText(qint64 seconds)
{
    if (seconds < minute) {
        return QStringLiteral("%1 s").arg(seconds);
    }
    const qint64 hours = seconds / hour;
    const qint64 minutes = seconds % hour / minute;
    const qint64 rest = seconds % minute;
    QString text;
    if (hours > 0) {
        text = QStringLiteral("%1 h").arg(hours);
    }
    if (minutes > 0) {
        text += (text.isEmpty() ? QString() : QStringLiteral(" "))
            + QStringLiteral("%1 min").arg(minutes);
    }
    if (rest > 0 && hours == 0) {
        text += QStringLiteral(" %1 s").arg(rest);
    }
    return text;
}
