// The ordinary users of the phone.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

namespace Users {

/// Ordinary users of the machine do not exist in a phone that one of them has booted.
inline bool exist()
{
    return qgetenv("PHONE_ROOTLESS") != "1";
}

/// The words of a command line that runs @p command as the user @p name of the phone.
inline QStringList as(const QString &name, const QStringList &command)
{
    return QStringList {QStringLiteral("setpriv"),
                        QStringLiteral("--reuid"),
                        name,
                        QStringLiteral("--regid"),
                        name,
                        QStringLiteral("--init-groups"),
                        QStringLiteral("--inh-caps=-all"),
                        QStringLiteral("--")}
    + command;
}

/// A user in the group whose members may call the service.
inline QStringList asTechnician(const QStringList &command)
{
    return as(QStringLiteral("technician"), command);
}

/// A user without any right.
inline QStringList asVisitor(const QStringList &command)
{
    return as(QStringLiteral("visitor"), command);
}

} // namespace Users
