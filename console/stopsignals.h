// Signals by which a person ends what goes on without end.
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>

/// While it lives, SIGINT, SIGTERM and SIGHUP do not end the process. Threads that are started
/// meanwhile never take them.
class HeldStopSignals
{
public:
    HeldStopSignals();
    ~HeldStopSignals();
    Q_DISABLE_COPY(HeldStopSignals)
};

/// Calls a function for each of those signals. Until then they end the process as usual, so that
/// nothing that is waited for before keeps a person waiting.
class StopSignals : public QObject
{
public:
    /// From now on @p stopped is called in the event loop.
    explicit StopSignals(const std::function<void()> &stopped);
    ~StopSignals() override;
    Q_DISABLE_COPY(StopSignals)

private:
    int m_descriptor;
    QSocketNotifier m_notifier;
};
