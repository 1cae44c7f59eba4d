// The application object of a process that hosts modules.
// SPDX-License-Identifier: MIT
#pragma once

#include <QCoreApplication>
#include <QList>
#include <QPointer>

#include <memory>

class QVXModule;
class StopSignals;

/**
 * Starts every module that was created after it once the event loop runs, and stops them in reverse
 * order at SIGTERM or SIGINT, after which exec() returns 0. When a module cannot start (no bus, its
 * name is taken, a hook failed) or loses the bus later, one line on standard error says so and
 * exec() returns 1.
 *
 * From the first of those signals on, nothing that is queued for a module is begun any more; the
 * callers get an error. What has been begun is finished first.
 */
class QVXApplication : public QCoreApplication
{
    Q_OBJECT

public:
    /// @p argc and @p argv must stay valid as long as the object, as for QCoreApplication.
    QVXApplication(int &argc, char **argv);
    ~QVXApplication() override;

    /**
     * How long ago the process was asked to stop (SIGTERM or SIGINT), in milliseconds; -1 when it
     * was not. Callable from any thread, and true at once: work that takes long looks here whether
     * to go on, while the event loop waits for it.
     */
    static qint64 elapsedSinceStopRequest();

    /// Catches a QVXException thrown by pointer out of an event handler, logs and deletes it. Drops
    /// what is queued for a module (QEvent::MetaCall) when the process is asked to stop.
    bool notify(QObject *receiver, QEvent *event) override;

private Q_SLOTS:
    void busIsGone();

private:
    friend class QVXModule;

    void addModule(QVXModule *module);
    void startModule(QVXModule *module);
    void shutDown(int exitCode);

    QList<QPointer<QVXModule>> m_modules; ///< those that were started, in this order
    std::unique_ptr<StopSignals> m_stopSignals;
};
