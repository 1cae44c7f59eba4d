// Runs the platform's syslog set-up script, which regenerates missing and broken files.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"

#include <QProcess>

#include <future>
#include <system_error>
#include <thread>

namespace {

constexpr int startTimeout = 30000; // ms
constexpr int finishTimeout = 10000; // ms

struct Outcome
{
    bool success = false;
    QString error;
};

/// Runs the script and tells its outcome as soon as it is known; returns when the script has ended.
void runSetUpScript(std::promise<Outcome> outcome)
{
    QProcess script;
    script.setProcessChannelMode(QProcess::ForwardedChannels);
    script.start(QStringLiteral("/etc/init.d/autoConfigSyslog"), {QStringLiteral("start")},
                 QIODevice::ReadWrite);
    const bool success
        = script.waitForStarted(startTimeout) && script.waitForFinished(finishTimeout);
    outcome.set_value({success, script.errorString()});
    script.waitForFinished(-1);
}

} // namespace

void LoggerModule::restoreSylogConfig()
{
    // A QProcess that goes out of scope kills its program. A script that takes longer than the
    // time-out may be writing the phone's only configuration, so a thread of its own stays with it
    // and collects its exit status; this thread goes on.
    std::promise<Outcome> promise;
    std::future<Outcome> future = promise.get_future();
    Outcome outcome;
    try {
        std::thread(runSetUpScript, std::move(promise)).detach();
        outcome = future.get();
    } catch (const std::system_error &error) {
        outcome.error = QString::fromLocal8Bit(error.what());
    }
    if (outcome.success) {
        logDebug(QStringLiteral("restoreSylogConfig() success."));
    } else {
        logError(QStringLiteral("process result ") + outcome.error);
    }
}
