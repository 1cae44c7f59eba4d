// Tells that the logging configuration was changed, without asking the service.
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Watches logappli.conf by its inode and times: the service replaces it whole with each change.
class ConfigurationWatch
{
public:
    ConfigurationWatch() { static_cast<void>(hasChanged()); }

    /// Whether it is another file than at the last call. False while it cannot be looked at.
    bool hasChanged();

private:
    quint64 m_inode = 0;
    qint64 m_changed = 0; ///< ns since 1970-01-01 UTC
};
