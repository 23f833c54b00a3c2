#pragma once

#include <QColor>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

// Where the agenda reads and saves events. One implementation keeps them in
// folders of iCalendar files; others (a desktop calendar service) slot in
// behind the same calls.
class EventStore : public QObject
{
    Q_OBJECT
public:
    enum class Authorization { NotDetermined, Restricted, Denied, FullAccess, WriteOnly };

    struct Calendar
    {
        QString id;
        QString title;
        QColor color;
        bool writable = false;
        bool operator==(const Calendar &) const = default;
    };

    // One occurrence of an event in a queried range.
    struct Event
    {
        QString id;
        // The iCalendar UID: the same event reached through two stores
        // (a calendar synced into a folder and also kept by the desktop's
        // calendar service) has the same one.
        QString uid;
        QString calendarId;
        QString title;
        QDateTime start;
        QDateTime end;
        bool isAllDay = false;
        bool isCancelled = false;
        QColor color;
        QString location;
        QString notes;
        QUrl url;
    };

    struct NewEvent
    {
        QString title;
        QDateTime start;
        QDateTime end;
        bool isAllDay = false;
    };

    using QObject::QObject;

    virtual Authorization authorizationStatus() const = 0;
    // Asks for full access; `done` runs on the main thread with the answer.
    virtual void requestFullAccess(std::function<void(bool granted)> done) = 0;
    // Occurrences overlapping [from, to) over all calendars, cancelled ones
    // included and marked.
    virtual QList<Event> events(const QDateTime &from, const QDateTime &to) const = 0;
    virtual QList<Calendar> writableCalendars() const = 0;
    // The calendar new events go to; may create one on first use.
    virtual std::optional<Calendar> defaultCalendarForNewEvents() = 0;
    virtual std::optional<Calendar> calendar(const QString &id) const = 0;
    // Saves one new event; on failure returns false and a sentence in `error`.
    virtual bool save(const NewEvent &event, const QString &calendarId, QString *error) = 0;
    // Why the store cannot be read, in a sentence naming what failed.
    virtual QString problem() const { return {}; }

Q_SIGNALS:
    // The store's content or access changed, by us or by another program.
    void changed();

protected:
    // A sync run or a calendar opening brings a burst of changes; the agenda
    // reads the store once, after the burst.
    void announceChange()
    {
        if (m_changePending)
            return;
        m_changePending = true;
        QMetaObject::invokeMethod(
            this,
            [this] {
                m_changePending = false;
                Q_EMIT changed();
            },
            Qt::QueuedConnection);
    }

private:
    bool m_changePending = false;
};
