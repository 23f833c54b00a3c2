#include "notch/NotchShape.h"

#include <algorithm>

namespace NotchShape {

Radii clamped(const QRectF &r, double t, double b)
{
    Radii out;
    out.top = std::max(0.0, std::min({t, r.width() * 0.25, r.height() * 0.5}));
    out.bottom = std::max(0.0, std::min({b, (r.width() - 2 * out.top) * 0.5, r.height() - out.top}));
    return out;
}

QPainterPath path(const QRectF &r, double topRadius, double bottomRadius)
{
    const Radii radii = clamped(r, topRadius, bottomRadius);
    const double top = radii.top;
    const double bottom = radii.bottom;
    const double minX = r.left();
    const double maxX = r.right();
    const double minY = r.top();
    const double maxY = r.bottom();
    const double left = minX + top;
    const double right = maxX - top;

    QPainterPath p;
    p.moveTo(minX, minY);
    p.quadTo(left, minY, left, minY + top);
    p.lineTo(left, maxY - bottom);
    p.quadTo(left, maxY, left + bottom, maxY);
    p.lineTo(right - bottom, maxY);
    p.quadTo(right, maxY, right, maxY - bottom);
    p.lineTo(right, minY + top);
    p.quadTo(right, minY, maxX, minY);
    p.closeSubpath();
    return p;
}

} // namespace NotchShape
