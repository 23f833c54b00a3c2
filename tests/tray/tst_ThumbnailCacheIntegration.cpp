#include "TrayTestFiles.h"
#include "tray/SharedThumbnails.h"
#include "tray/ThumbnailCache.h"
#include "tray/ThumbnailerEntry.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A white page with a large red square.
QByteArray redSquarePdf()
{
    return onePagePdf("1 0 0 rg 20 20 160 160 re f");
}

} // namespace

// Previews of documents come from the thumbnailers installed on the system,
// exactly as file managers run them.
class tst_ThumbnailCacheIntegration : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("evince-thumbnailer")).isEmpty(),
                 "evince-thumbnailer is missing: install the Debian package evince");
    }

    void pdfThroughTheInstalledThumbnailer()
    {
        const QString file = m_dir.filePath(QStringLiteral("report.pdf"));
        QVERIFY(writeFile(file, redSquarePdf()));
        const auto installed = ThumbnailerEntry::installed(ThumbnailerEntry::systemDataDirs());
        QVERIFY(std::any_of(installed.cbegin(), installed.cend(),
                            [](const ThumbnailerEntry &e) { return e.mimeTypes.contains(QStringLiteral("application/pdf")); }));
        const QString root = m_dir.filePath(QStringLiteral("thumbnails"));
        ThumbnailCache cache({root, installed, ThumbnailCache::kThumbnailerTimeLimit});
        const QUrl url = QUrl::fromLocalFile(file);
        QSignalSpy finished(&cache, &ThumbnailCache::requestFinished);
        cache.load(url);
        QVERIFY(finished.wait(20000));
        QVERIFY(finished.first().at(1).toBool());
        const QImage preview = cache.image(url);
        QCOMPARE(std::max(preview.width(), preview.height()), 96);
        const QColor centre = preview.pixelColor(preview.width() / 2, preview.height() / 2);
        QVERIFY2(centre.red() > 200 && centre.green() < 60 && centre.blue() < 60, qPrintable(centre.name()));

        const QString uri = SharedThumbnails::uriForPath(file);
        const QImage written(root + QStringLiteral("/normal/") + SharedThumbnails::fileName(uri));
        QCOMPARE(written.text(QStringLiteral("Thumb::URI")), uri);
        QCOMPARE(written.text(QStringLiteral("Thumb::MTime")),
                 QString::number(QFileInfo(file).lastModified().toSecsSinceEpoch()));
    }

    void aHangingThumbnailerIsStoppedAtTheLimit()
    {
        const QString file = m_dir.filePath(QStringLiteral("slow.pdf"));
        QVERIFY(writeFile(file, redSquarePdf()));
        const ThumbnailerEntry hanging =
            ThumbnailerEntry::parse("[Thumbnailer Entry]\nExec=/bin/sleep 30 %o\nMimeType=application/pdf;\n");
        ThumbnailCache cache({m_dir.filePath(QStringLiteral("thumbnails-slow")), {hanging}, 0.5});
        QSignalSpy finished(&cache, &ThumbnailCache::requestFinished);
        cache.load(QUrl::fromLocalFile(file));
        // The thumbnailer would sleep for 30 s; the answer comes long before.
        QVERIFY(finished.wait(10000));
        QVERIFY(!finished.first().at(1).toBool());
    }
};

QTEST_MAIN(tst_ThumbnailCacheIntegration)
#include "tst_ThumbnailCacheIntegration.moc"
