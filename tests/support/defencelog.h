// The defence log in flash: what is put into it, and what is answered about it.
// SPDX-License-Identifier: MIT
#pragma once

#include "faults.h"
#include "literal.h"
#include "phone.h"

#include <QByteArray>
#include <QDir>
#include <QString>

namespace DefenceLog {

const QString directory = "/log"_s;
const QString path = "/log/Defence.log"_s;
const QByteArray three = "one\ntwo\nthree\n";

inline QString sizeText(int count)
{
    return "[DEFENCE] Total messages saved in flash sector:"_s + QString::number(count);
}

inline QString deletedText(int count)
{
    return "[DEFENCE] delete "_s + QString::number(count) + " lines OK"_s;
}

/// The whole log when more lines than @p count were to be deleted.
inline QByteArray onlyText(int count)
{
    return "Only " + QByteArray::number(count) + " lines in file : Defence.log \n";
}

inline QString defence(int position, const QString &todo)
{
    return Phone::text("defence"_s, {position, todo});
}

/// Makes a new log with @p content; for a null array there is none.
inline void write(const QByteArray &content)
{
    QDir().mkpath(directory);
    Faults::removeAll(path);
    if (!content.isNull()) {
        Phone::write(path, content);
    }
}

/// Numbered lines from @p first to @p last.
inline QByteArray numbered(int first, int last)
{
    QByteArray lines;
    for (int number = first; number <= last; ++number) {
        // One by one: a whole sum would be appended by a reallocation of its exact size.
        lines += "Nov 21 17:00:48 phone defence: message ";
        lines += QByteArray::number(number);
        lines += '\n';
    }
    return lines;
}

} // namespace DefenceLog
