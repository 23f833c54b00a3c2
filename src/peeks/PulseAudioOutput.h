#pragma once

#include "core/ClockSlot.h"
#include "peeks/VolumeBackend.h"

#include <QFileSystemWatcher>

#include <pulse/def.h>
#include <pulse/volume.h>

struct pa_context;
struct pa_glib_mainloop;
struct pa_server_info;
struct pa_sink_info;

// The default sink of a PulseAudio server, or of PipeWire's PulseAudio
// server, through libpulse on the GLib main loop that Qt's event dispatcher
// already runs. Everything comes from the server's subscription events;
// nothing is polled. When the server goes away (a crash, a restart, a
// session switch) the connection is retried with a growing pause until it
// comes back, and at once when its socket reappears.
class PulseAudioOutput : public VolumeBackend {
    Q_OBJECT
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY isConnectedChanged)

public:
    // `server` is a libpulse server string ("unix:/run/user/1000/pulse/native");
    // empty lets libpulse find the user's server the usual way.
    explicit PulseAudioOutput(Clock &clock, QString server = {}, QObject *parent = nullptr);
    ~PulseAudioOutput() override;

    void start() override;
    std::optional<Sink> defaultSink() const override { return m_sink; }
    void setVolume(const QString &sinkId, double level) override;
    void setMuted(const QString &sinkId, bool muted) override;

    bool isConnected() const override { return m_connected; }

    // The pauses between reconnection attempts: the first is short because a
    // restarting server is usually back within a second; later ones grow so a
    // machine without a sound server is not woken up for nothing.
    static constexpr double firstRetryDelay = 0.25;
    static constexpr double longestRetryDelay = 30;

    // The channel volumes for `level` (0...1 of the server's 100 %, as an
    // average over the channels) in the proportions of `balance`.
    static pa_cvolume withAverage(const pa_cvolume &balance, double level);

Q_SIGNALS:
    void isConnectedChanged();

private:
    void connectToServer();
    void dropContext();
    void lostServer();
    void setConnected(bool connected);
    void watchForSocket();
    void socketFolderChanged();
    QString socketPath() const;
    void requestServerInfo();
    void requestDefaultSink();

    static void onContextState(pa_context *context, void *self);
    static void onSubscription(pa_context *context, pa_subscription_event_type_t type, uint32_t index, void *self);
    static void onServerInfo(pa_context *context, const pa_server_info *info, void *self);
    static void onSinkInfo(pa_context *context, const pa_sink_info *info, int eol, void *self);
    static void onVolumeWritten(pa_context *context, int success, void *self);

    ClockSlot m_retry;
    double m_retryDelay = firstRetryDelay;
    QString m_server;
    bool m_started = false;
    bool m_connected = false;
    QFileSystemWatcher m_socketWatch;
    pa_glib_mainloop *m_loop = nullptr;
    pa_context *m_context = nullptr;

    QString m_defaultName;
    uint32_t m_sinkIndex = 0;
    pa_cvolume m_volume {}; // the default sink's channels as last read or written
    pa_cvolume m_balance {}; // their proportions when last heard above silence, kept through zero
    pa_cvolume m_written {}; // the last volume we wrote, to tell its echo from changes made elsewhere
    int m_writesInFlight = 0;
    std::optional<Sink> m_sink;
};
