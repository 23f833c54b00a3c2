#pragma once

#include <QImage>
#include <QString>

// The thumbnail cache every freedesktop file manager shares:
// <root>/normal (up to 128 pixels) and <root>/large (up to 256), one PNG
// per file named by the MD5 of its URI, stamped with the URI and the file's
// modification time so a changed file is never shown with an old picture.
namespace SharedThumbnails {

constexpr int kNormalSize = 128;
constexpr int kLargeSize = 256;

// $XDG_CACHE_HOME/thumbnails, else ~/.cache/thumbnails.
QString defaultRoot();
// The URI GLib makes for a path: file:// and the path with everything but
// letters, digits and -_.!~*'()/&=:@+$, percent-escaped byte by byte.
// It has to match GLib's exactly, or other programs look under another name.
QString uriForPath(const QString &absolutePath);
// md5(uri) in lowercase hex, with ".png".
QString fileName(const QString &uri);
// A valid thumbnail for (uri, mtime) from normal/ or large/; null if none.
QImage find(const QString &root, const QString &uri, qint64 mtime);
// Writes `image` (at most kNormalSize on its longer side) to normal/ with the
// required stamps, through a temporary file renamed into place so a reader
// never sees half a file. False when the cache cannot be written.
bool store(const QString &root, const QString &uri, qint64 mtime, const QString &mimeType, const QImage &image);

} // namespace SharedThumbnails
