// The right of one process to run a module.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

enum class ModuleLock {
    Taken, ///< by this process now, or before
    HeldByOther, ///< another process runs or starts the module
    Unavailable, ///< nobody can tell: the file cannot be opened, or is not this user's own
};

/**
 * Takes the lock of the module @p name, without waiting: flock(2) on the file
 * `/run/QVXApplication/<name>.lock`, which is created when missing, its directory as well. The lock
 * is kept until the process ends; the kernel lets it go then, in whatever way it ends. Programs
 * that the process starts do not get it.
 * @param problem says why it is unavailable
 */
ModuleLock takeModuleLock(const QString &name, QString *problem);
