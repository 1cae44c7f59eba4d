// The bulk level methods and their background jobs.
// SPDX-License-Identifier: MIT
#include "app/configurationorder.h"
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "bulklevels.h"

#include <QVX/qvxapplication.h>

#include <QFuture>
#include <QtConcurrent>

#include <mutex>

namespace {

/// How long after the request to stop the jobs go on with what was answered as done, in ms. The
/// time-outs of the unit and the init script count on it.
constexpr qint64 stopLimit = 20000;

/// Whether nothing more is to be begun.
bool isOutOfTime()
{
    return QVXApplication::elapsedSinceStopRequest() > stopLimit;
}

QString phoneModel()
{
    return QString::fromLocal8Bit(qgetenv("PHONE_MODEL"));
}

/// Held while a job gets its ticket and goes to the pool, so that the pool's queue has the order of
/// the tickets whoever asks: a job that waits for its turn blocks a thread, and must never be in
/// the way of the one that it waits for.
std::mutex &handOver()
{
    static auto *const mutex = new std::mutex;
    return *mutex;
}

/// Until the thread that asked for this job is done with handing it over.
void waitForHandOver()
{
    const std::lock_guard<std::mutex> lock(handOver());
}

/// Starts a job of the type @p Job behind everything asked for so far.
template<typename Job, typename... Arguments>
QFuture<QVariantMap> startInOrder(LoggerModule *module, const Arguments &...arguments)
{
    const std::lock_guard<std::mutex> lock(handOver());
    return QtConcurrent::run(Job {module, ConfigurationOrder::instance().takeTicket()},
                             arguments...);
}

} // namespace

/// A job on the global thread pool. It has its turn on the files when it was asked for, not when a
/// thread gets to it: waiting for a future may run a queued job beside a running one.
struct LoggerModule::SetLevelsJob
{
    using result_type = QVariantMap;

    LoggerModule *module;
    ConfigurationOrder::Ticket ticket;

    QVariantMap operator()(const QString &syslogLevels) const
    {
        waitForHandOver();
        const ConfigurationOrder::Turn turn(ticket);
        return module->applySyslogLevels(syslogLevels);
    }
};

/// See SetLevelsJob.
struct LoggerModule::ResetLevelsJob
{
    using result_type = QVariantMap;

    LoggerModule *module;
    ConfigurationOrder::Ticket ticket;

    QVariantMap operator()() const
    {
        waitForHandOver();
        const ConfigurationOrder::Turn turn(ticket);
        return module->applyErrToAllActivities();
    }
};

QVariantMap LoggerModule::getSyslogLevels()
{
    const QString model = phoneModel();
    QVariantMap levels = reportedLevels(levelsFromTable(level()), model);
    if (model.isEmpty()) {
        logDebug(QStringLiteral("Get phone model error ! So remove qvxbtmgr logs"));
    }
    return levels;
}

QVariantMap LoggerModule::setSyslogLevels(const QString &syslogLevels, bool async)
{
    const QFuture<QVariantMap> job = startInOrder<SetLevelsJob>(this, syslogLevels);
    if (async) {
        return resultMap(true, QStringLiteral("Fast set log levels OK"));
    }
    return job.result();
}

QVariantMap LoggerModule::resetSyslogLevelsToErr(bool async)
{
    const QFuture<QVariantMap> job = startInOrder<ResetLevelsJob>(this);
    if (async) {
        return resultMap(true, QStringLiteral("Fast set all log levels to error OK"));
    }
    return job.result();
}

QVariantMap LoggerModule::applySyslogLevels(const QString &syslogLevels)
{
    bool succeeded = true;
    QStringList items = bulkLevelItems(syslogLevels);
    if (!isOutOfTime()) {
        items = changedItems(items, getSyslogLevels());
    }
    for (int done = 0; done < items.size(); ++done) {
        if (isOutOfTime()) {
            logError(QStringLiteral("setSyslogLevels: the service stops, items not done: ")
                     + QString::number(items.size() - done) + QStringLiteral(" of ")
                     + QString::number(items.size()));
            return resultMap(false, QStringLiteral("Set log levels error"));
        }
        const QString &item = items.at(done);
        const int colon = item.indexOf(QLatin1Char(':'));
        if (colon < 0) {
            // One bad item does not keep the others from being set.
            logDebug(QStringLiteral("setSyslogLevels: syntax error, exit"));
            succeeded = false;
            continue;
        }
        const QString activity = item.left(colon);
        const QString levelName = item.mid(colon + 1);
        const QString success = QStringLiteral("Level ") + levelName
            + QStringLiteral(" for facility : ") + activity + QStringLiteral(" OK");
        if (level(activity, levelName, false).trimmed() != success) {
            logDebug(QStringLiteral("setSyslogLevels: set ") + activity + QLatin1Char('(')
                     + levelName + QStringLiteral(") error"));
            succeeded = false;
        }
        restart();
    }
    return succeeded ? resultMap(true, QStringLiteral("Set log levels OK"))
                     : resultMap(false, QStringLiteral("Set log levels error"));
}

QVariantMap LoggerModule::applyErrToAllActivities()
{
    if (isOutOfTime()) {
        logError(QStringLiteral("resetSyslogLevelsToErr: the service stops, not done"));
    } else if (setAllLevels(QStringLiteral("err")).trimmed()
               == QLatin1String("All levels changed to err value")) {
        return resultMap(true, QStringLiteral("Set all log levels to error OK"));
    }
    return resultMap(false, QStringLiteral("Error when setting all log levels to error"));
}
