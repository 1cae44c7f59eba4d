// Format and naming of facility level files; only the two questions for existence touch the disk.
// SPDX-License-Identifier: MIT
#include "facilityfile.h"

#include "levelvocabulary.h"
#include "syslogconf/predefineddestination.h"

#include <QVX/qvxlogger.h>

#include <QFileInfo>

namespace {

const QString signature = QStringLiteral("facility signature field");
constexpr int lineCount = 4;

/// Whether @p name can be the name of a file in a directory, and of nothing outside it.
bool isPlainName(const QString &name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
        && !name.contains(QLatin1Char('/')) && !name.contains(QChar::Null);
}

} // namespace

QString &facilityLine(QStringList &lines, FacilityLine line)
{
    return lines[static_cast<int>(line)];
}

QString facilityFilePath(const QString &facility)
{
    if (!isPlainName(facility)) {
        return {};
    }
    return QVXLogger::facilityConfigFilesPath + facility + QStringLiteral(".conf");
}

bool facilityFileExists(const QString &facility)
{
    const QString path = facilityFilePath(facility);
    return !path.isEmpty() && QFileInfo(path).isFile();
}

bool isKnownFacility(const QString &facility)
{
    return facility == QLatin1String("all") || facility == QLatin1String("WebApp")
        || facility == QLatin1String("no_facility") || facilityFileExists(facility);
}

bool applicationExists(const QString &directory, const QString &facility)
{
    return isPlainName(facility) && QFileInfo(directory + facility).isFile();
}

QString unknownFacilityText(const QString &facility)
{
    return QStringLiteral("No config file for facility : ") + facility;
}

bool isUsableFacility(const QString &check, const QString &facility)
{
    return check.contains(QLatin1String("OK")) && check != unknownFacilityText(facility);
}

bool hasFacilitySignature(const QStringList &lines)
{
    return lines.size() == lineCount && lines.last() == signature;
}

bool checkFacilityFile(const QStringList &lines, const QString &facility, QString *error)
{
    if (!hasFacilitySignature(lines)) {
        *error = QStringLiteral(" -- error type : facility config file corrupted -- Facility : ")
            + facility;
        return false;
    }
    bool isNumber = false;
    const int level = lines.at(static_cast<int>(FacilityLine::Level)).toInt(&isNumber);
    if (!isNumber) {
        *error = QStringLiteral(" --error type : level value not an int -- Facility: ") + facility;
        return false;
    }
    if (!isValidLevelNumber(level)) {
        *error = QStringLiteral(" --error type : level value not exists -- Facility : ") + facility;
        return false;
    }
    lines.at(static_cast<int>(FacilityLine::FacilityValue)).toInt(&isNumber);
    if (!isNumber) {
        *error = QStringLiteral(" --error type : facility value is not an int -- Facility : ")
            + facility;
        return false;
    }
    return true;
}

QStringList predefinedFacilityLines(const QString &facility)
{
    return {QStringLiteral("3"), QStringLiteral("facility"),
            predefinedDestination(facility, DefenceLog::OfDefenceAlone), signature};
}

QString facilityFileText(const QStringList &lines)
{
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}
