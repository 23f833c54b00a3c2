#include "app/LaunchAtLogin.h"
#include "app/NookSettings.h"
#include "core/UserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

class tst_NookSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void pagesFollowTheSwitches_data()
    {
        QTest::addColumn<bool>("nowPlaying");
        QTest::addColumn<bool>("tray");
        QTest::addColumn<QList<NookPage>>("pages");
        QTest::newRow("both") << true << true << QList<NookPage>{NookPage::Media, NookPage::Tray};
        QTest::newRow("tray only") << false << true << QList<NookPage>{NookPage::Tray};
        QTest::newRow("media only") << true << false << QList<NookPage>{NookPage::Media};
        QTest::newRow("none") << false << false << QList<NookPage>{};
    }
    void pagesFollowTheSwitches()
    {
        QFETCH(bool, nowPlaying);
        QFETCH(bool, tray);
        QFETCH(QList<NookPage>, pages);
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("Tarnwick.conf"));
        {
            UserDefaults defaults(file);
            NookSettings settings(defaults);
            // On first launch both pages show, and the defaults are
            // registered, not written: the file holds only what the user chose.
            QCOMPARE(settings.pages(), (QList<NookPage>{NookPage::Media, NookPage::Tray}));
            QVERIFY(!defaults.contains(NookSettings::kTrayKey));
            settings.setShowsNowPlaying(nowPlaying);
            settings.setShowsTray(tray);
            QCOMPARE(settings.pages(), pages);
        }
        // And they survive a restart.
        UserDefaults defaults(file);
        NookSettings again(defaults);
        QCOMPARE(again.pages(), pages);
    }

    void everySetIsWrittenButOnlyChangesNotify()
    {
        QTemporaryDir dir;
        UserDefaults defaults(dir.filePath(QStringLiteral("Tarnwick.conf")));
        NookSettings settings(defaults);
        QSignalSpy mirror(&settings, &NookSettings::showsMirrorChanged);
        QSignalSpy pages(&settings, &NookSettings::pagesChanged);
        QStringList written;
        for (const bool on : {true, false, true}) {
            settings.setShowsMirror(on);
            written.append(defaults.contains(NookSettings::kMirrorKey) ? QVariant(defaults.boolValue(NookSettings::kMirrorKey)).toString()
                                                                     : QStringLiteral("-"));
        }
        // Setting the default writes it too, but only the two changes notify.
        QCOMPARE(written, (QStringList{QStringLiteral("true"), QStringLiteral("false"), QStringLiteral("true")}));
        QCOMPARE(mirror.count(), 2);
        QCOMPARE(pages.count(), 0);
        settings.setShowsTray(false);
        QCOMPARE(pages.count(), 1);
    }

    void loginItemRoundTrip()
    {
        QTemporaryDir home;
        // A program path with a space, as a user's own build folder may have.
        const QString program = home.filePath(QStringLiteral("My Apps/tarnwick"));
        QVERIFY(QDir().mkpath(home.filePath(QStringLiteral("My Apps"))));
        QVERIFY(QFile::link(QCoreApplication::applicationFilePath(), program));
        LaunchAtLogin login(home.filePath(QStringLiteral("config/autostart")), program);
        QSignalSpy status(&login, &LaunchAtLogin::statusChanged);
        QCOMPARE(login.status(), LaunchAtLogin::Status::NotRegistered);

        login.setEnabled(true);
        QCOMPARE(login.status(), LaunchAtLogin::Status::Enabled);
        QCOMPARE(status.count(), 1);
        QVERIFY(login.lastError().isEmpty());
        QFile file(login.entryPath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString entry = QString::fromUtf8(file.readAll());
        file.close();
        QVERIFY(entry.contains(QStringLiteral("Exec=\"%1\"").arg(program)));
        QVERIFY(entry.contains(QStringLiteral("X-GNOME-Autostart-enabled=true")));
        // The icon the package installs, not a name no theme has.
        QVERIFY(entry.contains(QStringLiteral("\nIcon=" TARNWICK_APP_ID "\n")));
        QProcess validate;
        validate.start(QStringLiteral("desktop-file-validate"), {login.entryPath()});
        QVERIFY2(validate.waitForFinished(10000), "desktop-file-validate is missing (package desktop-file-utils)");
        QCOMPARE(validate.exitCode(), 0);
        QCOMPARE(validate.readAllStandardOutput(), QByteArray());

        // Desktops hide an entry the user turns off in their own settings.
        QVERIFY(file.open(QIODevice::Append));
        file.write("Hidden=true\n");
        file.close();
        login.refresh();
        QCOMPARE(login.status(), LaunchAtLogin::Status::NotRegistered);
        login.setEnabled(false);
        QVERIFY(!QFile::exists(login.entryPath()));
        QCOMPARE(login.status(), LaunchAtLogin::Status::NotRegistered);
        QVERIFY(login.lastError().isEmpty());
    }

    void loginItemFailureIsReportedThenCleared()
    {
        QTemporaryDir home;
        const QString autostart = home.filePath(QStringLiteral("autostart"));
        // Root can write anywhere, so block the entry with a folder of its name.
        QVERIFY(QDir().mkpath(autostart + QStringLiteral("/tarnwick.desktop")));
        LaunchAtLogin login(autostart, QCoreApplication::applicationFilePath());
        QSignalSpy errors(&login, &LaunchAtLogin::lastErrorChanged);
        login.setEnabled(true);
        QVERIFY(login.lastError().startsWith(QStringLiteral("Couldn't write ")));
        QCOMPARE(login.status(), LaunchAtLogin::Status::NotRegistered);
        QVERIFY(QDir(autostart + QStringLiteral("/tarnwick.desktop")).removeRecursively());
        login.setEnabled(true);
        QVERIFY(login.lastError().isEmpty());
        QCOMPARE(login.status(), LaunchAtLogin::Status::Enabled);
        QCOMPARE(errors.count(), 2);
    }

    void quotesTheExecLine_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("quoted");
        QTest::newRow("plain") << QStringLiteral("/usr/bin/tarnwick") << QStringLiteral("/usr/bin/tarnwick");
        QTest::newRow("percent") << QStringLiteral("/opt/100%/tarnwick") << QStringLiteral("/opt/100%%/tarnwick");
        QTest::newRow("dollar") << QStringLiteral("/opt/$x/tarnwick") << QStringLiteral("\"/opt/\\\\$x/tarnwick\"");
    }
    void quotesTheExecLine()
    {
        QFETCH(QString, argument);
        QFETCH(QString, quoted);
        QCOMPARE(LaunchAtLogin::quotedExecArgument(argument), quoted);
    }
};

QTEST_GUILESS_MAIN(tst_NookSettings)
#include "tst_NookSettings.moc"
