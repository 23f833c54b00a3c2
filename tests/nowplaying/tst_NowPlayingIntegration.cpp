// Drives the real helper and the service against a real MPRIS player (mpv
// with its MPRIS plugin) on a private session bus.

#include "core/Clock.h"
#include "nowplaying/NowPlayingAdapter.h"
#include "nowplaying/NowPlayingService.h"

#include "support/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>
#include <cmath>
#include <csignal>
#include <unistd.h>

namespace {

const QString kMprisPlugin = QStringLiteral("/etc/mpv/scripts/mpris.so");
const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.mpv");

// A mono 8 kHz sine with title, artist and album in a RIFF INFO list, which
// mpv reads as the track's tags.
QByteArray taggedWav(const QByteArray &title, const QByteArray &artist, const QByteArray &album, int seconds)
{
    auto u32 = [](quint32 v) { QByteArray b(4, 0); qToLittleEndian(v, b.data()); return b; };
    auto u16 = [](quint16 v) { QByteArray b(2, 0); qToLittleEndian(v, b.data()); return b; };
    auto chunk = [&](const QByteArray &id, QByteArray body) {
        const quint32 size = quint32(body.size());
        if (body.size() % 2)
            body.append('\0');
        return id + u32(size) + body;
    };
    const int rate = 8000;
    QByteArray samples;
    samples.reserve(rate * seconds * 2);
    for (int i = 0; i < rate * seconds; ++i)
        samples.append(u16(quint16(qint16(3000 * std::sin(2 * M_PI * 440 * i / rate)))));
    const QByteArray info = "INFO" + chunk("INAM", title + '\0') + chunk("IART", artist + '\0') + chunk("IPRD", album + '\0');
    const QByteArray format = u16(1) + u16(1) + u32(rate) + u32(rate * 2) + u16(2) + u16(16);
    const QByteArray body = "WAVE" + chunk("fmt ", format) + chunk("LIST", info) + chunk("data", samples);
    return "RIFF" + u32(quint32(body.size())) + body;
}

// Our own helper processes (children of this test) by process id.
QList<qint64> helperChildren(const QString &helper)
{
    QList<qint64> found;
    const QString self = QString::number(::getpid());
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!stat.open(QIODevice::ReadOnly))
            continue;
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() < 2 || fields[0] == "Z" || QString::fromLatin1(fields[1]) != self)
            continue;
        if (QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(entry)) == helper)
            found.append(entry.toLongLong());
    }
    return found;
}

// User and system CPU time of a process, in clock ticks.
qint64 cpuTicks(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    // utime and stime are fields 14 and 15 of the line, 12 and 13 after the name.
    return fields.size() > 12 ? fields[11].toLongLong() + fields[12].toLongLong() : -1;
}

} // namespace

class tst_NowPlayingIntegration : public QObject
{
    Q_OBJECT

    PrivateBus m_bus;
    QProcess m_mpv;
    QTemporaryDir m_music;
    QString m_helper = QFileInfo(QStringLiteral(TARNWICK_HELPER_PATH)).canonicalFilePath();
    std::unique_ptr<QDBusConnection> m_dbus;

    QVariant playerProperty(const QString &name)
    {
        QDBusMessage call = QDBusMessage::createMethodCall(kPlayer, QStringLiteral("/org/mpris/MediaPlayer2"),
                                                           QStringLiteral("org.freedesktop.DBus.Properties"),
                                                           QStringLiteral("Get"));
        call << QStringLiteral("org.mpris.MediaPlayer2.Player") << name;
        const QDBusMessage reply = m_dbus->call(call, QDBus::Block, 2000);
        if (reply.arguments().isEmpty())
            return {};
        return reply.arguments().constFirst().value<QDBusVariant>().variant();
    }
    void callPlayer(const QString &method)
    {
        m_dbus->call(QDBusMessage::createMethodCall(kPlayer, QStringLiteral("/org/mpris/MediaPlayer2"),
                                                    QStringLiteral("org.mpris.MediaPlayer2.Player"), method));
    }

    void startPlayer()
    {
        m_mpv.setProgram(QStringLiteral("mpv"));
        m_mpv.setArguments({QStringLiteral("--no-config"), QStringLiteral("--ao=null"), QStringLiteral("--vo=null"),
                            QStringLiteral("--no-terminal"), QStringLiteral("--idle=no"),
                            QStringLiteral("--script=") + kMprisPlugin, m_music.filePath(QStringLiteral("a.wav")),
                            m_music.filePath(QStringLiteral("b.wav"))});
        m_mpv.start();
        QVERIFY2(m_mpv.waitForStarted(), "install the Debian package mpv (tools/bootstrap)");
        QTRY_VERIFY_WITH_TIMEOUT(playerProperty(QStringLiteral("PlaybackStatus")).toString() == QLatin1String("Playing"), 10000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo(m_helper).isExecutable(), "the helper tarnwick-nowplaying was not built");
        QVERIFY2(QFile::exists(kMprisPlugin), "install the Debian package mpv-mpris (tools/bootstrap)");
        const QString busError = m_bus.start();
        QVERIFY2(busError.isEmpty(), qPrintable(busError));
        const QByteArray address = m_bus.address().toUtf8();
        // Every helper and player started from here uses the private bus.
        qputenv("DBUS_SESSION_BUS_ADDRESS", address);
        m_dbus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(QString::fromLatin1(address), QStringLiteral("test")));
        QVERIFY(m_dbus->isConnected());

        QFile a(m_music.filePath(QStringLiteral("a.wav")));
        QVERIFY(a.open(QIODevice::WriteOnly));
        a.write(taggedWav("First Light", "The Testers", "Bench Album", 60));
        a.close();
        QFile b(m_music.filePath(QStringLiteral("b.wav")));
        QVERIFY(b.open(QIODevice::WriteOnly));
        b.write(taggedWav("Second Wind", "The Testers", "Bench Album", 60));
        b.close();
        QImage cover(64, 64, QImage::Format_RGB32);
        cover.fill(QColor(192, 57, 43));
        QVERIFY(cover.save(m_music.filePath(QStringLiteral("cover.png"))));
    }

    void cleanupTestCase()
    {
        m_mpv.kill();
        m_mpv.waitForFinished();
        // The bus goes with the test object.
    }

    void followsAndControlsARealPlayer()
    {
        startPlayer();
        NowPlayingService service(Clock::system(), NowPlayingAdapter::create(m_helper));
        service.start();

        // The stream carries the tags, the length, the cover and the position.
        QTRY_COMPARE_WITH_TIMEOUT(service.title(), QStringLiteral("First Light"), 10000);
        QCOMPARE(service.artist(), QStringLiteral("The Testers"));
        QCOMPARE(service.album(), QStringLiteral("Bench Album"));
        QCOMPARE(std::lround(service.duration()), 60L);
        QTRY_VERIFY(service.hasArtwork());
        QVERIFY(service.albumColor().has_value());
        QVERIFY(service.isPlaying());
        QVERIFY(service.position() >= 0);

        // Pause, play.
        service.togglePlayPause();
        QVERIFY(!service.isPlaying()); // at once, before the player answers
        QTRY_COMPARE(playerProperty(QStringLiteral("PlaybackStatus")).toString(), QStringLiteral("Paused"));
        QTest::qWait(300);
        QVERIFY(!service.isPlaying());
        service.sendCommand(NowPlayingTrack::MediaCommand::Play);
        QTRY_COMPARE(playerProperty(QStringLiteral("PlaybackStatus")).toString(), QStringLiteral("Playing"));
        QTRY_VERIFY(service.isPlaying());

        // Seek.
        service.seekTo(30);
        QCOMPARE(std::lround(service.position()), 30L);
        QTRY_VERIFY(std::fabs(playerProperty(QStringLiteral("Position")).toLongLong() / 1e6 - 30) < 2);
        QTest::qWait(500);
        QVERIFY(std::fabs(service.position() - 30.5) < 1.5);

        // Next.
        service.nextTrack();
        QTRY_COMPARE(service.title(), QStringLiteral("Second Wind"));
        QCOMPARE(playerProperty(QStringLiteral("Metadata")).isValid(), true);

        // The helper is restarted two seconds after it dies.
        const QList<qint64> before = helperChildren(m_helper);
        QCOMPARE(before.size(), 1);
        ::kill(pid_t(before.first()), SIGKILL);
        QTRY_VERIFY(helperChildren(m_helper).isEmpty());
        QElapsedTimer restart;
        restart.start();
        QTRY_COMPARE_WITH_TIMEOUT(helperChildren(m_helper).size(), 1, 5000);
        QVERIFY2(restart.elapsed() >= 1500, qPrintable(QString::number(restart.elapsed())));
        QCOMPARE(service.status(), NowPlayingService::Status::Running);

        // The player quitting means nothing plays.
        m_mpv.terminate();
        QVERIFY(m_mpv.waitForFinished(5000));
        QTRY_VERIFY_WITH_TIMEOUT(!service.hasTrack(), 5000);
        QCOMPARE(service.placeholderText(), NowPlayingService::nothingPlayingText());

        // With no player the helper sleeps on the bus.
        const QList<qint64> idle = helperChildren(m_helper);
        QCOMPARE(idle.size(), 1);
        const qint64 ticksBefore = cpuTicks(idle.first());
        QTest::qWait(2000);
        QVERIFY2(cpuTicks(idle.first()) - ticksBefore <= 1, "the helper works while nothing plays");

        // A player that appears later is followed.
        startPlayer();
        QTRY_COMPARE_WITH_TIMEOUT(service.title(), QStringLiteral("First Light"), 10000);

        // Stopping leaves no helper behind.
        service.stop();
        QTRY_VERIFY(helperChildren(m_helper).isEmpty());
    }

    // A video player opened next to paused music stays out of the way: the
    // page keeps the music, and Play goes to it.
    void aNewIdlePlayerDoesNotTakeOverPausedMusic()
    {
        if (m_mpv.state() != QProcess::Running)
            startPlayer();
        callPlayer(QStringLiteral("Pause"));
        QTRY_COMPARE(playerProperty(QStringLiteral("PlaybackStatus")).toString(), QStringLiteral("Paused"));
        NowPlayingService service(Clock::system(), NowPlayingAdapter::create(m_helper));
        service.start();
        // mpv names the track after its file until it has read the tags.
        const QString title = QStringLiteral("First Light");
        QTRY_VERIFY_WITH_TIMEOUT(service.title() == title && !service.isPlaying(), 10000);

        QProcess idle;
        idle.setProgram(QStringLiteral("mpv"));
        idle.setArguments({QStringLiteral("--no-config"), QStringLiteral("--ao=null"), QStringLiteral("--vo=null"),
                           QStringLiteral("--no-terminal"), QStringLiteral("--idle=yes"),
                           QStringLiteral("--script=") + kMprisPlugin});
        idle.start();
        QVERIFY(idle.waitForStarted());
        auto idleOnBus = [&] {
            const QStringList names = m_dbus->interface()->registeredServiceNames().value();
            return std::count_if(names.begin(), names.end(), [](const QString &n) { return n.startsWith(kPlayer); }) == 2;
        };
        QTRY_VERIFY_WITH_TIMEOUT(idleOnBus(), 10000);
        // Long enough for the helper to read the newcomer and write a line.
        QTest::qWait(1000);
        QCOMPARE(service.title(), title);
        QVERIFY(service.placeholderText().isEmpty());

        service.sendCommand(NowPlayingTrack::MediaCommand::Play);
        QTRY_COMPARE(playerProperty(QStringLiteral("PlaybackStatus")).toString(), QStringLiteral("Playing"));
        QTRY_VERIFY(service.isPlaying());
        QCOMPARE(service.title(), title);
        service.stop();
        idle.kill();
        idle.waitForFinished();
    }

    void aHelperThatKeepsDyingMakesNowPlayingUnavailable()
    {
        QTemporaryDir dir;
        const QString script = dir.filePath(QStringLiteral("tarnwick-nowplaying"));
        QFile file(script);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\nexit 1\n");
        file.close();
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        NowPlayingService service(Clock::system(), NowPlayingAdapter::create(script));
        service.start();
        QCOMPARE(service.status(), NowPlayingService::Status::Running);
        // Runs at 0, 2 and 4 seconds; the third exit makes it unavailable.
        QTRY_COMPARE_WITH_TIMEOUT(service.status(), NowPlayingService::Status::Unavailable, 8000);
        QCOMPARE(service.placeholderText(), QStringLiteral("Tarnwick can't reach your media players."));
        service.stop();
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingIntegration)
#include "tst_NowPlayingIntegration.moc"
