// Runs the platform's syslog set-up script, which regenerates missing and broken files.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "childprocess.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

#include <mutex>

#include <sys/wait.h>

namespace {

constexpr int timeout = 10000; // ms, for one call
constexpr int collectInterval = 1000; // ms

/// The one script of this process that may run.
struct
{
    std::mutex mutex;
    pid_t pid = -1;
} running;

/// Collects the script if it has ended, so that another one may be started.
/// @return whether it has ended, now or before
bool collectIfEnded(pid_t pid)
{
    const std::lock_guard<std::mutex> lock(running.mutex);
    if (running.pid != pid) {
        return true;
    }
    if (!waitForEnd(pid, 0)) {
        return false;
    }
    waitpid(pid, nullptr, 0);
    running.pid = -1;
    return true;
}

/// Lets the event loop look after a script that goes on longer than its caller waits: it may be
/// writing the phone's only configuration, so it is never killed, and leaves no zombie. No thread
/// is needed for that, which could not be had when memory is short.
void collectLater(pid_t pid)
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [pid] {
            QTimer::singleShot(collectInterval, QCoreApplication::instance(), [pid] {
                if (!collectIfEnded(pid)) {
                    collectLater(pid);
                }
            });
        },
        Qt::QueuedConnection);
}

/// Starts the script, unless one runs already. @param started set when it has been started
/// @return the pid of the one that runs; -1 when it cannot be started, with the reason in @p error
pid_t startUnlessRunning(bool *started, QString *error)
{
    const std::lock_guard<std::mutex> lock(running.mutex);
    if (running.pid < 0) {
        running.pid = startProgram(QStringLiteral("/etc/init.d/autoConfigSyslog"),
                                   {QStringLiteral("start")}, ProgramOutput::Forwarded, error);
        *started = true;
    }
    return running.pid;
}

/// Runs the script behind one that may run still, and waits for its end.
/// @return an empty text when it has ended in time, else what QProcess says then
QString runSetUpScript()
{
    const QDeadlineTimer deadline(timeout);
    bool started = false;
    while (!started) {
        QString error;
        const pid_t pid = startUnlessRunning(&started, &error);
        if (pid < 0) {
            return error;
        }
        if (!waitForEnd(pid, static_cast<int>(deadline.remainingTime()))) {
            if (started) {
                collectLater(pid);
            }
            return timedOutText();
        }
        collectIfEnded(pid);
        if (!started && deadline.hasExpired()) {
            return timedOutText();
        }
    }
    return {};
}

} // namespace

void LoggerModule::restoreSylogConfig()
{
    const ConfigurationOrder::Interval interval; // the script replaces files of its own
    const QString error = runSetUpScript();
    if (error.isEmpty()) {
        logDebug(QStringLiteral("restoreSylogConfig() success."));
    } else {
        logError(QStringLiteral("process result ") + error);
    }
}
