#pragma once

#include "nowplaying/SpotifyScripting.h"

#include <QDBusConnection>
#include <QObject>

#include <deque>
#include <optional>

class Clock;
class QDBusMessage;

// Spotify's shuffle and repeat over MPRIS (`Shuffle` and `LoopStatus` on
// org.mpris.MediaPlayer2.spotify). Spotify is never started by us: every
// call first asks the bus who owns the name and then talks to that owner
// only, with auto-start off. The official client accepts writes to both
// properties and ignores them; a write that has not read back after a short
// while marks that instance as refusing, as does a player that offers no
// modes or rejects the write outright. From then on its modes read as
// nothing and access() says `Denied`, so the service hides the two states
// instead of showing guesses.
//
// Calls are asynchronous and run one at a time, in the order they were
// made, so a read never overtakes the write before it. Answers arrive on the
// thread that owns this object.
class SpotifyControl final : public QObject, public SpotifyScripting
{
    Q_OBJECT
public:
    static inline const QString kBusName = QStringLiteral("org.mpris.MediaPlayer2.spotify");
    // A written value that still reads differently this many seconds later
    // was ignored. The service's confirmation reads come 0.6, 1.0 and 2.0 s
    // after a write, so its last read is the one that decides.
    static constexpr double kReadBackWindow = 1.5;
    // Spotify answers in milliseconds; a hung client must not hold up the
    // calls queued behind it for D-Bus's default 25 s.
    static constexpr int kCallTimeoutMs = 2000;

    explicit SpotifyControl(
        Clock &clock, const QDBusConnection &bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);
    ~SpotifyControl() override;

    void readModes(std::function<void(std::optional<Modes>)> done) override;
    void setShuffle(bool on, std::function<void(bool)> done) override;
    void setRepeat(bool on, std::function<void(bool)> done) override;
    void access(bool ask, std::function<void(Access)> done) override;

    // The two modes in MPRIS values; nothing when either is missing or of
    // the wrong type.
    static std::optional<Modes> modesFromProperties(const QVariantMap &properties);

private:
    using Step = std::function<void(std::function<void()> finished)>;
    void enqueue(Step step);
    void runNext();
    // The unique name owning Spotify's name, or empty when it is not running.
    void findOwner(std::function<void(QString owner)> done);
    void call(const QDBusMessage &message, std::function<void(const QDBusMessage &reply)> done);
    void setMode(bool shuffle, bool on, std::function<void(bool)> done);
    std::optional<Modes> checkReadBack(const QString &owner, const Modes &read);

    struct PendingWrite
    {
        QString owner;
        bool shuffle = true;
        bool value = false;
        double at = 0;
    };

    Clock &m_clock;
    QDBusConnection m_bus;
    std::deque<Step> m_queue;
    bool m_busy = false;
    std::optional<PendingWrite> m_pendingWrite;
    // The instance seen ignoring writes. A restarted Spotify gets a new
    // unique name and a fresh chance.
    QString m_refusingOwner;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};
