// How the cost grows with the number of activities: a level for all, the table and the map, for
// files of 10 to 10,000 activities. syslog-ng's own work is taken out: a program that accepts
// everything stands in for its check, and nobody is sent the hang-up signal.
// SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <array>
#include <cstdio>
#include <memory>

namespace {

const QString platformConfig = QStringLiteral("/etc/QVXApplication/platform.conf");
const QString programs = QStringLiteral("/run/phone/bench/");

QByteArray block(const QByteArray &name)
{
    return "# BEGIN " + name + "\ndestination d_" + name + " { file(\"/var/log/" + name
        + ".log\"); };\nfilter f_" + name
        + " { level(err..emerg) and facility(local3) and program(\"^" + name
        + "$\"); };\nlog { source(s_phone); filter(f_" + name + "); destination(d_" + name
        + "); };\n# END " + name + "\n\n";
}

const QString live = Measure::configurationDirectory + QStringLiteral("sip/logappli.conf");
const QString facilities = Measure::configurationDirectory + QStringLiteral("sip/facility/");

/// Makes a configuration of that many activities with their facility files.
void makeActivities(int count)
{
    QDir(facilities).removeRecursively();
    QDir().mkpath(facilities);
    QByteArray text("@version: 3.38\n");
    for (int number = 0; number < count; ++number) {
        const QByteArray name = "activity" + QByteArray::number(number);
        text += block(name);
        Measure::writeFile(facilities + QString::fromLatin1(name) + QStringLiteral(".conf"),
                           "3\n19\nfile(\"/var/log/" + name
                               + ".log\")\nfacility signature field\n");
    }
    Measure::writeFile(live, text);
}

struct Operation
{
    const char *name;
    QString method;
    bool changes;
};

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = Measure::begin(argc, argv, 60);
    QDir().mkpath(programs);
    QDir().mkpath(QFileInfo(platformConfig).path());
    QFile::copy(QStringLiteral("/bin/true"), programs + QStringLiteral("syslog-ng"));
    Measure::writeFile(platformConfig,
                       "[logger]\nsyslogExecutablePath=" + programs.toUtf8() + '\n');
    QFile::rename(QStringLiteral("/var/run/syslog-ng.pid"),
                  QStringLiteral("/var/run/syslog-ng.pid.aside"));
    {
        const Measure::Service service(Measure::installedService);
        constexpr std::array<int, 4> counts {10, 100, 1000, 10000};
        const std::array<Operation, 3> operations {{
            {"level all L", QStringLiteral("level"), true},
            {"redirect, the table", QStringLiteral("redirect"), false},
            {"getSyslogLevels", QStringLiteral("getSyslogLevels"), false},
        }};
        std::array<std::array<double, counts.size()>, operations.size()> perActivity {};
        for (std::size_t size = 0; size < counts.size(); ++size) {
            makeActivities(counts[size]);
            for (std::size_t index = 0; index < operations.size(); ++index) {
                const Operation &operation = operations[index];
                QVector<double> times;
                for (int run = 0; run < runs; ++run) {
                    const QString level = run % 2 ? QStringLiteral("err") : QStringLiteral("debug");
                    times.append(Measure::time([&] {
                        if (operation.changes) {
                            Measure::expect(QStringLiteral("All levels changed to ") + level
                                                + QStringLiteral(" value "),
                                            operation.method, {QStringLiteral("all"), level});
                        } else {
                            Measure::call(operation.method);
                        }
                    }));
                }
                const QByteArray what
                    = QByteArray(operation.name) + ", " + QByteArray::number(counts[size]);
                Measure::print(what.constData(), Measure::median(times), runs);
                perActivity[index][size] = Measure::median(times) / counts[size];
            }
        }
        for (std::size_t index = 0; index < operations.size(); ++index) {
            const QByteArray what
                = QByteArray(operations[index].name) + ", per activity, 10,000 to 100";
            Measure::printRatio(what.constData(), perActivity[index][3] / perActivity[index][1],
                                1.5);
        }
    }
    QFile::rename(QStringLiteral("/var/run/syslog-ng.pid.aside"),
                  QStringLiteral("/var/run/syslog-ng.pid"));
    QFile::remove(platformConfig);
    // A fresh phone's, for what is measured next.
    QDir(facilities).removeRecursively();
    QFile::remove(live);
    return QProcess::execute(QStringLiteral("/etc/init.d/autoConfigSyslog"),
                             {QStringLiteral("start")});
}
