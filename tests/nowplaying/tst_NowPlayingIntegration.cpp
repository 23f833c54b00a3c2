// Drives the real helper and the service against a real MPRIS player (mpv
// with its MPRIS plugin) on a private session bus.

#include "MusicFiles.h"

#include "core/Clock.h"
#include "nowplaying/NowPlayingAdapter.h"
#include "nowplaying/NowPlayingService.h"

#include "support/PrivateBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <csignal>
#include <unistd.h>

namespace {

const QString kMprisPlugin = QStringLiteral("/etc/mpv/scripts/mpris.so");
const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.mpv");

// The fields of /proc/PID/stat after the program's name: state is 0, the
// parent 1, user and system CPU ticks 11 and 12.
QList<QByteArray> procStat(const QString &pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    const QByteArray line = stat.open(QIODevice::ReadOnly) ? stat.readAll() : QByteArray();
    return line.mid(line.lastIndexOf(')') + 2).split(' ');
}

// Our own live helper processes (children of this test) by process id.
QStringList helperChildren(const QString &helper)
{
    QStringList found;
    const QByteArray self = QByteArray::number(::getpid());
    for (const QString &pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QList<QByteArray> fields = procStat(pid);
        if (fields.size() > 1 && fields[0] != "Z" && fields[1] == self
            && QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid)) == helper)
            found.append(pid);
    }
    return found;
}

qint64 cpuTicks(const QString &pid)
{
    const QList<QByteArray> fields = procStat(pid);
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
        return reply.arguments().isEmpty() ? QVariant() : reply.arguments().constFirst().value<QDBusVariant>().variant();
    }
    QString status() { return playerProperty(QStringLiteral("PlaybackStatus")).toString(); }

    // mpv with the MPRIS plugin and `files`; none: idle, without a track.
    void startPlayer(QProcess &mpv, const QStringList &files)
    {
        mpv.start(QStringLiteral("mpv"), QStringList{QStringLiteral("--no-config"), QStringLiteral("--ao=null"),
                                                     QStringLiteral("--vo=null"), QStringLiteral("--no-terminal"),
                                                     QStringLiteral("--idle=") + (files.isEmpty() ? "yes" : "no"),
                                                     QStringLiteral("--script=") + kMprisPlugin}
                                             + files);
        QVERIFY2(mpv.waitForStarted(), "install the Debian package mpv (tools/bootstrap)");
    }
    void startMusic()
    {
        startPlayer(m_mpv, {m_music.filePath(QStringLiteral("a.flac")), m_music.filePath(QStringLiteral("b.flac"))});
        QTRY_COMPARE_WITH_TIMEOUT(status(), QStringLiteral("Playing"), 10000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo(m_helper).isExecutable(), "the helper tarnwick-nowplaying was not built");
        QVERIFY2(QFile::exists(kMprisPlugin), "install the Debian package mpv-mpris (tools/bootstrap)");
        const QString busError = m_bus.start();
        QVERIFY2(busError.isEmpty(), qPrintable(busError));
        // Every helper and player started from here uses the private bus.
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8());
        m_dbus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("test")));
        QVERIFY(m_dbus->isConnected());
        const QDir music(m_music.path());
        for (const char *name : {"a.flac:First Light", "b.flac:Second Wind"}) {
            const QStringList f = QString::fromLatin1(name).split(QLatin1Char(':'));
            const QString error = makeSong(music, {f[0], f[1], QStringLiteral("The Testers"), 60, {}, QStringLiteral("Bench Album")});
            QVERIFY2(error.isEmpty(), qPrintable(error));
        }
        // mpv's MPRIS plugin offers the folder's cover file as the art.
        QImage cover(64, 64, QImage::Format_RGB32);
        cover.fill(QColor(192, 57, 43));
        QVERIFY(cover.save(m_music.filePath(QStringLiteral("cover.png"))));
    }

    void cleanupTestCase()
    {
        m_mpv.kill();
        m_mpv.waitForFinished();
    }

    void followsAndControlsRealPlayers()
    {
        startMusic();
        NowPlayingService service(Clock::system(), NowPlayingAdapter::create(m_helper));
        service.start();

        // The stream carries the tags, the length, the cover and the position.
        QTRY_COMPARE_WITH_TIMEOUT(service.title(), QStringLiteral("First Light"), 10000);
        QCOMPARE(QStringList({service.artist(), service.album()}), QStringList({"The Testers", "Bench Album"}));
        QCOMPARE(std::lround(service.duration()), 60L);
        QTRY_VERIFY(service.hasArtwork());
        QVERIFY(service.isPlaying() && service.position() >= 0);

        // Pause: the player's next reports do not flip it back. Then play.
        service.togglePlayPause();
        QTRY_COMPARE(status(), QStringLiteral("Paused"));
        QTest::qWait(300);
        QVERIFY(!service.isPlaying());
        service.sendCommand(NowPlayingTrack::MediaCommand::Play);
        QTRY_COMPARE(status(), QStringLiteral("Playing"));
        QTRY_VERIFY(service.isPlaying());

        // The player lands where asked, and its reports after that agree.
        service.seekTo(30);
        QTRY_VERIFY(std::fabs(playerProperty(QStringLiteral("Position")).toLongLong() / 1e6 - 30) < 2);
        QTRY_VERIFY(!service.pendingSeek() && std::fabs(service.position() - 30.5) < 1.5);

        service.nextTrack();
        QTRY_COMPARE(service.title(), QStringLiteral("Second Wind"));

        // A helper that dies is started again.
        const QStringList before = helperChildren(m_helper);
        QCOMPARE(before.size(), 1);
        ::kill(pid_t(before.first().toInt()), SIGKILL);
        QTRY_VERIFY(helperChildren(m_helper) != before);
        QTRY_COMPARE_WITH_TIMEOUT(helperChildren(m_helper).size(), 1, 5000);
        QCOMPARE(service.status(), NowPlayingService::Status::Running);

        // The player quitting means nothing plays, and the helper sleeps on
        // the bus.
        m_mpv.terminate();
        QVERIFY(m_mpv.waitForFinished(5000));
        QTRY_VERIFY_WITH_TIMEOUT(!service.hasTrack(), 5000);
        QCOMPARE(service.placeholderText(), NowPlayingService::nothingPlayingText());
        const QStringList idle = helperChildren(m_helper);
        QCOMPARE(idle.size(), 1);
        const qint64 ticksBefore = cpuTicks(idle.first());
        QTest::qWait(2000);
        QVERIFY2(cpuTicks(idle.first()) - ticksBefore <= 1, "the helper works while nothing plays");

        // A player that appears later is followed.
        startMusic();
        QTRY_COMPARE_WITH_TIMEOUT(service.title(), QStringLiteral("First Light"), 10000);

        // A video player opened next to paused music stays out of the way:
        // the page keeps the music, and Play goes to it.
        service.togglePlayPause();
        QTRY_COMPARE(status(), QStringLiteral("Paused"));
        QProcess video;
        startPlayer(video, {});
        QTRY_VERIFY_WITH_TIMEOUT(m_dbus->interface()->registeredServiceNames().value().filter(kPlayer).size() == 2, 10000);
        QTest::qWait(1000); // long enough for the helper to read the newcomer and write a line
        QCOMPARE(service.title(), QStringLiteral("First Light"));
        QVERIFY(!service.isPlaying());
        service.sendCommand(NowPlayingTrack::MediaCommand::Play);
        QTRY_COMPARE(status(), QStringLiteral("Playing"));
        QTRY_VERIFY(service.isPlaying());
        QCOMPARE(service.title(), QStringLiteral("First Light"));
        video.kill();
        video.waitForFinished();

        // Stopping leaves no helper behind.
        service.stop();
        QTRY_VERIFY(helperChildren(m_helper).isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingIntegration)
#include "tst_NowPlayingIntegration.moc"
