#pragma once

#include "core/Spring.h"

#include <QAbstractAnimation>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// A number that follows `target` with the given spring. A new target while
// moving keeps the current speed, so interrupted motion never jerks. It
// runs on Qt's animation clock (in step with the window's frames) and stops
// as soon as it has settled: nothing ticks at rest.
class SpringValue : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(double target READ target WRITE setTarget NOTIFY targetChanged)
    Q_PROPERTY(Spring spring READ spring WRITE setSpring NOTIFY springChanged)
    Q_PROPERTY(double value READ value NOTIFY valueChanged)
    Q_PROPERTY(bool running READ isRunning NOTIFY runningChanged)

public:
    explicit SpringValue(QObject *parent = nullptr);
    ~SpringValue() override;

    double target() const { return m_target; }
    void setTarget(double target);
    Spring spring() const { return m_spring; }
    void setSpring(const Spring &spring);
    double value() const { return m_value; }
    bool isRunning() const;

    // Moves to `seconds` into the current motion; the animation clock calls
    // it, and so can a test.
    void advanceTo(double seconds);

Q_SIGNALS:
    void targetChanged();
    void springChanged();
    void valueChanged();
    void runningChanged();

private:
    class Motion;
    void setValue(double value);

    double m_target = 0;
    double m_value = 0;
    bool m_hasTarget = false;
    Spring m_spring;
    // The motion in progress: distance and speed at its start.
    double m_x0 = 0;
    double m_v0 = 0;
    double m_elapsed = 0;
    Motion *m_motion = nullptr;
};
