// Lets the test's own process stand in syslog-ng's place and count the hang-up signals sent to it.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/**
 * Puts the pid of this process into the pid file as long as it exists, and counts the hang-ups that
 * kill(1) sends to it. Before each it also notes what the file given as @p watched holds at that
 * moment.
 *
 * The signals are counted where they are sent, by a program that stands before kill(1) on the
 * search path (/usr/sbin): of two that arrive before the first is taken the kernel keeps one, and
 * ThreadSanitizer may hold one back. What was sent before a call was answered is in the count.
 */
class HangUps
{
public:
    explicit HangUps(const QString &watched = {});
    ~HangUps();
    Q_DISABLE_COPY(HangUps)

    /// The hang-ups sent to this process since this object was made.
    int count() const;
    /// What the watched file held when the last signal was sent; empty when it was not there.
    QByteArray watchedContent() const;

private:
    QByteArray m_savedPidFile;
    int m_before = 0;
};
