#pragma once

#include "core/ClockSlot.h"
#include "core/QmlSingleton.h"

#include <QObject>
#include <QRect>
#include <QtQml/qqmlregistration.h>
#include <memory>

class Clock;
class QQuickView;
class ScreenSource;

// A screen light for dark rooms: a soft white tube glowing around the edges
// of the notch's screen, lighting the face in front of the camera. It is a
// full-screen window that never takes the pointer: every click goes to the
// windows below. The window is made on first use and kept, hidden, after.
class EdgeLight : public QObject, public QmlSingleton<EdgeLight>
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(bool isOn READ isOn NOTIFY isOnChanged)
    // What the light's view fades towards: 1 while on, 0 while off.
    Q_PROPERTY(double level READ level NOTIFY isOnChanged)
    Q_PROPERTY(int fadeMilliseconds READ fadeMilliseconds NOTIFY isOnChanged)

public:
    static constexpr double fadeInSeconds = 0.3;
    static constexpr double fadeOutSeconds = 0.25;

    EdgeLight(ScreenSource &screens, Clock &clock, QObject *parent = nullptr);
    ~EdgeLight() override;

    bool isOn() const { return m_isOn; }
    double level() const { return m_isOn ? 1.0 : 0.0; }
    int fadeMilliseconds() const { return int((m_isOn ? fadeInSeconds : fadeOutSeconds) * 1000); }
    Q_INVOKABLE void setOn(bool on);

    // The window, once made; visible while lit or fading out.
    QQuickView *window() const { return m_window.get(); }

Q_SIGNALS:
    void isOnChanged();

private:
    void show();
    void hide();
    void makeWindow();

    ScreenSource &m_screens;
    ClockSlot m_orderOut;
    bool m_isOn = false;
    std::unique_ptr<QQuickView> m_window;
};
