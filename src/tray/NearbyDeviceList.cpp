#include "tray/NearbyDeviceList.h"

void NearbyDeviceList::upsert(const NearbyDevice &device)
{
    for (qsizetype i = 0; i < m_devices.size(); ++i) {
        NearbyDevice &known = m_devices[i];
        if (known.kind == device.kind && known.id == device.id) {
            // Anyone can announce a LocalSend device's fingerprint; only the
            // device itself can then show the matching certificate. So a
            // device seen over HTTPS is never switched to plain HTTP or to
            // another address by an announcement: that would send the files,
            // unchecked, to whoever made it.
            if (device.kind == NearbyDevice::Kind::LocalSend && known.https
                && (!device.https || known.address != device.address || known.port != device.port))
                return;
            if (known == device)
                return;
            known = device;
            const QModelIndex at = index(int(i));
            Q_EMIT dataChanged(at, at);
            return;
        }
    }
    beginInsertRows({}, count(), count());
    m_devices.append(device);
    endInsertRows();
    Q_EMIT countChanged();
}

void NearbyDeviceList::keepOnly(NearbyDevice::Kind kind, const QStringList &ids)
{
    const qsizetype before = m_devices.size();
    for (qsizetype i = m_devices.size() - 1; i >= 0; --i) {
        if (m_devices.at(i).kind != kind || ids.contains(m_devices.at(i).id))
            continue;
        beginRemoveRows({}, int(i), int(i));
        m_devices.removeAt(i);
        endRemoveRows();
    }
    if (m_devices.size() != before)
        Q_EMIT countChanged();
}

QString NearbyDeviceList::symbolFor(const NearbyDevice &device)
{
    // LocalSend announces mobile/desktop/web/headless/server; KDE Connect
    // smartphone/phone/tablet/desktop/laptop/tv.
    static const QHash<QString, QString> symbols{
        {QStringLiteral("mobile"), QStringLiteral("smartphone")},
        {QStringLiteral("smartphone"), QStringLiteral("smartphone")},
        {QStringLiteral("phone"), QStringLiteral("smartphone")},
        {QStringLiteral("tablet"), QStringLiteral("tablet")},
        {QStringLiteral("laptop"), QStringLiteral("laptop")},
        {QStringLiteral("tv"), QStringLiteral("tv")},
        {QStringLiteral("desktop"), QStringLiteral("computer")},
        {QStringLiteral("server"), QStringLiteral("computer")},
        {QStringLiteral("headless"), QStringLiteral("computer")},
    };
    return symbols.value(device.type, QStringLiteral("devices_other"));
}

int NearbyDeviceList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant NearbyDeviceList::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const NearbyDevice &device = m_devices.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return device.name;
    case KindRole:
        if (device.kind == NearbyDevice::Kind::KdeConnect)
            return QStringLiteral("KDE Connect");
        // Plain HTTP: the device cannot be checked, and anyone on the
        // network can read the files.
        return device.https ? QStringLiteral("LocalSend") : QStringLiteral("LocalSend, not encrypted");
    case SymbolRole:
        return symbolFor(device);
    default:
        return {};
    }
}

QHash<int, QByteArray> NearbyDeviceList::roleNames() const
{
    return {{NameRole, "name"}, {KindRole, "kind"}, {SymbolRole, "symbol"}};
}
