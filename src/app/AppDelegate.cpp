#include "app/AppDelegate.h"

#include "app/AppIcon.h"
#include "app/LaunchAtLogin.h"
#include "app/NookSettings.h"
#include "app/SingleInstance.h"
#include "app/TerminationSignals.h"
#include "core/Clock.h"
#include "core/UserDefaults.h"
#include "musicmode/DesktopPoster.h"
#include "musicmode/MusicMode.h"
#include "notch/NotchViewModel.h"
#include "notch/NotchWindowController.h"
#include "calendar/CalendarAgenda.h"
#include "calendar/VdirEventStore.h"
#include "calendar/EdsEventStore.h"
#include "calendar/CombinedEventStore.h"
#include "camera/CameraMirror.h"
#include "camera/EdgeLight.h"
#include "notch/QtScreenSource.h"
#include "nowplaying/NowPlayingAdapter.h"
#include "nowplaying/LocalArtworkFinder.h"
#include "nowplaying/NowPlayingService.h"
#include "nowplaying/SpotifyControl.h"
#include "tray/FileFeeds.h"
#include "tray/NearbyShare.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"
#include "notch/ScreenLock.h"
#include "peeks/AirPodsBattery.h"
#include "peeks/BluezLevelReader.h"
#include "peeks/PulseAudioOutput.h"
#include "peeks/SystemVolume.h"
#include "platform/MotionPreference.h"
#include "settings/SettingsWindowController.h"

#include <QApplication>
#include <QQmlEngine>
#include <QMenu>
#include <QSystemTrayIcon>

namespace {

// The notch's volume gestures, over the system volume.
class SystemVolumeControl final : public VolumeControl
{
public:
    explicit SystemVolumeControl(SystemVolume &volume)
        : m_volume(volume)
    {
    }
    double level() const override { return m_volume.level(); }
    bool isAdjustable() const override { return m_volume.isAdjustable(); }
    void set(double level) override { m_volume.set(level); }

private:
    SystemVolume &m_volume;
};

// Swipes over the calendar's day strip, onto the agenda.
class AgendaDayStrip final : public DayStripControl
{
public:
    explicit AgendaDayStrip(CalendarAgenda &agenda)
        : m_agenda(agenda)
    {
    }
    void setStripOffset(double offset) override { m_agenda.setStripOffset(offset); }
    void endStripDrag(double projected) override { m_agenda.endStripDrag(projected); }
    void step(int days) override { m_agenda.step(days); }

private:
    CalendarAgenda &m_agenda;
};

} // namespace

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent)
{
}

AppDelegate::~AppDelegate()
{
    terminate();
    // Windows first: they show the services below.
    m_settingsWindow.reset();
    m_trayIcon.reset();
    m_controller.reset();
    m_musicMode.reset();
    m_posters.reset();
    m_edgeLight.reset();
    m_camera.reset();
    m_capture.reset();
    m_screenLock.reset();
    m_dayStrip.reset();
    m_agenda.reset();
    m_agendaStore.reset();
    m_desktopCalendars.reset();
    m_calendarStore.reset();
    m_nearby.reset();
    m_feeds.reset();
    m_tray.reset();
    m_thumbnails.reset();
    m_nowPlaying.reset();
    m_volumeControl.reset();
    m_airPods.reset();
    m_airPodsReader.reset();
    m_volume.reset();
    m_volumeBackend.reset();
}

bool AppDelegate::isRunningTests()
{
    return qEnvironmentVariableIsSet("XCTestConfigurationFilePath");
}

bool AppDelegate::launch()
{
    if (isRunningTests())
        return true;

    const bool toggle = QCoreApplication::arguments().contains(QStringLiteral("--toggle"));
    m_instance = new SingleInstance(SingleInstance::defaultSocketPath(), this);
    if (!m_instance->claim(toggle ? SingleInstance::Request::Toggle : SingleInstance::Request::ShowSettings))
        return false;
    connect(m_instance, &SingleInstance::anotherLaunch, this, &AppDelegate::openSettings);

    // 1. A polite kill quits through the same path as the menu.
    m_signals = new TerminationSignals(this);
    connect(m_signals, &TerminationSignals::received, qApp, &QCoreApplication::quit);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &AppDelegate::terminate);

    // 2. Settings first: every service below reads them.
    m_defaults = std::make_unique<UserDefaults>();
    m_settings = std::make_unique<NookSettings>(*m_defaults);
    NookSettings::setInstance(m_settings.get());
    m_launchAtLogin = std::make_unique<LaunchAtLogin>(nullptr);
    LaunchAtLogin::setInstance(m_launchAtLogin.get());

    m_motion = std::make_unique<MotionPreference>(nullptr);
    MotionPreference::setInstance(m_motion.get());
    m_motion->read();

    // 3. Now Playing runs only while its page is switched on.
    m_spotify = std::make_unique<SpotifyControl>(Clock::system());
    m_localArtwork = std::make_unique<LocalArtworkFinder>(Clock::system(), LocalArtworkFinder::defaultMusicFolder(),
                                                          LocalArtworkFinder::defaultCacheFile());
    m_nowPlaying = std::make_unique<NowPlayingService>(Clock::system(),
                                                       NowPlayingAdapter::create(NowPlayingAdapter::findHelper()),
                                                       m_spotify.get(), m_localArtwork.get());
    NowPlayingService::setInstance(m_nowPlaying.get());
    followNowPlayingSwitch();
    connect(m_settings.get(), &NookSettings::showsNowPlayingChanged, this, &AppDelegate::followNowPlayingSwitch);

    // 4. The system volume, followed from the sound server's own events, and
    // the AirPods battery, handed every output it reports (the first one is
    // the state at launch and is not announced); its announcements become
    // the notch's peek once the notch exists (step 6).
    m_volumeBackend = std::make_unique<PulseAudioOutput>(Clock::system());
    m_volume = std::make_unique<SystemVolume>(*m_volumeBackend);
    SystemVolume::setInstance(m_volume.get());
    m_airPodsReader = std::make_unique<BluezLevelReader>(QDBusConnection::systemBus(), Clock::system());
    m_airPods = std::make_unique<AirPodsBattery>(Clock::system(), *m_airPodsReader);
    AirPodsBattery::setInstance(m_airPods.get());
    m_airPods->follow(*m_volume);
    m_volume->start();
    m_volumeControl = std::make_unique<SystemVolumeControl>(*m_volume);

    // 5. The services the notch shows, in this order: the tray, its feeds and
    // their shared thumbnails; the camera and its edge light; the calendar;
    // music mode (created here, started only in step 8).
    m_thumbnails = std::make_unique<ThumbnailCache>(ThumbnailCache::systemOptions());
    ThumbnailCache::setInstance(m_thumbnails.get());
    m_tray = std::make_unique<TrayStore>(*m_thumbnails);
    TrayStore::setInstance(m_tray.get());
    m_feeds = std::make_unique<FileFeeds>(*m_thumbnails, Clock::system());
    FileFeeds::setInstance(m_feeds.get());
    m_nearby = std::make_unique<NearbyShare>(Clock::system(), NearbyShare::defaultLocalSendConfig());
    NearbyShare::setInstance(m_nearby.get());

    // The camera mirror (its device opens only while its drawer is out) and
    // the screen light, which follows the screens the notch is placed on.
    m_screens = std::make_unique<QtScreenSource>();
    m_capture = CaptureSession::createSystem(Clock::system());
    m_camera = std::make_unique<CameraMirror>(*m_capture, Clock::system(), CameraMirror::defaultPicturesFolder());
    CameraMirror::setInstance(m_camera.get());
    m_edgeLight = std::make_unique<EdgeLight>(*m_screens, Clock::system());
    EdgeLight::setInstance(m_edgeLight.get());

    // The calendar: the desktop's calendar service (when the session has
    // one; it receives quick-added events) and the user's own folders.
    m_calendarStore = std::make_unique<VdirEventStore>(Clock::system(), VdirEventStore::defaultRoot(),
                                                       VdirEventStore::configuredFolders(*m_defaults));
    m_desktopCalendars = std::make_unique<EdsEventStore>();
    m_agendaStore = std::make_unique<CombinedEventStore>(QList<EventStore *>{m_desktopCalendars.get(), m_calendarStore.get()});
    m_agenda = std::make_unique<CalendarAgenda>(*m_agendaStore, Clock::system());
    CalendarAgenda::setInstance(m_agenda.get());
    m_dayStrip = std::make_unique<AgendaDayStrip>(*m_agenda);

    // Music mode, before the views that show its switch.
    m_posters = DesktopPoster::create();
    m_musicMode = MusicMode::forDesktop(Clock::system(), *m_defaults, m_posters.get());
    MusicMode::setInstance(m_musicMode.get());

    // 6. The notch, with every service, and the wings following the music.
    m_controller = std::make_unique<NotchWindowController>(*m_settings, *m_defaults, *m_screens, Clock::system(),
                                                           [this] { openSettings(); });
    m_controller->setVolume(m_volumeControl.get());
    m_controller->setDayStrip(m_dayStrip.get());
    m_controller->setVideoApplications(NowPlayingTrack::videoApps().values());
    if (QQmlEngine *engine = m_controller->engine())
        ThumbnailCache::registerImageProvider(*engine);
    m_controller->show();
    // Reaching the calendar service waits for nothing, but is left until the
    // notch is up; its calendars join the agenda as they open.
    QMetaObject::invokeMethod(m_desktopCalendars.get(), &EdsEventStore::open, Qt::QueuedConnection);
    m_airPods->onAnnounce = [this](const AirPodsLevels &levels) {
        m_controller->model()->showPeek({levels}, AirPodsBattery::kPeekSeconds);
    };
    // The device chooser stays until the user picks a device or closes it.
    connect(m_nearby.get(), &NearbyShare::phaseChanged, this,
            [this] { m_controller->setAwaitingAnswer(m_nearby->phase() == NearbyShare::Phase::Choosing); });
    connect(m_nowPlaying.get(), &NowPlayingService::trackChanged, this, &AppDelegate::followTrack);
    followTrack();

    // 7. The screen lock hides the notch while locked. Step 8, music mode's
    // start (after dropping posters left by an earlier run), follows it.
    m_screenLock = std::make_unique<ScreenLock>();
    connect(m_screenLock.get(), &ScreenLock::isLockedChanged, this,
            [this] { m_controller->setScreenLocked(m_screenLock->isLocked()); });
    m_screenLock->start();

    // 8. Music mode gives back what a crashed run left behind, then follows the music.
    m_musicMode->start();
    MusicMode::forgetWallpaperPosters(*m_defaults);
    m_musicMode->followMusic(*m_nowPlaying);

    buildTrayIcon();
    // A keyboard shortcut reaches the Nook through the running instance.
    connect(m_instance, &SingleInstance::toggleRequested, m_controller.get(),
            &NotchWindowController::toggleWithKeyboard);
    if (toggle)
        m_controller->toggleWithKeyboard();
    return true;
}

void AppDelegate::followNowPlayingSwitch()
{
    // A widget that is off does not run at all: no helper process.
    if (m_settings->showsNowPlaying())
        m_nowPlaying->start();
    else
        m_nowPlaying->stop();
}

void AppDelegate::followTrack()
{
    const auto &track = m_nowPlaying->track();
    if (!track) {
        m_controller->trackChanged(std::nullopt);
        return;
    }
    m_controller->trackChanged(WingsTrack{track->title, track->appBundleIdentifier.value_or(QString()), track->isPlaying});
}

void AppDelegate::buildTrayIcon()
{
    m_trayMenu = std::make_unique<QMenu>();
    QAction *settings = m_trayMenu->addAction(tr("Settings…"), this, &AppDelegate::openSettings);
    settings->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    m_trayMenu->addSeparator();
    QAction *quit = m_trayMenu->addAction(tr("Quit Tarnwick"), qApp, &QCoreApplication::quit);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));

    m_trayIcon = std::make_unique<QSystemTrayIcon>(AppIcon::tray());
    m_trayIcon->setToolTip(QStringLiteral("Tarnwick"));
    m_trayIcon->setContextMenu(m_trayMenu.get());
    connect(m_trayIcon.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            m_trayIcon->contextMenu()->popup(QCursor::pos());
    });
    m_trayIcon->show();
}

SettingsWindowController *AppDelegate::settingsWindow()
{
    if (!m_settingsWindow && m_controller && m_controller->engine() != nullptr)
        m_settingsWindow = std::make_unique<SettingsWindowController>(*m_controller->engine());
    return m_settingsWindow.get();
}

void AppDelegate::openSettings()
{
    if (SettingsWindowController *window = settingsWindow())
        window->show();
}

void AppDelegate::terminate()
{
    if (m_terminated || isRunningTests())
        return;
    m_terminated = true;
    // Nothing of ours may outlive the app: the Now Playing helper stops here,
    // then music mode puts the wallpaper and tint back at once, before the
    // event loop is gone.
    if (m_nowPlaying)
        m_nowPlaying->stop();
    if (m_musicMode)
        m_musicMode->restoreNow();
    // No light left glowing and no camera left open once we are gone.
    if (m_edgeLight)
        m_edgeLight->setOn(false);
    if (m_camera)
        m_camera->setActive(false);
}
