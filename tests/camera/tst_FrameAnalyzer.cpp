#include "camera/FrameAnalyzer.h"
#include "core/ManualClock.h"

#include "camera/CameraFrames.h"

#include <QTest>

using Lighting = FrameCheck::Lighting;
using Framing = FrameCheck::Framing;

class tst_FrameAnalyzer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void verdicts_data();
    void verdicts();
    void photographs_data();
    void photographs();
    void theFastestFinderThisCpuRuns();
    void facesInTheDarkAreLitFromTheFace();
    void analysesAtMostTwiceASecond();

private:
    static std::optional<FrameCheck> analyse(const QVideoFrame &frame,
                                             FrameAnalyzer::FinderFactory finder = &FaceFinder::create)
    {
        ManualClock clock;
        FrameAnalyzer analyzer(clock, finder);
        std::optional<FrameCheck> result;
        analyzer.setOnCheck([&](const FrameCheck &check) { result = check; });
        analyzer.frameArrived(frame);
        return result;
    }
};

void tst_FrameAnalyzer::verdicts_data()
{
    QTest::addColumn<double>("brightness");
    QTest::addColumn<QRectF>("face"); // null: no face
    QTest::addColumn<Lighting>("lighting");
    QTest::addColumn<Framing>("framing");

    // Brightness boundaries are exact: 0.3 is already good, 0.82 already too bright.
    QTest::newRow("black, no face") << 0.0 << QRectF() << Lighting::TooDark << Framing::NoFace;
    QTest::newRow("just under 0.3") << 0.2999 << QRectF() << Lighting::TooDark << Framing::NoFace;
    QTest::newRow("0.3") << 0.3 << QRectF() << Lighting::Good << Framing::NoFace;
    QTest::newRow("just under 0.82") << 0.8199 << QRectF() << Lighting::Good << Framing::NoFace;
    QTest::newRow("0.82") << 0.82 << QRectF() << Lighting::TooBright << Framing::NoFace;
    // The ideal face centre is (0.5, 0.55).
    QTest::newRow("centred") << 0.5 << QRectF(0.3, 0.3, 0.4, 0.5) << Lighting::Good << Framing::Centered;
    QTest::newRow("width 0.14 is in range") << 0.5 << QRectF(0.43, 0.45, 0.14, 0.2) << Lighting::Good << Framing::Centered;
    QTest::newRow("narrower is too far") << 0.5 << QRectF(0.43, 0.45, 0.1399, 0.2) << Lighting::Good << Framing::TooFar;
    QTest::newRow("width 0.5 is in range") << 0.5 << QRectF(0.25, 0.3, 0.5, 0.5) << Lighting::Good << Framing::Centered;
    QTest::newRow("wider is too close") << 0.5 << QRectF(0.25, 0.3, 0.5001, 0.5) << Lighting::Good << Framing::TooClose;
    QTest::newRow("size wins over position") << 0.5 << QRectF(0.4, 0.0, 0.6, 0.3) << Lighting::Good << Framing::TooClose;
    QTest::newRow("tall but narrow is not close") << 0.5 << QRectF(0.4, 0.05, 0.2, 0.95) << Lighting::Good << Framing::Centered;
    QTest::newRow("0.14 to the right") << 0.5 << QRectF(0.44, 0.4, 0.4, 0.3) << Lighting::Good << Framing::Centered;
    QTest::newRow("0.16 to the left") << 0.5 << QRectF(0.14, 0.4, 0.4, 0.3) << Lighting::Good << Framing::OffCenter;
    QTest::newRow("0.19 up is tolerated") << 0.5 << QRectF(0.3, 0.59, 0.4, 0.3) << Lighting::Good << Framing::Centered;
    QTest::newRow("0.21 down is not") << 0.5 << QRectF(0.3, 0.19, 0.4, 0.3) << Lighting::Good << Framing::OffCenter;
}

void tst_FrameAnalyzer::verdicts()
{
    QFETCH(double, brightness);
    QFETCH(QRectF, face);
    QFETCH(Lighting, lighting);
    QFETCH(Framing, framing);
    const FrameCheck check = FrameCheck::judge(face.isNull() ? std::nullopt : std::optional(face), brightness);
    QCOMPARE(check.lighting, lighting);
    QCOMPARE(check.framing, framing);
}

void tst_FrameAnalyzer::photographs_data()
{
    QTest::addColumn<double>("faceWidth"); // wanted share of the frame's width
    QTest::addColumn<QPointF>("faceCentre"); // frame pixels, top down
    QTest::addColumn<bool>("packed"); // BGRA instead of NV12
    QTest::addColumn<double>("tilt"); // degrees, clockwise
    QTest::addColumn<Framing>("framing");
    QTest::addColumn<FrameAnalyzer::FinderFactory>("finder");

    // Every photograph goes through both builds of the face finder: the one
    // built in, and the one this CPU gets (the AVX2 module where it can run).
    const std::pair<const char *, FrameAnalyzer::FinderFactory> finders[] = {
        {"built in", &FaceFinder::createBuiltIn}, {"fastest", &FaceFinder::create}};
    for (const auto &[name, finder] : finders) {
        const auto row = [&](const char *what) -> QTestData & { return QTest::addRow("%s, %s", what, name); };
        // The ideal centre is (320, 216); her face is a box of about 87 px.
        row("centred") << 0.3 << QPointF(320, 216) << false << 0.0 << Framing::Centered << finder;
        row("centred, packed RGB") << 0.3 << QPointF(320, 216) << true << 0.0 << Framing::Centered << finder;
        // A head leaning on a hand: the detector's tilted filters find it.
        row("head tilted left") << 0.3 << QPointF(320, 216) << false << -30.0 << Framing::Centered << finder;
        row("head tilted right") << 0.3 << QPointF(320, 216) << false << 30.0 << Framing::Centered << finder;
        row("off to the left") << 0.3 << QPointF(160, 216) << false << 0.0 << Framing::OffCenter << finder;
        row("too low") << 0.3 << QPointF(320, 340) << false << 0.0 << Framing::OffCenter << finder;
        row("too close") << 0.62 << QPointF(320, 240) << false << 0.0 << Framing::TooClose << finder;
        // Too small for the look at half size, too large for the full-size
        // look's first levels.
        row("between the two looks") << 0.15 << QPointF(320, 216) << false << 0.0 << Framing::Centered << finder;
        row("too far") << 0.11 << QPointF(320, 216) << false << 0.0 << Framing::TooFar << finder;
        row("nobody") << 0.0 << QPointF() << false << 0.0 << Framing::NoFace << finder;
    }
}

void tst_FrameAnalyzer::photographs()
{
    QFETCH(double, faceWidth);
    QFETCH(QPointF, faceCentre);
    QFETCH(bool, packed);
    QFETCH(double, tilt);
    QFETCH(Framing, framing);
    QFETCH(FrameAnalyzer::FinderFactory, finder);

    const QImage photo = CameraFrames::astronaut();
    const QImage picture = faceWidth > 0
        ? CameraFrames::compose(photo, faceWidth * 640 / 87.0, QPointF(223, 128), faceCentre, 128, tilt)
        : CameraFrames::compose(photo.copy(320, 250, 192, 262), 1.5, QPointF(0, 0), QPointF(200, 50));
    const std::optional<FrameCheck> check =
        analyse(packed ? CameraFrames::bgra(picture) : CameraFrames::nv12(picture), finder);
    QVERIFY(check);
    QCOMPARE(check->framing, framing);
    QCOMPARE(check->lighting, Lighting::Good);
}

void tst_FrameAnalyzer::theFastestFinderThisCpuRuns()
{
    // A module that failed to build, install or load would fall back to the
    // built-in finder without a sound; on a CPU that can run it, it must be
    // the one chosen.
#if defined(__x86_64__)
    const bool canRunAvx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
#else
    const bool canRunAvx2 = false;
#endif
    QCOMPARE(QByteArray(FaceFinder::create()->build()), canRunAvx2 ? QByteArray("AVX2") : QByteArray("built in"));
}

void tst_FrameAnalyzer::facesInTheDarkAreLitFromTheFace()
{
    // The same well-lit face in front of a black room, and a black frame:
    // the face's own light decides, and darkness alone is no face.
    const QImage face = CameraFrames::compose(CameraFrames::astronaut().copy(150, 30, 140, 170), 2.4,
                                              QPointF(70, 80), QPointF(320, 216), 0);
    QImage black(640, 480, QImage::Format_RGB32);
    black.fill(Qt::black);
    QCOMPARE(analyse(CameraFrames::nv12(face)), (FrameCheck{Lighting::Good, Framing::Centered}));
    QCOMPARE(analyse(CameraFrames::nv12(black)), (FrameCheck{Lighting::TooDark, Framing::NoFace}));
    const std::optional<double> whole = FrameAnalyzer::averageLuma(std::nullopt, CameraFrames::nv12(face));
    QVERIFY(whole && *whole < 0.3);
}

void tst_FrameAnalyzer::analysesAtMostTwiceASecond()
{
    ManualClock clock;
    FrameAnalyzer analyzer(clock);
    int checks = 0;
    analyzer.setOnCheck([&](const FrameCheck &) { ++checks; });
    QImage grey(64, 48, QImage::Format_RGB32);
    grey.fill(QColor(120, 120, 120));
    const QVideoFrame frame = CameraFrames::nv12(grey);

    analyzer.frameArrived(QVideoFrame()); // no picture: does not count as analysed
    analyzer.frameArrived(frame);
    QCOMPARE(checks, 1);
    clock.advance(0.49);
    analyzer.frameArrived(frame);
    QCOMPARE(checks, 1);
    clock.advance(0.01);
    analyzer.frameArrived(frame);
    QCOMPARE(checks, 2);
}

QTEST_GUILESS_MAIN(tst_FrameAnalyzer)
#include "tst_FrameAnalyzer.moc"
