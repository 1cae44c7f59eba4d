// Callers that pass descriptors: no method takes one, and whoever might use up the service's own
// gets no message through.
// SPDX-License-Identifier: MIT
#include "support/heldcheck.h"
#include "support/phone.h"
#include "support/privatebus.h"
#include "support/users.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusUnixFileDescriptor>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <cstdio>

#include <fcntl.h>
#include <sys/resource.h>

namespace {

constexpr int callCount = 100;
constexpr int descriptorsEach = 16; // what a bus lets pass in one message by default
const QString callerWord = QStringLiteral("--call-with-descriptors");
const QString callerProgram = QStringLiteral("/run/phone/caller");

/// Those of a phone, in which nothing but the installed policy is about the service.
const QByteArray rules
    = "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
      "<deny send_type=\"method_call\"/><allow send_destination=\"org.freedesktop.DBus\"/>"
      "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
      "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
      "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
      "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/></policy>"
      "<include>/usr/share/dbus-1/system.d/com.corvane.Quorvix.LoggerModule.conf</include>";

/// What the process of a caller does: makes calls with @p count descriptors each, and prints one
/// line for each answer.
int beCaller(int count)
{
    QVariantList descriptors;
    for (int number = 0; number < count; ++number) {
        QDBusUnixFileDescriptor descriptor;
        descriptor.giveFileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
        descriptors.append(QVariant::fromValue(descriptor));
    }
    QDBusMessage call
        = QDBusMessage::createMethodCall(Phone::serviceName, Phone::servicePath,
                                         Phone::serviceInterface, QStringLiteral("redirect"));
    call.setArguments(descriptors);
    QList<QDBusPendingCall> calls;
    for (int number = 0; number < callCount; ++number) {
        calls.append(QDBusConnection::systemBus().asyncCall(call, 60000));
    }
    for (QDBusPendingCall &pending : calls) {
        pending.waitForFinished();
        std::puts(pending.isError() ? qPrintable(pending.error().name()) : "answered");
    }
    return 0;
}

/// A line for each answer that a caller of the user @p name gets, each kind once.
QStringList answersTo(const QString &name, int descriptors,
                      const QProcessEnvironment &environment
                      = QProcessEnvironment::systemEnvironment())
{
    QStringList command {callerProgram, callerWord, QString::number(descriptors)};
    if (name != QLatin1String("root")) {
        command = Users::as(name, command);
    }
    QProcess caller;
    caller.setProcessEnvironment(environment);
    caller.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    caller.start(command.takeFirst(), command);
    if (!caller.waitForFinished()) {
        caller.kill();
        caller.waitForFinished();
    }
    QStringList lines = QString::fromLatin1(caller.readAllStandardOutput())
                            .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.size() != callCount) {
        return {QStringLiteral("%1 answers").arg(lines.size())};
    }
    lines.removeDuplicates();
    return lines;
}

} // namespace

class tst_Descriptors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void callsWithDescriptorsAreRefused_data();
    void callsWithDescriptorsAreRefused();
    void busyServiceKeepsItsConnection();
};

void tst_Descriptors::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    // Other users may not be able to go where the project is.
    QVERIFY(QFile::copy(QCoreApplication::applicationFilePath(), callerProgram));
    // What a service gets without being given more.
    const rlimit usual = {1024, 1024};
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &usual), 0);
}

void tst_Descriptors::callsWithDescriptorsAreRefused_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("root") << QStringLiteral("root");
    QTest::newRow("member of the group") << QStringLiteral("technician");
}

void tst_Descriptors::callsWithDescriptorsAreRefused()
{
    QFETCH(QString, user);
    if (user != QLatin1String("root") && qgetenv("PHONE_ROOTLESS") == "1") {
        return; // the rules are looked at in the installed file, by another test
    }
    const PrivateBus daemon(rules);
    const QString connection = QStringLiteral("private");
    const QDBusConnection bus = QDBusConnection::connectToBus(daemon.address(), connection);
    const Phone::Service service(daemon.environment(), false);
    QTRY_VERIFY(bus.interface()->isServiceRegistered(Phone::serviceName));
    const QStringList refused {QStringLiteral("org.freedesktop.DBus.Error.AccessDenied")};
    QCOMPARE(answersTo(user, descriptorsEach, daemon.environment()), refused);
    QCOMPARE(answersTo(user, 1, daemon.environment()), refused);
    QCOMPARE(answersTo(user, 0, daemon.environment()), QStringList {QStringLiteral("answered")});
    QDBusConnection::disconnectFromBus(connection);
}

void tst_Descriptors::busyServiceKeepsItsConnection()
{
    const QString user
        = qgetenv("PHONE_ROOTLESS") == "1" ? QStringLiteral("root") : QStringLiteral("technician");
    Phone::Service service;
    {
        HeldCheck check;
        QDBusMessage change
            = QDBusMessage::createMethodCall(Phone::serviceName, Phone::servicePath,
                                             Phone::serviceInterface, QStringLiteral("level"));
        change.setArguments({QStringLiteral("qvxsipua"), QStringLiteral("debug")});
        const QDBusPendingCall changed = QDBusConnection::systemBus().asyncCall(change, 60000);
        QVERIFY(check.waitForStart());
        answersTo(user, descriptorsEach);
        check.release();
        QTRY_VERIFY_WITH_TIMEOUT(changed.isFinished(), 60000);
        QCOMPARE(changed.reply().arguments().value(0).toString(),
                 QStringLiteral("Level debug for facility : qvxsipua OK"));
    }
    QCOMPARE(service.stop(), 0);
}

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (argc == 3 && QCoreApplication::arguments().at(1) == callerWord) {
        return beCaller(QByteArray(argv[2]).toInt());
    }
    tst_Descriptors test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_descriptors.moc"
