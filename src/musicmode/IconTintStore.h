#pragma once

#include "musicmode/IconTint.h"

#include <memory>
#include <optional>

// Where the desktop keeps its accent colour. Music mode reads and writes it
// only from its tint worker thread, one call at a time.
class IconTintStore
{
public:
    virtual ~IconTintStore() = default;

    // Nothing when the desktop's setting cannot be read right now.
    virtual std::optional<IconTint> read() = 0;
    virtual void write(const IconTint &tint) = 0;

    // What read() gives back after write(tint). Desktops keep fewer colours
    // than we can ask for (whole 8-bit channels, or a few named accents); a
    // remembered tint must be the one the desktop will show, or the next
    // comparison would take our own tint for the user's.
    virtual IconTint asStored(const IconTint &tint) const { return tint; }

    // The store of the running desktop: KDE Plasma's or GNOME's accent
    // colour; nothing where the desktop has no accent colour we can set.
    static std::unique_ptr<IconTintStore> forDesktop();
};
