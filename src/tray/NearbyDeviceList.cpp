#include "tray/NearbyDeviceList.h"

void NearbyDeviceList::upsert(const NearbyDevice &device)
{
    for (qsizetype i = 0; i < m_devices.size(); ++i) {
        NearbyDevice &known = m_devices[i];
        if (known.kind == device.kind && known.id == device.id) {
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

QString NearbyDeviceList::symbolFor(const NearbyDevice &device)
{
    if (device.type == QLatin1String("mobile"))
        return QStringLiteral("smartphone");
    if (device.type == QLatin1String("desktop") || device.type == QLatin1String("server")
        || device.type == QLatin1String("headless"))
        return QStringLiteral("computer");
    return QStringLiteral("devices_other");
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
        return device.kind == NearbyDevice::Kind::KdeConnect ? QStringLiteral("KDE Connect") : QStringLiteral("LocalSend");
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
