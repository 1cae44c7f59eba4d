// A request as the web server hands it over (CGI, RFC 3875), and what is answered.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrlQuery>

/// An answer: a status of HTTP (RFC 9110) and a JSON object.
struct Answer
{
    int status = 200;
    QJsonObject body;
};

/// The answer that refuses a request. @p sentence is for a person; @p field names what of the body
/// is wrong, if it is one value.
Answer refusal(int status, const QString &sentence, const QString &field = {});

/// What is asked for.
struct WebRequest
{
    bool change = false; ///< POST, not GET
    QStringList path; ///< the parts behind the gateway's own path, decoded
    QUrlQuery query;
    QJsonObject body; ///< of a POST
};

/// The variables that a CGI program gets, by their names (RFC 3875, 4.1).
using CgiVariables = QHash<QByteArray, QByteArray>;

constexpr qint64 longestBody = 65536; ///< bytes
constexpr int mostLines = 2000; ///< of a log in one answer

/// Reads a request. @p body is what came on standard input, and may be one byte longer than is
/// allowed.
/// @p refused gets status 0, or the answer to a request that cannot be used: of another method,
/// with a body that is too long or no JSON object, or from a page of another site.
WebRequest readRequest(const CgiVariables &variables, const QByteArray &body, Answer *refused);

/// How many lines the query of @p request asks for by "lines": 0 to @c mostLines, @p usual when it
/// does not say. @p refused gets status 0, or the answer to what is no such number.
int linesOf(const WebRequest &request, int usual, Answer *refused);

/// How many bytes of a body the web server has for the program; -1 when its length is not said or
/// no number.
qint64 bodyLength(const CgiVariables &variables);
