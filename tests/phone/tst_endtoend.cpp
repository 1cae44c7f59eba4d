// Where messages end up: each kind of destination with the phone's own syslog-ng, a look at the
// place where a user would look, and syslog-ng started anew in each of these states.
// The environment variable RANDOM_SEED repeats another run of the random changes.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/phone.h"
#include "support/syslogdaemon.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utmpx.h>

namespace {

constexpr int deadline = 20000; // ms
constexpr int resendAfter = 200; // ms

const QString mainConfig = QStringLiteral("/etc/syslog-ng/phone.conf");
const QString generatorProgram = QStringLiteral("/etc/syslog-ng/logappli-generator");

using Phone::activities;
using Phone::Activity;
using Phone::predefinedFile;

const Activity &telephony = activities[0];
const Activity &sip = activities[2];

/// A place where messages may arrive, with all that has arrived there so far.
class Place
{
public:
    Place() = default;
    virtual ~Place() = default;
    Q_DISABLE_COPY(Place)

    virtual QByteArray content() = 0;
    bool has(const QByteArray &part) { return content().contains(part); }
};

class FilePlace : public Place
{
public:
    explicit FilePlace(QString path) : m_path(std::move(path)) { }
    QByteArray content() override { return Phone::read(m_path); }

private:
    QString m_path;
};

/// Whatever can be read from file descriptors without waiting.
class DescriptorPlace : public Place
{
public:
    ~DescriptorPlace() override
    {
        for (const int descriptor : m_descriptors) {
            close(descriptor);
        }
    }

    QByteArray content() override
    {
        for (const int descriptor : m_descriptors) {
            std::array<char, 65536> buffer {};
            ssize_t count = 0;
            while ((count = ::read(descriptor, buffer.data(), buffer.size())) > 0) {
                m_content.append(buffer.data(), static_cast<int>(count));
            }
        }
        return m_content;
    }

protected:
    void add(int descriptor)
    {
        if (descriptor < 0) {
            qFatal("cannot open: %s", std::strerror(errno));
        }
        m_descriptors.push_back(descriptor);
    }

private:
    std::vector<int> m_descriptors;
    QByteArray m_content;
};

/// The reading end of a named pipe.
class PipePlace : public DescriptorPlace
{
public:
    explicit PipePlace(const QString &path)
    {
        const QByteArray name = QFile::encodeName(path);
        if (mkfifo(name.constData(), 0600) != 0) {
            qFatal("cannot make the pipe %s", name.constData());
        }
        add(open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }
};

/// A terminal on which the user @p user is logged in.
class TerminalPlace : public DescriptorPlace
{
public:
    explicit TerminalPlace(const QByteArray &user)
    {
        const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        add(master);
        std::array<char, 64> name {};
        if (grantpt(master) != 0 || unlockpt(master) != 0
            || ptsname_r(master, name.data(), name.size()) != 0) {
            qFatal("cannot make a terminal");
        }
        m_slave = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        // Nobody logs in otherwise, so the file of those who are is not there.
        const int users = open(_PATH_UTMPX, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        close(users);
        m_entry.ut_type = USER_PROCESS;
        m_entry.ut_pid = getpid();
        qstrncpy(m_entry.ut_line, name.data() + std::strlen("/dev/"), sizeof m_entry.ut_line);
        qstrncpy(m_entry.ut_id, "t1", sizeof m_entry.ut_id);
        qstrncpy(m_entry.ut_user, user.constData(), sizeof m_entry.ut_user);
        writeEntry();
    }
    ~TerminalPlace() override
    {
        m_entry.ut_type = DEAD_PROCESS;
        writeEntry();
        close(m_slave);
    }

private:
    void writeEntry()
    {
        setutxent();
        if (pututxline(&m_entry) == nullptr) {
            qFatal("cannot log in: %s", std::strerror(errno));
        }
        endutxent();
    }

    int m_slave = -1;
    utmpx m_entry = {};
};

/// A socket of the given type that messages are sent to; for streams, each sender's connection.
class SocketPlace : public DescriptorPlace
{
public:
    /// On 127.0.0.0/8; @p type is SOCK_DGRAM or SOCK_STREAM.
    SocketPlace(const QString &address, int port, int type)
    {
        sockaddr_in name = {};
        name.sin_family = AF_INET;
        name.sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, address.toLatin1().constData(), &name.sin_addr);
        listenAt(reinterpret_cast<const sockaddr *>(&name), sizeof name, AF_INET, type);
    }
    /// At the path @p path.
    SocketPlace(const QString &path, int type)
    {
        sockaddr_un name = {};
        name.sun_family = AF_UNIX;
        qstrncpy(name.sun_path, QFile::encodeName(path).constData(), sizeof name.sun_path);
        listenAt(reinterpret_cast<const sockaddr *>(&name), sizeof name, AF_UNIX, type);
    }
    ~SocketPlace() override
    {
        if (m_listener >= 0) {
            close(m_listener);
        }
    }

    QByteArray content() override
    {
        int connection = -1;
        while (m_listener >= 0
               && (connection = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC))
                   >= 0) {
            add(connection);
        }
        return DescriptorPlace::content();
    }

private:
    void listenAt(const sockaddr *name, socklen_t size, int family, int type)
    {
        const int descriptor = socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const int yes = 1;
        setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        if (descriptor < 0 || bind(descriptor, name, size) != 0
            || (type == SOCK_STREAM && listen(descriptor, SOMAXCONN) != 0)) {
            qFatal("cannot listen: %s", std::strerror(errno));
        }
        if (type == SOCK_STREAM) {
            m_listener = descriptor;
        } else {
            add(descriptor);
        }
    }

    int m_listener = -1;
};

QString redirect(const QVariantList &arguments)
{
    return Phone::text(QStringLiteral("redirect"), arguments);
}

QString redirect(const QString &activity, const QString &destination)
{
    return redirect(QVariantList {activity, destination});
}

void setSetting(const QString &name, const QString &value)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.Quorvix.SettingsManager"),
        QStringLiteral("/com/corvane/Quorvix/SettingsManager"), Phone::serviceInterface,
        QStringLiteral("setSettingValue"));
    call << name << value;
    const QDBusMessage reply = QDBusConnection::systemBus().call(call);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qFatal("%s was not set: %s", qPrintable(name), qPrintable(reply.errorMessage()));
    }
}

/// Until the service has done what the settings service has asked it for.
void waitForService()
{
    Phone::text(QStringLiteral("level"));
}

/// Each message of this test is another one.
QByteArray newMessage()
{
    static int number = 0;
    return "message-" + QByteArray::number(++number) + "-ends";
}

void send(const Activity &activity, const QByteArray &message)
{
    Phone::logMessage(activity.name, activity.facility, QStringLiteral("err"),
                      QString::fromUtf8(message));
}

/// Whether messages of @p activity come to @p place. syslog-ng goes on reloading for a moment after
/// the service's answer, so a message may have to be sent again.
bool arrivesAt(Place &place, const Activity &activity)
{
    const QByteArray message = newMessage();
    for (int waited = 0; waited < deadline; waited += resendAfter) {
        send(activity, message);
        if (QTest::qWaitFor([&] { return place.has(message); }, resendAfter)) {
            return true;
        }
    }
    return false;
}

/// Whether messages of @p activity come to @p place, and no longer to @p formerPlace.
bool movesTo(Place &place, Place &formerPlace, const Activity &activity)
{
    if (!arrivesAt(place, activity)) {
        return false;
    }
    const QByteArray message = newMessage();
    send(activity, message);
    return QTest::qWaitFor([&] { return place.has(message); }, deadline)
        && !formerPlace.has(message);
}

/// The activities whose messages do not come to @p place.
QStringList missingAt(Place &place)
{
    QStringList missing;
    for (const Activity &activity : activities) {
        if (!arrivesAt(place, activity)) {
            missing.append(activity.name);
        }
    }
    return missing;
}

QStringList missingAtHome()
{
    QStringList missing;
    for (const Activity &activity : activities) {
        FilePlace file(predefinedFile(activity));
        if (!arrivesAt(file, activity)) {
            missing.append(activity.name);
        }
    }
    return missing;
}

/// A place to look at and what an operator asks for to get messages there.
struct Target
{
    std::unique_ptr<Place> place;
    QString text; ///< the whole destination text
    QVariantList arguments; ///< the form with several arguments, without the activity
};

const QStringList kinds {
    QStringLiteral("ram form"),    QStringLiteral("flash form"),  QStringLiteral("file"),
    QStringLiteral("odd file"),    QStringLiteral("pipe"),        QStringLiteral("program"),
    QStringLiteral("unix-stream"), QStringLiteral("unix-dgram"),  QStringLiteral("usertty form"),
    QStringLiteral("usertty"),     QStringLiteral("udp form"),    QStringLiteral("tcp form"),
    QStringLiteral("udp"),         QStringLiteral("tcp by name"), QStringLiteral("V24"),
};

Target makeTarget(const QString &kind, const QString &directory)
{
    const QString inDirectory = directory + QLatin1Char('/');
    const QString quoted = kind.section(QLatin1Char(' '), 0, 0) + QStringLiteral("(\"%1\")");
    Target target;
    if (kind == QLatin1String("ram form")) {
        target.place = std::make_unique<FilePlace>(QStringLiteral("/var/log/ramtarget.log"));
        target.text = QStringLiteral("file(\"/var/log/ramtarget.log\")");
        target.arguments = {QStringLiteral("ram"), QStringLiteral("ramtarget")};
    } else if (kind == QLatin1String("flash form")) {
        target.place = std::make_unique<FilePlace>(QStringLiteral("/log/flash/flashtarget.log"));
        target.text = QStringLiteral("file(\"/log/flash/flashtarget.log\")");
        target.arguments = {QStringLiteral("flash"), QStringLiteral("flashtarget.log")};
    } else if (kind == QLatin1String("file")) {
        target.place = std::make_unique<FilePlace>(inDirectory + QStringLiteral("new/file"));
        target.text = quoted.arg(inDirectory + QStringLiteral("new/file"));
    } else if (kind == QLatin1String("odd file")) {
        const QString path = inDirectory + QString::fromUtf8("it's } ; { # \xc3\xbc, @version: 3");
        target.place = std::make_unique<FilePlace>(path);
        target.text = QStringLiteral("file(\"%1\")").arg(path);
    } else if (kind == QLatin1String("pipe")) {
        target.place = std::make_unique<PipePlace>(inDirectory + QStringLiteral("fifo"));
        target.text = quoted.arg(inDirectory + QStringLiteral("fifo"));
    } else if (kind == QLatin1String("program")) {
        const QString program = inDirectory + QStringLiteral("program");
        Phone::write(program, "#!/bin/sh\nexec cat >>" + program.toUtf8() + ".out\n");
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        target.place = std::make_unique<FilePlace>(program + QStringLiteral(".out"));
        target.text = quoted.arg(program);
    } else if (kind == QLatin1String("unix-stream")) {
        target.place
            = std::make_unique<SocketPlace>(inDirectory + QStringLiteral("stream"), SOCK_STREAM);
        target.text = quoted.arg(inDirectory + QStringLiteral("stream"));
    } else if (kind == QLatin1String("unix-dgram")) {
        target.place
            = std::make_unique<SocketPlace>(inDirectory + QStringLiteral("dgram"), SOCK_DGRAM);
        target.text = quoted.arg(inDirectory + QStringLiteral("dgram"));
    } else if (kind.startsWith(QLatin1String("usertty"))) {
        target.place = std::make_unique<TerminalPlace>("operator");
        target.text = QStringLiteral("usertty(\"operator\")");
        if (kind.endsWith(QLatin1String("form"))) {
            target.arguments = {QStringLiteral("usertty"), QStringLiteral("operator")};
        }
    } else if (kind.startsWith(QLatin1String("udp"))) {
        target.place = std::make_unique<SocketPlace>(QStringLiteral("127.0.0.9"), 5514, SOCK_DGRAM);
        target.text = QStringLiteral("udp(\"127.0.0.9\" port(5514))");
        if (kind.endsWith(QLatin1String("form"))) {
            target.arguments = {QStringLiteral("udp"), QStringLiteral("127.0.0.9"), 5514};
        }
    } else if (kind == QLatin1String("tcp form")) {
        target.place
            = std::make_unique<SocketPlace>(QStringLiteral("127.0.0.9"), 5601, SOCK_STREAM);
        target.text = QStringLiteral("tcp(\"127.0.0.9\" port(5601))");
        target.arguments = {QStringLiteral("tcp"), QStringLiteral("127.0.0.9"), 5601};
    } else if (kind == QLatin1String("tcp by name")) {
        target.place
            = std::make_unique<SocketPlace>(QStringLiteral("127.0.0.1"), 5602, SOCK_STREAM);
        target.text = QStringLiteral("tcp  (\"localhost\" port (5602))");
    } else {
        target.place = std::make_unique<FilePlace>(QStringLiteral("/dev/console"));
        target.text = QStringLiteral("V24");
    }
    return target;
}

/// The processes that run the program @p path.
bool anyoneRuns(const QString &path)
{
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList({QStringLiteral("[1-9]*")});
    for (const QString &entry : entries) {
        const QString output
            = QFile::symLinkTarget(QStringLiteral("/proc/") + entry + QStringLiteral("/fd/1"));
        if (output == path) {
            return true;
        }
    }
    return false;
}

struct Server
{
    QString address;
    int port;
    QString protocol;
};

std::unique_ptr<Place> listenAs(const Server &server)
{
    return std::make_unique<SocketPlace>(server.address, server.port,
                                         server.protocol == QLatin1String("udp") ? SOCK_DGRAM
                                                                                 : SOCK_STREAM);
}

} // namespace

class tst_EndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void messagesOfOneActivity_data();
    void messagesOfOneActivity();
    void messagesOfAllActivities_data();
    void messagesOfAllActivities();
    void twoActivitiesShareOneFile();
    void newFileTakesTheMessages();
    void sixServersInARow();
    void settingsMoveTheMessages_data();
    void settingsMoveTheMessages();
    void settingsReadAtStartAreFollowed();
    void sameValueAgainMovesNothing();
    void randomChangesLeaveAGoodFile();
    void generatorKeepsEveryLine();
    void startWithoutConfigurationTakesTheBackup();
    void reloadWithoutConfigurationChangesNothing();
    void cleanupTestCase();

private:
    QByteArray m_original;
    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<SyslogDaemon> m_daemon;
    std::unique_ptr<Phone::Service> m_service; ///< in the booted one's place, once there is one
};

void tst_EndToEnd::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    m_daemon = std::make_unique<SyslogDaemon>();
}

void tst_EndToEnd::init()
{
    Phone::resetConfiguration();
    m_original = Phone::read(Phone::liveConfig);
    m_directory = std::make_unique<QTemporaryDir>();
}

void tst_EndToEnd::cleanup()
{
    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("false"));
    waitForService();
    Phone::resetConfiguration();
    FilePlace home(predefinedFile(sip));
    QVERIFY2(arrivesAt(home, sip), SyslogDaemon::output().constData());
    m_directory.reset();
}

void tst_EndToEnd::messagesOfOneActivity_data()
{
    QTest::addColumn<QString>("kind");
    for (const QString &kind : kinds) {
        QTest::newRow(qPrintable(kind)) << kind;
    }
}

void tst_EndToEnd::messagesOfOneActivity()
{
    QFETCH(QString, kind);
    const Target target = makeTarget(kind, m_directory->path());
    FilePlace home(predefinedFile(sip));
    FilePlace other(predefinedFile(telephony));

    QString expected
        = QStringLiteral("[REDIRECT] Activity : qvxsipua redirect to : ") + target.text;
    if (target.arguments.isEmpty()) {
        QCOMPARE(redirect(sip.name, target.text), expected);
    } else {
        expected += QStringLiteral("OK");
        QCOMPARE(redirect(QVariantList {sip.name} + target.arguments), expected);
        QVERIFY(Phone::read(Phone::facilityFile(sip.name))
                    .contains('\n' + target.text.toUtf8() + '\n'));
    }
    QVERIFY2(movesTo(*target.place, home, sip), Phone::read(Phone::liveConfig).constData());
    QVERIFY(movesTo(other, *target.place, telephony));

    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QVERIFY(movesTo(*target.place, home, sip));

    QCOMPARE(redirect(QStringLiteral("all"), QStringLiteral("init")),
             QStringLiteral("All facilities redirected to predefined values "));
    QVERIFY(movesTo(home, *target.place, sip));
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);
    QTRY_VERIFY_WITH_TIMEOUT(!anyoneRuns(m_directory->path() + QStringLiteral("/program.out")),
                             deadline);
}

void tst_EndToEnd::messagesOfAllActivities_data()
{
    messagesOfOneActivity_data();
}

void tst_EndToEnd::messagesOfAllActivities()
{
    QFETCH(QString, kind);
    const Target target = makeTarget(kind, m_directory->path());
    const QString expected
        = QStringLiteral("All facilities redirected to : ") + target.text + QLatin1Char(' ');
    if (target.arguments.isEmpty()) {
        QCOMPARE(redirect(QStringLiteral("all"), target.text), expected);
    } else {
        QCOMPARE(redirect(QVariantList {QStringLiteral("all")} + target.arguments),
                 expected + QStringLiteral("OK"));
    }
    QCOMPARE(missingAt(*target.place), QStringList());

    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QCOMPARE(missingAt(*target.place), QStringList());

    QCOMPARE(redirect(QStringLiteral("all"), QStringLiteral("init")),
             QStringLiteral("All facilities redirected to predefined values "));
    QCOMPARE(missingAtHome(), QStringList());
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);
}

void tst_EndToEnd::twoActivitiesShareOneFile()
{
    FilePlace shared(QStringLiteral("/var/log/shared.log"));
    FilePlace home(predefinedFile(sip));
    for (const Activity &activity : {sip, telephony}) {
        QCOMPARE(
            redirect(QVariantList {activity.name, QStringLiteral("ram"), QStringLiteral("shared")}),
            QStringLiteral("[REDIRECT] Activity : ") + activity.name
                + QStringLiteral(" redirect to : file(\"/var/log/shared.log\")OK"));
    }
    QVERIFY(movesTo(shared, home, sip));
    QVERIFY(arrivesAt(shared, telephony));
    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QVERIFY(arrivesAt(shared, sip));
    QVERIFY(arrivesAt(shared, telephony));

    // One of them leaves; the other stays.
    redirect(sip.name, QStringLiteral("file(\"/var/log/qvxsipua.log\")"));
    QVERIFY(movesTo(home, shared, sip));
    QVERIFY(arrivesAt(shared, telephony));
    // And moves in with a third that writes to its predefined file.
    redirect(sip.name, QStringLiteral("file(\"/var/log/qvxaudio.log\")"));
    FilePlace audio(predefinedFile(activities[3]));
    QVERIFY(movesTo(audio, home, sip));
    QVERIFY(arrivesAt(audio, activities[3]));
}

void tst_EndToEnd::newFileTakesTheMessages()
{
    // Of one kind, one after the other, without a start in between.
    std::unique_ptr<Place> former = std::make_unique<FilePlace>(predefinedFile(sip));
    for (int number = 1; number <= 4; ++number) {
        const QString path = m_directory->filePath(QString::number(number));
        redirect(sip.name, QStringLiteral("file(\"%1\")").arg(path));
        std::unique_ptr<Place> next = std::make_unique<FilePlace>(path);
        QVERIFY2(movesTo(*next, *former, sip), qPrintable(path));
        former = std::move(next);
    }
}

void tst_EndToEnd::sixServersInARow()
{
    const QString udp = QStringLiteral("udp");
    const QString tcp = QStringLiteral("tcp");
    const std::vector<Server> servers {
        {QStringLiteral("127.0.0.2"), 5514, udp}, {QStringLiteral("127.0.0.3"), 5514, udp},
        {QStringLiteral("127.0.0.3"), 5515, udp}, {QStringLiteral("127.0.0.3"), 5515, tcp},
        {QStringLiteral("127.0.0.4"), 5515, tcp}, {QStringLiteral("127.0.0.4"), 5516, tcp},
    };
    std::unique_ptr<Place> former = std::make_unique<FilePlace>(predefinedFile(sip));
    for (const Server &server : servers) {
        std::unique_ptr<Place> next = listenAs(server);
        redirect(QVariantList {sip.name, server.protocol, server.address, server.port});
        QVERIFY2(movesTo(*next, *former, sip), Phone::read(Phone::liveConfig).constData());
        former = std::move(next);
    }
}

void tst_EndToEnd::settingsMoveTheMessages_data()
{
    QTest::addColumn<QString>("protocol");
    QTest::newRow("udp") << QStringLiteral("udp");
    QTest::newRow("tcp") << QStringLiteral("tcp");
}

void tst_EndToEnd::settingsMoveTheMessages()
{
    QFETCH(QString, protocol);
    const Server server {QStringLiteral("127.0.0.5"), 5514, protocol};
    const std::unique_ptr<Place> collector = listenAs(server);
    setSetting(QStringLiteral("LogRemoteServerAddress"), server.address);
    setSetting(QStringLiteral("LogRemoteServerPort"), QString::number(server.port));
    setSetting(QStringLiteral("LogRemoteServerProtocol"), server.protocol);
    // The service follows them only from the moment when a server exists.
    waitForService();
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);

    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("true"));
    QCOMPARE(missingAt(*collector), QStringList());
    QVERIFY(Phone::read(Phone::facilityFile(sip.name))
                .contains('\n' + protocol.toUtf8() + "(\"127.0.0.5\" port(5514))\n"));

    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    QCOMPARE(missingAt(*collector), QStringList());

    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("false"));
    QCOMPARE(missingAtHome(), QStringList());
    FilePlace home(predefinedFile(sip));
    QVERIFY(movesTo(home, *collector, sip));
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);
}

void tst_EndToEnd::settingsReadAtStartAreFollowed()
{
    const QString udp = QStringLiteral("udp");
    const QString tcp = QStringLiteral("tcp");
    std::unique_ptr<Place> former = listenAs({QStringLiteral("127.0.0.6"), 5514, udp});
    setSetting(QStringLiteral("LogRemoteServerAddress"), QStringLiteral("127.0.0.6"));
    setSetting(QStringLiteral("LogRemoteServerPort"), QStringLiteral("5514"));
    setSetting(QStringLiteral("LogRemoteServerProtocol"), udp);
    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("true"));
    QVERIFY(arrivesAt(*former, sip));
    waitForService();
    Phone::resetConfiguration();

    // Takes the booted service's place until the end; it reads the settings at its start.
    m_service = std::make_unique<Phone::Service>();
    QCOMPARE(missingAt(*former), QStringList());

    struct Change
    {
        QString setting;
        QString value;
        Server server;
    };
    const std::vector<Change> changes {
        {QStringLiteral("Address"),
         QStringLiteral("127.0.0.7"),
         {QStringLiteral("127.0.0.7"), 5514, udp}},
        {QStringLiteral("Port"), QStringLiteral("1514"), {QStringLiteral("127.0.0.7"), 1514, udp}},
        {QStringLiteral("Protocol"), tcp, {QStringLiteral("127.0.0.7"), 1514, tcp}},
        {QStringLiteral("Address"),
         QStringLiteral("127.0.0.8"),
         {QStringLiteral("127.0.0.8"), 1514, tcp}},
        {QStringLiteral("Port"), QStringLiteral("6514"), {QStringLiteral("127.0.0.8"), 6514, tcp}},
        {QStringLiteral("Protocol"), udp, {QStringLiteral("127.0.0.8"), 6514, udp}},
    };
    for (const Change &change : changes) {
        std::unique_ptr<Place> next = listenAs(change.server);
        setSetting(QStringLiteral("LogRemoteServer") + change.setting, change.value);
        QVERIFY2(movesTo(*next, *former, sip), qPrintable(change.setting));
        QCOMPARE(missingAt(*next), QStringList());
        former = std::move(next);
    }
    setSetting(QStringLiteral("LogRemoteServerPort"), QStringLiteral("0"));
    QVERIFY(arrivesAt(*former, sip));
    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("false"));
    FilePlace home(predefinedFile(sip));
    QVERIFY(movesTo(home, *former, sip));
    // The next one finds no server at its start.
    m_service.reset();
    m_service = std::make_unique<Phone::Service>();
    setSetting(QStringLiteral("LogRemoteServerPort"), QStringLiteral("5514"));
    waitForService();
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);
}

void tst_EndToEnd::sameValueAgainMovesNothing()
{
    const std::unique_ptr<Place> collector
        = listenAs({QStringLiteral("127.0.0.5"), 5514, QStringLiteral("udp")});
    setSetting(QStringLiteral("LogRemoteServerAddress"), QStringLiteral("127.0.0.5"));
    setSetting(QStringLiteral("LogRemoteServerPort"), QStringLiteral("5514"));
    setSetting(QStringLiteral("LogRemoteServerProtocol"), QStringLiteral("udp"));
    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("true"));
    QVERIFY(arrivesAt(*collector, sip));
    QCOMPARE(redirect(QStringLiteral("all"), QStringLiteral("init")),
             QStringLiteral("All facilities redirected to predefined values "));
    setSetting(QStringLiteral("LogRemoteServerExist"), QStringLiteral("true"));
    setSetting(QStringLiteral("SomethingElse"), QStringLiteral("true"));
    waitForService();
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);
}

void tst_EndToEnd::randomChangesLeaveAGoodFile()
{
    constexpr int changeCount = 200;
    const quint32 seed = qEnvironmentVariableIsSet("RANDOM_SEED")
        ? static_cast<quint32>(qEnvironmentVariableIntValue("RANDOM_SEED"))
        : 4;
    QRandomGenerator random(seed);
    const auto pick
        = [&random](const QStringList &words) { return words.at(random.bounded(words.size())); };
    const QStringList names
        = QStringList {QStringLiteral("all"), QStringLiteral("nobody"), QString()}
        + Phone::activityNames;
    const QStringList destinations {
        QStringLiteral("file(\"/var/log/random.log\")"),
        QStringLiteral("file(\"/var/log/other \xfc;}.log\")"),
        QStringLiteral("pipe(\"/tmp/random.fifo\")"),
        QStringLiteral("program(\"/bin/cat >/dev/null\")"),
        QStringLiteral("unix-dgram(\"/tmp/nobody.socket\")"),
        QStringLiteral("unix-stream(\"/tmp/nobody.socket\")"),
        QStringLiteral("usertty(\"operator\")"),
        QStringLiteral("udp(\"127.0.0.2\" port(514))"),
        QStringLiteral("tcp   (\"127.0.0.2\" port   (514))"),
        QStringLiteral("V24"),
        QStringLiteral("init"),
        // The service takes these and syslog-ng does not.
        QStringLiteral("flash(\"x.log\")"),
        QStringLiteral("udp(\"127.0.0.2 port(514))"),
        QStringLiteral("file(\"a\"b\")"),
        // Nobody takes these.
        QStringLiteral("file(\"/tmp/(x)\")"),
        QStringLiteral("file(\"/tmp/x\")\n# END"),
        QStringLiteral("udp(\"fe80::1\" port(514))"),
        QStringLiteral("ram(\"x.log\")"),
        QStringLiteral("}; # END qvxsipua"),
        QString(),
    };
    const QStringList supports {QStringLiteral("ram"), QStringLiteral("flash"),
                                QStringLiteral("usertty"), QStringLiteral("udp")};
    const QStringList paths {QStringLiteral("a"), QStringLiteral("b.log"), QStringLiteral("../c"),
                             QStringLiteral("d(e)"), QString()};
    const QStringList protocols {QStringLiteral("udp"), QStringLiteral("tcp"),
                                 QStringLiteral("UDP")};
    const QStringList addresses {QStringLiteral("127.0.0.3"), QStringLiteral("localhost"),
                                 QStringLiteral("300.1.1.1")};
    const QStringList levels {QStringLiteral("emerg"), QStringLiteral("err"),
                              QStringLiteral("info"),  QStringLiteral("debug"),
                              QStringLiteral("init"),  QStringLiteral("loud")};
    for (int change = 0; change < changeCount; ++change) {
        QString method = QStringLiteral("redirect");
        QVariantList arguments {pick(names)};
        switch (random.bounded(5)) {
        case 0:
        case 1:
            arguments << pick(destinations);
            break;
        case 2:
            arguments << pick(supports) << pick(paths);
            break;
        case 3:
            arguments << pick(protocols) << pick(addresses) << random.bounded(-1, 70000);
            break;
        default:
            method = QStringLiteral("level");
            arguments << pick(levels);
        }
        QStringList words {QString::number(change), method};
        for (const QVariant &argument : arguments) {
            words.append(argument.toString());
        }
        const QByteArray step = words.join(QLatin1Char(' ')).toUtf8();
        const QDBusMessage reply = Phone::call(method, arguments);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, step.constData());
        QVERIFY2(Phone::syslogAccepts(Phone::liveConfig), step.constData());
        const QByteArray content = Phone::read(Phone::liveConfig);
        for (const Activity &activity : activities) {
            const QByteArray name = activity.name.toUtf8();
            QVERIFY2(content.count("\n# BEGIN " + name + '\n') == 1
                         && content.count("\n# END " + name + '\n') == 1
                         && content.count("\ndestination d_" + name + " {") == 1
                         && content.count("\nfilter f_" + name + " {") == 1,
                     step.constData());
        }
        QCOMPARE(content.count('\n'), m_original.count('\n'));
    }
    QCOMPARE(redirect(QStringLiteral("all"), QStringLiteral("init")),
             QStringLiteral("All facilities redirected to predefined values "));
    QCOMPARE(Phone::text(QStringLiteral("level"), {QStringLiteral("all"), QStringLiteral("init")}),
             QStringLiteral("All levels changed to err value "));
    QCOMPARE(Phone::read(Phone::liveConfig), m_original);
    QCOMPARE(missingAtHome(), QStringList());
}

void tst_EndToEnd::generatorKeepsEveryLine()
{
    const QByteArray rest = "# it's \"one\n"
                            "filter f_x { program(\"^destination d_x { file\"); };\n"
                            "log { destination { file(\"/tmp/in-line\"); }; };\n"
                            "destination d_c {\n    usertty(\"operator\"); # file(\"/tmp/c\")\n};\n"
                            "destination d_d { file('/tmp/d' persist_name(\"own\")); };\n"
                            "destination d_e { }; \t\n"
                            "# ISO 8859-1: \xfc";
    Phone::write(Phone::liveConfig,
                 "@version: 3.38\n"
                 "destination d_a { file(\"/tmp/;} \\\" #\"  ) ; }; # )\n"
                 "destination 'd_b' { udp   (\"127.0.0.1\" port (514)); unix_dgram('/tmp/\"'); };\n"
                 "destination other { tcp(\"127.0.0.1\"\n"
                 "    port(514)); };\n"
                     + rest);
    QProcess generator;
    generator.start(generatorProgram, QStringList());
    QVERIFY(generator.waitForFinished());
    QCOMPARE(generator.exitCode(), 0);
    QCOMPARE(generator.readAllStandardError(), QByteArray());
    QCOMPARE(generator.readAllStandardOutput(),
             "\n"
             "destination d_a { file(\"/tmp/;} \\\" #\"   persist-name(\"a file(\\\"/tmp/;} "
             "\\\\\\\" #\\\"  )\")) ; }; # )\n"
             "destination 'd_b' { udp   (\"127.0.0.1\" port (514) persist-name(\"b "
             "udp(\\\"127.0.0.1\\\" port (514))\")); unix_dgram('/tmp/\"' persist-name(\"b/2 "
             "unix_dgram('/tmp/\\\"')\")); };\n"
             "destination other { tcp(\"127.0.0.1\"\n"
             "    port(514) persist-name(\"destination other tcp(\\\"127.0.0.1\\\"    "
             "port(514))\")); };\n"
                 + rest + '\n');
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QVERIFY(Phone::syslogAccepts(mainConfig));
}

void tst_EndToEnd::startWithoutConfigurationTakesTheBackup()
{
    const auto generated = [] {
        QProcess generator;
        generator.start(generatorProgram, QStringList());
        return generator.waitForFinished() && generator.exitCode() == 0
            ? generator.readAllStandardOutput()
            : QByteArray("failed");
    };
    const QByteArray good = generated();
    QCOMPARE(good.count(" persist-name("), static_cast<int>(activities.size()));

    Phone::write(Phone::liveConfig, "");
    QCOMPARE(generated(), good);
    QVERIFY(QFile::remove(Phone::liveConfig));
    QCOMPARE(generated(), good);
    QVERIFY(Phone::syslogAccepts(mainConfig));
    QVERIFY(QFile::remove(Phone::backup));
    QCOMPARE(generated(), QByteArray());
    QVERIFY(Phone::syslogAccepts(mainConfig));
}

void tst_EndToEnd::reloadWithoutConfigurationChangesNothing()
{
    QVERIFY2(m_daemon->coldStart(), m_daemon->problem().constData());
    const std::unique_ptr<Place> collector
        = listenAs({QStringLiteral("127.0.0.2"), 5514, QStringLiteral("udp")});
    FilePlace home(predefinedFile(sip));
    redirect(sip.name, QStringLiteral("udp(\"127.0.0.2\" port(5514))"));
    QVERIFY(movesTo(*collector, home, sip));

    QVERIFY(QFile::remove(Phone::liveConfig));
    ::kill(Phone::read(Phone::pidFile).trimmed().toInt(), SIGHUP);
    QTRY_VERIFY_WITH_TIMEOUT(SyslogDaemon::output().contains("nothing changes"), deadline);
    QVERIFY(movesTo(*collector, home, sip));
}

void tst_EndToEnd::cleanupTestCase()
{
    m_service.reset();
    m_daemon.reset();
}

QTEST_GUILESS_MAIN(tst_EndToEnd)
#include "tst_endtoend.moc"
