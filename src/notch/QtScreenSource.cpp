#include "notch/QtScreenSource.h"

#include "notch/AsahiNotchTable.h"
#include "notch/ScreenSpace.h"

#include <QFile>
#include <QGuiApplication>
#include <QScreen>

QtScreenSource::QtScreenSource()
{
    QFile file(QStringLiteral("/proc/device-tree/compatible"));
    if (file.open(QIODevice::ReadOnly))
        m_compatible = AsahiNotchTable::parseCompatible(file.readAll());
}

QtScreenSource::QtScreenSource(QStringList deviceCompatible)
    : m_compatible(std::move(deviceCompatible))
{
}

ScreenReading QtScreenSource::reading(QScreen *screen) const
{
    ScreenReading r;
    r.name = screen->name();
    r.devicePixelRatio = screen->devicePixelRatio();
    r.frame = ScreenSpace::fromQt(QRectF(screen->geometry()));
    // The room top panels reserve shows as the gap between the frame's top
    // and the available area's top; it stands in for the menu bar.
    r.visibleFrame = ScreenSpace::fromQt(QRectF(screen->availableGeometry()));
    const QSize pixels = (QSizeF(screen->geometry().size()) * r.devicePixelRatio).toSize();
    if (const auto housing = AsahiNotchTable::housing(m_compatible, pixels)) {
        const double dpr = r.devicePixelRatio > 0 ? r.devicePixelRatio : 1.0;
        const double inset = housing->heightPixels / dpr;
        const double width = housing->widthPixels / dpr;
        const double top = ScreenSpace::maxY(r.frame);
        const double side = (r.frame.width() - width) / 2.0;
        r.safeAreaTopInset = inset;
        r.auxiliaryTopLeftArea = QRectF(r.frame.x(), top - inset, side, inset);
        r.auxiliaryTopRightArea = QRectF(r.frame.x() + side + width, top - inset, side, inset);
    }
    return r;
}

QList<ScreenReading> QtScreenSource::screens() const
{
    QList<ScreenReading> out;
    for (QScreen *screen : QGuiApplication::screens())
        out.append(reading(screen));
    return out;
}
