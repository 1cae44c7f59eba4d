// A module that reports what the platform does with it, and does on request what a module can do.
// Its arguments are words: the module's name, the hooks that shall fail, and "call:NAME" to ask the
// module NAME twice in initialize().
// SPDX-License-Identifier: MIT
#include <QVX/qvxapplication.h>
#include <QVX/qvxevent.h>
#include <QVX/qvxexception.h>
#include <QVX/qvxlogger.h>
#include <QVX/qvxmodule.h>

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QRegularExpression>
#include <QThread>

#include <cstdio>

class ProbeModule : public QVXModule
{
    Q_OBJECT

public:
    explicit ProbeModule(const QString &name) : QVXModule(name) { }

    bool check() override { return hook("check"); }
    bool deploy() override { return hook("deploy"); }
    bool exportInterface() override;
    bool initialize() override;
    void presentation_loaded() override { hook("presentation_loaded"); }
    void presentation_stop() override { hook("presentation_stop"); }
    bool stop() override { return hook("stop"); }
    void restoreDataToDefault() override { hook("restoreDataToDefault"); }
    void restoreDataToFactory() override { hook("restoreDataToFactory"); }

public Q_SLOTS:
    /// Not to be reached from the bus: the platform exports adaptors only.
    QString secret() { return QStringLiteral("secret"); }

    /// "reply:<text>", "error:<name>" or "thrown:<text>".
    QString remoteCall(const QString &module, const QString &method, const QString &argument) const
    {
        try {
            const QDBusMessage reply = syncRemoteCall(module, method, {argument});
            return reply.type() == QDBusMessage::ErrorMessage
                ? QStringLiteral("error:") + reply.errorName()
                : QStringLiteral("reply:") + reply.arguments().value(0).toString();
        } catch (const QString &text) {
            return QStringLiteral("thrown:") + text;
        }
    }

private:
    /// Says that the hook runs, and whether the bus knows the object and the name by now.
    bool hook(const char *name)
    {
        const QDBusConnection bus = QDBusConnection::systemBus();
        const QString path = QStringLiteral("/com/corvane/Quorvix/") + objectName();
        const QString service = QStringLiteral("com.corvane.Quorvix.") + objectName();
        const bool registered = bus.objectRegisteredAt(path) != nullptr;
        const bool owned = bus.interface()->serviceOwner(service).value() == bus.baseService();
        std::printf("%s%s%s\n", name, registered ? " object" : "", owned ? " name" : "");
        std::fflush(stdout);
        return !QCoreApplication::arguments().mid(2).contains(QLatin1String(name));
    }
};

class ProbeAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    explicit ProbeAdaptor(ProbeModule *module) : QDBusAbstractAdaptor(module), m_module(module) { }

public Q_SLOTS:
    QString remoteCall(const QString &module, const QString &method, const QString &argument)
    {
        return m_module->remoteCall(module, method, argument);
    }

    /// Says that it was begun, and lasts until there is a file @p path.
    QString lastUntil(const QString &path)
    {
        std::puts("lastUntil");
        std::fflush(stdout);
        while (!QFile::exists(path)) {
            QThread::msleep(5);
        }
        return QStringLiteral("done");
    }

    /// Sends an event from a thread of its own.
    bool announce(const QString &name, const QString &text, int number)
    {
        bool sent = false;
        const std::unique_ptr<QThread> thread(QThread::create([&] {
            QVXEvent event(name);
            event.addArgument(QStringLiteral("text"), text);
            event.addArgument(QStringLiteral("number"), number);
            sent = m_module->notifyEvent(event);
        }));
        thread->start();
        thread->wait();
        return sent;
    }

    void throwException(const QString &text)
    {
        throw new QVXException(m_module, QVXException::Communication, text);
    }

    int configuredLevel(const QString &name) { return logger(name).getConfiguredLevel(); }

    /// Logs as a module does: only when its configured level lets it.
    bool debug(const QString &text)
    {
        const QVXLogger log = logger(QString());
        if (log.getConfiguredLevel() > 6) {
            log.debug(text);
            return true;
        }
        return false;
    }

    void logThrough(const QString &name, const QString &text) { logger(name).error(text); }

    QString paths()
    {
        return QVXLogger::configurationSyslogBranchPath + QLatin1Char(' ')
            + QVXLogger::syslogWorkingDirectory + QLatin1Char(' ')
            + QVXLogger::facilityConfigFilesPath + QLatin1Char(' ')
            + QVXLogger::syslogExecutablePath;
    }

private:
    ProbeModule *m_module;
};

bool ProbeModule::exportInterface()
{
    new ProbeAdaptor(this);
    return hook("exportInterface");
}

bool ProbeModule::initialize()
{
    const bool succeeds = hook("initialize");
    const QStringList words
        = QCoreApplication::arguments().filter(QRegularExpression(QStringLiteral("^call:")));
    for (const QString &word : words) {
        for (int call = 0; call < 2; ++call) {
            const QString answer
                = remoteCall(word.mid(5), QStringLiteral("getSettingValue"), QString());
            std::printf("%s\n", qPrintable(answer));
            std::fflush(stdout);
        }
    }
    return succeeds;
}

int main(int argc, char *argv[])
{
    QVXApplication application(argc, argv);
    const QString name = QCoreApplication::arguments().value(1, QStringLiteral("Probe"));
    QCoreApplication::setApplicationName(name);
    const ProbeModule module(name);
    return QVXApplication::exec();
}

#include "probemodule.moc"
