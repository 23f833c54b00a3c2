#include "app/NookSettings.h"
#include "core/ManualClock.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "notch/ScreenSpace.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>
#include <vector>

// A 1920×1080 screen with a 28-point top panel. In Qt's coordinates the
// closed notch spans x 865…1055 (857…1063 with slop) and y 0…28; the open
// centre page spans x 695…1225 and y 0…148, its visible walls 703…1217.
class tst_NotchViewModel : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<NookSettings> m_settings;
    std::unique_ptr<ManualClock> m_clock;
    std::unique_ptr<NotchViewModel> m_model;

    static NotchGeometry geometry(double width = 1920)
    {
        return NotchGeometry(QSizeF(190, 28), false, ScreenSpace::fromQt(QRectF(0, 0, width, 1080)));
    }
    // Pointer positions are given in Qt's coordinates, as the panel sees them.
    void move(double x, double y) { m_model->pointerMoved(ScreenSpace::fromQt(QPointF(x, y))); }
    void moveInsideNotch() { move(960, 10); }
    void moveAway() { move(960, 600); }
    void open()
    {
        m_model->expand();
        move(960, 60);
    }
    NotchViewModel &model() { return *m_model; }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_defaults = std::make_unique<UserDefaults>(m_dir->filePath(QStringLiteral("Tarnwick.conf")));
        m_settings = std::make_unique<NookSettings>(*m_defaults);
        m_clock = std::make_unique<ManualClock>();
        m_model = std::make_unique<NotchViewModel>(geometry(), *m_settings, *m_clock);
        m_model->setMirrorAvailable(true);
    }
    void cleanup()
    {
        m_model.reset();
        m_clock.reset();
        m_settings.reset();
        m_defaults.reset();
        m_dir.reset();
    }

    void hoverOpensOnlyAfterTheDwell()
    {
        QSignalSpy states(m_model.get(), &NotchViewModel::stateChanged);
        moveInsideNotch();
        m_clock->advance(0.11);
        QVERIFY(!model().isExpanded());
        m_clock->advance(0.01);
        QVERIFY(model().isExpanded());
        QCOMPARE(states.count(), 1);
        QCOMPARE(model().outlineAnimation(), NotchViewModel::kOpenSpring);
    }

    void passingThroughNeverOpens()
    {
        moveInsideNotch();
        m_clock->advance(0.1);
        moveAway();
        m_clock->advance(2);
        QVERIFY(!model().isExpanded());
        // The slop counts as inside while closed, the top pixel row too.
        move(1060, 0);
        m_clock->advance(0.12);
        QVERIFY(model().isExpanded());
    }

    void closesOnlyAfterThePointerStaysAway()
    {
        open();
        moveAway();
        m_clock->advance(0.39);
        move(960, 100);
        m_clock->advance(1);
        QVERIFY(model().isExpanded());
        moveAway();
        m_clock->advance(0.4);
        QVERIFY(!model().isExpanded());
        QCOMPARE(model().outlineAnimation(), NotchViewModel::kCloseSpring);
    }

    // Every part of the outline (state, rectangle, radii, the content fade
    // that follows the state) is announced only after the spring of its own
    // change: the first opening does not snap, closing does not overshoot.
    void outlineMovesOnTheSpringOfItsOwnChange_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<Spring>("spring");
        QTest::newRow("first opening") << "open" << NotchViewModel::kOpenSpring;
        QTest::newRow("closing") << "close" << NotchViewModel::kCloseSpring;
        QTest::newRow("drawer") << "drawer" << NotchViewModel::kDrawerSpring;
        QTest::newRow("peek") << "peek" << NotchViewModel::kPeekInSpring;
        QTest::newRow("wings") << "wings" << NotchViewModel::kPlaybackSpring;
        // The user asked the desktop for less motion.
        QTest::newRow("opening with less motion") << "open, reduced" << Spring();
        QTest::newRow("drawer with less motion") << "drawer, reduced" << Spring();
    }
    void outlineMovesOnTheSpringOfItsOwnChange()
    {
        QFETCH(QString, change);
        QFETCH(Spring, spring);
        model().setReduceMotion(change.endsWith(QLatin1String(", reduced")));
        change.remove(QLatin1String(", reduced"));
        if (change == QLatin1String("close") || change == QLatin1String("drawer"))
            open();
        QList<Spring> heard;
        QObject listener;
        for (auto signal : {&NotchViewModel::stateChanged, &NotchViewModel::shapeRectChanged,
                            &NotchViewModel::radiiChanged, &NotchViewModel::drawerChanged,
                            &NotchViewModel::peekChanged, &NotchViewModel::showsPlaybackChanged})
            connect(m_model.get(), signal, &listener, [&] { heard.append(model().outlineAnimation()); });
        if (change == QLatin1String("open")) {
            moveInsideNotch();
            m_clock->advance(0.12);
        } else if (change == QLatin1String("close")) {
            model().collapse();
        } else if (change == QLatin1String("drawer")) {
            move(1220, 60);
            m_clock->advance(0.11);
        } else if (change == QLatin1String("peek")) {
            model().showPeek({AirPodsLevels{}}, 4);
        } else {
            model().playbackChanged(true);
        }
        QVERIFY(heard.size() >= 2);
        for (const Spring &s : heard)
            QCOMPARE(s, spring);
    }

    void outlineCorners_data()
    {
        QTest::addColumn<bool>("open");
        QTest::addColumn<bool>("physical");
        QTest::addColumn<double>("notchHeight");
        QTest::addColumn<double>("top");
        QTest::addColumn<double>("bottom");
        QTest::newRow("closed simulated: a pill") << false << false << 28.0 << 6.0 << 14.0;
        QTest::newRow("closed simulated under a tall panel") << false << false << 40.0 << 6.0 << 20.0;
        QTest::newRow("closed real housing") << false << true << 32.0 << 6.0 << 10.0;
        QTest::newRow("open simulated") << true << false << 28.0 << 8.0 << 22.0;
        QTest::newRow("open real housing") << true << true << 32.0 << 8.0 << 22.0;
    }
    void outlineCorners()
    {
        QFETCH(bool, open);
        QFETCH(bool, physical);
        QFETCH(double, notchHeight);
        QFETCH(double, top);
        QFETCH(double, bottom);
        const NotchGeometry g(QSizeF(190, notchHeight), physical, ScreenSpace::fromQt(QRectF(0, 0, 1512, 982)));
        const auto radii = NotchViewModel::radii(open, g);
        QCOMPARE(radii.top, top);
        QCOMPARE(radii.bottom, bottom);
    }

    void drawersFollowTheEdgeStrips_data()
    {
        QTest::addColumn<QList<double>>("path"); // x positions, 0.05 s apart, at y 60
        QTest::addColumn<double>("wait");
        QTest::addColumn<int>("expected");
        using D = NotchViewModel::Drawer;
        QTest::newRow("not before the dwell") << QList<double>{1220} << 0.05 << int(D::None);
        QTest::newRow("strip left within the dwell") << QList<double>{1220, 960} << 0.2 << int(D::None);
        // Passing from one strip to the other keeps the first target.
        QTest::newRow("pending keeps its first target") << QList<double>{1220, 700} << 0.11 << int(D::Calendar);
        QTest::newRow("calendar keeps its 150-point band") << QList<double>{1220, 1220, 1220, 1067} << 0.5 << int(D::Calendar);
        QTest::newRow("beyond the band closes at once") << QList<double>{1220, 1220, 1220, 1066} << 0.0 << int(D::None);
        QTest::newRow("mirror keeps its band") << QList<double>{700, 700, 700, 840} << 0.5 << int(D::Mirror);
        QTest::newRow("mirror hands over to the calendar") << QList<double>{700, 700, 700, 1220} << 0.11 << int(D::Calendar);
    }
    void drawersFollowTheEdgeStrips()
    {
        QFETCH(QList<double>, path);
        QFETCH(double, wait);
        QFETCH(int, expected);
        open();
        for (double x : path) {
            move(x, 60);
            m_clock->advance(0.05);
        }
        m_clock->advance(wait);
        QCOMPARE(int(model().drawer()), expected);
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
            move(windowX + x, 80);
            m_clock->advance(0.11);
            return model().drawer();
        };
        using D = NotchViewModel::Drawer;
        for (double x = 832; x <= 870; x += 1)
            QVERIFY2(drawerAt(x) == D::Calendar, qPrintable(QString::number(x)));
        for (double x = 340; x <= 378; x += 1)
            QVERIFY2(drawerAt(x) == D::Mirror, qPrintable(QString::number(x)));
        QCOMPARE(drawerAt(831), D::None);
        QCOMPARE(drawerAt(379), D::None);
    }

    void drawerOutWidensTheOutline()
    {
        open();
        move(1220, 60);
        m_clock->advance(0.11);
        QCOMPARE(model().shapeRect(), QRectF(340, 0, 530 + 340, 148));
        QCOMPARE(model().outlineAnimation(), NotchViewModel::kDrawerSpring);
        move(1220, 60); // keep the band
        move(860, 60);
        move(700, 60);
        m_clock->advance(0.11);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::Mirror);
        QCOMPARE(model().shapeRect(), QRectF(0, 0, 530 + 340, 148));
        // The pointer still over the mirror drawer is inside the open outline.
        move(500, 60);
        m_clock->advance(1);
        QVERIFY(model().isExpanded());
    }

    void drawersRespectSwitchesAndRoom()
    {
        m_settings->setShowsCalendar(false);
        open();
        move(1220, 60);
        m_clock->advance(1);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::None);

        model().update(geometry(1000));
        QCOMPARE(model().geometry().drawerWidth(), 223.0);
        model().update(geometry(540));
        QCOMPARE(model().geometry().drawerWidth(), 0.0);
        move(15, 60);
        m_clock->advance(1);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::None);

        // Switching a drawer off while it is out puts it away.
        model().update(geometry());
        move(700, 60);
        m_clock->advance(0.11);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::Mirror);
        m_settings->setShowsMirror(false);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::None);

        // Without a view for it, the left strip opens no empty drawer.
        m_settings->setShowsMirror(true);
        model().setMirrorAvailable(false);
        move(960, 60);
        move(700, 60);
        m_clock->advance(1);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::None);
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
        m_settings->setShowsTray(trayOn);
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
        move(1220, 60);
        m_clock->advance(0.11);
        model().show(NookPage::Tray);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::None);
        QCOMPARE(model().visibleIndex(), 1);
        QVERIFY(!model().isOnHomePage());
        // Drawers live on the home page only.
        move(1220, 60);
        m_clock->advance(1);
        QCOMPARE(model().drawer(), NotchViewModel::Drawer::None);

        QSignalSpy visible(m_model.get(), &NotchViewModel::visiblePageChanged);
        m_settings->setShowsTray(false);
        QCOMPARE(model().page(), NookPage::Tray);
        QCOMPARE(model().visiblePage(), std::optional(NookPage::Media));
        QCOMPARE(visible.count(), 1);
        m_settings->setShowsNowPlaying(false);
        QVERIFY(!model().hasVisiblePage());
        QVERIFY(model().isOnHomePage());
        QCOMPARE(model().visibleIndex(), 0);
    }

    void playbackWingsLingerAfterAPause()
    {
        QSignalSpy wings(m_model.get(), &NotchViewModel::showsPlaybackChanged);
        model().playbackChanged(false); // the first report passes, but nothing shows
        QVERIFY(!model().showsPlayback());
        model().playbackChanged(true);
        QVERIFY(model().showsPlayback());
        // The wings fill exactly the room the outline grew by.
        QCOMPARE(model().shapeRect(), model().leftWingRect().united(model().rightWingRect()));
        QCOMPARE(model().leftWingRect().width(), 44.0);
        model().playbackChanged(false);
        m_clock->advance(4.9);
        model().playbackChanged(true);
        m_clock->advance(10);
        QVERIFY(model().showsPlayback());
        QCOMPARE(wings.count(), 1);
        model().playbackChanged(false);
        model().playbackChanged(false); // repeated report changes nothing
        m_clock->advance(5);
        QVERIFY(!model().showsPlayback());
        model().playbackChanged(true);
        model().playbackChanged(std::nullopt);
        QVERIFY(!model().showsPlayback());
        QCOMPARE(wings.count(), 4);
        QCOMPARE(model().outlineAnimation(), NotchViewModel::kPlaybackSpring);
    }

    void peeksEndAfterTheirTimeOrOnOpening()
    {
        AirPodsLevels levels;
        levels.name = QStringLiteral("AirPods Pro");
        levels.left = 80;
        levels.right = 75;
        model().showPeek({levels}, 4);
        QVERIFY(model().hasPeek());
        QCOMPARE(model().shapeRect(), model().peekRect());
        QCOMPARE(model().peekRect().width(), 190 + 2 * 74.0);
        QCOMPARE(model().peekLevels().lowestOrNone(), 75);
        m_clock->advance(3.9);
        QVERIFY(model().hasPeek());
        m_clock->advance(0.1);
        QVERIFY(!model().hasPeek());
        QCOMPARE(model().outlineAnimation(), NotchViewModel::kPeekOutSpring);

        model().showPeek({levels}, 4);
        model().expand();
        QVERIFY(!model().hasPeek());
        model().showPeek({levels}, 4); // the open Nook never carries a peek
        QVERIFY(!model().hasPeek());
        model().collapse();
        m_clock->advance(10);
        QVERIFY(!model().hasPeek());
    }

    void typingHoldsTheNookOpen()
    {
        QList<bool> requests;
        model().onKeyboardRequest = [&](bool on) { requests.append(on); };
        int enters = 0;
        model().onEnterKey = [&] { ++enters; };
        open();
        model().beginTyping();
        model().beginTyping();
        moveAway();
        m_clock->advance(5);
        QVERIFY(model().isExpanded());
        model().enterKey();
        model().endTyping();
        model().enterKey(); // Return outside a field is not a save
        QCOMPARE(enters, 1);
        QCOMPARE(requests, (QList<bool>{true, false}));
        // Still held until released; released outside, the usual delay applies.
        moveAway();
        m_clock->advance(5);
        QVERIFY(model().isExpanded());
        model().releaseHold(ScreenSpace::fromQt(QPointF(960, 600)));
        m_clock->advance(0.39);
        QVERIFY(model().isExpanded());
        m_clock->advance(0.01);
        QVERIFY(!model().isExpanded());
    }

    void filesDraggedInOpenTheTray_data()
    {
        QTest::addColumn<bool>("trayOn");
        QTest::addColumn<int>("page");
        QTest::newRow("tray enabled") << true << int(NookPage::Tray);
        QTest::newRow("tray switched off") << false << int(NookPage::Media);
    }
    void filesDraggedInOpenTheTray()
    {
        QFETCH(bool, trayOn);
        QFETCH(int, page);
        m_settings->setShowsTray(trayOn);
        QList<int> expansions;
        model().onExpand = [&] { expansions.append(1); };
        model().setDropTargeted(true);
        QVERIFY(model().isExpanded());
        QCOMPARE(int(model().page()), page);
        if (trayOn)
            QCOMPARE(model().pageAnimation(), NotchViewModel::kTraySpring);
        model().setDropTargeted(false);
        QVERIFY(model().isExpanded());
        QCOMPARE(int(model().page()), page);
        QCOMPARE(expansions.size(), 1);
    }

    void settingTheSameValueNotifiesNobody()
    {
        std::vector<std::unique_ptr<QSignalSpy>> spies;
        const QMetaObject *meta = m_model->metaObject();
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.methodType() == QMetaMethod::Signal)
                spies.push_back(std::make_unique<QSignalSpy>(m_model.get(), method));
        }
        model().collapse();
        model().show(NookPage::Media);
        model().setDropZone(DropZone::Tray);
        model().setDropTargeted(false);
        model().update(geometry());
        model().endPeek();
        model().endTyping();
        model().setHoverOpenDelay(0.12);
        model().setCollapseDelay(0.4);
        model().playbackChanged(std::nullopt); // first report, wings already hidden
        for (const auto &spy : spies)
            QVERIFY2(spy->isEmpty(), spy->signal().constData());

        QVERIFY(spies.size() > 15);
        model().expand();
        QSignalSpy states(m_model.get(), &NotchViewModel::stateChanged);
        model().expand();
        QCOMPARE(states.count(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_NotchViewModel)
#include "tst_NotchViewModel.moc"
