#pragma once

#include <QHostAddress>
#include <QMetaType>
#include <QString>

// A device files can be sent to: a LocalSend receiver found on the local
// network, or a phone paired with KDE Connect.
struct NearbyDevice
{
    enum class Kind { LocalSend, KdeConnect };

    Kind kind = Kind::LocalSend;
    QString id;   // LocalSend: the announced fingerprint; KDE Connect: the device id
    QString name; // what the user called it
    QString type; // "mobile", "desktop", … as announced; may be empty
    QHostAddress address;
    quint16 port = 0;
    bool https = true;

    bool operator==(const NearbyDevice &) const = default;
};

Q_DECLARE_METATYPE(NearbyDevice)
