#include "notch/NookLayout.h"

#include <algorithm>
#include <cmath>

double NookLayout::pageOpacity(double pageWidth, int pageIndex, int visibleIndex, double dragOffset)
{
    if (pageWidth <= 0)
        return pageIndex == visibleIndex ? 1.0 : 0.0;
    const double distance = std::abs(pageWidth * (pageIndex - visibleIndex) + dragOffset);
    return std::max(0.0, 1.0 - 1.4 * distance / pageWidth);
}

QString NookLayout::pageTitle(NookPage page)
{
    switch (page) {
    case NookPage::Media:
        return tr("Now Playing");
    case NookPage::Tray:
        return tr("Tray");
    }
    return {};
}

QString NookLayout::pageDotHelp(NookPage page, bool isCurrent)
{
    return isCurrent ? tr("%1 (showing)").arg(pageTitle(page)) : tr("Show %1").arg(pageTitle(page));
}
