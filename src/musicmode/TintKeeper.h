#pragma once

#include "musicmode/IconTint.h"

#include <QMutex>
#include <QThreadPool>
#include <QString>
#include <memory>
#include <optional>

class IconTintStore;
class UserDefaults;

// Changes the desktop's accent colour for Music mode and gives the user's
// own colour back. Two settings keys exist exactly while an album colour is
// applied: the colour we wrote and the user's colour before it. Whatever
// happens to the process in between, the next start finds them and puts the
// user's colour back, unless the user chose another colour meanwhile.
//
// Reading and writing the desktop's setting can block (a helper program, a
// settings daemon), so it runs on a worker thread of its own, one change at
// a time.
class TintKeeper
{
public:
    struct Target
    {
        enum class Kind { Original, Accent };
        Kind kind = Kind::Original;
        double red = 0;
        double green = 0;
        double blue = 0;

        static Target original() { return {}; }
        static Target accent(double r, double g, double b) { return {Kind::Accent, r, g, b}; }
        bool operator==(const Target &) const = default;
    };

    static inline const QString kAppliedTintKey = QStringLiteral("musicMode.appliedTint");
    static inline const QString kOriginalTintKey = QStringLiteral("musicMode.originalTint");

    // The keys live in the settings file `defaultsFile`, which the keeper
    // opens on its own worker thread: a settings object answers to the
    // thread it was made on, and this one is never touched by another.
    TintKeeper(std::unique_ptr<IconTintStore> store, QString defaultsFile);
    ~TintKeeper();

    // Asks for a target. Requests that arrive before the worker gets to them
    // are merged: only the newest is converged to.
    void request(const Target &target);
    // Converges to the user's colour before returning (quit, signals).
    void restoreNow();
    // Makes the desktop's colour match `target` (on the calling thread).
    void converge(const Target &target);
    // Waits until every request has been carried out.
    void waitForIdle();

private:
    void drain();
    UserDefaults &defaults();
    std::optional<IconTint> load(const QString &key);
    void save(const QString &key, const IconTint &tint);

    std::unique_ptr<IconTintStore> m_store;
    QString m_defaultsFile;
    std::unique_ptr<UserDefaults> m_defaults;
    QMutex m_lock;
    Target m_wanted;
    bool m_drainScheduled = false;
    QThreadPool m_queue;
};
