#include "FakeIconTintStore.h"

#include "core/ManualClock.h"
#include "core/UserDefaults.h"
#include "musicmode/MusicMode.h"
#include "musicmode/PosterDisplay.h"
#include "musicmode/TintKeeper.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

// What the desktop was shown, in order: "A1" for the poster of album A,
// track 1; "-" for the poster taken away.
class RecordingPosters final : public PosterDisplay
{
public:
    void present(const AlbumPoster &poster) override { shown.append(poster.title); }
    void hide() override { shown.append(QStringLiteral("-")); }
    QStringList shown;
};

// "A1": track 1 of album A plays with its cover; "A1?" plays before its
// cover came; "A1|" is paused; "" is nothing playing; "wait 0.5" lets time
// pass; "toggle" flips the switch.
void run(MusicMode &mode, ManualClock &clock, const QStringList &script)
{
    for (const QString &step : script) {
        if (step.startsWith(u"wait ")) {
            clock.advance(step.mid(5).toDouble());
            continue;
        }
        if (step == u"toggle") {
            mode.toggle();
            continue;
        }
        MusicMode::Playback playback;
        if (!step.isEmpty()) {
            const char album = step.at(0).toLatin1();
            playback.hasTrack = true;
            playback.isPlaying = !step.endsWith(u'|');
            if (!step.endsWith(u'?')) {
                const QColor color = QColor::fromHsv(album * 40 % 360, 200, 200);
                playback.color = ArtworkAccentColor::RGB{color.redF(), color.greenF(), color.blueF()};
                playback.poster = AlbumPoster{{}, color, step.left(2), {}, {}, {}, QByteArray(1, album)};
            }
        }
        mode.setPlayback(playback);
    }
}

} // namespace

class tst_MusicMode : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        m_dir.emplace();
        m_defaults.emplace(m_dir->filePath(QStringLiteral("Tarnwick.conf")));
    }

    void followsTheMusicAfterItsWaits_data()
    {
        QTest::addColumn<bool>("on");
        QTest::addColumn<QStringList>("script");
        QTest::addColumn<QStringList>("shown");

        const auto row = [](const char *name, bool on, const QStringList &script, const QStringList &shown) {
            QTest::newRow(name) << on << script << shown;
        };
        row("the album look comes after the settle", true, {"A1", "wait 0.14"}, {});
        row("settled", true, {"A1", "wait 0.15"}, {"A1"});
        row("a cover in time brings the album look", true, {"A1?", "wait 2.9", "A1", "wait 0.15", "wait 5"}, {"A1"});
        row("three seconds without a cover bring the original back", true, {"A1", "wait 0.15", "B1?", "wait 2.9"}, {"A1"});
        row("and after the settle it is back", true, {"A1", "wait 0.15", "B1?", "wait 3.2"}, {"A1", "-"});
        row("a pause returns the original after the settle", true, {"A1", "wait 0.15", "A1|", "wait 0.15"}, {"A1", "-"});
        row("a short pause changes nothing", true, {"A1", "wait 0.15", "A1|", "wait 0.1", "A1", "wait 2"}, {"A1"});
        row("skipping through albums shows only the last", true, {"A1", "wait 0.1", "B1", "wait 0.1", "C1", "wait 0.15"},
            {"C1"});
        row("the same cover waits longer", true, {"A1", "wait 0.15", "A2", "wait 0.9"}, {"A1"});
        row("and then changes", true, {"A1", "wait 0.15", "A2", "wait 1"}, {"A1", "A2"});
        row("switched off, nothing happens", false, {"A1", "wait 5", ""}, {});
        row("switching on shows the album at once", false, {"A1", "toggle"}, {"A1"});
        row("switching off puts the original back at once", true, {"A1", "wait 0.15", "toggle"}, {"A1", "-"});
    }
    void followsTheMusicAfterItsWaits()
    {
        QFETCH(bool, on);
        QFETCH(QStringList, script);
        QFETCH(QStringList, shown);
        m_defaults->setBool(MusicMode::kOnKey, on);
        ManualClock clock;
        RecordingPosters posters;
        MusicMode mode(clock, *m_defaults, nullptr, &posters);
        run(mode, clock, script);
        QCOMPARE(posters.shown, shown);
    }

    void theSwitchIsKeptOnlyWhereSomethingCanChange()
    {
        ManualClock clock;
        RecordingPosters posters;
        MusicMode nothing(clock, *m_defaults, nullptr, nullptr);
        nothing.toggle();
        QVERIFY(!nothing.isOn());
        QVERIFY(!m_defaults->contains(MusicMode::kOnKey));
        QCOMPARE(nothing.helpText(), MusicMode::posterOnlyHelpText());

        MusicMode mode(clock, *m_defaults, nullptr, &posters);
        mode.toggle();
        QVERIFY(UserDefaults(m_defaults->fileName()).boolValue(MusicMode::kOnKey));
        QVERIFY(MusicMode(clock, *m_defaults, nullptr, &posters).isOn());
    }

    void restoringBeforeQuitPutsTintAndPosterBack()
    {
        m_defaults->setBool(MusicMode::kOnKey, true);
        ManualClock clock;
        RecordingPosters posters;
        auto *store = new FakeIconTintStore(IconTint{2, std::nullopt});
        auto *tints = new TintKeeper(std::unique_ptr<IconTintStore>(store), m_defaults->fileName());
        MusicMode mode(clock, *m_defaults, std::unique_ptr<TintKeeper>(tints), &posters);
        QCOMPARE(mode.helpText(), MusicMode::tintingHelpText());
        run(mode, clock, {"A1", "wait 0.15", "B1", "wait 0.1"});
        tints->waitForIdle();
        QCOMPARE(store->current.name, IconTint::kCustom);

        mode.restoreNow(); // no wait after it: it is done when it returns
        QCOMPARE(store->current, (IconTint{2, std::nullopt}));
        QCOMPARE(posters.shown, (QStringList{"A1", "-"}));
        clock.advance(5); // the change to B1 that was pending stays cancelled
        QCOMPARE(posters.shown, (QStringList{"A1", "-"}));
    }

private:
    std::optional<QTemporaryDir> m_dir;
    std::optional<UserDefaults> m_defaults;
};

QTEST_GUILESS_MAIN(tst_MusicMode)
#include "tst_MusicMode.moc"
