#include "app/NookSettings.h"
#include "camera/CameraMirror.h"
#include "camera/EdgeLight.h"
#include "camera/MirrorPreview.h"
#include "camera/FrameAnalyzer.h"
#include "camera/MirrorDrawerModel.h"
#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchGeometry.h"
#include "notch/NotchViewModel.h"
#include "notch/QtScreenSource.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include "camera/CameraFrames.h"
#include "camera/FakeCaptureSession.h"

#include <QApplication>
#include <QDir>
#include <QQuickView>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QVideoSink>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

// Loads the real drawer offscreen over a scripted camera that shows a real
// portrait, and writes its screenshots when TARNWICK_SCREENSHOTS is set.
class tst_MirrorDrawerView : public QObject
{
    Q_OBJECT

    static void save(const QImage &image, const QString &name)
    {
        const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS");
        QVERIFY(!image.isNull() && (dir.isEmpty() || (QDir().mkpath(dir) && image.save(dir + QLatin1Char('/') + name + QStringLiteral(".png")))));
    }

private Q_SLOTS:
    // The preview's own conversion keeps the colours of the picture.
    void previewKeepsColours()
    {
        for (const char *name : {"red", "lime", "blue", "white", "black", "grey", "#e0a070"}) {
            const QColor colour(QLatin1String{name});
            QImage picture(64, 48, QImage::Format_RGB32);
            picture.fill(colour);
            const QImage shown = MirrorPreview::halfSize(CameraFrames::nv12(picture));
            QCOMPARE(shown.size(), QSize(32, 24));
            const QColor seen = shown.pixelColor(16, 12);
            QVERIFY2(std::abs(colour.red() - seen.red()) <= 6 && std::abs(colour.green() - seen.green()) <= 6
                         && std::abs(colour.blue() - seen.blue()) <= 6,
                     qPrintable(seen.name() + QStringLiteral(" for ") + colour.name()));
        }
    }

    void drawerShowsThePictureAndItsVerdicts()
    {
        QStandardPaths::setTestModeEnabled(true);
        QTemporaryDir dir;
        UserDefaults defaults(dir.filePath(QStringLiteral("t.conf")));
        NookSettings settings(defaults);
        NookSettings::setInstance(&settings);
        ManualClock clock;
        NotchViewModel model(NotchGeometry(QSizeF(190, 32), false, QRectF(0, -1080, 1920, 1080)), settings, clock);
        FakeCaptureSession capture;
        CameraMirror camera(capture, clock, dir.path());
        CameraMirror::setInstance(&camera);
        QtScreenSource screens;
        EdgeLight light(screens, clock);
        EdgeLight::setInstance(&light);
        ThumbnailCache thumbnails(ThumbnailCache::Options{dir.filePath(QStringLiteral("thumbs")), {}, 1});
        TrayStore tray(thumbnails);
        TrayStore::setInstance(&tray);

        QQuickView view;
        QmlModule::prepare(*view.engine());
        view.setColor(Qt::black);
        view.setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&model)}});
        view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/MirrorDrawerView.qml")));
        QVERIFY2(view.status() == QQuickView::Ready, qPrintable(view.errors().value(0).toString()));
        view.resize(340, 150);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));

        // No camera: the text asks for one, and there are no buttons.
        camera.setActive(true);
        capture.completeStart();
        QTest::qWait(300);
        save(view.grabWindow(), QStringLiteral("mirror-drawer-no-camera"));

        // A portrait, centred and well lit, analysed for real.
        capture.cameras = {{"a", "Desk Camera"}, {"b", "USB Camera"}};
        camera.setActive(true);
        capture.completeStart();
        QVERIFY(capture.preview);
        const QVideoFrame frame = CameraFrames::nv12(
            CameraFrames::compose(CameraFrames::astronaut(), 2.2, QPointF(223, 128), QPointF(320, 216)));
        FrameAnalyzer analyzer(clock);
        analyzer.setOnCheck(capture.onCheck);
        analyzer.frameArrived(frame);
        capture.preview->setVideoFrame(frame);
        MirrorDrawerModel probe(&camera, &light, &tray, clock);
        QTRY_COMPARE(probe.lightingText(), QStringLiteral("Good light"));
        QCOMPARE(probe.framingText(), QStringLiteral("Centered"));
        QTest::qWait(300);
        save(view.grabWindow(), QStringLiteral("mirror-drawer-running"));

        light.setOn(true);
        QVERIFY(QTest::qWaitForWindowExposed(light.window()));
        QTest::qWait(600);
        const QImage shot = light.window()->grabWindow();
        // The tube is evenly bright all round, 30 points in from each edge,
        // through the corners (where the middle of its bend lies 30 + 28 −
        // 28/√2 points in along the diagonal), and dark inside.
        const int w = shot.width() - 1, h = shot.height() - 1, bend = 38;
        for (const QPoint &p : {QPoint(30, h / 2), QPoint(w - 30, h / 2), QPoint(w / 2, 30), QPoint(w / 2, h - 30),
                                QPoint(bend, bend), QPoint(w - bend, bend), QPoint(bend, h - bend), QPoint(w - bend, h - bend)})
            QVERIFY2(qGray(shot.pixel(p)) > 225, qPrintable(QStringLiteral("%1,%2: %3").arg(p.x()).arg(p.y()).arg(qGray(shot.pixel(p)))));
        QVERIFY(qGray(shot.pixel(w / 2, h / 2)) < 80);
        save(shot, QStringLiteral("edge-light-on"));
        light.setOn(false);
        EdgeLight::setInstance(nullptr);
        CameraMirror::setInstance(nullptr);
        TrayStore::setInstance(nullptr);
    }
};

QTEST_MAIN(tst_MirrorDrawerView)
#include "tst_MirrorDrawerView.moc"
