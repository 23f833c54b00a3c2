#include "notch/NotchGeometry.h"

#include "core/UserDefaults.h"
#include "notch/ScreenSource.h"
#include "notch/ScreenSpace.h"

#include <algorithm>

using namespace ScreenSpace;

NotchGeometry::NotchGeometry(QSizeF notchSize, bool hasPhysicalNotch, QRectF screenFrame)
    : m_notchSize(notchSize)
    , m_hasPhysicalNotch(hasPhysicalNotch)
    , m_screenFrame(screenFrame)
{
    const double openWidth = hasPhysicalNotch ? std::max(notchSize.width() + kPhysicalAddedWidth, kMinimumOpenWidth)
                                              : kSimulatedOpenWidth;
    m_expandedSize = QSizeF(openWidth, notchSize.height() + kOpenAddedHeight);
    m_drawerWidth = drawerWidthFor(screenFrame.width(), openWidth);
}

double NotchGeometry::drawerWidthFor(double screenWidth, double expandedWidth)
{
    return std::max(0.0, std::min((screenWidth - expandedWidth) * 0.5 - kDrawerMargin, kMaximumDrawerWidth));
}

NotchGeometry NotchGeometry::measure(const ScreenReading &screen, bool forceSimulated)
{
    if (!forceSimulated && screen.safeAreaTopInset > 0 && screen.auxiliaryTopLeftArea
        && screen.auxiliaryTopRightArea) {
        const double width = minX(*screen.auxiliaryTopRightArea) - maxX(*screen.auxiliaryTopLeftArea);
        return NotchGeometry(QSizeF(width, screen.safeAreaTopInset), true, screen.frame);
    }
    const double menuBar = std::max(screen.statusBarThickness, maxY(screen.frame) - maxY(screen.visibleFrame));
    const double height = std::max(menuBar, kMinimumNotchHeight);
    return NotchGeometry(QSizeF(kSimulatedNotchWidth, height), false, screen.frame);
}

NotchGeometry NotchGeometry::measure(const ScreenReading &screen, const UserDefaults &defaults)
{
    return measure(screen, defaults.boolValue(kForceSimulatedKey));
}

std::optional<ScreenReading> NotchGeometry::preferredScreen(const ScreenSource &source)
{
    const QList<ScreenReading> all = source.screens();
    for (const ScreenReading &s : all) {
        if (s.safeAreaTopInset > 0)
            return s;
    }
    if (all.isEmpty())
        return std::nullopt;
    return all.first();
}

QSizeF NotchGeometry::windowSize() const
{
    return {m_expandedSize.width() + 2 * m_drawerWidth, m_expandedSize.height()};
}

QRectF NotchGeometry::windowFrame() const
{
    const QSizeF size = windowSize();
    return {midX(m_screenFrame) - size.width() / 2, maxY(m_screenFrame) - size.height(), size.width(),
            size.height()};
}

QRectF NotchGeometry::baseRect() const
{
    return {m_drawerWidth, 0, m_expandedSize.width(), m_expandedSize.height()};
}

QRectF NotchGeometry::notchRect() const
{
    return {windowSize().width() / 2 - m_notchSize.width() / 2, 0, m_notchSize.width(), m_notchSize.height()};
}

QRectF NotchGeometry::leftDrawerRect() const
{
    return {0, 0, m_drawerWidth, m_expandedSize.height()};
}

QRectF NotchGeometry::rightDrawerRect() const
{
    return {m_drawerWidth + m_expandedSize.width(), 0, m_drawerWidth, m_expandedSize.height()};
}

QRectF NotchGeometry::screenRect(const QRectF &r, double slop) const
{
    const double windowX = midX(m_screenFrame) - windowSize().width() / 2;
    const double windowTop = maxY(m_screenFrame);
    // r is y-down inside the window: its bottom edge is r.y() + r.height().
    return {windowX + r.x() - slop, windowTop - (r.y() + r.height()), r.width() + 2 * slop, r.height() + kTopSlop};
}

bool NotchGeometry::operator==(const NotchGeometry &o) const
{
    const auto same = [](const QRectF &a, const QRectF &b) {
        return a.x() == b.x() && a.y() == b.y() && a.width() == b.width() && a.height() == b.height();
    };
    return m_notchSize.width() == o.m_notchSize.width() && m_notchSize.height() == o.m_notchSize.height()
        && m_expandedSize.width() == o.m_expandedSize.width() && m_expandedSize.height() == o.m_expandedSize.height()
        && m_drawerWidth == o.m_drawerWidth && m_hasPhysicalNotch == o.m_hasPhysicalNotch
        && same(m_screenFrame, o.m_screenFrame);
}
