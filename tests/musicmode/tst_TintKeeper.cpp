#include "FakeIconTintStore.h"

#include "core/UserDefaults.h"
#include "musicmode/TintKeeper.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

using Target = TintKeeper::Target;

const IconTint kUsers{3, std::nullopt};
const IconTint kUsersLater{6, std::nullopt};

std::optional<IconTint> stored(UserDefaults &defaults, const QString &key)
{
    if (!defaults.contains(key))
        return std::nullopt;
    return IconTint::decoded(defaults.stringValue(key).toUtf8());
}

} // namespace

Q_DECLARE_METATYPE(IconTint)
Q_DECLARE_METATYPE(std::optional<IconTint>)

class tst_TintKeeper : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // A script of what happens, in order: "red", "blue" and "grey" bring an
    // album's accent, "original" asks for the user's own back, "user" is the
    // user picking a tint by hand, "unreadable" and "readable" the desktop's
    // settings failing to load and loading again.
    void convergesAndGivesTheUsersTintBack_data()
    {
        QTest::addColumn<bool>("eightBit");
        QTest::addColumn<QStringList>("script");
        QTest::addColumn<IconTint>("shown");
        QTest::addColumn<std::optional<IconTint>>("originalKey");
        QTest::addColumn<std::optional<IconTint>>("appliedKey");

        using Kept = std::optional<IconTint>;
        const auto row = [](const char *name, const QStringList &script, const IconTint &shown, Kept original = {},
                            Kept applied = {}, bool eightBit = false) {
            QTest::newRow(name) << eightBit << script << shown << original << applied;
        };
        const IconTint red = IconTint::customColor(1, 0, 0);
        const IconTint blue = IconTint::customColor(0, 0, 1);
        row("first accent keeps the user's tint", {"red"}, red, kUsers, red);
        row("second accent still keeps the user's first tint", {"red", "blue"}, blue, kUsers, blue);
        row("stopping puts the user's tint back and forgets", {"red", "blue", "original"}, kUsers);
        row("a tint picked by hand meanwhile survives the stop", {"red", "user", "original"}, kUsersLater);
        row("a tint picked by hand becomes the one to give back", {"red", "user", "blue", "original"}, kUsersLater);
        row("an unreadable tint leaves the keys for the next start", {"red", "unreadable", "original"}, red, kUsers, red);
        row("the next start finishes the restore", {"red", "unreadable", "original", "readable", "original"}, kUsers);
        // The desktop keeps whole 8-bit channels: what we remember must be
        // what it shows, or the second album would be taken for the user's.
        const IconTint grey = IconTint::customColor(77 / 255.0, 77 / 255.0, 77 / 255.0);
        row("a desktop that rounds colours", {"grey", "grey"}, grey, kUsers, grey, true);
        row("nothing applied, nothing restored", {"original"}, kUsers);
    }
    void convergesAndGivesTheUsersTintBack()
    {
        QFETCH(bool, eightBit);
        QFETCH(QStringList, script);
        QFETCH(IconTint, shown);
        QFETCH(std::optional<IconTint>, originalKey);
        QFETCH(std::optional<IconTint>, appliedKey);

        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("Tarnwick.conf"));
        auto *store = new FakeIconTintStore(kUsers);
        store->eightBit = eightBit;
        TintKeeper keeper(std::unique_ptr<IconTintStore>(store), file);
        const QHash<QString, Target> targets{{"red", Target::accent(1, 0, 0)}, {"blue", Target::accent(0, 0, 1)},
                                             {"grey", Target::accent(0.3, 0.3, 0.3)}, {"original", Target::original()}};
        for (const QString &step : script) {
            if (targets.contains(step))
                keeper.converge(targets[step]);
            else if (step == u"user")
                store->current = kUsersLater;
            else
                store->readable = step == u"readable";
        }
        QCOMPARE(store->current, shown);
        // Read back from disk, as the next start would.
        UserDefaults disk(file);
        QCOMPARE(stored(disk, TintKeeper::kOriginalTintKey), originalKey);
        QCOMPARE(stored(disk, TintKeeper::kAppliedTintKey), appliedKey);
    }

    void requestsMadeDuringAChangeMergeIntoOneWriteOfTheNewest()
    {
        QTemporaryDir dir;
        auto *store = new FakeIconTintStore(kUsers);
        store->holdFirstRead = true;
        TintKeeper keeper(std::unique_ptr<IconTintStore>(store), dir.filePath(QStringLiteral("t.conf")));
        keeper.request(Target::accent(1, 0, 0));
        store->entered.acquire(); // the worker is busy with the first request
        keeper.request(Target::accent(0, 1, 0));
        keeper.request(Target::accent(0, 0, 1));
        store->gate.release();
        keeper.waitForIdle();
        QCOMPARE(store->writes, (QList<IconTint>{IconTint::customColor(1, 0, 0), IconTint::customColor(0, 0, 1)}));
    }

    void tintsSurviveTheSettingsFile_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<std::optional<IconTint>>("tint");
        QTest::newRow("custom") << QByteArray(R"({"name":10,"custom":[0.25,0.5,1,1]})")
                                << std::optional(IconTint::customColor(0.25, 0.5, 1));
        QTest::newRow("named") << QByteArray(R"({"name":4})") << std::optional(IconTint{4, std::nullopt});
        QTest::newRow("not json") << QByteArray("4") << std::optional<IconTint>();
        QTest::newRow("negative name") << QByteArray(R"({"name":-1})") << std::optional<IconTint>();
        QTest::newRow("custom not numbers") << QByteArray(R"({"name":10,"custom":["red"]})")
                                            << std::optional<IconTint>();
    }
    void tintsSurviveTheSettingsFile()
    {
        QFETCH(QByteArray, text);
        QFETCH(std::optional<IconTint>, tint);
        QCOMPARE(IconTint::decoded(text), tint);
        if (tint)
            QCOMPARE(IconTint::decoded(tint->encoded()), tint);
    }
};

QTEST_GUILESS_MAIN(tst_TintKeeper)
#include "tst_TintKeeper.moc"
