#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

// Draws the outline for its own rectangle and radii, whatever size the item
// itself has: the six numbers are separate properties so that one animation
// moves position, size and both radii together.
class PlacedNotchShape : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double shapeX READ shapeX WRITE setShapeX NOTIFY shapeChanged)
    Q_PROPERTY(double shapeY READ shapeY WRITE setShapeY NOTIFY shapeChanged)
    Q_PROPERTY(double shapeWidth READ shapeWidth WRITE setShapeWidth NOTIFY shapeChanged)
    Q_PROPERTY(double shapeHeight READ shapeHeight WRITE setShapeHeight NOTIFY shapeChanged)
    Q_PROPERTY(double topRadius READ topRadius WRITE setTopRadius NOTIFY shapeChanged)
    Q_PROPERTY(double bottomRadius READ bottomRadius WRITE setBottomRadius NOTIFY shapeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit PlacedNotchShape(QQuickItem *parent = nullptr);

    void paint(QPainter *painter) override;
    // Hit-testing follows the drawn outline, not the item's box.
    bool contains(const QPointF &point) const override;

    double shapeX() const { return m_rect.x(); }
    double shapeY() const { return m_rect.y(); }
    double shapeWidth() const { return m_rect.width(); }
    double shapeHeight() const { return m_rect.height(); }
    double topRadius() const { return m_top; }
    double bottomRadius() const { return m_bottom; }
    QColor color() const { return m_color; }

    void setShapeX(double v);
    void setShapeY(double v);
    void setShapeWidth(double v);
    void setShapeHeight(double v);
    void setTopRadius(double v);
    void setBottomRadius(double v);
    void setColor(const QColor &c);

Q_SIGNALS:
    void shapeChanged();
    void colorChanged();

private:
    void changed();

    QRectF m_rect;
    double m_top = 0;
    double m_bottom = 0;
    QColor m_color = Qt::black;
};
