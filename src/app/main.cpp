// Process entry of the service.
// SPDX-License-Identifier: MIT
#include "configurationorder.h"
#include "loggermodule.h"

#include <QVX/qvxapplication.h>

#include <QSemaphore>
#include <QTextCodec>
#include <QThreadPool>

#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <thread>

namespace {

constexpr int threadTimeout = 10000; // ms

[[noreturn]] void endWithoutThread(const char *reason)
{
    static_cast<void>(
        std::fprintf(stderr, "LoggerModule: no thread for background jobs: %s\n", reason));
    // The pool's destructor waits for a thread that it believes to have.
    std::_Exit(EXIT_FAILURE);
}

/// Makes the thread of the background jobs, which stays as long as the process: later there may be
/// no room for one, and the pool would lose a job without a word. One is enough, because jobs have
/// their turns one after the other. When it cannot be made, the process ends.
void makeJobThread()
{
    // The pool would not tell either. What this one had is there for the pool's then.
    try {
        std::thread([] {}).join();
    } catch (const std::system_error &error) {
        endWithoutThread(error.code().message().c_str());
    }
    static auto *const runs = new QSemaphore;
    QThreadPool *pool = QThreadPool::globalInstance();
    pool->setMaxThreadCount(1);
    pool->setExpiryTimeout(-1);
    pool->start([] { runs->release(); });
    if (!runs->tryAcquire(1, threadTimeout)) {
        endWithoutThread("it does not run");
    }
}

} // namespace

int main(int argc, char *argv[])
{
    QVXApplication application(argc, argv);
    QCoreApplication::setApplicationName(
        QStringLiteral("%1").arg(QLatin1String("LoggerModule"), 0, QLatin1Char(' ')));
    // File names and command lines mean the same bytes whatever locale init has left us.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));

    makeJobThread();
    LoggerModule::instance();
    const int exitCode = QVXApplication::exec();

    // A job on the pool works with the module, so the module outlives it.
    QThreadPool::globalInstance()->waitForDone();
    const ConfigurationOrder::Turn afterAllJobs;
    delete LoggerModule::instance();
    return exitCode;
}
