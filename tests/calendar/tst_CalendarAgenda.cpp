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

// An agenda over a fake store that holds `events` before the agenda first reads it.
struct Agenda
{
    explicit Agenda(const QDateTime &now, const QList<EventStore::Event> &events = {})
        : clock(now)
        , agenda((store.stored = events, store), clock, berlin())
    {
    }
    FakeEventStore store;
    ManualClock clock;
    CalendarAgenda agenda;
};

} // namespace

class tst_CalendarAgenda : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensTheDesktopsCalendarApplication()
    {
        // The default handler for text/calendar, in a home of its own. Its Exec
        // line has a quoted argument, an escaped percent sign and a field code
        // with no file to fill it: the desktop's rules, not a guess, decide.
        QTemporaryDir home;
        const QString script = home.filePath(QStringLiteral("calendar-app"));
        const QString out = home.filePath(QStringLiteral("arguments"));
        QVERIFY(writeFile(script, QStringLiteral("#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done > '%1.part'\nmv '%1.part' '%1'\n").arg(out).toUtf8()));
        QVERIFY(QFile::setPermissions(script, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        QVERIFY(writeFile(home.filePath(QStringLiteral("data/applications/test-calendar.desktop")),
                          QStringLiteral("[Desktop Entry]\nType=Application\nName=Test Calendar\nMimeType=text/calendar;\n"
                                         "Exec=%1 --title \"My Calendar\" 100%% %u\n").arg(script).toUtf8()));
        QVERIFY(writeFile(home.filePath(QStringLiteral("config/mimeapps.list")),
                          "[Default Applications]\ntext/calendar=test-calendar.desktop\n"));
        qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(home.filePath(QStringLiteral("none"))));

        Agenda f(at(11, 16, 9));
        f.agenda.openCalendarApp();
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(out), 10000);
        QFile args(out);
        QVERIFY(args.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromUtf8(args.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts),
                 (QStringList{QStringLiteral("--title"), QStringLiteral("My Calendar"), QStringLiteral("100%")}));
    }

    void dayListHidesWhatIsOverOnlyOnToday()
    {
        Agenda f(at(11, 16, 9, 30), {makeEvent(QStringLiteral("Standup"), at(11, 16, 9, 0), at(11, 16, 9, 29)),
                                     makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))});
        QCOMPARE(titles(f.agenda.events()), QStringList{QStringLiteral("Review")});
        // From the next day, the day before shows everything.
        f.clock.advance(22.5 * 3600);
        f.agenda.step(-1);
        QCOMPARE(f.agenda.selectedDay(), at(11, 16, 0));
        QCOMPARE(titles(f.agenda.events()), (QStringList{QStringLiteral("Standup"), QStringLiteral("Review")}));
    }

    void sortsAllDayFirstThenByStart()
    {
        const Agenda f(at(11, 16, 7), {makeEvent(QStringLiteral("B 10:00"), at(11, 16, 10), at(11, 16, 11)),
                                       makeEvent(QStringLiteral("Trip"), at(11, 16, 0), at(11, 17, 0), true),
                                       makeEvent(QStringLiteral("A 10:00"), at(11, 16, 10), at(11, 16, 10, 30)),
                                       makeEvent(QStringLiteral("Early"), at(11, 16, 8), at(11, 16, 23)),
                                       makeEvent(QString(), at(11, 16, 12), at(11, 16, 13)),
                                       makeEvent(QStringLiteral("Holiday"), at(11, 15, 0), at(11, 18, 0), true)});
        // Equal starts keep the store's order.
        QCOMPARE(titles(f.agenda.events()), (QStringList{QStringLiteral("Holiday"), QStringLiteral("Trip"), QStringLiteral("Early"),
                                                         QStringLiteral("B 10:00"), QStringLiteral("A 10:00"), QStringLiteral("Untitled event")}));
    }

    void publishesOnlyRealChanges()
    {
        Agenda f(at(11, 16, 9), {makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))});
        QSignalSpy events(&f.agenda, &CalendarAgenda::eventsChanged);
        QSignalSpy busy(&f.agenda, &CalendarAgenda::busyDaysChanged);
        QSignalSpy status(&f.agenda, &CalendarAgenda::statusChanged);
        const auto counts = [&] { return QList<qsizetype>{events.count(), busy.count(), status.count()}; };

        f.agenda.refresh();
        QCOMPARE(counts(), (QList<qsizetype>{0, 0, 0}));
        // The same day was busy already.
        f.store.stored.append(makeEvent(QStringLiteral("Lunch"), at(11, 16, 12), at(11, 16, 13)));
        f.agenda.refresh();
        QCOMPARE(counts(), (QList<qsizetype>{1, 0, 0}));
        f.store.stored.append(makeEvent(QStringLiteral("Dinner"), at(11, 18, 19), at(11, 18, 21)));
        f.agenda.refresh();
        QCOMPARE(counts(), (QList<qsizetype>{1, 1, 0}));
    }

    void marksBusyDays_data()
    {
        QTest::addColumn<QDateTime>("start");
        QTest::addColumn<QDateTime>("end");
        QTest::addColumn<bool>("allDay");
        QTest::addColumn<bool>("cancelled");
        QTest::addColumn<QList<int>>("busy"); // days of November

        QTest::newRow("over midnight marks both days") << at(11, 16, 23) << at(11, 17, 1) << false << false << QList<int>{16, 17};
        QTest::newRow("ending at midnight marks one") << at(11, 16, 10) << at(11, 17, 0) << false << false << QList<int>{16};
        QTest::newRow("all-day marks its own days") << at(11, 16, 0) << at(11, 19, 0) << true << false << QList<int>{16, 17, 18};
        QTest::newRow("cancelled marks nothing") << at(11, 16, 10) << at(11, 16, 11) << false << true << QList<int>{};
        QTest::newRow("started before the range") << at(11, 1, 0) << at(11, 8, 12) << true << false << QList<int>{7, 8};
        QTest::newRow("runs past the range end") << at(11, 25, 10) << at(11, 30, 0) << false << false << QList<int>{25};
    }
    void marksBusyDays()
    {
        QFETCH(QDateTime, start);
        QFETCH(QDateTime, end);
        QFETCH(bool, allDay);
        QFETCH(bool, cancelled);
        EventStore::Event e = makeEvent(QStringLiteral("E"), start, end, allDay);
        e.isCancelled = cancelled;
        const Agenda f(at(11, 16, 0), {e});
        QList<int> marked;
        for (const QDate &d : f.agenda.busyDays())
            marked.append(d.month() == 11 ? d.day() : -1);
        std::sort(marked.begin(), marked.end());
        QTEST(marked, "busy");
        if (cancelled)
            QVERIFY(f.agenda.events().isEmpty());
    }

    void findsJoinLinks_data()
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
        QTest::newRow("facetime") << "" << "https://facetime.apple.com/join#v=1" << "" << "https://facetime.apple.com/join#v=1";
        QTest::newRow("host is case-insensitive") << "https://ACME.WEBEX.COM/meet/j" << "" << "" << "https://acme.webex.com/meet/j";
        QTest::newRow("nothing") << "" << "Room 4" << "Bring slides" << "";
    }
    void findsJoinLinks()
    {
        QFETCH(QString, url);
        QFETCH(QString, location);
        QFETCH(QString, notes);
        QTEST(CallLink::find(QUrl(url), {location, notes}).value_or(QUrl()).toString(), "join");
    }

    void addingSavesToTheChosenCalendar()
    {
        Agenda f(at(11, 16, 9));
        QString error;
        QVERIFY(f.agenda.addEvent(QStringLiteral("Lunch"), at(11, 18, 13), at(11, 18, 14), false, QStringLiteral("unknown"), &error));
        QCOMPARE(titles(f.agenda.events()), QStringList{QStringLiteral("Lunch")});
        QVERIFY(f.agenda.addEvent(QStringLiteral("Gym"), at(11, 18, 18), at(11, 18, 19), false, QStringLiteral("cal-a"), &error));
        // An unknown calendar means the default one.
        QCOMPARE(f.store.saved.at(0).second, QString());
        QCOMPARE(f.store.saved.at(1).second, QStringLiteral("cal-a"));
        // Sorted by title for the picker.
        QCOMPARE(f.agenda.writableCalendars().first().title, QStringLiteral("Home"));
    }

    void midnightMovesToTheNewToday()
    {
        Agenda f(at(11, 16, 22), {makeEvent(QStringLiteral("Breakfast"), at(11, 17, 8), at(11, 17, 9))});
        f.agenda.step(5);
        QSignalSpy today(&f.agenda, &CalendarAgenda::todayChanged);
        f.clock.advance(2 * 3600 - 2);
        QCOMPARE(today.count(), 0);
        f.clock.advance(4);
        QCOMPARE(today.count(), 1);
        QCOMPARE(f.agenda.today(), at(11, 17, 0));
        QCOMPARE(f.agenda.selectedDay(), at(11, 17, 0));
        QCOMPARE(titles(f.agenda.events()), QStringList{QStringLiteral("Breakfast")});
        // And again the next night: one pending wake-up, not a ticking timer.
        QCOMPARE(f.clock.pendingCount(), 1);
        f.clock.advance(24 * 3600);
        QCOMPARE(today.count(), 2);

        // A machine that slept through midnight wakes its timers late; the next
        // look at the clock catches up.
        f.clock.setNow(at(11, 20, 7));
        f.agenda.checkDayChange();
        QCOMPARE(today.count(), 3);
        QCOMPARE(f.agenda.selectedDay(), at(11, 20, 0));
        QCOMPARE(f.clock.pendingCount(), 1);
    }

    void withoutAccessListsStayUntouched()
    {
        Agenda f(at(11, 16, 9), {makeEvent(QStringLiteral("Review"), at(11, 16, 10), at(11, 16, 11))});
        QSignalSpy status(&f.agenda, &CalendarAgenda::statusChanged);
        f.store.authorization = EventStore::Authorization::Denied;
        f.store.stored.clear();
        f.agenda.refresh();
        QCOMPARE(status.count(), 1);
        QCOMPARE(f.agenda.status(), CalendarAgenda::Status::Denied);
        QCOMPARE(titles(f.agenda.events()), QStringList{QStringLiteral("Review")});

        f.agenda.requestAccess();
        QCOMPARE(status.count(), 2);
        QCOMPARE(f.agenda.status(), CalendarAgenda::Status::Ready);
        QVERIFY(f.agenda.events().isEmpty());

        // A store that never asked is not read before the user says yes.
        FakeEventStore fresh;
        fresh.authorization = EventStore::Authorization::NotDetermined;
        CalendarAgenda asking(fresh, f.clock, berlin());
        QCOMPARE(asking.status(), CalendarAgenda::Status::NeedsPermission);
        QCOMPARE(fresh.queries, 0);
    }
};

QTEST_GUILESS_MAIN(tst_CalendarAgenda)
#include "tst_CalendarAgenda.moc"
