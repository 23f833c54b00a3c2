#pragma once

#include "musicmode/IconTintStore.h"

#include <QString>

// KDE Plasma's accent colour: AccentColor in the [General] group of
// kdeglobals ("r,g,b"; absent when the colour scheme's own accent is used).
// Read and written with KDE's own config tools, so the file keeps KDE's
// format and every other key untouched. Where plasma-apply-colorscheme is
// installed (every Plasma session has it), colours go through it: it also
// mixes the accent into the colour scheme, which is what running KDE
// applications actually draw with. Either way the change is announced over
// D-Bus so running applications repaint.
class KdeAccentStore final : public IconTintStore
{
public:
    // Nothing when KDE's config tools are not installed.
    static std::unique_ptr<KdeAccentStore> create();

    std::optional<IconTint> read() override;
    void write(const IconTint &tint) override;
    IconTint asStored(const IconTint &tint) const override;

    // "r,g,b" with whole 0...255 channels; empty for the default.
    static QString entryText(const IconTint &tint);
    static std::optional<IconTint> fromEntry(const QString &text);

private:
    KdeAccentStore(QString readTool, QString writeTool, QString applyTool);
    void announce();

    QString m_readTool;
    QString m_writeTool;
    QString m_applyTool;
};
