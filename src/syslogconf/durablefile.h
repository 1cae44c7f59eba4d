// Replaces whole files so that a power cut at any moment leaves the old one or the new one.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/// How the replacement of a file ended.
enum class Replacement {
    Done, ///< the new file is in place and synced to storage
    NotPrepared, ///< the new file could not be written and synced beside the old one, which stays
    NotRenamed, ///< the new file could not take the place of the old one, which stays
};

/// A file as it is to be.
struct NewFile
{
    QString path;
    QByteArray content;
};

/**
 * Replaces each of @p files, or makes it where there is none: all are written beside the files that
 * they replace, synced together, and renamed over them (rename(2), fsync(2)), so that at no moment
 * one is missing or half written. Syncing together costs a journalling file system little more than
 * one file does. Where there is no room for all of them beside the old ones, they are replaced in
 * several such steps. The mode is the process's default, and a link is replaced, not followed.
 *
 * What is written beside is called ".new.<number>", in the directory of the file, so only one
 * replacement may be under way in a directory. A process that dies leaves it behind.
 * @param error set to the system's error text when one was not replaced
 * @return how each one ended, in the order of @p files
 */
[[nodiscard]] QVector<Replacement> replaceFiles(const QVector<NewFile> &files, QString *error);

/**
 * Replaces the file @p target, or makes it, by a copy of the file @p source with its mode, in the
 * way of replaceFiles(). On a full disk the old file's room is used: @p source itself is linked in
 * its place (link(2); both have to be on one file system), and the copy made then. Should somebody
 * else have taken that room meanwhile, the two stay one file until the next replacement.
 * @param error set to the system's error text when it was not replaced
 */
[[nodiscard]] Replacement replaceByCopy(const QString &source, const QString &target,
                                        QString *error);

/// Whether the mode of the file @p path may be changed: gives it the one that it has, so that
/// nobody gets a right that he did not have. @param error set to the system's error text when it
/// may not
[[nodiscard]] bool mayChangeMode(const QString &path, QString *error);

/// Removes what replacements have left behind in @p directory when their process died.
void removeLeftovers(const QString &directory);

/// Makes what was renamed, made and removed in @p directory survive a power cut (fsync(2)).
/// @return false when it could not be synced, with errno(3) set
bool syncDirectory(const QString &directory);

/// Syncs the open file @p descriptor to storage. A file system that knows no syncing counts as
/// synced. @return false when it could not be synced, with errno(3) set
[[nodiscard]] bool syncFile(int descriptor);
