#include "tray/FileFeeds.h"

#include "core/Clock.h"
#include "tray/ThumbnailCache.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr qint64 kDistantPast = std::numeric_limits<qint64>::min();

QString displayPath(const QString &path)
{
    const QString home = QDir::homePath();
    if (!home.isEmpty() && home != QLatin1String("/") && path.startsWith(home + QLatin1Char('/')))
        return QStringLiteral("~") + path.mid(home.size());
    return path;
}

QString problemFor(int error, const QString &folder)
{
    const QString shown = displayPath(folder);
    switch (error) {
    case ENOENT:
        return QStringLiteral("There's no folder at %1.").arg(shown);
    case ENOTDIR:
        return QStringLiteral("%1 isn't a folder.").arg(shown);
    case EACCES:
    case EPERM:
        return QStringLiteral("You don't have permission to open %1.").arg(shown);
    default:
        return QStringLiteral("%1 can't be read (%2).").arg(shown, QString::fromLocal8Bit(std::strerror(error)));
    }
}

qint64 nanoseconds(const struct statx_timestamp &t)
{
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

} // namespace

FileFeeds::Locations FileFeeds::defaultLocations()
{
    return {QStandardPaths::writableLocation(QStandardPaths::DownloadLocation), RecentlyUsedList::defaultPath(),
            QDir::homePath()};
}

FileFeeds::FileFeeds(ThumbnailCache &thumbnails, Clock &clock, QObject *parent)
    : FileFeeds(thumbnails, clock, defaultLocations(), parent)
{
}

FileFeeds::FileFeeds(ThumbnailCache &thumbnails, Clock &clock, Locations locations, QObject *parent)
    : QObject(parent)
    , m_thumbnails(thumbnails)
    , m_clock(clock)
    , m_locations(std::move(locations))
{
    m_pool.setMaxThreadCount(2);
}

FileFeeds::~FileFeeds()
{
    m_pool.waitForDone();
}

FileFeeds::State FileFeeds::state(TraySource source) const
{
    switch (source) {
    case TraySource::Downloads:
        return m_downloads;
    case TraySource::Recent:
        return m_recent;
    case TraySource::Dropped:
        break;
    }
    return {};
}

void FileFeeds::refresh(TraySource source)
{
    switch (source) {
    case TraySource::Downloads:
        refreshDownloads();
        break;
    case TraySource::Recent:
        refreshRecent();
        break;
    case TraySource::Dropped:
        break;
    }
}

void FileFeeds::setDownloads(State state, const QString &problem)
{
    if (state == m_downloads && problem == m_downloadsProblem)
        return;
    m_downloads = std::move(state);
    m_downloadsProblem = problem;
    m_downloadsList.setItems(m_downloads.items);
    Q_EMIT downloadsChanged();
}

void FileFeeds::setRecent(State state)
{
    if (state == m_recent)
        return;
    m_recent = std::move(state);
    m_recentList.setItems(m_recent.items);
    Q_EMIT recentChanged();
}

void FileFeeds::refreshDownloads()
{
    Q_ASSERT(QThread::currentThread() == thread());
    // A loaded list stays on screen while the new one is made.
    if (m_downloads.status == Status::Idle || m_downloads.status == Status::Denied)
        setDownloads({Status::Loading, {}}, {});
    const QString folder = m_locations.downloads;
    m_pool.start([this, folder] {
        const Listing listing = newestDownloads(folder, kDownloadsLimit);
        QMetaObject::invokeMethod(this, [this, listing] { applyDownloads(listing); }, Qt::QueuedConnection);
    });
}

void FileFeeds::applyDownloads(const Listing &listing)
{
    if (!listing.ok()) {
        setDownloads({Status::Denied, {}}, listing.problem);
        return;
    }
    TrayItems items;
    for (const QUrl &url : listing.urls)
        items.append(TrayItem{url});
    setDownloads({Status::Loaded, items}, {});
    for (const QUrl &url : listing.urls)
        m_thumbnails.load(url);
}

void FileFeeds::refreshRecent()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_recentInFlight)
        return;
    if (m_recent.status == Status::Idle || m_recent.status == Status::Denied)
        setRecent({Status::Loading, {}});
    m_recentInFlight = true;
    Q_EMIT recentReadStarted();
    const QString list = m_locations.recentList;
    const QString home = m_locations.home;
    const QDateTime now = m_clock.now();
    m_pool.start([this, list, home, now] {
        const QList<QUrl> urls = recentFiles(RecentlyUsedList::readFile(list), now, home, kRecentLimit);
        QMetaObject::invokeMethod(this, [this, urls] { applyRecent(urls); }, Qt::QueuedConnection);
    });
}

void FileFeeds::applyRecent(const QList<QUrl> &urls)
{
    m_recentInFlight = false;
    TrayItems items;
    for (const QUrl &url : urls)
        items.append(TrayItem{url});
    // A missing or empty list is simply nothing recent: this feed is never denied.
    setRecent({Status::Loaded, items});
    for (const QUrl &url : urls)
        m_thumbnails.load(url);
}

bool FileFeeds::isPartialDownload(const QString &fileName)
{
    static const QStringList partial{QStringLiteral("download"), QStringLiteral("crdownload"), QStringLiteral("part"),
                                     QStringLiteral("partial"), QStringLiteral("opdownload")};
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0)
        return false;
    return partial.contains(fileName.mid(dot + 1).toLower());
}

qint64 FileFeeds::Entry::sortDate() const
{
    // Linux keeps no "date added to the folder"; the birth time is the
    // nearest thing, and older file systems only have the modification time.
    if (birth)
        return *birth;
    if (modified)
        return *modified;
    return kDistantPast;
}

void FileFeeds::sortNewestFirst(QList<Entry> &entries)
{
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry &a, const Entry &b) { return a.sortDate() > b.sortDate(); });
}

FileFeeds::Listing FileFeeds::newestDownloads(const QString &folder, int limit)
{
    Listing listing;
    if (folder.isEmpty()) {
        listing.problem = QStringLiteral("Your desktop names no Downloads folder.");
        return listing;
    }
    const QByteArray encoded = QFile::encodeName(folder);
    DIR *dir = ::opendir(encoded.constData());
    if (!dir) {
        listing.problem = problemFor(errno, folder);
        return listing;
    }
    const int fd = ::dirfd(dir);
    QList<Entry> entries;
    int readError = 0;
    for (;;) {
        // readdir() reports an error only through errno, and only when it
        // returns null; anything called since the last entry (statx on a file
        // that was just deleted) may have left errno set, so it is cleared
        // right before each call.
        errno = 0;
        const dirent *ent = ::readdir(dir);
        if (!ent) {
            readError = errno;
            break;
        }
        const char *name = ent->d_name;
        if (name[0] == '.') // hidden files, and "." and ".."
            continue;
        const QString fileName = QFile::decodeName(name);
        if (isPartialDownload(fileName))
            continue;
        Entry entry{fileName, {}, {}};
        // One statx per entry, relative to the open folder: the cheapest way
        // Linux offers to get both dates, and it never follows a link.
        struct statx stx;
        if (::statx(fd, name, AT_SYMLINK_NOFOLLOW | AT_STATX_DONT_SYNC, STATX_BTIME | STATX_MTIME, &stx) == 0) {
            if (stx.stx_mask & STATX_BTIME)
                entry.birth = nanoseconds(stx.stx_btime);
            if (stx.stx_mask & STATX_MTIME)
                entry.modified = nanoseconds(stx.stx_mtime);
        } else if (errno == ENOENT) {
            continue; // deleted or moved away since the folder was read
        }
        entries.append(std::move(entry));
    }
    ::closedir(dir);
    if (readError != 0) {
        listing.problem = problemFor(readError, folder);
        return listing;
    }

    sortNewestFirst(entries);
    const QDir base(folder);
    for (qsizetype i = 0; i < entries.size() && i < limit; ++i)
        listing.urls.append(QUrl::fromLocalFile(base.filePath(entries.at(i).name)));
    return listing;
}

QList<QUrl> FileFeeds::recentFiles(const QList<RecentlyUsedList::Bookmark> &bookmarks, const QDateTime &now,
                                   const QString &home, int limit)
{
    const QDateTime since = now.addSecs(-kRecentWindow);
    QList<const RecentlyUsedList::Bookmark *> used;
    for (const auto &bookmark : bookmarks) {
        const QDateTime last = bookmark.lastUsed();
        if (last.isValid() && last >= since)
            used.append(&bookmark);
    }
    std::stable_sort(used.begin(), used.end(),
                     [](const auto *a, const auto *b) { return a->lastUsed() > b->lastUsed(); });

    // Application state, caches and settings are opened all the time on the
    // user's behalf; they are not what the user means by "recent files".
    const QStringList excluded{home + QStringLiteral("/.cache"), home + QStringLiteral("/.config"),
                               home + QStringLiteral("/.local")};
    QList<QUrl> out;
    for (const auto *bookmark : std::as_const(used)) {
        if (out.size() >= limit)
            break;
        const QUrl url(bookmark->href, QUrl::StrictMode);
        if (!url.isValid() || !url.isLocalFile())
            continue;
        const QString path = url.toLocalFile();
        if (path.isEmpty())
            continue;
        if (std::any_of(excluded.cbegin(), excluded.cend(), [&](const QString &dir) { return path.startsWith(dir); }))
            continue;
        if (bookmark->mimeType == QLatin1String("inode/directory")
            || bookmark->mimeType == QLatin1String("application/x-desktop"))
            continue;
        const QFileInfo info(path);
        if (!info.exists() || info.isDir())
            continue;
        out.append(TrayItem::standardized(url));
    }
    return out;
}
