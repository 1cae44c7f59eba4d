// What the benchmarks share: calls to the service, times, medians, and the line that a figure gets.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVector>

#include <functional>

namespace Measure {

/// Ends the program unless it runs in the phone in a box, and takes the number of runs from the
/// first argument. @return that number, or @p defaultRuns
int begin(int argc, char **argv, int defaultRuns);

/// Calls a method of the service. Ends the program when an error comes back.
/// @return its first result
QVariant call(const QString &method, const QVariantList &arguments = {},
              const QString &interface = QStringLiteral("com.corvane.Quorvix.QVXInterface"));

/// Calls a method that answers a text. Ends the program unless it answers @p expected.
void expect(const QString &expected, const QString &method, const QVariantList &arguments);

/// How long @p work takes, in milliseconds.
double time(const std::function<void()> &work);

double median(QVector<double> values);

/// Prints a time and what it is the time of.
void print(const char *what, double milliseconds, int runs);

/// Prints a ratio beside the one that is aimed at. @p reached says whether it is good enough.
void printRatio(const char *what, double ratio, const char *aim, bool reached);
/// The same, where the ratio shall be at most @p aim.
void printRatio(const char *what, double ratio, double aim);

/// Runs a program to its end. Ends the benchmark when that goes wrong.
void run(const QString &program, const QStringList &arguments);

/// What a level change cannot do without: syslog-ng's check of the temporary file through the
/// shell, and kill -hup.
void outsideWork();

/// Waits until syslog-ng has done what the last hang-up signal asked it to, so that it does not
/// take part in what is measured next.
void waitForIdleSyslog();

QByteArray readFile(const QString &path);
void writeFile(const QString &path, const QByteArray &content);

/// Asks the settings service for the value of a setting.
void askSettings(const QString &setting);

/// In KiB, as proc(5) has it in /proc/PID/smaps_rollup.
struct Memory
{
    double all = 0; ///< Private_Clean and Private_Dirty
    double written = 0; ///< Private_Dirty
};

/// A module in the place of the phone's LoggerModule.
class Service
{
public:
    /// Ends the one that was booted, if it still runs, and starts @p program until its name is on
    /// the bus.
    explicit Service(const QString &program);
    ~Service();
    Q_DISABLE_COPY(Service)

    /// From the start of the program until its bus name was owned, in milliseconds.
    double startTime() const { return m_startTime; }
    /// Memory that no other process shares with it.
    Memory privateMemory() const;

private:
    QProcess m_process;
    double m_startTime = 0;
};

const QString installedService = QStringLiteral("/usr/bin/QVXApplication/LoggerModule");
const QString configurationDirectory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/");

} // namespace Measure
