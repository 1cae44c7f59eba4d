// Notices that a file was not there for a moment, however short.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QString>
#include <QStringList>

#include <array>
#include <cerrno>

#include <sys/inotify.h>
#include <unistd.h>

/// Watches files for being removed or moved away (inotify(7)). One that another is renamed over is
/// neither: its name always leads to a file.
class LostNames
{
public:
    explicit LostNames(const QStringList &paths) : m_paths(paths)
    {
        for (const QString &path : paths) {
            const QString directory = QFileInfo(path).path();
            const int watch = inotify_add_watch(m_inotify, QFile::encodeName(directory).constData(),
                                                IN_DELETE | IN_MOVED_FROM);
            if (watch < 0) {
                qFatal("cannot watch %s", qPrintable(directory));
            }
            m_directories.insert(watch, directory + QLatin1Char('/'));
        }
    }
    ~LostNames() { close(m_inotify); }
    Q_DISABLE_COPY(LostNames)

    /// Those of the files that lost their name since the last call, each as often as it did.
    QStringList take()
    {
        QStringList lost;
        alignas(inotify_event) std::array<char, 65536> buffer;
        for (;;) {
            const ssize_t size = read(m_inotify, buffer.data(), buffer.size());
            if (size < 0 && errno == EAGAIN) {
                return lost;
            }
            for (ssize_t at = 0; at < size;) {
                const auto *event = reinterpret_cast<const inotify_event *>(buffer.data() + at);
                if ((event->mask & IN_Q_OVERFLOW) != 0) {
                    qFatal("too many events of files");
                }
                const QString path
                    = m_directories.value(event->wd) + QFile::decodeName(event->name);
                if (m_paths.contains(path)) {
                    lost.append(path);
                }
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
    }

private:
    const QStringList m_paths;
    const int m_inotify = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    QMap<int, QString> m_directories;
};
