// One process at a time runs a module, whoever starts a second one at whatever moment: the second
// one does nothing before it knows that it is the only one.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/phone.h"
#include "support/privatebus.h"
#include "support/probe.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCall>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString lockDirectory = QStringLiteral("/run/QVXApplication");
const QString probeLock = lockDirectory + QStringLiteral("/Probe.lock");
const QStringList asksInInitialize {QStringLiteral("Probe"), QStringLiteral("call:Silent")};
const QByteArray isTaken
    = "Probe: cannot own the bus name com.corvane.Quorvix.Probe: it is taken\n";

/// How many are connected to the phone's bus.
int connections()
{
    const QStringList names
        = QDBusConnection::systemBus().interface()->registeredServiceNames().value();
    return names.filter(QRegularExpression(QStringLiteral("^:"))).size();
}

/// The processes that run the program @p path.
QList<pid_t> processesOf(const QString &path)
{
    QList<pid_t> pids;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &name : names) {
        const QString link = QStringLiteral("/proc/") + name + QStringLiteral("/exe");
        if (name.toInt() > 0 && QFile::symLinkTarget(link) == path) {
            pids.append(name.toInt());
        }
    }
    return pids;
}

/// Takes the place of the settings service on a bus, and counts what it is asked.
class Settings : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    int questions = 0;

public Q_SLOTS:
    QString getSettingValue(const QString &name)
    {
        Q_UNUSED(name)
        ++questions;
        return QStringLiteral("UNDEFINED");
    }
};

} // namespace

class tst_OneInstance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void secondWaitsUntilTheFirstIsReady();
    void secondTakesOverWhenTheFirstDies();
    void secondThatWaitsStopsAtOnce();
    void lockIsTheProcessesOwn();
    void startsWithoutALock_data();
    void startsWithoutALock();
    void busAndInitStartAtTheSameTime();
};

void tst_OneInstance::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::stopBootedService();
}

void tst_OneInstance::init()
{
    QTRY_VERIFY(!Phone::isOnBus(QStringLiteral("com.corvane.Quorvix.Probe")));
}

void tst_OneInstance::secondWaitsUntilTheFirstIsReady()
{
    SilentModule silent(QStringLiteral("Silent"));
    Probe first(asksInInitialize);
    QVERIFY(silent.waitForCall());
    const int before = connections();
    Probe second(asksInInitialize);
    QTRY_COMPARE(connections(), before + 1);

    for (int call = 0; call < 2; ++call) {
        QVERIFY(silent.waitForCall());
        silent.answer(QStringLiteral("value"));
    }
    QVERIFY(first.waitForHook("presentation_loaded"));
    QCOMPARE(second.end(), 1);
    QCOMPARE(second.errors(), isTaken);
    QCOMPARE(second.output(), QByteArray());
    QCOMPARE(first.call(QStringLiteral("paths")).type(), QDBusMessage::ReplyMessage);
}

void tst_OneInstance::secondTakesOverWhenTheFirstDies()
{
    SilentModule silent(QStringLiteral("Silent"));
    Probe first(asksInInitialize);
    QVERIFY(silent.waitForCall());
    const int before = connections();
    Probe second;
    QTRY_COMPARE(connections(), before + 1);
    QCOMPARE(second.output(), QByteArray());

    first.signal(SIGKILL);
    QVERIFY(second.waitForHook("presentation_loaded object name\n"));
    QVERIFY(second.output().startsWith("check\n"));
    second.signal(SIGTERM);
    QCOMPARE(second.end(), 0);
    QCOMPARE(second.errors(), QByteArray());
}

void tst_OneInstance::secondThatWaitsStopsAtOnce()
{
    const SilentModule silent(QStringLiteral("Silent"));
    Probe first(asksInInitialize);
    QVERIFY(silent.waitForCall());
    const int before = connections();
    Probe second;
    QTRY_COMPARE(connections(), before + 1);
    second.signal(SIGTERM);
    QCOMPARE(second.end(), 0);
    QCOMPARE(second.output() + second.errors(), QByteArray());
}

void tst_OneInstance::lockIsTheProcessesOwn()
{
    Faults::removeAll(lockDirectory);
    const mode_t mask = umask(0077);
    Probe probe;
    umask(mask);
    QVERIFY(probe.waitForHook("presentation_loaded"));
    QCOMPARE(Faults::mode(lockDirectory), 0755);
    QCOMPARE(Faults::mode(probeLock), 0600);
    // No program that it starts goes on holding it.
    const QString directory = QStringLiteral("/proc/%1/").arg(probe.pid());
    int locks = 0;
    const QStringList descriptors
        = QDir(directory + QStringLiteral("fd")).entryList(QDir::System | QDir::Files);
    for (const QString &descriptor : descriptors) {
        if (QFile::symLinkTarget(directory + QStringLiteral("fd/") + descriptor) == probeLock) {
            ++locks;
            const QByteArray status
                = Phone::read(directory + QStringLiteral("fdinfo/") + descriptor);
            const int flags = status.mid(status.indexOf("flags:") + 6)
                                  .split('\n')
                                  .first()
                                  .trimmed()
                                  .toInt(nullptr, 8);
            QVERIFY((flags & O_CLOEXEC) != 0);
        }
    }
    QCOMPARE(locks, 1);
    // Nor is it let go before the end.
    const int other = open(QFile::encodeName(probeLock).constData(), O_RDWR | O_CLOEXEC);
    QCOMPARE(flock(other, LOCK_EX | LOCK_NB), -1);
    probe.signal(SIGTERM);
    QCOMPARE(probe.end(), 0);
    QCOMPARE(flock(other, LOCK_EX | LOCK_NB), 0);
    close(other);
}

void tst_OneInstance::startsWithoutALock_data()
{
    QTest::addColumn<QString>("obstacle");
    QTest::newRow("no directory") << QStringLiteral("file");
    QTest::newRow("a directory") << QStringLiteral("directory");
    QTest::newRow("a link") << QStringLiteral("link");
    QTest::newRow("a FIFO") << QStringLiteral("fifo");
    QTest::newRow("a file that others may open") << QStringLiteral("open");
    QTest::newRow("another user's file, locked") << QStringLiteral("foreign");
    QTest::newRow("another user's directory") << QStringLiteral("foreign directory");
    QTest::newRow("a directory that others may write") << QStringLiteral("open directory");
}

void tst_OneInstance::startsWithoutALock()
{
    QFETCH(QString, obstacle);
    const QByteArray path = QFile::encodeName(probeLock);
    Faults::removeAll(lockDirectory);
    if (obstacle == QLatin1String("file")) {
        Phone::write(lockDirectory, "");
    } else {
        QVERIFY(QDir().mkpath(lockDirectory));
    }
    int foreign = -1;
    if (obstacle == QLatin1String("directory")) {
        QVERIFY(QDir().mkpath(probeLock));
    } else if (obstacle == QLatin1String("link")) {
        QVERIFY(QFile::link(QStringLiteral("/run/phone/elsewhere"), probeLock));
    } else if (obstacle == QLatin1String("fifo")) {
        QCOMPARE(mkfifo(path.constData(), 0600), 0);
    } else if (obstacle == QLatin1String("open")) {
        Phone::write(probeLock, "");
        Faults::setMode(probeLock, 0644);
        foreign = open(path.constData(), O_RDONLY | O_CLOEXEC);
    } else if (obstacle == QLatin1String("foreign")) {
        if (qgetenv("PHONE_ROOTLESS") == "1") {
            return; // there is no other user
        }
        foreign = open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        QCOMPARE(fchown(foreign, 64902, 64902), 0);
    }
    if (obstacle == QLatin1String("foreign directory")) {
        if (qgetenv("PHONE_ROOTLESS") == "1") {
            return; // there is no other user
        }
        QCOMPARE(chown(QFile::encodeName(lockDirectory).constData(), 64902, 64902), 0);
    } else if (obstacle == QLatin1String("open directory")) {
        Faults::setMode(lockDirectory, 0777);
    }
    if (obstacle.endsWith(QLatin1String(" directory"))) {
        foreign = open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    }
    if (foreign >= 0) {
        QCOMPARE(flock(foreign, LOCK_EX | LOCK_NB), 0);
    }

    // Under the name of an activity, so that its log has a file.
    const QString log = QStringLiteral("/var/log/Platform.log");
    const QStringList words {QStringLiteral("Platform")};
    const QString lock = lockDirectory + QStringLiteral("/Platform.lock");
    if (obstacle != QLatin1String("file")) {
        QCOMPARE(rename(path.constData(), QFile::encodeName(lock).constData()), 0);
    }
    const QByteArray line = "]: No lock against a second process: " + lockDirectory.toUtf8();
    const int before = Phone::read(log).count(line);
    Probe first(words);
    QVERIFY(first.waitForHook("presentation_loaded object name\n"));
    QVERIFY(!QFile::exists(QStringLiteral("/run/phone/elsewhere")));
    QTRY_COMPARE(Phone::read(log).count(line), before + 1);
    Probe second(words);
    QCOMPARE(second.end(), 1);
    QCOMPARE(second.output(), QByteArray());
    QCOMPARE(second.errors(), QByteArray(isTaken).replace("Probe", "Platform"));
    first.signal(SIGTERM);
    QCOMPARE(first.end(), 0);
    if (foreign >= 0) {
        close(foreign);
    }
    Faults::removeAll(lockDirectory);
}

void tst_OneInstance::busAndInitStartAtTheSameTime()
{
    constexpr int runs = 25;
    constexpr int callers = 4;
    const QTemporaryDir services;
    Phone::write(services.filePath(QStringLiteral("LoggerModule.service")),
                 "[D-BUS Service]\nName=" + Phone::serviceName.toUtf8()
                     + "\nExec=" + Phone::serviceProgram.toUtf8() + "\nUser=root\n");
    const PrivateBus daemon("<servicedir>" + services.path().toUtf8()
                            + "</servicedir><policy context=\"default\"><allow user=\"*\"/>"
                              "<allow own=\"*\"/><allow send_destination=\"*\"/>"
                              "<allow receive_sender=\"*\"/></policy>");
    const QString connection = QStringLiteral("private");
    {
        QDBusConnection bus = QDBusConnection::connectToBus(daemon.address(), connection);
        Settings settings;
        QVERIFY(bus.registerObject(QStringLiteral("/com/corvane/Quorvix/SettingsManager"),
                                   &settings, QDBusConnection::ExportAllSlots));
        QVERIFY(bus.registerService(QStringLiteral("com.corvane.Quorvix.SettingsManager")));
        for (int run = 0; run < runs; ++run) {
            settings.questions = 0;
            QProcess byInit;
            byInit.setProcessEnvironment(daemon.environment());
            const auto start = [&] { byInit.start(Phone::serviceProgram, QStringList()); };
            if (run % 2 == 0) {
                start();
            }
            QList<QDBusPendingCall> calls;
            for (int caller = 0; caller < callers; ++caller) {
                calls.append(bus.asyncCall(QDBusMessage::createMethodCall(
                                               Phone::serviceName, Phone::servicePath,
                                               Phone::serviceInterface, QStringLiteral("level")),
                                           60000));
            }
            if (run % 2 != 0) {
                start();
            }
            for (const QDBusPendingCall &call : qAsConst(calls)) {
                QTRY_VERIFY_WITH_TIMEOUT(call.isFinished(), 60000);
                const QString answer = call.reply().arguments().value(0).toString();
                QVERIFY2(answer.startsWith(QStringLiteral("   ACTIVITY ")), qPrintable(answer));
            }
            // One of the two is left, and only that one has done anything.
            QTRY_COMPARE(processesOf(Phone::serviceProgram).size(), 1);
            const pid_t left = processesOf(Phone::serviceProgram).first();
            const bool isInits = left == byInit.processId();
            QCOMPARE(settings.questions, 4);
            QCOMPARE(::kill(left, SIGTERM), 0);
            QVERIFY(byInit.state() == QProcess::NotRunning || byInit.waitForFinished());
            QCOMPARE(byInit.exitCode(), isInits ? 0 : 1);
            QTRY_VERIFY(processesOf(Phone::serviceProgram).isEmpty());
        }
    }
    QDBusConnection::disconnectFromBus(connection);
}

QTEST_GUILESS_MAIN(tst_OneInstance)
#include "tst_oneinstance.moc"
