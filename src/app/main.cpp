#include "app/AppDelegate.h"
#include "app/SelfTest.h"

#include <QApplication>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(TarnwickPlugin)

int main(int argc, char *argv[])
{
    // No Qt 6 layer-shell on our targets: on Wayland the panel is an X11
    // window through XWayland, which every compositor offers.
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");

    // The notch is a few hundred points of flat shapes and text: Qt Quick's
    // software renderer draws it with partial updates, keeps no GPU context
    // alive, and needs a third of the memory. QT_QUICK_BACKEND overrides.
    if (!qEnvironmentVariableIsSet("QT_QUICK_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Tarnwick"));
    QApplication::setOrganizationName(QStringLiteral("Tarnwick"));
    QApplication::setApplicationVersion(QStringLiteral(TARNWICK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral(TARNWICK_APP_ID));
    // The app lives in the notch and the tray; closing Settings ends nothing.
    QApplication::setQuitOnLastWindowClosed(false);

    if (QApplication::arguments().contains(QStringLiteral("--self-test")))
        return SelfTest::run();

    AppDelegate delegate;
    if (!delegate.launch())
        return 0;
    return QApplication::exec();
}
