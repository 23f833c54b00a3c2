#include "calendar/ZonedTime.h"

#include <array>

namespace ZonedTime {

QDateTime at(QDate date, QTime time, const QTimeZone &zone)
{
    if (!date.isValid() || !time.isValid())
        return {};
    if (!zone.isValid())
        return QDateTime(date, time, Qt::LocalTime);
    // The wall time read as if it were UTC; a real instant is this minus the
    // offset in force at that instant.
    const qint64 wall = QDateTime(date, time, Qt::UTC).toMSecsSinceEpoch();
    constexpr qint64 halfDay = 12 * 3600 * 1000LL;
    const std::array<int, 2> offsets = {
        zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(wall - halfDay, Qt::UTC)),
        zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(wall + halfDay, Qt::UTC)),
    };
    qint64 best = 0;
    bool found = false;
    for (int offset : offsets) {
        const qint64 instant = wall - offset * 1000LL;
        const QDateTime candidate = QDateTime::fromMSecsSinceEpoch(instant, Qt::UTC);
        if (zone.offsetFromUtc(candidate) == offset && (!found || instant < best)) {
            best = instant;
            found = true;
        }
    }
    if (found)
        return QDateTime::fromMSecsSinceEpoch(best, zone);
    // Neither offset fits: the clocks jumped over this time. The jump itself
    // is the first moment that exists after it.
    const auto transition = zone.nextTransition(QDateTime::fromMSecsSinceEpoch(wall - halfDay - 14 * 3600 * 1000LL, Qt::UTC));
    if (transition.atUtc.isValid())
        return transition.atUtc.toTimeZone(zone);
    return QDateTime::fromMSecsSinceEpoch(wall - offsets[0] * 1000LL, zone);
}

QDateTime startOfDay(QDate date, const QTimeZone &zone)
{
    return at(date, QTime(0, 0), zone);
}

QDate dayOf(const QDateTime &moment, const QTimeZone &zone)
{
    return zone.isValid() ? moment.toTimeZone(zone).date() : moment.toLocalTime().date();
}

} // namespace ZonedTime
