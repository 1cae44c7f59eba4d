// A settings service for trying and testing: a second module on the platform libraries.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxmodule.h>

#include <QDBusAbstractAdaptor>
#include <QSettings>
#include <QString>

/// Keeps settings by name in a file. A setting that was never set has the value "UNDEFINED". A
/// module that follows a setting is called when its value changes.
class SettingsManager : public QVXModule
{
    Q_OBJECT

public:
    /// @p fileName is the file with the values (INI); it is created with the first value.
    explicit SettingsManager(const QString &fileName);

    bool exportInterface() override;

    QString settingValue(const QString &name) const;
    void setSettingValue(const QString &name, const QString &value);

private:
    QSettings m_values;
};

/// Its interface on the bus.
class SettingsManagerAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    explicit SettingsManagerAdaptor(SettingsManager *manager);

public Q_SLOTS:
    QString getSettingValue(const QString &name) const;
    void setSettingValue(const QString &name, const QString &value);

private:
    SettingsManager *m_manager;
};
