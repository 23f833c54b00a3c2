#include "app/SelfTest.h"

#include "app/LaunchAtLogin.h"
#include "app/NookSettings.h"
#include "core/Clock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchGeometry.h"
#include "calendar/CalendarAgenda.h"
#include "calendar/VdirEventStore.h"
#include "camera/CameraMirror.h"
#include "camera/EdgeLight.h"
#include "camera/FaceFinder.h"
#include "notch/QtScreenSource.h"
#include "notch/NotchViewModel.h"
#include "nowplaying/NowPlayingAdapter.h"
#include "nowplaying/NowPlayingService.h"
#include "peeks/AirPodsBattery.h"
#include "peeks/SystemVolume.h"
#include "tray/FileFeeds.h"
#include "tray/NearbyShare.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"
#include "platform/MotionPreference.h"
#include "settings/SettingsWindowController.h"

#include <QDirIterator>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>
#include <memory>

namespace {

int g_problems = 0;
QtMessageHandler g_previous = nullptr;

void countingHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        ++g_problems;
    if (g_previous != nullptr)
        g_previous(type, context, message);
}

void wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

void report(const QList<QQmlError> &errors)
{
    for (const QQmlError &e : errors)
        std::fprintf(stderr, "self-test: %s\n", qPrintable(e.toString()));
}

// A sound server with one adjustable output, so the volume views show.
class StillSoundServer final : public VolumeBackend
{
public:
    void start() override { Q_EMIT changed(); }
    bool isConnected() const override { return true; }
    std::optional<Sink> defaultSink() const override
    {
        Sink sink;
        sink.id = QStringLiteral("self-test");
        sink.description = QStringLiteral("Speakers");
        sink.hasVolume = true;
        sink.volume = 0.5;
        return sink;
    }
    void setVolume(const QString &, double) override {}
    void setMuted(const QString &, bool) override {}
};

// No AirPods: the volume band shows its wedge.
class NoAirPods final : public AirPodsLevelReader
{
public:
    void read(const QString &, Done done) override { done(std::nullopt); }
    void cancel() override {}
};

// A machine without cameras: the mirror drawer shows its "connect a camera"
// state and no device is ever opened by the self-test.
class NoCameras final : public CaptureSession
{
public:
    QList<CameraDevice> availableCameras() const override { return {}; }
    void start(const QString &, Started done) override
    {
        QTimer::singleShot(0, [done] { done(StartResult::NoCamera, QString()); });
    }
    void stop() override {}
    QString currentCameraId() const override { return {}; }
    void capturePhoto(PhotoTaken done) override
    {
        QTimer::singleShot(0, [done] { done({}); });
    }
    void setOnCheck(std::function<void(const FrameCheck &)>) override {}
    void setPreviewSink(QVideoSink *) override {}
};

} // namespace

int SelfTest::run()
{
    g_previous = qInstallMessageHandler(countingHandler);

    // The services the views read, on a throw-away settings file.
    QTemporaryDir dir;
    UserDefaults defaults(dir.filePath(QStringLiteral("Tarnwick.conf")));
    NookSettings settings(defaults);
    NookSettings::setInstance(&settings);
    LaunchAtLogin login(dir.filePath(QStringLiteral("autostart")), QString());
    LaunchAtLogin::setInstance(&login);
    StillSoundServer sound;
    SystemVolume volume(sound);
    SystemVolume::setInstance(&volume);
    volume.start();
    NoAirPods noAirPods;
    AirPodsBattery airPods(Clock::system(), noAirPods);
    AirPodsBattery::setInstance(&airPods);
    MotionPreference motion(nullptr);
    MotionPreference::setInstance(&motion);
    // No helper: the Now Playing page shows its unavailable state.
    NowPlayingService nowPlaying(Clock::system(), nullptr);
    NowPlayingService::setInstance(&nowPlaying);
    ThumbnailCache thumbnails(ThumbnailCache::systemOptions());
    ThumbnailCache::setInstance(&thumbnails);
    TrayStore tray(thumbnails);
    TrayStore::setInstance(&tray);
    FileFeeds feeds(thumbnails, Clock::system());
    FileFeeds::setInstance(&feeds);
    NearbyShare nearby(Clock::system(), NearbyShare::defaultLocalSendConfig());
    NearbyShare::setInstance(&nearby);
    VdirEventStore calendarStore(Clock::system(), dir.filePath(QStringLiteral("Calendars")));
    CalendarAgenda agenda(calendarStore, Clock::system());
    CalendarAgenda::setInstance(&agenda);
    NoCameras cameras;
    CameraMirror camera(cameras, Clock::system(), dir.filePath(QStringLiteral("Pictures")));
    CameraMirror::setInstance(&camera);
    QtScreenSource screens;
    EdgeLight edgeLight(screens, Clock::system());
    EdgeLight::setInstance(&edgeLight);
    NotchViewModel model(NotchGeometry(QSizeF(190, 32), false, QRectF(0, -1080, 1920, 1080)), settings,
                         Clock::system());

    QQmlEngine engine;
    QmlModule::prepare(engine);
    ThumbnailCache::registerImageProvider(engine);
    SettingsWindowController settingsWindow(engine);
    QObject::connect(&engine, &QQmlEngine::warnings, [](const QList<QQmlError> &warnings) {
        report(warnings);
        g_problems += int(warnings.size());
    });

    int files = 0;
    QDirIterator it(QStringLiteral(":/qt/qml/Tarnwick"), {QStringLiteral("*.qml")}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        ++files;
        QFile source(path);
        source.open(QIODevice::ReadOnly);
        QQmlComponent component(&engine);
        if (source.readAll().contains("pragma Singleton")) {
            // A singleton cannot be a component of its own: reach it by name.
            const QString name = QFileInfo(path).completeBaseName();
            component.setData(
                QStringLiteral("import QtQuick\nimport Tarnwick\nQtObject { property var probe: %1 }").arg(name).toUtf8(),
                QUrl(QStringLiteral("qrc:/selftest/probe-of-%1.qml").arg(name)));
            std::unique_ptr<QObject> probe(component.create());
            if (!probe || !probe->property("probe").value<QObject *>())
                ++g_problems;
        } else {
            component.loadUrl(QUrl(QStringLiteral("qrc") + path));
        }
        if (component.isError()) {
            report(component.errors());
            ++g_problems;
        }
    }

    // Show the root view as the app does, so bindings are evaluated too, and
    // open and close it once so the animated ones run as well.
    QQmlComponent root(&engine, QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/NotchRootView.qml")));
    std::unique_ptr<QObject> view(root.createWithInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&model)}}));
    if (!view) {
        report(root.errors());
        ++g_problems;
    } else {
        QQuickWindow window;
        auto *item = qobject_cast<QQuickItem *>(view.get());
        const QSizeF size = model.geometry().windowSize();
        window.resize(size.toSize());
        item->setParentItem(window.contentItem());
        item->setSize(size);
        window.show();
        model.playbackChanged(true);
        wait(150);
        model.expand();
        wait(250);
        model.pointerMoved(QPointF(1920 / 2.0 + 265 - 10, -60));
        wait(250);
        model.show(NookPage::Tray);
        wait(250);
        settings.setShowsNowPlaying(false);
        settings.setShowsTray(false);
        wait(100);
        settings.setShowsNowPlaying(true);
        settings.setShowsTray(true);
        model.collapse();
        wait(250);
    }

    // The face finder the camera mirror would use. On a CPU that runs the
    // AVX2 build, a module missing from the installation warns, and a
    // warning counts as a problem.
    std::fprintf(stderr, "self-test: face finder %s\n", FaceFinder::create()->build());

    settingsWindow.show();
    if (settingsWindow.window() == nullptr)
        ++g_problems;
    wait(150);
    settingsWindow.close();

    qInstallMessageHandler(g_previous);
    std::fprintf(stderr, "self-test: %d QML files, %d problems\n", files, g_problems);
    return g_problems == 0 && files > 0 ? 0 : 1;
}
