#include "tray/ThumbnailImageProvider.h"

#include "tray/ThumbnailCache.h"

#include <QCoreApplication>
#include <QThread>

ThumbnailImageProvider::ThumbnailImageProvider()
    : QQuickImageProvider(QQuickImageProvider::Image)
{
}

QImage ThumbnailImageProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    ThumbnailCache *cache = ThumbnailCache::instance();
    const QUrl url = ThumbnailCache::urlFromProviderId(id);
    QImage image;
    if (cache) {
        if (QThread::currentThread() == cache->thread()) {
            image = cache->image(url);
        } else {
            // The main thread never waits on a loader thread, so this cannot
            // deadlock.
            QMetaObject::invokeMethod(cache, [&] { image = cache->image(url); }, Qt::BlockingQueuedConnection);
        }
    }
    if (image.isNull())
        image = QImage(1, 1, QImage::Format_ARGB32_Premultiplied), image.fill(Qt::transparent);
    if (requestedSize.isValid() && !requestedSize.isEmpty() && image.size() != requestedSize)
        image = image.scaled(requestedSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    if (size)
        *size = image.size();
    return image;
}
