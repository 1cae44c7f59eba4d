// Sets the phone's configuration up before each test, and puts the phone right behind it.
// SPDX-License-Identifier: MIT
#include "configurationtest.h"

#include "faults.h"
#include "literal.h"
#include "phone.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>
#include <QTextCodec>

#include <sys/stat.h>

void ConfigurationTest::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    const QByteArray codec = qgetenv("TEST_CODEC");
    if (!codec.isEmpty()) {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(codec));
    }
    Phone::resetConfiguration();
    m_predefined = Phone::read(Phone::liveConfig);
    m_backup = m_predefined + "# the backup\n";
    m_facilities = ConfigText::facilityFiles();
    QVERIFY(m_predefined.startsWith("@version"));
    QCOMPARE(m_facilities.size(), Phone::activityNames.size());
}

void ConfigurationTest::init()
{
    m_syslog = std::make_unique<HangUps>();
    m_log = std::make_unique<LogCapture>();
    Phone::write(Phone::liveConfig, m_predefined);
    Phone::write(Phone::backup, m_backup);
    ConfigText::putFacilityFiles(m_facilities);
}

void ConfigurationTest::cleanup()
{
    m_log.reset();
    m_syslog.reset();
    umask(022);
    qputenv("PATH", m_path);
    QVXLogger::syslogExecutablePath = m_syslogDirectory;
    QVXLogger::syslogWorkingDirectory = m_workingDirectory;
    QVXLogger::facilityConfigFilesPath = m_facilityDirectory;
    const QString liveDirectory = QFileInfo(Phone::liveConfig).path();
    for (const QString &directory : {liveDirectory, QFileInfo(Phone::temporary).path()}) {
        Faults::setMode(directory, 0755);
    }
    for (const QString &path : {Phone::temporary, Phone::liveConfig, Phone::backup}) {
        Faults::removeAll(path);
    }
}

void ConfigurationTest::cleanupTestCase()
{
    Phone::resetConfiguration();
}

void ConfigurationTest::customise() const
{
    const auto elsewhere = [](QByteArray text) {
        return text.replace("file(\"/var/log/", "file(\"/var/log/other-");
    };
    Phone::write(Phone::liveConfig, elsewhere(ConfigText::withAllLevels(m_predefined, "debug")));
    ConfigText::FacilityFiles files = ConfigText::withAllLevels(m_facilities, '7');
    for (QByteArray &file : files) {
        file = elsewhere(file);
    }
    ConfigText::putFacilityFiles(files);
}

void ConfigurationTest::beginAgain(int level)
{
    cleanup();
    init();
    LogCapture::setLevel(level);
}

QStringList ConfigurationTest::touched() const
{
    QStringList names;
    const auto compare = [&](const QString &path, const QByteArray &before) {
        if (Faults::state(path) != before) {
            names.append(path);
        }
    };
    compare(Phone::liveConfig, m_predefined);
    compare(Phone::backup, m_backup);
    compare(Phone::temporary, "<missing>");
    if (ConfigText::facilityFiles() != m_facilities) {
        names.append(Phone::facilityDirectory);
    }
    if (m_syslog->count() != 0) {
        names.append("reload"_s);
    }
    return names;
}

void ConfigurationTest::addLocales()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("codec");

    QTest::newRow("C") << "C"_s << QString();
    QTest::newRow("UTF-8") << "C.UTF-8"_s << QString();
    QTest::newRow("German") << "de_DE.UTF-8"_s << QString();
    QTest::newRow("German with its old encoding") << "de_DE"_s
                                                  << "ISO-8859-15"_s;
    QTest::newRow("Japanese with its old encoding") << "ja_JP"_s
                                                    << "Shift-JIS"_s;
}

void ConfigurationTest::runInLocale(const QString &function)
{
    QFETCH(QString, locale);
    QFETCH(QString, codec);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL"_s, locale);
    environment.insert("TEST_CODEC"_s, codec);
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QCoreApplication::applicationFilePath(), {function});
    QVERIFY(process.waitForFinished());
    const QByteArray output = process.readAll();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, output);
    QVERIFY2(output.contains("0 failed"), output);
}
