#pragma once

#include <QImage>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

// Draws a cover that arrives as image bytes (not a URL), scaled down to the
// item with smoothing, optionally cut to a circle as the label of a record.
// It repaints only when the image or its size changes; turning it is left
// to the item's rotation, which costs no repaint.
class ArtworkImage : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QImage image READ image WRITE setImage NOTIFY imageChanged)
    Q_PROPERTY(bool round READ round WRITE setRound NOTIFY roundChanged)

public:
    explicit ArtworkImage(QQuickItem *parent = nullptr);

    QImage image() const { return m_image; }
    void setImage(const QImage &image);
    bool round() const { return m_round; }
    void setRound(bool round);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void imageChanged();
    void roundChanged();

private:
    QImage m_image;
    QImage m_scaled;
    bool m_round = false;
};
