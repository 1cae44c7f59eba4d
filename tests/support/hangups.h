// Counts the hang-up signals that make syslog-ng reload.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

/**
 * Counts the hang-ups where they are sent, by a program that stands before kill(1) on the search
 * path
 * (/usr/sbin) from the first call on: of two signals that arrive before the first is taken the
 * kernel keeps one, and ThreadSanitizer may hold one back. What was sent before a call was answered
 * is in the count.
 */
namespace Reloads {

/// Has a line for each run of kill(1): its arguments.
const QString record = QStringLiteral("/run/phone/hangups/sent");

/// Puts the program there, for the life of the phone.
void install();
/// Empties the record.
void reset();
/// How many runs there were since then.
int count();

} // namespace Reloads

/**
 * Puts the pid of this process into the pid file as long as it exists, in syslog-ng's place, and
 * counts the hang-ups that are sent to it. At each it also notes what the file given as @p watched
 * holds at that moment.
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
