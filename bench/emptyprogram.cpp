// The least that a Qt program can be.
// SPDX-License-Identifier: MIT
#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return 0;
}
