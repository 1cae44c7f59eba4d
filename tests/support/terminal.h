// Runs a program on a terminal of its own, as a person would.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QElapsedTimer>

#include <csignal>
#include <cstdlib>
#include <vector>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

/// A program with a pseudoterminal; it is killed at the end of scope if it still runs.
class Terminal
{
public:
    /// Starts @p command, the first word of which is searched in PATH, on a terminal that is
    /// @p columns wide. @p environment holds entries NAME=VALUE beyond those of this process.
    explicit Terminal(QByteArrayList command, unsigned short columns = 80,
                      QByteArrayList environment = {})
    {
        std::vector<char *> words;
        for (QByteArray &word : command) {
            words.push_back(word.data());
        }
        words.push_back(nullptr);
        std::vector<char *> entries;
        for (QByteArray &entry : environment) {
            entries.push_back(entry.data());
        }
        winsize size = {};
        size.ws_row = 24;
        size.ws_col = columns;
        m_pid = forkpty(&m_descriptor, nullptr, nullptr, &size);
        if (m_pid < 0) {
            qFatal("no terminal");
        }
        if (m_pid == 0) {
            unsetenv("NO_COLOR");
            setenv("TERM", "xterm", 1);
            for (char *const entry : entries) {
                putenv(entry);
            }
            execvp(words[0], words.data());
            _exit(127);
        }
    }
    ~Terminal()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        close(m_descriptor);
    }
    Q_DISABLE_COPY(Terminal)

    /// Types @p keys.
    void type(const QByteArray &keys)
    {
        if (write(m_descriptor, keys.constData(), static_cast<size_t>(keys.size()))
            != keys.size()) {
            qFatal("cannot type");
        }
    }
    /// Waits until @p text has been printed. @return whether it has, in @p timeout ms
    bool waitFor(const QByteArray &text, int timeout = 20000)
    {
        QElapsedTimer time;
        time.start();
        while (!m_output.contains(text)) {
            if (time.elapsed() > timeout || !readSome(timeout)) {
                return false;
            }
        }
        return true;
    }
    /// Waits for the end. @return the exit status; -1 when it was ended by a signal or did not end
    int waitForEnd(int timeout = 30000)
    {
        QElapsedTimer time;
        time.start();
        while (readSome(timeout)) {
            if (time.elapsed() > timeout) {
                return -1;
            }
        }
        int status = 0;
        if (m_pid <= 0 || waitpid(m_pid, &status, 0) != m_pid) {
            return -1;
        }
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    /// What has been printed until now, with line feeds only.
    QByteArray output() const { return QByteArray(m_output).replace("\r\n", "\n"); }

private:
    bool readSome(int timeout)
    {
        pollfd ready {m_descriptor, POLLIN, 0};
        if (poll(&ready, 1, timeout) != 1) {
            return false;
        }
        char buffer[4096];
        const ssize_t size = read(m_descriptor, buffer, sizeof buffer);
        if (size <= 0) {
            return false;
        }
        m_output.append(buffer, static_cast<int>(size));
        return true;
    }

    QByteArray m_output;
    int m_descriptor = -1;
    pid_t m_pid = -1;
};
