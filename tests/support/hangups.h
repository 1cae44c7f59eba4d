// Lets the test's own process stand in syslog-ng's place and count the hang-up signals it gets.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/**
 * Puts the pid of this process into the pid file as long as it exists, and counts SIGHUP. At each
 * signal it also notes what the file given as @p watched holds at that very moment.
 */
class HangUps
{
public:
    explicit HangUps(const QString &watched = {});
    ~HangUps();
    Q_DISABLE_COPY(HangUps)

    int count() const;
    /// What the watched file held when the last signal came.
    QByteArray watchedContent() const;

private:
    QByteArray m_savedPidFile;
};
