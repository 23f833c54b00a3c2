#pragma once

#include <QHash>
#include <QObject>
#include <QString>

#include <optional>

// The sound server as SystemVolume sees it: the default output as last read,
// and writes to it. The implementation tells changed() whenever the default
// output, or anything read from it, may have changed; it does not need to
// filter, because SystemVolume re-reads and publishes only what differs.
class VolumeBackend : public QObject {
    Q_OBJECT

public:
    // What the output's active port says about where the sound goes.
    enum class PortType { Unknown, Speaker, Headphones, Hdmi, Other };

    struct Sink {
        QString id; // the server's own name for the output; stable across restarts
        QString description; // the name people see; may be empty
        QString portName; // the active port, empty when the output has none
        PortType portType = PortType::Unknown;
        QHash<QString, QString> properties; // the server's property list (device.bus, device.form_factor ...)
        bool hasVolume = false; // there is a main volume that can be set
        double volume = 0; // 1 is the server's 100 %; can be more
        bool muted = false;

        bool operator==(const Sink &) const = default;
    };

    using QObject::QObject;

    // Connects and keeps connected, reconnecting when the server restarts.
    virtual void start() = 0;
    // Empty while the server is out of reach or has no output.
    virtual std::optional<Sink> defaultSink() const = 0;
    // A sound server answers; changed() is told when this flips.
    virtual bool isConnected() const = 0;
    // Writes go to the output named by `sinkId`, so that a write racing a
    // change of default output lands on the output the user was looking at.
    virtual void setVolume(const QString &sinkId, double level) = 0;
    virtual void setMuted(const QString &sinkId, bool muted) = 0;

Q_SIGNALS:
    void changed();
};
