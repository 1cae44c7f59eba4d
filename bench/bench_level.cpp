// What a level change over D-Bus costs beside its unavoidable outside work: syslog-ng's syntax
// check through the shell, and kill -hup. Both are measured in turn, in one run.
// SPDX-License-Identifier: MIT
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int defaultRuns = 60;

/// The whole call. @return the time in milliseconds
double levelCall(const QString &level)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.Quorvix.LoggerModule"),
        QStringLiteral("/com/corvane/Quorvix/LoggerModule"),
        QStringLiteral("com.corvane.Quorvix.QVXInterface"), QStringLiteral("level"));
    call.setArguments({QStringLiteral("qvxsipua"), level});
    QElapsedTimer timer;
    timer.start();
    const QDBusMessage reply = QDBusConnection::systemBus().call(call, QDBus::Block, 60000);
    const double elapsed = double(timer.nsecsElapsed()) / 1e6;
    const QString answer = reply.arguments().value(0).toString();
    if (answer
        != QStringLiteral("Level ") + level + QStringLiteral(" for facility : qvxsipua OK")) {
        qFatal("the service answered: %s", qPrintable(answer));
    }
    return elapsed;
}

/// The outside work alone. @return the time in milliseconds
double outsideWork(const QByteArray &pid)
{
    QElapsedTimer timer;
    timer.start();
    const int status = std::system("/usr/sbin/syslog-ng -s -f "
                                   "/data/QVXApplication/LoggerModule/syslog/logappli.conf.tmp "
                                   "2>&1");
    QByteArray program("kill");
    QByteArray option("-hup");
    QByteArray argument(pid);
    char *arguments[] = {program.data(), option.data(), argument.data(), nullptr};
    pid_t child = 0;
    int killed = -1;
    if (posix_spawnp(&child, "kill", nullptr, nullptr, arguments, environ) == 0) {
        waitpid(child, &killed, 0);
    }
    const double elapsed = double(timer.nsecsElapsed()) / 1e6;
    if (status != 0 || killed != 0) {
        qFatal("the outside work failed");
    }
    return elapsed;
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    const int middle = values.size() / 2;
    return values.size() % 2 ? values.at(middle) : (values.at(middle - 1) + values.at(middle)) / 2;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : defaultRuns;
    QFile pidFile(QStringLiteral("/var/run/syslog-ng.pid"));
    if (!QFile::exists(QStringLiteral("/run/phone")) || !pidFile.open(QIODevice::ReadOnly)) {
        std::fputs("bench_level: runs in the phone in a box only: ./phone bench\n", stderr);
        return 2;
    }
    const QByteArray pid = pidFile.readAll().trimmed();

    QVector<double> calls;
    QVector<double> outside;
    levelCall(QStringLiteral("info")); // leaves the temporary file that outsideWork() checks
    for (int run = 0; run < runs; ++run) {
        calls.append(levelCall(run % 2 ? QStringLiteral("debug") : QStringLiteral("err")));
        outside.append(outsideWork(pid));
    }
    std::printf("level over D-Bus    %8.2f ms   (median of %d)\n", median(calls), runs);
    std::printf("its outside work    %8.2f ms   (median of %d)\n", median(outside), runs);
    std::printf("ratio               %8.2f\n", median(calls) / median(outside));
    return 0;
}
