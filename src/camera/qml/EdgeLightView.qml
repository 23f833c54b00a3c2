import QtQuick
import Tarnwick

// The glow: a white tube about 30 points in from every edge of the screen,
// bright in its core and falling off softly on both sides, like a lit tube
// seen slightly out of focus. It is painted once per screen size as one
// stroke with a blurred halo: stacked outlines, one per point, each round
// its own corner, leave rings and gaps where the corners turn.
Canvas {
    id: light

    readonly property real inset: 30
    readonly property real core: 12
    readonly property real softness: 9
    readonly property real cornerRadius: 28

    opacity: EdgeLight.level
    Behavior on opacity {
        NumberAnimation { duration: EdgeLight.fadeMilliseconds; easing.type: Easing.InOutQuad }
    }

    // Painting happens in memory on whatever renderer draws the window.
    renderTarget: Canvas.Image
    onWidthChanged: requestPaint()
    onHeightChanged: requestPaint()

    onPaint: {
        const ctx = getContext("2d");
        ctx.reset();
        ctx.clearRect(0, 0, width, height);
        if (width <= 2 * inset || height <= 2 * inset)
            return;
        ctx.beginPath();
        ctx.roundedRect(inset, inset, width - 2 * inset, height - 2 * inset, cornerRadius, cornerRadius);
        ctx.lineJoin = "round";
        ctx.strokeStyle = Qt.rgba(1, 1, 1, 0.97);
        ctx.shadowColor = Qt.rgba(1, 1, 1, 0.9);
        ctx.shadowOffsetX = 0;
        ctx.shadowOffsetY = 0;
        // The halo first, twice over for a fuller shoulder, then the core
        // crisp on top.
        ctx.lineWidth = core;
        ctx.shadowBlur = softness * 2;
        ctx.stroke();
        ctx.stroke();
        ctx.shadowBlur = 0;
        ctx.lineWidth = core - 2;
        ctx.stroke();
    }
}
