// The running service when its surroundings are not as they should be: descriptors, signals, files
// that are none, a bus that goes away, many callers at once, a program that hangs.
// SPDX-License-Identifier: MIT
#include "support/activities.h"
#include "support/configtext.h"
#include "support/faults.h"
#include "support/heldcheck.h"
#include "support/phone.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <memory>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using ConfigText::withLevel;

constexpr int deadline = 30000; // ms
const QString outputFile = QStringLiteral("/run/phone/test-robustness.out");
const QString privateBus = QStringLiteral("unix:path=/run/phone/test-bus");
const QString activity = QStringLiteral("qvxsipua");

const QStringList &activities = Phone::activityNames;
const QStringList levelNames {QStringLiteral("emerg"),   QStringLiteral("err"),
                              QStringLiteral("warning"), QStringLiteral("notice"),
                              QStringLiteral("info"),    QStringLiteral("debug")};

/// The service, run through the shell so that it inherits something special.
class ShellService
{
public:
    /// @p line is a shell command line in which "SERVICE" stands for the program.
    explicit ShellService(QString line,
                          const QProcessEnvironment &environment
                          = QProcessEnvironment::systemEnvironment())
    {
        Phone::stopBootedService();
        line.replace(QStringLiteral("SERVICE"), Phone::serviceProgram);
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.setStandardOutputFile(outputFile);
        m_process.setWorkingDirectory(QStringLiteral("/run/phone"));
        m_process.start(QStringLiteral("sh"), {QStringLiteral("-c"), line});
    }
    ~ShellService()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }
    Q_DISABLE_COPY(ShellService)

    static bool waitForName()
    {
        return QTest::qWaitFor([] { return Phone::isOnBus(Phone::serviceName); }, deadline);
    }
    static QByteArray output() { return Phone::read(outputFile); }
    int waitForEnd()
    {
        const bool ended
            = m_process.state() == QProcess::NotRunning || m_process.waitForFinished(deadline);
        return ended && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }
    int stop()
    {
        m_process.terminate();
        return waitForEnd();
    }

private:
    QProcess m_process;
};

QDBusMessage levelCall(const QVariantList &arguments)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        Phone::serviceName, Phone::servicePath, Phone::serviceInterface, QStringLiteral("level"));
    message.setArguments(arguments);
    return message;
}

QString level(const QString &name, const QString &levelName)
{
    return Phone::text(QStringLiteral("level"), {name, levelName});
}

QString changed(const QString &name, const QString &levelName)
{
    return QStringLiteral("Level ") + levelName + QStringLiteral(" for facility : ") + name
        + QStringLiteral(" OK");
}

/// The level of the activity @p name as logappli.conf has it.
QString configuredLevel(const QString &name)
{
    const QString content = QString::fromUtf8(Phone::read(Phone::liveConfig));
    const int start
        = content.indexOf(QStringLiteral("level("),
                          content.indexOf(QStringLiteral("# BEGIN ") + name + QLatin1Char('\n')))
        + 6;
    return content.mid(start, content.indexOf(QStringLiteral(".."), start) - start);
}

/// What a process holds of the system.
struct Holdings
{
    int descriptors = 0;
    int threads = 0;
    QByteArray children; ///< the state letter of each child

    bool operator==(const Holdings &other) const
    {
        return descriptors == other.descriptors && threads == other.threads
            && children == other.children;
    }
};

Holdings holdingsOf(qint64 pid)
{
    const QString directory = QStringLiteral("/proc/") + QString::number(pid);
    Holdings holdings;
    holdings.descriptors = QDir(directory + QStringLiteral("/fd"))
                               .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                               .size();
    holdings.threads = QDir(directory + QStringLiteral("/task"))
                           .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                           .size();
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &name : names) {
        // pid (name) state parent ...
        const QByteArray status
            = Phone::read(QStringLiteral("/proc/") + name + QStringLiteral("/stat"));
        const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
        if (fields.value(1).toLongLong() == pid) {
            holdings.children += fields.value(0);
        }
    }
    return holdings;
}

} // namespace

/// One caller with a connection of its own, that makes its calls one after the other.
class Client : public QObject
{
    Q_OBJECT

public:
    Client(int number, QList<QVariantList> calls)
        : m_name(QStringLiteral("client %1").arg(number)),
          m_bus(QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_name)),
          m_calls(std::move(calls))
    {
    }
    ~Client() override { QDBusConnection::disconnectFromBus(m_name); }
    Q_DISABLE_COPY(Client)

    void callNext()
    {
        auto *watcher = new QDBusPendingCallWatcher(
            m_bus.asyncCall(levelCall(m_calls.at(answers.size())), 150000), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            const QDBusMessage reply = watcher->reply();
            answers.append(reply.type() == QDBusMessage::ReplyMessage
                               ? reply.arguments().value(0).toString()
                               : reply.errorName());
            watcher->deleteLater();
            if (!isDone()) {
                callNext();
            }
        });
    }
    bool isDone() const { return answers.size() == m_calls.size(); }
    const QList<QVariantList> &calls() const { return m_calls; }

    QStringList answers;

private:
    QString m_name;
    QDBusConnection m_bus;
    QList<QVariantList> m_calls;
};

class tst_Robustness : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void standardDescriptorsClosed_data();
    void standardDescriptorsClosed();
    void childSignalIgnored();
    void notARegularFile_data();
    void notARegularFile();
    void interruptDuringTheSyntaxCheck();
    void busGoesAway();
    void manyCallersAtOnce();
    void hangingKillIsEnded();
};

void tst_Robustness::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
}

void tst_Robustness::init()
{
    Phone::resetConfiguration();
}

void tst_Robustness::cleanup()
{
    QVERIFY(!Phone::isOnBus(Phone::serviceName));
}

void tst_Robustness::standardDescriptorsClosed_data()
{
    QTest::addColumn<QString>("redirections");
    for (int closed = 0; closed < 8; ++closed) {
        QString redirections;
        redirections += (closed & 1) != 0 ? QStringLiteral(" <&-") : QString();
        redirections += (closed & 2) != 0 ? QStringLiteral(" >&-") : QString();
        redirections += (closed & 4) != 0 ? QStringLiteral(" 2>&-") : QString();
        QTest::addRow("closed:%s", redirections.isEmpty() ? " none" : qPrintable(redirections))
            << redirections;
    }
}

void tst_Robustness::standardDescriptorsClosed()
{
    QFETCH(QString, redirections);
    const QByteArray before = Phone::read(Phone::liveConfig);
    const QByteArray facilityBefore = Phone::read(Phone::facilityFile(activity));
    ShellService service(QStringLiteral("exec SERVICE") + redirections);
    QVERIFY2(service.waitForName(), service.output().constData());

    QCOMPARE(level(activity, QStringLiteral("debug")), changed(activity, QStringLiteral("debug")));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, activity, "debug"));
    QCOMPARE(Phone::read(Phone::facilityFile(activity)),
             QByteArray(facilityBefore).replace(0, 1, "7"));

    // With programs that write something: a check that fails, and the set-up script.
    Phone::write(Phone::liveConfig, before + "this is no syslog-ng statement\n");
    QCOMPARE(level(activity, QStringLiteral("info")),
             QStringLiteral("file configuration access error"));
    QCOMPARE(Phone::read(Phone::liveConfig), Phone::read(Phone::backup));
    Phone::write(Phone::facilityFile(activity), "not valid\n");
    const QString repaired = level(activity, QStringLiteral("info"));
    QVERIFY2(!repaired.startsWith(QStringLiteral("D-Bus error")), qPrintable(repaired));
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QCOMPARE(Phone::read(Phone::backup), before);
    QCOMPARE(service.stop(), 0);
}

void tst_Robustness::childSignalIgnored()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    ShellService service(QStringLiteral("trap '' CHLD; exec SERVICE"));
    QVERIFY2(service.waitForName(), service.output().constData());
    QCOMPARE(level(activity, QStringLiteral("debug")), changed(activity, QStringLiteral("debug")));
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, activity, "debug"));
    QCOMPARE(level(QStringLiteral("all"), QStringLiteral("init")),
             QStringLiteral("All levels changed to err value "));
    QCOMPARE(Phone::read(Phone::liveConfig), before);

    // A check that refuses is not taken for one that could not be waited for, or the other way.
    Phone::write(Phone::liveConfig, before + "this is no syslog-ng statement\n");
    QCOMPARE(level(activity, QStringLiteral("info")),
             QStringLiteral("file configuration access error"));
    QCOMPARE(Phone::read(Phone::liveConfig), before);
    QCOMPARE(service.stop(), 0);
}

void tst_Robustness::notARegularFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isFifo");
    const auto rows = [](const char *name, const QString &path) {
        QTest::addRow("%s is a FIFO", name) << path << true;
        QTest::addRow("%s is a directory", name) << path << false;
    };
    rows("pid file", Phone::pidFile);
    rows("live file", Phone::liveConfig);
    rows("backup", Phone::backup);
    rows("temporary file", Phone::temporary);
    rows("file in /tmp", QStringLiteral("/tmp/logappli.conf.tmp"));
    rows("facility file", Phone::facilityFile(activity));
}

void tst_Robustness::notARegularFile()
{
    QFETCH(QString, path);
    QFETCH(bool, isFifo);
    const QByteArray saved = Phone::read(path);
    {
        Phone::Service service;
        const QList<QVariantList> calls {
            {},
            {activity, QStringLiteral("debug")},
            {QStringLiteral("all"), QStringLiteral("info")},
            {QStringLiteral("all"), QStringLiteral("restore")},
            {activity, QStringLiteral("err")},
        };
        for (const QVariantList &arguments : calls) {
            // A call may have put something in order: each meets the same.
            Faults::removeAll(path);
            if (isFifo) {
                QCOMPARE(mkfifo(QFile::encodeName(path).constData(), 0644), 0);
            } else {
                Faults::makeDirectory(path);
            }
            const QDBusMessage reply
                = QDBusConnection::systemBus().call(levelCall(arguments), QDBus::Block, deadline);
            if (reply.type() != QDBusMessage::ReplyMessage) {
                // Lets a service go that waits for the other end of the FIFO.
                ::kill(static_cast<pid_t>(service.pid()), SIGKILL);
                service.waitForEnd();
            }
            QCOMPARE(reply.errorName(), QString());
            QVERIFY(!reply.arguments().value(0).toString().isEmpty());
        }
        QCOMPARE(service.stop(), 0);
    }
    Faults::removeAll(path);
    const QString aside = path + QStringLiteral(".bad");
    for (QString bad = aside; QFile::exists(bad);) {
        Faults::removeAll(bad);
        for (int number = 1; number < 10 && !QFile::exists(bad); ++number) {
            bad = aside + QLatin1Char('.') + QString::number(number);
        }
    }
    if (path == Phone::pidFile) {
        Phone::write(path, saved);
    }
}

void tst_Robustness::interruptDuringTheSyntaxCheck()
{
    const QByteArray before = Phone::read(Phone::liveConfig);
    {
        Phone::Service service;
        HeldCheck check;
        QDBusConnection::systemBus().send(levelCall({activity, QStringLiteral("debug")}));
        QVERIFY(check.waitForStart());
        ::kill(static_cast<pid_t>(service.pid()), SIGINT);
        QCOMPARE(Phone::read(Phone::liveConfig), before);
        check.release();
        QCOMPARE(service.waitForEnd(), 0);
    }
    // The change that was under way is finished first.
    QCOMPARE(Phone::read(Phone::liveConfig), withLevel(before, activity, "debug"));
    QVERIFY(Phone::read(Phone::facilityFile(activity)).startsWith("7\n"));
}

void tst_Robustness::busGoesAway()
{
    const QString config = QStringLiteral("/run/phone/test-bus.conf");
    Phone::write(config,
                 "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-BUS Bus Configuration "
                 "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                 "<busconfig><type>system</type><listen>"
                     + privateBus.toUtf8()
                     + "</listen><policy context=\"default\"><allow user=\"*\"/>"
                       "<allow own=\"*\"/><allow send_destination=\"*\"/>"
                       "<allow receive_sender=\"*\"/></policy></busconfig>\n");
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                  QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")});
    QVERIFY(daemon.waitForReadyRead(deadline));
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), privateBus);
        ShellService service(QStringLiteral("exec SERVICE"), environment);
        const QString name = QStringLiteral("private");
        QVERIFY(QTest::qWaitFor(
            [&name] {
                const QDBusConnection bus = QDBusConnection::connectToBus(privateBus, name);
                return bus.isConnected()
                    && bus.interface()->isServiceRegistered(Phone::serviceName);
            },
            deadline));
        QDBusConnection::disconnectFromBus(name);

        daemon.kill();
        QVERIFY(daemon.waitForFinished());
        QCOMPARE(service.waitForEnd(), 1);
        QCOMPARE(service.output(), QByteArray("LoggerModule: the system bus is gone\n"));
    }
    QFile::remove(config);
    QFile::remove(QStringLiteral("/run/phone/test-bus"));
}

void tst_Robustness::manyCallersAtOnce()
{
    constexpr int clientCount = 20;
    constexpr int callCount = 10;
    const QByteArray before = Phone::read(Phone::backup);
    Phone::Service service;
    // Whatever is made at the first use only is there from now on.
    level(QStringLiteral("all"), QStringLiteral("info"));
    Phone::write(Phone::facilityFile(activity), "not valid\n");
    level(activity, QStringLiteral("info"));
    Phone::resetConfiguration();
    QTRY_COMPARE(holdingsOf(service.pid()).children, QByteArray());
    const Holdings holdings = holdingsOf(service.pid());

    std::vector<std::unique_ptr<Client>> clients;
    for (int number = 0; number < clientCount; ++number) {
        QList<QVariantList> calls;
        for (int call = 0; call < callCount; ++call) {
            const int mix = number * 7 + call * 3;
            const QString name = activities.at((number + call) % activities.size());
            const QString levelName = levelNames.at(mix % levelNames.size());
            switch (mix % 10) {
            case 0:
                calls.append(QVariantList {});
                break;
            case 1:
                calls.append({QStringLiteral("all"), levelName});
                break;
            case 2:
                calls.append({QStringLiteral("all"), QStringLiteral("init")});
                break;
            case 3:
                calls.append({name, QStringLiteral("loud")});
                break;
            default:
                calls.append({name, levelName});
            }
        }
        clients.push_back(std::make_unique<Client>(number, calls));
    }
    for (const auto &client : clients) {
        client->callNext();
    }
    QTRY_VERIFY_WITH_TIMEOUT(
        std::all_of(clients.begin(), clients.end(),
                    [](const std::unique_ptr<Client> &client) { return client->isDone(); }),
        150000);

    for (const auto &client : clients) {
        for (int call = 0; call < callCount; ++call) {
            const QVariantList arguments = client->calls().at(call);
            const QString name = arguments.value(0).toString();
            const QString levelName = arguments.value(1).toString();
            const QString answer = client->answers.at(call);
            if (arguments.isEmpty()) {
                QVERIFY2(answer.startsWith(QStringLiteral("   ACTIVITY ")), qPrintable(answer));
                QCOMPARE(answer.count(QLatin1Char('\n')), activities.size() + 1);
            } else if (levelName == QLatin1String("loud")) {
                QCOMPARE(answer, QStringLiteral("[level] level not valid: loud"));
            } else if (name == QLatin1String("all")) {
                QCOMPARE(
                    answer,
                    QStringLiteral("All levels changed to ")
                        + (levelName == QLatin1String("init") ? QStringLiteral("err") : levelName)
                        + QStringLiteral(" value "));
            } else {
                QCOMPARE(answer, changed(name, levelName));
            }
        }
    }
    clients.clear();

    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
    QCOMPARE(Phone::read(Phone::backup), before);
    QByteArray expected = before;
    const QList<QByteArray> numbers {"0", "3", "4", "5", "6", "7"};
    for (const QString &name : activities) {
        const QString levelName = configuredLevel(name);
        QVERIFY2(levelNames.contains(levelName), qPrintable(levelName));
        expected = withLevel(expected, name, levelName.toUtf8());
        const QList<QByteArray> lines = Phone::read(Phone::facilityFile(name)).split('\n');
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines.first(), numbers.at(levelNames.indexOf(levelName)));
        QCOMPARE(lines.at(3), QByteArray("facility signature field"));
    }
    QCOMPARE(Phone::read(Phone::liveConfig), expected);

    Holdings now;
    const bool asBefore = QTest::qWaitFor(
        [&] {
            now = holdingsOf(service.pid());
            return now == holdings;
        },
        deadline);
    QVERIFY2(asBefore,
             qPrintable(QStringLiteral("%1 descriptors instead of %2, %3 threads instead of %4, "
                                       "children: %5")
                            .arg(now.descriptors)
                            .arg(holdings.descriptors)
                            .arg(now.threads)
                            .arg(holdings.threads)
                            .arg(QString::fromLatin1(now.children))));
    QCOMPARE(service.stop(), 0);
}

void tst_Robustness::hangingKillIsEnded()
{
    const QString fakes = QStringLiteral("/run/phone/fakes");
    const QString pidOfFake = QStringLiteral("/run/phone/kill.pid");
    QVERIFY(QDir().mkpath(fakes));
    Phone::write(fakes + QStringLiteral("/kill"),
                 "#!/bin/sh\n"
                 "trap '' TERM HUP INT\n"
                 "echo $$ >/run/phone/kill.tmp && mv /run/phone/kill.tmp /run/phone/kill.pid\n"
                 "exec sleep infinity\n");
    Faults::setMode(fakes + QStringLiteral("/kill"), 0755);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       fakes + QLatin1Char(':') + environment.value(QStringLiteral("PATH")));
    {
        Phone::Service service(environment);
        QElapsedTimer clock;
        clock.start();
        const QString answer = level(activity, QStringLiteral("debug"));
        const qint64 time = clock.elapsed();
        const auto pid = static_cast<pid_t>(Phone::read(pidOfFake).trimmed().toInt());
        QVERIFY(pid > 0);
        const bool isGone = ::kill(pid, 0) != 0;
        if (!isGone) {
            ::kill(pid, SIGKILL);
        }
        QVERIFY(isGone);
        QCOMPARE(answer, changed(activity, QStringLiteral("debug")));
        QVERIFY2(time >= 29000 && time < 45000, QByteArray::number(time).constData());
        QCOMPARE(holdingsOf(service.pid()).children, QByteArray());
        QCOMPARE(service.stop(), 0);
    }
    QVERIFY(QDir(fakes).removeRecursively());
    QFile::remove(pidOfFake);
}

QTEST_GUILESS_MAIN(tst_Robustness)
#include "tst_robustness.moc"
