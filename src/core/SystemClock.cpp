#include "core/SystemClock.h"

#include <QTimer>
#include <cmath>

SystemClock::SystemClock(QObject *parent)
    : QObject(parent)
{
    m_monotonic.start();
}

SystemClock::~SystemClock()
{
    qDeleteAll(m_timers);
}

QDateTime SystemClock::now() const
{
    return QDateTime::currentDateTime();
}

double SystemClock::monotonicNow() const
{
    return double(m_monotonic.nsecsElapsed()) / 1e9;
}

Clock::Ticket SystemClock::schedule(double seconds, Action action)
{
    const Ticket ticket = m_next++;
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    // Precise: the shell's delays (0.11 s, 0.12 s) are felt by the hand, and
    // coarse timers may be off by 5 %.
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(std::chrono::milliseconds(qint64(std::ceil(std::max(0.0, seconds) * 1000.0))));
    connect(timer, &QTimer::timeout, this, [this, ticket, action = std::move(action)] {
        QTimer *t = m_timers.take(ticket);
        if (t == nullptr)
            return;
        t->deleteLater();
        action();
    });
    m_timers.insert(ticket, timer);
    timer->start();
    return ticket;
}

void SystemClock::cancel(Ticket ticket)
{
    if (QTimer *t = m_timers.take(ticket)) {
        t->stop();
        t->deleteLater();
    }
}

Clock &Clock::system()
{
    static auto *clock = new SystemClock;
    return *clock;
}
