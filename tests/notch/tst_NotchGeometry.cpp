#include "notch/AsahiNotchTable.h"
#include "notch/NotchGeometry.h"
#include "notch/NotchShape.h"
#include "notch/ScreenSource.h"
#include "notch/ScreenSpace.h"

#include <QPainterPath>
#include <QTest>

namespace {

// A screen as the platform would report it, in Qt's own coordinates
// (y down), converted at the boundary exactly as the app does.
ScreenReading screen(QRectF qtFrame, double topPanel, double housingWidth = 0, double housingHeight = 0)
{
    ScreenReading r;
    r.frame = ScreenSpace::fromQt(qtFrame);
    r.visibleFrame = ScreenSpace::fromQt(qtFrame.adjusted(0, topPanel, 0, 0));
    if (housingHeight > 0) {
        const double top = ScreenSpace::maxY(r.frame);
        const double side = (r.frame.width() - housingWidth) / 2;
        r.safeAreaTopInset = housingHeight;
        r.auxiliaryTopLeftArea = QRectF(r.frame.x(), top - housingHeight, side, housingHeight);
        r.auxiliaryTopRightArea = QRectF(r.frame.x() + side + housingWidth, top - housingHeight, side, housingHeight);
    }
    return r;
}

class ListSource : public ScreenSource
{
public:
    QList<ScreenReading> list;
    QList<ScreenReading> screens() const override { return list; }
};

} // namespace

class tst_NotchGeometry : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // "notch WxH, Nook WxH, drawer width, housing or simulated"
    void measures_data()
    {
        QTest::addColumn<ScreenReading>("reading");
        QTest::addColumn<bool>("force");
        QTest::addColumn<QString>("expected");
        const ScreenReading laptop = screen({0, 0, 1512, 982}, 37, 185, 37);
        ScreenReading halfHousing = laptop;
        halfHousing.auxiliaryTopRightArea.reset();
        QTest::newRow("14-inch laptop, 185-point housing") << laptop << false << "185x37 530x157 340 housing";
        QTest::newRow("housing wider than 270 widens the Nook") << screen({0, 0, 1800, 1169}, 37, 300, 37) << false << "300x37 560x157 340 housing";
        QTest::newRow("force switch ignores the housing") << laptop << true << "190x37 530x157 340 simulated";
        QTest::newRow("thin top panel still 24 points") << screen({0, 0, 1920, 1080}, 18) << false << "190x24 530x144 340 simulated";
        QTest::newRow("no top panel at all") << screen({1920, 0, 2560, 1440}, 0) << false << "190x24 530x144 340 simulated";
        QTest::newRow("tall top panel sets the height") << screen({0, 0, 1920, 1080}, 32) << false << "190x32 530x152 340 simulated";
        QTest::newRow("drawers shrink on a mid-size screen") << screen({0, 0, 1024, 768}, 28) << false << "190x28 530x148 235 simulated";
        QTest::newRow("narrow screen has no room for drawers") << screen({0, 0, 540, 960}, 28) << false << "190x28 530x148 0 simulated";
        QTest::newRow("inset without both side areas is simulated") << halfHousing << false << "190x37 530x157 340 simulated";
    }
    void measures()
    {
        QFETCH(ScreenReading, reading);
        QFETCH(bool, force);
        QFETCH(QString, expected);
        const NotchGeometry g = NotchGeometry::measure(reading, force);
        const auto size = [](QSizeF s) { return QStringLiteral("%1x%2").arg(s.width()).arg(s.height()); };
        QCOMPARE(QStringList({size(g.notchSize()), size(g.expandedSize()), QString::number(g.drawerWidth()),
                              QLatin1String(g.hasPhysicalNotch() ? "housing" : "simulated")}).join(QLatin1Char(' ')),
                 expected);
        QVERIFY(g == NotchGeometry(g.notchSize(), g.hasPhysicalNotch(), reading.frame));
    }

    void placesTheWindowAndConvertsRectangles()
    {
        // A second monitor to the right of the first, both top-aligned in Qt.
        const ScreenReading r = screen({1512, 0, 1920, 1080}, 0);
        const NotchGeometry g = NotchGeometry::measure(r, false);
        // Back in Qt's coordinates the window hangs from the screen's top, centred.
        QCOMPARE(ScreenSpace::toQt(g.windowFrame()), QRectF(1512 + (1920 - 1210) / 2.0, 0, 1210, 144));
        QCOMPARE(g.notchRect(), QRectF(1210 / 2.0 - 95, 0, 190, 24));
        QCOMPARE(g.leftDrawerRect(), QRectF(0, 0, 340, 144));
        QCOMPARE(g.rightDrawerRect(), QRectF(870, 0, 340, 144));

        // The open centre page: exact width, 2 points taller, reaching past
        // the top edge; the closed notch with slop is widened sideways only.
        const QRectF base = ScreenSpace::toQt(g.screenRect(g.baseRect(), 0));
        QCOMPARE(base, QRectF(1512 + 960 - 265, -2, 530, 146));
        const QRectF notch = g.screenRect(g.notchRect(), 8);
        QCOMPARE(ScreenSpace::toQt(notch), QRectF(1512 + 960 - 103, -2, 206, 26));
        // The top row of pixels of the screen is inside.
        QVERIFY(ScreenSpace::contains(notch, ScreenSpace::fromQt(QPointF(1512 + 960, 0))));
        QVERIFY(!ScreenSpace::contains(notch, ScreenSpace::fromQt(QPointF(1512 + 960, 25))));
    }

    void prefersTheScreenWithAHousing()
    {
        ListSource source;
        QVERIFY(!NotchGeometry::preferredScreen(source));
        source.list = {screen({0, 0, 1920, 1080}, 28), screen({1920, 0, 1512, 982}, 37, 185, 37)};
        source.list[1].name = QStringLiteral("eDP-1");
        QCOMPARE(NotchGeometry::preferredScreen(source)->name, QStringLiteral("eDP-1"));
        source.list.removeLast();
        QVERIFY(NotchGeometry::preferredScreen(source)->name.isEmpty());
    }

    // The housing's height in pixels on each machine, 0 where there is none.
    void findsTheAsahiHousing()
    {
        const auto height = [](QStringList compatible, QSize pixels) {
            const auto housing = AsahiNotchTable::housing(compatible, pixels);
            return housing ? housing->heightPixels : 0;
        };
        const QStringList pro14{QStringLiteral("apple,j314s"), QStringLiteral("apple,t6000"), QStringLiteral("apple,arm-platform")};
        QCOMPARE(height(pro14, {3024, 1964}), 74); // notch rows shown
        QCOMPARE(height(pro14, {3024, 1890}), 0); // 16:10, rows hidden
        QCOMPARE(height(pro14, {3840, 2160}), 0); // an external monitor
        QCOMPARE(height({QStringLiteral("apple,j413")}, {2560, 1664}), 64); // 13-inch Air
        QCOMPARE(height({QStringLiteral("apple,j313")}, {2560, 1600}), 0); // M1 Air, no notch
        QCOMPARE(height({}, {3024, 1964}), 0); // not an Apple machine
        // The device tree's list is NUL-separated.
        QCOMPARE(AsahiNotchTable::parseCompatible(QByteArray("apple,j314s\0apple,t6000\0", 24)),
                 (QStringList{QStringLiteral("apple,j314s"), QStringLiteral("apple,t6000")}));
    }

    void clampsTheRadii_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<QPointF>("radii"); // top, bottom
        QTest::addColumn<QPointF>("clamped");
        QTest::newRow("open Nook keeps its radii") << QRectF(0, 0, 530, 144) << QPointF(8, 22) << QPointF(8, 22);
        QTest::newRow("narrow: flares at most a quarter") << QRectF(0, 0, 20, 144) << QPointF(8, 22) << QPointF(5, 5);
        QTest::newRow("short: bottom below height minus top") << QRectF(0, 0, 190, 10) << QPointF(6, 22) << QPointF(5, 5);
        QTest::newRow("pill of a simulated notch") << QRectF(0, 0, 190, 24) << QPointF(6, 12) << QPointF(6, 12);
        QTest::newRow("negative radii are none") << QRectF(0, 0, 190, 24) << QPointF(-3, -1) << QPointF(0, 0);
    }
    void clampsTheRadii()
    {
        QFETCH(QRectF, rect);
        QFETCH(QPointF, radii);
        QFETCH(QPointF, clamped);
        const NotchShape::Radii r = NotchShape::clamped(rect, radii.x(), radii.y());
        QCOMPARE(QPointF(r.top, r.bottom), clamped);
    }

    // Flares melt into the top edge at the rectangle's full width; the body
    // below them is narrower by the top radius on each side.
    void drawsTheOutlineThroughItsCorners()
    {
        const QRectF rect(100, 0, 200, 40);
        const QPainterPath path = NotchShape::path(rect, 6, 10);
        // Ends of the moves, lines and quadratic curves (Qt stores each as a
        // cubic: the end is two elements after its start).
        QList<QPointF> ends;
        for (int i = 0; i < path.elementCount(); ++i) {
            const QPainterPath::Element e = path.elementAt(i);
            if (e.type != QPainterPath::CurveToDataElement)
                ends.append(e.type == QPainterPath::CurveToElement ? QPointF(path.elementAt(i + 2)) : QPointF(e));
        }
        if (ends.last() == ends.first()) // the closing line back to the start
            ends.removeLast();
        QCOMPARE(ends, (QList<QPointF>{{100, 0}, {106, 6}, {106, 30}, {116, 40}, {284, 40}, {294, 30}, {294, 6}, {300, 0}}));
        QVERIFY(path.contains(QPointF(200, 20)));
        QVERIFY(!path.contains(QPointF(103, 20)));
        QVERIFY(!path.contains(QPointF(107, 39.5)));
        QCOMPARE(path.boundingRect(), rect);
    }
};

QTEST_GUILESS_MAIN(tst_NotchGeometry)
#include "tst_NotchGeometry.moc"
