#pragma once

#include "musicmode/IconTintStore.h"

#include <QString>

typedef struct _GSettings GSettings;

// GNOME's accent colour (GNOME 47 and later): the accent-color key of
// org.gnome.desktop.interface, one of nine named colours. An album colour is
// written as the nearest of them; the user's "no choice" (the key left at
// its default) is kept apart from an explicit "blue", so a restore resets
// the key instead of pinning the default.
class GnomeAccentStore final : public IconTintStore
{
public:
    // Nothing when the installed schema has no accent-color key (older
    // GNOME). `schemaDirectory` replaces the system's schemas (tests).
    static std::unique_ptr<GnomeAccentStore> create(const QString &schemaDirectory = {});
    ~GnomeAccentStore() override;

    std::optional<IconTint> read() override;
    void write(const IconTint &tint) override;
    IconTint asStored(const IconTint &tint) const override;

private:
    explicit GnomeAccentStore(GSettings *settings);
    GSettings *m_settings;
};
