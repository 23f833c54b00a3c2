#include "tray/ThumbnailCache.h"

#include "tray/SharedThumbnails.h"
#include "tray/ThumbnailImageProvider.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QIcon>
#include <QImageReader>
#include <QLoggingCategory>
#include <QMimeDatabase>
#include <QPainter>
#include <QPainterPath>
#include <QProcess>
#include <QQmlEngine>
#include <QTemporaryDir>
#include <QThread>

Q_LOGGING_CATEGORY(lcThumbnails, "tarnwick.tray.thumbnails", QtWarningMsg)

namespace {

QImage fitTo(const QImage &image, int size)
{
    if (image.isNull() || (image.width() <= size && image.height() <= size))
        return image;
    return image.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

bool isImageType(const QMimeType &mime)
{
    static const QList<QByteArray> readable = QImageReader::supportedMimeTypes();
    if (readable.contains(mime.name().toLatin1()))
        return true;
    for (const QString &parent : mime.allAncestors())
        if (readable.contains(parent.toLatin1()))
            return true;
    return false;
}

QImage readScaled(const QString &path)
{
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize full = reader.size();
    // Decoding at the cache's size lets JPEG skip most of the work (its
    // decoder scales in the frequency domain) and keeps memory flat for
    // huge photos.
    if (full.isValid() && (full.width() > SharedThumbnails::kNormalSize || full.height() > SharedThumbnails::kNormalSize)) {
        reader.setScaledSize(full.scaled(SharedThumbnails::kNormalSize, SharedThumbnails::kNormalSize, Qt::KeepAspectRatio));
        // Below 50, Qt's JPEG reader lets libjpeg decode straight at the
        // reduced size; at 128 pixels the difference can't be seen.
        reader.setQuality(49);
    }
    return reader.read();
}

const ThumbnailerEntry *entryFor(const QMimeType &mime, const QList<ThumbnailerEntry> &entries)
{
    QStringList names{mime.name()};
    names += mime.aliases();
    names += mime.allAncestors();
    for (const QString &name : std::as_const(names))
        for (const ThumbnailerEntry &entry : entries)
            if (entry.mimeTypes.contains(name))
                return &entry;
    return nullptr;
}

QImage runThumbnailer(const ThumbnailerEntry &entry, const QString &path, const QString &uri, double timeLimit)
{
    QTemporaryDir scratch;
    if (!scratch.isValid())
        return {};
    const QString output = scratch.filePath(QStringLiteral("thumbnail.png"));
    QStringList command = entry.command(SharedThumbnails::kNormalSize, uri, path, output);
    if (command.isEmpty())
        return {};
    QProcess process;
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    const QString program = command.takeFirst();
    process.start(program, command);
    // A thumbnailer that hangs on a broken file must not hold a worker for
    // ever: past the limit it is killed and the file keeps its icon.
    if (!process.waitForFinished(int(timeLimit * 1000))) {
        qCDebug(lcThumbnails) << "thumbnailer timed out or failed to start:" << program << path;
        process.kill();
        process.waitForFinished(1000);
        return {};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {};
    QImageReader reader(output);
    return reader.read();
}

// Drawn when the icon theme has nothing at all, so a tile is never blank.
QImage drawnPage(bool folder)
{
    QImage image(ThumbnailCache::kPixelSize, ThumbnailCache::kPixelSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const double s = ThumbnailCache::kPixelSize;
    if (folder) {
        QPainterPath path;
        path.addRoundedRect(QRectF(s * 0.1, s * 0.28, s * 0.8, s * 0.56), s * 0.06, s * 0.06);
        path.addRoundedRect(QRectF(s * 0.1, s * 0.2, s * 0.34, s * 0.16), s * 0.05, s * 0.05);
        p.fillPath(path.simplified(), QColor(0x6a, 0xa9, 0xf5));
    } else {
        QPainterPath page;
        page.addRoundedRect(QRectF(s * 0.2, s * 0.1, s * 0.6, s * 0.8), s * 0.06, s * 0.06);
        p.fillPath(page, QColor(0xe8, 0xe8, 0xed));
        p.setPen(QPen(QColor(0xb0, 0xb0, 0xb8), s * 0.03));
        for (int i = 0; i < 4; ++i)
            p.drawLine(QPointF(s * 0.3, s * (0.32 + 0.12 * i)), QPointF(s * 0.7, s * (0.32 + 0.12 * i)));
    }
    return image;
}

} // namespace

ThumbnailCache::Options ThumbnailCache::systemOptions()
{
    return {SharedThumbnails::defaultRoot(), ThumbnailerEntry::installed(ThumbnailerEntry::systemDataDirs()),
            kThumbnailerTimeLimit};
}

ThumbnailCache::ThumbnailCache(Options options, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
{
    if (m_options.cacheRoot.isEmpty())
        m_options.cacheRoot = SharedThumbnails::defaultRoot();
    m_pool.setMaxThreadCount(std::clamp(QThread::idealThreadCount(), 1, 4));
    // Outside a desktop session Qt may know no icon folders and no theme
    // (its plain platforms look only in its own resources): add the desktop's
    // icon folders, and Adwaita, which every desktop we target installs, for
    // the file-type icons that hicolor lacks.
    QStringList searchPaths = QIcon::themeSearchPaths();
    for (const QString &dataDir : ThumbnailerEntry::systemDataDirs()) {
        const QString icons = dataDir + QStringLiteral("/icons");
        if (!searchPaths.contains(icons) && QFileInfo(icons).isDir())
            searchPaths.append(icons);
    }
    if (searchPaths != QIcon::themeSearchPaths())
        QIcon::setThemeSearchPaths(searchPaths);
    if (QIcon::themeName().isEmpty())
        QIcon::setThemeName(QStringLiteral("Adwaita"));
    if (QIcon::fallbackThemeName().isEmpty() || QIcon::fallbackThemeName() == QLatin1String("hicolor"))
        QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
}

ThumbnailCache::~ThumbnailCache()
{
    m_pool.clear();
    m_pool.waitForDone();
}

void ThumbnailCache::load(const QUrl &url)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!url.isLocalFile() || m_requested.contains(url))
        return;
    m_requested.insert(url);
    ++m_pending;
    const QString path = url.toLocalFile();
    const Options options = m_options;
    m_pool.start([this, url, path, options] {
        const Made made = make(path, options);
        QMetaObject::invokeMethod(this, [this, url, image = made.image] { finish(url, image); }, Qt::QueuedConnection);
    });
}

void ThumbnailCache::finish(const QUrl &url, const QImage &image)
{
    --m_pending;
    if (!image.isNull()) {
        m_images.insert(url, image);
        ++m_revision;
        Q_EMIT imagesChanged();
        Q_EMIT thumbnailReady(url);
    }
    Q_EMIT requestFinished(url, !image.isNull());
}

ThumbnailCache::Made ThumbnailCache::make(const QString &path, const Options &options)
{
    const QFileInfo info(path);
    if (!info.exists() || info.isDir())
        return {};
    const QString absolute = info.absoluteFilePath();
    const QString uri = SharedThumbnails::uriForPath(absolute);
    const qint64 mtime = info.lastModified().toSecsSinceEpoch();

    if (const QImage shared = SharedThumbnails::find(options.cacheRoot, uri, mtime); !shared.isNull())
        return {fitTo(shared, kPixelSize), true};

    static const QMimeDatabase mimes;
    const QMimeType mime = mimes.mimeTypeForFile(absolute);
    QImage made;
    if (isImageType(mime)) {
        made = readScaled(absolute);
    } else if (const ThumbnailerEntry *entry = entryFor(mime, options.thumbnailers)) {
        made = runThumbnailer(*entry, absolute, uri, options.timeLimit);
    }
    if (made.isNull())
        return {};
    if (!SharedThumbnails::store(options.cacheRoot, uri, mtime, mime.name(), made))
        qCDebug(lcThumbnails) << "could not write to the shared thumbnail cache" << options.cacheRoot;
    return {fitTo(made, kPixelSize), false};
}

QImage ThumbnailCache::image(const QUrl &url) const
{
    if (const auto it = m_images.constFind(url); it != m_images.cend())
        return *it;
    return iconFor(url.toLocalFile());
}

QImage ThumbnailCache::iconFor(const QString &path)
{
    static const QMimeDatabase mimes;
    const QFileInfo info(path);
    const bool folder = info.isDir();
    // By name first: an icon must be cheap, and reading the file's content
    // to guess its type is the previews' job.
    const QMimeType mime = folder ? mimes.mimeTypeForName(QStringLiteral("inode/directory"))
                                  : mimes.mimeTypeForFile(path, QMimeDatabase::MatchExtension);
    QIcon icon = QIcon::fromTheme(mime.iconName());
    if (icon.isNull())
        icon = QIcon::fromTheme(mime.genericIconName());
    if (icon.isNull())
        icon = QIcon::fromTheme(folder ? QStringLiteral("folder") : QStringLiteral("text-x-generic"));
    if (!icon.isNull()) {
        const QImage image = icon.pixmap(QSize(kPixelSize, kPixelSize)).toImage();
        if (!image.isNull())
            return image;
    }
    return drawnPage(folder);
}

QString ThumbnailCache::source(const QUrl &url) const
{
    // The URL travels base64-encoded so slashes and percent signs survive
    // the image URL; the suffix changes when the preview arrives, so the
    // view loads the new picture instead of its cached icon.
    return QStringLiteral("image://%1/%2%3")
        .arg(kProviderId,
             QString::fromLatin1(url.toEncoded().toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals)),
             m_images.contains(url) ? QStringLiteral("/t") : QStringLiteral("/i"));
}

QUrl ThumbnailCache::urlFromProviderId(const QString &id)
{
    const QString encoded = id.section(QLatin1Char('/'), 0, 0);
    return QUrl::fromEncoded(QByteArray::fromBase64(encoded.toLatin1(), QByteArray::Base64UrlEncoding));
}

void ThumbnailCache::registerImageProvider(QQmlEngine &engine)
{
    engine.addImageProvider(kProviderId, new ThumbnailImageProvider);
}
