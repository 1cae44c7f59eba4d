// What /proc knows about processes.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QByteArray>
#include <QDir>
#include <QList>
#include <QProcess>
#include <QString>

#include <unistd.h>

namespace Processes {

/// The fields of /proc/PID/stat behind the name: state, parent, group ...; none when there is no
/// such process.
inline QList<QByteArray> fields(const QString &pid)
{
    const QByteArray status = Phone::read(QStringLiteral("/proc/") + pid + QStringLiteral("/stat"));
    return status.isEmpty() ? QList<QByteArray>()
                            : status.mid(status.lastIndexOf(')') + 2).split(' ');
}

/// Whether a process does anything still; one that nobody has waited for yet does not.
inline bool runs(pid_t pid)
{
    const QByteArray state = fields(QString::number(pid)).value(0);
    return !state.isEmpty() && state != "Z";
}

/// The state letters of the children of @p parent, "Z" for one whose exit status nobody has asked
/// for.
inline QByteArray childStates(qint64 parent = getpid())
{
    QByteArray states;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &name : names) {
        const QList<QByteArray> found = fields(name);
        if (found.value(1).toLongLong() == parent) {
            states += found.value(0);
        }
    }
    return states;
}

/// The pid of a process that there was until just now.
inline QByteArray deadPid()
{
    QProcess process;
    process.start(QStringLiteral("true"), QStringList());
    process.waitForStarted();
    const QByteArray pid = QByteArray::number(process.processId());
    if (!process.waitForFinished()) {
        qFatal("true does not end");
    }
    return pid;
}

/// The pids in a text that a program has written, separated by blanks or line feeds.
inline QList<pid_t> pids(QByteArray text)
{
    QList<pid_t> pids;
    const QList<QByteArray> words = text.replace('\n', ' ').split(' ');
    for (const QByteArray &word : words) {
        if (!word.isEmpty()) {
            pids.append(word.toInt());
        }
    }
    return pids;
}

} // namespace Processes
