#include "PulseDaemon.h"
#include "core/Clock.h"
#include "peeks/AirPodsBattery.h"
#include "peeks/BluezLevelReader.h"
#include "peeks/PulseAudioOutput.h"
#include "support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QElapsedTimer>
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
const QString kAirPodsPath = kAdapterPath + QStringLiteral("/dev_00_1B_66_00_00_02");
const QString kAirPods = QStringLiteral("Ada's AirPods Pro");

// The Bluetooth stack: python3-dbusmock's BlueZ template on the private
// system bus, standing in for bluetoothd, which needs a real controller.
class Bluez
{
public:
    ~Bluez() { stop(); }

    QString start(const QString &address, QDBusConnection &bus)
    {
        if (!QFileInfo(QStringLiteral("/usr/bin/python3")).isExecutable())
            return QStringLiteral("/usr/bin/python3 is missing (Debian package: python3)");
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
        m_process.setProcessEnvironment(env);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.start(QStringLiteral("/usr/bin/python3"),
                        {QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--template"),
                         QStringLiteral("bluez5")});
        for (int i = 0; i < 200 && m_process.state() != QProcess::NotRunning; ++i) {
            if (bus.interface()->isServiceRegistered(kBluez))
                return {};
            QTest::qWait(25);
        }
        return QStringLiteral("the BlueZ mock did not come up (Debian package: python3-dbusmock)");
    }

    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.terminate();
        if (!m_process.waitForFinished(3000)) {
            m_process.kill();
            m_process.waitForFinished(3000);
        }
    }

private:
    QProcess m_process;
};

// dbus-monitor on the private bus, limited to what one connection sends.
class Monitor
{
public:
    ~Monitor()
    {
        m_process.kill();
        m_process.waitForFinished(3000);
    }
    QString start(const QString &address, const QString &sender)
    {
        m_sender = sender;
        m_process.start(QStringLiteral("dbus-monitor"),
                        {QStringLiteral("--address"), address, QStringLiteral("--profile"),
                         QStringLiteral("sender='%1'").arg(sender)});
        if (!m_process.waitForStarted(5000))
            return QStringLiteral("dbus-monitor did not start (Debian package: dbus-bin)");
        QTest::qWait(500);
        return {};
    }
    // Messages the connection sent since the last call.
    int take()
    {
        int count = 0;
        for (const QByteArray &line : m_process.readAllStandardOutput().split('\n')) {
            // type, time, serial, sender, ...: the monitor's own greeting
            // comes from the bus and does not count.
            const QList<QByteArray> fields = line.split('\t');
            if (fields.size() > 3 && fields.at(3) == m_sender.toUtf8())
                ++count;
        }
        return count;
    }

private:
    QProcess m_process;
    QString m_sender;
};

} // namespace

// The reader against a BlueZ on the system bus, with the output changes coming
// from a real sound server through the volume service, as in the application.
class tst_AirPodsIntegration : public QObject
{
    Q_OBJECT

    PrivateBus m_busDaemon;
    std::unique_ptr<QDBusConnection> m_bus; // the test's own
    Bluez m_bluez;
    Monitor m_monitor;
    std::unique_ptr<PulseDaemon> m_daemon;
    std::unique_ptr<PulseAudioOutput> m_backend;
    std::unique_ptr<SystemVolume> m_volume;
    std::unique_ptr<BluezLevelReader> m_reader;
    std::unique_ptr<AirPodsBattery> m_battery;
    QList<AirPodsLevels> m_announced;

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

    // One adapter and the connected AirPods, with the product ID in their
    // modalias and the level they report over the audio link.
    void populate()
    {
        call(QStringLiteral("/"), QStringLiteral("org.bluez.Mock"), QStringLiteral("AddAdapter"),
             {QStringLiteral("hci0"), QStringLiteral("tarnwick-test")});
        call(QStringLiteral("/"), QStringLiteral("org.bluez.Mock"), QStringLiteral("AddDevice"),
             {QStringLiteral("hci0"), kAirPodsAddress, kAirPods});
        call(QStringLiteral("/"), QStringLiteral("org.bluez.Mock"), QStringLiteral("ConnectDevice"),
             {QStringLiteral("hci0"), kAirPodsAddress});
        call(kAirPodsPath, kMock, QStringLiteral("UpdateProperties"),
             {QStringLiteral("org.bluez.Device1"),
              QVariantMap {{QStringLiteral("Modalias"), QStringLiteral("bluetooth:v004Cp200Ed0B21")}}});
        call(kAirPodsPath, kMock, QStringLiteral("AddProperties"),
             {QStringLiteral("org.bluez.Battery1"), QVariantMap {{QStringLiteral("Percentage"), uchar(70)}}});
    }

    // Something nearby advertising `message` under Apple's company number.
    void advertise(const QString &address, qint16 rssi, const QByteArray &message)
    {
        call(QStringLiteral("/"), QStringLiteral("org.bluez.Mock"), QStringLiteral("AddDevice"),
             {QStringLiteral("hci0"), address, QString()});
        const QString path = kAdapterPath + QStringLiteral("/dev_") + QString(address).replace(u':', u'_');
        // BlueZ tells of an advertisement by a change of the device's
        // properties; the mock's own UpdateProperties cannot carry a
        // dictionary, so the signal is sent as BlueZ would send it.
        const ManufacturerData data {{AirPodsAdvertisement::kAppleCompanyId, QDBusVariant(message)}};
        const QVariantMap changed {{QStringLiteral("RSSI"), QVariant::fromValue(rssi)},
                                   {QStringLiteral("ManufacturerData"), QVariant::fromValue(data)}};
        call(path, kMock, QStringLiteral("EmitSignal"),
             {QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("PropertiesChanged"),
              QStringLiteral("sa{sv}as"),
              QVariantList {QStringLiteral("org.bluez.Device1"), changed, QStringList()}});
    }

    bool discovering()
    {
        const QDBusMessage reply = call(kAdapterPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                        QStringLiteral("Get"),
                                        {QStringLiteral("org.bluez.Adapter1"), QStringLiteral("Discovering")});
        return !reply.arguments().isEmpty() && reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
    }

    int callsOf(const QString &method)
    {
        const QDBusMessage reply = call(kAdapterPath, kMock, QStringLiteral("GetMethodCalls"), {method});
        if (reply.arguments().isEmpty())
            return -1;
        const auto calls = reply.arguments().constFirst().value<QDBusArgument>();
        int count = 0;
        calls.beginArray();
        while (!calls.atEnd()) {
            calls.beginStructure();
            quint64 time = 0;
            QVariantList args;
            calls >> time >> args;
            calls.endStructure();
            ++count;
        }
        calls.endArray();
        return count;
    }

    void playOn(const QString &sink)
    {
        bool ok = false;
        m_daemon->pactl({QStringLiteral("set-default-sink"), sink}, &ok);
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
        error = m_bluez.start(m_busDaemon.address(), *m_bus);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        populate();

        m_daemon = std::make_unique<PulseDaemon>(QStringList {
            QStringLiteral("load-module module-null-sink sink_name=speakers "
                           "sink_properties='device.description=\"Built-in Speakers\" device.form_factor=internal'"),
            QStringLiteral("load-module module-null-sink sink_name=bluez_sink.00_1B_66_00_00_02.a2dp_sink "
                           "sink_properties='device.description=\"Ada\\'s AirPods Pro\" device.bus=bluetooth'"),
            QStringLiteral("set-default-sink speakers"),
        });
        error = m_daemon->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));

        // The reader has a connection of its own, so that what it sends can
        // be told from what the test sends.
        const QDBusConnection readerBus
            = QDBusConnection::connectToBus(m_busDaemon.address(), QStringLiteral("airpods-reader"));
        QVERIFY(readerBus.isConnected());
        error = m_monitor.start(m_busDaemon.address(), readerBus.baseService());
        QVERIFY2(error.isEmpty(), qPrintable(error));

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
        const int messages = m_monitor.take();
        qInfo("messages sent by the reader in 3 s with the speakers playing: %d", messages);
        QCOMPARE(messages, 0);
        QCOMPARE(callsOf(QStringLiteral("StartDiscovery")), 0);
        QVERIFY(!m_battery->isPolling());
    }

    void readsBudsAndCaseFromAnAdvertisementDuringDiscovery()
    {
        QElapsedTimer read;
        read.start();
        playOn(QStringLiteral("bluez_sink.00_1B_66_00_00_02.a2dp_sink"));
        QTRY_VERIFY_WITH_TIMEOUT(discovering(), 10000);
        const qint64 toDiscovery = read.elapsed();
        QVERIFY(!m_battery->hasLevels());
        // A neighbour's plain AirPods, louder than ours, do not count.
        advertise(QStringLiteral("6E:00:00:00:00:01"), -30,
                  QByteArray::fromHex("071901" "0220" "2b" "33" "03" "0100050000000000000000000000000000000000"));
        advertise(QStringLiteral("5A:00:00:00:00:02"), -48,
                  QByteArray::fromHex("071901" "0e20" "2b" "97" "45" "0100050000000000000000000000000000000000"));
        QTRY_VERIFY_WITH_TIMEOUT(m_battery->hasLevels(), 10000);
        qInfo("one read: %lld ms to discovery, %lld ms to levels", toDiscovery, read.elapsed());

        const AirPodsLevels levels = *m_battery->levels();
        QCOMPARE(levels.name, kAirPods);
        QCOMPARE(levels.model, AirPodsLevels::Model::AirPodsPro);
        QCOMPARE(levels.left, 70);
        QCOMPARE(levels.right, 90);
        QCOMPARE(levels.caseLevel, 50);
        QCOMPARE(m_announced, QList {levels});
        // The discovery was ours, LE only, and it is over.
        QTRY_VERIFY(!discovering());
        QCOMPARE(callsOf(QStringLiteral("StartDiscovery")), 1);
        QCOMPARE(callsOf(QStringLiteral("StopDiscovery")), 1);
        QVERIFY(m_monitor.take() > 0);
    }

    void fallsBackToTheLevelTheHeadsetReports()
    {
        playOn(QStringLiteral("speakers"));
        QTRY_VERIFY(!m_battery->hasLevels());
        playOn(QStringLiteral("bluez_sink.00_1B_66_00_00_02.a2dp_sink"));
        QTRY_VERIFY_WITH_TIMEOUT(discovering(), 10000);
        // Nothing advertises: after the listening window the audio link's
        // report stands in, and the discovery ends with it.
        QTRY_VERIFY_WITH_TIMEOUT(m_battery->hasLevels(), 15000);
        QCOMPARE(m_battery->levels()->main, 70);
        QCOMPARE(m_battery->levels()->left, std::nullopt);
        QTRY_VERIFY(!discovering());
    }

    void findsBlueZAgainAfterItRestarts()
    {
        playOn(QStringLiteral("speakers"));
        QTRY_VERIFY(!m_battery->isPolling());
        m_bluez.stop();
        playOn(QStringLiteral("bluez_sink.00_1B_66_00_00_02.a2dp_sink"));
        QTRY_VERIFY(m_battery->isPolling());
        QTest::qWait(3000); // a read or two without a Bluetooth stack
        QVERIFY(!m_battery->hasLevels());
        const QString error = m_bluez.start(m_busDaemon.address(), *m_bus);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        populate();
        QTRY_VERIFY_WITH_TIMEOUT(m_battery->hasLevels(), 30000);
        QCOMPARE(m_battery->levels()->main, 70);
        QTRY_VERIFY(!discovering());
    }
};

QTEST_GUILESS_MAIN(tst_AirPodsIntegration)
#include "tst_AirPodsIntegration.moc"
