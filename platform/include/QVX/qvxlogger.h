// The platform's logger: writes to syslog under a name, and knows the level configured for it.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <functional>

class QDBusConnection;

/**
 * A handle on one named log, made by logger(). It is cheap to create and to copy, and all of its
 * members are safe to call from several threads at once.
 *
 * Messages go to the syslog daemon's socket, /dev/log, as those of syslog(3) do, with the name as
 * identifier, so that the daemon can tell the programs of the phone apart. A message is in the
 * socket when the function returns. When the daemon hangs and its socket is full, a function blocks
 * for at most 100 ms; then messages are lost, without any waiting, until the socket takes one
 * again, which is an error line with their number. A message that nobody listens to is lost, and
 * one that is too long for the socket is cut.
 *
 * The member functions write unconditionally: a caller that wants to honour the configured level
 * compares it with getConfiguredLevel() first.
 */
class QVXLogger
{
public:
    /// Severities by their syslog numbers (RFC 5424, section 6.2.1).
    enum Priority { Error = 3, Warning = 4, Info = 6, Debug = 7 };

    /// Receives what is written: the identifier, the syslog severity, and the text.
    using Sink
        = std::function<void(const QString &identifier, Priority priority, const QString &text)>;

    /// Prefer logger(). @p name is the identifier; empty stands for the application's name.
    explicit QVXLogger(const QString &name);

    /// The name under which messages are written.
    QString identifier() const { return m_identifier; }

    /**
     * The most verbose syslog level (0 to 7) that this log is configured to write.
     *
     * It is line 1 of `<facilityConfigFilesPath><identifier>.conf` when the name is first used,
     * 3 when there is no such file or no number in it, and from then on what the event
     * "log_level_changed" last announced for this name or for "all".
     */
    int getConfiguredLevel() const;

    void error(const QString &text) const { write(Error, text); }
    void warning(const QString &text) const { write(Warning, text); }
    void info(const QString &text) const { write(Info, text); }
    void debug(const QString &text) const { write(Debug, text); }

    /**
     * Sets the configured level of @p identifier ("all": of every name) for this process, as the
     * event "log_level_changed" does. No file is touched. A level outside 0 to 7 changes nothing.
     */
    static void setConfiguredLevel(const QString &identifier, int level);

    /// Forgets all configured levels; each is read anew from its file at its next use.
    static void forgetConfiguredLevels();

    /**
     * Follows the event "log_level_changed" of any module on @p connection.
     * @return false when the bus refuses the subscription
     */
    static bool followLevelChanges(QDBusConnection connection);

    /// Sends what is written to @p sink instead of the daemon; an empty one brings that back.
    static void setSink(Sink sink);

    /**
     * The directories of the phone's logging configuration; each ends in "/". They may be set in
     * the section `logger` of /etc/QVXApplication/platform.conf, with keys of the same names.
     */
    static QString configurationSyslogBranchPath; ///< holds logappli.conf
    static QString syslogWorkingDirectory; ///< holds logappli.conf.sav and logappli.conf.tmp
    static QString facilityConfigFilesPath; ///< holds one level file for each facility
    static QString syslogExecutablePath; ///< holds the program syslog-ng

private:
    void write(Priority priority, const QString &text) const;

    QString m_identifier;
};

/// The log called @p name; the empty name stands for the application's name.
inline QVXLogger logger(const QString &name)
{
    return QVXLogger(name);
}
