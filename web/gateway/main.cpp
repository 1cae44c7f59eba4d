// logginggateway: answers one request for the web page. The web server starts it (CGI, RFC 3875).
// SPDX-License-Identifier: MIT
#include "events.h"
#include "page.h"
#include "request.h"
#include "resources.h"

#include <QVX/setting.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextCodec>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <unistd.h>

namespace {

constexpr int usualTimeout = 100; // s for a call
constexpr int second = 1000; // ms
constexpr int firstViewTimeout = 3000; // ms
constexpr unsigned longestRequest = 300; // s, for all that is no stream

void write(const QByteArray &bytes)
{
    const char *next = bytes.constData();
    auto left = static_cast<size_t>(bytes.size());
    while (left > 0) {
        const ssize_t written = ::write(STDOUT_FILENO, next, left);
        if (written <= 0) {
            return; // nobody waits for it any more
        }
        next += written;
        left -= static_cast<size_t>(written);
    }
}

void writeAnswer(int status, const QByteArray &type, const QByteArray &body)
{
    write("Status: " + QByteArray::number(status) + "\r\nContent-Type: " + type
          + "\r\nCache-Control: no-store\r\n\r\n" + body);
}

void writeAnswer(const Answer &answer)
{
    writeAnswer(answer.status, "application/json",
                QJsonDocument(answer.body).toJson(QJsonDocument::Compact));
}

CgiVariables takeVariables()
{
    CgiVariables variables;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const QByteArray text(*entry);
        const int equals = text.indexOf('=');
        variables.insert(text.left(equals), text.mid(equals + 1));
    }
    // This program may more than the one that starts it, so nothing of the environment is to change
    // what the libraries do.
    clearenv();
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    return variables;
}

QByteArray readBody(qint64 length)
{
    QByteArray body;
    char buffer[4096];
    while (body.size() < length && body.size() <= longestBody) {
        const ssize_t size = read(STDIN_FILENO, buffer, sizeof buffer);
        if (size <= 0) {
            break;
        }
        body.append(buffer, static_cast<int>(size));
    }
    return body;
}

} // namespace

int main(int argc, char *argv[])
{
    const CgiVariables variables = takeVariables();
    // The right comes from the file's group; children are to have it as their own.
    if (setregid(getegid(), getegid()) != 0) {
        return EXIT_FAILURE;
    }
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    alarm(longestRequest);
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    registerDBusSetting();

    Answer refused;
    const WebRequest request = readRequest(variables, readBody(bodyLength(variables)), &refused);
    if (refused.status != 0) {
        writeAnswer(refused);
        return EXIT_SUCCESS;
    }
    // The web server's configuration can set another one; a request cannot.
    const int timeout = variables.value("LOGGING_GATEWAY_TIMEOUT").toInt();
    const Caller caller {QDBusConnection::systemBus(),
                         (timeout > 0 ? timeout : usualTimeout) * second, nullptr, nullptr};
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // the bus library has its own opinion
    if (!caller.bus.isConnected()) {
        writeAnswer(refusal(503, QStringLiteral("The phone's message bus is not running")));
        return EXIT_SUCCESS;
    }
    if (request.path.isEmpty() && !request.change) {
        // A page that says what is wrong is better than none.
        Caller brief = caller;
        brief.timeout = std::min(caller.timeout, firstViewTimeout);
        const QByteArray page = filledPage(activities(brief));
        writeAnswer(page.isNull() ? 500 : 200, "text/html; charset=utf-8", page);
        return EXIT_SUCCESS;
    }
    if (request.path == QStringList {QStringLiteral("events")} && !request.change) {
        alarm(0);
        write("Status: 200\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n\r\n");
        return streamEvents(request, caller);
    }
    writeAnswer(answerTo(request, caller));
    return EXIT_SUCCESS;
}
