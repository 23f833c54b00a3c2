#include "calendar/DateDetector.h"

#include "calendar/ZonedTime.h"

#include <QRegularExpression>

#include <algorithm>
#include <vector>

namespace {

constexpr auto kOptions = QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption;

// One recognised piece of a phrase, before pieces are merged.
struct Piece
{
    enum class Kind { Day, Time, Duration, Moment };
    Kind kind = Kind::Day;
    int from = 0;
    int to = 0;
    // Day
    QDate date;
    int dayPartHour = -1; // "tonight", "morning": a time of day without a clock time
    // Time
    int hour = 0;
    int minute = 0;
    bool fixedHour = false; // am/pm, 24-hour or a leading zero: no guessing
    int meridiem = 0; // -1 am, +1 pm, 0 not written
    bool hasEnd = false;
    int endHour = 0;
    int endMinute = 0;
    int endMeridiem = 0;
    bool endFixed = false;
    // Duration
    double seconds = 0;
    // Moment ("in 2 hours")
    QDateTime moment;
};

struct Context
{
    const QString &text;
    QDateTime now;
    QTimeZone zone;
    QDate today;
    QDate bareTimesDay; // where a time without a day goes
};

int monthNumber(const QString &word)
{
    static const char *const names[] = {"jan", "feb", "mar", "apr", "may", "jun", "jul", "aug", "sep", "oct", "nov", "dec"};
    const QString w = word.left(3).toLower();
    for (int i = 0; i < 12; ++i) {
        if (w == QLatin1String(names[i]))
            return i + 1;
    }
    return 0;
}

int weekdayNumber(const QString &word)
{
    static const char *const names[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
    const QString w = word.left(3).toLower();
    for (int i = 0; i < 7; ++i) {
        if (w == QLatin1String(names[i]))
            return i + 1;
    }
    return 0;
}

int meridiemOf(const QString &marker)
{
    if (marker.isEmpty())
        return 0;
    return marker.at(0).toLower() == QLatin1Char('p') ? 1 : -1;
}

int smallNumber(const QString &word)
{
    const QString w = word.toLower();
    if (w == QLatin1String("a") || w == QLatin1String("an") || w == QLatin1String("one"))
        return 1;
    if (w == QLatin1String("two"))
        return 2;
    if (w == QLatin1String("three"))
        return 3;
    if (w == QLatin1String("four"))
        return 4;
    bool ok = false;
    const int n = w.toInt(&ok);
    return ok ? n : -1;
}

// A year written with two digits is this century's.
int fullYear(const QString &digits)
{
    const int y = digits.toInt();
    return digits.size() <= 2 ? 2000 + y : y;
}

// A day and month without a year mean their next occurrence: on 31 December,
// "Jan 5" is in the new year.
QDate upcoming(const Context &c, int month, int day)
{
    QDate d(c.today.year(), month, day);
    if (!d.isValid() && month == 2 && day == 29) {
        for (int y = c.today.year() + 1; y < c.today.year() + 8 && !d.isValid(); ++y)
            d = QDate(y, 2, 29);
        return d;
    }
    if (d.isValid() && d < c.today)
        d = QDate(c.today.year() + 1, month, day);
    return d;
}

void addDay(std::vector<Piece> &out, const QRegularExpressionMatch &m, QDate date, int dayPartHour = -1)
{
    if (!date.isValid())
        return;
    Piece p;
    p.kind = Piece::Kind::Day;
    p.from = int(m.capturedStart(0));
    p.to = int(m.capturedEnd(0));
    p.date = date;
    p.dayPartHour = dayPartHour;
    out.push_back(p);
}

int dayPartHour(const QString &word)
{
    const QString w = word.toLower();
    if (w == QLatin1String("morning"))
        return 9;
    if (w == QLatin1String("afternoon"))
        return 15;
    if (w == QLatin1String("evening"))
        return 19;
    if (w == QLatin1String("night") || w == QLatin1String("tonight"))
        return 20;
    return -1;
}

// --- pattern readers -------------------------------------------------------

void relativeDays(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression re(
        QStringLiteral("\\b(?:(the\\s+day\\s+after\\s+tomorrow)|(today|tonight|tomorrow|yesterday))"
                       "(?:\\s+(?:in\\s+the\\s+)?(morning|afternoon|evening|night))?\\b"),
        kOptions);
    for (auto it = re.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const QString word = m.captured(2).toLower();
        int offset = 0;
        if (!m.captured(1).isEmpty())
            offset = 2;
        else if (word == QLatin1String("tomorrow"))
            offset = 1;
        else if (word == QLatin1String("yesterday"))
            offset = -1;
        int part = dayPartHour(m.captured(3));
        if (part < 0 && word == QLatin1String("tonight"))
            part = 20;
        addDay(out, m, c.today.addDays(offset), part);
    }
}

void weekdays(const Context &c, std::vector<Piece> &out)
{
    // "sat" and "sun" are also ordinary words ("in the sun"), so alone they
    // only count with a qualifier in front.
    static const QRegularExpression re(
        QStringLiteral("\\b(?:(next|this|coming|on)\\s+)?"
                       "(monday|tuesday|wednesday|thursday|friday|saturday|sunday|mon|tues|tue|wed|thurs|thur|thu|fri|sat|sun)\\b\\.?"
                       "(?:\\s+(morning|afternoon|evening|night))?"),
        kOptions);
    static const QRegularExpression followedByDigit(QStringLiteral("\\G\\s+\\d"));
    const int todayWeekday = c.today.dayOfWeek();
    for (auto it = re.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const QString qualifier = m.captured(1).toLower();
        const QString name = m.captured(2);
        if (name.size() == 3 && qualifier.isEmpty()
            && (name.compare(QLatin1String("sat"), Qt::CaseInsensitive) == 0 || name.compare(QLatin1String("sun"), Qt::CaseInsensitive) == 0)
            && !followedByDigit.match(c.text, m.capturedEnd(0)).hasMatch())
            continue;
        const int weekday = weekdayNumber(name);
        QDate date;
        if (qualifier == QLatin1String("next")) {
            // The named day of next week (weeks start on Monday).
            date = c.today.addDays(7 - (todayWeekday - 1) + (weekday - 1));
        } else {
            date = c.today.addDays((weekday - todayWeekday + 7) % 7);
        }
        addDay(out, m, date, dayPartHour(m.captured(3)));
        // "on" belongs to the sentence, not to the day: leave it outside.
        if (qualifier == QLatin1String("on"))
            out.back().from = int(m.capturedStart(2));
    }
}

void weeksAndMonths(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression re(QStringLiteral("\\b(next|this)\\s+(week|weekend|month|year)\\b"), kOptions);
    for (auto it = re.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const bool next = m.captured(1).compare(QLatin1String("next"), Qt::CaseInsensitive) == 0;
        const QString unit = m.captured(2).toLower();
        const int wd = c.today.dayOfWeek();
        QDate date = c.today;
        if (unit == QLatin1String("week")) {
            if (next)
                date = c.today.addDays(8 - wd);
        } else if (unit == QLatin1String("weekend")) {
            date = wd >= 6 ? c.today : c.today.addDays(6 - wd);
            if (next)
                date = c.today.addDays(6 - wd + 7);
        } else if (unit == QLatin1String("month")) {
            if (next)
                date = QDate(c.today.year(), c.today.month(), 1).addMonths(1);
        } else if (next) {
            date = QDate(c.today.year() + 1, 1, 1);
        }
        addDay(out, m, date);
    }
}

void inAWhile(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression re(
        QStringLiteral("\\bin\\s+(?:(half\\s+an?)|(\\d{1,3}(?:\\.\\d+)?|an?|one|two|three|four))\\s*"
                       "(minutes?|mins?|hours?|hrs?|h|days?|weeks?|months?)\\b"),
        kOptions);
    for (auto it = re.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const QString unit = m.captured(3).toLower();
        double amount = m.captured(1).isEmpty() ? m.captured(2).toDouble() : 0.5;
        if (m.captured(1).isEmpty() && amount == 0)
            amount = smallNumber(m.captured(2));
        if (amount <= 0)
            continue;
        if (unit.startsWith(QLatin1Char('m')) && unit.startsWith(QLatin1String("mo"))) {
            addDay(out, m, c.today.addMonths(int(amount)));
        } else if (unit.startsWith(QLatin1Char('d'))) {
            addDay(out, m, c.today.addDays(qint64(amount)));
        } else if (unit.startsWith(QLatin1Char('w'))) {
            addDay(out, m, c.today.addDays(qint64(amount * 7)));
        } else {
            const double seconds = unit.startsWith(QLatin1Char('h')) ? amount * 3600 : amount * 60;
            Piece p;
            p.kind = Piece::Kind::Moment;
            p.from = int(m.capturedStart(0));
            p.to = int(m.capturedEnd(0));
            p.moment = c.now.addMSecs(qint64(seconds * 1000));
            out.push_back(p);
        }
    }
}

const QString &monthAlternatives()
{
    static const QString names = QStringLiteral(
        "(january|february|march|april|may|june|july|august|september|october|november|december|"
        "jan|feb|mar|apr|jun|jul|aug|sept|sep|oct|nov|dec)\\.?");
    return names;
}

void monthNames(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression monthDay(
        QStringLiteral("\\b") + monthAlternatives()
            + QStringLiteral("\\s+(\\d{1,2})(?:st|nd|rd|th)?\\b(?:,?\\s+(\\d{4})\\b)?"),
        kOptions);
    static const QRegularExpression dayMonth(
        QStringLiteral("\\b(\\d{1,2})(?:st|nd|rd|th)?(?:\\s+of)?\\s+") + monthAlternatives()
            + QStringLiteral("(?:,?\\s+(\\d{4})\\b)?"),
        kOptions);
    // A month alone is its first day; "may" and "mar" alone are verbs far
    // more often than months.
    static const QRegularExpression monthOnly(
        QStringLiteral("\\b(january|february|march|april|june|july|august|september|october|november|december)\\b(?:\\s+(\\d{4})\\b)?"),
        kOptions);
    for (auto it = monthDay.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const int month = monthNumber(m.captured(1));
        const int day = m.captured(2).toInt();
        addDay(out, m, m.captured(3).isEmpty() ? upcoming(c, month, day) : QDate(m.captured(3).toInt(), month, day));
    }
    for (auto it = dayMonth.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const int month = monthNumber(m.captured(2));
        const int day = m.captured(1).toInt();
        addDay(out, m, m.captured(3).isEmpty() ? upcoming(c, month, day) : QDate(m.captured(3).toInt(), month, day));
    }
    for (auto it = monthOnly.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const int month = monthNumber(m.captured(1));
        int year = c.today.year();
        if (!m.captured(2).isEmpty())
            year = m.captured(2).toInt();
        else if (month < c.today.month())
            ++year;
        addDay(out, m, QDate(year, month, 1));
    }
}

void numericDates(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression iso(QStringLiteral("\\b(\\d{4})-(\\d{1,2})-(\\d{1,2})\\b"), kOptions);
    // Slashes read month first, as in American English ("5/12" is May 12);
    // dots read day first, as in most of Europe ("12.5." is 12 May).
    static const QRegularExpression slash(QStringLiteral("(?<![\\d/])(\\d{1,2})/(\\d{1,2})(?:/(\\d{4}|\\d{2}))?(?![\\d/])"), kOptions);
    static const QRegularExpression dots(QStringLiteral("(?<![\\d.])(\\d{1,2})\\.(\\d{1,2})\\.(\\d{4}|\\d{2})?(?![\\d.]\\d)"), kOptions);
    for (auto it = iso.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        addDay(out, m, QDate(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt()));
    }
    for (auto it = slash.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const int month = m.captured(1).toInt();
        const int day = m.captured(2).toInt();
        addDay(out, m, m.captured(3).isEmpty() ? upcoming(c, month, day) : QDate(fullYear(m.captured(3)), month, day));
    }
    for (auto it = dots.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const int day = m.captured(1).toInt();
        const int month = m.captured(2).toInt();
        addDay(out, m, m.captured(3).isEmpty() ? upcoming(c, month, day) : QDate(fullYear(m.captured(3)), month, day));
    }
}

bool setClock(int hour, int minute, const QString &marker, const QString &digits, int &outHour, bool &fixed, int &meridiem)
{
    if (minute < 0 || minute > 59)
        return false;
    meridiem = meridiemOf(marker);
    if (meridiem != 0) {
        if (hour < 1 || hour > 12)
            return false;
        outHour = hour % 12 + (meridiem > 0 ? 12 : 0);
        fixed = true;
        return true;
    }
    if (hour > 23)
        return false;
    outHour = hour;
    // 13:00, 0:30 and 09:00 say exactly which hour; 12 is noon on a clock
    // face; only 1 to 11 leave morning or evening open.
    fixed = hour == 0 || hour >= 12 || digits.startsWith(QLatin1Char('0'));
    return true;
}

const QString &markerPattern()
{
    static const QString marker = QStringLiteral("(am|pm|a\\.m\\.|p\\.m\\.|a\\.m|p\\.m)");
    return marker;
}

void timeRanges(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression re(
        QStringLiteral("(?:\\b(from|between)\\s+)?(?<![\\d:./-])(\\d{1,2})(?::(\\d{2}))?\\s*") + markerPattern()
            + QStringLiteral("?\\s*(-|–|—|to|till|until|and)\\s*(\\d{1,2})(?::(\\d{2}))?(?:\\s*") + markerPattern()
            + QStringLiteral(")?(?![\\d:/])\\b"),
        kOptions);
    for (auto it = re.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const QString lead = m.captured(1).toLower();
        const QString joiner = m.captured(5).toLower();
        const bool hasMarker = !m.captured(4).isEmpty() || !m.captured(8).isEmpty();
        const bool hasColon = !m.captured(3).isEmpty() || !m.captured(7).isEmpty();
        // "5-6 people" is not a time: a range needs am/pm, minutes or "from".
        if (lead.isEmpty() && !hasMarker && !hasColon)
            continue;
        if (joiner == QLatin1String("and") && lead != QLatin1String("between"))
            continue;
        Piece p;
        p.kind = Piece::Kind::Time;
        p.from = int(m.capturedStart(0));
        p.to = int(m.capturedEnd(0));
        p.hasEnd = true;
        if (!setClock(m.captured(2).toInt(), m.captured(3).isEmpty() ? 0 : m.captured(3).toInt(), m.captured(4), m.captured(2), p.hour,
                      p.fixedHour, p.meridiem))
            continue;
        if (!setClock(m.captured(6).toInt(), m.captured(7).isEmpty() ? 0 : m.captured(7).toInt(), m.captured(8), m.captured(6),
                      p.endHour, p.endFixed, p.endMeridiem))
            continue;
        p.minute = m.captured(3).isEmpty() ? 0 : m.captured(3).toInt();
        p.endMinute = m.captured(7).isEmpty() ? 0 : m.captured(7).toInt();
        out.push_back(p);
    }
}

void times(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression clock(
        QStringLiteral("(?<![\\d:./-])(\\d{1,2}):(\\d{2})(?:\\s*") + markerPattern() + QStringLiteral(")?(?![\\d:])"), kOptions);
    static const QRegularExpression hourMarker(
        QStringLiteral("(?<![\\d:./-])(\\d{1,2})\\s*") + markerPattern() + QStringLiteral("(?![\\w])"), kOptions);
    static const QRegularExpression bareAt(QStringLiteral("\\bat\\s+(\\d{1,2})(?:\\s*o'?clock)?(?![\\d:./%\\w])"
                       "(?!\\s*(?:[-–—]|to\\b|till\\b|until\\b|and\\b|am\\b|pm\\b|a\\.m|p\\.m))"), kOptions);
    static const QRegularExpression words(QStringLiteral("\\b(noon|midday|midnight)\\b"), kOptions);
    auto add = [&](const QRegularExpressionMatch &m, int hour, int minute, const QString &marker, const QString &digits) {
        Piece p;
        p.kind = Piece::Kind::Time;
        p.from = int(m.capturedStart(0));
        p.to = int(m.capturedEnd(0));
        p.minute = minute;
        if (setClock(hour, minute, marker, digits, p.hour, p.fixedHour, p.meridiem))
            out.push_back(p);
    };
    for (auto it = clock.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        add(m, m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3), m.captured(1));
    }
    for (auto it = hourMarker.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        add(m, m.captured(1).toInt(), 0, m.captured(2), m.captured(1));
    }
    for (auto it = bareAt.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        add(m, m.captured(1).toInt(), 0, QString(), m.captured(1));
    }
    for (auto it = words.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        const bool midnight = m.captured(1).compare(QLatin1String("midnight"), Qt::CaseInsensitive) == 0;
        add(m, midnight ? 0 : 12, 0, QString(), QString());
    }
}

void durations(const Context &c, std::vector<Piece> &out)
{
    static const QRegularExpression re(
        QStringLiteral("\\bfor\\s+(?:(half\\s+an?)|(\\d{1,3}(?:\\.\\d+)?|an?|one|two|three|four))\\s*(hours?|hrs?|h|minutes?|mins?|m)\\b"),
        kOptions);
    for (auto it = re.globalMatch(c.text); it.hasNext();) {
        const auto m = it.next();
        double amount = 0.5;
        if (m.captured(1).isEmpty()) {
            bool ok = false;
            amount = m.captured(2).toDouble(&ok);
            if (!ok)
                amount = smallNumber(m.captured(2));
        }
        if (amount <= 0)
            continue;
        Piece p;
        p.kind = Piece::Kind::Duration;
        p.from = int(m.capturedStart(0));
        p.to = int(m.capturedEnd(0));
        p.seconds = m.captured(3).startsWith(QLatin1Char('h'), Qt::CaseInsensitive) ? amount * 3600 : amount * 60;
        out.push_back(p);
    }
}

// --- refinement -------------------------------------------------------------

// Keeps the earliest, then longest, of overlapping pieces.
std::vector<Piece> withoutOverlaps(std::vector<Piece> pieces)
{
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece &a, const Piece &b) {
        return a.from != b.from ? a.from < b.from : (a.to - a.from) > (b.to - b.from);
    });
    std::vector<Piece> kept;
    for (const Piece &p : pieces) {
        if (!kept.empty() && p.from < kept.back().to)
            continue;
        kept.push_back(p);
    }
    return kept;
}

// What may stand between the parts of one phrase: "tomorrow at 3pm",
// "Fri, 10:00", "3pm on Friday", "2 to 4 for 2 hours".
bool joinable(const QString &text, int from, int to)
{
    static const QRegularExpression gap(QStringLiteral("^[\\s,]*(?:(?:at|on|@|from)\\s+)?$"), kOptions);
    if (to < from)
        return false;
    if (to == from)
        return true;
    return gap.match(QStringView(text).mid(from, to - from)).hasMatch();
}

struct Group
{
    int from = 0;
    int to = 0;
    const Piece *day = nullptr;
    const Piece *time = nullptr;
    const Piece *duration = nullptr;
    const Piece *moment = nullptr;
};

bool accepts(const Group &g, const Piece &p)
{
    switch (p.kind) {
    case Piece::Kind::Day:
        return !g.day && !g.moment;
    case Piece::Kind::Time:
        return !g.time && !g.moment;
    case Piece::Kind::Duration:
        return !g.duration && (g.time || g.moment) && !(g.time && g.time->hasEnd);
    case Piece::Kind::Moment:
        return false;
    }
    return false;
}

void place(Group &g, const Piece &p)
{
    switch (p.kind) {
    case Piece::Kind::Day:
        g.day = &p;
        break;
    case Piece::Kind::Time:
        g.time = &p;
        break;
    case Piece::Kind::Duration:
        g.duration = &p;
        break;
    case Piece::Kind::Moment:
        g.moment = &p;
        break;
    }
}

// The hour of a time written without am/pm. On the reference day it is the
// next time the clock shows that hour; on another day 1 to 6 are read as
// afternoon, because nobody meets at 3 in the morning.
int resolvedHour(const Piece &t, const Context &c, bool onToday, int partHour)
{
    if (t.fixedHour)
        return t.hour;
    if (partHour >= 12)
        return t.hour + 12;
    if (partHour >= 0)
        return t.hour;
    if (onToday) {
        const QTime nowTime = c.now.toTimeZone(c.zone).time();
        for (int h : {t.hour, t.hour + 12}) {
            if (QTime(h, t.minute) > nowTime)
                return h;
        }
    }
    return t.hour <= 6 ? t.hour + 12 : t.hour;
}

std::optional<DateDetector::Match> resolve(const Group &g, const Context &c)
{
    DateDetector::Match match;
    match.start = g.from;
    match.length = g.to - g.from;
    if (g.moment) {
        match.date = g.moment->moment;
        match.duration = g.duration ? g.duration->seconds : 0;
        return match;
    }
    if (!g.day && !g.time)
        return std::nullopt;
    const QDate date = g.day ? g.day->date : c.bareTimesDay;
    // Only a time with no day at all, going on today, is read as the next
    // time the clock shows it; "friday 10:00" means ten in the morning even
    // on a Friday, and "at 8" for another day means the same whenever it is
    // typed.
    const bool onToday = g.day == nullptr && date == c.today;
    const int partHour = g.day ? g.day->dayPartHour : -1;
    if (!g.time) {
        match.date = partHour >= 0 ? ZonedTime::at(date, QTime(partHour, 0), c.zone) : ZonedTime::startOfDay(date, c.zone);
        return match;
    }
    const Piece &t = *g.time;
    int startHour = t.hour;
    if (t.hasEnd && !t.fixedHour && t.endFixed) {
        // "3-5pm" starts in the afternoon, "11-1pm" and "10-11:30am" in the
        // morning: the latest reading that still starts before the end.
        startHour = t.hour + 12 < 24 && QTime(t.hour + 12, t.minute) < QTime(t.endHour, t.endMinute) ? t.hour + 12 : t.hour;
    } else {
        startHour = resolvedHour(t, c, onToday, partHour);
    }
    const QTime start(startHour, t.minute);
    match.date = ZonedTime::at(date, start, c.zone);
    if (t.hasEnd) {
        int endHour = t.endHour;
        if (!t.endFixed && endHour < 12) {
            // The end is the first reading of its hour after the start.
            if (QTime(endHour, t.endMinute) <= start && QTime(endHour + 12, t.endMinute) > start)
                endHour += 12;
        }
        // Measured between wall times, so a night that changes the clocks
        // still ends at the hour written.
        const QTime end(endHour, t.endMinute);
        const QDate endDate = end <= start ? date.addDays(1) : date;
        match.duration = double(match.date.secsTo(ZonedTime::at(endDate, end, c.zone)));
    } else if (g.duration) {
        match.duration = g.duration->seconds;
    }
    return match;
}

} // namespace

std::optional<DateDetector::Match> DateDetector::firstMatch(const QString &text, const QDateTime &now, const QTimeZone &zone,
                                                           const QDate &bareTimesDay)
{
    if (text.isEmpty())
        return std::nullopt;
    const QDate today = ZonedTime::dayOf(now, zone);
    const Context c{text, now, zone, today, bareTimesDay.isValid() ? bareTimesDay : today};
    std::vector<Piece> found;
    found.reserve(8);
    relativeDays(c, found);
    weekdays(c, found);
    weeksAndMonths(c, found);
    inAWhile(c, found);
    monthNames(c, found);
    numericDates(c, found);
    timeRanges(c, found);
    times(c, found);
    durations(c, found);
    if (found.empty())
        return std::nullopt;
    const std::vector<Piece> pieces = withoutOverlaps(std::move(found));

    for (size_t i = 0; i < pieces.size(); ++i) {
        Group g;
        g.from = pieces[i].from;
        g.to = pieces[i].to;
        place(g, pieces[i]);
        size_t j = i + 1;
        while (j < pieces.size() && accepts(g, pieces[j]) && joinable(text, g.to, pieces[j].from)) {
            place(g, pieces[j]);
            g.to = pieces[j].to;
            ++j;
        }
        if (auto match = resolve(g, c))
            return match;
    }
    return std::nullopt;
}
