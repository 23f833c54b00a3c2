#pragma once

#include "nowplaying/NowPlayingTrack.h"

#include <QByteArray>
#include <QVariantMap>
#include <functional>
#include <optional>

// Turns the helper's output, one JSON object per line, into tracks. Full
// payloads replace what is known; diffs change only the keys they name, and
// a null removes a key. Lines that are not such objects are skipped, so a
// helper that writes junk cannot take the reader down.
class NowPlayingLineReader
{
public:
    using Update = std::function<void(const std::optional<NowPlayingTrack> &)>;

    // Longer lines are dropped whole: the helper caps covers well below this,
    // and an endless line must not eat the memory.
    static constexpr qsizetype kMaxLineBytes = 8 * 1024 * 1024;

    explicit NowPlayingLineReader(Update onUpdate);

    // Feeds raw bytes as they arrive; calls the update once per line that
    // carries a payload.
    void feed(QByteArrayView bytes);
    // Handles one complete line (without its line break).
    void handleLine(QByteArrayView line);
    // No more updates, not even for the rest of a chunk being fed.
    void cancel();
    // End of input: a last line without a line break still counts.
    void finish();

    const QVariantMap &merged() const { return m_merged; }

    static void merge(const QVariantMap &payload, QVariantMap &merged, bool isDiff);

private:
    static inline const QString kArtworkKey = QStringLiteral("artworkData");
    void decodeArtwork();

    Update m_onUpdate;
    QVariantMap m_merged;
    std::optional<QByteArray> m_artwork;
    QByteArray m_artworkHash;
    QByteArray m_pending;
    bool m_discarding = false;
    bool m_cancelled = false;
};
