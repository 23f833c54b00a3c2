#include "tray/KdeConnectShare.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace {

QString devicePath(const QString &id)
{
    return QStringLiteral("/modules/kdeconnect/devices/") + id;
}

} // namespace

KdeConnectShare::KdeConnectShare(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
}

void KdeConnectShare::discover()
{
    if (!m_bus.isConnected() || !m_bus.interface())
        return;
    // Never start the daemon just to look: only ask one that already runs.
    if (!m_bus.interface()->isServiceRegistered(kService).value()) {
        Q_EMIT listed({});
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(kService, QStringLiteral("/modules/kdeconnect"),
                                                       QStringLiteral("org.kde.kdeconnect.daemon"),
                                                       QStringLiteral("devices"));
    call << true << true; // only reachable, only paired
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<QStringList> ids = *w;
        if (ids.isError())
            return;
        Q_EMIT listed(ids.value());
        for (const QString &id : ids.value())
            describe(id);
    });
}

void KdeConnectShare::describe(const QString &id)
{
    QDBusMessage get = QDBusMessage::createMethodCall(kService, devicePath(id),
                                                      QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("GetAll"));
    get << QStringLiteral("org.kde.kdeconnect.device");
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(get), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, id](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<QVariantMap> properties = *w;
        NearbyDevice device;
        device.kind = NearbyDevice::Kind::KdeConnect;
        device.id = id;
        device.name = properties.isError() ? QString() : properties.value().value(QStringLiteral("name")).toString();
        if (device.name.isEmpty())
            device.name = id;
        device.type = properties.isError() ? QString() : properties.value().value(QStringLiteral("type")).toString();
        // The share plugin can be switched off per device; such a device
        // can't take files, so it is not offered.
        QDBusMessage has = QDBusMessage::createMethodCall(kService, devicePath(id),
                                                          QStringLiteral("org.kde.kdeconnect.device"),
                                                          QStringLiteral("hasPlugin"));
        has << QStringLiteral("kdeconnect_share");
        auto *shareWatcher = new QDBusPendingCallWatcher(m_bus.asyncCall(has), this);
        connect(shareWatcher, &QDBusPendingCallWatcher::finished, this, [this, device](QDBusPendingCallWatcher *sw) {
            sw->deleteLater();
            const QDBusPendingReply<bool> hasShare = *sw;
            if (!hasShare.isError() && hasShare.value())
                Q_EMIT deviceFound(device);
        });
    });
}

void KdeConnectShare::send(const NearbyDevice &device, const QList<QUrl> &files)
{
    QStringList urls;
    for (const QUrl &url : files)
        urls.append(url.toString(QUrl::FullyEncoded));
    QDBusMessage call = QDBusMessage::createMethodCall(kService, devicePath(device.id) + QStringLiteral("/share"),
                                                       QStringLiteral("org.kde.kdeconnect.device.share"),
                                                       QStringLiteral("shareUrls"));
    call << urls;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, name = device.name](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<> reply = *w;
        if (reply.isError())
            Q_EMIT finished(false, QStringLiteral("KDE Connect couldn't send to %1: %2").arg(name, reply.error().message()));
        else
            Q_EMIT finished(true, {});
    });
}
