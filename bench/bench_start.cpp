// What starting and being there costs: LoggerModule beside an empty service on the same libraries,
// and beside one that asks the settings service the same four questions before it is there.
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
    QVector<double> askingStarts;
    QVector<Measure::Memory> memory;
    QVector<Measure::Memory> emptyMemory;
    const QString module = QStringLiteral("LoggerModule");
    const QString emptyService = QStringLiteral(EMPTY_SERVICE);
    for (int run = 0; run < runs; ++run) {
        {
            const Measure::Service service(Measure::installedService);
            starts.append(service.startTime());
            Measure::call(QStringLiteral("Ping"), {}, Measure::peerInterface);
            memory.append(service.privateMemory());
        }
        {
            const Measure::Service service(emptyService, {module});
            emptyStarts.append(service.startTime());
            Measure::call(QStringLiteral("Ping"), {}, Measure::peerInterface);
            emptyMemory.append(service.privateMemory());
        }
        {
            const Measure::Service service(emptyService, {module, QStringLiteral("ask")});
            askingStarts.append(service.startTime());
        }
    }
    const double start = Measure::median(starts);
    const double emptyStart = Measure::median(emptyStarts);
    const double askingStart = Measure::median(askingStarts);
    Measure::print("start until the bus name is owned", start, runs);
    Measure::print("the start of an empty service", emptyStart, runs);
    Measure::print("of one that asks the same four settings", askingStart, runs);
    Measure::printRatio("start to an empty service's", start / emptyStart, 1.2);
    Measure::printRatio("the same without the four questions",
                        (start - (askingStart - emptyStart)) / emptyStart, 1.12);
    Measure::printRatio("start to that of one that asks", start / askingStart, "none", true);
    const auto part = [](const QVector<Measure::Memory> &values, double Measure::Memory::*field) {
        QVector<double> sizes;
        for (const Measure::Memory &value : values) {
            sizes.append(value.*field);
        }
        return Measure::median(sizes);
    };
    // Clean pages are those of programs and libraries that nobody else uses at the moment.
    const double all = part(memory, &Measure::Memory::all);
    const double written = part(memory, &Measure::Memory::written);
    const double emptyAll = part(emptyMemory, &Measure::Memory::all);
    const double emptyWritten = part(emptyMemory, &Measure::Memory::written);
    std::printf("  %-50s %10.0f KiB (%.0f KiB written to)\n", "private memory when idle", all,
                written);
    std::printf("  %-50s %10.0f KiB (%.0f KiB written to)\n", "the same of an empty service",
                emptyAll, emptyWritten);
    Measure::printRatio("memory to an empty service's", all / emptyAll, 1.2);
    Measure::printRatio("the same, what was written to", written / emptyWritten, "none", true);
    return 0;
}
