// Runs a program to its end at little cost.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/**
 * Runs @p program, searched in PATH, with @p arguments, without input and output, and waits for its
 * end. The program's exit status is not looked at. QProcess would copy the page tables of the whole
 * service for it (fork(2)); posix_spawn(3) does not.
 * @param timeout how long it may take, in milliseconds; a program that takes longer is killed
 * @return an empty text when the program ran to its end in time, else what QProcess says then
 */
QString runProgram(const QString &program, const QStringList &arguments, int timeout);
