#include "notch/PlacedNotchShape.h"

#include "notch/NotchShape.h"

#include <QPainter>

PlacedNotchShape::PlacedNotchShape(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    setAntialiasing(true);
}

void PlacedNotchShape::paint(QPainter *painter)
{
    if (m_rect.isEmpty())
        return;
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(NotchShape::path(m_rect, m_top, m_bottom), m_color);
}

bool PlacedNotchShape::contains(const QPointF &point) const
{
    return NotchShape::path(m_rect, m_top, m_bottom).contains(point);
}

void PlacedNotchShape::changed()
{
    Q_EMIT shapeChanged();
    update();
}

void PlacedNotchShape::setShapeX(double v)
{
    if (m_rect.x() == v)
        return;
    m_rect.moveLeft(v);
    changed();
}

void PlacedNotchShape::setShapeY(double v)
{
    if (m_rect.y() == v)
        return;
    m_rect.moveTop(v);
    changed();
}

void PlacedNotchShape::setShapeWidth(double v)
{
    if (m_rect.width() == v)
        return;
    m_rect.setWidth(v);
    changed();
}

void PlacedNotchShape::setShapeHeight(double v)
{
    if (m_rect.height() == v)
        return;
    m_rect.setHeight(v);
    changed();
}

void PlacedNotchShape::setTopRadius(double v)
{
    if (m_top == v)
        return;
    m_top = v;
    changed();
}

void PlacedNotchShape::setBottomRadius(double v)
{
    if (m_bottom == v)
        return;
    m_bottom = v;
    changed();
}

void PlacedNotchShape::setColor(const QColor &c)
{
    if (m_color == c)
        return;
    m_color = c;
    Q_EMIT colorChanged();
    update();
}
