// Collects what is written to the platform's logger, instead of sending it to syslog.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxlogger.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <mutex>

/**
 * As long as it exists, nothing of this process reaches syslog(3). The configured level of the
 * test's own log is 7 (everything) until setLevel() is called.
 */
class LogCapture
{
public:
    struct Line
    {
        QString identifier;
        QVXLogger::Priority priority;
        QString text;
    };

    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY(LogCapture)

    /// Sets the configured level of the log with the application's name.
    static void setLevel(int level);

    QList<Line> lines() const;
    /// The texts written with @p priority, in order.
    QStringList texts(QVXLogger::Priority priority) const;
    QStringList errors() const { return texts(QVXLogger::Error); }
    QStringList debugs() const { return texts(QVXLogger::Debug); }
    void clear();

private:
    mutable std::mutex m_mutex;
    QList<Line> m_lines;
};
