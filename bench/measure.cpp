// Calls, times and figures of the benchmarks.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QMap>
#include <QStorageInfo>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int callTimeout = 300000; // ms
const QString loggerModule = QStringLiteral("LoggerModule");
const QString bootedPidFile = QStringLiteral("/run/phone/LoggerModule.pid");
const QString syslogPidFile = QStringLiteral("/var/run/syslog-ng.pid");

QString busName(const QString &module)
{
    return QStringLiteral("com.corvane.Quorvix.") + module;
}

/// Waits until the module has, or has not, its name on the bus.
void waitForName(const QString &module, bool owned)
{
    const QString name = busName(module);
    QDBusServiceWatcher watcher(name, QDBusConnection::systemBus(),
                                QDBusServiceWatcher::WatchForOwnerChange);
    QEventLoop loop;
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceOwnerChanged, &loop,
                     [&](const QString &, const QString &, const QString &owner) {
                         if (owner.isEmpty() != owned) {
                             loop.quit();
                         }
                     });
    if (QDBusConnection::systemBus().interface()->isServiceRegistered(name) != owned) {
        loop.exec();
    }
}

void sync(const QString &path)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    // A file system without a disk has nothing to sync (EINVAL).
    if (descriptor < 0 || (fsync(descriptor) != 0 && errno != EINVAL)) {
        qFatal("cannot sync %s", qPrintable(path));
    }
    close(descriptor);
}

void endBootedService()
{
    const int pid
        = QFile::exists(bootedPidFile) ? Measure::readFile(bootedPidFile).trimmed().toInt() : 0;
    if (pid > 0) {
        QFile::remove(bootedPidFile); // whoever removes it looks after the service from now on
        ::kill(pid, SIGTERM);
        waitForName(loggerModule, false);
    }
}

} // namespace

namespace Measure {

int begin(int argc, char **argv, int defaultRuns)
{
    if (qEnvironmentVariable("PHONE_INSIDE") != QLatin1String("1")) {
        std::fprintf(stderr, "%s: runs in the phone in a box only: ./phone bench\n", argv[0]);
        std::exit(2); // NOLINT(concurrency-mt-unsafe)
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    return argc > 1 ? std::max(1, std::atoi(argv[1])) : defaultRuns;
}

QVariant call(const QString &method, const QVariantList &arguments, const QString &interface)
{
    return callModule(loggerModule, method, arguments, interface);
}

QVariant callModule(const QString &module, const QString &method, const QVariantList &arguments,
                    const QString &interface)
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        busName(module), QStringLiteral("/com/corvane/Quorvix/") + module, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply
        = QDBusConnection::systemBus().call(message, QDBus::Block, callTimeout);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qFatal("%s: %s", qPrintable(method), qPrintable(reply.errorMessage()));
    }
    return reply.arguments().value(0);
}

void expect(const QString &expected, const QString &method, const QVariantList &arguments)
{
    const QString answer = call(method, arguments).toString();
    if (answer != expected) {
        qFatal("%s answered: %s", qPrintable(method), qPrintable(answer.left(200)));
    }
}

double time(const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    const int middle = values.size() / 2;
    return values.size() % 2 ? values.at(middle) : (values.at(middle - 1) + values.at(middle)) / 2;
}

void print(const char *what, double milliseconds, int runs)
{
    std::printf("  %-50s %10.3f ms  (median of %d)\n", what, milliseconds, runs);
}

void printRatio(const char *what, double ratio, const char *aim, bool reached)
{
    std::printf("  %-50s %10.3f     aim %s%s\n", what, ratio, aim, reached ? "" : "  NOT REACHED");
}

void printRatio(const char *what, double ratio, double aim)
{
    const QByteArray text = "at most " + QByteArray::number(aim);
    printRatio(what, ratio, text.constData(), ratio <= aim);
}

void run(const QString &program, const QStringList &arguments)
{
    QVector<QByteArray> words {program.toLocal8Bit()};
    for (const QString &argument : arguments) {
        words.append(argument.toLocal8Bit());
    }
    QVector<char *> pointers;
    for (QByteArray &word : words) {
        pointers.append(word.data());
    }
    pointers.append(nullptr);
    pid_t child = 0;
    int status = -1;
    if (posix_spawnp(&child, words.at(0).constData(), nullptr, nullptr, pointers.data(), environ)
        == 0) {
        waitpid(child, &status, 0);
    }
    if (status != 0) {
        qFatal("%s failed", words.at(0).constData());
    }
}

void outsideWork()
{
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): the shell is part of the work
    if (std::system("/usr/sbin/syslog-ng -s -f "
                    "/data/QVXApplication/LoggerModule/syslog/logappli.conf.tmp 2>&1")
        != 0) {
        qFatal("the syntax check failed");
    }
    run(QStringLiteral("kill"),
        {QStringLiteral("-hup"), QString::fromLatin1(readFile(syslogPidFile)).trimmed()});
}

void syncedWork(int count)
{
    const QString directory = configurationDirectory + QStringLiteral("bench/");
    const QString facilities = directory + QStringLiteral("facility/");
    QDir().mkpath(facilities);
    QMap<QString, QByteArray> files {
        {directory + QStringLiteral("logappli.conf"),
         readFile(configurationDirectory + QStringLiteral("sip/logappli.conf"))}};
    for (int file = 0; file < count; ++file) {
        files.insert(facilities + QString::number(file),
                     "3\n19\nfile(\"/var/log/qvxsipua.log\")\nfacility signature field\n");
    }
    const QString suffix = QStringLiteral(".new");
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        writeFile(file.key() + suffix, file.value());
    }
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        sync(file.key() + suffix);
    }
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        if (std::rename(QFile::encodeName(file.key() + suffix).constData(),
                        QFile::encodeName(file.key()).constData())
            != 0) {
            qFatal("cannot rename %s", qPrintable(file.key()));
        }
    }
    sync(directory);
    sync(facilities);
}

QByteArray fileSystem(const QString &path)
{
    return QStorageInfo(path).fileSystemType();
}

qint64 flushes(const QString &path)
{
    constexpr int flushField = 18; // behind the device's two numbers, its name and 15 others
    struct stat status = {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0) {
        qFatal("cannot read %s", qPrintable(path));
    }
    const QList<QByteArray> lines = readFile(QStringLiteral("/proc/diskstats")).split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.simplified().split(' ');
        if (fields.size() > flushField && fields.at(0).toUInt() == major(status.st_dev)
            && fields.at(1).toUInt() == minor(status.st_dev)) {
            return fields.at(flushField).toLongLong();
        }
    }
    return 0;
}

void waitForIdleSyslog()
{
    const QString tasks = QStringLiteral("/proc/%1/task/")
                              .arg(QString::fromLatin1(readFile(syslogPidFile)).trimmed());
    const auto runTime = [&tasks] {
        qint64 nanoseconds = 0;
        const QStringList threads = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString &thread : threads) {
            QFile file(tasks + thread + QStringLiteral("/schedstat"));
            if (file.open(QIODevice::ReadOnly)) { // else the thread has ended meanwhile
                nanoseconds += file.readAll().split(' ').first().toLongLong();
            }
        }
        return nanoseconds;
    };
    constexpr int idleLooks = 4;
    constexpr useconds_t pause = 5000;
    qint64 last = runTime();
    for (int idle = 0; idle < idleLooks; ++idle) {
        usleep(pause);
        const qint64 now = runTime();
        if (now != last) {
            idle = -1;
        }
        last = now;
    }
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("cannot read %s", qPrintable(path));
    }
    return file.readAll();
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()
        || !file.flush()) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

Service::Service(const QString &program, const QStringList &arguments, const QString &module)
    : m_module(module)
{
    endBootedService();
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_startTime = time([&] {
        m_process.start(program, arguments);
        waitForName(module, true);
    });
}

Service::~Service()
{
    m_process.terminate();
    if (!m_process.waitForFinished() || m_process.exitCode() != 0) {
        qFatal("%s did not end well", qPrintable(m_process.program()));
    }
    waitForName(m_module, false); // else the next one seems to be there already
}

Memory Service::privateMemory() const
{
    Memory memory;
    const QList<QByteArray> lines
        = readFile(QStringLiteral("/proc/%1/smaps_rollup").arg(m_process.processId())).split('\n');
    for (const QByteArray &line : lines) {
        const double size = line.simplified().split(' ').value(1).toDouble();
        if (line.startsWith("Private_Clean:") || line.startsWith("Private_Dirty:")) {
            memory.all += size;
        }
        if (line.startsWith("Private_Dirty:")) {
            memory.written += size;
        }
    }
    return memory;
}

} // namespace Measure
