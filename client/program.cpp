// Child processes with a time-out.
// SPDX-License-Identifier: MIT
#include "program.h"

#include <QProcess>

ProgramOutcome outcomeOf(const QString &program, const QStringList &arguments, int timeout)
{
    QProcess process;
    process.start(program, arguments, QIODevice::ReadOnly);
    if (!process.waitForFinished(timeout)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    ProgramOutcome outcome;
    outcome.output = process.readAllStandardOutput();
    outcome.errors = process.readAllStandardError();
    if (process.exitStatus() == QProcess::NormalExit) {
        outcome.status = process.exitCode();
    }
    return outcome;
}
