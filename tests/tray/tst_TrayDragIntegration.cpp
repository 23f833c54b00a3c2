#include "TrayTestFiles.h"
#include "core/QmlModule.h"
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

// A real drag on a real X server: a tile dragged out of the tray hands over
// the file to another window. The pointer is moved by xdotool, as a person
// would. (Drags into the notch are driven against the real app end to end.)
class tst_TrayDragIntegration : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    std::unique_ptr<ThumbnailCache> m_thumbnails;
    std::unique_ptr<TrayStore> m_store;
    QString m_file;

    std::unique_ptr<QQuickView> window(const QByteArray &qml, QRect where, const QVariantMap &properties = {})
    {
        auto view = std::make_unique<QQuickView>();
        QmlModule::prepare(*view->engine());
        ThumbnailCache::registerImageProvider(*view->engine());
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
        QString script = QStringLiteral("mousemove %1 %2 sleep 0.2 mousedown 1").arg(from.x()).arg(from.y());
        for (int step = 1; step <= 12; ++step) {
            const QPoint p = from + (to - from) * step / 12;
            script += QStringLiteral(" mousemove %1 %2 sleep 0.06").arg(p.x()).arg(p.y());
        }
        QProcess xdotool;
        xdotool.start(QStringLiteral("xdotool"), (script + QStringLiteral(" sleep 0.3 mouseup 1")).split(u' '));
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
        m_thumbnails = std::make_unique<ThumbnailCache>(ThumbnailCache::Options{m_dir.filePath(QStringLiteral("t")), {}, 1});
        m_store = std::make_unique<TrayStore>(*m_thumbnails);
        ThumbnailCache::setInstance(m_thumbnails.get());
        TrayStore::setInstance(m_store.get());
    }

    void cleanupTestCase()
    {
        TrayStore::setInstance(nullptr);
        ThumbnailCache::setInstance(nullptr);
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
