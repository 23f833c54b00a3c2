#include "CalendarTestEvents.h"

#include "calendar/CalendarAgenda.h"
#include "calendar/QuickEvent.h"
#include "calendar/VdirEventStore.h"
#include "core/ManualClock.h"
#include "core/UserDefaults.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

namespace {

QDateTime at(int month, int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, month, day), QTime(hour, minute), berlin());
}

bool copyTree(const QString &from, const QString &to)
{
    return QDir().mkpath(QFileInfo(to).path()) && QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-r"), from, to}) == 0;
}

int icsCount(const QString &dir)
{
    return int(QDir(dir).entryList({QStringLiteral("*.ics")}, QDir::Files).size());
}

// One event in a file of its own, `lines` between its UID and its end.
void writeEvent(const QString &folder, const QString &uid, const QString &lines)
{
    QVERIFY(writeFile(QStringLiteral("%1/%2.ics").arg(folder, uid),
                      QStringLiteral("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\nBEGIN:VEVENT\r\nUID:%1\r\n"
                                     "DTSTAMP:20260101T000000Z\r\nSUMMARY:%1\r\n%2\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
                          .arg(uid, lines)
                          .toUtf8()));
}

// The files are parsed on a worker thread once the store opens.
bool loaded(const VdirEventStore &store)
{
    return QTest::qWaitFor([&] { return !store.isLoading(); }, 10000);
}

} // namespace

class tst_VdirEventStoreIntegration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY2(QFileInfo::exists(QStringLiteral(TARNWICK_CALENDAR_DATA "/work/weekly-standup.ics")), "calendar fixtures missing");
        // Our own calendars live in ~/.local/share/Tarnwick/Calendars (here the test home).
        QVERIFY(VdirEventStore::defaultRoot().endsWith(QStringLiteral("/.qttest/share/Tarnwick/Calendars")));
        QVERIFY2(QFileInfo::exists(QStringLiteral("/bin/sh")) && QFileInfo::exists(QStringLiteral("/usr/bin/sed")),
                 "needs /bin/sh and sed (Debian packages dash and sed)");
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_root = m_dir->filePath(QStringLiteral("Calendars"));
        QVERIFY(copyTree(QStringLiteral(TARNWICK_CALENDAR_DATA), m_root));
    }

    void readsRealWorldFiles_data()
    {
        QTest::addColumn<QDate>("day");
        QTest::addColumn<QStringList>("listed");

        QTest::newRow("weekly rule") << QDate(2026, 11, 16) << QStringList{QStringLiteral("09:30-09:45 Team standup")};
        // Tokyo at 18:00 is 10:00 in Berlin; the cancelled offsite is gone; the
        // Zoom link comes from the description.
        QTest::newRow("foreign zone, cancelled, zoom in notes")
            << QDate(2026, 11, 17)
            << QStringList{QStringLiteral("10:00-11:00 Sync with Tokyo office"), QStringLiteral("16:00-16:45 Design review -> acme.zoom.us")};
        // The standup is excluded that day; a floating time reads as local.
        QTest::newRow("excluded occurrence, floating, google meet")
            << QDate(2026, 11, 18)
            << QStringList{QStringLiteral("09:00-09:45 Dentist"), QStringLiteral("11:00-11:30 Quarterly planning -> meet.google.com")};
        QTest::newRow("yearly all-day first, outlook zone, teams in notes")
            << QDate(2026, 11, 19)
            << QStringList{QStringLiteral("all day Zoë's birthday"), QStringLiteral("14:00-15:00 Vendor call -> teams.microsoft.com"),
                           QStringLiteral("23:00-01:00 Untitled event")};
        QTest::newRow("moved occurrence, event from the night before")
            << QDate(2026, 11, 20) << QStringList{QStringLiteral("23:00-01:00 Untitled event"), QStringLiteral("11:00-11:15 Team standup (moved)")};
        QTest::newRow("multi-day all-day") << QDate(2026, 11, 24) << QStringList{QStringLiteral("all day Lisbon trip")};
        QTest::newRow("rule has ended") << QDate(2027, 1, 4) << QStringList{};
    }
    void readsRealWorldFiles()
    {
        QFETCH(QDate, day);
        QFETCH(QStringList, listed);

        ManualClock clock(at(11, 16, 7));
        VdirEventStore store(clock, m_root, {}, berlin());
        // Even a handful of files is parsed off the main thread.
        QVERIFY(store.isLoading());
        QVERIFY(loaded(store));
        CalendarAgenda agenda(store, clock, berlin());
        QCOMPARE(agenda.status(), CalendarAgenda::Status::Ready);
        agenda.select(QDateTime(day, QTime(0, 0), berlin()));
        QCOMPARE(describe(agenda.events()), listed);
    }

    void listsWritableCalendarsAndReadsExtraFolders()
    {
        // A vdirsyncer-style folder of calendars, named in the settings.
        const QString synced = m_dir->filePath(QStringLiteral("synced"));
        QVERIFY(copyTree(QStringLiteral(TARNWICK_CALENDAR_DATA "/personal"), synced + QStringLiteral("/family")));
        QFile::remove(synced + QStringLiteral("/family/displayname"));
        UserDefaults defaults(m_dir->filePath(QStringLiteral("t.conf")));
        defaults.setValue(QString::fromLatin1(VdirEventStore::kFoldersKey), QStringList{synced});
        ManualClock clock(at(11, 16, 7));
        VdirEventStore store(clock, m_root, VdirEventStore::configuredFolders(defaults), berlin());
        QVERIFY(loaded(store));
        QStringList titles;
        for (const auto &c : store.writableCalendars())
            titles.append(c.title);
        QCOMPARE(titles, (QStringList{QStringLiteral("family"), QStringLiteral("Personal"), QStringLiteral("Work")}));
        QCOMPARE(store.calendar(m_root + QStringLiteral("/work"))->color, QColor(QStringLiteral("#FF9500")));
        // Both copies of the dentist appear, one per calendar, each with the
        // file's UID (by which a second store's copy is known to be the same).
        QStringList dentists;
        for (const auto &e : store.events(at(11, 18, 0), at(11, 19, 0)))
            dentists.append(e.title == QStringLiteral("Dentist") ? e.uid : QString());
        dentists.removeAll(QString());
        QCOMPARE(dentists, QStringList(2, QStringLiteral("floating-dentist-1")));
        // Our own folder is where new events go.
        QCOMPARE(store.defaultCalendarForNewEvents()->title, QStringLiteral("Personal"));
    }

    void createsADefaultCalendarOnFirstUse()
    {
        const QString empty = m_dir->filePath(QStringLiteral("fresh/Calendars"));
        ManualClock clock(at(11, 16, 7));
        VdirEventStore store(clock, empty, {}, berlin());
        QCOMPARE(store.authorizationStatus(), EventStore::Authorization::FullAccess);
        QVERIFY(store.writableCalendars().isEmpty());
        const auto calendar = store.defaultCalendarForNewEvents();
        QVERIFY(calendar.has_value());
        QCOMPARE(calendar->title, QStringLiteral("Personal"));
        QCOMPARE(store.writableCalendars().size(), 1);
        QVERIFY(QFileInfo(empty + QStringLiteral("/personal")).isDir());

        // A root that cannot exist means no store at all.
        QFile blocker(m_dir->filePath(QStringLiteral("blocker")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        VdirEventStore broken(clock, blocker.fileName() + QStringLiteral("/Calendars"), {}, berlin());
        QCOMPARE(broken.authorizationStatus(), EventStore::Authorization::Denied);
        QVERIFY(broken.problem().contains(QStringLiteral("blocker")));
    }

    void savedEventsReadBack_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QDateTime>("start");
        QTest::addColumn<QDateTime>("end");
        QTest::addColumn<bool>("allDay");
        QTest::newRow("timed") << "Lunch with Sam" << at(11, 18, 13) << at(11, 18, 14) << false;
        QTest::newRow("all day") << "Dentist" << at(11, 20, 0) << at(11, 20, 0) << true;
        QTest::newRow("over midnight, non-ASCII") << "Geburtstag 🎂, Zoë" << at(11, 17, 23) << at(11, 18, 7) << false;
    }
    void savedEventsReadBack()
    {
        QFETCH(QString, title);
        QFETCH(QDateTime, start);
        QFETCH(QDateTime, end);
        QFETCH(bool, allDay);

        ManualClock clock(at(11, 17, 8));
        VdirEventStore store(clock, m_root, {}, berlin());
        QVERIFY(loaded(store));
        const QString personal = m_root + QStringLiteral("/personal");
        const int before = icsCount(personal);
        QString error;
        QVERIFY2(store.save({title, start, end, allDay}, {}, &error), qPrintable(error));
        QCOMPARE(icsCount(personal), before + 1);

        // A store opened afresh on the same folders reads it back unchanged.
        VdirEventStore reread(clock, m_root, {}, berlin());
        QVERIFY(loaded(reread));
        const auto found = reread.events(start.addDays(-1), start.addDays(2));
        auto it = std::find_if(found.begin(), found.end(), [&](const auto &e) { return e.title == title; });
        QVERIFY(it != found.end());
        QCOMPARE(it->isAllDay, allDay);
        QCOMPARE(it->start, start);
        QCOMPARE(it->end, allDay ? start.addDays(1) : end);
    }

    void seesChangesMadeByOtherPrograms()
    {
        ManualClock clock(at(11, 18, 7));
        VdirEventStore store(clock, m_root, {}, berlin());
        QVERIFY(loaded(store));
        CalendarAgenda agenda(store, clock, berlin());
        QCOMPARE(describe(agenda.events()).first(), QStringLiteral("09:00-09:45 Dentist"));

        // sed -i writes a new file and renames it over the old one.
        QSignalSpy changed(&store, &EventStore::changed);
        const QString dentist = m_root + QStringLiteral("/personal/floating.ics");
        QCOMPARE(QProcess::execute(QStringLiteral("/usr/bin/sed"), {QStringLiteral("-i"), QStringLiteral("s/T090000/T100000/;s/T094500/T104500/"), dentist}), 0);
        QTRY_VERIFY_WITH_TIMEOUT(changed.count() >= 1, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(describe(agenda.events()).first(), QStringLiteral("10:00-10:45 Dentist"), 5000);

        // A shell redirect rewrites the same file in place.
        const QString script = QStringLiteral("sed 's/SUMMARY:Dentist/SUMMARY:Dentist (Dr. Ahmed)/' '%1' > '%1.tmp' && cat '%1.tmp' > '%1' && rm '%1.tmp'").arg(dentist);
        QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script}), 0);
        QTRY_COMPARE_WITH_TIMEOUT(describe(agenda.events()).first(), QStringLiteral("10:00-10:45 Dentist (Dr. Ahmed)"), 5000);

        // A new file, and a whole new calendar, dropped in by a sync tool.
        const QString copy = QStringLiteral("mkdir -p '%1/club' && sed 's/floating-dentist-1/club-1/;s/Dentist (Dr. Ahmed)/Climbing/' '%2' > '%1/club/c.ics'")
                                 .arg(m_root, dentist);
        QCOMPARE(QProcess::execute(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), copy}), 0);
        QTRY_VERIFY_WITH_TIMEOUT(describe(agenda.events()).contains(QStringLiteral("10:00-10:45 Climbing")), 5000);

        // And a deletion.
        QVERIFY(QFile::remove(dentist));
        QTRY_VERIFY_WITH_TIMEOUT(!describe(agenda.events()).contains(QStringLiteral("10:00-10:45 Dentist (Dr. Ahmed)")), 5000);
    }

    void readOnlyFolderFailsAndLosesNothing()
    {
        const QString work = m_root + QStringLiteral("/work");
        QVERIFY(QFile::setPermissions(work, QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadGroup | QFileDevice::ExeGroup));
        ManualClock clock(at(11, 17, 7));
        VdirEventStore store(clock, m_root, {}, berlin());
        QVERIFY(loaded(store));
        const int files = icsCount(work);
        const auto before = store.events(at(11, 17, 0), at(11, 18, 0)).size();

        QVERIFY(!store.calendar(work)->writable);
        QString error;
        QVERIFY(!store.save({QStringLiteral("Lunch"), at(11, 17, 12), at(11, 17, 13), false}, work, &error));
        QCOMPARE(error, QStringLiteral("The calendar folder %1 is read-only.").arg(work));
        QCOMPARE(icsCount(work), files);
        QCOMPARE(store.events(at(11, 17, 0), at(11, 18, 0)).size(), before);
        QVERIFY(QFile::setPermissions(work, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    }

    void readsALargeStoreInTheBackground()
    {
        const QDateTime first = at(1, 1, 8);
        for (int i = 0; i < 5000; ++i) {
            const QDateTime start = first.addSecs(qint64(i) * 6 * 3600 + (i % 7) * 900).toUTC();
            writeEvent(m_dir->filePath(QStringLiteral("big/Calendars/bulk")), QStringLiteral("e%1").arg(i),
                       start.toString(QStringLiteral("'DTSTART:'yyyyMMdd'T'HHmmss'Z\r\nDURATION:PT1H'")));
        }
        ManualClock clock(at(6, 15, 9));
        VdirEventStore store(clock, m_dir->filePath(QStringLiteral("big/Calendars")), {}, berlin());
        // A store this big is read in the background: opening does not wait.
        QVERIFY(store.isLoading());
        CalendarAgenda agenda(store, clock, berlin());
        QVERIFY(agenda.events().isEmpty());
        QSignalSpy changed(&store, &EventStore::changed);
        QVERIFY(changed.wait(30000));
        QVERIFY(!store.isLoading());
        QVERIFY(!agenda.events().isEmpty());
        QCOMPARE(store.events(at(1, 1, 0), QDateTime(QDate(2030, 1, 1), QTime(0, 0), berlin())).size(), 5000);
    }

    void longRunningRulesExpandOnlyTheRange()
    {
        // A daily rule running for ten years and an hourly one for twelve (more
        // occurrences before today than the expansion cap).
        const QString folder = m_dir->filePath(QStringLiteral("long/Calendars/habits"));
        writeEvent(folder, QStringLiteral("daily"), QStringLiteral("DTSTART;TZID=Europe/Berlin:20161123T073000\r\nDURATION:PT30M\r\nRRULE:FREQ=DAILY"));
        writeEvent(folder, QStringLiteral("hourly"), QStringLiteral("DTSTART;TZID=Europe/Berlin:20141123T000500\r\nDURATION:PT30M\r\nRRULE:FREQ=HOURLY"));
        ManualClock clock(at(11, 23, 9));
        VdirEventStore store(clock, m_dir->filePath(QStringLiteral("long/Calendars")), {}, berlin());
        QVERIFY(loaded(store));

        QElapsedTimer timer;
        timer.start();
        const auto day = store.events(at(11, 23, 0), at(11, 24, 0));
        const qint64 micros = timer.nsecsElapsed() / 1000;
        qInfo("one day of a ten-year daily and a twelve-year hourly rule: %lld us", micros);
        QStringList starts;
        for (const auto &e : day)
            starts.append(e.title + e.start.toTimeZone(berlin()).toString(QStringLiteral(" HH:mm")));
        std::sort(starts.begin(), starts.end());
        QCOMPARE(starts.size(), 25);
        QCOMPARE(starts.first(), QStringLiteral("daily 07:30"));
        QCOMPARE(starts.at(1), QStringLiteral("hourly 00:05"));
        QCOMPARE(starts.last(), QStringLiteral("hourly 23:05"));
        // Walking twelve years of hours took hundreds of milliseconds; the
        // range alone takes well under one.
        QVERIFY2(micros < 50'000, qPrintable(QString::number(micros)));
    }

    void anOversizedFileIsNotRead()
    {
        const QString folder = m_dir->filePath(QStringLiteral("sizes/Calendars/mixed"));
        const QString when = QStringLiteral("DTSTART:20261123T100000Z\r\nDURATION:PT1H\r\nDESCRIPTION:");
        writeEvent(folder, QStringLiteral("small"), when + QStringLiteral("notes"));
        writeEvent(folder, QStringLiteral("huge"), when + QString(5 * 1024 * 1024, QLatin1Char('x')));
        ManualClock clock(at(11, 23, 9));
        VdirEventStore store(clock, m_dir->filePath(QStringLiteral("sizes/Calendars")), {}, berlin());
        QVERIFY(loaded(store));
        const auto events = store.events(at(11, 23, 0), at(11, 24, 0));
        QCOMPARE(events.size(), 1);
        QCOMPARE(events.first().title, QStringLiteral("small"));
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_root;
};

QTEST_GUILESS_MAIN(tst_VdirEventStoreIntegration)
#include "tst_VdirEventStoreIntegration.moc"
