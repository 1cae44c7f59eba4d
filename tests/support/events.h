// Records the platform's events that are seen on the bus.
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QVariantMap>

/// Listens to "log_level_changed" from the service's path, as another module would.
class LevelEvents : public QObject
{
    Q_OBJECT

public:
    LevelEvents()
    {
        QDBusConnection::systemBus().connect(
            QString(), QStringLiteral("/com/corvane/Quorvix/LoggerModule"),
            QStringLiteral("com.corvane.Quorvix.QVXEvent"), QStringLiteral("log_level_changed"),
            this, SLOT(received(QVariantMap, QDBusMessage)));
    }

    QList<QVariantMap> arguments;
    QList<QDBusMessage> messages;

public Q_SLOTS:
    void received(const QVariantMap &eventArguments, const QDBusMessage &message)
    {
        arguments.append(eventArguments);
        messages.append(message);
    }
};
