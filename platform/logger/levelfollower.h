// Receives the event "log_level_changed" from the bus on behalf of the logger.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxlogger.h>

#include <QObject>
#include <QVariantMap>

class LevelFollower : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void levelChanged(const QVariantMap &arguments)
    {
        bool isNumber = false;
        const int level = arguments.value(QStringLiteral("syslog_level")).toInt(&isNumber);
        const QString facility = arguments.value(QStringLiteral("syslog_facility")).toString();
        if (isNumber && !facility.isEmpty()) {
            QVXLogger::setConfiguredLevel(facility, level);
        }
    }
};
