#include "peeks/PulseAudioOutput.h"

#include <QAbstractEventDispatcher>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>

#include <algorithm>
#include <cmath>
#include <pulse/context.h>
#include <pulse/error.h>
#include <pulse/glib-mainloop.h>
#include <pulse/introspect.h>
#include <pulse/subscribe.h>

namespace {
Q_LOGGING_CATEGORY(lcVolume, "tarnwick.volume", QtWarningMsg)

void release(pa_operation *operation)
{
    // Replies arrive through the callbacks; the handle itself is not needed.
    if (operation)
        pa_operation_unref(operation);
}

VolumeBackend::PortType portTypeOf(const pa_sink_port_info *port)
{
    if (!port)
        return VolumeBackend::PortType::Unknown;
    switch (port->type) {
    case PA_DEVICE_PORT_TYPE_UNKNOWN:
        return VolumeBackend::PortType::Unknown;
    case PA_DEVICE_PORT_TYPE_SPEAKER:
        return VolumeBackend::PortType::Speaker;
    case PA_DEVICE_PORT_TYPE_HEADPHONES:
    case PA_DEVICE_PORT_TYPE_HEADSET:
        return VolumeBackend::PortType::Headphones;
    case PA_DEVICE_PORT_TYPE_HDMI:
        return VolumeBackend::PortType::Hdmi;
    default:
        return VolumeBackend::PortType::Other;
    }
}

QHash<QString, QString> propertiesOf(const pa_proplist *list)
{
    QHash<QString, QString> properties;
    void *state = nullptr;
    while (const char *key = pa_proplist_iterate(list, &state)) {
        // Binary values have no string form; none of the keys we read is binary.
        if (const char *value = pa_proplist_gets(list, key))
            properties.insert(QString::fromUtf8(key), QString::fromUtf8(value));
    }
    return properties;
}

} // namespace

PulseAudioOutput::PulseAudioOutput(Clock &clock, QString server, QObject *parent)
    : VolumeBackend(parent)
    , m_retry(clock)
    , m_server(std::move(server))
{
    connect(&m_socketWatch, &QFileSystemWatcher::directoryChanged, this, &PulseAudioOutput::socketFolderChanged);
}

PulseAudioOutput::~PulseAudioOutput()
{
    dropContext();
    if (m_loop)
        pa_glib_mainloop_free(m_loop);
}

void PulseAudioOutput::start()
{
    if (m_started)
        return;
    m_started = true;
    // The default GLib context is the one Qt's event dispatcher iterates on
    // the main thread, so libpulse's callbacks run there, between Qt events.
    if (auto *dispatcher = QAbstractEventDispatcher::instance();
        !dispatcher || !dispatcher->inherits("QEventDispatcherGlib"))
        qCWarning(lcVolume) << "Qt is not running a GLib event loop here (QT_NO_GLIB?); volume changes will not arrive";
    m_loop = pa_glib_mainloop_new(nullptr);
    connectToServer();
}

void PulseAudioOutput::connectToServer()
{
    dropContext();
    pa_proplist *properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "Tarnwick");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ID, "tarnwick");
    pa_proplist_sets(properties, PA_PROP_APPLICATION_ICON_NAME, TARNWICK_APP_ID);
    m_context = pa_context_new_with_proplist(pa_glib_mainloop_get_api(m_loop), "Tarnwick", properties);
    pa_proplist_free(properties);
    if (!m_context) {
        lostServer();
        return;
    }
    pa_context_set_state_callback(m_context, &PulseAudioOutput::onContextState, this);
    const QByteArray server = m_server.toUtf8();
    // Never spawn a server of our own: the session decides which one runs.
    if (pa_context_connect(
            m_context, m_server.isEmpty() ? nullptr : server.constData(), PA_CONTEXT_NOAUTOSPAWN, nullptr)
        < 0) {
        qCDebug(lcVolume) << "cannot connect:" << pa_strerror(pa_context_errno(m_context));
        lostServer();
    }
}

void PulseAudioOutput::dropContext()
{
    if (!m_context)
        return;
    // Silence the callbacks first: disconnecting reports a state change, and
    // this object may be half destroyed.
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
    m_context = nullptr;
    // Disconnecting cancels pending operations without calling back.
    m_writesInFlight = 0;
    m_sink.reset();
    m_defaultName.clear();
}

void PulseAudioOutput::lostServer()
{
    dropContext();
    setConnected(false);
    m_retry.start(m_retryDelay, [this] { connectToServer(); });
    m_retryDelay = std::min(m_retryDelay * 2, longestRetryDelay);
    watchForSocket();
}

QString PulseAudioOutput::socketPath() const
{
    // Only local servers have a socket to watch for; others rely on the retries.
    QString server = m_server.isEmpty() ? qEnvironmentVariable("PULSE_SERVER") : m_server;
    if (!server.isEmpty()) {
        // A list of servers may name several; the first local one is ours.
        const auto entries = server.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        for (QString entry : entries) {
            if (entry.startsWith(QLatin1Char('{')))
                entry = entry.mid(entry.indexOf(QLatin1Char('}')) + 1);
            if (entry.startsWith(QLatin1String("unix:")))
                return entry.mid(5);
            if (entry.startsWith(QLatin1Char('/')))
                return entry;
        }
        return {};
    }
    const QString runtime = qEnvironmentVariable("PULSE_RUNTIME_PATH");
    if (!runtime.isEmpty())
        return runtime + QStringLiteral("/native");
    const QString xdg = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return xdg.isEmpty() ? QString() : xdg + QStringLiteral("/pulse/native");
}

void PulseAudioOutput::watchForSocket()
{
    const QString socket = socketPath();
    if (socket.isEmpty())
        return;
    // The socket's folder may itself be gone (pipewire-pulse removes it);
    // then its parent tells when it comes back.
    QString folder = QFileInfo(socket).absolutePath();
    if (!QFileInfo(folder).isDir())
        folder = QFileInfo(folder).absolutePath();
    if (!m_socketWatch.directories().contains(folder)) {
        if (!m_socketWatch.directories().isEmpty())
            m_socketWatch.removePaths(m_socketWatch.directories());
        m_socketWatch.addPath(folder);
    }
}

void PulseAudioOutput::socketFolderChanged()
{
    // A connection attempt already under way finishes on its own.
    if (m_connected || m_context)
        return;
    if (QFileInfo::exists(socketPath())) {
        m_retryDelay = firstRetryDelay;
        connectToServer();
    } else {
        watchForSocket();
    }
}

void PulseAudioOutput::setConnected(bool connected)
{
    if (connected == m_connected)
        return;
    m_connected = connected;
    Q_EMIT isConnectedChanged();
    Q_EMIT changed();
}

void PulseAudioOutput::onContextState(pa_context *context, void *self)
{
    auto *that = static_cast<PulseAudioOutput *>(self);
    switch (pa_context_get_state(context)) {
    case PA_CONTEXT_READY:
        that->m_retryDelay = firstRetryDelay;
        that->m_retry.cancel();
        if (!that->m_socketWatch.directories().isEmpty())
            that->m_socketWatch.removePaths(that->m_socketWatch.directories());
        that->setConnected(true);
        pa_context_set_subscribe_callback(context, &PulseAudioOutput::onSubscription, that);
        // The default sink is a server setting, so SERVER events tell when it moves.
        release(pa_context_subscribe(context,
            pa_subscription_mask_t(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER), nullptr, nullptr));
        that->requestServerInfo();
        break;
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        qCDebug(lcVolume) << "lost the sound server:" << pa_strerror(pa_context_errno(context));
        // libpulse holds its own reference while this callback runs, so the
        // context may be released here.
        that->lostServer();
        break;
    default:
        break;
    }
}

void PulseAudioOutput::onSubscription(
    pa_context * /*context*/, pa_subscription_event_type_t type, uint32_t index, void *self)
{
    auto *that = static_cast<PulseAudioOutput *>(self);
    const int facility = type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK;
    const int event = type & PA_SUBSCRIPTION_EVENT_TYPE_MASK;
    if (facility == PA_SUBSCRIPTION_EVENT_SERVER) {
        that->requestServerInfo();
    } else if (facility == PA_SUBSCRIPTION_EVENT_SINK) {
        // A removed default sink is followed by a server event naming the
        // new default; asking now only gets there sooner. Sinks appearing
        // matter only if they are the default we could not find before.
        if (event == PA_SUBSCRIPTION_EVENT_REMOVE && that->m_sink && index == that->m_sinkIndex)
            that->requestServerInfo();
        else if ((that->m_sink && index == that->m_sinkIndex) || (!that->m_sink && !that->m_defaultName.isEmpty()))
            that->requestDefaultSink();
    }
}

void PulseAudioOutput::requestServerInfo()
{
    if (m_context)
        release(pa_context_get_server_info(m_context, &PulseAudioOutput::onServerInfo, this));
}

void PulseAudioOutput::onServerInfo(pa_context * /*context*/, const pa_server_info *info, void *self)
{
    auto *that = static_cast<PulseAudioOutput *>(self);
    const QString name = info && info->default_sink_name ? QString::fromUtf8(info->default_sink_name) : QString();
    that->m_defaultName = name;
    if (name.isEmpty()) {
        // A server without any sink: nothing to follow until one appears.
        that->m_sink.reset();
        return;
    }
    that->requestDefaultSink();
}

void PulseAudioOutput::requestDefaultSink()
{
    if (m_context && !m_defaultName.isEmpty())
        release(pa_context_get_sink_info_by_name(
            m_context, m_defaultName.toUtf8().constData(), &PulseAudioOutput::onSinkInfo, this));
}

void PulseAudioOutput::onSinkInfo(pa_context * /*context*/, const pa_sink_info *info, int eol, void *self)
{
    auto *that = static_cast<PulseAudioOutput *>(self);
    if (eol < 0) {
        // The default vanished between the server's answer and ours; the
        // server's next event names its successor.
        that->m_sink.reset();
        return;
    }
    if (eol > 0 || !info)
        return;
    const QString name = QString::fromUtf8(info->name);
    // Replies come in the order the requests went out; one for a sink that
    // stopped being the default in the meantime is stale.
    if (name != that->m_defaultName)
        return;

    Sink sink;
    sink.id = name;
    sink.description = QString::fromUtf8(info->description);
    if (info->active_port) {
        sink.portName = QString::fromUtf8(info->active_port->name);
        sink.portType = portTypeOf(info->active_port);
    }
    sink.properties = propertiesOf(info->proplist);
    sink.hasVolume = info->volume.channels > 0 && pa_cvolume_valid(&info->volume);
    // While our own writes are on their way, this reply may describe the
    // sink before the latest of them, and a drag on the volume control would
    // jump back for a moment; the last value written stands until the server
    // has taken every write.
    const bool ownWritesPending = that->m_writesInFlight > 0 && that->m_sink && that->m_sink->id == name
        && sink.hasVolume && that->m_volume.channels == info->volume.channels;
    if (!ownWritesPending)
        that->m_volume = info->volume;
    // The balance is remembered apart from the volume: at zero every channel
    // reads 0 and the balance can no longer be seen in the volume itself.
    const bool sameSink = that->m_sink && that->m_sink->id == name;
    if (!sameSink || that->m_balance.channels != info->volume.channels)
        pa_cvolume_set(&that->m_balance, info->volume.channels, PA_VOLUME_NORM);
    // Only a change made elsewhere sets a new balance: the server's echo of
    // our own write is rounded, and taking it would let the balance drift a
    // step with every write.
    if (!ownWritesPending && sink.hasVolume && !pa_cvolume_is_muted(&info->volume)
        && !(sameSink && pa_cvolume_equal(&info->volume, &that->m_written)))
        that->m_balance = info->volume;
    // The level is the average over the channels, as desktop mixers show it:
    // left at 100 % and right at 50 % read 75 %.
    sink.volume = sink.hasVolume ? double(pa_cvolume_avg(&that->m_volume)) / PA_VOLUME_NORM : 0.0;
    sink.muted = info->mute != 0;

    that->m_sinkIndex = info->index;
    that->m_sink = sink;
    Q_EMIT that->changed();
}

void PulseAudioOutput::setVolume(const QString &sinkId, double level)
{
    if (!m_context || !m_sink || m_sink->id != sinkId || !m_sink->hasVolume)
        return;
    const double clamped = std::isnan(level) ? 0.0 : std::clamp(level, 0.0, 1.0);
    const pa_cvolume volume = withAverage(m_balance, clamped);
    pa_operation *write = pa_context_set_sink_volume_by_name(
        m_context, sinkId.toUtf8().constData(), &volume, &PulseAudioOutput::onVolumeWritten, this);
    if (!write)
        return;
    m_volume = volume;
    m_written = volume;
    ++m_writesInFlight;
    release(write);
}

pa_cvolume PulseAudioOutput::withAverage(const pa_cvolume &balance, double level)
{
    // Every channel moves by the same factor, so a balance the user set
    // elsewhere survives the change, and the average lands on the level
    // asked for. With a lopsided balance a level near the top lifts the
    // louder channel a little past the server's 100 %, the way the desktop's
    // own mixer amplifies: otherwise the top of the control could never be
    // reached and a drag there would jump back.
    pa_cvolume volume = balance;
    const double average = balance.channels > 0 ? double(pa_cvolume_avg(&balance)) : 0.0;
    for (unsigned i = 0; i < balance.channels; ++i) {
        const double share = average > 0 ? double(balance.values[i]) / average : 1.0;
        volume.values[i] = pa_volume_t(std::clamp(std::lround(share * level * PA_VOLUME_NORM), 0L, long(PA_VOLUME_MAX)));
    }
    return volume;
}

void PulseAudioOutput::onVolumeWritten(pa_context * /*context*/, int /*success*/, void *self)
{
    auto *that = static_cast<PulseAudioOutput *>(self);
    that->m_writesInFlight = std::max(0, that->m_writesInFlight - 1);
}

void PulseAudioOutput::setMuted(const QString &sinkId, bool muted)
{
    if (!m_context || !m_sink || m_sink->id != sinkId)
        return;
    release(pa_context_set_sink_mute_by_name(m_context, sinkId.toUtf8().constData(), muted ? 1 : 0, nullptr, nullptr));
}
