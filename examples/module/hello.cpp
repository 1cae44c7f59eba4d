// A module that greets on request, and logs as much of it as its activity's level allows.
// SPDX-License-Identifier: MIT
#include <QVX/qvxapplication.h>
#include <QVX/qvxlogger.h>
#include <QVX/qvxmodule.h>

#include <QDBusAbstractAdaptor>

namespace {

/// The empty name is the application's, so this is the activity "Hello". The logger writes whatever
/// it is given: to compare with the level is the module's part, before it makes the text.
bool isLogged(QVXLogger::Priority priority)
{
    return logger(QString()).getConfiguredLevel() >= priority;
}

} // namespace

/// What the module offers on the bus; its slots are the methods.
class HelloAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    explicit HelloAdaptor(QVXModule *module) : QDBusAbstractAdaptor(module) { }

public Q_SLOTS:
    /// @return a greeting for @p name; empty, with an error in the log, when that is empty
    QString greet(const QString &name)
    {
        if (name.isEmpty()) {
            logger(QString()).error(QStringLiteral("nobody to greet"));
            return {};
        }
        if (isLogged(QVXLogger::Debug)) {
            logger(QString()).debug(QStringLiteral("greeting %1").arg(name));
        }
        return QStringLiteral("Hello, %1").arg(name);
    }
};

class Hello : public QVXModule
{
public:
    Hello() : QVXModule(QStringLiteral("Hello")) { }

    bool exportInterface() override
    {
        new HelloAdaptor(this); // the module deletes it
        return true;
    }
};

int main(int argc, char *argv[])
{
    QVXApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Hello"));
    const Hello module;
    return QVXApplication::exec();
}

#include "hello.moc"
