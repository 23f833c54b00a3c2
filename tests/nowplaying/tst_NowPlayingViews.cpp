// The Now Playing views offscreen: they load without a warning, the record
// turns only while the track plays, the seek bar follows a drag and the
// reports after it, and each state is written as a screenshot (to
// $TARNWICK_SCREENSHOTS when set, else the build folder).

#include "EncodedImage.h"
#include "FakeAdapter.h"

#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "nowplaying/NowPlayingService.h"

#include <QDir>
#include <QPainter>
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
    g_warnings += type == QtWarningMsg || type == QtCriticalMsg;
    g_previous(type, context, message);
}

// Crisp screenshots, as on a HiDPI screen.
void scaleUp() { qputenv("QT_SCALE_FACTOR", "2"); }
Q_CONSTRUCTOR_FUNCTION(scaleUp)

// An album cover drawn for the test: a low sun over stripes of sea.
QByteArray cover()
{
    QImage image(600, 600, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 0, 600);
    sky.setStops({{0, QColor(28, 22, 74)}, {0.55, QColor(196, 64, 92)}, {1, QColor(250, 160, 90)}});
    p.fillRect(image.rect(), sky);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 196, 92));
    p.drawEllipse(QPointF(300, 360), 150, 150);
    for (int i = 0; i < 7; ++i)
        p.fillRect(QRectF(0, 380 + i * 32, 600, 12 + i * 2), QColor(28, 22, 74, 200 - i * 20));
    p.end();
    return encoded(image);
}

NowPlayingTrack track(bool playing, const QDateTime &now, double elapsed = 83)
{
    NowPlayingTrack t;
    t.title = QStringLiteral("Harbour Lights at Dusk");
    t.artist = QStringLiteral("The Long Evenings");
    t.album = QStringLiteral("Tidal");
    t.appBundleIdentifier = QStringLiteral("org.gnome.Lollypop");
    t.isPlaying = playing;
    t.playbackRate = playing ? 1 : 0;
    t.duration = 242;
    t.elapsed = elapsed;
    t.timestamp = now;
    t.artworkData = cover();
    t.shuffle = NowPlayingTrack::ShuffleMode::Off;
    t.repeatMode = NowPlayingTrack::RepeatMode::All;
    return t;
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

// A started service on a fake helper, shown by the views.
struct Page
{
    explicit Page(bool helper = true)
        : service(clock, helper ? std::unique_ptr<NowPlayingAdapter>(adapter) : nullptr)
    {
        if (!helper)
            delete adapter;
        NowPlayingService::setInstance(&service);
        service.start();
    }
    void play(bool playing, double elapsed = 83) { service.apply(track(playing, clock.now(), elapsed), clock.now()); }

    ManualClock clock{QDateTime::currentDateTimeUtc()};
    FakeAdapter *adapter = new FakeAdapter;
    NowPlayingService service;
};

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
        if (!QTest::qWaitForWindowExposed(view.get()) || !view->rootObject())
            qWarning("the view did not load or was never exposed");
        return view;
    }

    void save(QQuickView &view, const QString &name)
    {
        QTest::qWait(800); // hover fades and the tonearm settle first
        const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS", QDir::currentPath() + QStringLiteral("/screenshots"));
        QVERIFY(QDir().mkpath(dir));
        QVERIFY(view.grabWindow().save(dir + QLatin1Char('/') + name + QStringLiteral(".png")));
    }

private Q_SLOTS:
    void initTestCase() { g_previous = qInstallMessageHandler(countWarnings); }
    void cleanupTestCase() { qInstallMessageHandler(g_previous); }
    void init() { g_warnings = 0; }
    void cleanup() { QCOMPARE(g_warnings, 0); }

    void pageTurnsTheRecordAndSeeks()
    {
        Page page;
        page.play(true);
        auto view = show(kPage, QSize(530, 120));
        QObject *record = nullptr;
        for (QObject *o : view->rootObject()->findChildren<QObject *>())
            if (o->property("degreesPerSecond").isValid() && o->property("spinning").toBool())
                record = o;
        QVERIFY(record);
        const auto angle = [record] { return record->property("angle").toDouble(); };
        const double a0 = angle();
        QTest::qWait(400);
        const double a1 = angle();
        QVERIFY2(a1 > a0 + 5, qPrintable(QStringLiteral("%1 -> %2").arg(a0).arg(a1)));
        save(*view, QStringLiteral("nowplaying-playing"));

        // Paused: the record halts where it stands...
        page.play(false);
        QTest::qWait(50);
        const double halted = angle();
        QTest::qWait(300);
        QCOMPARE(angle(), halted);
        QVERIFY(halted >= a1);
        save(*view, QStringLiteral("nowplaying-paused"));

        // A drag runs one seek helper at a time and ends on the newest target.
        auto *bar = view->rootObject()->findChild<QQuickItem *>(QStringLiteral("seekBar"));
        QVERIFY(bar);
        QCOMPARE(bar->property("value").toDouble(), 83.0);
        const QPointF origin = bar->mapToScene(QPointF(0, bar->height() / 2));
        auto at = [&](double fraction) { return QPointF(origin.x() + bar->width() * fraction, origin.y()).toPoint(); };
        QTest::mousePress(view.get(), Qt::LeftButton, {}, at(0.2));
        QTest::mouseMove(view.get(), at(0.35));
        QTest::mouseMove(view.get(), at(0.5));
        QTest::mouseRelease(view.get(), Qt::LeftButton, {}, at(0.5));
        QVERIFY(!page.adapter->seeks.isEmpty());
        while (!page.adapter->pendingSeekDone.isEmpty())
            page.adapter->finishSeek();
        QVERIFY(std::abs(page.adapter->seeks.last() - 121.0) < 5);
        QVERIFY(std::abs(page.service.position() - page.adapter->seeks.last()) < 0.01);
        // A later report moves the bar again: the drag did not cut it loose.
        page.clock.advance(5);
        page.play(false, 30);
        QCOMPARE(bar->property("value").toDouble(), 30.0);

        // ...and resumes from where it halted.
        page.play(true);
        QTest::qWait(200);
        QVERIFY(angle() > halted && angle() < halted + 45);
    }

    void placeholdersSayWhyNoRecordPlays_data()
    {
        QTest::addColumn<bool>("helper");
        QTest::addColumn<QString>("name");
        QTest::newRow("nothing playing") << true << "nowplaying-nothing";
        QTest::newRow("unavailable") << false << "nowplaying-unavailable";
    }
    void placeholdersSayWhyNoRecordPlays()
    {
        QFETCH(bool, helper);
        QFETCH(QString, name);
        Page page(helper);
        auto view = show(kPage, QSize(530, 120));
        const auto shown = view->rootObject()->findChildren<QObject *>();
        QVERIFY(std::any_of(shown.begin(), shown.end(), [&](QObject *o) {
            return o->property("text").toString() == page.service.placeholderText() && o->property("visible").toBool();
        }));
        save(*view, name);
    }

    void wingsBesideTheClosedNotch()
    {
        Page page;
        page.play(true);
        auto view = show(kWings, QSize(340, 44));
        save(*view, QStringLiteral("nowplaying-wings"));

        // Nothing is drawn once the music pauses. How often the wings draw
        // while it plays is a rate, measured by bench/media_cpu.py.
        page.play(false);
        QTest::qWait(300);
        QSignalSpy frames(view.get(), &QQuickWindow::frameSwapped);
        QTest::qWait(500);
        QCOMPARE(frames.count(), 0);
    }
};

QTEST_MAIN(tst_NowPlayingViews)
#include "tst_NowPlayingViews.moc"
