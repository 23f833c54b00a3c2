#include "PulseDaemon.h"
#include "core/Clock.h"
#include "peeks/AirPodsBattery.h"
#include "peeks/BluezLevelReader.h"
#include "peeks/PulseAudioOutput.h"
#include "support/PrivateBus.h"

#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using ManufacturerData = QMap<quint16, QDBusVariant>;
Q_DECLARE_METATYPE(ManufacturerData)

namespace {

const QString kBluez = QStringLiteral("org.bluez");
const QString kMock = QStringLiteral("org.freedesktop.DBus.Mock");
const QString kAdapterPath = QStringLiteral("/org/bluez/hci0");
const QString kAirPodsAddress = QStringLiteral("00:1B:66:00:00:02");
const QString kAirPods = QStringLiteral("Ada's AirPods Pro");
const QString kAirPodsSink = QStringLiteral("bluez_sink.00_1B_66_00_00_02.a2dp_sink");

QString pathOf(const QString &address)
{
    return kAdapterPath + QStringLiteral("/dev_") + QString(address).replace(u':', u'_');
}

// A process stopped with the object.
struct Process : QProcess {
    ~Process() override
    {
        if (state() == QProcess::NotRunning)
            return;
        terminate();
        if (!waitForFinished(3000)) {
            kill();
            waitForFinished(3000);
        }
    }
};

} // namespace

// The reader against a BlueZ on the system bus (python3-dbusmock's template,
// standing in for bluetoothd, which needs a real controller), with the output
// changes coming from a real sound server through the volume service, as in
// the application.
class tst_AirPodsIntegration : public QObject
{
    Q_OBJECT

    PrivateBus m_busDaemon;
    std::unique_ptr<QDBusConnection> m_bus; // the test's own
    std::unique_ptr<Process> m_bluez;
    // dbus-monitor, limited to what the reader's connection sends.
    Process m_monitor;
    QString m_readerName;
    QStringList m_sent; // the members of every message the reader sent
    std::unique_ptr<PulseDaemon> m_daemon;
    std::unique_ptr<PulseAudioOutput> m_backend;
    std::unique_ptr<SystemVolume> m_volume;
    std::unique_ptr<BluezLevelReader> m_reader;
    std::unique_ptr<AirPodsBattery> m_battery;
    QList<AirPodsLevels> m_announced;

    QString startBluez()
    {
        if (!QFileInfo(QStringLiteral("/usr/bin/python3")).isExecutable())
            return QStringLiteral("/usr/bin/python3 is missing (Debian package: python3)");
        m_bluez = std::make_unique<Process>();
        m_bluez->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_bluez->setStandardOutputFile(QProcess::nullDevice());
        m_bluez->start(QStringLiteral("/usr/bin/python3"),
                       {QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--template"),
                        QStringLiteral("bluez5")});
        for (int i = 0; i < 200 && m_bluez->state() != QProcess::NotRunning; ++i) {
            if (m_bus->interface()->isServiceRegistered(kBluez)) {
                populate();
                return {};
            }
            QTest::qWait(25);
        }
        return QStringLiteral("the BlueZ mock did not come up (Debian package: python3-dbusmock)");
    }

    QDBusMessage call(const QString &path, const QString &interface, const QString &method,
                      const QVariantList &args = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(kBluez, path, interface, method);
        message.setArguments(args);
        const QDBusMessage reply = m_bus->call(message, QDBus::Block, 10000);
        if (reply.type() != QDBusMessage::ReplyMessage)
            qWarning("%s: %s", qPrintable(method), qPrintable(reply.errorMessage()));
        return reply;
    }
    void mock(const QString &method, const QVariantList &args)
    {
        call(QStringLiteral("/"), QStringLiteral("org.bluez.Mock"), method, args);
    }

    // One adapter and the connected AirPods, with the product ID in their
    // modalias and the level they report over the audio link.
    void populate()
    {
        mock(QStringLiteral("AddAdapter"), {QStringLiteral("hci0"), QStringLiteral("tarnwick-test")});
        mock(QStringLiteral("AddDevice"), {QStringLiteral("hci0"), kAirPodsAddress, kAirPods});
        mock(QStringLiteral("ConnectDevice"), {QStringLiteral("hci0"), kAirPodsAddress});
        call(pathOf(kAirPodsAddress), kMock, QStringLiteral("UpdateProperties"),
             {QStringLiteral("org.bluez.Device1"),
              QVariantMap {{QStringLiteral("Modalias"), QStringLiteral("bluetooth:v004Cp200Ed0B21")}}});
        call(pathOf(kAirPodsAddress), kMock, QStringLiteral("AddProperties"),
             {QStringLiteral("org.bluez.Battery1"), QVariantMap {{QStringLiteral("Percentage"), uchar(70)}}});
    }

    // Something nearby advertising `hex` (and the encrypted tail a real
    // message carries) under Apple's company number.
    void advertise(const QString &address, qint16 rssi, const QByteArray &hex)
    {
        mock(QStringLiteral("AddDevice"), {QStringLiteral("hci0"), address, QString()});
        // BlueZ tells of an advertisement by a change of the device's
        // properties; the mock's own UpdateProperties cannot carry a
        // dictionary, so the signal is sent as BlueZ would send it.
        const ManufacturerData data {{AirPodsAdvertisement::kAppleCompanyId,
                                      QDBusVariant(QByteArray::fromHex(hex + "0100050000000000000000000000000000000000"))}};
        const QVariantMap changed {{QStringLiteral("RSSI"), QVariant::fromValue(rssi)},
                                   {QStringLiteral("ManufacturerData"), QVariant::fromValue(data)}};
        call(pathOf(address), kMock, QStringLiteral("EmitSignal"),
             {QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"),
              QStringLiteral("sa{sv}as"), QVariantList {QStringLiteral("org.bluez.Device1"), changed, QStringList()}});
    }

    bool discovering()
    {
        const QDBusMessage reply = call(kAdapterPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                        QStringLiteral("Get"),
                                        {QStringLiteral("org.bluez.Adapter1"), QStringLiteral("Discovering")});
        return !reply.arguments().isEmpty() && reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
    }

    const QStringList &sent()
    {
        // --profile lines: type, time, serial, sender, destination, path,
        // interface, member. The monitor's own greeting comes from the bus.
        for (const QByteArray &line : m_monitor.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> fields = line.split('\t');
            if (fields.size() > 3 && fields.at(3) == m_readerName.toUtf8())
                m_sent << QString::fromUtf8(fields.size() > 7 ? fields.at(7) : fields.at(0));
        }
        return m_sent;
    }

    void playOn(const QString &sink)
    {
        bool ok = false;
        m_daemon->pactl(QStringLiteral("set-default-sink ") + sink, &ok);
        QVERIFY(ok);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        qDBusRegisterMetaType<ManufacturerData>();
        QString error = m_busDaemon.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_busDaemon.address().toUtf8());
        m_bus = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_busDaemon.address(), QStringLiteral("test-system")));
        QVERIFY(m_bus->isConnected());
        error = startBluez();
        QVERIFY2(error.isEmpty(), qPrintable(error));

        m_daemon = std::make_unique<PulseDaemon>(QStringList {
            QStringLiteral("load-module module-null-sink sink_name=speakers "
                           "sink_properties='device.description=\"Built-in Speakers\" device.form_factor=internal'"),
            QStringLiteral("load-module module-null-sink sink_name=%1 "
                           "sink_properties='device.description=\"Ada\\'s AirPods Pro\" device.bus=bluetooth'")
                .arg(kAirPodsSink),
            QStringLiteral("set-default-sink speakers"),
        });
        error = m_daemon->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));

        // The reader has a connection of its own, so that what it sends can
        // be told from what the test sends.
        const QDBusConnection readerBus
            = QDBusConnection::connectToBus(m_busDaemon.address(), QStringLiteral("airpods-reader"));
        QVERIFY(readerBus.isConnected());
        m_readerName = readerBus.baseService();
        m_monitor.start(QStringLiteral("dbus-monitor"),
                        {QStringLiteral("--address"), m_busDaemon.address(), QStringLiteral("--profile"),
                         QStringLiteral("sender='%1'").arg(m_readerName)});
        QVERIFY2(m_monitor.waitForStarted(5000), "dbus-monitor did not start (Debian package: dbus-bin)");
        QTest::qWait(500);

        m_backend = std::make_unique<PulseAudioOutput>(Clock::system(), m_daemon->server());
        m_volume = std::make_unique<SystemVolume>(*m_backend);
        m_reader = std::make_unique<BluezLevelReader>(readerBus, Clock::system());
        m_battery = std::make_unique<AirPodsBattery>(Clock::system(), *m_reader);
        m_battery->onAnnounce = [this](const AirPodsLevels &levels) { m_announced << levels; };
        m_battery->follow(*m_volume);
        m_volume->start();
        QTRY_COMPARE(m_volume->outputName(), QStringLiteral("Built-in Speakers"));
    }

    void cleanupTestCase()
    {
        m_battery.reset();
        m_reader.reset();
        m_volume.reset();
        m_backend.reset();
        m_daemon.reset();
    }

    void staysOffTheBusWhileTheOutputIsNotAirPods()
    {
        QTest::qWait(3000);
        QCOMPARE(sent(), QStringList());
        QVERIFY(!m_battery->isPolling());
    }

    void readsBudsAndCaseFromAnAdvertisementDuringDiscovery()
    {
        playOn(kAirPodsSink);
        QTRY_VERIFY_WITH_TIMEOUT(discovering(), 10000);
        QVERIFY(!m_battery->hasLevels());
        // A neighbour's plain AirPods, louder than ours, do not count.
        advertise(QStringLiteral("6E:00:00:00:00:01"), -30, "071901" "0220" "2b" "33" "03");
        advertise(QStringLiteral("5A:00:00:00:00:02"), -48, "071901" "0e20" "2b" "97" "45");
        QTRY_VERIFY_WITH_TIMEOUT(m_battery->hasLevels(), 10000);
        const AirPodsLevels levels {.name = kAirPods, .model = AirPodsLevels::Model::AirPodsPro, .left = 70,
                                    .right = 90, .caseLevel = 50, .main = {}};
        QCOMPARE(*m_battery->levels(), levels);
        QCOMPARE(m_announced, QList {levels});
        // The discovery was ours, LE only, and it is over.
        QTRY_VERIFY(!discovering());
        QTRY_COMPARE(sent().count(QStringLiteral("StopDiscovery")), 1);
        QCOMPARE(sent().count(QStringLiteral("SetDiscoveryFilter")), 1);
        QCOMPARE(sent().count(QStringLiteral("StartDiscovery")), 1);
    }

    void findsBlueZAgainAndFallsBackToTheLevelTheHeadsetReports()
    {
        playOn(QStringLiteral("speakers"));
        QTRY_VERIFY(!m_battery->isPolling());
        m_bluez.reset();
        playOn(kAirPodsSink);
        QTRY_VERIFY(m_battery->isPolling());
        QTest::qWait(3000); // a read or two without a Bluetooth stack
        QVERIFY(!m_battery->hasLevels());
        const QString error = startBluez();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QTRY_VERIFY_WITH_TIMEOUT(discovering(), 30000);
        // Nothing advertises: after the listening window the audio link's
        // report stands in, and the discovery ends with it.
        QTRY_VERIFY_WITH_TIMEOUT(m_battery->hasLevels(), 15000);
        QCOMPARE(*m_battery->levels(), (AirPodsLevels {.name = kAirPods, .model = AirPodsLevels::Model::AirPodsPro,
                                                       .left = {}, .right = {}, .caseLevel = {}, .main = 70}));
        QTRY_VERIFY(!discovering());
    }
};

QTEST_GUILESS_MAIN(tst_AirPodsIntegration)
#include "tst_AirPodsIntegration.moc"