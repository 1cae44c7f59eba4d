// Edits of single lines of logappli.conf.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/// What to change in the configuration. A level and a destination are never set by one edit; if
/// both are given the level wins.
struct ConfigLineEdit
{
    QString line; ///< the line offered to rewriteLine(), without its line feed
    /// Text to look for in a line. The new value goes right behind it, but a destination for all
    /// activities goes behind the line's first "{".
    QString key;
    QString level; ///< the new lowest level, or empty
    QString destination; ///< the new destination driver expression, or empty
    QString activity; ///< whose block is edited; empty for every activity
    int position = 0; ///< where the begin marker matched; for information
};

/// The begin line's text of @p activity; of any activity when it is empty.
QString beginMarker(const QString &activity);

/**
 * Looks for the begin line of a block.
 * @param marker what beginMarker() gave
 * @return -1 when @p line is not it; else 0, or for the marker of all activities its position
 */
int matchBlockMarker(const QString &marker, const QString &line);

/**
 * Applies @p edit to its line. Everything but the one value stays as it is in the line.
 * @param out gets the new line appended, with its line feed
 * @return whether the line was replaced
 */
bool rewriteLine(const ConfigLineEdit &edit, QString &out);
