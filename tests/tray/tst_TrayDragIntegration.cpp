#include "TrayTestFiles.h"
#include "app/NookSettings.h"
#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "tray/NearbyShare.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include "support/PrivateDisplay.h"

#include <QGuiApplication>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

// Real drags on a real X server: a file dragged from another window onto the
// notch lands in the tray, and a tile dragged out hands over the file.
// The pointer is moved by xdotool, as a person would.
class tst_TrayDragIntegration : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    ManualClock m_clock;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<NookSettings> m_settings;
    std::unique_ptr<NotchViewModel> m_model;
    std::unique_ptr<ThumbnailCache> m_thumbnails;
    std::unique_ptr<TrayStore> m_store;
    std::unique_ptr<NearbyShare> m_share;
    QString m_file;

    std::unique_ptr<QQuickView> window(const QByteArray &qml, QRect where, const QVariantMap &properties = {})
    {
        auto view = std::make_unique<QQuickView>();
        QmlModule::prepare(*view->engine());
        ThumbnailCache::registerImageProvider(*view->engine());
        view->setInitialProperties(properties);
        QQmlComponent component(view->engine());
        component.setData(qml, QUrl(QStringLiteral("file:///drag-test.qml")));
        auto *root = qobject_cast<QQuickItem *>(component.createWithInitialProperties(properties));
        if (!root) {
            qWarning() << component.errors();
            return view;
        }
        view->setContent(QUrl(), &component, root);
        view->setResizeMode(QQuickView::SizeRootObjectToView);
        view->setFlags(Qt::FramelessWindowHint);
        view->setGeometry(where);
        view->show();
        return view;
    }

    // Presses at `from`, drags to `to` in small steps, and lets go.
    static bool drag(QPoint from, QPoint to)
    {
        QStringList args{QStringLiteral("mousemove"), QString::number(from.x()), QString::number(from.y()),
                         QStringLiteral("sleep"), QStringLiteral("0.2"), QStringLiteral("mousedown"), QStringLiteral("1")};
        for (int step = 1; step <= 12; ++step) {
            const QPoint p = from + (to - from) * step / 12;
            args << QStringLiteral("mousemove") << QString::number(p.x()) << QString::number(p.y())
                 << QStringLiteral("sleep") << QStringLiteral("0.06");
        }
        args << QStringLiteral("sleep") << QStringLiteral("0.3") << QStringLiteral("mouseup") << QStringLiteral("1");
        QProcess xdotool;
        xdotool.start(QStringLiteral("xdotool"), args);
        if (!xdotool.waitForStarted(5000)) {
            qCritical("xdotool is missing: install the Debian package xdotool");
            return false;
        }
        // Keep our event loop turning: the drag runs inside it.
        return QTest::qWaitFor([&] { return xdotool.state() == QProcess::NotRunning; }, 20000)
            && xdotool.exitCode() == 0;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_file = m_dir.filePath(QStringLiteral("Quarterly report.txt"));
        QVERIFY(writeFile(m_file, "numbers"));
        m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(QStringLiteral("defaults.conf")));
        m_settings = std::make_unique<NookSettings>(*m_defaults);
        m_model = std::make_unique<NotchViewModel>(NotchGeometry(QSizeF(190, 32), false, QRectF(0, 0, 1280, 800)),
                                                   *m_settings, m_clock);
        m_thumbnails = std::make_unique<ThumbnailCache>(ThumbnailCache::Options{m_dir.filePath(QStringLiteral("t")), {}, 1});
        m_store = std::make_unique<TrayStore>(*m_thumbnails);
        LocalSendClient::Config config = NearbyShare::defaultLocalSendConfig();
        config.port = 9;
        m_share = std::make_unique<NearbyShare>(m_clock, config, QDBusConnection(QString()));
        ThumbnailCache::setInstance(m_thumbnails.get());
        TrayStore::setInstance(m_store.get());
        NearbyShare::setInstance(m_share.get());
    }

    void cleanupTestCase()
    {
        NearbyShare::setInstance(nullptr);
        TrayStore::setInstance(nullptr);
        ThumbnailCache::setInstance(nullptr);
    }

    void aFileDroppedOnTheNotchLandsInTheTray()
    {
        // Another application's window with a file to drag…
        auto source = window(R"(
            import QtQuick
            import Tarnwick
            Rectangle {
                color: "#334"
                required property url file
                FileDragSource { anchors.fill: parent; url: parent.file }
            })",
                             QRect(60, 300, 160, 160), {{QStringLiteral("file"), QUrl::fromLocalFile(m_file)}});
        // …and the notch panel with its drop area.
        const QRectF frame = m_model->geometry().windowFrame();
        auto panel = window(R"(
            import QtQuick
            import Tarnwick
            Rectangle {
                color: "black"
                required property NotchViewModel model
                NookDropArea { anchors.fill: parent; model: parent.model }
            })",
                            QRect(0, 0, int(frame.width()), int(frame.height())),
                            {{QStringLiteral("model"), QVariant::fromValue(m_model.get())}});
        QVERIFY(QTest::qWaitForWindowExposed(source.get()));
        QVERIFY(QTest::qWaitForWindowExposed(panel.get()));
        QVERIFY(!m_model->isExpanded());

        const QPointF centre = m_model->geometry().baseRect().center();
        QVERIFY(drag(QPoint(140, 380), QPoint(int(centre.x()) - 60, 20)));
        QTRY_COMPARE(m_store->count(), 1);
        QCOMPARE(m_store->items().first().url, QUrl::fromLocalFile(m_file));
        QVERIFY(m_model->isExpanded());
        QCOMPARE(m_model->page(), NookPage::Tray);
        QVERIFY(!m_model->isDropTargeted());
    }

    void aTileDraggedOutHandsOverTheFile()
    {
        QVERIFY(m_store->add({QUrl::fromLocalFile(m_file)}));
        auto tray = window(R"(
            import QtQuick
            import Tarnwick
            Rectangle {
                color: "black"
                required property url file
                TrayItemTile { x: 20; y: 20; url: parent.file; name: "Quarterly report.txt" }
            })",
                           QRect(60, 300, 120, 120), {{QStringLiteral("file"), QUrl::fromLocalFile(m_file)}});
        auto target = window(R"(
            import QtQuick
            Rectangle {
                color: "#ddd"
                property var formats: []
                property var urls: []
                property int action: -1
                DropArea {
                    anchors.fill: parent
                    onDropped: drop => {
                        parent.formats = drop.formats
                        parent.urls = drop.urls
                        parent.action = drop.proposedAction
                        drop.accept(Qt.CopyAction)
                    }
                }
            })",
                             QRect(700, 300, 300, 300));
        QVERIFY(QTest::qWaitForWindowExposed(tray.get()));
        QVERIFY(QTest::qWaitForWindowExposed(target.get()));

        QVERIFY(drag(QPoint(60 + 20 + 32, 300 + 20 + 26), QPoint(850, 450)));
        QTRY_VERIFY(!target->rootObject()->property("urls").toList().isEmpty());
        QVERIFY(target->rootObject()->property("formats").toStringList().contains(QStringLiteral("text/uri-list")));
        QCOMPARE(target->rootObject()->property("urls").toList().first().toUrl(), QUrl::fromLocalFile(m_file));
        QCOMPARE(target->rootObject()->property("action").toInt(), int(Qt::CopyAction));
        // Dragging out leaves the file in the tray and on disk.
        QCOMPARE(m_store->count(), 1);
        QVERIFY(QFile::exists(m_file));
    }
};

int main(int argc, char *argv[])
{
    PrivateDisplay display;
    if (!display.start())
        return 1;
    qputenv("QT_QPA_PLATFORM", "xcb");
    int status = 0;
    {
        QGuiApplication app(argc, argv);
        tst_TrayDragIntegration test;
        status = QTest::qExec(&test, argc, argv);
    }
    return status;
}
#include "tst_TrayDragIntegration.moc"
