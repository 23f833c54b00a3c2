#include "peeks/VolumeText.h"

#include <QTest>

class tst_VolumeText : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readsTheLevel_data()
    {
        QTest::addColumn<double>("level");
        QTest::addColumn<bool>("muted");
        QTest::addColumn<QString>("readout");
        QTest::addColumn<QString>("spoken");
        QTest::newRow("half, just over") << 0.504 << false << QStringLiteral("50") << QStringLiteral("50 percent");
        QTest::newRow("rounds up") << 0.505 << false << QStringLiteral("51") << QStringLiteral("51 percent");
        QTest::newRow("silent but not muted") << 0.0 << false << QStringLiteral("0") << QStringLiteral("0 percent");
        QTest::newRow("full") << 1.0 << false << QStringLiteral("100") << QStringLiteral("100 percent");
        QTest::newRow("muted hides the level") << 0.7 << true << QStringLiteral("Muted") << QStringLiteral("muted");
    }
    void readsTheLevel()
    {
        QFETCH(double, level);
        QFETCH(bool, muted);
        QFETCH(QString, readout);
        QFETCH(QString, spoken);
        QCOMPARE(VolumeText::readout(level, muted), readout);
        QCOMPARE(VolumeText::accessibilityValue(level, muted), spoken);
    }

    void dragMapsTheTrack_data()
    {
        QTest::addColumn<double>("x");
        QTest::addColumn<double>("level");
        QTest::newRow("left edge") << 0.0 << 0.0;
        QTest::newRow("track start") << 1.0 << 0.0;
        QTest::newRow("middle") << 44.0 << 0.5;
        QTest::newRow("track end") << 87.0 << 1.0;
        QTest::newRow("beyond") << 120.0 << 1.0;
    }
    void dragMapsTheTrack()
    {
        QFETCH(double, x);
        QFETCH(double, level);
        QCOMPARE(VolumeText::levelForDrag(x), level);
    }
};

QTEST_GUILESS_MAIN(tst_VolumeText)
#include "tst_VolumeText.moc"
