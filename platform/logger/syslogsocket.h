// The way of a message to the syslog daemon, which never takes long.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDeadlineTimer>

/// Who writes a message.
struct SyslogSource
{
    QByteArray name;
    int facility = 0; ///< as the constants of syslog.h
};

/**
 * Does what syslog(3) does, with messages of the same format to the same socket, except that it
 * does not wait for a daemon that hangs: syslog(3) does so without limit. A message waits at most
 * 100 ms for room in a full socket. When there is none it is lost, and from then on no message
 * waits, until the socket takes one again.
 *
 * As with syslog(3), a message that nobody listens to is lost and not counted, and the socket is
 * connected anew when the daemon was started anew. Of a message that is longer than the socket
 * takes, the beginning is sent.
 *
 * Not to be used by several threads at once.
 */
class SyslogSocket
{
public:
    /// @p path is the daemon's socket, a datagram or a stream socket. It is connected when needed.
    explicit SyslogSocket(QByteArray path = "/dev/log");
    ~SyslogSocket();
    Q_DISABLE_COPY(SyslogSocket)

    /// Sends @p text, UTF-8 without NUL, with @p severity. When messages have been lost, nothing is
    /// sent before that has been reported: this one is lost as well.
    void write(const SyslogSource &source, int severity, const QByteArray &text);

    /// How many messages were lost in a full socket and not reported yet.
    int lost() const { return m_lost; }

    /// Sends the number of lost messages, as an error of @p source, if the socket takes it at once.
    void reportLoss(const SyslogSource &source);

private:
    enum class Outcome {
        Sent,
        Full, ///< also after waiting
        Unreachable, ///< nobody listens, or not any more
    };

    Outcome connectToDaemon();
    void disconnect();
    Outcome deliver(const QByteArray &record, int patience);
    /// Sends on the connected socket, which must not be used again unless it was sent.
    Outcome send(QByteArray record, const QDeadlineTimer &deadline);

    const QByteArray m_path;
    int m_descriptor = -1;
    bool m_isStream = false;
    bool m_isFull = false; ///< it was when last tried: nobody waits for it
    int m_lost = 0;
};
