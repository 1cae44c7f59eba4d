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

const QString moduleInterface = QStringLiteral("com.corvane.Quorvix.QVXInterface");
const QString peerInterface = QStringLiteral("org.freedesktop.DBus.Peer");

/// Calls a method of LoggerModule. Ends the program when an error comes back.
/// @return its first result
QVariant call(const QString &method, const QVariantList &arguments = {},
              const QString &interface = moduleInterface);

/// The same of the module @p module.
QVariant callModule(const QString &module, const QString &method, const QVariantList &arguments,
                    const QString &interface = moduleInterface);

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

/// What a change of @p count facility files cannot do without on a disk: they and the configuration
/// are written beside, synced, renamed and their directories synced. It does it to files of its
/// own.
void syncedWork(int count);

/// Waits until syslog-ng has done what the last hang-up signal asked it to, so that it does not
/// take part in what is measured next.
void waitForIdleSyslog();

QByteArray readFile(const QString &path);
void writeFile(const QString &path, const QByteArray &content);

/// The file system of @p path as the kernel calls it: "ext4", "tmpfs".
QByteArray fileSystem(const QString &path);

/// How often the disk that @p path is on was told to write what it has in its cache; 0 where there
/// is no disk (proc_diskstats, the kernel's Documentation/admin-guide/iostats.rst).
qint64 flushes(const QString &path);

/// In KiB, as proc(5) has it in /proc/PID/smaps_rollup.
struct Memory
{
    double all = 0; ///< Private_Clean and Private_Dirty
    double written = 0; ///< Private_Dirty
};

/// A module, started by the benchmark.
class Service
{
public:
    /// Ends the LoggerModule that was booted, if it still runs, and starts @p program until the
    /// module @p module is on the bus.
    explicit Service(const QString &program, const QStringList &arguments = {},
                     const QString &module = QStringLiteral("LoggerModule"));
    ~Service();
    Q_DISABLE_COPY(Service)

    /// From the start of the program until its bus name was owned, in milliseconds.
    double startTime() const { return m_startTime; }
    /// Memory that no other process shares with it.
    Memory privateMemory() const;

private:
    QProcess m_process;
    const QString m_module;
    double m_startTime = 0;
};

const QString installedService = QStringLiteral("/usr/bin/QVXApplication/LoggerModule");
const QString configurationDirectory = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/");

} // namespace Measure
