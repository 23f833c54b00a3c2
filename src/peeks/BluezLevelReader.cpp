#include "peeks/BluezLevelReader.h"

#include "peeks/AirPodsBattery.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcAirPods, "tarnwick.airpods", QtWarningMsg)

namespace {

const QString kService = QStringLiteral("org.bluez");
const QString kDevice = QStringLiteral("org.bluez.Device1");
const QString kBattery = QStringLiteral("org.bluez.Battery1");
const QString kAdapter = QStringLiteral("org.bluez.Adapter1");
const QString kObjectManager = QStringLiteral("org.freedesktop.DBus.ObjectManager");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

using Interfaces = QMap<QString, QVariantMap>;
using Objects = QMap<QDBusObjectPath, Interfaces>;
using ManufacturerData = QMap<quint16, QDBusVariant>;

// D-Bus hands nested containers over still marshalled; this unpacks one
// into the type it is known to be.
template<typename T> T unpack(const QVariant &value)
{
    if (value.canConvert<QDBusArgument>()) {
        T result;
        value.value<QDBusArgument>() >> result;
        return result;
    }
    return value.value<T>();
}

QDBusMessage call(const QString &path, const QString &interface, const QString &method, const QVariantList &args = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(kService, path, interface, method);
    message.setArguments(args);
    return message;
}

std::optional<AirPodsAdvertisement> advertisementIn(const QVariantMap &device)
{
    if (!device.contains(QStringLiteral("ManufacturerData")))
        return std::nullopt;
    const auto data = unpack<ManufacturerData>(device.value(QStringLiteral("ManufacturerData")));
    const auto apple = data.constFind(AirPodsAdvertisement::kAppleCompanyId);
    if (apple == data.constEnd())
        return std::nullopt;
    return AirPodsAdvertisement::decode(apple->variant().toByteArray());
}

} // namespace

Q_DECLARE_METATYPE(Interfaces)
Q_DECLARE_METATYPE(Objects)
Q_DECLARE_METATYPE(ManufacturerData)

BluezLevelReader::BluezLevelReader(QDBusConnection bus, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_window(clock)
{
    qDBusRegisterMetaType<Interfaces>();
    qDBusRegisterMetaType<Objects>();
    qDBusRegisterMetaType<ManufacturerData>();
}

BluezLevelReader::~BluezLevelReader()
{
    cancel();
}

void BluezLevelReader::read(const QString &name, Done done)
{
    cancel();
    m_name = name;
    m_done = std::move(done);
    m_device = {};
    const quint64 generation = m_generation;
    auto *watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(call(QStringLiteral("/"), kObjectManager, QStringLiteral("GetManagedObjects"))), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, generation](QDBusPendingCallWatcher *w) { onObjects(w, generation); });
}

void BluezLevelReader::cancel()
{
    ++m_generation;
    m_done = nullptr;
    stopListening();
}

void BluezLevelReader::onObjects(QDBusPendingCallWatcher *watcher, quint64 generation)
{
    watcher->deleteLater();
    if (generation != m_generation)
        return;
    const QDBusMessage reply = watcher->reply();
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        // No Bluetooth stack, or it is restarting: nothing this time.
        qCDebug(lcAirPods) << "BlueZ did not answer:" << reply.errorMessage();
        finish();
        return;
    }
    const auto objects = unpack<Objects>(reply.arguments().constFirst());
    for (auto it = objects.constBegin(); it != objects.constEnd(); ++it) {
        const QVariantMap device = it->value(kDevice);
        if (!device.value(QStringLiteral("Connected")).toBool())
            continue;
        // The sound server names the output after the device's alias, which
        // is its own name unless the user renamed it.
        if (device.value(QStringLiteral("Alias")).toString() != m_name
            && device.value(QStringLiteral("Name")).toString() != m_name)
            continue;
        m_device.path = it.key().path();
        m_device.adapter = device.value(QStringLiteral("Adapter")).value<QDBusObjectPath>().path();
        m_device.productId = AirPodsBattery::productId(device.value(QStringLiteral("Modalias")).toString());
        if (it->contains(kBattery))
            m_device.battery = it->value(kBattery).value(QStringLiteral("Percentage")).toInt();
        break;
    }
    if (m_device.path.isEmpty() || m_device.adapter.isEmpty()) {
        finish();
        return;
    }
    startDiscovery(generation);
}

void BluezLevelReader::startDiscovery(quint64 generation)
{
    // Listen before asking, so the first advertisement is not missed.
    m_listening = true;
    m_best.reset();
    m_rssi.clear();
    m_bus.connect(kService, QString(), kObjectManager, QStringLiteral("InterfacesAdded"), this,
        SLOT(onInterfacesAdded(QDBusMessage)));
    m_bus.connect(kService, QString(), kProperties, QStringLiteral("PropertiesChanged"), this,
        SLOT(onPropertiesChanged(QDBusMessage)));
    m_window.start(kListenWindow, [this] { finish(); });

    // LE only: the advertisement is an LE one, and a classic inquiry would
    // hold the radio that plays the music. Duplicates are passed on so a set
    // that BlueZ already knows is heard again.
    const QVariantMap filter {
        {QStringLiteral("Transport"), QStringLiteral("le")}, {QStringLiteral("DuplicateData"), true}};
    m_bus.asyncCall(call(m_device.adapter, kAdapter, QStringLiteral("SetDiscoveryFilter"), {filter}));
    auto *watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(call(m_device.adapter, kAdapter, QStringLiteral("StartDiscovery"))), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, generation, adapter = m_device.adapter](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            if (w->isError()) {
                // Powered off, blocked, or gone: the audio link's own
                // report is all there is.
                qCDebug(lcAirPods) << "no discovery:" << w->error().message();
                if (generation == m_generation)
                    finish();
            } else if (generation != m_generation) {
                // The read ended before the discovery began: stop it now.
                m_bus.asyncCall(call(adapter, kAdapter, QStringLiteral("StopDiscovery")));
            } else {
                m_adapter = adapter;
            }
        });
}

void BluezLevelReader::onInterfacesAdded(const QDBusMessage &message)
{
    const QVariantList args = message.arguments();
    if (args.size() < 2)
        return;
    const auto interfaces = unpack<Interfaces>(args.at(1));
    if (interfaces.contains(kDevice))
        heard(args.at(0).value<QDBusObjectPath>().path(), interfaces.value(kDevice));
}

void BluezLevelReader::onPropertiesChanged(const QDBusMessage &message)
{
    const QVariantList args = message.arguments();
    if (args.size() < 2 || args.at(0).toString() != kDevice)
        return;
    heard(message.path(), unpack<QVariantMap>(args.at(1)));
}

void BluezLevelReader::heard(const QString &path, const QVariantMap &properties)
{
    if (!m_listening)
        return;
    if (properties.contains(QStringLiteral("RSSI")))
        m_rssi.insert(path, properties.value(QStringLiteral("RSSI")).toInt());
    const auto ad = advertisementIn(properties);
    if (!ad || (!ad->left && !ad->right && !ad->caseLevel))
        return;
    // Other people's AirPods advertise too: only the product of the set we
    // are connected to counts, and of several the strongest signal wins.
    const QString product = QStringLiteral("0x%1").arg(ad->productId, 4, 16, QLatin1Char('0'));
    if (!m_device.productId.isEmpty() && product != m_device.productId)
        return;
    const int rssi = m_rssi.value(path, -127);
    if (!m_best || rssi > m_bestRssi) {
        m_best = ad;
        m_bestRssi = rssi;
    }
    if (rssi >= kWornRssi)
        finish();
}

void BluezLevelReader::finish()
{
    stopListening();
    Done done = std::exchange(m_done, nullptr);
    ++m_generation;
    if (!done)
        return;
    std::optional<AirPodsLevels> levels;
    if (!m_device.path.isEmpty()) {
        const auto model = AirPodsBattery::modelFor(m_device.productId, m_name);
        if (m_best)
            levels = m_best->levels(m_name, model, m_device.battery);
        else if (m_device.battery)
            levels = AirPodsAdvertisement {}.levels(m_name, model, m_device.battery);
    }
    done(levels);
}

void BluezLevelReader::stopListening()
{
    m_window.cancel();
    if (m_listening) {
        m_bus.disconnect(kService, QString(), kObjectManager, QStringLiteral("InterfacesAdded"), this,
            SLOT(onInterfacesAdded(QDBusMessage)));
        m_bus.disconnect(kService, QString(), kProperties, QStringLiteral("PropertiesChanged"), this,
            SLOT(onPropertiesChanged(QDBusMessage)));
        m_listening = false;
    }
    if (!m_adapter.isEmpty()) {
        m_bus.asyncCall(call(m_adapter, kAdapter, QStringLiteral("StopDiscovery")));
        m_adapter.clear();
    }
}
