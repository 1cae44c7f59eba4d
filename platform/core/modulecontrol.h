// The platform's control interface of a module: data resets asked for by the rest of the phone.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxmodule.h>

#include <QDBusAbstractAdaptor>

class ModuleControl : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXModule")

public:
    explicit ModuleControl(QVXModule *module) : QDBusAbstractAdaptor(module), m_module(module) { }

public Q_SLOTS:
    void restoreDataToDefault() { m_module->restoreDataToDefault(); }
    void restoreDataToFactory() { m_module->restoreDataToFactory(); }

private:
    QVXModule *m_module;
};
