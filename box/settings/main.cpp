// Entry of the simulated settings service; its one argument is the file that holds the values.
// SPDX-License-Identifier: MIT
#include "settingsmanager.h"

#include <QVX/qvxapplication.h>

#include <cstdio>

int main(int argc, char *argv[])
{
    QVXApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("SettingsManager"));
    if (QCoreApplication::arguments().size() != 2) {
        static_cast<void>(std::fputs("usage: SettingsManager VALUES-FILE\n", stderr));
        return 2;
    }
    const SettingsManager manager(QCoreApplication::arguments().at(1));
    return QVXApplication::exec();
}
