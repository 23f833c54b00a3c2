#include "notch/NotchPanel.h"

#include "notch/NotchWindowController.h"

#include <QEnterEvent>
#include <QMouseEvent>
#include <QWheelEvent>

NotchPanel::NotchPanel(NotchWindowController &controller)
    : m_controller(controller)
{
    setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
             | Qt::NoDropShadowWindowHint);
    setColor(Qt::transparent);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setTitle(QStringLiteral("Tarnwick"));
}

void NotchPanel::setAllowsKeyboard(bool allows)
{
    if (m_allowsKeyboard == allows)
        return;
    m_allowsKeyboard = allows;
    setFlag(Qt::WindowDoesNotAcceptFocus, !allows);
}

bool NotchPanel::event(QEvent *event)
{
    switch (event->type()) {
    case QEvent::Enter:
        m_controller.pointerMoved(static_cast<QEnterEvent *>(event)->globalPosition());
        break;
    case QEvent::MouseMove:
        m_controller.pointerMoved(static_cast<QMouseEvent *>(event)->globalPosition());
        break;
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Leave:
        // A file dragged from another program, or the pointer gone: ask
        // where it is now.
        m_controller.pointerMoved();
        break;
    case QEvent::MouseButtonPress: {
        auto *mouse = static_cast<QMouseEvent *>(event);
        const bool menu = mouse->button() == Qt::RightButton
            || (mouse->button() == Qt::LeftButton && mouse->modifiers().testFlag(Qt::ControlModifier));
        if (menu) {
            m_controller.showContextMenu(mouse->globalPosition().toPoint());
            return true;
        }
        if (mouse->button() == Qt::LeftButton)
            m_controller.pressBegan();
        break;
    }
    case QEvent::MouseButtonRelease: {
        auto *mouse = static_cast<QMouseEvent *>(event);
        const bool handled = QQuickView::event(event);
        if (mouse->button() == Qt::LeftButton)
            m_controller.pressEnded();
        return handled;
    }
    case QEvent::Wheel:
        if (m_controller.handleWheel(*static_cast<QWheelEvent *>(event))) {
            event->accept();
            return true;
        }
        break;
    case QEvent::FocusOut:
        m_controller.keyboardLost();
        break;
    case QEvent::Expose:
        // A window manager that frames the panel copies its input shape to
        // the frame only when the shape changes after the window is managed
        // (openbox does so): set it again once the panel is really up.
        if (isExposed())
            m_controller.panelExposed();
        break;
    default:
        break;
    }
    return QQuickView::event(event);
}
