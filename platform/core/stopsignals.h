// Turns SIGTERM and SIGINT into a Qt signal.
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

/**
 * Catches SIGTERM and SIGINT as long as it exists. A signal handler may do next to nothing
 * (signal-safety(7)), so it writes a byte into a socket pair that the event loop watches. The
 * signals are not blocked: child processes would inherit that.
 */
class StopSignals : public QObject
{
    Q_OBJECT

public:
    explicit StopSignals(QObject *parent = nullptr);
    ~StopSignals() override;

    /// How long ago the first of the signals came, in milliseconds; -1 when none has come yet. From
    /// any thread, and true at once: the event loop may be busy.
    static qint64 elapsedSinceRequest();

Q_SIGNALS:
    void stopRequested();

private:
    void readByte();
};
