#include "camera/CameraMirror.h"
#include "camera/EdgeLight.h"
#include "camera/MirrorDrawerModel.h"
#include "core/ManualClock.h"
#include "notch/ScreenSource.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include "camera/FakeCaptureSession.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using Status = CameraMirror::Status;
using SnapState = MirrorDrawerModel::SnapState;

namespace {

class NoScreens final : public ScreenSource
{
public:
    QList<ScreenReading> screens() const override { return {}; }
};

} // namespace

class tst_CameraMirror : public QObject
{
    Q_OBJECT

    struct Fixture
    {
        explicit Fixture(const QString &pictures = {})
            : camera(capture, clock, pictures.isEmpty() ? dir.path() : pictures)
            , thumbnails(ThumbnailCache::Options{dir.filePath(QStringLiteral("thumbs")), {}, 1})
        {
        }
        QTemporaryDir dir;
        ManualClock clock{QDateTime(QDate(2026, 11, 14), QTime(19, 47, 12))};
        FakeCaptureSession capture;
        CameraMirror camera;
        NoScreens screens;
        EdgeLight light{screens, clock};
        ThumbnailCache thumbnails;
        TrayStore tray{thumbnails};
        MirrorDrawerModel drawer{&camera, &light, &tray, clock};
    };

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    // The capture itself (frames, release, late starts, cycling) is
    // checked on a real device in tst_CameraCaptureIntegration.
    void drawerStatesAndHelpTexts()
    {
        Fixture f;
        f.capture.cameras = {{"a", "Front"}};
        f.drawer.setActive(true);
        f.capture.completeStart();
        f.camera.switchCamera(); // one camera: nothing to switch to
        QVERIFY(f.capture.starts.isEmpty());
        // Checks from the analysis thread are published on the main thread,
        // and go with the camera.
        f.capture.onCheck({FrameCheck::Lighting::TooDark, FrameCheck::Framing::Centered});
        QTRY_VERIFY(f.drawer.hasVerdicts());
        f.drawer.setActive(false);
        QVERIFY(!f.drawer.hasVerdicts());

        f.capture.cameras.clear();
        f.drawer.setActive(true);
        f.capture.completeStart();
        QCOMPARE(f.camera.status(), Status::NoCamera);
        QCOMPARE(f.drawer.panelText(), QStringLiteral("Connect a camera, or open your laptop's lid."));
        QVERIFY(!f.drawer.showsPreCall());

        QCOMPARE(f.drawer.flipHelp(), QStringLiteral("Flip: show as others see you"));
        f.drawer.flip();
        QCOMPARE(f.drawer.flipHelp(), QStringLiteral("Flip: show as a mirror"));
        // Without any screen the light cannot come on.
        f.drawer.toggleLight();
        QVERIFY(!f.light.isOn());
        QCOMPARE(f.drawer.lightHelp(), QStringLiteral("Light: a glowing tube around the screen, for dark rooms"));
    }

    void verdictTexts_data()
    {
        QTest::addColumn<int>("lighting");
        QTest::addColumn<bool>("lightOn");
        QTest::addColumn<int>("framing");
        QTest::addColumn<QString>("texts");
        using L = FrameCheck::Lighting;
        using F = FrameCheck::Framing;
        QTest::newRow("good") << int(L::Good) << false << int(F::Centered) << "Good light|Centered|good";
        QTest::newRow("dark, light off") << int(L::TooDark) << false << int(F::NoFace) << "Too dark, try Light|No face in view|";
        QTest::newRow("dark, light on") << int(L::TooDark) << true << int(F::OffCenter) << "Too dark|Off to the side|";
        QTest::newRow("bright") << int(L::TooBright) << false << int(F::TooClose) << "Too bright|Too close|";
        QTest::newRow("far") << int(L::TooBright) << true << int(F::TooFar) << "Too bright|Too far away|";
    }
    void verdictTexts()
    {
        QFETCH(int, lighting);
        QFETCH(bool, lightOn);
        QFETCH(int, framing);
        QFETCH(QString, texts);
        const Verdict l = MirrorDrawerModel::lightingVerdict(FrameCheck::Lighting(lighting), lightOn);
        const Verdict f = MirrorDrawerModel::framingVerdict(FrameCheck::Framing(framing));
        QCOMPARE(l.isGood, f.isGood);
        QCOMPARE(l.text + QLatin1Char('|') + f.text + QLatin1String(l.isGood ? "|good" : "|"), texts);
    }

    void snapSavesIntoPicturesAndTheTray()
    {
        Fixture f;
        f.capture.photo = QByteArray("\xff\xd8 a photo \xff\xd9", 14);
        f.drawer.snap();
        QCOMPARE(f.drawer.snapState(), SnapState::Working);
        QVERIFY(f.drawer.isFlashing());
        QTRY_COMPARE(f.drawer.snapState(), SnapState::Saved);
        const QString expected = f.dir.filePath(QStringLiteral("Tarnwick/Tarnwick Snap 2026-11-14 at 19.47.12.jpg"));
        QCOMPARE(f.tray.items().first().url, QUrl::fromLocalFile(expected));
        QFile file(expected);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), f.capture.photo);
        QCOMPARE(f.drawer.snapMessage(), QStringLiteral("Saved to Pictures › Tarnwick and added to the tray"));
        f.clock.advance(MirrorDrawerModel::snapResultSeconds);
        QCOMPARE(f.drawer.snapState(), SnapState::Ready);
        QVERIFY(!f.drawer.isFlashing());
        // A second snap in the same second keeps the first one.
        f.drawer.snap();
        QTRY_COMPARE(f.drawer.snapState(), SnapState::Saved);
        QCOMPARE(f.tray.count(), 2);
        QVERIFY(QFile::exists(expected));
    }

    void snapThatCannotBeWrittenFails()
    {
        QTemporaryDir dir;
        // Pictures is a file here: no folder can be made inside it, even as root.
        QFile blocker(dir.filePath(QStringLiteral("Pictures")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        Fixture f(blocker.fileName());
        f.capture.photo = QByteArray("jpeg");
        f.drawer.snap();
        QTRY_COMPARE(f.drawer.snapState(), SnapState::Failed);
        QCOMPARE(f.tray.count(), 0);
        f.clock.advance(MirrorDrawerModel::snapResultSeconds);
        f.capture.photo.clear(); // the camera delivered nothing
        f.drawer.snap();
        QTRY_COMPARE(f.drawer.snapState(), SnapState::Failed);
    }
};

QTEST_MAIN(tst_CameraMirror)
#include "tst_CameraMirror.moc"
