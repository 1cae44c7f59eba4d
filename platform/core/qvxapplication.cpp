// Starts and stops the modules of the process.
// SPDX-License-Identifier: MIT
#include <QVX/qvxapplication.h>

#include "stopsignals.h"

#include <QVX/qvxexception.h>
#include <QVX/qvxlogger.h>
#include <QVX/qvxmodule.h>

#include <QDBusConnection>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int lockInterval = 50; // ms between two looks whether another process has ended

/// Puts right what a careless parent may have left us with, before anything else is opened: closed
/// standard streams, whose numbers the first sockets would get, and ignored ends of children, with
/// which no exit status could be waited for. @return @p argc
int &sanitizeProcess(int &argc)
{
    // open(2) gives the lowest free number.
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    close(descriptor);
    static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
    return argc;
}

/// The one line on standard error that says why a module does not run.
void report(const QVXModule *module, const QString &problem)
{
    static_cast<void>(std::fprintf(stderr, "%s: %s\n", qUtf8Printable(module->objectName()),
                                   qUtf8Printable(problem)));
}

} // namespace

QVXApplication::QVXApplication(int &argc, char **argv)
    : QCoreApplication(sanitizeProcess(argc), argv), m_stopSignals(std::make_unique<StopSignals>())
{
    connect(m_stopSignals.get(), &StopSignals::stopRequested, this, [this] { shutDown(0); });
}

QVXApplication::~QVXApplication() = default;

qint64 QVXApplication::elapsedSinceStopRequest()
{
    return StopSignals::elapsedSinceRequest();
}

bool QVXApplication::notify(QObject *receiver, QEvent *event)
{
    // All that is queued has its turn before the event loop looks at the stop signals. A call that
    // is dropped here is answered with an error by the bus library, as its object is gone.
    if (event->type() == QEvent::MetaCall && StopSignals::isRequested()
        && receiver->thread() == thread() && qobject_cast<QVXModule *>(receiver)) {
        return true;
    }
    try {
        return QCoreApplication::notify(receiver, event);
    } catch (QVXException *exception) { // NOLINT(*-err09-cpp,*-err61-cpp,misc-throw-by-value-*)
        const std::unique_ptr<QVXException> owner(exception);
        logger(QString()).error(QStringLiteral("QVXException of ") + exception->moduleName()
                                + QStringLiteral(", type ") + QString::number(exception->type())
                                + QStringLiteral(": ") + exception->text());
    }
    return false;
}

void QVXApplication::addModule(QVXModule *module)
{
    // Not now: the module is still under construction, and its hooks belong to the event loop.
    QTimer::singleShot(0, module, [this, module] { startModule(module); });
}

void QVXApplication::startModule(QVXModule *module)
{
    QString problem;
    switch (module->start(&problem)) {
    case QVXModule::Start::Done:
        m_modules.append(module);
        // Nobody can reach a module without its bus; whoever looks after the process starts it
        // anew.
        QDBusConnection::systemBus().connect(
            QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
            QStringLiteral("org.freedesktop.DBus.Local"), QStringLiteral("Disconnected"), this,
            SLOT(busIsGone()));
        break;
    case QVXModule::Start::Waiting:
        QTimer::singleShot(lockInterval, module, [this, module] { startModule(module); });
        break;
    case QVXModule::Start::Failed:
        report(module, problem);
        exit(1);
        break;
    case QVXModule::Start::BrokenOff:
        shutDown(0);
        break;
    }
}

void QVXApplication::busIsGone()
{
    for (const QPointer<QVXModule> &module : qAsConst(m_modules)) {
        if (module) {
            report(module, QStringLiteral("the system bus is gone"));
        }
    }
    shutDown(1);
}

void QVXApplication::shutDown(int exitCode)
{
    // There may be a second reason before the event loop ends.
    const QList<QPointer<QVXModule>> modules = std::exchange(m_modules, {});
    for (auto module = modules.crbegin(); module != modules.crend(); ++module) {
        if (*module) {
            (*module)->shutDown();
        }
    }
    exit(exitCode);
}
