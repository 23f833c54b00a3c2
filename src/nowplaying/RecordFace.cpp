#include "nowplaying/RecordFace.h"

#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>

RecordFace::RecordFace(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
    setMipmap(true);
    setOpaquePainting(false);
}

void RecordFace::setCover(const QImage &cover)
{
    if (cover.cacheKey() == m_cover.cacheKey())
        return;
    m_cover = cover;
    m_scaledCover = QImage();
    Q_EMIT coverChanged();
    update();
}

void RecordFace::setShowsCover(bool shows)
{
    if (shows == m_showsCover)
        return;
    m_showsCover = shows;
    Q_EMIT showsCoverChanged();
    update();
}

void RecordFace::setLabelColor(const QColor &color)
{
    if (color == m_labelColor)
        return;
    m_labelColor = color;
    Q_EMIT labelColorChanged();
    update();
}

void RecordFace::paint(QPainter *painter)
{
    const double side = std::min(width(), height());
    if (side <= 0)
        return;
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    const QPointF centre(width() / 2, height() / 2);
    const double radius = side / 2;

    // Vinyl, with a faint rim.
    painter->setPen(QPen(QColor(255, 255, 255, 26), 1));
    painter->setBrush(QColor(13, 13, 15));
    painter->drawEllipse(centre, radius - 0.5, radius - 0.5);

    // Grooves between the rim and the label, alternately a little brighter.
    painter->setBrush(Qt::NoBrush);
    const double labelRadius = radius * kLabelFraction;
    for (int i = 0; i < 7; ++i) {
        const double r = radius * (0.90 - i * 0.062);
        if (r <= labelRadius + 1)
            break;
        painter->setPen(QPen(QColor(255, 255, 255, i % 2 == 0 ? 13 : 8), 0.8));
        painter->drawEllipse(centre, r, r);
    }

    // The label.
    const QRectF label(centre.x() - labelRadius, centre.y() - labelRadius, 2 * labelRadius, 2 * labelRadius);
    if (m_cover.isNull() || !m_showsCover) {
        painter->setPen(Qt::NoPen);
        painter->setBrush(m_labelColor);
        painter->drawEllipse(label);
        // A mark, so a record without a cover still shows that it turns.
        painter->setBrush(QColor(255, 255, 255, 90));
        painter->drawRoundedRect(QRectF(centre.x() - 1, label.top() + labelRadius * 0.15, 2, labelRadius * 0.45), 1, 1);
        return;
    }
    const qreal dpr = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    const QSize target = (label.size() * dpr).toSize();
    if (m_scaledCover.size() != target && !target.isEmpty()) {
        const QImage scaled = m_cover.scaled(target, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
        // Centre-crop a cover that is not square.
        m_scaledCover = scaled.copy((scaled.width() - target.width()) / 2, (scaled.height() - target.height()) / 2,
                                    target.width(), target.height());
    }
    QPainterPath clip;
    clip.addEllipse(label);
    painter->setClipPath(clip);
    painter->drawImage(label, m_scaledCover);
}
