#include "EncodedImage.h"

#include "nowplaying/ArtworkAccentColor.h"

#include <QColorSpace>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRandomGenerator>
#include <QTest>
#include <algorithm>
#include <cmath>

using namespace ArtworkAccentColor;

namespace {

// Hue of a colour in Lab, degrees 0...360.
double hue(const RGB &c)
{
    const Lab lab = Lab::fromRgb(c);
    double h = std::atan2(lab.b, lab.a) * 180.0 / 3.14159265358979323846;
    return h < 0 ? h + 360 : h;
}

double hueDistance(double a, double b)
{
    const double d = std::fabs(a - b);
    return std::min(d, 360 - d);
}

RGB rgb(const QColor &c)
{
    return {c.redF(), c.greenF(), c.blueF()};
}

// A grey field with noise and one saturated patch covering `share` of it.
QImage fieldWithPatch(const QColor &field, const QColor &patch, double share, int side = 300)
{
    QImage image(side, side, QImage::Format_RGB32);
    QRandomGenerator random(7);
    const int patchSide = int(std::lround(side * std::sqrt(share)));
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const bool inPatch = x >= 20 && x < 20 + patchSide && y >= 30 && y < 30 + patchSide;
            const QColor base = inPatch ? patch : field;
            const int n = random.bounded(-12, 13);
            image.setPixel(x, y, qRgb(std::clamp(base.red() + n, 0, 255), std::clamp(base.green() + n, 0, 255),
                                      std::clamp(base.blue() + n, 0, 255)));
        }
    }
    return image;
}

QImage split(const QColor &left, const QColor &right, double leftShare)
{
    QImage image(200, 200, QImage::Format_RGB32);
    image.fill(right);
    QPainter painter(&image);
    painter.fillRect(QRectF(0, 0, 200 * leftShare, 200), left);
    return image;
}

} // namespace

class tst_ArtworkAccentColor : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // The colour picked for an image: near the hue of `wins`, or the neutral
    // grey when `wins` is invalid.
    void picksTheColourfulRegion_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<QColor>("wins");
        const auto patched = [](const char *name, QColor field, QColor patch, double share) {
            QTest::newRow(name) << fieldWithPatch(field, patch, share) << patch;
        };
        patched("red 10% on grey", QColor(128, 128, 128), QColor(210, 30, 40), 0.10);
        patched("blue 25% on light grey", QColor(200, 200, 196), QColor(30, 70, 220), 0.25);
        patched("magenta 40% on dark grey", QColor(40, 40, 44), QColor(200, 40, 170), 0.40);
        patched("teal 15% on near black", QColor(12, 12, 14), QColor(20, 160, 170), 0.15);
        patched("orange 20% on white", QColor(250, 250, 250), QColor(240, 120, 20), 0.20);
        const auto filled = [](Qt::GlobalColor color, QImage::Format format = QImage::Format_RGB32) {
            QImage image(50, 50, format);
            image.fill(color);
            return image;
        };
        QTest::newRow("fully transparent") << filled(Qt::transparent, QImage::Format_ARGB32) << QColor();
        QTest::newRow("all white") << filled(Qt::white) << QColor();
        QTest::newRow("all black") << filled(Qt::black) << QColor();
        QTest::newRow("noisy greys") << fieldWithPatch(QColor(90, 90, 90), QColor(160, 160, 160), 0.3) << QColor();
        // Yellow-green (Lab hue about 106) is penalised: it wins only when it
        // nearly fills the cover.
        const QColor lime(200, 210, 40), mutedRed(170, 70, 65);
        QTest::newRow("lime half and half") << split(lime, mutedRed, 0.5) << mutedRed;
        QTest::newRow("lime 90%") << split(lime, mutedRed, 0.9) << mutedRed;
        QTest::newRow("lime 99%") << split(lime, mutedRed, 0.99) << lime;
    }
    void picksTheColourfulRegion()
    {
        QFETCH(QImage, image);
        QFETCH(QColor, wins);
        const auto picked = rawColor(image);
        QVERIFY(picked);
        if (!wins.isValid()) {
            QCOMPARE(*picked, kNeutralGrey);
            return;
        }
        QVERIFY2(hueDistance(hue(*picked), hue(rgb(wins))) < 15 && Lab::fromRgb(*picked).chroma() > 30,
                 qPrintable(QStringLiteral("picked %1, expected the hue of %2").arg(picked->toColor().name(), wins.name())));
    }

    void undecodableBytesGiveNothing()
    {
        QVERIFY(!rawColor(QByteArray("not an image")));
        QVERIFY(!rawColor(QByteArray()));
    }

    void swatchesAccountForEveryOpaquePixel()
    {
        QImage image = fieldWithPatch(QColor(128, 128, 128), QColor(210, 30, 40), 0.2, 112);
        // A quarter of the rows nearly transparent: left out.
        image = image.convertToFormat(QImage::Format_ARGB32);
        for (int y = 0; y < 28; ++y)
            for (int x = 0; x < 112; ++x)
                image.setPixel(x, y, qRgba(255, 0, 0, 200));
        const auto list = swatches(histogram(image), kMaximumSwatches);
        QVERIFY(list.size() <= size_t(kMaximumSwatches));
        QVERIFY(list.size() > 4);
        int total = 0;
        for (const Swatch &s : list)
            total += s.count;
        QCOMPARE(total, 112 * (112 - 28));
    }

    void visibleOnBlackLightensInSteps()
    {
        const std::initializer_list<std::pair<QColor, double>> cases{
            {QColor(0, 0, 0), 0.35}, {QColor(255, 200, 0), 1.0}, {QColor(Qt::white), 1.0}};
        for (const auto &[color, red] : cases) {
            const RGB visible = visibleOnBlack(rgb(color));
            QVERIFY(contrastAgainstBlack(visible) >= 3.0);
            QVERIFY2(std::fabs(visible.r - red) < 1e-9, qPrintable(color.name()));
        }
        QVERIFY(contrastAgainstBlack({0.30, 0.30, 0.30}) < 3.0); // black's grey is the first that reads
    }

    void darkenedIsADeepShadeOfTheSameHue_data()
    {
        QTest::addColumn<QColor>("color");
        QTest::newRow("red") << QColor(230, 40, 50);
        QTest::newRow("yellow, out of gamut when capped") << QColor(255, 240, 0);
        QTest::newRow("already dark") << QColor(30, 20, 60);
        QTest::newRow("white") << QColor(255, 255, 255);
    }
    void darkenedIsADeepShadeOfTheSameHue()
    {
        QFETCH(QColor, color);
        const RGB dark = darkened(rgb(color));
        QVERIFY(Lab::fromRgb(dark).L <= 22.7);
        if (Lab::fromRgb(rgb(color)).chroma() > 20)
            QVERIFY(hueDistance(hue(dark), hue(rgb(color))) < 25);
        if (Lab::fromRgb(rgb(color)).L < 22)
            QVERIFY(std::fabs(Lab::fromRgb(dark).L - Lab::fromRgb(rgb(color)).L) < 0.5);
    }

    // Real photographs: the pick must be the colourful region a person sees
    // first (the orange of the cat's fur, the red of the coffee cup, the
    // astronaut's orange suit).
    void picksTheDominantColourOfRealPictures_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<double>("hueFrom");
        QTest::addColumn<double>("hueTo");
        QTest::addColumn<double>("minChroma");
        // A tabby's tan fur is not very colourful, but it is what one sees.
        QTest::newRow("cat") << "chelsea.png" << 35.0 << 80.0 << 8.0;
        QTest::newRow("coffee") << "coffee.png" << 15.0 << 50.0 << 25.0;
        QTest::newRow("astronaut") << "astronaut.png" << 20.0 << 70.0 << 25.0;
    }
    void picksTheDominantColourOfRealPictures()
    {
        QFETCH(QString, file);
        QFETCH(double, hueFrom);
        QFETCH(double, hueTo);
        QFETCH(double, minChroma);
        const QString path = QStringLiteral("/usr/lib/python3/dist-packages/skimage/data/") + file;
        QVERIFY2(QFile::exists(path), "install the Debian package python3-skimage (tools/bootstrap)");
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const auto picked = rawColor(f.readAll());
        QVERIFY(picked);
        const double h = hue(*picked);
        QVERIFY2(h >= hueFrom && h <= hueTo && Lab::fromRgb(*picked).chroma() > minChroma,
                 qPrintable(QStringLiteral("%1 picked %2 (hue %3, chroma %4)")
                                .arg(file, picked->toColor().name())
                                .arg(h)
                                .arg(Lab::fromRgb(*picked).chroma())));
    }

    // The same pixel numbers mean other colours under another profile: a
    // cover that carries one is read as it looks, i.e. converted to sRGB.
    void readsCoversInTheirOwnColourProfile_data()
    {
        QTest::addColumn<int>("space");
        QTest::addColumn<QByteArray>("format");
        QTest::newRow("Display P3 PNG") << int(QColorSpace::DisplayP3) << QByteArray("PNG");
        QTest::newRow("Display P3 JPEG") << int(QColorSpace::DisplayP3) << QByteArray("JPEG");
        QTest::newRow("Adobe RGB PNG") << int(QColorSpace::AdobeRgb) << QByteArray("PNG");
    }
    void readsCoversInTheirOwnColourProfile()
    {
        QFETCH(int, space);
        QFETCH(QByteArray, format);
        QImage cover(64, 64, QImage::Format_RGB32);
        cover.fill(QColor(40, 200, 90));
        const RGB plain = *rawColor(encoded(cover, format.constData(), 90));
        cover.setColorSpace(QColorSpace(QColorSpace::NamedColorSpace(space)));
        const QByteArray bytes = encoded(cover, format.constData(), 90);
        QCOMPARE(QImage::fromData(bytes).colorSpace(), cover.colorSpace()); // the profile is really embedded
        const RGB profiled = *rawColor(bytes);
        const RGB seen = rgb(cover.convertedToColorSpace(QColorSpace::SRgb).pixelColor(0, 0));
        auto distance = [](const RGB &a, const RGB &b) {
            return std::max({std::fabs(a.r - b.r), std::fabs(a.g - b.g), std::fabs(a.b - b.b)});
        };
        QVERIFY2(distance(profiled, seen) < 0.04, qPrintable(QString::number(distance(profiled, seen))));
        QVERIFY2(distance(plain, seen) > 0.08, qPrintable(QString::number(distance(plain, seen))));
    }
};

QTEST_GUILESS_MAIN(tst_ArtworkAccentColor)
#include "tst_ArtworkAccentColor.moc"
