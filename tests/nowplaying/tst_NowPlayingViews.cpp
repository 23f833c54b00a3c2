// Loads the Now Playing views offscreen in each state, checks that they load
// cleanly and that the record turns only while the track plays, and writes
// screenshots (to $TARNWICK_SCREENSHOTS when set, else the build folder).

#include "EncodedImage.h"
#include "FakeAdapter.h"

#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "nowplaying/NowPlayingService.h"

#include <QDir>
#include <QPainter>
#include <QPainterPath>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

namespace {

int g_warnings = 0;
QtMessageHandler g_previous = nullptr;

void countWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg || type == QtCriticalMsg)
        ++g_warnings;
    g_previous(type, context, message);
}

// Crisp screenshots, as on a HiDPI screen.
void scaleUp()
{
    qputenv("QT_SCALE_FACTOR", "2");
}
Q_CONSTRUCTOR_FUNCTION(scaleUp)

// An album cover drawn for the test: a low sun over stripes of sea.
QByteArray cover()
{
    QImage image(600, 600, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, 600);
    sky.setColorAt(0, QColor(28, 22, 74));
    sky.setColorAt(0.55, QColor(196, 64, 92));
    sky.setColorAt(1, QColor(250, 160, 90));
    p.fillRect(image.rect(), sky);
    p.setBrush(QColor(255, 196, 92));
    p.setPen(Qt::NoPen);
    p.drawEllipse(QPointF(300, 360), 150, 150);
    for (int i = 0; i < 7; ++i) {
        p.setBrush(QColor(28, 22, 74, 200 - i * 20));
        p.drawRect(QRectF(0, 380 + i * 32, 600, 12 + i * 2));
    }
    p.end();
    return encoded(image);
}

NowPlayingTrack track(bool playing, const QDateTime &now)
{
    NowPlayingTrack t;
    t.title = QStringLiteral("Harbour Lights at Dusk");
    t.artist = QStringLiteral("The Long Evenings");
    t.album = QStringLiteral("Tidal");
    t.appBundleIdentifier = QStringLiteral("org.gnome.Lollypop");
    t.isPlaying = playing;
    t.playbackRate = playing ? 1 : 0;
    t.duration = 242;
    t.elapsed = 83;
    t.timestamp = now;
    t.artworkData = cover();
    t.shuffle = NowPlayingTrack::ShuffleMode::Off;
    t.repeatMode = NowPlayingTrack::RepeatMode::All;
    return t;
}

QString screenshotDir()
{
    const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS", QDir::currentPath() + QStringLiteral("/screenshots"));
    QDir().mkpath(dir);
    return dir;
}

const char *const kPage = R"(
Rectangle {
    color: "black"
    MediaWidgetView { anchors.fill: parent; objectName: "page" }
}
)";

// A closed notch 200 points wide, widened by 44 points a side.
const char *const kWings = R"(
Rectangle {
    color: "#3b4a5c"
    Rectangle {
        anchors.horizontalCenter: parent.horizontalCenter
        y: -10
        width: 288; height: 42; radius: 16
        color: "black"
        MiniTurntableView { x: 12; anchors.bottom: parent.bottom; anchors.bottomMargin: 4; width: 24; height: 24 }
        PlaybackLevelView { anchors.right: parent.right; anchors.rightMargin: 14; anchors.bottom: parent.bottom; anchors.bottomMargin: 8 }
    }
}
)";

} // namespace

class tst_NowPlayingViews : public QObject
{
    Q_OBJECT

    std::unique_ptr<QQuickView> show(const QByteArray &qml, QSize size)
    {
        auto view = std::make_unique<QQuickView>();
        QmlModule::prepare(*view->engine());
        view->setColor(Qt::transparent);
        view->setResizeMode(QQuickView::SizeRootObjectToView);
        QQmlComponent component(view->engine());
        component.setData("import QtQuick\nimport Tarnwick\n" + qml, QUrl(QStringLiteral("qrc:/test/View.qml")));
        if (component.isError())
            qWarning() << component.errors();
        view->setContent(QUrl(), &component, component.create());
        view->resize(size);
        view->show();
        if (!QTest::qWaitForWindowExposed(view.get()))
            qWarning("the view was never exposed");
        return view;
    }

    void save(QQuickView &view, const QString &name)
    {
        // Let hover fades and the tonearm settle first.
        QTest::qWait(800);
        const QImage shot = view.grabWindow();
        QVERIFY(!shot.isNull());
        QVERIFY(view.rootObject());
        QVERIFY(shot.save(screenshotDir() + QLatin1Char('/') + name + QStringLiteral(".png")));
    }

private Q_SLOTS:
    void initTestCase() { g_previous = qInstallMessageHandler(countWarnings); }
    void cleanupTestCase() { qInstallMessageHandler(g_previous); }
    void init() { g_warnings = 0; }
    void cleanup() { QCOMPARE(g_warnings, 0); }

    void playingPageTurnsTheRecord()
    {
        ManualClock clock(QDateTime::currentDateTimeUtc());
        NowPlayingService service(clock, std::make_unique<FakeAdapter>());
        NowPlayingService::setInstance(&service);
        service.start();
        service.apply(track(true, clock.now()), clock.now());
        auto view = show(kPage, QSize(530, 120));
        QVERIFY(view->rootObject());
        QObject *spinning = nullptr;
        for (QObject *o : view->rootObject()->findChildren<QObject *>())
            if (o->property("degreesPerSecond").isValid() && o->property("spinning").toBool())
                spinning = o;
        QVERIFY(spinning);
        const double a0 = spinning->property("angle").toDouble();
        QTest::qWait(400);
        const double a1 = spinning->property("angle").toDouble();
        QVERIFY2(a1 > a0 + 5, qPrintable(QStringLiteral("%1 -> %2").arg(a0).arg(a1)));
        save(*view, QStringLiteral("nowplaying-playing"));

        // Paused: the record halts where it stands...
        service.apply(track(false, clock.now()), clock.now());
        QTest::qWait(50);
        const double halted = spinning->property("angle").toDouble();
        QTest::qWait(300);
        QCOMPARE(spinning->property("angle").toDouble(), halted);
        QVERIFY(halted >= a1);
        save(*view, QStringLiteral("nowplaying-paused"));
        // ...and resumes from there.
        service.apply(track(true, clock.now()), clock.now());
        QTest::qWait(200);
        const double resumed = spinning->property("angle").toDouble();
        QVERIFY(resumed > halted && resumed < halted + 45);
    }

    void draggingTheBarSeeksAndTheBarFollowsAgainAfterwards()
    {
        ManualClock clock(QDateTime::currentDateTimeUtc());
        auto *adapter = new FakeAdapter;
        NowPlayingService service(clock, std::unique_ptr<NowPlayingAdapter>(adapter));
        NowPlayingService::setInstance(&service);
        service.start();
        service.apply(track(false, clock.now()), clock.now());
        auto view = show(kPage, QSize(530, 120));
        QVERIFY(view->rootObject());
        auto *bar = view->rootObject()->findChild<QQuickItem *>(QStringLiteral("seekBar"));
        QVERIFY(bar);
        QCOMPARE(bar->property("value").toDouble(), 83.0);

        const QPointF origin = bar->mapToScene(QPointF(0, bar->height() / 2));
        auto at = [&](double fraction) { return QPointF(origin.x() + bar->width() * fraction, origin.y()).toPoint(); };
        QTest::mousePress(view.get(), Qt::LeftButton, {}, at(0.2));
        QTest::mouseMove(view.get(), at(0.35));
        QTest::mouseMove(view.get(), at(0.5));
        QTest::mouseRelease(view.get(), Qt::LeftButton, {}, at(0.5));
        // While dragging one helper runs; the newest target follows it.
        QVERIFY(!adapter->seeks.isEmpty());
        while (!adapter->pendingSeekDone.isEmpty())
            adapter->finishSeek();
        QVERIFY(std::abs(adapter->seeks.last() - 121.0) < 5);
        QVERIFY(std::abs(service.position() - adapter->seeks.last()) < 0.01);

        // A later report moves the bar again: the drag did not cut it loose.
        clock.advance(5);
        NowPlayingTrack later = track(false, clock.now());
        later.elapsed = 30;
        service.apply(later, clock.now());
        QCOMPARE(bar->property("value").toDouble(), 30.0);
    }

    void placeholdersSayWhyNoRecordPlays_data()
    {
        QTest::addColumn<bool>("helperMissing");
        QTest::addColumn<QString>("name");
        QTest::newRow("nothing playing") << false << "nowplaying-nothing";
        QTest::newRow("unavailable") << true << "nowplaying-unavailable";
    }
    void placeholdersSayWhyNoRecordPlays()
    {
        QFETCH(bool, helperMissing);
        QFETCH(QString, name);
        ManualClock clock;
        NowPlayingService service(clock, helperMissing ? nullptr : std::make_unique<FakeAdapter>());
        NowPlayingService::setInstance(&service);
        service.start();
        auto view = show(kPage, QSize(530, 120));
        QVERIFY(view->rootObject());
        bool found = false;
        for (QObject *o : view->rootObject()->findChildren<QObject *>())
            if (o->property("text").toString() == service.placeholderText() && o->property("visible").toBool())
                found = true;
        QVERIFY(found);
        save(*view, name);
    }

    void wingsBesideTheClosedNotch()
    {
        ManualClock clock(QDateTime::currentDateTimeUtc());
        NowPlayingService service(clock, std::make_unique<FakeAdapter>());
        NowPlayingService::setInstance(&service);
        service.start();
        service.apply(track(true, clock.now()), clock.now());
        auto view = show(kWings, QSize(340, 44));
        save(*view, QStringLiteral("nowplaying-wings"));

        // Nothing is drawn once the music pauses. How often the wings draw
        // while it plays is a rate, measured by bench/media_cpu.py.
        service.apply(track(false, clock.now()), clock.now());
        QTest::qWait(300);
        QSignalSpy frames(view.get(), &QQuickWindow::frameSwapped);
        QTest::qWait(500);
        QCOMPARE(frames.count(), 0);
    }
};

QTEST_MAIN(tst_NowPlayingViews)
#include "tst_NowPlayingViews.moc"
