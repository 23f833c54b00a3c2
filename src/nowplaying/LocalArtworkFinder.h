#pragma once

#include "nowplaying/LocalArtworkSearch.h"
#include "nowplaying/MusicIndex.h"

#include <QObject>
#include <QThread>

#include <atomic>
#include <memory>

class Clock;

// Covers from the user's own music: an index of the Music folder (see
// MusicIndex) built on a worker thread when Tarnwick starts, cached on disk,
// and walked again before a search when it is older than kRefreshAfter, so
// files added or retagged since are found without any watcher or timer
// running while nothing plays. Searches run on the same worker, after any
// refresh queued before them; the answer comes back on the thread that owns
// the finder. The main thread never waits for the index.
class LocalArtworkFinder final : public QObject, public LocalArtworkSearch
{
    Q_OBJECT
public:
    static constexpr double kRefreshAfter = 30.0;
    // Opening a file costs far more than ranking; the few best are enough.
    static constexpr int kMaxFilesOpened = 8;

    // `musicFolder` empty or the home folder itself (where the desktop has
    // no Music folder set up) means there is nothing to index.
    LocalArtworkFinder(Clock &clock, const QString &musicFolder, const QString &cacheFile, QObject *parent = nullptr);
    ~LocalArtworkFinder() override;

    // The real folders: the XDG Music folder and a file in Tarnwick's cache.
    static QString defaultMusicFolder();
    static QString defaultCacheFile();

    void artwork(const Query &query, Result done) override;

Q_SIGNALS:
    // After each walk of the folder, on the owner's thread.
    void refreshed(int read, int kept, int removed, qsizetype files);

private:
    void refreshOnWorker();
    void post(std::function<void()> work);

    Clock &m_clock;
    QString m_cacheFile;
    bool m_enabled = false;
    double m_refreshedAt = 0;
    std::atomic<bool> m_quitting = false;
    // Owned by the worker thread once started.
    std::unique_ptr<MusicIndex> m_index;
    QThread m_thread;
    QObject *m_worker = nullptr;
};
