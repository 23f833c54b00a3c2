#include "TrayTestFiles.h"
#include "core/ManualClock.h"
#include "tray/FileFeeds.h"
#include "tray/ThumbnailCache.h"

#include <QAbstractItemModelTester>
#include <QBuffer>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <utime.h>

using Statuses = QList<FileFeeds::Status>;
using Bookmark = RecentlyUsedList::Bookmark;

namespace {

bool fileSystemKeepsBirthTime(const QString &path)
{
    struct statx stx;
    return ::statx(AT_FDCWD, QFile::encodeName(path).constData(), 0, STATX_BTIME, &stx) == 0
        && (stx.stx_mask & STATX_BTIME);
}

void setModified(const QString &path, qint64 seconds)
{
    const struct utimbuf times{seconds, seconds};
    QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
}

// File names of tray items or of bare URLs.
template<typename List> QStringList names(const List &list)
{
    QStringList out;
    for (const auto &entry : list)
        out.append(TrayItem{entry}.name());
    return out;
}

} // namespace

class tst_FileFeeds : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    QString m_downloads;
    QStringList m_expectedDownloads;
    ManualClock m_clock{QDateTime::fromSecsSinceEpoch(1'795'240'000, Qt::UTC)};

    FileFeeds::Locations locations(const QString &downloads) const
    {
        return {downloads, m_home.filePath(QStringLiteral(".local/share/recently-used.xbel")), m_home.path()};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_home.isValid());
        m_downloads = m_home.filePath(QStringLiteral("Downloads"));
        QVERIFY(QDir().mkpath(m_downloads));

        // Created one after the other so each is born later than the one
        // before; their modification times run the other way, so the order
        // shows which date the listing sorts by.
        QStringList created;
        for (int i = 0; i < 28; ++i)
            created.append(QStringLiteral("file-%1.bin").arg(i, 2, 10, QLatin1Char('0')));
        created << QStringLiteral("Album") << QStringLiteral("x.parts");
        const QStringList neverListed
            = QStringLiteral("movie.CRDOWNLOAD x.part y.Download z.partial o.opdownload .hidden .config-dir").split(u' ');
        const qint64 base = 1'700'000'000;
        int n = 0;
        for (const QString &name : created + neverListed) {
            const QString path = QDir(m_downloads).filePath(name);
            if (name == QLatin1String("Album") || name == QLatin1String(".config-dir"))
                QVERIFY(QDir().mkpath(path));
            else
                QVERIFY(writeFile(path, name.toUtf8()));
            setModified(path, base - 60 * n++);
            QThread::msleep(6); // past the file system's clock granularity
        }
        QVERIFY(writeFile(QDir(m_downloads).filePath(QStringLiteral("Album/inside.txt")), "inside"));
        setModified(QDir(m_downloads).filePath(QStringLiteral("Album")), base - 60 * 28);

        if (fileSystemKeepsBirthTime(m_downloads)) {
            for (qsizetype i = created.size() - 1; i >= created.size() - 18; --i)
                m_expectedDownloads.append(created.at(i));
        } else {
            for (qsizetype i = 0; i < 18; ++i)
                m_expectedDownloads.append(created.at(i));
        }
    }

    void sortsByBirthThenModifiedAndKeepsTies_data()
    {
        QTest::addColumn<QList<FileFeeds::Entry>>("entries");
        QTest::addColumn<QStringList>("expected");
        using E = FileFeeds::Entry;
        QTest::newRow("birth wins over modification")
            << QList<E>{{QStringLiteral("a"), 10, 99}, {QStringLiteral("b"), 20, 1}} << QStringList{"b", "a"};
        QTest::newRow("no birth time falls back to modification")
            << QList<E>{{QStringLiteral("a"), 10, 99}, {QStringLiteral("b"), std::nullopt, 15}} << QStringList{"b", "a"};
        QTest::newRow("unreadable dates sink to the bottom")
            << QList<E>{{QStringLiteral("a"), std::nullopt, std::nullopt}, {QStringLiteral("b"), std::nullopt, 1}}
            << QStringList{"b", "a"};
        QTest::newRow("equal dates keep the listing order")
            << QList<E>{{QStringLiteral("c"), 5, 1}, {QStringLiteral("a"), 5, 9}, {QStringLiteral("b"), 5, 3},
                        {QStringLiteral("d"), 6, 0}}
            << QStringList{"d", "c", "a", "b"};
    }

    void sortsByBirthThenModifiedAndKeepsTies()
    {
        QFETCH(QList<FileFeeds::Entry>, entries);
        QFETCH(QStringList, expected);
        FileFeeds::sortNewestFirst(entries);
        QStringList got;
        for (const auto &e : entries)
            got.append(e.name);
        QCOMPARE(got, expected);
    }

    void partialDownloadExtensions_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("partial");
        QTest::newRow("chrome") << "movie.CRDOWNLOAD" << true;
        QTest::newRow("firefox") << "x.part" << true;
        QTest::newRow("safari") << "a.download" << true;
        QTest::newRow("opera") << "a.opdownload" << true;
        QTest::newRow("partial") << "a.Partial" << true;
        QTest::newRow("look-alike") << "x.parts" << false;
        QTest::newRow("extension inside the name") << "part.txt" << false;
        QTest::newRow("only a dot name") << ".part" << false;
    }

    void partialDownloadExtensions()
    {
        QFETCH(QString, name);
        QFETCH(bool, partial);
        QCOMPARE(FileFeeds::isPartialDownload(name), partial);
    }

    void listsTheNewestVisibleFinishedDownloads()
    {
        const auto listing = FileFeeds::newestDownloads(m_downloads, FileFeeds::kDownloadsLimit);
        QVERIFY(listing.ok());
        QCOMPARE(names(listing.urls), m_expectedDownloads);
    }

    void filesVanishingDuringTheListingAreSkipped()
    {
        // A browser renames and deletes files in Downloads all the time; a
        // file gone between reading the folder and looking at the file is
        // left out, and never makes the whole folder "denied".
        const QString folder = m_home.filePath(QStringLiteral("busy"));
        QStringList names;
        for (int i = 0; i < 4000; ++i) {
            names.append(QStringLiteral("file-%1").arg(i));
            QVERIFY(writeFile(QDir(folder).filePath(names.last()), "x"));
        }
        std::atomic<bool> done = false;
        std::thread remover([&] {
            for (const QString &name : std::as_const(names))
                QFile::remove(QDir(folder).filePath(name));
            done = true;
        });
        int listings = 0;
        while (!done || listings == 0) {
            const auto listing = FileFeeds::newestDownloads(folder, FileFeeds::kDownloadsLimit);
            ++listings;
            if (!listing.ok()) {
                remover.join();
                QFAIL(qPrintable(listing.problem));
            }
        }
        remover.join();
        QVERIFY(FileFeeds::newestDownloads(folder, FileFeeds::kDownloadsLimit).urls.isEmpty());
    }

    void unreadableFolderIsDenied_data()
    {
        // Tests run as root, for whom no permission bit denies a read, so
        // the folder is made unreadable the ways root also meets.
        QTest::addColumn<QString>("kind");
        QTest::newRow("missing") << "missing";
        QTest::newRow("a file where the folder should be") << "file";
        QTest::newRow("a dangling link") << "dangling";
    }

    void unreadableFolderIsDenied()
    {
        QFETCH(QString, kind);
        const QString path = m_home.filePath(QStringLiteral("denied-") + kind);
        if (kind == QLatin1String("file"))
            QVERIFY(writeFile(path, "not a folder"));
        else if (kind == QLatin1String("dangling"))
            QVERIFY(QFile::link(m_home.filePath(QStringLiteral("nowhere")), path));

        ThumbnailCache thumbnails({m_home.filePath(QStringLiteral("thumbs")), {}, 1});
        FileFeeds feeds(thumbnails, m_clock, locations(path));
        QSignalSpy changes(&feeds, &FileFeeds::downloadsChanged);
        feeds.refreshDownloads();
        QCOMPARE(feeds.downloadsStatus(), FileFeeds::Status::Loading);
        QTRY_COMPARE(feeds.downloadsStatus(), FileFeeds::Status::Denied);
        QCOMPARE(changes.count(), 2);
        QVERIFY(feeds.downloadsProblem().contains(QStringLiteral("denied-") + kind));
        QVERIFY(feeds.downloads().items.isEmpty());
    }

    void refreshKeepsTheOldListAndRecoversFromDenied()
    {
        const QString late = m_home.filePath(QStringLiteral("LateDownloads"));
        ThumbnailCache thumbnails({m_home.filePath(QStringLiteral("thumbs")), {}, 1});
        FileFeeds feeds(thumbnails, m_clock, locations(late));
        QAbstractItemModelTester tester(feeds.downloadsItems(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        Statuses seen;
        connect(&feeds, &FileFeeds::downloadsChanged, this, [&] { seen.append(feeds.downloadsStatus()); });

        feeds.refreshDownloads();
        QTRY_COMPARE(feeds.downloadsStatus(), FileFeeds::Status::Denied);
        QVERIFY(writeFile(late + QStringLiteral("/one.txt"), "1"));
        feeds.refreshDownloads();
        QTRY_COMPARE(feeds.downloadsStatus(), FileFeeds::Status::Loaded);
        QCOMPARE(seen, (Statuses{FileFeeds::Status::Loading, FileFeeds::Status::Denied, FileFeeds::Status::Loading,
                                 FileFeeds::Status::Loaded}));

        // Two quick refreshes of a loaded feed: the list never blanks.
        seen.clear();
        QThread::msleep(6);
        QVERIFY(writeFile(late + QStringLiteral("/two.txt"), "2"));
        feeds.refreshDownloads();
        feeds.refreshDownloads();
        QCOMPARE(feeds.downloadsStatus(), FileFeeds::Status::Loaded);
        QCOMPARE(feeds.downloadsItems()->count(), 1);
        QTRY_COMPARE(feeds.downloadsItems()->count(), 2);
        QCOMPARE(seen, (Statuses{FileFeeds::Status::Loaded}));
        QCOMPARE(names(feeds.downloads().items), (QStringList{"two.txt", "one.txt"}));
        QCOMPARE(feeds.state(TraySource::Dropped).status, FileFeeds::Status::Idle);
        // Every listed file gets its preview started.
        QVERIFY(thumbnails.wasRequested(QUrl::fromLocalFile(late + QStringLiteral("/two.txt"))));
    }

    void recentFilters_data()
    {
        QTest::addColumn<QList<Bookmark>>("bookmarks");
        QTest::addColumn<QStringList>("expected");

        const QDateTime now = m_clock.now();
        const QString home = m_home.path();
        const auto file = [&](const QString &rel) {
            const QString path = home + QLatin1Char('/') + rel;
            if (!rel.endsWith(QLatin1Char('/')))
                writeFile(path, rel.toUtf8());
            else
                QDir().mkpath(path);
            return QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded);
        };
        const auto ago = [&](qint64 s) { return now.addSecs(-s); };
        const qint64 window = FileFeeds::kRecentWindow;

        QTest::newRow("window edge is inclusive")
            << QList<Bookmark>{{file(QStringLiteral("r/edge.txt")), "text/plain", ago(window), {}},
                               {file(QStringLiteral("r/old.txt")), "text/plain", ago(window + 1), ago(window + 1)}}
            << QStringList{"edge.txt"};
        QTest::newRow("the later of visited and modified counts")
            << QList<Bookmark>{{file(QStringLiteral("r/a.txt")), "text/plain", ago(50), ago(window * 2)},
                               {file(QStringLiteral("r/b.txt")), "text/plain", ago(window * 2), ago(10)}}
            << QStringList{"b.txt", "a.txt"};
        QTest::newRow("folders, launchers and app state are left out")
            << QList<Bookmark>{{file(QStringLiteral("r/dir/")), "inode/directory", ago(1), {}},
                               {file(QStringLiteral("r/app.desktop")), "application/x-desktop", ago(2), {}},
                               {file(QStringLiteral(".cache/c.bin")), "application/octet-stream", ago(3), {}},
                               {file(QStringLiteral(".config/x.ini")), "text/plain", ago(4), {}},
                               {file(QStringLiteral(".local/share/y.txt")), "text/plain", ago(5), {}},
                               {file(QStringLiteral("r/kept.txt")), "text/plain", ago(6), {}}}
            << QStringList{"kept.txt"};
        QTest::newRow("web pages and vanished files are left out")
            << QList<Bookmark>{{QStringLiteral("https://example.org/a.txt"), "text/html", ago(1), {}},
                               {QUrl::fromLocalFile(home + QStringLiteral("/gone.txt")).toString(), "text/plain", ago(2), {}},
                               {file(QStringLiteral("r/here.txt")), "text/plain", ago(3), {}}}
            << QStringList{"here.txt"};
        QList<Bookmark> many;
        for (int i = 0; i < 40; ++i)
            many.append({file(QStringLiteral("r/m%1.txt").arg(i)), "text/plain", ago(100 + i), {}});
        QStringList first18;
        for (int i = 0; i < 18; ++i)
            first18.append(QStringLiteral("m%1.txt").arg(i));
        QTest::newRow("at most 18") << many << first18;
    }

    void recentFilters()
    {
        QFETCH(QList<Bookmark>, bookmarks);
        QFETCH(QStringList, expected);
        QCOMPARE(names(FileFeeds::recentFiles(bookmarks, m_clock.now(), m_home.path(), FileFeeds::kRecentLimit)), expected);
    }

    void recentReadsTheListGLibWrites()
    {
        const QString script = QStringLiteral(TRAY_TEST_DATA "/make_recent.py");
        const auto loc = locations(m_downloads);
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"),
                     {script, loc.home, loc.recentList, QString::number(m_clock.now().toSecsSinceEpoch()),
                      QStringLiteral("500")});
        QVERIFY2(python.waitForFinished(30000), "needs Debian's python3");
        QVERIFY2(python.exitCode() == 0, python.readAllStandardError().constData());
        const QStringList expected = QString::fromUtf8(python.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(expected.size(), 18);

        const auto before = checksumsUnder(loc.home);
        ThumbnailCache thumbnails({m_home.filePath(QStringLiteral("thumbs-elsewhere")), {}, 1});
        FileFeeds feeds(thumbnails, m_clock, loc);
        QAbstractItemModelTester tester(feeds.recentItems(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy changes(&feeds, &FileFeeds::recentChanged);
        QSignalSpy reads(&feeds, &FileFeeds::recentReadStarted);
        feeds.refreshRecent();
        feeds.refreshRecent(); // one read at a time
        QVERIFY(feeds.isRecentReadInFlight());
        QCOMPARE(feeds.recentStatus(), FileFeeds::Status::Loading);
        QTRY_COMPARE(feeds.recentStatus(), FileFeeds::Status::Loaded);
        QCOMPARE(reads.count(), 1);
        QCOMPARE(changes.count(), 2);
        QStringList got;
        for (const TrayItem &item : feeds.recent().items)
            got.append(item.path());
        QCOMPARE(got, expected);

        QTRY_COMPARE(thumbnails.pendingCount(), 0);
        QCOMPARE(checksumsUnder(loc.home), before);
    }

    void readsTheStampsEveryWriterUses_data()
    {
        QTest::addColumn<QString>("stamp");
        QTest::addColumn<QDateTime>("expected");
        const QDateTime t(QDate(2026, 11, 16), QTime(8, 0, 5), Qt::UTC);
        QTest::newRow("whole seconds") << "2026-11-16T08:00:05Z" << t;
        QTest::newRow("microseconds, as GLib writes") << "2026-11-16T08:00:05.123456Z" << t.addMSecs(123);
        QTest::newRow("one fraction digit") << "2026-11-16T08:00:05.5Z" << t.addMSecs(500);
        QTest::newRow("an offset instead of Z") << "2026-11-16T10:00:05+02:00" << t;
        QTest::newRow("garbage") << "yesterday" << QDateTime();
    }

    void readsTheStampsEveryWriterUses()
    {
        QFETCH(QString, stamp);
        QFETCH(QDateTime, expected);
        QByteArray xml = "<xbel><bookmark href=\"file:///x\" visited=\"" + stamp.toUtf8() + "\"/></xbel>";
        QBuffer buffer(&xml);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        const auto bookmarks = RecentlyUsedList::read(buffer);
        QCOMPARE(bookmarks.size(), 1);
        QCOMPARE(bookmarks.first().visited, expected);
        QCOMPARE(bookmarks.first().lastUsed(), expected);
    }

    void missingRecentListIsAnEmptyFeed()
    {
        ThumbnailCache thumbnails({m_home.filePath(QStringLiteral("thumbs")), {}, 1});
        FileFeeds feeds(thumbnails, m_clock, {m_downloads, m_home.filePath(QStringLiteral("no.xbel")), m_home.path()});
        feeds.refreshRecent();
        QTRY_COMPARE(feeds.recentStatus(), FileFeeds::Status::Loaded);
        QVERIFY(feeds.recent().items.isEmpty());
        QVERIFY(!feeds.isRecentReadInFlight());
    }
};

QTEST_GUILESS_MAIN(tst_FileFeeds)
#include "tst_FileFeeds.moc"
