#include "PlayerCommands.h"

#include "MprisPlayer.h"
#include "NowPlayingStream.h"

#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QFile>

namespace {

constexpr int kTimeoutMs = 3000;

QVariant property(QDBusConnection &bus, const QString &service, const QString &name)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, MprisPlayer::kPath,
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Get"));
    call << MprisPlayer::kPlayerInterface << name;
    const QDBusMessage reply = bus.call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().value<QDBusVariant>().variant();
}

bool setProperty(QDBusConnection &bus, const QString &service, const QString &name, const QVariant &value)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, MprisPlayer::kPath,
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Set"));
    call << MprisPlayer::kPlayerInterface << name << QVariant::fromValue(QDBusVariant(value));
    return bus.call(call, QDBus::Block, kTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

bool callPlayer(QDBusConnection &bus, const QString &service, const QString &method, const QVariantList &args = {})
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, MprisPlayer::kPath, MprisPlayer::kPlayerInterface, method);
    call.setArguments(args);
    return bus.call(call, QDBus::Block, kTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

} // namespace

PlayerCommands::PlayerCommands(QDBusConnection bus)
    : m_bus(std::move(bus))
{
}

QString PlayerCommands::target()
{
    if (!m_bus.isConnected())
        return {};
    QDBusConnectionInterface *busInterface = m_bus.interface();
    QFile chosen(NowPlayingStream::chosenPlayerFile());
    if (chosen.open(QIODevice::ReadOnly)) {
        const QString name = QString::fromUtf8(chosen.readAll()).trimmed();
        if (!name.isEmpty() && busInterface->isServiceRegistered(name))
            return name;
    }
    const QDBusReply<QStringList> names = busInterface->registeredServiceNames();
    QString fallback;
    for (const QString &name : names.value()) {
        if (!name.startsWith(QLatin1String("org.mpris.MediaPlayer2."))
            || name == QLatin1String("org.mpris.MediaPlayer2.playerctld"))
            continue;
        if (property(m_bus, name, QStringLiteral("PlaybackStatus")).toString() == QLatin1String("Playing"))
            return name;
        if (fallback.isEmpty())
            fallback = name;
    }
    return fallback;
}

int PlayerCommands::send(int command)
{
    const QString player = target();
    if (player.isEmpty())
        return 1;
    bool ok = false;
    switch (command) {
    case 0: ok = callPlayer(m_bus, player, QStringLiteral("Play")); break;
    case 1: ok = callPlayer(m_bus, player, QStringLiteral("Pause")); break;
    case 2: ok = callPlayer(m_bus, player, QStringLiteral("PlayPause")); break;
    case 4: ok = callPlayer(m_bus, player, QStringLiteral("Next")); break;
    case 5: ok = callPlayer(m_bus, player, QStringLiteral("Previous")); break;
    case 6: {
        const QVariant shuffle = property(m_bus, player, QStringLiteral("Shuffle"));
        ok = shuffle.isValid() && setProperty(m_bus, player, QStringLiteral("Shuffle"), !shuffle.toBool());
        break;
    }
    case 7: {
        // Off, then the whole list, then the one track, as players' own
        // repeat buttons go round.
        const QString loop = property(m_bus, player, QStringLiteral("LoopStatus")).toString();
        const QString next = loop == QLatin1String("None")       ? QStringLiteral("Playlist")
                           : loop == QLatin1String("Playlist") ? QStringLiteral("Track")
                                                               : QStringLiteral("None");
        ok = setProperty(m_bus, player, QStringLiteral("LoopStatus"), next);
        break;
    }
    default:
        return 2;
    }
    return ok ? 0 : 1;
}

int PlayerCommands::seek(qint64 micros)
{
    if (micros < 0)
        return 2;
    const QString player = target();
    if (player.isEmpty())
        return 1;
    // SetPosition names the track, so a seek that arrives after the track
    // changed is ignored by the player instead of moving the new one.
    const QVariantMap metadata = [&] {
        const QVariant v = property(m_bus, player, QStringLiteral("Metadata"));
        QVariantMap map;
        if (v.userType() == qMetaTypeId<QDBusArgument>())
            v.value<QDBusArgument>() >> map;
        else
            map = v.toMap();
        return map;
    }();
    const QVariant trackId = metadata.value(QStringLiteral("mpris:trackid"));
    QDBusObjectPath path;
    if (trackId.userType() == qMetaTypeId<QDBusObjectPath>())
        path = trackId.value<QDBusObjectPath>();
    else if (trackId.userType() == qMetaTypeId<QDBusArgument>())
        trackId.value<QDBusArgument>() >> path;
    else
        path = QDBusObjectPath(trackId.toString());
    if (path.path().isEmpty())
        return 1;
    return callPlayer(m_bus, player, QStringLiteral("SetPosition"), {QVariant::fromValue(path), QVariant::fromValue(micros)}) ? 0 : 1;
}
