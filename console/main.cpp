// Entry of loggerctl, the console of the phone's logging configuration.
// SPDX-License-Identifier: MIT
#include "commandline.h"
#include "presentation.h"
#include "service.h"
#include "watch.h"

#include <QVX/setting.h>

#include <QCoreApplication>
#include <QTextCodec>

#include <csignal>

#include <unistd.h>

namespace {

int write(const Presentation &presentation)
{
    writeAll(STDERR_FILENO, presentation.errors.toUtf8());
    if (!writeAll(STDOUT_FILENO, presentation.output.toUtf8())) {
        sayThatItCannotBeWritten();
        return Failed;
    }
    return presentation.status;
}

int writeError(const QString &text)
{
    writeAll(STDERR_FILENO, text.toUtf8());
    return Unreachable;
}

void sayThatItIsSlow()
{
    writeAll(STDERR_FILENO,
             "loggerctl: waiting for the answer; a reload or an archive may take a minute\n");
}

int carryOut(const CommandLine &line)
{
    const Screens screens {screenOf(STDOUT_FILENO, line.color), screenOf(STDERR_FILENO, line.color),
                           line.json};
    const bool watching = line.request.operation == Operation::Watch;
    if (watching) {
        holdStopSignals();
    }
    const QDBusConnection bus = QDBusConnection::systemBus();
    // The bus library ignores it; `loggerctl ... | head` ends like any other program.
    static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
    const int seconds = line.timeout / 1000;
    if (!bus.isConnected()) {
        return writeError(
            presentError(QDBusError(QDBusError::NoServer, QString()), QString(), false, seconds));
    }
    if (watching) {
        return watch(bus, screens);
    }
    registerDBusSetting();
    const bool attended = isatty(STDERR_FILENO) == 1;
    const Reply reply = ask(bus, line.request, line.timeout, [attended] {
        if (attended) {
            sayThatItIsSlow();
        }
    });
    if (reply.error.isValid()) {
        return writeError(presentError(reply.error, reply.service, reply.timedOut, seconds));
    }
    return write(present(line.request, reply.answer, screens));
}

} // namespace

int main(int argc, char *argv[])
{
    occupyStandardDescriptors();
    // Words and answers mean the same bytes whatever the locale is.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    const CommandLine line = readCommandLine(QCoreApplication::arguments());
    const Screen errors = screenOf(STDERR_FILENO, ColorMode::Auto);
    switch (line.outcome) {
    case CommandLine::Outcome::Show:
        return write({line.text, QString(), Done});
    case CommandLine::Outcome::Refuse:
        return write({QString(), errors.terminal ? visible(line.text) : line.text, WrongUsage});
    case CommandLine::Outcome::Ask:
        break;
    }
    return carryOut(line);
}
