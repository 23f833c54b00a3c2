#include "core/ClockSlot.h"

ClockSlot::ClockSlot(Clock &clock)
    : m_clock(clock)
{
}

ClockSlot::~ClockSlot()
{
    cancel();
}

void ClockSlot::start(double seconds, Clock::Action action)
{
    cancel();
    m_ticket = m_clock.schedule(seconds, [this, action = std::move(action)] {
        m_ticket = 0;
        action();
    });
}

void ClockSlot::cancel()
{
    if (m_ticket != 0) {
        m_clock.cancel(m_ticket);
        m_ticket = 0;
    }
}
