#include "app/AppIcon.h"

#include "notch/NotchShape.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace AppIcon {

QIcon make(bool monochrome, const QColor &colour)
{
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        const double s = size;
        const QRectF screen(s * 0.08, s * 0.18, s * 0.84, s * 0.64);
        const double radius = s * 0.1;
        if (monochrome) {
            QPen pen(colour, std::max(1.0, s * 0.07));
            p.setPen(pen);
            p.setBrush(Qt::NoBrush);
            p.drawRoundedRect(screen, radius, radius);
            p.fillPath(NotchShape::path(QRectF(s * 0.3, screen.top(), s * 0.4, s * 0.2), s * 0.05, s * 0.08), colour);
        } else {
            QLinearGradient sky(screen.topLeft(), screen.bottomRight());
            sky.setColorAt(0, QColor(0x4a, 0x6f, 0xa5));
            sky.setColorAt(1, QColor(0xd4, 0xa3, 0x73));
            p.setPen(QPen(QColor(0x1c, 0x1c, 0x1e), std::max(1.0, s * 0.05)));
            p.setBrush(sky);
            p.drawRoundedRect(screen, radius, radius);
            p.fillPath(NotchShape::path(QRectF(s * 0.28, screen.top(), s * 0.44, s * 0.22), s * 0.05, s * 0.09),
                       Qt::black);
        }
        p.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

QIcon tray()
{
    return QIcon::fromTheme(QStringLiteral(TARNWICK_APP_ID "-symbolic"), make(true));
}

} // namespace AppIcon
