// Finds, reads, updates and repairs the facility level files, and what stands beside them.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "facilityfile.h"
#include "syslogconf/durablefile.h"
#include "syslogconf/textfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

namespace {

/// Where the phone's applications have their own files, named after the facility.
const QString libraryDirectory = QStringLiteral("/usr/lib/QVXApplication/");
const QString programDirectory = QStringLiteral("/usr/bin/QVXApplication/");

/// Asks for one reset of all levels at the next start. The doubled slash has always been there.
const QString resetMarkerPath
    = QStringLiteral("/data/QVXApplication/LoggerModule/syslog/sip/facility/")
    + QStringLiteral("/resetLogLevel");

QString searchText(const QString &facility, const QString &directory)
{
    return QStringLiteral("search facility ") + facility + QStringLiteral(" in ") + directory;
}

QString notWritableText(const QString &facility)
{
    return QStringLiteral("Impossible to read in Read/Write mode : ") + facility;
}

QString repairNotice(const QString &facility)
{
    return QStringLiteral("OK  -- but configuration file was corrupted : ") + facility
        + QStringLiteral(" restored to predefined values -- use level or redirect command to "
                         "verify your log config ");
}

} // namespace

QString LoggerModule::searchFacility(const QString &facility)
{
    if (isKnownFacility(facility)) {
        return QStringLiteral("OK");
    }
    logInfo(searchText(facility, libraryDirectory));
    if (applicationExists(libraryDirectory, facility)) {
        restoreFacilityFile(facility);
        restoreSylogConfig();
        return QStringLiteral(" ") + repairNotice(facility);
    }
    logInfo(searchText(facility, programDirectory));
    if (applicationExists(programDirectory, facility)) {
        restoreFacilityFile(facility);
        restoreSylogConfig();
        return repairNotice(facility);
    }
    QString unknown = unknownFacilityText(facility);
    logError(unknown);
    return unknown;
}

QStringList LoggerModule::readFacilityFile(const QString &facility)
{
    if (!facilityFileExists(facility)) {
        const QString missing = QStringLiteral("Files does not exists: ") + facility;
        logError(missing);
        return {missing};
    }
    QFile file(facilityFilePath(facility));
    QStringList lines;
    if (!file.open(QIODevice::ReadWrite | QIODevice::Text) || !readLines(file, &lines)) {
        logError(QStringLiteral("No access to : ") + facility + QStringLiteral(".conf"));
        return {QStringLiteral("No valid configuration file : ") + facility};
    }
    file.close();
    QString error;
    if (!checkFacilityFile(lines, facility, &error)) {
        file.remove();
    }
    return lines;
}

QString LoggerModule::prepareFacilityUpdate(const QString &redirection, const QString &facility,
                                            const QString &field, int level,
                                            FacilityUpdates *updates)
{
    QStringList lines = readFacilityFile(facility);
    QString error;
    if (!checkFacilityFile(lines, facility, &error)) {
        logError(error);
        return restoreFacilityFile(facility);
    }
    if (!hasFacilitySignature(lines)) {
        logError(QStringLiteral("Bad configuration file -- not enought parameters : ") + facility);
        logError(QStringLiteral("Try to restore the file with level = err and a new facility"));
        return restoreFacilityFile(facility);
    }
    if (field == QLatin1String("level")) {
        facilityLine(lines, FacilityLine::Level) = QString::number(level);
    } else if (field == QLatin1String("redirection")) {
        facilityLine(lines, FacilityLine::Redirection) = redirection;
    }
    updates->facilities.append(facility);
    updates->files.append({facilityFilePath(facility), encodeText(facilityFileText(lines))});
    return QStringLiteral("OK");
}

QStringList LoggerModule::writeFacilityUpdates(const FacilityUpdates &updates)
{
    QString error;
    const QVector<Replacement> results = replaceFiles(updates.files, &error);
    QStringList failed;
    for (int index = 0; index < results.size(); ++index) {
        if (results.at(index) != Replacement::Done) {
            failed.append(updates.facilities.at(index));
            logError(notWritableText(failed.last()));
        }
    }
    return failed;
}

QString LoggerModule::updateFacilityFile(const QString &redirection, const QString &facility,
                                         const QString &field, int level)
{
    FacilityUpdates updates;
    QString result = prepareFacilityUpdate(redirection, facility, field, level, &updates);
    return writeFacilityUpdates(updates).isEmpty() ? result : notWritableText(facility);
}

QString LoggerModule::prepareFacilityLevel(const QString &facility, int level,
                                           FacilityUpdates *updates)
{
    logDebug(QStringLiteral("[writeFacilitylevel] file path :") + QVXLogger::facilityConfigFilesPath
             + facility + QStringLiteral(".conf"));
    return prepareFacilityUpdate(QStringLiteral("none"), facility, QStringLiteral("level"), level,
                                 updates);
}

QString LoggerModule::writeFacilitylevel(const QString &facility, int level)
{
    FacilityUpdates updates;
    QString result = prepareFacilityLevel(facility, level, &updates);
    return writeFacilityUpdates(updates).isEmpty() ? result : notWritableText(facility);
}

QString LoggerModule::restoreFacilityFile(const QString &facility)
{
    if (!facilityFileExists(facility)) {
        const QString missing = qt_error_string(ENOENT);
        logDebug(QStringLiteral("setPermissions() result ") + missing);
        return missing;
    }
    const QString path = facilityFilePath(facility);
    QString error;
    if (!mayChangeMode(path, &error)) {
        logDebug(QStringLiteral("setPermissions() result ") + error);
        return error;
    }
    const QByteArray content = encodeText(facilityFileText(predefinedFacilityLines(facility)));
    switch (replaceFiles({{path, content}}, &error).first()) {
    case Replacement::NotPrepared:
        logError(error + QStringLiteral(" -- config file : ") + facility);
        return QStringLiteral("Can not create a new facility config file !");
    case Replacement::NotRenamed:
        logDebug(QStringLiteral("remove() result ") + error);
        return error;
    case Replacement::Done:
        break;
    }
    return QStringLiteral("sylog-ng config file restored");
}

bool LoggerModule::takeResetMarker()
{
    // A directory of that name could not be removed, and would reset the levels at every start.
    if (!QFileInfo(resetMarkerPath).isFile()) {
        return false;
    }
    logDebug(QStringLiteral("resetLogLevel file present, reinitialisation of all log level"));
    // First of all, so that a reset that fails is not tried for ever.
    QFile::remove(resetMarkerPath);
    syncDirectory(QFileInfo(resetMarkerPath).path());
    return true;
}

bool LoggerModule::deleteFacilityConfigFiles()
{
    QDir directory = QDir::current();
    directory.cd(QVXLogger::facilityConfigFilesPath); // else the current directory is listed
    const QStringList names = directory.entryList({QStringLiteral("*.conf")});
    for (const QString &name : names) {
        logDebug(QStringLiteral("Configuration file to remove : ") + name);
        // By its bare name, so in the process's working directory: long established, and the
        // facility files are made anew by the set-up script in any case.
        QFile::remove(name);
    }
    syncDirectory(QDir::currentPath());
    return !names.isEmpty();
}
