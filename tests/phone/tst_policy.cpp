// Who may do what on the bus, tried by root, by a user in the group whose members may call, and by
// one without any right.
// SPDX-License-Identifier: MIT
#include "support/events.h"
#include "support/literal.h"
#include "support/phone.h"
#include "support/programs.h"
#include "support/users.h"

#include <QDBusConnectionInterface>
#include <QFile>
#include <QTest>
#include <QXmlStreamReader>

#include <memory>

namespace {

const QString policyFile = "/usr/share/dbus-1/system.d/com.corvane.Quorvix.LoggerModule.conf"_s;
const QString eventName = "com.corvane.Quorvix.QVXEvent.log_level_changed"_s;

/// The words of a command line that runs @p command as the user @p name.
QStringList as(const QString &name, const QStringList &command)
{
    return name == "root"_s ? command : Users::as(name, command);
}

/// Whether the bus does not let @p command do what it does; a warning says what else it said.
bool isDenied(const QStringList &command)
{
    const Outcome outcome = runProgram(command);
    const bool denied = outcome.status == 1 && outcome.output.isEmpty()
        && outcome.errors.contains("org.freedesktop.DBus.Error.AccessDenied");
    if (!denied) {
        qWarning("status %d: %s%s", outcome.status, outcome.output.constData(),
                 outcome.errors.constData());
    }
    return denied;
}

/// @p method is the full name, @p arguments as gdbus(1) reads them.
QStringList callOf(const QString &destination, const QString &path, const QString &method,
                   const QStringList &arguments = {})
{
    return QStringList {"gdbus"_s, "call"_s,     "--system"_s, "--timeout"_s,
                        "15"_s,    "--dest"_s,   destination,  "--object-path"_s,
                        path,      "--method"_s, method}
    + arguments;
}

QStringList callOfService(const QString &method, const QStringList &arguments = {})
{
    return callOf(Phone::serviceName, Phone::servicePath, method, arguments);
}

QStringList callOfBus(const QString &method, const QStringList &arguments = {})
{
    return callOf("org.freedesktop.DBus"_s, "/org/freedesktop/DBus"_s,
                  "org.freedesktop.DBus."_s + method, arguments);
}

/// Without waiting in a queue for it, which is flag 4.
QStringList requestName()
{
    return callOfBus("RequestName"_s, {Phone::serviceName, "4"_s});
}

QStringList emitEvent(const QString &path, const QString &signal, const QString &arguments)
{
    return {"gdbus"_s, "emit"_s,     "--system"_s, "--object-path"_s,
            path,      "--signal"_s, signal,       arguments};
}

/// The rules of the installed policy file, each as one text: whose policy, the word, its attributes
/// in the file's order.
QStringList installedRules()
{
    QFile file(policyFile);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QXmlStreamReader xml(&file);
    QStringList rules;
    QString policy;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        QString text = xml.name().toString();
        const QXmlStreamAttributes attributes = xml.attributes();
        for (const QXmlStreamAttribute &attribute : attributes) {
            text += QLatin1Char(' ') + attribute.name() + QLatin1Char('=') + attribute.value();
        }
        if (xml.name() == QLatin1String("policy")) {
            policy = text;
        } else if (xml.name() != QLatin1String("busconfig")) {
            rules.append(policy + ": "_s + text);
        }
    }
    return xml.hasError() ? QStringList {xml.errorString()} : rules;
}

} // namespace

class tst_Policy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void installedFileHoldsTheRules();
    void calls_data();
    void calls();
    void onlyRootMayOwnTheName();
    void onlyRootMayAnnounceALevel_data();
    void onlyRootMayAnnounceALevel();
    void othersMaySendAnotherSignal();
    void othersMayFollowTheEvent();

private:
    std::unique_ptr<Phone::Service> m_service;
};

void tst_Policy::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
}

void tst_Policy::init()
{
    if (!Phone::isOnBus(Phone::serviceName)) {
        m_service = std::make_unique<Phone::Service>();
    }
    Phone::resetConfiguration();
}

void tst_Policy::cleanup()
{
    // A test may have taken the service's place.
    QDBusConnection::systemBus().unregisterService(Phone::serviceName);
}

void tst_Policy::installedFileHoldsTheRules()
{
    const QStringList objects {
        "own=com.corvane.Quorvix.LoggerModule"_s,
        "send_destination=com.corvane.Quorvix.LoggerModule"_s,
        "send_interface=com.corvane.Quorvix.QVXEvent send_member=log_level_changed"_s};
    QStringList expected;
    for (const QString &object : objects) {
        expected.append("policy user=root: allow "_s + object);
    }
    // No method takes a descriptor.
    expected[1] += " max_fds=0"_s;
    expected.append("policy group=quorvix: allow "
                    "send_destination=com.corvane.Quorvix.LoggerModule "
                    "send_type=method_call max_fds=0"_s);
    for (const QString &object : objects) {
        expected.append("policy context=default: deny "_s + object);
    }
    QStringList rules = installedRules();
    rules.sort();
    expected.sort();
    QCOMPARE(rules, expected);
}

void tst_Policy::calls_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QByteArray>("answer"); // a part of it; empty when the bus denies the call
    const auto row = [](const char *user, const QStringList &command, const QByteArray &answer) {
        QTest::addRow(
            "%s: %s", user,
            qPrintable(command.mid(command.indexOf("--method"_s) + 1).join(QLatin1Char(' '))))
            << QString::fromLatin1(user) << command << answer;
    };
    const QStringList listing = callOfService(Phone::serviceInterface + ".level"_s);
    const QStringList change = listing + QStringList {"qvxsipua"_s, "debug"_s};
    const QStringList introspection
        = callOfService("org.freedesktop.DBus.Introspectable.Introspect"_s);
    const QStringList ping = callOfService("org.freedesktop.DBus.Peer.Ping"_s);
    for (const QStringList &command :
         {listing, change,
          callOfService(Phone::serviceInterface + ".logComments"_s, {"qvxsipua"_s, "text"_s}),
          callOfService(Phone::serviceInterface + ".nothing"_s),
          callOfService("com.corvane.Quorvix.QVXModule.restoreDataToDefault"_s), introspection,
          callOfService("org.freedesktop.DBus.Properties.GetAll"_s, {Phone::serviceInterface}),
          ping}) {
        row("visitor", command, "");
    }
    for (const char *const user : {"technician", "root"}) {
        row(user, listing, "qvxsipua");
        row(user, change, "('Level debug for facility : qvxsipua OK',)\n");
        row(user, introspection, Phone::serviceInterface.toLatin1());
        row(user, ping, "()");
    }
    row("technician", requestName(), "");
    row("visitor", requestName(), "");
    row("root", requestName(), "(uint32 3,)\n"); // it has an owner already
    row("visitor", callOfBus("ListNames"_s), '\'' + Phone::serviceName.toLatin1() + '\'');
    row("visitor", callOfBus("Introspectable.Introspect"_s), "RequestName");
}

void tst_Policy::calls()
{
    QFETCH(QString, user);
    QFETCH(QStringList, command);
    QFETCH(QByteArray, answer);
    if (user != "root"_s && !Users::exist()) {
        return; // the rules are looked at in the installed file
    }
    if (answer.isEmpty()) {
        const QByteArray before = Phone::read(Phone::liveConfig);
        QVERIFY(isDenied(as(user, command)));
        // By its unique name it is the same service.
        QString &destination = command[command.indexOf("--dest"_s) + 1];
        if (destination == Phone::serviceName) {
            destination
                = QDBusConnection::systemBus().interface()->serviceOwner(destination).value();
            QVERIFY(isDenied(as(user, command)));
        }
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        return;
    }
    const Outcome outcome = runProgram(as(user, command));
    QVERIFY2(outcome.status == 0, outcome.errors.constData());
    QVERIFY2(outcome.output.contains(answer), outcome.output.constData());
    if (user == "technician"_s) {
        // It is the group that makes the difference.
        QVERIFY(
            isDenied(as(user, command).replaceInStrings("--init-groups"_s, "--clear-groups"_s)));
    }
}

void tst_Policy::onlyRootMayOwnTheName()
{
    // Not even when nobody else has it.
    m_service.reset();
    Phone::stopBootedService();
    if (Users::exist()) {
        QVERIFY(isDenied(as("technician"_s, requestName())));
        QVERIFY(isDenied(as("visitor"_s, requestName())));
    }
    QCOMPARE(runProgram(requestName()).output, QByteArray("(uint32 1,)\n")); // it is root's now
}

void tst_Policy::onlyRootMayAnnounceALevel_data()
{
    QTest::addColumn<QString>("user");
    for (const char *const user : {"technician", "visitor", "root"}) {
        QTest::newRow(user) << QString::fromLatin1(user);
    }
}

void tst_Policy::onlyRootMayAnnounceALevel()
{
    QFETCH(QString, user);
    if (user != "root"_s && !Users::exist()) {
        return;
    }
    // In the service's place, to see also what is sent to it alone.
    m_service.reset();
    Phone::stopBootedService();
    QDBusConnection bus = QDBusConnection::systemBus();
    QVERIFY(bus.registerService(Phone::serviceName));

    LevelEvents events;
    const QStringList paths {Phone::servicePath, "/some/where"_s};
    for (const QString &path : paths) {
        const QStringList toAll = emitEvent(path, eventName, "{'syslog_facility': <'qvxsipua'>}"_s);
        runProgram(as(user, toAll));
        runProgram(as(user, toAll + QStringList {"--dest"_s, bus.baseService()}));
    }
    // The bus keeps the order of what arrives, so root's event is a fence.
    QCOMPARE(
        runProgram(emitEvent(Phone::servicePath, eventName, "{'syslog_facility': <'fence'>}"_s))
            .status,
        0);
    const auto isFence = [&events] {
        return !events.arguments.isEmpty()
            && events.arguments.last().value("syslog_facility"_s) == "fence"_s;
    };
    QTRY_VERIFY(isFence());
    QCOMPARE(events.arguments.size(), user == "root"_s ? 3 : 1);
}

void tst_Policy::othersMaySendAnotherSignal()
{
    if (!Users::exist()) {
        return;
    }
    RunningProgram monitor({"dbus-monitor"_s, "--system"_s, "member='something_else'"_s});
    // A monitor shows its own start first.
    QVERIFY2(monitor.waitForOutput("member=NameLost"), monitor.output().constData());
    QCOMPARE(
        runProgram(as("visitor"_s,
                      emitEvent(Phone::servicePath, "com.corvane.Quorvix.QVXEvent.something_else"_s,
                                "{'key': <'value'>}"_s)))
            .status,
        0);
    QVERIFY2(monitor.waitForOutput("member=something_else"), monitor.output().constData());
}

void tst_Policy::othersMayFollowTheEvent()
{
    const QStringList words {"gdbus"_s, "monitor"_s, "--system"_s, "--dest"_s, Phone::serviceName};
    RunningProgram monitor(as(Users::exist() ? "visitor"_s : "root"_s, words));
    QVERIFY2(monitor.waitForOutput("is owned by"), monitor.output().constData());
    QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "debug"_s}),
             "Level debug for facility : qvxsipua OK"_s);
    QVERIFY2(monitor.waitForOutput("log_level_changed ({'syslog_facility': <'qvxsipua'>, "
                                   "'syslog_level': <7>},)"),
             monitor.output().constData());
}

QTEST_GUILESS_MAIN(tst_Policy)
#include "tst_policy.moc"
