// The remote log server as the phone's settings describe it.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// Four settings of the phone, as texts. They are empty until they have been read.
struct RemoteServerConfig
{
    QString exist; ///< "true" when there is a remote server; any other text means none
    QString address; ///< IPv4 address or host name
    QString port; ///< decimal
    QString protocol; ///< "udp" or "tcp"
};

/// The one record of this process. It is used on the main thread only.
extern RemoteServerConfig remoteServerConfig;

/// The destination text of @p record; Setting::UNDEFINEDVALUE when the protocol, the address or the
/// port is not set. Empty fields make a text that no check lets through.
QString buildRemoteDestination(const RemoteServerConfig &record);
