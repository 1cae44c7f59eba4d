// What starting and being there costs: LoggerModule beside an empty service on the same libraries.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = Measure::begin(argc, argv, 60);
    QVector<double> starts;
    QVector<double> emptyStarts;
    QVector<double> memory;
    QVector<double> emptyMemory;
    for (int run = 0; run < runs; ++run) {
        {
            const Measure::Service service(Measure::installedService);
            starts.append(service.startTime());
            Measure::call(QStringLiteral("Ping"), {}, QStringLiteral("org.freedesktop.DBus.Peer"));
            memory.append(service.privateMemory());
        }
        {
            const Measure::Service service(QStringLiteral(EMPTY_SERVICE));
            emptyStarts.append(service.startTime());
            Measure::call(QStringLiteral("Ping"), {}, QStringLiteral("org.freedesktop.DBus.Peer"));
            emptyMemory.append(service.privateMemory());
        }
    }
    const double start = Measure::median(starts);
    const double emptyStart = Measure::median(emptyStarts);
    Measure::print("start until the bus name is owned", start, runs);
    Measure::print("the same of an empty service", emptyStart, runs);
    Measure::printRatio("start to an empty service's", start / emptyStart, 1.2);
    std::printf("  %-50s %10.0f KiB (median of %d)\n", "private memory when idle",
                Measure::median(memory), runs);
    std::printf("  %-50s %10.0f KiB (median of %d)\n", "the same of an empty service",
                Measure::median(emptyMemory), runs);
    Measure::printRatio("memory to an empty service's",
                        Measure::median(memory) / Measure::median(emptyMemory), 1.2);
    return 0;
}
