// Runs a short program for a client and takes what it prints.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// What a program left behind.
struct ProgramOutcome
{
    int status = -1; ///< exit status; -1 when it could not be run, was ended, or took too long
    QByteArray output; ///< standard output
    QByteArray errors; ///< standard error
};

/// Runs @p program with @p arguments for at most @p timeout ms; then it is killed.
ProgramOutcome outcomeOf(const QString &program, const QStringList &arguments, int timeout);
