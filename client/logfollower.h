// The newest lines of a log file, and those that are written to it from then on.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QElapsedTimer>
#include <QFile>
#include <QString>
#include <QStringList>

#include <limits>
#include <memory>
#include <vector>

/// The text of @p bytes of a log, which may hold any byte: QString::fromUtf8(QByteArray) ends at
/// NUL.
QString textOf(const QByteArray &bytes);

/// Which lines are wanted: those that contain @p text; upper and lower case are the same unless the
/// text has capitals. An empty text wants all.
bool isWanted(const QByteArray &line, const QString &text);

/// The newest @p count lines of the first @p size bytes of @p file that are wanted by @p text, the
/// oldest first, without their line feeds. No more than about @p most bytes are read for them;
/// @p stopped gets whether there could be more lines before these. A line that has no line feed yet
/// counts too.
QByteArrayList newestLines(QFile &file, qint64 size, int count, const QString &text,
                           qint64 most = std::numeric_limits<qint64>::max(),
                           bool *stopped = nullptr);

/// Opens the regular file @p path for reading, and nothing else: a FIFO is not waited for. With
/// @p directories only a file below one of them, wherever links lead. Null when that is not
/// possible.
std::unique_ptr<QFile> openLog(const QString &path, const QStringList &directories = {});

/**
 * Follows a log by its name: through rotation and deletion, when another file takes the name's
 * place, through truncation, and to another path. A file that lost its name is read on for some
 * seconds, because the daemon writes to it until it has opened the new one. Not a regular file is
 * as good as none. Does nothing by itself: poll() has to be called now and then.
 */
class LogFollower
{
public:
    /// Follows nothing before follow() is called. With @p directories only files below one of them
    /// are followed, wherever links lead; each ends with "/".
    explicit LogFollower(QStringList directories = {}) : m_directories(std::move(directories)) { }

    /// From now on @p path is followed, what was followed before is read to its end. Lines are
    /// given out from the byte @p position on; a file that is shorter, or made later, from its
    /// beginning. An empty path follows nothing.
    void follow(const QString &path, qint64 position);

    /// The path that is followed.
    QString path() const { return m_path; }

    /// Whether the path can be read. @p problem gets the reason when it is there and cannot.
    bool isReadable(QString *problem) const;

    /// The whole lines, without their line feeds, that have come since the last call.
    QByteArrayList poll();

private:
    struct Source
    {
        std::unique_ptr<QFile> file;
        QByteArray begun; ///< a line that has no end yet
        qint64 position = 0;
        QElapsedTimer quiet; ///< since it lost its name, or since its last byte after that
    };

    static void readOn(Source &source, QByteArrayList *lines);
    void openAgain();

    QStringList m_directories;
    QString m_path;
    qint64 m_start = 0; ///< where to begin in the first file of that path
    Source m_current; ///< without a file when there is none
    std::vector<Source> m_former; ///< without their names
};
