#include "TrayTestFiles.h"
#include "app/NookSettings.h"
#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "tray/FileFeeds.h"
#include "tray/NearbyShare.h"
#include "tray/NookDropDelegate.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include <QGuiApplication>
#include <QPainter>
#include <QProcess>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A photo-like picture: a sky gradient, a sun and hills.
QImage scene(int seed)
{
    QImage image(800, 600, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient sky(0, 0, 0, 600);
    const QColor tops[] = {QColor(40, 90, 200), QColor(250, 130, 60), QColor(30, 30, 80), QColor(90, 170, 220)};
    sky.setColorAt(0, tops[seed % 4]);
    sky.setColorAt(1, QColor(250, 220, 180));
    p.fillRect(image.rect(), sky);
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(QColor(255, 240, 150));
    p.setPen(Qt::NoPen);
    p.drawEllipse(QPointF(200 + seed * 90, 200), 70, 70);
    p.setBrush(QColor(40 + seed * 20, 110, 60));
    p.drawEllipse(QRectF(-200, 380, 800, 500));
    p.setBrush(QColor(30, 80 + seed * 10, 50));
    p.drawEllipse(QRectF(300, 420, 800, 500));
    return image;
}

QByteArray documentPdf()
{
    QByteArray d = "0.15 0.35 0.75 rg 40 500 340 50 re f 0.6 0.6 0.65 rg";
    for (int i = 0; i < 14; ++i)
        d += " 40 " + QByteArray::number(460 - i * 28) + " " + QByteArray::number(340 - (i % 3) * 60) + " 10 re f";
    return onePagePdf(d, "0 0 420 595");
}

} // namespace

// The tray page, the drop choice and the nearby-device chooser in their
// states: checked for which parts show, and grabbed into
// $TARNWICK_SCREENSHOTS (when set) for a person to look at.
class tst_TrayPageView : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    ManualClock m_clock{QDateTime::currentDateTimeUtc()};
    std::unique_ptr<ThumbnailCache> m_thumbnails;
    std::unique_ptr<TrayStore> m_store;
    std::unique_ptr<FileFeeds> m_feeds;
    std::unique_ptr<UserDefaults> m_defaults;
    std::unique_ptr<NookSettings> m_settings;
    std::unique_ptr<NotchViewModel> m_model;
    std::unique_ptr<NearbyShare> m_share;
    std::unique_ptr<QQuickView> m_view;
    QList<QUrl> m_trayFiles;

    QString home(const QString &rel) const { return m_home.filePath(rel); }
    QQuickItem *find(QQuickView &view, const char *name) const
    {
        return view.rootObject()->findChild<QQuickItem *>(QLatin1String(name));
    }

    std::unique_ptr<QQuickView> show(const QString &qml, const QVariantMap &properties = {})
    {
        auto view = std::make_unique<QQuickView>();
        QmlModule::prepare(*view->engine());
        ThumbnailCache::registerImageProvider(*view->engine());
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

    static bool grab(QQuickWindow &window, const QString &name)
    {
        QTest::qWait(250); // let colour fades and late pictures settle
        const QImage image = window.grabWindow();
        const QString dir = qEnvironmentVariable("TARNWICK_SCREENSHOTS");
        return !image.isNull()
            && (dir.isEmpty() || (QDir().mkpath(dir) && image.save(dir + u'/' + name + QStringLiteral(".png"))));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        const QString downloads = home(QStringLiteral("Downloads"));
        int seed = 0;
        for (const char *name : {"Boarding pass.pdf", "IMG_2041.jpg", "setup-notes.txt", "Invoice 0042.pdf", "Sunset.png",
                                 "archive-2026.zip", "Slides", "IMG_2040.jpg", "recording.ogg", "Lake.jpg"}) {
            const QString path = downloads + u'/' + QString::fromUtf8(name);
            if (path.endsWith(QLatin1String(".jpg")) || path.endsWith(QLatin1String(".png")))
                QVERIFY(scene(seed++).save(path));
            else if (path.endsWith(QLatin1String(".pdf")))
                QVERIFY(writeFile(path, documentPdf()));
            else if (path.endsWith(QLatin1String("Slides")))
                QVERIFY(QDir().mkpath(path));
            else
                QVERIFY(writeFile(path, name));
            QTest::qWait(6);
        }
        for (const char *name : {"Lake.jpg", "Invoice 0042.pdf", "Sunset.png", "setup-notes.txt", "IMG_2041.jpg", "Slides",
                                 "archive-2026.zip", "Boarding pass.pdf"})
            m_trayFiles.append(QUrl::fromLocalFile(downloads + u'/' + QString::fromUtf8(name)));
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"),
                     {QStringLiteral(TRAY_TEST_DATA "/make_recent.py"), m_home.path(),
                      home(QStringLiteral(".local/share/recently-used.xbel")),
                      QString::number(m_clock.now().toSecsSinceEpoch()), QStringLiteral("30")});
        QVERIFY(python.waitForFinished(30000) && python.exitCode() == 0);

        m_thumbnails = std::make_unique<ThumbnailCache>(ThumbnailCache::Options{
            home(QStringLiteral(".cache/thumbnails")), ThumbnailerEntry::installed(ThumbnailerEntry::systemDataDirs()), 10});
        m_store = std::make_unique<TrayStore>(*m_thumbnails);
        m_feeds = std::make_unique<FileFeeds>(*m_thumbnails, m_clock,
                                              FileFeeds::Locations{downloads, home(QStringLiteral(".local/share/recently-used.xbel")),
                                                                   m_home.path()});
        m_defaults = std::make_unique<UserDefaults>(home(QStringLiteral("defaults.conf")));
        m_settings = std::make_unique<NookSettings>(*m_defaults);
        m_model = std::make_unique<NotchViewModel>(NotchGeometry(QSizeF(190, 32), false, QRectF(0, 0, 1920, 1080)),
                                                   *m_settings, m_clock);
        // Discovery goes nowhere: an unused port, and no session bus.
        LocalSendClient::Config config = NearbyShare::defaultLocalSendConfig();
        config.port = 9;
        m_share = std::make_unique<NearbyShare>(m_clock, config, QDBusConnection(QString()));
        ThumbnailCache::setInstance(m_thumbnails.get());
        TrayStore::setInstance(m_store.get());
        FileFeeds::setInstance(m_feeds.get());
        NearbyShare::setInstance(m_share.get());

        m_view = show(QStringLiteral("TrayPageView.qml"));
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }

    void cleanupTestCase()
    {
        m_view.reset();
        NearbyShare::setInstance(nullptr);
        TrayStore::setInstance(nullptr);
        FileFeeds::setInstance(nullptr);
        ThumbnailCache::setInstance(nullptr);
    }

    // Rows run in order on one view, as a person would move through them.
    void showsEachState_data()
    {
        QTest::addColumn<TraySource>("source");
        QTest::addColumn<bool>("filled"); // the tray holds the prepared files
        QTest::addColumn<bool>("dropTargeted");
        QTest::addColumn<bool>("downloadsGone");
        QTest::addColumn<QStringList>("shown"); // of dropZone, clearButton, grid, feedMessage

        using S = TraySource;
        QTest::newRow("tray-empty") << S::Dropped << false << false << false << QStringList{"dropZone"};
        QTest::newRow("tray-drop-targeted") << S::Dropped << false << true << false << QStringList{"dropZone"};
        QTest::newRow("tray-items") << S::Dropped << true << false << false << QStringList{"clearButton", "grid"};
        QTest::newRow("tray-downloads") << S::Downloads << true << false << false << QStringList{"grid"};
        QTest::newRow("tray-recent") << S::Recent << true << false << false << QStringList{"grid"};
        QTest::newRow("tray-denied") << S::Downloads << true << false << true << QStringList{"feedMessage"};
    }

    void showsEachState()
    {
        QFETCH(TraySource, source);
        QFETCH(bool, filled);
        QFETCH(bool, dropTargeted);
        QFETCH(bool, downloadsGone);
        QFETCH(QStringList, shown);

        const QString downloads = home(QStringLiteral("Downloads"));
        if (downloadsGone)
            QVERIFY(QDir().rename(downloads, downloads + QStringLiteral(".away")));
        if (filled && m_store->isEmpty())
            QVERIFY(m_store->add(m_trayFiles));
        m_store->setSource(source);
        if (downloadsGone)
            m_feeds->refreshDownloads();
        m_view->rootObject()->setProperty("dropTargeted", dropTargeted);
        QTRY_COMPARE_WITH_TIMEOUT(m_thumbnails->pendingCount(), 0, 20000);
        QTRY_VERIFY(m_feeds->downloadsStatus() != FileFeeds::Status::Loading);
        QTRY_VERIFY(m_feeds->recentStatus() != FileFeeds::Status::Loading);
        QTest::qWait(30);

        for (const char *part : {"dropZone", "clearButton", "grid", "feedMessage"}) {
            QQuickItem *item = find(*m_view, part);
            QVERIFY2((item && item->isVisible()) == shown.contains(QLatin1String(part)), part);
        }
        if (shown.contains(QStringLiteral("clearButton")))
            QCOMPARE(find(*m_view, "grid")->property("count").toInt(), m_trayFiles.size());
        QVERIFY(grab(*m_view, QString::fromLatin1(QTest::currentDataTag())));
        m_view->rootObject()->setProperty("dropTargeted", false);
        if (downloadsGone)
            QVERIFY(QDir().rename(downloads + QStringLiteral(".away"), downloads));
    }

    void appearingAgainForgetsDeletedFiles()
    {
        m_store->setSource(TraySource::Dropped);
        const int before = m_store->count();
        QVERIFY(QFile::remove(home(QStringLiteral("Downloads/setup-notes.txt"))));
        m_view->rootObject()->setProperty("active", false);
        m_view->rootObject()->setProperty("active", true);
        QCOMPARE(m_store->count(), before - 1);
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
        QQuickItem *tray = find(*view, "trayChoice");
        QQuickItem *device = find(*view, "deviceChoice");
        QVERIFY(tray && device);
        QVERIFY(tray->property("lit").toBool() && !device->property("lit").toBool());
        QVERIFY(grab(*view, QStringLiteral("drop-choice-tray")));

        drops.move(centre + QPointF(120, 0));
        QVERIFY(device->property("lit").toBool() && !tray->property("lit").toBool());
        QVERIFY(grab(*view, QStringLiteral("drop-choice-device")));

        // Without the tray, the device card takes the whole width.
        m_settings->setShowsTray(false);
        QVERIFY(!tray->isVisible());
        QCOMPARE(device->width(), view->rootObject()->width() - 20);
        QVERIFY(grab(*view, QStringLiteral("drop-choice-device-only")));
        m_settings->setShowsTray(true);
        drops.exit();
    }

    void nearbyChooserAndFailure()
    {
        auto view = show(QStringLiteral("NearbySendView.qml"));
        QVERIFY(QTest::qWaitForWindowExposed(view.get()));
        QVERIFY(!view->rootObject()->isVisible());
        m_share->devices()->upsert({NearbyDevice::Kind::LocalSend, QStringLiteral("AB12"), QStringLiteral("Pixel 8"),
                                    QStringLiteral("mobile"), QHostAddress::LocalHost, 9, true});
        m_share->devices()->upsert({NearbyDevice::Kind::KdeConnect, QStringLiteral("k1"), QStringLiteral("Studio laptop"),
                                    QStringLiteral("desktop"), {}, 0, false});
        const QString file = home(QStringLiteral("Holiday.jpg"));
        QVERIFY(writeFile(file, "jpeg"));
        QVERIFY(m_share->send({QUrl::fromLocalFile(file)}));
        QTRY_VERIFY(view->rootObject()->isVisible());
        QCOMPARE(m_share->statusText(), QStringLiteral("Send Holiday.jpg to…"));
        QCOMPARE(find(*view, "deviceList")->property("count").toInt(), 2);
        QVERIFY(grab(*view, QStringLiteral("nearby-choose")));

        // Port 9 on this machine has no receiver: the failure shows, then goes.
        m_share->choose(0);
        QTRY_COMPARE_WITH_TIMEOUT(m_share->phase(), NearbyShare::Phase::Failed, 20000);
        QCOMPARE(m_share->lastError(), QStringLiteral("Pixel 8 isn't reachable any more."));
        QVERIFY(grab(*view, QStringLiteral("nearby-failed")));
        m_clock.advance(NearbyShare::kResultLinger);
        QTRY_VERIFY(!view->rootObject()->isVisible());
    }
};

int main(int argc, char *argv[])
{
    // Screenshots at 2x, as on the HiDPI laptops the notch lives on.
    qputenv("QT_SCALE_FACTOR", "2");
    QGuiApplication app(argc, argv);
    QTEST_SET_MAIN_SOURCE_PATH
    tst_TrayPageView test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_TrayPageView.moc"
