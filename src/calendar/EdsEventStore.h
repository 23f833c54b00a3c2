#pragma once

#include "calendar/EventStore.h"

#include <QHash>
#include <QTimeZone>

#include <memory>
#include <vector>

// Calendars kept by GNOME's calendar service (Evolution Data Server): those
// of Online Accounts (Google, Microsoft, Nextcloud) and of Evolution and
// GNOME Calendar. Opening is asynchronous on the main thread's GLib loop
// (Qt runs one there), so nothing here blocks start-up: the service's
// own threads do the waiting and hand back results on the main loop.
// Each calendar's events are mirrored through a live view, so other
// programs' changes arrive as they happen, without polling, and a day is
// read from memory.
class EdsEventStore final : public EventStore {
    Q_OBJECT
public:
    enum class State {
        Opening, // the service is being reached
        Open, // the calendars are listed (their events may still be arriving)
        Absent, // no calendar service on the session bus
        Failed, // the service answered, but no calendar could be opened
    };

    explicit EdsEventStore(QTimeZone zone = QTimeZone::systemTimeZone(), QObject *parent = nullptr);
    ~EdsEventStore() override;

    // Starts reaching the service; changed() follows every step.
    void open();
    State state() const { return m_state; }
    // True once every calendar that opened has delivered its first events.
    bool isComplete() const;

    Authorization authorizationStatus() const override;
    void requestFullAccess(std::function<void(bool granted)> done) override;
    QList<Event> events(const QDateTime &from, const QDateTime &to) const override;
    QList<Calendar> writableCalendars() const override;
    std::optional<Calendar> defaultCalendarForNewEvents() override;
    std::optional<Calendar> calendar(const QString &id) const override;
    bool save(const NewEvent &event, const QString &calendarId, QString *error) override;
    QString problem() const override { return m_problem; }

    // Calendar ids are the service's source ids behind this prefix, so they
    // never collide with a folder path.
    static constexpr const char *kIdPrefix = "eds:";

    struct Source; // one calendar, its client, its view and its mirror
    struct Private;

private:
    void setState(State state, const QString &problem = {});

    QTimeZone m_zone;
    State m_state = State::Absent;
    QString m_problem;
    std::unique_ptr<Private> d;

    friend struct Private;
};
