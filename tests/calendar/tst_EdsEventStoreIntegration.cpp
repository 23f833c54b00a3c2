#include "CalendarTestEvents.h"

#include "calendar/CalendarAgenda.h"
#include "calendar/EdsEventStore.h"
#include "core/ManualClock.h"
#include "support/PrivateBus.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

#undef signals
#include <libecal/libecal.h>
#define signals Q_SIGNALS

// The real calendar service (its source registry and calendar factory, which
// the private bus starts on demand) in a home of the test's own, so none of
// the user's calendars is ever touched.

namespace {

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 12, day), QTime(hour, minute), berlin());
}

const char *const kSourceUid = "tarnwick-test-work";

// What another program (GNOME Calendar, a sync) would have put there.
const char *const kEvents[] = {
    // Daily at 9 in Berlin, five times; the 3rd moved to 11:00, the 4th removed.
    "BEGIN:VEVENT\nUID:standup@test\nSUMMARY:Standup\nDTSTART;TZID=Europe/Berlin:20261201T090000\n"
    "DTEND;TZID=Europe/Berlin:20261201T091500\nRRULE:FREQ=DAILY;COUNT=5\n"
    "EXDATE;TZID=Europe/Berlin:20261204T090000\nEND:VEVENT\n",
    "BEGIN:VEVENT\nUID:standup@test\nSUMMARY:Standup (moved)\nRECURRENCE-ID;TZID=Europe/Berlin:20261203T090000\n"
    "DTSTART;TZID=Europe/Berlin:20261203T110000\nDTEND;TZID=Europe/Berlin:20261203T111500\nEND:VEVENT\n",
    "BEGIN:VEVENT\nUID:offsite@test\nSUMMARY:Offsite\nSTATUS:CANCELLED\nDTSTART:20261202T120000Z\n"
    "DTEND:20261202T130000Z\nEND:VEVENT\n",
    // 10:00 in New York is 16:00 in Berlin.
    "BEGIN:VEVENT\nUID:ny@test\nSUMMARY:Call with New York\nDTSTART;TZID=America/New_York:20261202T100000\n"
    "DTEND;TZID=America/New_York:20261202T110000\nDESCRIPTION:Join: https://meet.google.com/abc-defg-hij\\nBring "
    "notes\n"
    "END:VEVENT\n",
    // An Exchange calendar names its zones its own way and sends their rules.
    "BEGIN:VTIMEZONE\nTZID:Tokyo Standard Time\nBEGIN:STANDARD\nDTSTART:16010101T000000\nTZOFFSETFROM:+0900\n"
    "TZOFFSETTO:+0900\nEND:STANDARD\nEND:VTIMEZONE\n",
    "BEGIN:VEVENT\nUID:tokyo@test\nSUMMARY:Sync with Tokyo\nDTSTART;TZID=Tokyo Standard Time:20261205T180000\n"
    "DTEND;TZID=Tokyo Standard Time:20261205T190000\nEND:VEVENT\n",
    "BEGIN:VEVENT\nUID:trip@test\nSUMMARY:Lisbon trip\nDTSTART;VALUE=DATE:20261207\nDTEND;VALUE=DATE:20261210\n"
    "END:VEVENT\n",
};

// A second client of the service, as another program would be.
struct OtherClient {
    ECalClient *client = nullptr;
    ~OtherClient()
    {
        if (client)
            g_object_unref(client);
    }
    QString open()
    {
        GError *error = nullptr;
        ESourceRegistry *registry = e_source_registry_new_sync(nullptr, &error);
        if (!registry)
            return QString::fromUtf8(error->message);
        ESource *source = e_source_registry_ref_source(registry, kSourceUid);
        g_object_unref(registry);
        if (!source)
            return QStringLiteral("the test calendar is not in the registry");
        client = E_CAL_CLIENT(e_cal_client_connect_sync(source, E_CAL_CLIENT_SOURCE_TYPE_EVENTS, 10, nullptr, &error));
        g_object_unref(source);
        return client ? QString() : QString::fromUtf8(error->message);
    }
    QString add(const char *ics)
    {
        GError *error = nullptr;
        ICalComponent *c = i_cal_component_new_from_string(ics);
        // A moved occurrence is a change to its rule, as a calendar
        // application makes it.
        bool ok = false;
        if (i_cal_component_isa(c) == I_CAL_VTIMEZONE_COMPONENT) {
            ICalTimezone *zone = i_cal_timezone_new();
            i_cal_timezone_set_component(zone, c);
            ok = e_cal_client_add_timezone_sync(client, zone, nullptr, &error);
            g_object_unref(zone);
        } else {
            ok = e_cal_util_component_is_instance(c)
                ? e_cal_client_modify_object_sync(
                    client, c, E_CAL_OBJ_MOD_THIS, E_CAL_OPERATION_FLAG_NONE, nullptr, &error)
                : e_cal_client_create_object_sync(client, c, E_CAL_OPERATION_FLAG_NONE, nullptr, nullptr, &error);
        }
        g_object_unref(c);
        return ok ? QString() : QString::fromUtf8(error->message);
    }
    QStringList titles()
    {
        GSList *comps = nullptr;
        QStringList out;
        if (e_cal_client_get_object_list_as_comps_sync(client, "#t", &comps, nullptr, nullptr)) {
            for (GSList *l = comps; l; l = l->next)
                out.append(QString::fromUtf8(
                    i_cal_component_get_summary(e_cal_component_get_icalcomponent(E_CAL_COMPONENT(l->data)))));
        }
        g_slist_free_full(comps, g_object_unref);
        out.sort();
        return out;
    }
};

} // namespace

class tst_EdsEventStoreIntegration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(QStringLiteral("/usr/libexec/evolution-source-registry"))
                && QFileInfo::exists(QStringLiteral("/usr/libexec/evolution-calendar-factory")),
            "needs the calendar service (Debian package: evolution-data-server)");
        QVERIFY(m_home.isValid());
        // Everything the service reads and writes lives in the test's home; the
        // daemons the bus starts inherit these.
        const QByteArray home = m_home.path().toUtf8();
        qputenv("HOME", home);
        qputenv("XDG_CONFIG_HOME", home + "/config");
        qputenv("XDG_DATA_HOME", home + "/data");
        qputenv("XDG_CACHE_HOME", home + "/cache");
        qputenv("GSETTINGS_BACKEND", "memory");
        QStandardPaths::setTestModeEnabled(true);

        QVERIFY(writeFile(m_home.filePath(QStringLiteral("config/evolution/sources/%1.source").arg(QLatin1String(kSourceUid))),
                          "[Data Source]\nDisplayName=Work\nEnabled=true\nParent=local-stub\n\n"
                          "[Calendar]\nBackendName=local\nColor=#ff8800\nSelected=true\n"));
        const QString error = m_bus.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }

    void withoutTheServiceItStandsAside()
    {
        // A session without the service (here, a bus that is not there): the
        // store gives up rather than waiting, so the folders are read alone.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + m_home.filePath(QStringLiteral("no-bus")).toUtf8());
        EdsEventStore eds(berlin());
        eds.open();
        QTRY_COMPARE_WITH_TIMEOUT(eds.state(), EdsEventStore::State::Absent, 10000);
        QCOMPARE(eds.authorizationStatus(), EventStore::Authorization::Restricted);
    }

    void readsTheServicesCalendars_data()
    {
        QTest::addColumn<int>("day");
        QTest::addColumn<QStringList>("listed");

        QTest::newRow("first of a daily rule") << 1 << QStringList {QStringLiteral("09:00-09:15 Standup")};
        QTest::newRow("cancelled gone, foreign zone, link in notes")
            << 2
            << QStringList {QStringLiteral("09:00-09:15 Standup"),
                   QStringLiteral("16:00-17:00 Call with New York -> meet.google.com")};
        QTest::newRow("moved occurrence") << 3 << QStringList {QStringLiteral("11:00-11:15 Standup (moved)")};
        QTest::newRow("excluded occurrence") << 4 << QStringList {};
        // Tokyo's 18:00 is Berlin's 10:00, once the calendar has sent the zone.
        QTest::newRow("last of the rule, a zone of the calendar's own")
            << 5 << QStringList {QStringLiteral("09:00-09:15 Standup"), QStringLiteral("10:00-11:00 Sync with Tokyo")};
        QTest::newRow("rule has ended") << 6 << QStringList {};
        QTest::newRow("multi-day all-day") << 8 << QStringList {QStringLiteral("all day Lisbon trip")};
    }
    void readsTheServicesCalendars()
    {
        QFETCH(int, day);
        QFETCH(QStringList, listed);
        QVERIFY(useService());

        ManualClock clock(at(1, 7));
        CalendarAgenda agenda(*m_eds, clock, berlin());
        QCOMPARE(agenda.status(), CalendarAgenda::Status::Ready);
        agenda.select(at(day, 0));
        QTRY_COMPARE(describe(agenda.events()), listed);
        // The calendar's colour comes with its events.
        if (!listed.isEmpty())
            QCOMPARE(agenda.events().first().color, QColor(QStringLiteral("#ff8800")));
    }

    void seesAnotherProgramsChangesWhileRunning()
    {
        QVERIFY(useService());
        ManualClock clock(at(14, 7));
        CalendarAgenda agenda(*m_eds, clock, berlin());
        QCOMPARE(agenda.events(), QList<AgendaEvent> {});
        QSignalSpy spy(&agenda, &CalendarAgenda::eventsChanged);

        OtherClient other;
        QCOMPARE(other.open(), QString());
        QCOMPARE(
            other.add("BEGIN:VEVENT\nUID:review@test\nSUMMARY:Review\nDTSTART:20261214T130000Z\nDTEND:20261214T140000Z\n"
                      "URL:https://acme.zoom.us/j/123\nEND:VEVENT\n"),
            QString());
        // Nothing asks again: the view tells the store, the store the agenda.
        QTRY_COMPARE_WITH_TIMEOUT(
            describe(agenda.events()), QStringList {QStringLiteral("14:00-15:00 Review -> acme.zoom.us")}, 10000);
        QCOMPARE(spy.count(), 1);
        // The UID by which a folder's copy of the same event is known.
        QCOMPARE(m_eds->events(at(14, 0), at(15, 0)).value(0).uid, QStringLiteral("review@test"));

        GError *error = nullptr;
        QVERIFY(e_cal_client_remove_object_sync(
            other.client, "review@test", nullptr, E_CAL_OBJ_MOD_ALL, E_CAL_OPERATION_FLAG_NONE, nullptr, &error));
        QTRY_COMPARE_WITH_TIMEOUT(agenda.events(), QList<AgendaEvent> {}, 10000);
    }

    void quickAddGoesToTheDefaultCalendar()
    {
        QVERIFY(useService());
        ManualClock clock(at(1, 7));
        CalendarAgenda agenda(*m_eds, clock, berlin());

        // The registry's default is its own "Personal" calendar; ours is "Work".
        const auto chosen = m_eds->defaultCalendarForNewEvents();
        QVERIFY(chosen);
        QVERIFY(chosen->id.startsWith(QLatin1String(EdsEventStore::kIdPrefix)));
        QString why;
        QVERIFY2(
            agenda.addEvent(QStringLiteral("Lunch with Sam"), at(16, 13), at(16, 14), false, {}, &why), qPrintable(why));
        QCOMPARE(agenda.selectedDay(), at(16, 0));
        QCOMPARE(describe(agenda.events()), QStringList {QStringLiteral("13:00-14:00 Lunch with Sam")});
        QVERIFY2(agenda.addEvent(QStringLiteral("Conference"), at(17, 0), at(19, 0), true,
                     QStringLiteral("eds:") + QLatin1String(kSourceUid), &why),
            qPrintable(why));
        QCOMPARE(describe(agenda.events()), QStringList {QStringLiteral("all day Conference")});

        // Read back through the service by another client.
        OtherClient other;
        QCOMPARE(other.open(), QString());
        QVERIFY(other.titles().contains(QStringLiteral("Conference")));
        // The view's copy replaces the one shown at once: still listed once.
        QTest::qWait(300);
        agenda.select(at(16, 0));
        QCOMPARE(describe(agenda.events()), QStringList {QStringLiteral("13:00-14:00 Lunch with Sam")});
    }

    void cleanupTestCase()
    {
        m_eds.reset();
        // The daemons the bus started carry the test's home in their
        // environment: they are ours to stop, whether or not they leave with
        // the bus.
        const QByteArray mark = "HOME=" + m_home.path().toUtf8();
        auto ours = [&] {
            QList<qint64> pids;
            for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
                bool isPid = false;
                const qint64 pid = entry.toLongLong(&isPid);
                if (!isPid || pid == QCoreApplication::applicationPid())
                    continue;
                QFile env(QStringLiteral("/proc/%1/environ").arg(pid));
                if (env.open(QIODevice::ReadOnly) && env.readAll().split('\0').contains(mark))
                    pids.append(pid);
            }
            return pids;
        };
        for (qint64 pid : ours()) {
            if (pid != m_bus.pid())
                ::kill(pid_t(pid), SIGTERM);
        }
        QTRY_VERIFY_WITH_TIMEOUT(ours() == QList<qint64> {m_bus.pid()} || ours().isEmpty(), 10000);
    }

private:
    bool useService();

    QTemporaryDir m_home;
    PrivateBus m_bus;
    bool m_serviceUp = false;
    bool m_tried = false;
    std::unique_ptr<EdsEventStore> m_eds;
};

bool tst_EdsEventStoreIntegration::useService()
{
    if (m_serviceUp || m_tried)
        return m_serviceUp;
    m_tried = true;
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8());
    OtherClient other;
    const QString error = other.open();
    if (!error.isEmpty()) {
        qWarning("calendar service: %s", qPrintable(error));
        return false;
    }
    for (const char *ics : kEvents) {
        const QString added = other.add(ics);
        if (!added.isEmpty()) {
            qWarning("adding an event: %s", qPrintable(added));
            return false;
        }
    }
    m_eds = std::make_unique<EdsEventStore>(berlin());
    m_eds->open();
    if (!QTest::qWaitFor([&] { return m_eds->isComplete(); }, 20000)) {
        qWarning("the store did not open: %s", qPrintable(m_eds->problem()));
        return false;
    }
    m_serviceUp = true;
    return true;
}

QTEST_GUILESS_MAIN(tst_EdsEventStoreIntegration)
#include "tst_EdsEventStoreIntegration.moc"
