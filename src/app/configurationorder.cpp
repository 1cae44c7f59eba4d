// A ticket lock, as at a counter.
// SPDX-License-Identifier: MIT
#include "configurationorder.h"

ConfigurationOrder &ConfigurationOrder::instance()
{
    // Never destroyed: a thread of the pool may still leave it while the process ends.
    static auto *const order = new ConfigurationOrder;
    return *order;
}

ConfigurationOrder::Ticket ConfigurationOrder::takeTicket()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_nextTicket++;
}

void ConfigurationOrder::begin(Ticket ticket)
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_turnChanged.wait(lock, [&] { return m_currentTicket == ticket; });
        m_holder = std::this_thread::get_id();
    }
    m_lock.take();
}

void ConfigurationOrder::end()
{
    m_lock.release();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_holder = std::thread::id();
        ++m_currentTicket;
    }
    m_turnChanged.notify_all();
}

bool ConfigurationOrder::isHeldByThisThread()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_holder == std::this_thread::get_id();
}

ConfigurationOrder::Turn::Turn() : m_nested(instance().isHeldByThisThread())
{
    if (!m_nested) {
        instance().begin(instance().takeTicket());
    }
}

ConfigurationOrder::Turn::Turn(Ticket ticket)
{
    instance().begin(ticket);
}

ConfigurationOrder::Turn::~Turn()
{
    if (!m_nested) {
        instance().end();
    }
}

ConfigurationOrder::Interval::Interval() : m_inTurn(instance().isHeldByThisThread())
{
    if (m_inTurn) {
        instance().m_lock.release();
    }
}

ConfigurationOrder::Interval::~Interval()
{
    if (m_inTurn) {
        instance().m_lock.take();
    }
}
