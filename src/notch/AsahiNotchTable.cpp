#include "notch/AsahiNotchTable.h"

#include <array>

namespace AsahiNotchTable {

namespace {

struct Model
{
    const char *compatible;
    QSize notchedPanel; // pixels, with the notch rows shown
    Housing housing;
};

// The 14- and 16-inch MacBook Pro panels (254 ppi) lose 74 rows to the
// housing, the 13.6- and 15-inch MacBook Air panels (224 ppi) 64. The
// housing's width follows from its physical size at each density.
constexpr Housing kPro{370, 74};
constexpr Housing kAir{326, 64};
constexpr QSize kPro14{3024, 1964};
constexpr QSize kPro16{3456, 2234};
constexpr QSize kAir13{2560, 1664};
constexpr QSize kAir15{2880, 1864};

constexpr std::array kModels{
    Model{"apple,j314s", kPro14, kPro}, Model{"apple,j314c", kPro14, kPro}, Model{"apple,j414s", kPro14, kPro},
    Model{"apple,j414c", kPro14, kPro}, Model{"apple,j504", kPro14, kPro},  Model{"apple,j514s", kPro14, kPro},
    Model{"apple,j514c", kPro14, kPro}, Model{"apple,j316s", kPro16, kPro}, Model{"apple,j316c", kPro16, kPro},
    Model{"apple,j416s", kPro16, kPro}, Model{"apple,j416c", kPro16, kPro}, Model{"apple,j516s", kPro16, kPro},
    Model{"apple,j516c", kPro16, kPro}, Model{"apple,j413", kAir13, kAir},  Model{"apple,j613", kAir13, kAir},
    Model{"apple,j415", kAir15, kAir},  Model{"apple,j615", kAir15, kAir},
};

} // namespace

std::optional<Housing> housing(const QStringList &compatible, QSize panelPixels)
{
    for (const Model &model : kModels) {
        if (!compatible.contains(QLatin1String(model.compatible)))
            continue;
        // Without show_notch the panel runs at 16:10 and has no notch rows.
        if (panelPixels != model.notchedPanel)
            return std::nullopt;
        return model.housing;
    }
    return std::nullopt;
}

QStringList parseCompatible(const QByteArray &contents)
{
    QStringList out;
    for (const QByteArray &part : contents.split('\0')) {
        if (!part.isEmpty())
            out.append(QString::fromLatin1(part));
    }
    return out;
}

} // namespace AsahiNotchTable
