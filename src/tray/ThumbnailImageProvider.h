#pragma once

#include <QQuickImageProvider>

// Serves ThumbnailCache's pictures to views as image://tarnwick-thumbnail/…
// (see ThumbnailCache::source). The cache lives on the main thread, so a
// request from a loader thread is answered there.
class ThumbnailImageProvider : public QQuickImageProvider
{
public:
    ThumbnailImageProvider();
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};
