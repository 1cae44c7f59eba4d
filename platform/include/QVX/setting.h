// The record that modules exchange with the settings service, and its D-Bus form.
// SPDX-License-Identifier: MIT
#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QPair>
#include <QString>

/// One setting of the phone. D-Bus signature "(sssssssiiia(ss)bbs)", members in this order.
struct Setting
{
    QString name;
    QString value;
    QString defaultValue;
    QString type;
    QString module; ///< the module that is told when the value changes
    QString method; ///< the method of that module which is called with the record
    QString description;
    int minimum = 0;
    int maximum = 0;
    int access = 0;
    QList<QPair<QString, QString>> choices; ///< allowed values, each with its label
    bool readOnly = false;
    bool persistent = false;
    QString unit;

    /// The current value as text; UNDEFINEDVALUE when it is not set.
    QString getValue() const { return value; }

    /// The text that stands for a value that is not set: "UNDEFINED".
    static const QString UNDEFINEDVALUE;
};

using ListSetting = QList<Setting>;

Q_DECLARE_METATYPE(Setting)
Q_DECLARE_METATYPE(ListSetting)

QDBusArgument &operator<<(QDBusArgument &argument, const Setting &setting);
const QDBusArgument &operator>>(const QDBusArgument &argument, Setting &setting);

/**
 * Makes Setting and ListSetting known to Qt's meta-type system and to QtDBus. To be called before a
 * method that takes or returns them is exported or called; calling it again does no harm.
 */
void registerDBusSetting();
