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
    merge(payload.toObject().toVariantMap(), m_merged, isDiff);
    if (m_onUpdate)
        m_onUpdate(NowPlayingTrack::fromPayload(m_merged));
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
