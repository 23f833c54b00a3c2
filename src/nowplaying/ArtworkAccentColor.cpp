#include "nowplaying/ArtworkAccentColor.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace ArtworkAccentColor {

namespace {

constexpr double kPi = 3.14159265358979323846;
// D65 reference white.
constexpr double kXn = 0.95047;
constexpr double kYn = 1.0;
constexpr double kZn = 1.08883;

double linearise(double c)
{
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

double encode(double c)
{
    c = std::clamp(c, 0.0, 1.0);
    return c <= 0.0031308 ? c * 12.92 : 1.055 * std::pow(c, 1.0 / 2.4) - 0.055;
}

double labF(double t)
{
    constexpr double d = 6.0 / 29.0;
    return t > d * d * d ? std::cbrt(t) : t / (3 * d * d) + 4.0 / 29.0;
}

double labFInverse(double t)
{
    constexpr double d = 6.0 / 29.0;
    return t > d ? t * t * t : 3 * d * d * (t - 4.0 / 29.0);
}

int component(int key, int channel)
{
    return (key >> (10 - 5 * channel)) & 0x1f;
}

struct Box
{
    std::vector<int> keys;
    int count = 0;
    std::array<int, 3> lo{31, 31, 31};
    std::array<int, 3> hi{0, 0, 0};

    void fit(const std::vector<int> &hist)
    {
        count = 0;
        lo = {31, 31, 31};
        hi = {0, 0, 0};
        for (int key : keys) {
            count += hist[size_t(key)];
            for (int c = 0; c < 3; ++c) {
                lo[size_t(c)] = std::min(lo[size_t(c)], component(key, c));
                hi[size_t(c)] = std::max(hi[size_t(c)], component(key, c));
            }
        }
    }
    long volume() const
    {
        long v = 1;
        for (int c = 0; c < 3; ++c)
            v *= hi[size_t(c)] - lo[size_t(c)] + 1;
        return v;
    }
    bool canCut() const { return keys.size() > 1; }
};

} // namespace

Lab Lab::fromRgb(const RGB &rgb)
{
    const double r = linearise(rgb.r);
    const double g = linearise(rgb.g);
    const double b = linearise(rgb.b);
    const double x = 0.4124564 * r + 0.3575761 * g + 0.1804375 * b;
    const double y = 0.2126729 * r + 0.7151522 * g + 0.0721750 * b;
    const double z = 0.0193339 * r + 0.1191920 * g + 0.9503041 * b;
    const double fx = labF(x / kXn);
    const double fy = labF(y / kYn);
    const double fz = labF(z / kZn);
    return {116 * fy - 16, 500 * (fx - fy), 200 * (fy - fz)};
}

RGB Lab::rgb() const
{
    const double fy = (L + 16) / 116;
    const double fx = fy + a / 500;
    const double fz = fy - b / 200;
    const double x = kXn * labFInverse(fx);
    const double y = kYn * labFInverse(fy);
    const double z = kZn * labFInverse(fz);
    const double r = 3.2404542 * x - 1.5371385 * y - 0.4985314 * z;
    const double g = -0.9692660 * x + 1.8760108 * y + 0.0415560 * z;
    const double bl = 0.0556434 * x - 0.2040259 * y + 1.0572252 * z;
    return {encode(r), encode(g), encode(bl)};
}

double Lab::chroma() const
{
    return std::sqrt(a * a + b * b);
}

std::vector<int> histogram(const QImage &image)
{
    std::vector<int> hist(32768, 0);
    if (image.isNull())
        return hist;
    // The thumbnail is always made from the full picture, so the colours of
    // a large cover weigh as they look.
    QImage thumb = image;
    if (std::max(image.width(), image.height()) > kThumbnailSide)
        thumb = image.scaled(kThumbnailSide, kThumbnailSide, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    thumb = inSrgb(std::move(thumb)).convertToFormat(QImage::Format_RGBA8888);
    for (int y = 0; y < thumb.height(); ++y) {
        const uchar *row = thumb.constScanLine(y);
        for (int x = 0; x < thumb.width(); ++x) {
            const uchar *p = row + 4 * x;
            if (p[3] < 201)
                continue;
            // Non-premultiplied, so an opaque pixel's channels are its colour.
            const int key = ((p[0] >> 3) << 10) | ((p[1] >> 3) << 5) | (p[2] >> 3);
            ++hist[size_t(key)];
        }
    }
    return hist;
}

std::vector<Swatch> swatches(const std::vector<int> &hist, int maximum)
{
    Box all;
    for (int key = 0; key < int(hist.size()); ++key)
        if (hist[size_t(key)] > 0)
            all.keys.push_back(key);
    if (all.keys.empty() || maximum <= 0)
        return {};
    all.fit(hist);
    std::vector<Box> boxes{std::move(all)};

    // First split by population so that large regions get their own swatches,
    // then by population times volume so that small but very different
    // colours are not swallowed by a big neighbour.
    const int byCountUntil = std::max(1, (maximum * 3) / 4);
    while (int(boxes.size()) < maximum) {
        const bool byCount = int(boxes.size()) < byCountUntil;
        int chosen = -1;
        double best = -1;
        for (int i = 0; i < int(boxes.size()); ++i) {
            const Box &box = boxes[size_t(i)];
            if (!box.canCut())
                continue;
            const double score = byCount ? double(box.count) : double(box.count) * double(box.volume());
            if (score > best) {
                best = score;
                chosen = i;
            }
        }
        if (chosen < 0)
            break;
        Box &box = boxes[size_t(chosen)];
        int channel = 0;
        for (int c = 1; c < 3; ++c)
            if (box.hi[size_t(c)] - box.lo[size_t(c)] > box.hi[size_t(channel)] - box.lo[size_t(channel)])
                channel = c;
        std::stable_sort(box.keys.begin(), box.keys.end(),
                         [channel](int a, int b) { return component(a, channel) < component(b, channel); });
        // Cut where the cumulative count passes half, keeping both halves
        // non-empty.
        int running = 0;
        size_t cut = 1;
        for (size_t i = 0; i < box.keys.size(); ++i) {
            running += hist[size_t(box.keys[i])];
            if (running * 2 >= box.count) {
                cut = std::clamp<size_t>(i + 1, 1, box.keys.size() - 1);
                break;
            }
        }
        Box upper;
        upper.keys.assign(box.keys.begin() + long(cut), box.keys.end());
        box.keys.resize(cut);
        box.fit(hist);
        upper.fit(hist);
        boxes.push_back(std::move(upper));
    }

    std::vector<Swatch> out;
    out.reserve(boxes.size());
    for (const Box &box : boxes) {
        double r = 0;
        double g = 0;
        double b = 0;
        for (int key : box.keys) {
            const double n = hist[size_t(key)];
            // The centre of each 5-bit cell.
            r += n * (component(key, 0) * 8 + 4);
            g += n * (component(key, 1) * 8 + 4);
            b += n * (component(key, 2) * 8 + 4);
        }
        const double total = std::max(1, box.count) * 255.0;
        out.push_back({{r / total, g / total, b / total}, box.count});
    }
    return out;
}

std::optional<RGB> pick(const std::vector<Swatch> &list)
{
    std::optional<RGB> winner;
    double best = -1;
    for (const Swatch &s : list) {
        const Lab lab = Lab::fromRgb(s.color);
        const double c = lab.chroma();
        if ((lab.L < 25 && c < 8) || lab.L > 95)
            continue;
        bool penalised = false;
        if (c > 5) {
            double hue = std::atan2(lab.b, lab.a) * 180.0 / kPi;
            if (hue < 0)
                hue += 360;
            // Yellows and greens read as muddy on black.
            penalised = hue >= 50 && hue <= 118;
        }
        double score = std::sqrt(c + 5) * std::pow(double(s.count), 0.25);
        if (penalised)
            score *= 0.3;
        if (score > best) {
            best = score;
            winner = s.color;
        }
    }
    return winner;
}

std::optional<RGB> rawColor(const QImage &image)
{
    if (image.isNull())
        return std::nullopt;
    const auto picked = pick(swatches(histogram(image), kMaximumSwatches));
    if (picked && Lab::fromRgb(*picked).chroma() >= 5)
        return picked;
    return kNeutralGrey;
}

QImage inSrgb(QImage image)
{
    // Covers from cameras and design tools carry their own profile (Display
    // P3, Adobe RGB); the same numbers mean more saturated colours there, so
    // they are converted before anything reads them as sRGB.
    const QColorSpace space = image.colorSpace();
    if (space.isValid() && space != QColorSpace(QColorSpace::SRgb))
        image.convertToColorSpace(QColorSpace::SRgb);
    return image;
}

QImage decode(const QByteArray &imageBytes, int longestSide)
{
    QBuffer buffer;
    buffer.setData(imageBytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    // Decoding straight to the size needed lets JPEG skip most of the work
    // and never holds the full picture; the whole picture is still what gets
    // scaled.
    const QSize size = reader.size();
    if (size.isValid() && std::max(size.width(), size.height()) > longestSide)
        reader.setScaledSize(size.scaled(longestSide, longestSide, Qt::KeepAspectRatio));
    QImage image;
    if (!reader.read(&image))
        return {};
    return inSrgb(std::move(image));
}

std::optional<RGB> rawColor(const QByteArray &imageBytes)
{
    const QImage image = decode(imageBytes, kThumbnailSide);
    if (image.isNull())
        return std::nullopt;
    return rawColor(image);
}

double contrastAgainstBlack(const RGB &c)
{
    const double y = 0.2126 * linearise(c.r) + 0.7152 * linearise(c.g) + 0.0722 * linearise(c.b);
    return (y + 0.05) / 0.05;
}

RGB visibleOnBlack(const RGB &color)
{
    for (int step = 0; step < 20; ++step) {
        const double t = step * 0.05;
        const RGB mixed{color.r + (1 - color.r) * t, color.g + (1 - color.g) * t, color.b + (1 - color.b) * t};
        if (contrastAgainstBlack(mixed) >= 3.0)
            return mixed;
    }
    return {1, 1, 1};
}

RGB darkened(const RGB &color)
{
    Lab lab = Lab::fromRgb(color);
    lab.L = std::min(lab.L, 22.2);
    const RGB capped = lab.rgb();
    if (Lab::fromRgb(capped).L <= 22.7)
        return capped;
    // Out of gamut the cap does not hold; scale the channels down instead.
    double lo = 0;
    double hi = 1;
    RGB scaled = capped;
    for (int i = 0; i < 24; ++i) {
        const double k = (lo + hi) / 2;
        scaled = {capped.r * k, capped.g * k, capped.b * k};
        if (Lab::fromRgb(scaled).L > 21.0)
            hi = k;
        else
            lo = k;
    }
    return {capped.r * lo, capped.g * lo, capped.b * lo};
}

} // namespace ArtworkAccentColor
