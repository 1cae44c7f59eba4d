// The patterns of the accepted destinations, in QRegExp's syntax.
// SPDX-License-Identifier: MIT
#include "destinationsyntax.h"

#include <QRegExp>

#include <algorithm>
#include <array>

namespace {

constexpr int lowestPort = 1;
constexpr int highestPort = 65535;

// The closing quote may be missing or repeated, and exactly one blank stands before "port": callers
// have come to rely on what these patterns let through.
const QString ipv4Pattern = QStringLiteral(
    R"re(^(?:udp|tcp) *\("(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\.){3})re"
    R"re((?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)"*\ port *\(([0-9]{1,5})\)\)$)re");

// Never matches a destination: its anchor is optional and a colon follows, and its first group is
// the protocol. QRegExp takes it as it is; other engines refuse it.
const QString ipv6Pattern
    = QStringLiteral(R"re(^?:(udp|tcp) *\("(?:[0-9A-Fa-f]{0,4}:){2,7}[0-9A-Fa-f]{0,4})re"
                     R"re("*\ port *\(([0-9]{1,5})\)\)$)re");

const QString hostPattern
    = QStringLiteral(R"re(^(?:udp|tcp) *\("[a-zA-Z][-\.]?(?:[a-zA-Z0-9]+[-\.]?)*[a-zA-Z0-9]+)re"
                     R"re("* port *\(([0-9]{1,5})\)\)$)re");

// RAM files are reached as file("/var/log/..."); there is no kind of their own.
const std::array<QString, 9> fixedPatterns {
    QStringLiteral(R"re(^program\("[^\(\)]*\"\)$)re"),
    QStringLiteral(R"re(^unix-stream\("[^\(\)]*\"\)$)re"),
    QStringLiteral(R"re(^unix-dgram\("[^\(\)]*\"\)$)re"),
    QStringLiteral(R"re(^pipe\("[^\(\)]*\"\)$)re"),
    QStringLiteral(R"re(^file\("[^\(\)]*\"\)$)re"),
    QStringLiteral(R"re(^flash\("[^\(\)]*\"\)$)re"),
    QStringLiteral(R"re(^usertty\("[^\(\)]*\"\)$)re"),
    QStringLiteral("^V24$"),
    QStringLiteral("^init$"),
};

bool isOneLine(const QString &text)
{
    return std::none_of(text.begin(), text.end(), [](QChar character) {
        return character == QLatin1Char('\n') || character == QLatin1Char('\r')
            || character == QChar::Null;
    });
}

/// Whether a line with @p text in it would be taken for the begin or end line of an activity.
bool holdsBlockMarker(const QString &text)
{
    return text.contains(QLatin1String("# BEGIN ")) || text.contains(QLatin1String("# END"));
}

} // namespace

bool isDestinationValid(const QString &destination)
{
    if (!isOneLine(destination) || holdsBlockMarker(destination)) {
        return false;
    }
    return isNetworkAddressDestination(destination) || isNetworkHostDestination(destination)
        || std::any_of(fixedPatterns.begin(), fixedPatterns.end(), [&](const QString &pattern) {
               return destination.contains(QRegExp(pattern));
           });
}

bool isNetworkAddressDestination(const QString &destination)
{
    return matchesWithPort(destination, ipv4Pattern) || matchesWithPort(destination, ipv6Pattern);
}

bool isNetworkHostDestination(const QString &destination)
{
    return matchesWithPort(destination, hostPattern);
}

bool matchesWithPort(const QString &text, const QString &pattern)
{
    const QRegExp expression(pattern, Qt::CaseSensitive, QRegExp::RegExp);
    if (expression.indexIn(text, 0) != 0) {
        return false;
    }
    const int port = expression.cap(1).toInt();
    return port >= lowestPort && port <= highestPort;
}

QString driverExpression(const QString &destination)
{
    return destination == QLatin1String("V24") ? QStringLiteral("file(\"/dev/console\")")
                                               : destination;
}

QString networkDestination(const QString &protocol, const QString &address, const QString &port)
{
    return protocol + QStringLiteral("(\"") + address + QStringLiteral("\" port(") + port
        + QStringLiteral("))");
}
