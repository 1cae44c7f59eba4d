// Standard streams of one run.
// SPDX-License-Identifier: MIT
#include "session.h"

#include "client/tracing.h"
#include "outcomes.h"

#include <QFile>

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
    const QString reason
        = presentError(reply.error, reply.service, reply.timedOut, session.caller.timeout / second);
    Presentation presentation = presentProblem(reason, session.screens);
    presentation.status = Unreachable;
    return write(presentation);
}

bool confirm(const Session &session, const QString &question)
{
    if (session.line.yes || isatty(STDIN_FILENO) != 1) {
        return true;
    }
    // A person sits there, wherever standard error goes.
    QFile terminal(QStringLiteral("/dev/tty"));
    const bool beside = isatty(STDERR_FILENO) != 1 && terminal.open(QIODevice::WriteOnly);
    const int place = beside ? terminal.handle() : STDERR_FILENO;
    QString prompt
        = shownText(question + QStringLiteral(" [y/N] "), screenOf(place, session.line.color));
    prompt.chop(1);
    writeAll(place, prompt.toUtf8());
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

void settle(const Session &session)
{
    const QList<SettledTrace> settled = settleTraces(session.caller);
    for (const SettledTrace &trace : settled) {
        const QString start
            = QStringLiteral("a trace of %1 was cut short: ").arg(trace.note.activity);
        switch (trace.result.outcome) {
        case PutBack::Outcome::Done:
            note(session, start + QStringLiteral("its level is %1 again").arg(trace.result.text));
            break;
        case PutBack::Outcome::LeftAlone:
            note(session,
                 start
                     + QStringLiteral("its level is %1 by now, and stays").arg(trace.result.text));
            break;
        case PutBack::Outcome::Refused:
            note(session,
                 start
                     + QStringLiteral("its level could not be put back to %1: ")
                           .arg(trace.note.former)
                     + trace.result.text);
            break;
        case PutBack::Outcome::Unanswered:
            break; // what was asked for says the same
        }
    }
}
