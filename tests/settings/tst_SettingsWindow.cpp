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

namespace {

// The settings window over stores of its own; without a program file to
// start, there is nothing to register at login.
struct Settings
{
    explicit Settings(bool canRegister)
        : login(dir.filePath(QStringLiteral("autostart")), canRegister ? QCoreApplication::applicationFilePath() : QString(), nullptr)
    {
        NookSettings::setInstance(&settings);
        LaunchAtLogin::setInstance(&login);
        QmlModule::prepare(engine);
    }
    QTemporaryDir dir;
    UserDefaults defaults{dir.filePath(QStringLiteral("Tarnwick.conf"))};
    NookSettings settings{defaults};
    LaunchAtLogin login;
    QQmlEngine engine;
    SettingsWindowController controller{engine};
};

} // namespace

class tst_SettingsWindow : public QObject
{
    Q_OBJECT
private Q_SLOTS:
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
        Settings f(canRegister);
        f.controller.show();
        QQuickWindow *window = f.controller.window();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        // Opening it again raises the same window.
        f.controller.close();
        f.controller.show();
        QCOMPARE(f.controller.window(), window);
        QVERIFY(QTest::qWaitForWindowExposed(window));
        auto *toggle = window->findChild<QQuickItem *>(QStringLiteral("loginSwitch"));
        QVERIFY(toggle != nullptr);

        QTest::mouseClick(window, Qt::LeftButton, {}, toggle->mapToScene(QPointF(toggle->width() / 2, toggle->height() / 2)).toPoint());
        // A program that is not there cannot be registered at all.
        QCOMPARE(f.login.status(), canRegister ? LaunchAtLogin::Status::Enabled : LaunchAtLogin::Status::NotFound);
        QCOMPARE(toggle->property("checked").toBool(), canRegister);
        QCOMPARE(f.login.lastError().isEmpty(), canRegister);
        // And it keeps following the store afterwards.
        f.login.setEnabled(false);
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
