#pragma once

#include <QPainterPath>
#include <QRectF>

// The outline: a body hanging from the top edge whose upper corners flare
// outwards into the top bar and whose lower corners are rounded. The outer
// top corners sit on the rectangle's top edge at its full width, so the
// visible body is narrower than the rectangle by the top radius on each side.
namespace NotchShape {

struct Radii
{
    double top = 0;
    double bottom = 0;
};

// Radii that fit the rectangle: flares no wider than a quarter of it, and a
// bottom rounding that never runs into the flares.
Radii clamped(const QRectF &rect, double topRadius, double bottomRadius);

QPainterPath path(const QRectF &rect, double topRadius, double bottomRadius);

} // namespace NotchShape
