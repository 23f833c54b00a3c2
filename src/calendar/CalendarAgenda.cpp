#include "calendar/CalendarAgenda.h"

#include "calendar/CallLink.h"
#include "calendar/ZonedTime.h"
#include "core/Clock.h"

#include <QDesktopServices>

#include <algorithm>
#include <cmath>

// GIO names a struct member "signals", which Qt defines as a keyword.
#undef signals
#include <gio/gio.h>
#define signals Q_SIGNALS

namespace {

CalendarAgenda::Status statusFor(EventStore::Authorization a)
{
    switch (a) {
    case EventStore::Authorization::NotDetermined:
        return CalendarAgenda::Status::NeedsPermission;
    case EventStore::Authorization::WriteOnly:
        return CalendarAgenda::Status::WriteOnly;
    case EventStore::Authorization::FullAccess:
        return CalendarAgenda::Status::Ready;
    case EventStore::Authorization::Restricted:
    case EventStore::Authorization::Denied:
        break;
    }
    return CalendarAgenda::Status::Denied;
}

} // namespace

CalendarAgenda::CalendarAgenda(EventStore &store, Clock &clock, QTimeZone zone, QObject *parent)
    : QObject(parent)
    , m_store(store)
    , m_clock(clock)
    , m_zone(std::move(zone))
    , m_dayChange(clock)
{
    m_today = dayOf(m_clock.now());
    m_selectedDay = startOfDay(m_today);
    m_status = statusFor(m_store.authorizationStatus());
    connect(&m_store, &EventStore::changed, this, [this] { refresh(m_clock.now()); });
    armDayChange();
    refresh(m_clock.now());
}

CalendarAgenda::~CalendarAgenda()
{
    if (instance() == this)
        setInstance(nullptr);
}

QDateTime CalendarAgenda::startOfDay(QDate date) const
{
    return ZonedTime::startOfDay(date, m_zone);
}

QDate CalendarAgenda::dayOf(const QDateTime &moment) const
{
    return ZonedTime::dayOf(moment, m_zone);
}

QDateTime CalendarAgenda::today() const
{
    return startOfDay(m_today);
}

QVariantList CalendarAgenda::eventList() const
{
    QVariantList list;
    list.reserve(m_events.size());
    for (const AgendaEvent &e : m_events)
        list.append(QVariant::fromValue(e));
    return list;
}

bool CalendarAgenda::isBusy(const QDateTime &day) const
{
    return m_busyDays.contains(dayOf(day));
}

void CalendarAgenda::setStripOffset(double offset)
{
    if (qFuzzyCompare(offset + 1, m_stripOffset + 1))
        return;
    m_stripOffset = offset;
    Q_EMIT stripOffsetChanged();
}

void CalendarAgenda::setSelectedDay(const QDateTime &day)
{
    const QDateTime start = startOfDay(dayOf(day));
    if (start == m_selectedDay)
        return;
    m_selectedDay = start;
    Q_EMIT selectedDayChanged();
}

QList<AgendaEvent> CalendarAgenda::fetch(const QDateTime &from, const QDateTime &to) const
{
    QList<AgendaEvent> out;
    const QList<EventStore::Event> found = m_store.events(from, to);
    out.reserve(found.size());
    for (const EventStore::Event &e : found) {
        if (e.isCancelled)
            continue;
        AgendaEvent a;
        a.id = e.id;
        a.title = e.title.trimmed().isEmpty() ? QString::fromLatin1(kUntitled) : e.title;
        a.start = e.start;
        a.end = e.end;
        a.isAllDay = e.isAllDay;
        a.color = e.color;
        a.location = e.location;
        a.joinURL = CallLink::find(e.url, {e.location, e.notes}).value_or(QUrl());
        out.append(a);
    }
    return out;
}

void CalendarAgenda::refresh()
{
    refresh(m_clock.now());
}

void CalendarAgenda::refresh(const QDateTime &now)
{
    const Status status = statusFor(m_store.authorizationStatus());
    if (status != m_status) {
        m_status = status;
        Q_EMIT statusChanged();
    }
    // Without read access the lists keep what they had.
    if (m_status != Status::Ready)
        return;

    const QDate selected = dayOf(m_selectedDay);
    QList<AgendaEvent> day = fetch(m_selectedDay, startOfDay(selected.addDays(1)));
    // On today, what is over is gone; other days show everything.
    if (selected == dayOf(now)) {
        day.removeIf([&](const AgendaEvent &e) { return e.end <= now; });
    }
    std::stable_sort(day.begin(), day.end(), [](const AgendaEvent &a, const AgendaEvent &b) {
        if (a.isAllDay != b.isAllDay)
            return a.isAllDay;
        return a.start < b.start;
    });
    if (day != m_events) {
        m_events = day;
        Q_EMIT eventsChanged();
    }

    const QDateTime rangeStart = startOfDay(selected.addDays(-kBusyDaysBefore));
    const QDateTime rangeEnd = startOfDay(selected.addDays(kBusyDaysAfter));
    const QDate lastRangeDay = selected.addDays(kBusyDaysAfter);
    QSet<QDate> busy;
    for (const AgendaEvent &e : fetch(rangeStart, rangeEnd)) {
        // An event that ends exactly at midnight does not make the next day
        // busy; one that runs past midnight makes both days busy.
        const QDateTime lastMoment = e.end.addSecs(-1);
        QDate d = dayOf(std::max(e.start, rangeStart));
        while (startOfDay(d) <= lastMoment && d < lastRangeDay) {
            busy.insert(d);
            d = d.addDays(1);
        }
    }
    if (busy != m_busyDays) {
        m_busyDays = busy;
        Q_EMIT busyDaysChanged();
    }
}

void CalendarAgenda::requestAccess()
{
    m_store.requestFullAccess([this](bool) { refresh(m_clock.now()); });
}

void CalendarAgenda::step(int days)
{
    const QDate next = dayOf(m_selectedDay).addDays(days);
    // A day that cannot be stepped to is a programming error, not a user one.
    if (!next.isValid())
        qFatal("CalendarAgenda::step: no day %d days from %s", days, qPrintable(m_selectedDay.toString(Qt::ISODate)));
    setSelectedDay(startOfDay(next));
    refresh(m_clock.now());
}

void CalendarAgenda::select(const QDateTime &day)
{
    setSelectedDay(day);
    refresh(m_clock.now());
}

int CalendarAgenda::daysForDrag(double projectedTranslation)
{
    return int(std::trunc(projectedTranslation / kPointsPerDay));
}

void CalendarAgenda::endStripDrag(double projectedTranslation)
{
    const int days = daysForDrag(projectedTranslation);
    setStripOffset(0);
    if (days != 0)
        step(days);
}

QList<CalendarAgenda::CalendarChoice> CalendarAgenda::writableCalendars() const
{
    QList<CalendarChoice> list;
    for (const EventStore::Calendar &c : m_store.writableCalendars())
        list.append(CalendarChoice{c.id, c.title, c.color});
    std::stable_sort(list.begin(), list.end(),
                     [](const CalendarChoice &a, const CalendarChoice &b) { return a.title.compare(b.title, Qt::CaseInsensitive) < 0; });
    return list;
}

bool CalendarAgenda::addEvent(const QString &title, const QDateTime &start, const QDateTime &end, bool isAllDay,
                              const QString &calendarId, QString *error)
{
    QString calendar;
    if (!calendarId.isEmpty() && m_store.calendar(calendarId))
        calendar = calendarId;
    QString why;
    if (!m_store.save(EventStore::NewEvent{title, start, end, isAllDay}, calendar, &why)) {
        if (error)
            *error = why;
        return false;
    }
    // Show the day the event landed on.
    setSelectedDay(start);
    refresh(m_clock.now());
    return true;
}

void CalendarAgenda::armDayChange()
{
    const QDateTime now = m_clock.now();
    const QDateTime next = startOfDay(dayOf(now).addDays(1));
    // A second past midnight, so the new day has surely begun.
    m_dayChange.start(double(now.msecsTo(next)) / 1000.0 + 1.0, [this] {
        checkDayChange();
        armDayChange();
    });
}

void CalendarAgenda::checkDayChange()
{
    const QDate newToday = dayOf(m_clock.now());
    if (newToday == m_today)
        return;
    m_today = newToday;
    Q_EMIT todayChanged();
    setSelectedDay(startOfDay(newToday));
    refresh(m_clock.now());
    armDayChange();
}

void CalendarAgenda::openCalendarApp()
{
    // The desktop's default application for calendar files, started by
    // GIO as the desktop itself would: it expands or drops the Exec line's
    // field codes, honours its quoting, and uses D-Bus activation where the
    // application asks for it.
    GAppInfo *app = g_app_info_get_default_for_type("text/calendar", FALSE);
    if (!app)
        return;
    GError *error = nullptr;
    if (!g_app_info_launch(app, nullptr, nullptr, &error)) {
        qWarning("Tarnwick couldn't open the calendar application: %s", error ? error->message : "unknown error");
        g_clear_error(&error);
    }
    g_object_unref(app);
}
