#include "notch/NookHitRegion.h"

#include <QQuickWindow>

NookHitRegion::NookHitRegion(QQuickItem *parent)
    : QQuickItem(parent)
{
    all().append(this);
}

NookHitRegion::~NookHitRegion()
{
    all().removeAll(this);
}

QList<NookHitRegion *> &NookHitRegion::all()
{
    static QList<NookHitRegion *> regions;
    return regions;
}

void NookHitRegion::setKind(Kind kind)
{
    if (m_kind == kind)
        return;
    m_kind = kind;
    Q_EMIT kindChanged();
}

bool NookHitRegion::contains(const QQuickWindow *window, Kind kind, QPointF windowPoint)
{
    for (const NookHitRegion *region : all()) {
        if (region->kind() != kind || region->window() != window || !region->isVisible())
            continue;
        // A page faded out of view does not take gestures.
        double opacity = 1;
        for (const QQuickItem *item = region; item != nullptr; item = item->parentItem())
            opacity *= item->opacity();
        if (opacity <= 0.01)
            continue;
        const QPointF local = region->mapFromScene(windowPoint);
        if (region->QQuickItem::contains(local))
            return true;
    }
    return false;
}
