#include "NowPlayingStream.h"

#include "ArtworkFetcher.h"
#include "MprisPayload.h"
#include "MprisPlayer.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QSaveFile>

namespace {

const QString kPrefix = QStringLiteral("org.mpris.MediaPlayer2.");

// playerctld mirrors whichever player is active; following it as well would
// show every track twice.
bool isPlayerName(const QString &name)
{
    return name.startsWith(kPrefix) && name != QLatin1String("org.mpris.MediaPlayer2.playerctld");
}

} // namespace

NowPlayingStream::NowPlayingStream(QDBusConnection bus, int debounceMs, FILE *out, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_artwork(new ArtworkFetcher(this))
    , m_out(out)
{
    m_debounce.setSingleShot(true);
    m_debounce.setInterval(std::max(0, debounceMs));
    connect(&m_debounce, &QTimer::timeout, this, &NowPlayingStream::write);
}

QString NowPlayingStream::chosenPlayerFile()
{
    QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (dir.isEmpty() || !QDir(dir).exists())
        dir = QDir::tempPath();
    // One file per bus, so a private test bus never steers the desktop's player.
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    const QByteArray id = QCryptographicHash::hash(bus, QCryptographicHash::Sha1).toHex().left(12);
    return dir + QStringLiteral("/tarnwick-nowplaying-") + QString::fromLatin1(id);
}

bool NowPlayingStream::start()
{
    if (!m_bus.isConnected())
        return false;
    const bool watching = m_bus.connect(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"), this,
                                        SLOT(onNameOwnerChanged(QString, QString, QString)));
    if (!watching)
        return false;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.interface()->asyncCall(QStringLiteral("ListNames")), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        QDBusPendingReply<QStringList> reply = *watcher;
        if (!reply.isError())
            for (const QString &name : reply.value())
                if (isPlayerName(name))
                    addPlayer(name);
        // Say at once whether anything plays, even with no player at all.
        scheduleWrite();
    });
    return true;
}

void NowPlayingStream::onNameOwnerChanged(const QString &name, const QString &oldOwner, const QString &newOwner)
{
    if (!isPlayerName(name))
        return;
    if (!oldOwner.isEmpty())
        removePlayer(name);
    if (!newOwner.isEmpty())
        addPlayer(name);
}

void NowPlayingStream::addPlayer(const QString &name)
{
    if (m_players.contains(name))
        return;
    auto *player = new MprisPlayer(m_bus, name, *m_artwork, this);
    connect(player, &MprisPlayer::changed, this, &NowPlayingStream::scheduleWrite);
    m_players.insert(name, player);
}

void NowPlayingStream::removePlayer(const QString &name)
{
    if (MprisPlayer *player = m_players.take(name)) {
        player->deleteLater();
        scheduleWrite();
    }
}

void NowPlayingStream::scheduleWrite()
{
    // Not restarted by later changes: a burst becomes one line at most
    // `debounce` after it began.
    if (!m_debounce.isActive() && !m_readingPosition)
        m_debounce.start();
}

void NowPlayingStream::write()
{
    QList<PlayerSnapshot> snapshots;
    QList<MprisPlayer *> players;
    for (MprisPlayer *player : std::as_const(m_players)) {
        if (!player->isReady())
            continue;
        snapshots.append(player->snapshot());
        players.append(player);
    }
    const int chosen = MprisPayload::choose(snapshots);
    if (chosen < 0) {
        if (!m_wroteOnce || !m_lastPayload.isEmpty() || !m_lastBusName.isEmpty())
            emitLine({}, false);
        m_lastBusName.clear();
        m_lastTrackKey.clear();
        m_lastPayload.clear();
        rememberChoice({});
        return;
    }
    MprisPlayer *player = players.at(chosen);
    // A player newly shown needs its own position read first.
    if (player->busName() != m_lastBusName && player->busName() != m_positionReadFor)
        player->markPositionStale();
    if (player->needsPositionRead()) {
        m_readingPosition = true;
        m_positionReadFor = player->busName();
        player->readPosition([this, p = QPointer<MprisPlayer>(player)] {
            m_readingPosition = false;
            // Anything that changed while the read ran is in the snapshot now.
            m_debounce.stop();
            if (p)
                write();
            else
                scheduleWrite();
        });
        return;
    }

    const PlayerSnapshot &snapshot = player->snapshot();
    const QVariantMap payload = MprisPayload::payloadFor(snapshot);
    const QString trackKey = MprisPayload::trackKey(snapshot.metadata);
    if (snapshot.busName != m_lastBusName || trackKey != m_lastTrackKey || !m_wroteOnce) {
        emitLine(payload, false);
        if (snapshot.busName != m_lastBusName)
            rememberChoice(snapshot.busName);
    } else {
        const QVariantMap changes = MprisPayload::diff(m_lastPayload, payload);
        if (!changes.isEmpty())
            emitLine(changes, true);
    }
    m_lastBusName = snapshot.busName;
    m_lastTrackKey = trackKey;
    m_lastPayload = payload;
}

void NowPlayingStream::emitLine(const QVariantMap &payload, bool isDiff)
{
    m_wroteOnce = true;
    QByteArray line = MprisPayload::line(payload, isDiff);
    line.append('\n');
    // Tarnwick reading the other end has gone: nothing left to do.
    if (std::fwrite(line.constData(), 1, size_t(line.size()), m_out) != size_t(line.size()) || std::fflush(m_out) != 0)
        QCoreApplication::exit(1);
}

void NowPlayingStream::rememberChoice(const QString &busName)
{
    QSaveFile file(chosenPlayerFile());
    if (file.open(QIODevice::WriteOnly)) {
        file.write(busName.toUtf8());
        file.commit();
    }
}
