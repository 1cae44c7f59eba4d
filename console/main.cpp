// Entry of loggerctl, the console of the phone's logging configuration.
// SPDX-License-Identifier: MIT
#include "actions.h"
#include "commandline.h"
#include "stopsignals.h"

#include <QVX/setting.h>

#include <QCoreApplication>
#include <QTextCodec>

#include <csignal>

#include <unistd.h>

namespace {

/// The connection to the bus. Its thread does not take the signals that end a trace in order.
QDBusConnection connectToBus()
{
    const HeldStopSignals held;
    return QDBusConnection::systemBus();
}

int ask(const CommandLine &line)
{
    Session session {
        line,
        Caller {connectToBus(), line.timeout, nullptr, nullptr},
        {screenOf(STDOUT_FILENO, line.color), screenOf(STDERR_FILENO, line.color), line.json}};
    // The bus library ignores it; `loggerctl ... | head` ends like any other program.
    static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
    if (!session.caller.bus.isConnected() && line.request.operation != Operation::Check) {
        Reply reply;
        reply.error = QDBusError(QDBusError::NoServer, QString());
        return unreachable(session, reply);
    }
    registerDBusSetting();
    if (isatty(STDERR_FILENO) == 1) {
        session.caller.slow = [&session] {
            note(
                session,
                QStringLiteral("waiting for the answer; a reload or an archive may take a minute"));
        };
    }
    return carryOut(session);
}

} // namespace

int main(int argc, char *argv[])
{
    occupyStandardDescriptors();
    // Words and answers mean the same bytes whatever the locale is.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    const CommandLine line = readCommandLine(QCoreApplication::arguments());
    const auto laidOut = [&line](int descriptor) {
        const Screen screen = screenOf(descriptor, ColorMode::Auto);
        return screen.terminal ? wrapped(visible(line.text), screen.width) : line.text;
    };
    switch (line.outcome) {
    case CommandLine::Outcome::Show:
        return write({laidOut(STDOUT_FILENO), QString(), Done});
    case CommandLine::Outcome::Refuse:
        return write({QString(), laidOut(STDERR_FILENO), WrongUsage});
    case CommandLine::Outcome::Ask:
        break;
    }
    return ask(line);
}
