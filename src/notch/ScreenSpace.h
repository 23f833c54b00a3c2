#pragma once

#include <QPointF>
#include <QRectF>

// The notch keeps one convention inside: screen rectangles grow upwards
// (origin bottom left), as the geometry rules are written. Qt's global
// coordinates grow downwards. Flipping the sign of y maps one onto the other
// for any arrangement of monitors; these are the only conversions.
namespace ScreenSpace {

inline QPointF fromQt(QPointF p)
{
    return {p.x(), -p.y()};
}

inline QPointF toQt(QPointF p)
{
    return {p.x(), -p.y()};
}

// A Qt rectangle (top-left origin) as a y-up rectangle: x() is minX, y() is minY.
inline QRectF fromQt(const QRectF &r)
{
    return {r.x(), -(r.y() + r.height()), r.width(), r.height()};
}

inline QRectF toQt(const QRectF &r)
{
    return {r.x(), -(r.y() + r.height()), r.width(), r.height()};
}

// Edges of a y-up rectangle.
inline double minX(const QRectF &r) { return r.x(); }
inline double maxX(const QRectF &r) { return r.x() + r.width(); }
inline double minY(const QRectF &r) { return r.y(); }
inline double maxY(const QRectF &r) { return r.y() + r.height(); }
inline double midX(const QRectF &r) { return r.x() + r.width() / 2.0; }

// Closed on every edge: a pointer on the very edge of the notch is inside.
inline bool contains(const QRectF &r, QPointF p)
{
    return p.x() >= minX(r) && p.x() <= maxX(r) && p.y() >= minY(r) && p.y() <= maxY(r);
}

} // namespace ScreenSpace
