#include "FakeVolumeBackend.h"
#include "core/QmlModule.h"
#include "peeks/SystemVolume.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <cmath>
#include <memory>

using Kind = SystemVolume::Output::Kind;
using Properties = QHash<QString, QString>;
using Sink = VolumeBackend::Sink;

namespace {

Sink sinkNamed(const QString &id, const QString &description, double volume = 0.5, bool muted = false)
{
    Sink sink;
    sink.id = id;
    sink.description = description;
    sink.hasVolume = true;
    sink.volume = volume;
    sink.muted = muted;
    return sink;
}

// Counts every notification SystemVolume can send.
struct Spies {
    explicit Spies(SystemVolume &volume)
        : level(&volume, &SystemVolume::levelChanged)
        , muted(&volume, &SystemVolume::isMutedChanged)
        , adjustable(&volume, &SystemVolume::isAdjustableChanged)
        , output(&volume, &SystemVolume::outputChanged)
    {
    }
    QList<int> counts() const
    {
        return {int(level.count()), int(muted.count()), int(adjustable.count()), int(output.count())};
    }
    QSignalSpy level, muted, adjustable, output;
};

} // namespace

class tst_SystemVolume : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void classifiesOutputs_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QString>("name");
        QTest::addColumn<Properties>("properties");
        QTest::addColumn<QString>("port");
        QTest::addColumn<VolumeBackend::PortType>("portType");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("symbol");

        const auto unknown = VolumeBackend::PortType::Unknown;
        const Properties bluetooth {{"device.bus", "bluetooth"}};
        const Properties pipewireBluetooth {{"device.api", "bluez5"}};

        QTest::newRow("laptop speakers by form factor")
            << "alsa_output.pci-0000_00_1f.3.analog-stereo"
            << "Built-in Audio Analog Stereo" << Properties {{"device.form_factor", "internal"}} << "" << unknown
            << Kind::BuiltIn << "volume_up";
        QTest::newRow("speaker port type") << "alsa_output.x"
                                           << "Speakers" << Properties {} << "[Out] Speaker"
                                           << VolumeBackend::PortType::Speaker << Kind::BuiltIn << "volume_up";
        QTest::newRow("speaker port name, no type")
            << "alsa_output.x"
            << "Analog Stereo" << Properties {} << "analog-output-speaker" << unknown << Kind::BuiltIn << "volume_up";

        QTest::newRow("AirPods Pro") << "bluez_sink.a"
                                     << "AirPods Pro" << bluetooth << "" << unknown << Kind::AirPods << "earbuds";
        QTest::newRow("AirPods Max") << "bluez_sink.b"
                                     << "Sam's AirPods Max" << bluetooth << "" << unknown << Kind::AirPods
                                     << "headphones";
        QTest::newRow("Max wins over Pro")
            << "bluez_sink.c"
            << "AirPods Max Pro" << bluetooth << "" << unknown << Kind::AirPods << "headphones";
        QTest::newRow("plain AirPods, any case")
            << "bluez_sink.d"
            << "my airpods" << bluetooth << "" << unknown << Kind::AirPods << "earbuds";
        QTest::newRow("AirPods through PipeWire")
            << "bluez_output.e.1"
            << "AirPods" << pipewireBluetooth << "" << unknown << Kind::AirPods << "earbuds";
        QTest::newRow("other Bluetooth headphones")
            << "bluez_output.f.1"
            << "WH-1000XM4" << pipewireBluetooth << "headphone-output" << VolumeBackend::PortType::Headphones
            << Kind::Headphones << "headphones";
        QTest::newRow("Bluetooth before display hints")
            << "bluez_sink.g"
            << "HDMI Buds" << bluetooth << "" << unknown << Kind::Headphones << "headphones";
        QTest::newRow("AirPods named only by the server's id")
            << "bluez_sink.airpods"
            << "Headset" << bluetooth << "" << unknown << Kind::Headphones << "headphones";

        QTest::newRow("HDMI port type") << "alsa_output.hdmi"
                                        << "LG UltraFine" << Properties {} << "[Out] HDMI1"
                                        << VolumeBackend::PortType::Hdmi << Kind::Display << "tv";
        QTest::newRow("HDMI port name") << "alsa_output.y"
                                        << "Monitor" << Properties {} << "hdmi-output-1" << unknown << Kind::Display
                                        << "tv";
        QTest::newRow("HDMI profile") << "alsa_output.z"
                                      << "Monitor" << Properties {{"device.profile.name", "hdmi-stereo"}} << ""
                                      << unknown << Kind::Display << "tv";
        QTest::newRow("DisplayPort in the description")
            << "alsa_output.w"
            << "Dell U2720Q (DisplayPort)" << Properties {} << "" << unknown << Kind::Display << "tv";
        QTest::newRow("display before built-in")
            << "alsa_output.v"
            << "Built-in Audio Digital Stereo (HDMI)" << Properties {{"device.form_factor", "internal"}} << ""
            << unknown << Kind::Display << "tv";

        QTest::newRow("PulseAudio RAOP") << "raop_output.kitchen.local"
                                         << "Kitchen" << Properties {} << "" << unknown << Kind::AirPlay << "airplay";
        QTest::newRow("PipeWire RAOP") << "raop_sink.Kitchen.local.192.0.2.7.7000"
                                       << "Kitchen" << Properties {{"raop.ip", "192.0.2.7"}} << "" << unknown
                                       << Kind::AirPlay << "airplay";

        QTest::newRow("USB DAC") << "alsa_output.usb-FiiO"
                                 << "FiiO K5" << Properties {{"device.bus", "usb"}} << "analog-output"
                                 << VolumeBackend::PortType::Other << Kind::Other << "speaker";
        QTest::newRow("nothing known") << "null"
                                       << "Output" << Properties {} << "" << unknown << Kind::Other << "speaker";
    }

    void classifiesOutputs()
    {
        QFETCH(QString, id);
        QFETCH(QString, name);
        QFETCH(Properties, properties);
        QFETCH(QString, port);
        QFETCH(VolumeBackend::PortType, portType);
        QFETCH(Kind, kind);
        QFETCH(QString, symbol);

        Sink sink = sinkNamed(id, name);
        sink.properties = properties;
        sink.portName = port;
        sink.portType = portType;
        const SystemVolume::Output output {name, SystemVolume::Output::kindOf(sink, name)};
        QCOMPARE(output.kind, kind);
        QCOMPARE(output.symbol(), symbol);
    }

    void followsTheDefaultOutputAndPublishesOnlyChanges()
    {
        FakeVolumeBackend backend;
        SystemVolume volume(backend);
        Spies spies(volume);
        QVERIFY(!volume.hasOutput());

        Sink speakers = sinkNamed("speakers", "Built-in Speakers", 0.5);
        speakers.properties = {{"device.form_factor", "internal"}};
        backend.sink = speakers;
        volume.start();
        volume.start();
        QCOMPARE(backend.starts, 1);
        QCOMPARE(volume.outputName(), QStringLiteral("Built-in Speakers"));
        QCOMPARE(volume.outputKind(), Kind::BuiltIn);
        QCOMPARE(volume.level(), 0.5);
        QVERIFY(volume.isAdjustable());
        QCOMPARE(spies.counts(), (QList<int> {1, 0, 1, 1}));

        // The server reports the same values again, and then its own rounding.
        backend.report(speakers);
        speakers.volume = 0.50003;
        backend.report(speakers);
        QCOMPARE(spies.counts(), (QList<int> {1, 0, 1, 1}));
        QCOMPARE(volume.level(), 0.5);
        speakers.volume = 0.5002;
        backend.report(speakers);
        QCOMPARE(volume.level(), 0.5002);
        QCOMPARE(spies.counts(), (QList<int> {2, 0, 1, 1}));

        // Amplified past 100 %: the control's scale ends at 1.
        speakers.volume = 1.53;
        backend.report(speakers);
        QCOMPARE(volume.level(), 1.0);

        Sink airPods = sinkNamed("bluez_sink.1", "AirPods Pro", 0.25, true);
        airPods.properties = {{"device.bus", "bluetooth"}};
        backend.report(airPods);
        QCOMPARE(volume.outputKind(), Kind::AirPods);
        QCOMPARE(volume.outputSymbol(), QStringLiteral("earbuds"));
        QCOMPARE(volume.level(), 0.25);
        QVERIFY(volume.isMuted());
        QCOMPARE(spies.counts(), (QList<int> {4, 1, 1, 2}));

        // A server that went away leaves everything as it was.
        backend.report(std::nullopt);
        QCOMPARE(spies.counts(), (QList<int> {4, 1, 1, 2}));
        QCOMPARE(volume.outputName(), QStringLiteral("AirPods Pro"));

        // No name, and no volume the server lets us set.
        Sink digital = sinkNamed("alsa_output.iec958", "  ", 0.8);
        digital.hasVolume = false;
        backend.report(digital);
        QCOMPARE(volume.outputName(), QStringLiteral("Output"));
        QCOMPARE(volume.outputKind(), Kind::Other);
        QVERIFY(!volume.isAdjustable());
        QCOMPARE(volume.level(), 0.0);
        QCOMPARE(volume.isMuted(), false);
    }

    void writesClampAndUnmute_data()
    {
        QTest::addColumn<bool>("mutedBefore");
        QTest::addColumn<double>("requested");
        QTest::addColumn<double>("written");
        QTest::addColumn<bool>("unmutes");

        QTest::newRow("above the top") << false << 1.4 << 1.0 << false;
        QTest::newRow("below zero while muted stays muted") << true << -0.2 << 0.0 << false;
        QTest::newRow("zero while muted stays muted") << true << 0.0 << 0.0 << false;
        QTest::newRow("raising while muted unmutes") << true << 0.3 << 0.3 << true;
        QTest::newRow("not a number") << false << std::nan("") << 0.0 << false;
    }

    void writesClampAndUnmute()
    {
        QFETCH(bool, mutedBefore);
        QFETCH(double, requested);
        QFETCH(double, written);
        QFETCH(bool, unmutes);

        FakeVolumeBackend backend;
        backend.sink = sinkNamed("speakers", "Speakers", 0.6, mutedBefore);
        SystemVolume volume(backend);
        volume.start();
        Spies spies(volume);

        volume.set(requested);
        QCOMPARE(backend.volumeWrites, (QList<QPair<QString, double>> {{"speakers", written}}));
        QCOMPARE(volume.level(), written);
        QCOMPARE(spies.level.count(), 1);
        QCOMPARE(backend.muteWrites,
            unmutes ? (QList<QPair<QString, bool>> {{"speakers", false}}) : (QList<QPair<QString, bool>> {}));
        QCOMPARE(volume.isMuted(), mutedBefore && !unmutes);
        QCOMPARE(spies.muted.count(), unmutes ? 1 : 0);

        // The server's echo of our own write changes nothing more.
        backend.report(sinkNamed("speakers", "Speakers", written + 0.00003, mutedBefore && !unmutes));
        QCOMPARE(spies.counts(), (QList<int> {1, unmutes ? 1 : 0, 0, 0}));
    }

    void writesNothingBeforeTheFirstRead()
    {
        FakeVolumeBackend backend;
        SystemVolume volume(backend);
        volume.start();
        volume.set(0.7);
        volume.setMuted(true);
        QVERIFY(backend.volumeWrites.isEmpty());
        QVERIFY(backend.muteWrites.isEmpty());
        QCOMPARE(volume.level(), 0.7);
        QVERIFY(volume.isMuted());
    }

    void reachesQmlAsTheOneInstance()
    {
        FakeVolumeBackend backend;
        Sink display = sinkNamed("hdmi", "LG UltraFine", 0.42);
        display.portType = VolumeBackend::PortType::Hdmi;
        backend.sink = display;
        SystemVolume volume(backend);
        volume.start();
        SystemVolume::setInstance(&volume);

        QQmlEngine engine;
        QmlModule::prepare(engine);
        QQmlComponent component(&engine);
        component.setData("import QtQml\nimport Tarnwick\nQtObject {\n"
                          "  property real level: SystemVolume.level\n"
                          "  property string symbol: SystemVolume.outputSymbol\n"
                          "  property bool display: SystemVolume.outputKind === SystemVolume.OutputKind.Display\n"
                          "  function turnUp() { SystemVolume.set(0.9) }\n}",
            QUrl());
        std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        QCOMPARE(object->property("level").toDouble(), 0.42);
        QCOMPARE(object->property("symbol").toString(), QStringLiteral("tv"));
        QCOMPARE(object->property("display").toBool(), true);
        QMetaObject::invokeMethod(object.get(), "turnUp");
        QCOMPARE(object->property("level").toDouble(), 0.9);
        SystemVolume::setInstance(nullptr);
    }
};

QTEST_GUILESS_MAIN(tst_SystemVolume)
#include "tst_SystemVolume.moc"
