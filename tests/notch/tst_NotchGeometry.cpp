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
    void measures_data()
    {
        QTest::addColumn<ScreenReading>("reading");
        QTest::addColumn<bool>("force");
        QTest::addColumn<QSizeF>("notch");
        QTest::addColumn<QSizeF>("expanded");
        QTest::addColumn<double>("drawer");
        QTest::addColumn<bool>("physical");

        const auto row = [](const char *name, const ScreenReading &reading, bool force, QSizeF notch, QSizeF expanded,
                            double drawer, bool physical) {
            QTest::newRow(name) << reading << force << notch << expanded << drawer << physical;
        };
        const ScreenReading laptop = screen({0, 0, 1512, 982}, 37, 185, 37);
        row("14-inch laptop, 185-point housing", laptop, false, {185, 37}, {530, 157}, 340, true);
        row("housing wider than 270 widens the Nook", screen({0, 0, 1800, 1169}, 37, 300, 37), false, {300, 37},
            {560, 157}, 340, true);
        row("force switch ignores the housing", laptop, true, {190, 37}, {530, 157}, 340, false);
        row("thin top panel still 24 points", screen({0, 0, 1920, 1080}, 18), false, {190, 24}, {530, 144}, 340, false);
        row("no top panel at all", screen({1920, 0, 2560, 1440}, 0), false, {190, 24}, {530, 144}, 340, false);
        row("tall top panel sets the height", screen({0, 0, 1920, 1080}, 32), false, {190, 32}, {530, 152}, 340, false);
        row("drawers shrink on a mid-size screen", screen({0, 0, 1024, 768}, 28), false, {190, 28}, {530, 148}, 235, false);
        row("narrow screen has no room for drawers", screen({0, 0, 540, 960}, 28), false, {190, 28}, {530, 148}, 0, false);
        ScreenReading halfHousing = laptop;
        halfHousing.auxiliaryTopRightArea.reset();
        row("inset without both side areas is simulated", halfHousing, false, {190, 37}, {530, 157}, 340, false);
    }
    void measures()
    {
        QFETCH(ScreenReading, reading);
        QFETCH(bool, force);
        QFETCH(QSizeF, notch);
        QFETCH(QSizeF, expanded);
        QFETCH(double, drawer);
        QFETCH(bool, physical);
        const NotchGeometry g = NotchGeometry::measure(reading, force);
        QCOMPARE(g.notchSize(), notch);
        QCOMPARE(g.expandedSize(), expanded);
        QCOMPARE(g.drawerWidth(), drawer);
        QCOMPARE(g.hasPhysicalNotch(), physical);
        QVERIFY(g == NotchGeometry(notch, physical, reading.frame));
    }

    void placesTheWindowAndConvertsRectangles()
    {
        // A second monitor to the right of the first, both top-aligned in Qt.
        const ScreenReading r = screen({1512, 0, 1920, 1080}, 0);
        const NotchGeometry g = NotchGeometry::measure(r, false);
        QCOMPARE(g.windowSize(), QSizeF(530 + 2 * 340, 144));
        // Back in Qt's coordinates the window hangs from the screen's top, centred.
        QCOMPARE(ScreenSpace::toQt(g.windowFrame()), QRectF(1512 + (1920 - 1210) / 2.0, 0, 1210, 144));
        QCOMPARE(g.notchRect(), QRectF(1210 / 2.0 - 95, 0, 190, 24));
        QCOMPARE(g.leftDrawerRect(), QRectF(0, 0, 340, 144));
        QCOMPARE(g.rightDrawerRect(), QRectF(870, 0, 340, 144));

        // The open centre page: exact width, 2 points taller, reaching past the top edge.
        const QRectF base = g.screenRect(g.baseRect(), 0);
        QCOMPARE(base.width(), 530.0);
        QCOMPARE(base.height(), 146.0);
        QCOMPARE(ScreenSpace::maxY(base), ScreenSpace::maxY(r.frame) + 2);
        QCOMPARE(ScreenSpace::minX(base), 1512 + 1920 / 2.0 - 265);
        // The closed notch with slop is widened sideways only, its bottom unchanged.
        const QRectF notch = g.screenRect(g.notchRect(), 8);
        QCOMPARE(notch.width(), 206.0);
        QCOMPARE(ScreenSpace::minY(notch), ScreenSpace::maxY(r.frame) - 24);
        // The top row of pixels of the screen is inside.
        QVERIFY(ScreenSpace::contains(notch, ScreenSpace::fromQt(QPointF(1512 + 960, 0))));
        QVERIFY(!ScreenSpace::contains(notch, ScreenSpace::fromQt(QPointF(1512 + 960, 25))));
    }

    void equalityIsExact()
    {
        const NotchGeometry a(QSizeF(190, 24), false, QRectF(0, -1080, 1920, 1080));
        const NotchGeometry b(QSizeF(190, 24), false, QRectF(0, -1080, 1920, 1080.0000001));
        QVERIFY(a == a);
        QVERIFY(!(a == b));
    }

    void prefersTheScreenWithAHousing()
    {
        ListSource source;
        QVERIFY(!NotchGeometry::preferredScreen(source));
        source.list = {screen({0, 0, 1920, 1080}, 28), screen({1920, 0, 1512, 982}, 37, 185, 37)};
        source.list[0].name = QStringLiteral("HDMI-1");
        source.list[1].name = QStringLiteral("eDP-1");
        QCOMPARE(NotchGeometry::preferredScreen(source)->name, QStringLiteral("eDP-1"));
        source.list.removeLast();
        QCOMPARE(NotchGeometry::preferredScreen(source)->name, QStringLiteral("HDMI-1"));
    }

    void findsTheAsahiHousing_data()
    {
        QTest::addColumn<QStringList>("compatible");
        QTest::addColumn<QSize>("pixels");
        QTest::addColumn<int>("height");
        const QStringList pro14{QStringLiteral("apple,j314s"), QStringLiteral("apple,t6000"), QStringLiteral("apple,arm-platform")};
        QTest::newRow("14-inch with notch rows shown") << pro14 << QSize(3024, 1964) << 74;
        QTest::newRow("14-inch at 16:10, rows hidden") << pro14 << QSize(3024, 1890) << 0;
        QTest::newRow("external monitor on the same machine") << pro14 << QSize(3840, 2160) << 0;
        QTest::newRow("13-inch Air") << QStringList{QStringLiteral("apple,j413")} << QSize(2560, 1664) << 64;
        QTest::newRow("M1 Air has no notch") << QStringList{QStringLiteral("apple,j313")} << QSize(2560, 1600) << 0;
        QTest::newRow("not an Apple machine") << QStringList{} << QSize(3024, 1964) << 0;
    }
    void findsTheAsahiHousing()
    {
        QFETCH(QStringList, compatible);
        QFETCH(QSize, pixels);
        QFETCH(int, height);
        const auto housing = AsahiNotchTable::housing(compatible, pixels);
        QCOMPARE(housing ? housing->heightPixels : 0, height);
    }

    void parsesTheDeviceTreeList()
    {
        QCOMPARE(AsahiNotchTable::parseCompatible(QByteArray("apple,j314s\0apple,t6000\0", 24)),
                 (QStringList{QStringLiteral("apple,j314s"), QStringLiteral("apple,t6000")}));
    }

    void clampsTheRadii_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<double>("top");
        QTest::addColumn<double>("bottom");
        QTest::addColumn<double>("clampedTop");
        QTest::addColumn<double>("clampedBottom");
        QTest::newRow("open Nook keeps its radii") << QRectF(0, 0, 530, 144) << 8.0 << 22.0 << 8.0 << 22.0;
        QTest::newRow("narrow: flares at most a quarter") << QRectF(0, 0, 20, 144) << 8.0 << 22.0 << 5.0 << 5.0;
        QTest::newRow("short: bottom below height minus top") << QRectF(0, 0, 190, 10) << 6.0 << 22.0 << 5.0 << 5.0;
        QTest::newRow("pill of a simulated notch") << QRectF(0, 0, 190, 24) << 6.0 << 12.0 << 6.0 << 12.0;
        QTest::newRow("negative radii are none") << QRectF(0, 0, 190, 24) << -3.0 << -1.0 << 0.0 << 0.0;
    }
    void clampsTheRadii()
    {
        QFETCH(QRectF, rect);
        QFETCH(double, top);
        QFETCH(double, bottom);
        QFETCH(double, clampedTop);
        QFETCH(double, clampedBottom);
        const NotchShape::Radii r = NotchShape::clamped(rect, top, bottom);
        QCOMPARE(r.top, clampedTop);
        QCOMPARE(r.bottom, clampedBottom);
    }

    void drawsTheOutlineThroughItsCorners()
    {
        const QRectF rect(100, 0, 200, 40);
        const QPainterPath path = NotchShape::path(rect, 6, 10);
        // move, four quadratic curves (each two elements in Qt's cubic form
        // plus its end), three lines, close.
        const QList<QPointF> expectedEnds{{100, 0}, {106, 6}, {106, 30}, {116, 40}, {284, 40}, {294, 30}, {294, 6}, {300, 0}};
        QList<QPointF> ends;
        for (int i = 0; i < path.elementCount(); ++i) {
            const QPainterPath::Element e = path.elementAt(i);
            if (e.type == QPainterPath::MoveToElement || e.type == QPainterPath::LineToElement)
                ends.append(QPointF(e.x, e.y));
            else if (e.type == QPainterPath::CurveToElement)
                ends.append(QPointF(path.elementAt(i + 2).x, path.elementAt(i + 2).y));
        }
        // The closing line back to the start adds the first point again.
        if (ends.size() > expectedEnds.size() && ends.last() == ends.first())
            ends.removeLast();
        QCOMPARE(ends, expectedEnds);
        // Flares melt into the top edge at the rectangle's full width; the
        // body below them is narrower by the top radius on each side.
        QVERIFY(path.contains(QPointF(200, 20)));
        QVERIFY(!path.contains(QPointF(103, 20)));
        QVERIFY(!path.contains(QPointF(107, 39.5)));
        QCOMPARE(path.boundingRect(), rect);
    }
};

QTEST_GUILESS_MAIN(tst_NotchGeometry)
#include "tst_NotchGeometry.moc"
