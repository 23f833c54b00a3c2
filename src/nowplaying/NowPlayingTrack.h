#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariantMap>
#include <optional>

// What a media player is playing right now, as one plain value: the text of
// the track, which program plays it, whether it plays, where the play head
// stood at a known instant, and the cover. Built from the helper's merged
// payload and compared by value, so the service can tell observers only
// about real changes.
class NowPlayingTrack
{
    Q_GADGET
public:
    enum class ShuffleMode { Off, Albums, Tracks };
    Q_ENUM(ShuffleMode)
    enum class RepeatMode { Off, Track, All };
    Q_ENUM(RepeatMode)
    // The numbers follow the media-remote command numbers that the helper's
    // `send` verb speaks; 3 is deliberately unused.
    enum class MediaCommand {
        Play = 0,
        Pause = 1,
        TogglePlayPause = 2,
        NextTrack = 4,
        PreviousTrack = 5,
        AdvanceShuffleMode = 6,
        AdvanceRepeatMode = 7,
    };
    Q_ENUM(MediaCommand)

    QString title;
    std::optional<QString> artist;
    std::optional<QString> album;
    std::optional<QString> appBundleIdentifier;
    bool isPlaying = false;
    std::optional<double> duration;
    std::optional<double> elapsed;
    std::optional<QDateTime> timestamp;
    double playbackRate = 0;
    std::optional<QByteArray> artworkData;
    // A digest of artworkData, so tracks are compared without going through
    // megabytes of cover on every report. Set with setArtwork().
    QByteArray artworkHash;
    std::optional<ShuffleMode> shuffle;
    std::optional<RepeatMode> repeatMode;
    std::optional<QString> mediaType;

    // Nothing when the payload cannot describe a track (no non-empty title).
    static std::optional<NowPlayingTrack> fromPayload(const QVariantMap &payload);

    // Sets the cover and its digest together.
    void setArtwork(std::optional<QByteArray> bytes);
    void setArtwork(std::optional<QByteArray> bytes, QByteArray hash);
    static QByteArray hashOf(const QByteArray &bytes);

    // The play head extrapolated to `at`, clamped to 0...duration.
    std::optional<double> elapsedAt(const QDateTime &at) const;
    // As if play/pause had already taken effect, so the controls react at once.
    void togglePlaybackOptimistically(const QDateTime &now);

    bool operator==(const NowPlayingTrack &other) const;
    bool operator!=(const NowPlayingTrack &other) const { return !(*this == other); }

    static std::optional<ShuffleMode> shuffleFromCode(const QVariant &code);
    static std::optional<RepeatMode> repeatFromCode(const QVariant &code);
    // The helper's command numbers skip 3.
    static std::optional<MediaCommand> commandFromRaw(int raw);

    // Desktop IDs of browsers and video players: their entries are video
    // sources, for which no local cover is looked for.
    static const QSet<QString> &videoApps();
};

Q_DECLARE_METATYPE(NowPlayingTrack)
