#pragma once

#include "peeks/VolumeBackend.h"

#include <QList>
#include <QPair>

// A sound server in memory: the test sets what it reports and reads what was
// written to it.
class FakeVolumeBackend : public VolumeBackend {
    Q_OBJECT

public:
    using VolumeBackend::VolumeBackend;

    void start() override { ++starts; }
    std::optional<Sink> defaultSink() const override { return sink; }
    bool isConnected() const override { return connected; }
    void setVolume(const QString &sinkId, double level) override { volumeWrites.append({sinkId, level}); }
    void setMuted(const QString &sinkId, bool muted) override { muteWrites.append({sinkId, muted}); }

    // Reports `next` as the default output and notifies, as a server event would.
    void report(const std::optional<Sink> &next)
    {
        sink = next;
        Q_EMIT changed();
    }

    std::optional<Sink> sink;
    bool connected = true;
    int starts = 0;
    QList<QPair<QString, double>> volumeWrites;
    QList<QPair<QString, bool>> muteWrites;
};
