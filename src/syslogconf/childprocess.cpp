// posix_spawn(3) with a time-out for the end of the program and of all it has started.
// SPDX-License-Identifier: MIT
#include "childprocess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

QString startErrorText(int error)
{
    // posix_spawn(3) does not say which step has failed; these two are fork(2)'s.
    return error == EAGAIN || error == ENOMEM
        ? QCoreApplication::translate("QProcess", "Resource error (fork failure): %1")
              .arg(qt_error_string(error))
        : QStringLiteral("execvp: ") + qt_error_string(error);
}

/// Looks whether a child has ended, and leaves its exit status to be asked for.
/// @param endedBySignal set when it has
bool hasEnded(pid_t pid, bool *endedBySignal = nullptr)
{
    siginfo_t end = {};
    if (waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | WNOHANG | WNOWAIT) != 0) {
        return errno != EINTR; // somebody else has asked for its exit status
    }
    if (endedBySignal) {
        *endedBySignal = end.si_code == CLD_KILLED || end.si_code == CLD_DUMPED;
    }
    return end.si_pid == pid;
}

/// Collects the exit status of a child that ends now. @return it, or -1 when a signal ended it
int collect(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

pid_t startProgram(const QString &program, const QStringList &arguments, ProgramOutput output,
                   QString *error)
{
    std::vector<QByteArray> words {QFile::encodeName(program)};
    for (const QString &argument : arguments) {
        words.push_back(argument.toLocal8Bit());
    }
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (QByteArray &word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    // Of a terminal, a group that is not in the foreground would be stopped when it reads.
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    if (output == ProgramOutput::Dropped) {
        posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
    }
    // The bus library ignores SIGPIPE, which a program would inherit.
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);

    pid_t pid = -1;
    const int failure = posix_spawnp(&pid, words.front().constData(), &files, &attributes,
                                     pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    if (failure != 0) {
        *error = startErrorText(failure);
        return -1;
    }
    return pid;
}

bool waitForEnd(pid_t pid, int timeout)
{
    const QDeadlineTimer deadline(timeout);
    // pidfd_open(2) came with Linux 5.3; on an older kernel the end is looked for again and again.
    pollfd end {static_cast<int>(syscall(SYS_pidfd_open, pid, 0)), POLLIN, 0};
    const int longest = end.fd >= 0 ? timeout : 1;
    bool ended = hasEnded(pid);
    while (!ended && !deadline.hasExpired()) {
        poll(&end, 1, qMin(longest, static_cast<int>(deadline.remainingTime())));
        ended = hasEnded(pid);
    }
    if (end.fd >= 0) {
        close(end.fd);
    }
    return ended;
}

QString timedOutText()
{
    return QCoreApplication::translate("QProcess", "Process operation timed out");
}

ProgramEnd runProgram(const QString &program, const QStringList &arguments, int timeout,
                      ProgramOutput output)
{
    ProgramEnd end;
    const pid_t pid = startProgram(program, arguments, output, &end.error);
    if (pid < 0) {
        return end;
    }
    if (!waitForEnd(pid, timeout)) {
        end.error = timedOutText();
    }
    bool endedBySignal = false;
    hasEnded(pid, &endedBySignal);
    if (endedBySignal || !end.error.isEmpty()) {
        // Before the leader's status is collected: no other group can have its number until then.
        ::kill(-pid, SIGKILL);
    }
    const int exitStatus = collect(pid);
    if (end.error.isEmpty()) {
        end.exitStatus = exitStatus;
    }
    return end;
}
