#pragma once

#include "calendar/EventStore.h"

#include <QColor>
#include <QDateTime>
#include <QTimeZone>

// The calendar tests live in Berlin: its clocks change twice a year, so a
// slip between UTC, the zone and the wall clock shows up.
inline const QTimeZone &berlin()
{
    static const QTimeZone zone("Europe/Berlin");
    return zone;
}

// An event as the store hands it out; its title doubles as its id.
inline EventStore::Event makeEvent(const QString &title, const QDateTime &start, const QDateTime &end,
                                   bool allDay = false, const QColor &color = {})
{
    EventStore::Event e;
    e.id = title;
    e.title = title;
    e.start = start;
    e.end = end;
    e.isAllDay = allDay;
    e.color = color;
    return e;
}

template<typename Event>
QStringList titles(const QList<Event> &events)
{
    QStringList out;
    for (const Event &e : events)
        out.append(e.title);
    return out;
}
