#include "calendar/EdsEventStore.h"

#include "calendar/ZonedTime.h"

#include <QAbstractEventDispatcher>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QPointer>
#include <QSet>
#include <QUuid>

#include <algorithm>

// GIO names a struct member "signals", which Qt defines as a keyword.
#undef signals
#include <libecal/libecal.h>
#include <libedataserver/libedataserver.h>
#define signals Q_SIGNALS

Q_LOGGING_CATEGORY(lcEds, "tarnwick.calendar.eds")

namespace {

// Remote calendars may take a while to come online; their cached events are
// shown meanwhile, so the connection is not waited on for long.
constexpr guint32 kWaitForConnectedSeconds = 5;

template<typename T> struct GUnref {
    void operator()(T *p) const
    {
        if (p)
            g_object_unref(p);
    }
};
template<typename T> using GPtr = std::unique_ptr<T, GUnref<T>>;

QString text(const char *s)
{
    return s ? QString::fromUtf8(s) : QString();
}

bool cancelled(const GError *error)
{
    return error && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
}

// Async calls outlive their caller when it goes away first (their callback
// still runs, with a cancelled error): the callback checks this before it
// touches anything.
struct Pending {
    QPointer<EdsEventStore> store;
    QString sourceId;
};

} // namespace

// One mirrored event component: a plain event, a recurring rule, or a moved
// or changed occurrence of a rule (it carries the rule's uid and the date of
// the occurrence it replaces).
struct EdsItem {
    GPtr<ICalComponent> component;
    QString uid;
    bool recurring = false;
    bool isInstance = false;
    qint64 replacesMs = 0; // for an instance: the occurrence it replaces
    // A plain event's or an instance's one occurrence; a rule's first.
    QDateTime start;
    QDateTime end;
    // The same in ms: comparing zoned times costs a zone look-up each.
    qint64 startMs = 0;
    qint64 endMs = 0;
    // When a rule's last occurrence ends; invalid for a rule without end.
    QDateTime lastEnd;
    // A counted rule's occurrences (start, end in ms), worked out once: the
    // rule would otherwise be walked from its first date on every query.
    std::vector<std::pair<qint64, qint64>> expanded;
    qint64 lastEndMs = 0;
    bool isAllDay = false;
    bool cancelled = false;
    QString title;
    QString location;
    QString notes;
    QUrl url;
};

struct EdsEventStore::Source {
    QString uid; // the service's source id
    GPtr<ESource> source;
    GPtr<ECalClient> client;
    GPtr<ECalClientView> view;
    QString title;
    QColor color;
    bool writable = false;
    bool complete = false;
    // Keyed by uid and recurrence id.
    std::map<QString, EdsItem> items;
    QSet<QByteArray> zonesAsked;
    EdsEventStore::Private *owner = nullptr;

    ~Source()
    {
        if (view) {
            g_signal_handlers_disconnect_matched(view.get(), G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this);
            e_cal_client_view_stop(view.get(), nullptr);
        }
    }
};

struct EdsEventStore::Private {
    EdsEventStore *q;
    GPtr<GCancellable> cancellable {g_cancellable_new()};
    GPtr<ESourceRegistry> registry;
    std::vector<std::unique_ptr<Source>> sources;
    QStringList failures; // sentences for calendars that could not be opened
    int connecting = 0;
    ICalTimezone *localZone = nullptr; // owned by libical

    ~Private()
    {
        g_cancellable_cancel(cancellable.get());
        if (registry)
            g_signal_handlers_disconnect_matched(registry.get(), G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this);
        sources.clear();
    }

    Source *find(const QString &uid) const
    {
        for (const auto &s : sources) {
            if (s->uid == uid)
                return s.get();
        }
        return nullptr;
    }

    static QString key(const char *uid, const char *rid) { return text(uid) + QChar(0x1f) + text(rid); }

    // --- the source registry -------------------------------------------

    static void registryReady(GObject *, GAsyncResult *result, gpointer data)
    {
        std::unique_ptr<Pending> pending(static_cast<Pending *>(data));
        GError *error = nullptr;
        ESourceRegistry *registry = e_source_registry_new_finish(result, &error);
        if (!pending->store) {
            if (registry)
                g_object_unref(registry);
            g_clear_error(&error);
            return;
        }
        Private *d = pending->store->d.get();
        if (!registry) {
            // No service on the bus (or no bus): the other stores carry on alone.
            qCDebug(lcEds, "no calendar service: %s", error ? error->message : "unknown error");
            g_clear_error(&error);
            d->q->setState(State::Absent);
            return;
        }
        d->registry.reset(registry);
        g_signal_connect(registry, "source-added", G_CALLBACK(sourceAppeared), d);
        g_signal_connect(registry, "source-enabled", G_CALLBACK(sourceAppeared), d);
        g_signal_connect(registry, "source-removed", G_CALLBACK(sourceGone), d);
        g_signal_connect(registry, "source-disabled", G_CALLBACK(sourceGone), d);
        g_signal_connect(registry, "source-changed", G_CALLBACK(sourceChanged), d);
        GList *list = e_source_registry_list_enabled(registry, E_SOURCE_EXTENSION_CALENDAR);
        for (GList *l = list; l; l = l->next)
            d->connect(E_SOURCE(l->data));
        g_list_free_full(list, g_object_unref);
        d->q->setState(State::Open);
    }

    static bool isEnabledCalendar(ESourceRegistry *registry, ESource *source)
    {
        return e_source_has_extension(source, E_SOURCE_EXTENSION_CALENDAR)
            && e_source_registry_check_enabled(registry, source);
    }

    static void sourceAppeared(ESourceRegistry *registry, ESource *source, gpointer data)
    {
        auto *d = static_cast<Private *>(data);
        if (isEnabledCalendar(registry, source) && !d->find(text(e_source_get_uid(source))))
            d->connect(source);
    }

    static void sourceGone(ESourceRegistry *, ESource *source, gpointer data)
    {
        auto *d = static_cast<Private *>(data);
        const QString uid = text(e_source_get_uid(source));
        const auto it
            = std::find_if(d->sources.begin(), d->sources.end(), [&](const auto &s) { return s->uid == uid; });
        if (it == d->sources.end())
            return;
        d->sources.erase(it);
        d->q->announceChange();
    }

    static void sourceChanged(ESourceRegistry *registry, ESource *source, gpointer data)
    {
        auto *d = static_cast<Private *>(data);
        if (Source *s = d->find(text(e_source_get_uid(source)))) {
            describe(*s);
            d->q->announceChange();
        } else {
            sourceAppeared(registry, source, data);
        }
    }

    static void describe(Source &s)
    {
        s.title = text(e_source_get_display_name(s.source.get()));
        auto *calendar
            = static_cast<ESourceSelectable *>(e_source_get_extension(s.source.get(), E_SOURCE_EXTENSION_CALENDAR));
        s.color = QColor(text(e_source_selectable_get_color(calendar)));
        if (!s.color.isValid())
            s.color = QColor(0x0A, 0x84, 0xFF);
    }

    // --- one calendar: client, then view ---------------------------------

    void connect(ESource *source)
    {
        auto s = std::make_unique<Source>();
        s->uid = text(e_source_get_uid(source));
        s->source.reset(E_SOURCE(g_object_ref(source)));
        s->owner = this;
        describe(*s);
        sources.push_back(std::move(s));
        ++connecting;
        e_cal_client_connect(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, kWaitForConnectedSeconds, cancellable.get(),
            clientReady, new Pending {q, text(e_source_get_uid(source))});
    }

    static void clientReady(GObject *, GAsyncResult *result, gpointer data)
    {
        std::unique_ptr<Pending> pending(static_cast<Pending *>(data));
        GError *error = nullptr;
        EClient *client = e_cal_client_connect_finish(result, &error);
        if (!pending->store || cancelled(error)) {
            if (client)
                g_object_unref(client);
            g_clear_error(&error);
            return;
        }
        Private *d = pending->store->d.get();
        --d->connecting;
        Source *s = d->find(pending->sourceId);
        if (!s) {
            if (client)
                g_object_unref(client);
            g_clear_error(&error);
            return;
        }
        if (!client) {
            d->failed(*s, error);
            return;
        }
        s->client.reset(E_CAL_CLIENT(client));
        s->writable = !e_client_is_readonly(client);
        e_cal_client_set_default_timezone(s->client.get(), d->localZone);
        // The whole calendar is mirrored: the agenda moves freely between
        // days and reads them from memory.
        e_cal_client_get_view(s->client.get(), "#t", d->cancellable.get(), viewReady, new Pending {d->q, s->uid});
        d->q->announceChange();
    }

    static void viewReady(GObject *object, GAsyncResult *result, gpointer data)
    {
        std::unique_ptr<Pending> pending(static_cast<Pending *>(data));
        GError *error = nullptr;
        ECalClientView *view = nullptr;
        e_cal_client_get_view_finish(E_CAL_CLIENT(object), result, &view, &error);
        if (!pending->store || cancelled(error)) {
            if (view)
                g_object_unref(view);
            g_clear_error(&error);
            return;
        }
        Private *d = pending->store->d.get();
        Source *s = d->find(pending->sourceId);
        if (!s) {
            if (view)
                g_object_unref(view);
            g_clear_error(&error);
            return;
        }
        if (!view) {
            d->failed(*s, error);
            return;
        }
        s->view.reset(view);
        g_signal_connect(view, "objects-added", G_CALLBACK(objectsAdded), s);
        g_signal_connect(view, "objects-modified", G_CALLBACK(objectsAdded), s);
        g_signal_connect(view, "objects-removed", G_CALLBACK(objectsRemoved), s);
        g_signal_connect(view, "complete", G_CALLBACK(viewComplete), s);
        // Every object is sent with its whole content, and the ones already
        // there arrive first, through the same signal as later additions.
        e_cal_client_view_set_flags(view, E_CAL_CLIENT_VIEW_FLAGS_NOTIFY_INITIAL, nullptr);
        e_cal_client_view_start(view, &error);
        if (error)
            d->failed(*s, error);
    }

    void failed(Source &s, GError *error)
    {
        const QString why = error ? text(error->message) : QStringLiteral("unknown error");
        g_clear_error(&error);
        qCWarning(lcEds, "calendar %s could not be opened: %s", qPrintable(s.title), qPrintable(why));
        failures.append(QStringLiteral("Tarnwick couldn't open the calendar “%1”: %2").arg(s.title, why));
        const QString uid = s.uid;
        sources.erase(std::find_if(sources.begin(), sources.end(), [&](const auto &p) { return p->uid == uid; }));
        if (sources.empty() && connecting == 0)
            q->setState(State::Failed, failures.join(QLatin1Char('\n')));
        q->announceChange();
    }

    // A view's callbacks only run while its source lives: the source
    // disconnects them before it goes.
    static Private *owner(Source *s) { return s->owner; }

    static void objectsAdded(ECalClientView *, const GSList *objects, gpointer data)
    {
        auto *s = static_cast<Source *>(data);
        Private *d = owner(s);
        for (const GSList *l = objects; l; l = l->next)
            d->mirror(*s, I_CAL_COMPONENT(l->data));
        d->q->announceChange();
    }

    static void objectsRemoved(ECalClientView *, const GSList *ids, gpointer data)
    {
        auto *s = static_cast<Source *>(data);
        for (const GSList *l = ids; l; l = l->next) {
            const auto *id = static_cast<const ECalComponentId *>(l->data);
            const char *rid = e_cal_component_id_get_rid(id);
            const QString uid = text(e_cal_component_id_get_uid(id));
            if (rid && *rid) {
                s->items.erase(key(e_cal_component_id_get_uid(id), rid));
                continue;
            }
            // The rule itself is gone, and with it its moved occurrences.
            std::erase_if(s->items, [&](const auto &entry) { return entry.second.uid == uid; });
        }
        owner(s)->q->announceChange();
    }

    static void viewComplete(ECalClientView *, const GError *error, gpointer data)
    {
        auto *s = static_cast<Source *>(data);
        if (error)
            qCWarning(lcEds, "calendar %s: %s", qPrintable(s->title), error->message);
        s->complete = true;
        owner(s)->q->announceChange();
    }

    // --- time zones and times ------------------------------------------

    // A zone by its id: the zones libical knows by name, then those the
    // calendar has sent us. An unknown one is asked for (its events move to
    // their right time when it arrives) and read as local time meanwhile.
    ICalTimezone *zone(Source &s, const char *tzid)
    {
        if (!tzid || !*tzid)
            return nullptr;
        if (ICalTimezone *z = i_cal_timezone_get_builtin_timezone_from_tzid(tzid))
            return z;
        if (ICalTimezone *z = i_cal_timezone_get_builtin_timezone(tzid))
            return z;
        if (s.client) {
            if (ICalTimezone *z = e_timezone_cache_get_timezone(E_TIMEZONE_CACHE(s.client.get()), tzid))
                return z;
            if (!s.zonesAsked.contains(tzid)) {
                s.zonesAsked.insert(tzid);
                e_cal_client_get_timezone(s.client.get(), tzid, cancellable.get(), zoneReady, new Pending {q, s.uid});
            }
        }
        return nullptr;
    }

    static ICalTimezone *resolveZone(const gchar *tzid, gpointer data, GCancellable *, GError **)
    {
        auto *ctx = static_cast<std::pair<Private *, Source *> *>(data);
        return ctx->first->zone(*ctx->second, tzid);
    }

    static void zoneReady(GObject *object, GAsyncResult *result, gpointer data)
    {
        std::unique_ptr<Pending> pending(static_cast<Pending *>(data));
        GError *error = nullptr;
        ICalTimezone *zone = nullptr;
        e_cal_client_get_timezone_finish(E_CAL_CLIENT(object), result, &zone, &error);
        const bool gone = !pending->store || cancelled(error);
        if (error)
            qCDebug(lcEds, "time zone not found: %s", error->message);
        g_clear_error(&error);
        if (gone || !zone)
            return;
        Private *d = pending->store->d.get();
        if (Source *s = d->find(pending->sourceId)) {
            // The zone is in the client's cache now: read the times again.
            for (auto &[k, item] : s->items)
                d->measure(*s, item);
            d->q->announceChange();
        }
    }

    // A date is the start of that day here; a time is read in its own zone,
    // else the property's, else ours (a floating time).
    qint64 toMs(const ICalTime *t, ICalTimezone *fallback) const
    {
        if (i_cal_time_is_date(t))
            return ZonedTime::startOfDay(
                QDate(i_cal_time_get_year(t), i_cal_time_get_month(t), i_cal_time_get_day(t)), q->m_zone)
                .toMSecsSinceEpoch();
        ICalTimezone *z = i_cal_time_is_utc(t) ? i_cal_timezone_get_utc_timezone() : i_cal_time_get_timezone(t);
        if (!z)
            z = fallback ? fallback : localZone;
        return qint64(i_cal_time_as_timet_with_zone(t, z)) * 1000;
    }

    QDateTime toDateTime(const ICalTime *t, ICalTimezone *fallback) const
    {
        return QDateTime::fromMSecsSinceEpoch(toMs(t, fallback), q->m_zone);
    }

    // The zone named on a date property, when it names one.
    ICalTimezone *zoneOf(Source &s, ICalComponent *c, ICalPropertyKind kind)
    {
        GPtr<ICalProperty> p(i_cal_component_get_first_property(c, kind));
        if (!p)
            return nullptr;
        GPtr<ICalParameter> tz(i_cal_property_get_first_parameter(p.get(), I_CAL_TZID_PARAMETER));
        return tz ? zone(s, i_cal_parameter_get_tzid(tz.get())) : nullptr;
    }

    // Generates the occurrences of `item` overlapping [from, to); a plain
    // event or a moved occurrence has exactly one.
    template<typename F>
    void occurrences(Source &s, const EdsItem &item, const QDateTime &from, const QDateTime &to, F &&sink)
    {
        GPtr<ICalTime> start(
            i_cal_time_new_from_timet_with_zone(time_t(from.toSecsSinceEpoch()), 0, i_cal_timezone_get_utc_timezone()));
        GPtr<ICalTime> end(
            i_cal_time_new_from_timet_with_zone(time_t(to.toSecsSinceEpoch()), 0, i_cal_timezone_get_utc_timezone()));
        struct Ctx {
            Private *d;
            Source *s;
            F *sink;
            ICalTimezone *startZone;
        } ctx {this, &s, &sink, zoneOf(s, item.component.get(), I_CAL_DTSTART_PROPERTY)};
        std::pair<Private *, Source *> resolver {this, &s};
        auto each
            = [](ICalComponent *, ICalTime *is, ICalTime *ie, gpointer data, GCancellable *, GError **) -> gboolean {
            auto *c = static_cast<Ctx *>(data);
            (*c->sink)(c->d->toMs(is, c->startZone), c->d->toMs(ie, c->startZone));
            return TRUE;
        };
        GError *error = nullptr;
        e_cal_recur_generate_instances_sync(item.component.get(), start.get(), end.get(), each, &ctx, resolveZone,
            &resolver, localZone, nullptr, &error);
        if (error) {
            qCDebug(lcEds, "occurrences of %s: %s", qPrintable(item.uid), error->message);
            g_clear_error(&error);
        }
    }

    // Reads an item's own start and end (for a rule: its first occurrence),
    // and for a rule that ends, when its last occurrence does.
    void measure(Source &s, EdsItem &item)
    {
        ICalComponent *c = item.component.get();
        GPtr<ICalTime> dtstart(i_cal_component_get_dtstart(c));
        if (!dtstart || i_cal_time_is_null_time(dtstart.get()))
            return;
        ICalTimezone *startZone = zoneOf(s, c, I_CAL_DTSTART_PROPERTY);
        item.isAllDay = i_cal_time_is_date(dtstart.get());
        item.start = toDateTime(dtstart.get(), startZone);
        if (GPtr<ICalProperty> dtend {i_cal_component_get_first_property(c, I_CAL_DTEND_PROPERTY)}) {
            GPtr<ICalTime> t(i_cal_property_get_dtend(dtend.get()));
            ICalTimezone *endZone = zoneOf(s, c, I_CAL_DTEND_PROPERTY);
            item.end = toDateTime(t.get(), endZone ? endZone : startZone);
        } else if (GPtr<ICalProperty> duration {i_cal_component_get_first_property(c, I_CAL_DURATION_PROPERTY)}) {
            GPtr<ICalDuration> d(i_cal_property_get_duration(duration.get()));
            const int secs = i_cal_duration_as_int(d.get());
            item.end = item.isAllDay ? item.start.addDays(secs / 86400) : item.start.addSecs(secs);
        } else {
            // Without an end, an all-day event takes its day and a timed one
            // is a moment.
            item.end = item.isAllDay ? item.start.addDays(1) : item.start;
        }
        if (item.end < item.start)
            item.end = item.start;
        item.startMs = item.start.toMSecsSinceEpoch();
        item.endMs = item.end.toMSecsSinceEpoch();
        item.lastEnd = {};
        item.expanded.clear();
        if (!item.recurring)
            return;
        // A rule that ends (UNTIL or COUNT, no extra dates) is not expanded
        // for the days after it: most old rules in a long-kept calendar
        // have ended.
        bool counted = GPtr<ICalProperty>(i_cal_component_get_first_property(c, I_CAL_RDATE_PROPERTY)) != nullptr;
        QDateTime until;
        for (GPtr<ICalProperty> p {i_cal_component_get_first_property(c, I_CAL_RRULE_PROPERTY)}; p;
             p.reset(i_cal_component_get_next_property(c, I_CAL_RRULE_PROPERTY))) {
            GPtr<ICalRecurrence> rule(i_cal_property_get_rrule(p.get()));
            GPtr<ICalTime> u(rule ? i_cal_recurrence_get_until(rule.get()) : nullptr);
            if (rule && i_cal_recurrence_get_count(rule.get()) > 0)
                counted = true;
            else if (u && !i_cal_time_is_null_time(u.get()))
                until = std::max(until, toDateTime(u.get(), startZone));
            else
                return; // runs for ever
        }
        if (!counted) {
            item.lastEnd = until.addSecs(item.start.secsTo(item.end)).addDays(1);
            item.lastEndMs = item.lastEnd.toMSecsSinceEpoch();
            return;
        }
        occurrences(s, item, item.start.addDays(-1), item.start.addYears(30),
            [&](qint64 a, qint64 b) { item.expanded.emplace_back(a, b); });
        item.lastEndMs = item.startMs;
        for (const auto &[a, b] : item.expanded)
            item.lastEndMs = std::max(item.lastEndMs, b);
        item.lastEnd = QDateTime::fromMSecsSinceEpoch(item.lastEndMs, q->m_zone);
    }

    void mirror(Source &s, ICalComponent *component)
    {
        if (i_cal_component_isa(component) != I_CAL_VEVENT_COMPONENT)
            return;
        EdsItem item;
        item.component.reset(i_cal_component_clone(component));
        ICalComponent *c = item.component.get();
        item.uid = text(i_cal_component_get_uid(c));
        item.recurring = e_cal_util_component_has_recurrences(c);
        item.isInstance = e_cal_util_component_is_instance(c);
        item.cancelled = i_cal_component_get_status(c) == I_CAL_STATUS_CANCELLED;
        item.title = text(i_cal_component_get_summary(c));
        item.location = text(i_cal_component_get_location(c));
        item.notes = text(i_cal_component_get_description(c));
        if (GPtr<ICalProperty> url {i_cal_component_get_first_property(c, I_CAL_URL_PROPERTY)})
            item.url = QUrl(text(i_cal_property_get_url(url.get())));
        if (item.isInstance) {
            GPtr<ICalTime> rid(i_cal_component_get_recurrenceid(c));
            item.replacesMs = toDateTime(rid.get(), zoneOf(s, c, I_CAL_RECURRENCEID_PROPERTY)).toMSecsSinceEpoch();
        }
        measure(s, item);
        gchar *rid = e_cal_util_component_get_recurid_as_string(c);
        const QString k = key(i_cal_component_get_uid(c), rid);
        g_free(rid);
        s.items.insert_or_assign(k, std::move(item));
    }
};

EdsEventStore::EdsEventStore(QTimeZone zone, QObject *parent)
    : EventStore(parent)
    , m_zone(std::move(zone))
    , d(std::make_unique<Private>())
{
    d->q = this;
    d->localZone = i_cal_timezone_get_builtin_timezone(m_zone.id().constData());
    if (!d->localZone)
        d->localZone = i_cal_timezone_get_utc_timezone();
}

EdsEventStore::~EdsEventStore() = default;

void EdsEventStore::open()
{
    if (m_state == State::Opening || m_state == State::Open)
        return;
    // The service's answers come on the main thread's GLib loop; without
    // one (an event loop that is not GLib's) they would never arrive.
    const QAbstractEventDispatcher *loop = QAbstractEventDispatcher::instance();
    if (!loop || !loop->inherits("QEventDispatcherGlib")) {
        qCWarning(lcEds, "the event loop is not GLib's: the desktop's calendars are not read");
        setState(State::Absent);
        return;
    }
    // Without a session bus there is no service to reach, and the calendar
    // is no reason to start a bus (GLib would launch one for the display).
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")
        && (runtime.isEmpty() || !QFileInfo::exists(runtime + QStringLiteral("/bus")))) {
        setState(State::Absent);
        return;
    }
    setState(State::Opening);
    e_source_registry_new(d->cancellable.get(), Private::registryReady, new Pending {this, {}});
}

void EdsEventStore::setState(State state, const QString &problem)
{
    if (state == m_state && problem == m_problem)
        return;
    m_state = state;
    m_problem = problem;
    announceChange();
}


bool EdsEventStore::isComplete() const
{
    if (m_state != State::Open || d->connecting > 0)
        return false;
    return std::all_of(d->sources.begin(), d->sources.end(), [](const auto &s) { return s->complete; });
}

EventStore::Authorization EdsEventStore::authorizationStatus() const
{
    switch (m_state) {
    case State::Open:
        return Authorization::FullAccess;
    case State::Opening:
        return Authorization::NotDetermined;
    case State::Failed:
        return Authorization::Denied;
    case State::Absent:
        break;
    }
    return Authorization::Restricted;
}

void EdsEventStore::requestFullAccess(std::function<void(bool)> done)
{
    // The service asks for no permission; a store that failed is tried again.
    if (m_state == State::Failed || m_state == State::Absent) {
        d->failures.clear();
        m_state = State::Absent;
        open();
    }
    const bool granted = m_state == State::Open;
    QMetaObject::invokeMethod(
        this, [done = std::move(done), granted] { done(granted); }, Qt::QueuedConnection);
}

QList<EventStore::Event> EdsEventStore::events(const QDateTime &from, const QDateTime &to) const
{
    QList<Event> out;
    const qint64 fromMs = from.toMSecsSinceEpoch();
    const qint64 toMs = to.toMSecsSinceEpoch();
    for (const auto &source : d->sources) {
        Source &s = *source;
        // Occurrences a moved or changed instance replaces, by rule.
        QHash<QString, QSet<qint64>> replaced;
        for (const auto &[k, item] : s.items) {
            if (item.isInstance)
                replaced[item.uid].insert(item.replacesMs);
        }
        auto add = [&](const EdsItem &item, const QDateTime &start, const QDateTime &end) {
            Event e;
            e.uid = item.uid;
            e.id = QLatin1String(kIdPrefix) + s.uid + QLatin1Char('/') + item.uid + QLatin1Char('/')
                + QString::number(start.toMSecsSinceEpoch());
            e.calendarId = QLatin1String(kIdPrefix) + s.uid;
            e.title = item.title;
            e.start = start;
            e.end = end;
            e.isAllDay = item.isAllDay;
            e.isCancelled = item.cancelled;
            e.color = s.color;
            e.location = item.location;
            e.notes = item.notes;
            e.url = item.url;
            out.append(e);
        };
        for (const auto &[k, item] : s.items) {
            if (!item.recurring) {
                if (item.start.isValid() && item.startMs < toMs && item.endMs > fromMs)
                    add(item, item.start, item.end);
                continue;
            }
            if (!item.start.isValid() || item.startMs >= toMs || (item.lastEnd.isValid() && item.lastEndMs <= fromMs))
                continue;
            const QSet<qint64> skip = replaced.value(item.uid);
            if (!item.expanded.empty()) {
                for (const auto &[a, b] : item.expanded) {
                    if (a < toMs && b > fromMs && !skip.contains(a))
                        add(item, QDateTime::fromMSecsSinceEpoch(a, m_zone), QDateTime::fromMSecsSinceEpoch(b, m_zone));
                }
                continue;
            }
            d->occurrences(s, item, from, to, [&](qint64 a, qint64 b) {
                if (a < toMs && b > fromMs && !skip.contains(a))
                    add(item, QDateTime::fromMSecsSinceEpoch(a, m_zone), QDateTime::fromMSecsSinceEpoch(b, m_zone));
            });
        }
    }
    return out;
}

QList<EventStore::Calendar> EdsEventStore::writableCalendars() const
{
    QList<Calendar> list;
    for (const auto &s : d->sources) {
        if (s->client && s->writable)
            list.append(Calendar {QLatin1String(kIdPrefix) + s->uid, s->title, s->color, true});
    }
    std::stable_sort(list.begin(), list.end(),
        [](const Calendar &a, const Calendar &b) { return a.title.compare(b.title, Qt::CaseInsensitive) < 0; });
    return list;
}

std::optional<EventStore::Calendar> EdsEventStore::calendar(const QString &id) const
{
    if (!id.startsWith(QLatin1String(kIdPrefix)))
        return std::nullopt;
    const Source *s = d->find(id.mid(int(qstrlen(kIdPrefix))));
    if (!s || !s->client)
        return std::nullopt;
    return Calendar {id, s->title, s->color, s->writable};
}

std::optional<EventStore::Calendar> EdsEventStore::defaultCalendarForNewEvents()
{
    if (!d->registry)
        return std::nullopt;
    // The calendar the desktop names as default, when it is open and
    // writable; else the first one we may write to.
    if (GPtr<ESource> chosen {e_source_registry_ref_default_calendar(d->registry.get())}) {
        const auto c = calendar(QLatin1String(kIdPrefix) + text(e_source_get_uid(chosen.get())));
        if (c && c->writable)
            return c;
    }
    const QList<Calendar> writable = writableCalendars();
    if (writable.isEmpty())
        return std::nullopt;
    return writable.first();
}

bool EdsEventStore::save(const NewEvent &event, const QString &calendarId, QString *error)
{
    auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    std::optional<Calendar> target = calendarId.isEmpty() ? std::nullopt : calendar(calendarId);
    if (!target)
        target = defaultCalendarForNewEvents();
    if (!target)
        return fail(QStringLiteral("There is no calendar of the desktop's to add to."));
    Source *s = d->find(target->id.mid(int(qstrlen(kIdPrefix))));
    if (!s->writable)
        return fail(QStringLiteral("The calendar “%1” is read-only.").arg(s->title));

    GPtr<ICalComponent> ev(i_cal_component_new_vevent());
    const QString uid = QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral("@tarnwick");
    ICalTimezone *utc = i_cal_timezone_get_utc_timezone();
    i_cal_component_set_uid(ev.get(), uid.toUtf8().constData());
    i_cal_component_set_summary(ev.get(), event.title.toUtf8().constData());
    GPtr<ICalTime> stamp(i_cal_time_new_current_with_zone(utc));
    i_cal_component_set_dtstamp(ev.get(), stamp.get());
    if (event.isAllDay) {
        // An all-day event ends on the next day, exclusive.
        const QDate first = ZonedTime::dayOf(event.start, m_zone);
        QDate last = ZonedTime::dayOf(event.end, m_zone);
        if (last <= first)
            last = first.addDays(1);
        GPtr<ICalTime> a(i_cal_time_new_null_date());
        i_cal_time_set_date(a.get(), first.year(), first.month(), first.day());
        GPtr<ICalTime> b(i_cal_time_new_null_date());
        i_cal_time_set_date(b.get(), last.year(), last.month(), last.day());
        i_cal_component_set_dtstart(ev.get(), a.get());
        i_cal_component_set_dtend(ev.get(), b.get());
    } else {
        GPtr<ICalTime> a(i_cal_time_new_from_timet_with_zone(time_t(event.start.toSecsSinceEpoch()), 0, utc));
        GPtr<ICalTime> b(i_cal_time_new_from_timet_with_zone(time_t(event.end.toSecsSinceEpoch()), 0, utc));
        i_cal_component_set_dtstart(ev.get(), a.get());
        i_cal_component_set_dtend(ev.get(), b.get());
    }

    // A short call to a local service, made when the user presses Return:
    // the answer decides what the field shows next.
    GError *gerror = nullptr;
    gchar *newUid = nullptr;
    if (!e_cal_client_create_object_sync(
            s->client.get(), ev.get(), E_CAL_OPERATION_FLAG_NONE, &newUid, nullptr, &gerror)) {
        const QString why = gerror ? text(gerror->message) : QStringLiteral("unknown error");
        g_clear_error(&gerror);
        return fail(why);
    }
    if (newUid)
        i_cal_component_set_uid(ev.get(), newUid);
    g_free(newUid);
    // Shown at once; the view's own copy replaces it when it arrives.
    d->mirror(*s, ev.get());
    announceChange();
    return true;
}
