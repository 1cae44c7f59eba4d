// The texts of logappli.conf and of facility files as they are expected after a change.
// SPDX-License-Identifier: MIT
#pragma once

#include "activities.h"

#include <QByteArray>
#include <QList>
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

} // namespace ConfigText
