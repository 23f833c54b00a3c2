#include "camera/EdgeLight.h"
#include "core/ManualClock.h"
#include "notch/QtScreenSource.h"

#include "support/PrivateDisplay.h"

#include <QApplication>
#include <QMouseEvent>
#include <QProcess>
#include <QRasterWindow>
#include <QScopeGuard>
#include <QQuickView>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <cstdio>
#include <unistd.h>

Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

namespace {

// A plain window under the light that records where it was clicked.
class ClickTarget final : public QRasterWindow
{
public:
    QList<QPoint> clicks;

protected:
    void mousePressEvent(QMouseEvent *event) override { clicks.append(event->globalPosition().toPoint()); }
    void paintEvent(QPaintEvent *) override {}
};

} // namespace

// The light on a real X server: it covers the whole screen, it stays through
// a quick off-and-on, and every click passes through it to the window below.
class tst_EdgeLightE2E : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clicksPassThroughAndQuickFlickersStayLit()
    {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        ClickTarget below;
        below.setGeometry(screen);
        below.show();
        QVERIFY(QTest::qWaitForWindowExposed(&below));
        ManualClock clock;
        QtScreenSource screens;
        EdgeLight light(screens, clock);
        EdgeLight::setInstance(&light);
        const auto unset = qScopeGuard([] { EdgeLight::setInstance(nullptr); });
        light.setOn(true);
        QQuickView *window = light.window();
        QVERIFY(window && QTest::qWaitForWindowExposed(window));
        QCOMPARE(window->geometry(), screen);

        // On the tube itself and in the middle of the screen.
        for (const QPoint &p : {QPoint(30, 400), QPoint(640, 400)}) {
            QProcess::execute(QStringLiteral("/usr/bin/xdotool"), {QStringLiteral("mousemove"), QString::number(p.x()),
                                                                  QString::number(p.y()), QStringLiteral("click"), QStringLiteral("1")});
            QTRY_COMPARE(below.clicks.value(below.clicks.size() - 1), p);
        }
        QCOMPARE(below.clicks.size(), 2);

        // Off and on again within the fade: the window never goes.
        light.setOn(false);
        clock.advance(EdgeLight::fadeOutSeconds / 2);
        light.setOn(true);
        clock.advance(1);
        QVERIFY(window->isVisible());
        light.setOn(false);
        clock.advance(EdgeLight::fadeOutSeconds);
        QVERIFY(!window->isVisible());
        // Kept for the next time.
        light.setOn(true);
        QCOMPARE(light.window(), window);
        QTRY_VERIFY(window->isVisible());
    }
};

int main(int argc, char *argv[])
{
    if (access("/usr/bin/xdotool", X_OK) != 0) {
        std::fprintf(stderr, "FAIL: /usr/bin/xdotool is missing (Debian package xdotool)\n");
        return 1;
    }
    PrivateDisplay display; // says so when Xvfb is missing
    if (!display.start())
        return 1;
    qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication app(argc, argv);
    tst_EdgeLightE2E test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_EdgeLightE2E.moc"
