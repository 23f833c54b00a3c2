#pragma once

#include "calendar/AgendaEvent.h"
#include "calendar/EventStore.h"
#include "core/ClockSlot.h"
#include "core/QmlSingleton.h"

#include <QObject>
#include <QSet>
#include <QTimeZone>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class Clock;

// The model behind the calendar drawer: access to the store, the day the
// drawer shows, that day's events, and which days around it are busy. Kept
// current when the store changes (also by other programs) and when the date
// changes at midnight.
class CalendarAgenda : public QObject, public QmlSingleton<CalendarAgenda>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(Status status READ status NOTIFY statusChanged)
    Q_PROPERTY(QDateTime selectedDay READ selectedDay NOTIFY selectedDayChanged)
    Q_PROPERTY(QDateTime today READ today NOTIFY todayChanged)
    Q_PROPERTY(bool isTodaySelected READ isTodaySelected NOTIFY selectedDayChanged)
    Q_PROPERTY(QVariantList events READ eventList NOTIFY eventsChanged)
    Q_PROPERTY(double stripOffset READ stripOffset WRITE setStripOffset NOTIFY stripOffsetChanged)
    Q_PROPERTY(QString problem READ problem NOTIFY statusChanged)

public:
    enum class Status { NeedsPermission, Denied, WriteOnly, Ready };
    Q_ENUM(Status)

    struct CalendarChoice
    {
        QString id;
        QString title;
        QColor color;
        bool operator==(const CalendarChoice &) const = default;
    };

    static constexpr const char *kUntitled = "Untitled event";
    // Dragging the date strip this far (projected) moves one day.
    static constexpr double kPointsPerDay = -40;
    static constexpr int kBusyDaysBefore = 9;
    static constexpr int kBusyDaysAfter = 10;

    CalendarAgenda(EventStore &store, Clock &clock, QTimeZone zone = QTimeZone::systemTimeZone(), QObject *parent = nullptr);
    ~CalendarAgenda() override;

    static CalendarAgenda *create(QQmlEngine *engine, QJSEngine *js) { return QmlSingleton::create(engine, js); }

    Status status() const { return m_status; }
    QDateTime selectedDay() const { return m_selectedDay; }
    QDateTime today() const;
    bool isTodaySelected() const { return m_selectedDay == today(); }
    const QList<AgendaEvent> &events() const { return m_events; }
    QVariantList eventList() const;
    const QSet<QDate> &busyDays() const { return m_busyDays; }
    Q_INVOKABLE bool isBusy(const QDateTime &day) const;
    double stripOffset() const { return m_stripOffset; }
    void setStripOffset(double offset);
    QString problem() const { return m_store.problem(); }
    QTimeZone zone() const { return m_zone; }
    Clock &clock() const { return m_clock; }

    void refresh(const QDateTime &now);
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void requestAccess();
    Q_INVOKABLE void step(int days);
    Q_INVOKABLE void select(const QDateTime &day);
    Q_INVOKABLE void endStripDrag(double projectedTranslation);
    // Days a drag moves: the projected distance over -40 points, truncated
    // toward zero (dragging left goes forward in time).
    static int daysForDrag(double projectedTranslation);

    QList<CalendarChoice> writableCalendars() const;
    // Saves one event; on failure returns false with the store's sentence.
    bool addEvent(const QString &title, const QDateTime &start, const QDateTime &end, bool isAllDay,
                  const QString &calendarId = {}, QString *error = nullptr);
    Q_INVOKABLE void openCalendarApp();
    // Moves to the new today when the date has changed. The midnight wake-up
    // calls it; so does the drawer's minute tick, because a machine that
    // slept through midnight wakes its timers late.
    void checkDayChange();

Q_SIGNALS:
    void statusChanged();
    void selectedDayChanged();
    void todayChanged();
    void eventsChanged();
    void busyDaysChanged();
    void stripOffsetChanged();

private:
    QDateTime startOfDay(QDate date) const;
    QDate dayOf(const QDateTime &moment) const;
    QList<AgendaEvent> fetch(const QDateTime &from, const QDateTime &to) const;
    void setSelectedDay(const QDateTime &day);
    void armDayChange();

    EventStore &m_store;
    Clock &m_clock;
    QTimeZone m_zone;
    Status m_status = Status::NeedsPermission;
    QDateTime m_selectedDay;
    QDate m_today;
    QList<AgendaEvent> m_events;
    QSet<QDate> m_busyDays;
    double m_stripOffset = 0;
    ClockSlot m_dayChange;
};
