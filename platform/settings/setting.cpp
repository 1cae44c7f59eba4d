// D-Bus marshalling of Setting.
// SPDX-License-Identifier: MIT
#include <QVX/setting.h>

#include <QDBusMetaType>

const QString Setting::UNDEFINEDVALUE = QStringLiteral("UNDEFINED");

QDBusArgument &operator<<(QDBusArgument &argument, const Setting &setting)
{
    argument.beginStructure();
    argument << setting.name << setting.value << setting.defaultValue << setting.type
             << setting.module << setting.method << setting.description << setting.minimum
             << setting.maximum << setting.access;
    // The array is written by hand: QtDBus has no stream operator for a list of string pairs until
    // that type has been registered by somebody else.
    argument.beginArray(qMetaTypeId<QPair<QString, QString>>());
    for (const auto &choice : setting.choices) {
        argument.beginStructure();
        argument << choice.first << choice.second;
        argument.endStructure();
    }
    argument.endArray();
    argument << setting.readOnly << setting.persistent << setting.unit;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Setting &setting)
{
    argument.beginStructure();
    argument >> setting.name >> setting.value >> setting.defaultValue >> setting.type
        >> setting.module >> setting.method >> setting.description >> setting.minimum
        >> setting.maximum >> setting.access;
    setting.choices.clear();
    argument.beginArray();
    while (!argument.atEnd()) {
        QPair<QString, QString> choice;
        argument.beginStructure();
        argument >> choice.first >> choice.second;
        argument.endStructure();
        setting.choices.append(choice);
    }
    argument.endArray();
    argument >> setting.readOnly >> setting.persistent >> setting.unit;
    argument.endStructure();
    return argument;
}

void registerDBusSetting()
{
    qDBusRegisterMetaType<QPair<QString, QString>>();
    qRegisterMetaType<Setting>("Setting");
    qRegisterMetaType<ListSetting>("ListSetting");
    qDBusRegisterMetaType<Setting>();
    qDBusRegisterMetaType<ListSetting>();
}
