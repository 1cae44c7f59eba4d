// Which destination texts the service accepts. A purely syntactic check: it looks at no file, no
// host and no socket.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/**
 * Whether @p destination is a destination driver expression of syslog-ng that may be written into
 * logappli.conf, or one of the keywords "V24" and "init". Case matters. A text of more than one
 * line is none: the configuration and the facility files hold one line for it. Nor is one that
 * contains "# BEGIN " or "# END", which would plant an activity in the configuration.
 */
bool isDestinationValid(const QString &destination);

/// Whether @p destination is a udp or tcp expression with an IP address, and a port from 1 to
/// 65535.
bool isNetworkAddressDestination(const QString &destination);

/// Whether @p destination is a udp or tcp expression with a host name, and a port from 1 to 65535.
bool isNetworkHostDestination(const QString &destination);

/**
 * Whether @p text matches @p pattern (QRegExp::RegExp) from its first character on, and the
 * pattern's first group holds a decimal number from 1 to 65535.
 */
bool matchesWithPort(const QString &text, const QString &pattern);

/// What is written into logappli.conf for @p destination: the serial console for "V24", else
/// @p destination itself.
QString driverExpression(const QString &destination);

/// The expression of a remote server, for instance `udp("10.1.2.3" port(514))`.
QString networkDestination(const QString &protocol, const QString &address, const QString &port);
