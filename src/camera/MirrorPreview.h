#pragma once

#include <QImage>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

class QVideoFrame;
class QVideoSink;

// The live picture of the mirror, drawn by any scene graph renderer
// (software included, where Qt's own video item draws nothing). Frames come
// in through its video sink; each is turned into a half-size RGB picture,
// which is plenty for a preview a few hundred pixels wide and keeps the
// conversion far below a millisecond.
class MirrorPreview : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QObject *videoSink READ videoSink CONSTANT)
    Q_PROPERTY(bool hasPicture READ hasPicture NOTIFY hasPictureChanged)

public:
    explicit MirrorPreview(QQuickItem *parent = nullptr);

    QObject *videoSink() const;
    bool hasPicture() const { return !m_image.isNull(); }

    // Half the frame's size in each direction, as RGB; null for a frame
    // that cannot be read.
    static QImage halfSize(const QVideoFrame &frame);

Q_SIGNALS:
    void hasPictureChanged();

protected:
    QSGNode *updatePaintNode(QSGNode *old, UpdatePaintNodeData *) override;

private:
    void show(const QVideoFrame &frame);

    QVideoSink *m_sink; // a child: the header stays free of Qt Multimedia, for QML's type registration
    QImage m_image;
    bool m_imageChanged = false;
};
