#pragma once

#include <QObject>
#include <memory>

class LaunchAtLogin;
class DesktopPoster;
class MusicMode;
class MotionPreference;
class NowPlayingService;
class SpotifyControl;
class LocalArtworkFinder;
class CalendarAgenda;
class CameraMirror;
class EdgeLight;
class CaptureSession;
class VdirEventStore;
class EdsEventStore;
class CombinedEventStore;
class DayStripControl;
class ThumbnailCache;
class TrayStore;
class FileFeeds;
class NearbyShare;
class AirPodsBattery;
class BluezLevelReader;
class PulseAudioOutput;
class ScreenLock;
class SystemVolume;
class VolumeControl;
class NookSettings;
class NotchWindowController;
class QSystemTrayIcon;
class QMenu;
class QtScreenSource;
class SettingsWindowController;
class SingleInstance;
class TerminationSignals;
class UserDefaults;

// Owns every long-lived service, creates them in a fixed order when the
// application starts, wires them into the notch, and puts the desktop back
// when the application ends.
class AppDelegate : public QObject
{
    Q_OBJECT
public:
    explicit AppDelegate(QObject *parent = nullptr);
    ~AppDelegate() override;

    // The process hosts a test runner: nothing of the shell runs.
    static bool isRunningTests();

    // Returns false when another Tarnwick already runs in this session (it has
    // been told to show its Settings window); the caller then exits.
    bool launch();

    NotchWindowController *controller() const { return m_controller.get(); }
    SettingsWindowController *settingsWindow();
    void openSettings();

private:
    void terminate();
    void buildTrayIcon();
    void followNowPlayingSwitch();
    void followTrack();

    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<NookSettings> m_settings;
    std::unique_ptr<LaunchAtLogin> m_launchAtLogin;
    std::unique_ptr<MotionPreference> m_motion;
    // Before the service, so they outlive it.
    std::unique_ptr<SpotifyControl> m_spotify;
    std::unique_ptr<LocalArtworkFinder> m_localArtwork;
    std::unique_ptr<NowPlayingService> m_nowPlaying;
    std::unique_ptr<ThumbnailCache> m_thumbnails;
    std::unique_ptr<TrayStore> m_tray;
    std::unique_ptr<FileFeeds> m_feeds;
    std::unique_ptr<NearbyShare> m_nearby;
    std::unique_ptr<VdirEventStore> m_calendarStore;
    std::unique_ptr<EdsEventStore> m_desktopCalendars;
    std::unique_ptr<CombinedEventStore> m_agendaStore;
    std::unique_ptr<CalendarAgenda> m_agenda;
    std::unique_ptr<DayStripControl> m_dayStrip;
    std::unique_ptr<PulseAudioOutput> m_volumeBackend;
    std::unique_ptr<SystemVolume> m_volume;
    // The reader outlives the battery service that reads through it.
    std::unique_ptr<BluezLevelReader> m_airPodsReader;
    std::unique_ptr<AirPodsBattery> m_airPods;
    std::unique_ptr<VolumeControl> m_volumeControl;
    std::unique_ptr<ScreenLock> m_screenLock;
    std::unique_ptr<QtScreenSource> m_screens;
    std::unique_ptr<DesktopPoster> m_posters;
    std::unique_ptr<MusicMode> m_musicMode;
    std::unique_ptr<CaptureSession> m_capture;
    std::unique_ptr<CameraMirror> m_camera;
    std::unique_ptr<EdgeLight> m_edgeLight;
    std::unique_ptr<NotchWindowController> m_controller;
    std::unique_ptr<SettingsWindowController> m_settingsWindow;
    std::unique_ptr<QMenu> m_trayMenu;
    std::unique_ptr<QSystemTrayIcon> m_trayIcon;
    TerminationSignals *m_signals = nullptr;
    SingleInstance *m_instance = nullptr;
    bool m_terminated = false;
};
