#pragma once

#include "core/QmlSingleton.h"
#include "tray/ThumbnailerEntry.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class QQmlEngine;

// A picture for every file the tray shows: a real preview once one is made,
// the icon theme's icon for the file's type until then (and for good when
// none can be made). Previews come from the desktop's shared thumbnail cache
// when it already has one, else are made here (images) or by the installed
// thumbnailers (everything else), and are written back to that cache so file
// managers and Tarnwick share the work.
//
// Each file is asked for at most once a run, also when that failed. Memory
// holds only the 96-pixel pictures; they are never evicted, which the feeds'
// small limits keep cheap.
class ThumbnailCache : public QObject, public QmlSingleton<ThumbnailCache>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    // Bumped whenever a picture arrives, so views can re-ask for theirs.
    Q_PROPERTY(int revision READ revision NOTIFY imagesChanged)

public:
    static constexpr int kPointSize = 48;
    static constexpr int kScale = 2;
    static constexpr int kPixelSize = kPointSize * kScale;
    static constexpr double kThumbnailerTimeLimit = 10; // seconds for one external thumbnailer run
    static inline const QString kProviderId = QStringLiteral("tarnwick-thumbnail");

    struct Options
    {
        QString cacheRoot;                  // the shared cache; empty for the desktop's own
        QList<ThumbnailerEntry> thumbnailers; // installed entries to use for non-images
        double timeLimit = kThumbnailerTimeLimit;
    };

    // The desktop's shared cache and its installed thumbnailers.
    static Options systemOptions();

    explicit ThumbnailCache(Options options, QObject *parent = nullptr);
    ~ThumbnailCache() override;

    // Makes sure a preview for the file is being or has been made.
    Q_INVOKABLE void load(const QUrl &url);
    // The preview if there is one, else the file type's icon; never null.
    QImage image(const QUrl &url) const;
    bool hasThumbnail(const QUrl &url) const { return m_images.contains(url); }
    bool wasRequested(const QUrl &url) const { return m_requested.contains(url); }
    int pendingCount() const { return m_pending; }
    int revision() const { return m_revision; }

    // The image source a view binds to for the file.
    Q_INVOKABLE QString source(const QUrl &url) const;
    static QUrl urlFromProviderId(const QString &id);

    // Adds the image provider behind source() to an engine. Needs the one
    // instance set with setInstance().
    static void registerImageProvider(QQmlEngine &engine);

    // The icon theme's picture for a file, at the tile's pixel size.
    static QImage iconFor(const QString &path);

    struct Made
    {
        QImage image;          // at most kPixelSize on its longer side; null when none
        bool fromShared = false; // found in the shared cache, nothing was made
    };
    // Finds or makes one preview; blocking, for worker threads.
    static Made make(const QString &path, const Options &options);

Q_SIGNALS:
    void imagesChanged();
    void thumbnailReady(const QUrl &url);
    // Every request ends with exactly one of these (ready or not); tests and
    // benchmarks wait on it.
    void requestFinished(const QUrl &url, bool madeOne);

private:
    void finish(const QUrl &url, const QImage &image);

    Options m_options;
    QThreadPool m_pool;
    QHash<QUrl, QImage> m_images;
    QSet<QUrl> m_requested;
    int m_pending = 0;
    int m_revision = 0;
};
