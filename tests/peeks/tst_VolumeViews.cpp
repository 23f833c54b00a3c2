#include "FakeLevelReader.h"
#include "FakeVolumeBackend.h"
#include "app/NookSettings.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "peeks/AirPodsBattery.h"
#include "platform/MotionPreference.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using Model = AirPodsLevels::Model;

// The volume band and the AirPods peek out of the closed notch, over a sound
// server that records what it is asked and AirPods levels from memory.
// Pictures of each state are written when TARNWICK_SCREENSHOTS names a folder.
class tst_VolumeViews : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<NookSettings> m_settings;
    std::unique_ptr<NotchViewModel> m_model;
    FakeVolumeBackend m_sound;
    std::unique_ptr<SystemVolume> m_volume;
    FakeLevelReader m_reader;
    std::unique_ptr<AirPodsBattery> m_battery;
    MotionPreference m_motion {nullptr};
    QQmlEngine m_engine;

    std::unique_ptr<QQuickWindow> show(const QByteArray &qml, const QSize &size, QVariantMap properties = {})
    {
        QQmlComponent component(&m_engine);
        component.setData("import QtQuick\nimport Tarnwick\n" + qml, QUrl(QStringLiteral("qrc:/tests/host.qml")));
        auto *root = qobject_cast<QQuickItem *>(component.createWithInitialProperties(properties));
        if (root == nullptr) {
            qWarning("%s", qPrintable(component.errorString()));
            return nullptr;
        }
        auto window = std::make_unique<QQuickWindow>();
        window->resize(size);
        root->setParentItem(window->contentItem());
        window->show();
        if (!QTest::qWaitForWindowExposed(window.get()))
            return nullptr;
        return window;
    }
    static QQuickItem *find(QQuickWindow &window, const QString &name)
    {
        return window.contentItem()->childItems().constFirst()->findChild<QQuickItem *>(name);
    }

    static void shoot(QQuickWindow &window, const QString &name)
    {
        const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS");
        if (dir.isEmpty())
            return;
        QTest::qWait(200);
        window.grabWindow().save(dir + QStringLiteral("/%1.png").arg(name));
    }

    // Whether some text under `item` is drawn in the colour of a low battery.
    // Repeaters' items are found through the visual tree only.
    static bool drawsInRed(QQuickItem *item)
    {
        if (item->isVisible() && item->property("color").value<QColor>() == QColor(QStringLiteral("#ff453a")))
            return true;
        const auto children = item->childItems();
        return std::any_of(children.begin(), children.end(), [](QQuickItem *child) { return drawsInRed(child); });
    }

    void playOn(const QString &name, double level = 0.6, bool muted = false, bool airPods = false)
    {
        VolumeBackend::Sink sink;
        sink.id = sink.description = name;
        sink.hasVolume = true;
        sink.volume = level;
        sink.muted = muted;
        if (airPods)
            sink.properties.insert(QStringLiteral("device.bus"), QStringLiteral("bluetooth"));
        m_sound.report(sink);
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(QStringLiteral("Tarnwick.conf")));
        m_settings = std::make_unique<NookSettings>(*m_defaults);
        // The shortest notch a screen can have.
        const NotchGeometry geometry(QSizeF(NotchGeometry::kSimulatedNotchWidth, NotchGeometry::kMinimumNotchHeight),
                                     false, QRectF(0, 0, 1512, 982));
        m_model = std::make_unique<NotchViewModel>(geometry, *m_settings, Clock::system());
        m_volume = std::make_unique<SystemVolume>(m_sound);
        SystemVolume::setInstance(m_volume.get());
        m_battery = std::make_unique<AirPodsBattery>(Clock::system(), m_reader);
        AirPodsBattery::setInstance(m_battery.get());
        m_battery->follow(*m_volume);
        MotionPreference::setInstance(&m_motion);
        m_motion.setReduceMotion(true); // no animation to wait for
        // Starts as a new user's machine without a sound server.
        m_sound.connected = false;
        m_volume->start();
        QmlModule::prepare(m_engine);
    }

    // Drags set the level along the wedge, keys step it by sixteenths.
    void volumeBand()
    {
        auto window = show("Rectangle { width: 170; height: 40; color: 'black';"
                           " VolumeBand { anchors.centerIn: parent } }",
                           QSize(170, 40));
        QVERIFY(window);
        QQuickItem *wedge = find(*window, QStringLiteral("volumeWedge"));
        QVERIFY(wedge);
        QCOMPARE(wedge->opacity(), 0.35);
        shoot(*window, QStringLiteral("volume-band-unavailable"));
        m_sound.connected = true;
        playOn(QStringLiteral("Speakers"), 0.5);
        QCOMPARE(wedge->opacity(), 1.0);

        // A press at the track's start, middle and end, each as one write;
        // then keys, where the level follows a write at once, so the second
        // step starts from the first.
        for (const double x : {0.0, 44.0, 87.0}) {
            const QPoint at = wedge->mapToScene(QPointF(x, wedge->height() / 2)).toPoint();
            QTest::mousePress(window.get(), Qt::LeftButton, {}, at);
            QTest::mouseRelease(window.get(), Qt::LeftButton, {}, at);
            playOn(QStringLiteral("Speakers"), 0.5);
        }
        wedge->forceActiveFocus();
        QTest::keyClick(window.get(), Qt::Key_Right);
        QTest::keyClick(window.get(), Qt::Key_Down);
        QList<double> written;
        for (const auto &write : std::as_const(m_sound.volumeWrites))
            written << write.second;
        QCOMPARE(written, (QList<double> {0, 0.5, 1, 0.5625, 0.5}));

        playOn(QStringLiteral("Speakers"), 0.72);
        shoot(*window, QStringLiteral("volume-band"));
        QCOMPARE(wedge->property("level").toDouble(), 0.72);
        playOn(QStringLiteral("Speakers"), 0.72, true);
        shoot(*window, QStringLiteral("volume-band-muted"));
        QVERIFY(wedge->property("muted").toBool());
    }

    void bandShowsTheBatteriesWhileAirPodsPlay()
    {
        playOn(QStringLiteral("Speakers"));
        auto window = show("Rectangle { width: 140; height: 28; color: 'black'; VolumeBand { anchors.fill: parent } }",
                           QSize(140, 28));
        QVERIFY(window);
        QQuickItem *detail = find(*window, QStringLiteral("airPodsBatteryDetail"));
        QQuickItem *wedge = find(*window, QStringLiteral("volumeWedge"));
        QVERIFY(detail && wedge);
        QVERIFY(!detail->isVisible() && wedge->isVisible());

        m_reader.next = AirPodsLevels {QStringLiteral("Ada's AirPods Pro"), Model::AirPodsPro, 100, 15, 100, {}};
        playOn(QStringLiteral("Ada's AirPods Pro"), 0.6, false, true);
        QTRY_VERIFY(detail->isVisible());
        QVERIFY(!wedge->isVisible());
        QTest::qWait(50); // the row lays out its cells before it is drawn
        QVERIFY(drawsInRed(detail)); // the right bud, at 15 %
        // The band's slot on the Now Playing page is 140 points wide.
        QVERIFY2(detail->implicitWidth() <= 140, qPrintable(QString::number(detail->implicitWidth())));
        shoot(*window, QStringLiteral("volume-band-airpods"));

        playOn(QStringLiteral("Speakers"));
        QVERIFY(!detail->isVisible() && wedge->isVisible());
    }

    void peekFitsBesideTheNotch_data()
    {
        QTest::addColumn<AirPodsLevels>("levels");
        QTest::addColumn<int>("cells");
        QTest::addColumn<bool>("low");
        QTest::addColumn<QString>("shot");
        const QString pro = QStringLiteral("Ada's AirPods Pro");
        QTest::newRow("buds and case") << AirPodsLevels {pro, Model::AirPodsPro, 100, 90, 100, {}} << 3 << false
                                       << "peek-airpods";
        QTest::newRow("over-ear") << AirPodsLevels {QStringLiteral("AirPods Max"), Model::AirPodsMax, {}, {}, {}, 80}
                                  << 1 << false << "peek-airpods-max";
        QTest::newRow("one bud low, the other in the case")
            << AirPodsLevels {pro, Model::AirPods, 10, {}, 60, {}} << 2 << true << "peek-airpods-low";
    }
    void peekFitsBesideTheNotch()
    {
        QFETCH(AirPodsLevels, levels);
        QFETCH(int, cells);
        QFETCH(bool, low);
        QFETCH(QString, shot);
        m_model->showPeek({levels}, AirPodsBattery::kPeekSeconds);
        const QRectF peekRect = m_model->peekRect();
        // A wallpaper-like strip, with the outline placed as the panel places it.
        auto window = show(R"(
Rectangle {
    id: host
    required property NotchViewModel model
    width: 2 * 74 + 190 + 2 * 60; height: 40
    gradient: Gradient { orientation: Gradient.Horizontal
        GradientStop { position: 0; color: "#4a6fa5" } GradientStop { position: 1; color: "#d4a373" } }
    Item {
        x: 60 - host.model.peekRect.x
        width: host.model.geometry.windowSize.width; height: host.height
        PlacedNotchShape {
            anchors.fill: parent
            color: NookStyle.background
            shapeX: host.model.shapeRect.x; shapeY: host.model.shapeRect.y
            shapeWidth: host.model.shapeRect.width; shapeHeight: host.model.shapeRect.height
            topRadius: host.model.topRadius; bottomRadius: host.model.bottomRadius
        }
        AirPodsPeekView {
            objectName: "peek"
            visible: host.model.hasPeek
            levels: host.model.peekLevels
            cornerInset: host.model.bottomRadius
            x: host.model.peekRect.x; width: host.model.peekRect.width; height: host.model.peekRect.height
        }
    }
})",
                           QSize(2 * 74 + 190 + 2 * 60, 40), {{QStringLiteral("model"), QVariant::fromValue(m_model.get())}});
        QVERIFY(window);
        QQuickItem *left = find(*window, QStringLiteral("airPodsPeekLeft"));
        QQuickItem *right = find(*window, QStringLiteral("airPodsPeekRight"));
        QVERIFY(left && right);
        // The Repeaters are children too.
        QTRY_COMPARE(left->childItems().size() + right->childItems().size() - 3, cells);
        QTest::qWait(50);
        // Everything sits in the room added beside the notch, clear of the
        // outline's rounded lower corners and inside its height.
        const double side = NotchViewModel::kPeekWidening;
        const double corner = m_model->bottomRadius();
        const auto inside = [&](QQuickItem *row, double from, double to) {
            return row->x() >= from && row->x() + row->width() <= to && row->height() <= peekRect.height();
        };
        QVERIFY2(inside(left, corner, side), qPrintable(QStringLiteral("left at %1, %2 wide").arg(left->x()).arg(left->width())));
        QVERIFY2(inside(right, peekRect.width() - side, peekRect.width() - corner),
                 qPrintable(QStringLiteral("right at %1, %2 wide").arg(right->x()).arg(right->width())));
        QCOMPARE(drawsInRed(window->contentItem()), low);
        shoot(*window, shot);
        m_model->endPeek();
    }
};

QTEST_MAIN(tst_VolumeViews)
#include "tst_VolumeViews.moc"