// A message bus of the test's own, with rules of the test's own.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QDir>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

class PrivateBus
{
public:
    /// @p rules stand in the daemon's configuration (dbus-daemon(1)).
    explicit PrivateBus(const QByteArray &rules)
    {
        if (!QDir().mkpath(m_directory)) {
            qFatal("cannot create %s", qPrintable(m_directory));
        }
        const QString errors = m_directory + QStringLiteral("/errors");
        const QString configuration = m_directory + QStringLiteral("/bus.conf");
        Phone::write(configuration,
                     "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration "
                     "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                     "<busconfig><type>system</type><auth>EXTERNAL</auth><listen>"
                         + address().toUtf8() + "</listen>" + rules + "</busconfig>\n");
        m_daemon.setProcessEnvironment(environment());
        // A file and not a pipe: nobody reads while a test waits for an answer.
        m_daemon.setStandardErrorFile(errors);
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file=") + configuration,
                        QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                        QStringLiteral("--print-address=1")});
        if (!m_daemon.waitForReadyRead()) {
            qFatal("the message bus does not start: %s", Phone::read(errors).constData());
        }
    }
    ~PrivateBus()
    {
        m_daemon.kill();
        m_daemon.waitForFinished();
        QDir(m_directory).removeRecursively();
    }
    Q_DISABLE_COPY(PrivateBus)

    QString address() const
    {
        return QStringLiteral("unix:path=") + m_directory + QStringLiteral("/socket");
    }

    /// For programs that take this bus for the system bus.
    QProcessEnvironment environment() const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address());
        return environment;
    }

private:
    const QString m_directory = QStringLiteral("/run/phone/private-bus");
    QProcess m_daemon;
};
