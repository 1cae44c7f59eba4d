// Packs all logs and core dumps into one archive for the web interface.
// SPDX-License-Identifier: MIT
#include "app/loggermodule.h"

#include <QProcess>

#include <csignal>

#include <unistd.h>

namespace {

constexpr int startTimeout = 30000; // ms
constexpr int finishTimeout = 30000; // ms

// tar(1): -h follows links, so that the archive holds the logs whichever way the phone mounts them.
const QString archiveCommand = QStringLiteral("tar -chzf /var/volatile/tmp/all_logs.tar.gz ")
    + QStringLiteral("/var/log /log /data/core")
    + QStringLiteral(" && ln -sf /var/volatile/tmp/all_logs.tar.gz /www/pages/all_logs.tar.gz");

/// The shell and what it starts: one process group (setpgid(2)), so that they end together.
class ShellGroup : public QProcess
{
public:
    /// @return whether the command ran to its end in time
    bool run(const QString &command)
    {
        start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command}, QIODevice::ReadWrite);
        if (!waitForStarted(startTimeout)) {
            return false;
        }
        const auto group = static_cast<pid_t>(processId());
        const bool finished = waitForFinished(finishTimeout);
        // The kernel lets no new process have a number that a group still bears.
        if (!finished || exitStatus() == CrashExit) {
            ::kill(-group, SIGKILL);
            waitForFinished();
        }
        return finished;
    }

protected:
    // Runs in the child, where only async-signal-safe functions may be called.
    void setupChildProcess() override { setpgid(0, 0); }
};

} // namespace

QVariantMap LoggerModule::generateLogsForWeb()
{
    ShellGroup shell;
    // A shell that could not be started or was stopped has no exit status of its own to report, and
    // has always been answered as success.
    const bool failed = shell.run(archiveCommand) && shell.exitCode() != 0;
    return {
        {QStringLiteral("value"), failed ? QStringLiteral("1") : QStringLiteral("0")},
        {QStringLiteral("msg"),
         failed ? QStringLiteral("Error on exit") : QStringLiteral("Generate logs successfully")},
    };
}
