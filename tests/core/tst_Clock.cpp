#include "core/ClockSlot.h"
#include "core/ManualClock.h"
#include "core/SystemClock.h"

#include <QSignalSpy>
#include <QTest>

class tst_Clock : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void manualClockFiresDueActionsInOrderAtTheirOwnTime()
    {
        ManualClock clock;
        QStringList fired;
        auto note = [&](const char *name) { fired << QStringLiteral("%1@%2").arg(name).arg(clock.monotonicNow()); };
        clock.schedule(0.4, [&] { note("b"); });
        clock.schedule(0.1, [&] {
            note("a");
            // Scheduled from inside an action, due before the others.
            clock.schedule(0.1, [&] { note("a2"); });
        });
        clock.schedule(0.4, [&] { note("c"); });
        clock.schedule(5, [&] { note("late"); });
        clock.advance(1);
        QCOMPARE(fired, (QStringList {"a@0.1", "a2@0.2", "b@0.4", "c@0.4"}));
        QCOMPARE(clock.monotonicNow(), 1.0);
        QCOMPARE(clock.pendingCount(), 1);
        QCOMPARE(clock.now(), QDateTime(QDate(2026, 11, 16), QTime(9, 0, 1), Qt::UTC));
    }

    void slotKeepsOneActionPerPurpose()
    {
        ManualClock clock;
        int first = 0;
        int second = 0;
        {
            ClockSlot slot(clock);
            slot.start(1, [&] { ++first; });
            slot.start(2, [&] { ++second; });
            QVERIFY(slot.isActive());
            clock.advance(1.5);
            QCOMPARE(first, 0);
            slot.start(1, [&] {
                // Inactive while running, so the action may start it again.
                QVERIFY(!slot.isActive());
                ++second;
            });
            clock.advance(1);
            QCOMPARE(second, 1);
            QVERIFY(!slot.isActive());
            slot.start(1, [&] { ++first; });
        }
        // The slot's owner is gone: its action never runs.
        clock.advance(10);
        QCOMPARE(first, 0);
        QCOMPARE(clock.pendingCount(), 0);
    }

    void systemClockRunsAndCancels()
    {
        SystemClock clock;
        bool ran = false;
        bool cancelledRan = false;
        const auto cancelled = clock.schedule(0.01, [&] { cancelledRan = true; });
        clock.schedule(0.02, [&] { ran = true; });
        clock.cancel(cancelled);
        QTRY_VERIFY_WITH_TIMEOUT(ran, 2000);
        QVERIFY(!cancelledRan);
        // Nothing stays armed once everything has fired.
        QCOMPARE(clock.pendingCount(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_Clock)
#include "tst_Clock.moc"
