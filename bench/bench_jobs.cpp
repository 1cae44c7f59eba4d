// How long another caller waits while a background job of seven items runs: the answers to
// logComments against the time of the whole job, in one run.
// SPDX-License-Identifier: MIT
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int defaultRuns = 20;

QDBusMessage call(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.Quorvix.LoggerModule"),
        QStringLiteral("/com/corvane/Quorvix/LoggerModule"),
        QStringLiteral("com.corvane.Quorvix.QVXInterface"), method);
    message.setArguments(arguments);
    QDBusMessage reply = QDBusConnection::systemBus().call(message, QDBus::Block, 60000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qFatal("%s: %s", qPrintable(method), qPrintable(reply.errorMessage()));
    }
    return reply;
}

double milliseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

/// The text of a job that changes seven activities to @p level.
QString items(const QString &level)
{
    QString text;
    for (const char *activity : {"qvxaudio", "qvxsipua", "Platform", "SettingsManager", "sipmmi",
                                 "Telephony", "LoggerModule"}) {
        text += QLatin1String(activity) + QLatin1Char(':') + level + QLatin1Char(',');
    }
    return text;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : defaultRuns;
    if (!QFile::exists(QStringLiteral("/run/phone"))) {
        std::fputs("bench_jobs: runs in the phone in a box only: ./phone bench\n", stderr);
        return 2;
    }
    QVector<double> jobs;
    QVector<double> answers;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer job;
        job.start();
        call(QStringLiteral("setSyslogLevels"),
             {items(run % 2 ? QStringLiteral("err") : QStringLiteral("warning"))});
        for (int comment = 0; comment < 20; ++comment) {
            QElapsedTimer answer;
            answer.start();
            call(QStringLiteral("logComments"), {QString(), QStringLiteral("while a job runs")});
            answers.append(milliseconds(answer));
        }
        // The listing waits for the job.
        call(QStringLiteral("level"));
        jobs.append(milliseconds(job));
    }
    std::printf("job of 7 items      %8.2f ms   (median of %d)\n", median(jobs), runs);
    std::printf("logComments meanwhile %6.2f ms   (median of %d)\n", median(answers),
                answers.size());
    std::printf("  its worst         %8.2f ms\n",
                *std::max_element(answers.cbegin(), answers.cend()));
    std::printf("worst to job        %8.3f\n",
                *std::max_element(answers.cbegin(), answers.cend()) / median(jobs));
    return 0;
}
