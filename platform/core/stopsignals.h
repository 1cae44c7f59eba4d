// Turns SIGTERM and SIGINT into a Qt signal.
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

/**
 * Catches SIGTERM and SIGINT as long as it exists. A signal handler may do next to nothing
 * (signal-safety(7)), so it adds to an eventfd(2) that the event loop watches. The signals are not
 * blocked: child processes would inherit that.
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

    /// Whether one of the signals has come. From any thread, and true at once.
    static bool isRequested() { return elapsedSinceRequest() >= 0; }

    /// As long as it exists, the signals end the process at once, with status 0: for what cannot be
    /// broken off, as long as there is nothing to put in order.
    class NothingBegun
    {
    public:
        NothingBegun();
        ~NothingBegun();
        Q_DISABLE_COPY(NothingBegun)
    };

    /// A descriptor that is readable from the first of the signals on, for poll(2) in any thread;
    /// -1 when the signals are not caught. Nobody may read from it.
    static int descriptor();

Q_SIGNALS:
    /// Emitted by the event loop after the first of the signals, once.
    void stopRequested();
};
