// Keeps work on the configuration files in the order in which it was asked for.
// SPDX-License-Identifier: MIT
#pragma once

#include "configurationlock.h"

#include <QtGlobal>

#include <condition_variable>
#include <mutex>
#include <thread>

/**
 * Hands out numbered tickets, and lets one ticket at a time have its turn, in order. Background
 * jobs and the operations of the main thread all rewrite the same files whole; two at once would
 * lose changes and let a caller see half of one. During a turn other processes are kept away, too
 * (ConfigurationLock).
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

    /**
     * Lets other processes at the files as long as it exists, in the middle of a turn: a program
     * that this process waits for has to come to its end. Without a turn it does nothing.
     */
    class Interval
    {
    public:
        Interval();
        ~Interval();
        Q_DISABLE_COPY(Interval)

    private:
        const bool m_inTurn;
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
    ConfigurationLock m_lock; ///< the holder's alone
};
