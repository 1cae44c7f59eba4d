// Values in an INI file, served over D-Bus, and announced to the module that follows them.
// SPDX-License-Identifier: MIT
#include "settingsmanager.h"

#include <QVX/setting.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>

#include <algorithm>
#include <array>

namespace {

/// A setting that a module wants to be told about.
struct Follower
{
    const char *setting;
    const char *module;
    const char *method;
    const char *description;
};

constexpr std::array<Follower, 4> followers {{
    {"LogRemoteServerAddress", "LoggerModule", "logRemoteServerAddress",
     "IPv4 address or name of the remote log server"},
    {"LogRemoteServerPort", "LoggerModule", "logRemoteServerPort", "Port of the remote log server"},
    {"LogRemoteServerProtocol", "LoggerModule", "logRemoteServerProto", "udp or tcp"},
    {"LogRemoteServerExist", "LoggerModule", "logRemoteServer",
     "Whether all logs go to the remote log server"},
}};

/// Tells @p follower the new value without waiting for it: it may be waiting for an answer of ours
/// at this moment. When it is not on the bus, nobody has to be told.
void tell(const Follower &follower, const QString &value)
{
    Setting setting;
    setting.name = QLatin1String(follower.setting);
    setting.value = value;
    setting.defaultValue = Setting::UNDEFINEDVALUE;
    setting.type = QStringLiteral("string");
    setting.module = QLatin1String(follower.module);
    setting.method = QLatin1String(follower.method);
    setting.description = QLatin1String(follower.description);
    setting.persistent = true;

    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("com.corvane.Quorvix.") + setting.module,
        QStringLiteral("/com/corvane/Quorvix/") + setting.module,
        QStringLiteral("com.corvane.Quorvix.QVXInterface"), setting.method);
    call.setAutoStartService(false);
    call << QVariant::fromValue(setting);
    QDBusConnection::systemBus().asyncCall(call);
}

} // namespace

SettingsManager::SettingsManager(const QString &fileName)
    : QVXModule(QStringLiteral("SettingsManager")), m_values(fileName, QSettings::IniFormat)
{
    registerDBusSetting();
}

bool SettingsManager::exportInterface()
{
    new SettingsManagerAdaptor(this);
    return true;
}

QString SettingsManager::settingValue(const QString &name) const
{
    return m_values.value(name, Setting::UNDEFINEDVALUE).toString();
}

void SettingsManager::setSettingValue(const QString &name, const QString &value)
{
    const bool changed = value != settingValue(name);
    m_values.setValue(name, value);
    m_values.sync();
    const auto *const follower
        = std::find_if(followers.begin(), followers.end(), [&name](const Follower &candidate) {
              return name == QLatin1String(candidate.setting);
          });
    if (changed && follower != followers.end()) {
        tell(*follower, value);
    }
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
