// What may be signalled when syslog-ng is told to reload.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/**
 * Whether @p pid, the text of a pid file, may be handed to kill(1). Zero and negative numbers are
 * refused, because kill(2) takes them as process groups or as every process there is. So are
 * numbers that a pid_t does not hold, which would wrap around to such a one, and texts that begin
 * like a negative number: kill(1) reads "-1abc" as an option and signals everybody. Any other text
 * is kill's own business.
 */
bool isSignallablePid(const QString &pid);
