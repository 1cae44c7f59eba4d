// What the console knows about the place it writes to, and what may be written there.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>

/// What --color says.
enum class ColorMode { Auto, Always, Never };

/// A place to write to.
struct Screen
{
    /// Texts are laid out for a person, and nothing in them may control the terminal. Otherwise
    /// they go out byte for byte.
    bool terminal = false;
    bool color = false;
    int width = 80; ///< columns
};

/// Whether colours are wanted on a terminal (@p terminal) or elsewhere. NO_COLOR and TERM of
/// @p environment count only where @p mode leaves it open.
bool wantsColor(ColorMode mode, bool terminal, const QProcessEnvironment &environment);

/// The screen behind the file descriptor @p descriptor. With ColorMode::Always anything is laid out
/// like a terminal.
Screen screenOf(int descriptor, ColorMode mode);

/// @p text with everything replaced by visible characters that could control a terminal or reorder
/// its line: "^[" for an escape, "\u009b" for others. Line feeds and tabs stay.
QString visible(const QString &text);

/// @p text with its lines broken at blanks where they are wider than @p width columns; what goes on
/// in the next line is indented like its first, or stands below the second column of a list. Only a
/// word that is wider than the screen is left as it is. Escape sequences of colours have no width.
QString wrapped(const QString &text, int width);

/// Occupies the standard file descriptors that are closed, so that nothing which the process opens
/// gets their numbers and with them what was meant for a reader. They stay without use: what is
/// written there fails.
void occupyStandardDescriptors();

/// Writes @p bytes to the file descriptor @p descriptor. @return whether all of it was written
bool writeAll(int descriptor, const QByteArray &bytes);

/// Tells on standard error why the answer could not be written, by errno.
void sayThatItCannotBeWritten();
