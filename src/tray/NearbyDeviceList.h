#pragma once

#include "tray/NearbyDevice.h"

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>

// The devices found so far, in the order they answered.
class NearbyDeviceList : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Provided by NearbyShare")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role { NameRole = Qt::UserRole + 1, KindRole, SymbolRole };

    using QAbstractListModel::QAbstractListModel;

    int count() const { return int(m_devices.size()); }
    const QList<NearbyDevice> &devices() const { return m_devices; }
    // Adds a new device, or updates the one with the same kind and id. A
    // LocalSend device seen over HTTPS keeps its address and protocol.
    void upsert(const NearbyDevice &device);
    // Drops the devices of this kind whose ids are not in the list: they
    // are no longer reachable.
    void keepOnly(NearbyDevice::Kind kind, const QStringList &ids);

    // The picture for a device: a phone, a computer, or a generic device.
    static QString symbolFor(const NearbyDevice &device);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

Q_SIGNALS:
    void countChanged();

private:
    QList<NearbyDevice> m_devices;
};
