#include "notch/ScreenLock.h"

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
    : ScreenLock(
        QDBusConnection::systemBus(), QDBusConnection::sessionBus(), qEnvironmentVariable("XDG_SESSION_ID"), parent)
{
}

ScreenLock::ScreenLock(QDBusConnection systemBus, QDBusConnection sessionBus, QString sessionId, QObject *parent)
    : QObject(parent)
    , m_systemBus(std::move(systemBus))
    , m_sessionBus(std::move(sessionBus))
    , m_sessionId(std::move(sessionId))
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
}

void ScreenLock::screenSaverActiveChanged(bool active)
{
    setLocked(active);
}

void ScreenLock::sessionPropertiesChanged(
    const QString &interface, const QVariantMap &changed, const QStringList &invalidated)
{
    if (interface != login1Session)
        return;
    const auto hint = changed.constFind(lockedHint);
    if (hint != changed.constEnd())
        setLocked(hint->toBool());
    else if (invalidated.contains(lockedHint))
        readLockedHint();
}

void ScreenLock::readLockedHint()
{
    QDBusMessage get
        = QDBusMessage::createMethodCall(login1Service, m_sessionPath, propertiesInterface, QStringLiteral("Get"));
    get << login1Session << lockedHint;
    auto *call = new QDBusPendingCallWatcher(m_systemBus.asyncCall(get), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *done) {
        done->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *done;
        if (!reply.isError())
            setLocked(reply.value().variant().toBool());
    });
}

void ScreenLock::sessionLockRequested()
{
    setLocked(true);
}

void ScreenLock::sessionUnlockRequested()
{
    setLocked(false);
}

void ScreenLock::setLocked(bool locked)
{
    if (locked == m_isLocked)
        return;
    m_isLocked = locked;
    Q_EMIT isLockedChanged();
}
