#include "nowplaying/NowPlayingTrack.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using Track = NowPlayingTrack;

namespace {

const QDateTime kNow(QDate(2026, 11, 16), QTime(9, 0), Qt::UTC);

// The decoded fields that differ from a bare track, in one line.
QString describe(const std::optional<Track> &t)
{
    if (!t)
        return QStringLiteral("-");
    QStringList f;
    const auto add = [&f](const char *key, const auto &value) {
        if (value)
            f << QStringLiteral("%1=%2").arg(QLatin1String(key)).arg(*value);
    };
    add("artist", t->artist);
    add("app", t->appBundleIdentifier);
    if (t->isPlaying)
        f << QStringLiteral("playing");
    if (t->playbackRate != 0)
        f << QStringLiteral("rate=%1").arg(t->playbackRate);
    const auto name = [](const auto &mode) { return mode ? std::optional(QVariant::fromValue(*mode).toString()) : std::nullopt; };
    add("shuffle", name(t->shuffle));
    add("repeat", name(t->repeatMode));
    add("duration", t->duration);
    add("elapsed", t->elapsed);
    add("at", t->timestamp ? std::optional(t->timestamp->toMSecsSinceEpoch()) : std::nullopt);
    add("art", t->artworkData ? std::optional(QString::fromLatin1(t->artworkData->toHex())) : std::nullopt);
    add("media", t->mediaType);
    return f.join(QLatin1Char(' '));
}

} // namespace

class tst_NowPlayingTrack : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void decodesPayload_data()
    {
        QTest::addColumn<QByteArray>("payload");
        QTest::addColumn<QString>("fields");
        const auto row = [](const char *name, const char *payload, const char *fields) {
            QTest::newRow(name) << QByteArray(payload) << QString::fromUtf8(fields);
        };
        row("empty dictionary", "{}", "-");
        row("empty title", R"({"title":"","artist":"A"})", "-");
        row("title of wrong type", R"({"title":42})", "-");
        row("empty artist is absent", R"({"title":"T","artist":""})", "");
        row("playing without rate runs at 1", R"({"title":"T","playing":true})", "playing rate=1");
        row("paused without rate stands", R"({"title":"T","playing":false,"playbackRate":"fast"})", "");
        row("parent app wins", R"({"title":"T","bundleIdentifier":"plugin","parentApplicationBundleIdentifier":"firefox"})",
            "app=firefox");
        row("own app", R"({"title":"T","bundleIdentifier":"mpv","artist":"X"})", "artist=X app=mpv");
        row("codes 0 and 4 are unknown", R"({"title":"T","shuffleMode":0,"repeatMode":4})", "");
        row("codes decode", R"({"title":"T","shuffleMode":3,"repeatMode":2,"playbackRate":0.5})",
            "rate=0.5 shuffle=Tracks repeat=Track");
        row("fractional code is unknown", R"({"title":"T","shuffleMode":1.5,"repeatMode":"1"})", "");
        row("playing must be a boolean", R"({"title":"T","playing":1})", "");
        row("times, cover and media type", R"({"title":"T","durationMicros":215500000,"elapsedTimeMicros":1500000,
            "timestampEpochMicros":1795251600250000,"artworkData":"AAEC","mediaType":"audio"})",
            "duration=215.5 elapsed=1.5 at=1795251600250 art=000102 media=audio");
        row("broken base64 is no cover", R"({"title":"T","artworkData":"not base64!"})", "");
    }
    void decodesPayload()
    {
        QFETCH(QByteArray, payload);
        QFETCH(QString, fields);
        QCOMPARE(describe(Track::fromPayload(QJsonDocument::fromJson(payload).object().toVariantMap())), fields);
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
        t.elapsed = 42;
        t.timestamp = kNow.addSecs(-60);
        t.togglePlaybackOptimistically(kNow);
        QCOMPARE(describe(t), QStringLiteral("playing rate=1 elapsed=42 at=%1").arg(kNow.toMSecsSinceEpoch()));
        t.togglePlaybackOptimistically(kNow.addSecs(5));
        QCOMPARE(describe(t), QStringLiteral("elapsed=47 at=%1").arg(kNow.addSecs(5).toMSecsSinceEpoch()));
    }

    // A field left out of the comparison would make the service skip a real
    // change.
    void commandsFromRawValues()
    {
        for (int raw : {-1, 3, 8})
            QVERIFY(!Track::commandFromRaw(raw));
        QCOMPARE(*Track::commandFromRaw(7), Track::MediaCommand::AdvanceRepeatMode);
        QCOMPARE(*Track::commandFromRaw(2), Track::MediaCommand::TogglePlayPause);
    }

    void equalityCoversEveryField()
    {
        const QList<std::function<void(Track &)>> changes{
            [](Track &t) { t.title = QStringLiteral("U"); }, [](Track &t) { t.artist = QStringLiteral("A"); },
            [](Track &t) { t.album = QStringLiteral("B"); }, [](Track &t) { t.appBundleIdentifier = QStringLiteral("mpv"); },
            [](Track &t) { t.isPlaying = true; }, [](Track &t) { t.duration = 1; }, [](Track &t) { t.elapsed = 1; },
            [](Track &t) { t.timestamp = kNow; }, [](Track &t) { t.playbackRate = 1; },
            [](Track &t) { t.artworkData = QByteArray("x"); }, [](Track &t) { t.shuffle = Track::ShuffleMode::Off; },
            [](Track &t) { t.repeatMode = Track::RepeatMode::Off; }, [](Track &t) { t.mediaType = QStringLiteral("audio"); },
        };
        Track base;
        base.title = QStringLiteral("T");
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
