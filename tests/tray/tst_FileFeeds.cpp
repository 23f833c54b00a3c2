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
    ManualClock m_clock{QDateTime::fromSecsSinceEpoch(1'795'240'000, Qt::UTC)};

    FileFeeds::Locations locations(const QString &downloads, const QString &recent = {}) const
    {
        return {downloads, m_home.filePath(recent.isEmpty() ? QStringLiteral(".local/share/recently-used.xbel") : recent),
                m_home.path()};
    }

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_home.isValid());
    }

    void sortsByBirthThenModifiedAndKeepsTies_data()
    {
        QTest::addColumn<QList<FileFeeds::Entry>>("entries");
        QTest::addColumn<QString>("expected");
        using E = FileFeeds::Entry;
        QTest::newRow("birth wins over modification") << QList<E>{{"a", 10, 99}, {"b", 20, 1}} << "b a";
        QTest::newRow("no birth time: modification") << QList<E>{{"a", 10, 99}, {"b", std::nullopt, 15}} << "b a";
        QTest::newRow("no dates sink") << QList<E>{{"a", std::nullopt, std::nullopt}, {"b", std::nullopt, 1}} << "b a";
        QTest::newRow("ties keep the listing order") << QList<E>{{"c", 5, 1}, {"a", 5, 9}, {"b", 5, 3}, {"d", 6, 0}}
                                                     << "d c a b";
    }

    void sortsByBirthThenModifiedAndKeepsTies()
    {
        QFETCH(QList<FileFeeds::Entry>, entries);
        QFETCH(QString, expected);
        FileFeeds::sortNewestFirst(entries);
        QStringList got;
        for (const auto &e : entries)
            got.append(e.name);
        QCOMPARE(got.join(u' '), expected);
    }

    void listsTheNewestVisibleFinishedDownloads()
    {
        // Created one after the other, so each is born later than the one
        // before; modification times run the other way, so the order shows
        // which date the listing sorts by. The look-alikes sit where either
        // order lists them.
        const QString downloads = m_home.filePath(QStringLiteral("Downloads"));
        QStringList created;
        for (int i = 0; i < 20; ++i)
            created.append(QStringLiteral("file-%1.bin").arg(i, 2, 10, QLatin1Char('0')));
        created[9] = QStringLiteral("Album");
        created[10] = QStringLiteral("x.parts");
        created[11] = QStringLiteral("part.txt");
        const QStringList neverListed
            = QStringLiteral("movie.CRDOWNLOAD x.part y.Download z.partial o.opdownload .hidden .config-dir").split(u' ');
        int n = 0;
        for (const QString &name : created + neverListed) {
            const QString path = QDir(downloads).filePath(name);
            QVERIFY(writeFile(name == QLatin1String("Album") || name == QLatin1String(".config-dir")
                                  ? path + QStringLiteral("/inside.txt")
                                  : path,
                              "x"));
            const struct utimbuf times{1'700'000'000 - 60 * n, 1'700'000'000 - 60 * n};
            ++n;
            QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
            QThread::msleep(6); // past the file system's clock granularity
        }
        struct statx stx;
        const bool keepsBirth = ::statx(AT_FDCWD, QFile::encodeName(downloads).constData(), 0, STATX_BTIME, &stx) == 0
            && (stx.stx_mask & STATX_BTIME);
        QStringList expected;
        for (qsizetype i = 0; i < FileFeeds::kDownloadsLimit; ++i)
            expected.append(created.at(keepsBirth ? created.size() - 1 - i : i));

        const auto listing = FileFeeds::newestDownloads(downloads, FileFeeds::kDownloadsLimit);
        QVERIFY(listing.ok());
        QCOMPARE(names(listing.urls), expected);
    }

    void filesVanishingDuringTheListingAreSkipped()
    {
        // A browser renames and deletes files in Downloads all the time; a
        // file gone between reading the folder and looking at the file is
        // left out, and never makes the whole folder "denied".
        const QString folder = m_home.filePath(QStringLiteral("busy"));
        for (int i = 0; i < 4000; ++i)
            QVERIFY(writeFile(QDir(folder).filePath(QString::number(i)), "x"));
        std::atomic<bool> done = false;
        std::thread remover([&] {
            for (int i = 0; i < 4000; ++i)
                QFile::remove(QDir(folder).filePath(QString::number(i)));
            done = true;
        });
        QString problem;
        for (int listings = 0; problem.isEmpty() && (!done || listings == 0); ++listings)
            problem = FileFeeds::newestDownloads(folder, FileFeeds::kDownloadsLimit).problem;
        remover.join();
        QCOMPARE(problem, QString());
        QVERIFY(FileFeeds::newestDownloads(folder, FileFeeds::kDownloadsLimit).urls.isEmpty());
    }

    void unreadableFolderIsDenied()
    {
        // Tests run as root, whom no permission bit stops, so the folder is
        // unreadable in the ways root meets too (a missing one: below).
        const QString file = m_home.filePath(QStringLiteral("not-a-folder"));
        const QString link = m_home.filePath(QStringLiteral("dangling"));
        QVERIFY(writeFile(file, "x"));
        QVERIFY(QFile::link(m_home.filePath(QStringLiteral("nowhere")), link));
        for (const QString &path : {file, link}) {
            const auto listing = FileFeeds::newestDownloads(path, FileFeeds::kDownloadsLimit);
            QVERIFY2(!listing.ok() && listing.problem.contains(QFileInfo(path).fileName()), qPrintable(listing.problem));
        }
    }

    void refreshKeepsTheOldListAndRecoversFromDenied()
    {
        const QString late = m_home.filePath(QStringLiteral("LateDownloads"));
        ThumbnailCache thumbnails({m_home.filePath(QStringLiteral("thumbs")), {}, 1});
        FileFeeds feeds(thumbnails, m_clock, locations(late, QStringLiteral("no.xbel")));
        QAbstractItemModelTester tester(feeds.downloadsItems(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        Statuses seen;
        connect(&feeds, &FileFeeds::downloadsChanged, this, [&] { seen.append(feeds.downloadsStatus()); });

        feeds.refreshDownloads();
        QTRY_COMPARE(feeds.downloadsStatus(), FileFeeds::Status::Denied);
        QVERIFY(feeds.downloadsProblem().contains(late));
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
        QCOMPARE(feeds.downloadsItems()->count(), 1);
        QTRY_COMPARE(feeds.downloadsItems()->count(), 2);
        QCOMPARE(seen, (Statuses{FileFeeds::Status::Loaded}));
        QCOMPARE(names(feeds.downloads().items), (QStringList{"two.txt", "one.txt"}));
        // Every listed file gets its preview started.
        QVERIFY(thumbnails.wasRequested(QUrl::fromLocalFile(late + QStringLiteral("/two.txt"))));

        // No recently-used list yet: an empty feed, not an error.
        feeds.refreshRecent();
        QTRY_COMPARE(feeds.recentStatus(), FileFeeds::Status::Loaded);
        QVERIFY(feeds.recent().items.isEmpty());
    }

    void recentWindowEdgeIsInclusive()
    {
        const qint64 window = FileFeeds::kRecentWindow;
        const auto file = [&](const char *name) {
            writeFile(m_home.filePath(QLatin1String(name)), name);
            return QUrl::fromLocalFile(m_home.filePath(QLatin1String(name))).toString();
        };
        const QList<Bookmark> bookmarks{{file("edge.txt"), "text/plain", m_clock.now().addSecs(-window), {}},
                                        {file("old.txt"), "text/plain", m_clock.now().addSecs(-window - 1), {}}};
        QCOMPARE(names(FileFeeds::recentFiles(bookmarks, m_clock.now(), m_home.path(), FileFeeds::kRecentLimit)),
                 QStringList{"edge.txt"});
    }

    void recentReadsTheListGLibWrites()
    {
        // The script works out independently which entries Recent shows:
        // it leaves out folders, launchers, app state, web pages, deleted
        // files and old ones, and keeps the 18 last used.
        const auto loc = locations(m_home.filePath(QStringLiteral("Downloads")));
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"),
                     {QStringLiteral(TRAY_TEST_DATA "/make_recent.py"), loc.home, loc.recentList,
                      QString::number(m_clock.now().toSecsSinceEpoch()), QStringLiteral("500")});
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

    void readsTheStampsEveryWriterUses()
    {
        // Whole seconds, GLib's microseconds, one fraction digit, an offset instead of Z, garbage.
        QByteArray xml = "<xbel>";
        for (const char *stamp : {"2026-11-16T08:00:05Z", "2026-11-16T08:00:05.123456Z", "2026-11-16T08:00:05.5Z",
                                  "2026-11-16T10:00:05+02:00", "yesterday"})
            xml += QByteArray("<bookmark href=\"file:///x\" visited=\"") + stamp + "\"/>";
        xml += "</xbel>";
        QBuffer buffer(&xml);
        QVERIFY(buffer.open(QIODevice::ReadOnly));
        QList<QDateTime> got;
        for (const Bookmark &bookmark : RecentlyUsedList::read(buffer))
            got.append(bookmark.lastUsed());
        const QDateTime t(QDate(2026, 11, 16), QTime(8, 0, 5), Qt::UTC);
        QCOMPARE(got, (QList<QDateTime>{t, t.addMSecs(123), t.addMSecs(500), t, QDateTime()}));
    }
};

QTEST_GUILESS_MAIN(tst_FileFeeds)
#include "tst_FileFeeds.moc"
