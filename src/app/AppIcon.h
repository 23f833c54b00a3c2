#pragma once

#include <QIcon>

// Tarnwick's symbol: a screen whose top centre holds a filled notch, drawn
// in code so it is sharp at every size and needs no image plugin.
namespace AppIcon {
// `monochrome` draws a single-colour glyph for top-bar trays.
QIcon make(bool monochrome, const QColor &colour = Qt::white);
// The tray icon. Installed, it is the theme's symbolic icon, which the panel
// paints in its own text colour on light and dark panels alike; it is found
// by name, so the tray host can load it itself. A build that is not
// installed draws the white glyph instead.
QIcon tray();
} // namespace AppIcon
