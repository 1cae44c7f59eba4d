// logginggateway: answers one request for the web page. The web server starts it (CGI, RFC 3875).
// SPDX-License-Identifier: MIT
#include "events.h"
#include "page.h"
#include "request.h"
#include "resources.h"
#include "streamplace.h"

#include <QVX/setting.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextCodec>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace {

constexpr int longestRequest = 140; // s, for all that is no stream; the page waits 150
constexpr int longestCall = 100000; // ms
constexpr int second = 1000; // ms
constexpr int firstViewTimeout = 3000; // ms
constexpr unsigned grace = 2; // s for what does not look at the clock

volatile std::sig_atomic_t answered = 0; ///< whether an answer was begun

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

/// Answers for a request that hangs in something else than a call: a disk, a reader of its body.
void giveUp(int /*signal*/)
{
    constexpr std::string_view answer
        = "Status: 504\r\nContent-Type: application/json\r\nCache-Control: no-store\r\n\r\n"
          "{\"error\":\"The phone could not answer in time\"}";
    if (answered == 0) {
        [[maybe_unused]] const ssize_t written
            = ::write(STDOUT_FILENO, answer.data(), answer.size());
    }
    _exit(answered == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
}

void writeAnswer(int status, const QByteArray &type, const QByteArray &body)
{
    answered = 1;
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
    clearenv(); // NOLINT(concurrency-mt-unsafe): there is one thread yet
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1); // NOLINT(concurrency-mt-unsafe): as above
    return variables;
}

/// A number from 1 to 3600 that the web server's configuration can set, but no request; @p usual
/// otherwise.
int settingOf(const CgiVariables &variables, const char *name, int usual)
{
    constexpr int most = 3600;
    const int value = variables.value(name).toInt();
    return value > 0 && value <= most ? value : usual;
}

QByteArray readBody(qint64 length)
{
    QByteArray body;
    constexpr size_t block = 4096;
    std::array<char, block> buffer {};
    while (body.size() < length && body.size() <= longestBody) {
        const ssize_t size = read(STDIN_FILENO, buffer.data(), buffer.size());
        if (size <= 0) {
            break;
        }
        body.append(buffer.data(), static_cast<int>(size));
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
    const int time = settingOf(variables, "LOGGING_GATEWAY_TIMEOUT", longestRequest); // s
    static_cast<void>(std::signal(SIGALRM, giveUp));
    alarm(static_cast<unsigned>(time) + grace);
    Caller caller {QDBusConnection(QString()), std::min(longestCall, time * second), nullptr,
                   nullptr, QDeadlineTimer(qint64(time) * second)};
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    registerDBusSetting();

    Answer refused;
    const WebRequest request = readRequest(variables, readBody(bodyLength(variables)), &refused);
    if (refused.status != 0) {
        writeAnswer(refused);
        return EXIT_SUCCESS;
    }
    caller.bus = QDBusConnection::systemBus();
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
        if (page.isNull()) {
            writeAnswer(refusal(500, QStringLiteral("The page cannot be read: ") + pagePath));
        } else {
            writeAnswer(200, "text/html; charset=utf-8", page);
        }
        return EXIT_SUCCESS;
    }
    if (request.path == QStringList {QStringLiteral("events")} && !request.change) {
        const Answer none
            = streamRefusal(request, settingOf(variables, "LOGGING_GATEWAY_STREAMS", usualStreams));
        if (none.status != 0) {
            writeAnswer(none);
            return EXIT_SUCCESS;
        }
        alarm(0);
        caller.until = QDeadlineTimer(QDeadlineTimer::Forever);
        write("Status: 200\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n\r\n");
        return streamEvents(request, caller);
    }
    writeAnswer(answerTo(request, caller));
    return EXIT_SUCCESS;
}
