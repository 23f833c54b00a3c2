#include "nowplaying/NowPlayingTrack.h"

#include <QCryptographicHash>

#include <QMetaType>
#include <cmath>

namespace {

std::optional<QString> nonEmptyString(const QVariantMap &payload, const QString &key)
{
    const auto it = payload.constFind(key);
    if (it == payload.constEnd() || it->typeId() != QMetaType::QString)
        return std::nullopt;
    const QString s = it->toString();
    if (s.isEmpty())
        return std::nullopt;
    return s;
}

bool isNumber(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

std::optional<double> number(const QVariantMap &payload, const QString &key)
{
    const auto it = payload.constFind(key);
    if (it == payload.constEnd() || !isNumber(*it))
        return std::nullopt;
    const double d = it->toDouble();
    if (!std::isfinite(d))
        return std::nullopt;
    return d;
}

// An integer code; 2.0 from JSON counts as 2, 2.5 does not.
std::optional<qint64> integer(const QVariant &v)
{
    if (!isNumber(v))
        return std::nullopt;
    const double d = v.toDouble();
    if (!std::isfinite(d) || d != std::floor(d) || std::fabs(d) > 1e15)
        return std::nullopt;
    return qint64(d);
}

} // namespace

std::optional<NowPlayingTrack::ShuffleMode> NowPlayingTrack::shuffleFromCode(const QVariant &code)
{
    switch (integer(code).value_or(0)) {
    case 1: return ShuffleMode::Off;
    case 2: return ShuffleMode::Albums;
    case 3: return ShuffleMode::Tracks;
    default: return std::nullopt;
    }
}

std::optional<NowPlayingTrack::RepeatMode> NowPlayingTrack::repeatFromCode(const QVariant &code)
{
    switch (integer(code).value_or(0)) {
    case 1: return RepeatMode::Off;
    case 2: return RepeatMode::Track;
    case 3: return RepeatMode::All;
    default: return std::nullopt;
    }
}

std::optional<NowPlayingTrack::MediaCommand> NowPlayingTrack::commandFromRaw(int raw)
{
    switch (raw) {
    case 0: case 1: case 2: case 4: case 5: case 6: case 7:
        return MediaCommand(raw);
    default:
        return std::nullopt;
    }
}

std::optional<NowPlayingTrack> NowPlayingTrack::fromPayload(const QVariantMap &payload)
{
    const auto title = nonEmptyString(payload, QStringLiteral("title"));
    if (!title)
        return std::nullopt;

    NowPlayingTrack t;
    t.title = *title;
    t.artist = nonEmptyString(payload, QStringLiteral("artist"));
    t.album = nonEmptyString(payload, QStringLiteral("album"));

    // A page playing inside a browser's helper process names the browser as
    // its parent; that is the program the user knows.
    auto stringAt = [&](const QString &key) -> std::optional<QString> {
        const auto it = payload.constFind(key);
        if (it == payload.constEnd() || it->typeId() != QMetaType::QString)
            return std::nullopt;
        return it->toString();
    };
    t.appBundleIdentifier = stringAt(QStringLiteral("parentApplicationBundleIdentifier"));
    if (!t.appBundleIdentifier)
        t.appBundleIdentifier = stringAt(QStringLiteral("bundleIdentifier"));

    const QVariant playing = payload.value(QStringLiteral("playing"));
    t.isPlaying = playing.typeId() == QMetaType::Bool && playing.toBool();

    if (const auto d = number(payload, QStringLiteral("durationMicros")))
        t.duration = *d / 1'000'000.0;
    if (const auto e = number(payload, QStringLiteral("elapsedTimeMicros")))
        t.elapsed = *e / 1'000'000.0;
    if (const auto ts = number(payload, QStringLiteral("timestampEpochMicros"))) {
        const double ms = *ts / 1000.0;
        if (std::fabs(ms) < 8.64e15)
            t.timestamp = QDateTime::fromMSecsSinceEpoch(qint64(std::llround(ms)), Qt::UTC);
    }
    t.playbackRate = number(payload, QStringLiteral("playbackRate")).value_or(t.isPlaying ? 1.0 : 0.0);

    if (const auto art = stringAt(QStringLiteral("artworkData"))) {
        auto decoded = QByteArray::fromBase64Encoding(art->toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
        // Latin-1 would hide characters outside it; such a string is no Base64.
        bool ascii = true;
        for (QChar c : *art)
            ascii = ascii && c.unicode() < 128;
        if (decoded && ascii)
            t.setArtwork(*decoded);
    }

    t.shuffle = shuffleFromCode(payload.value(QStringLiteral("shuffleMode")));
    t.repeatMode = repeatFromCode(payload.value(QStringLiteral("repeatMode")));
    t.mediaType = stringAt(QStringLiteral("mediaType"));
    return t;
}

std::optional<double> NowPlayingTrack::elapsedAt(const QDateTime &at) const
{
    if (!elapsed)
        return std::nullopt;
    double position = *elapsed;
    if (isPlaying && timestamp) {
        // A playing track whose reported rate is 0 still advances in real time.
        const double rate = playbackRate > 0 ? playbackRate : 1.0;
        position += double(timestamp->msecsTo(at)) / 1000.0 * rate;
    }
    if (duration && *duration > 0)
        position = std::min(position, *duration);
    return std::max(position, 0.0);
}

void NowPlayingTrack::togglePlaybackOptimistically(const QDateTime &now)
{
    elapsed = elapsedAt(now);
    timestamp = now;
    isPlaying = !isPlaying;
    playbackRate = isPlaying ? 1.0 : 0.0;
}

void NowPlayingTrack::setArtwork(std::optional<QByteArray> bytes)
{
    QByteArray hash = bytes ? hashOf(*bytes) : QByteArray();
    setArtwork(std::move(bytes), std::move(hash));
}

void NowPlayingTrack::setArtwork(std::optional<QByteArray> bytes, QByteArray hash)
{
    artworkData = std::move(bytes);
    artworkHash = artworkData ? std::move(hash) : QByteArray();
}

QByteArray NowPlayingTrack::hashOf(const QByteArray &bytes)
{
    // Only tells covers apart; nothing here needs it to resist an attacker.
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5);
}

namespace {

bool sameArtwork(const NowPlayingTrack &a, const NowPlayingTrack &b)
{
    if (a.artworkData.has_value() != b.artworkData.has_value())
        return false;
    // A track whose cover was set without a digest is compared byte by byte.
    if (!a.artworkHash.isEmpty() && !b.artworkHash.isEmpty())
        return a.artworkHash == b.artworkHash;
    return a.artworkData == b.artworkData;
}

} // namespace

bool NowPlayingTrack::operator==(const NowPlayingTrack &o) const
{
    return title == o.title && artist == o.artist && album == o.album && appBundleIdentifier == o.appBundleIdentifier
        && isPlaying == o.isPlaying && duration == o.duration && elapsed == o.elapsed && timestamp == o.timestamp
        && playbackRate == o.playbackRate && sameArtwork(*this, o) && shuffle == o.shuffle
        && repeatMode == o.repeatMode && mediaType == o.mediaType;
}

const QSet<QString> &NowPlayingTrack::videoApps()
{
    static const QSet<QString> apps{
        // Web browsers
        QStringLiteral("firefox"), QStringLiteral("org.mozilla.firefox"), QStringLiteral("chromium"),
        QStringLiteral("google-chrome"), QStringLiteral("microsoft-edge"), QStringLiteral("brave-browser"),
        QStringLiteral("vivaldi-stable"), QStringLiteral("opera"), QStringLiteral("librewolf"), QStringLiteral("zen"),
        QStringLiteral("epiphany"), QStringLiteral("org.gnome.Epiphany"),
        // Video players
        QStringLiteral("vlc"), QStringLiteral("org.videolan.VLC"), QStringLiteral("mpv"), QStringLiteral("io.mpv.Mpv"),
        QStringLiteral("celluloid"), QStringLiteral("io.github.celluloid_player.Celluloid"), QStringLiteral("totem"),
        QStringLiteral("org.gnome.Totem"), QStringLiteral("org.kde.haruna"), QStringLiteral("smplayer"),
    };
    return apps;
}
