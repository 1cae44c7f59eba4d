// The directories of the log files, empty for each test, and what is answered about them.
// SPDX-License-Identifier: MIT
#pragma once

#include "faults.h"
#include "literal.h"
#include "phone.h"

#include <QDir>
#include <QFileInfo>
#include <QString>
#include <QStringList>

namespace LogDirectories {

const QString ram = "/var/log/"_s;
const QString flash = "/log/flash/"_s;

const QString allInRam = "All logs files removed in /var/log/ directory."_s;
const QString allInBoth = "All logs files removed in /var/log/ and /log/flash/ directories."_s;
const QString noneInRam = "No Log file to remove in /var/log/ directory"_s;
const QString noneInBoth = "No Log file to remove in /var/log/ and /log/flash/ directories"_s;
const QString wrongParameter = "Wrong parameter in deleteTmpLogFileWithParameter"_s;

/// Whatever stands in a directory, sorted, but for the log of the service itself, which syslog-ng
/// may make anew at any time.
inline QStringList namesIn(const QString &directory)
{
    QStringList names = entriesOf(directory);
    names.removeAll("LoggerModule.log"_s);
    return names;
}

/// Makes the files @p names, each with its own name in it.
inline void make(const QString &directory, const QStringList &names)
{
    for (const QString &name : names) {
        Phone::write(directory + name, name.toUtf8() + '\n');
    }
}

/// From now on syslog-ng has the service's log open, and goes on writing to the removed file.
inline void keepOwnLogOpen()
{
    Phone::call("logComments"_s, {QString(), "first"_s});
    if (!Phone::waitForContent(ram + "LoggerModule.log"_s, "first")) {
        qFatal("the service does not log");
    }
}

/// Makes both directories, with nothing in them, in the place of whatever is there.
inline void reset()
{
    for (const QString &directory : {"/var/log"_s, "/log/flash"_s}) {
        const QFileInfo info(directory);
        if (info.isSymLink() || !info.isDir()) {
            Faults::removeAll(directory);
        }
        QDir().mkpath(directory);
        for (const QString &name : entriesOf(directory)) {
            Faults::removeAll(directory + QLatin1Char('/') + name);
        }
    }
}

} // namespace LogDirectories
