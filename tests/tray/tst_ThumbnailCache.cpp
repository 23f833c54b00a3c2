#include "TrayTestFiles.h"
#include "tray/SharedThumbnails.h"
#include "tray/ThumbnailCache.h"
#include "tray/ThumbnailerEntry.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QImage solid(QColor colour, int size)
{
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

qint64 mtimeOf(const QString &path)
{
    return QFileInfo(path).lastModified().toSecsSinceEpoch();
}

bool near(QColor a, QColor b)
{
    return std::abs(a.red() - b.red()) < 12 && std::abs(a.green() - b.green()) < 12 && std::abs(a.blue() - b.blue()) < 12;
}

} // namespace

// Previews: made here for pictures, by the system's installed thumbnailers
// for documents (as file managers run them), and shared with file managers.
class tst_ThumbnailCache : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString cacheRoot() const { return m_dir.filePath(QStringLiteral("cache/thumbnails")); }
    QImage shared(const QString &file) const
    {
        return QImage(cacheRoot() + QStringLiteral("/normal/")
                      + SharedThumbnails::fileName(SharedThumbnails::uriForPath(file)));
    }

    // Loads one file and waits for its answer.
    static bool loadAndWait(ThumbnailCache &cache, const QUrl &url)
    {
        QSignalSpy finished(&cache, &ThumbnailCache::requestFinished);
        cache.load(url);
        return finished.wait(10000) && finished.first().at(1).toBool();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    void namesFilesAsGLibDoes()
    {
        const QStringList paths{path(QStringLiteral("with space & ampersand.jpg")), path(QStringLiteral("ümlaut—dash.pdf")),
                                path(QStringLiteral("odd #%?;[]{}|^`\"<>.txt")),
                                path(QStringLiteral("keep !$'()*+,=:@~_-.txt"))};
        QProcess python;
        python.start(QStringLiteral("/usr/bin/python3"), {QStringLiteral(TRAY_TEST_DATA "/glib.py")});
        QVERIFY2(python.waitForStarted(), "needs Debian's python3");
        python.write(paths.join(QLatin1Char('\n')).toUtf8());
        python.closeWriteChannel();
        QVERIFY(python.waitForFinished(20000));
        QVERIFY2(python.exitCode() == 0, python.readAllStandardError().constData());
        QStringList ours;
        for (const QString &p : paths)
            ours.append(SharedThumbnails::uriForPath(p) + u'\t' + SharedThumbnails::fileName(SharedThumbnails::uriForPath(p)));
        QCOMPARE(ours, QString::fromUtf8(python.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts));
    }

    void makesPreviewsSharesThemAndKeepsThem()
    {
        const QString file = path(QStringLiteral("picture one.jpg"));
        QVERIFY(solid(QColor(20, 60, 220), 600).save(file));
        ThumbnailCache cache({cacheRoot(), {}, 2});
        const QUrl url = QUrl::fromLocalFile(file);
        QSignalSpy changed(&cache, &ThumbnailCache::imagesChanged);
        QVERIFY(loadAndWait(cache, url));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(cache.image(url).size(), QSize(96, 96));
        QVERIFY(near(cache.image(url).pixelColor(48, 48), QColor(20, 60, 220)));
        QVERIFY(cache.source(url).endsWith(QStringLiteral("/t")));

        // Written where file managers look, as they write it, for this user only.
        const QImage written = shared(file);
        QCOMPARE(written.size(), QSize(128, 128));
        QCOMPARE(written.text(QStringLiteral("Thumb::URI")), SharedThumbnails::uriForPath(file));
        QCOMPARE(written.text(QStringLiteral("Thumb::MTime")), QString::number(mtimeOf(file)));
        QCOMPARE(QFileInfo(cacheRoot() + QStringLiteral("/normal")).permissions() & (QFile::ReadOther | QFile::ReadGroup),
                 QFile::Permissions());

        // The preview outlives its file.
        QVERIFY(QFile::remove(file));
        QVERIFY(near(cache.image(url).pixelColor(5, 5), QColor(20, 60, 220)));
    }

    void sharedCacheIsUsedOnlyWhileFresh()
    {
        const QString file = path(QStringLiteral("cached.png"));
        QVERIFY(solid(Qt::blue, 300).save(file));
        const QString uri = SharedThumbnails::uriForPath(file);
        // A file manager left a (red) preview for this exact version of the file.
        QVERIFY(SharedThumbnails::store(cacheRoot(), uri, mtimeOf(file), QStringLiteral("image/png"), solid(Qt::red, 128)));
        {
            ThumbnailCache cache({cacheRoot(), {}, 2});
            QVERIFY(loadAndWait(cache, QUrl::fromLocalFile(file)));
            QVERIFY(near(cache.image(QUrl::fromLocalFile(file)).pixelColor(10, 10), Qt::red));
        }
        // The file changed since: the old preview is ignored and replaced.
        QVERIFY(SharedThumbnails::store(cacheRoot(), uri, mtimeOf(file) - 100, QStringLiteral("image/png"), solid(Qt::red, 128)));
        ThumbnailCache cache({cacheRoot(), {}, 2});
        QVERIFY(loadAndWait(cache, QUrl::fromLocalFile(file)));
        QVERIFY(near(cache.image(QUrl::fromLocalFile(file)).pixelColor(10, 10), Qt::blue));
        QCOMPARE(shared(file).text(QStringLiteral("Thumb::MTime")), QString::number(mtimeOf(file)));
    }

    void withoutPreviewTheIconStandsInAndFailuresAreNotRetried()
    {
        const QString corrupt = path(QStringLiteral("broken.jpg"));
        QVERIFY(writeFile(corrupt, QByteArray("\xff\xd8\xff\xe0", 4) + QByteArray(3000, 'x')));
        const QString text = path(QStringLiteral("notes.txt"));
        QVERIFY(writeFile(text, "hello"));
        ThumbnailCache cache({cacheRoot(), {}, 2});
        for (const QString &file : {corrupt, text}) {
            const QUrl url = QUrl::fromLocalFile(file);
            const QImage before = cache.image(url); // never loaded: the type's icon
            QVERIFY(before.width() <= 96 && before.height() <= 96 && before.width() >= 48);
            QVERIFY(!loadAndWait(cache, url));
            QVERIFY(!cache.hasThumbnail(url));
            QCOMPARE(cache.image(url), ThumbnailCache::iconFor(file));
            QVERIFY(cache.source(url).endsWith(QStringLiteral("/i")));

            QSignalSpy again(&cache, &ThumbnailCache::requestFinished);
            cache.load(url);
            QCOMPARE(cache.pendingCount(), 0);
            QVERIFY(!again.wait(200));
            QVERIFY(shared(file).isNull());
        }
    }

    void providerIdsSurviveAnyUrl()
    {
        ThumbnailCache cache({cacheRoot(), {}, 2});
        for (const QString &name : {QStringLiteral("a b/c#d?e%f.png"), QStringLiteral("ü/../x.txt")}) {
            const QUrl url = QUrl::fromLocalFile(path(name));
            const QString source = cache.source(url);
            QVERIFY(source.startsWith(QStringLiteral("image://tarnwick-thumbnail/")));
            QCOMPARE(ThumbnailCache::urlFromProviderId(source.mid(27)), url);
        }
    }

    void pdfThroughTheInstalledThumbnailer()
    {
        QVERIFY2(!QStandardPaths::findExecutable(QStringLiteral("evince-thumbnailer")).isEmpty(),
                 "evince-thumbnailer is missing: install the Debian package evince");
        const QString file = path(QStringLiteral("report.pdf"));
        QVERIFY(writeFile(file, onePagePdf("1 0 0 rg 20 20 160 160 re f"))); // a large red square
        ThumbnailCache cache({cacheRoot(), ThumbnailerEntry::installed(ThumbnailerEntry::systemDataDirs()),
                              ThumbnailCache::kThumbnailerTimeLimit});
        const QUrl url = QUrl::fromLocalFile(file);
        QVERIFY2(loadAndWait(cache, url), "no installed thumbnailer made a preview of a PDF");
        const QImage preview = cache.image(url);
        QCOMPARE(std::max(preview.width(), preview.height()), 96);
        const QColor centre = preview.pixelColor(preview.width() / 2, preview.height() / 2);
        QVERIFY2(centre.red() > 200 && centre.green() < 60 && centre.blue() < 60, qPrintable(centre.name()));
        QCOMPARE(shared(file).text(QStringLiteral("Thumb::MTime")), QString::number(mtimeOf(file)));

        // A thumbnailer that hangs is stopped at the time limit.
        const ThumbnailerEntry hanging =
            ThumbnailerEntry::parse("[Thumbnailer Entry]\nExec=/bin/sleep 30 %o\nMimeType=application/pdf;\n");
        ThumbnailCache slow({path(QStringLiteral("thumbnails-slow")), {hanging}, 0.5});
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!loadAndWait(slow, url));
        QVERIFY2(timer.elapsed() < 10000, "the hanging thumbnailer was not stopped");
    }

    void thumbnailerEntries_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QStringList>("mimeTypes");
        QTest::addColumn<QStringList>("command");
        QTest::newRow("gdk-pixbuf style")
            << QByteArray("[Thumbnailer Entry]\nTryExec=t\nExec=/usr/bin/t -s %s %u %o\nMimeType=image/png;image/jpeg;\n")
            << QStringList{"image/png", "image/jpeg"}
            << QStringList{"/usr/bin/t", "-s", "128", "file:///x%20y.png", "/tmp/out.png"};
        QTest::newRow("quoted path, percent sign, other groups ignored")
            << QByteArray("# comment\n[Other]\nExec=nope\n[Thumbnailer Entry]\nExec=\"/opt/my tool\" --in=%i --pct=100%% %o\n"
                          "MimeType=application/pdf\n")
            << QStringList{"application/pdf"}
            << QStringList{"/opt/my tool", "--in=/tmp/x y.png", "--pct=100%", "/tmp/out.png"};
    }

    void thumbnailerEntries()
    {
        QFETCH(QByteArray, text);
        QFETCH(QStringList, mimeTypes);
        QFETCH(QStringList, command);
        const ThumbnailerEntry entry = ThumbnailerEntry::parse(text);
        QVERIFY(entry.isValid());
        QCOMPARE(entry.mimeTypes, mimeTypes);
        QCOMPARE(entry.command(128, QStringLiteral("file:///x%20y.png"), QStringLiteral("/tmp/x y.png"),
                               QStringLiteral("/tmp/out.png")),
                 command);
    }
};

QTEST_MAIN(tst_ThumbnailCache)
#include "tst_ThumbnailCache.moc"
