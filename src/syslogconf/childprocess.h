// Starts programs, each in a process group of its own, and waits for their ends.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

/// Where the output and the errors of a program go.
enum class ProgramOutput {
    Dropped,
    Forwarded, ///< to the service's own
};

/**
 * Starts @p program, searched in PATH, with @p arguments, without input, as the leader of a process
 * group of its own. QProcess would copy the page tables of the whole service for it (fork(2));
 * posix_spawn(3) does not.
 * @param error what QProcess says when it cannot be started
 * @return its pid, which is the group's number too; -1 when it cannot be started
 */
pid_t startProgram(const QString &program, const QStringList &arguments, ProgramOutput output,
                   QString *error);

/**
 * Waits for the end of a child of this process, without asking for its exit status: until somebody
 * does (waitpid(2)), its pid stays its own.
 * @param timeout in milliseconds
 * @return false when it runs still at the end of the time
 */
bool waitForEnd(pid_t pid, int timeout);

/// What QProcess says of a program that took too long.
QString timedOutText();

/// What became of a program.
struct ProgramEnd
{
    QString error; ///< empty when it ran to its end in time, else what QProcess says then
    int exitStatus = -1; ///< -1 also when it took too long or a signal ended it
};

/**
 * Runs a program as startProgram() does, and waits for its end. When it takes longer than
 * @p timeout ms or is ended by a signal, its whole group ends with it (SIGKILL), so that nothing it
 * has started goes on behind an answer. What it leaves behind when it ends by itself is left alone.
 */
ProgramEnd runProgram(const QString &program, const QStringList &arguments, int timeout,
                      ProgramOutput output);
