#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class QDBusPendingCallWatcher;

// Tells whether the screen is locked, so the notch can hide while it is.
// Desktops report locking through different channels, and some through
// several at once: logind's LockedHint on the session (GNOME, KDE, and
// lockers that set it), the ScreenSaver ActiveChanged signals of the session
// bus (KDE and other screen lockers under the freedesktop name, GNOME under
// its own), and logind's Lock and Unlock requests, which are all that a
// swayidle and swaylock setup gives. Each channel reports a state; the latest report
// wins, and observers hear only real changes.
class ScreenLock : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isLocked READ isLocked NOTIFY isLockedChanged)

public:
    // The system and session buses of this process, and the logind session
    // named by XDG_SESSION_ID.
    explicit ScreenLock(QObject *parent = nullptr);
    // `sessionId` names the logind session to follow; empty means the
    // session this process belongs to.
    ScreenLock(QDBusConnection systemBus, QDBusConnection sessionBus, QString sessionId, QObject *parent = nullptr);

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
    void readLockedHint();
    void setLocked(bool locked);

    QDBusConnection m_systemBus;
    QDBusConnection m_sessionBus;
    QString m_sessionId;
    QString m_sessionPath;
    bool m_started = false;
    bool m_isLocked = false;
};
