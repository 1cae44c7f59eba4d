// Checks each value by what may stand in it, not by what may not.
// SPDX-License-Identifier: MIT
#include "destination.h"

#include "client/activitytable.h"
#include "client/logfiles.h"

#include <QRegularExpression>

namespace {

const QString all = QStringLiteral("all");

Answer badValue(const QString &sentence, const char *field)
{
    constexpr int status = 422; // Unprocessable Content
    return refusal(status, sentence, QLatin1String(field));
}

/// Whether @p text is all of the characters and lengths that @p pattern describes.
bool matches(const QString &text, const char *pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(QString::fromLatin1(pattern)))
        .match(text)
        .hasMatch();
}

} // namespace

Request destinationRequest(const QJsonObject &body, Answer *wrong)
{
    *wrong = Answer {0, {}};
    const QString activity = body.value(QStringLiteral("activity")).toString();
    const QString to = body.value(QStringLiteral("to")).toString();
    const QString name = body.value(QStringLiteral("name")).toString();
    const QString address = body.value(QStringLiteral("address")).toString();
    const double port = body.value(QStringLiteral("port")).toDouble();
    constexpr int highestPort = 65535;
    if (to == QLatin1String("ram") || to == QLatin1String("flash")) {
        if (!matches(name, "[A-Za-z0-9][A-Za-z0-9._+-]{0,63}")) {
            *wrong
                = badValue(QStringLiteral("A file's name has letters, digits and . _ + -"), "name");
        }
        return {Operation::RedirectToSupport, {activity, to, name}, 0};
    }
    if (to == QLatin1String("usertty")) {
        if (!matches(name, "[a-z_][a-z0-9_-]{0,31}")) {
            *wrong = badValue(QStringLiteral("A user's name has small letters, digits, _ and -"),
                              "name");
        }
        return {Operation::RedirectToSupport, {activity, to, name}, 0};
    }
    if (to == QLatin1String("udp") || to == QLatin1String("tcp")) {
        const bool isAddress
            = matches(address, "((25[0-5]|2[0-4][0-9]|1[0-9]{2}|[1-9]?[0-9])(\\.(?!$)|$)){4}");
        constexpr int longestName = 253; // RFC 1035
        if (address.size() > longestName
            || (!isAddress && !matches(address, "[A-Za-z]([.-]?[A-Za-z0-9])+"))) {
            *wrong = badValue(QStringLiteral("A log server is an IPv4 address or a host name"),
                              "address");
            return {};
        }
        if (port < 1 || port > highestPort || port != static_cast<int>(port)) {
            *wrong = badValue(QStringLiteral("A port is a number from 1 to 65535"), "port");
            return {};
        }
        return {Operation::RedirectToServer, {activity, to, address}, static_cast<int>(port)};
    }
    if (to == QLatin1String("console")) {
        return {Operation::Redirect, {activity, QStringLiteral("V24")}, 0};
    }
    if (to == QLatin1String("own") && activity == all) {
        return {Operation::Redirect, {all, QStringLiteral("init")}, 0};
    }
    if (to == QLatin1String("own")) {
        const QString own = rowWithOwnDestination(activity).destination;
        return own == ramLogDirectory + activity + QStringLiteral(".log")
            ? Request {Operation::RedirectToSupport, {activity, QStringLiteral("ram"), activity}, 0}
            : Request {Operation::Redirect, {activity, QStringLiteral("file(\"%1\")").arg(own)}, 0};
    }
    *wrong = badValue(QStringLiteral("There is no such kind of destination"), "to");
    return {};
}
