// The pairs of whole configurations in tests/data/editing.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QByteArray>
#include <QString>

namespace EditingData {

/// The file @p name with @p ending.
inline QByteArray file(const QString &name, const QString &ending)
{
    const QByteArray bytes
        = Phone::read(Phone::testsFile(QStringLiteral("data/editing/") + name + ending));
    if (bytes.isEmpty()) {
        qFatal("no data %s", qPrintable(name));
    }
    return bytes;
}

inline QByteArray before(const QString &name)
{
    return file(name, QStringLiteral(".before"));
}

inline QByteArray after(const QString &name)
{
    return file(name, QStringLiteral(".after"));
}

} // namespace EditingData
