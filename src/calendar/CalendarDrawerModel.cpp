#include "calendar/CalendarDrawerModel.h"

#include "calendar/ZonedTime.h"
#include "core/Clock.h"

#include <QDesktopServices>
#include <cmath>

namespace {

QString shortTime(const QDateTime &t, const QLocale &locale, const QTimeZone &zone)
{
    // Some locales (C, POSIX) put seconds in their short format; a calendar
    // never needs them.
    QString format = locale.timeFormat(QLocale::ShortFormat);
    format.remove(QStringLiteral(":ss")).remove(QStringLiteral(".ss"));
    return locale.toString(t.toTimeZone(zone).time(), format);
}

QString timeRange(const QDateTime &start, const QDateTime &end, const QLocale &locale, const QTimeZone &zone)
{
    return shortTime(start, locale, zone) + QChar(0x2013) + shortTime(end, locale, zone);
}

} // namespace

CalendarDrawerModel::CalendarDrawerModel(QObject *parent)
    : QObject(parent)
{
    setAgenda(CalendarAgenda::instance());
}

CalendarDrawerModel::~CalendarDrawerModel() = default;

QTimeZone CalendarDrawerModel::zone() const
{
    return m_agenda ? m_agenda->zone() : QTimeZone::systemTimeZone();
}

void CalendarDrawerModel::setAgenda(CalendarAgenda *agenda)
{
    if (agenda == m_agenda)
        return;
    for (const auto &c : std::as_const(m_connections))
        disconnect(c);
    m_connections.clear();
    m_minute.reset();
    m_agenda = agenda;
    if (m_agenda) {
        m_minute = std::make_unique<ClockSlot>(m_agenda->clock());
        auto changed = [this] { Q_EMIT contentChanged(); };
        m_connections = {
            connect(m_agenda, &CalendarAgenda::eventsChanged, this, changed),
            connect(m_agenda, &CalendarAgenda::busyDaysChanged, this, changed),
            connect(m_agenda, &CalendarAgenda::statusChanged, this, changed),
            connect(m_agenda, &CalendarAgenda::todayChanged, this, changed),
            connect(m_agenda, &CalendarAgenda::selectedDayChanged, this, [this] {
                Q_EMIT contentChanged();
                updateReadBack();
            }),
        };
        m_now = m_agenda->clock().now();
        if (m_active)
            tick();
    }
    Q_EMIT agendaChanged();
    Q_EMIT contentChanged();
    updateReadBack();
}

void CalendarDrawerModel::setActive(bool active)
{
    if (active == m_active)
        return;
    m_active = active;
    if (m_active) {
        tick();
    } else if (m_minute) {
        m_minute->cancel();
    }
    Q_EMIT activeChanged();
}

QLocale CalendarDrawerModel::namesLocale(const QLocale &locale)
{
    // The C locale (LANG=C.UTF-8, a common Debian default) has digits for
    // weekday letters; English names stand in where the locale has none.
    if (locale.language() == QLocale::C)
        return QLocale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

int CalendarDrawerModel::daysBetween(const QDateTime &from, const QDateTime &to) const
{
    // Counted in calendar days, so a day of 23 or 25 hours is still one.
    return int(ZonedTime::dayOf(from, zone()).daysTo(ZonedTime::dayOf(to, zone())));
}

void CalendarDrawerModel::setLocale(const QLocale &locale)
{
    m_locale = locale;
    Q_EMIT contentChanged();
    updateReadBack();
}

void CalendarDrawerModel::updateNow()
{
    if (!m_agenda)
        return;
    const QDateTime now = m_agenda->clock().now();
    if (now == m_now)
        return;
    m_now = now;
    Q_EMIT nowChanged();
}

void CalendarDrawerModel::tick()
{
    if (!m_agenda)
        return;
    updateNow();
    m_agenda->checkDayChange();
    // Ended events leave today's list as the minutes pass.
    m_agenda->refresh(m_now);
    Q_EMIT contentChanged();
    updateReadBack();
    // Wake at the start of the next minute, when the displayed times change.
    const QTime t = m_now.time();
    const double toNextMinute = 60.0 - t.second() - t.msec() / 1000.0;
    m_minute->start(toNextMinute, [this] { tick(); });
}

QString CalendarDrawerModel::headerTitle() const
{
    if (!m_agenda)
        return {};
    const QDate selected = ZonedTime::dayOf(m_agenda->selectedDay(), zone());
    const QDate today = ZonedTime::dayOf(m_agenda->today(), zone());
    const qint64 offset = today.daysTo(selected);
    if (offset == 0)
        return QStringLiteral("Today");
    if (offset == 1)
        return QStringLiteral("Tomorrow");
    if (offset == -1)
        return QStringLiteral("Yesterday");
    return namesLocale(m_locale).dayName(selected.dayOfWeek(), QLocale::LongFormat);
}

QString CalendarDrawerModel::headerSubtitle() const
{
    if (!m_agenda)
        return {};
    const QDate selected = ZonedTime::dayOf(m_agenda->selectedDay(), zone());
    const QDate today = ZonedTime::dayOf(m_agenda->today(), zone());
    QString s = namesLocale(m_locale).toString(selected, QStringLiteral("ddd d MMMM"));
    if (selected.year() != today.year())
        s += QLatin1Char(' ') + QString::number(selected.year());
    return s;
}

QVariantList CalendarDrawerModel::days() const
{
    QVariantList list;
    if (!m_agenda)
        return list;
    const QDate selected = ZonedTime::dayOf(m_agenda->selectedDay(), zone());
    const QDate today = ZonedTime::dayOf(m_agenda->today(), zone());
    const QLocale names = namesLocale(m_locale);
    const int half = kStripDays / 2;
    for (int i = -half; i <= half; ++i) {
        const QDate d = selected.addDays(i);
        list.append(QVariantMap{
            {QStringLiteral("day"), ZonedTime::startOfDay(d, zone())},
            {QStringLiteral("number"), QString::number(d.day())},
            {QStringLiteral("weekday"), names.dayName(d.dayOfWeek(), QLocale::NarrowFormat)},
            {QStringLiteral("name"), names.toString(d, QLocale::LongFormat)},
            {QStringLiteral("isSelected"), i == 0},
            {QStringLiteral("isBusy"), m_agenda->busyDays().contains(d)},
            {QStringLiteral("isToday"), d == today},
            {QStringLiteral("isWeekend"), d.dayOfWeek() >= 6},
        });
    }
    return list;
}

QVariantList CalendarDrawerModel::rows() const
{
    QVariantList list;
    if (!m_agenda)
        return list;
    const bool isToday = m_agenda->isTodaySelected();
    for (const AgendaEvent &e : m_agenda->events()) {
        const bool isNow = isToday && !e.isAllDay && e.start <= m_now && m_now < e.end;
        list.append(QVariantMap{
            {QStringLiteral("id"), e.id},
            {QStringLiteral("title"), e.title},
            {QStringLiteral("detail"), detail(e, m_now, isToday, m_locale, zone())},
            {QStringLiteral("color"), e.color.isValid() ? e.color : QColor(0x0a, 0x84, 0xff)},
            {QStringLiteral("location"), e.location},
            {QStringLiteral("joinURL"), e.joinURL},
            {QStringLiteral("hasJoin"), e.hasJoinURL()},
            {QStringLiteral("joinLabel"), QStringLiteral("Join")},
            {QStringLiteral("joinName"), QStringLiteral("Join ") + e.title},
            {QStringLiteral("isNow"), isNow},
        });
    }
    return list;
}

QString CalendarDrawerModel::emptyText() const
{
    if (!m_agenda || !m_agenda->events().isEmpty())
        return {};
    return m_agenda->isTodaySelected() ? QStringLiteral("Nothing for today") : QStringLiteral("Nothing on this day");
}

bool CalendarDrawerModel::showsList() const
{
    return m_agenda && m_agenda->status() == CalendarAgenda::Status::Ready;
}

bool CalendarDrawerModel::showsQuickAdd() const
{
    // "Add events only" access can still add.
    return m_agenda && (m_agenda->status() == CalendarAgenda::Status::Ready || m_agenda->status() == CalendarAgenda::Status::WriteOnly);
}

QString CalendarDrawerModel::accessSymbol() const
{
    if (!m_agenda)
        return {};
    switch (m_agenda->status()) {
    case CalendarAgenda::Status::NeedsPermission:
        return QStringLiteral("event_available");
    case CalendarAgenda::Status::WriteOnly:
        return QStringLiteral("edit_calendar");
    case CalendarAgenda::Status::Denied:
        return QStringLiteral("event_busy");
    case CalendarAgenda::Status::Ready:
        break;
    }
    return {};
}

QString CalendarDrawerModel::accessTitle() const
{
    if (!m_agenda)
        return {};
    switch (m_agenda->status()) {
    case CalendarAgenda::Status::NeedsPermission:
        return QStringLiteral("See your days at a glance");
    case CalendarAgenda::Status::WriteOnly:
        return QStringLiteral("Tarnwick can't read your events");
    case CalendarAgenda::Status::Denied:
        return QStringLiteral("Calendar access is off");
    case CalendarAgenda::Status::Ready:
        break;
    }
    return {};
}

QString CalendarDrawerModel::accessText() const
{
    if (!m_agenda)
        return {};
    switch (m_agenda->status()) {
    case CalendarAgenda::Status::NeedsPermission:
        return QStringLiteral("Your events by day, quick add, and Join for calls. Nothing leaves your computer.");
    case CalendarAgenda::Status::WriteOnly:
        return QStringLiteral("It has \u201cadd events only\u201d access. Switch it to Full Access in Settings.");
    case CalendarAgenda::Status::Denied: {
        // There is no privacy page to send people to: say what failed.
        const QString problem = m_agenda->problem();
        return problem.isEmpty() ? QStringLiteral("Tarnwick couldn't open its calendar folder.") : problem;
    }
    case CalendarAgenda::Status::Ready:
        break;
    }
    return {};
}

QString CalendarDrawerModel::accessButton() const
{
    if (m_agenda && m_agenda->status() == CalendarAgenda::Status::NeedsPermission)
        return QStringLiteral("Continue");
    return {};
}

void CalendarDrawerModel::performAccessAction()
{
    if (m_agenda && m_agenda->status() == CalendarAgenda::Status::NeedsPermission)
        m_agenda->requestAccess();
}

void CalendarDrawerModel::openCalendarApp()
{
    if (m_agenda)
        m_agenda->openCalendarApp();
}

void CalendarDrawerModel::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    Q_EMIT textChanged();
    // Editing the line after a failure is a new attempt.
    setError({});
    updateReadBack();
}

QuickEvent CalendarDrawerModel::parsed() const
{
    const QDateTime now = m_agenda->clock().now();
    return QuickEvent::parse(m_text, m_agenda->selectedDay(), now, zone());
}

void CalendarDrawerModel::updateReadBack()
{
    QString line;
    if (m_agenda && !m_text.trimmed().isEmpty())
        line = readBackText(parsed(), m_locale, zone());
    if (line == m_readBack)
        return;
    m_readBack = line;
    Q_EMIT readBackChanged();
}

void CalendarDrawerModel::setError(const QString &error)
{
    if (error == m_error)
        return;
    m_error = error;
    Q_EMIT errorChanged();
}

bool CalendarDrawerModel::submit()
{
    if (!m_agenda || m_text.trimmed().isEmpty())
        return false;
    const QuickEvent e = parsed();
    QString why;
    if (!m_agenda->addEvent(e.title, e.start, e.end, e.isAllDay, {}, &why)) {
        // The line stays, so the user can fix the cause and press Return again.
        setError(QStringLiteral("Couldn't add it: ") + why);
        return false;
    }
    setError({});
    setText({});
    return true;
}

void CalendarDrawerModel::selectDay(const QDateTime &day)
{
    if (m_agenda)
        m_agenda->select(day);
}

void CalendarDrawerModel::recordDrag(double translation)
{
    const double now = m_agenda->clock().monotonicNow();
    m_drag.append({now, translation});
    m_drag.removeIf([now](const DragSample &s) { return s.time < now - 0.1; });
}

double CalendarDrawerModel::dragVelocity() const
{
    if (m_drag.size() < 2)
        return 0;
    const double dt = m_drag.last().time - m_drag.first().time;
    return dt > 0 ? (m_drag.last().translation - m_drag.first().translation) / dt : 0;
}

void CalendarDrawerModel::dragStrip(double translation)
{
    if (!m_agenda)
        return;
    recordDrag(translation);
    m_agenda->setStripOffset(translation);
}

double CalendarDrawerModel::projectedTranslation(double translation, double velocity)
{
    // Where a flick at this speed would come to rest with a scroll view's
    // usual deceleration (0.998 per millisecond).
    constexpr double rate = 0.998;
    return translation + velocity / 1000.0 * rate / (1.0 - rate);
}

void CalendarDrawerModel::endStripDrag(double translation)
{
    if (!m_agenda)
        return;
    recordDrag(translation);
    const double velocity = dragVelocity();
    m_drag.clear();
    m_agenda->endStripDrag(projectedTranslation(translation, velocity));
}

void CalendarDrawerModel::join(const QUrl &url)
{
    if (url.isValid() && !url.isEmpty())
        QDesktopServices::openUrl(url);
}

QString CalendarDrawerModel::detail(const AgendaEvent &event, const QDateTime &now, bool isToday, const QLocale &locale,
                                    const QTimeZone &zone)
{
    if (event.isAllDay)
        return QStringLiteral("All day");
    if (isToday && event.start <= now && now < event.end)
        return QStringLiteral("Now \u00b7 until ") + shortTime(event.end, locale, zone);
    QString line = timeRange(event.start, event.end, locale, zone);
    if (isToday && now < event.start) {
        const qint64 minutes = now.secsTo(event.start) / 60;
        line += QStringLiteral(" \u00b7 in ");
        if (minutes < 60) {
            line += QStringLiteral("%1 min").arg(minutes);
        } else {
            line += QStringLiteral("%1 h").arg(minutes / 60);
            if (minutes % 60 != 0)
                line += QStringLiteral(" %1 min").arg(minutes % 60);
        }
    }
    return line;
}

QString CalendarDrawerModel::readBackText(const QuickEvent &event, const QLocale &locale, const QTimeZone &zone)
{
    if (event.title.isEmpty())
        return placeholderText();
    QString line = event.title + QStringLiteral(", ") + locale.toString(event.start.toTimeZone(zone).date(), QStringLiteral("ddd d MMM"));
    if (event.isAllDay)
        line += QStringLiteral(", all day");
    else
        line += QStringLiteral(", ") + timeRange(event.start, event.end, locale, zone);
    return line;
}
