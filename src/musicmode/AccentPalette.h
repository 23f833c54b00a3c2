#pragma once

#include "nowplaying/ArtworkAccentColor.h"

#include <QStringList>

// GNOME's nine named accent colours, in the order of their IconTint codes
// 1 to 9, with the colours libadwaita draws them in.
namespace AccentPalette {

const QStringList &names();
// Colour of code 1...9.
ArtworkAccentColor::RGB color(int code);
// The code 1...9 of the named accent that looks closest to `color`
// (distance in L*a*b*, which follows what the eye sees).
int nearest(const ArtworkAccentColor::RGB &color);

} // namespace AccentPalette
