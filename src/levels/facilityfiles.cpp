// Finds, reads, updates and repairs the facility level files.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "facilityfile.h"
#include "syslogconf/textfile.h"

#include <QFile>

#include <cerrno>

namespace {

/// Where the phone's applications have their own files, named after the facility.
const QString libraryDirectory = QStringLiteral("/usr/lib/QVXApplication/");
const QString programDirectory = QStringLiteral("/usr/bin/QVXApplication/");

QString searchText(const QString &facility, const QString &directory)
{
    return QStringLiteral("search facility ") + facility + QStringLiteral(" in ") + directory;
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
    if (facility == QLatin1String("all") || facility == QLatin1String("WebApp")
        || facility == QLatin1String("no_facility")) {
        return QStringLiteral("OK");
    }
    if (facilityFileExists(facility)) {
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
    // A file that cannot be read to its end is not deleted either.
    if (!file.open(QIODevice::ReadWrite | QIODevice::Text) || !readLines(file, &lines)) {
        logError(QStringLiteral("No access to : ") + facility + QStringLiteral(".conf"));
        return {QStringLiteral("No valid configuration file : ") + facility};
    }
    file.close();
    file.remove();
    return lines;
}

QString LoggerModule::updateFacilityFile(const QString &redirection, const QString &facility,
                                         const QString &field, int level)
{
    QStringList lines = readFacilityFile(facility);
    QString error;
    if (!checkFacilityFile(lines, facility, &error)) {
        logError(error);
        return restoreFacilityFile(facility);
    }
    QFile file(facilityFilePath(facility));
    const QString notWritable
        = QStringLiteral("Impossible to read in Read/Write mode : ") + facility;
    if (!file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Text)) {
        logError(notWritable);
        return notWritable;
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
    if (!writeTextAndClose(file, facilityFileText(lines))) {
        // Half a file would be taken for a corrupted one; a missing one is made anew by the set-up
        // script that callers run after this answer.
        file.remove();
        logError(notWritable);
        return notWritable;
    }
    return QStringLiteral("OK");
}

QString LoggerModule::writeFacilitylevel(const QString &facility, int level)
{
    logDebug(QStringLiteral("[writeFacilitylevel] file path :") + QVXLogger::facilityConfigFilesPath
             + facility + QStringLiteral(".conf"));
    return updateFacilityFile(QStringLiteral("none"), facility, QStringLiteral("level"), level);
}

QString LoggerModule::restoreFacilityFile(const QString &facility)
{
    if (!facilityFileExists(facility)) {
        const QString missing = qt_error_string(ENOENT);
        logDebug(QStringLiteral("setPermissions() result ") + missing);
        return missing;
    }
    QFile file(facilityFilePath(facility));
    if (!file.setPermissions(QFileDevice::ReadOther | QFileDevice::WriteOther)) {
        logDebug(QStringLiteral("setPermissions() result ") + file.errorString());
        return file.errorString();
    }
    if (!file.remove()) {
        logDebug(QStringLiteral("remove() result ") + file.errorString());
        return file.errorString();
    }
    if (!file.open(QIODevice::ReadWrite | QIODevice::Text)
        || !writeTextAndClose(file, facilityFileText(predefinedFacilityLines(facility)))) {
        logError(file.errorString() + QStringLiteral(" -- config file : ") + facility);
        file.remove(); // half of it, after a full disk
        return QStringLiteral("Can not create a new facility config file !");
    }
    return QStringLiteral("sylog-ng config file restored");
}
