// Levels by name, kept in a bounded cache; output to the syslog daemon under one lock.
// SPDX-License-Identifier: MIT
#include <QVX/qvxlogger.h>

#include "levelfollower.h"
#include "syslogsocket.h"

#include <QCache>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

#include <cstdio>
#include <mutex>

#include <syslog.h>

namespace {

// Names may come from a caller on the bus, so the number that is remembered is bounded. A phone has
// some dozens.
constexpr int maximumNames = 256;
constexpr int defaultLevel = 3;
constexpr int highestSyslogFacility = 23; // LOG_LOCAL7

struct Configuration
{
    int level = defaultLevel;
    int facility = LOG_USER;
    bool isComplete = false; ///< there was a file with both numbers
    bool isLevelAnnounced = false; ///< the level is the event's, not the file's
};

/// A directory out of the platform's settings file, with the slash that callers rely on.
QString configuredDirectory(const char *key, const char *builtIn)
{
    const QString file = QStringLiteral("/etc/QVXApplication/platform.conf");
    if (!QFile::exists(file)) {
        return QLatin1String(builtIn); // on most phones, which need not load the parser then
    }
    QSettings settings(file, QSettings::IniFormat);
    settings.setIniCodec("UTF-8");
    const QVariant value = settings.value(QStringLiteral("logger/") + QLatin1String(key));
    if (!value.isValid()) {
        return QLatin1String(builtIn);
    }
    // QSettings takes a comma for the separator of a list.
    QString directory = value.toStringList().join(QLatin1Char(','));
    if (!directory.startsWith(QLatin1Char('/'))) {
        static_cast<void>(std::fprintf(stderr, "platform.conf: %s is no absolute path, using %s\n",
                                       key, builtIn));
        return QLatin1String(builtIn);
    }
    if (!directory.endsWith(QLatin1Char('/'))) {
        directory += QLatin1Char('/');
    }
    return directory;
}

Configuration readConfiguration(const QString &identifier)
{
    Configuration configuration;
    // An identifier that could name a file elsewhere has no configuration.
    if (identifier.isEmpty() || identifier.contains(QLatin1Char('/'))
        || identifier.contains(QChar::Null)) {
        return configuration;
    }
    const QString path = QVXLogger::facilityConfigFilesPath + identifier + QStringLiteral(".conf");
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return configuration;
    }
    bool isNumber = false;
    const int level = file.readLine().trimmed().toInt(&isNumber);
    if (isNumber) {
        configuration.level = level;
    }
    const int facility = file.readLine().trimmed().toInt(&isNumber);
    if (isNumber && facility >= 0 && facility <= highestSyslogFacility) {
        configuration.facility = facility << 3; // as the LOG_ constants of syslog.h are made
        configuration.isComplete = true;
    }
    return configuration;
}

class Registry
{
public:
    Configuration configuration(const QString &identifier)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return lookUp(identifier);
    }

    void setLevel(const QString &identifier, int level)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (level < LOG_EMERG || level > LOG_DEBUG) {
            return;
        }
        if (identifier == QLatin1String("all")) {
            const QList<QString> names = m_configurations.keys();
            for (const QString &name : names) {
                announce(m_configurations.object(name), level);
            }
            return;
        }
        // A name that this process does not use is read from its file when it is.
        if (Configuration *known = m_configurations.object(identifier)) {
            announce(known, level);
        }
    }

    void forget()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_configurations.clear();
    }

    void setSink(QVXLogger::Sink sink)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_sink = std::move(sink);
    }

    void write(const QString &identifier, QVXLogger::Priority priority, const QString &text)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_sink) {
            m_sink(identifier, priority, text);
            return;
        }
        if (m_syslog.lost() > 0) {
            m_syslog.reportLoss(source(QCoreApplication::applicationName()));
        }
        m_syslog.write(source(identifier), priority, text.toUtf8());
    }

private:
    Configuration lookUp(const QString &identifier)
    {
        const Configuration *known = m_configurations.object(identifier);
        if (known && known->isComplete) {
            return *known;
        }
        // A file that is just being rewritten is missing or incomplete for a moment, so it is
        // looked for again.
        Configuration read = readConfiguration(identifier);
        if (known && known->isLevelAnnounced) {
            announce(&read, known->level);
        }
        m_configurations.insert(identifier, new Configuration(read));
        return read;
    }

    SyslogSource source(const QString &identifier)
    {
        return {identifier.toUtf8(), lookUp(identifier).facility};
    }

    static void announce(Configuration *configuration, int level)
    {
        configuration->level = level;
        configuration->isLevelAnnounced = true;
    }

    std::mutex m_mutex;
    QCache<QString, Configuration> m_configurations {maximumNames};
    QVXLogger::Sink m_sink;
    SyslogSocket m_syslog;
};

Registry &registry()
{
    // Never destroyed: a thread may still log while the process ends.
    static auto *const instance = new Registry;
    return *instance;
}

} // namespace

QString QVXLogger::configurationSyslogBranchPath = configuredDirectory(
    "configurationSyslogBranchPath", "/data/QVXApplication/LoggerModule/syslog/sip/");
QString QVXLogger::syslogWorkingDirectory
    = configuredDirectory("syslogWorkingDirectory", "/data/QVXApplication/LoggerModule/syslog/");
QString QVXLogger::facilityConfigFilesPath = configuredDirectory(
    "facilityConfigFilesPath", "/data/QVXApplication/LoggerModule/syslog/sip/facility/");
QString QVXLogger::syslogExecutablePath = configuredDirectory("syslogExecutablePath", "/usr/sbin/");

QVXLogger::QVXLogger(const QString &name)
    : m_identifier(name.isEmpty() ? QCoreApplication::applicationName() : name)
{
}

int QVXLogger::getConfiguredLevel() const
{
    return registry().configuration(m_identifier).level;
}

void QVXLogger::write(Priority priority, const QString &text) const
{
    registry().write(m_identifier, priority, text);
}

void QVXLogger::setConfiguredLevel(const QString &identifier, int level)
{
    registry().setLevel(identifier, level);
}

void QVXLogger::forgetConfiguredLevels()
{
    registry().forget();
}

void QVXLogger::setSink(Sink sink)
{
    registry().setSink(std::move(sink));
}

bool QVXLogger::followLevelChanges(QDBusConnection connection)
{
    // The connection drops it when the process ends; it has to outlive every module.
    static auto *const follower = new LevelFollower;
    return connection.connect(QString(), QString(), QStringLiteral("com.corvane.Quorvix.QVXEvent"),
                              QStringLiteral("log_level_changed"), follower,
                              SLOT(levelChanged(QVariantMap)));
}
