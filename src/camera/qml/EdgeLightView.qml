import QtQuick
import Tarnwick

// The glow: a white tube about 30 points in from every edge of the screen,
// bright in its core and falling off softly on both sides, like a lit tube
// seen slightly out of focus. Drawn as thin rounded outlines whose opacity
// follows that fall-off, so it is even all the way round, corners included.
Item {
    id: light

    readonly property real inset: 30
    readonly property real core: 13.68
    readonly property real softness: 7

    opacity: EdgeLight.level
    Behavior on opacity {
        NumberAnimation { duration: EdgeLight.fadeMilliseconds; easing.type: Easing.InOutQuad }
    }

    // A faint wash over the whole band, so the tube has a halo.
    Rectangle {
        anchors.fill: parent
        anchors.margins: light.inset - light.core / 2 - light.softness * 2
        radius: 36
        color: "transparent"
        border.width: light.core + light.softness * 4
        border.color: Qt.rgba(1, 1, 1, 0.12)
        antialiasing: true
    }

    Repeater {
        // One outline per point across the tube, from the outer soft edge
        // to the inner one.
        model: Math.ceil(light.core + 2 * light.softness)
        Rectangle {
            required property int index
            readonly property real offset: index - (light.core + 2 * light.softness) / 2 + 0.5
            readonly property real fromCore: Math.max(0, Math.abs(offset) - light.core / 2)
            anchors.fill: parent
            anchors.margins: light.inset + offset
            radius: Math.max(4, 28 - offset)
            color: "transparent"
            border.width: 1
            // Full white in the core; a Gaussian shoulder outside it.
            border.color: Qt.rgba(1, 1, 1, fromCore === 0 ? 0.95
                                             : Math.exp(-(fromCore * fromCore) / (2 * (light.softness / 2.2) * (light.softness / 2.2))))
            antialiasing: true
        }
    }
}
