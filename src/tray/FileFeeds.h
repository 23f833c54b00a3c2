#pragma once

#include "core/QmlSingleton.h"
#include "tray/RecentlyUsedList.h"
#include "tray/TrayItem.h"
#include "tray/TrayItemList.h"
#include "tray/TraySource.h"

#include <QObject>
#include <QThreadPool>
#include <QtQml/qqmlregistration.h>
#include <optional>

class Clock;
class ThumbnailCache;

// The two tray sources that are not the user's own tray: the newest files in
// Downloads, and the files opened in the last two weeks. A feed is read only
// when the tray page appears or its source is picked: no watching, no timer.
// Listing and parsing run on a worker; every state change happens here, on
// the main thread.
class FileFeeds : public QObject, public QmlSingleton<FileFeeds>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(Status downloadsStatus READ downloadsStatus NOTIFY downloadsChanged)
    Q_PROPERTY(Status recentStatus READ recentStatus NOTIFY recentChanged)
    Q_PROPERTY(TrayItemList *downloadsItems READ downloadsItems CONSTANT)
    Q_PROPERTY(TrayItemList *recentItems READ recentItems CONSTANT)
    Q_PROPERTY(QString downloadsProblem READ downloadsProblem NOTIFY downloadsChanged)

public:
    enum class Status { Loaded, Idle, Loading, Denied };
    Q_ENUM(Status)

    struct State
    {
        Status status = Status::Idle;
        TrayItems items; // only when loaded, newest first
        bool operator==(const State &) const = default;
    };

    static constexpr int kDownloadsLimit = 18;
    static constexpr int kRecentLimit = 18;
    static constexpr qint64 kRecentWindow = 1'209'600; // seconds: two weeks

    struct Locations
    {
        QString downloads;  // the Downloads folder
        QString recentList; // recently-used.xbel
        QString home;       // for the folders Recent leaves out
    };
    static Locations defaultLocations();

    FileFeeds(ThumbnailCache &thumbnails, Clock &clock, QObject *parent = nullptr);
    FileFeeds(ThumbnailCache &thumbnails, Clock &clock, Locations locations, QObject *parent = nullptr);
    ~FileFeeds() override;

    const State &downloads() const { return m_downloads; }
    const State &recent() const { return m_recent; }
    State state(TraySource source) const;
    Status downloadsStatus() const { return m_downloads.status; }
    Status recentStatus() const { return m_recent.status; }
    TrayItemList *downloadsItems() { return &m_downloadsList; }
    TrayItemList *recentItems() { return &m_recentList; }
    // Why Downloads is denied, as a sentence naming the folder; empty otherwise.
    QString downloadsProblem() const { return m_downloadsProblem; }
    bool isRecentReadInFlight() const { return m_recentInFlight; }
    const Locations &locations() const { return m_locations; }

    // Start a refresh and return at once; the result arrives as a change.
    Q_INVOKABLE void refreshDownloads();
    Q_INVOKABLE void refreshRecent();
    // What the tray page does when it appears or its source changes.
    Q_INVOKABLE void refresh(TraySource source);

    // --- The pure pieces, run on workers and tested directly ---

    static bool isPartialDownload(const QString &fileName);

    struct Entry
    {
        QString name;
        std::optional<qint64> birth;    // nanoseconds since the epoch, when the file system keeps it
        std::optional<qint64> modified; // nanoseconds since the epoch
        qint64 sortDate() const;
    };
    // Newest first; entries with equal dates keep their order.
    static void sortNewestFirst(QList<Entry> &entries);

    struct Listing
    {
        QList<QUrl> urls;
        QString problem; // set when the folder could not be listed
        bool ok() const { return problem.isEmpty(); }
    };
    // The newest `limit` visible, finished downloads in `folder`.
    static Listing newestDownloads(const QString &folder, int limit);

    // The most recently used files that still exist, newest first, leaving
    // out folders, launchers, anything not a local file, and the home's
    // .cache, .config and .local.
    static QList<QUrl> recentFiles(const QList<RecentlyUsedList::Bookmark> &bookmarks, const QDateTime &now,
                                   const QString &home, int limit);

Q_SIGNALS:
    void downloadsChanged();
    void recentChanged();
    // A read of the recently-used list has begun (at most one at a time).
    void recentReadStarted();

private:
    void setDownloads(State state, const QString &problem);
    void setRecent(State state);
    void applyDownloads(const Listing &listing);
    void applyRecent(const QList<QUrl> &urls);

    ThumbnailCache &m_thumbnails;
    Clock &m_clock;
    Locations m_locations;
    QThreadPool m_pool;
    State m_downloads;
    State m_recent;
    QString m_downloadsProblem;
    TrayItemList m_downloadsList;
    TrayItemList m_recentList;
    bool m_recentInFlight = false;
};
