#pragma once

#include <QObject>
#include <QRectF>
#include <optional>

// The verdicts of one analysed camera frame: is the light right, and is the
// face where a call partner expects it.
//
// A face rectangle is normalised to the picture, 0…1 on both axes, with its
// origin at the bottom left (y grows upwards).
struct FrameCheck
{
    Q_GADGET

public:
    enum class Lighting { TooDark, Good, TooBright };
    Q_ENUM(Lighting)
    enum class Framing { NoFace, Centered, OffCenter, TooClose, TooFar };
    Q_ENUM(Framing)

    Lighting lighting = Lighting::Good;
    Framing framing = Framing::NoFace;

    static FrameCheck judge(const std::optional<QRectF> &face, double brightness);

    friend bool operator==(const FrameCheck &, const FrameCheck &) = default;
};

Q_DECLARE_METATYPE(FrameCheck)
