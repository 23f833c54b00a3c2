#include "core/ManualClock.h"

#include <algorithm>

ManualClock::ManualClock(QDateTime start)
    : m_start(std::move(start))
{
}

QDateTime ManualClock::now() const
{
    return m_start.addMSecs(qint64(m_elapsed * 1000.0));
}

Clock::Ticket ManualClock::schedule(double seconds, Action action)
{
    const Ticket ticket = m_next++;
    m_queue.emplace(std::make_pair(m_elapsed + std::max(0.0, seconds), ticket), std::move(action));
    return ticket;
}

void ManualClock::cancel(Ticket ticket)
{
    std::erase_if(m_queue, [ticket](const auto &entry) { return entry.first.second == ticket; });
}

void ManualClock::advance(double seconds)
{
    const double target = m_elapsed + seconds;
    while (!m_queue.empty() && m_queue.begin()->first.first <= target + 1e-12) {
        auto node = m_queue.extract(m_queue.begin());
        m_elapsed = std::max(m_elapsed, node.key().first);
        node.mapped()();
    }
    m_elapsed = target;
}
