#include "calendar/VdirEventStore.h"

#include "calendar/ZonedTime.h"
#include "core/Clock.h"
#include "core/UserDefaults.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>
#include <QThread>
#include <QUuid>

extern "C" {
#include <libical/ical.h>
}

Q_LOGGING_CATEGORY(lcVdir, "tarnwick.calendar", QtWarningMsg)

namespace {

// Recurrence expansion stops here even for a rule with no end, so a broken
// file cannot stall the drawer. Counted from the start of the queried range
// (rules without COUNT start there), so it bounds the work of one query,
// never which of today's occurrences are shown.
constexpr int kMaxOccurrences = 100000;
// One event's file is a few kilobytes, a long-running series with its
// changed occurrences a few hundred; a larger file is not read, so a stray
// export or a broken sync cannot hold the whole store up.
constexpr qint64 kMaxFileBytes = 4 * 1024 * 1024;
// Beyond this many files only folders are watched (inotify watches are a
// per-user budget shared with every other program).
constexpr int kMaxWatchedFiles = 4000;

struct IcalDeleter
{
    void operator()(icalcomponent *c) const { icalcomponent_free(c); }
};
using IcalPtr = std::unique_ptr<icalcomponent, IcalDeleter>;

// How a time in a file is to be read.
struct ZoneRef
{
    enum class Kind { Floating, Utc, Named, Embedded };
    Kind kind = Kind::Floating;
    QTimeZone named;
    icaltimezone *embedded = nullptr;
};

QString text(const char *s)
{
    return s ? QString::fromUtf8(s) : QString();
}

ZoneRef zoneOf(icalproperty *prop, icaltimetype t, icalcomponent *vcalendar)
{
    ZoneRef ref;
    if (icaltime_is_utc(t)) {
        ref.kind = ZoneRef::Kind::Utc;
        return ref;
    }
    icalparameter *param = prop ? icalproperty_get_first_parameter(prop, ICAL_TZID_PARAMETER) : nullptr;
    if (!param)
        return ref;
    const QByteArray tzid = QByteArray(icalparameter_get_tzid(param));
    // Most files name zones by their tz database name; Outlook writes
    // Windows names, which Qt maps; anything else needs the file's own
    // VTIMEZONE definition.
    QByteArray iana = tzid;
    if (iana.startsWith('/'))
        iana = iana.mid(1);
    if (QTimeZone::isTimeZoneIdAvailable(iana)) {
        ref.kind = ZoneRef::Kind::Named;
        ref.named = QTimeZone(iana);
        return ref;
    }
    const QByteArray mapped = QTimeZone::windowsIdToDefaultIanaId(tzid);
    if (!mapped.isEmpty() && QTimeZone::isTimeZoneIdAvailable(mapped)) {
        ref.kind = ZoneRef::Kind::Named;
        ref.named = QTimeZone(mapped);
        return ref;
    }
    if (vcalendar) {
        if (icaltimezone *zone = icalcomponent_get_timezone(vcalendar, tzid.constData())) {
            ref.kind = ZoneRef::Kind::Embedded;
            ref.embedded = zone;
        }
    }
    return ref;
}

QDateTime toDateTime(icaltimetype t, const ZoneRef &zone, const QTimeZone &local)
{
    if (icaltime_is_null_time(t))
        return {};
    const QDate date(t.year, t.month, t.day);
    if (t.is_date)
        return ZonedTime::startOfDay(date, local);
    const QTime time(t.hour, t.minute, t.second);
    switch (zone.kind) {
    case ZoneRef::Kind::Utc:
        return QDateTime(date, time, Qt::UTC);
    case ZoneRef::Kind::Named:
        return ZonedTime::at(date, time, zone.named);
    case ZoneRef::Kind::Embedded: {
        t.zone = zone.embedded;
        return QDateTime::fromSecsSinceEpoch(qint64(icaltime_as_timet_with_zone(t, zone.embedded)), Qt::UTC);
    }
    case ZoneRef::Kind::Floating:
        break;
    }
    // Floating times ("at 9 wherever you are") are read in the viewer's zone.
    return ZonedTime::at(date, time, local);
}

// `moment` written the way a rule's DTSTART is: as a date, in UTC, in the
// event's zone, or as a floating time in the viewer's zone.
icaltimetype icalTimeLike(const QDateTime &moment, icaltimetype like, const ZoneRef &zone, const QTimeZone &local)
{
    if (zone.kind == ZoneRef::Kind::Embedded) {
        icaltimetype t = icaltime_from_timet_with_zone(time_t(moment.toSecsSinceEpoch()), like.is_date, zone.embedded);
        t.is_date = like.is_date;
        return t;
    }
    const QDateTime shown = zone.kind == ZoneRef::Kind::Utc     ? moment.toUTC()
                            : zone.kind == ZoneRef::Kind::Named ? moment.toTimeZone(zone.named)
                                                                : moment.toTimeZone(local);
    icaltimetype t = like;
    t.year = shown.date().year();
    t.month = shown.date().month();
    t.day = shown.date().day();
    if (!like.is_date) {
        t.hour = shown.time().hour();
        t.minute = shown.time().minute();
        t.second = shown.time().second();
    }
    return t;
}

} // namespace

// One VEVENT as read from a file: a single event, a recurring master, or a
// changed occurrence of a recurring one.
struct VdirItem
{
    QString uid;
    QString title;
    QString location;
    QString notes;
    QUrl url;
    bool cancelled = false;
    bool isAllDay = false;
    QDateTime start;
    QDateTime end;
    qint64 startMs = 0;
    qint64 endMs = 0;
    // Recurring masters only.
    bool recurring = false;
    icalcomponent *component = nullptr;
    icaltimetype dtstart{};
    ZoneRef zone;
    qint64 durationSecs = 0;
    qint64 durationDays = 0;
    QSet<qint64> excludedMs;
    QSet<QDate> excludedDates;
};

struct VdirFile
{
    QDateTime modified;
    qint64 size = -1;
    IcalPtr root;
    std::vector<VdirItem> items;
};

struct VdirEventStore::Collection
{
    QString path;
    QString title;
    QColor color;
    bool writable = false;
    QHash<QString, std::shared_ptr<VdirFile>> files;
};

namespace {

QColor paletteColor(const QString &name)
{
    static const QList<QColor> palette = {QColor(0x0a, 0x84, 0xff), QColor(0x30, 0xd1, 0x58), QColor(0xff, 0x9f, 0x0a),
                                          QColor(0xbf, 0x5a, 0xf2), QColor(0xff, 0x37, 0x5f), QColor(0x64, 0xd2, 0xff),
                                          QColor(0xff, 0xd6, 0x0a)};
    return palette.at(int(qHash(name) % uint(palette.size())));
}

QString readSmallFile(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(f.read(4096)).trimmed();
}

bool isCollectionDir(const QDir &dir)
{
    return dir.exists(QStringLiteral("displayname")) || dir.exists(QStringLiteral("color"))
           || !dir.entryList({QStringLiteral("*.ics")}, QDir::Files).isEmpty();
}

bool writableDir(const QString &path)
{
    const QFileInfo info(path);
    // The owner's write bit counts too: a folder made read-only stays
    // read-only for us even when we run as root.
    return info.isDir() && info.isWritable() && (info.permissions() & QFileDevice::WriteOwner);
}

void readEvents(icalcomponent *vcalendar, VdirFile &file, const QTimeZone &local)
{
    QHash<QString, QList<QPair<qint64, QDate>>> overridden;
    for (icalcomponent *ev = icalcomponent_get_first_component(vcalendar, ICAL_VEVENT_COMPONENT); ev;
         ev = icalcomponent_get_next_component(vcalendar, ICAL_VEVENT_COMPONENT)) {
        icalproperty *dtstartProp = icalcomponent_get_first_property(ev, ICAL_DTSTART_PROPERTY);
        if (!dtstartProp)
            continue;
        VdirItem item;
        item.uid = text(icalcomponent_get_uid(ev));
        item.title = text(icalcomponent_get_summary(ev));
        item.location = text(icalcomponent_get_location(ev));
        item.notes = text(icalcomponent_get_description(ev));
        item.cancelled = icalcomponent_get_status(ev) == ICAL_STATUS_CANCELLED;
        if (icalproperty *urlProp = icalcomponent_get_first_property(ev, ICAL_URL_PROPERTY))
            item.url = QUrl(text(icalproperty_get_url(urlProp)));
        if (item.url.isEmpty()) {
            // Google writes the Meet link of an event here rather than in URL.
            for (icalproperty *x = icalcomponent_get_first_property(ev, ICAL_X_PROPERTY); x;
                 x = icalcomponent_get_next_property(ev, ICAL_X_PROPERTY)) {
                if (qstrcmp(icalproperty_get_x_name(x), "X-GOOGLE-CONFERENCE") == 0) {
                    item.url = QUrl(text(icalproperty_get_value_as_string(x)));
                    break;
                }
            }
        }

        const icaltimetype dtstart = icalproperty_get_dtstart(dtstartProp);
        item.zone = zoneOf(dtstartProp, dtstart, vcalendar);
        item.dtstart = dtstart;
        item.isAllDay = dtstart.is_date;
        item.start = toDateTime(dtstart, item.zone, local);
        if (!item.start.isValid())
            continue;

        if (icalproperty *dtendProp = icalcomponent_get_first_property(ev, ICAL_DTEND_PROPERTY)) {
            const icaltimetype dtend = icalproperty_get_dtend(dtendProp);
            item.end = toDateTime(dtend, zoneOf(dtendProp, dtend, vcalendar), local);
            if (item.isAllDay)
                item.durationDays = qMax<qint64>(1, QDate(dtstart.year, dtstart.month, dtstart.day).daysTo(QDate(dtend.year, dtend.month, dtend.day)));
        } else if (icalproperty *durProp = icalcomponent_get_first_property(ev, ICAL_DURATION_PROPERTY)) {
            const int seconds = icaldurationtype_as_int(icalproperty_get_duration(durProp));
            if (item.isAllDay)
                item.durationDays = qMax(1, seconds / 86400);
            else
                item.end = item.start.addSecs(seconds);
        } else if (item.isAllDay) {
            item.durationDays = 1;
        }
        if (item.isAllDay)
            item.end = ZonedTime::startOfDay(QDate(dtstart.year, dtstart.month, dtstart.day).addDays(item.durationDays), local);
        if (!item.end.isValid() || item.end < item.start)
            item.end = item.start;
        item.durationSecs = item.start.secsTo(item.end);
        item.startMs = item.start.toMSecsSinceEpoch();
        item.endMs = item.end.toMSecsSinceEpoch();

        if (icalproperty *rid = icalcomponent_get_first_property(ev, ICAL_RECURRENCEID_PROPERTY)) {
            const icaltimetype t = icalproperty_get_recurrenceid(rid);
            const QDateTime was = toDateTime(t, zoneOf(rid, t, vcalendar), local);
            overridden[item.uid].append({was.toMSecsSinceEpoch(), QDate(t.year, t.month, t.day)});
        } else if (icalcomponent_get_first_property(ev, ICAL_RRULE_PROPERTY)) {
            item.recurring = true;
            item.component = ev;
            for (icalproperty *ex = icalcomponent_get_first_property(ev, ICAL_EXDATE_PROPERTY); ex;
                 ex = icalcomponent_get_next_property(ev, ICAL_EXDATE_PROPERTY)) {
                const icaltimetype t = icalproperty_get_exdate(ex);
                if (t.is_date)
                    item.excludedDates.insert(QDate(t.year, t.month, t.day));
                else
                    item.excludedMs.insert(toDateTime(t, zoneOf(ex, t, vcalendar), local).toMSecsSinceEpoch());
            }
        }
        file.items.push_back(std::move(item));
    }
    // A changed occurrence replaces the one the rule would have made.
    for (VdirItem &item : file.items) {
        if (!item.recurring)
            continue;
        for (const auto &[ms, date] : overridden.value(item.uid)) {
            if (item.isAllDay)
                item.excludedDates.insert(date);
            else
                item.excludedMs.insert(ms);
        }
    }
}

std::shared_ptr<VdirFile> parseFile(const QString &path, const QFileInfo &info, const QTimeZone &local)
{
    auto file = std::make_shared<VdirFile>();
    file->modified = info.lastModified();
    file->size = info.size();
    if (info.size() > kMaxFileBytes) {
        qCWarning(lcVdir) << "too large for one event, not read:" << path << info.size() << "bytes";
        return file;
    }
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        qCWarning(lcVdir) << "cannot read" << path << f.errorString();
        return file;
    }
    const QByteArray data = f.read(kMaxFileBytes);
    file->root.reset(icalparser_parse_string(data.constData()));
    if (!file->root) {
        qCWarning(lcVdir) << "not an iCalendar file:" << path;
        return file;
    }
    icalcomponent *root = file->root.get();
    if (icalcomponent_isa(root) == ICAL_VCALENDAR_COMPONENT) {
        readEvents(root, *file, local);
    } else {
        for (icalcomponent *cal = icalcomponent_get_first_component(root, ICAL_VCALENDAR_COMPONENT); cal;
             cal = icalcomponent_get_next_component(root, ICAL_VCALENDAR_COMPONENT))
            readEvents(cal, *file, local);
    }
    return file;
}

bool overlaps(qint64 start, qint64 end, qint64 from, qint64 to)
{
    if (start == end)
        return start >= from && start < to;
    return start < to && end > from;
}

} // namespace

VdirEventStore::VdirEventStore(Clock &clock, QString root, QStringList folders, QTimeZone zone, QObject *parent)
    : EventStore(parent)
    , m_clock(clock)
    , m_root(std::move(root))
    , m_folders(std::move(folders))
    , m_zone(std::move(zone))
{
    icalerror_set_errors_are_fatal(0);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &VdirEventStore::pathChanged);
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &VdirEventStore::pathChanged);
    // The first read lists the folders now and parses the files on a worker
    // thread: a few thousand events, or one large subscribed calendar, would
    // otherwise hold up the first paint of the panel.
    scanCollections();
    m_started = true;
    QStringList deferred;
    for (const auto &c : m_collections)
        rescan(*c, &deferred);
    if (!deferred.isEmpty())
        loadInBackground(deferred);
}

VdirEventStore::~VdirEventStore()
{
    if (m_loader) {
        m_loader->wait();
        delete m_loader;
    }
}

void VdirEventStore::loadInBackground(const QStringList &paths)
{
    // Parsing only reads the files and builds new components; the results
    // come back to this thread, where everything else happens.
    auto results = std::make_shared<std::vector<std::pair<QString, std::shared_ptr<VdirFile>>>>();
    const QTimeZone zone = m_zone;
    m_loader = QThread::create([paths, zone, results] {
        results->reserve(size_t(paths.size()));
        for (const QString &path : paths)
            results->emplace_back(path, parseFile(path, QFileInfo(path), zone));
    });
    connect(m_loader, &QThread::finished, this, [this, results] {
        for (auto &[path, file] : *results) {
            if (Collection *c = collectionFor(path)) {
                // A file that changed meanwhile was read again already.
                if (!c->files.contains(path))
                    c->files.insert(path, file);
            }
        }
        QStringList toWatch;
        for (const auto &entry : *results)
            toWatch.append(entry.first);
        if (m_watcher.files().size() + toWatch.size() <= kMaxWatchedFiles)
            m_watcher.addPaths(toWatch);
        m_loader->deleteLater();
        m_loader = nullptr;
        announceChange();
    });
    m_loader->start();
}

QString VdirEventStore::defaultRoot()
{
    // Spelled out rather than AppDataLocation, which also appends the
    // organisation name (~/.local/share/Tarnwick/Tarnwick): khal and
    // vdirsyncer users are told the folder is ~/.local/share/Tarnwick/Calendars.
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Tarnwick/Calendars");
}

QStringList VdirEventStore::configuredFolders(const UserDefaults &defaults)
{
    const QVariant value = defaults.value(QString::fromLatin1(kFoldersKey));
    QStringList folders = value.typeId() == QMetaType::QStringList ? value.toStringList()
                                                                    : value.toString().split(QDir::listSeparator(), Qt::SkipEmptyParts);
    for (QString &f : folders) {
        f = f.trimmed();
        if (f.startsWith(QStringLiteral("~/")))
            f = QDir::homePath() + f.mid(1);
    }
    folders.removeAll(QString());
    return folders;
}

void VdirEventStore::scanCollections()
{
    std::vector<std::unique_ptr<Collection>> previous = std::move(m_collections);
    m_collections.clear();
    auto take = [&](const QString &path) {
        const QString clean = QDir::cleanPath(path);
        for (const auto &c : m_collections) {
            if (c->path == clean)
                return;
        }
        auto it = std::find_if(previous.begin(), previous.end(), [&](const auto &c) { return c && c->path == clean; });
        std::unique_ptr<Collection> collection;
        if (it != previous.end()) {
            collection = std::move(*it);
        } else {
            collection = std::make_unique<Collection>();
            collection->path = clean;
        }
        // Newly found calendars are read by the caller (at start, possibly
        // in the background); known ones are brought up to date here.
        if (!collection->files.isEmpty() || m_started)
            rescan(*collection);
        m_collections.push_back(std::move(collection));
    };

    QStringList problems;
    if (!QDir().mkpath(m_root) || !QFileInfo(m_root).isReadable())
        problems.append(m_root);
    else
        m_watcher.addPath(m_root);
    const QDir rootDir(m_root);
    for (const QString &name : rootDir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
        take(rootDir.filePath(name));
    for (const QString &folder : m_folders) {
        const QDir dir(folder);
        if (!dir.exists() || !QFileInfo(folder).isReadable()) {
            problems.append(folder);
            continue;
        }
        m_watcher.addPath(dir.absolutePath());
        if (isCollectionDir(dir)) {
            take(dir.absolutePath());
        } else {
            for (const QString &name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
                take(dir.filePath(name));
        }
    }
    const bool anyOpen = QFileInfo(m_root).isDir() || !m_collections.empty();
    m_problem = anyOpen ? QString() : QStringLiteral("Tarnwick couldn't open the calendar folder %1.").arg(QDir::toNativeSeparators(problems.value(0, m_root)));
}

void VdirEventStore::rescan(Collection &collection, QStringList *deferred)
{
    const QDir dir(collection.path);
    collection.title = readSmallFile(dir.filePath(QStringLiteral("displayname")));
    if (collection.title.isEmpty())
        collection.title = dir.dirName();
    const QColor color(readSmallFile(dir.filePath(QStringLiteral("color"))).left(7));
    collection.color = color.isValid() ? color : paletteColor(collection.title);
    collection.writable = writableDir(collection.path);
    m_watcher.addPath(collection.path);

    QHash<QString, std::shared_ptr<VdirFile>> files;
    QStringList toWatch;
    const QStringList watched = m_watcher.files();
    for (const QFileInfo &info : dir.entryInfoList({QStringLiteral("*.ics")}, QDir::Files | QDir::Readable)) {
        const QString path = info.absoluteFilePath();
        auto known = collection.files.value(path);
        if (known && known->modified == info.lastModified() && known->size == info.size())
            files.insert(path, known);
        else if (deferred)
            deferred->append(path);
        else
            files.insert(path, parseFile(path, info, m_zone));
        if (!watched.contains(path))
            toWatch.append(path);
    }
    collection.files = std::move(files);
    if (deferred)
        return;
    if (!toWatch.isEmpty() && watched.size() + toWatch.size() <= kMaxWatchedFiles)
        m_watcher.addPaths(toWatch);
}

VdirEventStore::Collection *VdirEventStore::collectionFor(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    for (const auto &c : m_collections) {
        if (c->path == clean || QFileInfo(clean).absolutePath() == c->path)
            return c.get();
    }
    return nullptr;
}

void VdirEventStore::pathChanged(const QString &path)
{
    const QString clean = QDir::cleanPath(path);
    Collection *collection = nullptr;
    for (const auto &c : m_collections) {
        if (c->path == clean)
            collection = c.get();
    }
    if (!collection && QFileInfo(clean).isFile())
        collection = collectionFor(clean);
    if (!collection && !QFileInfo::exists(clean))
        collection = collectionFor(clean);
    if (collection)
        rescan(*collection);
    else
        scanCollections();
    announceChange();
}


EventStore::Authorization VdirEventStore::authorizationStatus() const
{
    return m_problem.isEmpty() ? Authorization::FullAccess : Authorization::Denied;
}

void VdirEventStore::requestFullAccess(std::function<void(bool)> done)
{
    // Files need no permission; try the folders again (they may exist now)
    // and answer on the next turn of the event loop, like a real request.
    scanCollections();
    const bool granted = authorizationStatus() == Authorization::FullAccess;
    QMetaObject::invokeMethod(this, [done = std::move(done), granted] { done(granted); }, Qt::QueuedConnection);
}

QList<EventStore::Event> VdirEventStore::events(const QDateTime &from, const QDateTime &to) const
{
    QList<Event> out;
    const qint64 fromMs = from.toMSecsSinceEpoch();
    const qint64 toMs = to.toMSecsSinceEpoch();
    for (const auto &collection : m_collections) {
        for (const auto &file : std::as_const(collection->files)) {
            for (const VdirItem &item : file->items) {
                auto emitOccurrence = [&](const QDateTime &start, const QDateTime &end, const QString &id) {
                    Event e;
                    e.id = id;
                    e.uid = item.uid;
                    e.calendarId = collection->path;
                    e.title = item.title;
                    e.start = start;
                    e.end = end;
                    e.isAllDay = item.isAllDay;
                    e.isCancelled = item.cancelled;
                    e.color = collection->color;
                    e.location = item.location;
                    e.notes = item.notes;
                    e.url = item.url;
                    out.append(e);
                };
                if (!item.recurring) {
                    if (overlaps(item.startMs, item.endMs, fromMs, toMs))
                        emitOccurrence(item.start, item.end, collection->path + QLatin1Char('/') + item.uid + QLatin1Char('/') + QString::number(item.startMs));
                    continue;
                }
                const QString baseId = collection->path + QLatin1Char('/') + item.uid;
                if (item.startMs >= toMs)
                    continue;
                icalproperty *rruleProp = icalcomponent_get_first_property(item.component, ICAL_RRULE_PROPERTY);
                const icalrecurrencetype rule = icalproperty_get_rrule(rruleProp);
                icalrecur_iterator *it = icalrecur_iterator_new(rule, item.dtstart);
                if (!it)
                    continue;
                // Skip the years before the range instead of walking them
                // (a daily rule from 2015 is thousands of steps otherwise). An
                // occurrence starting up to its own length (and a day, for
                // the zones' sake) earlier still reaches into the range. A
                // rule with COUNT must be walked from its first date.
                const QDateTime earliest = (item.isAllDay ? from.addDays(-item.durationDays) : from.addSecs(-item.durationSecs)).addDays(-1);
                if (rule.count == 0 && earliest > item.start)
                    icalrecur_iterator_set_start(it, icalTimeLike(earliest, item.dtstart, item.zone, m_zone));
                for (int n = 0; n < kMaxOccurrences; ++n) {
                    icaltimetype t = icalrecur_iterator_next(it);
                    if (icaltime_is_null_time(t))
                        break;
                    t.is_date = item.dtstart.is_date;
                    const QDateTime start = toDateTime(t, item.zone, m_zone);
                    const qint64 startMs = start.toMSecsSinceEpoch();
                    if (startMs >= toMs)
                        break;
                    const QDate day(t.year, t.month, t.day);
                    // EXDATE may name a whole day even for a timed rule.
                    if (item.excludedDates.contains(day) || item.excludedMs.contains(startMs))
                        continue;
                    const QDateTime end = item.isAllDay ? ZonedTime::startOfDay(day.addDays(item.durationDays), m_zone)
                                                        : start.addSecs(item.durationSecs);
                    if (overlaps(startMs, end.toMSecsSinceEpoch(), fromMs, toMs))
                        emitOccurrence(start, end, baseId + QLatin1Char('/') + QString::number(startMs));
                }
                icalrecur_iterator_free(it);
            }
        }
    }
    return out;
}

EventStore::Calendar VdirEventStore::describe(const Collection &collection) const
{
    return Calendar{collection.path, collection.title, collection.color, collection.writable};
}

QList<EventStore::Calendar> VdirEventStore::writableCalendars() const
{
    QList<Calendar> list;
    for (const auto &c : m_collections) {
        if (c->writable)
            list.append(describe(*c));
    }
    std::stable_sort(list.begin(), list.end(), [](const Calendar &a, const Calendar &b) {
        return a.title.compare(b.title, Qt::CaseInsensitive) < 0;
    });
    return list;
}

std::optional<EventStore::Calendar> VdirEventStore::calendar(const QString &id) const
{
    const QString clean = QDir::cleanPath(id);
    for (const auto &c : m_collections) {
        if (c->path == clean)
            return describe(*c);
    }
    return std::nullopt;
}

std::optional<EventStore::Calendar> VdirEventStore::defaultCalendarForNewEvents()
{
    // Our own folders come first; a synced folder is used only when it is
    // the one place we can write to.
    std::optional<Calendar> fallback;
    const QString rootClean = QDir::cleanPath(m_root);
    for (const Calendar &c : writableCalendars()) {
        if (QFileInfo(c.id).absolutePath() == rootClean)
            return c;
        if (!fallback)
            fallback = c;
    }
    if (fallback)
        return fallback;
    // First use: make a calendar to add to.
    const QString path = QDir(m_root).filePath(QStringLiteral("personal"));
    if (QFileInfo::exists(path) || !QDir().mkpath(path))
        return std::nullopt;
    QSaveFile name(QDir(path).filePath(QStringLiteral("displayname")));
    if (name.open(QIODevice::WriteOnly)) {
        name.write("Personal\n");
        name.commit();
    }
    QSaveFile color(QDir(path).filePath(QStringLiteral("color")));
    if (color.open(QIODevice::WriteOnly)) {
        color.write("#0A84FF\n");
        color.commit();
    }
    auto collection = std::make_unique<Collection>();
    collection->path = QDir::cleanPath(path);
    rescan(*collection);
    m_collections.push_back(std::move(collection));
    m_problem.clear();
    return describe(*m_collections.back());
}

bool VdirEventStore::save(const NewEvent &event, const QString &calendarId, QString *error)
{
    auto fail = [error](const QString &why) {
        if (error)
            *error = why;
        return false;
    };
    std::optional<Calendar> target;
    if (!calendarId.isEmpty())
        target = calendar(calendarId);
    if (!target)
        target = defaultCalendarForNewEvents();
    if (!target)
        return fail(QStringLiteral("There is no calendar folder to add to."));
    if (!writableDir(target->id))
        return fail(QStringLiteral("The calendar folder %1 is read-only.").arg(QDir::toNativeSeparators(target->id)));

    const QString uid = QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral("@tarnwick");
    IcalPtr cal(icalcomponent_vanew(ICAL_VCALENDAR_COMPONENT, icalproperty_new_version("2.0"),
                                    icalproperty_new_prodid("-//Tarnwick//Tarnwick//EN"), static_cast<void *>(nullptr)));
    icalcomponent *ev = icalcomponent_new(ICAL_VEVENT_COMPONENT);
    icaltimezone *utc = icaltimezone_get_utc_timezone();
    icalcomponent_set_uid(ev, uid.toUtf8().constData());
    icalcomponent_set_dtstamp(ev, icaltime_from_timet_with_zone(time_t(m_clock.now().toSecsSinceEpoch()), 0, utc));
    icalcomponent_set_summary(ev, event.title.toUtf8().constData());
    if (event.isAllDay) {
        // iCalendar's all-day end is the day after, exclusive.
        const QDate first = ZonedTime::dayOf(event.start, m_zone);
        QDate last = ZonedTime::dayOf(event.end, m_zone);
        if (last <= first)
            last = first.addDays(1);
        icaltimetype s = icaltime_null_date();
        s.year = first.year();
        s.month = first.month();
        s.day = first.day();
        icaltimetype e = icaltime_null_date();
        e.year = last.year();
        e.month = last.month();
        e.day = last.day();
        icalcomponent_add_property(ev, icalproperty_new_dtstart(s));
        icalcomponent_add_property(ev, icalproperty_new_dtend(e));
    } else {
        icalcomponent_add_property(ev, icalproperty_new_dtstart(icaltime_from_timet_with_zone(time_t(event.start.toSecsSinceEpoch()), 0, utc)));
        icalcomponent_add_property(ev, icalproperty_new_dtend(icaltime_from_timet_with_zone(time_t(event.end.toSecsSinceEpoch()), 0, utc)));
    }
    icalcomponent_add_component(cal.get(), ev);
    char *data = icalcomponent_as_ical_string_r(cal.get());
    const QByteArray bytes(data);
    free(data);

    // Written beside its final name and renamed into place, so a sync tool
    // never reads half a file.
    QSaveFile out(QDir(target->id).filePath(QString(uid).replace(QLatin1Char('@'), QLatin1Char('-')) + QStringLiteral(".ics")));
    if (!out.open(QIODevice::WriteOnly))
        return fail(out.errorString());
    out.write(bytes);
    if (!out.commit())
        return fail(out.errorString());
    if (Collection *c = collectionFor(target->id))
        rescan(*c);
    announceChange();
    return true;
}
