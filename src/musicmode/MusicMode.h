#pragma once

#include "core/ClockSlot.h"
#include "core/QmlSingleton.h"
#include "musicmode/AlbumPoster.h"
#include "nowplaying/ArtworkAccentColor.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <memory>
#include <optional>

class Clock;
class NowPlayingService;
class PosterDisplay;
class TintKeeper;
class UserDefaults;

// Music mode: while music plays, the album's poster lies over the wallpaper
// and the desktop's accent colour takes the album's colour; when the music
// stops or the mode is switched off, the user's own look comes back. Look
// changes that follow the music wait a moment, so a skip through a playlist
// or a short pause does not make the desktop flicker.
class MusicMode : public QObject, public QmlSingleton<MusicMode>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(bool isOn READ isOn WRITE setOn NOTIFY isOnChanged)
    // False when neither a poster nor a tint can be shown on this desktop.
    Q_PROPERTY(bool isAvailable READ isAvailable CONSTANT)
    Q_PROPERTY(QString helpText READ helpText CONSTANT)

public:
    static inline const QString kOnKey = QStringLiteral("musicMode.on");
    static inline const QString kAppliedWallpaperKey = QStringLiteral("musicMode.appliedWallpaper");
    static constexpr double kCoverWait = 3.0;
    static constexpr double kSettleDelay = 0.15;
    static constexpr double kSameCoverWait = 1.0;

    // What the now-playing service last reported.
    struct Playback
    {
        bool hasTrack = false;
        bool isPlaying = false;
        std::optional<ArtworkAccentColor::RGB> color;
        std::optional<AlbumPoster> poster;
        bool operator==(const Playback &) const = default;
    };

    // The user's own desktop, or the album's.
    struct Look
    {
        bool isAlbum = false;
        ArtworkAccentColor::RGB color;
        std::optional<AlbumPoster> poster;

        static Look original() { return {}; }
        static Look album(const ArtworkAccentColor::RGB &color, const std::optional<AlbumPoster> &poster)
        {
            return {true, color, poster};
        }
        bool operator==(const Look &) const = default;
    };

    // Music mode for the running desktop: the accent colour where the desktop
    // has one we can set, and `posters` (not owned; may be null).
    static std::unique_ptr<MusicMode> forDesktop(Clock &clock, UserDefaults &defaults, PosterDisplay *posters);

    // `keeper` is absent where the accent colour cannot be set, `posters`
    // (not owned) where the desktop cannot host a poster.
    MusicMode(Clock &clock, UserDefaults &defaults, std::unique_ptr<TintKeeper> keeper, PosterDisplay *posters,
              QObject *parent = nullptr);
    ~MusicMode() override;

    // The application's instance; where none was made (a view shown on its
    // own), a switched-off one that can change nothing, so its button hides.
    static MusicMode *create(QQmlEngine *engine, QJSEngine *js);

    static QString tintingHelpText();
    static QString posterOnlyHelpText();

    // At launch: gives back the user's colour if an earlier run could not.
    void start();
    // Puts the user's look back before returning (quit and signals).
    void restoreNow();
    // The poster files of older versions, which set the wallpaper itself.
    static void forgetWallpaperPosters(UserDefaults &defaults);

    bool isOn() const { return m_isOn; }
    void setOn(bool on);
    bool isAvailable() const;
    bool hasTint() const { return m_keeper != nullptr; }
    QString helpText() const;
    Q_INVOKABLE void toggle();

    const Playback &playback() const { return m_playback; }
    void setPlayback(const Playback &playback);
    // The look in force or being brought in.
    const Look &target() const { return m_target; }
    void refresh(bool atOnce);
    // What `nowPlaying` shows, as music mode sees it.
    static Playback playbackOf(const NowPlayingService &nowPlaying);
    // Feeds every change of `nowPlaying` to setPlayback().
    void followMusic(NowPlayingService &nowPlaying);

    TintKeeper *keeper() const { return m_keeper.get(); }

Q_SIGNALS:
    void isOnChanged();

private:
    void waitForCover();
    void set(const Look &look, bool atOnce);
    void apply(const Look &look);

    Clock &m_clock;
    UserDefaults &m_defaults;
    std::unique_ptr<TintKeeper> m_keeper;
    PosterDisplay *m_posters;
    bool m_isOn = false;
    Playback m_playback;
    Look m_target;
    // What the desktop shows now.
    Look m_applied;
    ClockSlot m_pendingChange;
    ClockSlot m_waitingForCover;
};
