#include "notch/NotchPanel.h"

#include "notch/NotchViewModel.h"
#include "notch/NotchWindowController.h"
#include "platform/X11Window.h"
#include "tray/NookDropDelegate.h"

#include <QAccessible>
#include <QEnterEvent>
#include <QElapsedTimer>
#include <QMimeData>
#include <QMouseEvent>
#include <QQuickItem>
#include <QWheelEvent>
#include <cstdio>

NotchPanel::NotchPanel(NotchWindowController &controller)
    : m_controller(controller)
{
    setFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
             | Qt::NoDropShadowWindowHint);
    setColor(Qt::transparent);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setTitle(QStringLiteral("Tarnwick"));

    // Diagnostics for measuring animations: each frame's work and the gap
    // since the one before, on standard error.
    if (qEnvironmentVariableIsSet("TARNWICK_FRAME_LOG")) {
        auto *frame = new QElapsedTimer;
        auto *gap = new QElapsedTimer;
        connect(this, &QQuickWindow::beforeSynchronizing, this, [frame] { frame->start(); }, Qt::DirectConnection);
        connect(
            this, &QQuickWindow::frameSwapped, this,
            [frame, gap] {
                std::fprintf(stderr, "tarnwick-frame: work %.2f ms, gap %.2f ms\n", frame->nsecsElapsed() / 1e6,
                             gap->isValid() ? gap->nsecsElapsed() / 1e6 : 0.0);
                gap->start();
            },
            Qt::DirectConnection);
        connect(this, &QObject::destroyed, [frame, gap] {
            delete frame;
            delete gap;
        });
    }
    // Diagnostics for keyboard use: what a screen reader would announce for
    // each control that takes focus, on standard error.
    if (qEnvironmentVariableIsSet("TARNWICK_FOCUS_LOG")) {
        connect(this, &QQuickWindow::activeFocusItemChanged, this, [this] {
            QQuickItem *item = activeFocusItem();
            QAccessibleInterface *accessible = item ? QAccessible::queryAccessibleInterface(item) : nullptr;
            const QString name = accessible ? accessible->text(QAccessible::Name) : QString();
            std::fprintf(stderr, "tarnwick-focus: %s\n",
                         qPrintable(item ? (name.isEmpty() ? QString::fromLatin1(item->metaObject()->className()) : name)
                                         : QStringLiteral("(none)")));
        });
    }
}

void NotchPanel::setAllowsKeyboard(bool allows)
{
    if (m_allowsKeyboard == allows)
        return;
    m_allowsKeyboard = allows;
    setFlag(Qt::WindowDoesNotAcceptFocus, !allows);
    // Qt's X11 backend rewrites the window type on every flag change (to an
    // ordinary window), and window managers that re-read it (mutter, kwin,
    // xfwm4) would then frame, stack and list the panel like any window.
    X11Window::setPanelHints(this);
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
    case QEvent::DragMove: {
        // A file dragged from another program: no pointer events arrive
        // during a drag, so ask where it is now. Only files are meant for
        // the notch; text or a link passing over it must not open it.
        const QMimeData *mime = static_cast<QDropEvent *>(event)->mimeData();
        if (mime != nullptr && NookDropDelegate::isFileDrag(mime->urls()))
            m_controller.pointerMoved();
        break;
    }
    case QEvent::Leave:
        // The pointer gone: ask where it is now.
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
