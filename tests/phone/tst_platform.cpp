// The platform's promises to a module, tried with a module of the test's own: hooks, bus, events,
// remote calls, exceptions, logging, and an orderly end.
// SPDX-License-Identifier: MIT
#include "support/phone.h"
#include "support/probe.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

class EventRecorder : public QObject
{
    Q_OBJECT

public:
    QList<QDBusMessage> messages;

public Q_SLOTS:
    void received(const QDBusMessage &message) { messages.append(message); }
};

} // namespace

class tst_Platform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void hooksRunInOrder_data();
    void hooksRunInOrder();
    void failingHookEndsTheProcess_data();
    void failingHookEndsTheProcess();
    void withoutBusOneClearLine();
    void takenNameOneClearLine();
    void serviceWithoutBusOrNameSaysSo_data();
    void serviceWithoutBusOrNameSaysSo();
    void controlInterfaceResetsData();
    void onlyAdaptorsAreReachable();
    void eventFromAThreadReachesTheBus();
    void remoteCall_data();
    void remoteCall();
    void remoteCallIsNotAnsweredInTime();
    void exceptionIsLoggedAndTheModuleGoesOn();
    void pathsCanBeConfigured_data();
    void pathsCanBeConfigured();
    void levelFollowsTheEventWithoutRestart();
    void messagesCarryNameAndFacility();
    void settingsServiceKeepsValues();
};

void tst_Platform::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Platform::hooksRunInOrder_data()
{
    QTest::addColumn<int>("stopSignal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void tst_Platform::hooksRunInOrder()
{
    QFETCH(int, stopSignal);
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    QCOMPARE(probe.output(),
             QByteArray("check\n"
                        "deploy\n"
                        "exportInterface\n"
                        "initialize object\n"
                        "presentation_loaded object name\n"));
    probe.signal(stopSignal);
    QCOMPARE(probe.end(), 0);
    QVERIFY2(probe.output().endsWith("presentation_loaded object name\n"
                                     "presentation_stop object name\n"
                                     "stop object name\n"),
             probe.output().constData());
    QCOMPARE(probe.errors(), QByteArray());
}

void tst_Platform::failingHookEndsTheProcess_data()
{
    QTest::addColumn<QString>("hook");
    QTest::newRow("check") << QStringLiteral("check");
    QTest::newRow("deploy") << QStringLiteral("deploy");
    QTest::newRow("exportInterface") << QStringLiteral("exportInterface");
    QTest::newRow("initialize") << QStringLiteral("initialize");
}

void tst_Platform::failingHookEndsTheProcess()
{
    QFETCH(QString, hook);
    Probe probe({QStringLiteral("Probe"), hook});
    QCOMPARE(probe.end(), 1);
    QVERIFY(!probe.output().contains("presentation_loaded"));
    QCOMPARE(probe.errors(), "Probe: " + hook.toUtf8() + "() failed\n");
}

void tst_Platform::withoutBusOneClearLine()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=/nowhere"));
    Probe probe({QStringLiteral("Probe")}, environment);
    QCOMPARE(probe.end(), 1);
    const QByteArray errors = probe.errors();
    QVERIFY2(errors.startsWith("Probe: cannot connect to the system bus: "), errors.constData());
    QCOMPARE(errors.count('\n'), 1);
}

void tst_Platform::takenNameOneClearLine()
{
    Probe first;
    QVERIFY(first.waitForHook("presentation_loaded"));
    Probe second;
    QCOMPARE(second.end(), 1);
    const QByteArray errors = second.errors();
    QCOMPARE(errors,
             QByteArray("Probe: cannot own the bus name com.corvane.Quorvix.Probe: it is taken\n"));
    first.signal(SIGTERM);
    QCOMPARE(first.end(), 0);
}

void tst_Platform::serviceWithoutBusOrNameSaysSo_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("no bus") << QStringLiteral("unix:path=/nowhere")
                            << QByteArray("LoggerModule: cannot connect to the system bus: ");
    QTest::newRow("name taken") << QStringLiteral("unix:path=/run/dbus/system_bus_socket")
                                << QByteArray("LoggerModule: cannot own the bus name "
                                              "com.corvane.Quorvix.LoggerModule: it is taken\n");
}

void tst_Platform::serviceWithoutBusOrNameSaysSo()
{
    QFETCH(QString, address);
    QFETCH(QByteArray, line);
    QVERIFY(Phone::isOnBus(Phone::serviceName));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
    QProcess service;
    service.setProcessEnvironment(environment);
    service.start(Phone::serviceProgram, QStringList());
    QVERIFY(service.waitForFinished());
    QCOMPARE(service.exitStatus(), QProcess::NormalExit);
    QCOMPARE(service.exitCode(), 1);
    const QByteArray errors = service.readAllStandardError();
    QVERIFY2(errors.startsWith(line), errors.constData());
    QCOMPARE(errors.count('\n'), 1);
}

void tst_Platform::controlInterfaceResetsData()
{
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    const QString control = QStringLiteral("com.corvane.Quorvix.QVXModule");
    const QDBusMessage toDefault = probe.call(QStringLiteral("restoreDataToDefault"), {}, control);
    QCOMPARE(toDefault.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(toDefault.arguments().size(), 0);
    QVERIFY(probe.waitForHook("\nrestoreDataToDefault object name\n"));
    const QDBusMessage toFactory = probe.call(QStringLiteral("restoreDataToFactory"), {}, control);
    QCOMPARE(toFactory.type(), QDBusMessage::ReplyMessage);
    QVERIFY(probe.waitForHook("\nrestoreDataToFactory object name\n"));
}

void tst_Platform::onlyAdaptorsAreReachable()
{
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    QCOMPARE(probe.call(QStringLiteral("secret")).errorName(),
             QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod"));
}

void tst_Platform::eventFromAThreadReachesTheBus()
{
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    EventRecorder recorder;
    QVERIFY(QDBusConnection::systemBus().connect(
        QString(), QStringLiteral("/com/corvane/Quorvix/Probe"),
        QStringLiteral("com.corvane.Quorvix.QVXEvent"), QStringLiteral("something_happened"),
        &recorder, SLOT(received(QDBusMessage))));
    QVERIFY(probe
                .value(QStringLiteral("announce"),
                       {QStringLiteral("something_happened"), QStringLiteral("a text"), 42})
                .toBool());
    QTRY_COMPARE(recorder.messages.size(), 1);
    QCOMPARE(recorder.messages.first().signature(), QStringLiteral("a{sv}"));
    const QVariantMap arguments
        = qdbus_cast<QVariantMap>(recorder.messages.first().arguments().first());
    QCOMPARE(arguments,
             (QVariantMap {{QStringLiteral("text"), QStringLiteral("a text")},
                           {QStringLiteral("number"), 42}}));
}

void tst_Platform::remoteCall_data()
{
    QTest::addColumn<QString>("module");
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("result");
    QTest::newRow("answered") << QStringLiteral("SettingsManager")
                              << QStringLiteral("getSettingValue") << QStringLiteral("reply:");
    QTest::newRow("error of the module")
        << QStringLiteral("SettingsManager") << QStringLiteral("noSuchMethod")
        << QStringLiteral("error:org.freedesktop.DBus.Error.UnknownMethod");
    QTest::newRow("module not on the bus")
        << QStringLiteral("Nobody") << QStringLiteral("getSettingValue")
        << QStringLiteral("thrown:The name com.corvane.Quorvix.Nobody was not provided by any "
                          ".service files");
    QTest::newRow("invalid method name")
        << QStringLiteral("SettingsManager") << QStringLiteral("no method")
        << QStringLiteral("thrown:");
    QTest::newRow("invalid module name")
        << QStringLiteral("no module") << QStringLiteral("getSettingValue")
        << QStringLiteral("thrown:");
}

void tst_Platform::remoteCall()
{
    QFETCH(QString, module);
    QFETCH(QString, method);
    QFETCH(QString, result);
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    const QString answer = probe
                               .value(QStringLiteral("remoteCall"),
                                      {module, method, QStringLiteral("LogRemoteServerPort")})
                               .toString();
    QVERIFY2(answer.startsWith(result), qPrintable(answer));
}

void tst_Platform::remoteCallIsNotAnsweredInTime()
{
    const SilentModule silent(QStringLiteral("Silent"));
    QDBusConnection bus = QDBusConnection::systemBus();
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));

    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.Quorvix.Probe"), QStringLiteral("/com/corvane/Quorvix/Probe"),
        Phone::serviceInterface, QStringLiteral("remoteCall"));
    call.setArguments({QStringLiteral("Silent"), QStringLiteral("getSettingValue"), QString()});
    const QDBusPendingCall pending = bus.asyncCall(call, 30000);
    // The event loop has to run meanwhile, for the silent module to take its call.
    QTRY_VERIFY_WITH_TIMEOUT(pending.isFinished(), 20000);
    const QString answer = pending.reply().arguments().value(0).toString();
    QVERIFY2(answer.startsWith(QLatin1String("thrown:Did not receive a reply.")),
             qPrintable(answer));
}

void tst_Platform::exceptionIsLoggedAndTheModuleGoesOn()
{
    Probe probe({QStringLiteral("Platform")}, Phone::environmentForExceptions());
    QVERIFY(probe.waitForHook("presentation_loaded"));
    QCOMPARE(probe.call(QStringLiteral("throwException"), {QStringLiteral("on purpose")}).type(),
             QDBusMessage::ErrorMessage);
    QCOMPARE(probe.value(QStringLiteral("configuredLevel"), {QString()}).toInt(), 3);
    QVERIFY(Phone::waitForContent(QStringLiteral("/var/log/Platform.log"),
                                  "QVXException of Platform, type 3: on purpose\n"));
    probe.signal(SIGTERM);
    QCOMPARE(probe.end(), 0);
}

void tst_Platform::pathsCanBeConfigured_data()
{
    QTest::addColumn<QByteArray>("configuration");
    QTest::addColumn<QString>("paths");
    const QString builtIn = QStringLiteral(
        "/data/QVXApplication/LoggerModule/syslog/sip/ /data/QVXApplication/LoggerModule/syslog/ "
        "/data/QVXApplication/LoggerModule/syslog/sip/facility/ /usr/sbin/");
    QTest::newRow("empty file") << QByteArray("") << builtIn;
    QTest::newRow("other section") << QByteArray("[other]\nsyslogExecutablePath=/a/\n") << builtIn;
    QTest::newRow("all, one without its slash") << QByteArray("[logger]\n"
                                                              "configurationSyslogBranchPath=/a/\n"
                                                              "syslogWorkingDirectory=/b\n"
                                                              "facilityConfigFilesPath=/c d/\n"
                                                              "syslogExecutablePath=/e/\n")
                                                << QStringLiteral("/a/ /b/ /c d/ /e/");
    QTest::newRow("comma") << QByteArray("[logger]\nsyslogExecutablePath=/a,b/\n")
                           << QString(builtIn).replace(QLatin1String(" /usr/sbin/"),
                                                       QLatin1String(" /a,b/"));
    QTest::newRow("UTF-8") << QByteArray("[logger]\nsyslogExecutablePath=/\xc3\xbc\n")
                           << QString(builtIn).replace(QLatin1String(" /usr/sbin/"),
                                                       QStringLiteral(" /\u00fc/"));
    QTest::newRow("empty value") << QByteArray("[logger]\nsyslogWorkingDirectory=\n") << builtIn;
    QTest::newRow("relative path")
        << QByteArray("[logger]\nsyslogWorkingDirectory=tmp/x\n") << builtIn;
}

void tst_Platform::pathsCanBeConfigured()
{
    QFETCH(QByteArray, configuration);
    QFETCH(QString, paths);
    const QString file = QStringLiteral("/etc/QVXApplication/platform.conf");
    QVERIFY(QDir().mkpath(QStringLiteral("/etc/QVXApplication")));
    Phone::write(file, configuration);
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    QCOMPARE(probe.value(QStringLiteral("paths")).toString(), paths);
    QVERIFY(QFile::remove(file));
}

void tst_Platform::levelFollowsTheEventWithoutRestart()
{
    // The probe runs under the name of an activity, so that its messages have a log file.
    Phone::resetConfiguration();
    Probe probe({QStringLiteral("Telephony")});
    QVERIFY(probe.waitForHook("presentation_loaded"));
    QVERIFY(!probe.value(QStringLiteral("debug"), {QStringLiteral("before")}).toBool());

    QCOMPARE(Phone::text(QStringLiteral("level"),
                         {QStringLiteral("Telephony"), QStringLiteral("debug")}),
             QStringLiteral("Level debug for facility : Telephony OK"));
    QTRY_COMPARE(probe.value(QStringLiteral("configuredLevel"), {QString()}).toInt(), 7);
    QVERIFY(QTest::qWaitFor(
        [&] {
            return probe.value(QStringLiteral("debug"), {QStringLiteral("afterwards")}).toBool()
                && Phone::waitForContent(QStringLiteral("/var/log/Telephony.log"), "afterwards",
                                         200);
        },
        10000));
    QVERIFY(!Phone::read(QStringLiteral("/var/log/Telephony.log")).contains("before"));

    Phone::text(QStringLiteral("level"), {QStringLiteral("Platform"), QStringLiteral("info")});
    Phone::text(QStringLiteral("level"), {QStringLiteral("all"), QStringLiteral("warning")});
    QTRY_COMPARE(probe.value(QStringLiteral("configuredLevel"), {QString()}).toInt(), 4);
}

void tst_Platform::messagesCarryNameAndFacility()
{
    Probe probe;
    QVERIFY(probe.waitForHook("presentation_loaded"));
    // qvxaudio's block in the configuration takes its own facility and name only.
    probe.call(QStringLiteral("logThrough"),
               {QStringLiteral("qvxaudio"), QStringLiteral("through the facility %s")});
    QVERIFY(Phone::waitForContent(QStringLiteral("/var/log/qvxaudio.log"),
                                  "]: through the facility %s\n"));
    QVERIFY(!Phone::read(QStringLiteral("/var/log/qvxsipua.log")).contains("through the facility"));
}

void tst_Platform::settingsServiceKeepsValues()
{
    const auto call = [](const QString &method, const QVariantList &arguments) {
        QDBusMessage message
            = QDBusMessage::createMethodCall(QStringLiteral("com.corvane.Quorvix.SettingsManager"),
                                             QStringLiteral("/com/corvane/Quorvix/SettingsManager"),
                                             Phone::serviceInterface, method);
        message.setArguments(arguments);
        return QDBusConnection::systemBus().call(message);
    };
    const QString name = QStringLiteral("Some setting, with a name");
    QCOMPARE(call(QStringLiteral("getSettingValue"), {name}).arguments().value(0).toString(),
             QStringLiteral("UNDEFINED"));
    call(QStringLiteral("setSettingValue"), {name, QStringLiteral("10.1.2.3, \"x\"; \\ %1")});
    QCOMPARE(call(QStringLiteral("getSettingValue"), {name}).arguments().value(0).toString(),
             QStringLiteral("10.1.2.3, \"x\"; \\ %1"));
    QVERIFY(Phone::read(QStringLiteral("/data/QVXApplication/SettingsManager/settings.conf"))
                .contains("10.1.2.3"));
}

QTEST_GUILESS_MAIN(tst_Platform)
#include "tst_platform.moc"
