// Standard streams of one run.
// SPDX-License-Identifier: MIT
#include "session.h"

#include <unistd.h>

ExitStatus write(const Presentation &presentation)
{
    writeAll(STDERR_FILENO, presentation.errors.toUtf8());
    if (!writeAll(STDOUT_FILENO, presentation.output.toUtf8())) {
        sayThatItCannotBeWritten();
        return Failed;
    }
    return presentation.status;
}

void note(const Session &session, const QString &text)
{
    writeAll(STDERR_FILENO,
             shownText(QStringLiteral("loggerctl: ") + text, session.screens.errors).toUtf8());
}

ExitStatus unreachable(const Session &session, const Reply &reply)
{
    constexpr int second = 1000; // ms
    writeAll(STDERR_FILENO,
             shownText(presentError(reply.error, reply.service, reply.timedOut,
                                    session.caller.timeout / second),
                       session.screens.errors)
                 .toUtf8());
    return Unreachable;
}

bool confirm(const Session &session, const QString &question)
{
    if (session.line.yes || isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) {
        return true;
    }
    QString prompt = shownText(question + QStringLiteral(" [y/N] "), session.screens.errors);
    prompt.chop(1);
    writeAll(STDERR_FILENO, prompt.toUtf8());
    QByteArray answer;
    char character = 0;
    while (read(STDIN_FILENO, &character, 1) == 1 && character != '\n') {
        answer.append(character);
    }
    const QByteArray word = answer.trimmed().toLower();
    if (word == "y" || word == "yes") {
        return true;
    }
    note(session, QStringLiteral("nothing was changed"));
    return false;
}
