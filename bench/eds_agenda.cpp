// Figures for the desktop calendar service behind the agenda, against the
// real service on a private bus in a private home: opening (until every
// event is mirrored) and the longest stall of the main loop meanwhile, the
// memory the mirror takes, and one agenda refresh of a day over N events
// (a tenth of them daily rules), with the same events in a calendar folder
// as the baseline.
// Usage: bench_eds_agenda [EVENTS]

#include "calendar/CalendarAgenda.h"
#include "calendar/EdsEventStore.h"
#include "calendar/VdirEventStore.h"
#include "core/ManualClock.h"
#include "support/PrivateBus.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <csignal>

#undef signals
#include <libecal/libecal.h>
#define signals Q_SIGNALS

namespace {

long rssKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

QByteArray eventText(int i)
{
    // Spread over a year from 1 Jan 2026, eight a day; every tenth a daily rule.
    const QDateTime start = QDateTime(QDate(2026, 1, 1), QTime(8, 0), Qt::UTC).addDays(i / 8).addSecs(3600 * (i % 8));
    QByteArray ics = "BEGIN:VEVENT\nUID:bench-" + QByteArray::number(i) + "\nSUMMARY:Event " + QByteArray::number(i)
        + "\nDTSTART:" + start.toString(QStringLiteral("yyyyMMddTHHmmssZ")).toLatin1()
        + "\nDTEND:" + start.addSecs(1800).toString(QStringLiteral("yyyyMMddTHHmmssZ")).toLatin1()
        + "\nDESCRIPTION:https://meet.google.com/abc-" + QByteArray::number(i) + "\n";
    if (i % 10 == 0)
        ics += "RRULE:FREQ=DAILY;COUNT=200\n";
    return ics + "END:VEVENT\n";
}

double refreshMs(CalendarAgenda &agenda, int rounds)
{
    QElapsedTimer t;
    t.start();
    for (int r = 0; r < rounds; ++r)
        agenda.refresh();
    return double(t.nsecsElapsed()) / 1e6 / rounds;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 5000;
    QTemporaryDir home;
    const QByteArray h = home.path().toUtf8();
    qputenv("HOME", h);
    qputenv("XDG_CONFIG_HOME", h + "/config");
    qputenv("XDG_DATA_HOME", h + "/data");
    qputenv("XDG_CACHE_HOME", h + "/cache");
    qputenv("GSETTINGS_BACKEND", "memory");
    QDir().mkpath(home.filePath(QStringLiteral("config/evolution/sources")));
    QFile source(home.filePath(QStringLiteral("config/evolution/sources/bench.source")));
    source.open(QIODevice::WriteOnly);
    source.write("[Data Source]\nDisplayName=Bench\nEnabled=true\nParent=local-stub\n\n[Calendar]\nBackendName=local\n");
    source.close();
    PrivateBus bus;
    if (const QString error = bus.start(); !error.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());

    // Fill the calendar as another program would, in one call.
    const QString folder = home.filePath(QStringLiteral("vdir/bench"));
    QDir().mkpath(folder);
    {
        GError *error = nullptr;
        ESourceRegistry *registry = e_source_registry_new_sync(nullptr, &error);
        ESource *src = registry ? e_source_registry_ref_source(registry, "bench") : nullptr;
        EClient *client = src ? e_cal_client_connect_sync(src, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, 10, nullptr, &error) : nullptr;
        if (!client) {
            std::fprintf(stderr, "the calendar service did not open: %s\n", error ? error->message : "no source");
            return 1;
        }
        GSList *comps = nullptr;
        for (int i = 0; i < count; ++i) {
            comps = g_slist_prepend(comps, i_cal_component_new_from_string(eventText(i).constData()));
            QFile ics(QStringLiteral("%1/%2.ics").arg(folder).arg(i));
            ics.open(QIODevice::WriteOnly);
            ics.write("BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:-//bench//EN\n" + eventText(i) + "END:VCALENDAR\n");
        }
        if (!e_cal_client_create_objects_sync(E_CAL_CLIENT(client), comps, E_CAL_OPERATION_FLAG_NONE, nullptr, nullptr, &error)) {
            std::fprintf(stderr, "adding events failed: %s\n", error->message);
            return 1;
        }
        g_slist_free_full(comps, g_object_unref);
        g_object_unref(client);
        g_object_unref(src);
        g_object_unref(registry);
    }

    const QTimeZone zone("Europe/Berlin");
    const long rssBefore = rssKb();
    // The main loop's longest stall while the store opens and mirrors.
    QElapsedTimer gap;
    qint64 longestGapNs = 0;
    QTimer tick;
    tick.setInterval(1);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        longestGapNs = std::max(longestGapNs, gap.nsecsElapsed());
        gap.restart();
    });
    EdsEventStore eds(zone);
    QElapsedTimer opening;
    opening.start();
    gap.start();
    tick.start();
    eds.open();
    const double openCallMs = double(opening.nsecsElapsed()) / 1e6;
    while (!eds.isComplete() && opening.elapsed() < 60000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    const double openedMs = double(opening.nsecsElapsed()) / 1e6;
    tick.stop();
    const long rssAfter = rssKb();

    ManualClock clock(QDateTime(QDate(2026, 6, 15), QTime(7, 0), zone));
    CalendarAgenda agenda(eds, clock, zone);
    const double edsMs = refreshMs(agenda, 20);
    const auto listed = agenda.events().size();

    VdirEventStore folders(clock, home.filePath(QStringLiteral("vdir")), {}, zone);
    while (folders.isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    CalendarAgenda baseline(folders, clock, zone);
    const double vdirMs = refreshMs(baseline, 20);

    std::printf("events: %d (a tenth daily rules); the day lists %lld\n", count, qlonglong(listed));
    std::printf("open() call: %.2f ms; all mirrored after %.0f ms; longest main-loop stall meanwhile %.1f ms\n", openCallMs,
                openedMs, double(longestGapNs) / 1e6);
    std::printf("extra RSS in Tarnwick's process: %ld kB\n", rssAfter - rssBefore);
    std::printf("agenda refresh (day + busy strip): service %.2f ms, folders %.2f ms (ratio %.2f)\n", edsMs, vdirMs,
                edsMs / vdirMs);

    // The daemons the bus started carry our home in their environment.
    long daemonsKb = 0;
    const QByteArray mark = "HOME=" + h;
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool isPid = false;
        const qint64 pid = entry.toLongLong(&isPid);
        if (!isPid || pid == QCoreApplication::applicationPid() || pid == bus.pid())
            continue;
        QFile env(QStringLiteral("/proc/%1/environ").arg(pid));
        if (!env.open(QIODevice::ReadOnly) || !env.readAll().split('\0').contains(mark))
            continue;
        QFile status(QStringLiteral("/proc/%1/status").arg(pid));
        if (status.open(QIODevice::ReadOnly)) {
            for (const QByteArray &line : status.readAll().split('\n')) {
                if (line.startsWith("VmRSS:"))
                    daemonsKb += line.mid(6).trimmed().split(' ').value(0).toLong();
            }
        }
        ::kill(pid_t(pid), SIGTERM);
    }
    std::printf("the service's own daemons: %ld kB RSS\n", daemonsKb);
    return 0;
}
