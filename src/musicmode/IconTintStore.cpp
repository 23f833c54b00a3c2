#include "musicmode/IconTintStore.h"

#include "musicmode/GnomeAccentStore.h"
#include "musicmode/KdeAccentStore.h"

std::unique_ptr<IconTintStore> IconTintStore::forDesktop()
{
    // XDG_CURRENT_DESKTOP is a colon-separated list ("ubuntu:GNOME").
    const QStringList desktops = qEnvironmentVariable("XDG_CURRENT_DESKTOP").toUpper().split(u':');
    if (desktops.contains(QStringLiteral("KDE")))
        return KdeAccentStore::create();
    // Other desktops install GNOME's schemas too, without using the key.
    if (desktops.contains(QStringLiteral("GNOME")))
        return GnomeAccentStore::create();
    return nullptr;
}
