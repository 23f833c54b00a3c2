#include "MprisPlayer.h"

#include "ArtworkFetcher.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPointer>
#include <QUrl>
#include <chrono>

namespace {

qint64 epochMicros()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

// Nested D-Bus values (the metadata dictionary, string arrays inside it)
// arrive as QDBusArgument; turn them into plain QVariants.
QVariant plain(const QVariant &value)
{
    if (value.userType() == qMetaTypeId<QDBusVariant>())
        return plain(value.value<QDBusVariant>().variant());
    if (value.userType() != qMetaTypeId<QDBusArgument>())
        return value;
    const auto arg = value.value<QDBusArgument>();
    switch (arg.currentType()) {
    case QDBusArgument::MapType: {
        QVariantMap map;
        arg.beginMap();
        while (!arg.atEnd()) {
            QString key;
            QVariant v;
            arg.beginMapEntry();
            arg >> key >> v;
            arg.endMapEntry();
            map.insert(key, plain(v));
        }
        arg.endMap();
        return map;
    }
    case QDBusArgument::ArrayType: {
        QStringList list;
        arg.beginArray();
        while (!arg.atEnd()) {
            QVariant v;
            arg >> v;
            list.append(plain(v).toString());
        }
        arg.endArray();
        return list;
    }
    default:
        return value;
    }
}

} // namespace

MprisPlayer::MprisPlayer(QDBusConnection bus, const QString &busName, ArtworkFetcher &artwork, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_artwork(artwork)
{
    m_snapshot.busName = busName;
    m_bus.connect(busName, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"),
                  this, SLOT(onPropertiesChanged(QString, QVariantMap, QStringList)));
    m_bus.connect(busName, kPath, kPlayerInterface, QStringLiteral("Seeked"), this, SLOT(onSeeked(qlonglong)));
    getAll(kRootInterface);
    getAll(kPlayerInterface);
}

quint64 MprisPlayer::nextChangeOrder()
{
    static quint64 order = 0;
    return ++order;
}

void MprisPlayer::getAll(const QString &interface)
{
    ++m_pendingGetAll;
    QDBusMessage call = QDBusMessage::createMethodCall(m_snapshot.busName, kPath,
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("GetAll"));
    call << interface;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, 5000), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, interface] {
        watcher->deleteLater();
        QDBusPendingReply<QVariantMap> reply = *watcher;
        if (!reply.isError())
            apply(interface, reply.value());
        --m_pendingGetAll;
        m_needsPositionRead = true;
        Q_EMIT changed();
    });
}

void MprisPlayer::onPropertiesChanged(const QString &interface, const QVariantMap &changedProperties,
                                      const QStringList &invalidated)
{
    if (interface != kPlayerInterface && interface != kRootInterface)
        return;
    apply(interface, changedProperties);
    // Players may only say that a property changed, not to what.
    if (!invalidated.isEmpty()) {
        getAll(interface);
        return;
    }
    Q_EMIT changed();
}

void MprisPlayer::onSeeked(qlonglong position)
{
    m_snapshot.positionMicros = position;
    m_snapshot.positionReadAtEpochMicros = epochMicros();
    Q_EMIT changed();
}

void MprisPlayer::apply(const QString &interface, const QVariantMap &properties)
{
    if (interface == kRootInterface) {
        if (properties.contains(QStringLiteral("DesktopEntry")))
            m_snapshot.desktopEntry = properties.value(QStringLiteral("DesktopEntry")).toString();
        return;
    }
    for (auto it = properties.constBegin(); it != properties.constEnd(); ++it) {
        const QString &key = it.key();
        const QVariant value = plain(*it);
        if (key == QLatin1String("Metadata")) {
            setMetadata(value.toMap());
        } else if (key == QLatin1String("PlaybackStatus")) {
            const QString status = value.toString();
            if (status != m_snapshot.playbackStatus) {
                // Finding a player is not a change of its status: a player
                // opened just now has done nothing the user asked for yet.
                if (!m_snapshot.playbackStatus.isEmpty())
                    m_snapshot.statusChangeOrder = nextChangeOrder();
                m_snapshot.playbackStatus = status;
                m_needsPositionRead = true;
            }
        } else if (key == QLatin1String("Rate")) {
            bool ok = false;
            const double rate = value.toDouble(&ok);
            m_snapshot.rate = ok ? std::optional<double>(rate) : std::nullopt;
            m_needsPositionRead = true;
        } else if (key == QLatin1String("Shuffle")) {
            m_snapshot.shuffle = value.typeId() == QMetaType::Bool ? std::optional<bool>(value.toBool()) : std::nullopt;
        } else if (key == QLatin1String("LoopStatus")) {
            m_snapshot.loopStatus = value.toString();
        }
    }
}

void MprisPlayer::setMetadata(const QVariantMap &metadata)
{
    const bool newTrack = MprisPayload::trackKey(metadata) != MprisPayload::trackKey(m_snapshot.metadata);
    m_snapshot.metadata = metadata;
    if (newTrack)
        m_needsPositionRead = true;
    const QString artUrl = metadata.value(QStringLiteral("mpris:artUrl")).toString();
    if (artUrl == m_artUrl)
        return;
    m_artUrl = artUrl;
    m_snapshot.artwork.clear();
    if (artUrl.isEmpty())
        return;
    m_artwork.fetch(QUrl(artUrl), [self = QPointer<MprisPlayer>(this), artUrl](const QByteArray &bytes) {
        // The track may have moved on while a download ran.
        if (!self || self->m_artUrl != artUrl || bytes.isEmpty())
            return;
        self->m_snapshot.artwork = bytes;
        Q_EMIT self->changed();
    });
}

void MprisPlayer::readPosition(std::function<void()> done)
{
    m_needsPositionRead = false;
    QDBusMessage call = QDBusMessage::createMethodCall(m_snapshot.busName, kPath,
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Get"));
    call << kPlayerInterface << QStringLiteral("Position");
    // The answer must reach `done` even when the player leaves the bus (and
    // this object goes) meanwhile, or the stream would wait for it forever.
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, 2000));
    connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [self = QPointer<MprisPlayer>(this), watcher, done] {
        watcher->deleteLater();
        QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (self) {
            if (reply.isError()) {
                self->m_snapshot.positionMicros.reset();
            } else {
                self->m_snapshot.positionMicros = MprisPayload::integer(reply.value().variant());
                self->m_snapshot.positionReadAtEpochMicros = epochMicros();
            }
        }
        done();
    });
}
