#include "notch/ScreenLock.h"

#include "core/Clock.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QLoggingCategory>

#include <unistd.h>

namespace {
Q_LOGGING_CATEGORY(lcLock, "tarnwick.lock", QtWarningMsg)

const QString login1Service = QStringLiteral("org.freedesktop.login1");
const QString login1Path = QStringLiteral("/org/freedesktop/login1");
const QString login1Manager = QStringLiteral("org.freedesktop.login1.Manager");
const QString login1Session = QStringLiteral("org.freedesktop.login1.Session");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString lockedHint = QStringLiteral("LockedHint");
} // namespace

ScreenLock::ScreenLock(QObject *parent)
    : ScreenLock(QDBusConnection::systemBus(), QDBusConnection::sessionBus(), qEnvironmentVariable("XDG_SESSION_ID"),
                 Clock::system(), parent)
{
}

ScreenLock::ScreenLock(QDBusConnection systemBus, QDBusConnection sessionBus, QString sessionId, Clock &clock,
                       QObject *parent)
    : QObject(parent)
    , m_systemBus(std::move(systemBus))
    , m_sessionBus(std::move(sessionBus))
    , m_sessionId(std::move(sessionId))
    , m_requestCheck(clock)
{
}

void ScreenLock::start()
{
    if (m_started)
        return;
    m_started = true;

    if (m_sessionBus.isConnected()) {
        // Any sender and any path: KDE publishes the freedesktop interface on
        // both /ScreenSaver and /org/freedesktop/ScreenSaver.
        for (const QString &interface :
            {QStringLiteral("org.freedesktop.ScreenSaver"), QStringLiteral("org.gnome.ScreenSaver")}) {
            m_sessionBus.connect(QString(), QString(), interface, QStringLiteral("ActiveChanged"), this,
                SLOT(screenSaverActiveChanged(bool)));
        }
    }

    if (!m_systemBus.isConnected()) {
        qCDebug(lcLock) << "no system bus; following the screensaver only";
        return;
    }
    // XDG_SESSION_ID is unset for processes started outside a login session
    // (a user service, say); logind then finds the session by our process.
    QDBusMessage lookup = m_sessionId.isEmpty()
        ? QDBusMessage::createMethodCall(login1Service, login1Path, login1Manager, QStringLiteral("GetSessionByPID"))
        : QDBusMessage::createMethodCall(login1Service, login1Path, login1Manager, QStringLiteral("GetSession"));
    if (m_sessionId.isEmpty())
        lookup << quint32(::getpid());
    else
        lookup << m_sessionId;
    auto *call = new QDBusPendingCallWatcher(m_systemBus.asyncCall(lookup), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, &ScreenLock::sessionFound);
}

void ScreenLock::sessionFound(QDBusPendingCallWatcher *call)
{
    call->deleteLater();
    const QDBusPendingReply<QDBusObjectPath> reply = *call;
    if (reply.isError()) {
        qCDebug(lcLock) << "no logind session:" << reply.error().message();
        return;
    }
    m_sessionPath = reply.value().path();
    m_systemBus.connect(login1Service, m_sessionPath, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
        SLOT(sessionPropertiesChanged(QString, QVariantMap, QStringList)));
    m_systemBus.connect(
        login1Service, m_sessionPath, login1Session, QStringLiteral("Lock"), this, SLOT(sessionLockRequested()));
    m_systemBus.connect(
        login1Service, m_sessionPath, login1Session, QStringLiteral("Unlock"), this, SLOT(sessionUnlockRequested()));
    Q_EMIT sessionPathChanged();
    // A session locked before we started.
    readLockedHint([this](bool locked) {
        if (locked)
            reported(true);
    });
}

void ScreenLock::screenSaverActiveChanged(bool active)
{
    reported(active);
}

void ScreenLock::sessionPropertiesChanged(
    const QString &interface, const QVariantMap &changed, const QStringList &invalidated)
{
    if (interface != login1Session)
        return;
    const auto hint = changed.constFind(lockedHint);
    if (hint != changed.constEnd())
        reported(hint->toBool());
    else if (invalidated.contains(lockedHint))
        readLockedHint([this](bool locked) { reported(locked); });
}

void ScreenLock::readLockedHint(std::function<void(bool)> then)
{
    QDBusMessage get
        = QDBusMessage::createMethodCall(login1Service, m_sessionPath, propertiesInterface, QStringLiteral("Get"));
    get << login1Session << lockedHint;
    auto *call = new QDBusPendingCallWatcher(m_systemBus.asyncCall(get), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [then = std::move(then)](QDBusPendingCallWatcher *done) {
        done->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *done;
        if (!reply.isError())
            then(reply.value().variant().toBool());
    });
}

void ScreenLock::reported(bool locked)
{
    m_othersReport = true;
    m_lockedByRequest = false;
    m_requestCheck.cancel();
    setLocked(locked);
}

void ScreenLock::sessionLockRequested()
{
    // Where a screensaver or the hint speaks, it will report this lock too,
    // and its unlock as well; the request itself is not to be trusted.
    if (m_othersReport || m_isLocked)
        return;
    m_lockedByRequest = true;
    setLocked(true);
    m_requestCheck.start(kRequestCheckDelay, [this] {
        readLockedHint([this](bool locked) {
            // Unconfirmed: nobody will tell us about the unlock either.
            if (m_lockedByRequest && !locked) {
                m_lockedByRequest = false;
                setLocked(false);
            } else if (m_lockedByRequest) {
                reported(true);
            }
        });
    });
}

void ScreenLock::sessionUnlockRequested()
{
    // An unlock can only bring the panel back; it is always followed.
    m_lockedByRequest = false;
    m_requestCheck.cancel();
    setLocked(false);
}

void ScreenLock::setLocked(bool locked)
{
    if (locked == m_isLocked)
        return;
    m_isLocked = locked;
    Q_EMIT isLockedChanged();
}
