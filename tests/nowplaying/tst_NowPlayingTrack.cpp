#include "nowplaying/NowPlayingTrack.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using Track = NowPlayingTrack;

namespace {

QVariantMap json(const char *text)
{
    return QJsonDocument::fromJson(text).object().toVariantMap();
}

const QDateTime kNow(QDate(2026, 11, 16), QTime(9, 0), Qt::UTC);

} // namespace

class tst_NowPlayingTrack : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void decodesPayload_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<bool>("isTrack");
        QTest::addColumn<QString>("artist");
        QTest::addColumn<QString>("app");
        QTest::addColumn<bool>("playing");
        QTest::addColumn<double>("rate");
        QTest::addColumn<int>("shuffle"); // -1 unknown
        QTest::addColumn<int>("repeat");

        const auto row = [](const char *name, const char *payload, bool isTrack, const char *artist = "",
                            const char *app = "", bool playing = false, double rate = 0, int shuffle = -1, int repeat = -1) {
            QTest::newRow(name) << QByteArray(payload) << isTrack << QString::fromUtf8(artist) << QString::fromUtf8(app)
                                << playing << rate << shuffle << repeat;
        };
        row("empty dictionary", "{}", false);
        row("empty title", R"({"title":"","artist":"A"})", false);
        row("title of wrong type", R"({"title":42})", false);
        row("empty artist is absent", R"({"title":"T","artist":""})", true);
        row("playing without rate runs at 1", R"({"title":"T","playing":true})", true, "", "", true, 1.0);
        row("paused without rate stands", R"({"title":"T","playing":false,"playbackRate":"fast"})", true);
        row("parent app wins", R"({"title":"T","bundleIdentifier":"plugin","parentApplicationBundleIdentifier":"firefox"})",
            true, "", "firefox");
        row("own app", R"({"title":"T","bundleIdentifier":"mpv","artist":"X"})", true, "X", "mpv");
        row("codes 0 and 4 are unknown", R"({"title":"T","shuffleMode":0,"repeatMode":4})", true);
        row("codes decode", R"({"title":"T","shuffleMode":3,"repeatMode":2,"playbackRate":0.5})", true, "", "", false, 0.5,
            int(Track::ShuffleMode::Tracks), int(Track::RepeatMode::Track));
        row("fractional code is unknown", R"({"title":"T","shuffleMode":1.5,"repeatMode":"1"})", true);
        row("playing must be a boolean", R"({"title":"T","playing":1})", true);
    }
    void decodesPayload()
    {
        QFETCH(QByteArray, payload);
        QFETCH(bool, isTrack);
        const auto track = Track::fromPayload(QJsonDocument::fromJson(payload).object().toVariantMap());
        QCOMPARE(track.has_value(), isTrack);
        if (!track)
            return;
        QFETCH(QString, artist);
        QFETCH(QString, app);
        QFETCH(bool, playing);
        QFETCH(double, rate);
        QFETCH(int, shuffle);
        QFETCH(int, repeat);
        QCOMPARE(track->artist.value_or(QString()), artist);
        QCOMPARE(track->artist.has_value(), !artist.isEmpty());
        QCOMPARE(track->appBundleIdentifier.value_or(QString()), app);
        QCOMPARE(track->isPlaying, playing);
        QCOMPARE(track->playbackRate, rate);
        QCOMPARE(track->shuffle ? int(*track->shuffle) : -1, shuffle);
        QCOMPARE(track->repeatMode ? int(*track->repeatMode) : -1, repeat);
    }

    void decodesTimesAndArtwork()
    {
        const auto t = Track::fromPayload(json(R"({"title":"T","durationMicros":215500000,"elapsedTimeMicros":1500000,
            "timestampEpochMicros":1795251600250000,"artworkData":"AAEC","mediaType":"audio"})"));
        QVERIFY(t);
        QCOMPARE(*t->duration, 215.5);
        QCOMPARE(*t->elapsed, 1.5);
        QCOMPARE(*t->timestamp, QDateTime::fromMSecsSinceEpoch(1795251600250, Qt::UTC));
        QCOMPARE(*t->artworkData, QByteArray("\x00\x01\x02", 3));
        QCOMPARE(*t->mediaType, QStringLiteral("audio"));
        const auto bad = Track::fromPayload(json(R"({"title":"T","artworkData":"not base64!"})"));
        QVERIFY(!bad->artworkData);
    }

    void extrapolates_data()
    {
        QTest::addColumn<bool>("playing");
        QTest::addColumn<double>("elapsed");
        QTest::addColumn<double>("rate");
        QTest::addColumn<double>("secondsAgo");
        QTest::addColumn<double>("duration"); // 0 = unknown
        QTest::addColumn<double>("expected");

        QTest::newRow("paused stays") << false << 42.0 << 0.0 << 10.0 << 0.0 << 42.0;
        QTest::newRow("plays at rate") << true << 10.0 << 2.0 << 1.0 << 0.0 << 12.0;
        QTest::newRow("rate 0 still advances") << true << 10.0 << 0.0 << 3.0 << 0.0 << 13.0;
        QTest::newRow("clamped to duration") << true << 10.0 << 2.0 << 3.0 << 14.0 << 14.0;
        QTest::newRow("negative clamped to 0") << false << -3.0 << 0.0 << 0.0 << 0.0 << 0.0;
        QTest::newRow("timestamp in the future") << true << 1.0 << 1.0 << -5.0 << 0.0 << 0.0;
    }
    void extrapolates()
    {
        QFETCH(bool, playing);
        QFETCH(double, elapsed);
        QFETCH(double, rate);
        QFETCH(double, secondsAgo);
        QFETCH(double, duration);
        QFETCH(double, expected);
        Track t;
        t.title = QStringLiteral("T");
        t.isPlaying = playing;
        t.elapsed = elapsed;
        t.playbackRate = rate;
        t.timestamp = kNow.addMSecs(qint64(-secondsAgo * 1000));
        if (duration > 0)
            t.duration = duration;
        QCOMPARE(*t.elapsedAt(kNow), expected);
        t.elapsed.reset();
        QVERIFY(!t.elapsedAt(kNow));
    }

    void optimisticToggleStartsFromTheShownPosition()
    {
        Track t;
        t.title = QStringLiteral("T");
        t.elapsed = 42;
        t.timestamp = kNow.addSecs(-60);
        t.playbackRate = 0;
        t.togglePlaybackOptimistically(kNow);
        QVERIFY(t.isPlaying);
        QCOMPARE(t.playbackRate, 1.0);
        QCOMPARE(*t.elapsed, 42.0);
        QCOMPARE(*t.timestamp, kNow);
        t.togglePlaybackOptimistically(kNow.addSecs(5));
        QVERIFY(!t.isPlaying);
        QCOMPARE(t.playbackRate, 0.0);
        QCOMPARE(*t.elapsed, 47.0);
    }

    void commandsFromRawValues()
    {
        QVERIFY(!Track::commandFromRaw(3));
        QVERIFY(!Track::commandFromRaw(8));
        QVERIFY(!Track::commandFromRaw(-1));
        QCOMPARE(*Track::commandFromRaw(7), Track::MediaCommand::AdvanceRepeatMode);
        QCOMPARE(*Track::commandFromRaw(2), Track::MediaCommand::TogglePlayPause);
    }

    void equalityCoversEveryField()
    {
        Track base;
        base.title = QStringLiteral("T");
        const QList<std::function<void(Track &)>> changes{
            [](Track &t) { t.title = QStringLiteral("U"); },
            [](Track &t) { t.artist = QStringLiteral("A"); },
            [](Track &t) { t.album = QStringLiteral("B"); },
            [](Track &t) { t.appBundleIdentifier = QStringLiteral("mpv"); },
            [](Track &t) { t.isPlaying = true; },
            [](Track &t) { t.duration = 1; },
            [](Track &t) { t.elapsed = 1; },
            [](Track &t) { t.timestamp = kNow; },
            [](Track &t) { t.playbackRate = 1; },
            [](Track &t) { t.artworkData = QByteArray("x"); },
            [](Track &t) { t.shuffle = Track::ShuffleMode::Off; },
            [](Track &t) { t.repeatMode = Track::RepeatMode::Off; },
            [](Track &t) { t.mediaType = QStringLiteral("audio"); },
        };
        QCOMPARE(changes.size(), 13);
        for (const auto &change : changes) {
            Track other = base;
            change(other);
            QVERIFY(other != base);
        }
        QVERIFY(Track(base) == base);
    }
};

QTEST_GUILESS_MAIN(tst_NowPlayingTrack)
#include "tst_NowPlayingTrack.moc"
