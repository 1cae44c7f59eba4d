// Starts and stops the modules of the process.
// SPDX-License-Identifier: MIT
#include <QVX/qvxapplication.h>

#include "stopsignals.h"

#include <QVX/qvxexception.h>
#include <QVX/qvxlogger.h>
#include <QVX/qvxmodule.h>

#include <cstdio>

QVXApplication::QVXApplication(int &argc, char **argv)
    : QCoreApplication(argc, argv), m_stopSignals(std::make_unique<StopSignals>())
{
    connect(m_stopSignals.get(), &StopSignals::stopRequested, this, [this] { shutDown(); });
}

QVXApplication::~QVXApplication() = default;

bool QVXApplication::notify(QObject *receiver, QEvent *event)
{
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
    m_modules.append(module);
    // Not now: the module is still under construction, and its hooks belong to the event loop.
    QMetaObject::invokeMethod(
        this,
        [this, pointer = QPointer<QVXModule>(module)] {
            if (pointer) {
                startModule(pointer);
            }
        },
        Qt::QueuedConnection);
}

void QVXApplication::startModule(QVXModule *module)
{
    const QString problem = module->start();
    if (!problem.isEmpty()) {
        static_cast<void>(std::fprintf(stderr, "%s: %s\n", qUtf8Printable(module->objectName()),
                                       qUtf8Printable(problem)));
        exit(1);
    }
}

void QVXApplication::shutDown()
{
    for (auto module = m_modules.crbegin(); module != m_modules.crend(); ++module) {
        if (*module) {
            (*module)->shutDown();
        }
    }
    exit(0);
}
