// What a phone test needs of the phone around it: calls to the service, its files, its life.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QProcessEnvironment>
#include <QString>
#include <QVariantList>

#include <memory>

class QProcess;

namespace Phone {

const QString liveConfig
    = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip/logappli.conf");
const QString backup = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/logappli.conf.sav");
const QString temporary
    = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/logappli.conf.tmp");
const QString facilityDirectory
    = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip/facility/");
const QString setUpScript = QStringLiteral("/etc/init.d/autoConfigSyslog");
const QString pidFile = QStringLiteral("/var/run/syslog-ng.pid");
const QString serviceProgram = QStringLiteral("/usr/bin/QVXApplication/LoggerModule");
const QString serviceName = QStringLiteral("com.corvane.Quorvix.LoggerModule");
const QString servicePath = QStringLiteral("/com/corvane/Quorvix/LoggerModule");
const QString serviceInterface = QStringLiteral("com.corvane.Quorvix.QVXInterface");

/// Whether the test runs in a phone in a box. A test that finds it does not must fail at once,
/// before it touches the machine's own files.
bool isBox();

/// The file or folder @p name below tests/ in the source tree.
QString testsFile(const QString &name);
/// The probe module of this build.
QString probeProgram();

/// Calls a method of the service and waits for its answer, for at most 60 s.
QDBusMessage call(const QString &method, const QVariantList &arguments = {});

/// Sends a call; its answer can be waited for later, for at most 60 s.
QDBusPendingCall send(const QString &method, const QVariantList &arguments = {});

/// The one text that the service answers; for an error reply "D-Bus error: <name>".
QString text(const QString &method, const QVariantList &arguments = {});
/// The same of a call that was sent; waits for the answer.
QString text(QDBusPendingCall call);

QString facilityFile(const QString &facility);
/// The whole file; a null array when it cannot be read.
QByteArray read(const QString &path);
/// Replaces the file @p path. Ends the test program when that fails: nothing after it would mean
/// anything.
void write(const QString &path, const QByteArray &content);

/// Puts the configuration, its backup and the facility files back to what the set-up script makes,
/// and lets syslog-ng load it.
void resetConfiguration();

/// Whether syslog-ng's syntax check accepts the configuration in the file @p path.
bool syslogAccepts(const QString &path);

/// Sends a message to the phone's syslog as the activity would, and returns when it was handed
/// over.
void logMessage(const QString &activity, const QString &facility, const QString &severity,
                const QString &message);

/// Waits for at most @p timeout ms until the file @p path contains @p part.
bool waitForContent(const QString &path, const QByteArray &part, int timeout = 10000);

/// The service of the phone, run by the test itself in place of the one that was booted.
class Service
{
public:
    /// Stops the running service, if any, and starts @p program with @p environment; waits until
    /// its name is on the bus, unless @p waitForName is false.
    explicit Service(const QProcessEnvironment &environment
                     = QProcessEnvironment::systemEnvironment(),
                     bool waitForName = true, const QString &program = serviceProgram);
    /// Ends it if it still runs; a bad end (a sanitizer's report, say) ends the test program.
    ~Service();
    Q_DISABLE_COPY(Service)

    qint64 pid() const;
    /// What it wrote to standard output and standard error so far.
    QByteArray output() const;
    /// Sends SIGTERM. @return the exit status; -1 when it was ended by a signal or did not end
    int stop();
    /// Waits for its end. @return as stop()
    int waitForEnd(int timeout = 30000);

private:
    std::unique_ptr<QProcess> m_process;
};

/// The environment for a program through whose event loop an exception will be thrown: QtDBus is
/// not made for that and leaves about a kilobyte behind, which LeakSanitizer would report at the
/// end.
QProcessEnvironment environmentForExceptions();

/// Whether somebody owns the bus name @p name.
bool isOnBus(const QString &name);

/// Ends the program @p name that was booted with the phone, unless a test has done so before: a
/// module, or "syslog-ng". From then on its end is no failure of the phone.
void stopBooted(const QString &name);

/// Ends the service that was booted with the phone, and leaves none.
void stopBootedService();

} // namespace Phone
