// Looks for programs as posix_spawnp(3) would, without running them.
// SPDX-License-Identifier: MIT
#include "neededprograms.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include <unistd.h>

namespace {

bool isProgram(const QString &path)
{
    const QFileInfo file(path);
    return file.isFile() && file.isExecutable();
}

} // namespace

QStringList missingPrograms(const QStringList &programs, const QByteArray &searchPath)
{
    const QStringList directories
        = QFile::decodeName(searchPath).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    QStringList missing;
    for (const QString &program : programs) {
        const bool isThere = QDir::isAbsolutePath(program)
            ? isProgram(program)
            : std::any_of(directories.begin(), directories.end(), [&](const QString &directory) {
                  return isProgram(directory + QLatin1Char('/') + program);
              });
        if (!isThere) {
            missing << program;
        }
    }
    return missing;
}

QByteArray programSearchPath()
{
    if (qEnvironmentVariableIsSet("PATH")) {
        return qgetenv("PATH");
    }
    QByteArray path(static_cast<int>(confstr(_CS_PATH, nullptr, 0)), '\0');
    confstr(_CS_PATH, path.data(), static_cast<size_t>(path.size()));
    path.chop(1); // the terminator
    return path;
}
