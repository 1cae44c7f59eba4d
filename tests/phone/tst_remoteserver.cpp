// The remote log server when the service starts: what it asks the settings service for, how it
// copes with each kind of answer, and that it follows changes from then on.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/configlog.h"
#include "support/configtext.h"
#include "support/hangups.h"
#include "support/phone.h"
#include "support/remoteserverlog.h"

#include <QVX/setting.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QMap>
#include <QTest>

#include <csignal>
#include <memory>

namespace {

using namespace RemoteServerLog;
using ConfigText::facilityFiles;
using ConfigText::withAllDestinations;
using ConfigText::withAllRedirections;

const QString serviceLog = "/var/log/LoggerModule.log"_s;

const QString address = "LogRemoteServerAddress"_s;
const QString port = "LogRemoteServerPort"_s;
const QString protocol = "LogRemoteServerProtocol"_s;
const QString exist = "LogRemoteServerExist"_s;

const QString start = "Method::initLogServerStruct()"_s;
const QString gotAddress = "Method::initLogServerStruct got IP address"_s;
const QString errorOnAddress = "Method::initLogServerStruct got error on IP address"_s;
const QString exists = "A remote server exists"_s;

/// How the settings service answers one question.
struct Answer
{
    enum Kind { InTime, Error, Late };

    QVariantList arguments;
    Kind kind = InTime;
};

const Answer errorAnswer {{}, Answer::Error};
const Answer lateAnswer {{}, Answer::Late};
const Answer number {{514}};
const Answer nothing;

using Answers = QMap<QString, Answer>;

Answers answers(const char *flag, const char *host, const char *portNumber, const char *kind)
{
    const auto text = [](const char *value) { return Answer {{QString::fromLatin1(value)}}; };
    return {{exist, text(flag)},
            {address, text(host)},
            {port, text(portNumber)},
            {protocol, text(kind)}};
}

} // namespace

Q_DECLARE_METATYPE(Answers)

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
            QDBusConnection::systemBus().send(question.createReply("too late"_s));
        }
        m_unanswered.clear();
    }

    inline static const QString name = "com.corvane.Quorvix.SettingsManager"_s;

public Q_SLOTS:
    void getSettingValue(const QString &settingName, const QDBusMessage &question)
    {
        m_asked.append(settingName);
        question.setDelayedReply(true);
        const Answer answer = m_answers.value(settingName);
        if (answer.kind == Answer::Late) {
            m_unanswered.append(question);
            return;
        }
        QDBusConnection::systemBus().send(
            answer.kind == Answer::Error
                ? question.createErrorReply("com.corvane.Quorvix.Error"_s, "no such setting"_s)
                : question.createReply(answer.arguments));
    }

private:
    inline static const QString path = "/com/corvane/Quorvix/SettingsManager"_s;

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
    void linesNeedTheDebugLevel();

    void changesOverTheBus();

private:
    /// What the service has logged since the test began, up to @p last.
    QStringList serviceLines(const QString &last) const;
    void change(const QString &method, const QString &value);
    /// Whether every activity and every facility file has @p destination.
    bool destinationIs(const QString &destination) const;

    QByteArray m_config;
    ConfigText::FacilityFiles m_facilities;
    int m_fence = 0;
    qint64 m_logStart = 0;
    std::unique_ptr<HangUps> m_syslog; ///< the daemon keeps writing the service's log file
};

void tst_RemoteServer::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    registerDBusSetting();
    Phone::stopBootedService();
    Phone::stopBooted("SettingsManager"_s);

    // The service and the daemon at debug level, so that every line of the service is in its log.
    Phone::resetConfiguration();
    m_config = Phone::read(Phone::liveConfig);
    m_config = ConfigText::withLevel(m_config, "LoggerModule"_s, "debug");
    Phone::write(Phone::liveConfig, m_config);
    const QString file = Phone::facilityFile("LoggerModule"_s);
    Phone::write(file, Phone::read(file).replace(0, 1, "7"));
    m_facilities = facilityFiles();
    QCOMPARE(::kill(Phone::read(Phone::pidFile).trimmed().toInt(), SIGHUP), 0);
    QVERIFY(Phone::logUntilSeen(Phone::activity("LoggerModule"_s), serviceLog, "at debug level"_s,
                                "debug"_s));
}

void tst_RemoteServer::init()
{
    m_syslog = std::make_unique<HangUps>();
    Phone::write(Phone::liveConfig, m_config);
    Phone::write(Phone::backup, m_config + "# the backup\n");
    ConfigText::putFacilityFiles(m_facilities);
    // The daemon writes in order, so nothing of an earlier service comes behind this line.
    const QByteArray fence = QByteArray::number(++m_fence) + " at debug level\n";
    Phone::logMessage("LoggerModule"_s, "daemon"_s, "debug"_s,
                      QString::fromLatin1(fence.trimmed()));
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
    return ConfigLog::withoutListing(lines);
}

void tst_RemoteServer::change(const QString &method, const QString &value)
{
    Setting setting;
    setting.name = "whatever it is called"_s;
    setting.value = value;
    setting.defaultValue = "true"_s;
    const QDBusMessage reply = Phone::call(method, {QVariant::fromValue(setting)});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), "a(sssssssiiia(ss)bbs)"_s);
    QCOMPARE(qdbus_cast<ListSetting>(reply.arguments().value(0)).size(), 0);
}

bool tst_RemoteServer::destinationIs(const QString &destination) const
{
    return Phone::read(Phone::liveConfig) == withAllDestinations(m_config, destination)
        && facilityFiles() == withAllRedirections(m_facilities, destination);
}

void tst_RemoteServer::settingsAtStart_data()
{
    QTest::addColumn<Answers>("given");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("destination"); // empty: nothing changes

    const auto row = [](const QByteArray &name, const Answers &given, const QStringList &lines,
                        const QString &destination = {}) {
        QTest::newRow(name) << given << lines << destination;
    };
    const QStringList begin {start, gotAddress, exists};
    const QString udpServer = R"(udp("10.1.2.3" port(514)))"_s;
    const QString tcpServer = R"(tcp("localhost" port(601)))"_s;
    const Answers good = answers("true", "10.1.2.3", "514", "udp");
    row("server", good, begin + applied(udpServer), udpServer);
    row("server by name and tcp", answers("true", "localhost", "601", "tcp"),
        begin + applied(tcpServer), tcpServer);
    for (const char *other : {"false", "", "TRUE", "true ", "1", "UNDEFINED"}) {
        row("whether it exists is '" + QByteArray(other) + '\'',
            answers(other, "10.1.2.3", "514", "udp"), {start, gotAddress, none});
    }
    row("no address", answers("true", "UNDEFINED", "514", "udp"),
        begin + QStringList(Redirecting::notSet));
    row("empty values", answers("true", "", "", ""), begin + refused(R"(("" port()))"_s));

    const auto instead = [&](const QString &name, const Answer &answer) {
        Answers changed = good;
        changed[name] = answer;
        return changed;
    };
    // Only the address has a line of its own for what is no text.
    const QStringList noAddress
        = QStringList {start, errorOnAddress, exists} + refused(R"(udp("" port(514)))"_s);
    const QStringList noPort = begin + refused(R"(udp("10.1.2.3" port()))"_s);
    row("error for the address", instead(address, errorAnswer), noAddress);
    row("number for the address", instead(address, number), noAddress);
    row("nothing for the address", instead(address, nothing), noAddress);
    row("error for the port", instead(port, errorAnswer), noPort);
    row("number for the port", instead(port, number), noPort);
    row("error for the protocol", instead(protocol, errorAnswer),
        begin + refused(R"(("10.1.2.3" port(514)))"_s));
    row("error for whether it exists", instead(exist, errorAnswer), {start, gotAddress, none});
}

void tst_RemoteServer::settingsAtStart()
{
    QFETCH(Answers, given);
    QFETCH(QStringList, lines);
    QFETCH(QString, destination);
    const StandIn settings(given);
    Phone::Service service;
    QCOMPARE(settings.asked(), QStringList({address, port, protocol, exist}));
    QCOMPARE(serviceLines(lines.last()), lines);
    const bool isApplied = !destination.isEmpty();
    if (isApplied) {
        QVERIFY(destinationIs(destination));
    } else {
        QCOMPARE(Phone::read(Phone::liveConfig), m_config);
        QCOMPARE(facilityFiles(), m_facilities);
    }
    QTRY_COMPARE(m_syslog->count(), isApplied ? 1 : 0);
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::settingsServiceIsAbsentAtStart()
{
    Phone::Service service;
    const QString reason = "The name com.corvane.Quorvix.SettingsManager was not provided by any "
                           ".service files"_s;
    QCOMPARE(
        serviceLines(none),
        QStringList({start, "syncRemoteCall error : "_s + reason,
                     "syncRemotecall error : "_s + reason, "syncRemoteCall error : "_s + reason,
                     "syncRemoteCall error : "_s + reason, none}));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    QCOMPARE(facilityFiles(), m_facilities);
    QVERIFY(Phone::text("redirect"_s).startsWith("   ACTIVITY"_s));
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::settingsServiceIsLateAtStart()
{
    Answers given = answers("true", "10.1.2.3", "514", "udp");
    given[address] = lateAnswer;
    StandIn settings(given);
    Phone::Service service;
    QCOMPARE(settings.asked(), QStringList({address, port, protocol, exist}));
    const QStringList expected = refused(R"(udp("" port(514)))"_s);
    QStringList lines = serviceLines(expected.last());
    QVERIFY2(lines.value(1).startsWith("syncRemoteCall error : Did not receive a reply."_s),
             qPrintable(lines.value(1)));
    lines.removeAt(1);
    QCOMPARE(lines, QStringList({start, exists}) + expected);

    // An answer that comes after all is nobody's.
    settings.answerAtLast();
    change("logRemoteServerPort"_s, "601"_s);
    const QStringList later = refused(R"(udp("" port(601)))"_s);
    QVERIFY(serviceLines(later.last()).contains(later.first()));
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    QCOMPARE(service.stop(), 0);
}

void tst_RemoteServer::linesNeedTheDebugLevel()
{
    const QString file = Phone::facilityFile("LoggerModule"_s);
    Phone::write(file, Phone::read(file).replace(0, 1, "6"));
    QStringList lines;
    Answers given = answers("true", "10.1.2.3", "514", "udp");
    for (const Answer &ofAddress : {given.value(address), errorAnswer}) {
        given[address] = ofAddress;
        const StandIn settings(given);
        Phone::Service service;
        lines.append("the last line, %1"_s.arg(lines.size()));
        QCOMPARE(Phone::text("logComments"_s, {"LoggerModule"_s, lines.last()}), "OK"_s);
        QCOMPARE(serviceLines(lines.last()), lines);
        QCOMPARE(service.stop(), 0);
    }
}

void tst_RemoteServer::changesOverTheBus()
{
    const StandIn settings(answers("true", "10.1.2.3", "514", "udp"));
    Phone::Service service;
    QVERIFY(destinationIs(R"(udp("10.1.2.3" port(514)))"_s));
    change("logRemoteServerPort"_s, "1514"_s);
    QVERIFY(destinationIs(R"(udp("10.1.2.3" port(1514)))"_s));
    change("logRemoteServerProto"_s, "tcp"_s);
    QVERIFY(destinationIs(R"(tcp("10.1.2.3" port(1514)))"_s));
    change("logRemoteServerAddress"_s, "loghost"_s);
    QVERIFY(destinationIs(R"(tcp("loghost" port(1514)))"_s));
    change("logRemoteServer"_s, "false"_s);
    QCOMPARE(Phone::read(Phone::liveConfig), m_config);
    QCOMPARE(facilityFiles(), m_facilities);
    // Switched off, but the flag is the one of the start.
    change("logRemoteServerAddress"_s, "10.9.9.9"_s);
    QVERIFY(destinationIs(R"(tcp("10.9.9.9" port(1514)))"_s));
    QTRY_COMPARE(m_syslog->count(), 6);
    QCOMPARE(settings.asked().size(), 4);
    QCOMPARE(service.stop(), 0);
}

QTEST_GUILESS_MAIN(tst_RemoteServer)
#include "tst_remoteserver.moc"
