import QtQuick
import QtQuick.Shapes
import QtQuick.Controls.Basic
import Tarnwick

// The volume control: a wedge that fills with the level. Drag along it to
// set the volume; arrow keys and screen readers step it by sixteenths.
Item {
    id: wedge
    objectName: "volumeWedge"
    implicitWidth: 88
    implicitHeight: 16

    readonly property real level: SystemVolume.level
    readonly property bool adjustable: SystemVolume.isAdjustable
    readonly property bool muted: SystemVolume.isMuted
    readonly property color fill: wedge.muted || !wedge.adjustable ? NookStyle.tertiaryText : NookStyle.primaryText
    // Without a sound server the whole control fades, so it never passes
    // for a muted output at 0 %.
    opacity: SystemVolume.isAvailable ? 1 : 0.35

    activeFocusOnTab: true
    Accessible.role: Accessible.Slider
    Accessible.name: "Volume"
    Accessible.description: SystemVolume.help
    Accessible.onIncreaseAction: SystemVolume.set(wedge.level + VolumeText.accessibleStep)
    Accessible.onDecreaseAction: SystemVolume.set(wedge.level - VolumeText.accessibleStep)
    Keys.onRightPressed: SystemVolume.set(wedge.level + VolumeText.accessibleStep)
    Keys.onUpPressed: SystemVolume.set(wedge.level + VolumeText.accessibleStep)
    Keys.onLeftPressed: SystemVolume.set(wedge.level - VolumeText.accessibleStep)
    Keys.onDownPressed: SystemVolume.set(wedge.level - VolumeText.accessibleStep)

    // Scrolling over the wedge sets the volume too; the panel asks this region.
    NookHitRegion {
        anchors.fill: parent
        anchors.margins: -6
        kind: NookHitRegion.Volume
    }

    component WedgeShape: Shape {
        id: shape
        property color colour
        // A ramp from a point at the left to full height at the right,
        // with softly rounded ends.
        ShapePath {
            strokeWidth: -1
            fillColor: shape.colour
            startX: 1; startY: shape.height - 2
            PathLine { x: shape.width - 3; y: 1 }
            PathQuad { x: shape.width - 1; y: 3; controlX: shape.width - 1; controlY: 1 }
            PathLine { x: shape.width - 1; y: shape.height - 2 }
            PathQuad { x: shape.width - 3; y: shape.height; controlX: shape.width - 1; controlY: shape.height }
            PathLine { x: 2; y: shape.height }
            PathQuad { x: 1; y: shape.height - 2; controlX: 0; controlY: shape.height }
        }
    }

    WedgeShape { colour: NookStyle.surfaceHover; width: wedge.width; height: wedge.height }
    Item {
        id: filled
        height: wedge.height
        width: 1 + wedge.level * VolumeText.trackWidth
        clip: true
        Behavior on width {
            enabled: !MotionPreference.reduceMotion && !drag.pressed
            NumberAnimation { duration: 120; easing.type: Easing.OutCubic }
        }
        WedgeShape { colour: wedge.fill; width: wedge.width; height: wedge.height }
    }

    Rectangle {
        anchors.fill: parent
        anchors.margins: -3
        radius: 4
        color: "transparent"
        border.width: wedge.activeFocus ? 1.5 : 0
        border.color: NookStyle.focusRing
    }

    MouseArea {
        id: drag
        anchors.fill: parent
        anchors.margins: -4
        hoverEnabled: true
        enabled: wedge.adjustable
        // Positions are taken in the wedge's own coordinates.
        onPressed: (mouse) => SystemVolume.set(VolumeText.levelForDrag(mapToItem(wedge, mouse.x, mouse.y).x))
        onPositionChanged: (mouse) => {
            if (pressed)
                SystemVolume.set(VolumeText.levelForDrag(mapToItem(wedge, mouse.x, mouse.y).x))
        }
    }
    HoverHandler { id: hover }

    ToolTip {
        id: help
        visible: hover.hovered && !drag.pressed
        delay: 600
        text: SystemVolume.help
    }
}
