// Who may do what on the bus, tried by root, by a user in the group whose members may call, and by
// one without any right.
// SPDX-License-Identifier: MIT
#include "support/events.h"
#include "support/phone.h"
#include "support/programs.h"
#include "support/users.h"

#include <QFile>
#include <QProcess>
#include <QTest>
#include <QXmlStreamReader>

#include <csignal>
#include <memory>

namespace {

using Users::asTechnician;
using Users::asVisitor;

constexpr int deadline = 20000; // ms
const QString policyFile = "/usr/share/dbus-1/system.d/com.corvane.Quorvix.LoggerModule.conf"_s;
const QString eventName = "com.corvane.Quorvix.QVXEvent.log_level_changed"_s;
const QString eventArguments = "{'syslog_facility': <'qvxsipua'>, 'syslog_level': <7>}"_s;

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
QStringList requestName(const QString &name)
{
    return callOfBus("RequestName"_s, {name, "4"_s});
}

QStringList emitEvent(const QString &path, const QString &signal, const QString &arguments)
{
    return {"gdbus"_s, "emit"_s,     "--system"_s, "--object-path"_s,
            path,      "--signal"_s, signal,       arguments};
}

/// Follows the service's signals as any module would, in a process of its own.
class Monitor
{
public:
    explicit Monitor(QStringList words)
    {
        const QString program = words.takeFirst();
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.start(program, words);
        if (!m_process.waitForStarted()) {
            qFatal("cannot start the monitor");
        }
    }
    ~Monitor()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(Monitor)

    bool waitFor(const QByteArray &text)
    {
        return QTest::qWaitFor(
            [&] {
                m_output += m_process.readAllStandardOutput();
                return m_output.contains(text);
            },
            deadline);
    }
    QByteArray output() const { return m_output; }

private:
    QProcess m_process;
    QByteArray m_output;
};

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
    void othersMayNotCall_data();
    void othersMayNotCall();
    void membersMayCall_data();
    void membersMayCall();
    void onlyRootMayOwnTheName_data();
    void onlyRootMayOwnTheName();
    void onlyRootMayAnnounceALevel_data();
    void onlyRootMayAnnounceALevel();
    void othersMaySendAnotherSignal();
    void othersMayLookAtTheBus();
    void othersMayFollowTheEvent();
    void rootMayDoAllOfIt();

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

void tst_Policy::othersMayNotCall_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QStringList>("arguments");
    const auto row = [](const char *name, const QString &method, const QStringList &arguments) {
        QTest::newRow(name) << method << arguments;
    };
    row("listing", Phone::serviceInterface + ".level"_s, {});
    row("level change", Phone::serviceInterface + ".level"_s, {"qvxsipua"_s, "debug"_s});
    row("comment", Phone::serviceInterface + ".logComments"_s, {"qvxsipua"_s, "text"_s});
    row("method that does not exist", Phone::serviceInterface + ".nothing"_s, {});
    row("control interface", "com.corvane.Quorvix.QVXModule.restoreDataToDefault"_s, {});
    row("introspection", "org.freedesktop.DBus.Introspectable.Introspect"_s, {});
    row("properties", "org.freedesktop.DBus.Properties.GetAll"_s, {Phone::serviceInterface});
    row("ping", "org.freedesktop.DBus.Peer.Ping"_s, {});
}

void tst_Policy::othersMayNotCall()
{
    if (!Users::exist()) {
        return; // the rules are looked at in the installed file
    }
    QFETCH(QString, method);
    QFETCH(QStringList, arguments);
    const QByteArray before = Phone::read(Phone::liveConfig);
    QVERIFY(isDenied(asVisitor(callOfService(method, arguments))));
    QCOMPARE(Phone::read(Phone::liveConfig), before);

    // By its unique name it is the same service.
    const QByteArray unique
        = runProgram(callOfBus("GetNameOwner"_s, {Phone::serviceName})).output.split('\'').value(1);
    QVERIFY(unique.startsWith(':'));
    QVERIFY(isDenied(
        asVisitor(callOf(QString::fromLatin1(unique), Phone::servicePath, method, arguments))));
}

void tst_Policy::membersMayCall_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("answer");
    const auto row
        = [](const char *name, const QString &method, const QStringList &arguments,
             const QByteArray &answer) { QTest::newRow(name) << method << arguments << answer; };
    row("listing", Phone::serviceInterface + ".level"_s, {}, "qvxsipua");
    row("level change", Phone::serviceInterface + ".level"_s, {"qvxsipua"_s, "debug"_s},
        "Level debug for facility : qvxsipua OK");
    row("introspection", "org.freedesktop.DBus.Introspectable.Introspect"_s, {},
        Phone::serviceInterface.toLatin1());
    row("ping", "org.freedesktop.DBus.Peer.Ping"_s, {}, "()");
}

void tst_Policy::membersMayCall()
{
    if (!Users::exist()) {
        return; // the rules are looked at in the installed file
    }
    QFETCH(QString, method);
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, answer);
    QStringList command = asTechnician(callOfService(method, arguments));
    const Outcome outcome = runProgram(command);
    QVERIFY2(outcome.status == 0, outcome.errors.constData());
    QVERIFY2(outcome.output.contains(answer), outcome.output.constData());

    // It is the group that makes the difference.
    command.replaceInStrings("--init-groups"_s, "--clear-groups"_s);
    QVERIFY(isDenied(command));
}

void tst_Policy::onlyRootMayOwnTheName_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("member of the group") << "technician"_s;
    QTest::newRow("any other") << "visitor"_s;
}

void tst_Policy::onlyRootMayOwnTheName()
{
    if (!Users::exist()) {
        return;
    }
    QFETCH(QString, user);
    const QStringList command = Users::as(user, requestName(Phone::serviceName));
    QVERIFY(isDenied(command));

    // Not even when nobody else has it.
    m_service.reset();
    Phone::stopBootedService();
    QVERIFY(isDenied(command));
}

void tst_Policy::onlyRootMayAnnounceALevel_data()
{
    onlyRootMayOwnTheName_data();
}

void tst_Policy::onlyRootMayAnnounceALevel()
{
    if (!Users::exist()) {
        return;
    }
    QFETCH(QString, user);
    // In the service's place, to see also what is sent to it alone.
    m_service.reset();
    Phone::stopBootedService();
    QDBusConnection bus = QDBusConnection::systemBus();
    QVERIFY(bus.registerService(Phone::serviceName));

    LevelEvents events;
    const QStringList paths {Phone::servicePath, "/some/where"_s};
    for (const QString &path : paths) {
        const QStringList toAll = emitEvent(path, eventName, eventArguments);
        runProgram(Users::as(user, toAll));
        runProgram(Users::as(user, toAll + QStringList {"--dest"_s, bus.baseService()}));
    }
    // The bus keeps the order of what arrives, so root's event is a fence.
    QCOMPARE(
        runProgram(emitEvent(Phone::servicePath, eventName, "{'syslog_facility': <'fence'>}"_s))
            .status,
        0);
    QTRY_VERIFY(!events.arguments.isEmpty());
    QCOMPARE(events.arguments.size(), 1);
    QCOMPARE(events.arguments.first().value("syslog_facility"_s).toString(), "fence"_s);
}

void tst_Policy::othersMaySendAnotherSignal()
{
    if (!Users::exist()) {
        return;
    }
    Monitor monitor({"dbus-monitor"_s, "--system"_s, "member='something_else'"_s});
    // A monitor shows its own start first.
    QVERIFY2(monitor.waitFor("member=NameLost"), monitor.output().constData());
    QCOMPARE(runProgram(asVisitor(emitEvent(Phone::servicePath,
                                            "com.corvane.Quorvix.QVXEvent.something_else"_s,
                                            "{'key': <'value'>}"_s)))
                 .status,
             0);
    QVERIFY2(monitor.waitFor("member=something_else"), monitor.output().constData());
}

void tst_Policy::othersMayLookAtTheBus()
{
    if (!Users::exist()) {
        return;
    }
    const Outcome names = runProgram(asVisitor(callOfBus("ListNames"_s)));
    QCOMPARE(names.status, 0);
    QVERIFY2(names.output.contains('\'' + Phone::serviceName.toLatin1() + '\''),
             names.output.constData());
    const Outcome bus = runProgram(asVisitor(callOfBus("Introspectable.Introspect"_s)));
    QCOMPARE(bus.status, 0);
    QVERIFY(bus.output.contains("RequestName"));
}

void tst_Policy::othersMayFollowTheEvent()
{
    const QStringList words {"gdbus"_s, "monitor"_s, "--system"_s, "--dest"_s, Phone::serviceName};
    Monitor monitor(Users::exist() ? asVisitor(words) : words);
    QVERIFY2(monitor.waitFor("is owned by"), monitor.output().constData());
    QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "debug"_s}),
             "Level debug for facility : qvxsipua OK"_s);
    QVERIFY2(monitor.waitFor("log_level_changed ({'syslog_facility': <'qvxsipua'>, "
                             "'syslog_level': <7>},)"),
             monitor.output().constData());
}

void tst_Policy::rootMayDoAllOfIt()
{
    const Outcome change
        = runProgram(callOfService(Phone::serviceInterface + ".level"_s, {"qvxsipua"_s, "info"_s}));
    QCOMPARE(change.status, 0);
    QCOMPARE(change.output, QByteArray("('Level info for facility : qvxsipua OK',)\n"));
    QCOMPARE(runProgram(callOfService("org.freedesktop.DBus.Introspectable.Introspect"_s)).status,
             0);
    // 3: the name has an owner already.
    QCOMPARE(runProgram(requestName(Phone::serviceName)).output, QByteArray("(uint32 3,)\n"));

    LevelEvents events;
    QCOMPARE(runProgram(emitEvent(Phone::servicePath, eventName, eventArguments)).status, 0);
    QTRY_COMPARE(events.arguments.size(), 1);

    m_service.reset();
    Phone::stopBootedService();
    // 1: it is the caller's now.
    QCOMPARE(runProgram(requestName(Phone::serviceName)).output, QByteArray("(uint32 1,)\n"));
}

QTEST_GUILESS_MAIN(tst_Policy)
#include "tst_policy.moc"
