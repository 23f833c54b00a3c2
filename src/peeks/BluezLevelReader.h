#pragma once

#include "core/ClockSlot.h"
#include "peeks/AirPodsAdvertisement.h"
#include "peeks/AirPodsLevelReader.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QPointer>

#include <optional>

class QDBusPendingCallWatcher;

// Reads AirPods levels from BlueZ on the system bus. The connected device
// named like the output gives the model (its Modalias) and, when the set
// reports one over its audio link, a single battery level (Battery1). Buds
// and case come from the proximity-pairing advertisement the set sends over
// Bluetooth LE, which BlueZ only passes on while someone scans: each read
// runs a short LE discovery of its own and stops it again. Between reads
// this reader sends nothing and listens to nothing. BlueZ counts discoveries
// per client and ends ours if Tarnwick leaves the bus, so even a crash does
// not leave the radio scanning.
class BluezLevelReader : public QObject, public AirPodsLevelReader {
    Q_OBJECT

public:
    // The longest a read listens for an advertisement.
    static constexpr double kListenWindow = 5;
    // An advertisement this strong comes from a set being worn here: take
    // it at once instead of listening on for a closer one.
    static constexpr int kWornRssi = -60;

    explicit BluezLevelReader(QDBusConnection bus, Clock &clock, QObject *parent = nullptr);
    ~BluezLevelReader() override;

    void read(const QString &name, Done done) override;
    void cancel() override;

private Q_SLOTS:
    void onInterfacesAdded(const QDBusMessage &message);
    void onPropertiesChanged(const QDBusMessage &message);

private:
    struct Device {
        QString path;
        QString adapter;
        QString productId;
        std::optional<int> battery;
    };

    void onObjects(QDBusPendingCallWatcher *watcher, quint64 generation);
    void startDiscovery(quint64 generation);
    void heard(const QString &path, const QVariantMap &properties);
    void finish();
    void stopListening();

    QDBusConnection m_bus;
    ClockSlot m_window;
    QString m_name;
    Done m_done;
    quint64 m_generation = 0;
    Device m_device;
    QString m_adapter; // the adapter our discovery runs on; empty when none does
    bool m_listening = false;
    QHash<QString, int> m_rssi; // per advertiser, as last reported
    std::optional<AirPodsAdvertisement> m_best;
    int m_bestRssi = 0;
};
