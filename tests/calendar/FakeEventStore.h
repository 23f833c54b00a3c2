#pragma once

#include "CalendarTestEvents.h"

#include <algorithm>

// An in-memory store for fast tests of the agenda's own rules; the real
// folder store has its own tests against real files.
class FakeEventStore final : public EventStore
{
public:
    Authorization authorization = Authorization::FullAccess;
    Authorization afterRequest = Authorization::FullAccess;
    QList<Event> stored;
    QList<Calendar> calendars = {{QStringLiteral("cal-b"), QStringLiteral("Work"), QColor(Qt::red), true},
                                 {QStringLiteral("cal-a"), QStringLiteral("Home"), QColor(Qt::blue), true}};
    QString failWith;
    QString problemText;
    QList<QPair<NewEvent, QString>> saved;
    int queries = 0;

    Authorization authorizationStatus() const override { return authorization; }
    void requestFullAccess(std::function<void(bool)> done) override
    {
        authorization = afterRequest;
        done(authorization == Authorization::FullAccess);
    }
    QList<Event> events(const QDateTime &from, const QDateTime &to) const override
    {
        ++const_cast<FakeEventStore *>(this)->queries;
        QList<Event> out;
        for (const Event &e : stored) {
            if (e.start < to && e.end > from)
                out.append(e);
        }
        return out;
    }
    QList<Calendar> writableCalendars() const override { return calendars; }
    std::optional<Calendar> defaultCalendarForNewEvents() override { return calendars.first(); }
    std::optional<Calendar> calendar(const QString &id) const override
    {
        const auto it = std::find_if(calendars.begin(), calendars.end(), [&](const Calendar &c) { return c.id == id; });
        return it == calendars.end() ? std::nullopt : std::optional(*it);
    }
    bool save(const NewEvent &event, const QString &calendarId, QString *error) override
    {
        if (!failWith.isEmpty()) {
            *error = failWith;
            return false;
        }
        saved.append({event, calendarId});
        stored.append(makeEvent(event.title, event.start, event.isAllDay ? event.start.addDays(1) : event.end, event.isAllDay));
        return true;
    }
    QString problem() const override { return problemText; }
    void announce() { Q_EMIT changed(); }
};
