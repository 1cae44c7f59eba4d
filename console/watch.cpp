// The event of level changes as lines of text.
// SPDX-License-Identifier: MIT
#include "watch.h"

#include "service.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QSocketNotifier>

#include <csignal>

#include <sys/signalfd.h>
#include <unistd.h>

namespace {

sigset_t stopSignals()
{
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    return stops;
}

void note(const QString &text)
{
    writeAll(STDERR_FILENO, QString(QStringLiteral("loggerctl: ") + text).toUtf8() + '\n');
}

/// Receives what the bus says.
class Listener : public QObject
{
    Q_OBJECT

public:
    explicit Listener(const Screens &screens) : m_screens(screens) { }

public Q_SLOTS:
    void changed(const QVariantMap &event)
    {
        if (!writeAll(STDOUT_FILENO, presentChange(event, m_screens).toUtf8())) {
            sayThatItCannotBeWritten();
            QCoreApplication::exit(Failed);
        }
    }
    void busGone()
    {
        note(QStringLiteral("the system bus went away: start this again when it is back"));
        QCoreApplication::exit(Unreachable);
    }

private:
    Screens m_screens;
};

} // namespace

void holdStopSignals()
{
    const sigset_t stops = stopSignals();
    pthread_sigmask(SIG_BLOCK, &stops, nullptr);
}

ExitStatus watch(QDBusConnection bus, const Screens &screens)
{
    const sigset_t stops = stopSignals();
    const int descriptor = signalfd(-1, &stops, SFD_CLOEXEC | SFD_NONBLOCK);
    QSocketNotifier stop(descriptor, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, qApp,
                     [] { QCoreApplication::exit(Done); });

    Listener listener(screens);
    bus.connect(loggerModuleService, loggerModulePath,
                QStringLiteral("com.corvane.Quorvix.QVXEvent"), QStringLiteral("log_level_changed"),
                &listener, SLOT(changed(QVariantMap)));
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                &listener, SLOT(busGone()));

    QDBusServiceWatcher owner(loggerModuleService, bus,
                              QDBusServiceWatcher::WatchForRegistration
                                  | QDBusServiceWatcher::WatchForUnregistration);
    QObject::connect(&owner, &QDBusServiceWatcher::serviceRegistered, &listener,
                     [] { note(QStringLiteral("LoggerModule is on the bus again")); });
    QObject::connect(&owner, &QDBusServiceWatcher::serviceUnregistered, &listener,
                     [] { note(QStringLiteral("LoggerModule left the bus; waiting for it")); });

    // The bus answers in order: when it has told this, it knows what we listen to.
    if (!bus.interface()->isServiceRegistered(loggerModuleService)) {
        note(QStringLiteral("LoggerModule is not on the bus; waiting for it"));
    } else if (screens.errors.terminal) {
        note(QStringLiteral("watching for level changes; Ctrl-C ends it"));
    }
    const int status = QCoreApplication::exec();
    close(descriptor);
    return static_cast<ExitStatus>(status);
}

#include "watch.moc"
