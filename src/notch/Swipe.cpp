#include "notch/Swipe.h"

#include <cmath>

void Swipe::reset()
{
    m_direction = Direction::Undecided;
    m_movesDays = false;
    m_setsVolume = false;
    m_total = 0;
    m_lastStep = 0;
}

bool Swipe::handle(const ScrollInput &event, SwipeTargets &targets)
{
    // Scrolling over the closed notch is left to the views.
    if (!targets.isExpanded())
        return false;
    if (handleVolume(event, targets))
        return true;
    if (event.precise)
        return handleTrackpad(event, targets);
    // A wheel over the day strip moves one day per notch.
    if (event.overDayStrip && targets.hasDayStrip() && targets.isCalendarOut()) {
        const double d = std::abs(event.delta.x()) > std::abs(event.delta.y()) ? event.delta.x() : event.delta.y();
        if (d == 0)
            return false;
        const int notches = wheelNotches(WheelTarget::DayStrip, d);
        if (notches != 0)
            targets.stepDays(-notches);
        return true;
    }
    return false;
}

// High-resolution wheels (libinput, XWayland) split one notch into several
// events of a few units each; stepping on every event would move the volume
// or the days several times a notch. A turn back the other way starts over,
// so it answers at the first full notch.
int Swipe::wheelNotches(WheelTarget target, double delta)
{
    if (target != m_wheelTarget || (m_wheelRest != 0 && (m_wheelRest > 0) != (delta > 0))) {
        m_wheelTarget = target;
        m_wheelRest = 0;
    }
    m_wheelRest += delta;
    const int notches = int(m_wheelRest / kWheelNotch);
    m_wheelRest -= notches * kWheelNotch;
    return notches;
}

bool Swipe::handleVolume(const ScrollInput &event, SwipeTargets &targets)
{
    if (event.precise) {
        if (event.phase == ScrollInput::Phase::Began) {
            reset();
            m_setsVolume = event.overVolume && targets.hasVolume();
        }
        if (!m_setsVolume)
            return false;
        // The glide after the fingers lift belongs to the gesture, but must
        // not keep changing the level.
        if (event.phase == ScrollInput::Phase::Momentum)
            return true;
    } else if (!event.overVolume || !targets.hasVolume()) {
        return false;
    }

    double dx = event.delta.x();
    double dy = event.delta.y();
    // Scrolling up or right raises the level however the device is set up.
    if (event.inverted)
        dy = -dy;
    else
        dx = -dx;
    const double d = std::abs(dx) > std::abs(dy) ? dx : dy;
    if (d == 0)
        return true;
    if (event.precise) {
        targets.setVolume(targets.volumeLevel() + d / kTrackpadVolumeScale);
        return true;
    }
    const int notches = wheelNotches(WheelTarget::Volume, d);
    if (notches != 0)
        targets.setVolume(targets.volumeLevel() + notches * kWheelVolumeStep);
    return true;
}

bool Swipe::handleTrackpad(const ScrollInput &event, SwipeTargets &targets)
{
    switch (event.phase) {
    case ScrollInput::Phase::Momentum:
        return m_direction == Direction::Horizontal;
    case ScrollInput::Phase::Began:
        reset();
        m_movesDays = event.overDayStrip && targets.isCalendarOut() && targets.hasDayStrip();
        [[fallthrough]];
    case ScrollInput::Phase::Changed:
    case ScrollInput::Phase::None: {
        const double dx = event.delta.x();
        const double dy = event.delta.y();
        if (m_direction == Direction::Undecided) {
            if (std::abs(dx) + std::abs(dy) <= kDecideThreshold)
                return false;
            m_direction = std::abs(dx) > std::abs(dy) ? Direction::Horizontal : Direction::Vertical;
        }
        // Vertical gestures belong to lists that may scroll.
        if (m_direction != Direction::Horizontal)
            return false;
        m_total += dx;
        m_lastStep = dx;
        if (m_movesDays)
            targets.setStripOffset(m_total);
        else
            targets.dragPages(m_total);
        return true;
    }
    case ScrollInput::Phase::Ended:
    case ScrollInput::Phase::Cancelled:
        if (m_direction != Direction::Horizontal)
            return false;
        // The last step stands for the finger's speed: a quick flick
        // carries the page further than a slow push.
        if (m_movesDays)
            targets.endStripDrag(m_total + m_lastStep * kProjection);
        else
            targets.endPageDrag(m_total + m_lastStep * kProjection);
        // The direction stays: the glide that follows belongs to this gesture.
        return true;
    }
    return false;
}
