#include "musicmode/AccentPalette.h"

#include <array>
#include <cmath>

namespace {

struct Named
{
    const char *name;
    int rgb;
};

constexpr std::array<Named, 9> kNamed{{{"blue", 0x3584e4},
                                       {"teal", 0x2190a4},
                                       {"green", 0x3a944a},
                                       {"yellow", 0xc88800},
                                       {"orange", 0xed5b00},
                                       {"red", 0xe62d42},
                                       {"pink", 0xd56199},
                                       {"purple", 0x9141ac},
                                       {"slate", 0x6f8396}}};

} // namespace

namespace AccentPalette {

const QStringList &names()
{
    static const QStringList list = [] {
        QStringList l;
        for (const Named &n : kNamed)
            l.append(QString::fromLatin1(n.name));
        return l;
    }();
    return list;
}

ArtworkAccentColor::RGB color(int code)
{
    const int rgb = kNamed.at(size_t(code - 1)).rgb;
    return {((rgb >> 16) & 0xff) / 255.0, ((rgb >> 8) & 0xff) / 255.0, (rgb & 0xff) / 255.0};
}

int nearest(const ArtworkAccentColor::RGB &rgb)
{
    const auto lab = ArtworkAccentColor::Lab::fromRgb(rgb);
    int best = 1;
    double bestDistance = INFINITY;
    for (int code = 1; code <= int(kNamed.size()); ++code) {
        const auto named = ArtworkAccentColor::Lab::fromRgb(color(code));
        const double d = std::hypot(lab.L - named.L, lab.a - named.a, lab.b - named.b);
        if (d < bestDistance) {
            bestDistance = d;
            best = code;
        }
    }
    return best;
}

} // namespace AccentPalette
