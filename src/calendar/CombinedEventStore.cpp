#include "calendar/CombinedEventStore.h"

#include <QSet>

#include <algorithm>
#include <memory>

CombinedEventStore::CombinedEventStore(QList<EventStore *> stores, QObject *parent)
    : EventStore(parent)
    , m_stores(std::move(stores))
{
    for (EventStore *s : std::as_const(m_stores))
        connect(s, &EventStore::changed, this, &EventStore::changed);
}

QList<EventStore *> CombinedEventStore::readable() const
{
    QList<EventStore *> out;
    for (EventStore *s : m_stores) {
        if (s->authorizationStatus() == Authorization::FullAccess)
            out.append(s);
    }
    return out;
}

EventStore::Authorization CombinedEventStore::authorizationStatus() const
{
    // One readable store is enough to show the user's days.
    if (!readable().isEmpty() || m_stores.isEmpty())
        return Authorization::FullAccess;
    for (const EventStore *s : m_stores) {
        if (s->authorizationStatus() == Authorization::WriteOnly)
            return Authorization::WriteOnly;
    }
    return Authorization::Denied;
}

void CombinedEventStore::requestFullAccess(std::function<void(bool)> done)
{
    struct Answers {
        qsizetype waiting;
        bool granted = false;
        std::function<void(bool)> done;
    };
    auto answers = std::make_shared<Answers>(Answers {m_stores.size(), false, std::move(done)});
    if (m_stores.isEmpty()) {
        answers->done(true);
        return;
    }
    for (EventStore *s : std::as_const(m_stores)) {
        s->requestFullAccess([answers](bool granted) {
            answers->granted = answers->granted || granted;
            if (--answers->waiting == 0)
                answers->done(answers->granted);
        });
    }
}

QList<EventStore::Event> CombinedEventStore::events(const QDateTime &from, const QDateTime &to) const
{
    QList<Event> out;
    // The same occurrence seen through a second store: same UID, same start.
    QSet<QPair<QString, qint64>> seen;
    for (const EventStore *s : readable()) {
        const QList<Event> found = s->events(from, to);
        QSet<QPair<QString, qint64>> mine;
        for (const Event &e : found) {
            const QPair<QString, qint64> key {e.uid, e.start.toMSecsSinceEpoch()};
            if (!e.uid.isEmpty() && seen.contains(key))
                continue;
            mine.insert(key);
            out.append(e);
        }
        seen.unite(mine);
    }
    return out;
}

QList<EventStore::Calendar> CombinedEventStore::writableCalendars() const
{
    QList<Calendar> list;
    for (const EventStore *s : readable())
        list += s->writableCalendars();
    std::stable_sort(list.begin(), list.end(),
        [](const Calendar &a, const Calendar &b) { return a.title.compare(b.title, Qt::CaseInsensitive) < 0; });
    return list;
}

std::pair<EventStore *, std::optional<EventStore::Calendar>> CombinedEventStore::defaultTarget()
{
    for (EventStore *s : readable()) {
        if (auto c = s->defaultCalendarForNewEvents())
            return {s, c};
    }
    // A store may make a calendar on first use even before it can be read
    // (an empty folder tree).
    for (EventStore *s : std::as_const(m_stores)) {
        if (auto c = s->defaultCalendarForNewEvents())
            return {s, c};
    }
    return {nullptr, std::nullopt};
}

std::optional<EventStore::Calendar> CombinedEventStore::defaultCalendarForNewEvents()
{
    return defaultTarget().second;
}

std::optional<EventStore::Calendar> CombinedEventStore::calendar(const QString &id) const
{
    for (const EventStore *s : m_stores) {
        if (auto c = s->calendar(id))
            return c;
    }
    return std::nullopt;
}

bool CombinedEventStore::save(const NewEvent &event, const QString &calendarId, QString *error)
{
    if (!calendarId.isEmpty()) {
        for (EventStore *s : std::as_const(m_stores)) {
            if (s->calendar(calendarId))
                return s->save(event, calendarId, error);
        }
    }
    const auto [store, calendar] = defaultTarget();
    if (!store) {
        if (error)
            *error = QStringLiteral("There is no calendar to add to.");
        return false;
    }
    return store->save(event, calendar->id, error);
}

QString CombinedEventStore::problem() const
{
    if (!readable().isEmpty())
        return {};
    QStringList why;
    for (const EventStore *s : m_stores) {
        if (!s->problem().isEmpty())
            why.append(s->problem());
    }
    return why.join(QLatin1Char('\n'));
}
