#include "tray/KdeConnectShare.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QFileInfo>
#include <QSocketNotifier>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

QString devicePath(const QString &id)
{
    return QStringLiteral("/modules/kdeconnect/devices/") + id;
}

} // namespace

KdeConnectShare::KdeConnectShare(Clock &clock, QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_wait(clock)
{
}

KdeConnectShare::~KdeConnectShare()
{
    unwatch();
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
    cancel();
    m_device = device;
    m_queue = files;
    watchDevice(true);
    handNext();
}

void KdeConnectShare::cancel()
{
    ++m_generation;
    m_queue.clear();
    m_wait.cancel();
    unwatch();
    watchDevice(false);
}

void KdeConnectShare::watchDevice(bool on)
{
    if (on == m_watchingDevice || m_device.id.isEmpty())
        return;
    const QString path = devicePath(m_device.id);
    const QString interface = QStringLiteral("org.kde.kdeconnect.device");
    const QString signal = QStringLiteral("reachableChanged");
    if (on)
        m_watchingDevice = m_bus.connect(kService, path, interface, signal, this, SLOT(onReachableChanged(bool)));
    else
        m_watchingDevice = !m_bus.disconnect(kService, path, interface, signal, this, SLOT(onReachableChanged(bool)));
}

void KdeConnectShare::onReachableChanged(bool reachable)
{
    if (!reachable)
        end(false, QStringLiteral("KDE Connect couldn't send to %1: it isn't reachable any more.").arg(m_device.name));
}

void KdeConnectShare::handNext()
{
    if (m_queue.isEmpty()) {
        end(true, {});
        return;
    }
    const QUrl url = m_queue.takeFirst();
    m_handedOver = false;
    m_read = false;
    // Only a file that another one follows needs watching; without a watch
    // the rest is handed over at once, as the daemon would take it anyway.
    const bool paced = !m_queue.isEmpty() && watch(url.toLocalFile());
    QDBusMessage call = QDBusMessage::createMethodCall(kService, devicePath(m_device.id) + QStringLiteral("/share"),
                                                       QStringLiteral("org.kde.kdeconnect.device.share"),
                                                       QStringLiteral("shareUrl"));
    call << url.toString(QUrl::FullyEncoded);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, paced, generation = m_generation, name = QFileInfo(url.toLocalFile()).fileName()](QDBusPendingCallWatcher *w) {
                w->deleteLater();
                if (generation != m_generation)
                    return;
                const QDBusPendingReply<> reply = *w;
                if (reply.isError()) {
                    end(false, QStringLiteral("KDE Connect couldn't send to %1: %2").arg(m_device.name, reply.error().message()));
                    return;
                }
                m_handedOver = true;
                if (!paced) {
                    unwatch();
                    handNext();
                    return;
                }
                if (m_read) {
                    settle();
                    return;
                }
                m_wait.start(kStartTimeout, [this, name] {
                    end(false, QStringLiteral("KDE Connect couldn't send to %1: the device never asked for %2.").arg(m_device.name, name));
                });
            });
}

bool KdeConnectShare::watch(const QString &path)
{
    unwatch();
    if (path.isEmpty())
        return false;
    m_inotify = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_inotify < 0)
        return false;
    if (::inotify_add_watch(m_inotify, QFile::encodeName(path).constData(), IN_OPEN | IN_CLOSE_NOWRITE) < 0) {
        unwatch();
        return false;
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_inotify, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &KdeConnectShare::readEvents);
    return true;
}

void KdeConnectShare::unwatch()
{
    m_notifier.reset();
    if (m_inotify >= 0)
        ::close(m_inotify);
    m_inotify = -1;
}

void KdeConnectShare::readEvents()
{
    alignas(inotify_event) char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(m_inotify, buffer, sizeof buffer);
        if (n <= 0)
            break;
        for (ssize_t at = 0; at < n;) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + at);
            // Once the daemon opens the file the device has asked for it; a
            // large file may then take as long as the network needs.
            if (event->mask & IN_OPEN)
                m_wait.cancel();
            if (event->mask & IN_CLOSE_NOWRITE)
                m_read = true;
            at += ssize_t(sizeof(inotify_event)) + event->len;
        }
    }
    if (m_read && m_handedOver)
        settle();
}

void KdeConnectShare::settle()
{
    unwatch();
    m_wait.start(kSettle, [this] { handNext(); });
}

void KdeConnectShare::end(bool ok, const QString &error)
{
    cancel();
    Q_EMIT finished(ok, error);
}
