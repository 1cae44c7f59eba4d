// The least that a Qt program can be; with the argument "bus", one that is connected to the bus.
// SPDX-License-Identifier: MIT
#include <QCoreApplication>
#include <QDBusConnection>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return argc > 1 && !QDBusConnection::systemBus().isConnected() ? 1 : 0;
}
