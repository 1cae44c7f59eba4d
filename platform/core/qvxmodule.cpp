// A module's way onto the bus, its events and its calls to other modules.
// SPDX-License-Identifier: MIT
#include <QVX/qvxmodule.h>

#include "buscall.h"
#include "modulecontrol.h"
#include "modulelock.h"
#include "stopsignals.h"

#include <QVX/qvxapplication.h>
#include <QVX/qvxevent.h>
#include <QVX/qvxlogger.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QElapsedTimer>

#include <array>
#include <functional>

namespace {

constexpr int remoteCallTimeout = 5000; // ms
constexpr int busTimeout = 5000; // ms; a bus that lives answers in less than one
constexpr qint64 longestWait = 60000; // ms, for another process

const QString callInterface = QStringLiteral("com.corvane.Quorvix.QVXInterface");
const QString eventInterface = QStringLiteral("com.corvane.Quorvix.QVXEvent");

QString busName(const QString &module)
{
    return QStringLiteral("com.corvane.Quorvix.") + module;
}

QString objectPath(const QString &module)
{
    return QStringLiteral("/com/corvane/Quorvix/") + module;
}

/// A call of the bus daemon itself.
QDBusMessage busCall(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), method);
    call.setArguments(arguments);
    return call;
}

QString cannotOwn(const QString &name, const QString &reason)
{
    return QStringLiteral("cannot own the bus name ") + name + QStringLiteral(": ") + reason;
}

} // namespace

class QVXModulePrivate
{
public:
    std::unique_ptr<QDBusConnection> connection; ///< null until the module has reached the bus
    QElapsedTimer waiting; ///< for another process; not valid when there is none
};

QVXModule::QVXModule(const QString &name) : d(std::make_unique<QVXModulePrivate>())
{
    setObjectName(name);
    if (auto *application = qobject_cast<QVXApplication *>(QCoreApplication::instance())) {
        application->addModule(this);
    }
}

QVXModule::~QVXModule() = default;

bool QVXModule::check()
{
    return true;
}

bool QVXModule::deploy()
{
    return true;
}

bool QVXModule::exportInterface()
{
    return true;
}

bool QVXModule::initialize()
{
    return true;
}

void QVXModule::presentation_loaded()
{
}

void QVXModule::presentation_stop()
{
}

bool QVXModule::stop()
{
    return true;
}

bool QVXModule::preSaveForSaveRestore()
{
    return true;
}

bool QVXModule::postRestoreForSaveRestore()
{
    return true;
}

void QVXModule::restoreDataToDefault()
{
}

void QVXModule::restoreDataToFactory()
{
}

bool QVXModule::notifyEvent(const QVXEvent &event) const
{
    if (!d->connection) {
        return false;
    }
    QDBusMessage signal
        = QDBusMessage::createSignal(objectPath(objectName()), eventInterface, event.name());
    signal << event.arguments();
    if (!d->connection->send(signal)) {
        return false;
    }
    // So far it is queued for the bus library's own thread. The bus takes the messages of a
    // connection in order, so its answer to a question behind the signal says that it has both.
    return d->connection->call(busCall(QStringLiteral("GetId")), QDBus::Block, busTimeout).type()
        == QDBusMessage::ReplyMessage;
}

QDBusMessage QVXModule::syncRemoteCall(const QString &module, const QString &method,
                                       const QVariantList &arguments) const
{
    if (!d->connection) {
        throw QString(QStringLiteral("The module is not connected to the bus"));
    }
    QDBusMessage call = QDBusMessage::createMethodCall(busName(module), objectPath(module),
                                                       callInterface, method);
    call.setArguments(arguments);
    QDBusMessage reply = callUntilStop(*d->connection, call, remoteCallTimeout);
    if (reply.type() == QDBusMessage::InvalidMessage) {
        throw QString(QStringLiteral("The process is asked to stop"));
    }
    // An error that the bus daemon or the local library made, and not the module that was called,
    // says that the call got nowhere. Only the module's own messages carry its unique name.
    const bool fromModule = reply.service().startsWith(QLatin1Char(':'));
    if (reply.type() == QDBusMessage::ErrorMessage && !fromModule) {
        throw QString(reply.errorMessage());
    }
    return reply;
}

QVXModule::Start QVXModule::claim(QString *problem)
{
    QString obstacle;
    const ModuleLock lock = takeModuleLock(objectName(), &obstacle);
    if (lock == ModuleLock::Taken) {
        return Start::Done;
    }
    const QString name = busName(objectName());
    const QDBusMessage owned = callUntilStop(
        *d->connection, busCall(QStringLiteral("NameHasOwner"), {name}), busTimeout);
    if (owned.type() == QDBusMessage::InvalidMessage) {
        return Start::BrokenOff;
    }
    if (owned.type() == QDBusMessage::ErrorMessage) {
        *problem = cannotOwn(name, owned.errorMessage());
        return Start::Failed;
    }
    if (owned.arguments().value(0).toBool()) {
        *problem = cannotOwn(name, QStringLiteral("it is taken"));
        return Start::Failed;
    }
    if (lock == ModuleLock::Unavailable) {
        // A phone on which two starts may meet is better than one on which none succeeds.
        logger(QString()).error(QStringLiteral("No lock against a second process: ") + obstacle);
        return Start::Done;
    }
    if (!d->waiting.isValid()) {
        d->waiting.start();
    }
    if (d->waiting.hasExpired(longestWait)) {
        *problem
            = cannotOwn(name, QStringLiteral("another process has been starting for too long"));
        return Start::Failed;
    }
    return Start::Waiting;
}

QVXModule::Start QVXModule::start(QString *problem)
{
    if (StopSignals::isRequested()) {
        return Start::BrokenOff;
    }
    if (!d->connection) {
        // A bus that hangs would hold up the end for half a minute.
        const auto bus = [] {
            const StopSignals::NothingBegun nothingBegun;
            return QDBusConnection::systemBus();
        }();
        if (!bus.isConnected()) {
            *problem
                = QStringLiteral("cannot connect to the system bus: ") + bus.lastError().message();
            return Start::Failed;
        }
        d->connection = std::make_unique<QDBusConnection>(bus);
    }
    const Start claimed = claim(problem);
    if (claimed != Start::Done) {
        return claimed;
    }
    QVXLogger::followLevelChanges(*d->connection);

    const QString path = objectPath(objectName());
    const QString name = busName(objectName());
    const auto reasonUnless
        = [](bool succeeded, const QString &reason) { return succeeded ? QString() : reason; };
    const std::array<std::function<QString()>, 6> steps {
        [&] { return reasonUnless(check(), QStringLiteral("check() failed")); },
        [&] { return reasonUnless(deploy(), QStringLiteral("deploy() failed")); },
        [&] { return reasonUnless(exportInterface(), QStringLiteral("exportInterface() failed")); },
        [&] {
            new ModuleControl(this);
            return reasonUnless(
                d->connection->registerObject(path, this, QDBusConnection::ExportAdaptors),
                QStringLiteral("cannot register the object ") + path);
        },
        [&] { return reasonUnless(initialize(), QStringLiteral("initialize() failed")); },
        [&] {
            const bool owned = d->connection->registerService(name);
            const QString reason = d->connection->lastError().message();
            return reasonUnless(
                owned, cannotOwn(name, reason.isEmpty() ? QStringLiteral("it is taken") : reason));
        },
    };
    for (const std::function<QString()> &step : steps) {
        *problem = step();
        // Before anything else: a step may have failed because of it.
        if (StopSignals::isRequested()) {
            return Start::BrokenOff;
        }
        if (!problem->isEmpty()) {
            return Start::Failed;
        }
    }
    presentation_loaded();
    return Start::Done;
}

void QVXModule::shutDown()
{
    presentation_stop();
    stop();
}
