// The least that a service on the bus can be: one object with one method. Its first argument is the
// module whose name it takes. With the second argument "ask" it first asks the settings service for
// the four settings that LoggerModule asks for at its start; with "log" its method logs a line.
// SPDX-License-Identifier: MIT
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QSocketNotifier>

#include <csignal>

#include <sys/signalfd.h>
#include <syslog.h>
#include <unistd.h>

class EmptyService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    explicit EmptyService(bool logs) : m_logs(logs) { }

public Q_SLOTS:
    QString logComments(const QString &facility, const QString &comment)
    {
        Q_UNUSED(facility)
        if (m_logs) {
            syslog(LOG_ERR, "%s", qUtf8Printable(comment));
        }
        return QStringLiteral("OK");
    }

private:
    const bool m_logs;
};

namespace {

const QString busNamePrefix = QStringLiteral("com.corvane.Quorvix.");
const QString objectPathPrefix = QStringLiteral("/com/corvane/Quorvix/");
constexpr int answerTimeout = 5000; // ms

bool askForSettings()
{
    for (const char *setting : {"LogRemoteServerAddress", "LogRemoteServerPort",
                                "LogRemoteServerProtocol", "LogRemoteServerExist"}) {
        QDBusMessage question = QDBusMessage::createMethodCall(
            busNamePrefix + QStringLiteral("SettingsManager"),
            objectPathPrefix + QStringLiteral("SettingsManager"),
            QStringLiteral("com.corvane.Quorvix.QVXInterface"), QStringLiteral("getSettingValue"));
        question << QString::fromLatin1(setting);
        const QDBusMessage answer
            = QDBusConnection::systemBus().call(question, QDBus::Block, answerTimeout);
        if (answer.type() != QDBusMessage::ReplyMessage) {
            return false;
        }
    }
    return true;
}

} // namespace

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

    const QString module = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    const QByteArray mode(argc > 2 ? argv[2] : "");
    openlog("LoggerModule", 0, LOG_DAEMON);
    EmptyService service(mode == "log");
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerObject(objectPathPrefix + module, &service, QDBusConnection::ExportAllSlots)
        || (mode == "ask" && !askForSettings()) || !bus.registerService(busNamePrefix + module)) {
        return 1;
    }
    const int status = QCoreApplication::exec();
    close(descriptor);
    return status;
}

#include "emptyservice.moc"
