#include "app/NookSettings.h"
#include "app/SelfTest.h"
#include "core/Clock.h"
#include "core/QmlModule.h"
#include "core/UserDefaults.h"
#include "notch/NotchGeometry.h"
#include "notch/NotchViewModel.h"
#include "notch/QtScreenSource.h"
#include "notch/ScreenSpace.h"

#include <QApplication>
#include <QQmlEngine>
#include <QQuickView>
#include <QtQml/qqmlextensionplugin.h>
#include <cstdio>

Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

int main(int argc, char *argv[])
{
    // No Qt 6 layer-shell on our targets: on Wayland the panel is an X11
    // window through XWayland, which every compositor offers.
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarnwick"));
    QApplication::setOrganizationName(QStringLiteral("Tarnwick"));
    QApplication::setApplicationVersion(QStringLiteral(TARNWICK_VERSION));
    QApplication::setQuitOnLastWindowClosed(false);

    UserDefaults defaults;
    NookSettings settings(defaults);
    QtScreenSource screens;
    const auto screen = NotchGeometry::preferredScreen(screens);
    if (!screen) {
        std::fprintf(stderr, "tarnwick: no screen to put the notch on\n");
        return 1;
    }
    NotchViewModel model(NotchGeometry::measure(*screen, defaults), settings, Clock::system());

    if (QApplication::arguments().contains(QStringLiteral("--self-test")))
        return SelfTest::run(model);

    QQuickView view;
    QmlModule::prepare(*view.engine());
    view.setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus);
    view.setColor(Qt::transparent);
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setInitialProperties({{QStringLiteral("model"), QVariant::fromValue(&model)}});
    view.setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/NotchRootView.qml")));
    view.setGeometry(ScreenSpace::toQt(model.geometry().windowFrame()).toRect());
    view.show();
    return QApplication::exec();
}
