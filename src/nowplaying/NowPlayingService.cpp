#include "nowplaying/NowPlayingService.h"

#include "core/Clock.h"
#include "nowplaying/NowPlayingAdapter.h"

#include <QCoreApplication>
#include <QLocale>
#include <QPointer>
#include <QThreadPool>

#include <algorithm>
#include <cmath>

namespace {

double secondsBetween(const QDateTime &from, const QDateTime &to)
{
    return double(from.msecsTo(to)) / 1000.0;
}

} // namespace

QString NowPlayingService::helperMissingText()
{
    return tr("Tarnwick's Now Playing helper is missing.");
}

QString NowPlayingService::cannotReachText()
{
    return tr("Tarnwick can't reach your media players.");
}

QString NowPlayingService::nothingPlayingText()
{
    return tr("Play something in a music player, Spotify, or a browser to put a record on.");
}

NowPlayingService::NowPlayingService(Clock &clock, std::unique_ptr<NowPlayingAdapter> adapter,
                                     SpotifyScripting *spotify, LocalArtworkSearch *localArtwork, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_adapter(std::move(adapter))
    , m_spotify(spotify)
    , m_localArtwork(localArtwork)
    , m_restart(clock)
    , m_healthy(clock)
    , m_confirmation(clock)
    , m_artworkSearch(clock)
{
    m_placeholder = placeholderText();
}

NowPlayingService::~NowPlayingService()
{
    *m_alive = false;
    m_streaming = false;
    // The adapter goes first, so no helper's exit calls back into a
    // half-destroyed service.
    m_adapter.reset();
}

// ---- Start, stop and the restart loop ----

void NowPlayingService::start()
{
    if (m_streaming)
        return;
    if (!m_adapter) {
        setStatus(Status::Unavailable, helperMissingText());
        return;
    }
    m_streaming = true;
    m_adapter->terminateOrphanedStreams();
    runStream();
}

void NowPlayingService::stop()
{
    m_streaming = false;
    m_restart.cancel();
    m_healthy.cancel();
    if (m_adapter)
        m_adapter->stopStream();
    apply(std::nullopt, m_clock.now());
    if (m_status == Status::Unavailable)
        setStatus(Status::Starting);
}

void NowPlayingService::runStream()
{
    if (!m_streaming || !m_adapter)
        return;
    m_runStartedAt = m_clock.monotonicNow();
    if (m_status == Status::Starting)
        setStatus(Status::Running);
    // A helper that has stayed up this long is healthy again, even before
    // it ever exits: the quick-failure count and the status recover.
    m_healthy.start(kHealthyRun, [this] {
        m_quickFailures = 0;
        setStatus(Status::Running);
    });
    std::weak_ptr<bool> alive = m_alive;
    m_adapter->startStream(
        [this, alive](const std::optional<NowPlayingTrack> &track) {
            if (!alive.lock())
                return;
            // A line from the helper proves that it reaches the players, so
            // after a restart what it reports shows at once instead of the
            // "can't reach" message lingering for the five healthy seconds.
            // The quick-failure count still waits for those seconds: a
            // helper that dies right after its first line stays counted.
            if (m_status == Status::Unavailable)
                setStatus(Status::Running);
            apply(track, m_clock.now());
        },
        [this, alive](std::optional<int>) {
            if (alive.lock())
                streamEnded();
        });
}

void NowPlayingService::streamEnded()
{
    m_healthy.cancel();
    const double ran = m_clock.monotonicNow() - m_runStartedAt;
    if (ran >= kHealthyRun)
        m_quickFailures = 0;
    else
        ++m_quickFailures;
    if (m_quickFailures >= kQuickFailureLimit)
        setStatus(Status::Unavailable, cannotReachText());
    if (m_streaming)
        m_restart.start(kRestartDelay, [this] { runStream(); });
}

void NowPlayingService::setStatus(Status status, const QString &message)
{
    if (m_status == status && m_statusMessage == message)
        return;
    m_status = status;
    m_statusMessage = message;
    Q_EMIT statusChanged();
    const QString text = placeholderText();
    if (text != m_placeholder) {
        m_placeholder = text;
        Q_EMIT placeholderTextChanged();
    }
}

QString NowPlayingService::placeholderText() const
{
    if (m_status == Status::Unavailable)
        return m_statusMessage;
    if (!m_track)
        return nothingPlayingText();
    return {};
}

// ---- Apply ----

void NowPlayingService::apply(std::optional<NowPlayingTrack> incoming, const QDateTime &now)
{
    if (incoming && m_track) {
        steadyTiming(*incoming, now);
    } else if (!incoming) {
        m_pendingSeek.reset();
        m_resumedAt.reset();
    }
    if (incoming && isSpotify(*incoming)) {
        fillSpotifyModes(*incoming);
        if (m_lastSpotifyTitle != incoming->title)
            readSpotifyModes(incoming->title);
    }
    if (incoming && !incoming->artworkData)
        coverFromFiles(*incoming);
    // Covers are told apart by digest; one handed in without it gets it here.
    if (incoming && incoming->artworkData && incoming->artworkHash.isEmpty())
        incoming->setArtwork(incoming->artworkData);

    const QByteArray hash = incoming && incoming->artworkData ? incoming->artworkHash : QByteArray();
    if (hash != m_artworkHash)
        showArtwork(incoming ? incoming->artworkData : std::nullopt, hash);
    publish(std::move(incoming));
}

void NowPlayingService::publish(std::optional<NowPlayingTrack> track)
{
    if (!shouldNotify(m_track, track))
        return;
    m_track = std::move(track);
    Q_EMIT trackChanged();
    const QString text = placeholderText();
    if (text != m_placeholder) {
        m_placeholder = text;
        Q_EMIT placeholderTextChanged();
    }
}

bool NowPlayingService::shouldNotify(const std::optional<NowPlayingTrack> &before,
                                     const std::optional<NowPlayingTrack> &after)
{
    if (before.has_value() != after.has_value())
        return true;
    if (!before)
        return false;
    return *before != *after;
}

void NowPlayingService::steadyTiming(NowPlayingTrack &incoming, const QDateTime &now)
{
    const NowPlayingTrack &shown = *m_track;
    if (incoming.title != shown.title) {
        m_pendingSeek.reset();
        m_resumedAt.reset();
        return;
    }
    if (incoming.isPlaying && !shown.isPlaying)
        m_resumedAt = now;
    // Players report the position they paused at with the old timestamp;
    // extrapolating from it would jump ahead by the length of the pause.
    if (m_resumedAt && incoming.timestamp && secondsBetween(*incoming.timestamp, *m_resumedAt) > kStaleResumeSlack)
        incoming.timestamp = m_resumedAt;

    if (m_pendingSeek) {
        const double sinceSeek = secondsBetween(m_pendingSeek->at, now);
        const double expected = m_pendingSeek->position + (incoming.isPlaying ? sinceSeek : 0.0);
        const std::optional<double> reported = incoming.elapsedAt(now);
        if (reported && std::fabs(*reported - expected) <= kSeekLandedWithin) {
            m_pendingSeek.reset();
        } else if (sinceSeek < kSeekSettleTime) {
            // The player has not caught up yet: keep the play head where the
            // user put it.
            incoming.elapsed = shown.elapsed;
            incoming.timestamp = shown.timestamp;
        } else {
            m_pendingSeek.reset();
        }
    }
}

// ---- Commands and seeks ----

void NowPlayingService::send(NowPlayingTrack::MediaCommand command)
{
    using Command = NowPlayingTrack::MediaCommand;
    if (m_track && isSpotify(*m_track)
        && (command == Command::AdvanceShuffleMode || command == Command::AdvanceRepeatMode)) {
        toggleSpotify(command == Command::AdvanceShuffleMode);
        return;
    }
    if (m_adapter)
        m_adapter->runOnce(NowPlayingAdapter::sendArguments(command));
    if (command == Command::TogglePlayPause && m_track) {
        NowPlayingTrack toggled = *m_track;
        toggled.togglePlaybackOptimistically(m_clock.now());
        publish(toggled);
    }
}

void NowPlayingService::seek(double seconds, const QDateTime &now)
{
    if (m_track) {
        NowPlayingTrack moved = *m_track;
        moved.elapsed = seconds;
        moved.timestamp = now;
        publish(moved);
    }
    m_pendingSeek = PendingSeek{seconds, now};
    if (!m_adapter)
        return;
    m_queuedSeek = seconds;
    if (m_isSeeking)
        return;
    m_isSeeking = true;
    runSeekLoop();
}

void NowPlayingService::runSeekLoop()
{
    // One helper at a time; a drag that outruns it ends on its newest target.
    if (!m_queuedSeek || !m_adapter) {
        m_isSeeking = false;
        return;
    }
    const double target = *std::exchange(m_queuedSeek, std::nullopt);
    std::weak_ptr<bool> alive = m_alive;
    m_adapter->seek(target, [this, alive] {
        if (alive.lock())
            runSeekLoop();
    });
}

void NowPlayingService::seekTo(double seconds)
{
    seek(seconds, m_clock.now());
}

double NowPlayingService::position() const
{
    if (!m_track)
        return -1;
    return m_track->elapsedAt(m_clock.now()).value_or(-1);
}

// ---- Covers ----

QString NowPlayingService::songKey(const NowPlayingTrack &track)
{
    const QChar separator(0x1f);
    return track.appBundleIdentifier.value_or(QString()) + separator + track.title + separator
        + track.artist.value_or(QString()) + separator
        + (track.duration ? QString::number(std::llround(*track.duration)) : QString());
}

bool NowPlayingService::mayHaveFileArtwork(const NowPlayingTrack &track)
{
    if (track.title.isEmpty())
        return false;
    if (track.mediaType && track.mediaType->contains(QLatin1String("video"), Qt::CaseInsensitive))
        return false;
    return !(track.appBundleIdentifier && NowPlayingTrack::videoApps().contains(*track.appBundleIdentifier));
}

void NowPlayingService::coverFromFiles(NowPlayingTrack &track)
{
    if (!mayHaveFileArtwork(track))
        return;
    const QString key = songKey(track);
    const auto found = m_fileArtwork.constFind(key);
    if (found != m_fileArtwork.constEnd()) {
        if (found->bytes)
            track.setArtwork(found->bytes, found->hash);
        return;
    }
    if (m_artworkSearchKey == key || !m_localArtwork)
        return;
    m_artworkSearchKey = key;
    const LocalArtworkSearch::Query query{track.title, track.artist, track.album, track.duration};
    m_artworkSearch.start(kArtworkSearchDelay, [this, key, query] {
        std::weak_ptr<bool> alive = m_alive;
        m_localArtwork->artwork(query, [this, alive, key](std::optional<QByteArray> cover) {
            if (!alive.lock())
                return;
            const FileCover result{cover, cover ? NowPlayingTrack::hashOf(*cover) : QByteArray()};
            m_fileArtwork.insert(key, result);
            if (m_artworkSearchKey == key)
                m_artworkSearchKey.clear();
            if (cover && m_track && !m_track->artworkData && songKey(*m_track) == key) {
                NowPlayingTrack withCover = *m_track;
                withCover.setArtwork(result.bytes, result.hash);
                showArtwork(withCover.artworkData, result.hash);
                publish(withCover);
            }
        });
    });
}

void NowPlayingService::showArtwork(const std::optional<QByteArray> &bytes, const QByteArray &hash)
{
    m_artworkHash = hash;
    const quint64 generation = ++m_artworkGeneration;
    if (!bytes) {
        m_artworkBytes.clear();
        setArtwork({}, std::nullopt);
        return;
    }
    // A cover can be a 3000-pixel JPEG: it is decoded on a worker thread,
    // once, straight to the size it is drawn at, and the colour is taken
    // from that. The cover shown so far stays until the new one is ready.
    QPointer<NowPlayingService> self(this);
    QThreadPool::globalInstance()->start([self, generation, bytes = *bytes] {
        QImage image = ArtworkAccentColor::decode(bytes, kArtworkSide);
        const auto raw = ArtworkAccentColor::rawColor(image);
        QMetaObject::invokeMethod(
            qApp,
            [self, generation, bytes, image = std::move(image), raw] {
                // A newer cover (or none) may have come in meanwhile.
                if (self && generation == self->m_artworkGeneration) {
                    self->m_artworkBytes = bytes;
                    self->setArtwork(image, raw);
                }
            },
            Qt::QueuedConnection);
    });
}

void NowPlayingService::setArtwork(const QImage &image, std::optional<ArtworkAccentColor::RGB> raw)
{
    const bool hadArtwork = !m_artwork.isNull();
    m_artwork = image;
    if (hadArtwork || !image.isNull())
        Q_EMIT artworkChanged();

    const auto visible = raw ? std::optional(ArtworkAccentColor::visibleOnBlack(*raw)) : std::nullopt;
    // Half the brightness of the album colour: deep enough for a backdrop
    // behind white text, still clearly the album's hue.
    const ArtworkAccentColor::RGB accent =
        visible ? ArtworkAccentColor::RGB{visible->r * 0.5, visible->g * 0.5, visible->b * 0.5} : kDefaultAccent;
    if (raw != m_albumRawColor || visible != m_albumColor || !(accent == m_accentColor)) {
        m_albumRawColor = raw;
        m_albumColor = visible;
        m_accentColor = accent;
        Q_EMIT colorsChanged();
    }
}

QColor NowPlayingService::albumRawColorValue() const
{
    return m_albumRawColor ? m_albumRawColor->toColor() : QColor();
}

QColor NowPlayingService::albumColorValue() const
{
    return m_albumColor ? m_albumColor->toColor() : QColor();
}

// ---- Spotify's shuffle and repeat ----

bool NowPlayingService::isSpotify(const NowPlayingTrack &track) const
{
    return track.appBundleIdentifier == kSpotifyId;
}

void NowPlayingService::fillSpotifyModes(NowPlayingTrack &track) const
{
    // Spotify's own reports of these two states are not to be trusted; with
    // no way to ask Spotify, they are unknown.
    if (m_spotifyDenied || !m_spotify) {
        track.shuffle.reset();
        track.repeatMode.reset();
        return;
    }
    const SpotifyScripting::Modes modes = m_spotifyModes.value_or(SpotifyScripting::Modes{});
    track.shuffle = modes.shuffle ? NowPlayingTrack::ShuffleMode::Tracks : NowPlayingTrack::ShuffleMode::Off;
    track.repeatMode = modes.repeating ? NowPlayingTrack::RepeatMode::All : NowPlayingTrack::RepeatMode::Off;
}

void NowPlayingService::refreshSpotifyTrack()
{
    if (!m_track || !isSpotify(*m_track))
        return;
    NowPlayingTrack refreshed = *m_track;
    fillSpotifyModes(refreshed);
    publish(refreshed);
}

void NowPlayingService::readSpotifyModes(const QString &title)
{
    m_lastSpotifyTitle = title;
    if (!m_spotify)
        return;
    std::weak_ptr<bool> alive = m_alive;
    m_spotify->readModes([this, alive](std::optional<SpotifyScripting::Modes> modes) {
        if (!alive.lock())
            return;
        if (!modes) {
            checkSpotifyRefusal();
            return;
        }
        if (m_isSpotifySettling)
            return;
        m_spotifyModes = modes;
        refreshSpotifyTrack();
    });
}

// No answer: find out whether Spotify refuses us, so we stop asking.
void NowPlayingService::checkSpotifyRefusal()
{
    std::weak_ptr<bool> alive = m_alive;
    m_spotify->access(false, [this, alive](SpotifyScripting::Access access) {
        if (alive.lock() && access == SpotifyScripting::Access::Denied && !m_spotifyDenied) {
            m_spotifyDenied = true;
            refreshSpotifyTrack();
        }
    });
}

void NowPlayingService::toggleSpotify(bool shuffle)
{
    SpotifyScripting::Modes modes = m_spotifyModes.value_or(SpotifyScripting::Modes{});
    if (shuffle)
        modes.shuffle = !modes.shuffle;
    else
        modes.repeating = !modes.repeating;
    m_spotifyModes = modes;
    ++m_spotifyClicks;
    m_isSpotifySettling = true;
    ++m_confirmGeneration;
    m_confirmation.cancel();
    refreshSpotifyTrack();
    if (!m_spotify)
        return;
    std::weak_ptr<bool> alive = m_alive;
    auto confirm = [this, alive](bool) {
        if (alive.lock())
            confirmSpotify();
    };
    if (shuffle)
        m_spotify->setShuffle(modes.shuffle, confirm);
    else
        m_spotify->setRepeat(modes.repeating, confirm);
}

void NowPlayingService::confirmSpotify()
{
    m_confirmation.cancel();
    const quint64 generation = ++m_confirmGeneration;
    m_confirmationStartedAt = m_clock.monotonicNow();
    confirmStep(generation, m_spotifyClicks, 0);
}

void NowPlayingService::confirmStep(quint64 generation, int clicks, size_t step)
{
    if (step >= m_confirmationDelays.size())
        return;
    // Each read is timed from the start, so a slow answer does not push the
    // later reads back.
    const double wait = std::max(0.0, m_confirmationStartedAt + m_confirmationDelays[step] - m_clock.monotonicNow());
    m_confirmation.start(wait, [this, generation, clicks, step] {
        std::weak_ptr<bool> alive = m_alive;
        m_spotify->readModes([this, alive, generation, clicks, step](std::optional<SpotifyScripting::Modes> read) {
            // A newer click owns the outcome now.
            if (!alive.lock() || generation != m_confirmGeneration || clicks != m_spotifyClicks)
                return;
            const bool last = step + 1 >= m_confirmationDelays.size();
            if (!read)
                checkSpotifyRefusal();
            if ((read && read == m_spotifyModes) || last) {
                if (read)
                    m_spotifyModes = read;
                m_isSpotifySettling = false;
                refreshSpotifyTrack();
                return;
            }
            confirmStep(generation, clicks, step + 1);
        });
    });
}

// ---- View accessors ----

QString NowPlayingService::title() const { return m_track ? m_track->title : QString(); }
QString NowPlayingService::artist() const { return m_track ? m_track->artist.value_or(QString()) : QString(); }
QString NowPlayingService::album() const { return m_track ? m_track->album.value_or(QString()) : QString(); }
QString NowPlayingService::subtitle() const
{
    // Radio streams and some players give an album but no artist; the line
    // would otherwise stay empty.
    const QString a = artist();
    return a.isEmpty() ? album() : a;
}

QColor NowPlayingService::highlightColor() const
{
    return m_albumColor ? m_albumColor->toColor() : QColor(Qt::white);
}

QColor NowPlayingService::labelColor() const
{
    // A deeper shade of the highlight, so the label reads as the album's
    // colour without outshining the marks drawn in the highlight itself.
    return highlightColor().darker(160);
}

bool NowPlayingService::isPlaying() const { return m_track && m_track->isPlaying; }

double NowPlayingService::duration() const
{
    return m_track && m_track->duration && *m_track->duration > 0 ? *m_track->duration : 0.0;
}

bool NowPlayingService::canSeek() const
{
    return duration() > 0 && m_track->elapsed.has_value();
}

bool NowPlayingService::shuffleKnown() const { return m_track && m_track->shuffle.has_value(); }

bool NowPlayingService::shuffleOn() const
{
    return m_track && m_track->shuffle && *m_track->shuffle != NowPlayingTrack::ShuffleMode::Off;
}

bool NowPlayingService::repeatKnown() const { return m_track && m_track->repeatMode.has_value(); }

NowPlayingTrack::RepeatMode NowPlayingService::repeatModeOrOff() const
{
    return m_track ? m_track->repeatMode.value_or(NowPlayingTrack::RepeatMode::Off) : NowPlayingTrack::RepeatMode::Off;
}

QString NowPlayingService::shuffleHelp() const
{
    return shuffleOn() ? tr("Shuffle is on") : tr("Shuffle is off");
}

QString NowPlayingService::repeatHelp() const
{
    switch (repeatModeOrOff()) {
    case NowPlayingTrack::RepeatMode::Off: return tr("Repeat is off");
    case NowPlayingTrack::RepeatMode::Track: return tr("Repeating this track");
    case NowPlayingTrack::RepeatMode::All: return tr("Repeating all");
    }
    return {};
}

QString NowPlayingService::formatTime(double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0)
        seconds = 0;
    const qint64 total = qint64(std::floor(seconds));
    const qint64 h = total / 3600;
    const qint64 m = (total / 60) % 60;
    const qint64 s = total % 60;
    if (h > 0)
        return QStringLiteral("%1:%2:%3").arg(h).arg(m, 2, 10, QLatin1Char('0')).arg(s, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(m).arg(s, 2, 10, QLatin1Char('0'));
}
