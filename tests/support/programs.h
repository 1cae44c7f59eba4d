// Runs a program to its end.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>

/// What a program did and said.
struct Outcome
{
    int status = -1; ///< -1 when it did not end by itself in time
    QByteArray output;
    QByteArray errors;
};

/// Runs @p command, the first word of which is searched in PATH, for a minute at most.
inline Outcome runProgram(QStringList command,
                          const QProcessEnvironment &environment
                          = QProcessEnvironment::systemEnvironment())
{
    constexpr int deadline = 60000; // ms
    const QString program = command.takeFirst();
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, command);
    if (!process.waitForFinished(deadline)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}
