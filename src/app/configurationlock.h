// Keeps this process's work on the configuration files apart from other processes' work on them.
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/**
 * A lock (flock(2)) on `/run/QVXApplication/logappli.lock`, which is made when missing, its
 * directory as well. The set-up script replaces files under it, and holds it for a moment only.
 *
 * It never stops the service's work: when another process keeps it for 5 s, or when there can be no
 * such file that is this user's alone, the work goes on without it.
 */
class ConfigurationLock
{
public:
    ConfigurationLock() = default;
    ~ConfigurationLock() { release(); }
    Q_DISABLE_COPY(ConfigurationLock)

    /// Waits for the lock, for at most 5 s.
    void take();
    /// Gives it to others.
    void release();

private:
    int m_descriptor = -1;
};
