// The tracer behind CutOff.
// SPDX-License-Identifier: MIT
#include "cutoff.h"

#include <QByteArray>
#include <QFile>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace CutOff {

namespace {

constexpr int options = PTRACE_O_TRACEEXEC | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK
    | PTRACE_O_TRACECLONE | PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL;

constexpr std::array changing {
#ifdef SYS_rename
    SYS_rename,   SYS_unlink,    SYS_mkdir,           SYS_rmdir,    SYS_link,      SYS_symlink,
    SYS_creat,
#endif
    SYS_renameat, SYS_renameat2, SYS_unlinkat,        SYS_mkdirat,  SYS_linkat,    SYS_symlinkat,
    SYS_write,    SYS_writev,    SYS_copy_file_range, SYS_sendfile, SYS_ftruncate,
};

/// For seccomp(2): stops a traced process before each system call that changes a file or a
/// directory. Writes into pipes are among them.
std::vector<sock_filter> stepFilter()
{
    constexpr auto number = static_cast<std::uint32_t>(offsetof(seccomp_data, nr));
    // The lower half of the third argument.
    constexpr auto openFlags = static_cast<std::uint32_t>(offsetof(seccomp_data, args) + 16);
    std::vector<sock_filter> filter {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, number)};
    for (const long call : changing) {
        filter.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    }
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3));
    filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, openFlags));
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_CREAT | O_TRUNC, 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return filter;
}

/// Starts the program, which waits until this process traces it. @return its pid
pid_t startTraced(const QStringList &command)
{
    std::vector<QByteArray> words;
    for (const QString &word : command) {
        words.push_back(QFile::encodeName(word));
    }
    std::vector<char *> pointers;
    for (QByteArray &word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    std::vector<sock_filter> filter = stepFilter();
    const sock_fprog steps {static_cast<unsigned short>(filter.size()), filter.data()};
    std::array<int, 2> go {};
    if (pipe2(go.data(), O_CLOEXEC) != 0) {
        return -1;
    }
    const pid_t process = fork();
    if (process == 0) {
        char byte = 0;
        close(go[1]);
        if (read(go[0], &byte, 1) == 1 && prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0
            && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &steps) == 0) {
            execv(pointers.front(), pointers.data());
        }
        _exit(127);
    }
    const bool traced = process > 0 && ptrace(PTRACE_SEIZE, process, nullptr, options) == 0;
    if (traced) {
        [[maybe_unused]] const ssize_t written = write(go[1], "", 1);
    }
    close(go[0]);
    close(go[1]);
    return process;
}

} // namespace

Run run(const QStringList &command, int last)
{
    Run result;
    const pid_t leader = startTraced(command);
    std::set<pid_t> processes {leader};
    int status = 0;
    pid_t process = leader;
    while (process > 0) {
        do {
            process = waitpid(-1, &status, __WALL);
        } while (process == -1 && errno == EINTR);
        if (process == -1) {
            break; // none is left
        }
        if (!WIFSTOPPED(status)) {
            processes.erase(process);
            if (process == leader && WIFEXITED(status)) {
                result.status = WEXITSTATUS(status);
            }
            continue;
        }
        processes.insert(process);
        const int event = status >> 16;
        if (!result.cut && event == PTRACE_EVENT_SECCOMP) {
            result.cut = result.steps == last;
            result.steps += result.cut ? 0 : 1;
        }
        if (result.cut) {
            for (const pid_t each : processes) {
                kill(each, SIGKILL);
            }
            continue;
        }
        // A signal of its own reaches the process; what only tells of the tracing does not.
        ptrace(PTRACE_CONT, process, nullptr, event != 0 ? 0 : WSTOPSIG(status));
    }
    return result;
}

} // namespace CutOff
