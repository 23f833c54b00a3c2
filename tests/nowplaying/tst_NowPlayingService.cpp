#include "EncodedImage.h"
#include "FakeAdapter.h"

#include "core/ManualClock.h"
#include "nowplaying/NowPlayingService.h"

#include <QSignalSpy>
#include <QTest>

using Track = NowPlayingTrack;
using Command = NowPlayingTrack::MediaCommand;

namespace {

Track song(const QString &title, bool playing, double elapsed, const QDateTime &at)
{
    Track t;
    t.title = title;
    t.artist = QStringLiteral("Artist");
    t.appBundleIdentifier = QStringLiteral("org.example.Player");
    t.isPlaying = playing;
    t.playbackRate = playing ? 1.0 : 0.0;
    t.duration = 300;
    t.elapsed = elapsed;
    t.timestamp = at;
    return t;
}

class FakeSpotify : public SpotifyScripting
{
public:
    void readModes(std::function<void(std::optional<Modes>)> done) override { reads.append(std::move(done)); }
    void setShuffle(bool on, std::function<void(bool)> done) override { set(QStringLiteral("shuffle"), on, done); }
    void setRepeat(bool on, std::function<void(bool)> done) override { set(QStringLiteral("repeat"), on, done); }
    void set(const QString &mode, bool on, const std::function<void(bool)> &done) { sets.append({mode, on}); done(true); }
    void access(bool, std::function<void(Access)> done) override { done(answer); }

    QList<std::function<void(std::optional<Modes>)>> reads;
    QList<QPair<QString, bool>> sets;
    Access answer = Access::Granted;
};

class CountingSearch : public LocalArtworkSearch
{
public:
    void artwork(const Query &query, Result done) override { queries.append(query.title); done(cover); }
    QStringList queries;
    std::optional<QByteArray> cover;
};

// A started service on a fake helper.
struct Fixture
{
    Fixture() { service.start(); }
    ManualClock clock;
    FakeAdapter *adapter = new FakeAdapter;
    FakeSpotify spotify;
    CountingSearch search;
    NowPlayingService service{clock, std::unique_ptr<NowPlayingAdapter>(adapter), &spotify, &search};
};

} // namespace

class tst_NowPlayingService : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void missingHelperIsUnavailableWithoutRetrying()
    {
        ManualClock clock;
        NowPlayingService service(clock, nullptr);
        QSignalSpy status(&service, &NowPlayingService::statusChanged);
        service.start();
        QCOMPARE(service.status(), NowPlayingService::Status::Unavailable);
        QCOMPARE(service.placeholderText(), QStringLiteral("Tarnwick's Now Playing helper is missing."));
        clock.advance(60);
        QCOMPARE(status.count(), 1);
        QCOMPARE(clock.pendingCount(), 0);
    }

    void restartsAfterTwoSecondsAndCountsQuickFailures()
    {
        Fixture f;
        f.service.start(); // already streaming: nothing more
        QCOMPARE(f.adapter->sweeps, 1);
        QCOMPARE(f.adapter->streamsStarted, 1);
        QCOMPARE(f.service.status(), NowPlayingService::Status::Running);
        QCOMPARE(f.service.placeholderText(), NowPlayingService::nothingPlayingText());

        // Three exits within five seconds each: unavailable after the third.
        for (int i = 1; i <= 3; ++i) {
            f.clock.advance(1);
            f.adapter->exitStream(1);
            QCOMPARE(f.service.quickFailures(), i);
            QCOMPARE(f.service.status() == NowPlayingService::Status::Unavailable, i == 3);
            f.clock.advance(1.9);
            QCOMPARE(f.adapter->streamsStarted, i);
            f.clock.advance(0.1);
            QCOMPARE(f.adapter->streamsStarted, i + 1);
        }
        QCOMPARE(f.service.placeholderText(), QStringLiteral("Tarnwick can't reach your media players."));

        // The restarted helper's first line shows at once; the count waits.
        f.adapter->emitTrack(song(QStringLiteral("A"), true, 0, f.clock.now()));
        QCOMPARE(f.service.status(), NowPlayingService::Status::Running);
        QVERIFY(f.service.placeholderText().isEmpty());
        QCOMPARE(f.service.quickFailures(), 3);

        // A run that holds for five seconds heals the count and the status.
        f.clock.advance(5);
        QCOMPARE(f.service.quickFailures(), 0);
        QCOMPARE(f.service.status(), NowPlayingService::Status::Running);
        f.adapter->exitStream(0);
        QCOMPARE(f.service.quickFailures(), 0);

        // A failure between healthy runs does not add up to three.
        f.clock.advance(2);
        f.clock.advance(1);
        f.adapter->exitStream(1);
        QCOMPARE(f.service.quickFailures(), 1);
    }

    void stopEndsTheStreamAndClearsTheDisplay()
    {
        Fixture f;
        f.adapter->emitTrack(song(QStringLiteral("A"), true, 0, f.clock.now()));
        QVERIFY(f.service.hasTrack());
        for (int i = 0; i < 3; ++i) {
            f.adapter->exitStream(1);
            f.clock.advance(2);
        }
        QCOMPARE(f.service.status(), NowPlayingService::Status::Unavailable);
        QSignalSpy track(&f.service, &NowPlayingService::trackChanged);
        f.service.stop();
        QCOMPARE(track.count(), 1);
        QVERIFY(!f.service.hasTrack());
        QCOMPARE(f.service.status(), NowPlayingService::Status::Starting);
        QCOMPARE(f.adapter->streamsStopped, 1);
        f.clock.advance(10);
        QCOMPARE(f.adapter->streamsStarted, 4);
    }

    void notifiesOnlyRealChanges()
    {
        Fixture f;
        QSignalSpy track(&f.service, &NowPlayingService::trackChanged);
        const Track a = song(QStringLiteral("A"), true, 10, f.clock.now());
        f.adapter->emitTrack(a);
        f.adapter->emitTrack(a);
        f.adapter->emitTrack(std::nullopt);
        f.adapter->emitTrack(std::nullopt);
        QCOMPARE(track.count(), 2);
    }

    // The play head after a report that arrives `after` seconds after a seek
    // to 100 s, reporting `reported` seconds at that moment.
    void keepsTheSeekPositionUntilThePlayerCatchesUp_data()
    {
        QTest::addColumn<double>("after");
        QTest::addColumn<double>("reported");
        QTest::addColumn<double>("shown");
        QTest::addColumn<bool>("stillPending");
        QTest::newRow("stale report 1 s later keeps the seek") << 1.0 << 20.0 << 101.0 << true;
        QTest::newRow("stale report 3 s later wins") << 3.0 << 22.0 << 22.0 << false;
        QTest::newRow("1.4 s off counts as landed") << 1.0 << 102.4 << 102.4 << false;
        QTest::newRow("exactly there") << 0.5 << 100.5 << 100.5 << false;
    }
    void keepsTheSeekPositionUntilThePlayerCatchesUp()
    {
        QFETCH(double, after);
        QFETCH(double, reported);
        QFETCH(double, shown);
        QFETCH(bool, stillPending);
        Fixture f;
        f.adapter->emitTrack(song(QStringLiteral("A"), true, 10, f.clock.now()));
        f.service.seek(100, f.clock.now());
        QCOMPARE(f.service.position(), 100.0);
        f.clock.advance(after);
        f.adapter->emitTrack(song(QStringLiteral("A"), true, reported, f.clock.now()));
        QCOMPARE(f.service.position(), shown);
        QCOMPARE(f.service.pendingSeek().has_value(), stillPending);
    }

    void aResumeWithAStaleTimestampStartsFromTheResume()
    {
        Fixture f;
        const QDateTime pausedAt = f.clock.now();
        f.adapter->emitTrack(song(QStringLiteral("A"), false, 42, pausedAt));
        f.clock.advance(20);
        // The player resumes but reports the position with the pause's timestamp.
        f.adapter->emitTrack(song(QStringLiteral("A"), true, 42, pausedAt));
        QCOMPARE(f.service.position(), 42.0);
        f.clock.advance(3);
        QCOMPARE(f.service.position(), 45.0);
        // A new title forgets the resume.
        f.adapter->emitTrack(song(QStringLiteral("B"), true, 0, pausedAt));
        QCOMPARE(f.service.position(), 23.0);
    }

    void seeksRunOneHelperAtATimeAndEndOnTheNewest()
    {
        Fixture f;
        f.adapter->emitTrack(song(QStringLiteral("A"), true, 0, f.clock.now()));
        for (double target : {10.0, 20.0, 30.0, 40.0})
            f.service.seek(target, f.clock.now());
        QCOMPARE(f.adapter->seeks, QList<double>({10.0}));
        QVERIFY(f.service.isSeeking());
        f.adapter->finishSeek();
        QCOMPARE(f.adapter->seeks, QList<double>({10.0, 40.0}));
        f.adapter->finishSeek();
        QVERIFY(!f.service.isSeeking());
        QCOMPARE(f.adapter->seeks.size(), 2);
        f.service.seek(50, f.clock.now());
        QCOMPARE(f.adapter->seeks.last(), 50.0);
    }

    void playPauseActsAtOnce()
    {
        Fixture f;
        f.adapter->emitTrack(song(QStringLiteral("A"), false, 42, f.clock.now().addSecs(-60)));
        f.service.send(Command::TogglePlayPause);
        QCOMPARE(f.adapter->oneShots, QList<QStringList>({{QStringLiteral("send"), QStringLiteral("2")}}));
        QVERIFY(f.service.isPlaying());
        QCOMPARE(f.service.position(), 42.0);
        f.service.send(Command::NextTrack);
        QCOMPARE(f.adapter->oneShots.last(), QStringList({QStringLiteral("send"), QStringLiteral("4")}));
        QVERIFY(f.service.isPlaying());
    }

    void spotifyShuffleTwiceEndsOnTheSecondClick()
    {
        Fixture f;
        Track t = song(QStringLiteral("S"), true, 0, f.clock.now());
        t.appBundleIdentifier = NowPlayingService::kSpotifyId;
        t.shuffle = Track::ShuffleMode::Tracks; // Spotify's own report is ignored
        f.adapter->emitTrack(t);
        QCOMPARE(f.spotify.reads.size(), 1);
        QVERIFY(f.service.shuffleKnown());
        QVERIFY(!f.service.shuffleOn());
        f.spotify.reads.takeFirst()(SpotifyScripting::Modes{false, false});

        f.service.send(Command::AdvanceShuffleMode);
        QVERIFY(f.service.shuffleOn());
        f.clock.advance(0.3);
        f.service.send(Command::AdvanceShuffleMode);
        QVERIFY(!f.service.shuffleOn());
        QVERIFY(f.adapter->oneShots.isEmpty());
        QCOMPARE(f.spotify.sets, (QList<QPair<QString, bool>>{{QStringLiteral("shuffle"), true}, {QStringLiteral("shuffle"), false}}));

        // Only the second click's confirmation reads; Spotify is slow and
        // still says "on" at first.
        f.clock.advance(0.6);
        QCOMPARE(f.spotify.reads.size(), 1);
        f.spotify.reads.takeFirst()(SpotifyScripting::Modes{true, false});
        QVERIFY(!f.service.shuffleOn());
        f.clock.advance(0.4);
        f.spotify.reads.takeFirst()(SpotifyScripting::Modes{false, false});
        QVERIFY(!f.service.shuffleOn());
        f.clock.advance(5);
        QVERIFY(f.spotify.reads.isEmpty());
    }

    void refusedSpotifyHidesItsModes()
    {
        Fixture f;
        f.spotify.answer = SpotifyScripting::Access::Denied;
        Track t = song(QStringLiteral("S"), true, 0, f.clock.now());
        t.appBundleIdentifier = NowPlayingService::kSpotifyId;
        f.adapter->emitTrack(t);
        f.spotify.reads.takeFirst()(std::nullopt);
        QVERIFY(!f.service.shuffleKnown());
        QVERIFY(!f.service.repeatKnown());
    }

    void looksForFileCoversOncePerSongAfterADelay_data()
    {
        QTest::addColumn<QString>("app");
        QTest::addColumn<QString>("mediaType");
        QTest::addColumn<bool>("searched");
        QTest::newRow("music player") << "org.example.Player" << "" << true;
        QTest::newRow("browser") << "firefox" << "" << false;
        QTest::newRow("video type") << "org.example.Player" << "Video" << false;
    }
    void looksForFileCoversOncePerSongAfterADelay()
    {
        QFETCH(QString, app);
        QFETCH(QString, mediaType);
        QFETCH(bool, searched);
        Fixture f;
        f.search.cover = solidPng(QColor(200, 30, 40), QSize(40, 40));
        Track t = song(QStringLiteral("A"), true, 0, f.clock.now());
        t.appBundleIdentifier = app;
        if (!mediaType.isEmpty())
            t.mediaType = mediaType;
        f.adapter->emitTrack(t);
        f.clock.advance(0.9);
        f.adapter->emitTrack(t);
        QVERIFY(f.search.queries.isEmpty());
        f.clock.advance(0.1);
        QCOMPARE(f.search.queries.size(), searched ? 1 : 0);
        QTRY_COMPARE(f.service.hasArtwork(), searched);
        // Later reports of the same song take the cover from the cache.
        f.adapter->emitTrack(t);
        f.clock.advance(2);
        QCOMPARE(f.search.queries.size(), searched ? 1 : 0);
        QCOMPARE(f.service.hasArtwork(), searched);
    }

    // A cover is decoded once, off the main thread, at the size it is drawn;
    // reports that repeat it change nothing, and a newer cover wins over one
    // still being decoded.
    void decodesEachCoverOnceAtTheShownSize()
    {
        Fixture f;
        QSignalSpy artwork(&f.service, &NowPlayingService::artworkChanged);
        QSignalSpy colors(&f.service, &NowPlayingService::colorsChanged);
        Track t = song(QStringLiteral("A"), true, 0, f.clock.now());
        t.setArtwork(solidPng(QColor(200, 30, 40), QSize(1200, 600)));
        f.adapter->emitTrack(t);
        t.setArtwork(solidPng(QColor(20, 40, 200), QSize(3000, 3000)));
        f.adapter->emitTrack(t);
        for (int i = 1; i <= 5; ++i) {
            t.elapsed = i;
            f.adapter->emitTrack(t);
        }
        QTRY_COMPARE(artwork.count(), 1);
        QTest::qWait(100); // the red cover's late result must not land
        QCOMPARE(artwork.count(), 1);
        QCOMPARE(colors.count(), 1);
        QCOMPARE(f.service.artwork().size(), QSize(256, 256));
        const auto album = *f.service.albumColor();
        QVERIFY(ArtworkAccentColor::contrastAgainstBlack(album) >= 3.0);
        QVERIFY(album.b > album.r);
        QVERIFY(std::abs(f.service.accentColor().b - album.b * 0.5) < 1e-9);
        QCOMPARE(f.service.highlightColor(), album.toColor());

        f.adapter->emitTrack(std::nullopt);
        QCOMPARE(colors.count(), 2);
        QVERIFY(!f.service.hasArtwork());
        QVERIFY(f.service.accentColor() == NowPlayingService::kDefaultAccent);
    }

    void subtitleFallsBackToTheAlbum()
    {
        Fixture f;
        Track t = song(QStringLiteral("A"), true, 0, f.clock.now());
        using Case = std::array<const char *, 3>; // artist, album, the subtitle shown
        for (const auto &[artist, album, subtitle] : {Case{"Artist", "Album", "Artist"}, Case{"", "Album", "Album"}, Case{"", "", ""}}) {
            const auto present = [](const char *text) { return *text ? std::optional(QString::fromLatin1(text)) : std::nullopt; };
            t.artist = present(artist);
            t.album = present(album);
            f.adapter->emitTrack(t);
            QCOMPARE(f.service.subtitle(), QString::fromLatin1(subtitle));
        }
    }

    void formatsTimes()
    {
        const QStringList texts{NowPlayingService::formatTime(0), NowPlayingService::formatTime(65.9),
                                NowPlayingService::formatTime(3723), NowPlayingService::formatTime(-4)};
        QCOMPARE(texts, QStringList({"0:00", "1:05", "1:02:03", "0:00"}));
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingService)
#include "tst_NowPlayingService.moc"
