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
        QTest::addColumn<QString>("downloads"); // folder name under the temp dir
        QTest::addColumn<bool>("trayHasItems");
        QTest::addColumn<TraySource>("source");
        QTest::addColumn<QString>("shown"); // content, Clear, removable, symbol, title, detail: those present

        QTest::newRow("empty tray invites a drop") << "Downloads" << false << TraySource::Dropped << "Invitation|removable";
        QTest::newRow("tray with items, clearable") << "Downloads" << true << TraySource::Dropped << "Grid|Clear|removable";
        QTest::newRow("downloads grid has no Clear") << "Downloads" << true << TraySource::Downloads << "Grid";
        QTest::newRow("empty downloads") << "Empty" << false << TraySource::Downloads
                                         << "Message|arrow_circle_down|Nothing in Downloads";
        QTest::newRow("denied downloads")
            << "Missing" << true << TraySource::Downloads
            << "Message|lock|Tarnwick can't see your Downloads|There's no folder at " + m_dir.filePath("Missing") + ".";
        QTest::newRow("no recent files") << "Downloads" << false << TraySource::Recent
                                         << "Message|schedule|No recent files|Files you open in the last two weeks show up here.";
    }

    void contentBySourceAndState()
    {
        QFETCH(QString, downloads);
        QFETCH(bool, trayHasItems);
        QFETCH(TraySource, source);
        QFETCH(QString, shown);

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
        QStringList got{QString::fromLatin1(QMetaEnum::fromType<TrayPage::Content>().valueToKey(int(f.page.content()))),
                        f.page.showsClear() ? QStringLiteral("Clear") : QString(),
                        f.page.removable() ? QStringLiteral("removable") : QString(), f.page.messageSymbol(),
                        f.page.messageTitle(), f.page.messageDetail()};
        got.removeAll(QString());
        QCOMPARE(got.join(u'|'), shown);
    }

    // (Appearing prunes vanished files: tst_TrayPageView, through the view's binding.)
    void everySourcePickRefreshes()
    {
        Fixture f(m_dir.path(), m_clock, m_dir.filePath(QStringLiteral("Downloads")));
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
