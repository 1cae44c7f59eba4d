// The archive of all logs: made, looked at, and made again when a log grew meanwhile.
// SPDX-License-Identifier: MIT
#pragma once

#include "service.h"

#include <QString>

#include <functional>

/// What became of an archive.
struct Archive
{
    Reply reply; ///< the service's last answer
    bool answered = false; ///< whether that answer is a success
    int tries = 0; ///< how often the service was asked
    qint64 elapsed = 0; ///< how long the last of them took, in ms
    /// Whether the archive can be read to its end. One that takes longer than 30 s is given up by
    /// the service, with an answer that is a success.
    bool complete = false;
    bool readable = true; ///< false when this user may not read it, so that nobody has looked
    /// Whether the web server's link was made anew and points at it: the service does that last.
    bool published = false;
    qint64 size = 0; ///< bytes
    int files = 0; ///< without the directories

    bool done() const { return answered && published && (complete || !readable); }
};

extern const QString archivePath; ///< /var/volatile/tmp/all_logs.tar.gz
extern const QString archiveLink; ///< /www/pages/all_logs.tar.gz

/// Has the archive made, at most three times while the service answers that tar had something to
/// say, which is so when a log grew; then reads it with tar(1). @p progress gets the ms since a try
/// began and the bytes so far, about five times a second; it may be empty.
Archive archiveAndLook(const Caller &caller, const std::function<void(qint64, qint64)> &progress);

/// Copies the archive to @p path, whole or not at all; a file of that name is replaced.
/// @return why that was not possible; an empty text when it was
QString copyArchive(const QString &path);
