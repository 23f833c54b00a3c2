#include "app/LaunchAtLogin.h"
#include "app/NookSettings.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "settings/Acknowledgements.h"
#include "settings/SettingsWindowController.h"

#include <QQmlEngine>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

class tst_SettingsWindow : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void opensOneWindowAndBindsTheSwitches()
    {
        QTemporaryDir dir;
        UserDefaults defaults(dir.filePath(QStringLiteral("Tarnwick.conf")));
        NookSettings settings(defaults);
        NookSettings::setInstance(&settings);
        LaunchAtLogin login(dir.filePath(QStringLiteral("autostart")), QString(), nullptr);
        LaunchAtLogin::setInstance(&login);
        QQmlEngine engine;
        QmlModule::prepare(engine);
        SettingsWindowController controller(engine);

        controller.show();
        QQuickWindow *first = controller.window();
        QVERIFY(first != nullptr);
        QCOMPARE(first->title(), QStringLiteral("Tarnwick Settings"));
        controller.close();
        controller.show();
        QCOMPARE(controller.window(), first);
        QVERIFY(first->isVisible());

        // The window edits the one shared settings store.
        settings.setShowsMirror(false);
        QVERIFY(!defaults.boolValue(NookSettings::kMirrorKey));
    }

    void acknowledgesEveryComponentWithANotice()
    {
        QTemporaryDir docs;
        const auto components = Acknowledgements::components();
        QVERIFY(components.size() >= 5);
        for (const auto &c : components) {
            // Without the Debian notice file, a one-line notice stands in.
            const QString text = Acknowledgements::notice(c, docs.path());
            QVERIFY(text.contains(c.name) && text.contains(c.licence));
        }
    }
};

QTEST_MAIN(tst_SettingsWindow)
#include "tst_SettingsWindow.moc"
