#include "musicmode/MusicMode.h"

#include "core/Clock.h"
#include "core/UserDefaults.h"
#include "musicmode/IconTintStore.h"
#include "musicmode/PosterDisplay.h"
#include "musicmode/TintKeeper.h"
#include "nowplaying/NowPlayingService.h"

#include <QDir>
#include <QStandardPaths>

MusicMode::MusicMode(Clock &clock, UserDefaults &defaults, std::unique_ptr<TintKeeper> keeper, PosterDisplay *posters,
                     QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_defaults(defaults)
    , m_keeper(std::move(keeper))
    , m_posters(posters)
    , m_isOn(defaults.boolValue(kOnKey))
    , m_pendingChange(clock)
    , m_waitingForCover(clock)
{
}

MusicMode::~MusicMode() = default;

std::unique_ptr<MusicMode> MusicMode::forDesktop(Clock &clock, UserDefaults &defaults, PosterDisplay *posters)
{
    std::unique_ptr<TintKeeper> keeper;
    if (auto store = IconTintStore::forDesktop())
        keeper = std::make_unique<TintKeeper>(std::move(store), defaults.fileName());
    return std::make_unique<MusicMode>(clock, defaults, std::move(keeper), posters);
}

MusicMode::Playback MusicMode::playbackOf(const NowPlayingService &nowPlaying)
{
    Playback playback;
    playback.hasTrack = nowPlaying.hasTrack();
    playback.isPlaying = nowPlaying.isPlaying();
    playback.color = nowPlaying.albumColor();
    if (nowPlaying.hasArtwork())
        playback.poster = AlbumPoster{nowPlaying.artwork(), nowPlaying.albumColorValue(), nowPlaying.title(),
                                      nowPlaying.artist(),  nowPlaying.album(),           nowPlaying.artworkBytes(),
                                      nowPlaying.artworkHash()};
    return playback;
}

void MusicMode::followMusic(NowPlayingService &nowPlaying)
{
    const auto follow = [this, &nowPlaying] { setPlayback(playbackOf(nowPlaying)); };
    connect(&nowPlaying, &NowPlayingService::trackChanged, this, follow);
    connect(&nowPlaying, &NowPlayingService::artworkChanged, this, follow);
    connect(&nowPlaying, &NowPlayingService::colorsChanged, this, follow);
    follow();
}

MusicMode *MusicMode::create(QQmlEngine *engine, QJSEngine *js)
{
    if (instance() != nullptr)
        return QmlSingleton<MusicMode>::create(engine, js);
    static UserDefaults defaults;
    static MusicMode inert(Clock::system(), defaults, nullptr, nullptr);
    QJSEngine::setObjectOwnership(&inert, QJSEngine::CppOwnership);
    return &inert;
}

QString MusicMode::tintingHelpText()
{
    return tr("Tints your icons, widgets and folders with the album's color, and puts a poster of the album over "
              "your wallpaper");
}

QString MusicMode::posterOnlyHelpText()
{
    return tr("Puts a poster of the album over your wallpaper");
}

QString MusicMode::helpText() const
{
    return m_keeper ? tintingHelpText() : posterOnlyHelpText();
}

bool MusicMode::isAvailable() const
{
    return m_keeper != nullptr || m_posters != nullptr;
}

void MusicMode::start()
{
    // The two tint keys outlive only a run that ended without restoring:
    // converging to the user's colour finishes that run's work.
    if (m_keeper)
        m_keeper->request(TintKeeper::Target::original());
}

void MusicMode::restoreNow()
{
    m_pendingChange.cancel();
    m_waitingForCover.cancel();
    m_target = Look::original();
    m_applied = Look::original();
    if (m_keeper)
        m_keeper->restoreNow();
    if (m_posters)
        m_posters->hide();
}

void MusicMode::forgetWallpaperPosters(UserDefaults &defaults)
{
    defaults.remove(kAppliedWallpaperKey);
    // ~/.local/share/Tarnwick, as the calendars: AppDataLocation would add
    // the organisation's name a second time.
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Tarnwick/Wallpapers");
    QDir(folder).removeRecursively();
}

void MusicMode::setOn(bool on)
{
    if (on != m_isOn)
        toggle();
}

void MusicMode::toggle()
{
    if (!isAvailable())
        return;
    m_isOn = !m_isOn;
    m_defaults.setBool(kOnKey, m_isOn);
    emit isOnChanged();
    refresh(true);
}

void MusicMode::setPlayback(const Playback &playback)
{
    if (playback == m_playback)
        return;
    m_playback = playback;
    refresh(false);
}

void MusicMode::refresh(bool atOnce)
{
    const bool plays = m_isOn && m_playback.hasTrack && m_playback.isPlaying;
    if (plays && m_playback.color) {
        m_waitingForCover.cancel();
        set(Look::album(*m_playback.color, m_playback.poster), atOnce);
    } else if (plays) {
        // The cover (and with it the colour) often comes a moment after the
        // title; the look in force stays while we wait for it.
        waitForCover();
    } else {
        m_waitingForCover.cancel();
        set(Look::original(), atOnce);
    }
}

void MusicMode::waitForCover()
{
    if (m_waitingForCover.isActive())
        return;
    m_waitingForCover.start(kCoverWait, [this] { set(Look::original(), false); });
}

void MusicMode::set(const Look &look, bool atOnce)
{
    if (look == m_target)
        return;
    // The next track of the same album keeps its poster a little longer, so
    // the colour does not blink between tracks that share a cover.
    const bool sameCover = look.isAlbum && m_target.isAlbum && look.poster && m_target.poster
                           && look.poster->hasSameCover(*m_target.poster);
    m_target = look;
    m_pendingChange.cancel();
    if (atOnce) {
        apply(look);
        return;
    }
    m_pendingChange.start(sameCover ? kSameCoverWait : kSettleDelay, [this, look] { apply(look); });
}

void MusicMode::apply(const Look &look)
{
    // A pause shorter than the settle, or a track played again, leaves the
    // desktop as it is.
    if (look == m_applied)
        return;
    m_applied = look;
    if (look.isAlbum) {
        if (m_keeper)
            m_keeper->request(TintKeeper::Target::accent(look.color.r, look.color.g, look.color.b));
        if (m_posters && look.poster)
            m_posters->present(*look.poster);
        else if (m_posters)
            m_posters->hide();
        return;
    }
    if (m_keeper)
        m_keeper->request(TintKeeper::Target::original());
    if (m_posters)
        m_posters->hide();
}
