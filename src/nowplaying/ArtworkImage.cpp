#include "nowplaying/ArtworkImage.h"

#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>

ArtworkImage::ArtworkImage(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    setMipmap(true);
    connect(this, &QQuickItem::widthChanged, this, [this] { m_scaled = QImage(); });
    connect(this, &QQuickItem::heightChanged, this, [this] { m_scaled = QImage(); });
}

void ArtworkImage::setImage(const QImage &image)
{
    if (image.cacheKey() == m_image.cacheKey())
        return;
    m_image = image;
    m_scaled = QImage();
    Q_EMIT imageChanged();
    update();
}

void ArtworkImage::setRound(bool round)
{
    if (m_round == round)
        return;
    m_round = round;
    Q_EMIT roundChanged();
    update();
}

void ArtworkImage::paint(QPainter *painter)
{
    if (m_image.isNull() || width() <= 0 || height() <= 0)
        return;
    const qreal dpr = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    const QSize target = (QSizeF(width(), height()) * dpr).toSize();
    // Scale once per size with a good filter; covers are often 1000 px or
    // more and the label is a few dozen points.
    if (m_scaled.size() != target)
        m_scaled = m_image.scaled(target, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    const QRectF bounds(0, 0, width(), height());
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    if (m_round) {
        QPainterPath circle;
        circle.addEllipse(bounds);
        painter->setClipPath(circle);
    }
    // Centre-crop a non-square cover.
    const QSizeF source = QSizeF(target);
    const QRectF sourceRect((m_scaled.width() - source.width()) / 2, (m_scaled.height() - source.height()) / 2,
                            source.width(), source.height());
    painter->drawImage(bounds, m_scaled, sourceRect);
}
