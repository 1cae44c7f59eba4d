// Talks to the booted phone over its bus, its files and its processes.
// SPDX-License-Identifier: MIT
#include "phone.h"

#include "files.h"
#include "processes.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <csignal>

namespace Phone {

namespace {

constexpr int callTimeout = 60000; // ms
const QString serviceOutputFile = QStringLiteral("/run/phone/test-service.out");

void run(const QString &program, const QStringList &arguments)
{
    if (QProcess::execute(program, arguments) != 0) {
        qFatal("%s %s failed", qPrintable(program), qPrintable(arguments.join(QLatin1Char(' '))));
    }
}

QDBusMessage callMessage(const QString &method, const QVariantList &arguments)
{
    QDBusMessage message
        = QDBusMessage::createMethodCall(serviceName, servicePath, serviceInterface, method);
    message.setArguments(arguments);
    return message;
}

QString textOf(const QDBusMessage &reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage) {
        return QStringLiteral("D-Bus error: ") + reply.errorName();
    }
    return reply.arguments().value(0).toString();
}

} // namespace

QString testsFile(const QString &name)
{
    return QStringLiteral(TESTS_DIR "/") + name;
}

QString probeProgram()
{
    return QStringLiteral(PROBE_PROGRAM);
}

bool isBox()
{
    return QFile::exists(QStringLiteral("/run/phone")) && QFile::exists(facilityDirectory);
}

QDBusMessage call(const QString &method, const QVariantList &arguments)
{
    return QDBusConnection::systemBus().call(callMessage(method, arguments), QDBus::Block,
                                             callTimeout);
}

QDBusPendingCall send(const QString &method, const QVariantList &arguments)
{
    return QDBusConnection::systemBus().asyncCall(callMessage(method, arguments), callTimeout);
}

QString text(const QString &method, const QVariantList &arguments)
{
    return textOf(call(method, arguments));
}

QString text(QDBusPendingCall call)
{
    call.waitForFinished();
    return textOf(call.reply());
}

QString facilityFile(const QString &facility)
{
    return facilityDirectory + facility + QStringLiteral(".conf");
}

QByteArray read(const QString &path)
{
    return readFile(path);
}

void write(const QString &path, const QByteArray &content)
{
    writeFile(path, content);
}

void resetConfiguration()
{
    QFile::remove(liveConfig);
    QFile::remove(backup);
    QFile::remove(temporary);
    QDir facilities(facilityDirectory);
    const QStringList names = facilities.entryList(QDir::Files | QDir::System | QDir::Hidden);
    for (const QString &name : names) {
        facilities.remove(name);
    }
    run(setUpScript, {QStringLiteral("start")});
    run(QStringLiteral("kill"),
        {QStringLiteral("-HUP"), QString::fromLatin1(read(pidFile)).trimmed()});
}

bool syslogAccepts(const QString &path)
{
    return QProcess::execute(QStringLiteral("/usr/sbin/syslog-ng"),
                             {QStringLiteral("-s"), QStringLiteral("-f"), path})
        == 0;
}

void logMessage(const QString &activity, const QString &facility, const QString &severity,
                const QString &message)
{
    run(QStringLiteral("logger"),
        {QStringLiteral("-t"), activity, QStringLiteral("-p"),
         facility + QLatin1Char('.') + severity, QStringLiteral("--"), message});
}

bool waitForContent(const QString &path, const QByteArray &part, int timeout)
{
    return QTest::qWaitFor([&] { return read(path).contains(part); }, timeout);
}

Service::Service(const QProcessEnvironment &environment, bool waitForName, const QString &program)
    : m_process(std::make_unique<QProcess>())
{
    stopBootedService();
    m_process->setProcessEnvironment(environment);
    // A file and not a pipe: nobody reads while the test waits for an answer.
    m_process->setProcessChannelMode(QProcess::MergedChannels);
    m_process->setStandardOutputFile(serviceOutputFile);
    m_process->setWorkingDirectory(QStringLiteral("/run/phone"));
    m_process->start(program, QStringList());
    if (!m_process->waitForStarted()) {
        qFatal("cannot start the service");
    }
    if (waitForName && !QTest::qWaitFor([] { return isOnBus(serviceName); }, 20000)) {
        qFatal("the service did not reach the bus: %s", output().constData());
    }
}

Service::~Service()
{
    if (m_process->state() == QProcess::NotRunning) {
        return;
    }
    const int status = stop();
    if (status != 0) {
        m_process->kill();
        m_process->waitForFinished();
        qFatal("the service ended with status %d: %s", status, output().constData());
    }
}

qint64 Service::pid() const
{
    return m_process->processId();
}

QByteArray Service::output() const
{
    return read(serviceOutputFile);
}

int Service::stop()
{
    m_process->terminate();
    return waitForEnd();
}

int Service::waitForEnd(int timeout)
{
    if (m_process->state() != QProcess::NotRunning && !m_process->waitForFinished(timeout)) {
        return -1;
    }
    return m_process->exitStatus() == QProcess::NormalExit ? m_process->exitCode() : -1;
}

QProcessEnvironment environmentForExceptions()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    return environment;
}

bool isOnBus(const QString &name)
{
    return QDBusConnection::systemBus().interface()->isServiceRegistered(name);
}

void stopBooted(const QString &name)
{
    const QString record = QStringLiteral("/run/phone/%1.pid").arg(name);
    const int pid = read(record).trimmed().toInt();
    if (pid <= 0) {
        return;
    }
    // Whoever removes this file looks after the program from now on.
    QFile::remove(record);
    ::kill(pid, SIGTERM);
    const bool hasEnded = QTest::qWaitFor(
        [&] {
            return !Processes::runs(pid) && !isOnBus(QStringLiteral("com.corvane.Quorvix.") + name);
        },
        20000);
    if (!hasEnded) {
        qFatal("%s does not end", qPrintable(name));
    }
}

void stopBootedService()
{
    stopBooted(QStringLiteral("LoggerModule"));
}

} // namespace Phone
