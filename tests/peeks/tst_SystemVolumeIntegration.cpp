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

QString nullSink(const QString &name, const QString &properties)
{
    return QStringLiteral("load-module module-null-sink sink_name=%1 sink_properties='%2'").arg(name, properties);
}

const QString kAirPodsSink = QStringLiteral("bluez_sink.00_1B_66_00_00_02.a2dp_sink");

} // namespace

// The volume service over a real sound server: what reaches it of the sinks'
// properties, volumes and events, and what it writes back. The rules it
// applies to them are tested in tst_SystemVolume.
class tst_SystemVolumeIntegration : public QObject {
    Q_OBJECT

    void run(const QString &line)
    {
        bool ok = false;
        m_daemon->pactl(line, &ok);
        QVERIFY2(ok, qPrintable(QStringLiteral("pactl %1 failed").arg(line)));
    }
    // The default sink's channels in the server's raw units, and its mute.
    QList<int> defaultSinkVolumes() const
    {
        QList<int> volumes;
        static const QRegularExpression channel(QStringLiteral(R"(front-(?:left|right): (\d+) /)"));
        const QString text = m_daemon->pactl(QStringLiteral("get-sink-volume @DEFAULT_SINK@"));
        for (auto it = channel.globalMatch(text); it.hasNext();)
            volumes.append(it.next().captured(1).toInt());
        return volumes;
    }
    bool defaultSinkMuted() const
    {
        return m_daemon->pactl(QStringLiteral("get-sink-mute @DEFAULT_SINK@")).contains(QLatin1String("yes"));
    }
    // Waits until the service has seen the state the server has now: the
    // server answers requests in order, so once a marker change made after
    // everything else arrives, everything before it has arrived too.
    void settle()
    {
        const bool muted = m_volume->isMuted();
        run(QStringLiteral("set-sink-mute @DEFAULT_SINK@ ") + (muted ? "0" : "1"));
        QTRY_COMPARE(m_volume->isMuted(), !muted);
        run(QStringLiteral("set-sink-mute @DEFAULT_SINK@ ") + (muted ? "1" : "0"));
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
        m_daemon = std::make_unique<PulseDaemon>(
            QStringList {
                nullSink("speakers", R"(device.description="Built-in Speakers" device.form_factor=internal)"),
                nullSink("monitor", R"(device.description="LG UltraFine" device.profile.name=hdmi-stereo)"),
                nullSink(kAirPodsSink, R"(device.description="AirPods Pro" device.bus=bluetooth)"),
                nullSink("nameless", R"(device.description="")"),
                QStringLiteral("set-default-sink speakers"),
                QStringLiteral("load-module module-native-protocol-tcp auth-anonymous=1 listen=127.0.0.1 port=%1")
                    .arg(m_tcpPort)},
            PulseDaemon::kindFromEnvironment());
        qInfo("sound server: %s", qPrintable(m_daemon->name()));
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

    // One row per property the kind is read from, as the server passes it on.
    void retargetsWhenTheDefaultSinkChanges_data()
    {
        QTest::addColumn<QString>("sink");
        QTest::addColumn<QString>("name");
        QTest::addColumn<Kind>("kind");
        QTest::addColumn<int>("percent");
        QTest::newRow("HDMI profile") << "monitor" << "LG UltraFine" << Kind::Display << 30;
        QTest::newRow("Bluetooth bus") << kAirPodsSink << "AirPods Pro" << Kind::AirPods << 60;
        QTest::newRow("no description") << "nameless" << "Output" << Kind::Other << 10;
        QTest::newRow("internal form factor") << "speakers" << "Built-in Speakers" << Kind::BuiltIn << 55;
    }
    void retargetsWhenTheDefaultSinkChanges()
    {
        QFETCH(QString, sink);
        QFETCH(QString, name);
        QFETCH(Kind, kind);
        QFETCH(int, percent);
        // The new output's own volume, set while it is not the default, must
        // be what the service reads after the switch; setting it must not
        // disturb the output followed now.
        QSignalSpy levelSpy(m_volume.get(), &SystemVolume::levelChanged);
        QSignalSpy outputSpy(m_volume.get(), &SystemVolume::outputChanged);
        run(QStringLiteral("set-sink-volume %1 %2%").arg(sink).arg(percent));
        run(QStringLiteral("set-default-sink ") + sink);
        QTRY_COMPARE(m_volume->outputName(), name);
        QCOMPARE(m_volume->outputKind(), kind);
        QTRY_COMPARE(qRound(m_volume->level() * 100), percent);
        settle();
        QCOMPARE(outputSpy.count(), 1);
        QCOMPARE(levelSpy.count(), 1);
    }

    void readsTheAverageAndKeepsTheBalanceThroughZero()
    {
        run(QStringLiteral("set-sink-mute @DEFAULT_SINK@ 0"));
        run(QStringLiteral("set-sink-volume @DEFAULT_SINK@ 65536 32768"));
        // Left at 100 %, right at 50 %.
        QTRY_COMPARE(m_volume->level(), 0.75);
        // Each write keeps right at half of left, with the average asked for;
        // at zero the balance cannot be read from the server, yet survives.
        const QList<QPair<double, QList<int>>> steps {{0.5, {43691, 21845}}, {0.0, {0, 0}}, {0.75, {65536, 32768}}};
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
        run(QStringLiteral("set-sink-volume @DEFAULT_SINK@ 10%"));
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
        run(QStringLiteral("set-default-sink ") + kAirPodsSink);
        run(QStringLiteral("set-sink-volume @DEFAULT_SINK@ 35%"));
        QTRY_COMPARE(m_volume->outputName(), QStringLiteral("AirPods Pro"));
        QTRY_COMPARE(qRound(m_volume->level() * 100), 35);

        QSignalSpy connection(m_backend.get(), &PulseAudioOutput::isConnectedChanged);
        m_daemon->kill();
        QTRY_VERIFY(!m_backend->isConnected());
        // Nothing the user sees flickers while the server is away, and
        // using the control then is harmless.
        QCOMPARE(m_volume->outputName(), QStringLiteral("AirPods Pro"));
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
        QTRY_COMPARE(m_volume->level(), 1.0);
        QCOMPARE(connection.count(), 2);
        // Connected, nothing is left waiting to wake us.
        QCOMPARE(m_clock.pendingCount(), 0);
        // And it follows the new server's events as before.
        run(QStringLiteral("set-sink-volume @DEFAULT_SINK@ 25%"));
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