#pragma once

#include "calendar/AgendaEvent.h"
#include "calendar/EventStore.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QFileInfo>
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

// Writes a file, making its folder first.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return QDir().mkpath(QFileInfo(path).path()) && f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

template<typename Event>
QStringList titles(const QList<Event> &events)
{
    QStringList out;
    for (const Event &e : events)
        out.append(e.title);
    return out;
}

// The agenda's list as a user reads it: "09:00-09:45 Dentist -> host of the call".
inline QStringList describe(const QList<AgendaEvent> &events)
{
    QStringList out;
    for (const AgendaEvent &e : events) {
        const auto hhmm = [](const QDateTime &t) { return t.toTimeZone(berlin()).toString(QStringLiteral("HH:mm")); };
        out.append((e.isAllDay ? QStringLiteral("all day") : hhmm(e.start) + QLatin1Char('-') + hhmm(e.end)) + QLatin1Char(' ')
                   + e.title + (e.hasJoinURL() ? QStringLiteral(" -> ") + e.joinURL.host() : QString()));
    }
    return out;
}
