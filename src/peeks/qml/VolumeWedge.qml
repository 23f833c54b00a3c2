import QtQuick
import QtQuick.Shapes
import QtQuick.Controls.Basic
import Tarnwick

// The volume control: a wedge that fills with the level. Drag along it to
// set the volume; arrow keys and screen readers step it by sixteenths.
Item {
    id: wedge
    implicitWidth: 88
    implicitHeight: 16

    readonly property real level: SystemVolume.level
    readonly property bool adjustable: SystemVolume.isAdjustable
    readonly property bool muted: SystemVolume.isMuted
    readonly property color fill: wedge.muted || !wedge.adjustable ? NookStyle.tertiaryText : NookStyle.primaryText

    activeFocusOnTab: true
    Accessible.role: Accessible.Slider
    Accessible.name: "Volume"
    Accessible.description: help.text
    Accessible.onIncreaseAction: SystemVolume.set(wedge.level + VolumeText.kAccessibleStep)
    Accessible.onDecreaseAction: SystemVolume.set(wedge.level - VolumeText.kAccessibleStep)
    Keys.onRightPressed: SystemVolume.set(wedge.level + 0.0625)
    Keys.onUpPressed: SystemVolume.set(wedge.level + 0.0625)
    Keys.onLeftPressed: SystemVolume.set(wedge.level - 0.0625)
    Keys.onDownPressed: SystemVolume.set(wedge.level - 0.0625)

    // Scrolling over the wedge sets the volume too; the panel asks this region.
    NookHitRegion {
        anchors.fill: parent
        anchors.margins: -6
        kind: NookHitRegion.Volume
    }

    component WedgeShape: Shape {
        id: shape
        property color colour
        width: wedge.width
        height: wedge.height
        ShapePath {
            strokeWidth: -1
            fillColor: shape.colour
            // A ramp from a point at the left to full height at the right,
            // with softly rounded ends.
            startX: 1; startY: wedge.height - 2
            PathLine { x: wedge.width - 3; y: 1 }
            PathQuad { x: wedge.width - 1; y: 3; controlX: wedge.width - 1; controlY: 1 }
            PathLine { x: wedge.width - 1; y: wedge.height - 2 }
            PathQuad { x: wedge.width - 3; y: wedge.height; controlX: wedge.width - 1; controlY: wedge.height }
            PathLine { x: 2; y: wedge.height }
            PathQuad { x: 1; y: wedge.height - 2; controlX: 0; controlY: wedge.height }
        }
    }

    WedgeShape { colour: NookStyle.surfaceHover }
    Item {
        id: filled
        height: wedge.height
        width: 1 + wedge.level * VolumeText.kTrackWidth
        clip: true
        Behavior on width {
            enabled: !MotionPreference.reduceMotion && !drag.pressed
            NumberAnimation { duration: 120; easing.type: Easing.OutCubic }
        }
        WedgeShape { colour: wedge.fill }
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
        text: VolumeText.help(SystemVolume.outputName, wedge.adjustable, wedge.level, wedge.muted)
    }
}
