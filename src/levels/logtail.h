// The newest lines of a log file, found in constant memory whatever the file's size.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QtGlobal>

class QFile;

/// Counts the lines in the first @p size bytes of @p file; a last line without line feed is one.
/// @return -1 when they could not be read
[[nodiscard]] qint64 countLines(QFile &file, qint64 size);

/**
 * Where the newest @p count lines in the first @p size bytes of @p file begin.
 * @return the offset in bytes; @p size for no line, 0 for more lines than there are; -1 when the
 *         file could not be read
 */
[[nodiscard]] qint64 startOfNewestLines(QFile &file, qint64 size, qint64 count);

/**
 * Where the newest whole lines of @p text begin that take at most @p limit bytes in an answer.
 * There a NUL, which no text on the bus can hold, takes the three bytes of U+FFFD, and a line
 * without a line feed gets one.
 * @param startsInLine whether @p text begins in the middle of a line
 */
int startOfWholeLines(const QByteArray &text, int limit, bool startsInLine);
