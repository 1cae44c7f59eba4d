// Signals by which a person ends what goes on without end.
// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>

/// Keeps SIGINT, SIGTERM and SIGHUP from ending the process, so that it can end in order. To be
/// called before anything starts a thread: threads inherit it.
void holdStopSignals();

/// Calls a function for each of those signals.
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
