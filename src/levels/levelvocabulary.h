// The syslog levels that the phone knows by name.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/*
 * Six of the eight syslog severities (RFC 5424, section 6.2.1) have a name here: "emerg" 0, "err"
 * 3, "warning" 4, "notice" 5, "info" 6, "debug" 7. Severities 1 and 2 are refused everywhere.
 */

/// Whether @p name is exactly one of the six names. Case matters.
bool isValidLevel(const QString &name);

/// The number of @p name; 3 for any text that is none of the six names.
int levelFromName(const QString &name);

/// The name of @p level; "err" for any number that has none.
QString levelToName(int level);

/// Whether @p level is one of the six numbers.
bool isValidLevelNumber(int level);
