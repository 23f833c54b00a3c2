#include "notch/NookLayout.h"
#include "notch/NotchWindowController.h"
#include "notch/Swipe.h"

#include <QTest>

namespace {

// Records what a swipe did, as the controller's real targets would receive it.
struct Recorder : SwipeTargets
{
    bool expanded = true;
    bool calendarOut = false;
    bool volume = true;
    bool strip = true;
    double level = 0.5;
    QList<double> pageDrags;
    QList<double> pageEnds;
    QList<double> stripOffsets;
    QList<double> stripEnds;
    QList<int> daySteps;

    bool isExpanded() const override { return expanded; }
    bool isCalendarOut() const override { return calendarOut; }
    bool hasVolume() const override { return volume; }
    double volumeLevel() const override { return level; }
    void setVolume(double l) override { level = l; }
    void dragPages(double total) override { pageDrags.append(total); }
    void endPageDrag(double projected) override { pageEnds.append(projected); }
    bool hasDayStrip() const override { return strip; }
    void setStripOffset(double offset) override { stripOffsets.append(offset); }
    void endStripDrag(double projected) override { stripEnds.append(projected); }
    void stepDays(int days) override { daySteps.append(days); }
};

using Phase = ScrollInput::Phase;

ScrollInput pad(Phase phase, double dx, double dy, bool overVolume = false, bool overStrip = false)
{
    ScrollInput in;
    in.phase = phase;
    in.delta = {dx, dy};
    in.precise = true;
    in.overVolume = overVolume;
    in.overDayStrip = overStrip;
    return in;
}

ScrollInput wheel(double dx, double dy, bool inverted = false, bool overVolume = true, bool overStrip = false)
{
    ScrollInput in;
    in.delta = {dx, dy};
    in.inverted = inverted;
    in.overVolume = overVolume;
    in.overDayStrip = overStrip;
    return in;
}

} // namespace

class tst_Swipe : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Classic wheels send 120 units a notch, high-resolution ones (libinput,
    // XWayland) eight events of 15: both step once a notch.
    void wheelStepsOncePerNotch_data()
    {
        QTest::addColumn<QList<QPointF>>("deltas");
        QTest::addColumn<bool>("inverted");
        QTest::addColumn<bool>("overStrip");
        QTest::addColumn<double>("level");
        QTest::addColumn<QList<int>>("days");
        const auto row = [](const char *name, const QList<QPointF> &deltas, double level, bool inverted = false,
                            bool overStrip = false, const QList<int> &days = {}) {
            QTest::newRow(name) << deltas << inverted << overStrip << level << days;
        };
        const QList<QPointF> hiResUp(8, QPointF(0, 15));
        const QList<QPointF> hiResDown(8, QPointF(0, -15));
        row("classic notch up", {{0, 120}}, 0.5625);
        row("classic notch down", {{0, -120}}, 0.4375);
        row("hi-res notch up", hiResUp, 0.5625);
        row("hi-res half notch waits", hiResUp.mid(0, 4), 0.5);
        row("two notches in one event", {{0, 240}}, 0.625);
        row("turning back starts over", {{0, 60}, {0, -60}, {0, -60}}, 0.4375);
        row("horizontal wheel right raises", {{-120, 0}}, 0.5625);
        row("inverted device: vertical undone", {{0, 120}}, 0.4375, true);
        row("tie goes to the vertical axis", {{-120, -120}}, 0.4375);
        row("zero delta is consumed", {{0, 0}}, 0.5);
        row("hi-res notch over the strip", hiResUp, 0.5, false, true, {-1});
        row("hi-res notch back over the strip", hiResDown, 0.5, false, true, {1});
        row("classic notches over the strip", {{0, 120}, {0, -120}, {0, -120}}, 0.5, false, true, {-1, 1, 1});
    }
    void wheelStepsOncePerNotch()
    {
        QFETCH(QList<QPointF>, deltas);
        QFETCH(bool, inverted);
        QFETCH(bool, overStrip);
        QFETCH(double, level);
        QFETCH(QList<int>, days);
        Recorder targets;
        targets.calendarOut = overStrip;
        Swipe swipe;
        for (const QPointF &d : deltas)
            QVERIFY(swipe.handle(wheel(d.x(), d.y(), inverted, !overStrip, overStrip), targets));
        QCOMPARE(targets.level, level);
        QCOMPARE(targets.daySteps, days);
    }

    void trackpadOverVolumeOwnsItsGesture()
    {
        Recorder targets;
        Swipe swipe;
        QVERIFY(swipe.handle(pad(Phase::Began, 0, 0, true), targets));
        QVERIFY(swipe.handle(pad(Phase::Changed, 0, 30, true), targets));
        QCOMPARE(targets.level, 0.6);
        // The fingers left the wedge, but the gesture started there.
        QVERIFY(swipe.handle(pad(Phase::Changed, 0, -60), targets));
        QCOMPARE(targets.level, 0.4);
        // Its glide is swallowed without moving the level.
        QVERIFY(swipe.handle(pad(Phase::Momentum, 0, 40), targets));
        QCOMPARE(targets.level, 0.4);
        QVERIFY(targets.pageDrags.isEmpty());
    }

    void horizontalSwipeTurnsPagesAndSwallowsItsGlide()
    {
        Recorder targets;
        Swipe swipe;
        QVERIFY(!swipe.handle(pad(Phase::Began, 0.2, 0.2), targets)); // too small to decide
        QVERIFY(swipe.handle(pad(Phase::Changed, -10, 3), targets));
        QVERIFY(swipe.handle(pad(Phase::Changed, -20, 30), targets)); // decided: stays horizontal
        QCOMPARE(targets.pageDrags, (QList<double>{-10, -30}));
        QVERIFY(swipe.handle(pad(Phase::Ended, 0, 0), targets));
        QCOMPARE(targets.pageEnds, (QList<double>{-30 + -20 * 12.0}));
        QVERIFY(swipe.handle(pad(Phase::Momentum, -5, 0), targets));
    }

    void verticalSwipeIsLeftToTheLists()
    {
        Recorder targets;
        Swipe swipe;
        QVERIFY(!swipe.handle(pad(Phase::Began, 1, 8), targets));
        QVERIFY(!swipe.handle(pad(Phase::Changed, -20, 8), targets));
        QVERIFY(!swipe.handle(pad(Phase::Ended, 0, 0), targets));
        QVERIFY(!swipe.handle(pad(Phase::Momentum, 0, 8), targets));
        QVERIFY(targets.pageDrags.isEmpty() && targets.pageEnds.isEmpty());
    }

    void swipesOverTheDayStripMoveDays()
    {
        Recorder targets;
        targets.calendarOut = true;
        Swipe swipe;
        QVERIFY(swipe.handle(pad(Phase::Began, -4, 0, false, true), targets));
        QVERIFY(swipe.handle(pad(Phase::Changed, -6, 0), targets));
        QVERIFY(swipe.handle(pad(Phase::Ended, 0, 0), targets));
        QCOMPARE(targets.stripOffsets, (QList<double>{-4, -10}));
        QCOMPARE(targets.stripEnds, (QList<double>{-10 - 6 * 12.0}));
        QVERIFY(targets.pageDrags.isEmpty());

        // Without the calendar out the strip is not there.
        targets.calendarOut = false;
        QVERIFY(!swipe.handle(wheel(0, 120, false, false, true), targets));
    }

    void closedNotchLetsEverythingPass()
    {
        Recorder targets;
        targets.expanded = false;
        Swipe swipe;
        QVERIFY(!swipe.handle(wheel(0, 120), targets));
        QVERIFY(!swipe.handle(pad(Phase::Changed, -30, 0), targets));
        // Open, a wheel over neither the volume nor the day strip passes on.
        targets.expanded = true;
        QVERIFY(!swipe.handle(wheel(0, 120, false, false), targets));
        QCOMPARE(targets.level, 0.5);
    }

    void pageOpacityFollowsDistance_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<int>("visible");
        QTest::addColumn<double>("offset");
        QTest::addColumn<double>("opacity");
        QTest::newRow("visible page") << 0 << 0 << 0.0 << 1.0;
        QTest::newRow("neighbour at rest") << 1 << 0 << 0.0 << 0.0;
        QTest::newRow("neighbour half dragged in") << 1 << 0 << -265.0 << 0.3;
        QTest::newRow("visible page half dragged out") << 0 << 0 << -265.0 << 0.3;
        QTest::newRow("gone past 1/1.4 of a page") << 0 << 0 << -400.0 << 0.0;
    }
    void pageOpacityFollowsDistance()
    {
        QFETCH(int, page);
        QFETCH(int, visible);
        QFETCH(double, offset);
        QFETCH(double, opacity);
        QCOMPARE(qRound(NookLayout::pageOpacity(530, page, visible, offset) * 1000) / 1000.0, opacity);
    }

    void videoNeverShowsTheWings_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("app");
        QTest::addColumn<bool>("playing");
        QTest::addColumn<int>("expected"); // -1 none, 0 paused, 1 playing
        QTest::newRow("music plays") << QStringLiteral("Blue in Green") << QStringLiteral("org.gnome.Rhythmbox3") << true << 1;
        QTest::newRow("music paused") << QStringLiteral("Blue in Green") << QStringLiteral("spotify") << false << 0;
        QTest::newRow("a browser") << QStringLiteral("Lecture") << QStringLiteral("firefox") << true << -1;
        QTest::newRow("title says video") << QStringLiteral("Music VIDEO (live)") << QStringLiteral("spotify") << true << -1;
    }
    void videoNeverShowsTheWings()
    {
        QFETCH(QString, title);
        QFETCH(QString, app);
        QFETCH(bool, playing);
        QFETCH(int, expected);
        const auto result = NotchWindowController::wingsPlayback(WingsTrack{title, app, playing},
                                                                 {QStringLiteral("firefox"), QStringLiteral("mpv")});
        QCOMPARE(result ? int(*result) : -1, expected);
        QVERIFY(!NotchWindowController::wingsPlayback(std::nullopt, {}));
    }
};

QTEST_GUILESS_MAIN(tst_Swipe)
#include "tst_Swipe.moc"
