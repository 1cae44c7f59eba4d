// A background job of seven levels beside the outside work of seven changes, and how long other
// callers wait meanwhile.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

/// The text of a job that changes seven activities to @p level.
QString items(const QString &level)
{
    QString text;
    for (const char *activity : {"qvxaudio", "qvxsipua", "Platform", "SettingsManager", "sipmmi",
                                 "Telephony", "LoggerModule"}) {
        text += QLatin1String(activity);
        text += QLatin1Char(':');
        text += level;
        text += QLatin1Char(',');
    }
    return text;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = Measure::begin(argc, argv, 60);
    const Measure::Service service(Measure::installedService);
    QVector<double> jobs;
    QVector<double> outside;
    QVector<double> listings;
    QVector<double> answers;
    const auto startJob = [](int run) {
        Measure::call(QStringLiteral("setSyslogLevels"),
                      {items(run % 2 ? QStringLiteral("err") : QStringLiteral("warning"))});
    };
    for (int run = 0; run < runs; ++run) {
        Measure::waitForIdleSyslog();
        // The listing waits until the last item is applied.
        jobs.append(Measure::time([&] {
            startJob(run);
            Measure::call(QStringLiteral("level"));
        }));
        listings.append(Measure::time([] { Measure::call(QStringLiteral("level")); }));
        Measure::waitForIdleSyslog();
        outside.append(Measure::time([] {
            for (int item = 0; item < 7; ++item) {
                Measure::outsideWork();
            }
        }));
    }
    for (int run = 0; run < runs; ++run) {
        startJob(run);
        for (int comment = 0; comment < 20; ++comment) {
            answers.append(Measure::time([] {
                Measure::call(QStringLiteral("logComments"),
                              {QString(), QStringLiteral("while a job runs")});
            }));
        }
        Measure::call(QStringLiteral("level"));
    }
    const double jobTime = Measure::median(jobs) - Measure::median(listings);
    std::sort(answers.begin(), answers.end());
    Measure::print("setSyslogLevels of 7, until the last is applied", jobTime, runs);
    Measure::print("7 times the outside work", Measure::median(outside), runs);
    Measure::print("logComments meanwhile", Measure::median(answers), answers.size());
    Measure::print("its worst in a hundred", answers.at(answers.size() * 99 / 100), answers.size());
    Measure::print("its worst of all", answers.last(), answers.size());
    Measure::printRatio("setSyslogLevels of 7 to its outside work",
                        jobTime / Measure::median(outside), 1.2);
    return 0;
}
