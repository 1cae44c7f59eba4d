// A process that is asked to stop does so at once, whatever is still to be done: a start that waits
// for another module is broken off, and calls that nobody has begun are not begun. Without its bus
// it ends by itself.
// SPDX-License-Identifier: MIT
#include "support/phone.h"
#include "support/privatebus.h"
#include "support/probe.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDBusServiceWatcher>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <csignal>
#include <memory>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

/// Less than one remote call may take.
constexpr qint64 atOnce = 4000; // ms

} // namespace

class tst_Stop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void startIsBrokenOff_data();
    void startIsBrokenOff();
    void hookThatFailsForItIsNoFailure();
    void queuedCallsAreNotBegun();
    void busThatNeverAnswersHoldsUpNoEnd();
    void busThatGoesAwayEndsTheService();

    // From here on the phone has no settings service.
    void serviceStopsWhileTheSettingsServiceIsSilent();
};

void tst_Stop::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
}

void tst_Stop::startIsBrokenOff_data()
{
    QTest::addColumn<int>("stopSignal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void tst_Stop::startIsBrokenOff()
{
    QFETCH(int, stopSignal);
    const SilentModule silent(QStringLiteral("Silent"));
    const QDBusServiceWatcher watcher(QStringLiteral("com.corvane.Quorvix.Probe"),
                                      QDBusConnection::systemBus());
    const QSignalSpy owned(&watcher, &QDBusServiceWatcher::serviceRegistered);
    Probe probe({QStringLiteral("Probe"), QStringLiteral("call:Silent")});
    QVERIFY(silent.waitForCall());

    QElapsedTimer time;
    time.start();
    probe.signal(stopSignal);
    QCOMPARE(probe.end(), 0);
    QVERIFY2(time.elapsed() < atOnce, qPrintable(QString::number(time.elapsed())));

    // Both calls of the hook, and no hook after it.
    QCOMPARE(probe.output(),
             QByteArray("check\n"
                        "deploy\n"
                        "exportInterface\n"
                        "initialize object\n"
                        "thrown:The process is asked to stop\n"
                        "thrown:The process is asked to stop\n"));
    QCOMPARE(probe.errors(), QByteArray());
    // The bus tells of a name's owner before it answers, and the event loop passes it on.
    QVERIFY(!Phone::isOnBus(QStringLiteral("com.corvane.Quorvix.Probe")));
    QCoreApplication::processEvents();
    QVERIFY(owned.isEmpty());
}

void tst_Stop::hookThatFailsForItIsNoFailure()
{
    const SilentModule silent(QStringLiteral("Silent"));
    Probe probe(
        {QStringLiteral("Probe"), QStringLiteral("call:Silent"), QStringLiteral("initialize")});
    QVERIFY(silent.waitForCall());
    probe.signal(SIGTERM);
    QCOMPARE(probe.end(), 0);
    QCOMPARE(probe.errors(), QByteArray());
}

void tst_Stop::queuedCallsAreNotBegun()
{
    constexpr int callerCount = 2; // the bus lets one caller wait for 128 answers
    constexpr int callsEach = 100;
    const QString release = QStringLiteral("/run/phone/released");
    QFile::remove(release);
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    const auto message = [](const QString &interface, const QString &method) {
        return QDBusMessage::createMethodCall(QStringLiteral("com.corvane.Quorvix.Probe"),
                                              QStringLiteral("/com/corvane/Quorvix/Probe"),
                                              interface, method);
    };
    QDBusMessage call = message(Phone::serviceInterface, QStringLiteral("lastUntil"));
    call.setArguments({release});
    QList<QDBusPendingCall> calls;
    for (int number = 0; number < callerCount; ++number) {
        const QDBusConnection bus = QDBusConnection::connectToBus(
            QDBusConnection::SystemBus, QStringLiteral("caller %1").arg(number));
        for (int repetition = 0; repetition < callsEach; ++repetition) {
            calls.append(bus.asyncCall(call, 60000));
        }
        // Answered by the bus library, when it has queued the others.
        const QDBusMessage ping = bus.call(
            message(QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")));
        QCOMPARE(ping.type(), QDBusMessage::ReplyMessage);
    }
    QVERIFY(probe.waitForHook("lastUntil\n"));

    probe.signal(SIGTERM);
    Phone::write(release, "");
    QCOMPARE(probe.end(), 0);
    QCOMPARE(probe.output().count("lastUntil\n"), 1);
    QVERIFY(probe.output().endsWith("presentation_stop object name\nstop object name\n"));

    // The one that was begun is answered, the others get an error, and nobody waits.
    int answers = 0;
    for (QDBusPendingCall &pending : calls) {
        pending.waitForFinished();
        if (pending.isError()) {
            QCOMPARE(pending.error().name(),
                     QStringLiteral("org.freedesktop.DBus.Error.UnknownObject"));
        } else {
            ++answers;
        }
    }
    QCOMPARE(answers, 1);
    QVERIFY(!calls.first().isError());
    for (int number = 0; number < callerCount; ++number) {
        QDBusConnection::disconnectFromBus(QStringLiteral("caller %1").arg(number));
    }
}

void tst_Stop::busThatNeverAnswersHoldsUpNoEnd()
{
    // Takes connections, as the kernel does for everybody who listens, and says nothing.
    const QByteArray path = "/run/phone/silent-bus";
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
    const int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    QCOMPARE(bind(bus, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    QCOMPARE(listen(bus, 5), 0);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=") + QString::fromLatin1(path));

    Phone::Service service(environment, false);
    pollfd connection {bus, POLLIN, 0};
    QCOMPARE(poll(&connection, 1, 20000), 1);
    QElapsedTimer time;
    time.start();
    QCOMPARE(service.stop(), 0);
    QVERIFY2(time.elapsed() < atOnce, qPrintable(QString::number(time.elapsed())));
    close(bus);
    unlink(path.constData());
}

void tst_Stop::busThatGoesAwayEndsTheService()
{
    auto daemon = std::make_unique<PrivateBus>(
        "<policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
        "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/></policy>");
    const QString name = QStringLiteral("private");
    const QDBusConnection bus = QDBusConnection::connectToBus(daemon->address(), name);
    Phone::Service service(daemon->environment(), false);
    QTRY_VERIFY_WITH_TIMEOUT(bus.interface()->isServiceRegistered(Phone::serviceName), 30000);
    QDBusConnection::disconnectFromBus(name);

    daemon.reset();
    QCOMPARE(service.waitForEnd(), 1);
    QCOMPARE(service.output(), QByteArray("LoggerModule: the system bus is gone\n"));
}

void tst_Stop::serviceStopsWhileTheSettingsServiceIsSilent()
{
    Phone::stopBooted(QStringLiteral("SettingsManager"));
    const SilentModule settings(QStringLiteral("SettingsManager"));
    Phone::Service service(QProcessEnvironment::systemEnvironment(), false);
    QVERIFY(settings.waitForCall());
    QElapsedTimer time;
    time.start();
    QCOMPARE(service.stop(), 0);
    QVERIFY2(time.elapsed() < atOnce, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(service.output(), QByteArray(""));
    QVERIFY(!Phone::isOnBus(Phone::serviceName));
}

QTEST_GUILESS_MAIN(tst_Stop)
#include "tst_stop.moc"
