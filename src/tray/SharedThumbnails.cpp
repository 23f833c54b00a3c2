#include "tray/SharedThumbnails.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QSaveFile>

namespace SharedThumbnails {

QString defaultRoot()
{
    QString cache = qEnvironmentVariable("XDG_CACHE_HOME");
    if (cache.isEmpty())
        cache = QDir::homePath() + QStringLiteral("/.cache");
    return cache + QStringLiteral("/thumbnails");
}

QString uriForPath(const QString &absolutePath)
{
    // Letters, digits and -._~ are never escaped by toPercentEncoding; the
    // rest of GLib's "allowed in a path" set is listed here.
    return QStringLiteral("file://")
        + QString::fromLatin1(absolutePath.toUtf8().toPercentEncoding("!*'()/&=:@+$,"));
}

QString fileName(const QString &uri)
{
    return QString::fromLatin1(QCryptographicHash::hash(uri.toUtf8(), QCryptographicHash::Md5).toHex())
        + QStringLiteral(".png");
}

QImage find(const QString &root, const QString &uri, qint64 mtime)
{
    const QString name = fileName(uri);
    for (const char *flavor : {"normal", "large"}) {
        const QString path = root + QLatin1Char('/') + QLatin1String(flavor) + QLatin1Char('/') + name;
        if (!QFile::exists(path))
            continue;
        QImageReader reader(path, "png");
        const QImage image = reader.read();
        if (image.isNull())
            continue;
        if (image.text(QStringLiteral("Thumb::URI")) != uri)
            continue;
        bool ok = false;
        const qint64 stamped = image.text(QStringLiteral("Thumb::MTime")).toLongLong(&ok);
        if (!ok || stamped != mtime)
            continue;
        return image;
    }
    return {};
}

bool store(const QString &root, const QString &uri, qint64 mtime, const QString &mimeType, const QImage &image)
{
    const QString dir = root + QStringLiteral("/normal");
    // The cache holds previews of private files: only the user may look in.
    if (!QDir().mkpath(dir))
        return false;
    QFile::setPermissions(root, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QFile::setPermissions(dir, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    QImage out = image;
    if (out.width() > kNormalSize || out.height() > kNormalSize)
        out = out.scaled(kNormalSize, kNormalSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    out.setText(QStringLiteral("Thumb::URI"), uri);
    out.setText(QStringLiteral("Thumb::MTime"), QString::number(mtime));
    if (!mimeType.isEmpty())
        out.setText(QStringLiteral("Thumb::Mimetype"), mimeType);
    out.setText(QStringLiteral("Software"), QStringLiteral("Tarnwick"));

    QSaveFile file(dir + QLatin1Char('/') + fileName(uri));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QImageWriter writer(&file, "png");
    // zlib's fastest level: at 128 pixels the file grows a little, and the
    // write gets several times faster, which is most of a preview's cost.
    writer.setCompression(1);
    if (!writer.write(out)) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

} // namespace SharedThumbnails
