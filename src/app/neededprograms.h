// Which of the programs that the service runs are not on this phone.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QStringList>

/**
 * Those of @p programs, in their order, that cannot be run: an absolute path is an executable file
 * or not, a name is searched as execvp(3) does.
 * @param searchPath directories with colons between them (PATH); an empty one is not searched
 */
QStringList missingPrograms(const QStringList &programs, const QByteArray &searchPath);

/// Where posix_spawnp(3) and the shell search: PATH, or what the system has in its place
/// (confstr(3)) for a process that was started without.
QByteArray programSearchPath();
