// Looks at processes, files, and what the service and the settings service answer.
// SPDX-License-Identifier: MIT
#include "health.h"

#include "changes.h"
#include "logfiles.h"
#include "program.h"

#include <QVX/qvxlogger.h>

#include <QDBusConnectionInterface>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>

#include <unistd.h>

namespace {

constexpr int checkTimeout = 20000; // ms
constexpr qint64 leastRoom = 1 << 20; // bytes
const QString liveConfig = QStringLiteral("logappli.conf");
const QString backupConfig = QStringLiteral("logappli.conf.sav");
const QString pidFile = QStringLiteral("/var/run/syslog-ng.pid");
const QString setUpScript = QStringLiteral("/etc/init.d/autoConfigSyslog start");

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// When the process @p process was started; invalid when that cannot be read (proc(5)).
QDateTime startOf(qint64 process)
{
    constexpr int startField = 22;
    const QByteArray status = contents(QStringLiteral("/proc/%1/stat").arg(process));
    // The name in the second field may hold blanks and parentheses.
    const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
    const QByteArray uptime = contents(QStringLiteral("/proc/uptime"));
    const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    if (fields.size() <= startField - 3 || uptime.isEmpty()) {
        return {};
    }
    const double age
        = uptime.split(' ').first().toDouble() - fields.at(startField - 3).toDouble() / ticks;
    return QDateTime::currentDateTime().addMSecs(-static_cast<qint64>(age * 1000));
}

Acceptance acceptanceOf(const QString &path)
{
    if (!QFileInfo(path).isFile()) {
        return Acceptance::Missing;
    }
    const ProgramOutcome check
        = outcomeOf(QVXLogger::syslogExecutablePath + QStringLiteral("syslog-ng"),
                    {QStringLiteral("--no-caps"), QStringLiteral("-s"), QStringLiteral("-f"), path},
                    checkTimeout);
    if (check.status < 0 || !QFileInfo(path).isReadable()) {
        return Acceptance::Unknown;
    }
    return check.status == 0 ? Acceptance::Accepted : Acceptance::Refused;
}

void lookAtService(const Caller &caller, Health *health)
{
    const Listing listing = listActivities(caller); // first: the bus may start the service for it
    health->serviceRuns = !listing.reply.error.isValid();
    health->serviceProblem = listing.reply.error.name();
    health->listed = listing.valid;
    if (health->serviceRuns && !listing.valid) {
        health->listProblem = listing.reply.answer.toString();
    }
    const QDBusReply<uint> process = caller.bus.interface()->servicePid(loggerModuleService);
    if (health->serviceRuns && process.isValid()) {
        health->serviceSince = startOf(process.value());
        health->serviceReplaced = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(process))
                                      .endsWith(QStringLiteral(" (deleted)"));
    }
    for (const ActivityRow &row : listing.rows) {
        if (!isInitial(row)) {
            health->changed.append(row);
        }
        const QString path
            = QVXLogger::facilityConfigFilesPath + row.activity + QStringLiteral(".conf");
        if (!QFileInfo::exists(path)) {
            // These two have no file of their own where the set-up script makes none.
            if (row.activity != QLatin1String("WebApp")
                && row.activity != QLatin1String("no_facility")) {
                health->lostLevelFiles.append(row.activity);
            }
        } else if (QFileInfo(path).isReadable()
                   && !isLevelFile(QString::fromUtf8(contents(path)).split(QLatin1Char('\n')))) {
            health->invalidLevelFiles.append(row.activity);
        }
    }
}

void lookAtDaemon(Health *health)
{
    health->daemonProcess = contents(pidFile).trimmed().toLongLong();
    if (health->daemonProcess > 0) {
        const QByteArray status
            = contents(QStringLiteral("/proc/%1/stat").arg(health->daemonProcess));
        const char state = status.mid(status.lastIndexOf(')') + 2, 1).constData()[0];
        health->daemonRuns = status.contains(" (syslog-ng) ") && state != 'Z' && state != 'X';
        health->daemonStopped = health->daemonRuns && (state == 'T' || state == 't');
    }
    if (health->daemonRuns) {
        health->daemonSince = startOf(health->daemonProcess);
    }
    health->configuration = acceptanceOf(QVXLogger::configurationSyslogBranchPath + liveConfig);
    health->backup = acceptanceOf(QVXLogger::syslogWorkingDirectory + backupConfig);
}

Room roomOf(const QString &directory)
{
    const QStorageInfo storage(directory);
    return {directory, storage.bytesAvailable(), storage.isValid() ? storage.bytesTotal() : 0};
}

QString acceptanceProblem(Acceptance acceptance, const QString &name)
{
    switch (acceptance) {
    case Acceptance::Refused:
        return QStringLiteral("syslog-ng does not accept ") + name;
    case Acceptance::Missing:
        return name + QStringLiteral(" is missing");
    case Acceptance::Unknown:
        return name + QStringLiteral(" could not be checked");
    case Acceptance::Accepted:
        break;
    }
    return {};
}

} // namespace

bool isLevelFile(const QStringList &lines)
{
    constexpr int lineCount = 4;
    // The last line may have a line feed.
    if (lines.size() < lineCount || lines.size() > lineCount + 1
        || (lines.size() > lineCount && !lines.last().isEmpty())
        || lines.at(lineCount - 1) != QLatin1String("facility signature field")) {
        return false;
    }
    bool isLevel = false;
    bool isFacility = false;
    const int level = lines.at(0).toInt(&isLevel);
    static_cast<void>(lines.at(1).toInt(&isFacility));
    constexpr int err = 3;
    constexpr int debug = 7;
    return isLevel && isFacility && (level == 0 || (level >= err && level <= debug));
}

bool hasLogServer(const QVariantMap &remote)
{
    return remote.value(QStringLiteral("LogRemoteServerExist")).toString() == QLatin1String("true");
}

Health lookAtHealth(const Caller &caller)
{
    Health health;
    lookAtService(caller, &health);
    lookAtDaemon(&health);
    const Reply settings = caller.ask({Operation::ShowRemote, {}, 0});
    health.settingsKnown = !settings.error.isValid();
    health.remote = settings.answer.toMap();
    health.ram = roomOf(ramLogDirectory);
    health.flash = roomOf(flashLogDirectory);
    const QStringList noted = notedActivities();
    for (const QString &activity : noted) {
        const std::optional<TraceNote> note = traceNote(activity);
        if (note && isTraced(activity)) {
            health.traces.append(*note);
        }
    }
    return health;
}

QStringList problemsOf(const Health &health)
{
    QStringList problems;
    const QString sep = QStringLiteral(", ");
    if (health.serviceProblem == QDBusError::errorString(QDBusError::AccessDenied)) {
        problems.append(QStringLiteral("This user may not ask LoggerModule: look as root, or as a "
                                       "member of the group quorvix"));
    } else if (!health.serviceRuns) {
        problems.append(QStringLiteral("LoggerModule does not answer (%1): is it running?")
                            .arg(health.serviceProblem));
    } else if (!health.listed) {
        problems.append(QStringLiteral("There is no list of activities: ") + health.listProblem);
    }
    if (health.serviceReplaced) {
        problems.append(QStringLiteral("LoggerModule was updated and still runs as it was before: "
                                       "start it anew"));
    }
    if (health.daemonProcess <= 0) {
        problems.append(QStringLiteral("syslog-ng has no pid file %1: nothing takes effect before "
                                       "it runs with -p %1")
                            .arg(pidFile));
    } else if (health.daemonStopped) {
        problems.append(QStringLiteral("syslog-ng is stopped: it goes on by: kill -CONT %1")
                            .arg(health.daemonProcess));
    } else if (!health.daemonRuns) {
        problems.append(QStringLiteral("syslog-ng does not run: process %1 of its pid file is not "
                                       "syslog-ng")
                            .arg(health.daemonProcess));
    }
    const QString live = acceptanceProblem(health.configuration, liveConfig);
    if (!live.isEmpty()) {
        problems.append(live
                        + QStringLiteral(". Its backup takes its place by: loggerctl level all "
                                         "restore"));
    }
    const QString backup = acceptanceProblem(health.backup, backupConfig);
    if (!backup.isEmpty()) {
        problems.append(backup + QStringLiteral(", the backup. It is made anew by: ")
                        + setUpScript);
    }
    if (!health.lostLevelFiles.isEmpty()) {
        problems.append(
            QStringLiteral("The level file is lost of: ") + health.lostLevelFiles.join(sep)
            + QStringLiteral(". It is made anew by: loggerctl level all err, or ") + setUpScript);
    }
    if (!health.invalidLevelFiles.isEmpty()) {
        problems.append(QStringLiteral("The level file is invalid of: ")
                        + health.invalidLevelFiles.join(sep)
                        + QStringLiteral(". It is made anew by: loggerctl level all err"));
    }
    for (const Room &room : {health.ram, health.flash}) {
        if (room.total > 0 && room.free < leastRoom) {
            problems.append(
                room.directory + QStringLiteral(" has only ") + sizeText(room.free)
                + QStringLiteral(" left. Logs are deleted by: loggerctl delete")
                + (room.directory == flashLogDirectory ? QStringLiteral(" flash") : QString()));
        }
    }
    return problems;
}
