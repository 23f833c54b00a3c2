#pragma once

#include <QByteArray>
#include <QList>
#include <optional>

// One desktop accent colour as Tarnwick remembers it. `name` is 0 for the
// desktop's own default (no accent chosen), 1 to 9 for GNOME's named accents
// in their order (blue, teal, green, yellow, orange, red, pink, purple,
// slate), and 10 for a colour of our own in `custom` (red, green, blue,
// alpha, each 0 to 1).
struct IconTint
{
    static constexpr quint32 kDefault = 0;
    static constexpr quint32 kCustom = 10;

    quint32 name = kDefault;
    std::optional<QList<double>> custom;

    // The tint Music mode writes for an album colour.
    static IconTint customColor(double red, double green, double blue);

    // JSON with the keys "name" and "custom", as kept in the settings file.
    QByteArray encoded() const;
    // Nothing for text that is not a tint (a hand-edited or damaged key).
    static std::optional<IconTint> decoded(const QByteArray &text);

    bool operator==(const IconTint &) const = default;
};
