// The least that a service on the bus can be: one object with one method. It takes LoggerModule's
// name, so that both are started and measured in the same way.
// SPDX-License-Identifier: MIT
#include <QCoreApplication>
#include <QDBusConnection>
#include <QSocketNotifier>

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

class EmptyService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public Q_SLOTS:
    QString logComments(const QString &facility, const QString &comment)
    {
        Q_UNUSED(facility)
        Q_UNUSED(comment)
        return QStringLiteral("OK");
    }
};

int main(int argc, char *argv[])
{
    sigset_t toEnd;
    sigemptyset(&toEnd);
    sigaddset(&toEnd, SIGTERM);
    sigprocmask(SIG_BLOCK, &toEnd, nullptr);
    QCoreApplication application(argc, argv);
    const int descriptor = signalfd(-1, &toEnd, SFD_CLOEXEC);
    const QSocketNotifier notifier(descriptor, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &application, &QCoreApplication::quit);

    EmptyService service;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerObject(QStringLiteral("/com/corvane/Quorvix/LoggerModule"), &service,
                            QDBusConnection::ExportAllSlots)
        || !bus.registerService(QStringLiteral("com.corvane.Quorvix.LoggerModule"))) {
        return 1;
    }
    const int status = QCoreApplication::exec();
    close(descriptor);
    return status;
}

#include "emptyservice.moc"
