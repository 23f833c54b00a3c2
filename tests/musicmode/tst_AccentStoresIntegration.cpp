// The two desktop accent stores against the desktops' own tools: KDE's
// config tools on a kdeglobals in a private config home, and GSettings with
// its keyfile backend and a schema compiled into a private folder.
#include "support/PrivateBus.h"

#include "musicmode/GnomeAccentStore.h"
#include "musicmode/KdeAccentStore.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString need(const char *tool, const char *package)
{
    const QString path = QStandardPaths::findExecutable(QString::fromLatin1(tool));
    if (path.isEmpty())
        qFatal("%s is missing: install the Debian package %s", tool, package);
    return path;
}

QByteArray output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(10000) || process.exitCode() != 0)
        qWarning() << program << arguments << process.readAllStandardError();
    return process.readAllStandardOutput().trimmed();
}

QByteArray fileText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

// GNOME's interface schema; GNOME 47 added the accent key, GNOME 43
// (Debian 12) has none.
QByteArray interfaceSchema(bool withAccent)
{
    QByteArray xml = R"(<schemalist><enum id="org.gnome.desktop.GDesktopAccentColor">)";
    int value = 0;
    for (const char *nick : {"blue", "teal", "green", "yellow", "orange", "red", "pink", "purple", "slate"})
        xml += QStringLiteral(R"(<value nick="%1" value="%2"/>)").arg(QLatin1String(nick)).arg(value++).toUtf8();
    xml += R"(</enum><schema id="org.gnome.desktop.interface" path="/org/gnome/desktop/interface/">)";
    if (withAccent)
        xml += R"(<key name="accent-color" enum="org.gnome.desktop.GDesktopAccentColor"><default>'blue'</default></key>)";
    return xml + R"(<key name="color-scheme" type="s"><default>'default'</default></key></schema></schemalist>)";
}

// A compiled schema folder for GSettings.
void compileSchema(const QTemporaryDir &dir, bool withAccent)
{
    writeFile(dir.filePath(QStringLiteral("org.gnome.desktop.interface.gschema.xml")), interfaceSchema(withAccent));
    QCOMPARE(output(QStringLiteral("glib-compile-schemas"), {dir.path()}), QByteArray());
}

} // namespace

class tst_AccentStoresIntegration : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        // Before anything reads them: GLib and Qt pick their backends once.
        qputenv("XDG_CONFIG_HOME", m_home.path().toLocal8Bit());
        qputenv("GSETTINGS_BACKEND", "keyfile");
        const QString failure = m_bus.start();
        QVERIFY2(failure.isEmpty(), qPrintable(failure));
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toLocal8Bit());
        m_kread = need("kreadconfig5", "libkf5config-bin");
        need("kwriteconfig5", "libkf5config-bin");
        need("glib-compile-schemas", "libglib2.0-bin");
        m_gsettings = need("gsettings", "libglib2.0-bin");
    }

    void kdeAccentIsWrittenBesideTheUsersOtherSettings()
    {
        const QString kdeglobals = m_home.filePath(QStringLiteral("kdeglobals"));
        writeFile(kdeglobals, "[Colors:View]\nBackgroundNormal=35,38,41\n\n[General]\nAccentColor=61,174,233\n"
                              "ColorScheme=BreezeDark\n\n[KDE]\nwidgetStyle=Breeze\n");
        auto store = KdeAccentStore::create();
        QVERIFY(store);
        QCOMPARE(store->read(), IconTint::customColor(61 / 255.0, 174 / 255.0, 233 / 255.0));

        QDBusConnection watcher = QDBusConnection::connectToBus(m_bus.address(), QStringLiteral("watcher"));
        QSignalSpy announced(this, &tst_AccentStoresIntegration::configChanged);
        QVERIFY(watcher.connect({}, QStringLiteral("/kdeglobals"), QStringLiteral("org.kde.kconfig.notify"),
                                QStringLiteral("ConfigChanged"), this, SLOT(onConfigChanged(QDBusMessage))));

        const IconTint album = store->asStored(IconTint::customColor(0.2, 0.4, 0.6));
        store->write(album);
        const QStringList key{"--file", "kdeglobals", "--group", "General", "--key", "AccentColor"};
        QCOMPARE(output(m_kread, key), QByteArray("51,102,153"));
        QCOMPARE(store->read(), album);
        QVERIFY(announced.wait(5000));

        // The user had no accent of their own: the key goes again.
        store->write(IconTint{});
        QCOMPARE(output(m_kread, key), QByteArray());
        QVERIFY(!fileText(kdeglobals).contains("AccentColor"));
        QCOMPARE(store->read(), IconTint{});
        for (const char *kept : {"BackgroundNormal=35,38,41", "ColorScheme=BreezeDark", "widgetStyle=Breeze"})
            QVERIFY2(fileText(kdeglobals).contains(kept), kept);
    }

    void gnomeAccentIsTheNearestNamedColour()
    {
        QTemporaryDir schemas;
        compileSchema(schemas, true);
        QDir().mkpath(m_home.filePath(QStringLiteral("glib-2.0/settings")));
        const QString keyfile = m_home.filePath(QStringLiteral("glib-2.0/settings/keyfile"));
        writeFile(keyfile, "[org/gnome/desktop/interface]\naccent-color='pink'\ncolor-scheme='prefer-dark'\n");

        auto store = GnomeAccentStore::create(schemas.path());
        QVERIFY(store);
        QCOMPARE(store->read(), (IconTint{7, std::nullopt}));

        qputenv("GSETTINGS_SCHEMA_DIR", schemas.path().toLocal8Bit());
        const QStringList key{"get", "org.gnome.desktop.interface", "accent-color"};
        struct Case
        {
            IconTint tint;
            QByteArray shown;
        };
        for (const Case &c : {Case{IconTint::customColor(0.85, 0.15, 0.2), "'red'"},
                              Case{IconTint::customColor(0.1, 0.5, 0.6), "'teal'"},
                              Case{IconTint::customColor(0.45, 0.52, 0.6), "'slate'"},
                              Case{IconTint{7, std::nullopt}, "'pink'"}}) {
            store->write(c.tint);
            QCOMPARE(output(m_gsettings, key), c.shown);
            QCOMPARE(store->read(), store->asStored(c.tint));
        }
        // "No choice" resets the key rather than pinning today's default.
        store->write(IconTint{});
        QCOMPARE(store->read(), IconTint{});
        QVERIFY(!fileText(keyfile).contains("accent-color"));
        QVERIFY(fileText(keyfile).contains("color-scheme='prefer-dark'"));
    }

    void olderGnomeHasNoAccentToSet()
    {
        QTemporaryDir schemas;
        compileSchema(schemas, false);
        QVERIFY(!GnomeAccentStore::create(schemas.path()));
    }

Q_SIGNALS:
    void configChanged();

public Q_SLOTS:
    void onConfigChanged(const QDBusMessage &) { emit configChanged(); }

private:
    QTemporaryDir m_home;
    PrivateBus m_bus;
    QString m_kread;
    QString m_gsettings;
};

QTEST_GUILESS_MAIN(tst_AccentStoresIntegration)
#include "tst_AccentStoresIntegration.moc"
