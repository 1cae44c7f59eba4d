// Text files as UTF-8, line by line, whatever the locale of the process.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QStringList>

class QFile;

/**
 * Decodes UTF-8. Bytes that are not UTF-8 become lone surrogates (U+DC80 to U+DCFF), which no
 * decoded text can hold otherwise, so that encodeText() gives back exactly the bytes that were
 * read: an edit must not damage a comment that somebody wrote in another encoding. A byte order
 * mark stays in the text for the same reason.
 */
QString decodeText(const QByteArray &bytes);

/// The bytes of a text that decodeText() gave, or of any other text as UTF-8.
QByteArray encodeText(const QString &text);

/// The lines of a text without their line feeds. A last line needs none; an empty text has no line.
QStringList splitLines(const QString &text);

/**
 * Opens @p file, but never anything else than a regular file that stands in its place: to open a
 * FIFO would block until somebody writes to it. A file that does not exist may be created.
 */
[[nodiscard]] bool openRegularFile(QFile &file, QIODevice::OpenMode mode);

/**
 * Reads all lines of @p file, without carriage returns.
 * @return false when the file could not be read to its end; @p lines is empty then. What follows
 *         must not take that for an empty file.
 */
[[nodiscard]] bool readLines(QFile &file, QStringList *lines);

/**
 * Writes @p text to @p file and closes it.
 * @return false when any of it did not reach the file, for instance on a full disk
 */
[[nodiscard]] bool writeTextAndClose(QFile &file, const QString &text);

/// Whether the file @p path holds exactly @p text.
bool fileHolds(const QString &path, const QString &text);
