#pragma once

#include <QDateTime>
#include <QTimeZone>

// Wall-clock times in a named zone, resolved the way people expect around
// daylight-saving changes: a time that the clocks skip becomes the first
// moment after the skip (02:30 on the spring-forward night is 03:00), and a
// time that happens twice is the first of the two.
namespace ZonedTime {
QDateTime at(QDate date, QTime time, const QTimeZone &zone);
// Midnight of `date` in `zone` (or the first moment of that day when a
// transition swallows midnight).
QDateTime startOfDay(QDate date, const QTimeZone &zone);
QDate dayOf(const QDateTime &moment, const QTimeZone &zone);
}
