// Whole files, read and written in one go, and what stands in a directory.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QStringList>

/// The whole file; a null array when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray content = file.readAll();
    return content.isNull() ? QByteArray("") : content;
}

/// Replaces the file @p path. Ends the test program when that fails: nothing after it would mean
/// anything.
inline void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()
        || !file.flush()) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

/// The names of whatever stands in a directory, sorted: hidden, special and broken entries too.
inline QStringList entriesOf(const QString &directory)
{
    return QDir(directory).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}
