// Measures the tray's file work against the simplest honest baselines run
// in the same process: listing a large Downloads folder, reading a large
// recently-used list, and making photo previews.
//
//   bench_tray [scratch-folder]
#include "core/ManualClock.h"
#include "tray/FileFeeds.h"
#include "tray/RecentlyUsedList.h"
#include "tray/ThumbnailCache.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include "Median.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <sys/stat.h>

namespace {

// What a first attempt would write: QDirIterator plus a stat per entry.
QList<QUrl> baselineListing(const QString &folder, int limit)
{
    QList<std::pair<qint64, QString>> entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        const QString path = it.next();
        struct stat st;
        if (::lstat(QFile::encodeName(path).constData(), &st) == 0)
            entries.append({qint64(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec, path});
    }
    std::stable_sort(entries.begin(), entries.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    QList<QUrl> out;
    for (qsizetype i = 0; i < entries.size() && i < limit; ++i)
        out.append(QUrl::fromLocalFile(entries.at(i).second));
    return out;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir scratch(argc > 1 ? QString::fromLocal8Bit(argv[1]) + QStringLiteral("/bench-XXXXXX") : QString());
    const QString root = scratch.path();

    // 1. Downloads of 10 000 files.
    const QString downloads = root + QStringLiteral("/Downloads");
    QDir().mkpath(downloads);
    for (int i = 0; i < 10000; ++i) {
        QFile f(downloads + QStringLiteral("/file-%1.bin").arg(i));
        f.open(QIODevice::WriteOnly);
    }
    // Warm the directory cache once so both sides read from memory.
    FileFeeds::newestDownloads(downloads, 18);
    const double ours = medianMs(21, [&] { FileFeeds::newestDownloads(downloads, 18); });
    const double base = medianMs(21, [&] { baselineListing(downloads, 18); });
    std::printf("downloads listing, 10000 files: %.2f ms median (QDirIterator+stat baseline %.2f ms, ratio %.2f)\n", ours,
                base, ours / base);

    // 2. recently-used.xbel with 5 000 entries, written by GLib.
    const QString xbel = root + QStringLiteral("/home/.local/share/recently-used.xbel");
    ManualClock clock(QDateTime::currentDateTimeUtc());
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral(TRAY_TEST_DATA "/make_recent.py"), root + QStringLiteral("/home"), xbel,
                  QString::number(clock.now().toSecsSinceEpoch()), QStringLiteral("5000")});
    python.waitForFinished(120000);
    const double readMs = medianMs(11, [&] {
        FileFeeds::recentFiles(RecentlyUsedList::readFile(xbel), clock.now(), root + QStringLiteral("/home"), 18);
    });
    const double parseOnly = medianMs(11, [&] { RecentlyUsedList::readFile(xbel); });
    std::printf("recently-used.xbel, 5000 entries (%lld KiB): %.2f ms median to the Recent list (parsing alone %.2f ms)\n",
                QFileInfo(xbel).size() / 1024, readMs, parseOnly);

    // 3. Previews of 600x600 photos.
    const int photos = 60;
    const QString pictures = root + QStringLiteral("/Pictures");
    QDir().mkpath(pictures);
    for (int i = 0; i < photos; ++i) {
        QImage image(600, 600, QImage::Format_RGB32);
        for (int y = 0; y < 600; ++y)
            for (int x = 0; x < 600; ++x)
                image.setPixel(x, y, qRgb((x * 7 + i) & 255, (y * 3) & 255, ((x ^ y) + i * 9) & 255));
        image.save(pictures + QStringLiteral("/photo-%1.jpg").arg(i), "jpeg", 90);
    }
    ThumbnailCache::Options options{root + QStringLiteral("/thumbnails"), {}, 10};
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < photos; ++i)
        ThumbnailCache::make(pictures + QStringLiteral("/photo-%1.jpg").arg(i), options);
    const double oursPer = t.nsecsElapsed() / 1e6 / photos;
    t.restart();
    for (int i = 0; i < photos; ++i) {
        QProcess p;
        p.start(QStringLiteral("/usr/bin/gdk-pixbuf-thumbnailer"),
                {QStringLiteral("-s"), QStringLiteral("128"), pictures + QStringLiteral("/photo-%1.jpg").arg(i),
                 root + QStringLiteral("/gdk-%1.png").arg(i)});
        p.waitForFinished();
    }
    const double gdkPer = t.nsecsElapsed() / 1e6 / photos;
    std::printf("600x600 JPEG previews, one thread: %.2f ms each, %.0f/s written to the shared cache "
                "(gdk-pixbuf-thumbnailer: %.2f ms each, %.0f/s)\n",
                oursPer, 1000 / oursPer, gdkPer, 1000 / gdkPer);
    return 0;
}
