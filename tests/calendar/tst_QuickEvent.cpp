#include "CalendarTestEvents.h"

#include "calendar/DateDetector.h"
#include "calendar/QuickEvent.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

// Reference moments, all in Berlin.
QDateTime reference(const QString &key)
{
    static const QHash<QString, QDateTime> refs = {
        {QStringLiteral("Mon"), QDateTime(QDate(2026, 11, 16), QTime(9, 0), berlin())},
        {QStringLiteral("Tue"), QDateTime(QDate(2026, 11, 17), QTime(8, 0), berlin())},
        {QStringLiteral("Tue14:20"), QDateTime(QDate(2026, 11, 17), QTime(14, 20), berlin())},
        {QStringLiteral("FriEve"), QDateTime(QDate(2026, 11, 20), QTime(18, 30), berlin())},
        {QStringLiteral("Sun23:30"), QDateTime(QDate(2026, 11, 22), QTime(23, 30), berlin())},
        {QStringLiteral("Dec31"), QDateTime(QDate(2026, 12, 31), QTime(10, 0), berlin())},
        // The night the clocks go forward (02:00 -> 03:00) is 28 March 2027,
        // the night they go back (03:00 -> 02:00) is 25 October 2026.
        {QStringLiteral("SpringSat"), QDateTime(QDate(2027, 3, 27), QTime(12, 0), berlin())},
        {QStringLiteral("AutumnSat"), QDateTime(QDate(2026, 10, 24), QTime(12, 0), berlin())},
    };
    Q_ASSERT(refs.contains(key));
    return refs.value(key);
}

QString offsetText(const QDateTime &t)
{
    const int minutes = t.offsetFromUtc() / 60;
    return QStringLiteral("%1%2:%3")
        .arg(minutes < 0 ? QLatin1Char('-') : QLatin1Char('+'))
        .arg(qAbs(minutes) / 60, 2, 10, QLatin1Char('0'))
        .arg(qAbs(minutes) % 60, 2, 10, QLatin1Char('0'));
}

// Formats `t` like `expected`: a date, a date and time, or a date and time
// with the UTC offset (used where daylight saving makes the wall time
// ambiguous).
QString shownLike(const QString &expected, const QDateTime &t)
{
    const QDateTime local = t.toTimeZone(berlin());
    if (expected.size() == 10)
        return local.toString(QStringLiteral("yyyy-MM-dd")) + (local.time() == QTime(0, 0) ? QString() : local.toString(QStringLiteral(" HH:mm")));
    QString s = local.toString(QStringLiteral("yyyy-MM-dd HH:mm"));
    if (expected.size() > 16)
        s += QLatin1Char(' ') + offsetText(local);
    return s;
}

} // namespace

class tst_QuickEvent : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parsesTypedLines_data()
    {
        QTest::addColumn<QString>("ref");
        QTest::addColumn<int>("selected"); // days after the reference day
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("start"); // "yyyy-MM-dd" alone means all day
        QTest::addColumn<QString>("end"); // "HH:mm" on the start's day, or a full date and time
        QTest::addColumn<bool>("detector"); // false: the detector could not be made
        bool detector = true;
        auto row = [&](const char *ref, int sel, const QString &in, const QString &title, const char *start, const char *end = "") {
            QTest::addRow("%s%s%+d: %s", detector ? "" : "no detector, ", ref, sel, qPrintable(in))
                << QString::fromLatin1(ref) << sel << in << title << QString::fromLatin1(start) << QString::fromLatin1(end) << detector;
        };

        // The worked examples, with "today" a Tuesday.
        row("Tue", 0, "Lunch with Sam tomorrow at 1pm", "Lunch with Sam", "2026-11-18 13:00", "14:00");
        row("Tue", 0, "Dentist friday", "Dentist", "2026-11-20");
        row("Tue", 0, "Standup at 9:30", "Standup", "2026-11-17 09:30", "10:30");
        row("Tue14:20", 0, "Write report", "Write report", "2026-11-17 15:00", "16:00");

        // Monday morning, 09:00.
        row("Mon", 0, "Meeting 3-5pm tomorrow", "Meeting", "2026-11-17 15:00", "17:00");
        row("Mon", 0, "Workshop 10–11:30am", "Workshop", "2026-11-16 10:00", "11:30");
        row("Mon", 0, "Brunch 11-1pm saturday", "Brunch", "2026-11-21 11:00", "13:00");
        row("Mon", 0, "Planning tomorrow from 2 to 4pm", "Planning", "2026-11-17 14:00", "16:00");
        row("Mon", 0, "Meeting between 2 and 3pm", "Meeting", "2026-11-16 14:00", "15:00");
        row("Mon", 0, "Gym for 2 hours at 6pm", "Gym", "2026-11-16 18:00", "20:00");
        row("Mon", 0, "Call at 4pm for 30 min", "Call", "2026-11-16 16:00", "16:30");
        row("Mon", 0, "Focus tomorrow 9am for half an hour", "Focus", "2026-11-17 09:00", "09:30");
        row("Mon", 0, "Dinner tonight at 8", "Dinner", "2026-11-16 20:00", "21:00");
        row("Mon", 0, "Call mom in 2 hours", "Call mom", "2026-11-16");
        row("Mon", 0, "Follow up in 2 weeks", "Follow up", "2026-11-30");
        row("Mon", 0, "Report due next friday", "Report due", "2026-11-27");
        row("Mon", 0, "Drinks this friday at 7pm", "Drinks", "2026-11-20 19:00", "20:00");
        // "this month" holds "mon", so it names a day: today.
        row("Mon", 0, "Retro this month", "Retro", "2026-11-16");
        row("Mon", 0, "Trip next weekend", "Trip", "2026-11-28");
        row("Mon", 0, "Sale this weekend", "Sale", "2026-11-21");
        row("Mon", 0, "Holiday Dec 24", "Holiday", "2026-12-24");
        row("Mon", 0, "Party December 31st at 9pm", "Party", "2026-12-31 21:00", "22:00");
        row("Mon", 0, "Flight 14 November 2027", "Flight", "2027-11-14");
        row("Mon", 0, "Flight 14th of November", "Flight", "2027-11-14");
        row("Mon", 0, "Conference 2026-11-14", "Conference", "2026-11-14");
        row("Mon", 0, "Call 5/12 3pm", "Call", "2027-05-12 15:00", "16:00");
        row("Mon", 0, "Release 11/30/26", "Release", "2026-11-30");
        row("Mon", 0, "Dinner 12.5.", "Dinner", "2027-05-12");
        // Only a slash vouches for a numeric day next to a time.
        row("Mon", 0, "Launch 2026-12-01 10:00", "Launch", "2026-11-16 10:00", "11:00");
        row("Mon", 0, "Offsite Jan 3rd, 2027", "Offsite", "2027-01-03");
        row("Mon", 0, "Kickoff March", "Kickoff", "2027-03-01");
        row("Mon", 0, "Kickoff November 2027", "Kickoff", "2027-11-01");
        // "midday" is read, but only the listed words make a phrase a time of day.
        row("Mon", 0, "Lunch at midday tomorrow", "Lunch", "2026-11-17");
        row("Mon", 0, "Coffee at 03", "Coffee", "2026-11-16 03:00", "04:00");
        row("Mon", 0, "Coffee at 10", "Coffee", "2026-11-16 10:00", "11:00");
        row("Mon", 0, "Standup 9:30 tomorrow", "Standup", "2026-11-17 09:30", "10:30");
        row("Mon", 0, "Sync tomorrow at 3:30", "Sync", "2026-11-17 15:30", "16:30");
        row("Mon", 0, "1:1 with Ana Thursday 4pm", "1:1 with Ana", "2026-11-19 16:00", "17:00");
        row("Mon", 0, "Picnic in the sun", "Picnic in the sun", "2026-11-16 10:00", "11:00");
        row("Mon", 0, "Brunch on sun", "Brunch", "2026-11-22");
        row("Mon", 0, "Call with Zoë on Wednesday at 10", "Call with Zoë", "2026-11-18 10:00", "11:00");
        row("Mon", 0, "Yoga tomorrow morning", "Yoga", "2026-11-17 09:00", "10:00");
        row("Mon", 0, "Call friday afternoon", "Call", "2026-11-20 15:00", "16:00");
        row("Mon", 0, "Dinner friday evening at 8", "Dinner", "2026-11-20 20:00", "21:00");
        row("Mon", 0, "Call 4:30 p.m.", "Call", "2026-11-16 16:30", "17:30");
        row("Mon", 0, "Flight yesterday", "Flight", "2026-11-15");
        row("Mon", 0, "Standup next monday 9:30", "Standup", "2026-11-23 09:30", "10:30");
        row("Mon", 0, "Sprint tue 10am", "Sprint", "2026-11-17 10:00", "11:00");
        row("Mon", 0, "Planning Thurs. 2pm", "Planning", "2026-11-19 14:00", "15:00");
        row("Mon", 0, "5pm drinks", "drinks", "2026-11-16 17:00", "18:00");
        row("Mon", 0, "Drinks at 5 pm", "Drinks", "2026-11-16 17:00", "18:00");
        row("Mon", 0, "Drinks @ 5pm", "Drinks", "2026-11-16 17:00", "18:00");
        row("Mon", 0, "Party the day after tomorrow", "Party", "2026-11-18");
        row("Mon", 0, "Meeting with 5-6 people tomorrow", "Meeting with 5-6 people", "2026-11-17");
        row("Mon", 0, "Meeting at 25", "Meeting at 25", "2026-11-16 10:00", "11:00");
        row("Mon", 0, "Meeting at 25 tomorrow", "Meeting at 25", "2026-11-17");
        // An abbreviation the day words do not know leaves the time on today.
        row("Mon", 0, "Lunch with Sam tmrw at 1pm", "Lunch with Sam tmrw", "2026-11-16 13:00", "14:00");
        row("Mon", 0, "DENTIST FRIDAY 2PM", "DENTIST", "2026-11-20 14:00", "15:00");
        row("Mon", 0, "breakfast meeting tomorrow", "breakfast meeting", "2026-11-17");
        // Times on another selected day are checked at many typing times below.
        row("Mon", 3, "Lunch tomorrow", "Lunch", "2026-11-17");
        row("Mon", -1, "Write report", "Write report", "2026-11-15 09:00", "10:00");

        // Titles: what is left after the date, connectors trimmed at both ends.
        row("Mon", 0, "tomorrow at 1pm", "1pm", "2026-11-17 13:00", "14:00");
        row("Mon", 0, "tomorrow", "tomorrow", "2026-11-17");
        row("Mon", 0, "from - by Review on friday", "Review", "2026-11-20");
        row("Mon", 0, "Meet by the lake tomorrow", "Meet by the lake", "2026-11-17");
        row("Mon", 0, "– Retro – friday", "Retro", "2026-11-20");
        row("Mon", 0, "Standup   with    team   friday", "Standup with team", "2026-11-20");
        row("Mon", 0, "  Lunch with Sam tomorrow at 1pm \n", "Lunch with Sam", "2026-11-17 13:00", "14:00");
        row("Mon", 0, "Party on friday at 9pm in the garden", "Party in the garden", "2026-11-20 21:00", "22:00");
        row("Mon", 0, "Lunch at noon at the Deli", "Lunch at the Deli", "2026-11-16 12:00", "13:00");
        row("Mon", 0, "", "", "2026-11-16 10:00", "11:00");

        // Titles in other scripts.
        row("Mon", 0, "Café avec Amélie demain", "Café avec Amélie demain", "2026-11-16 10:00", "11:00");
        row("Mon", 0, "Встреча tomorrow 3pm", "Встреча", "2026-11-17 15:00", "16:00");
        row("Mon", 0, "会议 friday 2pm", "会议", "2026-11-20 14:00", "15:00");
        row("Mon", 0, "Geburtstag 🎂 tomorrow", "Geburtstag 🎂", "2026-11-17");
        row("Mon", 0, "Straße fegen montag", "Straße fegen montag", "2026-11-16 10:00", "11:00");

        // Friday evening, 18:30.
        row("FriEve", 0, "Drinks at 7", "Drinks", "2026-11-20 19:00", "20:00");
        row("FriEve", 0, "Breakfast at 8", "Breakfast", "2026-11-20 20:00", "21:00");
        row("FriEve", 0, "Standup at 9:30", "Standup", "2026-11-20 21:30", "22:30");
        row("FriEve", 0, "Dentist friday", "Dentist", "2026-11-20");
        row("FriEve", 0, "Dentist next friday", "Dentist", "2026-11-27");
        row("FriEve", 0, "Write report", "Write report", "2026-11-20 19:00", "20:00");
        row("FriEve", 0, "Review 2pm", "Review", "2026-11-20 14:00", "15:00");
        row("FriEve", 0, "Lunch Monday", "Lunch", "2026-11-23");
        row("FriEve", 0, "Lunch next Monday", "Lunch", "2026-11-23");
        row("FriEve", 0, "Party 9pm-1am", "Party", "2026-11-20 21:00", "2026-11-21 01:00");
        row("FriEve", 0, "Wedding June 12", "Wedding", "2027-06-12");
        row("FriEve", 0, "Nov 20", "Nov 20", "2026-11-20");
        row("FriEve", 0, "Deadline november 19", "Deadline", "2027-11-19");
        row("FriEve", 0, "Dinner at 8 tomorrow", "Dinner", "2026-11-21 08:00", "09:00");

        // Sunday, half an hour before midnight.
        row("Sun23:30", 0, "Standup monday", "Standup", "2026-11-23");
        row("Sun23:30", 0, "Standup next monday", "Standup", "2026-11-23");
        row("Sun23:30", 0, "Brunch sunday", "Brunch", "2026-11-22");
        row("Sun23:30", 0, "Brunch next sunday", "Brunch", "2026-11-29");
        row("Sun23:30", 0, "Call at 11", "Call", "2026-11-22 11:00", "12:00");
        row("Sun23:30", 0, "Write report", "Write report", "2026-11-23 00:00", "2026-11-23 01:00");
        row("Sun23:30", 0, "Late call at 23:45", "Late call", "2026-11-22 23:45", "2026-11-23 00:45");
        row("Sun23:30", 0, "Night shift 11pm-7am", "Night shift", "2026-11-22 23:00", "2026-11-23 07:00");
        row("Sun23:30", 0, "Ops tonight", "Ops", "2026-11-22 20:00", "21:00");
        row("Sun23:30", 0, "Drinks in 45 minutes", "Drinks", "2026-11-23");
        row("Sun23:30", 0, "Sync this week", "Sync", "2026-11-22");
        row("Sun23:30", 0, "Sync next week", "Sync", "2026-11-23");

        // New Year's Eve.
        row("Dec31", 0, "Brunch jan 1 at 11am", "Brunch", "2027-01-01 11:00", "12:00");
        row("Dec31", 0, "Party tonight 9pm-1am", "Party", "2026-12-31 21:00", "2027-01-01 01:00");
        row("Dec31", 0, "Fireworks tomorrow at midnight", "Fireworks", "2027-01-01 00:00", "01:00");
        row("Dec31", 0, "Plan next week", "Plan", "2027-01-04");
        row("Dec31", 0, "Plan next month", "Plan", "2027-01-01");
        row("Dec31", 0, "Taxes next year", "Taxes", "2027-01-01");
        row("Dec31", 0, "Review 12/30", "Review", "2027-12-30");
        row("Dec31", 0, "Review 12/31", "Review", "2026-12-31");
        row("Dec31", 0, "Gym monday 6pm", "Gym", "2027-01-04 18:00", "19:00");
        row("Dec31", 0, "Dinner 31.12. 19:00", "Dinner", "2026-12-31 19:00", "20:00");
        row("Dec31", 0, "Leap day feb 29", "Leap day", "2028-02-29");
        row("Dec31", 0, "Party in 3 days", "Party", "2027-01-03");

        // Daylight saving. 02:30 on 28 March 2027 never happens: the first time
        // that exists after it is 03:00 summer time.
        row("SpringSat", 0, "Run tomorrow at 2:30am", "Run", "2027-03-28 03:00 +02:00", "2027-03-28 04:00 +02:00");
        row("SpringSat", 1, "Check 2:30am", "Check", "2027-03-28 03:00 +02:00", "2027-03-28 04:00 +02:00");
        row("SpringSat", 1, "Write report", "Write report", "2027-03-28 09:00 +02:00", "2027-03-28 10:00 +02:00");
        row("SpringSat", 0, "Party tonight 11pm-4am", "Party", "2027-03-27 23:00 +01:00", "2027-03-28 04:00 +02:00");
        row("SpringSat", 0, "Sleep in tomorrow", "Sleep", "2027-03-28 00:00 +01:00", "2027-03-28 00:00 +01:00");
        // 02:30 on 25 October 2026 happens twice: the first one counts, and an
        // hour later it is 02:30 again, in winter time.
        row("AutumnSat", 0, "Run tomorrow at 2:30am", "Run", "2026-10-25 02:30 +02:00", "2026-10-25 02:30 +01:00");
        row("AutumnSat", 1, "Check 2:30am", "Check", "2026-10-25 02:30 +02:00", "2026-10-25 02:30 +01:00");
        row("AutumnSat", 0, "Party tonight 11pm-4am", "Party", "2026-10-24 23:00 +02:00", "2026-10-25 04:00 +01:00");
        row("AutumnSat", 0, "Sleep in tomorrow", "Sleep", "2026-10-25 00:00 +02:00", "2026-10-25 00:00 +02:00");

        // Without a detector only "at" and an hour are read, by the meeting-hour rule.
        detector = false;
        row("Tue", 0, "Run at 03", "Run", "2026-11-17 03:00", "04:00");
        row("Tue", 0, "Run at 3", "Run", "2026-11-17 15:00", "16:00");
        row("Tue", 0, "Run at 7", "Run", "2026-11-17 07:00", "08:00");
        row("Tue", 0, "Run at 12", "Run", "2026-11-17 12:00", "13:00");
        row("Tue", 0, "Run at 0", "Run", "2026-11-17 00:00", "01:00");
        row("Tue", 0, "Run at 10:30", "Run", "2026-11-17 10:30", "11:30");
        row("Tue", 0, "at 5", "at 5", "2026-11-17 17:00", "18:00");
        row("Tue", 0, "Run at 25", "Run at 25", "2026-11-17 09:00", "10:00");
        row("Tue", 0, "Run At 3", "Run At 3", "2026-11-17 09:00", "10:00");
        row("Tue", 2, "Run at 3", "Run", "2026-11-19 15:00", "16:00");
        row("Tue", 2, "Run", "Run", "2026-11-19 09:00", "10:00");
    }
    void parsesTypedLines()
    {
        QFETCH(QString, ref);
        QFETCH(int, selected);
        QFETCH(QString, input);
        QFETCH(QString, title);
        QFETCH(QString, start);
        QFETCH(QString, end);
        QFETCH(bool, detector);

        const QDateTime now = reference(ref);
        const QDateTime day = QDateTime(now.date().addDays(selected), QTime(0, 0), berlin());
        const QuickEvent e = detector ? QuickEvent::parse(input, day, now, berlin()) : QuickEvent::parse(input, day, now, berlin(), {});

        QCOMPARE(e.title, title);
        const bool allDay = end.isEmpty() || (start.size() > 16 && start == end);
        QCOMPARE(e.isAllDay, allDay);
        QCOMPARE(shownLike(start, e.start), start);
        if (end.isEmpty()) {
            QCOMPARE(e.end, e.start);
            QCOMPARE(e.start.toTimeZone(berlin()).time(), QTime(0, 0));
        } else {
            const QString expectedEnd = end.size() == 5 ? start.left(11) + end : end;
            QCOMPARE(shownLike(expectedEnd, e.end), expectedEnd);
        }
    }

    void anotherDayIgnoresTheTimeOfTyping_data()
    {
        QTest::addColumn<QTime>("typed"); // on Wednesday, for Friday
        QTest::addColumn<QString>("input");
        QTest::addColumn<QTime>("start"); // invalid: all day
        QTest::addColumn<QTime>("end");

        const struct
        {
            const char *input;
            QTime start, end;
        } shapes[] = {
            {"Dentist at 8", QTime(8, 0), QTime(9, 0)},
            {"Call at 3", QTime(15, 0), QTime(16, 0)},
            {"Run at 03", QTime(3, 0), QTime(4, 0)},
            {"Tea at 4 o'clock", QTime(16, 0), QTime(17, 0)},
            {"Standup 9:30", QTime(9, 30), QTime(10, 30)},
            {"Call at 4:15", QTime(16, 15), QTime(17, 15)},
            {"Planning from 2:00 to 4:00", QTime(14, 0), QTime(16, 0)},
            {"Meeting 3-5pm", QTime(15, 0), QTime(17, 0)},
            {"Lecture 13:00-14:30", QTime(13, 0), QTime(14, 30)},
            {"Gym at 6pm", QTime(18, 0), QTime(19, 0)},
            {"Lunch at noon", QTime(12, 0), QTime(13, 0)},
            {"Deploy at midnight", QTime(0, 0), QTime(1, 0)},
            {"Focus at 10 for 2 hours", QTime(10, 0), QTime(12, 0)},
            // Bare hours never count as a written time, so the range alone is a day.
            {"Planning from 2 to 4", QTime(), QTime()},
            {"Write report", QTime(9, 0), QTime(10, 0)},
        };
        for (const auto &shape : shapes) {
            for (const QTime typed : {QTime(0, 5), QTime(7, 59), QTime(8, 1), QTime(10, 20), QTime(15, 30), QTime(23, 55)})
                QTest::addRow("%s, typed %s", shape.input, qPrintable(typed.toString(QStringLiteral("HH:mm"))))
                    << typed << QString::fromUtf8(shape.input) << shape.start << shape.end;
        }
    }
    void anotherDayIgnoresTheTimeOfTyping()
    {
        QFETCH(QTime, typed);
        QFETCH(QString, input);
        QFETCH(QTime, start);
        QFETCH(QTime, end);

        const QDate friday(2026, 11, 20);
        const QuickEvent e = QuickEvent::parse(input, QDateTime(friday, QTime(0, 0), berlin()),
                                               QDateTime(QDate(2026, 11, 18), typed, berlin()), berlin());
        QCOMPARE(e.isAllDay, !start.isValid());
        QCOMPARE(e.start.toTimeZone(berlin()), QDateTime(friday, start.isValid() ? start : QTime(0, 0), berlin()));
        QCOMPARE(e.end.toTimeZone(berlin()), QDateTime(friday, end.isValid() ? end : QTime(0, 0), berlin()));
    }

    void detectorReportsUtf16Range_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("phrase");
        QTest::addColumn<double>("duration");

        QTest::newRow("surrogate pair before") << "Geburtstag 🎂 tomorrow" << "tomorrow" << 0.0;
        QTest::newRow("day and time merge") << "Lunch with Sam tomorrow at 1pm" << "tomorrow at 1pm" << 0.0;
        QTest::newRow("time before day") << "Call 3pm on friday" << "3pm on friday" << 0.0;
        QTest::newRow("range") << "Meeting 3-5pm" << "3-5pm" << 7200.0;
        QTest::newRow("duration joins") << "Gym at 6pm for 90 min" << "6pm for 90 min" << 5400.0;
        QTest::newRow("first of two") << "Move standup from monday to tuesday" << "monday" << 0.0;
        QTest::newRow("combining accent") << "Cafe\u0301 friday" << "friday" << 0.0;
    }
    void detectorReportsUtf16Range()
    {
        QFETCH(QString, text);
        QFETCH(QString, phrase);
        QFETCH(double, duration);

        const auto match = DateDetector::firstMatch(text, reference(QStringLiteral("Mon")), berlin());
        QVERIFY(match.has_value());
        QCOMPARE(text.mid(match->start, match->length), phrase);
        QCOMPARE(match->duration, duration);
    }

    void anyTextGivesAUsableEvent()
    {
        // Mangled lines (cut, spliced, with stray digits, dashes, colons,
        // surrogate halves) must still give a valid event and never a range
        // outside the text. A fixed seed keeps failures reproducible.
        const QStringList seeds = {QStringLiteral("Lunch with Sam tomorrow at 1pm"), QStringLiteral("Meeting 3-5pm next friday"),
                                   QStringLiteral("Call 5/12 3pm"), QStringLiteral("Dinner 24.12.2026 19:30"),
                                   QStringLiteral("Party tonight 9pm-1am for 2 hours"), QStringLiteral("Geburtstag 🎂 in 3 days")};
        const QString noise = QStringLiteral("0123456789:-–/.apm @ \u00e9\U0001F382");
        QRandomGenerator random(20261116);
        const QDateTime now = reference(QStringLiteral("Sun23:30"));
        const QDateTime day(now.date(), QTime(0, 0), berlin());
        for (int i = 0; i < 20000; ++i) {
            QString text = seeds.at(random.bounded(seeds.size()));
            for (int edits = random.bounded(1, 6); edits > 0; --edits) {
                const int at = random.bounded(text.size() + 1);
                switch (random.bounded(3)) {
                case 0:
                    text.insert(at, noise.at(random.bounded(noise.size())));
                    break;
                case 1:
                    text.remove(at, random.bounded(1, 4));
                    break;
                default:
                    text.insert(at, seeds.at(random.bounded(seeds.size())).mid(random.bounded(10), random.bounded(1, 12)));
                    break;
                }
            }
            if (const auto match = DateDetector::firstMatch(text, now, berlin())) {
                QVERIFY2(match->start >= 0 && match->length > 0 && match->start + match->length <= text.size(), qPrintable(text));
                QVERIFY2(match->date.isValid() && match->duration >= 0, qPrintable(text));
            }
            const QuickEvent e = QuickEvent::parse(text, day, now, berlin());
            QVERIFY2(e.start.isValid() && e.end.isValid(), qPrintable(text));
            QVERIFY2(e.isAllDay ? e.end == e.start : e.end > e.start, qPrintable(text));
            QVERIFY2(!e.title.isEmpty() || text.trimmed().isEmpty(), qPrintable(text));
        }
    }
};

QTEST_GUILESS_MAIN(tst_QuickEvent)
#include "tst_QuickEvent.moc"
