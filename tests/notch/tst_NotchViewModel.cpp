#include "app/NookSettings.h"
#include "core/ManualClock.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "notch/ScreenSpace.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <functional>
#include <map>
#include <memory>

using D = NotchViewModel::Drawer;

// A 1920×1080 screen with a 28-point top panel. In Qt's coordinates the
// closed notch spans x 865…1055 (857…1063 with slop) and y 0…28; the open
// centre page spans x 695…1225 and y 0…148, its visible walls 703…1217.
class tst_NotchViewModel : public QObject
{
    Q_OBJECT

    struct Fixture
    {
        QTemporaryDir dir;
        UserDefaults defaults{dir.filePath(QStringLiteral("Tarnwick.conf"))};
        NookSettings settings{defaults};
        ManualClock clock;
        NotchViewModel model{geometry(), settings, clock};
        QStringList log; // what the model asked of its owner, and wing changes
    };
    std::unique_ptr<Fixture> f;

    static NotchGeometry geometry(double width = 1920)
    {
        return NotchGeometry(QSizeF(190, 28), false, ScreenSpace::fromQt(QRectF(0, 0, width, 1080)));
    }
    // Pointer positions are given in Qt's coordinates, as the panel sees them.
    void move(double x, double y, double wait = 0)
    {
        f->model.pointerMoved(ScreenSpace::fromQt(QPointF(x, y)));
        f->clock.advance(wait);
    }
    void open()
    {
        f->model.expand();
        move(960, 60);
    }
    NotchViewModel &model() { return f->model; }

    // Steps: "x,y,seconds" moves the pointer (Qt coordinates) and lets time
    // pass, "+seconds" lets time pass, the rest are named below.
    void run(const QString &script)
    {
        AirPodsLevels levels;
        levels.left = 80;
        const std::map<QString, std::function<void()>> actions{
            {"open", [&] { open(); }}, {"expand", [&] { model().expand(); }}, {"collapse", [&] { model().collapse(); }},
            {"peek", [&] { model().showPeek({levels}, 4); }},
            {"play", [&] { model().playbackChanged(true); }}, {"pause", [&] { model().playbackChanged(false); }},
            {"stop", [&] { model().playbackChanged(std::nullopt); }},
            {"type", [&] { model().beginTyping(); }}, {"typed", [&] { model().endTyping(); }},
            {"enter", [&] { model().enterKey(); }},
            {"release", [&] { model().releaseHold(ScreenSpace::fromQt(QPointF(960, 600))); }},
            {"drop", [&] { model().setDropTargeted(true); }}, {"undrop", [&] { model().setDropTargeted(false); }},
            {"narrow", [&] { model().update(geometry(540)); }},
            {"calendar-off", [&] { f->settings.setShowsCalendar(false); }},
            {"mirror-off", [&] { f->settings.setShowsMirror(false); }},
            {"tray-off", [&] { f->settings.setShowsTray(false); }},
            {"no-mirror-view", [&] { model().setMirrorAvailable(false); }},
            {"reduce", [&] { model().setReduceMotion(true); }}};
        for (const QString &step : script.split(QLatin1Char(' '))) {
            const QStringList v = step.split(QLatin1Char(','));
            if (v.size() == 3)
                move(v[0].toDouble(), v[1].toDouble(), v[2].toDouble());
            else if (step.startsWith(QLatin1Char('+')))
                f->clock.advance(step.mid(1).toDouble());
            else
                actions.at(step)();
        }
    }
    // "open|closed drawer page outline [peek] [wings] log…"; a peek or the
    // wings must fill exactly the room the outline grew by.
    QString describe()
    {
        const QRectF r = model().shapeRect();
        QStringList out{QLatin1String(model().isExpanded() ? "open" : "closed"),
                        QStringList{"-", "mirror", "calendar"}.at(int(model().drawer())),
                        QStringLiteral("page%1").arg(int(model().page())),
                        QStringLiteral("%1,%2,%3,%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height())};
        if (model().hasPeek())
            out << QLatin1String(r == model().peekRect() ? "peek" : "peek-misplaced");
        if (model().showsPlayback())
            out << QLatin1String(r == model().leftWingRect().united(model().rightWingRect()) ? "wings" : "wings-misplaced");
        return (out + f->log).join(QLatin1Char(' '));
    }

private Q_SLOTS:
    void init()
    {
        f = std::make_unique<Fixture>();
        model().setMirrorAvailable(true);
        model().onKeyboardRequest = [this](bool on) { f->log << QLatin1String(on ? "kb+" : "kb-"); };
        model().onEnterKey = [this] { f->log << QStringLiteral("enter"); };
        model().onExpand = [this] { f->log << QStringLiteral("expand"); };
        connect(&model(), &NotchViewModel::showsPlaybackChanged, [this] { f->log << QStringLiteral("wings"); });
    }
    void cleanup() { f.reset(); }

    // On the 1920-point screen the window is 1210 wide: the centre page is
    // 340…870 in window coordinates, the closed notch 510…700; moves at
    // y 60 are inside the open Nook, at y 600 far away.
    void behaviour_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char *script, const char *expected) {
            QTest::newRow(name) << QString::fromLatin1(script) << QString::fromLatin1(expected);
        };
        // The slop and the top pixel row count as inside while closed.
        row("hover within the dwell", "960,10,0.11", "closed - page0 510,0,190,28");
        row("hover after the dwell", "960,10,0.12", "open - page0 340,0,530,148 expand");
        row("passing through", "960,10,0.1 960,600,2", "closed - page0 510,0,190,28");
        row("slop on the top row", "1060,0,0.12", "open - page0 340,0,530,148 expand");
        row("back before the delay", "open 960,600,0.39 960,100,1", "open - page0 340,0,530,148 expand");
        row("away for the delay", "open 960,600,0.4", "closed - page0 510,0,190,28 expand");

        // Passing from one strip to the other keeps the first target; an
        // open drawer keeps a 150-point band.
        row("strip within the dwell", "open 1220,60,0.1", "open - page0 340,0,530,148 expand");
        row("strip left within the dwell", "open 1220,60,0.05 960,60,0.25", "open - page0 340,0,530,148 expand");
        row("pending keeps its first target", "open 1220,60,0.05 700,60,0.16", "open calendar page0 340,0,870,148 expand");
        row("calendar keeps its band", "open 1220,60,0.15 1067,60,0.5", "open calendar page0 340,0,870,148 expand");
        row("beyond the band closes at once", "open 1220,60,0.15 1066,60,0", "open - page0 340,0,530,148 expand");
        row("mirror keeps its band", "open 700,60,0.15 840,60,0.5", "open mirror page0 0,0,870,148 expand");
        row("over the mirror drawer is inside", "open 700,60,0.15 500,60,1", "open mirror page0 0,0,870,148 expand");
        row("mirror hands over to the calendar", "open 700,60,0.15 1220,60,0.16", "open calendar page0 340,0,870,148 expand");
        row("calendar switched off", "calendar-off open 1220,60,1", "open - page0 340,0,530,148 expand");
        row("no room for drawers", "narrow open 15,60,1", "open - page0 0,0,530,148 expand");
        row("switched off while out", "open 700,60,0.11 mirror-off", "open - page0 340,0,530,148 expand");
        // Without a view for it, the left strip opens no empty drawer.
        row("no mirror view", "no-mirror-view open 700,60,1", "open - page0 340,0,530,148 expand");

        // Wings: a first pause shows nothing, a pause lingers 5 s.
        row("first report paused", "pause", "closed - page0 510,0,190,28");
        row("playing", "pause play", "closed - page0 466,0,278,28 wings wings");
        row("a pause lingers", "play pause +4.9 play +10", "closed - page0 466,0,278,28 wings wings");
        row("a pause ends", "play pause pause +5", "closed - page0 510,0,190,28 wings wings");
        row("no player hides at once", "play stop", "closed - page0 510,0,190,28 wings wings");

        // A peek lasts its time and never shows on the open Nook.
        row("peek in its time", "peek +3.9", "closed - page0 436,0,338,28 peek");
        row("peek after its time", "peek +4", "closed - page0 510,0,190,28");
        row("opening ends a peek", "peek expand", "open - page0 340,0,530,148 expand");
        row("no peek on the open Nook", "expand peek collapse", "closed - page0 510,0,190,28 expand");

        // Typing holds the Nook open until the hold is released; Return
        // outside a field is not a save.
        row("typing holds it open", "open type type 960,600,5 enter typed enter", "open - page0 340,0,530,148 expand kb+ enter kb-");
        row("held after typing", "open type typed 960,600,5", "open - page0 340,0,530,148 expand kb+ kb-");
        row("released outside", "open type typed release +0.39", "open - page0 340,0,530,148 expand kb+ kb-");
        row("then the usual delay", "open type typed release +0.4", "closed - page0 510,0,190,28 expand kb+ kb-");

        // Files dragged in open the tray, once, and it stays open.
        row("files dragged in", "drop undrop", "open - page1 340,0,530,148 expand");
        row("files dragged in, tray off", "tray-off drop undrop", "open - page0 340,0,530,148 expand");
    }
    void behaviour()
    {
        QFETCH(QString, script);
        QFETCH(QString, expected);
        run(script);
        QCOMPARE(describe(), expected);
    }

    // Every part of the outline (state, rectangle, radii, the content fade
    // that follows the state) is announced only after the spring of its own
    // change: the first opening does not snap, closing does not overshoot.
    void outlineMovesOnTheSpringOfItsOwnChange_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<QString>("change");
        QTest::addColumn<Spring>("spring");
        QTest::newRow("first opening") << "+0" << "960,10,0.12" << NotchViewModel::kOpenSpring;
        QTest::newRow("closing") << "open" << "collapse" << NotchViewModel::kCloseSpring;
        QTest::newRow("drawer") << "open" << "1220,60,0.11" << NotchViewModel::kDrawerSpring;
        QTest::newRow("peek") << "+0" << "peek" << NotchViewModel::kPeekInSpring;
        QTest::newRow("wings") << "+0" << "play" << NotchViewModel::kPlaybackSpring;
        // The user asked the desktop for less motion.
        QTest::newRow("opening with less motion") << "reduce" << "960,10,0.12" << Spring();
        QTest::newRow("drawer with less motion") << "reduce open" << "1220,60,0.11" << Spring();
    }
    void outlineMovesOnTheSpringOfItsOwnChange()
    {
        QFETCH(QString, before);
        QFETCH(QString, change);
        QFETCH(Spring, spring);
        run(before);
        QList<Spring> heard;
        for (auto signal : {&NotchViewModel::stateChanged, &NotchViewModel::shapeRectChanged,
                            &NotchViewModel::radiiChanged, &NotchViewModel::drawerChanged,
                            &NotchViewModel::peekChanged, &NotchViewModel::showsPlaybackChanged})
            connect(&model(), signal, this, [&] { heard.append(model().outlineAnimation()); });
        run(change);
        disconnect(&model(), nullptr, this, nullptr);
        QVERIFY(heard.size() >= 2);
        QCOMPARE(heard, QList<Spring>(heard.size(), spring));
    }

    // Half the notch height closed under a simulated notch, 10 under a real
    // housing, 22 open; top flares 6 closed and 8 open.
    void outlineCorners()
    {
        const auto radii = [](bool open, bool physical, double height) {
            const NotchGeometry g(QSizeF(190, height), physical, ScreenSpace::fromQt(QRectF(0, 0, 1512, 982)));
            const NotchViewModel::Radii r = NotchViewModel::radii(open, g);
            return QPointF(r.top, r.bottom);
        };
        QCOMPARE(radii(false, false, 28), QPointF(6, 14));
        QCOMPARE(radii(false, false, 40), QPointF(6, 20));
        QCOMPARE(radii(false, true, 32), QPointF(6, 10));
        QCOMPARE(radii(true, false, 28), QPointF(8, 22));
        QCOMPARE(radii(true, true, 32), QPointF(8, 22));
    }

    // As a user meets it, on a 1512-point screen with the Nook open: the
    // window is 1210 wide, the centre page 340…870 in window coordinates,
    // its visible walls at 348 and 862. Every point of each strip, from 30
    // points inside the wall out to the outline's edge, opens its drawer;
    // the point just inside does not.
    void drawerStripsSpanTheirWholeWidth()
    {
        const NotchGeometry screen(QSizeF(185, 24), false, ScreenSpace::fromQt(QRectF(0, 0, 1512, 982)));
        model().update(screen);
        const double windowX = ScreenSpace::minX(screen.windowFrame());
        QCOMPARE(windowX, 151.0);
        auto drawerAt = [&](double x) {
            model().collapse();
            open();
            move(windowX + x, 80, 0.11);
            return model().drawer();
        };
        for (double x = 832; x <= 870; x += 1)
            QVERIFY2(drawerAt(x) == D::Calendar, qPrintable(QString::number(x)));
        for (double x = 340; x <= 378; x += 1)
            QVERIFY2(drawerAt(x) == D::Mirror, qPrintable(QString::number(x)));
        QCOMPARE(drawerAt(831), D::None);
        QCOMPARE(drawerAt(379), D::None);
    }

    void pagesTurnByDrag_data()
    {
        QTest::addColumn<bool>("trayOn");
        QTest::addColumn<double>("drag");
        QTest::addColumn<double>("liveOffset");
        QTest::addColumn<double>("projected");
        QTest::addColumn<int>("page");
        QTest::newRow("one page rubber-bands left") << false << -100.0 << -30.0 << -400.0 << int(NookPage::Media);
        QTest::newRow("one page rubber-bands right") << false << 100.0 << 30.0 << 400.0 << int(NookPage::Media);
        QTest::newRow("flick turns the page") << true << -50.0 << -50.0 << -200.0 << int(NookPage::Tray);
        QTest::newRow("small flick snaps back") << true << -50.0 << -50.0 << -100.0 << int(NookPage::Media);
        QTest::newRow("past half a page turns though flicked back") << true << -300.0 << -300.0 << 50.0 << int(NookPage::Tray);
        QTest::newRow("first page rubber-bands to the right") << true << 100.0 << 30.0 << 300.0 << int(NookPage::Media);
    }
    void pagesTurnByDrag()
    {
        QFETCH(bool, trayOn);
        QFETCH(double, drag);
        QFETCH(double, liveOffset);
        QFETCH(double, projected);
        QFETCH(int, page);
        f->settings.setShowsTray(trayOn);
        open();
        model().dragPages(drag);
        QCOMPARE(model().pageDragOffset(), liveOffset);
        QVERIFY(model().pageAnimation().isImmediate());
        model().endPageDrag(projected);
        QCOMPARE(int(model().page()), page);
        QCOMPARE(model().pageDragOffset(), 0.0);
        QCOMPARE(model().pageAnimation(), NotchViewModel::kPageSpring);
    }

    void pagesCloseDrawersAndFallBack()
    {
        open();
        move(1220, 60, 0.11);
        model().show(NookPage::Tray);
        QCOMPARE(model().drawer(), D::None);
        QCOMPARE(model().visibleIndex(), 1);
        QVERIFY(!model().isOnHomePage());
        // Drawers live on the home page only.
        move(1220, 60, 1);
        QCOMPARE(model().drawer(), D::None);

        QSignalSpy visible(&model(), &NotchViewModel::visiblePageChanged);
        f->settings.setShowsTray(false);
        QCOMPARE(model().page(), NookPage::Tray);
        QCOMPARE(model().visiblePage(), std::optional(NookPage::Media));
        QCOMPARE(visible.count(), 1);
        f->settings.setShowsNowPlaying(false);
        QVERIFY(!model().hasVisiblePage());
        QVERIFY(model().isOnHomePage());
        QCOMPARE(model().visibleIndex(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_NotchViewModel)
#include "tst_NotchViewModel.moc"
