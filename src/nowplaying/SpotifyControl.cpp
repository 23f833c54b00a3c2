#include "nowplaying/SpotifyControl.h"

#include "core/Clock.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

namespace {

const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

} // namespace

SpotifyControl::SpotifyControl(Clock &clock, const QDBusConnection &bus, QObject *parent)
    : QObject(parent)
    , m_clock(clock)
    , m_bus(bus)
{
}

SpotifyControl::~SpotifyControl() = default;

std::optional<SpotifyScripting::Modes> SpotifyControl::modesFromProperties(const QVariantMap &properties)
{
    const QVariant shuffle = properties.value(QStringLiteral("Shuffle"));
    const QVariant loop = properties.value(QStringLiteral("LoopStatus"));
    if (shuffle.metaType() != QMetaType::fromType<bool>() || loop.metaType() != QMetaType::fromType<QString>())
        return std::nullopt;
    const QString status = loop.toString();
    if (status != QLatin1String("None") && status != QLatin1String("Track") && status != QLatin1String("Playlist"))
        return std::nullopt;
    // Repeating one track is still repeating: the button has two states here.
    return Modes{shuffle.toBool(), status != QLatin1String("None")};
}

void SpotifyControl::enqueue(Step step)
{
    m_queue.push_back(std::move(step));
    if (!m_busy)
        runNext();
}

void SpotifyControl::runNext()
{
    if (m_queue.empty()) {
        m_busy = false;
        return;
    }
    m_busy = true;
    Step step = std::move(m_queue.front());
    m_queue.pop_front();
    std::weak_ptr<bool> alive = m_alive;
    step([this, alive] {
        if (alive.lock())
            runNext();
    });
}

void SpotifyControl::call(const QDBusMessage &message, std::function<void(const QDBusMessage &)> done)
{
    QDBusMessage outgoing = message;
    outgoing.setAutoStartService(false);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(outgoing, kCallTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, done = std::move(done)] {
        watcher->deleteLater();
        done(watcher->reply());
    });
}

void SpotifyControl::findOwner(std::function<void(QString)> done)
{
    // Asking the bus itself never activates anything; a message to the
    // well-known name could, on a system with a service file for it.
    QDBusMessage ask = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
        QStringLiteral("GetNameOwner"));
    ask << kBusName;
    call(ask, [done = std::move(done)](const QDBusMessage &reply) {
        const bool owned = reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty();
        done(owned ? reply.arguments().constFirst().toString() : QString());
    });
}

std::optional<SpotifyScripting::Modes> SpotifyControl::checkReadBack(const QString &owner, const Modes &read)
{
    if (!m_pendingWrite)
        return read;
    if (m_pendingWrite->owner != owner) {
        m_pendingWrite.reset();
        return read;
    }
    const bool now = m_pendingWrite->shuffle ? read.shuffle : read.repeating;
    if (now == m_pendingWrite->value) {
        m_pendingWrite.reset();
        return read;
    }
    if (m_clock.monotonicNow() - m_pendingWrite->at < kReadBackWindow)
        return read;
    m_pendingWrite.reset();
    m_refusingOwner = owner;
    return std::nullopt;
}

void SpotifyControl::readModes(std::function<void(std::optional<Modes>)> done)
{
    enqueue([this, done = std::move(done)](std::function<void()> finished) {
        findOwner([this, done, finished](const QString &owner) {
            if (owner.isEmpty() || owner == m_refusingOwner) {
                done(std::nullopt);
                finished();
                return;
            }
            QDBusMessage get = QDBusMessage::createMethodCall(owner, kPath, kProperties, QStringLiteral("GetAll"));
            get << kPlayerInterface;
            call(get, [this, owner, done, finished](const QDBusMessage &reply) {
                std::optional<Modes> modes;
                if (reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty()) {
                    const auto properties = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
                    if (const auto read = modesFromProperties(properties))
                        modes = checkReadBack(owner, *read);
                    else
                        m_refusingOwner = owner; // it answers, but has no modes to offer
                }
                done(modes);
                finished();
            });
        });
    });
}

void SpotifyControl::setMode(bool shuffle, bool on, std::function<void(bool)> done)
{
    enqueue([this, shuffle, on, done = std::move(done)](std::function<void()> finished) {
        findOwner([this, shuffle, on, done, finished](const QString &owner) {
            if (owner.isEmpty() || owner == m_refusingOwner) {
                done(false);
                finished();
                return;
            }
            QDBusMessage set = QDBusMessage::createMethodCall(owner, kPath, kProperties, QStringLiteral("Set"));
            const QVariant value
                = shuffle ? QVariant(on) : QVariant(on ? QStringLiteral("Playlist") : QStringLiteral("None"));
            set << kPlayerInterface << (shuffle ? QStringLiteral("Shuffle") : QStringLiteral("LoopStatus"))
                << QVariant::fromValue(QDBusVariant(value));
            call(set, [this, owner, shuffle, on, done, finished](const QDBusMessage &reply) {
                const bool taken = reply.type() == QDBusMessage::ReplyMessage;
                if (taken)
                    m_pendingWrite = PendingWrite{owner, shuffle, on, m_clock.monotonicNow()};
                else if (reply.errorName() != QLatin1String("org.freedesktop.DBus.Error.NoReply"))
                    m_refusingOwner = owner; // it rejects the property outright (read-only, unknown)
                done(taken);
                finished();
            });
        });
    });
}

void SpotifyControl::setShuffle(bool on, std::function<void(bool)> done)
{
    setMode(true, on, std::move(done));
}

void SpotifyControl::setRepeat(bool on, std::function<void(bool)> done)
{
    setMode(false, on, std::move(done));
}

void SpotifyControl::access(bool ask, std::function<void(Access)> done)
{
    // There is nobody to ask on Linux: the player either takes the writes or
    // it does not.
    Q_UNUSED(ask);
    enqueue([this, done = std::move(done)](std::function<void()> finished) {
        findOwner([this, done, finished](const QString &owner) {
            if (owner.isEmpty())
                done(Access::Unavailable);
            else
                done(owner == m_refusingOwner ? Access::Denied : Access::Granted);
            finished();
        });
    });
}
