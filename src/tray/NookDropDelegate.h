#pragma once

#include "notch/DropZone.h"

#include <QList>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

class Clock;
class NotchViewModel;
class TrayStore;
class NearbyShare;

// Follows a drag over the notch panel: only drags that carry files open the
// Nook; the half under the pointer decides between keeping the files in the
// tray and sending them to a nearby device; the drop hands them to one or
// the other. Positions are in the panel window's coordinates.
class NookDropDelegate : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(NotchViewModel *model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(bool offersTray READ offersTray NOTIFY offersTrayChanged)
    Q_PROPERTY(QString trayTitle READ trayTitle CONSTANT)
    Q_PROPERTY(QString deviceTitle READ deviceTitle CONSTANT)

public:
    // The open spring's response: until then the Nook is still opening, and
    // a drop in that moment is meant for the tray the user aimed at.
    static constexpr double kOpeningTime = 0.42;

    // For views: the application's clock, tray and nearby sharing.
    explicit NookDropDelegate(QObject *parent = nullptr);
    NookDropDelegate(Clock &clock, TrayStore *store, NearbyShare *share, QObject *parent = nullptr);

    NotchViewModel *model() const { return m_model; }
    void setModel(NotchViewModel *model);
    // False when the tray page is switched off: then the whole panel sends.
    bool offersTray() const;
    QString trayTitle() const { return QStringLiteral("Hold it here for later"); }
    QString deviceTitle() const { return QStringLiteral("Send to a nearby device"); }

    // True when the drag carries at least one file; nothing else is a drop
    // for the notch.
    Q_INVOKABLE static bool isFileDrag(const QList<QUrl> &urls);
    Q_INVOKABLE DropZone zoneAt(QPointF point) const;

    // The drag's life. enter() returns whether the drag is accepted.
    Q_INVOKABLE bool enter(const QList<QUrl> &urls, QPointF point);
    Q_INVOKABLE void move(QPointF point);
    Q_INVOKABLE void exit();
    // Returns whether the drop was taken; the files arrive a moment later.
    Q_INVOKABLE bool drop(const QList<QUrl> &urls, QPointF point);

Q_SIGNALS:
    void modelChanged();
    void offersTrayChanged();
    // The dropped files that loaded, as they go to the tray or a device.
    void delivered(DropZone zone, const QList<QUrl> &files);

private:
    bool isOpen() const;
    void deliver(DropZone zone, const QList<QUrl> &files);

    Clock &m_clock;
    QPointer<NotchViewModel> m_model;
    QPointer<TrayStore> m_store;
    QPointer<NearbyShare> m_share;
    double m_expandedAt = -1e9;
    QMetaObject::Connection m_stateConnection;
    QMetaObject::Connection m_pagesConnection;
};
