// An event that a module announces to the other modules of the phone.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QVariantMap>

class QVXEvent
{
public:
    /// @p name becomes the D-Bus signal's member, so it must be a valid member name.
    explicit QVXEvent(QString name);

    /**
     * Adds an argument.
     * @param key what receivers look it up by
     * @param value any type that D-Bus can carry in a variant
     * @param replace whether an argument that is already there under this key is replaced; when
     *        false the first one stays
     */
    void addArgument(const QString &key, const QVariant &value, bool replace = false);

    QString name() const { return m_name; }
    QVariantMap arguments() const { return m_arguments; }

private:
    QString m_name;
    QVariantMap m_arguments;
};
