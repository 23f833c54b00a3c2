// GLib's headers use "signals" as a name; they come before Qt's.
#include <gio/gio.h>

#include "musicmode/GnomeAccentStore.h"

#include "musicmode/AccentPalette.h"

namespace {

constexpr const char *kSchema = "org.gnome.desktop.interface";
constexpr const char *kKey = "accent-color";

} // namespace

std::unique_ptr<GnomeAccentStore> GnomeAccentStore::create(const QString &schemaDirectory)
{
    GSettingsSchemaSource *source = nullptr;
    if (schemaDirectory.isEmpty()) {
        source = g_settings_schema_source_get_default();
        if (source == nullptr)
            return nullptr;
        g_settings_schema_source_ref(source);
    } else {
        source = g_settings_schema_source_new_from_directory(schemaDirectory.toLocal8Bit().constData(), nullptr,
                                                             TRUE, nullptr);
        if (source == nullptr)
            return nullptr;
    }
    GSettingsSchema *schema = g_settings_schema_source_lookup(source, kSchema, TRUE);
    g_settings_schema_source_unref(source);
    if (schema == nullptr)
        return nullptr;
    if (!g_settings_schema_has_key(schema, kKey)) {
        g_settings_schema_unref(schema);
        return nullptr;
    }
    GSettings *settings = g_settings_new_full(schema, nullptr, nullptr);
    g_settings_schema_unref(schema);
    return std::unique_ptr<GnomeAccentStore>(new GnomeAccentStore(settings));
}

GnomeAccentStore::GnomeAccentStore(GSettings *settings)
    : m_settings(settings)
{
}

GnomeAccentStore::~GnomeAccentStore()
{
    g_object_unref(m_settings);
}

std::optional<IconTint> GnomeAccentStore::read()
{
    GVariant *value = g_settings_get_user_value(m_settings, kKey);
    if (value == nullptr)
        return IconTint{};
    std::optional<IconTint> tint;
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        const int index = AccentPalette::names().indexOf(QString::fromUtf8(g_variant_get_string(value, nullptr)));
        if (index >= 0)
            tint = IconTint{quint32(index + 1), std::nullopt};
    }
    g_variant_unref(value);
    return tint;
}

IconTint GnomeAccentStore::asStored(const IconTint &tint) const
{
    if (tint.custom && tint.custom->size() >= 3)
        return IconTint{quint32(AccentPalette::nearest({tint.custom->at(0), tint.custom->at(1), tint.custom->at(2)})),
                        std::nullopt};
    if (tint.name >= 1 && tint.name <= 9)
        return IconTint{tint.name, std::nullopt};
    return IconTint{};
}

void GnomeAccentStore::write(const IconTint &tint)
{
    const IconTint stored = asStored(tint);
    if (stored.name == IconTint::kDefault)
        g_settings_reset(m_settings, kKey);
    else
        g_settings_set_string(m_settings, kKey, AccentPalette::names().at(int(stored.name) - 1).toUtf8().constData());
    // The settings daemon tells every running application; we only have to
    // make sure the write left this process.
    g_settings_sync();
}
