#include "camera/FrameCheck.h"

#include <cmath>

FrameCheck FrameCheck::judge(const std::optional<QRectF> &face, double brightness)
{
    FrameCheck check;
    if (brightness < 0.3)
        check.lighting = Lighting::TooDark;
    else if (brightness >= 0.82)
        check.lighting = Lighting::TooBright;
    else
        check.lighting = Lighting::Good;

    if (!face) {
        check.framing = Framing::NoFace;
        return check;
    }
    // Only the width tells near from far: a tall box is a chin or a forehead
    // cut off, not a closer face. Size goes first, so a face far too close
    // reads as such even when it is also off to one side.
    const QRectF &r = *face;
    if (r.width() < 0.14)
        check.framing = Framing::TooFar;
    else if (r.width() > 0.5)
        check.framing = Framing::TooClose;
    // The eyes of a well-framed face sit a little above the middle, and a
    // head moves more up and down than sideways while talking, hence the
    // higher target and the wider vertical tolerance.
    else if (std::abs(r.center().x() - 0.5) > 0.15 || std::abs(r.center().y() - 0.55) > 0.2)
        check.framing = Framing::OffCenter;
    else
        check.framing = Framing::Centered;
    return check;
}
