// A message bus of the test's own, on which everybody may do everything.
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
    /// @p activated is the path of a program that the bus starts when @p name is called.
    PrivateBus(const QString &name, const QString &activated)
    {
        const QString services = m_directory + QStringLiteral("/services");
        if (!QDir().mkpath(services)) {
            qFatal("cannot create %s", qPrintable(services));
        }
        Phone::write(services + QLatin1Char('/') + name + QStringLiteral(".service"),
                     "[D-BUS Service]\nName=" + name.toUtf8() + "\nExec=" + activated.toUtf8()
                         + "\nUser=root\n");
        const QString configuration = m_directory + QStringLiteral("/bus.conf");
        Phone::write(configuration,
                     "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration "
                     "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                     "<busconfig><type>system</type><listen>"
                         + address().toUtf8() + "</listen><servicedir>" + services.toUtf8()
                         + "</servicedir><policy context=\"default\"><allow user=\"*\"/>"
                           "<allow own=\"*\"/><allow send_destination=\"*\"/>"
                           "<allow receive_sender=\"*\"/></policy></busconfig>\n");
        m_daemon.setProcessEnvironment(environment());
        m_daemon.start(QStringLiteral("dbus-daemon"),
                       {QStringLiteral("--config-file=") + configuration,
                        QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                        QStringLiteral("--print-address=1")});
        if (!m_daemon.waitForReadyRead()) {
            qFatal("the message bus does not start: %s",
                   m_daemon.readAllStandardError().constData());
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
