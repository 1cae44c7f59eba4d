// The event of level changes, and the table's destinations, as lines of text.
// SPDX-License-Identifier: MIT
#include "watch.h"

#include "client/changes.h"
#include "client/configurationwatch.h"
#include "stopsignals.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QDateTime>
#include <QElapsedTimer>
#include <QTimer>

#include <unistd.h>

namespace {

constexpr int lookEvery = 500; // ms

/// Receives what the bus says, and looks at the table when the configuration was changed.
class Listener : public QObject
{
    Q_OBJECT

public:
    explicit Listener(const Session &session)
        : m_session(session), m_owner(loggerModuleService, session.caller.bus,
                                      QDBusServiceWatcher::WatchForRegistration
                                          | QDBusServiceWatcher::WatchForUnregistration)
    {
        m_session.caller.slow = nullptr;
        m_time.start();
        connect(&m_owner, &QDBusServiceWatcher::serviceRegistered, this, [this] {
            m_present = true;
            note(m_session, QStringLiteral("LoggerModule is on the bus again"));
        });
        connect(&m_owner, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
            m_present = false;
            note(m_session, QStringLiteral("LoggerModule left the bus; waiting for it"));
        });
        connect(&m_timer, &QTimer::timeout, this, [this] {
            // Not while the service is away: the bus would start it for the question.
            if (m_present && (m_configuration.hasChanged() || m_due)) {
                look();
            }
        });
    }

    /// Remembers the destinations, and from then on reports what becomes of them. In the event
    /// loop.
    void begin()
    {
        // The bus answers in order: when it has told this, it knows what we listen to.
        m_present = m_session.caller.bus.interface()->isServiceRegistered(loggerModuleService);
        if (m_present && !look()) {
            return;
        }
        if (!m_present) {
            note(m_session, QStringLiteral("LoggerModule is not on the bus; waiting for it"));
        }
        if (m_present && m_session.screens.errors.terminal) {
            note(m_session, QStringLiteral("watching for level changes; Ctrl-C ends it"));
        }
        m_timer.start(lookEvery);
    }

public Q_SLOTS:
    void changed(const QVariantMap &event)
    {
        m_due = true;
        print(presentChange(event, now(), m_session.screens));
    }
    void busGone()
    {
        note(m_session,
             QStringLiteral("the system bus went away: start this again when it is back"));
        QCoreApplication::exit(Unreachable);
    }

private:
    QString now() const
    {
        constexpr double second = 1000; // ms
        if (m_session.line.sinceStart) {
            return QString::number(static_cast<double>(m_time.elapsed()) / second, 'f', 3);
        }
        const QDateTime time = QDateTime::currentDateTime();
        return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODateWithMs);
    }
    void print(const QString &line)
    {
        if (!writeAll(STDOUT_FILENO, line.toUtf8())) {
            sayThatItCannotBeWritten();
            QCoreApplication::exit(Failed);
        }
    }
    /// @return false when this user may not look, which ends the program
    bool look()
    {
        m_due = false;
        const Listing listing = listActivities(m_session.caller);
        if (listing.reply.error.type() == QDBusError::AccessDenied) {
            QCoreApplication::exit(unreachable(m_session, listing.reply));
            return false;
        }
        if (!listing.valid) {
            m_due = true; // look again
            return true;
        }
        for (const ActivityRow &row : listing.rows) {
            const ActivityRow *const before = findActivity(m_rows, row.activity);
            if (before != nullptr && !sameDestination(*before, row)) {
                print(presentMove(row, now(), m_session.screens));
            }
        }
        m_rows = listing.rows;
        return true;
    }

    Session m_session;
    QDBusServiceWatcher m_owner;
    ConfigurationWatch m_configuration;
    QElapsedTimer m_time;
    QTimer m_timer;
    QList<ActivityRow> m_rows;
    bool m_present = false; ///< whether the service is on the bus
    bool m_due
        = true; ///< whether the table may be another one: a level change may bring the backup
};

} // namespace

ExitStatus watch(const Session &session)
{
    const StopSignals stop([] { QCoreApplication::exit(Done); });
    Listener listener(session);
    QDBusConnection bus = session.caller.bus;
    bus.connect(loggerModuleService, loggerModulePath,
                QStringLiteral("com.corvane.Quorvix.QVXEvent"), QStringLiteral("log_level_changed"),
                &listener, SLOT(changed(QVariantMap)));
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"),
                &listener, SLOT(busGone()));

    QTimer::singleShot(0, &listener, [&listener] { listener.begin(); });
    return static_cast<ExitStatus>(QCoreApplication::exec());
}

#include "watch.moc"
