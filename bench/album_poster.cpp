// Times the poster of one screen against the least a poster must do: the
// cover scaled smoothly to fill the screen.
//
//   QT_QPA_PLATFORM=offscreen bench_poster
#include "musicmode/AlbumPoster.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QPainter>

#include "Median.h"

#include <cstdio>

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QImage cover(1000, 1000, QImage::Format_RGB32);
    QPainter painter(&cover);
    painter.fillRect(cover.rect(), QLinearGradient(0, 0, 1000, 1000));
    painter.fillRect(QRect(200, 200, 600, 600), QColor(29, 53, 87));
    painter.end();
    // Posters decode the cover as it came, here a 1000-pixel JPEG.
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    cover.save(&buffer, "JPEG", 90);
    const AlbumPoster poster {cover.scaled(256, 256), QColor(140, 47, 57), QStringLiteral("Harbour Lights"),
        QStringLiteral("The Testers"), QStringLiteral("Bench Album"), jpeg, QByteArray("bench")};

    for (const QSize size : {QSize(2560, 1600), QSize(1920, 1080), QSize(3840, 2160)}) {
        const double ours = medianMs(9, [&] {
            const QImage image = AlbumPoster::image(poster, size);
            Q_UNUSED(image);
        });
        const double baseline = medianMs(9, [&] {
            const QImage scaled = QImage::fromData(jpeg).scaled(size, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
            Q_UNUSED(scaled);
        });
        std::printf("poster %dx%d: %.1f ms (cover decoded and scaled to fill: %.1f ms, ratio %.2f)\n", size.width(), size.height(),
            ours, baseline, ours / baseline);
    }
    return 0;
}
