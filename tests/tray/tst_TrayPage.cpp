#include "TrayTestFiles.h"
#include "core/ManualClock.h"
#include "tray/FileFeeds.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayPage.h"
#include "tray/TrayStore.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// The page's decisions: what the header offers and what the body shows for
// each source and feed state.
class tst_TrayPage : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    ManualClock m_clock;

    struct Fixture
    {
        Fixture(const QString &root, Clock &clock, const QString &downloads)
            : thumbnails({root + QStringLiteral("/thumbs"), {}, 1})
            , store(thumbnails)
            , feeds(thumbnails, clock, {downloads, root + QStringLiteral("/recent.xbel"), root})
            , page(store, feeds)
        {
        }
        ThumbnailCache thumbnails;
        TrayStore store;
        FileFeeds feeds;
        TrayPage page;
    };

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("Downloads/a.txt")), "a"));
        QVERIFY(QDir().mkpath(m_dir.filePath(QStringLiteral("Empty"))));
    }

    void contentBySourceAndState_data()
    {
        QTest::addColumn<QString>("downloads");  // folder name under the temp dir
        QTest::addColumn<bool>("trayHasItems");
        QTest::addColumn<TraySource>("source");
        QTest::addColumn<TrayPage::Content>("content");
        QTest::addColumn<bool>("showsClear");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("symbol");

        using C = TrayPage::Content;
        QTest::newRow("empty tray invites a drop") << "Downloads" << false << TraySource::Dropped << C::Invitation << false
                                                   << QString() << QString();
        QTest::newRow("tray with items, clearable")
            << "Downloads" << true << TraySource::Dropped << C::Grid << true << QString() << QString();
        QTest::newRow("downloads grid has no Clear")
            << "Downloads" << true << TraySource::Downloads << C::Grid << false << QString() << QString();
        QTest::newRow("empty downloads") << "Empty" << false << TraySource::Downloads << C::Message << false
                                         << "Nothing in Downloads" << "arrow_circle_down";
        QTest::newRow("denied downloads") << "Missing" << true << TraySource::Downloads << C::Message << false
                                          << "Tarnwick can't see your Downloads" << "lock";
        QTest::newRow("no recent files") << "Downloads" << false << TraySource::Recent << C::Message << false
                                         << "No recent files" << "schedule";
    }

    void contentBySourceAndState()
    {
        QFETCH(QString, downloads);
        QFETCH(bool, trayHasItems);
        QFETCH(TraySource, source);
        QFETCH(TrayPage::Content, content);
        QFETCH(bool, showsClear);
        QFETCH(QString, title);
        QFETCH(QString, symbol);

        Fixture f(m_dir.path(), m_clock, m_dir.filePath(downloads));
        if (trayHasItems)
            f.store.add({QUrl::fromLocalFile(m_dir.filePath(QStringLiteral("Downloads/a.txt")))});
        f.page.pick(source);
        f.page.appear();
        if (source != TraySource::Dropped) {
            // No spinner while a feed is first read.
            QCOMPARE(f.page.content(), TrayPage::Content::Blank);
            QTRY_VERIFY(f.feeds.state(source).status != FileFeeds::Status::Loading);
        }
        QCOMPARE(f.page.content(), content);
        QCOMPARE(f.page.showsClear(), showsClear);
        QCOMPARE(f.page.removable(), source == TraySource::Dropped);
        QCOMPARE(f.page.messageTitle(), title);
        QCOMPARE(f.page.messageSymbol(), symbol);
        if (symbol == QLatin1String("lock"))
            QVERIFY(f.page.messageDetail().contains(QStringLiteral("Missing")));
        if (source == TraySource::Recent)
            QCOMPARE(f.page.messageDetail(), QStringLiteral("Files you open in the last two weeks show up here."));
    }

    void appearingPrunesAndEverySourcePickRefreshes()
    {
        Fixture f(m_dir.path(), m_clock, m_dir.filePath(QStringLiteral("Downloads")));
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("gone.txt")), "x"));
        f.store.add({QUrl::fromLocalFile(m_dir.filePath(QStringLiteral("gone.txt")))});
        QVERIFY(QFile::remove(m_dir.filePath(QStringLiteral("gone.txt"))));
        f.page.appear();
        QVERIFY(f.store.isEmpty());

        f.page.pick(TraySource::Downloads);
        QTRY_COMPARE(f.feeds.downloadsStatus(), FileFeeds::Status::Loaded);

        // Picking it again reads the folder again, and the list stays up.
        QVERIFY(writeFile(m_dir.filePath(QStringLiteral("Downloads/b.txt")), "b"));
        f.page.pick(TraySource::Downloads);
        QCOMPARE(f.page.content(), TrayPage::Content::Grid);
        QTRY_COMPARE(f.feeds.downloadsItems()->count(), 2);

        QSignalSpy reads(&f.feeds, &FileFeeds::recentReadStarted);
        f.store.setSource(TraySource::Recent); // also when someone else switches
        QCOMPARE(reads.count(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_TrayPage)
#include "tst_TrayPage.moc"
