#pragma once

#include "core/Clock.h"

// One timer per purpose: starting the slot again replaces what was pending,
// and destroying the owner cancels it, so an action never runs for an object
// that is gone.
class ClockSlot
{
public:
    explicit ClockSlot(Clock &clock);
    ~ClockSlot();
    ClockSlot(const ClockSlot &) = delete;
    ClockSlot &operator=(const ClockSlot &) = delete;

    void start(double seconds, Clock::Action action);
    void cancel();
    // False again by the time the action runs, so the action may restart it.
    bool isActive() const { return m_ticket != 0; }

private:
    Clock &m_clock;
    Clock::Ticket m_ticket = 0;
};
