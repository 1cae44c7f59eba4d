// What a level change over D-Bus costs beside its unavoidable outside work, and beside the shell
// script that one would write instead of this service; and what a level for all costs beside one.
// All are measured in turn, each after the reload that the one before has asked for.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

#include <array>
#include <cstdio>
#include <functional>

namespace {

struct Work
{
    const char *name;
    std::function<void(bool toErr)> work;
    QVector<double> times {};
    QVector<double> flushes {};
};

void change(const QString &activity, const QString &level, const QString &expected)
{
    Measure::expect(expected, QStringLiteral("level"), {activity, level});
}

void changeOne(bool toErr)
{
    const QString level = toErr ? QStringLiteral("err") : QStringLiteral("debug");
    change(QStringLiteral("qvxsipua"), level,
           QStringLiteral("Level ") + level + QStringLiteral(" for facility : qvxsipua OK"));
}

void changeAll(bool toErr)
{
    const QString level = toErr ? QStringLiteral("warning") : QStringLiteral("notice");
    change(QStringLiteral("all"), level,
           QStringLiteral("All levels changed to ") + level + QStringLiteral(" value "));
}

void changeByScript(bool toErr)
{
    Measure::run(QStringLiteral(LEVEL_SCRIPT),
                 {QStringLiteral("qvxsipua"),
                  toErr ? QStringLiteral("info") : QStringLiteral("emerg"),
                  toErr ? QStringLiteral("6") : QStringLiteral("0")});
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = Measure::begin(argc, argv, 60);
    const Measure::Service service(Measure::installedService);
    std::array<Work, 6> works {{
        {"level of one over D-Bus", changeOne},
        {"the outside work: check and kill", [](bool) { Measure::outsideWork(); }},
        {"the same, and two files replaced and synced",
         [](bool) {
             Measure::outsideWork();
             Measure::syncedWork(1);
         }},
        {"a shell script for the same", changeByScript},
        {"level of all over D-Bus", changeAll},
        {"the outside work, and 11 files synced one by one",
         [](bool) {
             Measure::outsideWork();
             Measure::syncedWork(10);
         }},
    }};
    changeOne(false); // leaves the temporary file that the outside work checks
    for (int run = 0; run < runs; ++run) {
        for (Work &work : works) {
            Measure::waitForIdleSyslog();
            const qint64 flushes = Measure::flushes(Measure::configurationDirectory);
            work.times.append(Measure::time([&] { work.work(run % 2 == 0); }));
            work.flushes.append(
                double(Measure::flushes(Measure::configurationDirectory) - flushes));
        }
    }
    std::printf("  on %s\n", Measure::fileSystem(Measure::configurationDirectory).constData());
    std::array<double, works.size()> times {};
    std::array<double, works.size()> flushes {};
    for (std::size_t index = 0; index < works.size(); ++index) {
        times[index] = Measure::median(works[index].times);
        flushes[index] = Measure::median(works[index].flushes);
        Measure::print(works[index].name, times[index], runs);
    }
    Measure::printRatio("level to check and kill", times[0] / times[1], 1.2);
    Measure::printRatio("level to check, kill and syncs", times[0] / times[2], 1.2);
    Measure::printRatio("level to the shell script", times[0] / times[3], "below 1.0",
                        times[0] < times[3]);
    Measure::printRatio("level of all to level of one", times[4] / times[0], 1.5);
    std::printf(
        "  flushes of the disk: level of one %g, its outside work with syncs %g, the script %g, "
        "level of all %g, its outside work with syncs %g\n",
        flushes[0], flushes[2], flushes[3], flushes[4], flushes[5]);
    return 0;
}
