// The base of tests that change the configuration through a module in their own process.
// SPDX-License-Identifier: MIT
#pragma once

#include "configtext.h"
#include "hangups.h"
#include "logcapture.h"
#include "testablemodule.h"

#include <QByteArray>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

/// What goes wrong before an operation.
using Step = std::function<void()>;
Q_DECLARE_METATYPE(Step)

/**
 * Each test begins with the predefined configuration and facility files, a backup that can be told
 * apart, everything logged, and this process in the daemon's place, which is not to load what the
 * tests write. What a test changes beyond that (modes, paths, PATH) is put right at its end.
 */
class ConfigurationTest : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

protected:
    /// Gives every activity level debug, and those that write to /var/log another file there; the
    /// facility files as well.
    void customise() const;
    /// Begins the test once more, with this configured level.
    void beginAgain(int level);
    /// Which of the files are not as they were at the beginning of the test, and whether there was
    /// a reload.
    QStringList touched() const;

    /// Rows for runInLocale(). A locale that the system does not have is the locale "C".
    static void addLocales();
    /// Runs @p function of this program again. A process decides about its encoding once, so each
    /// locale gets one of its own.
    static void runInLocale(const QString &function);

    TestableModule m_module;
    QByteArray m_predefined;
    QByteArray m_backup;
    ConfigText::FacilityFiles m_facilities;
    std::unique_ptr<HangUps> m_syslog;
    std::unique_ptr<LogCapture> m_log;

private:
    const QByteArray m_path = qgetenv("PATH");
    const QString m_syslogDirectory = QVXLogger::syslogExecutablePath;
    const QString m_workingDirectory = QVXLogger::syslogWorkingDirectory;
    const QString m_facilityDirectory = QVXLogger::facilityConfigFilesPath;
};
