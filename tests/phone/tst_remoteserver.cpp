// The remote log server: what the service asks the settings service for when it starts, how it
// copes with each kind of answer, and what it does when a setting changes.
// SPDX-License-Identifier: MIT
#include "destinations/remoteserver.h"
#include "support/activities.h"
#include "support/configtext.h"
#include "support/faults.h"
#include "support/hangups.h"
#include "support/logcapture.h"
#include "support/phone.h"
#include "support/testablemodule.h"

#include <QVX/setting.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QMap>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

using ConfigText::withAllDestinations;
using ConfigText::withRedirection;

const QStringList &activities = Phone::activityNames;

const QString serviceLog = QStringLiteral("/var/log/LoggerModule.log");

const QString address = QStringLiteral("LogRemoteServerAddress");
const QString port = QStringLiteral("LogRemoteServerPort");
const QString protocol = QStringLiteral("LogRemoteServerProtocol");
const QString exist = QStringLiteral("LogRemoteServerExist");

const QString start = QStringLiteral("Method::initLogServerStruct()");
const QString gotAddress = QStringLiteral("Method::initLogServerStruct got IP address");
const QString errorOnAddress
    = QStringLiteral("Method::initLogServerStruct got error on IP address");
const QString exists = QStringLiteral("A remote server exists");
const QString exits = QStringLiteral("A remote server exits");
const QString none = QStringLiteral("No remote server");
const QString notSet = QStringLiteral("[REDIRECT] IP destination address not valid ");
const QString notValid = QStringLiteral("[REDIRECT] destination parameter not valid: ");
const QString serverAddress = QStringLiteral("Remote Server Address : ");

const QString udpServer = QStringLiteral("udp(\"10.1.2.3\" port(514))");

/// The lines of an edit of every activity, and of the facility files.
QStringList editLines()
{
    QStringList lines {QStringLiteral("File logappli.conf.tmp  OK"),
                       QStringLiteral("[restart]process success.")};
    for (const QString &activity : activities) {
        lines.append(QStringLiteral("Configuration file to change : ") + activity);
    }
    return lines;
}

/// The lines about sending every activity to @p destination, from the building of the text on.
QStringList appliedLines(const QString &destination)
{
    return QStringList(serverAddress + destination) + editLines()
        + QStringList(QStringLiteral("All facilities redirected to : ") + destination
                      + QStringLiteral(" "));
}

/// The same for a destination that is refused.
QStringList refusedLines(const QString &destination)
{
    return {serverAddress + destination, notValid + destination};
}

QStringList withoutReaderLines(const QStringList &lines)
{
    QStringList own;
    for (const QString &line : lines) {
        if (!line.startsWith(QLatin1String("facility : "))) {
            own.append(line);
        }
    }
    return own;
}

using Files = QMap<QString, QByteArray>;

Files facilityFiles()
{
    Files files;
    for (const QString &activity : activities) {
        files.insert(activity, Faults::state(Phone::facilityFile(activity)));
    }
    return files;
}

Files withAllRedirections(Files files, const QString &redirection)
{
    for (QByteArray &content : files) {
        content = withRedirection(content, redirection);
    }
    return files;
}

Setting setting(const QString &value)
{
    Setting setting;
    setting.name = QStringLiteral("whatever it is called");
    setting.value = value;
    setting.defaultValue = QStringLiteral("true");
    return setting;
}

} // namespace

/// How the stand-in answers one question.
struct Answer
{
    enum Kind { Text, Error, WrongType, NoArgument, Late };

    Kind kind = Text;
    QString text;
};

using Answers = QMap<QString, Answer>;
Q_DECLARE_METATYPE(Answers)
Q_DECLARE_METATYPE(RemoteServerConfig)

/// The settings service of this test, in the test's own process.
class StandIn : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    explicit StandIn(Answers answers) : m_answers(std::move(answers))
    {
        QDBusConnection bus = QDBusConnection::systemBus();
        if (!bus.registerObject(path, this, QDBusConnection::ExportAllSlots)
            || !bus.registerService(name)) {
            qFatal("the settings service cannot be replaced");
        }
    }
    ~StandIn() override
    {
        QDBusConnection bus = QDBusConnection::systemBus();
        bus.unregisterService(name);
        bus.unregisterObject(path);
    }
    Q_DISABLE_COPY(StandIn)

    /// The names that were asked for, in order.
    QStringList asked() const { return m_asked; }
    /// Sends the answers that are late.
    void answerAtLast()
    {
        for (const QDBusMessage &question : qAsConst(m_unanswered)) {
            QDBusConnection::systemBus().send(question.createReply(QStringLiteral("too late")));
        }
        m_unanswered.clear();
    }

    inline static const QString name = QStringLiteral("com.corvane.Quorvix.SettingsManager");

public Q_SLOTS:
    QString getSettingValue(const QString &settingName, const QDBusMessage &message)
    {
        m_asked.append(settingName);
        const Answer answer = m_answers.value(settingName);
        switch (answer.kind) {
        case Answer::Text:
            return answer.text;
        case Answer::Error:
            message.setDelayedReply(true);
            QDBusConnection::systemBus().send(message.createErrorReply(
                QStringLiteral("com.corvane.Quorvix.Error"), QStringLiteral("no such setting")));
            break;
        case Answer::WrongType:
            message.setDelayedReply(true);
            QDBusConnection::systemBus().send(message.createReply(514));
            break;
        case Answer::NoArgument:
            message.setDelayedReply(true);
            QDBusConnection::systemBus().send(message.createReply());
            break;
        case Answer::Late:
            message.setDelayedReply(true);
            m_unanswered.append(message);
            break;
        }
        return {};
    }

private:
    inline static const QString path = QStringLiteral("/com/corvane/Quorvix/SettingsManager");

    const Answers m_answers;
    QStringList m_asked;
    QList<QDBusMessage> m_unanswered;
};

class tst_RemoteServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void settingsAtStart_data();
    void settingsAtStart();
    void settingsServiceIsAbsentAtStart();
    void settingsServiceIsLateAtStart();
    void withoutBusEachCallIsAnError();
    void failedCallsLeaveTheRecord();

    void changedSetting_data();
    void changedSetting();
    void refusedValueStaysStored();
    void linesNeedTheDebugLevel();
    void linesAboutTheAddressNeedTheDebugLevel_data();
    void linesAboutTheAddressNeedTheDebugLevel();

    void changesOverTheBusWithAServerAtStart();
    void changesOverTheBusWithoutServerAtStart();

private:
    /// What the service has logged since the test began, up to @p last.
    QStringList serviceLines(const QString &last) const;
    void change(const QString &method, const QString &value);

    QByteArray m_config;
    Files m_facilities;
    int m_fence = 0;
    qint64 m_logStart = 0;
    std::unique_ptr<HangUps> m_syslog; ///< the daemon keeps writing the service's log file
};

void tst_RemoteServer::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    registerDBusSetting();
    Phone::stopBootedService();
    const QString settingsPid = QStringLiteral("/run/phone/SettingsManager.pid");
    const int pid = Phone::read(settingsPid).trimmed().toInt();
    QVERIFY(pid > 0);
    QVERIFY(QFile::remove(settingsPid));
    QCOMPARE(::kill(pid, SIGTERM), 0);
    QVERIFY(QTest::qWaitFor([] { return !Phone::isOnBus(StandIn::name); }, 20000));

    // The service and the daemon at debug level, so that every line of the service is in its log.
    Phone::resetConfiguration();
    m_config = Phone::read(Phone::liveConfig);
    const int block = m_config.indexOf("# BEGIN LoggerModule\n");
    QVERIFY(block >= 0);
    m_config.replace(m_config.indexOf("level(err..", block), 11, "level(debug..");
    Phone::write(Phone::liveConfig, m_config);
    const QString file = Phone::facilityFile(QStringLiteral("LoggerModule"));
    Phone::write(file, Phone::read(file).replace(0, 1, "7"));
    m_facilities = facilityFiles();
    QCOMPARE(::kill(Phone::read(Phone::pidFile).trimmed().toInt(), SIGHUP), 0);
    QVERIFY(Phone::logUntilSeen(Phone::activity(QStringLiteral("LoggerModule")), serviceLog,
                                QStringLiteral("at debug level"), QStringLiteral("debug")));
}

void tst_RemoteServer::init()
{
    m_syslog = std::make_unique<HangUps>();
    Phone::write(Phone::liveConfig, m_config);
    Phone::write(Phone::backup, m_config + "# the backup\n");
    for (auto file = m_facilities.cbegin(); file != m_facilities.cend(); ++file) {
        Phone::write(Phone::facilityFile(file.key()), file.value());
    }
    remoteServerConfig = {};
    // The daemon writes in order, so nothing of an earlier service comes behind this line.
    const QByteArray fence = QByteArray::number(++m_fence) + " at debug level\n";
    Phone::logMessage(QStringLiteral("LoggerModule"), QStringLiteral("daemon"),
                      QStringLiteral("debug"), QString::fromLatin1(fence.trimmed()));
    QVERIFY(Phone::waitForContent(serviceLog, ": " + fence));
    m_logStart = Phone::read(serviceLog).size();
}

void tst_RemoteServer::cleanup()
{
    m_syslog.reset();
}

void tst_RemoteServer::cleanupTestCase()
{
    Phone::resetConfiguration();
}

QStringList tst_RemoteServer::serviceLines(const QString &last) const
{
    QStringList lines;
    const bool complete = QTest::qWaitFor(
        [&] {
            lines.clear();
            const QByteArray content = Phone::read(serviceLog).mid(static_cast<int>(m_logStart));
            for (const QByteArray &line : content.split('\n')) {
                const int tag = line.indexOf(" LoggerModule");
                const int end = tag < 0 ? -1 : line.indexOf(": ", tag);
                if (end >= 0 && !line.endsWith("at debug level")) {
                    lines.append(QString::fromUtf8(line.mid(end + 2)));
                }
            }
            return lines.contains(last);
        },
        20000);
    if (!complete) {
        qWarning("the log does not contain: %s", qPrintable(last));
    }
    return withoutReaderLines(lines);
}

void tst_RemoteServer::change(const QString &method, const QString &value)
{
    const QDBusMessage reply = Phone::call(method, {QVariant::fromValue(setting(value))});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), QStringLiteral("a(sssssssiiia(ss)bbs)"));
    QCOMPARE(qdbus_cast<ListSetting>(reply.arguments().value(0)).size(), 0);
}

// -------------------------------------------------------------------------------------- At start

void tst_RemoteServer::settingsAtStart_data()
{
    QTest::addColumn<Answers>("answers");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("destination"); // empty: nothing changes

    const auto text = [](const char *value) {
        return Answer {Answer::Text, QString::fromLatin1(value)};
    };
    const auto all
        = [&](const char *exists, const char *host, const char *number, const char *kind) {
              return Answers {{exist, text(exists)},
                              {address, text(host)},
                              {port, text(number)},
                              {protocol, text(kind)}};
          };
    const auto instead = [](Answers answers, const QString &name, Answer::Kind kind) {
        answers[name].kind = kind;
        return answers;
    };
    const Answers good = all("true", "10.1.2.3", "514", "udp");
    const QString nothing;
    const QStringList begin {start, gotAddress};

    QTest::newRow("server") << good
                            << QStringList(begin + QStringList(exists) + appliedLines(udpServer))
                            << udpServer;
    const QString tcpServer = QStringLiteral("tcp(\"localhost\" port(601))");
    QTest::newRow("server by name and tcp")
        << all("true", "localhost", "601", "tcp")
        << QStringList(begin + QStringList(exists) + appliedLines(tcpServer)) << tcpServer;

    for (const char *other : {"false", "", "TRUE", "True", "true ", "1", "UNDEFINED"}) {
        QTest::addRow("whether it exists is '%s'", other)
            << all(other, "10.1.2.3", "514", "udp") << QStringList(begin + QStringList(none))
            << nothing;
    }
    QTest::newRow("no address") << all("true", "UNDEFINED", "514", "udp")
                                << QStringList(begin + QStringList({exists, notSet})) << nothing;
    QTest::newRow("no port") << all("true", "10.1.2.3", "UNDEFINED", "udp")
                             << QStringList(begin + QStringList({exists, notSet})) << nothing;
    QTest::newRow("no protocol") << all("true", "10.1.2.3", "514", "UNDEFINED")
                                 << QStringList(begin + QStringList({exists, notSet})) << nothing;
    QTest::newRow("empty values") << all("true", "", "", "")
                                  << QStringList(begin + QStringList(exists)
                                                 + refusedLines(QStringLiteral("(\"\" port())")))
                                  << nothing;
    QTest::newRow("protocol in capitals")
        << all("true", "10.1.2.3", "514", "UDP")
        << QStringList(begin + QStringList(exists)
                       + refusedLines(QStringLiteral("UDP(\"10.1.2.3\" port(514))")))
        << nothing;
    QTest::newRow("port 0") << all("true", "10.1.2.3", "0", "udp")
                            << QStringList(
                                   begin + QStringList(exists)
                                   + refusedLines(QStringLiteral("udp(\"10.1.2.3\" port(0))")))
                            << nothing;

    // Only the address has a line of its own for what is no text.
    const QList<QPair<const char *, Answer::Kind>> noTexts {{"error", Answer::Error},
                                                            {"wrong type", Answer::WrongType},
                                                            {"nothing", Answer::NoArgument}};
    for (const auto &kind : noTexts) {
        QTest::addRow("%s for the address", kind.first)
            << instead(good, address, kind.second)
            << QStringList(QStringList({start, errorOnAddress, exists})
                           + refusedLines(QStringLiteral("udp(\"\" port(514))")))
            << nothing;
        QTest::addRow("%s for the port", kind.first)
            << instead(good, port, kind.second)
            << QStringList(begin + QStringList(exists)
                           + refusedLines(QStringLiteral("udp(\"10.1.2.3\" port())")))
            << nothing;
        QTest::addRow("%s for the protocol", kind.first)
            << instead(good, protocol, kind.second)
            << QStringList(begin + QStringList(exists)
                           + refusedLines(QStringLiteral("(\"10.1.2.3\" port(514))")))
            << nothing;
        QTest::addRow("%s for whether it exists", kind.first)
            << instead(good, exist, kind.second) << QStringList(begin + QStringList(none))
            << nothing;
    }
}

void tst_RemoteServer::settingsAtStart()
{
    QFETCH(Answers, answers);
    QFETCH(QStringList, lines);
    QFETCH(QString, destination);
    const StandIn settings(answers);
    Phone::Service service;
    QCOMPARE(settings.asked(), QStringList({address, port, protocol, exist}));
    QCOMPARE(serviceLines(lines.last()), lines);
    const bool applied = !destination.isEmpty();
    QCOMPARE(Phone::read(Phone::liveConfig),
             applied ? withAllDestinations(m_config, destination) : m_config);
    QCOMPARE(facilityFiles(),
             applied ? withAllRedirections(m_facilities, destination) : m_facilities);
    QTRY_COMPARE(m_syslog->count(), applied ? 1 : 0);
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::settingsServiceIsAbsentAtStart()
{
    Phone::Service service;
    const QString reason = QStringLiteral("The name com.corvane.Quorvix.SettingsManager was not "
                                          "provided by any .service files");
    QCOMPARE(serviceLines(none),
             QStringList({start, QStringLiteral("syncRemoteCall error : ") + reason,
                          QStringLiteral("syncRemotecall error : ") + reason,
                          QStringLiteral("syncRemoteCall error : ") + reason,
                          QStringLiteral("syncRemoteCall error : ") + reason, none}));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    QCOMPARE(facilityFiles(), m_facilities);
    QVERIFY(Phone::text(QStringLiteral("redirect")).startsWith(QStringLiteral("   ACTIVITY")));
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::settingsServiceIsLateAtStart()
{
    StandIn settings({{address, {Answer::Late, QString()}},
                      {port, {Answer::Text, QStringLiteral("514")}},
                      {protocol, {Answer::Text, QStringLiteral("udp")}},
                      {exist, {Answer::Text, QStringLiteral("true")}}});
    Phone::Service service;
    QCOMPARE(settings.asked(), QStringList({address, port, protocol, exist}));
    const QString refused = QStringLiteral("udp(\"\" port(514))");
    QStringList lines = serviceLines(notValid + refused);
    QVERIFY2(
        lines.value(1).startsWith(QLatin1String("syncRemoteCall error : Did not receive a reply.")),
        qPrintable(lines.value(1)));
    lines.removeAt(1);
    QCOMPARE(lines, QStringList({start, exists}) + refusedLines(refused));

    // An answer that comes after all is nobody's.
    settings.answerAtLast();
    change(QStringLiteral("logRemoteServerPort"), QStringLiteral("601"));
    const QString later = QStringLiteral("udp(\"\" port(601))");
    QVERIFY(serviceLines(notValid + later).contains(serverAddress + later));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::withoutBusEachCallIsAnError()
{
    const LogCapture log;
    TestableModule module;
    module.initLogServerStruct();
    const QString reason = QStringLiteral("The module is not connected to the bus");
    QCOMPARE(Faults::logged(log),
             QStringList({QStringLiteral("7 ") + start,
                          QStringLiteral("3 syncRemoteCall error : ") + reason,
                          QStringLiteral("3 syncRemotecall error : ") + reason,
                          QStringLiteral("3 syncRemoteCall error : ") + reason,
                          QStringLiteral("3 syncRemoteCall error : ") + reason,
                          QStringLiteral("7 ") + none}));
    QCOMPARE(remoteServerConfig.exist, QString());
    QCOMPARE(remoteServerConfig.address, QString());
    QCOMPARE(remoteServerConfig.port, QString());
    QCOMPARE(remoteServerConfig.protocol, QString());
}

void tst_RemoteServer::failedCallsLeaveTheRecord()
{
    const LogCapture log;
    remoteServerConfig = {QStringLiteral("true"), QStringLiteral("10.1.2.3"), QStringLiteral("514"),
                          QStringLiteral("udp")};
    TestableModule module;
    module.initLogServerStruct();
    // What was there before is applied.
    QCOMPARE(withoutReaderLines(log.debugs()),
             QStringList({start, exists}) + appliedLines(udpServer));
    QCOMPARE(log.errors().size(), 4);
    QCOMPARE(Phone::read(Phone::liveConfig), withAllDestinations(m_config, udpServer));
}

// ------------------------------------------------------------------------------ Changed settings

void tst_RemoteServer::changedSetting_data()
{
    QTest::addColumn<RemoteServerConfig>("record");
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("value");
    QTest::addColumn<RemoteServerConfig>("recordAfter");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("destination"); // empty: nothing changes

    const QString existMethod = QStringLiteral("exist");
    const QString addressMethod = QStringLiteral("address");
    const QString portMethod = QStringLiteral("port");
    const QString protocolMethod = QStringLiteral("protocol");
    const QString yes = QStringLiteral("true");
    const QString nothing;
    const RemoteServerConfig good {yes, QStringLiteral("10.1.2.3"), QStringLiteral("514"),
                                   QStringLiteral("udp")};
    const auto with = [&](const QString &exists, const char *host = "10.1.2.3",
                          const char *number = "514", const char *kind = "udp") {
        return RemoteServerConfig {exists, QString::fromLatin1(host), QString::fromLatin1(number),
                                   QString::fromLatin1(kind)};
    };
    const QString predefined = QStringLiteral("predefined");

    // Whether there is a server: done at once, and never remembered.
    for (const char *flag : {"true", "false", "", "UNDEFINED"}) {
        const RemoteServerConfig record = with(QString::fromLatin1(flag));
        QTest::addRow("on, flag '%s'", flag)
            << record << existMethod << yes << record
            << QStringList(QStringList(exits) + appliedLines(udpServer)) << udpServer;
        QTest::addRow("off, flag '%s'", flag)
            << record << existMethod << QStringLiteral("false") << record
            << QStringList(QStringList(none) + editLines()) << predefined;
    }
    for (const char *value : {"", "TRUE", "true ", "1", "UNDEFINED"}) {
        QTest::addRow("'%s' is off", value)
            << good << existMethod << QString::fromLatin1(value) << good
            << QStringList(QStringList(none) + editLines()) << predefined;
    }
    QTest::newRow("on, nothing read")
        << RemoteServerConfig() << existMethod << yes << RemoteServerConfig()
        << QStringList(QStringList(exits) + refusedLines(QStringLiteral("(\"\" port())")))
        << nothing;
    QTest::newRow("on, address not set")
        << with(yes, "UNDEFINED") << existMethod << yes << with(yes, "UNDEFINED")
        << QStringList({exits, notSet}) << nothing;

    // The three others follow the flag of the start.
    const QString moved = QStringLiteral("udp(\"loghost\" port(514))");
    QTest::newRow("address") << good << addressMethod << QStringLiteral("loghost")
                             << with(yes, "loghost") << appliedLines(moved) << moved;
    const QString otherPort = QStringLiteral("udp(\"10.1.2.3\" port(1514))");
    QTest::newRow("port") << good << portMethod << QStringLiteral("1514")
                          << with(yes, "10.1.2.3", "1514") << appliedLines(otherPort) << otherPort;
    const QString otherProtocol = QStringLiteral("tcp(\"10.1.2.3\" port(514))");
    QTest::newRow("protocol") << good << protocolMethod << QStringLiteral("tcp")
                              << with(yes, "10.1.2.3", "514", "tcp") << appliedLines(otherProtocol)
                              << otherProtocol;
    for (const char *flag : {"false", "", "TRUE", "true ", "UNDEFINED"}) {
        const QString no = QString::fromLatin1(flag);
        QTest::addRow("address, flag '%s'", flag)
            << with(no) << addressMethod << QStringLiteral("loghost") << with(no, "loghost")
            << QStringList() << nothing;
        QTest::addRow("port, flag '%s'", flag)
            << with(no) << portMethod << QStringLiteral("1514") << with(no, "10.1.2.3", "1514")
            << QStringList() << nothing;
        QTest::addRow("protocol, flag '%s'", flag)
            << with(no) << protocolMethod << QStringLiteral("tcp")
            << with(no, "10.1.2.3", "514", "tcp") << QStringList() << nothing;
    }
    QTest::newRow("protocol in capitals")
        << good << protocolMethod << QStringLiteral("UDP") << with(yes, "10.1.2.3", "514", "UDP")
        << refusedLines(QStringLiteral("UDP(\"10.1.2.3\" port(514))")) << nothing;
    QTest::newRow("port 0") << good << portMethod << QStringLiteral("0")
                            << with(yes, "10.1.2.3", "0")
                            << refusedLines(QStringLiteral("udp(\"10.1.2.3\" port(0))")) << nothing;
    QTest::newRow("address with colons")
        << good << addressMethod << QStringLiteral("fe80::1") << with(yes, "fe80::1")
        << refusedLines(QStringLiteral("udp(\"fe80::1\" port(514))")) << nothing;
    QTest::newRow("address is not set any more")
        << good << addressMethod << Setting::UNDEFINEDVALUE << with(yes, "UNDEFINED")
        << QStringList(notSet) << nothing;
    QTest::newRow("port is not set any more")
        << good << portMethod << Setting::UNDEFINEDVALUE << with(yes, "10.1.2.3", "UNDEFINED")
        << QStringList(notSet) << nothing;
    QTest::newRow("protocol is not set any more")
        << good << protocolMethod << Setting::UNDEFINEDVALUE
        << with(yes, "10.1.2.3", "514", "UNDEFINED") << QStringList(notSet) << nothing;
}

void tst_RemoteServer::changedSetting()
{
    QFETCH(RemoteServerConfig, record);
    QFETCH(QString, method);
    QFETCH(QString, value);
    QFETCH(RemoteServerConfig, recordAfter);
    QFETCH(QStringList, lines);
    QFETCH(QString, destination);
    const bool toPredefined = destination == QLatin1String("predefined");
    const QString before = QStringLiteral("file(\"/var/log/before.log\")");
    QByteArray config = m_config;
    if (toPredefined) {
        Phone::write(Phone::liveConfig, withAllDestinations(m_config, before));
        const Files files = withAllRedirections(m_facilities, before);
        for (auto file = files.cbegin(); file != files.cend(); ++file) {
            Phone::write(Phone::facilityFile(file.key()), file.value());
        }
    } else if (!destination.isEmpty()) {
        config = withAllDestinations(config, destination);
    }
    const LogCapture log;
    TestableModule module;
    remoteServerConfig = record;
    const auto slot = method == QLatin1String("exist") ? &LoggerModule::logRemoteServer
        : method == QLatin1String("address")           ? &LoggerModule::logRemoteServerAddress
        : method == QLatin1String("port")              ? &LoggerModule::logRemoteServerPort
                                                       : &LoggerModule::logRemoteServerProto;
    QCOMPARE((module.*slot)(setting(value)).size(), 0);
    QCOMPARE(withoutReaderLines(log.debugs()), lines);
    QCOMPARE(log.errors(), QStringList());
    QCOMPARE(remoteServerConfig.exist, recordAfter.exist);
    QCOMPARE(remoteServerConfig.address, recordAfter.address);
    QCOMPARE(remoteServerConfig.port, recordAfter.port);
    QCOMPARE(remoteServerConfig.protocol, recordAfter.protocol);
    QCOMPARE(Phone::read(Phone::liveConfig), config);
    QCOMPARE(facilityFiles(),
             destination.isEmpty() || toPredefined
                 ? m_facilities
                 : withAllRedirections(m_facilities, destination));
    QTRY_COMPARE(m_syslog->count(), destination.isEmpty() ? 0 : 1);
}

void tst_RemoteServer::refusedValueStaysStored()
{
    const LogCapture log;
    TestableModule module;
    remoteServerConfig = {QStringLiteral("true"), QStringLiteral("10.1.2.3"), QStringLiteral("514"),
                          QStringLiteral("udp")};
    module.logRemoteServerProto(setting(QStringLiteral("UDP")));
    module.logRemoteServerPort(setting(QStringLiteral("1514")));
    QCOMPARE(log.debugs().last(), notValid + QStringLiteral("UDP(\"10.1.2.3\" port(1514))"));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    module.logRemoteServerProto(setting(QStringLiteral("tcp")));
    QCOMPARE(Phone::read(Phone::liveConfig),
             withAllDestinations(m_config, QStringLiteral("tcp(\"10.1.2.3\" port(1514))")));
}

void tst_RemoteServer::linesNeedTheDebugLevel()
{
    const LogCapture log;
    LogCapture::setLevel(6);
    TestableModule module;
    remoteServerConfig = {QStringLiteral("true"), QStringLiteral("10.1.2.3"), QStringLiteral("514"),
                          QStringLiteral("udp")};
    module.logRemoteServer(setting(QStringLiteral("true")));
    module.logRemoteServer(setting(QStringLiteral("false")));
    module.logRemoteServerPort(setting(QStringLiteral("0")));
    QCOMPARE(Faults::logged(log), QStringList());
    module.initLogServerStruct();
    QCOMPARE(log.lines().size(), 4);
    QCOMPARE(log.errors().size(), 4);
    LogCapture::setLevel(2);
    module.initLogServerStruct();
    QCOMPARE(log.lines().size(), 4);
}

void tst_RemoteServer::linesAboutTheAddressNeedTheDebugLevel_data()
{
    QTest::addColumn<bool>("isError");
    QTest::newRow("address") << false;
    QTest::newRow("error") << true;
}

void tst_RemoteServer::linesAboutTheAddressNeedTheDebugLevel()
{
    QFETCH(bool, isError);
    const QString file = Phone::facilityFile(QStringLiteral("LoggerModule"));
    Phone::write(file, Phone::read(file).replace(0, 1, "6"));
    const StandIn settings(
        {{address, {isError ? Answer::Error : Answer::Text, QStringLiteral("10.1.2.3")}},
         {port, {Answer::Text, QStringLiteral("514")}},
         {protocol, {Answer::Text, QStringLiteral("udp")}},
         {exist, {Answer::Text, QStringLiteral("true")}}});
    Phone::Service service;
    const QString end = QStringLiteral("the last line");
    QCOMPARE(Phone::text(QStringLiteral("logComments"), {QStringLiteral("LoggerModule"), end}),
             QStringLiteral("OK"));
    QCOMPARE(serviceLines(end), QStringList(end));
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::changesOverTheBusWithAServerAtStart()
{
    const StandIn settings({{address, {Answer::Text, QStringLiteral("10.1.2.3")}},
                            {port, {Answer::Text, QStringLiteral("514")}},
                            {protocol, {Answer::Text, QStringLiteral("udp")}},
                            {exist, {Answer::Text, QStringLiteral("true")}}});
    Phone::Service service;
    const auto destinationIs = [&](const char *destination) {
        return Phone::read(Phone::liveConfig)
            == withAllDestinations(m_config, QString::fromLatin1(destination))
            && facilityFiles()
            == withAllRedirections(m_facilities, QString::fromLatin1(destination));
    };
    QVERIFY(destinationIs("udp(\"10.1.2.3\" port(514))"));
    change(QStringLiteral("logRemoteServerPort"), QStringLiteral("1514"));
    QVERIFY(destinationIs("udp(\"10.1.2.3\" port(1514))"));
    change(QStringLiteral("logRemoteServerProto"), QStringLiteral("tcp"));
    QVERIFY(destinationIs("tcp(\"10.1.2.3\" port(1514))"));
    change(QStringLiteral("logRemoteServerAddress"), QStringLiteral("loghost"));
    QVERIFY(destinationIs("tcp(\"loghost\" port(1514))"));
    change(QStringLiteral("logRemoteServer"), QStringLiteral("false"));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    QCOMPARE(facilityFiles(), m_facilities);
    // Switched off, but the flag is the one of the start.
    change(QStringLiteral("logRemoteServerAddress"), QStringLiteral("10.9.9.9"));
    QVERIFY(destinationIs("tcp(\"10.9.9.9\" port(1514))"));
    QTRY_COMPARE(m_syslog->count(), 6);
    QCOMPARE(settings.asked().size(), 4);
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::changesOverTheBusWithoutServerAtStart()
{
    const StandIn settings({{address, {Answer::Text, QStringLiteral("10.1.2.3")}},
                            {port, {Answer::Text, QStringLiteral("514")}},
                            {protocol, {Answer::Text, QStringLiteral("udp")}},
                            {exist, {Answer::Text, QStringLiteral("false")}}});
    Phone::Service service;
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    change(QStringLiteral("logRemoteServerPort"), QStringLiteral("1514"));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    change(QStringLiteral("logRemoteServer"), QStringLiteral("true"));
    const QByteArray applied
        = withAllDestinations(m_config, QStringLiteral("udp(\"10.1.2.3\" port(1514))"));
    QCOMPARE(Phone::read(Phone::liveConfig), applied);
    // Switched on, but the flag is the one of the start: stored for the next time.
    change(QStringLiteral("logRemoteServerAddress"), QStringLiteral("10.9.9.9"));
    change(QStringLiteral("logRemoteServerProto"), QStringLiteral("tcp"));
    QCOMPARE(Phone::read(Phone::liveConfig), applied);
    change(QStringLiteral("logRemoteServer"), QStringLiteral("true"));
    QCOMPARE(Phone::read(Phone::liveConfig),
             withAllDestinations(m_config, QStringLiteral("tcp(\"10.9.9.9\" port(1514))")));
    QTRY_COMPARE(m_syslog->count(), 2);
    QCOMPARE(service.stop(), 0);
}

QTEST_GUILESS_MAIN(tst_RemoteServer)
#include "tst_remoteserver.moc"
