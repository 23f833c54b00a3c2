#include "FakeLevelReader.h"
#include "FakeVolumeBackend.h"
#include "core/ManualClock.h"
#include "peeks/AirPodsAdvertisement.h"
#include "peeks/AirPodsBattery.h"

#include <QSignalSpy>
#include <QTest>

using Model = AirPodsLevels::Model;
using Level = std::optional<int>;
constexpr Level none = std::nullopt;

namespace {

AirPodsLevels budLevels(Level left, Level right, Level caseLevel = none)
{
    return {QStringLiteral("Ada's AirPods Pro"), Model::AirPodsPro, left, right, caseLevel, none};
}

const SystemVolume::Output kAirPods {QStringLiteral("Ada's AirPods Pro"), SystemVolume::OutputKind::AirPods};
const SystemVolume::Output kSpeakers {QStringLiteral("Speakers"), SystemVolume::OutputKind::BuiltIn};

} // namespace

class tst_AirPodsBattery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodesTheProximityAdvertisement_data()
    {
        QTest::addColumn<QByteArray>("hex");
        QTest::addColumn<QString>("decoded"); // product, left, right, case, charging (1 left, 2 right, 4 case)
        // type, length, prefix, product (low byte first), status, buds,
        // charging|case, then the encrypted tail a real message carries.
        const QByteArray tail = "0100050000000000000000000000000000000000";
        QTest::newRow("both buds, left in the low bits") << "071901" "0e20" "2b" "97" "0f" + tail << "200e 70 90 - 0";
        QTest::newRow("sides swapped") << "071901" "0e20" "0b" "97" "0f" + tail << "200e 90 70 - 0";
        QTest::newRow("right bud in the case, charging") << "071901" "0e20" "2b" "a6" "28" + tail << "200e 60 100 80 2";
        QTest::newRow("one bud out of reach") << "071901" "0e20" "2b" "f5" "1f" + tail << "200e 50 - - 1";
        QTest::newRow("values above ten are unknown") << "071901" "0e20" "2b" "cb" "0e" + tail << "200e - - - 0";
        QTest::newRow("case charging keeps its level") << "071901" "0e20" "2b" "88" "43" + tail << "200e 80 80 30 4";
        QTest::newRow("charging follows the swap") << "071901" "0e20" "0b" "55" "15" + tail << "200e 50 50 50 2";
        QTest::newRow("shortest message that holds the levels") << QByteArray("070601" "0e20" "2b" "55" "05")
                                                                << "200e 50 50 50 0";
        QTest::newRow("empty") << QByteArray() << "none";
        QTest::newRow("nearby info, type 0x10") << QByteArray("100519" "1e0a0b0c0d") << "none";
        QTest::newRow("cut short") << QByteArray("071901" "0e20" "2b" "97") << "none";
        QTest::newRow("declared too short") << QByteArray("070201" "0e20" "2b" "97" "0f") << "none";
    }
    void decodesTheProximityAdvertisement()
    {
        QFETCH(QByteArray, hex);
        QFETCH(QString, decoded);
        const auto ad = AirPodsAdvertisement::decode(QByteArray::fromHex(hex));
        const auto text = [](Level level) { return level ? QString::number(*level) : QStringLiteral("-"); };
        QCOMPARE(ad ? QStringLiteral("%1 %2 %3 %4 %5")
                          .arg(QString::number(ad->productId, 16), text(ad->left), text(ad->right), text(ad->caseLevel))
                          .arg(int(ad->leftCharging) | int(ad->rightCharging) << 1 | int(ad->caseCharging) << 2)
                    : QStringLiteral("none"),
                 decoded);
    }

    void overEarSetsHaveOneBattery()
    {
        const auto max = AirPodsAdvertisement::decode(QByteArray::fromHex("071901" "0a20" "2b" "f7" "0f"));
        QVERIFY(max.has_value());
        QCOMPARE(max->levels(QStringLiteral("AirPods Max"), Model::AirPodsMax, 40),
                 (AirPodsLevels {QStringLiteral("AirPods Max"), Model::AirPodsMax, none, none, none, 70}));
        // Buds that say nothing leave the headset's own report as the level.
        const auto silent = AirPodsAdvertisement::decode(QByteArray::fromHex("071901" "0e20" "2b" "ff" "05"));
        QVERIFY(silent.has_value());
        const AirPodsLevels pro = silent->levels(QStringLiteral("AirPods Pro"), Model::AirPodsPro, 40);
        QCOMPARE(pro, (AirPodsLevels {QStringLiteral("AirPods Pro"), Model::AirPodsPro, none, none, 50, 40}));
        QCOMPARE(pro.lowest(), Level(40)); // the headset's report counts, the case does not
    }

    void namesTheModel_data()
    {
        QTest::addColumn<QString>("source"); // a modalias, or a product ID as written
        QTest::addColumn<QString>("name");
        QTest::addColumn<Model>("model");
        QTest::newRow("Pro, upper case") << "bluetooth:v004Cp200Ed0B21" << "Headset" << Model::AirPodsPro;
        QTest::newRow("Pro 2 over USB-C case") << "bluetooth:v004Cp2024d0100" << "Kitchen" << Model::AirPodsPro;
        QTest::newRow("Max") << "bluetooth:v004Cp201Fd0001" << "Headset" << Model::AirPodsMax;
        QTest::newRow("unknown ID, Max by name") << "bluetooth:v004Cp2013d0001" << "Ada's AirPods Max"
                                                 << Model::AirPodsMax;
        QTest::newRow("no ID, Pro by name") << "" << "AirPods PRO" << Model::AirPodsPro;
        QTest::newRow("Max wins over Pro in a name") << "" << "AirPods Max Pro" << Model::AirPodsMax;
        QTest::newRow("another maker's product 200e") << "bluetooth:v000Fp200Ed0001" << "Buds" << Model::AirPods;
        QTest::newRow("Pro ID in upper case") << "0x200E" << "Headset" << Model::AirPodsPro;
        QTest::newRow("plain") << "bluetooth:v004Cp2002d0001" << "AirPods" << Model::AirPods;
    }
    void namesTheModel()
    {
        QFETCH(QString, source);
        QFETCH(QString, name);
        QFETCH(Model, model);
        const QString id = source.startsWith(QLatin1String("0x")) ? source : AirPodsBattery::productId(source);
        QCOMPARE(AirPodsBattery::modelFor(id, name), model);
    }

    void alertsOncePerThresholdAndDischarge_data()
    {
        // The lowest level of each reading after launch (on alternate buds);
        // "!" marks a reading that makes a peek.
        QTest::addColumn<QString>("readings");
        QTest::newRow("20 then 10, once each") << "19! 15 9! 5";
        QTest::newRow("straight to 9 alerts at 10 only") << "9! 8";
        QTest::newRow("wavering at 20 alerts once") << "20! 21 20 24 20";
        QTest::newRow("charging re-arms") << "20! 60 20! 10! 30 10!";
        QTest::newRow("charged from 9 to 20 keeps 20 quiet") << "9! 20 20 10!";
    }
    void alertsOncePerThresholdAndDischarge()
    {
        QFETCH(QString, readings);
        ManualClock clock;
        FakeLevelReader reader;
        AirPodsBattery battery(clock, reader);
        int announced = 0;
        battery.onAnnounce = [&announced](const AirPodsLevels &) { ++announced; };
        QStringList seen;
        for (const QString &reading : readings.split(u' ')) {
            const int level = QString(reading).remove(u'!').toInt();
            const bool left = seen.size() % 2 == 0;
            reader.next = budLevels(left ? level : 100, left ? 100 : level, 5); // the case never alerts
            if (seen.isEmpty())
                battery.outputChanged(kAirPods, false);
            else
                clock.advance(AirPodsBattery::kReadAgain);
            seen << QString::number(level) + (std::exchange(announced, 0) ? QStringLiteral("!") : QString());
        }
        QCOMPARE(seen.join(u' '), readings);
    }

    // Through the volume service, as at start-up: the first output the sound
    // server reports is the one found at launch, and is not news.
    void announcesOnlyConnectionsAfterLaunch()
    {
        ManualClock clock;
        FakeLevelReader reader;
        FakeVolumeBackend sound;
        SystemVolume volume(sound);
        AirPodsBattery battery(clock, reader);
        QList<AirPodsLevels> announced;
        battery.onAnnounce = [&announced](const AirPodsLevels &levels) { announced << levels; };
        battery.follow(volume);
        reader.next = budLevels(80, 90, 100);
        const auto playOn = [&sound](const QString &name, const QString &bus) {
            VolumeBackend::Sink sink;
            sink.id = sink.description = name;
            sink.properties.insert(QStringLiteral("device.bus"), bus);
            sound.report(sink);
        };
        volume.start();
        playOn(kAirPods.name, QStringLiteral("bluetooth"));
        QCOMPARE(battery.levels(), reader.next);
        QVERIFY(announced.isEmpty());
        playOn(QStringLiteral("Speakers"), QStringLiteral("pci"));
        playOn(kAirPods.name, QStringLiteral("bluetooth"));
        QCOMPARE(announced, QList {*reader.next});
        clock.advance(AirPodsBattery::kReadAgain); // later readings are not connections
        QCOMPARE(announced.size(), 1);
    }

    void pollsQuicklyThenSlowlyThenOnceAMinute()
    {
        ManualClock clock;
        FakeLevelReader reader;
        AirPodsBattery battery(clock, reader);
        QSignalSpy changed(&battery, &AirPodsBattery::levelsChanged);
        battery.outputChanged(kAirPods, true);
        QCOMPARE(reader.reads, QStringList {kAirPods.name});
        // Times after the connection at which the reader is asked.
        QList<double> times;
        for (double t = 0; t < 60; t += 0.5) {
            const auto before = reader.reads.size();
            clock.advance(0.5);
            if (reader.reads.size() > before)
                times << t + 0.5;
        }
        QCOMPARE(times, (QList<double> {2, 4, 6, 8, 10, 25, 40, 55}));
        reader.next = budLevels(50, 60);
        clock.advance(10);
        QCOMPARE(changed.count(), 1);
        const auto reads = reader.reads.size();
        clock.advance(59);
        QCOMPARE(reader.reads.size(), reads);
        clock.advance(1);
        QCOMPARE(reader.reads.size(), reads + 1);
        QCOMPARE(clock.pendingCount(), 1); // one poller
    }

    void switchingAwayStopsPollingAndForgetsTheLevels()
    {
        ManualClock clock;
        FakeLevelReader reader;
        AirPodsBattery battery(clock, reader);
        reader.next = budLevels(50, 60);
        battery.outputChanged(kAirPods, false);
        QVERIFY(battery.hasLevels());
        QSignalSpy changed(&battery, &AirPodsBattery::levelsChanged);
        battery.outputChanged(kSpeakers, true);
        QCOMPARE(changed.count(), 1);
        QVERIFY(!battery.hasLevels());
        QVERIFY(!battery.isPolling());
        QCOMPARE(reader.cancels, 1);
        QCOMPARE(clock.pendingCount(), 0);
        clock.advance(3600);
        QCOMPARE(reader.reads.size(), 1);
        // No output at all, and another kind of headphones, do not poll either.
        battery.outputChanged(std::nullopt, true);
        battery.outputChanged(SystemVolume::Output {QStringLiteral("Jabra"), SystemVolume::OutputKind::Headphones}, true);
        QCOMPARE(reader.reads.size(), 1);
        QCOMPARE(clock.pendingCount(), 0);
    }

    // A read still out when the output changes must not fill in the levels
    // of a set that is gone.
    void aLateAnswerForAnOldOutputIsDropped()
    {
        ManualClock clock;
        FakeLevelReader reader;
        reader.holds = true;
        AirPodsBattery battery(clock, reader);
        battery.outputChanged(kAirPods, true);
        battery.outputChanged(kSpeakers, true);
        reader.held(budLevels(50, 60));
        QVERIFY(!battery.hasLevels());
        QCOMPARE(clock.pendingCount(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_AirPodsBattery)
#include "tst_AirPodsBattery.moc"
