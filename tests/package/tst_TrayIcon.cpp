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
        QTest::addColumn<QString>("name"); // empty: run from the build tree
        QTest::newRow("installed") << QStringLiteral(TARNWICK_APP_ID "-symbolic");
        QTest::newRow("build tree") << QString();
    }

    void trayIconComesFromTheThemeWhenInstalled()
    {
        QFETCH(QString, name);
        QTemporaryDir share;
        if (!name.isEmpty()) {
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
        const QImage image = icon.pixmap(22, 22).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QImage empty(image.size(), image.format());
        empty.fill(Qt::transparent);
        QVERIFY2(!image.isNull() && image != empty, "the SVG icon engine is missing: install the Debian package libqt6svg6");
    }
};

QTEST_MAIN(tst_TrayIcon)
#include "tst_TrayIcon.moc"
