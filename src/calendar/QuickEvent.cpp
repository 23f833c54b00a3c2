#include "calendar/QuickEvent.h"

#include "calendar/ZonedTime.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

constexpr int kDefaultHour = 9;
constexpr int kDefaultMinute = 0;

bool isConnector(const QString &word)
{
    static const QStringList connectors = {QStringLiteral("at"), QStringLiteral("on"), QStringLiteral("from"),
                                           QStringLiteral("by"), QStringLiteral("for"), QStringLiteral("in"),
                                           QStringLiteral("@"), QStringLiteral("-"), QStringLiteral("\u2013")};
    return connectors.contains(word.toLower());
}

bool isDayWord(const QString &word)
{
    static const QStringList days = {
        QStringLiteral("today"), QStringLiteral("tomorrow"), QStringLiteral("tonight"), QStringLiteral("yesterday"),
        QStringLiteral("monday"), QStringLiteral("tuesday"), QStringLiteral("wednesday"), QStringLiteral("thursday"),
        QStringLiteral("friday"), QStringLiteral("saturday"), QStringLiteral("sunday"), QStringLiteral("next"),
        QStringLiteral("this"), QStringLiteral("week")};
    return days.contains(word.toLower());
}

// Words whose presence anywhere in the date phrase mean it names a day.
// Plain containment on purpose: "mon" also fires inside "month".
const QStringList &dateWords()
{
    static const QStringList words = {
        QStringLiteral("today"), QStringLiteral("tomorrow"), QStringLiteral("yesterday"), QStringLiteral("tonight"),
        QStringLiteral("next"), QStringLiteral("this"), QStringLiteral("mon"), QStringLiteral("tue"), QStringLiteral("wed"),
        QStringLiteral("thu"), QStringLiteral("fri"), QStringLiteral("sat"), QStringLiteral("sun"), QStringLiteral("jan"),
        QStringLiteral("feb"), QStringLiteral("mar"), QStringLiteral("apr"), QStringLiteral("may"), QStringLiteral("jun"),
        QStringLiteral("jul"), QStringLiteral("aug"), QStringLiteral("sep"), QStringLiteral("oct"), QStringLiteral("nov"),
        QStringLiteral("dec")};
    return words;
}

QStringList words(const QString &s)
{
    static const QRegularExpression space(QStringLiteral("\\s+"), QRegularExpression::UseUnicodePropertiesOption);
    return s.split(space, Qt::SkipEmptyParts);
}

QString cleanTitle(const QString &s)
{
    QStringList list = words(s);
    while (!list.isEmpty() && isConnector(list.last()))
        list.removeLast();
    while (!list.isEmpty() && isConnector(list.first()))
        list.removeFirst();
    return list.join(QLatin1Char(' '));
}

QString withoutDayWords(const QString &s)
{
    QStringList kept;
    for (const QString &word : words(s)) {
        if (!isDayWord(word))
            kept.append(word);
    }
    return kept.join(QLatin1Char(' '));
}

// Meetings are not set at 1 to 6 in the morning, so a bare 3 is 15:00; a
// written leading zero ("03") means what it says.
std::optional<int> meetingHour(const QString &digits)
{
    if (digits.isEmpty())
        return std::nullopt;
    bool ok = false;
    const int value = digits.toInt(&ok, 10);
    if (!ok || value >= 24 || value < 0)
        return std::nullopt;
    if (value >= 1 && value <= 6 && !digits.startsWith(QLatin1Char('0')))
        return value + 12;
    return value;
}

QuickEvent timed(QString title, const QDateTime &start, double duration)
{
    QuickEvent e;
    e.title = std::move(title);
    e.start = start;
    e.end = start.addMSecs(qint64((duration > 0 ? duration : QuickEvent::kDefaultDuration) * 1000));
    e.isAllDay = false;
    return e;
}

QuickEvent fallback(const QString &trimmed, const QDateTime &day, const QDateTime &now, const QTimeZone &zone)
{
    static const QRegularExpression bareAt(QStringLiteral("\\bat\\s+(\\d{1,2})(:(\\d{2}))?\\b"),
                                           QRegularExpression::UseUnicodePropertiesOption);
    const QDate selected = ZonedTime::dayOf(day, zone);
    const auto m = bareAt.match(trimmed);
    if (m.hasMatch()) {
        const QStringList pieces = m.captured(0).mid(2).trimmed().split(QLatin1Char(':'));
        if (const auto hour = meetingHour(pieces.value(0))) {
            const int minute = pieces.size() > 1 ? pieces.at(1).toInt() : 0;
            const QDateTime start = ZonedTime::at(selected, QTime(*hour, minute), zone);
            if (start.isValid()) {
                QString rest = trimmed;
                rest.replace(m.capturedStart(0), m.capturedLength(0), QLatin1String(" "));
                const QString title = cleanTitle(rest);
                return timed(title.isEmpty() ? trimmed : title, start, QuickEvent::kDefaultDuration);
            }
        }
    }
    QDateTime start;
    if (selected != ZonedTime::dayOf(now, zone)) {
        start = ZonedTime::at(selected, QTime(kDefaultHour, kDefaultMinute), zone);
        if (!start.isValid())
            start = day;
    } else {
        // The next full hour: at 14:20 that is 15:00.
        const QDateTime local = now.toTimeZone(zone);
        const QDateTime hourStart = local.addSecs(-(local.time().minute() * 60 + local.time().second())).addMSecs(-local.time().msec());
        start = hourStart.addSecs(3600);
    }
    return timed(trimmed, start, QuickEvent::kDefaultDuration);
}

} // namespace

QuickEvent QuickEvent::parse(const QString &text, const QDateTime &day, const QDateTime &now, const QTimeZone &zone)
{
    return parse(text, day, now, zone, &DateDetector::firstMatch);
}

QuickEvent QuickEvent::parse(const QString &text, const QDateTime &day, const QDateTime &now, const QTimeZone &zone,
                             const Detector &detector)
{
    static const QRegularExpression connectorBefore(QStringLiteral("\\b(at|on|from|by)\\s*$"),
                                                    QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption);
    static const QRegularExpression timePattern(
        QStringLiteral("\\d{1,2}:\\d{2}|\\d{1,2}\\s*(am|pm|a\\.m\\.|p\\.m\\.)|\\bat\\s+\\d{1,2}\\b|"
                       "\\b(noon|midnight|morning|afternoon|evening|tonight|breakfast|lunch|dinner)\\b"),
        QRegularExpression::UseUnicodePropertiesOption);

    const QString trimmed = text.trimmed();
    std::optional<DateDetector::Match> found;
    if (detector && !trimmed.isEmpty())
        found = detector(trimmed, now, zone, ZonedTime::dayOf(day, zone));
    if (!found || !found->date.isValid() || found->start < 0 || found->length <= 0 || found->start + found->length > trimmed.size())
        return fallback(trimmed, day, now, zone);

    // "Lunch at noon" loses "at noon", not only "noon".
    int lower = found->start;
    const int upper = found->start + found->length;
    const auto connector = connectorBefore.match(QStringView(trimmed).left(lower));
    if (connector.hasMatch())
        lower = int(connector.capturedStart(0));

    const QString phrase = trimmed.mid(lower, upper - lower).toLower();

    QString rest = trimmed;
    rest.replace(lower, upper - lower, QLatin1String(" "));
    QString title = cleanTitle(rest);
    if (title.isEmpty())
        title = cleanTitle(withoutDayWords(trimmed));
    if (title.isEmpty())
        title = trimmed;

    const bool hasTime = timePattern.match(phrase).hasMatch();
    bool namesDay = false;
    for (const QString &word : dateWords()) {
        if (phrase.contains(word)) {
            namesDay = true;
            break;
        }
    }

    auto allDay = [&] {
        QuickEvent e;
        e.title = title;
        e.start = ZonedTime::startOfDay(ZonedTime::dayOf(found->date, zone), zone);
        e.end = e.start;
        e.isAllDay = true;
        return e;
    };

    if (!hasTime)
        return allDay();
    if (namesDay || phrase.contains(QLatin1Char('/')))
        return timed(title, found->date, found->duration);

    // A time without a day goes on the day the drawer shows (the detector
    // read its hour for that day).
    const QDate selected = ZonedTime::dayOf(day, zone);
    const QTime detected = found->date.toTimeZone(zone).time();
    const int hour = detected.isValid() ? detected.hour() : kDefaultHour;
    const int minute = detected.isValid() ? detected.minute() : kDefaultMinute;
    QDateTime start = ZonedTime::at(selected, QTime(hour, minute), zone);
    if (!start.isValid())
        start = found->date;
    return timed(title, start, found->duration);
}
