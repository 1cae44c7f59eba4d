// Base class of a module: one D-Bus object with life-cycle hooks, run by the application object.
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QVariantList>

#include <memory>

class QVXApplication;
class QVXEvent;
class QVXModulePrivate;

/**
 * A module called NAME owns the bus name `com.corvane.Quorvix.NAME` on the system bus and is found
 * at `/com/corvane/Quorvix/NAME`. Only its adaptors (QDBusAbstractAdaptor) are exported, never its
 * own slots.
 *
 * The hooks run on the main thread. At start: check(), deploy(), exportInterface(), then the object
 * is registered on the bus, initialize(), then the bus name is requested, presentation_loaded(). At
 * SIGTERM or SIGINT: presentation_stop(), stop(). A start-up hook that returns false ends the
 * process with exit status 1.
 *
 * One process at a time runs a module: before the first hook it takes the lock
 * `/run/QVXApplication/NAME.lock` and keeps it until it ends. A process that finds another one
 * there waits until that one owns the bus name, which is a failed start, or ends, and for at most
 * 60 s. Where there can be no lock, an error is logged and the start goes on, if nobody owns the
 * name.
 *
 * SIGTERM or SIGINT during the start breaks it off: no further hook begins, not those of the end
 * either, the name is not requested, and the exit status is 0.
 */
class QVXModule : public QObject
{
    Q_OBJECT

public:
    /// @p name is the module's name on the bus, and its object name.
    explicit QVXModule(const QString &name);
    ~QVXModule() override;

    virtual bool check();
    virtual bool deploy();
    /// To create the adaptors here is the rule; each needs the module as parent.
    virtual bool exportInterface();
    virtual bool initialize();
    virtual void presentation_loaded();
    virtual void presentation_stop();
    virtual bool stop();
    virtual bool preSaveForSaveRestore();
    virtual bool postRestoreForSaveRestore();
    /// Called through the platform's control interface, as is restoreDataToFactory().
    virtual void restoreDataToDefault();
    virtual void restoreDataToFactory();

    /**
     * Announces @p event to the other modules: a D-Bus signal of the interface
     * `com.corvane.Quorvix.QVXEvent` from the module's path, its member the event's name, with one
     * argument `a{sv}`. It returns when the bus has the signal, so that what the caller does next
     * comes after the event; for that it asks the bus, and blocks for at most 5 s. No event is
     * processed meanwhile. Callable from any thread; before the module has reached the bus it does
     * nothing.
     * @return whether the bus has the signal; false also when the bus did not answer in time, and
     *         may get it later
     */
    bool notifyEvent(const QVXEvent &event) const;

    /**
     * Calls a method of another module, on its interface `com.corvane.Quorvix.QVXInterface`, and
     * blocks for at most 5 s, and not beyond the moment when the process is asked to stop. No event
     * is processed meanwhile.
     * @return the reply message; an error that the other module itself answered included
     * @throws QString with the error's text when the call cannot be delivered, is not answered in
     *         time, or the process is asked to stop, now or before
     */
    QDBusMessage syncRemoteCall(const QString &module, const QString &method,
                                const QVariantList &arguments) const;

private:
    friend class QVXApplication;

    enum class Start {
        Done,
        Failed,
        Waiting, ///< for another process; nothing has been done, try again
        BrokenOff, ///< the process is asked to stop
    };

    /// Runs the start-up sequence. @param problem is why the module cannot run, when it failed
    Start start(QString *problem);
    /// Whether this process may run the module. @return as start(), Done when it may
    Start claim(QString *problem);
    void shutDown();

    const std::unique_ptr<QVXModulePrivate> d;
};
