#include "camera/EdgeLight.h"

#include "core/QmlModule.h"
#include "notch/NotchGeometry.h"
#include "notch/ScreenSource.h"
#include "platform/X11Window.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickView>
#include <QScreen>

EdgeLight::EdgeLight(ScreenSource &screens, Clock &clock, QObject *parent)
    : QObject(parent)
    , m_screens(screens)
    , m_orderOut(clock)
{
}

EdgeLight::~EdgeLight() = default;

void EdgeLight::setOn(bool on)
{
    if (m_isOn == on)
        return;
    m_isOn = on;
    Q_EMIT isOnChanged();
    if (on)
        show();
    else
        hide();
}

void EdgeLight::show()
{
    const std::optional<ScreenReading> reading = NotchGeometry::preferredScreen(m_screens);
    QScreen *screen = nullptr;
    if (reading) {
        for (QScreen *candidate : QGuiApplication::screens()) {
            if (candidate->name() == reading->name)
                screen = candidate;
        }
    }
    if (screen == nullptr) {
        m_isOn = false;
        Q_EMIT isOnChanged();
        return;
    }
    m_orderOut.cancel();
    if (!m_window)
        makeWindow();
    m_window->setScreen(screen);
    m_window->setGeometry(screen->geometry());
    if (!m_window->isVisible()) {
        m_window->show();
        X11Window::setInputShape(m_window.get(), {});
    }
    m_window->raise();
}

void EdgeLight::hide()
{
    if (!m_window)
        return;
    // The view fades out on its own; the window goes once the fade is over,
    // unless the light came back on meanwhile.
    m_orderOut.start(fadeOutSeconds, [this] {
        if (!m_isOn && m_window)
            m_window->hide();
    });
}

void EdgeLight::makeWindow()
{
    m_window = std::make_unique<QQuickView>();
    QmlModule::prepare(*m_window->engine());
    m_window->setTitle(QStringLiteral("Tarnwick Light"));
    m_window->setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput
                       | Qt::WindowDoesNotAcceptFocus | Qt::Tool);
    m_window->setColor(Qt::transparent);
    m_window->setResizeMode(QQuickView::SizeRootObjectToView);
    m_window->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Tarnwick/EdgeLightView.qml")));
    m_window->create();
    X11Window::setPanelHints(m_window.get());
}
