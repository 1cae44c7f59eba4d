// Values in an INI file, served over D-Bus.
// SPDX-License-Identifier: MIT
#include "settingsmanager.h"

SettingsManager::SettingsManager(const QString &fileName)
    : QVXModule(QStringLiteral("SettingsManager")), m_values(fileName, QSettings::IniFormat)
{
}

bool SettingsManager::exportInterface()
{
    new SettingsManagerAdaptor(this);
    return true;
}

QString SettingsManager::settingValue(const QString &name) const
{
    return m_values.value(name, QStringLiteral("UNDEFINED")).toString();
}

void SettingsManager::setSettingValue(const QString &name, const QString &value)
{
    m_values.setValue(name, value);
    m_values.sync();
}

SettingsManagerAdaptor::SettingsManagerAdaptor(SettingsManager *manager)
    : QDBusAbstractAdaptor(manager), m_manager(manager)
{
}

QString SettingsManagerAdaptor::getSettingValue(const QString &name) const
{
    return m_manager->settingValue(name);
}

void SettingsManagerAdaptor::setSettingValue(const QString &name, const QString &value)
{
    m_manager->setSettingValue(name, value);
}
