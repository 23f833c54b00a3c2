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
        targets.stepDays(d > 0 ? -1 : 1);
        return true;
    }
    return false;
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
    const double step = event.precise ? d / kTrackpadVolumeScale : (d > 0 ? kWheelVolumeStep : -kWheelVolumeStep);
    targets.setVolume(targets.volumeLevel() + step);
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
