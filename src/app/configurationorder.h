// Keeps work on the configuration files in the order in which it was asked for.
// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <condition_variable>
#include <mutex>
#include <thread>

/**
 * Hands out numbered tickets, and lets one ticket at a time have its turn, in order. Background
 * jobs and the operations of the main thread all rewrite the same files whole; two at once would
 * lose changes and let a caller see half of one.
 *
 * Every ticket that was taken must get its turn, or all later ones wait for ever.
 */
class ConfigurationOrder
{
public:
    using Ticket = quint64;

    /// The one order of this process.
    static ConfigurationOrder &instance();

    /// A place behind everything asked for so far.
    Ticket takeTicket();

    /**
     * Waits for its turn, and has it as long as it exists. Within a turn, another one on the same
     * thread changes nothing, so that operations can use each other.
     */
    class Turn
    {
    public:
        /// For work that starts right now: behind everything asked for so far.
        Turn();
        /// For a job that was asked for when @p ticket was taken.
        explicit Turn(Ticket ticket);
        ~Turn();
        Q_DISABLE_COPY(Turn)

    private:
        bool m_nested = false;
    };

private:
    void begin(Ticket ticket);
    void end();
    bool isHeldByThisThread();

    std::mutex m_mutex;
    std::condition_variable m_turnChanged;
    Ticket m_nextTicket = 0;
    Ticket m_currentTicket = 0; ///< whose turn it is, or will be as soon as it asks
    std::thread::id m_holder; ///< no thread between two turns
};
