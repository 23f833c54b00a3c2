#include "CalendarTestEvents.h"
#include "FakeEventStore.h"

#include "calendar/CalendarDrawerModel.h"
#include "core/ManualClock.h"

#include <QSignalSpy>
#include <QTest>

namespace {

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute), berlin());
}

const QLocale english(QLocale::English, QLocale::UnitedStates);

// Qt's English short times may use a narrow no-break space before AM/PM.
QString plain(QString s)
{
    return s.replace(QChar(0x202F), QLatin1Char(' '));
}

using Auth = EventStore::Authorization;

// The store is filled before the agenda first reads it.
FakeEventStore &seeded(FakeEventStore &store, const QList<EventStore::Event> &events, Auth auth)
{
    store.stored = events;
    store.authorization = auth;
    return store;
}

// A drawer over an agenda over a fake store, with the clock at `now`.
struct Drawer
{
    explicit Drawer(const QDateTime &now, const QList<EventStore::Event> &events = {}, Auth auth = Auth::FullAccess,
                    const QLocale &locale = english)
        : clock(now)
        , agenda(seeded(store, events, auth), clock, berlin())
    {
        drawer.setLocale(locale);
        drawer.setAgenda(&agenda);
    }
    FakeEventStore store;
    ManualClock clock;
    CalendarAgenda agenda;
    CalendarDrawerModel drawer;
};

} // namespace

class tst_CalendarDrawerModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rowDetail_data()
    {
        QTest::addColumn<QDateTime>("start");
        QTest::addColumn<QDateTime>("end");
        QTest::addColumn<bool>("allDay");
        QTest::addColumn<bool>("isToday");
        QTest::addColumn<QString>("detail");

        // Now is 9:30 on the 16th.
        QTest::newRow("all day") << at(16, 0) << at(17, 0) << true << true << "All day";
        QTest::newRow("ongoing") << at(16, 9) << at(16, 10) << false << true << "Now · until 10:00 AM";
        QTest::newRow("in 90 minutes") << at(16, 11) << at(16, 12) << false << true << "11:00 AM–12:00 PM · in 1 h 30 min";
        QTest::newRow("in exactly 2 hours") << at(16, 11, 30) << at(16, 12) << false << true << "11:30 AM–12:00 PM · in 2 h";
        QTest::newRow("in 59 minutes and change") << at(16, 10, 29) << at(16, 11) << false << true << "10:29 AM–11:00 AM · in 59 min";
        QTest::newRow("starts now") << at(16, 9, 30) << at(16, 10) << false << true << "Now · until 10:00 AM";
        QTest::newRow("another day: only times") << at(17, 9) << at(17, 10) << false << false << "9:00 AM–10:00 AM";
        QTest::newRow("ongoing on another day's list") << at(16, 9) << at(16, 10) << false << false << "9:00 AM–10:00 AM";
    }

    void rowDetail()
    {
        QFETCH(QDateTime, start);
        QFETCH(QDateTime, end);
        QFETCH(bool, allDay);
        QFETCH(bool, isToday);
        QFETCH(QString, detail);
        AgendaEvent e;
        e.title = QStringLiteral("E");
        e.start = start;
        e.end = end;
        e.isAllDay = allDay;
        QCOMPARE(plain(CalendarDrawerModel::detail(e, at(16, 9, 30), isToday, english, berlin())), detail);
    }

    void readBack_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("line");
        // The timed line is read back in returnSavesOrShowsTheFailure.
        QTest::newRow("all day") << "Dentist friday" << "Dentist, Fri 20 Nov, all day";
        QTest::newRow("empty title") << "" << "Type an event, then press Return";
    }

    void readBack()
    {
        QFETCH(QString, text);
        QuickEvent e = QuickEvent::parse(text, at(16, 0), at(16, 9), berlin());
        QTEST(plain(CalendarDrawerModel::readBackText(e, english, berlin())), "line");
    }

    void ticksEachMinuteOnlyWhileShown()
    {
        Drawer f(at(16, 9, 13).addSecs(30), {makeEvent(QStringLiteral("Standup"), at(16, 9), at(16, 9, 15))});
        auto &[store, clock, agenda, drawer] = f;
        const int idle = clock.pendingCount(); // the agenda's midnight wake-up
        QCOMPARE(idle, 1);

        drawer.setActive(true);
        QCOMPARE(clock.pendingCount(), idle + 1);
        QCOMPARE(plain(drawer.rows().first().toMap().value(QStringLiteral("detail")).toString()), QStringLiteral("Now · until 9:15 AM"));
        QSignalSpy now(&drawer, &CalendarDrawerModel::nowChanged);
        clock.advance(30); // 9:14:00
        QCOMPARE(now.count(), 1);
        clock.advance(60); // 9:15:00: the standup is over and leaves today's list
        QCOMPARE(now.count(), 2);
        QVERIFY(drawer.rows().isEmpty());
        QCOMPARE(drawer.emptyText(), QStringLiteral("Nothing for today"));

        drawer.setActive(false);
        QCOMPARE(clock.pendingCount(), idle);
        clock.advance(600);
        QCOMPARE(now.count(), 2);
    }

    void returnSavesOrShowsTheFailure()
    {
        Drawer f(at(16, 9));
        auto &[store, clock, agenda, drawer] = f;
        QSignalSpy readBack(&drawer, &CalendarDrawerModel::readBackChanged);
        const auto state = [&] { // text|error|read-back|selected day|saved
            return QStringList{drawer.text(), drawer.error(), plain(drawer.readBack()),
                               QString::number(agenda.selectedDay().date().day()), QString::number(store.saved.size())}
                .join(QLatin1Char('|'));
        };
        const QString line = QStringLiteral("Lunch with Sam tomorrow at 1pm");
        const QString read = QStringLiteral("|Lunch with Sam, Tue 17 Nov, 1:00 PM–2:00 PM|16|0");

        drawer.setText(line);
        QCOMPARE(readBack.count(), 1);
        QCOMPARE(state(), line + QLatin1Char('|') + read);
        store.failWith = QStringLiteral("The calendar folder /x is read-only.");
        QVERIFY(!drawer.submit());
        QCOMPARE(state(), line + QStringLiteral("|Couldn't add it: The calendar folder /x is read-only.") + read);
        store.failWith.clear();
        QVERIFY(drawer.submit());
        QCOMPARE(state(), QStringLiteral("|||17|1"));
        QCOMPARE(store.saved.first().first.start, at(17, 13));
        QCOMPARE(drawer.headerTitle(), QStringLiteral("Tomorrow"));
        // A blank line saves nothing.
        drawer.setText(QStringLiteral("   "));
        QVERIFY(!drawer.submit());
        QCOMPARE(store.saved.size(), 1);
    }

    void stripShowsNineteenDaysAroundTheSelection()
    {
        const Drawer f(at(16, 9), {makeEvent(QStringLiteral("Late"), at(18, 23), at(19, 1))});
        QStringList shown; // day number, then b(usy), s(elected), t(oday)
        for (const QVariant &d : f.drawer.days()) {
            const QVariantMap m = d.toMap();
            shown.append(m.value(QStringLiteral("number")).toString());
            for (const char *flag : {"isBusy", "isSelected", "isToday"})
                if (m.value(QLatin1String(flag)).toBool())
                    shown.last() += QChar::fromLatin1(flag[2]).toLower();
        }
        QCOMPARE(shown.join(QLatin1Char(' ')), QStringLiteral("7 8 9 10 11 12 13 14 15 16st 17 18b 19b 20 21 22 23 24 25"));
        QCOMPARE(f.drawer.days().first().toMap().value(QStringLiteral("day")).toDateTime(), at(7, 0));
    }

    void weekdayNamesInEveryLocale_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("letters"); // Monday 16 to Sunday 22
        QTest::addColumn<QString>("header");  // Wednesday 18, seen on the 16th

        // The C locale (LANG=C.UTF-8) names weekdays by digits.
        QTest::newRow("C") << QLocale::c() << "MTWTFSS" << "Wednesday";
        QTest::newRow("en_US") << english << "MTWTFSS" << "Wednesday";
        QTest::newRow("de_DE") << QLocale(QLocale::German, QLocale::Germany) << "MDMDFSS" << "Mittwoch";
    }

    void weekdayNamesInEveryLocale()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, letters);
        QFETCH(QString, header);

        Drawer f(at(16, 9), {}, Auth::FullAccess, locale);
        QString shown;
        const QVariantList days = f.drawer.days();
        for (int i = 9; i < 16; ++i) // the selected day (today) sits in the middle
            shown += days.at(i).toMap().value(QStringLiteral("weekday")).toString();
        QCOMPARE(shown, letters);
        f.drawer.selectDay(at(18, 0));
        QCOMPARE(f.drawer.headerTitle(), header);
    }

    void stripCountsCalendarDays()
    {
        const Drawer f(at(16, 9));
        // Across the night the clocks go back (25 hours) and within one day.
        const QDateTime saturday(QDate(2026, 10, 24), QTime(0, 0), berlin());
        QCOMPARE(f.drawer.daysBetween(saturday, saturday.addDays(2)), 2);
        QCOMPARE(f.drawer.daysBetween(saturday.addDays(2), saturday), -2);
        QCOMPARE(f.drawer.daysBetween(at(16, 0), at(16, 23, 59)), 0);
    }

    void stripDragProjectsAFlick_data()
    {
        QTest::addColumn<double>("step"); // points per 16 ms frame
        QTest::addColumn<int>("frames");
        QTest::addColumn<double>("pause"); // seconds held still before letting go
        QTest::addColumn<int>("days");

        // -82 points moving at 125 pt/s carry on about 62 points: 3.6 days.
        QTest::newRow("slow drag carries on") << -2.0 << 41 << 0.0 << 3;
        QTest::newRow("same drag, held before release") << -2.0 << 41 << 0.2 << 2;
        // -40 points at 400 pt/s (over the last tenth of a second) carry on ~200.
        QTest::newRow("quick flick goes further") << -8.0 << 5 << 0.0 << 5;
        QTest::newRow("flick back in time") << 8.0 << 5 << 0.0 << -5;
        // Held still, the drag alone counts: a day per 40 points, cut towards zero.
        QTest::newRow("-40 held steps one") << -8.0 << 5 << 0.3 << 1;
        QTest::newRow("-79 held steps one") << -7.9 << 10 << 0.3 << 1;
        QTest::newRow("+39 held steps none") << 3.0 << 13 << 0.3 << 0;
        QTest::newRow("+80 held steps two back") << 8.0 << 10 << 0.3 << -2;
    }

    void stripDragProjectsAFlick()
    {
        QFETCH(double, step);
        QFETCH(int, frames);
        QFETCH(double, pause);
        QFETCH(int, days);
        Drawer f(at(16, 9));
        auto &[store, clock, agenda, drawer] = f;
        double t = 0;
        for (int i = 0; i < frames; ++i) {
            t += step;
            drawer.dragStrip(t);
            clock.advance(0.016);
        }
        QCOMPARE(agenda.stripOffset(), t);
        clock.advance(pause);
        drawer.endStripDrag(t);
        QCOMPARE(agenda.selectedDay(), at(16 + days, 0));
        QCOMPARE(agenda.stripOffset(), 0.0);
    }
};

QTEST_GUILESS_MAIN(tst_CalendarDrawerModel)
#include "tst_CalendarDrawerModel.moc"
