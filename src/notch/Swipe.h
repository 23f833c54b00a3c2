#pragma once

#include "notch/ScrollInput.h"

// What a swipe can move. The controller implements it over the view model,
// the system volume and the calendar's day strip.
class SwipeTargets
{
public:
    virtual ~SwipeTargets() = default;
    virtual bool isExpanded() const = 0;
    virtual bool isCalendarOut() const = 0;
    virtual bool hasVolume() const = 0;
    virtual double volumeLevel() const = 0;
    virtual void setVolume(double level) = 0;
    virtual void dragPages(double total) = 0;
    virtual void endPageDrag(double projected) = 0;
    virtual bool hasDayStrip() const = 0;
    virtual void setStripOffset(double offset) = 0;
    virtual void endStripDrag(double projected) = 0;
    virtual void stepDays(int days) = 0;
};

// One trackpad gesture and the rules that turn scroll events into volume
// steps, page turns and day-strip moves. `handle` returns whether the event
// was consumed (a consumed event is not passed on to the views).
class Swipe
{
public:
    enum class Direction { Undecided, Horizontal, Vertical };

    static constexpr double kWheelVolumeStep = 0.0625;
    static constexpr double kWheelNotch = 120;
    static constexpr double kTrackpadVolumeScale = 300;
    static constexpr double kDecideThreshold = 0.5;
    static constexpr double kProjection = 12;

    bool handle(const ScrollInput &event, SwipeTargets &targets);

    Direction direction() const { return m_direction; }
    bool movesDays() const { return m_movesDays; }
    bool setsVolume() const { return m_setsVolume; }
    double total() const { return m_total; }

private:
    bool handleVolume(const ScrollInput &event, SwipeTargets &targets);
    bool handleTrackpad(const ScrollInput &event, SwipeTargets &targets);
    void reset();
    // Whole notches turned so far by a wheel aimed at `target`; the rest of
    // a notch waits for the next event.
    enum class WheelTarget { None, Volume, DayStrip };
    int wheelNotches(WheelTarget target, double delta);

    Direction m_direction = Direction::Undecided;
    bool m_movesDays = false;
    bool m_setsVolume = false;
    double m_total = 0;
    double m_lastStep = 0;
    WheelTarget m_wheelTarget = WheelTarget::None;
    double m_wheelRest = 0;
};
