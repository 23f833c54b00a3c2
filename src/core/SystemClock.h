#pragma once

#include "core/Clock.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>

class QTimer;

// The real clock: QDateTime for wall time, QElapsedTimer (CLOCK_MONOTONIC)
// for durations, and a precise single-shot QTimer per scheduled action so
// that nothing ticks while nothing is pending.
class SystemClock final : public QObject, public Clock
{
    Q_OBJECT
public:
    explicit SystemClock(QObject *parent = nullptr);
    ~SystemClock() override;

    QDateTime now() const override;
    double monotonicNow() const override;
    Ticket schedule(double seconds, Action action) override;
    void cancel(Ticket ticket) override;

    int pendingCount() const { return int(m_timers.size()); }

private:
    QElapsedTimer m_monotonic;
    QHash<Ticket, QTimer *> m_timers;
    Ticket m_next = 1;
};
