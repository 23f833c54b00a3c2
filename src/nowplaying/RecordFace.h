#pragma once

#include <QColor>
#include <QImage>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

// The face of a record: black vinyl with its grooves and the cover as the
// round label (or a plain label with a mark when there is no cover). It is
// painted once into a texture; a turning record then only rotates that
// texture, so spinning costs no repainting.
class RecordFace : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QImage cover READ cover WRITE setCover NOTIFY coverChanged)
    // False shows the plain label even when a cover is set.
    Q_PROPERTY(bool showsCover READ showsCover WRITE setShowsCover NOTIFY showsCoverChanged)
    Q_PROPERTY(QColor labelColor READ labelColor WRITE setLabelColor NOTIFY labelColorChanged)

public:
    explicit RecordFace(QQuickItem *parent = nullptr);

    QImage cover() const { return m_cover; }
    void setCover(const QImage &cover);
    bool showsCover() const { return m_showsCover; }
    void setShowsCover(bool shows);
    QColor labelColor() const { return m_labelColor; }
    void setLabelColor(const QColor &color);

    void paint(QPainter *painter) override;

    static constexpr double kLabelFraction = 0.44;

Q_SIGNALS:
    void coverChanged();
    void labelColorChanged();
    void showsCoverChanged();

private:
    QImage m_cover;
    QImage m_scaledCover;
    bool m_showsCover = true;
    QColor m_labelColor = QColor(60, 60, 64);
};
