// Copies a file so that the copy survives a power cut.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/**
 * Copies the file @p source to @p target with its permissions. The copy appears under its name only
 * when it is complete, and it and its directory have been synced to storage (fsync(2)) when this
 * returns.
 * @param error set to the system's error text when the copy fails
 * @return false when there is no complete copy
 */
[[nodiscard]] bool copyDurably(const QString &source, const QString &target, QString *error);
