#pragma once

#include <QDateTime>
#include <functional>

// Time as Tarnwick's services see it: wall time, a monotonic reading, and
// one-shot actions. Everything that is timed goes through a Clock so that a
// test can run a five-second linger in microseconds with ManualClock.
class Clock
{
public:
    using Action = std::function<void()>;
    using Ticket = quint64;

    virtual ~Clock() = default;

    virtual QDateTime now() const = 0;
    // Seconds on a clock that never jumps (suspend and NTP do not move it back).
    virtual double monotonicNow() const = 0;

    // Runs `action` once, `seconds` from now, on the thread that owns the
    // clock. Returns a ticket for cancel(); 0 is never a valid ticket.
    virtual Ticket schedule(double seconds, Action action) = 0;
    // Cancelling a ticket that already fired or was cancelled does nothing.
    virtual void cancel(Ticket ticket) = 0;

    // The process-wide real clock.
    static Clock &system();
};
