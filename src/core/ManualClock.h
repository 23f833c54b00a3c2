#pragma once

#include "core/Clock.h"

#include <map>
#include <utility>

// A clock for tests: time stands still until advance() moves it, and due
// actions run in order of their due time (then of scheduling), each with the
// clock set to its own due time, so chains of timers behave as in real life.
class ManualClock final : public Clock
{
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2026, 11, 16), QTime(9, 0), Qt::UTC));

    QDateTime now() const override;
    double monotonicNow() const override { return m_elapsed; }
    Ticket schedule(double seconds, Action action) override;
    void cancel(Ticket ticket) override;

    void advance(double seconds);
    void setNow(const QDateTime &wall) { m_start = wall.addMSecs(-qint64(m_elapsed * 1000.0)); }
    int pendingCount() const { return int(m_queue.size()); }

private:
    QDateTime m_start;
    double m_elapsed = 0;
    Ticket m_next = 1;
    // (due time, ticket) keeps equal due times in scheduling order.
    std::map<std::pair<double, Ticket>, Action> m_queue;
};
