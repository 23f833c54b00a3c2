#pragma once

#include <QList>
#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

// Marks the part of a view that takes a gesture of its own (the volume
// wedge, the calendar's day strip). The panel asks, for each scroll event,
// whether the pointer is over one of them.
class NookHitRegion : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Kind kind READ kind WRITE setKind NOTIFY kindChanged)

public:
    enum class Kind { Volume, DayStrip };
    Q_ENUM(Kind)

    explicit NookHitRegion(QQuickItem *parent = nullptr);
    ~NookHitRegion() override;

    Kind kind() const { return m_kind; }
    void setKind(Kind kind);

    // Whether a point of the given window (in its own coordinates) lies over
    // a visible region of that kind.
    static bool contains(const QQuickWindow *window, Kind kind, QPointF windowPoint);

Q_SIGNALS:
    void kindChanged();

private:
    Kind m_kind = Kind::Volume;
    static QList<NookHitRegion *> &all();
};
