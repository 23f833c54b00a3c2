#include "TrayScreens.h"
#include "TrayTestFiles.h"
#include "core/ManualClock.h"
#include "core/QmlModule.h"
#include "tray/FileFeeds.h"
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

// A photo-like picture: a sky, a sun and a hill.
QImage scene(int seed)
{
    QImage image(800, 600, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient sky(0, 0, 0, 600);
    sky.setColorAt(0, QColor::fromHsv(210 + seed * 40 % 180, 200, 200));
    sky.setColorAt(1, QColor(250, 220, 180));
    p.fillRect(image.rect(), sky);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 240, 150));
    p.drawEllipse(QPointF(200 + seed * 90, 200), 70, 70);
    p.setBrush(QColor(40 + seed * 20, 110, 60));
    p.drawEllipse(QRectF(-200, 380, 1200, 500));
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

class tst_TrayPageView : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    ManualClock m_clock{QDateTime::currentDateTimeUtc()};
    std::unique_ptr<ThumbnailCache> m_thumbnails;
    std::unique_ptr<TrayStore> m_store;
    std::unique_ptr<FileFeeds> m_feeds;
    std::unique_ptr<QQuickView> m_view;
    QStringList m_trayFiles;

    QString home(const QString &rel) const { return m_home.filePath(rel); }
    QQuickItem *find(const char *name) const { return m_view->rootObject()->findChild<QQuickItem *>(QLatin1String(name)); }
    bool shows(const char *name) const
    {
        QQuickItem *item = find(name);
        return item && item->isVisible();
    }
    void settle()
    {
        QTRY_COMPARE_WITH_TIMEOUT(m_thumbnails->pendingCount(), 0, 20000);
        QTRY_VERIFY(m_feeds->downloadsStatus() != FileFeeds::Status::Loading);
        QTRY_VERIFY(m_feeds->recentStatus() != FileFeeds::Status::Loading);
        QTest::qWait(30);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        const QString downloads = home(QStringLiteral("Downloads"));
        QVERIFY(QDir().mkpath(downloads));
        const QStringList downloadNames{
            QStringLiteral("Boarding pass.pdf"), QStringLiteral("IMG_2041.jpg"), QStringLiteral("setup-notes.txt"),
            QStringLiteral("Invoice 0042.pdf"), QStringLiteral("Sunset.png"), QStringLiteral("archive-2026.zip"),
            QStringLiteral("Slides"), QStringLiteral("IMG_2040.jpg"), QStringLiteral("recording.ogg"),
            QStringLiteral("Lake.jpg")};
        int seed = 0;
        for (const QString &name : downloadNames) {
            const QString path = downloads + QLatin1Char('/') + name;
            if (name.endsWith(QLatin1String(".jpg")) || name.endsWith(QLatin1String(".png")))
                QVERIFY(scene(seed++).save(path));
            else if (name.endsWith(QLatin1String(".pdf")))
                QVERIFY(writeFile(path, documentPdf()));
            else if (!name.contains(QLatin1Char('.')))
                QVERIFY(QDir().mkpath(path));
            else
                QVERIFY(writeFile(path, name.toUtf8()));
            QTest::qWait(6);
        }
        for (const char *name : {"Lake.jpg", "Invoice 0042.pdf", "Sunset.png", "setup-notes.txt", "IMG_2041.jpg", "Slides",
                                 "archive-2026.zip", "Boarding pass.pdf"})
            m_trayFiles.append(downloads + QLatin1Char('/') + QString::fromUtf8(name));

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
        ThumbnailCache::setInstance(m_thumbnails.get());
        TrayStore::setInstance(m_store.get());
        FileFeeds::setInstance(m_feeds.get());

        m_view = std::make_unique<QQuickView>();
        QmlModule::prepare(*m_view->engine());
        ThumbnailCache::registerImageProvider(*m_view->engine());
        m_view->setColor(Qt::black);
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/TrayPageView.qml")));
        QVERIFY2(m_view->status() == QQuickView::Ready, qPrintable(m_view->errors().value(0).toString()));
        m_view->resize(530, 120);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }

    void cleanupTestCase()
    {
        m_view.reset();
        TrayStore::setInstance(nullptr);
        FileFeeds::setInstance(nullptr);
        ThumbnailCache::setInstance(nullptr);
    }

    // Each state of the page: which of its parts show. Rows run in order
    // on one view, as a person would move through them.
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
        if (filled && m_store->isEmpty()) {
            QList<QUrl> urls;
            for (const QString &f : std::as_const(m_trayFiles))
                urls.append(QUrl::fromLocalFile(f));
            QVERIFY(m_store->add(urls));
        }
        m_store->setSource(source);
        if (downloadsGone)
            m_feeds->refreshDownloads();
        m_view->rootObject()->setProperty("dropTargeted", dropTargeted);
        settle();

        for (const char *part : {"dropZone", "clearButton", "grid", "feedMessage"})
            QVERIFY2(shows(part) == shown.contains(QLatin1String(part)), part);
        if (shown.contains(QStringLiteral("clearButton")))
            QCOMPARE(find("grid")->property("count").toInt(), m_trayFiles.size());
        QVERIFY(grabScreen(*m_view, QString::fromLatin1(QTest::currentDataTag())));
        m_view->rootObject()->setProperty("dropTargeted", false);
        if (downloadsGone)
            QVERIFY(QDir().rename(downloads + QStringLiteral(".away"), downloads));
    }

    void appearingAgainForgetsDeletedFiles()
    {
        m_store->setSource(TraySource::Dropped);
        const int before = m_store->count();
        const QString doomed = home(QStringLiteral("Downloads/setup-notes.txt"));
        QVERIFY(QFile::remove(doomed));
        m_view->rootObject()->setProperty("active", false);
        m_view->rootObject()->setProperty("active", true);
        QCOMPARE(m_store->count(), before - 1);
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
