#pragma once

#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QTimeZone>

#include <functional>
#include <optional>

#include "calendar/DateDetector.h"

// One typed line turned into an event: "Lunch with Sam tomorrow at 1pm" is
// "Lunch with Sam", tomorrow 13:00-14:00. Any text gives an event; a line
// without a recognisable date becomes a timed event on the day the drawer
// shows. Pure: the current time and the time zone come in as arguments.
class QuickEvent
{
    Q_GADGET
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QDateTime start MEMBER start)
    Q_PROPERTY(QDateTime end MEMBER end)
    Q_PROPERTY(bool isAllDay MEMBER isAllDay)
public:
    QString title;
    QDateTime start;
    // start + duration for a timed event; equal to start for an all-day one.
    QDateTime end;
    bool isAllDay = false;

    bool operator==(const QuickEvent &other) const = default;

    using Detector = std::function<std::optional<DateDetector::Match>(const QString &, const QDateTime &, const QTimeZone &,
                                                                      const QDate &)>;

    static QuickEvent parse(const QString &text, const QDateTime &day, const QDateTime &now, const QTimeZone &zone);
    // The same with another date detector; an empty one stands for a
    // detector that could not be made, so only the plain fallbacks run.
    static QuickEvent parse(const QString &text, const QDateTime &day, const QDateTime &now, const QTimeZone &zone,
                            const Detector &detector);

    static constexpr double kDefaultDuration = 3600;
};

Q_DECLARE_METATYPE(QuickEvent)
