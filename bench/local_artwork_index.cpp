// Figures for the Music-folder index behind local covers: first build of an
// index of N small audio files (half with a cover) and the memory it takes,
// a refresh when nothing changed (against a bare walk with stat as the
// baseline), one look-up, one cover read, and the index's size on disk.
// Usage: bench_local_artwork [FILES] [FOLDER]; the files are made once in
// FOLDER (a temporary folder by default) from four small ffmpeg templates.

#include "nowplaying/AudioTags.h"
#include "nowplaying/MusicIndex.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <taglib/fileref.h>
#include <taglib/tag.h>

namespace {

long statusKb(const char *key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(int(qstrlen(key))).trimmed().split(' ').value(0).toLong();
    }
    return -1;
}

bool makeTemplates(const QDir &dir)
{
    QImage cover(300, 300, QImage::Format_RGB32);
    cover.fill(QColor(40, 90, 160));
    if (!cover.save(dir.filePath(QStringLiteral("cover.jpg")), "JPEG", 80))
        return false;
    const QStringList formats {
        QStringLiteral("mp3"), QStringLiteral("flac"), QStringLiteral("m4a"), QStringLiteral("opus")};
    for (const QString &format : formats) {
        for (bool withCover : {true, false}) {
            QStringList args {QStringLiteral("-y"), QStringLiteral("-loglevel"), QStringLiteral("error"),
                QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                QStringLiteral("sine=sample_rate=8000:duration=1")};
            if (withCover && format != QLatin1String("opus"))
                args << QStringLiteral("-i") << dir.filePath(QStringLiteral("cover.jpg")) << QStringLiteral("-map")
                     << QStringLiteral("0:a") << QStringLiteral("-map") << QStringLiteral("1:v")
                     << QStringLiteral("-c:v") << QStringLiteral("copy") << QStringLiteral("-disposition:v")
                     << QStringLiteral("attached_pic");
            args << QStringLiteral("-metadata") << QStringLiteral("artist=Bench Artist")
                 << dir.filePath(QStringLiteral("t-%1-%2.%3").arg(withCover).arg(format, format));
            if (QProcess::execute(QStringLiteral("ffmpeg"), args) != 0)
                return false;
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 10000;
    QTemporaryDir scratch;
    const QDir root(argc > 2 ? QString::fromLocal8Bit(argv[2]) : scratch.filePath(QStringLiteral("Music")));
    const QString cache = scratch.filePath(QStringLiteral("music-index"));

    if (!root.exists() || root.entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty()) {
        QDir().mkpath(root.path());
        if (!makeTemplates(QDir(scratch.path()))) {
            std::fprintf(stderr, "ffmpeg failed (Debian package ffmpeg)\n");
            return 1;
        }
        const QStringList formats {
            QStringLiteral("mp3"), QStringLiteral("flac"), QStringLiteral("m4a"), QStringLiteral("opus")};
        for (int i = 0; i < count; ++i) {
            const QString format = formats[i % 4];
            const int withCover = (i / 4) % 2;
            const QString folder = root.filePath(QStringLiteral("Artist %1/Album %2").arg(i / 200).arg(i / 20));
            QDir().mkpath(folder);
            const QString file = folder + QStringLiteral("/%1 Track %2.%3").arg(i % 20).arg(i).arg(format);
            QFile::copy(scratch.filePath(QStringLiteral("t-%1-%2.%3").arg(withCover).arg(format, format)), file);
            TagLib::FileRef ref(QFile::encodeName(file).constData());
            ref.tag()->setTitle(
                TagLib::String(QStringLiteral("Song number %1").arg(i).toStdString(), TagLib::String::UTF8));
            ref.save();
        }
    }

    const long rssBefore = statusKb("VmRSS:");
    MusicIndex first(root.path());
    QElapsedTimer timer;
    timer.start();
    const auto built = first.refresh();
    first.save(cache);
    const double buildMs = double(timer.nsecsElapsed()) / 1e6;
    const long rssAfter = statusKb("VmRSS:");

    // A restart: load the cache, walk, nothing to read.
    QList<double> loads, refreshes, walks;
    MusicIndex::RefreshCounts again;
    for (int run = 0; run < 5; ++run) {
        MusicIndex restarted(root.path());
        timer.restart();
        restarted.load(cache);
        loads.append(double(timer.nsecsElapsed()) / 1e6);
        timer.restart();
        again = restarted.refresh();
        refreshes.append(double(timer.nsecsElapsed()) / 1e6);

        // The baseline: the same walk with one stat per file and nothing else.
        timer.restart();
        qint64 sum = 0;
        QDirIterator it(root.path(), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            it.next();
            sum += it.fileInfo().lastModified().toMSecsSinceEpoch() + it.fileInfo().size();
        }
        walks.append(double(timer.nsecsElapsed()) / 1e6);
        Q_UNUSED(sum);
    }
    std::sort(loads.begin(), loads.end());
    std::sort(refreshes.begin(), refreshes.end());
    std::sort(walks.begin(), walks.end());

    // One look-up: matching and ranking, then reading the winner's cover.
    const int lookups = 2000;
    timer.restart();
    size_t hits = 0;
    for (int i = 0; i < lookups; ++i) {
        const int n = (i * 7919) % count;
        hits += MusicIndex::ranked(
            first.candidates(QStringLiteral("SONG NUMBER %1").arg(n)), QStringLiteral("bench artist"), 1.0)
                    .size();
    }
    const double lookupUs = double(timer.nsecsElapsed()) / 1e3 / lookups;
    QList<double> covers;
    for (int i = 0; i < 50; ++i) {
        const auto candidates = first.candidates(QStringLiteral("Song number %1").arg(4 + (i * 8) % (count - 8)));
        timer.restart();
        const auto cover = candidates.empty() ? std::nullopt : AudioTags::embeddedCover(candidates.front().path);
        covers.append(double(timer.nsecsElapsed()) / 1e3);
        if (!cover)
            std::fprintf(stderr, "expected a cover\n");
    }
    std::sort(covers.begin(), covers.end());

    std::printf("files: %d (read %d)\n", int(first.size()), built.read);
    std::printf("first build: %.0f ms (%.1f ms per 1000 files), RSS %ld -> %ld kB (+%ld kB), peak %ld kB\n", buildMs,
        buildMs * 1000 / count, rssBefore, rssAfter, rssAfter - rssBefore, statusKb("VmHWM:"));
    std::printf(
        "restart: load %.1f ms, refresh with nothing changed %.1f ms (read %d, kept %d); bare walk with stat %.1f ms "
        "(ratio %.2f) [medians of 5]\n",
        loads[2], refreshes[2], again.read, again.kept, walks[2], refreshes[2] / walks[2]);
    std::printf(
        "look-up (match and rank): %.1f us, %zu hits over %d; cover read of the winner: %.0f us [median of 50]\n",
        lookupUs, hits, lookups, covers[25]);
    std::printf("index on disk: %lld bytes (%.0f bytes per file)\n", QFileInfo(cache).size(),
        double(QFileInfo(cache).size()) / count);
    return 0;
}
