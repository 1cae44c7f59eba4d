// The platform's error object. It is thrown by pointer; the application object catches it at the
// event loop, logs it and deletes it.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

class QObject;

class QVXException
{
public:
    /// Kinds of error, by their numbers on the platform.
    enum Type { Unknown = 0, Configuration = 1, Storage = 2, Communication = 3, Invocation = 4 };

    /**
     * @param module the module at fault; its object name is kept, not the pointer. May be null.
     * @param type the kind of error
     * @param text what happened, for the log
     */
    QVXException(const QObject *module, Type type, QString text);

    QString moduleName() const { return m_moduleName; }
    Type type() const { return m_type; }
    QString text() const { return m_text; }

private:
    QString m_moduleName;
    Type m_type;
    QString m_text;
};
