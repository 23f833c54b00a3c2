#pragma once

#include <QPointF>

// One scroll event as the panel saw it, free of Qt's event classes so the
// rules below can be tested with plain values.
struct ScrollInput
{
    enum class Phase { None, Began, Changed, Ended, Cancelled, Momentum };

    Phase phase = Phase::None;
    // Points for touchpads (precise); for wheels Qt's angle delta in eighths
    // of a degree, 120 to a notch (high-resolution wheels send parts of it).
    QPointF delta;
    bool precise = false;
    // The device already reverses direction ("natural scrolling").
    bool inverted = false;
    bool overVolume = false;
    bool overDayStrip = false;
};
