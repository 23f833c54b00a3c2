// Covers from a Music folder of real files in four formats, made by ffmpeg
// when the test starts: which file wins, what a title matches, what the
// cache on disk spares after a restart, and the whole way from a cover-less
// player through the real helper and service to the displayed cover.

#include "MusicFiles.h"

#include "core/Clock.h"
#include "core/ManualClock.h"
#include "nowplaying/LocalArtworkFinder.h"
#include "nowplaying/NowPlayingAdapter.h"
#include "nowplaying/NowPlayingService.h"
#include "support/PrivateBus.h"

#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QColor kRed(200, 30, 30), kGreen(30, 160, 60), kBlue(40, 70, 200), kYellow(230, 200, 20), kMagenta(190, 40, 170),
    kCyan(20, 180, 190), kOrange(240, 130, 20);

// Two songs share a title by different artists, one more is 3 s longer;
// a title holds a double quote and an asterisk beside a title it would
// match as a pattern; one file is known by its name only.
const QList<Song> kSongs {
    {QStringLiteral("a/Blue Hour.mp3"), QStringLiteral("Blue Hour"), QStringLiteral("Ana"), 33, kRed},
    {QStringLiteral("b/blue hour.flac"), QStringLiteral("Blue Hour"), QStringLiteral("Other"), 30.5, kGreen},
    {QStringLiteral("c/x.m4a"), QStringLiteral("Blue Hour"), QStringLiteral("Ana"), 31.5, kBlue},
    {QStringLiteral("d/one.opus"), QStringLiteral("Señor \"Star\" *"), QStringLiteral("X"), 20, kYellow},
    {QStringLiteral("d/two.ogg"), QStringLiteral("Señor \"Star\" Light"), QStringLiteral("X"), 20, kMagenta},
    {QStringLiteral("e/Night Drive.mp3"), QString(), QString(), 12, kCyan},
    {QStringLiteral("e/Plain.flac"), QStringLiteral("Plain"), QStringLiteral("Ana"), 12, QColor()},
};

std::optional<QColor> coverColour(LocalArtworkFinder &finder, const LocalArtworkSearch::Query &query)
{
    std::optional<std::optional<QByteArray>> got;
    finder.artwork(query, [&got](std::optional<QByteArray> cover) { got.emplace(cover); });
    if (!QTest::qWaitFor([&got] { return got.has_value(); }, 20000) || !*got)
        return std::nullopt;
    const QImage image = QImage::fromData(**got);
    return image.isNull() ? QColor(Qt::black) : image.pixelColor(0, 0);
}

} // namespace

class tst_LocalArtworkFinder : public QObject
{
    Q_OBJECT

    QTemporaryDir m_home;
    QDir m_music;
    QString cacheFile() const{ return m_home.filePath(QStringLiteral("cache/music-index")); }

private Q_SLOTS:
    void initTestCase()
    {
        m_music = QDir(m_home.filePath(QStringLiteral("Music")));
        for (const Song &song : kSongs) {
            const QString error = makeSong(m_music, song);
            QVERIFY2(error.isEmpty(), qPrintable(song.file + QStringLiteral(": ") + error));
        }
    }

    void picksTheMatchingCover_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("artist");
        QTest::addColumn<double>("duration"); // < 0: unknown
        QTest::addColumn<QColor>("cover"); // invalid: none found

        const auto row = [](const char *name, const char *title, const char *artist, double duration, QColor cover) {
            QTest::newRow(name) << QString::fromUtf8(title) << QString::fromUtf8(artist) << duration << cover;
        };
        row("the artist's file wins over a closer one", "Blue Hour", "Ana", 30.0, kBlue);
        row("then the closest length", "Blue Hour", "Ana", 33.0, kRed);
        row("the artist's file 3 s longer is another recording", "Blue Hour", "Ana", 28.5, kGreen);
        row("unknown artist: closest length", "BLUE HOUR", "", 30.0, kGreen);
        row("other artist listed in the file", "blue hour", "other", 30.0, kGreen);
        row("nothing within 2 s", "Blue Hour", "Ana", 36.0, QColor());
        row("quote and asterisk match only themselves", "Señor \"Star\" *", "", 20.0, kYellow);
        row("case and accents ignored", "SENOR \"STAR\" *", "x", -1.0, kYellow);
        row("a lone asterisk is no wildcard", "*", "", -1.0, QColor());
        row("file name without extension", "night drive", "", 12.0, kCyan);
        row("a file without a cover", "Plain", "Ana", 12.0, QColor());
        row("unknown title", "Nowhere", "", -1.0, QColor());
    }
    void picksTheMatchingCover()
    {
        QFETCH(QString, title);
        QFETCH(QString, artist);
        QFETCH(double, duration);
        QFETCH(QColor, cover);
        ManualClock clock;
        LocalArtworkFinder finder(clock, m_music.path(), cacheFile());
        const auto found = coverColour(finder,
            {title, artist.isEmpty() ? std::nullopt : std::optional(artist), std::nullopt,
                duration < 0 ? std::nullopt : std::optional(duration)});
        QCOMPARE(found.value_or(QColor()), cover);
    }

    // A restart reads no unchanged file; a look-up after a while walks the
    // folder again and sees a changed file and a removed one.
    void cacheSparesUnchangedFiles()
    {
        QFile::remove(cacheFile());
        ManualClock clock;
        {
            LocalArtworkFinder first(clock, m_music.path(), cacheFile());
            QSignalSpy built(&first, &LocalArtworkFinder::refreshed);
            QVERIFY(built.wait(20000));
            QCOMPARE(built.first().at(0).toInt(), kSongs.size());
        }
        QVERIFY(QFileInfo(cacheFile()).size() > 0);

        LocalArtworkFinder finder(clock, m_music.path(), cacheFile());
        QSignalSpy refreshed(&finder, &LocalArtworkFinder::refreshed);
        QVERIFY(refreshed.wait(20000));
        QCOMPARE(refreshed.takeFirst(), (QVariantList{0, int(kSongs.size()), 0, qsizetype(kSongs.size())}));

        Song changed = kSongs[5];
        changed.cover = kOrange;
        QVERIFY(QFile::remove(m_music.filePath(changed.file)));
        QVERIFY(makeSong(m_music, changed).isEmpty());
        QVERIFY(QFile::remove(m_music.filePath(kSongs[6].file)));
        // No walk until one is due; covers are always read from the file.
        QCOMPARE(coverColour(finder, {QStringLiteral("Night Drive"), {}, {}, {}}), std::optional(kOrange));
        QCOMPARE(refreshed.count(), 0);
        clock.advance(LocalArtworkFinder::kRefreshAfter);
        QCOMPARE(coverColour(finder, {QStringLiteral("Night Drive"), {}, {}, {}}), std::optional(kOrange));
        QCOMPARE(refreshed.takeFirst(), (QVariantList{1, int(kSongs.size()) - 2, 1, qsizetype(kSongs.size() - 1)}));

        QVERIFY(QFile::remove(m_music.filePath(changed.file)));
        QVERIFY(makeSong(m_music, kSongs[5]).isEmpty());
        QVERIFY(makeSong(m_music, kSongs[6]).isEmpty());
    }

    // A player that sends no cover, through the real helper and service: the
    // cover from the Music folder shows about a second later, and the accent
    // colour takes the album's hue.
    void coverArrivesThroughTheService()
    {
        PrivateBus bus;
        const QString error = bus.start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus.address().toUtf8());
        QProcess player;
        player.start(QStringLiteral("/usr/bin/python3"),
            {QStringLiteral(TARNWICK_TESTS_DIR "/nowplaying/mpris_player.py"), QStringLiteral("--name=music"),
                QStringLiteral("--desktop-entry=org.example.Music"), QStringLiteral("--title=Blue Hour"),
                QStringLiteral("--artist=Ana"), QStringLiteral("--seconds=30")});
        QVERIFY2(player.waitForStarted(), "install the Debian package python3");

        LocalArtworkFinder finder(Clock::system(), m_music.path(), cacheFile());
        NowPlayingService service(
            Clock::system(), NowPlayingAdapter::create(QStringLiteral(TARNWICK_HELPER_PATH)), nullptr, &finder);
        const QColor before = service.accentColorValue();
        service.start();
        QTRY_COMPARE_WITH_TIMEOUT(service.title(), QStringLiteral("Blue Hour"), 15000);
        // The wait before looking is the service's, timed on its clock in
        // its own test; here only the cover's arrival counts.
        QVERIFY(!service.hasArtwork());
        QTRY_VERIFY_WITH_TIMEOUT(service.hasArtwork(), 10000);
        QCOMPARE(service.artwork().pixelColor(0, 0), kBlue);
        const QColor accent = service.accentColorValue();
        QVERIFY(accent != before);
        QVERIFY(accent.blue() > 2 * accent.red() && accent.blue() > 2 * accent.green());
        service.stop();
        player.kill();
        player.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(tst_LocalArtworkFinder)
#include "tst_LocalArtworkFinder.moc"
