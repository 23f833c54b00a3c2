#include "nowplaying/LocalArtworkFinder.h"

#include "core/Clock.h"
#include "nowplaying/AudioTags.h"

#include <QDir>
#include <QLoggingCategory>
#include <QStandardPaths>

Q_LOGGING_CATEGORY(lcArtwork, "tarnwick.nowplaying.artwork", QtWarningMsg)

LocalArtworkFinder::LocalArtworkFinder(
    Clock &clock, const QString &musicFolder, const QString &cacheFile, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_cacheFile(cacheFile)
{
    const QString root = musicFolder.isEmpty() ? QString() : QDir(musicFolder).absolutePath();
    // Without a Music folder xdg-user-dirs points it at home; indexing the
    // whole home folder would read far more than music.
    m_enabled = !root.isEmpty() && QDir(root) != QDir::home();
    m_index = std::make_unique<MusicIndex>(root);
    m_thread.setObjectName(QStringLiteral("tarnwick-artwork"));
    m_worker = new QObject;
    m_worker->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    m_thread.start(QThread::LowPriority);
    if (!m_enabled)
        return;
    m_refreshedAt = m_clock.monotonicNow();
    post([this] {
        if (!m_index->load(m_cacheFile))
            qCDebug(lcArtwork) << "no usable index cache at" << m_cacheFile;
        refreshOnWorker();
    });
}

LocalArtworkFinder::~LocalArtworkFinder()
{
    m_quitting = true;
    m_thread.quit();
    m_thread.wait();
}

QString LocalArtworkFinder::defaultMusicFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
}

QString LocalArtworkFinder::defaultCacheFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/music-index");
}

void LocalArtworkFinder::post(std::function<void()> work)
{
    QMetaObject::invokeMethod(m_worker, std::move(work), Qt::QueuedConnection);
}

void LocalArtworkFinder::refreshOnWorker()
{
    const MusicIndex::RefreshCounts counts = m_index->refresh(&m_quitting);
    if (m_quitting)
        return;
    if ((counts.read > 0 || counts.removed > 0) && !m_index->save(m_cacheFile))
        qCWarning(lcArtwork) << "could not write the music index to" << m_cacheFile;
    const qsizetype files = m_index->size();
    // The finder outlives its worker (the destructor waits for it), so
    // posting back to it is safe; the event is dropped if it is being
    // destroyed.
    QMetaObject::invokeMethod(
        this, [this, counts, files] { Q_EMIT refreshed(counts.read, counts.kept, counts.removed, files); },
        Qt::QueuedConnection);
}

void LocalArtworkFinder::artwork(const Query &query, Result done)
{
    if (!m_enabled) {
        done(std::nullopt);
        return;
    }
    if (m_clock.monotonicNow() - m_refreshedAt >= kRefreshAfter) {
        m_refreshedAt = m_clock.monotonicNow();
        post([this] { refreshOnWorker(); });
    }
    post([this, query, done = std::move(done)] {
        std::optional<QByteArray> cover;
        const auto ranked = MusicIndex::ranked(m_index->candidates(query.title), query.artist, query.duration);
        int opened = 0;
        for (const MusicIndex::Candidate &candidate : ranked) {
            if (m_quitting || opened++ == kMaxFilesOpened)
                break;
            cover = AudioTags::embeddedCover(candidate.path);
            if (cover)
                break;
        }
        QMetaObject::invokeMethod(
            this, [done, cover] { done(cover); }, Qt::QueuedConnection);
    });
}
