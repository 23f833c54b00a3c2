#include "app/LaunchAtLogin.h"
#include "app/NookSettings.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "settings/Acknowledgements.h"
#include "settings/SettingsWindowController.h"

#include <QQmlEngine>
#include <QQuickItem>
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

    // After a change that failed, the switch shows the real state.
    void loginSwitchShowsTheRealState_data()
    {
        QTest::addColumn<bool>("canRegister");
        QTest::newRow("registration fails") << false;
        QTest::newRow("registration works") << true;
    }
    void loginSwitchShowsTheRealState()
    {
        QFETCH(bool, canRegister);
        QTemporaryDir dir;
        UserDefaults defaults(dir.filePath(QStringLiteral("Tarnwick.conf")));
        NookSettings settings(defaults);
        NookSettings::setInstance(&settings);
        // Without a program file to start there is nothing to register.
        LaunchAtLogin login(dir.filePath(QStringLiteral("autostart")),
                            canRegister ? QCoreApplication::applicationFilePath() : QString(), nullptr);
        LaunchAtLogin::setInstance(&login);
        QQmlEngine engine;
        QmlModule::prepare(engine);
        SettingsWindowController controller(engine);
        controller.show();
        QQuickWindow *window = controller.window();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        auto *toggle = window->findChild<QQuickItem *>(QStringLiteral("loginSwitch"));
        QVERIFY(toggle != nullptr);

        const QPointF centre = toggle->mapToScene(QPointF(toggle->width() / 2, toggle->height() / 2));
        QTest::mouseClick(window, Qt::LeftButton, {}, centre.toPoint());
        QCOMPARE(login.isEnabled(), canRegister);
        QCOMPARE(toggle->property("checked").toBool(), canRegister);
        QCOMPARE(login.lastError().isEmpty(), canRegister);
        // And it keeps following the store afterwards.
        login.setEnabled(false);
        QVERIFY(!toggle->property("checked").toBool());
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
