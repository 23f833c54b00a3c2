#include "nowplaying/NowPlayingLineReader.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

NowPlayingLineReader::NowPlayingLineReader(Update onUpdate)
    : m_onUpdate(std::move(onUpdate))
{
}

void NowPlayingLineReader::merge(const QVariantMap &payload, QVariantMap &merged, bool isDiff)
{
    if (!isDiff) {
        merged = payload;
        return;
    }
    for (auto it = payload.constBegin(); it != payload.constEnd(); ++it) {
        if (it->isNull())
            merged.remove(it.key());
        else
            merged.insert(it.key(), *it);
    }
}

void NowPlayingLineReader::handleLine(QByteArrayView line)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(line.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return;
    const QJsonObject object = doc.object();
    const QJsonValue payload = object.value(QLatin1String("payload"));
    if (!payload.isObject())
        return;
    const QJsonValue diff = object.value(QLatin1String("diff"));
    const bool isDiff = diff.isBool() && diff.toBool();

    // toVariantMap() turns JSON null into a null QVariant, which merge() reads
    // as "remove this key".
    const QVariantMap changes = payload.toObject().toVariantMap();
    merge(changes, m_merged, isDiff);
    // The cover is decoded only from the line that brings it; every other
    // line reuses it, so a cover of megabytes is not decoded again for each
    // position or status change.
    if (!isDiff || changes.contains(kArtworkKey))
        decodeArtwork();
    if (!m_onUpdate)
        return;
    QVariantMap rest = m_merged;
    rest.remove(kArtworkKey);
    std::optional<NowPlayingTrack> track = NowPlayingTrack::fromPayload(rest);
    if (track && m_artwork)
        track->setArtwork(m_artwork, m_artworkHash);
    m_onUpdate(track);
}

void NowPlayingLineReader::decodeArtwork()
{
    m_artwork.reset();
    m_artworkHash.clear();
    // fromPayload() holds the rule for what counts as a cover.
    const QVariantMap only{{kArtworkKey, m_merged.value(kArtworkKey)},
                           {QStringLiteral("title"), QStringLiteral("cover")}};
    if (!m_merged.contains(kArtworkKey))
        return;
    if (const auto track = NowPlayingTrack::fromPayload(only); track && track->artworkData) {
        m_artwork = track->artworkData;
        m_artworkHash = track->artworkHash;
    }
}

void NowPlayingLineReader::feed(QByteArrayView bytes)
{
    while (!bytes.isEmpty() && !m_cancelled) {
        const qsizetype newline = bytes.indexOf('\n');
        const QByteArrayView chunk = newline < 0 ? bytes : bytes.first(newline);
        if (!m_discarding) {
            if (m_pending.size() + chunk.size() > kMaxLineBytes) {
                m_pending.clear();
                m_pending.squeeze();
                m_discarding = true;
            } else {
                m_pending.append(chunk);
            }
        }
        if (newline < 0)
            return;
        if (!m_discarding) {
            // Copy out first: the update may feed more bytes.
            const QByteArray line = std::exchange(m_pending, QByteArray());
            handleLine(line);
        }
        m_discarding = false;
        bytes = bytes.sliced(newline + 1);
    }
}

void NowPlayingLineReader::cancel()
{
    m_cancelled = true;
    m_onUpdate = nullptr;
}

void NowPlayingLineReader::finish()
{
    if (m_cancelled)
        return;
    if (!m_discarding && !m_pending.isEmpty())
        handleLine(std::exchange(m_pending, QByteArray()));
    m_pending.clear();
    m_discarding = false;
}
