#include "camera/MirrorPreview.h"

#include <QQuickWindow>
#include <QSGImageNode>
#include <QVideoFrame>
#include <QVideoSink>
#include <algorithm>

MirrorPreview::MirrorPreview(QQuickItem *parent)
    : QQuickItem(parent)
    , m_sink(new QVideoSink(this))
{
    setFlag(ItemHasContents);
    connect(m_sink, &QVideoSink::videoFrameChanged, this, &MirrorPreview::show);
}

QObject *MirrorPreview::videoSink() const
{
    return m_sink;
}

QImage MirrorPreview::halfSize(const QVideoFrame &source)
{
    QVideoFrame frame = source;
    if (!frame.isValid() || !frame.map(QVideoFrame::ReadOnly))
        return {};
    QImage image;
    const int w = frame.width() / 2;
    const int h = frame.height() / 2;
    if (frame.pixelFormat() == QVideoFrameFormat::Format_NV12 && w > 0 && h > 0) {
        // One luma sample and the chroma pair that covers it per output
        // pixel: the chroma plane is already at half size. BT.601 in
        // integers, in studio range (what webcams send) unless the frame
        // says it is full range.
        const bool full = frame.surfaceFormat().colorRange() == QVideoFrameFormat::ColorRange_Full;
        const int lumaScale = full ? 256 : 298;
        const int lumaBase = full ? 0 : 16;
        const int rv = full ? 359 : 409, gu = full ? 88 : 100, gv = full ? 183 : 208, bu = full ? 454 : 516;
        image = QImage(w, h, QImage::Format_RGB32);
        const uchar *luma = frame.bits(0);
        const uchar *chroma = frame.bits(1);
        const int lumaStride = frame.bytesPerLine(0);
        const int chromaStride = frame.bytesPerLine(1);
        for (int y = 0; y < h; ++y) {
            const uchar *yRow = luma + qsizetype(2 * y) * lumaStride;
            const uchar *cRow = chroma + qsizetype(y) * chromaStride;
            auto *out = reinterpret_cast<QRgb *>(image.scanLine(y));
            for (int x = 0; x < w; ++x) {
                const int c = lumaScale * (yRow[2 * x] - lumaBase);
                const int u = cRow[2 * x] - 128;
                const int v = cRow[2 * x + 1] - 128;
                const int r = std::clamp((c + rv * v + 128) >> 8, 0, 255);
                const int g = std::clamp((c - gu * u - gv * v + 128) >> 8, 0, 255);
                const int b = std::clamp((c + bu * u + 128) >> 8, 0, 255);
                out[x] = qRgb(r, g, b);
            }
        }
        frame.unmap();
        return image;
    }
    frame.unmap();
    // Anything else goes the long way; only test pictures take it.
    image = source.toImage();
    return image.isNull() ? image : image.scaled(std::max(1, w), std::max(1, h));
}

void MirrorPreview::show(const QVideoFrame &frame)
{
    const bool had = hasPicture();
    m_image = halfSize(frame);
    m_imageChanged = true;
    if (had != hasPicture())
        Q_EMIT hasPictureChanged();
    update();
}

QSGNode *MirrorPreview::updatePaintNode(QSGNode *old, UpdatePaintNodeData *)
{
    auto *node = static_cast<QSGImageNode *>(old);
    if (m_image.isNull() || width() <= 0 || height() <= 0) {
        delete node;
        return nullptr;
    }
    if (node == nullptr) {
        node = window()->createImageNode();
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Linear);
        m_imageChanged = true;
    }
    if (m_imageChanged) {
        node->setTexture(window()->createTextureFromImage(m_image));
        m_imageChanged = false;
    }
    // Fills the item and crops what overflows, keeping the picture's shape.
    const QSizeF image = m_image.size();
    const double scale = std::max(width() / image.width(), height() / image.height());
    const QSizeF shown(width() / scale, height() / scale);
    node->setSourceRect(QRectF(QPointF((image.width() - shown.width()) / 2, (image.height() - shown.height()) / 2), shown));
    node->setRect(boundingRect());
    return node;
}

// Compiled here rather than with every other class, as only this file is
// built against Qt Multimedia.
#include "moc_MirrorPreview.cpp"
