// The service's own diagnostics: one place that knows at which configured level each kind of line
// is written.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxlogger.h>

#include <QString>

namespace Diagnostics {

/// Writes @p text when the level configured for the service is above @p threshold. The text is put
/// together only then, so an unwritten line costs no more than the comparison.
template<typename Text>
void writeAbove(int threshold, void (QVXLogger::*write)(const QString &) const, const Text &text)
{
    const QVXLogger log = logger(QString());
    if (log.getConfiguredLevel() > threshold) {
        (log.*write)(QString(text));
    }
}

} // namespace Diagnostics

/// Each takes a text or a concatenation of texts, and writes it to the service's own log.
template<typename Text>
void logError(const Text &text)
{
    Diagnostics::writeAbove(2, &QVXLogger::error, text);
}

template<typename Text>
void logWarning(const Text &text)
{
    Diagnostics::writeAbove(3, &QVXLogger::warning, text);
}

template<typename Text>
void logInfo(const Text &text)
{
    Diagnostics::writeAbove(5, &QVXLogger::info, text);
}

template<typename Text>
void logDebug(const Text &text)
{
    Diagnostics::writeAbove(6, &QVXLogger::debug, text);
}
