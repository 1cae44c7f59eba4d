// Calls of the redirect command, and what it answers.
// SPDX-License-Identifier: MIT
#pragma once

#include "app/loggermodule.h"
#include "literal.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantList>

namespace Redirecting {

/// Calls the form of the command that takes these two, three or four arguments.
inline QString redirect(LoggerModule &module, const QVariantList &arguments)
{
    const auto text = [&](int index) { return arguments.at(index).toString(); };
    switch (arguments.size()) {
    case 2:
        return module.redirect(text(0), text(1));
    case 3:
        return module.redirect(text(0), text(1), text(2));
    default:
        return module.redirect(text(0), text(1), text(2), arguments.at(3).toInt());
    }
}

/// The arguments as the name of a test's row.
inline QByteArray rowName(const QVariantList &arguments)
{
    QStringList words;
    for (const QVariant &argument : arguments) {
        words.append("'"_s + argument.toString().left(30) + "'"_s);
    }
    return words.join(" "_s).toUtf8();
}

const QString allToPredefined = "All facilities redirected to predefined values "_s;
const QString allCorrupted
    = "One ore more config files were corrupted -- Initialised to predefined values "
      "-- check your log config with level or redirect command !"_s;
const QString notSet = "[REDIRECT] IP destination address not valid "_s;

inline QString moved(const QString &activity, const QString &destination)
{
    return "[REDIRECT] Activity : "_s + activity + " redirect to : "_s + destination;
}

inline QString allMoved(const QString &destination)
{
    return "All facilities redirected to : "_s + destination + " "_s;
}

/// For all activities, what is no destination.
inline QString allNotValid(const QString &destination)
{
    return "[REDIRECT] destination parameter not valid: "_s + destination;
}

} // namespace Redirecting
