// What a request has to be before anything is done for it.
// SPDX-License-Identifier: MIT
#include "request.h"

#include <QJsonDocument>
#include <QTextCodec>
#include <QUrl>

namespace {

/// Whether @p bytes are well-formed UTF-8.
bool isUtf8(const QByteArray &bytes)
{
    QTextCodec::ConverterState state;
    QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// Whether the page that sent the request is the phone's own. A browser names a page's origin in
/// each POST (RFC 6454); other programs do not.
bool isFromThisHost(const CgiVariables &variables)
{
    const QByteArray origin = variables.value("HTTP_ORIGIN");
    if (origin.isNull()) {
        return true;
    }
    const QByteArray scheme = variables.value("HTTPS") == "on" ? "https://" : "http://";
    return origin == scheme + variables.value("HTTP_HOST");
}

} // namespace

Answer refusal(int status, const QString &sentence, const QString &field)
{
    Answer answer {status, {{QStringLiteral("error"), sentence}}};
    if (!field.isEmpty()) {
        answer.body.insert(QStringLiteral("field"), field);
    }
    return answer;
}

qint64 bodyLength(const CgiVariables &variables)
{
    bool isNumber = false;
    const qint64 length = variables.value("CONTENT_LENGTH").toLongLong(&isNumber);
    return isNumber && length >= 0 ? length : -1;
}

int linesOf(const WebRequest &request, int usual, Answer *refused)
{
    constexpr int badValue = 422;
    const QString lines = QStringLiteral("lines");
    *refused = Answer {0, {}};
    if (!request.query.hasQueryItem(lines)) {
        return usual;
    }
    bool isNumber = false;
    const uint number = request.query.queryItemValue(lines).toUInt(&isNumber);
    if (!isNumber || number > mostLines) {
        *refused = refusal(
            badValue, QStringLiteral("A number of lines is from 0 to %1").arg(mostLines), lines);
        return usual;
    }
    return static_cast<int>(number);
}

WebRequest readRequest(const CgiVariables &variables, const QByteArray &body, Answer *refused)
{
    enum Status {
        BadRequest = 400,
        Forbidden = 403,
        BadMethod = 405,
        TooLong = 413,
        BadType = 415
    };
    *refused = Answer {0, {}};
    WebRequest request;
    const QByteArray method = variables.value("REQUEST_METHOD");
    request.change = method == "POST";
    if (!request.change && method != "GET") {
        *refused = refusal(BadMethod, QStringLiteral("Only GET and POST are known here"));
        return request;
    }
    // The web server has decoded the path; it is taken from the address, so that a name may hold
    // "/".
    const QByteArray address = variables.value("REQUEST_URI");
    const QByteArray own = variables.value("SCRIPT_NAME");
    QByteArray rest
        = address.left(address.indexOf('?') < 0 ? address.size() : address.indexOf('?'));
    rest = rest.startsWith(own) ? rest.mid(own.size()) : variables.value("PATH_INFO");
    const QList<QByteArray> parts = rest.split('/');
    for (const QByteArray &part : parts) {
        if (!part.isEmpty()) {
            request.path.append(QUrl::fromPercentEncoding(part));
        }
    }
    // A form writes a blank as "+".
    request.query = QUrlQuery(
        QString::fromLatin1(QByteArray(variables.value("QUERY_STRING")).replace("+", "%20")));
    const QByteArray site = variables.value("HTTP_SEC_FETCH_SITE");
    if (!request.path.isEmpty() && (site == "cross-site" || site == "same-site")) {
        // It would not get the answer; it is not to have the work done either.
        *refused = refusal(Forbidden, QStringLiteral("This is for the phone's own page only"));
        return request;
    }
    if (!request.change) {
        return request;
    }
    if (variables.value("HTTP_X_LOGGING_PAGE") != "1" || !isFromThisHost(variables)) {
        *refused = refusal(Forbidden,
                           QStringLiteral("Changes are accepted from the phone's own page only"));
    } else if (variables.value("CONTENT_TYPE").split(';').first().trimmed().toLower()
               != "application/json") {
        *refused = refusal(BadType, QStringLiteral("A change is sent as application/json"));
    } else if (bodyLength(variables) > longestBody || body.size() > longestBody) {
        *refused = refusal(TooLong, QStringLiteral("A change has at most 64 kB"));
    } else if (body.size() != bodyLength(variables) || !isUtf8(body)) {
        *refused = refusal(BadRequest, QStringLiteral("The change is cut off, or not UTF-8"));
    } else {
        const QJsonDocument document = QJsonDocument::fromJson(body);
        request.body = document.object();
        if (!document.isObject()) {
            *refused = refusal(BadRequest, QStringLiteral("The change is no JSON object"));
        }
    }
    return request;
}
