#include "platform/X11Window.h"

#include <QGuiApplication>
#include <QWindow>
#include <cmath>
#include <xcb/shape.h>
#include <xcb/xcb.h>

namespace X11Window {

namespace {

xcb_connection_t *connection()
{
    auto *x11 = qGuiApp != nullptr ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    const xcb_intern_atom_cookie_t cookie = xcb_intern_atom(c, 0, uint16_t(strlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(c, cookie, nullptr);
    const xcb_atom_t result = reply != nullptr ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return result;
}

xcb_window_t rootOf(xcb_connection_t *c)
{
    return xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
}

void setAtoms(xcb_connection_t *c, QWindow *window, const char *property, std::initializer_list<const char *> values)
{
    QList<xcb_atom_t> atoms;
    for (const char *v : values)
        atoms.append(atom(c, v));
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, xcb_window_t(window->winId()), atom(c, property), XCB_ATOM_ATOM,
                        32, uint32_t(atoms.size()), atoms.constData());
}

// A request to the window manager about one of our windows (EWMH client
// message); source indication 2 says it comes from a pager-like tool, which
// window managers honour without focus-stealing checks.
void sendToRoot(xcb_connection_t *c, xcb_window_t window, const char *type, std::initializer_list<uint32_t> data)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(c, type);
    int i = 0;
    for (uint32_t d : data)
        event.data.data32[i++] = d;
    xcb_send_event(c, 0, rootOf(c), XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char *>(&event));
}

} // namespace

bool isAvailable()
{
    return connection() != nullptr;
}

void setPanelHints(QWindow *window)
{
    xcb_connection_t *c = connection();
    if (c == nullptr || window == nullptr || window->handle() == nullptr)
        return;
    // A dock is kept above normal windows by every window manager we know,
    // and is never given a frame, a task bar entry or a place in Alt+Tab.
    setAtoms(c, window, "_NET_WM_WINDOW_TYPE", {"_NET_WM_WINDOW_TYPE_DOCK"});
    const std::initializer_list<const char *> states = {"_NET_WM_STATE_ABOVE", "_NET_WM_STATE_STICKY",
                                                        "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"};
    // On every desktop.
    const uint32_t all = 0xFFFFFFFF;
    if (!window->isVisible()) {
        setAtoms(c, window, "_NET_WM_STATE", states);
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, xcb_window_t(window->winId()), atom(c, "_NET_WM_DESKTOP"),
                            XCB_ATOM_CARDINAL, 32, 1, &all);
    } else {
        // Once a window is mapped its states and desktop belong to the window
        // manager: they are asked for, not written.
        for (const char *state : states)
            sendToRoot(c, xcb_window_t(window->winId()), "_NET_WM_STATE", {1 /* add */, atom(c, state), 0, 2});
        sendToRoot(c, xcb_window_t(window->winId()), "_NET_WM_DESKTOP", {all, 2});
    }
    xcb_flush(c);
}

void setDesktopLayerHints(QWindow *window)
{
    xcb_connection_t *c = connection();
    if (c == nullptr || window == nullptr)
        return;
    setAtoms(c, window, "_NET_WM_WINDOW_TYPE", {"_NET_WM_WINDOW_TYPE_DESKTOP"});
    setAtoms(c, window, "_NET_WM_STATE",
             {"_NET_WM_STATE_BELOW", "_NET_WM_STATE_STICKY", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"});
    const uint32_t all = 0xFFFFFFFF;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, xcb_window_t(window->winId()), atom(c, "_NET_WM_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &all);
    xcb_flush(c);
}

void setInputShape(QWindow *window, const QList<QRect> &rects)
{
    xcb_connection_t *c = connection();
    if (c == nullptr || window == nullptr)
        return;
    // The shape is in the window's native (device) pixels.
    const double dpr = window->devicePixelRatio();
    QList<xcb_rectangle_t> native;
    for (const QRect &r : rects) {
        const int x0 = int(std::floor(r.left() * dpr));
        const int y0 = int(std::floor(r.top() * dpr));
        const int x1 = int(std::ceil((r.left() + r.width()) * dpr));
        const int y1 = int(std::ceil((r.top() + r.height()) * dpr));
        if (x1 > x0 && y1 > y0)
            native.append({int16_t(x0), int16_t(y0), uint16_t(x1 - x0), uint16_t(y1 - y0)});
    }
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                         xcb_window_t(window->winId()), 0, 0, uint32_t(native.size()), native.constData());
    xcb_flush(c);
}

quint32 activeWindow()
{
    xcb_connection_t *c = connection();
    if (c == nullptr)
        return 0;
    const xcb_get_property_cookie_t cookie =
        xcb_get_property(c, 0, rootOf(c), atom(c, "_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 0, 1);
    xcb_get_property_reply_t *reply = xcb_get_property_reply(c, cookie, nullptr);
    quint32 id = 0;
    if (reply != nullptr && xcb_get_property_value_length(reply) >= 4)
        id = *static_cast<const uint32_t *>(xcb_get_property_value(reply));
    free(reply);
    return id;
}

void activate(quint32 windowId)
{
    xcb_connection_t *c = connection();
    if (c == nullptr || windowId == 0)
        return;
    sendToRoot(c, windowId, "_NET_ACTIVE_WINDOW", {2, XCB_CURRENT_TIME});
    xcb_flush(c);
}

} // namespace X11Window
