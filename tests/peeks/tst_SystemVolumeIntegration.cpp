#include "PulseDaemon.h"
#include "core/ManualClock.h"
#include "peeks/PulseAudioOutput.h"
#include "peeks/SystemVolume.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>

#include <memory>

using Kind = SystemVolume::Output::Kind;

namespace {

// Sinks that look, to the server's clients, like the outputs people have.
const QStringList sinkScript {
    QStringLiteral("load-module module-null-sink sink_name=speakers "
                   "sink_properties='device.description=\"Built-in Speakers\" device.form_factor=internal'"),
    QStringLiteral("load-module module-null-sink sink_name=monitor "
                   "sink_properties='device.description=\"LG UltraFine\" device.profile.name=hdmi-stereo'"),
    QStringLiteral("load-module module-null-sink sink_name=bluez_sink.00_1B_66_00_00_01.a2dp_sink "
                   "sink_properties='device.description=\"WH-1000XM4\" device.bus=bluetooth device.api=bluez'"),
    QStringLiteral("load-module module-null-sink sink_name=bluez_sink.00_1B_66_00_00_02.a2dp_sink "
                   "sink_properties='device.description=\"AirPods Pro\" device.bus=bluetooth'"),
    QStringLiteral("load-module module-null-sink sink_name=bluez_sink.00_1B_66_00_00_03.a2dp_sink "
                   "sink_properties='device.description=\"AirPods Max\" device.bus=bluetooth'"),
    QStringLiteral("load-module module-null-sink sink_name=raop_output.kitchen.local "
                   "sink_properties='device.description=\"Kitchen\" raop.ip=192.0.2.7'"),
    QStringLiteral("load-module module-null-sink sink_name=nameless sink_properties='device.description=\"\"'"),
    QStringLiteral("set-default-sink speakers"),
};

// The per-channel volumes pactl reports, in the server's raw units.
QList<int> channelVolumes(const QString &pactlOutput)
{
    QList<int> volumes;
    static const QRegularExpression channel(QStringLiteral(R"(front-(?:left|right): (\d+) /)"));
    for (auto it = channel.globalMatch(pactlOutput); it.hasNext();)
        volumes.append(it.next().captured(1).toInt());
    return volumes;
}

} // namespace

class tst_SystemVolumeIntegration : public QObject {
    Q_OBJECT

private:
    QList<int> defaultSinkVolumes() const
    {
        return channelVolumes(m_daemon->pactl({QStringLiteral("get-sink-volume"), QStringLiteral("@DEFAULT_SINK@")}));
    }
    bool defaultSinkMuted() const
    {
        return m_daemon->pactl({QStringLiteral("get-sink-mute"), QStringLiteral("@DEFAULT_SINK@")})
            .contains(QLatin1String("yes"));
    }
    void run(const QStringList &arguments)
    {
        bool ok = false;
        m_daemon->pactl(arguments, &ok);
        QVERIFY2(ok, qPrintable(QStringLiteral("pactl ") + arguments.join(QLatin1Char(' ')) + " failed"));
    }
    // Waits until the service has seen the state the server has now: the
    // server answers requests in order, so once a marker change made after
    // everything else arrives, everything before it has arrived too.
    void settle()
    {
        const bool muted = m_volume->isMuted();
        run({QStringLiteral("set-sink-mute"), QStringLiteral("@DEFAULT_SINK@"), muted ? "0" : "1"});
        QTRY_COMPARE(m_volume->isMuted(), !muted);
        run({QStringLiteral("set-sink-mute"), QStringLiteral("@DEFAULT_SINK@"), muted ? "1" : "0"});
        QTRY_COMPARE(m_volume->isMuted(), muted);
    }

    // Retries wait on this clock, which only the test moves: a reconnection
    // that happens without moving it came from the socket reappearing.
    ManualClock m_clock;
    quint16 m_tcpPort = 0;
    std::unique_ptr<PulseDaemon> m_daemon;
    std::unique_ptr<PulseAudioOutput> m_backend;
    std::unique_ptr<SystemVolume> m_volume;

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        // A loopback TCP listener too: a server reached that way has no
        // socket file to watch, so only the retries bring it back.
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost));
        m_tcpPort = probe.serverPort();
        probe.close();
        m_daemon = std::make_unique<PulseDaemon>(sinkScript
                + QStringList {
                    QStringLiteral("load-module module-native-protocol-tcp auth-anonymous=1 listen=127.0.0.1 port=%1")
                        .arg(m_tcpPort)},
            PulseDaemon::kindFromEnvironment());
        qInfo("sound server: %s", qPrintable(PulseDaemon::nameOf(m_daemon->kind())));
        const QString error = m_daemon->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        m_backend = std::make_unique<PulseAudioOutput>(m_clock, m_daemon->server());
        m_volume = std::make_unique<SystemVolume>(*m_backend);
        m_volume->start();
        QTRY_VERIFY(m_backend->isConnected());
        QTRY_COMPARE(m_volume->outputName(), QStringLiteral("Built-in Speakers"));
        QCOMPARE(m_volume->outputKind(), Kind::BuiltIn);
        QCOMPARE(m_volume->level(), 1.0);
        QVERIFY(m_volume->isAdjustable());
    }

    void cleanupTestCase()
    {
        m_volume.reset();
        m_backend.reset();
        m_daemon.reset();
    }

    void retargetsWhenTheDefaultSinkChanges_data()
    {
        QTest::addColumn<QString>("sink");
        QTest::addColumn<QString>("name");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<QString>("symbol");
        QTest::addColumn<int>("percent");

        QTest::newRow("HDMI monitor") << "monitor"
                                      << "LG UltraFine" << Kind::Display << "tv" << 30;
        QTest::newRow("Bluetooth headphones") << "bluez_sink.00_1B_66_00_00_01.a2dp_sink"
                                              << "WH-1000XM4" << Kind::Headphones << "headphones" << 45;
        QTest::newRow("AirPods Pro") << "bluez_sink.00_1B_66_00_00_02.a2dp_sink"
                                     << "AirPods Pro" << Kind::AirPods << "earbuds" << 60;
        QTest::newRow("AirPods Max") << "bluez_sink.00_1B_66_00_00_03.a2dp_sink"
                                     << "AirPods Max" << Kind::AirPods << "headphones" << 75;
        QTest::newRow("AirPlay") << "raop_output.kitchen.local"
                                 << "Kitchen" << Kind::AirPlay << "airplay" << 20;
        QTest::newRow("no description") << "nameless"
                                        << "Output" << Kind::Other << "speaker" << 10;
        QTest::newRow("back to the speakers") << "speakers"
                                              << "Built-in Speakers" << Kind::BuiltIn << "volume_up" << 55;
    }

    void retargetsWhenTheDefaultSinkChanges()
    {
        QFETCH(QString, sink);
        QFETCH(QString, name);
        QFETCH(Kind, kind);
        QFETCH(QString, symbol);
        QFETCH(int, percent);

        // The new output's own volume, set while it is not the default, must
        // be what the service reads after the switch; setting it must not
        // disturb the output followed now.
        QSignalSpy levelSpy(m_volume.get(), &SystemVolume::levelChanged);
        QSignalSpy outputSpy(m_volume.get(), &SystemVolume::outputChanged);
        run({QStringLiteral("set-sink-volume"), sink, QString::number(percent) + QLatin1Char('%')});
        run({QStringLiteral("set-default-sink"), sink});

        QTRY_COMPARE(m_volume->outputName(), name);
        QCOMPARE(m_volume->outputKind(), kind);
        QCOMPARE(m_volume->outputSymbol(), symbol);
        QTRY_COMPARE(qRound(m_volume->level() * 100), percent);
        settle();
        QCOMPARE(outputSpy.count(), 1);
        QCOMPARE(levelSpy.count(), 1);
    }

    void seesChangesMadeElsewhere()
    {
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("42%")});
        QTRY_COMPARE(qRound(m_volume->level() * 100), 42);
        run({QStringLiteral("set-sink-mute"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("1")});
        QTRY_VERIFY(m_volume->isMuted());
        run({QStringLiteral("set-sink-mute"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("0")});
        QTRY_VERIFY(!m_volume->isMuted());
        // Amplified past 100 % reads as the top of the scale.
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("150%")});
        QTRY_COMPARE(m_volume->level(), 1.0);
    }

    void notificationsThatChangeNothingChangeNothing()
    {
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("32768")});
        QTRY_COMPARE(m_volume->level(), 0.5);
        QSignalSpy levelSpy(m_volume.get(), &SystemVolume::levelChanged);
        QSignalSpy outputSpy(m_volume.get(), &SystemVolume::outputChanged);
        QSignalSpy adjustableSpy(m_volume.get(), &SystemVolume::isAdjustableChanged);

        // 32770 is 0.50003: device rounding, not a change.
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("32770")});
        // Another output's changes are not ours.
        run({QStringLiteral("set-sink-volume"), QStringLiteral("monitor"), QStringLiteral("5%")});
        run({QStringLiteral("set-sink-mute"), QStringLiteral("monitor"), QStringLiteral("1")});
        settle();
        QCOMPARE(m_backend->defaultSink()->volume, 32770.0 / 65536.0);
        QCOMPARE(levelSpy.count(), 0);
        QCOMPARE(outputSpy.count(), 0);
        QCOMPARE(adjustableSpy.count(), 0);
        QCOMPARE(m_volume->level(), 0.5);
    }

    void writesClampAndUnmute_data()
    {
        QTest::addColumn<bool>("mutedBefore");
        QTest::addColumn<double>("requested");
        QTest::addColumn<int>("written");
        QTest::addColumn<bool>("mutedAfter");

        QTest::newRow("above the top writes 1") << false << 1.4 << 65536 << false;
        QTest::newRow("below zero writes 0 and stays muted") << true << -0.2 << 0 << true;
        QTest::newRow("raising while muted unmutes") << true << 0.3 << 19661 << false;
    }

    void writesClampAndUnmute()
    {
        QFETCH(bool, mutedBefore);
        QFETCH(double, requested);
        QFETCH(int, written);
        QFETCH(bool, mutedAfter);

        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("50%")});
        run({QStringLiteral("set-sink-mute"), QStringLiteral("@DEFAULT_SINK@"), mutedBefore ? "1" : "0"});
        QTRY_COMPARE(m_volume->level(), 0.5);
        QTRY_COMPARE(m_volume->isMuted(), mutedBefore);

        m_volume->set(requested);
        QTRY_COMPARE(defaultSinkVolumes(), (QList<int> {written, written}));
        QCOMPARE(defaultSinkMuted(), mutedAfter);
        QCOMPARE(m_volume->isMuted(), mutedAfter);
        QCOMPARE(m_volume->level(), std::clamp(requested, 0.0, 1.0));
    }

    void readsTheAverageAndKeepsTheBalanceThroughZero()
    {
        run({QStringLiteral("set-sink-mute"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("0")});
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("65536"),
            QStringLiteral("32768")});
        // Left at 100 %, right at 50 %.
        QTRY_COMPARE(m_volume->level(), 0.75);
        // Each write keeps right at half of left, with the average asked for;
        // at zero the balance cannot be read from the server, yet survives.
        const QList<QPair<double, QList<int>>> steps {
            {0.5, {43691, 21845}}, {0.0, {0, 0}}, {0.75, {65536, 32768}}};
        for (const auto &[level, channels] : steps) {
            m_volume->set(level);
            QTRY_COMPARE(defaultSinkVolumes(), channels);
            settle();
            QCOMPARE(m_volume->level(), level);
        }
        m_volume->setMuted(true);
        QTRY_VERIFY(defaultSinkMuted());
        m_volume->setMuted(false);
        QTRY_VERIFY(!defaultSinkMuted());
    }

    void aDragNeverJumpsBack()
    {
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("10%")});
        QTRY_COMPARE(m_volume->level(), 6553 / 65536.0);
        QList<double> seen;
        connect(m_volume.get(), &SystemVolume::levelChanged, this, [&] { seen.append(m_volume->level()); });
        // A pointer dragging the control, with the server's echoes of the
        // earlier steps arriving in between.
        for (int step = 2; step <= 40; ++step) {
            m_volume->set(step / 40.0);
            QTest::qWait(2);
        }
        QTRY_COMPARE(defaultSinkVolumes(), (QList<int> {65536, 65536}));
        settle();
        disconnect(m_volume.get(), &SystemVolume::levelChanged, this, nullptr);
        QCOMPARE(seen.size(), 39);
        QVERIFY(std::is_sorted(seen.begin(), seen.end()));
        QCOMPARE(m_volume->level(), 1.0);
    }

    void survivesTheServerRestarting()
    {
        run({QStringLiteral("set-default-sink"), QStringLiteral("bluez_sink.00_1B_66_00_00_03.a2dp_sink")});
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("35%")});
        QTRY_COMPARE(m_volume->outputName(), QStringLiteral("AirPods Max"));
        QTRY_COMPARE(qRound(m_volume->level() * 100), 35);

        QSignalSpy connection(m_backend.get(), &PulseAudioOutput::isConnectedChanged);
        m_daemon->kill();
        QTRY_VERIFY(!m_backend->isConnected());
        // Nothing the user sees flickers while the server is away, and
        // using the control then is harmless.
        QCOMPARE(m_volume->outputName(), QStringLiteral("AirPods Max"));
        m_volume->set(0.6);
        m_volume->setMuted(true);
        m_volume->setMuted(false);
        QCOMPARE(m_volume->level(), 0.6);
        // A long outage: every retry fails, the pauses grow.
        for (int i = 0; i < 8; ++i) {
            m_clock.advance(PulseAudioOutput::longestRetryDelay);
            QTest::qWait(20);
        }
        QVERIFY(!m_backend->isConnected());
        QCOMPARE(connection.count(), 1);

        // The restarted server starts fresh: speakers by default, all at 100 %.
        const QString error = m_daemon->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QTRY_VERIFY(m_backend->isConnected());
        QTRY_COMPARE(m_volume->outputName(), QStringLiteral("Built-in Speakers"));
        QCOMPARE(m_volume->outputKind(), Kind::BuiltIn);
        QTRY_COMPARE(m_volume->level(), 1.0);
        QCOMPARE(connection.count(), 2);
        // Connected, nothing is left waiting to wake us.
        QCOMPARE(m_clock.pendingCount(), 0);

        // And it follows the new server's events as before.
        run({QStringLiteral("set-sink-volume"), QStringLiteral("@DEFAULT_SINK@"), QStringLiteral("25%")});
        QTRY_COMPARE(m_volume->level(), 0.25);
    }

    void retriesServersWithoutASocketFile()
    {
        ManualClock clock;
        PulseAudioOutput remote(clock, QStringLiteral("tcp:127.0.0.1:%1").arg(m_tcpPort));
        remote.start();
        QTRY_VERIFY(remote.isConnected());
        QTRY_VERIFY(remote.defaultSink().has_value());

        m_daemon->kill();
        QTRY_VERIFY(!remote.isConnected());
        const QString error = m_daemon->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        QTest::qWait(300);
        QVERIFY(!remote.isConnected());
        clock.advance(PulseAudioOutput::firstRetryDelay);
        QTRY_VERIFY(remote.isConnected());
        QTRY_COMPARE(remote.defaultSink()->id, QStringLiteral("speakers"));
    }
};

QTEST_GUILESS_MAIN(tst_SystemVolumeIntegration)
#include "tst_SystemVolumeIntegration.moc"
