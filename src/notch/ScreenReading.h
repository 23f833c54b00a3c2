#pragma once

#include <QRectF>
#include <QString>
#include <optional>

// What the notch needs to know about one screen, already in the notch's own
// coordinates (origin bottom left, y up; see ScreenSpace). The platform
// adapter fills it; tests build any screen they like.
struct ScreenReading
{
    QString name;
    QRectF frame;
    QRectF visibleFrame;
    // Height of the camera housing, 0 on every screen without one.
    double safeAreaTopInset = 0;
    // The strips of top bar left and right of the housing, when there is one.
    std::optional<QRectF> auxiliaryTopLeftArea;
    std::optional<QRectF> auxiliaryTopRightArea;
    // A status bar drawn over the top edge; no Linux desktop has one, so 0.
    double statusBarThickness = 0;
    double devicePixelRatio = 1;
};
