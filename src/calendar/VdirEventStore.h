#pragma once

#include "calendar/EventStore.h"

#include <QFileSystemWatcher>
#include <QHash>
#include <QTimeZone>

#include <memory>
#include <vector>

class Clock;
class QThread;
class UserDefaults;
struct VdirFile;

// Calendars kept as vdir folders: one folder per calendar, one .ics file per
// event, as khal and vdirsyncer keep them, so what they sync shows here and
// what we add syncs there. Tarnwick's own folders live under `root`; more
// folders can be named in the settings. Other programs' changes arrive
// through a watch on the folders and files.
class VdirEventStore final : public EventStore
{
    Q_OBJECT
public:
    // `folders`: extra vdir folders; each is a calendar itself when it holds
    // .ics files (or a displayname/color file), else its subfolders are.
    VdirEventStore(Clock &clock, QString root, QStringList folders = {}, QTimeZone zone = QTimeZone::systemTimeZone(),
                   QObject *parent = nullptr);
    ~VdirEventStore() override;

    // ~/.local/share/Tarnwick/Calendars
    static QString defaultRoot();
    // The settings key that lists extra vdir folders (a list, or one string
    // with the folders separated by the platform's path-list separator).
    static constexpr const char *kFoldersKey = "calendar.folders";
    static QStringList configuredFolders(const UserDefaults &defaults);

    Authorization authorizationStatus() const override;
    void requestFullAccess(std::function<void(bool granted)> done) override;
    QList<Event> events(const QDateTime &from, const QDateTime &to) const override;
    QList<Calendar> writableCalendars() const override;
    std::optional<Calendar> defaultCalendarForNewEvents() override;
    std::optional<Calendar> calendar(const QString &id) const override;
    bool save(const NewEvent &event, const QString &calendarId, QString *error) override;
    QString problem() const override { return m_problem; }

    int calendarCount() const { return int(m_collections.size()); }
    // True while the files are still being read for the first time (in the
    // background; changed() follows when it is done).
    bool isLoading() const { return m_loader != nullptr; }

private:
    struct Collection;
    void scanCollections();
    void rescan(Collection &collection, QStringList *deferred = nullptr);
    void loadInBackground(const QStringList &paths);
    void pathChanged(const QString &path);
    Collection *collectionFor(const QString &path);
    Calendar describe(const Collection &collection) const;

    Clock &m_clock;
    QString m_root;
    QStringList m_folders;
    QTimeZone m_zone;
    QString m_problem;
    std::vector<std::unique_ptr<Collection>> m_collections;
    QFileSystemWatcher m_watcher;
    QThread *m_loader = nullptr;
    bool m_started = false;
};
