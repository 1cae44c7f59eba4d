// posix_spawn(3) with a time-out for the end of the program.
// SPDX-License-Identifier: MIT
#include "childprocess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>

#include <csignal>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// Starts the program. @return its pid, or -1
pid_t spawn(const QString &program, const QStringList &arguments)
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

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
    // The bus library ignores SIGPIPE, which a program would inherit.
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    pid_t pid = -1;
    const int error = posix_spawnp(&pid, words.front().constData(), &files, &attributes,
                                   pointers.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    return error == 0 ? pid : -1;
}

/// Waits for the end of the program and collects its exit status.
/// @return false when it runs still at the end of the time
bool waitForEnd(pid_t pid, int timeout)
{
    const QDeadlineTimer deadline(timeout);
    // pidfd_open(2) came with Linux 5.3; on an older kernel the end is looked for again and again.
    pollfd end {static_cast<int>(syscall(SYS_pidfd_open, pid, 0)), POLLIN, 0};
    const int longest = end.fd >= 0 ? timeout : 1;
    bool ended = false;
    while (!ended) {
        ended = waitpid(pid, nullptr, WNOHANG) != 0;
        if (ended || deadline.hasExpired()) {
            break;
        }
        poll(&end, 1, qMin(longest, static_cast<int>(deadline.remainingTime())));
    }
    if (end.fd >= 0) {
        close(end.fd);
    }
    return ended;
}

} // namespace

QString runProgram(const QString &program, const QStringList &arguments, int timeout)
{
    const pid_t pid = spawn(program, arguments);
    if (pid < 0) {
        // It cannot be started. This fails in the same way, and knows how to say it.
        QProcess process;
        process.start(program, arguments);
        return process.waitForStarted(timeout) && process.waitForFinished(timeout)
            ? QString()
            : process.errorString();
    }
    if (waitForEnd(pid, timeout)) {
        return {};
    }
    ::kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    return QCoreApplication::translate("QProcess", "Process operation timed out");
}
