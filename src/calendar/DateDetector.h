#pragma once

#include <QDateTime>
#include <QString>
#include <QTimeZone>

#include <optional>

// Finds the first English date or time phrase in a line ("tomorrow at 1pm",
// "Fri 3-5pm", "12.5.", "in 2 hours") and reads it as an absolute moment
// relative to a reference time. Small pattern readers each recognise one kind
// of phrase; refinement passes then merge a day with its time, a time with
// its duration, and resolve relative days and weekdays.
class DateDetector
{
public:
    struct Match
    {
        QDateTime date;
        // Seconds; 0 when the phrase named no end.
        double duration = 0;
        // UTF-16 positions in the searched text.
        int start = 0;
        int length = 0;
    };

    // `bareTimesDay`: the day a time written without one goes on (today
    // when invalid). On today a bare hour is the next time the clock shows
    // it; on any other day the written hour decides, 1 to 6 meaning the
    // afternoon.
    static std::optional<Match> firstMatch(const QString &text, const QDateTime &now, const QTimeZone &zone,
                                           const QDate &bareTimesDay = {});
};
