#include "tray/FileDragSource.h"

#include "tray/ThumbnailCache.h"

#include <QDesktopServices>
#include <QDrag>
#include <QGuiApplication>
#include <QMimeData>
#include <QPixmap>
#include <QQuickWindow>
#include <QStyleHints>

FileDragSource::FileDragSource(QQuickItem *parent)
    : QQuickItem(parent)
{
    setAcceptedMouseButtons(Qt::LeftButton);
}

void FileDragSource::setUrl(const QUrl &url)
{
    if (url == m_url)
        return;
    m_url = url;
    Q_EMIT urlChanged();
}

QMimeData *FileDragSource::mimeDataFor(const QUrl &url)
{
    auto *data = new QMimeData;
    data->setUrls({url});
    return data;
}

void FileDragSource::mousePressEvent(QMouseEvent *event)
{
    m_pressAt = event->position();
    m_pressed = true;
    event->accept();
}

void FileDragSource::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_pressed || m_dragging)
        return;
    const QPointF moved = event->position() - m_pressAt;
    if (moved.manhattanLength() < QGuiApplication::styleHints()->startDragDistance())
        return;
    m_pressed = false;
    startDrag();
}

void FileDragSource::mouseReleaseEvent(QMouseEvent *)
{
    m_pressed = false;
}

void FileDragSource::mouseDoubleClickEvent(QMouseEvent *event)
{
    m_pressed = false;
    event->accept();
    if (!m_url.isLocalFile())
        return;
    Q_EMIT opened(m_url);
    QDesktopServices::openUrl(m_url);
}

void FileDragSource::startDrag()
{
    if (!m_url.isLocalFile())
        return;
    auto *drag = new QDrag(this);
    drag->setMimeData(mimeDataFor(m_url));
    if (ThumbnailCache *cache = ThumbnailCache::instance()) {
        const qreal dpr = window() ? window()->effectiveDevicePixelRatio() : 1.0;
        QPixmap picture = QPixmap::fromImage(cache->image(m_url))
                              .scaled(QSize(int(width() * dpr), int(height() * dpr)), Qt::KeepAspectRatio,
                                      Qt::SmoothTransformation);
        picture.setDevicePixelRatio(dpr);
        drag->setPixmap(picture);
        drag->setHotSpot((m_pressAt * 1.0).toPoint());
    }
    m_dragging = true;
    Q_EMIT draggingChanged();
    // Nothing happens when the drag ends: a file dragged out stays in the
    // tray and on disk, whatever the target did with it.
    drag->exec(Qt::CopyAction, Qt::CopyAction);
    m_dragging = false;
    Q_EMIT draggingChanged();
}
