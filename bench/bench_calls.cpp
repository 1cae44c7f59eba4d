// What forwarding and logging cost: logComments beside the bus's own Ping of the same process. Ping
// is answered by the bus library on its own thread; what the way to the main thread costs at least
// shows a service whose method does nothing.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

namespace {

struct Times
{
    double comment;
    double ping;
};

/// Calls both in turn, to the service that @p program is.
Times measureCalls(const QString &program, int runs)
{
    const Measure::Service service(program);
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
    return {Measure::median(comments), Measure::median(pings)};
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = 20 * Measure::begin(argc, argv, 60);
    const Times service = measureCalls(Measure::installedService, runs);
    const Times least = measureCalls(QStringLiteral(EMPTY_SERVICE), runs);
    Measure::print("logComments", service.comment, runs);
    Measure::print("Ping", service.ping, runs);
    Measure::print("a method that does nothing, of an empty service", least.comment, runs);
    Measure::print("Ping of the empty service", least.ping, runs);
    Measure::printRatio("logComments to Ping", service.comment / service.ping, 1.25);
    Measure::printRatio("the least possible: the empty method to Ping", least.comment / least.ping,
                        "none", true);
    return 0;
}
