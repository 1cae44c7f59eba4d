// The hang-up signal that makes syslog-ng read its configuration again (syslog-ng(8), SIGHUP).
// SPDX-License-Identifier: MIT
#include "reload.h"

#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "childprocess.h"
#include "textfile.h"

#include <QFile>
#include <QRegularExpression>

namespace {

constexpr int timeout = 30000; // ms

const QString pidFilePath = QStringLiteral("/var/run/") + QStringLiteral("syslog-ng.pid");

} // namespace

bool isSignallablePid(const QString &pid)
{
    static const QRegularExpression negative(QStringLiteral("^\\s*-[0-9]"));
    static const QRegularExpression number(QStringLiteral("^\\s*\\+?([0-9]+)\\s*$"));
    if (negative.match(pid).hasMatch()) {
        return false;
    }
    const QRegularExpressionMatch match = number.match(pid);
    if (!match.hasMatch()) {
        return true;
    }
    bool fits = false;
    return match.captured(1).toInt(&fits) > 0 && fits;
}

void LoggerModule::restart()
{
    QFile pidFile(pidFilePath);
    if (!pidFile.exists()) {
        logDebug(QStringLiteral("[restart] pidFile not exist "));
        return;
    }
    if (!openRegularFile(pidFile, QIODevice::ReadOnly)) {
        logDebug(QStringLiteral("[restart] pidFile not readable "));
        return;
    }
    const QString pid = QString::fromUtf8(pidFile.readAll()).trimmed();
    pidFile.close();
    if (pid.isEmpty()) {
        return;
    }
    if (!isSignallablePid(pid)) {
        logDebug(QStringLiteral("[restart] pidFile not readable "));
        return;
    }
    const QString error = runProgram(QStringLiteral("kill"), {QStringLiteral("-hup"), pid}, timeout,
                                     ProgramOutput::Dropped)
                              .error;
    if (error.isEmpty()) {
        logDebug(QStringLiteral("[restart]process success."));
    } else {
        logDebug(QStringLiteral("[restart] process result ") + error);
    }
}
