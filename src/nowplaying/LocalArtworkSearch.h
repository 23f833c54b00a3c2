#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

// Looks for a track's cover among the user's own audio files, for players
// that report a track without one. A search may take seconds; its answer is
// delivered once, on the main thread. This base finds nothing, so Tarnwick
// works (without file covers) where no search is available.
class LocalArtworkSearch
{
public:
    struct Query
    {
        QString title;
        std::optional<QString> artist;
        std::optional<QString> album;
        std::optional<double> duration;
    };
    using Result = std::function<void(std::optional<QByteArray> cover)>;

    virtual ~LocalArtworkSearch() = default;
    virtual void artwork(const Query &, Result done) { done(std::nullopt); }
};
