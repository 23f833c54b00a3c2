#pragma once

#include <QColor>
#include <QDateTime>
#include <QMetaType>
#include <QString>
#include <QUrl>

// One event as the drawer lists it, compared field by field.
class AgendaEvent
{
    Q_GADGET
    Q_PROPERTY(QString id MEMBER id)
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(QDateTime start MEMBER start)
    Q_PROPERTY(QDateTime end MEMBER end)
    Q_PROPERTY(bool isAllDay MEMBER isAllDay)
    Q_PROPERTY(QColor color MEMBER color)
    Q_PROPERTY(QString location MEMBER location)
    Q_PROPERTY(QUrl joinURL MEMBER joinURL)
    Q_PROPERTY(bool hasJoinURL READ hasJoinURL)
public:
    QString id;
    QString title;
    QDateTime start;
    QDateTime end;
    bool isAllDay = false;
    QColor color;
    QString location; // empty when the event has none
    QUrl joinURL; // empty when no call link was found

    bool hasJoinURL() const { return !joinURL.isEmpty(); }
    bool operator==(const AgendaEvent &other) const = default;
};

Q_DECLARE_METATYPE(AgendaEvent)
