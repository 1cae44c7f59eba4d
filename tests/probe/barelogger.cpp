// LoggerModule's bus interface in front of a module that has none of its slots.
// SPDX-License-Identifier: MIT
#include "dbus/loggermoduleadaptor.h"
#include "support/testablemodule.h"

#include <QVX/qvxapplication.h>

namespace {

class BareLogger : public TestableModule
{
public:
    /// By now the bus layer knows the adaptor as this object's; its calls go to its new parent.
    void presentation_loaded() override { findChild<LoggerModuleAdaptor *>()->setParent(&m_bare); }

private:
    QObject m_bare;
};

} // namespace

int main(int argc, char *argv[])
{
    QVXApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("LoggerModule"));
    BareLogger module;
    return QVXApplication::exec();
}
