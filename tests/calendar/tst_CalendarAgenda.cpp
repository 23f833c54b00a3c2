#include "CalendarTestEvents.h"
#include "FakeEventStore.h"

#include "calendar/CalendarAgenda.h"
#include "calendar/CallLink.h"
#include "core/ManualClock.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

QDateTime at(int month, int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, month, day), QTime(hour, minute), berlin());
}

QStringList titles(const QList<AgendaEvent> &events)
{
    QStringList out;
    for (const AgendaEvent &e : events)
        out.append(e.title);
    return out;
}

} // namespace

class tst_CalendarAgenda : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensTheDesktopsCalendarApplication();
    void dayListHidesWhatIsOverOnlyOnToday();
    void sortsAllDayFirstThenByStart();
    void publishesOnlyRealChanges();
    void marksBusyDays_data();
    void marksBusyDays();
    void findsJoinLinks_data();
    void findsJoinLinks();
    void stripDragStepsDays_data();
    void stripDragStepsDays();
    void addingJumpsToTheEventsDay();
    void failedAddKeepsTheDay();
    void midnightMovesToTheNewToday();
    void withoutAccessListsStayUntouched();
    void storeChangesRefresh();
};

void tst_CalendarAgenda::dayListHidesWhatIsOverOnlyOnToday()
{
    FakeEventStore store;
    store.stored = {makeEvent(QStringLiteral("Standup"), at(11, 16, 9, 0), at(11, 16, 9, 29)),
                    makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))};
    ManualClock clock(at(11, 16, 9, 30));
    CalendarAgenda agenda(store, clock, berlin());
    QCOMPARE(titles(agenda.events()), QStringList{QStringLiteral("Review")});

    // From the next day, the day before shows everything.
    clock.advance(22.5 * 3600);
    QCOMPARE(agenda.selectedDay(), at(11, 17, 0));
    agenda.step(-1);
    QCOMPARE(agenda.selectedDay(), at(11, 16, 0));
    QCOMPARE(titles(agenda.events()), (QStringList{QStringLiteral("Standup"), QStringLiteral("Review")}));
}

void tst_CalendarAgenda::sortsAllDayFirstThenByStart()
{
    FakeEventStore store;
    store.stored = {makeEvent(QStringLiteral("B 10:00"), at(11, 16, 10), at(11, 16, 11)),
                    makeEvent(QStringLiteral("Trip"), at(11, 16, 0), at(11, 17, 0), true),
                    makeEvent(QStringLiteral("A 10:00"), at(11, 16, 10), at(11, 16, 10, 30)),
                    makeEvent(QStringLiteral("Early"), at(11, 16, 8), at(11, 16, 23)),
                    makeEvent(QString(), at(11, 16, 12), at(11, 16, 13)),
                    makeEvent(QStringLiteral("Holiday"), at(11, 15, 0), at(11, 18, 0), true)};
    ManualClock clock(at(11, 16, 7));
    CalendarAgenda agenda(store, clock, berlin());
    // Equal starts keep the store's order.
    QCOMPARE(titles(agenda.events()), (QStringList{QStringLiteral("Holiday"), QStringLiteral("Trip"), QStringLiteral("Early"),
                                                   QStringLiteral("B 10:00"), QStringLiteral("A 10:00"), QStringLiteral("Untitled event")}));
}

void tst_CalendarAgenda::publishesOnlyRealChanges()
{
    FakeEventStore store;
    store.stored = {makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))};
    ManualClock clock(at(11, 16, 9));
    CalendarAgenda agenda(store, clock, berlin());
    QSignalSpy events(&agenda, &CalendarAgenda::eventsChanged);
    QSignalSpy busy(&agenda, &CalendarAgenda::busyDaysChanged);
    QSignalSpy status(&agenda, &CalendarAgenda::statusChanged);

    agenda.refresh();
    QCOMPARE(events.count(), 0);
    QCOMPARE(busy.count(), 0);

    store.stored.append(makeEvent(QStringLiteral("Lunch"), at(11, 16, 12), at(11, 16, 13)));
    agenda.refresh();
    QCOMPARE(events.count(), 1);
    QCOMPARE(busy.count(), 0); // the same day was busy already

    store.stored.append(makeEvent(QStringLiteral("Dinner"), at(11, 18, 19), at(11, 18, 21)));
    agenda.refresh();
    QCOMPARE(events.count(), 1);
    QCOMPARE(busy.count(), 1);
    QCOMPARE(status.count(), 0);
}

void tst_CalendarAgenda::marksBusyDays_data()
{
    QTest::addColumn<QDateTime>("start");
    QTest::addColumn<QDateTime>("end");
    QTest::addColumn<bool>("allDay");
    QTest::addColumn<bool>("cancelled");
    QTest::addColumn<QList<QDate>>("busy");

    const QDate d16(2026, 11, 16);
    QTest::newRow("over midnight marks both days") << at(11, 16, 23) << at(11, 17, 1) << false << false
                                                   << QList<QDate>{d16, d16.addDays(1)};
    QTest::newRow("ending at midnight marks one") << at(11, 16, 10) << at(11, 17, 0) << false << false << QList<QDate>{d16};
    QTest::newRow("all-day marks its own days") << at(11, 16, 0) << at(11, 19, 0) << true << false
                                                << QList<QDate>{d16, d16.addDays(1), d16.addDays(2)};
    QTest::newRow("cancelled marks nothing") << at(11, 16, 10) << at(11, 16, 11) << false << true << QList<QDate>{};
    QTest::newRow("started before the range") << at(11, 1, 0) << at(11, 8, 12) << true << false
                                               << QList<QDate>{QDate(2026, 11, 7), QDate(2026, 11, 8)};
    QTest::newRow("runs past the range end") << at(11, 25, 10) << at(11, 30, 0) << false << false
                                             << QList<QDate>{QDate(2026, 11, 25)};
}

void tst_CalendarAgenda::marksBusyDays()
{
    QFETCH(QDateTime, start);
    QFETCH(QDateTime, end);
    QFETCH(bool, allDay);
    QFETCH(bool, cancelled);
    QFETCH(QList<QDate>, busy);

    FakeEventStore store;
    EventStore::Event e = makeEvent(QStringLiteral("E"), start, end, allDay);
    e.isCancelled = cancelled;
    store.stored = {e};
    ManualClock clock(at(11, 16, 0));
    CalendarAgenda agenda(store, clock, berlin());
    QList<QDate> marked = agenda.busyDays().values();
    std::sort(marked.begin(), marked.end());
    QCOMPARE(marked, busy);
    if (cancelled)
        QVERIFY(agenda.events().isEmpty());
}

void tst_CalendarAgenda::findsJoinLinks_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("notes");
    QTest::addColumn<QString>("join");

    QTest::newRow("url is the call") << "https://zoom.us/j/1" << "" << "https://meet.google.com/x" << "https://zoom.us/j/1";
    QTest::newRow("teams link in the notes") << "https://intranet.example.com/a" << ""
                                             << "Join: <https://teams.microsoft.com/l/meetup-join/19%3a1>"
                                             << "https://teams.microsoft.com/l/meetup-join/19%3A1";
    QTest::newRow("look-alike host") << "https://notzoom.us/j/1" << "" << "https://fakewebex.com/meet" << "";
    QTest::newRow("company subdomain") << "" << "" << "Zoom: https://acme.zoom.us/j/845?pwd=x." << "https://acme.zoom.us/j/845?pwd=x";
    QTest::newRow("bare link in location") << "" << "meet.google.com/abc-defg-hij" << "" << "https://meet.google.com/abc-defg-hij";
    QTest::newRow("location before notes") << "" << "https://whereby.com/room" << "https://gotomeeting.com/join/1"
                                           << "https://whereby.com/room";
    QTest::newRow("first call link wins") << "" << "" << "Docs https://docs.example.com then https://teams.live.com/meet/9 or https://chime.aws/1"
                                          << "https://teams.live.com/meet/9";
    QTest::newRow("facetime and webex") << "" << "https://facetime.apple.com/join#v=1" << "" << "https://facetime.apple.com/join#v=1";
    QTest::newRow("host is case-insensitive") << "https://ACME.WEBEX.COM/meet/j" << "" << "" << "https://acme.webex.com/meet/j";
    QTest::newRow("nothing") << "" << "Room 4" << "Bring slides" << "";
}

void tst_CalendarAgenda::findsJoinLinks()
{
    QFETCH(QString, url);
    QFETCH(QString, location);
    QFETCH(QString, notes);
    QFETCH(QString, join);

    const auto found = CallLink::find(QUrl(url), {location, notes});
    QCOMPARE(found.value_or(QUrl()).toString(), join);
}

void tst_CalendarAgenda::stripDragStepsDays_data()
{
    QTest::addColumn<double>("projected");
    QTest::addColumn<int>("days");
    QTest::newRow("-79 steps one forward") << -79.0 << 1;
    QTest::newRow("+39 steps none") << 39.0 << 0;
    QTest::newRow("-40 steps one") << -40.0 << 1;
    QTest::newRow("+80 steps two back") << 80.0 << -2;
    QTest::newRow("-200 steps five") << -200.0 << 5;
}

void tst_CalendarAgenda::stripDragStepsDays()
{
    QFETCH(double, projected);
    QFETCH(int, days);
    FakeEventStore store;
    ManualClock clock(at(11, 16, 9));
    CalendarAgenda agenda(store, clock, berlin());
    agenda.setStripOffset(projected / 2);
    agenda.endStripDrag(projected);
    QCOMPARE(agenda.selectedDay(), at(11, 16, 0).addDays(days));
    QCOMPARE(agenda.stripOffset(), 0.0);
}

void tst_CalendarAgenda::addingJumpsToTheEventsDay()
{
    FakeEventStore store;
    ManualClock clock(at(11, 16, 9));
    CalendarAgenda agenda(store, clock, berlin());
    QSignalSpy day(&agenda, &CalendarAgenda::selectedDayChanged);
    QString error;
    QVERIFY(agenda.addEvent(QStringLiteral("Lunch"), at(11, 18, 13), at(11, 18, 14), false, QStringLiteral("unknown"), &error));
    QCOMPARE(day.count(), 1);
    QCOMPARE(agenda.selectedDay(), at(11, 18, 0));
    QCOMPARE(titles(agenda.events()), QStringList{QStringLiteral("Lunch")});
    // An unknown calendar means the default one.
    QCOMPARE(store.saved.first().second, QString());
    QVERIFY(agenda.addEvent(QStringLiteral("Gym"), at(11, 18, 18), at(11, 18, 19), false, QStringLiteral("cal-a"), &error));
    QCOMPARE(store.saved.last().second, QStringLiteral("cal-a"));
    // Sorted by title for the picker.
    QCOMPARE(agenda.writableCalendars().first().title, QStringLiteral("Home"));
}

void tst_CalendarAgenda::failedAddKeepsTheDay()
{
    FakeEventStore store;
    store.failWith = QStringLiteral("The calendar folder /x is read-only.");
    ManualClock clock(at(11, 16, 9));
    CalendarAgenda agenda(store, clock, berlin());
    QString error;
    QVERIFY(!agenda.addEvent(QStringLiteral("Lunch"), at(11, 18, 13), at(11, 18, 14), false, {}, &error));
    QCOMPARE(error, store.failWith);
    QCOMPARE(agenda.selectedDay(), at(11, 16, 0));
}

void tst_CalendarAgenda::midnightMovesToTheNewToday()
{
    FakeEventStore store;
    store.stored = {makeEvent(QStringLiteral("Breakfast"), at(11, 17, 8), at(11, 17, 9))};
    ManualClock clock(at(11, 16, 22));
    CalendarAgenda agenda(store, clock, berlin());
    agenda.step(5);
    QSignalSpy today(&agenda, &CalendarAgenda::todayChanged);
    clock.advance(2 * 3600 - 2);
    QCOMPARE(today.count(), 0);
    clock.advance(4);
    QCOMPARE(today.count(), 1);
    QCOMPARE(agenda.today(), at(11, 17, 0));
    QCOMPARE(agenda.selectedDay(), at(11, 17, 0));
    QCOMPARE(titles(agenda.events()), QStringList{QStringLiteral("Breakfast")});
    // And again the next night: one pending wake-up, not a ticking timer.
    QCOMPARE(clock.pendingCount(), 1);
    clock.advance(24 * 3600);
    QCOMPARE(today.count(), 2);

    // A machine that slept through midnight wakes its timers late; the next
    // look at the clock catches up.
    clock.setNow(at(11, 20, 7));
    agenda.checkDayChange();
    QCOMPARE(today.count(), 3);
    QCOMPARE(agenda.selectedDay(), at(11, 20, 0));
    QCOMPARE(clock.pendingCount(), 1);
}

void tst_CalendarAgenda::withoutAccessListsStayUntouched()
{
    FakeEventStore store;
    store.stored = {makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))};
    ManualClock clock(at(11, 16, 9));
    CalendarAgenda agenda(store, clock, berlin());
    QSignalSpy status(&agenda, &CalendarAgenda::statusChanged);
    store.authorization = EventStore::Authorization::Denied;
    store.stored.clear();
    agenda.refresh();
    QCOMPARE(status.count(), 1);
    QCOMPARE(agenda.status(), CalendarAgenda::Status::Denied);
    QCOMPARE(titles(agenda.events()), QStringList{QStringLiteral("Review")});

    store.afterRequest = EventStore::Authorization::FullAccess;
    agenda.requestAccess();
    QCOMPARE(status.count(), 2);
    QCOMPARE(agenda.status(), CalendarAgenda::Status::Ready);
    QVERIFY(agenda.events().isEmpty());

    FakeEventStore fresh;
    fresh.authorization = EventStore::Authorization::NotDetermined;
    CalendarAgenda asking(fresh, clock, berlin());
    QCOMPARE(asking.status(), CalendarAgenda::Status::NeedsPermission);
    QCOMPARE(fresh.queries, 0);
}

void tst_CalendarAgenda::storeChangesRefresh()
{
    FakeEventStore store;
    ManualClock clock(at(11, 16, 9));
    CalendarAgenda agenda(store, clock, berlin());
    QSignalSpy events(&agenda, &CalendarAgenda::eventsChanged);
    store.stored = {makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))};
    store.announce();
    QCOMPARE(events.count(), 1);
    QVERIFY(agenda.isBusy(at(11, 16, 0)));
}

void tst_CalendarAgenda::opensTheDesktopsCalendarApplication()
{
    // The default handler for text/calendar, in a home of its own. Its Exec
    // line has a quoted argument, an escaped percent sign and a field code
    // with no file to fill it: the desktop's rules, not a guess, decide.
    QTemporaryDir home;
    QVERIFY(home.isValid());
    const QString script = home.filePath(QStringLiteral("calendar-app"));
    const QString out = home.filePath(QStringLiteral("arguments"));
    QFile s(script);
    QVERIFY(s.open(QIODevice::WriteOnly));
    s.write(QStringLiteral("#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > '%1.part'\nmv '%1.part' '%1'\n").arg(out).toUtf8());
    s.close();
    QVERIFY(s.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    QVERIFY(QDir().mkpath(home.filePath(QStringLiteral("data/applications"))));
    QFile entry(home.filePath(QStringLiteral("data/applications/test-calendar.desktop")));
    QVERIFY(entry.open(QIODevice::WriteOnly));
    entry.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=Test Calendar\nMimeType=text/calendar;\n"
                               "Exec=%1 --title \"My Calendar\" 100%% %u\n").arg(script).toUtf8());
    entry.close();
    QVERIFY(QDir().mkpath(home.filePath(QStringLiteral("config"))));
    QFile defaults(home.filePath(QStringLiteral("config/mimeapps.list")));
    QVERIFY(defaults.open(QIODevice::WriteOnly));
    defaults.write("[Default Applications]\ntext/calendar=test-calendar.desktop\n");
    defaults.close();
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(home.filePath(QStringLiteral("none"))));

    FakeEventStore store;
    ManualClock clock(QDateTime(QDate(2026, 11, 16), QTime(9, 0), berlin()));
    CalendarAgenda agenda(store, clock, berlin());
    agenda.openCalendarApp();
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out), 10000);
    QFile args(out);
    QVERIFY(args.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(args.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts),
             (QStringList{QStringLiteral("--title"), QStringLiteral("My Calendar"), QStringLiteral("100%")}));
}

QTEST_GUILESS_MAIN(tst_CalendarAgenda)
#include "tst_CalendarAgenda.moc"
