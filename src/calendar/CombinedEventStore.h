#pragma once

#include "calendar/EventStore.h"

#include <utility>

// Several stores read as one: the user's calendar folders and the desktop's
// calendar service side by side. A store that cannot be read is left out
// while another can; an event reached through two stores is listed once.
class CombinedEventStore final : public EventStore {
    Q_OBJECT
public:
    // `stores` in order of preference: the first readable one that offers a
    // default calendar receives quick-added events, and its copy of an event
    // found twice is the one listed.
    explicit CombinedEventStore(QList<EventStore *> stores, QObject *parent = nullptr);

    Authorization authorizationStatus() const override;
    void requestFullAccess(std::function<void(bool granted)> done) override;
    QList<Event> events(const QDateTime &from, const QDateTime &to) const override;
    QList<Calendar> writableCalendars() const override;
    std::optional<Calendar> defaultCalendarForNewEvents() override;
    std::optional<Calendar> calendar(const QString &id) const override;
    bool save(const NewEvent &event, const QString &calendarId, QString *error) override;
    QString problem() const override;

private:
    QList<EventStore *> readable() const;
    // The store and calendar quick-added events go to.
    std::pair<EventStore *, std::optional<Calendar>> defaultTarget();

    QList<EventStore *> m_stores;
};
