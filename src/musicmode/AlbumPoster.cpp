#include "musicmode/AlbumPoster.h"

#include "nowplaying/ArtworkAccentColor.h"

#include <QFont>
#include <QLinearGradient>
#include <QPainter>

QImage AlbumPoster::image(const AlbumPoster &poster, const QSize &pixelSize)
{
    QImage canvas(pixelSize, QImage::Format_ARGB32_Premultiplied);
    const QColor base = poster.color.isValid() ? poster.color : QColor(20, 20, 22);
    canvas.fill(base.darker(300));
    if (pixelSize.isEmpty())
        return canvas;

    QPainter painter(&canvas);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRect bounds(QPoint(0, 0), pixelSize);
    // Decoded here, at the screen's size, rather than stretched up from the
    // Nook's small copy.
    const QImage cover = poster.coverData.isEmpty()
                             ? poster.cover
                             : ArtworkAccentColor::decode(poster.coverData, std::max(pixelSize.width(), pixelSize.height()));
    if (!cover.isNull()) {
        // Fill the screen and cut the overhang equally on both sides.
        const QSize filled = cover.size().scaled(pixelSize, Qt::KeepAspectRatioByExpanding);
        QRect target(QPoint(0, 0), filled);
        target.moveCenter(bounds.center());
        painter.drawImage(target, cover);
    }

    // A shade of the album's colour along the bottom keeps the texts legible
    // on any cover.
    QLinearGradient shade(0, bounds.height() * 0.55, 0, bounds.height());
    QColor clear = base.darker(400);
    clear.setAlpha(0);
    QColor deep = base.darker(400);
    deep.setAlpha(225);
    shade.setColorAt(0, clear);
    shade.setColorAt(1, deep);
    painter.fillRect(bounds, shade);

    const int unit = std::max(8, pixelSize.height() / 40);
    const int margin = unit * 2;
    QFont titleFont;
    titleFont.setPixelSize(unit * 2);
    titleFont.setBold(true);
    QFont detailFont;
    detailFont.setPixelSize(int(unit * 1.2));
    const QString detail =
        poster.album.isEmpty() || poster.album == poster.title
            ? poster.artist
            : (poster.artist.isEmpty() ? poster.album : poster.artist + QStringLiteral(" — ") + poster.album);

    painter.setPen(QColor(255, 255, 255, 215));
    painter.setFont(detailFont);
    QRect detailRect(margin, bounds.height() - margin - unit * 2, bounds.width() - 2 * margin, unit * 2);
    painter.drawText(detailRect, Qt::AlignLeft | Qt::AlignBottom, detail);
    painter.setPen(Qt::white);
    painter.setFont(titleFont);
    QRect titleRect(margin, detailRect.top() - unit * 3, bounds.width() - 2 * margin, unit * 3);
    painter.drawText(titleRect, Qt::AlignLeft | Qt::AlignBottom,
                     painter.fontMetrics().elidedText(poster.title, Qt::ElideRight, titleRect.width()));
    return canvas;
}
