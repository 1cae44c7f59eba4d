// The words that the console knows, and which of them a mistyped word was meant to be.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// The level names, the least verbose first.
QStringList levelNames();

/// The name of the syslog level @p number; the number itself when it has none.
QString levelWord(int number);

/// Whether an activity at the level @p name logs more than errors.
bool isVerbose(const QString &name);

/// The entry of @p candidates that @p word most resembles, whatever its case; an empty text when it
/// resembles none.
QString nearestWord(const QString &word, const QStringList &candidates);
