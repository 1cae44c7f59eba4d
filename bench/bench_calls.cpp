// What forwarding and logging cost: logComments beside a method that does nothing, of a service
// that is nothing but that, and beside one that does nothing but log a line by syslog(3). Ping,
// which the bus library answers on its own thread, shows what the way to the main thread costs.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = 20 * Measure::begin(argc, argv, 60);
    const QString module = QStringLiteral("LoggerModule");
    const QString empty = QStringLiteral("EmptyService");
    const Measure::Service service(Measure::installedService);
    const QString logging = QStringLiteral("LoggingService");
    const Measure::Service least(QStringLiteral(EMPTY_SERVICE), {empty}, empty);
    const Measure::Service leastLogging(QStringLiteral(EMPTY_SERVICE),
                                        {logging, QStringLiteral("log")}, logging);
    const QVariantList comment {QString(), QStringLiteral("a comment of a usual length")};
    QVector<double> comments;
    QVector<double> emptyCalls;
    QVector<double> loggingCalls;
    QVector<double> pings;
    QVector<double> emptyPings;
    // Each call comes behind two of the empty method, so that syslog-ng, which has to write what
    // was logged, is not in the way of whoever is called next.
    const auto settle = [&] {
        for (int call = 0; call < 2; ++call) {
            Measure::callModule(empty, QStringLiteral("logComments"), comment);
        }
    };
    const auto callOf = [&](const QString &name) {
        settle();
        return Measure::time(
            [&] { Measure::callModule(name, QStringLiteral("logComments"), comment); });
    };
    const auto pingOf = [&](const QString &name) {
        settle();
        return Measure::time(
            [&] { Measure::callModule(name, QStringLiteral("Ping"), {}, Measure::peerInterface); });
    };
    for (int run = 0; run < runs; ++run) {
        comments.append(callOf(module));
        emptyCalls.append(callOf(empty));
        loggingCalls.append(callOf(logging));
        pings.append(pingOf(module));
        emptyPings.append(pingOf(empty));
    }
    Measure::print("logComments", Measure::median(comments), runs);
    Measure::print("a method that does nothing, of an empty service", Measure::median(emptyCalls),
                   runs);
    Measure::print("one that logs a line, of such a service", Measure::median(loggingCalls), runs);
    Measure::print("Ping", Measure::median(pings), runs);
    Measure::print("Ping of the empty service", Measure::median(emptyPings), runs);
    Measure::printRatio("logComments to the empty method",
                        Measure::median(comments) / Measure::median(emptyCalls), 1.1);
    Measure::printRatio("logComments to the method that logs a line",
                        Measure::median(comments) / Measure::median(loggingCalls), "none", true);
    Measure::printRatio("logComments to Ping", Measure::median(comments) / Measure::median(pings),
                        "none", true);
    Measure::printRatio("the empty method to Ping of its service",
                        Measure::median(emptyCalls) / Measure::median(emptyPings), "none", true);
    return 0;
}
