#include "MprisPayload.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <cmath>
#include <tuple>

namespace MprisPayload {

QString bundleIdentifier(const QString &desktopEntry, const QString &busName)
{
    if (!desktopEntry.isEmpty())
        return desktopEntry;
    static const QString prefix = QStringLiteral("org.mpris.MediaPlayer2.");
    QString name = busName.startsWith(prefix) ? busName.mid(prefix.size()) : busName;
    static const QRegularExpression instance(QStringLiteral("\\.instance[^.]*$"));
    name.remove(instance);
    return name;
}

QString joinedStrings(const QVariant &value)
{
    if (value.typeId() == QMetaType::QStringList) {
        QStringList parts;
        for (const QString &s : value.toStringList())
            if (!s.isEmpty())
                parts.append(s);
        return parts.join(QStringLiteral(", "));
    }
    if (value.typeId() == QMetaType::QString)
        return value.toString();
    return {};
}

std::optional<qint64> integer(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return value.toLongLong();
    case QMetaType::ULongLong:
    case QMetaType::ULong:
        if (value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return std::nullopt;
        return qint64(value.toULongLong());
    case QMetaType::Double: {
        // Some players send the length as a double.
        const double d = value.toDouble();
        if (!std::isfinite(d) || std::fabs(d) > 9.0e18)
            return std::nullopt;
        return qint64(std::llround(d));
    }
    default:
        return std::nullopt;
    }
}

QString trackKey(const QVariantMap &metadata)
{
    return metadata.value(QStringLiteral("mpris:trackid")).toString() + QChar(0x1f)
        + metadata.value(QStringLiteral("xesam:title")).toString() + QChar(0x1f)
        + metadata.value(QStringLiteral("xesam:url")).toString();
}

QVariantMap payloadFor(const PlayerSnapshot &p)
{
    QVariantMap out;
    const QVariantMap &m = p.metadata;
    const QString title = joinedStrings(m.value(QStringLiteral("xesam:title")));
    if (!title.isEmpty())
        out.insert(QStringLiteral("title"), title);
    const QString artist = joinedStrings(m.value(QStringLiteral("xesam:artist")));
    if (!artist.isEmpty())
        out.insert(QStringLiteral("artist"), artist);
    const QString album = joinedStrings(m.value(QStringLiteral("xesam:album")));
    if (!album.isEmpty())
        out.insert(QStringLiteral("album"), album);
    out.insert(QStringLiteral("bundleIdentifier"), bundleIdentifier(p.desktopEntry, p.busName));
    out.insert(QStringLiteral("playing"), p.playbackStatus == QLatin1String("Playing"));
    if (const auto length = integer(m.value(QStringLiteral("mpris:length"))); length && *length > 0)
        out.insert(QStringLiteral("durationMicros"), *length);
    if (p.positionMicros) {
        out.insert(QStringLiteral("elapsedTimeMicros"), *p.positionMicros);
        out.insert(QStringLiteral("timestampEpochMicros"), p.positionReadAtEpochMicros);
    }
    if (p.rate)
        out.insert(QStringLiteral("playbackRate"), *p.rate);
    if (!p.artwork.isEmpty())
        out.insert(QStringLiteral("artworkData"), QString::fromLatin1(p.artwork.toBase64()));
    if (p.shuffle)
        out.insert(QStringLiteral("shuffleMode"), *p.shuffle ? 3 : 1);
    if (p.loopStatus) {
        if (*p.loopStatus == QLatin1String("None"))
            out.insert(QStringLiteral("repeatMode"), 1);
        else if (*p.loopStatus == QLatin1String("Track"))
            out.insert(QStringLiteral("repeatMode"), 2);
        else if (*p.loopStatus == QLatin1String("Playlist"))
            out.insert(QStringLiteral("repeatMode"), 3);
    }
    return out;
}

QVariantMap diff(const QVariantMap &before, const QVariantMap &now)
{
    QVariantMap out;
    for (auto it = now.constBegin(); it != now.constEnd(); ++it) {
        const auto old = before.constFind(it.key());
        if (old == before.constEnd() || *old != *it)
            out.insert(it.key(), *it);
    }
    for (auto it = before.constBegin(); it != before.constEnd(); ++it)
        if (!now.contains(it.key()))
            out.insert(it.key(), QVariant::fromValue(nullptr));
    return out;
}

int choose(const QList<PlayerSnapshot> &players)
{
    // Playing a track beats everything. Among the others, a player with a
    // track beats an empty one: a browser or video player that was just
    // opened must not push aside the music the user paused. Only then does
    // the latest status change decide. "Playing" alone is not enough: mpv
    // started without a file says so for a moment and may never take it back.
    auto rank = [](const PlayerSnapshot &p) {
        const bool hasTrack = !joinedStrings(p.metadata.value(QStringLiteral("xesam:title"))).isEmpty()
            || !p.metadata.value(QStringLiteral("xesam:url")).toString().isEmpty();
        const bool playing = hasTrack && p.playbackStatus == QLatin1String("Playing");
        return std::tuple(playing, hasTrack, p.statusChangeOrder);
    };
    int best = -1;
    for (int i = 0; i < players.size(); ++i)
        if (best < 0 || rank(players[i]) > rank(players[best]))
            best = i;
    return best;
}

QByteArray line(const QVariantMap &payload, bool isDiff)
{
    QJsonObject object;
    object.insert(QStringLiteral("diff"), isDiff);
    object.insert(QStringLiteral("payload"), QJsonObject::fromVariantMap(payload));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace MprisPayload
