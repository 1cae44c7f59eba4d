// A module's way onto the bus, its events and its calls to other modules.
// SPDX-License-Identifier: MIT
#include <QVX/qvxmodule.h>

#include "modulecontrol.h"

#include <QVX/qvxapplication.h>
#include <QVX/qvxevent.h>
#include <QVX/qvxlogger.h>

#include <QDBusConnection>
#include <QDBusError>

namespace {

constexpr int remoteCallTimeout = 5000; // ms
constexpr int busTimeout = 5000; // ms; a bus that lives answers in less than one

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

} // namespace

class QVXModulePrivate
{
public:
    std::unique_ptr<QDBusConnection> connection; ///< null until the module has reached the bus
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
    const QDBusMessage question = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    return d->connection->call(question, QDBus::Block, busTimeout).type()
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
    QDBusMessage reply = d->connection->call(call, QDBus::Block, remoteCallTimeout);
    // An error that the bus daemon or the local library made, and not the module that was called,
    // says that the call got nowhere. Only the module's own messages carry its unique name.
    const bool fromModule = reply.service().startsWith(QLatin1Char(':'));
    if (reply.type() == QDBusMessage::ErrorMessage && !fromModule) {
        throw QString(reply.errorMessage());
    }
    return reply;
}

QString QVXModule::start()
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return QStringLiteral("cannot connect to the system bus: ") + bus.lastError().message();
    }
    d->connection = std::make_unique<QDBusConnection>(bus);
    QVXLogger::followLevelChanges(bus);

    if (!check()) {
        return QStringLiteral("check() failed");
    }
    if (!deploy()) {
        return QStringLiteral("deploy() failed");
    }
    if (!exportInterface()) {
        return QStringLiteral("exportInterface() failed");
    }
    new ModuleControl(this);
    const QString path = objectPath(objectName());
    if (!d->connection->registerObject(path, this, QDBusConnection::ExportAdaptors)) {
        return QStringLiteral("cannot register the object ") + path;
    }
    if (!initialize()) {
        return QStringLiteral("initialize() failed");
    }
    const QString name = busName(objectName());
    if (!d->connection->registerService(name)) {
        const QString reason = d->connection->lastError().message();
        return QStringLiteral("cannot own the bus name ") + name + QStringLiteral(": ")
            + (reason.isEmpty() ? QStringLiteral("it is taken") : reason);
    }
    presentation_loaded();
    return {};
}

void QVXModule::shutDown()
{
    presentation_stop();
    stop();
}
