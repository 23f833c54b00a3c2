#include "FakeLevelReader.h"
#include "FakeVolumeBackend.h"
#include "core/QmlModule.h"
#include "core/ManualClock.h"
#include "peeks/AirPodsBattery.h"
#include "peeks/SystemVolume.h"
#include "platform/MotionPreference.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <memory>

// The volume band as the Nook shows it, over a sound server that records
// what it is asked: drags set the level along the wedge, keys step it, and
// a picture of each state is written when TARNWICK_SCREENSHOTS names a folder.
class tst_VolumeViews : public QObject
{
    Q_OBJECT

    FakeVolumeBackend m_backend;
    std::unique_ptr<SystemVolume> m_volume;
    // The band reads the AirPods battery too; no AirPods play here.
    ManualClock m_clock;
    FakeLevelReader m_noAirPods;
    AirPodsBattery m_airPods {m_clock, m_noAirPods};
    MotionPreference m_motion{nullptr};
    QQmlEngine m_engine;
    std::unique_ptr<QQuickWindow> m_window;
    QQuickItem *m_band = nullptr;

    void report(double level, bool muted, const QString &name = QStringLiteral("Speakers"))
    {
        VolumeBackend::Sink sink;
        sink.id = QStringLiteral("sink");
        sink.description = name;
        sink.hasVolume = true;
        sink.volume = level;
        sink.muted = muted;
        m_backend.report(sink);
    }

    void shoot(const QString &name)
    {
        const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS");
        if (dir.isEmpty())
            return;
        QTest::qWait(200);
        m_window->grabWindow().save(dir + QStringLiteral("/%1.png").arg(name));
    }

    QQuickItem *wedge() const { return m_band->findChild<QQuickItem *>(QStringLiteral("volumeWedge")); }

private Q_SLOTS:
    void initTestCase()
    {
        m_volume = std::make_unique<SystemVolume>(m_backend);
        SystemVolume::setInstance(m_volume.get());
        AirPodsBattery::setInstance(&m_airPods);
        MotionPreference::setInstance(&m_motion);
        m_motion.setReduceMotion(true); // no animation to wait for
        // Starts as a new user's machine without a sound server.
        m_backend.connected = false;
        m_volume->start();

        QmlModule::prepare(m_engine);
        QQmlComponent component(&m_engine);
        component.setData("import QtQuick\nimport Tarnwick\nRectangle { width: 170; height: 40; color: 'black';"
                          " VolumeBand { objectName: 'band'; anchors.centerIn: parent } }",
                          QUrl(QStringLiteral("qrc:/tests/band-host.qml")));
        auto *root = qobject_cast<QQuickItem *>(component.create());
        QVERIFY2(root != nullptr, qPrintable(component.errorString()));
        m_window = std::make_unique<QQuickWindow>();
        m_window->resize(170, 40);
        root->setParentItem(m_window->contentItem());
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        m_band = root->findChild<QQuickItem *>(QStringLiteral("band"));
        QVERIFY(m_band != nullptr && wedge() != nullptr);
        QCOMPARE(wedge()->opacity(), 0.35);
        shoot(QStringLiteral("volume-band-unavailable"));
        m_backend.connected = true;
        report(0.5, false);
        QCOMPARE(wedge()->opacity(), 1.0);
    }

    void dragsAlongTheWedge_data()
    {
        QTest::addColumn<double>("x");
        QTest::addColumn<double>("level");
        QTest::newRow("left edge") << 0.0 << 0.0;
        QTest::newRow("middle") << 44.0 << 0.5;
        QTest::newRow("end of the track") << 87.0 << 1.0;
    }
    void dragsAlongTheWedge()
    {
        QFETCH(double, x);
        QFETCH(double, level);
        m_backend.volumeWrites.clear();
        const QPoint at = wedge()->mapToScene(QPointF(x, wedge()->height() / 2)).toPoint();
        QTest::mousePress(m_window.get(), Qt::LeftButton, {}, at);
        QTest::mouseRelease(m_window.get(), Qt::LeftButton, {}, at);
        QVERIFY(!m_backend.volumeWrites.isEmpty());
        QCOMPARE(m_backend.volumeWrites.last().second, level);
        report(0.5, false);
    }

    void arrowKeysStepBySixteenths()
    {
        m_backend.volumeWrites.clear();
        wedge()->forceActiveFocus();
        QTest::keyClick(m_window.get(), Qt::Key_Right);
        QTest::keyClick(m_window.get(), Qt::Key_Down);
        QCOMPARE(m_backend.volumeWrites.size(), 2);
        QCOMPARE(m_backend.volumeWrites.at(0).second, 0.5625);
        // The level follows a write at once, so the second step starts from the first.
        QCOMPARE(m_backend.volumeWrites.at(1).second, 0.5);
    }

    void showsTheLevelAndMute()
    {
        report(0.72, false);
        shoot(QStringLiteral("volume-band"));
        QCOMPARE(wedge()->property("level").toDouble(), 0.72);
        report(0.72, true);
        shoot(QStringLiteral("volume-band-muted"));
        QVERIFY(wedge()->property("muted").toBool());
    }
};

QTEST_MAIN(tst_VolumeViews)
#include "tst_VolumeViews.moc"
