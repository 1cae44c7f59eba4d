// Requests to the phone's web server, as a page or a program sends them (curl).
// SPDX-License-Identifier: MIT
#pragma once

#include "literal.h"
#include "phone.h"
#include "programs.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace Web {

/// What came back.
struct Response
{
    int status = 0; ///< of HTTP; 0 when there was none
    QByteArray headers;
    QByteArray body;

    QJsonObject object() const { return QJsonDocument::fromJson(body).object(); }
    QString error() const { return object().value(QStringLiteral("error")).toString(); }
};

/// NAME:PASSWORD of this phone.
inline QString credentials()
{
    return "support:"_s
        + QString::fromUtf8(Phone::read(QStringLiteral("/run/phone/web-password")).trimmed());
}

/// Asks for @p address of the phone's web server with more arguments of curl.
inline Response request(const QString &address, const QStringList &arguments = {},
                        const QString &user = credentials())
{
    QStringList command {"curl"_s, "-s"_s, "-i"_s, "--path-as-is"_s, "-m"_s, "50"_s};
    if (!user.isEmpty()) {
        command += QStringList {"--digest"_s, "-u"_s, user};
    }
    QByteArray rest
        = runProgram(command + arguments + QStringList {"http://127.0.0.1"_s + address}).output;
    Response response;
    // The answer that asks for the password comes before.
    while (rest.startsWith("HTTP/")) {
        const int end = rest.indexOf("\r\n\r\n");
        response.headers = rest.left(end);
        response.status = response.headers.split(' ').value(1).toInt();
        rest = rest.mid(end + 4);
        const int next = rest.indexOf("HTTP/1.1 ");
        if (response.status == 401 && next >= 0) {
            rest = rest.mid(next);
        }
    }
    response.body = rest;
    return response;
}

/// Reads a resource of the gateway.
inline Response get(const QString &resource)
{
    return request("/logging/api/"_s + resource);
}

/// Sends @p body to a resource of the gateway, as the page does.
inline Response post(const QString &resource, const QByteArray &body,
                     const QStringList &arguments
                     = {"-H"_s, "X-Logging-Page: 1"_s, "-H"_s, "Content-Type: application/json"_s})
{
    return request("/logging/api/"_s + resource,
                   arguments + QStringList {"--data-binary"_s, QString::fromUtf8(body)});
}

inline Response post(const QString &resource, const QJsonObject &body)
{
    return post(resource, QJsonDocument(body).toJson(QJsonDocument::Compact));
}

} // namespace Web
