#pragma once

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QVideoFrame>
#include <QVideoFrameFormat>
#include <algorithm>

// Real photographs turned into the frames a webcam delivers.
namespace CameraFrames {

// The astronaut portrait from scikit-image's sample photographs. The face
// detector boxes her face at about 87 px around (223, 128) of the 512×512 picture.
inline QImage astronaut()
{
    const QString path = QStringLiteral("/usr/lib/python3/dist-packages/skimage/data/astronaut.png");
    if (!QFile::exists(path))
        qFatal("install the Debian package python3-skimage (tools/bootstrap): it ships the test photographs");
    return QImage(path).convertToFormat(QImage::Format_RGB32);
}

// A 640×480 picture with `photo` scaled by `scale` and its point `anchor`
// (photo pixels) placed at `at` (frame pixels), turned by `tilt` degrees
// about that point, on a background of `grey`.
inline QImage compose(const QImage &photo, double scale, QPointF anchor, QPointF at, int grey = 128, double tilt = 0)
{
    QImage frame(640, 480, QImage::Format_RGB32);
    frame.fill(QColor(grey, grey, grey));
    QPainter painter(&frame);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.translate(at);
    painter.rotate(tilt);
    painter.scale(scale, scale);
    painter.translate(-anchor);
    painter.drawImage(0, 0, photo);
    return frame;
}

// Full-range NV12, the layout webcams hand over: a luma plane, then
// interleaved chroma at half resolution.
inline QVideoFrame nv12(const QImage &rgb)
{
    QVideoFrameFormat format(rgb.size(), QVideoFrameFormat::Format_NV12);
    format.setColorRange(QVideoFrameFormat::ColorRange_Full);
    QVideoFrame frame(format);
    if (!frame.map(QVideoFrame::WriteOnly))
        qFatal("cannot map a new video frame");
    const int w = rgb.width();
    const int h = rgb.height();
    for (int y = 0; y < h; ++y) {
        uchar *luma = frame.bits(0) + y * frame.bytesPerLine(0);
        const auto *line = reinterpret_cast<const QRgb *>(rgb.constScanLine(y));
        for (int x = 0; x < w; ++x)
            luma[x] = uchar(std::clamp(qRound(0.299 * qRed(line[x]) + 0.587 * qGreen(line[x]) + 0.114 * qBlue(line[x])), 0, 255));
    }
    for (int y = 0; y < h / 2; ++y) {
        uchar *chroma = frame.bits(1) + y * frame.bytesPerLine(1);
        const auto *line = reinterpret_cast<const QRgb *>(rgb.constScanLine(2 * y));
        for (int x = 0; x < w / 2; ++x) {
            const QRgb p = line[2 * x];
            chroma[2 * x] = uchar(std::clamp(qRound(128 - 0.1687 * qRed(p) - 0.3313 * qGreen(p) + 0.5 * qBlue(p)), 0, 255));
            chroma[2 * x + 1] = uchar(std::clamp(qRound(128 + 0.5 * qRed(p) - 0.4187 * qGreen(p) - 0.0813 * qBlue(p)), 0, 255));
        }
    }
    frame.unmap();
    return frame;
}

// The same picture as packed 32-bit BGRA, as some USB cameras negotiate.
inline QVideoFrame bgra(const QImage &rgb)
{
    QVideoFrame frame(QVideoFrameFormat(rgb.size(), QVideoFrameFormat::Format_BGRA8888));
    if (!frame.map(QVideoFrame::WriteOnly))
        qFatal("cannot map a new video frame");
    const QImage argb = rgb.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < rgb.height(); ++y)
        memcpy(frame.bits(0) + y * frame.bytesPerLine(0), argb.constScanLine(y), size_t(rgb.width()) * 4);
    frame.unmap();
    return frame;
}

} // namespace CameraFrames
