// Runs programs: to their end, or beside the test.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTest>

#include <csignal>

/// What a program did and said.
struct Outcome
{
    int status = -1; ///< -1 when it did not end by itself in time
    QByteArray output;
    QByteArray errors;
};

/// Runs @p command, the first word of which is searched in PATH, for a minute at most.
inline Outcome runProgram(QStringList command,
                          const QProcessEnvironment &environment
                          = QProcessEnvironment::systemEnvironment())
{
    constexpr int deadline = 60000; // ms
    const QString program = command.takeFirst();
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, command);
    if (!process.waitForFinished(deadline)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

/// A program that runs beside the test, until the end of scope at the latest.
class RunningProgram
{
public:
    /// Starts @p command, the first word of which is searched in PATH.
    explicit RunningProgram(QStringList command)
    {
        const QString program = command.takeFirst();
        m_process.start(program, command);
        if (!m_process.waitForStarted()) {
            qFatal("cannot start %s", qPrintable(program));
        }
    }
    ~RunningProgram()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(RunningProgram)

    /// What it has printed until now.
    QByteArray output() { return m_output += m_process.readAllStandardOutput(); }
    QByteArray errors() { return m_errors += m_process.readAllStandardError(); }
    bool waitForOutput(const QByteArray &part)
    {
        return QTest::qWaitFor([&] { return output().contains(part); }, 20000);
    }
    bool waitForErrors(const QByteArray &part)
    {
        return QTest::qWaitFor([&] { return errors().contains(part); }, 20000);
    }
    /// Waits for its end. @return the exit status; -1 when it was ended by a signal or did not end
    int waitForEnd(int timeout = 20000)
    {
        const bool ended
            = m_process.state() == QProcess::NotRunning || m_process.waitForFinished(timeout);
        return ended && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    void send(int signal) { ::kill(static_cast<pid_t>(m_process.processId()), signal); }
    int endBy(int signal)
    {
        send(signal);
        return waitForEnd();
    }

private:
    QProcess m_process;
    QByteArray m_output;
    QByteArray m_errors;
};
