// The note that a trace leaves on the phone's flash, so that its level is put back whatever happens
// to the one who began it.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>
#include <optional>

/// What is needed to end a trace.
struct TraceNote
{
    QString activity;
    QString level; ///< while it is traced
    QString former; ///< the level to put back
    QString user; ///< who traces
    qint64 until = 0; ///< ms since 1970-01-01 UTC
    qint64 keeper = 0; ///< the process that keeps it; SIGTERM ends it
};

/// @p note as the bytes of a file.
QByteArray noteText(const TraceNote &note);

/// The note in @p text; nothing when it is none, as after a power cut while it was written.
std::optional<TraceNote> noteOf(const QByteArray &text);

/**
 * The file of one activity's note, held (flock(2)) by the process that keeps the trace. A file that
 * nobody holds was left behind: its keeper was killed, or the phone was switched off.
 */
class NoteFile
{
public:
    /// Where the notes are: /data/QVXApplication/loggerctl/traces/, writable for root and the group
    /// quorvix.
    static const QString directory;

    enum class Access {
        Held, ///< this process has it now
        HeldByOther, ///< that activity is being traced
        Missing, ///< there is no such file (only without @c create)
        Impossible, ///< it cannot be made or opened
    };

    NoteFile() = default;
    ~NoteFile();
    Q_DISABLE_COPY(NoteFile)

    /// Takes the file of @p activity, which is made when @p create says so, the directory with it
    /// where root does that. Waits for those who only look (isTraced()), a second at most.
    /// @p problem gets the reason for Impossible.
    Access take(const QString &activity, bool create, QString *problem);

    /// What stands in the file.
    std::optional<TraceNote> read() const;

    /// Writes @p note; it is on the disk when this returns true.
    bool write(const TraceNote &note) const;

    /// Removes the file.
    void remove();

private:
    QString m_path;
    int m_descriptor = -1;
};

/// What stands in the note of @p activity, whoever holds it.
std::optional<TraceNote> traceNote(const QString &activity);

/// The activities that have a note, running traces and those that were left behind.
QStringList notedActivities();

/// The name of the user of this process, as a note has it; the number where there is no name.
QString noteUser();

/// Whether a process holds the note of @p activity, so that its trace goes on.
bool isTraced(const QString &activity);
