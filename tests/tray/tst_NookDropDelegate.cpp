#include "app/NookSettings.h"
#include "core/ManualClock.h"
#include "core/UserDefaults.h"
#include "notch/NotchViewModel.h"
#include "tray/DroppedFiles.h"
#include "tray/NookDropDelegate.h"
#include "tray/ThumbnailCache.h"
#include "tray/TrayStore.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using Urls = QList<QUrl>;

// What a drag over the notch does: which drags open the Nook, which half
// takes the files, and what arrives where.
class tst_NookDropDelegate : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    struct Fixture
    {
        explicit Fixture(const QString &dir, bool showsTray = true)
            : defaults(dir + QStringLiteral("/defaults.conf"))
            , settings(defaults)
            , model(NotchGeometry(QSizeF(190, 32), false, QRectF(0, 0, 1920, 1080)), settings, clock)
            , thumbnails({dir + QStringLiteral("/thumbs"), {}, 1})
            , store(thumbnails)
            , drops(clock, &store, nullptr)
        {
            settings.setShowsTray(showsTray);
            drops.setModel(&model);
        }
        // A point over the left or right half of the open centre page.
        QPointF left() const { return model.geometry().baseRect().center() - QPointF(100, 0); }
        QPointF right() const { return model.geometry().baseRect().center() + QPointF(100, 0); }

        ManualClock clock;
        UserDefaults defaults;
        NookSettings settings;
        NotchViewModel model;
        ThumbnailCache thumbnails;
        TrayStore store;
        NookDropDelegate drops;
    };

    QUrl file(const QString &name) const { return QUrl::fromLocalFile(m_dir.filePath(name)); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void onlyFileDragsOpenTheNookAndTheHalfUnderThePointerChooses()
    {
        Fixture f(m_dir.path());
        // Plain text (no URL) and web links are no drop for the notch.
        for (const Urls &none : {Urls{}, Urls{QUrl(QStringLiteral("https://example.org/a.pdf"))}})
            QVERIFY(!f.drops.enter(none, f.right()));
        QVERIFY(!f.model.isDropTargeted() && !f.model.isExpanded());
        // One file among links is, and opens the Nook on the tray.
        QVERIFY(f.drops.enter({QUrl(QStringLiteral("https://example.org/")), file(QStringLiteral("a.txt"))}, f.right()));
        QVERIFY(f.model.isDropTargeted() && f.model.isExpanded());
        QCOMPARE(f.model.page(), NookPage::Tray);
        // Still opening: everything aims at the tray.
        QCOMPARE(f.model.dropZone(), DropZone::Tray);
        f.clock.advance(NookDropDelegate::kOpeningTime);
        QSignalSpy zone(&f.model, &NotchViewModel::dropZoneChanged);
        f.drops.move(f.right());
        f.drops.move(f.right() + QPointF(5, 5));
        QCOMPARE(f.model.dropZone(), DropZone::AirDrop);
        f.drops.move(f.left());
        QCOMPARE(f.model.dropZone(), DropZone::Tray);
        QCOMPARE(zone.count(), 2);
        f.drops.exit();
        QVERIFY(!f.model.isDropTargeted());

        // With the tray page off, the whole panel sends.
        Fixture off(m_dir.path(), false);
        QVERIFY(off.drops.enter({file(QStringLiteral("a.txt"))}, off.left()));
        QCOMPARE(off.model.dropZone(), DropZone::AirDrop);
        off.clock.advance(1);
        off.drops.move(off.left());
        QCOMPARE(off.model.dropZone(), DropZone::AirDrop);
    }

    void dropsDeliverTheFilesThatLoad_data()
    {
        QTest::addColumn<bool>("waitUntilOpen");
        QTest::addColumn<bool>("onTheRight");
        QTest::addColumn<DropZone>("zone");
        QTest::newRow("left half keeps them") << true << false << DropZone::Tray;
        QTest::newRow("right half sends them") << true << true << DropZone::AirDrop;
        QTest::newRow("a drop while opening lands in the tray") << false << true << DropZone::Tray;
    }

    void dropsDeliverTheFilesThatLoad()
    {
        QFETCH(bool, waitUntilOpen);
        QFETCH(bool, onTheRight);
        QFETCH(DropZone, zone);
        Fixture f(m_dir.path());
        f.store.setSource(TraySource::Recent);
        QSignalSpy delivered(&f.drops, &NookDropDelegate::delivered);
        const Urls dropped{file(QStringLiteral("one.txt")), QUrl(QStringLiteral("https://example.org/x")),
                           file(QStringLiteral("sub/../two.txt"))};
        const Urls files{file(QStringLiteral("one.txt")), file(QStringLiteral("two.txt"))};
        QVERIFY(f.drops.enter(dropped, f.left()));
        if (waitUntilOpen)
            f.clock.advance(NookDropDelegate::kOpeningTime + 0.1);
        QVERIFY(f.drops.drop(dropped, onTheRight ? f.right() : f.left()));
        QVERIFY(!f.model.isDropTargeted());
        QTRY_COMPARE(delivered.size(), 1);
        QCOMPARE(delivered.first().at(0).value<DropZone>(), zone);
        QCOMPARE(delivered.first().at(1).value<Urls>(), files);
        // Files kept in the tray show there at once; sent ones never land in it.
        QCOMPARE(f.store.count(), zone == DropZone::Tray ? 2 : 0);
        QCOMPARE(f.store.source(), zone == DropZone::Tray ? TraySource::Dropped : TraySource::Recent);
        QVERIFY(!f.drops.drop({QUrl(QStringLiteral("https://example.org"))}, f.left()));
    }

    void collectorCountsAnswersFromAnyThread()
    {
        QList<Urls> completions;
        QObject receiver;
        auto collector = std::make_shared<DroppedFiles::Collector>(3, &receiver, [&](const Urls &files) {
            QCOMPARE(QThread::currentThread(), receiver.thread());
            completions.append(files);
        });
        QThread worker;
        worker.start();
        QMetaObject::invokeMethod(&receiver, [] {}, Qt::QueuedConnection);
        QObject onWorker;
        onWorker.moveToThread(&worker);
        QMetaObject::invokeMethod(&onWorker, [&] { collector->receive(file(QStringLiteral("w.txt"))); },
                                  Qt::BlockingQueuedConnection);
        collector->receive(std::nullopt); // a failed item only counts down
        collector->receive(file(QStringLiteral("m.txt")));
        collector->receive(file(QStringLiteral("late.txt"))); // one answer too many changes nothing
        worker.quit();
        worker.wait();
        QTRY_COMPARE(completions.size(), 1);
        QCOMPARE(completions.first(), (Urls{file(QStringLiteral("w.txt")), file(QStringLiteral("m.txt"))}));
        QTest::qWait(20);
        QCOMPARE(completions.size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_NookDropDelegate)
#include "tst_NookDropDelegate.moc"
