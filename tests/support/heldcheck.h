// Holds the service in the middle of its syntax check.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>
#include <QTest>

/// A stand-in for syslog-ng's check that says when it runs and waits until it may go on. What is
/// held has to end before it does, because it then puts syslog-ng back.
class HeldCheck
{
public:
    HeldCheck()
    {
        QFile::remove(started);
        QFile::remove(released);
        if (!QFile::rename(program, real)) {
            qFatal("cannot move syslog-ng aside");
        }
        Phone::write(program,
                     "#!/bin/sh\n"
                     "echo $$ $PPID >> /tmp/check.started\n"
                     "while [ ! -e /tmp/check.released ]; do sleep 0.01; done\n"
                     "exec /usr/sbin/syslog-ng.real \"$@\"\n");
        if (!QFile::setPermissions(program, QFileDevice::ReadOwner | QFileDevice::ExeOwner)) {
            qFatal("cannot make the stand-in executable");
        }
    }
    ~HeldCheck()
    {
        release();
        QFile::remove(program);
        QFile::rename(real, program);
    }
    Q_DISABLE_COPY(HeldCheck)

    static bool waitForStart()
    {
        return QTest::qWaitFor([] { return count() > 0; }, 10000);
    }
    /// How many checks have been started.
    static int count() { return Phone::read(started).count('\n'); }
    /// The check that was started first, and the shell that runs it.
    static QList<int> pids()
    {
        QList<int> pids;
        for (const QByteArray &pid : Phone::read(started).split('\n').value(0).split(' ')) {
            pids.append(pid.toInt());
        }
        return pids;
    }
    static void release() { Phone::write(released, ""); }

private:
    inline static const QString program = QStringLiteral("/usr/sbin/syslog-ng");
    inline static const QString real = QStringLiteral("/usr/sbin/syslog-ng.real");
    inline static const QString started = QStringLiteral("/tmp/check.started");
    inline static const QString released = QStringLiteral("/tmp/check.released");
};
