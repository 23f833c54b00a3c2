#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <optional>
#include <vector>

// One accent colour from a cover, for the turntable, the desktop tint and
// the poster. A small thumbnail is quantised and split into swatches by
// median cut; each swatch is scored by colourfulness and size, with dull,
// near-black, near-white and yellow-green swatches pushed down; the winner is
// then made readable on the black notch. Pure functions, no state.
namespace ArtworkAccentColor {

struct RGB
{
    double r = 0;
    double g = 0;
    double b = 0;
    bool operator==(const RGB &) const = default;
    QColor toColor() const { return QColor::fromRgbF(float(r), float(g), float(b)); }
};

// CIE L*a*b* under D65, L in 0...100.
struct Lab
{
    double L = 0;
    double a = 0;
    double b = 0;
    static Lab fromRgb(const RGB &rgb);
    RGB rgb() const;
    double chroma() const;
};

struct Swatch
{
    RGB color;
    int count = 0;
};

constexpr int kThumbnailSide = 112;
constexpr int kMaximumSwatches = 16;
// The colour of a cover that has no colourful region.
inline constexpr RGB kNeutralGrey{83.0 / 255.0, 83.0 / 255.0, 83.0 / 255.0};

// The image converted to sRGB when it carries another colour profile.
QImage inSrgb(QImage image);
// Encoded bytes decoded at most `longestSide` pixels on the longer side, in
// sRGB; a null image when they do not decode.
QImage decode(const QByteArray &imageBytes, int longestSide);

// The accent of encoded image bytes; nothing when they do not decode.
std::optional<RGB> rawColor(const QByteArray &imageBytes);
std::optional<RGB> rawColor(const QImage &image);

// The thumbnail's 15-bit colour keys (5 bits a channel, red highest) with
// their pixel counts; pixels with alpha below 201 are left out.
std::vector<int> histogram(const QImage &image);
// Median cut of a 32768-entry histogram into at most `maximum` swatches.
std::vector<Swatch> swatches(const std::vector<int> &histogram, int maximum);
std::optional<RGB> pick(const std::vector<Swatch> &swatches);

// Lightened towards white in steps of 0.05 until it reaches a 3:1 contrast
// against black.
RGB visibleOnBlack(const RGB &color);
// A deep shade of the colour (L* at most about 22).
RGB darkened(const RGB &color);
double contrastAgainstBlack(const RGB &color);

} // namespace ArtworkAccentColor
