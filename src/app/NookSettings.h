#pragma once

#include "notch/NookPage.h"

#include <QList>
#include "core/QmlSingleton.h"

#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class UserDefaults;

// What the Nook contains: the two pages and the two drawers, switched in
// Settings and read live by everything else.
class NookSettings : public QObject, public QmlSingleton<NookSettings>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool showsNowPlaying READ showsNowPlaying WRITE setShowsNowPlaying NOTIFY showsNowPlayingChanged)
    Q_PROPERTY(bool showsTray READ showsTray WRITE setShowsTray NOTIFY showsTrayChanged)
    Q_PROPERTY(bool showsMirror READ showsMirror WRITE setShowsMirror NOTIFY showsMirrorChanged)
    Q_PROPERTY(bool showsCalendar READ showsCalendar WRITE setShowsCalendar NOTIFY showsCalendarChanged)
    Q_PROPERTY(QVariantList pages READ pageList NOTIFY pagesChanged)

public:
    static inline const QString kNowPlayingKey = QStringLiteral("widget.nowPlaying");
    static inline const QString kTrayKey = QStringLiteral("widget.tray");
    static inline const QString kMirrorKey = QStringLiteral("widget.mirror");
    static inline const QString kCalendarKey = QStringLiteral("widget.calendar");

    explicit NookSettings(UserDefaults &defaults, QObject *parent = nullptr);

    bool showsNowPlaying() const { return m_showsNowPlaying; }
    bool showsTray() const { return m_showsTray; }
    bool showsMirror() const { return m_showsMirror; }
    bool showsCalendar() const { return m_showsCalendar; }

    void setShowsNowPlaying(bool on);
    void setShowsTray(bool on);
    void setShowsMirror(bool on);
    void setShowsCalendar(bool on);

    // The enabled pages in order: Now Playing first, then the tray. May be empty.
    QList<NookPage> pages() const;
    QVariantList pageList() const;

    UserDefaults &defaults() const { return m_defaults; }

Q_SIGNALS:
    void showsNowPlayingChanged();
    void showsTrayChanged();
    void showsMirrorChanged();
    void showsCalendarChanged();
    void pagesChanged();

private:
    void store(bool &field, bool on, const QString &key, void (NookSettings::*changed)(), bool affectsPages);

    UserDefaults &m_defaults;
    bool m_showsNowPlaying = true;
    bool m_showsTray = true;
    bool m_showsMirror = true;
    bool m_showsCalendar = true;
};
