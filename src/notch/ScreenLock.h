#pragma once

#include "core/ClockSlot.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>

class Clock;
class QDBusPendingCallWatcher;

// Tells whether the screen is locked, so the notch can hide while it is.
// Desktops report locking through different channels, and some through
// several at once: logind's LockedHint on the session (GNOME, KDE, and
// lockers that set it), the ScreenSaver ActiveChanged signals of the session
// bus (KDE and other screen lockers under the freedesktop name, GNOME under
// its own), and logind's Lock and Unlock requests, which are all that a
// swayidle and swaylock setup gives. Each channel reports a state; the
// latest report wins, and observers hear only real changes.
//
// Lock and Unlock are requests to a locker, not reports: nobody has to send
// Unlock when the user unlocks. So they are followed only where no other
// channel has ever reported, and a lock taken from a request is checked a
// moment later against LockedHint: unless the hint (or a screensaver)
// confirms it by then, the panel comes back rather than stay hidden for good.
class ScreenLock : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isLocked READ isLocked NOTIFY isLockedChanged)

public:
    // The system and session buses of this process, and the logind session
    // named by XDG_SESSION_ID.
    explicit ScreenLock(QObject *parent = nullptr);
    // How long a locker has to confirm a Lock request through LockedHint.
    static constexpr double kRequestCheckDelay = 3;
    // `sessionId` names the logind session to follow; empty means the
    // session this process belongs to.
    ScreenLock(QDBusConnection systemBus, QDBusConnection sessionBus, QString sessionId, Clock &clock,
               QObject *parent = nullptr);

    // Starts watching; later calls do nothing. Runs without waiting for the
    // buses: the logind session is looked up in the background.
    void start();

    bool isLocked() const { return m_isLocked; }
    // The logind session object followed, once found; empty before, or when
    // there is no logind.
    QString sessionPath() const { return m_sessionPath; }

Q_SIGNALS:
    void isLockedChanged();
    void sessionPathChanged();

private Q_SLOTS:
    void screenSaverActiveChanged(bool active);
    void sessionPropertiesChanged(const QString &interface, const QVariantMap &changed, const QStringList &invalidated);
    void sessionLockRequested();
    void sessionUnlockRequested();

private:
    void sessionFound(QDBusPendingCallWatcher *call);
    // Reads the hint and hands it to `then`; nothing happens when it cannot be read.
    void readLockedHint(std::function<void(bool)> then);
    // A report from a channel that tells the real state.
    void reported(bool locked);
    void setLocked(bool locked);

    QDBusConnection m_systemBus;
    QDBusConnection m_sessionBus;
    QString m_sessionId;
    QString m_sessionPath;
    bool m_started = false;
    bool m_isLocked = false;
    // Some channel other than the Lock and Unlock requests has reported.
    bool m_othersReport = false;
    // The current lock came from a request and is not confirmed yet.
    bool m_lockedByRequest = false;
    ClockSlot m_requestCheck;
};
