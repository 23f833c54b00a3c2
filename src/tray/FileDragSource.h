#pragma once

#include <QPointF>
#include <QQuickItem>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class QMimeData;

// Laid over a tile's picture: dragging it hands the file to other
// applications as a real file drag (a copy: the file stays where it is and in
// the tray), and a double click opens it with the desktop's default
// application.
class FileDragSource : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QUrl url READ url WRITE setUrl NOTIFY urlChanged)
    Q_PROPERTY(bool dragging READ dragging NOTIFY draggingChanged)

public:
    explicit FileDragSource(QQuickItem *parent = nullptr);

    QUrl url() const { return m_url; }
    void setUrl(const QUrl &url);
    bool dragging() const { return m_dragging; }

    // What a drop target receives: text/uri-list with the one file.
    static QMimeData *mimeDataFor(const QUrl &url);

Q_SIGNALS:
    void urlChanged();
    void draggingChanged();
    void opened(const QUrl &url);

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;

private:
    void startDrag();

    QUrl m_url;
    QPointF m_pressAt;
    bool m_pressed = false;
    bool m_dragging = false;
};
