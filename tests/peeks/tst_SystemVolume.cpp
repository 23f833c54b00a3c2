#include "FakeVolumeBackend.h"
#include "peeks/SystemVolume.h"
#include "peeks/VolumeText.h"

#include <QSignalSpy>
#include <QTest>

#include <cmath>

using Kind = SystemVolume::Output::Kind;
using Properties = QHash<QString, QString>;
using Sink = VolumeBackend::Sink;
Q_DECLARE_METATYPE(Sink)
Q_DECLARE_METATYPE(QList<Sink>)

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

// What the service publishes, in one line.
QString describe(const SystemVolume &volume)
{
    return QStringLiteral("%1|%2|%3|%4|%5")
        .arg(volume.outputName(), volume.outputSymbol())
        .arg(volume.level())
        .arg(volume.isMuted() ? "muted" : "on", volume.isAdjustable() ? "adjustable" : "fixed");
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
    void classifiesOutputs_data()
    {
        QTest::addColumn<Sink>("sink");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("symbol");
        using Port = VolumeBackend::PortType;
        auto row = [](const char *tag, const QString &id, const QString &name, const Properties &properties,
                       const QString &port, Port portType, Kind kind, const char *symbol) {
            Sink sink = sinkNamed(id, name);
            sink.properties = properties;
            sink.portName = port;
            sink.portType = portType;
            QTest::newRow(tag) << sink << kind << QString::fromLatin1(symbol);
        };
        const Properties bluetooth {{"device.bus", "bluetooth"}};
        const Properties internal {{"device.form_factor", "internal"}};
        const Port none = Port::Unknown;
        row("form factor internal", "alsa_output.pci", "Built-in", internal, "", none, Kind::BuiltIn, "volume_up");
        row("speaker port type", "alsa_output.a", "Speakers", {}, "[Out] Speaker", Port::Speaker, Kind::BuiltIn,
            "volume_up");
        row("speaker port name", "alsa_output.b", "Analog", {}, "analog-output-speaker", none, Kind::BuiltIn,
            "volume_up");
        row("AirPods Pro", "bluez_sink.a", "AirPods Pro", bluetooth, "", none, Kind::AirPods, "earbuds");
        row("AirPods Max", "bluez_sink.b", "Sam's AirPods Max", bluetooth, "", none, Kind::AirPods, "headphones");
        row("Max before Pro", "bluez_sink.c", "AirPods Max Pro", bluetooth, "", none, Kind::AirPods, "headphones");
        row("any case", "bluez_sink.d", "my airpods", bluetooth, "", none, Kind::AirPods, "earbuds");
        row("PipeWire Bluetooth", "bluez_output.e.1", "WH-1000XM4", {{"device.api", "bluez5"}}, "headphone-output",
            Port::Headphones, Kind::Headphones, "headphones");
        row("Bluetooth before display", "bluez_sink.f", "HDMI Buds", bluetooth, "", none, Kind::Headphones,
            "headphones");
        row("the id is not the name", "bluez_sink.airpods", "Headset", bluetooth, "", none, Kind::Headphones,
            "headphones");
        row("HDMI port type", "alsa_output.c", "LG UltraFine", {}, "[Out] HDMI1", Port::Hdmi, Kind::Display, "tv");
        row("HDMI port name", "alsa_output.d", "Monitor", {}, "hdmi-output-1", none, Kind::Display, "tv");
        row("HDMI profile", "alsa_output.e", "Monitor", {{"device.profile.name", "hdmi-stereo"}}, "", none,
            Kind::Display, "tv");
        row("DisplayPort description", "alsa_output.f", "Dell (DisplayPort)", {}, "", none, Kind::Display, "tv");
        row("display before built-in", "alsa_output.g", "Digital Stereo (HDMI)", internal, "", none, Kind::Display,
            "tv");
        row("PulseAudio RAOP", "raop_output.kitchen.local", "Kitchen", {}, "", none, Kind::AirPlay, "airplay");
        row("PipeWire RAOP", "raop_sink.Kitchen.7000", "Kitchen", {{"raop.ip", "192.0.2.7"}}, "", none, Kind::AirPlay,
            "airplay");
        row("USB DAC", "alsa_output.usb", "FiiO K5", {{"device.bus", "usb"}}, "analog-output", Port::Other, Kind::Other,
            "speaker");
    }
    void classifiesOutputs()
    {
        QFETCH(Sink, sink);
        QFETCH(Kind, kind);
        QFETCH(QString, symbol);
        const SystemVolume::Output output {sink.description, SystemVolume::Output::kindOf(sink, sink.description)};
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
        QCOMPARE(describe(volume), QStringLiteral("Built-in Speakers|volume_up|0.5|on|adjustable"));
        QCOMPARE(spies.counts(), (QList<int> {1, 0, 1, 1}));

        Sink rounded = speakers, moved = speakers, amplified = speakers;
        rounded.volume = 0.50003; // the server's own rounding, not a change
        moved.volume = 0.5002;
        amplified.volume = 1.53; // past 100 %: the control's scale ends at 1
        Sink airPods = sinkNamed("bluez_sink.1", "AirPods Pro", 0.25, true);
        airPods.properties = {{"device.bus", "bluetooth"}};
        Sink digital = sinkNamed("alsa_output.iec958", "  ", 0.8); // no name, no volume we may set
        digital.hasVolume = false;
        const QList<std::tuple<std::optional<Sink>, const char *, QList<int>>> reports {
            {speakers, "Built-in Speakers|volume_up|0.5|on|adjustable", {1, 0, 1, 1}},
            {rounded, "Built-in Speakers|volume_up|0.5|on|adjustable", {1, 0, 1, 1}},
            {moved, "Built-in Speakers|volume_up|0.5002|on|adjustable", {2, 0, 1, 1}},
            {amplified, "Built-in Speakers|volume_up|1|on|adjustable", {3, 0, 1, 1}},
            {airPods, "AirPods Pro|earbuds|0.25|muted|adjustable", {4, 1, 1, 2}},
            // A server that went away leaves everything as it was.
            {std::nullopt, "AirPods Pro|earbuds|0.25|muted|adjustable", {4, 1, 1, 2}},
            {digital, "Output|speaker|0|on|fixed", {5, 2, 2, 3}},
        };
        for (const auto &[sink, shown, counts] : reports) {
            backend.report(sink);
            QCOMPARE(describe(volume), QString::fromUtf8(shown));
            QCOMPARE(spies.counts(), counts);
        }
    }

    // The band's texts for the states the app really passes through.
    void theBandSaysWhatItCan_data()
    {
        QTest::addColumn<bool>("connected");
        QTest::addColumn<QList<Sink>>("reports");
        QTest::addColumn<QStringList>("shown"); // readout, symbol, spoken, tooltip
        const auto speakers = [](double level, bool muted = false) {
            Sink sink = sinkNamed("speakers", "Speakers", level, muted);
            sink.portType = VolumeBackend::PortType::Speaker;
            return QList<Sink> {sink};
        };
        Sink display = sinkNamed("hdmi", "LG UltraFine", 1.0);
        display.portType = VolumeBackend::PortType::Hdmi;
        display.hasVolume = false;
        const QString unreachable = SystemVolume::unreachableText();
        QTest::newRow("no sound server") << false << QList<Sink> {}
                                         << QStringList {"–", "volume_mute", unreachable, unreachable};
        QTest::newRow("server without an output")
            << true << QList<Sink> {} << QStringList {"0", "volume_up", "0 percent", "Volume: 0%"};
        QTest::newRow("half, just over")
            << true << speakers(0.504) << QStringList {"50", "volume_up", "50 percent", "Speakers: 50%"};
        QTest::newRow("rounds up")
            << true << speakers(0.505) << QStringList {"51", "volume_up", "51 percent", "Speakers: 51%"};
        QTest::newRow("full") << true << speakers(1) << QStringList {"100", "volume_up", "100 percent", "Speakers: 100%"};
        QTest::newRow("muted hides the level")
            << true << speakers(0.7, true) << QStringList {"Muted", "volume_off", "muted", "Speakers: muted"};
        QTest::newRow("fixed display")
            << true << QList<Sink> {display}
            << QStringList {"0", "tv", "0 percent", "LG UltraFine doesn't have a volume Tarnwick can change"};
        // A server that restarts keeps what was shown rather than flashing.
        QTest::newRow("server gone after an output")
            << false << speakers(0.504) << QStringList {"50", "volume_up", "50 percent", "Speakers: 50%"};
    }
    void theBandSaysWhatItCan()
    {
        QFETCH(bool, connected);
        QFETCH(QList<Sink>, reports);
        QFETCH(QStringList, shown);
        FakeVolumeBackend backend;
        SystemVolume volume(backend);
        volume.start();
        QSignalSpy texts(&volume, &SystemVolume::textsChanged);
        for (const Sink &sink : reports)
            backend.report(sink);
        backend.connected = connected;
        backend.report(std::nullopt);
        QCOMPARE(volume.isAvailable(), connected || !reports.isEmpty());
        QCOMPARE((QStringList {volume.readout(), volume.readoutSymbol(), volume.accessibilityValue(), volume.help()}),
                 shown);
        QCOMPARE(texts.isEmpty(), reports.isEmpty() && connected);
    }

    void dragMapsTheTrack()
    {
        // The track is 86 points wide and starts 1 point in.
        const QList<QPair<double, double>> drags {{0, 0}, {1, 0}, {44, 0.5}, {87, 1}, {120, 1}};
        for (const auto &[x, level] : drags)
            QCOMPARE(VolumeText::levelForDrag(x), level);
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
        QCOMPARE(backend.muteWrites,
            unmutes ? (QList<QPair<QString, bool>> {{"speakers", false}}) : (QList<QPair<QString, bool>> {}));
        QCOMPARE(volume.level(), written);
        QCOMPARE(volume.isMuted(), mutedBefore && !unmutes);
        QCOMPARE(spies.counts(), (QList<int> {1, unmutes ? 1 : 0, 0, 0}));
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
        QVERIFY(backend.volumeWrites.isEmpty() && backend.muteWrites.isEmpty());
        QCOMPARE(volume.level(), 0.7);
        QVERIFY(volume.isMuted());
    }
};

QTEST_GUILESS_MAIN(tst_SystemVolume)
#include "tst_SystemVolume.moc"