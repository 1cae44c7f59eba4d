// Starts the phone's syslog daemon anew, as a boot does.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTest>

/// The syslog daemon, taken over from the boot as soon as it has to be started anew.
class SyslogDaemon
{
public:
    ~SyslogDaemon()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished() || m_process.exitCode() != 0) {
                qFatal("the syslog daemon did not end well: %s",
                       Phone::read(outputFile).constData());
            }
        }
    }
    SyslogDaemon() = default;
    Q_DISABLE_COPY(SyslogDaemon)

    /// Ends it and starts it as the boot does. @return whether it runs again; else problem() says
    /// why not
    bool coldStart()
    {
        m_problem.clear();
        if (m_process.state() == QProcess::NotRunning) {
            endBooted();
        } else {
            m_process.terminate();
            if (!m_process.waitForFinished()) {
                m_problem = "it does not end";
                return false;
            }
        }
        if (QProcess::execute(Phone::setUpScript, {QStringLiteral("start")}) != 0) {
            m_problem = "the set-up script failed";
            return false;
        }
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.setStandardOutputFile(outputFile);
        m_process.setWorkingDirectory(QStringLiteral("/run/phone/cwd"));
        m_process.start(m_command.first(), m_command.mid(1));
        // The daemon may be ready before the event loop has noticed that it runs.
        if (!m_process.waitForStarted()) {
            m_problem = "it cannot be started";
            return false;
        }
        // The pid file comes when it listens; an early end shows as one that stays away.
        const QByteArray pid = QByteArray::number(m_process.processId());
        const bool started = QTest::qWaitFor(
            [&] {
                return m_process.state() == QProcess::NotRunning
                    || Phone::read(Phone::pidFile).trimmed() == pid;
            },
            startDeadline);
        if (m_process.state() == QProcess::NotRunning) {
            m_problem = m_process.exitStatus() == QProcess::NormalExit ? "it ended with status "
                                                                       : "it ended by signal ";
            m_problem += QByteArray::number(m_process.exitCode());
        } else if (!started) {
            m_problem = "it does not write its pid file";
        }
        if (!m_problem.isEmpty()) {
            m_problem += '\n';
            m_problem += output().left(2000);
        }
        return m_problem.isEmpty();
    }

    QByteArray problem() const { return m_problem; }

    static QByteArray output() { return Phone::read(outputFile); }

private:
    void endBooted()
    {
        const int pid = Phone::read(QStringLiteral("/run/phone/syslog-ng.pid")).trimmed().toInt();
        const QList<QByteArray> words
            = Phone::read(QStringLiteral("/proc/%1/cmdline").arg(pid)).split('\0');
        for (const QByteArray &word : words) {
            m_command.append(QFile::decodeName(word));
        }
        m_command.removeLast(); // behind the final NUL
        if (pid <= 0 || m_command.isEmpty()) {
            qFatal("the syslog daemon does not run");
        }
        Phone::stopBooted(QStringLiteral("syslog-ng"));
    }

    static constexpr int startDeadline = 20000; // ms
    inline static const QString outputFile = QStringLiteral("/run/phone/test-syslog-ng.out");
    QByteArray m_problem;
    QProcess m_process;
    QStringList m_command;
};
