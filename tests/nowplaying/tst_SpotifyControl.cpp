// Spotify's shuffle and repeat against a scripted MPRIS player that owns
// Spotify's bus name on a private session bus, once behaving like the
// official client (writes accepted and ignored) and once honouring them.

#include "core/ManualClock.h"
#include "nowplaying/SpotifyControl.h"
#include "support/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using Modes = SpotifyScripting::Modes;
using Read = std::optional<std::optional<Modes>>; // an answer that came, with or without modes
Q_DECLARE_METATYPE(std::optional<Modes>)

namespace {

const QString kScript = QStringLiteral(TARNWICK_TESTS_DIR "/nowplaying/mpris_player.py");

template<typename T, typename Call> std::optional<T> answer(Call call)
{
    std::optional<T> got;
    call([&got](T value) { got.emplace(value); });
    if (!QTest::qWaitFor([&got] { return got.has_value(); }, 5000))
        return std::nullopt;
    return got;
}

} // namespace

class tst_SpotifyControl : public QObject
{
    Q_OBJECT

    PrivateBus m_bus;
    QTemporaryDir m_dir;
    std::unique_ptr<QDBusConnection> m_dbus;
    QProcess m_spotify;

    QString marker() const{ return m_dir.filePath(QStringLiteral("launched")); }
    bool spotifyRunning() const{ return m_dbus->interface()->isServiceRegistered(SpotifyControl::kBusName); }

    void startSpotify(const QStringList &arguments)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_bus.address());
        m_spotify.setProcessEnvironment(env);
        m_spotify.start(QStringLiteral("/usr/bin/python3"), QStringList{kScript} + arguments);
        QVERIFY2(m_spotify.waitForStarted(), "install the Debian package python3");
        QTRY_VERIFY2_WITH_TIMEOUT(spotifyRunning() || m_spotify.state() == QProcess::NotRunning, "", 10000);
        QVERIFY2(spotifyRunning(),
            qPrintable(QStringLiteral("the scripted player did not start (Debian packages "
                                      "python3-dbus, python3-gi): ")
                + QString::fromUtf8(m_spotify.readAllStandardError())));
    }

private Q_SLOTS:
    void initTestCase()
    {
        // A service file for Spotify's name on the private bus: anything that
        // lets the bus auto-start it would launch the script, which leaves a
        // marker behind.
        QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("dbus-1/services")));
        QFile service(m_dir.filePath(QStringLiteral("dbus-1/services/spotify.service")));
        QVERIFY(service.open(QIODevice::WriteOnly));
        service.write(QStringLiteral("[D-BUS Service]\nName=%1\nExec=/usr/bin/python3 %2 --marker %3\n")
                          .arg(SpotifyControl::kBusName, kScript, marker())
                          .toUtf8());
        service.close();
        qputenv("XDG_DATA_DIRS", m_dir.path().toUtf8());
        const QString error = m_bus.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        m_dbus = std::make_unique<QDBusConnection>(
            QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("tst_SpotifyControl")));
        QVERIFY(m_dbus->isConnected());
    }

    void cleanup()
    {
        if (m_spotify.state() != QProcess::NotRunning) {
            m_spotify.kill();
            m_spotify.waitForFinished();
        }
        QTRY_VERIFY(!spotifyRunning());
    }

    void modesFromProperties_data()
    {
        QTest::addColumn<QVariantMap>("properties");
        QTest::addColumn<std::optional<Modes>>("modes");
        const auto props = [](const QVariant &shuffle, const QVariant &loop) {
            QVariantMap map{{QStringLiteral("PlaybackStatus"), QStringLiteral("Playing")}};
            if (shuffle.isValid())
                map.insert(QStringLiteral("Shuffle"), shuffle);
            if (loop.isValid())
                map.insert(QStringLiteral("LoopStatus"), loop);
            return map;
        };
        QTest::newRow("one track repeats") << props(true, QStringLiteral("Track")) << std::optional(Modes{true, true});
        QTest::newRow("playlist repeats")
            << props(false, QStringLiteral("Playlist")) << std::optional(Modes{false, true});
        QTest::newRow("no shuffle") << props({}, QStringLiteral("None")) << std::optional<Modes>();
        QTest::newRow("shuffle as text") << props(QStringLiteral("true"), QStringLiteral("None"))
                                         << std::optional<Modes>();
        QTest::newRow("unknown loop status") << props(true, QStringLiteral("Forever")) << std::optional<Modes>();
    }
    void modesFromProperties()
    {
        QFETCH(QVariantMap, properties);
        QFETCH(std::optional<Modes>, modes);
        QCOMPARE(SpotifyControl::modesFromProperties(properties), modes);
    }

    void neverStartsSpotify()
    {
        ManualClock clock;
        SpotifyControl control(clock, *m_dbus);
        QCOMPARE(answer<std::optional<Modes>>([&](auto done) { control.readModes(done); }),
            Read(std::in_place, std::nullopt));
        QCOMPARE(answer<bool>([&](auto done) { control.setShuffle(true, done); }), std::optional(false));
        QCOMPARE(answer<bool>([&](auto done) { control.setRepeat(true, done); }), std::optional(false));
        QCOMPARE(answer<SpotifyScripting::Access>([&](auto done) { control.access(true, done); }),
            std::optional(SpotifyScripting::Access::Unavailable));
        QVERIFY(!spotifyRunning());
        QVERIFY(!QFile::exists(marker()));

        // The trap was armed: asking the bus to start the name does start it.
        m_dbus->interface()->startService(SpotifyControl::kBusName);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(marker()) && spotifyRunning(), 10000);
        QVERIFY(::kill(pid_t(m_dbus->interface()->servicePid(SpotifyControl::kBusName).value()), SIGTERM) == 0);
        QFile::remove(marker());
    }

    void playerWithoutModesIsRefused()
    {
        startSpotify({QStringLiteral("--no-modes")});
        ManualClock clock;
        SpotifyControl control(clock, *m_dbus);
        QCOMPARE(answer<std::optional<Modes>>([&](auto done) { control.readModes(done); }),
                 Read(std::in_place, std::nullopt));
        QCOMPARE(answer<SpotifyScripting::Access>([&](auto done) { control.access(false, done); }),
                 std::optional(SpotifyScripting::Access::Denied));
    }

    // The official client accepts a write and ignores it: once its mode
    // still reads the old value after a while, it is refused (and the
    // service hides both buttons' state, see tst_NowPlayingService).
    void aWriteThatDoesNotTakeIsRefused_data()
    {
        QTest::addColumn<bool>("honours");
        QTest::newRow("honours writes") << true;
        QTest::newRow("ignores writes (official client)") << false;
    }
    void aWriteThatDoesNotTakeIsRefused()
    {
        QFETCH(bool, honours);
        startSpotify(honours ? QStringList{QStringLiteral("--shuffle")}
                             : QStringList{QStringLiteral("--ignore-writes"), QStringLiteral("--shuffle")});
        ManualClock clock;
        SpotifyControl control(clock, *m_dbus);
        const auto read = [&] { return answer<std::optional<Modes>>([&](auto done) { control.readModes(done); }); };
        QCOMPARE(read(), Read(std::in_place, Modes{true, false}));
        QCOMPARE(answer<bool>([&](auto done) { control.setShuffle(false, done); }), std::optional(true));
        // Soon after the write the old value is still a player catching up.
        QCOMPARE(read(), Read(std::in_place, Modes{!honours, false}));
        clock.advance(SpotifyControl::kReadBackWindow);
        QCOMPARE(read(), Read(std::in_place, honours ? std::optional(Modes{false, false}) : std::nullopt));
        QCOMPARE(answer<SpotifyScripting::Access>([&](auto done) { control.access(false, done); }),
                 std::optional(honours ? SpotifyScripting::Access::Granted : SpotifyScripting::Access::Denied));
    }
};

QTEST_GUILESS_MAIN(tst_SpotifyControl)
#include "tst_SpotifyControl.moc"
