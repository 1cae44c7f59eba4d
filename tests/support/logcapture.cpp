// The sink behind LogCapture.
// SPDX-License-Identifier: MIT
#include "logcapture.h"

LogCapture::LogCapture()
{
    QVXLogger::setSink(
        [this](const QString &identifier, QVXLogger::Priority priority, const QString &text) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_lines.append({identifier, priority, text});
        });
    setLevel(7);
}

LogCapture::~LogCapture()
{
    QVXLogger::setSink({});
    QVXLogger::forgetConfiguredLevels();
}

void LogCapture::setLevel(int level)
{
    const QVXLogger own = logger(QString());
    static_cast<void>(own.getConfiguredLevel()); // makes the name known before its level is set
    QVXLogger::setConfiguredLevel(own.identifier(), level);
}

QList<LogCapture::Line> LogCapture::lines() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lines;
}

QStringList LogCapture::texts(QVXLogger::Priority priority) const
{
    QStringList texts;
    for (const Line &line : lines()) {
        if (line.priority == priority) {
            texts.append(line.text);
        }
    }
    return texts;
}

void LogCapture::clear()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lines.clear();
}
