#pragma once

#include <QIcon>

// Tarnwick's symbol: a screen whose top centre holds a filled notch, drawn
// in code so it is sharp at every size and needs no image plugin.
namespace AppIcon {
// `monochrome` draws a single-colour glyph for top-bar trays.
QIcon make(bool monochrome, const QColor &colour = Qt::white);
} // namespace AppIcon
