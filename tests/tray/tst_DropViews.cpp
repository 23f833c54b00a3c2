#include "TrayScreens.h"
#include "app/NookSettings.h"
#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "tray/NearbyShare.h"
#include "tray/NookDropDelegate.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTemporaryDir>
#include <QTest>

// The drop choice and the nearby-device views in their states, checked for
// what they show and grabbed for a person to look at.
class tst_DropViews : public QObject
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

    std::unique_ptr<QQuickView> show(const QString &qml, const QVariantMap &properties)
    {
        auto view = std::make_unique<QQuickView>();
        QmlModule::prepare(*view->engine());
        view->setColor(Qt::black);
        view->setResizeMode(QQuickView::SizeRootObjectToView);
        view->setInitialProperties(properties);
        view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/") + qml));
        if (view->status() != QQuickView::Ready)
            qWarning() << view->errors();
        view->resize(530, 120);
        view->show();
        return view;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_defaults = std::make_unique<UserDefaults>(m_dir.filePath(QStringLiteral("defaults.conf")));
        m_settings = std::make_unique<NookSettings>(*m_defaults);
        m_model = std::make_unique<NotchViewModel>(NotchGeometry(QSizeF(190, 32), false, QRectF(0, 0, 1920, 1080)),
                                                   *m_settings, m_clock);
        m_thumbnails = std::make_unique<ThumbnailCache>(ThumbnailCache::Options{m_dir.filePath(QStringLiteral("t")), {}, 1});
        m_store = std::make_unique<TrayStore>(*m_thumbnails);
        // Discovery goes nowhere: an unused port, and no session bus.
        LocalSendClient::Config config = NearbyShare::defaultLocalSendConfig();
        config.port = 9;
        m_share = std::make_unique<NearbyShare>(m_clock, config, QDBusConnection(QString()));
        ThumbnailCache::setInstance(m_thumbnails.get());
        TrayStore::setInstance(m_store.get());
        NearbyShare::setInstance(m_share.get());
    }

    void dropChoiceLightsTheHalfUnderThePointer()
    {
        NookDropDelegate drops(m_clock, m_store.get(), m_share.get());
        drops.setModel(m_model.get());
        auto view = show(QStringLiteral("DropChoiceView.qml"), {{QStringLiteral("delegate"), QVariant::fromValue(&drops)}});
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QVERIFY(!view->rootObject()->isVisible() || view->rootObject()->opacity() == 0);

        const QPointF centre = m_model->geometry().baseRect().center();
        QVERIFY(drops.enter({QUrl::fromLocalFile(QStringLiteral("/tmp/a.txt"))}, centre + QPointF(120, 0)));
        m_clock.advance(1);
        drops.move(centre - QPointF(120, 0));
        QTRY_COMPARE(view->rootObject()->opacity(), 1.0);
        auto *tray = view->rootObject()->findChild<QQuickItem *>(QStringLiteral("trayChoice"));
        auto *device = view->rootObject()->findChild<QQuickItem *>(QStringLiteral("deviceChoice"));
        QVERIFY(tray && device);
        QVERIFY(tray->property("lit").toBool());
        QCOMPARE(tray->property("title").toString(), QStringLiteral("Hold it here for later"));
        QVERIFY(grabScreen(*view, QStringLiteral("drop-choice-tray")));

        drops.move(centre + QPointF(120, 0));
        QVERIFY(device->property("lit").toBool());
        QCOMPARE(device->property("title").toString(), QStringLiteral("Send to a nearby device"));
        QVERIFY(grabScreen(*view, QStringLiteral("drop-choice-device")));

        m_settings->setShowsTray(false);
        QVERIFY(!tray->isVisible());
        QCOMPARE(device->width(), view->rootObject()->width() - 20);
        QVERIFY(grabScreen(*view, QStringLiteral("drop-choice-device-only")));
        m_settings->setShowsTray(true);
        drops.exit();
    }

    void nearbyChooserAndFailure()
    {
        QAbstractItemModelTester tester(m_share->devices(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        auto view = show(QStringLiteral("NearbySendView.qml"), {});
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QVERIFY(!view->rootObject()->isVisible());

        NearbyDevice phone{NearbyDevice::Kind::LocalSend, QStringLiteral("AB12"), QStringLiteral("Pixel 8"),
                           QStringLiteral("mobile"), QHostAddress::LocalHost, 9, true};
        NearbyDevice laptop{NearbyDevice::Kind::KdeConnect, QStringLiteral("k1"), QStringLiteral("Studio laptop"),
                            QStringLiteral("desktop"), {}, 0, false};
        m_share->devices()->upsert(phone);
        m_share->devices()->upsert(laptop);
        laptop.name = QStringLiteral("Studio laptop");
        m_share->devices()->upsert(laptop); // the same device again is not a second one
        const QString file = m_dir.filePath(QStringLiteral("Holiday.jpg"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write("jpeg") == 4);
        f.close();
        QVERIFY(m_share->send({QUrl::fromLocalFile(file)}));
        QTRY_VERIFY(view->rootObject()->isVisible());
        QCOMPARE(m_share->statusText(), QStringLiteral("Send Holiday.jpg to…"));
        QCOMPARE(view->rootObject()->findChild<QQuickItem *>(QStringLiteral("deviceList"))->property("count").toInt(), 2);
        QVERIFY(grabScreen(*view, QStringLiteral("nearby-choose")));

        // Port 9 on this machine has no receiver: the failure is told plainly.
        m_share->choose(0);
        QTRY_COMPARE_WITH_TIMEOUT(m_share->phase(), NearbyShare::Phase::Failed, 20000);
        QCOMPARE(m_share->statusText(), QStringLiteral("Couldn't send: Pixel 8 isn't reachable any more."));
        QVERIFY(grabScreen(*view, QStringLiteral("nearby-failed")));
        m_clock.advance(NearbyShare::kResultLinger);
        QTRY_VERIFY(!view->rootObject()->isVisible());
        QVERIFY(QFile::exists(file));
    }

    void cleanupTestCase()
    {
        NearbyShare::setInstance(nullptr);
        TrayStore::setInstance(nullptr);
        ThumbnailCache::setInstance(nullptr);
    }
};

int main(int argc, char *argv[])
{
    qputenv("QT_SCALE_FACTOR", "2");
    QGuiApplication app(argc, argv);
    tst_DropViews test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_DropViews.moc"
