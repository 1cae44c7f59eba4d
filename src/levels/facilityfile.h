// The facility level file: its four lines, its name, and what makes it valid.
// SPDX-License-Identifier: MIT
#pragma once

#include "syslogconf/durablefile.h"

#include <QString>
#include <QStringList>
#include <QVector>

/// Facility files that are about to be replaced together.
struct FacilityUpdates
{
    QStringList facilities;
    QVector<NewFile> files; ///< the new file of each facility, in the same order
};

/// The four lines of a facility level file, in order.
enum class FacilityLine { Level, FacilityValue, Redirection, Signature };

/// The line @p line of @p lines, which must have it.
QString &facilityLine(QStringList &lines, FacilityLine line);

/**
 * The path of the level file of @p facility: the facility directory, the name, ".conf".
 * @return an empty text for a name that cannot be a file of its own in that directory: empty, ".",
 *         "..", or with a "/" or NUL in it. Such a name has no file.
 */
QString facilityFilePath(const QString &facility);

/// Whether @p facility has its level file: a regular file or a link to one, as the logger sees it.
bool facilityFileExists(const QString &facility);

/// Whether @p facility is known without a look for its application: it has its level file, or is
/// one of the names that need none ("all", "WebApp", "no_facility"). Nobody needs a turn to ask, as
/// the file is there also while it is rewritten.
bool isKnownFacility(const QString &facility);

/// Whether a program or library called @p facility is in @p directory, which ends in "/".
bool applicationExists(const QString &directory, const QString &facility);

/// What searchFacility() answers for a facility that the phone does not have.
QString unknownFacilityText(const QString &facility);

/// Whether @p check, searchFacility()'s answer for @p facility, says that it can be used. A refusal
/// ends in the name, which may itself contain "OK".
bool isUsableFacility(const QString &check, const QString &facility);

/// Whether @p lines end where a facility file ends: four of them, the last one the signature.
bool hasFacilitySignature(const QStringList &lines);

/**
 * Checks the content of a facility file: four lines, a level that has a name, a facility value that
 * is a number, and the signature.
 * @param facility for the error text only
 * @param error set to the line for the log when the file is not valid
 */
bool checkFacilityFile(const QStringList &lines, const QString &facility, QString *error);

/// What a repaired file holds. Its second line is no number, so the file is repaired again, by way
/// of the set-up script, as soon as it is to be changed.
QStringList predefinedFacilityLines(const QString &facility);

/// The text of a facility file with these lines.
QString facilityFileText(const QStringList &lines);
