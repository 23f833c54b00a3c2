#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// What the notch shell needs from services that live in other subsystems.
// Each is optional: the shell runs (without wings, volume scrolling or day
// swipes) until the service is there.

class VolumeControl
{
public:
    virtual ~VolumeControl() = default;
    virtual double level() const = 0;
    virtual bool isAdjustable() const = 0;
    // Clamps to 0…1 itself.
    virtual void set(double level) = 0;
};

class DayStripControl
{
public:
    virtual ~DayStripControl() = default;
    virtual void setStripOffset(double offset) = 0;
    virtual void endStripDrag(double projectedTranslation) = 0;
    virtual void step(int days) = 0;
};

// The current track as far as the wings care.
struct WingsTrack
{
    QString title;
    QString sourceApplication;
    bool isPlaying = false;
};
