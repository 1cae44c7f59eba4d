// What a level change over D-Bus costs beside its unavoidable outside work, and beside the shell
// script that one would write instead of this service. All are measured in turn, each after the
// reload that the one before has asked for.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = Measure::begin(argc, argv, 60);
    const Measure::Service service(Measure::installedService);
    QVector<double> calls;
    QVector<double> outside;
    QVector<double> scripts;
    const QString activity = QStringLiteral("qvxsipua");
    const auto change = [&](const QString &level) {
        Measure::expect(QStringLiteral("Level ") + level
                            + QStringLiteral(" for facility : qvxsipua OK"),
                        QStringLiteral("level"), {activity, level});
    };
    change(QStringLiteral("info")); // leaves the temporary file that the outside work checks
    for (int run = 0; run < runs; ++run) {
        const bool toErr = run % 2 == 0;
        const QString level = toErr ? QStringLiteral("err") : QStringLiteral("debug");
        Measure::waitForIdleSyslog();
        calls.append(Measure::time([&] { change(level); }));
        Measure::waitForIdleSyslog();
        outside.append(Measure::time(Measure::outsideWork));
        Measure::waitForIdleSyslog();
        scripts.append(Measure::time([&] {
            Measure::run(QStringLiteral(LEVEL_SCRIPT),
                         {activity, toErr ? QStringLiteral("info") : QStringLiteral("notice"),
                          toErr ? QStringLiteral("6") : QStringLiteral("5")});
        }));
    }
    const double callTime = Measure::median(calls);
    Measure::print("level over D-Bus", callTime, runs);
    Measure::print("its outside work", Measure::median(outside), runs);
    Measure::print("a shell script for the same", Measure::median(scripts), runs);
    Measure::printRatio("level to its outside work", callTime / Measure::median(outside), 1.2);
    const double toScript = callTime / Measure::median(scripts);
    Measure::printRatio("level to the shell script", toScript, "below 1.0", toScript < 1.0);
    return 0;
}
