// Who may do what on the bus, tried by root, by a user in the group whose members may call, and by
// one without any right.
// SPDX-License-Identifier: MIT
#include "support/events.h"
#include "support/phone.h"
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
const QString policyFile
    = QStringLiteral("/usr/share/dbus-1/system.d/com.corvane.Quorvix.LoggerModule.conf");
const QString accessDenied = QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
const QString eventName = QStringLiteral("com.corvane.Quorvix.QVXEvent.log_level_changed");
const QString eventArguments
    = QStringLiteral("{'syslog_facility': <'qvxsipua'>, 'syslog_level': <7>}");

struct Outcome
{
    int status = -1; ///< -1 when it did not end in time
    QString output;
    QString errors;
};

Outcome run(QStringList command)
{
    const QString program = command.takeFirst();
    QProcess process;
    process.start(program, command);
    if (!process.waitForFinished(deadline)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    Outcome outcome;
    outcome.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    outcome.output = QString::fromUtf8(process.readAllStandardOutput());
    outcome.errors = QString::fromUtf8(process.readAllStandardError());
    return outcome;
}

/// @p method is the full name, @p arguments as gdbus(1) reads them.
QStringList callOf(const QString &destination, const QString &path, const QString &method,
                   const QStringList &arguments = {})
{
    return QStringList {QStringLiteral("gdbus"),
                        QStringLiteral("call"),
                        QStringLiteral("--system"),
                        QStringLiteral("--timeout"),
                        QStringLiteral("15"),
                        QStringLiteral("--dest"),
                        destination,
                        QStringLiteral("--object-path"),
                        path,
                        QStringLiteral("--method"),
                        method}
    + arguments;
}

QStringList callOfService(const QString &method, const QStringList &arguments = {})
{
    return callOf(Phone::serviceName, Phone::servicePath, method, arguments);
}

QStringList callOfBus(const QString &method, const QStringList &arguments = {})
{
    return callOf(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                  method, arguments);
}

/// Without waiting in a queue for it, which is flag 4.
QStringList requestName(const QString &name)
{
    return callOfBus(QStringLiteral("org.freedesktop.DBus.RequestName"),
                     {name, QStringLiteral("4")});
}

QStringList emitEvent(const QString &path, const QString &signal, const QString &arguments)
{
    return {QStringLiteral("gdbus"),
            QStringLiteral("emit"),
            QStringLiteral("--system"),
            QStringLiteral("--object-path"),
            path,
            QStringLiteral("--signal"),
            signal,
            arguments};
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
            rules.append(policy + QStringLiteral(": ") + text);
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
        QStringLiteral("own=com.corvane.Quorvix.LoggerModule"),
        QStringLiteral("send_destination=com.corvane.Quorvix.LoggerModule"),
        QStringLiteral(
            "send_interface=com.corvane.Quorvix.QVXEvent send_member=log_level_changed")};
    QStringList expected;
    for (const QString &object : objects) {
        expected.append(QStringLiteral("policy user=root: allow ") + object);
    }
    // No method takes a descriptor.
    expected[1] += QStringLiteral(" max_fds=0");
    expected.append(QStringLiteral("policy group=quorvix: allow "
                                   "send_destination=com.corvane.Quorvix.LoggerModule "
                                   "send_type=method_call max_fds=0"));
    for (const QString &object : objects) {
        expected.append(QStringLiteral("policy context=default: deny ") + object);
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
    row("listing", Phone::serviceInterface + QStringLiteral(".level"), {});
    row("level change", Phone::serviceInterface + QStringLiteral(".level"),
        {QStringLiteral("qvxsipua"), QStringLiteral("debug")});
    row("comment", Phone::serviceInterface + QStringLiteral(".logComments"),
        {QStringLiteral("qvxsipua"), QStringLiteral("text")});
    row("method that does not exist", Phone::serviceInterface + QStringLiteral(".nothing"), {});
    row("control interface", QStringLiteral("com.corvane.Quorvix.QVXModule.restoreDataToDefault"),
        {});
    row("introspection", QStringLiteral("org.freedesktop.DBus.Introspectable.Introspect"), {});
    row("properties", QStringLiteral("org.freedesktop.DBus.Properties.GetAll"),
        {Phone::serviceInterface});
    row("ping", QStringLiteral("org.freedesktop.DBus.Peer.Ping"), {});
}

void tst_Policy::othersMayNotCall()
{
    if (!Users::exist()) {
        return; // the rules are looked at in the installed file
    }
    QFETCH(QString, method);
    QFETCH(QStringList, arguments);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const Outcome outcome = run(asVisitor(callOfService(method, arguments)));
    QCOMPARE(outcome.status, 1);
    QVERIFY2(outcome.errors.contains(accessDenied), qPrintable(outcome.errors));
    QCOMPARE(outcome.output, QString());
    QCOMPARE(Phone::read(Phone::liveConfig), before);

    // By its unique name it is the same service.
    const QString unique
        = run(callOfBus(QStringLiteral("org.freedesktop.DBus.GetNameOwner"), {Phone::serviceName}))
              .output.section(QLatin1Char('\''), 1, 1);
    QVERIFY(unique.startsWith(QLatin1Char(':')));
    const Outcome direct = run(asVisitor(callOf(unique, Phone::servicePath, method, arguments)));
    QVERIFY2(direct.errors.contains(accessDenied), qPrintable(direct.errors));
}

void tst_Policy::membersMayCall_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("answer");
    QTest::newRow("listing") << Phone::serviceInterface + QStringLiteral(".level") << QStringList()
                             << QStringLiteral("qvxsipua");
    QTest::newRow("level change") << Phone::serviceInterface + QStringLiteral(".level")
                                  << QStringList {QStringLiteral("qvxsipua"),
                                                  QStringLiteral("debug")}
                                  << QStringLiteral("Level debug for facility : qvxsipua OK");
    QTest::newRow("introspection")
        << QStringLiteral("org.freedesktop.DBus.Introspectable.Introspect") << QStringList()
        << Phone::serviceInterface;
    QTest::newRow("ping") << QStringLiteral("org.freedesktop.DBus.Peer.Ping") << QStringList()
                          << QStringLiteral("()");
}

void tst_Policy::membersMayCall()
{
    if (!Users::exist()) {
        return; // the rules are looked at in the installed file
    }
    QFETCH(QString, method);
    QFETCH(QStringList, arguments);
    QFETCH(QString, answer);
    const Outcome outcome = run(asTechnician(callOfService(method, arguments)));
    QVERIFY2(outcome.status == 0, qPrintable(outcome.errors));
    QVERIFY2(outcome.output.contains(answer), qPrintable(outcome.output));

    // It is the group that makes the difference.
    QStringList command = asTechnician(callOfService(method, arguments));
    command.replaceInStrings(QStringLiteral("--init-groups"), QStringLiteral("--clear-groups"));
    const Outcome without = run(command);
    QCOMPARE(without.status, 1);
    QVERIFY2(without.errors.contains(accessDenied), qPrintable(without.errors));
}

void tst_Policy::onlyRootMayOwnTheName_data()
{
    QTest::addColumn<QString>("user");
    QTest::newRow("member of the group") << QStringLiteral("technician");
    QTest::newRow("any other") << QStringLiteral("visitor");
}

void tst_Policy::onlyRootMayOwnTheName()
{
    if (!Users::exist()) {
        return;
    }
    QFETCH(QString, user);
    const Outcome taken = run(Users::as(user, requestName(Phone::serviceName)));
    QCOMPARE(taken.status, 1);
    QVERIFY2(taken.errors.contains(accessDenied), qPrintable(taken.errors));

    // Not even when nobody else has it.
    m_service.reset();
    Phone::stopBootedService();
    const Outcome free = run(Users::as(user, requestName(Phone::serviceName)));
    QCOMPARE(free.status, 1);
    QVERIFY2(free.errors.contains(accessDenied), qPrintable(free.errors));
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
    const QStringList paths {Phone::servicePath, QStringLiteral("/some/where")};
    for (const QString &path : paths) {
        const QStringList toAll = emitEvent(path, eventName, eventArguments);
        run(Users::as(user, toAll));
        run(Users::as(user, toAll + QStringList {QStringLiteral("--dest"), bus.baseService()}));
    }
    // The bus keeps the order of what arrives, so root's event is a fence.
    QCOMPARE(run(emitEvent(Phone::servicePath, eventName,
                           QStringLiteral("{'syslog_facility': <'fence'>}")))
                 .status,
             0);
    QTRY_VERIFY(!events.arguments.isEmpty());
    QCOMPARE(events.arguments.size(), 1);
    QCOMPARE(events.arguments.first().value(QStringLiteral("syslog_facility")).toString(),
             QStringLiteral("fence"));
}

void tst_Policy::othersMaySendAnotherSignal()
{
    if (!Users::exist()) {
        return;
    }
    Monitor monitor({QStringLiteral("dbus-monitor"), QStringLiteral("--system"),
                     QStringLiteral("member='something_else'")});
    // A monitor shows its own start first.
    QVERIFY2(monitor.waitFor("member=NameLost"), monitor.output().constData());
    QCOMPARE(run(asVisitor(emitEvent(Phone::servicePath,
                                     QStringLiteral("com.corvane.Quorvix.QVXEvent.something_else"),
                                     QStringLiteral("{'key': <'value'>}"))))
                 .status,
             0);
    QVERIFY2(monitor.waitFor("member=something_else"), monitor.output().constData());
}

void tst_Policy::othersMayLookAtTheBus()
{
    if (!Users::exist()) {
        return;
    }
    const Outcome names
        = run(asVisitor(callOfBus(QStringLiteral("org.freedesktop.DBus.ListNames"))));
    QCOMPARE(names.status, 0);
    QVERIFY2(names.output.contains(QLatin1Char('\'') + Phone::serviceName + QLatin1Char('\'')),
             qPrintable(names.output));
    const Outcome bus = run(
        asVisitor(callOfBus(QStringLiteral("org.freedesktop.DBus.Introspectable.Introspect"))));
    QCOMPARE(bus.status, 0);
    QVERIFY(bus.output.contains(QStringLiteral("RequestName")));
}

void tst_Policy::othersMayFollowTheEvent()
{
    const QStringList words {QStringLiteral("gdbus"), QStringLiteral("monitor"),
                             QStringLiteral("--system"), QStringLiteral("--dest"),
                             Phone::serviceName};
    Monitor monitor(Users::exist() ? asVisitor(words) : words);
    QVERIFY2(monitor.waitFor("is owned by"), monitor.output().constData());
    QCOMPARE(
        Phone::text(QStringLiteral("level"), {QStringLiteral("qvxsipua"), QStringLiteral("debug")}),
        QStringLiteral("Level debug for facility : qvxsipua OK"));
    QVERIFY2(monitor.waitFor("log_level_changed ({'syslog_facility': <'qvxsipua'>, "
                             "'syslog_level': <7>},)"),
             monitor.output().constData());
}

void tst_Policy::rootMayDoAllOfIt()
{
    const Outcome change = run(callOfService(Phone::serviceInterface + QStringLiteral(".level"),
                                             {QStringLiteral("qvxsipua"), QStringLiteral("info")}));
    QCOMPARE(change.status, 0);
    QCOMPARE(change.output, QStringLiteral("('Level info for facility : qvxsipua OK',)\n"));
    QCOMPARE(
        run(callOfService(QStringLiteral("org.freedesktop.DBus.Introspectable.Introspect"))).status,
        0);
    // 3: the name has an owner already.
    QCOMPARE(run(requestName(Phone::serviceName)).output, QStringLiteral("(uint32 3,)\n"));

    LevelEvents events;
    QCOMPARE(run(emitEvent(Phone::servicePath, eventName, eventArguments)).status, 0);
    QTRY_COMPARE(events.arguments.size(), 1);

    m_service.reset();
    Phone::stopBootedService();
    // 1: it is the caller's now.
    QCOMPARE(run(requestName(Phone::serviceName)).output, QStringLiteral("(uint32 1,)\n"));
}

QTEST_GUILESS_MAIN(tst_Policy)
#include "tst_policy.moc"
