// What forwarding and logging cost: logComments beside the bus's own Ping of the same process.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = 20 * Measure::begin(argc, argv, 60);
    const QVariantList comment {QString(), QStringLiteral("a comment of a usual length")};
    QVector<double> comments;
    QVector<double> pings;
    for (int run = 0; run < runs; ++run) {
        comments.append(
            Measure::time([&] { Measure::call(QStringLiteral("logComments"), comment); }));
        pings.append(Measure::time([] {
            Measure::call(QStringLiteral("Ping"), {}, QStringLiteral("org.freedesktop.DBus.Peer"));
        }));
    }
    const double commentTime = Measure::median(comments);
    const double pingTime = Measure::median(pings);
    Measure::print("logComments", commentTime, runs);
    Measure::print("Ping", pingTime, runs);
    Measure::printRatio("logComments to Ping", commentTime / pingTime, 1.25);
    return 0;
}
