// The poster windows on a real X server with a real window manager
// (openbox), spread over two monitors.
#include "support/PrivateDisplay.h"

#include "musicmode/DesktopPoster.h"
#include "nowplaying/EncodedImage.h"

#include <QGuiApplication>
#include <QProcess>
#include <QRasterWindow>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QWindow>
#include <xcb/xcb.h>

namespace {

const QColor kWallpaper(0x33, 0x66, 0x99);
const QColor kCover(0xe0, 0x20, 0x20);

QStringList run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000))
        qWarning() << program << "did not finish";
    return QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
}

// Window ids from bottom to top, as the window manager stacks them.
QList<quint32> stacking()
{
    QList<quint32> ids;
    const QStringList out = run(QStringLiteral("xprop"), {"-root", "-notype", "_NET_CLIENT_LIST_STACKING"});
    if (out.isEmpty() || !out.first().contains(u'#'))
        return ids;
    for (const QString &id : out.first().section(u'#', 1).split(u',', Qt::SkipEmptyParts))
        ids.append(id.trimmed().toUInt(nullptr, 16));
    return ids;
}

xcb_connection_t *x11()
{
    return qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
}

xcb_window_t root()
{
    return xcb_setup_roots_iterator(xcb_get_setup(x11())).data->root;
}

// What the screen shows at a point of the whole desktop.
QColor rootPixel(const QPoint &point)
{
    return QGuiApplication::primaryScreen()->grabWindow(root(), point.x(), point.y(), 1, 1).toImage().pixelColor(0, 0);
}

// The deepest window that takes the pointer at a point: what a click there
// would reach.
quint32 windowTakingClickAt(const QPoint &point)
{
    xcb_connection_t *c = x11();
    xcb_window_t window = root();
    run(QStringLiteral("xdotool"), {"mousemove", QString::number(point.x()), QString::number(point.y())});
    for (;;) {
        xcb_query_pointer_reply_t *reply = xcb_query_pointer_reply(c, xcb_query_pointer(c, window), nullptr);
        const xcb_window_t child = reply != nullptr ? reply->child : xcb_window_t(XCB_WINDOW_NONE);
        free(reply);
        if (child == XCB_WINDOW_NONE)
            return window;
        window = child;
    }
}

} // namespace

class tst_DesktopPosterIntegration : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        // Two monitors side by side on the one X screen, and a plain
        // wallpaper. Set while we are connected: the server forgets both
        // when its last client leaves.
        for (const QStringList &command :
             {QStringList{"xrandr", "--setmonitor", "Left", "1200/300x900/225+0+0", "screen"},
              QStringList{"xrandr", "--setmonitor", "Right", "1200/300x900/225+1200+0", "none"},
              QStringList{"hsetroot", "-solid", "#336699"}}) {
            QVERIFY2(QProcess::execute(command.first(), command.mid(1)) == 0,
                     "install the Debian packages x11-xserver-utils and hsetroot");
        }
        QTRY_COMPARE(QGuiApplication::screens().size(), 2);
        m_openbox.start(QStringLiteral("openbox"), {});
        QVERIFY2(m_openbox.waitForStarted(), "openbox is missing: install the Debian package openbox");
        QTRY_VERIFY_WITH_TIMEOUT(!stacking().isEmpty() || run("xprop", {"-root", "_NET_SUPPORTING_WM_CHECK"})
                                                                   .join(QString()).contains(u"window id"),
                                 10000);
    }

    void cleanupTestCase()
    {
        m_openbox.terminate();
        m_openbox.waitForFinished(5000);
    }

    void coversEveryScreenBelowNormalWindowsAndLetsClicksThrough()
    {
        auto poster = DesktopPoster::create();
        QVERIFY(poster);
        QImage cover(300, 300, QImage::Format_RGB32);
        cover.fill(kCover);
        QSignalSpy presented(poster.get(), &DesktopPoster::presented);
        poster->present(AlbumPoster{cover, kCover, QStringLiteral("Red Song"), QStringLiteral("The Testers"), {}, {}, {}});
        QVERIFY(presented.wait(10000));

        QRasterWindow normal;
        normal.setTitle(QStringLiteral("Normal"));
        normal.setGeometry(100, 100, 300, 200);
        normal.show();
        QVERIFY(QTest::qWaitForWindowExposed(&normal));

        // One window filling each screen.
        const QList<QWindow *> windows = poster->windows();
        QCOMPARE(windows.size(), 2);
        QVERIFY(windows[0]->screen() != windows[1]->screen());
        for (QWindow *w : windows) {
            QTRY_VERIFY(w->isExposed());
            QTRY_COMPARE(w->geometry(), w->screen()->geometry());
        }

        // Stacked below the normal window by the window manager.
        QTRY_VERIFY(stacking().contains(quint32(normal.winId())));
        const QList<quint32> order = stacking();
        for (QWindow *w : windows) {
            QVERIFY(order.contains(quint32(w->winId())));
            QVERIFY(order.indexOf(quint32(w->winId())) < order.indexOf(quint32(normal.winId())));
        }

        // Over the wallpaper: the cover shows at the middle of each screen,
        // away from its text band.
        for (QScreen *screen : QGuiApplication::screens()) {
            const QPoint middle = screen->geometry().center() - QPoint(0, screen->geometry().height() / 4);
            QTRY_COMPARE(rootPixel(middle), kCover);
            const quint32 takesClick = windowTakingClickAt(middle);
            for (QWindow *w : windows)
                QVERIFY2(takesClick != quint32(w->winId()), "a click would land on the poster");
        }

        poster->hide();
        QVERIFY(poster->windows().isEmpty());
        const QPoint middle = QGuiApplication::screens().first()->geometry().center();
        QTRY_COMPARE(rootPixel(middle), kWallpaper);
    }

    void aNewerPosterWinsOverOneStillDrawing()
    {
        auto poster = DesktopPoster::create();
        QImage first(2000, 2000, QImage::Format_RGB32);
        first.fill(Qt::green);
        QImage second(10, 10, QImage::Format_RGB32);
        second.fill(kCover);
        QSignalSpy presented(poster.get(), &DesktopPoster::presented);
        poster->present(AlbumPoster{first, Qt::green, QStringLiteral("First"), {}, {}, {}, {}});
        poster->present(AlbumPoster{second, kCover, QStringLiteral("Second"), {}, {}, {}, {}});
        QVERIFY(presented.wait(10000));
        QTest::qWait(300);
        QCOMPARE(presented.count(), 1);
        QScreen *screen = QGuiApplication::screens().first();
        const QPoint point = screen->geometry().center() - QPoint(0, screen->geometry().height() / 4);
        QTRY_COMPARE(rootPixel(point), kCover);
    }

    // The Nook keeps only a small copy of the cover; a poster drawn from it
    // would be a blur on a large screen, so it decodes the original itself.
    void drawsTheCoverAtTheScreensOwnSize()
    {
        QImage stripes(1200, 1200, QImage::Format_RGB32);
        for (int x = 0; x < stripes.width(); ++x)
            for (int y = 0; y < stripes.height(); ++y)
                stripes.setPixel(x, y, x % 2 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
        const QImage small = stripes.scaled(256, 256, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        AlbumPoster poster{small, Qt::black, QStringLiteral("Stripes"), {}, {}, encoded(stripes), QByteArray("stripes")};

        const QImage drawn = AlbumPoster::image(poster, QSize(1200, 1200));
        const int y = 100; // above the shade and the texts
        int sharpSteps = 0;
        for (int x = 500; x < 600; ++x)
            sharpSteps += qAbs(qGray(drawn.pixel(x, y)) - qGray(drawn.pixel(x + 1, y))) > 200;
        QVERIFY2(sharpSteps > 90, qPrintable(QStringLiteral("%1 of 100 stripes kept").arg(sharpSteps)));
    }

private:
    QProcess m_openbox;
};

int main(int argc, char *argv[])
{
    PrivateDisplay display;
    if (!display.start("2400x900x24"))
        return 1;
    qputenv("QT_QPA_PLATFORM", "xcb");
    int status = 0;
    {
        QGuiApplication app(argc, argv);
        tst_DesktopPosterIntegration test;
        status = QTest::qExec(&test, argc, argv);
    }
    return status;
}
#include "tst_DesktopPosterIntegration.moc"
