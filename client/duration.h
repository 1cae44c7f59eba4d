// Lengths of time as people type and read them.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// The seconds that @p text stands for: a whole number with s, m, h or nothing behind it (seconds).
/// -1 when it is none, or less than one second or more than a day.
int secondsOf(const QString &text);

/// @p seconds as a person reads it: "45 s", "10 min", "1 h 30 min".
QString durationText(qint64 seconds);
