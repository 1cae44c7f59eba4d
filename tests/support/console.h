// The console in tests: command lines as a person types them, and what came of them.
// SPDX-License-Identifier: MIT
#pragma once

#include "literal.h"
#include "programs.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QStringList>

/// What the table of activities begins with.
const QByteArray tableHeader = "   ACTIVITY           LEVEL      SUPPORT           DESTINATION \n";

/// The words of @p line as a shell splits it: at blanks, where no single quotes stand around them.
inline QStringList wordsOf(const QByteArray &line)
{
    static const QRegularExpression word("'([^']*)'|[^ ]+"_s);
    QStringList words;
    for (auto match = word.globalMatch(QString::fromUtf8(line)); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        words.append(found.captured(found.lastCapturedIndex()));
    }
    return words;
}

/// Runs loggerctl with the words of @p line.
inline Outcome console(const QByteArray &line,
                       const QProcessEnvironment &environment
                       = QProcessEnvironment::systemEnvironment())
{
    return runProgram(QStringList {"loggerctl"_s} + wordsOf(line), environment);
}

/// @p text as JSON; a null document when it is none.
inline QJsonDocument json(const QByteArray &text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError) {
        qWarning("%s in: %s", qPrintable(error.errorString()), text.constData());
        return {};
    }
    return document;
}
