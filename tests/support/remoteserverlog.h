// What the service logs about the remote log server at debug level, as texts without severity.
// SPDX-License-Identifier: MIT
#pragma once

#include "configlog.h"
#include "literal.h"
#include "redirecting.h"

#include <QString>
#include <QStringList>

namespace RemoteServerLog {

const QString none = "No remote server"_s;
const QString serverAddress = "Remote Server Address : "_s;

/// The edit of every activity and of the facility files.
inline QStringList edited()
{
    QStringList lines;
    for (const QString &line :
         QStringList {ConfigLog::checked, ConfigLog::reloaded} + ConfigLog::eachActivity()) {
        lines.append(line.mid(2));
    }
    return lines;
}

/// Every activity is sent to @p destination, from the building of that text on.
inline QStringList applied(const QString &destination)
{
    return QStringList(serverAddress + destination) + edited()
        + QStringList(Redirecting::allMoved(destination));
}

/// The same for a destination that is refused.
inline QStringList refused(const QString &destination)
{
    return {serverAddress + destination, Redirecting::allNotValid(destination)};
}

} // namespace RemoteServerLog
