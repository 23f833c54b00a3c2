#pragma once

#include <QList>
#include <QRect>

class QWindow;

// The few X11 requests Tarnwick's windows need that Qt does not offer.
// Every function does nothing (or returns 0) outside X11.
namespace X11Window {

bool isAvailable();

// A panel that stays above everything on every desktop and stays out of
// task bars, pagers and window switchers. Call after create(), and again
// after every change of the window's Qt flags (Qt rewrites the type then).
void setPanelHints(QWindow *window);

// A window of the desktop itself: below every normal window, above the
// root window's wallpaper, on every desktop, out of task bars and pagers.
// Call after create(), before show().
void setDesktopLayerHints(QWindow *window);

// Only these rectangles (window coordinates, device-independent pixels) take
// pointer input; everything else falls through to the windows below.
void setInputShape(QWindow *window, const QList<QRect> &rects);

// The window that has the keyboard now, and a polite request to give it back.
quint32 activeWindow();
void activate(quint32 windowId);

} // namespace X11Window
