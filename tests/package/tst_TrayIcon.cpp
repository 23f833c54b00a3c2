#include "app/AppIcon.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

// The tray host loads the icon by name to paint it in the panel's colours,
// so the installed symbolic icon must be found through the icon theme.
class tst_TrayIcon : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void trayIconComesFromTheThemeWhenInstalled_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("name");
        QTest::newRow("installed") << true << QStringLiteral(TARNWICK_APP_ID "-symbolic");
        QTest::newRow("build tree") << false << QString();
    }

    void trayIconComesFromTheThemeWhenInstalled()
    {
        QFETCH(bool, installed);
        QFETCH(QString, name);
        QTemporaryDir share;
        if (installed) {
            // Where the package puts it, beside the system's own hicolor theme.
            const QString apps = share.filePath(QStringLiteral("icons/hicolor/symbolic/apps"));
            QVERIFY(QDir().mkpath(apps));
            QVERIFY(QFile::copy(QStringLiteral(TARNWICK_SOURCE_DIR "/data/icons/" TARNWICK_APP_ID "-symbolic.svg"),
                apps + QStringLiteral("/" TARNWICK_APP_ID "-symbolic.svg")));
        }
        QIcon::setThemeSearchPaths({share.filePath(QStringLiteral("icons")), QStringLiteral("/usr/share/icons")});
        QIcon::setThemeName(QStringLiteral("hicolor"));

        const QIcon icon = AppIcon::tray();
        QCOMPARE(icon.name(), name);
        // Either way something is drawn: a tray never shows an empty slot.
        const QImage image = icon.pixmap(22, 22).toImage();
        QVERIFY(!image.isNull());
        bool painted = false;
        for (int y = 0; y < image.height() && !painted; ++y)
            for (int x = 0; x < image.width() && !painted; ++x)
                painted = qAlpha(image.pixel(x, y)) > 0;
        QVERIFY2(painted, "the SVG icon engine is missing: install the Debian package libqt6svg6");
    }
};

QTEST_MAIN(tst_TrayIcon)
#include "tst_TrayIcon.moc"
