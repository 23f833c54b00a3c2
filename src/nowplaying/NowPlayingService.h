#pragma once

#include "core/ClockSlot.h"
#include "core/QmlSingleton.h"
#include "nowplaying/ArtworkAccentColor.h"
#include "nowplaying/LocalArtworkSearch.h"
#include "nowplaying/NowPlayingTrack.h"
#include "nowplaying/SpotifyScripting.h"

#include <QColor>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <memory>
#include <optional>

class Clock;
class NowPlayingAdapter;

// What plays, for the whole program. It keeps the helper's stream running
// (restarting it when it exits), smooths the raw reports so the turntable
// never jumps (a stale timestamp after a resume, the play head during a
// seek, Spotify's slow shuffle and repeat), finds a cover in local files when
// the player has none, derives the album colours, and sends commands and
// seeks. Views read its properties and call its invokables.
class NowPlayingService : public QObject, public QmlSingleton<NowPlayingService>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(Status status READ status NOTIFY statusChanged)
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY statusChanged)
    // What the page says instead of a record: nothing playing, or why Now
    // Playing is unavailable. Empty while a track shows.
    Q_PROPERTY(QString placeholderText READ placeholderText NOTIFY placeholderTextChanged)

    Q_PROPERTY(bool hasTrack READ hasTrack NOTIFY trackChanged)
    Q_PROPERTY(QString title READ title NOTIFY trackChanged)
    Q_PROPERTY(QString artist READ artist NOTIFY trackChanged)
    Q_PROPERTY(QString album READ album NOTIFY trackChanged)
    // The line under the title: the artist, else the album.
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY trackChanged)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY trackChanged)
    // Seconds; 0 when unknown.
    Q_PROPERTY(double duration READ duration NOTIFY trackChanged)
    Q_PROPERTY(bool canSeek READ canSeek NOTIFY trackChanged)
    Q_PROPERTY(bool shuffleKnown READ shuffleKnown NOTIFY trackChanged)
    Q_PROPERTY(bool shuffleOn READ shuffleOn NOTIFY trackChanged)
    Q_PROPERTY(bool repeatKnown READ repeatKnown NOTIFY trackChanged)
    Q_PROPERTY(bool repeatOn READ repeatOn NOTIFY trackChanged)
    Q_PROPERTY(bool repeatOne READ repeatOne NOTIFY trackChanged)
    // Tooltips of the shuffle and repeat buttons, saying the current state.
    Q_PROPERTY(QString shuffleHelp READ shuffleHelp NOTIFY trackChanged)
    Q_PROPERTY(QString repeatHelp READ repeatHelp NOTIFY trackChanged)

    Q_PROPERTY(QImage artwork READ artwork NOTIFY artworkChanged)
    Q_PROPERTY(bool hasArtwork READ hasArtwork NOTIFY artworkChanged)
    // Invalid colours when there is no cover.
    Q_PROPERTY(QColor albumRawColor READ albumRawColorValue NOTIFY colorsChanged)
    Q_PROPERTY(QColor albumColor READ albumColorValue NOTIFY colorsChanged)
    Q_PROPERTY(QColor accentColor READ accentColorValue NOTIFY colorsChanged)
    // The album colour for marks on black (seek bar, active buttons, level
    // bars), white without one; and the plain record label drawn from it.
    Q_PROPERTY(QColor highlightColor READ highlightColor NOTIFY colorsChanged)
    Q_PROPERTY(QColor labelColor READ labelColor NOTIFY colorsChanged)

public:
    enum class Status { Starting, Running, Unavailable };
    Q_ENUM(Status)

    struct PendingSeek
    {
        double position = 0;
        QDateTime at;
    };

    static inline const QString kSpotifyId = QStringLiteral("spotify");
    static constexpr double kRestartDelay = 2.0;
    static constexpr double kHealthyRun = 5.0;
    static constexpr int kQuickFailureLimit = 3;
    static constexpr double kSeekSettleTime = 2.5;
    static constexpr double kSeekLandedWithin = 1.5;
    static constexpr double kStaleResumeSlack = 0.5;
    static constexpr double kArtworkSearchDelay = 1.0;
    static inline const ArtworkAccentColor::RGB kDefaultAccent{0.16, 0.16, 0.18};
    // The longest side a cover is decoded to: the record label at three
    // times the pixel density, with room to spare; the album colour's
    // thumbnail is smaller still.
    static constexpr int kArtworkSide = 256;

    static QString helperMissingText();
    static QString cannotReachText();
    static QString nothingPlayingText();

    // `adapter` may be null (the helper is missing); `spotify` and
    // `localArtwork` may be null and are not owned.
    NowPlayingService(Clock &clock, std::unique_ptr<NowPlayingAdapter> adapter, SpotifyScripting *spotify = nullptr,
                      LocalArtworkSearch *localArtwork = nullptr, QObject *parent = nullptr);
    ~NowPlayingService() override;

    void start();
    void stop();
    bool isStreaming() const { return m_streaming; }

    void send(NowPlayingTrack::MediaCommand command);
    void seek(double seconds, const QDateTime &now);
    // One report from the stream (nothing = nothing plays).
    void apply(std::optional<NowPlayingTrack> incoming, const QDateTime &now);

    const std::optional<NowPlayingTrack> &track() const { return m_track; }
    Status status() const { return m_status; }
    QString statusMessage() const { return m_statusMessage; }
    QString placeholderText() const;
    std::optional<ArtworkAccentColor::RGB> albumRawColor() const { return m_albumRawColor; }
    std::optional<ArtworkAccentColor::RGB> albumColor() const { return m_albumColor; }
    ArtworkAccentColor::RGB accentColor() const { return m_accentColor; }
    std::optional<PendingSeek> pendingSeek() const { return m_pendingSeek; }
    bool isSeeking() const { return m_isSeeking; }
    int quickFailures() const { return m_quickFailures; }
    // A cover found on disk for a song, with its digest; no bytes when the
    // search found nothing.
    struct FileCover
    {
        std::optional<QByteArray> bytes;
        QByteArray hash;
    };
    const QHash<QString, FileCover> &fileArtwork() const { return m_fileArtwork; }

    static bool shouldNotify(const std::optional<NowPlayingTrack> &before, const std::optional<NowPlayingTrack> &after);
    static QString songKey(const NowPlayingTrack &track);
    // Video sources and untitled entries get no cover from local files.
    static bool mayHaveFileArtwork(const NowPlayingTrack &track);


    // For the views.
    bool hasTrack() const { return m_track.has_value(); }
    QString title() const;
    QString artist() const;
    QString album() const;
    QString subtitle() const;
    bool isPlaying() const;
    double duration() const;
    bool canSeek() const;
    bool shuffleKnown() const;
    bool shuffleOn() const;
    bool repeatKnown() const;
    NowPlayingTrack::RepeatMode repeatModeOrOff() const;
    bool repeatOn() const { return repeatModeOrOff() != NowPlayingTrack::RepeatMode::Off; }
    bool repeatOne() const { return repeatModeOrOff() == NowPlayingTrack::RepeatMode::Track; }
    QString shuffleHelp() const;
    QString repeatHelp() const;
    QImage artwork() const { return m_artwork; }
    // The shown cover as it came (encoded), for views that draw it larger
    // than `artwork`, and a digest that tells covers apart without pixels.
    QByteArray artworkBytes() const { return m_artworkBytes; }
    QByteArray artworkHash() const { return m_artworkHash; }
    bool hasArtwork() const { return !m_artwork.isNull(); }
    QColor albumRawColorValue() const;
    QColor albumColorValue() const;
    QColor accentColorValue() const { return m_accentColor.toColor(); }
    QColor highlightColor() const;
    QColor labelColor() const;

    // The play head now, extrapolated; -1 when unknown.
    Q_INVOKABLE double position() const;
    Q_INVOKABLE void seekTo(double seconds);
    Q_INVOKABLE void sendCommand(NowPlayingTrack::MediaCommand command) { send(command); }
    Q_INVOKABLE void togglePlayPause() { send(NowPlayingTrack::MediaCommand::TogglePlayPause); }
    Q_INVOKABLE void nextTrack() { send(NowPlayingTrack::MediaCommand::NextTrack); }
    Q_INVOKABLE void previousTrack() { send(NowPlayingTrack::MediaCommand::PreviousTrack); }
    Q_INVOKABLE void advanceShuffle() { send(NowPlayingTrack::MediaCommand::AdvanceShuffleMode); }
    Q_INVOKABLE void advanceRepeat() { send(NowPlayingTrack::MediaCommand::AdvanceRepeatMode); }
    // "1:05", "12:34", "1:02:03".
    Q_INVOKABLE static QString formatTime(double seconds);

Q_SIGNALS:
    void statusChanged();
    void placeholderTextChanged();
    void trackChanged();
    void artworkChanged();
    void colorsChanged();

private:
    void runStream();
    void streamEnded();
    void setStatus(Status status, const QString &message = {});
    void publish(std::optional<NowPlayingTrack> track);
    void steadyTiming(NowPlayingTrack &incoming, const QDateTime &now);
    void coverFromFiles(NowPlayingTrack &track);
    void showArtwork(const std::optional<QByteArray> &bytes, const QByteArray &hash);
    void setArtwork(const QImage &image, std::optional<ArtworkAccentColor::RGB> raw);
    void runSeekLoop();

    bool isSpotify(const NowPlayingTrack &track) const;
    void fillSpotifyModes(NowPlayingTrack &track) const;
    void readSpotifyModes(const QString &title);
    void checkSpotifyRefusal();
    void toggleSpotify(bool shuffle);
    void confirmSpotify();
    void confirmStep(quint64 generation, int clicks, size_t step);
    void refreshSpotifyTrack();

    Clock &m_clock;
    std::unique_ptr<NowPlayingAdapter> m_adapter;
    SpotifyScripting *m_spotify;
    LocalArtworkSearch *m_localArtwork;

    Status m_status = Status::Starting;
    QString m_statusMessage;
    QString m_placeholder;
    std::optional<NowPlayingTrack> m_track;
    QByteArray m_artworkHash; // of the cover shown or being decoded
    quint64 m_artworkGeneration = 0;
    QImage m_artwork;
    QByteArray m_artworkBytes; // of m_artwork
    std::optional<ArtworkAccentColor::RGB> m_albumRawColor;
    std::optional<ArtworkAccentColor::RGB> m_albumColor;
    ArtworkAccentColor::RGB m_accentColor = kDefaultAccent;

    // The stream's restart loop.
    bool m_streaming = false;
    double m_runStartedAt = 0;
    int m_quickFailures = 0;
    ClockSlot m_restart;
    ClockSlot m_healthy;

    // Smoothing of the current title.
    std::optional<PendingSeek> m_pendingSeek;
    std::optional<QDateTime> m_resumedAt;
    std::optional<double> m_queuedSeek;
    bool m_isSeeking = false;

    // Spotify's shuffle and repeat.
    std::optional<SpotifyScripting::Modes> m_spotifyModes;
    bool m_spotifyDenied = false;
    std::optional<QString> m_lastSpotifyTitle;
    int m_spotifyClicks = 0;
    bool m_isSpotifySettling = false;
    quint64 m_confirmGeneration = 0;
    std::vector<double> m_confirmationDelays{0.6, 1.0, 2.0};
    double m_confirmationStartedAt = 0;
    ClockSlot m_confirmation;

    // Covers found on disk, by song; an empty value means none was found.
    QHash<QString, FileCover> m_fileArtwork;
    QString m_artworkSearchKey;
    ClockSlot m_artworkSearch;

    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};
