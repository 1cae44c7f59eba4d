// The texts of logappli.conf and of facility files as they are expected after a change.
// SPDX-License-Identifier: MIT
#pragma once

#include "activities.h"
#include "faults.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

namespace ConfigText {

/// @p content with the level in @p activity's block replaced; all other bytes as they are.
inline QByteArray withLevel(QByteArray content, const QString &activity,
                            const QByteArray &levelName)
{
    const int block = content.indexOf("# BEGIN " + activity.toUtf8() + '\n');
    const int start = content.indexOf("level(", block) + 6;
    const int end = content.indexOf("..", start);
    return content.replace(start, end - start, levelName);
}

inline QByteArray withAllLevels(QByteArray content, const QByteArray &levelName)
{
    for (const QString &activity : Phone::activityNames) {
        content = withLevel(content, activity, levelName);
    }
    return content;
}

/// @p content with the destination line of @p activity's block replaced; all other bytes as they
/// are.
inline QByteArray withDestination(QByteArray content, const QString &activity,
                                  const QString &destination)
{
    const QByteArray begin = "destination d_" + activity.toUtf8() + " {";
    const int start = content.indexOf(begin);
    if (start < 0) {
        qFatal("no destination of %s", qPrintable(activity));
    }
    const int end = content.indexOf('\n', start);
    return content.replace(start, end - start, begin + ' ' + destination.toUtf8() + "; };");
}

inline QByteArray withAllDestinations(QByteArray content, const QString &destination)
{
    for (const QString &activity : Phone::activityNames) {
        content = withDestination(content, activity, destination);
    }
    return content;
}

/// The bytes of a facility file with another third line.
inline QByteArray withRedirection(const QByteArray &content, const QString &redirection)
{
    QList<QByteArray> lines = content.split('\n');
    lines[2] = redirection.toUtf8();
    return lines.join('\n');
}

/// What stands in the facility directory, as Faults::states() gives it.
using FacilityFiles = QMap<QString, QByteArray>;

inline FacilityFiles facilityFiles()
{
    return Faults::states(Phone::facilityDirectory);
}

/// Makes the facility directory hold exactly @p files.
inline void putFacilityFiles(const FacilityFiles &files)
{
    const QStringList present = facilityFiles().keys();
    for (const QString &name : present) {
        Faults::removeAll(Phone::facilityDirectory + name);
    }
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        Phone::write(Phone::facilityDirectory + file.key(), file.value());
    }
}

/// @p files with the level @p digit in each.
inline FacilityFiles withAllLevels(FacilityFiles files, char digit)
{
    for (QByteArray &file : files) {
        file[0] = digit;
    }
    return files;
}

/// @p files with another redirection for @p activity.
inline FacilityFiles withRedirection(FacilityFiles files, const QString &activity,
                                     const QString &redirection)
{
    QByteArray &file = files[activity + QStringLiteral(".conf")];
    file = withRedirection(file, redirection);
    return files;
}

inline FacilityFiles withAllRedirections(FacilityFiles files, const QString &redirection)
{
    for (QByteArray &file : files) {
        file = withRedirection(file, redirection);
    }
    return files;
}

} // namespace ConfigText
