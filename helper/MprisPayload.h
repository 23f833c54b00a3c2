#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariantMap>
#include <optional>

// What the helper knows about one MPRIS player, and the pure rules that turn
// it into the payload lines Tarnwick reads.
struct PlayerSnapshot
{
    QString busName;
    QString desktopEntry;
    QVariantMap metadata;
    QString playbackStatus;
    std::optional<double> rate;
    std::optional<bool> shuffle;
    std::optional<QString> loopStatus;
    // Position in microseconds and the wall-clock instant it was read at.
    std::optional<qint64> positionMicros;
    qint64 positionReadAtEpochMicros = 0;
    // Cover bytes for metadata's current mpris:artUrl, once fetched.
    QByteArray artwork;
    // Raised each time PlaybackStatus changes, to find the latest mover; the
    // first status a player reports is not a change and leaves it at 0.
    quint64 statusChangeOrder = 0;
};

namespace MprisPayload {

// The program a player belongs to: its desktop entry, else the last part of
// its bus name without the ".instance1234" that several players add.
QString bundleIdentifier(const QString &desktopEntry, const QString &busName);

// The JSON-ready payload for one player.
QVariantMap payloadFor(const PlayerSnapshot &player);

// Identifies the track, so a new one gets a full payload rather than a diff.
QString trackKey(const QVariantMap &metadata);

// The keys of `now` that differ from `before`, and a null for every key that
// went away. Empty when nothing changed.
QVariantMap diff(const QVariantMap &before, const QVariantMap &now);

// The player to show: a playing one first, then one that has a track, and
// among equals the one whose status changed last. -1 for an empty list.
int choose(const QList<PlayerSnapshot> &players);

// One JSON line, without the line break.
QByteArray line(const QVariantMap &payload, bool isDiff);

// Metadata values arrive as strings or string lists depending on the player.
QString joinedStrings(const QVariant &value);
std::optional<qint64> integer(const QVariant &value);

} // namespace MprisPayload
