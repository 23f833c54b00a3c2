#include "TrayTestFiles.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using Urls = QList<QUrl>;

class tst_TrayStore : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QUrl file(const QString &name) const { return QUrl::fromLocalFile(path(name)); }

    struct Fixture
    {
        explicit Fixture(const QString &cacheRoot)
            : thumbnails(ThumbnailCache::Options{cacheRoot, {}, 1})
            , store(thumbnails)
            , tester(&store, QAbstractItemModelTester::FailureReportingMode::QtTest)
        {
        }
        ThumbnailCache thumbnails;
        TrayStore store;
        QAbstractItemModelTester tester;
    };

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        for (const char *name : {"a.txt", "b.txt", "c.txt", "d.txt"})
            QVERIFY(writeFile(path(QString::fromLatin1(name)), QByteArray("content of ") + name));
        QVERIFY(QDir().mkpath(path(QStringLiteral("sub"))));
        QVERIFY(QFile::link(path(QStringLiteral("a.txt")), path(QStringLiteral("link.txt"))));
    }

    void add_data()
    {
        QTest::addColumn<Urls>("first");
        QTest::addColumn<Urls>("second");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QStringList>("expected"); // paths relative to the temp dir, in order

        const QUrl a = file(QStringLiteral("a.txt"));
        const QUrl b = file(QStringLiteral("b.txt"));
        QTest::newRow("nothing") << Urls{} << Urls{} << false << QStringList{};
        QTest::newRow("only web addresses") << Urls{} << Urls{QUrl(QStringLiteral("https://example.org/a.txt"))} << false
                                            << QStringList{};
        QTest::newRow("new files go to the end in order")
            << Urls{a} << Urls{file(QStringLiteral("c.txt")), b} << true << QStringList{"a.txt", "c.txt", "b.txt"};
        QTest::newRow("already there is still accepted") << Urls{a, b} << Urls{b} << true << QStringList{"a.txt", "b.txt"};
        QTest::newRow("dot segments are standardized before the duplicate check")
            << Urls{QUrl::fromLocalFile(m_dir.path() + QStringLiteral("/sub/../a.txt"))}
            << Urls{QUrl::fromLocalFile(m_dir.path() + QStringLiteral("/./a.txt"))} << true << QStringList{"a.txt"};
        QTest::newRow("the same new file twice in one call is added twice")
            << Urls{} << Urls{a, a} << true << QStringList{"a.txt", "a.txt"};
        QTest::newRow("web addresses mixed in are dropped")
            << Urls{} << Urls{QUrl(QStringLiteral("https://example.org/")), b} << true << QStringList{"b.txt"};
        QTest::newRow("a link stays the link")
            << Urls{} << Urls{file(QStringLiteral("link.txt")), a} << true << QStringList{"link.txt", "a.txt"};
        QTest::newRow("folders are files too") << Urls{} << Urls{file(QStringLiteral("sub"))} << true << QStringList{"sub"};
    }

    void add()
    {
        QFETCH(Urls, first);
        QFETCH(Urls, second);
        QFETCH(bool, accepted);
        QFETCH(QStringList, expected);

        Fixture f(path(QStringLiteral("cache")));
        if (!first.isEmpty())
            QVERIFY(f.store.add(first));
        QSignalSpy changes(&f.store, &TrayStore::itemsChanged);
        QCOMPARE(f.store.add(second), accepted);
        QCOMPARE(changes.count(), 1);

        QStringList got;
        for (const TrayItem &item : f.store.items())
            got.append(QDir(m_dir.path()).relativeFilePath(item.path()));
        QCOMPARE(got, expected);
        QCOMPARE(f.store.rowCount(), expected.size());
    }

    void removingForgetsItemsAndNeverTouchesTheFiles()
    {
        const auto before = checksumsUnder(m_dir.path());
        Fixture f(path(QStringLiteral("cache-elsewhere")));
        const QUrl a = file(QStringLiteral("a.txt"));
        const QUrl b = file(QStringLiteral("b.txt"));
        const QUrl c = file(QStringLiteral("link.txt"));
        QVERIFY(writeFile(path(QStringLiteral("doomed.txt")), "x"));
        QSignalSpy previews(&f.thumbnails, &ThumbnailCache::requestFinished);
        f.store.add({a, b, a, file(QStringLiteral("doomed.txt")), c, a});
        QTRY_COMPARE(f.thumbnails.pendingCount(), 0);
        QCOMPARE(previews.count(), 4); // one per file, however often it was added
        QSignalSpy changes(&f.store, &TrayStore::itemsChanged);
        f.store.remove(TrayItem{a}); // every copy, the rest keep their order
        QCOMPARE(f.store.items(), (TrayItems{{b}, {file(QStringLiteral("doomed.txt"))}, {c}}));
        QVERIFY(QFile::remove(path(QStringLiteral("doomed.txt"))));
        QCOMPARE(f.store.count(), 3); // nothing watches the disk
        f.store.pruneMissing();
        QCOMPARE(f.store.items(), (TrayItems{{b}, {c}}));
        f.store.removeAll();
        f.store.removeAll();
        QCOMPARE(changes.count(), 4);
        QVERIFY(f.store.isEmpty());

        QTRY_COMPARE(f.thumbnails.pendingCount(), 0);
        auto after = checksumsUnder(m_dir.path());
        // The thumbnail cache may write its own previews; nothing else changes.
        after.removeIf([&](auto it) { return it.key().startsWith(path(QStringLiteral("cache-elsewhere"))); });
        QCOMPARE(after, before);
    }

};

QTEST_GUILESS_MAIN(tst_TrayStore)
#include "tst_TrayStore.moc"
